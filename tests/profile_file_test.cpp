#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

using namespace ut;
using test::sameContent;

namespace {

std::wstring str(const OdString& s) { return s.c_str(); }

std::vector<std::wstring> namesOf(ProfileManagerBase& m) {
  OdArray<OdString> names;
  m.getProfileNames(names);
  std::vector<std::wstring> out;
  for (unsigned i = 0; i < names.size(); ++i) out.push_back(names[i].c_str());
  return out;
}

// Profiles written to and read from registry-export files.
class ProfileFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_store.ok());
    m_manager = std::make_unique<ProfileManagerBase>();
  }
  void TearDown() override { m_manager.reset(); }

  // A profile with a few values of both types and a nested key.
  void fill(const OdString& name) {
    ASSERT_TRUE(m_manager->setCurrentProfile(name, true));
    ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Number", 255));
    ASSERT_TRUE(Config::writeString(eCfgConfig, L"Text", L"a \"b\" \\ c\nd ü"));
    ASSERT_TRUE(Config::writeString(eCfgPlot, L"Plotter", L"pdf"));
    ASSERT_TRUE(Config::writeLong(eCfgToolbars, L"Deep/Er/Value", 0xffffffffL));
    ASSERT_TRUE(Config::setProfileDescription(name, L"described"));
  }

  test::TempStore m_store;
  std::unique_ptr<ProfileManagerBase> m_manager;
};

}  // namespace

TEST_F(ProfileFileTest, ExportThenImportUnderAnotherNameIsEqual) {
  fill(L"Orig");
  const std::string file = (m_store.dir() / "orig.reg").string();
  ASSERT_TRUE(ut::exportProfile(L"Orig", file));
  EXPECT_EQ(ut::getProfileNameFromFile(file), L"Orig");
  ASSERT_TRUE(ut::importProfile(file, L"Twin", L""));
  EXPECT_TRUE(sameContent(m_manager->getProfileNode(L"Orig", false), m_manager->getProfileNode(L"Twin", false)));
  EXPECT_EQ(ut::getProfileDescription(L"Twin"), L"described");
  // Through the store too.
  ASSERT_TRUE(m_manager->flush());
  ASSERT_TRUE(m_manager->reset());
  EXPECT_TRUE(sameContent(m_manager->getProfileNode(L"Orig", false), m_manager->getProfileNode(L"Twin", false)));

  ASSERT_TRUE(ut::importProfile(file, L"Third", L"new words"));
  EXPECT_EQ(ut::getProfileDescription(L"Third"), L"new words");
}

TEST_F(ProfileFileTest, WindowsExportImports) {
  const std::string file = std::string(UT_SHARED_TESTDATA_DIR) + "/registry/profile-windows-export.reg";
  EXPECT_EQ(ut::getProfileNameFromFile(file), L"Drafting");
  test::LogCapture log;
  ASSERT_TRUE(ut::importProfile(file, L"", L""));
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Drafting", true));
  long n = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"AUTOSNAP", n));
  EXPECT_EQ(n, 127);
  OdString s;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Greeting", s));
  EXPECT_EQ(str(s), L"Grüße, \"quoted\" and back\\slash");
  EXPECT_TRUE(Config::read(eCfgConfig, L"SupportPath", s));  // hex(2) over continuation lines
  EXPECT_EQ(str(s).rfind(L"%APPDATA%\\TVCAD\\Support;", 0), 0u);
  EXPECT_TRUE(Config::read(eCfgPlot, L"DefaultPlotter", s));
  EXPECT_EQ(str(s), L"PDF (Vector).pc3");
  EXPECT_EQ(ut::getProfileDescription(L"Drafting"), L"Profile for 2D drafting, exported on Windows");
}

TEST_F(ProfileFileTest, FilesOfAnotherShapeAreRefusedAndChangeNothing) {
  fill(L"Keep");
  const auto names = namesOf(*m_manager);
  test::LogCapture log;
  const std::string missing = (m_store.dir() / "missing.reg").string();
  EXPECT_FALSE(ut::importProfile(missing, L"X", L""));
  ASSERT_FALSE(log.messages().empty());
  EXPECT_EQ(log.messages().back(), L"File not found: \"" + wxString(missing).ToStdWstring() + L"\"");

  const auto refused = [&](const char* name, const char* text) {
    const std::string path = (m_store.dir() / name).string();
    std::ofstream(path, std::ios::binary) << text;
    log.clear();
    EXPECT_FALSE(ut::importProfile(path, L"Keep", L"")) << name;
    EXPECT_FALSE(log.messages().empty()) << name;
    if (!log.messages().empty()) {
      EXPECT_EQ(log.messages().back(),
                L"File \"" + wxString(path).ToStdWstring() + L"\" is not a profile of the application");
    }
  };
  refused("text.reg", "just some text\r\n");
  refused("other-key.reg", "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Other]\r\n\"a\"=\"b\"\r\n");
  refused("machine.reg",
          "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\P]\r\n");
  refused("two.reg",
          "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\P]\r\n"
          "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Q\\Config]\r\n");
  refused("delete.reg",
          "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\P]\r\n"
          "\"x\"=-\r\n");
  refused("empty.reg", "");
  EXPECT_EQ(namesOf(*m_manager), names);
  long n = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Number", n));  // "Keep" untouched
  EXPECT_EQ(n, 255);
}

