#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_regstore.h>

#include <string>
#include <utility>
#include <vector>

using namespace ut;

namespace {

std::wstring str(const OdString& s) { return std::wstring(s.c_str()); }

// Every test works on a store of its own; the current language and profile
// are whatever that store records (nothing: "en_US" and "Default").
class ConfigPathsTest : public ::testing::Test {
 protected:
  test::TempStore m_store;

  static bool setStoreString(const wxString& key, const wxString& name, const wxString& value) {
    RegKey k(eCurrentUser, key);
    return k.create() && k.setValue(name, value);
  }
};

}  // namespace

TEST(ConfigSeparator, ByPathKind) {
  EXPECT_EQ(Config::separator(eCfgPathRegistry), L'\\');
  EXPECT_EQ(Config::separator(eCfgPathExport), L'\\');
  EXPECT_EQ(Config::separator(eCfgPathConfig), L'/');
  EXPECT_EQ(Config::separator(eCfgPathFile), L'/');  // this platform's file-path separator
  EXPECT_EQ(Config::separator(static_cast<ECfgPathType>(4)), L'/');
  EXPECT_EQ(Config::separator(static_cast<ECfgPathType>(-1)), L'/');
}

TEST_F(ConfigPathsTest, RootsByPathKind) {
  EXPECT_EQ(str(Config::companyRoot(eCfgPathRegistry)), L"Software\\TVCAD");
  EXPECT_EQ(str(Config::companyRoot(eCfgPathExport)), L"Software\\TVCAD");
  EXPECT_EQ(str(Config::companyRoot(eCfgPathFile)), L"TVCAD");
  EXPECT_EQ(str(Config::companyRoot(eCfgPathConfig)), L"");
  EXPECT_EQ(str(Config::companyRoot(static_cast<ECfgPathType>(9))), L"");

  EXPECT_EQ(str(Config::productRoot(eCfgPathRegistry)), L"Software\\TVCAD\\TVCAD");
  EXPECT_EQ(str(Config::versionRoot(eCfgPathRegistry)), L"Software\\TVCAD\\TVCAD\\V25");
  EXPECT_EQ(str(Config::languageRoot(eCfgPathRegistry)), L"Software\\TVCAD\\TVCAD\\V25\\en_US\\");
  EXPECT_EQ(str(Config::profilesRoot(eCfgPathRegistry)), L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\");
  EXPECT_EQ(str(Config::currentProfileRoot(eCfgPathRegistry)),
            L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\");
  EXPECT_EQ(str(Config::connectorRoot(eCfgPathRegistry)), L"Software\\TVCAD\\TVCAD Connector");

  // The tree's kind starts from the empty company root: wxConfigBase paths.
  EXPECT_EQ(str(Config::productRoot(eCfgPathConfig)), L"/TVCAD");
  EXPECT_EQ(str(Config::languageRoot(eCfgPathConfig)), L"/TVCAD/V25/en_US/");
  EXPECT_EQ(str(Config::currentProfileRoot(eCfgPathConfig)), L"/TVCAD/V25/en_US/Profiles/Default/");
  EXPECT_EQ(str(Config::connectorRoot(eCfgPathConfig)), L"/TVCAD Connector");

  EXPECT_EQ(str(Config::versionRoot(eCfgPathFile)), L"TVCAD/TVCAD/V25");
}

TEST_F(ConfigPathsTest, LanguageComesFromTheVersionKey) {
  EXPECT_EQ(str(Config::currentLanguage()), L"en_US");
  const wxString versionKey = L"Software\\TVCAD\\TVCAD\\V25";
  ASSERT_TRUE(setStoreString(versionKey, L"CURVER", L"de_DE"));
  EXPECT_EQ(str(Config::currentLanguage()), L"de_DE");
  EXPECT_EQ(str(Config::profilesRoot(eCfgPathConfig)), L"/TVCAD/V25/de_DE/Profiles/");
  // Names that are not one key level fall back.
  for (const wchar_t* bad : {L"", L"de\\DE", L"de/DE"}) {
    ASSERT_TRUE(setStoreString(versionKey, L"CURVER", bad));
    EXPECT_EQ(str(Config::currentLanguage()), L"en_US") << wxString(bad);
  }
  // A number is not a language either.
  RegKey k(eCurrentUser, versionKey);
  ASSERT_TRUE(k.open() && k.setValue(L"CURVER", 7L));
  EXPECT_EQ(str(Config::currentLanguage()), L"en_US");
}

TEST_F(ConfigPathsTest, ProfileGroupsFollowTheRecordedProfile) {
  const wxString profiles = L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles";
  EXPECT_EQ(str(Config::currentProfileName()), L"Default");
  ASSERT_TRUE(setStoreString(profiles, L"CurProfile", L"Drafting"));
  EXPECT_EQ(str(Config::currentProfileName()), L"Drafting");
  EXPECT_EQ(str(Config::regPath(eCfgConfig)), L"/TVCAD/V25/en_US/Profiles/Drafting/Config/");
  EXPECT_EQ(str(Config::regPath(eCfgTablet, true)),
            L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Drafting\\Config\\Tablet\\");
  // The key's own value wins over "CurProfile".
  ASSERT_TRUE(setStoreString(profiles, L"", L"Rendering"));
  EXPECT_EQ(str(Config::regPath(eCfgProfile)), L"/TVCAD/V25/en_US/Profiles/Rendering/");
  ASSERT_TRUE(setStoreString(profiles, L"", L""));
  EXPECT_EQ(str(Config::currentProfileName()), L"Drafting");
  ASSERT_TRUE(setStoreString(profiles, L"CurProfile", L"a/b"));
  EXPECT_EQ(str(Config::currentProfileName()), L"Default");
}

TEST_F(ConfigPathsTest, EveryGroupWithAKeyPath) {
  const std::wstring L = L"/TVCAD/V25/en_US/";
  const std::wstring P = L + L"Profiles/Default/";
  const std::vector<std::pair<ECfgGroup, std::wstring>> expected = {
      {eCfgRoot, L"/"},
      {eCfgVersion, L"/TVCAD/V25/"},
      {eCfgLanguage, L},
      {eCfgProfile, P},
      {eCfgAddins, L + L"Addins/"},
      {eCfgApplications, L + L"Applications/"},
      {eCfgConfig, P + L"Config/"},
      {eCfgDialogs, P + L"Dialogs/"},
      {eCfgEnvironment, L + L"Environment/"},
      {eCfgStandard, L + L"Standard/"},
      {eCfgMenus, P + L"Menus/"},
      {eCfgMLeader, P + L"MLeader/"},
      {eCfgPlot, P + L"Config/Plot/"},
      {eCfgProfiles, L + L"Profiles/"},
      {eCfgProjectSettings, P + L"Project Settings/"},
      {eCfgRecentPaths, L + L"Recent Paths/"},
      {eCfgProfileRecentPaths, P + L"Recent Paths/"},
      {eCfgRecentSheetSets, L + L"Recent Sheet Sets/"},
      {eCfgSettings, L + L"Settings/"},
      {eCfgSetup, L + L"Setup/"},
      {eCfgScaleList, L + L"Scale List/"},
      {eCfgStatusBar, P + L"StatusBar/"},
      {eCfgTablet, P + L"Config/Tablet/"},
      {eCfgTest, L + L"TEST/"},
      {eCfgToolbars, P + L"Toolbars/"},
      {eCfgTPSettings, P + L"TPSettings/"},
      {eCfgUser, L + L"User/"},
      {eCfgWindows, P + L"Windows/"},
      {eCfgWorksets, P + L"Worksets/"},
      {eCfgQuad, P + L"Quad/"},
      {eCfgPropertiesBar, P + L"Properties Bar/"},
      {eCfg3dMouseMenu, P + L"3dMouseMenu/"},
      {eCfgHotkeyAssistantContext, P + L"HotkeyAssistantContext/"},
      {eCfgMapConnections, P + L"Map Connections/"},
      {eCfgAppWindows, L + L"Windows/"},
  };
  ASSERT_EQ(expected.size(), 35u);
  test::LogCapture log;
  for (const auto& [group, path] : expected) {
    EXPECT_EQ(str(Config::regPath(group)), path) << group;
    // The full form is the same key below HKEY_CURRENT_USER, with "\".
    std::wstring full = L"Software\\TVCAD" + path;
    for (auto& c : full) c = c == L'/' ? L'\\' : c;
    EXPECT_EQ(str(Config::regPath(group, true)), full) << group;
  }
  EXPECT_TRUE(log.messages().empty());
}

TEST_F(ConfigPathsTest, GroupsWithoutKeyPathAreRefusedWithAMessage) {
  for (int g : {21, 36, 37, 38, 39, 40, -1, 1000}) {
    test::LogCapture log;
    EXPECT_TRUE(Config::regPath(static_cast<ECfgGroup>(g)).isEmpty()) << g;
    EXPECT_TRUE(Config::regPath(static_cast<ECfgGroup>(g), true).isEmpty()) << g;
    const std::wstring message = L"Unknown configuration group (" + std::to_wstring(g) + L")";
    EXPECT_EQ(log.messages(), (std::vector<std::wstring>{message, message}));
  }
}

TEST_F(ConfigPathsTest, ProductKeyAcceptsOnlyOneKeyLevel) {
  const OdString before = Config::regProduct();
  Config::setRegProduct(L"Viewer");
  EXPECT_EQ(str(Config::versionRoot(eCfgPathRegistry)), L"Software\\TVCAD\\Viewer\\V25");
  for (const wchar_t* bad : {L"", L"A\\B", L"A/B"}) {
    Config::setRegProduct(bad);
    EXPECT_EQ(str(Config::regProduct()), L"Viewer");
  }
  Config::setRegProduct(before);
  EXPECT_EQ(Config::regProduct(), before);
}

TEST(ConfigGroupNames, NameAndNumberRoundTrip) {
  for (int g = 0; g < kCfgGroupCount; ++g) {
    const OdString name = cfgGroupName(g);
    ASSERT_FALSE(name.isEmpty()) << g;
    ECfgGroup parsed = eCfgRoot;
    ASSERT_TRUE(parseCfgGroup(name, parsed)) << g;
    EXPECT_EQ(parsed, g);
    ASSERT_TRUE(parseCfgGroup(OdString(std::to_wstring(g)), parsed));
    EXPECT_EQ(parsed, g);
  }
  EXPECT_EQ(str(cfgGroupName(eCfgAppWindows)), L"eCfgAppWindows");
  EXPECT_TRUE(cfgGroupName(-1).isEmpty());
  EXPECT_TRUE(cfgGroupName(40).isEmpty());

  ECfgGroup g = eCfgTest;
  ASSERT_TRUE(parseCfgGroup(L"addins", g));
  EXPECT_EQ(g, eCfgAddins);
  ASSERT_TRUE(parseCfgGroup(L"ECFGSCALELIST", g));
  EXPECT_EQ(g, eCfgScaleList);
  for (const wchar_t* bad : {L"", L"40", L"-1", L"1000", L"eCfg", L"Addins ", L"0x4", L"Scale List"}) {
    g = eCfgTest;
    EXPECT_FALSE(parseCfgGroup(bad, g)) << wxString(bad);
    EXPECT_EQ(g, eCfgTest);
  }
}
