// The user's language from the environment and the locale names tried for it.

#include <gtest/gtest.h>

#include "test_support.h"
#include "ut_platform.h"

#include <clocale>
#include <optional>
#include <string>
#include <vector>

namespace {

// The three variables the language comes from, set (or, for null, unset) for
// one test and put back.
class LocaleEnvironment {
 public:
  LocaleEnvironment(const char* all, const char* messages, const char* lang)
      : m_all("LC_ALL", value(all)), m_messages("LC_MESSAGES", value(messages)), m_lang("LANG", value(lang)) {}

 private:
  static std::optional<std::string> value(const char* v) { return v ? std::optional<std::string>(v) : std::nullopt; }
  ut::test::EnvOverride m_all;
  ut::test::EnvOverride m_messages;
  ut::test::EnvOverride m_lang;
};

}  // namespace

TEST(PlatformLocale, UserDefaultLanguageFromTheEnvironment) {
  struct Case {
    const char* all;
    const char* messages;
    const char* lang;
    const char* language;
  };
  const Case cases[] = {
      {nullptr, nullptr, "de_DE.UTF-8", "de_DE"},
      {nullptr, "fr_FR@euro", "de_DE.UTF-8", "fr_FR"},
      {"it_IT.ISO-8859-1@euro", "fr_FR", "de_DE", "it_IT"},
      {"", "", "pt_BR", "pt_BR"},  // empty values do not count
      {nullptr, nullptr, "de", "de"},
      {nullptr, nullptr, "C.UTF-8", ""},
      {"POSIX", nullptr, "de_DE", ""},
      {nullptr, nullptr, "/usr/share/my-locale", ""},
      {nullptr, nullptr, nullptr, ""},
  };
  for (const auto& c : cases) {
    LocaleEnvironment env(c.all, c.messages, c.lang);
    EXPECT_EQ(ut::platform::userDefaultLanguage(), c.language) << (c.lang ? c.lang : "(unset)");
  }
}

TEST(PlatformLocale, CandidatesStartWithTheNameAsItStandsAndPutUtf8Last) {
  LocaleEnvironment env(nullptr, nullptr, "de_DE.UTF-8");
  const std::vector<std::string> names = ut::platform::localeNameCandidates("de_DE");
  ASSERT_FALSE(names.empty());
  EXPECT_EQ(names.front(), "de_DE");
  const auto position = [&](const std::string& name) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (names[i] == name) return static_cast<int>(i);
    }
    return -1;
  };
  EXPECT_GT(position("de_DE.ISO-8859-1"), 0);
  EXPECT_GT(position("de_DE@euro"), 0);
  EXPECT_GT(position("de_DE.UTF-8"), position("de_DE.ISO-8859-15"));
  EXPECT_GT(position("de_DE.utf8"), position("de_DE.iso88591"));
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(position(names[i]), static_cast<int>(i)) << names[i];
  EXPECT_TRUE(ut::platform::localeNameCandidates("").empty());
}

TEST(PlatformLocale, SettingTheCLibraryLocale) {
  const std::string before = ut::platform::crtLocale();
  EXPECT_FALSE(ut::platform::setCrtLocale(nullptr));
  EXPECT_FALSE(ut::platform::setCrtLocale(""));
  EXPECT_FALSE(ut::platform::setCrtLocale("xx_NOWHERE.UTF-8"));
  EXPECT_EQ(ut::platform::crtLocale(), before);
  EXPECT_EQ(ut::platform::setCrtLocaleForLanguage("xx_NOWHERE"), "");
  EXPECT_EQ(ut::platform::crtLocale(), before);
  ASSERT_TRUE(ut::platform::setCrtLocale("C.UTF-8"));
  EXPECT_EQ(ut::platform::crtCodeset(), "UTF-8");
  ASSERT_TRUE(ut::platform::setCrtLocale(before.c_str()));
  EXPECT_EQ(ut::platform::crtLocale(), before);
}
