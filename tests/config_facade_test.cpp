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

using namespace ut;

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

  // A string value straight from the store, bypassing every cache.
  static bool storeString(const wxString& key, const wxString& name, wxString& value) {
    RegKey k(eCurrentUser, key);
    return k.open(eRead) && k.queryValue(name, value);
  }

  test::TempStore m_store;
  std::unique_ptr<ProfileManagerBase> m_manager;
};

std::wstring str(const OdString& s) { return s.c_str(); }

}  // namespace

TEST_F(ConfigFacadeTest, ScalarRoundTripsOnBothRoutes) {
  for (const ECfgGroup g : {eCfgConfig, eCfgAddins, eCfgStartup, eCfgDataCollection}) {
    SCOPED_TRACE(static_cast<int>(g));
    EXPECT_TRUE(Config::writeBool(g, L"Flag", true));
    EXPECT_TRUE(Config::writeShort(g, L"Short", -123));
    EXPECT_TRUE(Config::writeLong(g, L"Long", -2147483647L - 1));
    EXPECT_TRUE(Config::writeString(g, L"Text", L"ä \"quoted\" \\ line\nbreak"));
    EXPECT_TRUE(Config::writeDouble(g, L"Double", 0.1 + 0.2));
    bool flag = false;
    short s = 0;
    long l = 0;
    OdString text;
    double d = 0;
    EXPECT_TRUE(Config::read(g, L"Flag", flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(Config::read(g, L"Short", s));
    EXPECT_EQ(s, -123);
    EXPECT_TRUE(Config::read(g, L"Long", l));
    EXPECT_EQ(l, -2147483647L - 1);
    EXPECT_TRUE(Config::read(g, L"Text", text));
    EXPECT_EQ(str(text), L"ä \"quoted\" \\ line\nbreak");
    EXPECT_TRUE(Config::read(g, L"Double", d));
    EXPECT_EQ(d, 0.1 + 0.2);  // exactly: doubles are written to read back unchanged
  }
}

TEST_F(ConfigFacadeTest, CompositeValuesUseTheirTextFormats) {
  EXPECT_TRUE(Config::writeSize(eCfgWindows, L"Size", wxSize(640, -480)));
  EXPECT_TRUE(Config::writeRect(eCfgWindows, L"WxRect", wxRect(1, 2, 3, 4)));
  const tagRECT rect{-5, 6, 7, 8};
  EXPECT_TRUE(Config::writeRect(eCfgWindows, L"Rect", rect));
  const tagPOINT point{9, -10};
  EXPECT_TRUE(Config::writePoint(eCfgWindows, L"Point", point));
  EXPECT_TRUE(Config::writePoint(eCfgWindows, L"WxPoint", wxPoint(11, 12)));
  EXPECT_TRUE(Config::writePoint(eCfgWindows, L"P2", OdGePoint2d(1.5, -2.25)));
  EXPECT_TRUE(Config::writePoint(eCfgWindows, L"P3", OdGePoint3d(1e20, 0.5, 3)));

  OdString text;
  ASSERT_TRUE(Config::read(eCfgWindows, L"Size", text));
  EXPECT_EQ(str(text), L"640,-480");
  ASSERT_TRUE(Config::read(eCfgWindows, L"Rect", text));
  EXPECT_EQ(str(text), L"-5,6,7,8");
  ASSERT_TRUE(Config::read(eCfgWindows, L"WxRect", text));
  EXPECT_EQ(str(text), L"1,2,3,4");
  ASSERT_TRUE(Config::read(eCfgWindows, L"P2", text));
  EXPECT_EQ(str(text), L"1.5,-2.25");
  ASSERT_TRUE(Config::read(eCfgWindows, L"P3", text));
  EXPECT_EQ(str(text), L"1e+20,0.5,3");

  wxSize size;
  EXPECT_TRUE(Config::read(eCfgWindows, L"Size", size));
  EXPECT_EQ(size, wxSize(640, -480));
  wxRect wr;
  EXPECT_TRUE(Config::read(eCfgWindows, L"WxRect", wr));
  EXPECT_EQ(wr, wxRect(1, 2, 3, 4));
  tagRECT r{};
  EXPECT_TRUE(Config::read(eCfgWindows, L"Rect", r));
  EXPECT_EQ(r.left, -5);
  EXPECT_EQ(r.bottom, 8);
  tagPOINT p{};
  EXPECT_TRUE(Config::read(eCfgWindows, L"Point", p));
  EXPECT_EQ(p.y, -10);
  wxPoint wp;
  EXPECT_TRUE(Config::read(eCfgWindows, L"WxPoint", wp));
  EXPECT_EQ(wp, wxPoint(11, 12));
  OdGePoint2d p2;
  EXPECT_TRUE(Config::read(eCfgWindows, L"P2", p2));
  EXPECT_EQ(p2, OdGePoint2d(1.5, -2.25));
  OdGePoint3d p3;
  EXPECT_TRUE(Config::read(eCfgWindows, L"P3", p3));
  EXPECT_EQ(p3, OdGePoint3d(1e20, 0.5, 3));
}

TEST_F(ConfigFacadeTest, TypedReadsLeaveOutputAloneOnMissOrMismatch) {
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"Text", L"abc"));
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Number", 70000));
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"BadList", L"1,2,x"));
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"LongList", L"1,2,3"));
  ASSERT_TRUE(Config::writeString(eCfgAddins, L"Text", L"abc"));

  long l = 42;
  EXPECT_FALSE(Config::read(eCfgConfig, L"Missing", l));
  EXPECT_FALSE(Config::read(eCfgConfig, L"Text", l));
  EXPECT_FALSE(Config::read(eCfgAddins, L"Text", l));
  EXPECT_FALSE(Config::read(eCfgAddins, L"Missing", l));
  EXPECT_EQ(l, 42);
  short s = 7;
  EXPECT_FALSE(Config::read(eCfgConfig, L"Number", s));  // does not fit a short
  EXPECT_EQ(s, 7);
  OdString text(L"keep");
  EXPECT_FALSE(Config::read(eCfgConfig, L"Number", text));
  EXPECT_FALSE(Config::read(eCfgConfig, L"Missing", text));
  EXPECT_EQ(str(text), L"keep");
  double d = 1.5;
  EXPECT_FALSE(Config::read(eCfgConfig, L"Text", d));
  EXPECT_FALSE(Config::read(eCfgConfig, L"Number", d));
  EXPECT_EQ(d, 1.5);
  wxSize size(1, 1);
  EXPECT_FALSE(Config::read(eCfgConfig, L"BadList", size));
  EXPECT_FALSE(Config::read(eCfgConfig, L"LongList", size));  // three numbers for two
  EXPECT_EQ(size, wxSize(1, 1));
  OdGePoint3d p(1, 2, 3);
  EXPECT_FALSE(Config::read(eCfgConfig, L"BadList", p));
  EXPECT_EQ(p, OdGePoint3d(1, 2, 3));
  bool flag = true;
  EXPECT_FALSE(Config::read(eCfgConfig, L"Text", flag));
  EXPECT_TRUE(flag);
}

