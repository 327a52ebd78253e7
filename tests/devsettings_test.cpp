#include <gtest/gtest.h>

#include <ut/ut_devsettings.h>

#include <functional>
#include <stdexcept>

using ut::DevSettings;

TEST(DevSettings, UnknownNamesAnswerFalse) {
  EXPECT_FALSE(DevSettings::getBoolValue(L"never.registered"));
  DevSettings::unregisterSetting(L"never.registered");  // removing an unknown name does nothing
  EXPECT_FALSE(DevSettings::getBoolValue(L"never.registered"));
}

TEST(DevSettings, FunctionIsCalledOnEveryQuery) {
  int calls = 0;
  bool answer = false;
  DevSettings::registerSetting(L"dev.live", [&] {
    ++calls;
    return answer;
  });
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.live"));
  answer = true;
  EXPECT_TRUE(DevSettings::getBoolValue(L"dev.live"));
  EXPECT_EQ(calls, 2);
  DevSettings::unregisterSetting(L"dev.live");
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.live"));
  EXPECT_EQ(calls, 2);
}

TEST(DevSettings, SecondRegistrationReplacesTheFirst) {
  DevSettings::registerSetting(L"dev.twice", [] { return true; });
  DevSettings::registerSetting(L"dev.twice", [] { return false; });
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.twice"));
  DevSettings::unregisterSetting(L"dev.twice");
}

TEST(DevSettings, NamesAreCaseSensitive) {
  DevSettings::registerSetting(L"Dev.Case", [] { return true; });
  EXPECT_TRUE(DevSettings::getBoolValue(L"Dev.Case"));
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.case"));
  DevSettings::unregisterSetting(L"dev.case");  // another name: the setting stays
  EXPECT_TRUE(DevSettings::getBoolValue(L"Dev.Case"));
  DevSettings::unregisterSetting(L"Dev.Case");
}

TEST(DevSettings, EmptyFunctionThrowsBadFunctionCall) {
  DevSettings::registerSetting(L"dev.empty", std::function<bool()>());
  EXPECT_THROW(DevSettings::getBoolValue(L"dev.empty"), std::bad_function_call);
  DevSettings::unregisterSetting(L"dev.empty");
  EXPECT_FALSE(DevSettings::getBoolValue(L"dev.empty"));
}
