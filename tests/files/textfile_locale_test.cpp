// The locale fallback of TextFile::open: a Latin-1 file that neither the
// strict UTF-8 test nor the current conversion (the C locale) can read is read
// under the user's language, whose locale the test compiles without root
// (de_DE in ISO-8859-1, and de_CH in UTF-8 for a locale that cannot read it).
// The C library's locale must be back to what it was whenever a test ends.

#include <gtest/gtest.h>

#include <ut/ut_csv.h>
#include <ut/ut_textfile.h>

#include <wx/strconv.h>

#include "../sdk/sdk_test_print.h"
#include "../text/sorting_locales.h"
#include "files_test_support.h"
#include "test_support.h"

#include <clocale>
#include <filesystem>
#include <string>

namespace {

std::string currentLocale() { return std::setlocale(LC_ALL, nullptr); }

using ut::test::EnvOverride;

class TextFileLocaleFallbackTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_locales = std::filesystem::temp_directory_path() / ("ut-fallback-locales-" + std::to_string(::getpid()));
    s_haveLatin1 = ut::test::compileLocale(s_locales, "de_DE.ISO-8859-1", "de_DE", "ISO-8859-1");
    s_haveUtf8 = ut::test::compileLocale(s_locales, "de_CH.UTF-8", "de_CH", "UTF-8");
  }
  static void TearDownTestSuite() {
    std::error_code ec;
    std::filesystem::remove_all(s_locales, ec);
  }

  void SetUp() override {
    if (!s_haveLatin1) {
      GTEST_SKIP() << "cannot compile the de_DE ISO-8859-1 locale: localedef or /usr/share/i18n/locales/de_DE "
                      "is missing";
    }
    ASSERT_EQ(currentLocale(), "C");
  }
  void TearDown() override { EXPECT_EQ(currentLocale(), "C") << "the locale was not restored"; }

  OdString latin1File() const {
    ut::test::writeFileBytes(m_dir / "latin1.txt",
                             "Gr\xFC\xDF"
                             "e\nna\xEFve;caf\xE9\n");
    return OdString((m_dir / "latin1.txt").string().c_str());
  }

  static std::filesystem::path s_locales;
  static bool s_haveLatin1;
  static bool s_haveUtf8;

  ut::test::TempDir m_dir;
  EnvOverride m_locpath{"LOCPATH", s_locales.string()};
  EnvOverride m_all{"LC_ALL", std::nullopt};
  EnvOverride m_messages{"LC_MESSAGES", std::nullopt};
  EnvOverride m_lang{"LANG", "de_DE.UTF-8"};
};

std::filesystem::path TextFileLocaleFallbackTest::s_locales;
bool TextFileLocaleFallbackTest::s_haveLatin1 = false;
bool TextFileLocaleFallbackTest::s_haveUtf8 = false;

}  // namespace

TEST_F(TextFileLocaleFallbackTest, ReadsUnderTheUsersLanguageUntilClose) {
  ut::TextFile f(latin1File());
  ASSERT_TRUE(f.open(nullptr));
  EXPECT_EQ(f.getLine(0), L"Gr\u00FC\u00DFe");
  EXPECT_EQ(f.getLine(1), L"na\u00EFve;caf\u00E9");
  EXPECT_EQ(f.encodingSource(), ut::TextFile::eLocaleFallback);
  EXPECT_EQ(f.encodingName(), L"de_DE.ISO-8859-1");
  // The locale stays until close.
  EXPECT_EQ(currentLocale(), "de_DE.ISO-8859-1");
  f.close();
  EXPECT_EQ(currentLocale(), "C");
}

TEST_F(TextFileLocaleFallbackTest, RestoreLocaleAndDestructionPutTheLocaleBack) {
  {
    ut::TextFile f(latin1File());
    ASSERT_TRUE(f.open(nullptr));
    f.restoreLocale();
    EXPECT_EQ(currentLocale(), "C");
    // The lines stay; a second restore does nothing.
    EXPECT_EQ(f.getLineCount(), 2u);
    std::setlocale(LC_ALL, "C.UTF-8");
    f.restoreLocale();
    EXPECT_EQ(currentLocale(), "C.UTF-8");
    std::setlocale(LC_ALL, "C");
  }
  {
    ut::TextFile f(latin1File());
    ASSERT_TRUE(f.open(nullptr));
    EXPECT_EQ(currentLocale(), "de_DE.ISO-8859-1");
  }
  EXPECT_EQ(currentLocale(), "C");
}

TEST_F(TextFileLocaleFallbackTest, TheReadersRestoreTheLocale) {
  EXPECT_EQ(ut::readEntireFile(latin1File()), L"Gr\u00FC\u00DFena\u00EFve;caf\u00E9");
  EXPECT_EQ(currentLocale(), "C");
  OdArray<OdString> lines;
  EXPECT_TRUE(ut::readTextFileContent(lines, latin1File()));
  EXPECT_EQ(lines, (OdArray<OdString>{L"Gr\u00FC\u00DFe", L"na\u00EFve;caf\u00E9"}));
  EXPECT_EQ(currentLocale(), "C");
  OdArray<OdArray<OdString>> rows;
  ut::readCSV(rows, latin1File(), L';');
  EXPECT_EQ(rows, (OdArray<OdArray<OdString>>{{L"Gr\u00FC\u00DFe"}, {L"na\u00EFve", L"caf\u00E9"}}));
}

TEST_F(TextFileLocaleFallbackTest, LanguageTakenFromLcAllThenLcMessagesThenLang) {
  EnvOverride lang("LANG", "C");
  {
    EnvOverride messages("LC_MESSAGES", "de_DE@euro");
    ut::TextFile f(latin1File());
    EXPECT_TRUE(f.open(nullptr));
    EXPECT_EQ(f.encodingName(), L"de_DE.ISO-8859-1");
  }
  {
    EnvOverride all("LC_ALL", "POSIX");
    EnvOverride messages("LC_MESSAGES", "de_DE");
    ut::TextFile f(latin1File());
    EXPECT_FALSE(f.open(nullptr));
    EXPECT_FALSE(f.isOpened());
  }
}

TEST_F(TextFileLocaleFallbackTest, NoUsableLocaleLeavesTheFileUnreadAndTheLocaleUnchanged) {
  {
    EnvOverride lang("LANG", "xx_YY.UTF-8");  // a language without a locale
    ut::TextFile f(latin1File());
    EXPECT_FALSE(f.open(nullptr));
    EXPECT_EQ(f.getLineCount(), 0u);
  }
  if (!s_haveUtf8) GTEST_SKIP() << "cannot compile the de_CH UTF-8 locale";
  // A locale that is accepted but cannot read the file is undone.
  EnvOverride lang("LANG", "de_CH");
  ut::TextFile f(latin1File());
  EXPECT_FALSE(f.open(nullptr));
  EXPECT_EQ(f.encodingSource(), ut::TextFile::eNotRead);
  EXPECT_THROW(ut::readEntireFile(latin1File()), OdError);
}

TEST_F(TextFileLocaleFallbackTest, TheGivenConversionComesFirst) {
  ut::TextFile f(latin1File());
  ASSERT_TRUE(f.open(&wxConvISO8859_1));
  EXPECT_EQ(f.encodingSource(), ut::TextFile::eConversion);
  EXPECT_EQ(currentLocale(), "C");
}
