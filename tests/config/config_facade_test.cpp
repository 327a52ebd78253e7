#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include "Ge/GePoint2d.h"
#include "Ge/GePoint3d.h"

#include <wx/gdicmn.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

using namespace ut;
using test::storeValue;
using test::str;

namespace {

// A store of the test's own with a profile manager over it; the manager is
// the facade's until the fixture ends.
class ConfigFacadeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_store.ok());
    m_manager = std::make_unique<ProfileManagerBase>();
    ASSERT_EQ(Config::installedProfileManager(), m_manager.get());
    ASSERT_TRUE(m_manager->setCurrentProfile(L"Default", true));
  }
  void TearDown() override {
    m_manager.reset();
    EXPECT_EQ(Config::installedProfileManager(), nullptr);
  }

  test::TempStore m_store;
  std::unique_ptr<ProfileManagerBase> m_manager;
};

}  // namespace

TEST_F(ConfigFacadeTest, EveryGroupHasItsKeyPathAndItsRoute) {
  // Where each group's key lies: R the store's root, V the version root, L the
  // language root, P the current profile (served from its tree), T the same
  // but reachable through the tree only (no key path).
  struct Row {
    char base;
    const wchar_t* name;
  };
  const Row rows[kCfgGroupCount] = {{'R', L""},
                                    {'V', L""},
                                    {'L', L""},
                                    {'P', L""},
                                    {'L', L"Addins"},
                                    {'L', L"Applications"},
                                    {'P', L"Config"},
                                    {'P', L"Dialogs"},
                                    {'L', L"Environment"},
                                    {'L', L"Standard"},
                                    {'P', L"Menus"},
                                    {'P', L"MLeader"},
                                    {'P', L"Config/Plot"},
                                    {'L', L"Profiles"},
                                    {'P', L"Project Settings"},
                                    {'L', L"Recent Paths"},
                                    {'P', L"Recent Paths"},
                                    {'L', L"Recent Sheet Sets"},
                                    {'L', L"Settings"},
                                    {'L', L"Setup"},
                                    {'L', L"Scale List"},
                                    {'T', L"Startup"},
                                    {'P', L"StatusBar"},
                                    {'P', L"Config/Tablet"},
                                    {'L', L"TEST"},
                                    {'P', L"Toolbars"},
                                    {'P', L"TPSettings"},
                                    {'L', L"User"},
                                    {'P', L"Windows"},
                                    {'P', L"Worksets"},
                                    {'P', L"Quad"},
                                    {'P', L"Properties Bar"},
                                    {'P', L"3dMouseMenu"},
                                    {'P', L"HotkeyAssistantContext"},
                                    {'P', L"Map Connections"},
                                    {'L', L"Windows"},
                                    {'T', L"Layers Panel"},
                                    {'T', L"Drawing Recovery"},
                                    {'T', L"Ribbon Panel"},
                                    {'T', L"Data Collection"}};
  const std::wstring language = L"/TVCAD/V25/en_US/";
  for (int i = 0; i < kCfgGroupCount; ++i) {
    SCOPED_TRACE(i);
    const auto g = static_cast<ECfgGroup>(i);
    const Row& row = rows[i];
    const std::wstring name = *row.name ? std::wstring(row.name) + L"/" : std::wstring();
    const bool tree = row.base == 'P' || row.base == 'T';
    std::wstring key = row.base == 'R' ? L"/" : row.base == 'V' ? L"/TVCAD/V25/" : language;
    key += (tree ? L"Profiles/Default/" : L"") + name;
    test::LogCapture log;
    if (row.base == 'T') key.clear();
    EXPECT_EQ(str(Config::regPath(g)), key);
    std::wstring full = key.empty() ? key : L"Software\\TVCAD" + key;
    for (auto& c : full) c = c == L'/' ? L'\\' : c;
    EXPECT_EQ(str(Config::regPath(g, true)), full);
    EXPECT_EQ(log.messages().size(), row.base == 'T' ? 2u : 0u);

    // The route: the profile tree for P and T groups and group 13, the
    // wxConfigBase for the others; a value written goes where the route says.
    const ConfigNodePtr node = Config::getIfProfileNode(g, true);
    ASSERT_TRUE(Config::writeLong(g, L"Probe", i));
    if (g == eCfgProfiles) {
      EXPECT_EQ(node, m_manager->getProfileNode(OdString(), false));
    } else if (tree) {
      ASSERT_NE(node, nullptr);
      EXPECT_EQ(str(node->path()), L"Default/" + name);
    } else {
      EXPECT_EQ(node, nullptr);
      EXPECT_TRUE(Config::appConfig().HasEntry(wxString(key) + L"Probe"));
      continue;
    }
    unsigned long stored = 0;
    ASSERT_NE(node->childAt(L"Probe"), nullptr);
    EXPECT_TRUE(node->childAt(L"Probe")->getULong(stored) && stored == static_cast<unsigned long>(i));
  }
  // Anything outside 0 to 39 is reported, and every operation fails without
  // touching its output.
  for (const int bad : {40, -1, 1000}) {
    const auto g = static_cast<ECfgGroup>(bad);
    test::LogCapture log;
    long l = 5;
    EXPECT_TRUE(Config::regPath(g).isEmpty());
    EXPECT_EQ(Config::getIfProfileNode(g, true), nullptr);
    EXPECT_FALSE(Config::read(g, L"X", l) || Config::writeLong(g, L"X", 1) || Config::hasGroup(g));
    EXPECT_EQ(l, 5);
    EXPECT_EQ(Config::countEntries(g), 0);
    EXPECT_EQ(Config::entryType(g, L"X"), eCfgTypeUnknown);
    const std::wstring message = L"Unknown configuration group (" + std::to_wstring(bad) + L")";
    EXPECT_EQ(log.messages(), std::vector<std::wstring>(7, message));
  }
}

