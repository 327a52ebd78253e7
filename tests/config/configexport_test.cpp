#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_configstorage.h>
#include <ut/ut_regstore.h>

#include <wx/fileconf.h>
#include <wx/sstream.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

using namespace ut;

namespace {

const wxString kGroupKey = L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins";

class ConfigExportTest : public ::testing::Test {
 protected:
  test::TempStore m_store;

  std::string file(const char* name = "group.reg") const { return (m_store.dir() / name).string(); }

  static RegKey key(const wxString& below = wxString()) {
    return RegKey(eCurrentUser, below.empty() ? kGroupKey : kGroupKey + L"\\" + below);
  }

  // Exports with errors reported, and hands back what was logged.
  bool exportGroup(const OdString& path, const std::string& target, std::vector<std::wstring>& log) const {
    test::LogCapture capture;
    const bool ok = exportConfigGroup(path, OdString(wxString(target)), true);
    log = capture.messages();
    return ok;
  }
};

// A configuration object that reports the entry types the registry store
// never does: floating-point and boolean entries.
class TypedConfig : public wxFileConfig {
 public:
  explicit TypedConfig(wxInputStream& text) : wxFileConfig(text) {}

  EntryType GetEntryType(const wxString& name) const override {
    wxConfigPathChanger changer(this, name);
    const wxString leaf = changer.Name();
    if (leaf.StartsWith(L"f")) return Type_Float;
    if (leaf.StartsWith(L"b")) return Type_Boolean;
    if (leaf.StartsWith(L"i")) return Type_Integer;
    return wxFileConfig::GetEntryType(name);
  }
};

}  // namespace

TEST_F(ConfigExportTest, WritesTheRegistryExportTextByteForByte) {
  RegKey group = key();
  wxMemoryBuffer bytes;
  bytes.AppendData("\x01\x02", 2);
  ASSERT_TRUE(group.create() && group.setValue(L"", L"Add-in list") &&
              group.setValue(L"Path", L"C:\\Add \"ins\"\nsecond line") && group.setValue(L"Count", 255L) &&
              group.setValue(L"Negative", -2L) && group.setValue(L"Blob", bytes));  // not a configuration type
  RegKey only = key(L"Only Default");
  ASSERT_TRUE(only.create() && only.setValue(L"", L""));
  RegKey deeper = key(L"Tools\\Deeper");
  ASSERT_TRUE(deeper.create() && deeper.setValue(L"Grüße", L"naïve"));
  // An existing file is replaced, not appended to.
  ASSERT_TRUE(test::writeFileBytes(file(), std::string("old line\r\n\xff\xfe binary tail\n", 25)));

  std::vector<std::wstring> log;
  ASSERT_TRUE(exportGroup(Config::regPath(eCfgAddins), file(), log));
  EXPECT_TRUE(log.empty());
  const std::string expected =
      "Windows Registry Editor Version 5.00\r\n"
      "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins]\r\n"
      "@=\"Add-in list\"\r\n"
      "\"Path\"=\"C:\\\\Add \\\"ins\\\"\r\nsecond line\"\r\n"
      "\"Count\"=dword:000000ff\r\n"
      "\"Negative\"=dword:fffffffe\r\n"
      "{{Unknown type: 0}}\r\n"
      "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins\\Only Default]\r\n"
      "@=\"\"\r\n"
      "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins\\Tools]\r\n"
      "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins\\Tools\\Deeper]\r\n"
      "\"Gr\xC3\xBC\xC3\x9F"
      "e\"=\"na\xC3\xAFve\"\r\n";
  EXPECT_EQ(test::readFileBytes(file()), expected);

  // The company key itself, and a path without its leading slash: the text
  // of the group above, from its Tools key on.
  RegKey company(eCurrentUser, L"Software\\TVCAD");
  ASSERT_TRUE(company.open() && company.setValue(L"Installed", 1L));
  ASSERT_TRUE(exportGroup(L"/", file(), log));
  const std::string header = "Windows Registry Editor Version 5.00\r\n";
  EXPECT_EQ(test::readFileBytes(file()).rfind(
                header + "[HKEY_CURRENT_USER\\Software\\TVCAD]\r\n\"Installed\"=dword:00000001\r\n", 0),
            0u);
  ASSERT_TRUE(exportGroup(L"TVCAD/V25/en_US/Addins/Tools/", file(), log));
  const auto tools = expected.find("[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins\\Tools]");
  EXPECT_EQ(test::readFileBytes(file()), header + expected.substr(tools));
}