TEST_F(ConfigFacadeTest, NumbersOutsideThirtyTwoBitsAreRefusedInTheTree) {
  EXPECT_FALSE(Config::writeLong(eCfgConfig, L"Big", 0x100000000L));
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"Big"));
  EXPECT_TRUE(Config::writeLong(eCfgConfig, L"Max", 0xffffffffL));
  long l = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Max", l));
  EXPECT_EQ(l, -1);  // a 32-bit registry number reads back signed
}

TEST_F(ConfigFacadeTest, UnknownGroupsAreReportedAndFail) {
  test::LogCapture log;
  const auto bad = static_cast<ECfgGroup>(40);
  long l = 5;
  EXPECT_FALSE(Config::read(bad, L"X", l));
  EXPECT_EQ(l, 5);
  EXPECT_FALSE(Config::writeLong(bad, L"X", 1));
  EXPECT_FALSE(Config::hasGroup(static_cast<ECfgGroup>(-1)));
  EXPECT_EQ(Config::countEntries(bad), 0);
  EXPECT_EQ(Config::entryType(bad, L"X"), eCfgTypeUnknown);
  ASSERT_GE(log.messages().size(), 4u);
  EXPECT_EQ(log.messages()[0], L"Unknown configuration group (40)");
  bool sawMinusOne = false;
  for (const auto& m : log.messages()) sawMinusOne = sawMinusOne || m == L"Unknown configuration group (-1)";
  EXPECT_TRUE(sawMinusOne);
}

