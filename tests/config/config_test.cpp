#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_regstore.h>

#include <string>

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

TEST_F(ConfigPathsTest, SeparatorsAndRootsByPathKind) {
  const std::pair<int, wchar_t> separators[] = {{eCfgPathRegistry, L'\\'},
                                                {eCfgPathExport, L'\\'},
                                                {eCfgPathConfig, L'/'},
                                                {eCfgPathFile, L'/'},
                                                {4, L'/'},
                                                {-1, L'/'}};
  for (const auto& [kind, separator] : separators) {
    EXPECT_EQ(Config::separator(static_cast<ECfgPathType>(kind)), separator) << kind;
  }
  EXPECT_EQ(str(Config::companyRoot(eCfgPathExport)), L"Software\\TVCAD");
  EXPECT_EQ(str(Config::companyRoot(eCfgPathFile)), L"TVCAD");
  EXPECT_EQ(str(Config::companyRoot(static_cast<ECfgPathType>(9))), L"");
  EXPECT_EQ(str(Config::connectorRoot(eCfgPathRegistry)), L"Software\\TVCAD\\TVCAD Connector");
  // The tree's kind starts from the empty company root: wxConfigBase paths.
  EXPECT_EQ(str(Config::companyRoot(eCfgPathConfig)), L"");
  EXPECT_EQ(str(Config::productRoot(eCfgPathConfig)), L"/TVCAD");
  EXPECT_EQ(str(Config::connectorRoot(eCfgPathConfig)), L"/TVCAD Connector");
  EXPECT_EQ(str(Config::versionRoot(eCfgPathFile)), L"TVCAD/TVCAD/V25");
}

TEST_F(ConfigPathsTest, LanguageComesFromTheVersionKey) {
  EXPECT_EQ(str(Config::currentLanguage()), L"en_US");
  const wxString versionKey = L"Software\\TVCAD\\TVCAD\\V25";
  ASSERT_TRUE(setStoreString(versionKey, L"CURVER", L"de_DE"));
  EXPECT_EQ(str(Config::currentLanguage()), L"de_DE");
  EXPECT_EQ(str(Config::profilesRoot(eCfgPathConfig)), L"/TVCAD/V25/de_DE/Profiles/");
  for (const wchar_t* bad : {L"", L"de\\DE", L"de/DE"}) {  // not one key level
    ASSERT_TRUE(setStoreString(versionKey, L"CURVER", bad));
    EXPECT_EQ(str(Config::currentLanguage()), L"en_US") << wxString(bad);
  }
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

TEST_F(ConfigPathsTest, ProductKeyAcceptsOnlyOneKeyLevel) {
  const OdString before = Config::regProduct();
  Config::setRegProduct(L"Viewer");
  EXPECT_EQ(str(Config::versionRoot(eCfgPathRegistry)), L"Software\\TVCAD\\Viewer\\V25");
  for (const wchar_t* bad : {L"", L"A\\B", L"A/B"}) {
    Config::setRegProduct(bad);
    EXPECT_EQ(str(Config::regProduct()), L"Viewer");
  }
  Config::setRegProduct(before);
}

TEST(ConfigGroupNames, NameAndNumberRoundTrip) {
  for (int g = 0; g < kCfgGroupCount; ++g) {
    ECfgGroup byName = eCfgRoot;
    ECfgGroup byNumber = eCfgRoot;
    EXPECT_TRUE(parseCfgGroup(cfgGroupName(g), byName) && byName == g) << g;
    EXPECT_TRUE(parseCfgGroup(OdString(std::to_wstring(g)), byNumber) && byNumber == g) << g;
  }
  EXPECT_TRUE(cfgGroupName(-1).isEmpty() && cfgGroupName(40).isEmpty());
  ECfgGroup g = eCfgTest;
  EXPECT_TRUE(parseCfgGroup(L"addins", g) && g == eCfgAddins);  // either name, any letter case
  EXPECT_TRUE(parseCfgGroup(L"ECFGSCALELIST", g) && g == eCfgScaleList);
  for (const wchar_t* bad : {L"", L"40", L"-1", L"1000", L"eCfg", L"Addins ", L"0x4", L"Scale List"}) {
    g = eCfgTest;
    EXPECT_FALSE(parseCfgGroup(bad, g)) << wxString(bad);
    EXPECT_EQ(g, eCfgTest);
  }
}