TEST_F(ConfigFacadeTest, ScalarRoundTripsOnBothRoutes) {
  const wchar_t* const text = L"ä \"quoted\" \\ line\nbreak";
  for (const ECfgGroup g : {eCfgConfig, eCfgAddins, eCfgDataCollection}) {  // tree, wx, tree only
    SCOPED_TRACE(static_cast<int>(g));
    ASSERT_TRUE(Config::writeBool(g, L"Flag", true) && Config::writeShort(g, L"Short", -123) &&
                Config::writeLong(g, L"Long", -2147483647L - 1) && Config::writeString(g, L"Text", text) &&
                Config::writeDouble(g, L"Double", 0.1 + 0.2));
    bool flag = false;
    short s = 0;
    long l = 0;
    OdString t;
    double d = 0;
    EXPECT_TRUE(Config::read(g, L"Flag", flag) && flag);
    EXPECT_TRUE(Config::read(g, L"Short", s) && s == -123);
    EXPECT_TRUE(Config::read(g, L"Long", l) && l == -2147483647L - 1);
    EXPECT_TRUE(Config::read(g, L"Text", t) && str(t) == text);
    EXPECT_TRUE(Config::read(g, L"Double", d) && d == 0.1 + 0.2);  // exactly: written to read back unchanged
    EXPECT_TRUE(ut::setString(g, L"W", L"wert") && ut::getString(g, L"W") == L"wert");
    EXPECT_EQ(ut::getString(g, L"Missing"), L"");
  }
}

TEST_F(ConfigFacadeTest, CompositeValuesUseTheirTextFormats) {
  ASSERT_TRUE(Config::writeSize(eCfgWindows, L"Size", wxSize(640, -480)) &&
              Config::writeRect(eCfgWindows, L"WxRect", wxRect(1, 2, 3, 4)) &&
              Config::writeRect(eCfgWindows, L"Rect", tagRECT{-5, 6, 7, 8}) &&
              Config::writePoint(eCfgWindows, L"Point", tagPOINT{9, -10}) &&
              Config::writePoint(eCfgWindows, L"WxPoint", wxPoint(11, 12)) &&
              Config::writePoint(eCfgWindows, L"P2", OdGePoint2d(1.5, -2.25)) &&
              Config::writePoint(eCfgWindows, L"P3", OdGePoint3d(1e20, 0.5, 3)));
  const std::pair<const wchar_t*, const wchar_t*> texts[] = {
      {L"Size", L"640,-480"}, {L"Rect", L"-5,6,7,8"}, {L"WxRect", L"1,2,3,4"}, {L"Point", L"9,-10"},
      {L"WxPoint", L"11,12"}, {L"P2", L"1.5,-2.25"},  {L"P3", L"1e+20,0.5,3"}};
  for (const auto& [entry, expected] : texts) {
    OdString text;
    EXPECT_TRUE(Config::read(eCfgWindows, entry, text) && str(text) == expected) << str(text);
  }
  wxSize size;
  wxRect wr;
  wxPoint wp;
  tagRECT r{};
  tagPOINT p{};
  OdGePoint2d p2;
  OdGePoint3d p3;
  EXPECT_TRUE(Config::read(eCfgWindows, L"Size", size) && Config::read(eCfgWindows, L"WxRect", wr) &&
              Config::read(eCfgWindows, L"Rect", r) && Config::read(eCfgWindows, L"Point", p) &&
              Config::read(eCfgWindows, L"WxPoint", wp) && Config::read(eCfgWindows, L"P2", p2) &&
              Config::read(eCfgWindows, L"P3", p3));
  EXPECT_TRUE(size == wxSize(640, -480) && wr == wxRect(1, 2, 3, 4) && wp == wxPoint(11, 12));
  EXPECT_TRUE(r.left == -5 && r.top == 6 && r.right == 7 && r.bottom == 8 && p.x == 9 && p.y == -10);
  EXPECT_TRUE(p2 == OdGePoint2d(1.5, -2.25) && p3 == OdGePoint3d(1e20, 0.5, 3));
}