TEST_F(ConfigFacadeTest, ProfileGroupsStayInTheTreeUntilFlush) {
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"Routed", L"tree"));
  ASSERT_TRUE(Config::writeString(eCfgAddins, L"Routed", L"wx"));
  const wxString profileConfig = wxString(Config::currentProfileRoot(eCfgPathRegistry).c_str()) + L"Config";
  wxString value;
  EXPECT_FALSE(storeString(profileConfig, L"Routed", value));
  EXPECT_TRUE(storeString(wxString(Config::regPath(eCfgAddins, true).c_str()), L"Routed", value));
  EXPECT_EQ(value, L"wx");
  ASSERT_TRUE(Config::flush());
  ASSERT_TRUE(storeString(profileConfig, L"Routed", value));
  EXPECT_EQ(value, L"tree");

  // A manager made afresh reads what the flush wrote.
  m_manager.reset();
  m_manager = std::make_unique<ProfileManagerBase>();
  OdString text;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Routed", text));
  EXPECT_EQ(str(text), L"tree");
  EXPECT_EQ(str(Config::currentProfileName()), L"Default");
}

TEST_F(ConfigFacadeTest, EntryTypesAreTranslated) {
  Config::writeLong(eCfgConfig, L"N", 1);
  Config::writeString(eCfgConfig, L"S", L"s");
  Config::writeLong(eCfgAddins, L"N", 1);
  Config::writeString(eCfgAddins, L"S", L"s");
  EXPECT_EQ(Config::entryType(eCfgConfig, L"N"), eCfgTypeInteger);
  EXPECT_EQ(Config::entryType(eCfgConfig, L"S"), eCfgTypeString);
  EXPECT_EQ(Config::entryType(eCfgConfig, L"None"), eCfgTypeUnknown);
  EXPECT_EQ(Config::entryType(eCfgAddins, L"N"), eCfgTypeInteger);
  EXPECT_EQ(Config::entryType(eCfgAddins, L"S"), eCfgTypeString);
  EXPECT_EQ(Config::entryType(eCfgAddins, L"None"), eCfgTypeUnknown);
}

