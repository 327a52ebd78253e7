#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <wx/buffer.h>

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

// A profile exported on Windows: UTF-16LE with a byte-order mark, CR LF,
// long hex values continued over several lines, values of every type.
TEST_F(ProfileFileTest, WindowsExportImportsEveryValue) {
  const std::string file = std::string(UT_SHARED_TESTDATA_DIR) + "/registry/profile-windows-export.reg";
  EXPECT_EQ(ut::getProfileNameFromFile(file), L"Drafting");
  test::LogCapture log;
  ASSERT_TRUE(ut::importProfile(file, L"", L""));
  EXPECT_TRUE(log.messages().empty());
  EXPECT_EQ(ut::getProfileDescription(L"Drafting"), L"Profile for 2D drafting, exported on Windows");
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Drafting", true));

  const struct {
    ECfgGroup group;
    const wchar_t* entry;
    long number;  // -1: a string
    const wchar_t* text;
  } readable[] = {
      {eCfgConfig, L"AUTOSNAP", 127, nullptr},
      {eCfgConfig, L"OSMODE", 4263, nullptr},
      {eCfgConfig, L"COLORTHEME", 1, nullptr},
      {eCfgConfig, L"TEMPPREFIX", -1, L"D:\\Temp\\Drafting"},
      {eCfgConfig, L"Greeting", -1, L"Grüße, \"quoted\" and back\\slash"},
      {eCfgConfig, L"SupportPath", -1,  // hex(2), unexpanded
       L"%APPDATA%\\TVCAD\\Support;%USERPROFILE%\\Documents\\TVCAD\\Fonts;C:\\Program Files\\TVCAD\\Support"},
      {eCfgPlot, L"DefaultPlotter", -1, L"PDF (Vector).pc3"},
      {eCfgPlot, L"PlotOffset", -1, L"0,0"},
      {eCfgDialogs, L"Layer Manager/Rect", -1, L"120,80,900,640"},
      {eCfgDialogs, L"Layer Manager/Visible", 0, nullptr},
      {eCfgProfileRecentPaths, L"Path1", -1, L"\\\\fileserver\\projects\\Bridge 12\\drawings"},
  };
  for (const auto& r : readable) {
    SCOPED_TRACE(wxString(r.entry));
    if (r.number >= 0) {
      long n = -1;
      EXPECT_TRUE(Config::read(r.group, r.entry, n));
      EXPECT_EQ(n, r.number);
    } else {
      OdString s;
      EXPECT_TRUE(Config::read(r.group, r.entry, s));
      EXPECT_EQ(str(s), r.text);
    }
  }
  // Binary data, a multi-string and a 64-bit time stamp cannot be read as
  // settings, but they are kept and reach the store as they were.
  for (const wchar_t* entry : {L"WindowPlacement", L"RecentCommands", L"LastSaved"}) {
    EXPECT_TRUE(Config::hasEntry(eCfgConfig, entry)) << wxString(entry);
    EXPECT_EQ(Config::entryType(eCfgConfig, entry), eCfgTypeUnknown) << wxString(entry);
  }
  ASSERT_TRUE(Config::flush());
  RegKey config(eCurrentUser, wxString(Config::profilesRoot(eCfgPathRegistry).c_str()) + L"Drafting\\Config");
  ASSERT_TRUE(config.open(eRead));
  wxMemoryBuffer placement;
  ASSERT_TRUE(config.queryValue(L"WindowPlacement", placement));
  ASSERT_EQ(placement.GetDataLen(), 44u);
  for (unsigned i = 0; i < 44; ++i) EXPECT_EQ(static_cast<const unsigned char*>(placement.GetData())[i], i);
  std::vector<wxString> commands;
  ASSERT_TRUE(config.queryMultiString(L"RecentCommands", commands));
  EXPECT_EQ(commands, (std::vector<wxString>{L"LINE", L"CIRCLE", L"PLINE", L"DIMLINEAR"}));
  std::int64_t saved = 0;
  ASSERT_TRUE(config.queryValue64(L"LastSaved", saved));
  EXPECT_EQ(saved, 0x01da223e15f1f34eLL);

  // Our own export of it reads back the same, value by value, type by type.
  const std::string again = (m_store.dir() / "again.reg").string();
  ASSERT_TRUE(ut::exportProfile(L"Drafting", again));
  ASSERT_TRUE(ut::importProfile(again, L"Copy", L""));
  EXPECT_TRUE(sameContent(m_manager->getProfileNode(L"Drafting", false), m_manager->getProfileNode(L"Copy", false)));
  EXPECT_EQ(ut::getProfileDescription(L"Copy"), L"Profile for 2D drafting, exported on Windows");
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


TEST_F(ProfileFileTest, ExportFailuresGiveTheirMessagesOnlyWhenAsked) {
  fill(L"P");
  test::LogCapture log;
  const auto lastMessage = [&log] { return log.messages().empty() ? std::wstring() : log.messages().back(); };
  EXPECT_FALSE(ut::exportProfile(L"", (m_store.dir() / "x.reg").string()));
  EXPECT_EQ(lastMessage(), L"Bad arguments");
  EXPECT_FALSE(ut::exportProfile(L"P", L""));
  EXPECT_EQ(lastMessage(), L"Bad arguments");
  EXPECT_FALSE(ut::exportProfile(L"Missing", (m_store.dir() / "x.reg").string()));
  EXPECT_EQ(lastMessage(), L"Config group not found: " + std::wstring(Config::profilesRoot(eCfgPathConfig).c_str()) +
                               L"Missing/");
  EXPECT_FALSE(m_manager->getProfileNode(L"Missing", false));  // export never creates
  const std::string noFolder = (m_store.dir() / "no" / "such.reg").string();
  EXPECT_FALSE(ut::exportProfile(L"P", noFolder));
  EXPECT_EQ(lastMessage(), L"Failed to create file " + wxString(noFolder).ToStdWstring());

  log.clear();
  EXPECT_FALSE(Config::exportProfile(L"P", OdString(wxString(noFolder).wc_str()), false));
  EXPECT_FALSE(Config::exportProfile(L"Missing", L"x.reg", false));
  EXPECT_TRUE(log.messages().empty());

  // An existing file is replaced, not appended to.
  const std::string file = (m_store.dir() / "p.reg").string();
  std::ofstream(file, std::ios::binary) << std::string(100000, 'x');
  ASSERT_TRUE(Config::exportProfile(L"P", OdString(wxString(file).wc_str()), true));
  EXPECT_EQ(ut::getProfileNameFromFile(file), L"P");
  EXPECT_LT(test::readFileBytes(file).size(), 1000u);
}