TEST_F(ConfigFacadeTest, TypedReadsLeaveOutputAloneOnMissOrMismatch) {
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"Text", L"abc") && Config::writeLong(eCfgConfig, L"Number", 70000) &&
              Config::writeString(eCfgConfig, L"BadList", L"1,2,x") &&
              Config::writeString(eCfgConfig, L"LongList", L"1,2,3") &&
              Config::writeString(eCfgAddins, L"Text", L"abc"));
  long l = 42;
  short s = 7;  // 70000 does not fit a short
  OdString text(L"keep");
  double d = 1.5;
  wxSize size(1, 1);
  OdGePoint3d p(1, 2, 3);
  bool flag = true;
  for (const ECfgGroup g : {eCfgConfig, eCfgAddins}) {
    EXPECT_FALSE(Config::read(g, L"Missing", l) || Config::read(g, L"Text", l) || Config::read(g, L"Missing", text));
  }
  EXPECT_FALSE(Config::read(eCfgConfig, L"Number", s) || Config::read(eCfgConfig, L"Number", text) ||
               Config::read(eCfgConfig, L"Text", d) || Config::read(eCfgConfig, L"Number", d) ||
               Config::read(eCfgConfig, L"BadList", size) || Config::read(eCfgConfig, L"LongList", size) ||
               Config::read(eCfgConfig, L"BadList", p) || Config::read(eCfgConfig, L"Text", flag));
  EXPECT_TRUE(l == 42 && s == 7 && str(text) == L"keep" && d == 1.5 && size == wxSize(1, 1) &&
              p == OdGePoint3d(1, 2, 3) && flag);

  // The tree holds 32-bit numbers: wider ones are refused, the widest reads
  // back signed as a registry number does.
  EXPECT_FALSE(Config::writeLong(eCfgConfig, L"Big", 0x100000000L) || Config::hasEntry(eCfgConfig, L"Big"));
  EXPECT_TRUE(Config::writeLong(eCfgConfig, L"Max", 0xffffffffL));
  EXPECT_TRUE(Config::read(eCfgConfig, L"Max", l) && l == -1);
}

TEST_F(ConfigFacadeTest, ProfileGroupsStayInTheTreeUntilFlush) {
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"Routed", L"tree") && Config::writeString(eCfgAddins, L"Routed", L"wx"));
  const wxString profileConfig = wxString(Config::currentProfileRoot(eCfgPathRegistry).c_str()) + L"Config";
  wxString value;
  EXPECT_FALSE(storeValue(profileConfig, L"Routed", value));
  EXPECT_TRUE(storeValue(wxString(Config::regPath(eCfgAddins, true).c_str()), L"Routed", value) && value == L"wx");
  ASSERT_TRUE(Config::flush());
  EXPECT_TRUE(storeValue(profileConfig, L"Routed", value) && value == L"tree");

  // A key deleted in the tree is gone, although the store still holds it.
  OdString text;
  ASSERT_TRUE(Config::deleteGroup(eCfgConfig));
  EXPECT_FALSE(Config::read(eCfgConfig, L"Routed", text) || Config::hasEntry(eCfgConfig, L"Routed"));
  EXPECT_TRUE(storeValue(profileConfig, L"Routed", value));
  // Deleting the profile's own group deletes the profile, in the store at once.
  ASSERT_TRUE(Config::deleteGroup(eCfgProfile));
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  EXPECT_FALSE(RegKey(eCurrentUser, wxString(Config::profilesRoot(eCfgPathRegistry).c_str()) + L"Default").exists());
  EXPECT_FALSE(Config::deleteGroup(eCfgProfile));   // no current profile any more
  EXPECT_FALSE(Config::deleteGroup(eCfgProfiles));  // the root of all profiles stays
  EXPECT_FALSE(Config::deleteGroup(eCfgRoot));
}

