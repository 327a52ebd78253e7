#include <gtest/gtest.h>

#include <ut/ut_devsettings.h>

#include <functional>

using ut::DevSettings;

TEST(DevSettings, CalledOnEveryQueryByExactNameUntilUnregistered) {
  EXPECT_FALSE(DevSettings::getBoolValue(L"Dev.Live"));  // never registered
  DevSettings::unregisterSetting(L"Dev.Live");           // unknown: nothing happens
  int calls = 0;
  bool answer = false;
  DevSettings::registerSetting(L"Dev.Live", [] { return false; });
  DevSettings::registerSetting(L"Dev.Live", [&] {  // the last registration wins
    ++calls;
    return answer;
  });
  EXPECT_FALSE(DevSettings::getBoolValue(L"Dev.Live"));
  answer = true;
  EXPECT_TRUE(DevSettings::getBoolValue(L"Dev.Live"));  // not cached
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.live"));
  DevSettings::unregisterSetting(L"dev.live");  // another name: the setting stays
  EXPECT_TRUE(DevSettings::getBoolValue(L"Dev.Live"));
  DevSettings::unregisterSetting(L"Dev.Live");
  EXPECT_FALSE(DevSettings::getBoolValue(L"Dev.Live"));
  EXPECT_EQ(calls, 3);

  DevSettings::registerSetting(L"dev.empty", std::function<bool()>());
  EXPECT_THROW(DevSettings::getBoolValue(L"dev.empty"), std::bad_function_call);
  DevSettings::unregisterSetting(L"dev.empty");
}