TEST_F(ConfigExportTest, FloatingAndOtherTypesOverAnyConfiguration) {
  wxStringInputStream text(L"[G]\nfScale=0.25\nfBig=1e21\nbFlag=1\niWide=8589934593\nName=a\\\\b\n");
  TypedConfig config(text);
  config.SetPath(L"/Somewhere");
  test::LogCapture log;
  ASSERT_TRUE(exportConfigGroup(config, L"Software\\Other", L"/G/", OdString(wxString(file())), true));
  EXPECT_TRUE(log.messages().empty());
  EXPECT_EQ(config.GetPath(), wxString(L"/Somewhere"));
  EXPECT_EQ(test::readFileBytes(file()),
            "Windows Registry Editor Version 5.00\r\n"
            "[HKEY_CURRENT_USER\\Software\\Other\\G]\r\n"
            "{{Unknown type: 2}}\r\n"
            "\"fBig\"=\"1e+21\"\r\n"
            "\"fScale\"=\"0.25\"\r\n"
            "\"iWide\"=\"8589934593\"\r\n"
            "\"Name\"=\"a\\\\b\"\r\n");
}

TEST_F(ConfigExportTest, EveryFailureGivesItsMessageAndFalse) {
  ASSERT_TRUE(key().create());
  const std::string inMissingFolder = (m_store.dir() / "no such folder" / "x.reg").string();
  const std::string folder = m_store.dir().path().string();
  const OdString group = L"/TVCAD/V25/en_US/Addins/";
  std::vector<std::tuple<OdString, std::string, std::wstring>> cases = {
      {L"", file(), L"Bad arguments"},
      {group, "", L"Bad arguments"},
      {L"/TVCAD/V25/en_US/Addins", file(), L"Bad group path: /TVCAD/V25/en_US/Addins"},
      {L"/TVCAD//Addins/", file(), L"Bad group path: /TVCAD//Addins/"},
      {L"/TVCAD/../TVCAD/", file(), L"Bad group path: /TVCAD/../TVCAD/"},
      {L"\\TVCAD\\V25\\", file(), L"Bad group path: \\TVCAD\\V25\\"},
      {L"/TVCAD/V25/en_US/Nothing/", file(), L"Config group not found: /TVCAD/V25/en_US/Nothing/"},
      {group, inMissingFolder, L"Failed to create file " + wxString(inMissingFolder).ToStdWstring()},
      {group, folder, L"Failed to create file " + wxString(folder).ToStdWstring()},
  };
  // A file that exists but cannot be read, and one that can be read but not
  // replaced (its folder takes no new files), whoever runs the test.
  if (std::filesystem::exists("/proc/self/mem") && std::filesystem::exists("/proc/version")) {
    cases.emplace_back(group, "/proc/self/mem", L"Failed to open file /proc/self/mem");
    cases.emplace_back(group, "/proc/version", L"Failed to write to file /proc/version");
  }
  for (const auto& [path, target, message] : cases) {
    SCOPED_TRACE(wxString(message));
    std::vector<std::wstring> log;
    EXPECT_FALSE(exportGroup(path, target, log));
    EXPECT_EQ(log, std::vector<std::wstring>{message});
    // Unasked, the same failure is silent.
    test::LogCapture quiet;
    EXPECT_FALSE(exportConfigGroup(path, OdString(wxString(target)), false));
    EXPECT_TRUE(quiet.messages().empty());
  }
  EXPECT_FALSE(std::filesystem::exists(file()));
}