TEST_F(ConfigFacadeTest, EntriesAndGroupsOnBothRoutes) {
  for (const ECfgGroup g : {eCfgDialogs, eCfgSettings}) {
    SCOPED_TRACE(static_cast<int>(g));
    ASSERT_TRUE(Config::writeLong(g, L"A", 1) && Config::writeString(g, L"B", L"b") &&
                Config::writeLong(g, L"Sub/C", 3) && Config::writeLong(g, L"Sub/Deep/D", 4));
    EXPECT_TRUE(Config::hasEntry(g, L"a") && Config::hasEntry(g, L"Sub/C"));  // names ignore case
    EXPECT_FALSE(Config::hasEntry(g, L"Sub"));                                // a group is not an entry
    EXPECT_TRUE(Config::entryType(g, L"A") == eCfgTypeInteger && Config::entryType(g, L"B") == eCfgTypeString);
    EXPECT_EQ(Config::entryType(g, L"Sub"), eCfgTypeUnknown);  // a key
    EXPECT_TRUE(Config::countEntries(g) == 2 && Config::countGroups(g) == 1);
    OdArray<OdString> names;
    names.append(L"kept");
    EXPECT_TRUE(Config::listEntries(g, names, L"Sub"));
    ASSERT_EQ(names.size(), 2u);  // appended
    EXPECT_EQ(str(names[1]), L"C");
    EXPECT_TRUE(Config::hasGroup(g) && Config::hasGroup(g, L"Sub/Deep"));

    EXPECT_TRUE(Config::renameEntry(g, L"A", L"A2"));
    EXPECT_FALSE(Config::renameEntry(g, L"A", L"A3") || Config::hasEntry(g, L"A"));  // gone
    EXPECT_FALSE(Config::renameEntry(g, L"B", L"A2"));                               // target exists
    long l = 0;
    EXPECT_TRUE(Config::read(g, L"A2", l) && l == 1);

    EXPECT_TRUE(Config::copyGroup(g, L"Sub", L"Copy") && Config::renameGroup(g, L"Copy", L"Moved"));
    EXPECT_TRUE(Config::read(g, L"Moved/Deep/D", l) && l == 4);
    EXPECT_FALSE(Config::hasGroup(g, L"Copy"));
    EXPECT_FALSE(Config::renameGroup(g, L"Moved", L"Sub"));  // target exists
    EXPECT_TRUE(Config::deleteGroup(g, L"Moved") && Config::countGroups(g) == 1);

    EXPECT_TRUE(Config::deleteEntry(g, L"B"));
    EXPECT_FALSE(Config::deleteEntry(g, L"B"));
    EXPECT_TRUE(Config::deleteGroup(g));
    EXPECT_FALSE(Config::hasGroup(g));
  }
}

TEST_F(ConfigFacadeTest, FullPathsReachBothRoutes) {
  const OdString profile = Config::currentProfileRoot(eCfgPathConfig);
  long l = 0;
  EXPECT_TRUE(Config::writeLong(profile + L"Config/ByPath", 17) && Config::read(eCfgConfig, L"ByPath", l) && l == 17);
  const OdString wxPath = Config::regPath(eCfgUser) + L"ByPath";
  double d = 0;
  EXPECT_TRUE(Config::writeDouble(wxPath, 2.5) && Config::read(wxPath, d) && d == 2.5);
  OdString s;
  EXPECT_FALSE(Config::read(OdString(L"/TVCAD/Key/"), s));  // a key path names no entry
  EXPECT_TRUE(Config::hasGroup(profile + L"Config/"));
  EXPECT_FALSE(Config::hasGroup(profile + L"Nothing/"));
}

TEST_F(ConfigFacadeTest, ShapeDefaultsAreWritten) {
  ASSERT_TRUE(Config::setShapeDefaults());
  const std::pair<const wchar_t*, long> defaults[] = {
      {L"AntiAliasScreen", 1}, {L"AUTOCOMPLETEMODE", 31}, {L"AUTOSNAP", 127}, {L"CLEANSCREENOPTIONS", 29},
      {L"COLORTHEME", 1},      {L"GEOMRELATIONS", 0},     {L"GETSTARTED", 1}, {L"LAYOUTTAB", 0},
      {L"LOCKUI", 7},          {L"OSMODE", 4263},         {L"OSOPTIONS", 5},  {L"PROMPTMENU", 0},
      {L"SHORTCUTMENU", 0},    {L"SHOWDOCTABS", 0},       {L"SSLOCATE", 0},   {L"STARTUP", 2},
      {L"UCSORTHO", 0},        {L"UseConnector", 0},      {L"XDWGFADECTL", 0}};
  EXPECT_EQ(Config::countEntries(eCfgConfig), 19);
  for (const auto& [entry, value] : defaults) {
    long l = -1;
    EXPECT_TRUE(Config::read(eCfgConfig, entry, l) && l == value) << str(entry);
    EXPECT_EQ(Config::entryType(eCfgConfig, entry), eCfgTypeInteger) << str(entry);  // flags too
  }
}

