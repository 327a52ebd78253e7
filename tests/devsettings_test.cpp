#include <gtest/gtest.h>

#include <ut/ut_devsettings.h>

#include <functional>

using ut::DevSettings;

TEST(DevSettings, FunctionIsCalledOnEveryQueryUntilUnregistered) {
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.live"));  // never registered
  DevSettings::unregisterSetting(L"dev.live");           // unknown: nothing happens
  int calls = 0;
  bool answer = false;
  DevSettings::registerSetting(L"dev.live", [&] {
    ++calls;
    return answer;
  });
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.live"));
  answer = true;
  EXPECT_TRUE(DevSettings::getBoolValue(L"dev.live"));  // not cached
  DevSettings::unregisterSetting(L"dev.live");
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.live"));
  EXPECT_EQ(calls, 2);
}

TEST(DevSettings, NamesAreExactLastRegistrationWinsAndEmptyFunctionsThrow) {
  DevSettings::registerSetting(L"Dev.Case", [] { return false; });
  DevSettings::registerSetting(L"Dev.Case", [] { return true; });
  EXPECT_TRUE(DevSettings::getBoolValue(L"Dev.Case"));
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.case"));
  DevSettings::unregisterSetting(L"dev.case");  // another name: the setting stays
  EXPECT_TRUE(DevSettings::getBoolValue(L"Dev.Case"));
  DevSettings::unregisterSetting(L"Dev.Case");

  DevSettings::registerSetting(L"dev.empty", std::function<bool()>());
  EXPECT_THROW(DevSettings::getBoolValue(L"dev.empty"), std::bad_function_call);
  DevSettings::unregisterSetting(L"dev.empty");
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.empty"));
}