TEST_F(ConfigFacadeTest, EntriesAndGroupsOnBothRoutes) {
  for (const ECfgGroup g : {eCfgDialogs, eCfgSettings}) {
    SCOPED_TRACE(static_cast<int>(g));
    ASSERT_TRUE(Config::writeLong(g, L"A", 1));
    ASSERT_TRUE(Config::writeString(g, L"B", L"b"));
    ASSERT_TRUE(Config::writeLong(g, L"Sub/C", 3));
    ASSERT_TRUE(Config::writeLong(g, L"Sub/Deep/D", 4));
    EXPECT_TRUE(Config::hasEntry(g, L"a"));  // names ignore case
    EXPECT_TRUE(Config::hasEntry(g, L"Sub/C"));
    EXPECT_FALSE(Config::hasEntry(g, L"Sub"));  // a group is not an entry
    EXPECT_EQ(Config::countEntries(g), 2);
    EXPECT_EQ(Config::countGroups(g), 1);
    OdArray<OdString> names;
    EXPECT_TRUE(Config::listEntries(g, names, L"Sub"));
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(str(names[0]), L"C");
    EXPECT_TRUE(Config::hasGroup(g));
    EXPECT_TRUE(Config::hasGroup(g, L"Sub/Deep"));
    EXPECT_FALSE(Config::hasGroup(g, L"Nope"));

    EXPECT_TRUE(Config::renameEntry(g, L"A", L"A2"));
    EXPECT_FALSE(Config::renameEntry(g, L"A", L"A3"));   // gone
    EXPECT_FALSE(Config::renameEntry(g, L"B", L"A2"));   // target exists
    long l = 0;
    EXPECT_TRUE(Config::read(g, L"A2", l));
    EXPECT_EQ(l, 1);
    EXPECT_FALSE(Config::hasEntry(g, L"A"));

    EXPECT_TRUE(Config::copyGroup(g, L"Sub", L"Copy"));
    EXPECT_TRUE(Config::read(g, L"Copy/Deep/D", l));
    EXPECT_EQ(l, 4);
    EXPECT_TRUE(Config::renameGroup(g, L"Copy", L"Moved"));
    EXPECT_FALSE(Config::hasGroup(g, L"Copy"));
    EXPECT_TRUE(Config::hasEntry(g, L"Moved/C"));
    EXPECT_FALSE(Config::renameGroup(g, L"Moved", L"Sub"));  // target exists
    EXPECT_TRUE(Config::deleteGroup(g, L"Moved"));
    EXPECT_FALSE(Config::hasGroup(g, L"Moved"));
    EXPECT_EQ(Config::countGroups(g), 1);

    EXPECT_TRUE(Config::deleteEntry(g, L"B"));
    EXPECT_FALSE(Config::deleteEntry(g, L"B"));
    EXPECT_TRUE(Config::deleteGroup(g));
    EXPECT_FALSE(Config::hasGroup(g));
    EXPECT_EQ(Config::countEntries(g), 0);
  }
}

TEST_F(ConfigFacadeTest, DeletingTheProfileGroupDeletesTheProfile) {
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"X", 1));
  ASSERT_TRUE(Config::flush());
  ASSERT_TRUE(Config::deleteGroup(eCfgProfile));
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  EXPECT_FALSE(RegKey(eCurrentUser, wxString(Config::profilesRoot(eCfgPathRegistry).c_str()) + L"Default").exists());
  EXPECT_FALSE(Config::deleteGroup(eCfgProfile));  // no current profile any more
  EXPECT_FALSE(Config::deleteGroup(eCfgProfiles));  // the root of all profiles stays
}

TEST_F(ConfigFacadeTest, FullPathsReachBothRoutes) {
  const OdString profilePath = Config::currentProfileRoot(eCfgPathConfig) + L"Config/ByPath";
  EXPECT_TRUE(Config::writeLong(profilePath, 17));
  long l = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"ByPath", l));
  EXPECT_EQ(l, 17);
  const OdString wxPath = Config::regPath(eCfgUser) + L"ByPath";
  EXPECT_TRUE(Config::writeDouble(wxPath, 2.5));
  double d = 0;
  EXPECT_TRUE(Config::read(wxPath, d));
  EXPECT_EQ(d, 2.5);
  EXPECT_TRUE(Config::writeString(wxPath, L"s"));
  OdString s;
  EXPECT_TRUE(Config::read(wxPath, s));
  EXPECT_EQ(str(s), L"s");
  EXPECT_FALSE(Config::read(OdString(L"/TVCAD/Key/"), s));  // a key path names no entry
  EXPECT_TRUE(Config::hasGroup(Config::currentProfileRoot(eCfgPathConfig) + L"Config/"));
  EXPECT_FALSE(Config::hasGroup(Config::currentProfileRoot(eCfgPathConfig) + L"Nothing/"));
}

TEST_F(ConfigFacadeTest, ShapeDefaultsAreWritten) {
  ASSERT_TRUE(Config::setShapeDefaults());
  EXPECT_EQ(Config::countEntries(eCfgConfig), 19);
  long l = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"OSMODE", l));
  EXPECT_EQ(l, 4263);
  bool flag = false;
  EXPECT_TRUE(Config::read(eCfgConfig, L"GETSTARTED", flag));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(Config::read(eCfgConfig, L"UCSORTHO", flag));
  EXPECT_FALSE(flag);
  EXPECT_EQ(Config::entryType(eCfgConfig, L"LAYOUTTAB"), eCfgTypeInteger);
}