TEST_F(ConfigFacadeTest, ProfileSwitchAndEntryParents) {
  EXPECT_TRUE(Config::copyProfile(L"Default", L"Second"));
  EXPECT_TRUE(Config::setCurProfileName(L"Second", true) && Config::writeLong(eCfgConfig, L"OnlyInSecond", 1));
  EXPECT_TRUE(Config::setCurProfileName(L"Default", true));
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"OnlyInSecond"));
  OdString entry(L"a/b/x");
  const auto parent = Config::getIfProfileNodeParent(entry, eCfgPlot, true);
  ASSERT_NE(parent, nullptr);
  EXPECT_EQ(str(entry), L"x");
  EXPECT_EQ(str(parent->path()), L"Default/Config/Plot/a/b/");
}

TEST_F(ConfigFacadeTest, RegExpandSwitchesExpansion) {
  for (const long expand : {0L, 1L, 0L}) {
    ASSERT_TRUE(Config::writeLong(eCfgConfig, L"REGEXPAND", expand));
    Config::initConfig(m_manager.get());
    EXPECT_EQ(Config::appConfig().IsExpandingEnvVars(), expand != 0);
  }
}

TEST(ConfigTsb, AppIdFileAndItsMessages) {
  EXPECT_TRUE(Config::isTSB());
  test::TempDir dir;
  const std::pair<const char*, std::wstring> cases[] = {
      {nullptr, L"TSB app ID file '%s' does not exist"},
      {"{ not json", L"Unable to parse json from TSB app ID file '%s'"},
      {"[\"appID\"]", L"Unable to parse json from TSB app ID file '%s'"},
      {R"({"appID": "a1"})", L"Unable to read json key 'companyID' from TSB app file"},
      {R"({"appID": 5, "companyID": "c"})", L"Unable to read json key 'appID' from TSB app file"},
      {R"({"appID": "app-7", "companyID": "c"})", L""}};
  int n = 0;
  for (const auto& [content, message] : cases) {
    const auto file = dir / ("tsb" + std::to_string(++n) + ".json");
    if (content != nullptr) std::ofstream(file) << content;
    const OdString name(file.string().c_str());
    test::LogCapture log;
    const OdString appId = Config::readTsbAppID(name);
    EXPECT_EQ(str(appId), message.empty() ? L"app-7" : L"");
    std::wstring expected = message;
    if (const auto at = expected.find(L"%s"); at != std::wstring::npos) expected.replace(at, 2, str(name));
    EXPECT_EQ(log.messages(), message.empty() ? std::vector<std::wstring>() : std::vector<std::wstring>{expected});
  }
}

// "." and ".." in an entry path would step out of the group (on the store
// route, wx reads them as relative steps): they are refused on both routes,
// for reads and writes alike, and nothing is written anywhere.
TEST_F(ConfigFacadeTest, EntryPathsWithRelativeStepsAreRefused) {
  for (const ECfgGroup g : {eCfgConfig, eCfgSettings}) {
    for (const wchar_t* entry : {L"../../x", L"./x", L"a/../x", L"..", L"a/./x"}) {
      SCOPED_TRACE(wxString::Format(L"%d %ls", static_cast<int>(g), entry));
      EXPECT_FALSE(Config::writeLong(g, entry, 1));
      EXPECT_FALSE(Config::writeString(g, entry, L"v"));
      long l = 0;
      EXPECT_FALSE(Config::read(g, entry, l));
    }
  }
  EXPECT_FALSE(Config::hasEntry(eCfgSettings, L"x"));
  ASSERT_TRUE(Config::flush());
  const OdString profiles = Config::profilesRoot(eCfgPathRegistry);
  EXPECT_FALSE(RegKey(eCurrentUser, wxString(profiles.c_str()) + L"x").exists());
  EXPECT_FALSE(RegKey(eCurrentUser, wxString(profiles.c_str()) + L"Default\\x").exists());
  // Dots inside a name are ordinary characters.
  EXPECT_TRUE(Config::writeLong(eCfgConfig, L"a..b/.x.", 1));
}