TEST_F(ConfigFacadeTest, WxStringFunctions) {
  EXPECT_TRUE(ut::setString(eCfgMenus, L"W", L"wert"));
  EXPECT_EQ(ut::getString(eCfgMenus, L"W"), L"wert");
  EXPECT_EQ(ut::getString(eCfgMenus, L"Missing"), L"");
}

TEST_F(ConfigFacadeTest, ProfileOperationsAreForwarded) {
  EXPECT_TRUE(Config::copyProfile(L"Default", L"Second"));
  OdArray<OdString> names;
  EXPECT_EQ(Config::getProfileNames(names), 2);
  EXPECT_TRUE(Config::setCurProfileName(L"Second", true));
  EXPECT_EQ(str(Config::currentProfileName()), L"Second");
  EXPECT_TRUE(Config::writeLong(eCfgConfig, L"OnlyInSecond", 1));
  EXPECT_TRUE(Config::setCurProfileName(L"Default", true));
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"OnlyInSecond"));
  EXPECT_TRUE(Config::setProfileDescription(L"Second", L"two"));
  EXPECT_TRUE(Config::renameProfile(L"Second", L"Third"));
  EXPECT_TRUE(Config::resetProfile(L"Third"));
  EXPECT_TRUE(Config::deleteProfile(L"Third"));
  EXPECT_EQ(&Config::profileManager(), m_manager.get());
  EXPECT_EQ(Config::getIfProfileNode(eCfgAddins, false), nullptr);
  EXPECT_EQ(Config::getIfProfileNode(eCfgProfiles, false), m_manager->getProfileNode(OdString(), false));
  OdString entry(L"a/b/x");
  const auto parent = Config::getIfProfileNodeParent(entry, eCfgPlot, true);
  ASSERT_NE(parent, nullptr);
  EXPECT_EQ(str(entry), L"x");
  EXPECT_EQ(str(parent->path()), L"Default/Config/Plot/a/b/");
}

TEST_F(ConfigFacadeTest, RegExpandSwitchesExpansion) {
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"REGEXPAND", 0));
  Config::initConfig(m_manager.get());
  EXPECT_FALSE(Config::appConfig().IsExpandingEnvVars());
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"REGEXPAND", 1));
  Config::initConfig(m_manager.get());
  EXPECT_TRUE(Config::appConfig().IsExpandingEnvVars());
}

TEST(ConfigTsb, AppIdFileAndItsMessages) {
  test::TempDir dir;
  test::LogCapture log;
  const std::string missing = (dir / "none.json").string();
  EXPECT_TRUE(Config::isTSB());
  EXPECT_TRUE(Config::readTsbAppID(OdString(missing.c_str())).isEmpty());
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_EQ(log.messages()[0], L"TSB app ID file '" + wxString(missing).ToStdWstring() + L"' does not exist");

  const auto write = [&](const char* name, const char* text) {
    std::ofstream(dir / name) << text;
    return OdString((dir / name).string().c_str());
  };
  log.clear();
  const OdString bad = write("bad.json", "{ not json");
  EXPECT_TRUE(Config::readTsbAppID(bad).isEmpty());
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_EQ(log.messages()[0], L"Unable to parse json from TSB app ID file '" + str(bad) + L"'");

  log.clear();
  EXPECT_TRUE(Config::readTsbAppID(write("nocompany.json", R"({"appID": "a1"})")).isEmpty());
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_EQ(log.messages()[0], L"Unable to read json key 'companyID' from TSB app file");

  log.clear();
  EXPECT_TRUE(Config::readTsbAppID(write("wrongtype.json", R"({"appID": 5, "companyID": "c"})")).isEmpty());
  ASSERT_EQ(log.messages().size(), 1u);
  EXPECT_EQ(log.messages()[0], L"Unable to read json key 'appID' from TSB app file");

  log.clear();
  EXPECT_EQ(str(Config::readTsbAppID(write("good.json", R"({"appID": "app-7", "companyID": "c"})"))), L"app-7");
  EXPECT_TRUE(log.messages().empty());
}
