#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <wx/fileconf.h>

#include "test_support.h"

using namespace ut;

namespace {

std::vector<wxString> groups(const wxConfigBase& config) {
  std::vector<wxString> out;
  wxString name;
  long index = 0;
  for (bool more = config.GetFirstGroup(name, index); more; more = config.GetNextGroup(name, index)) {
    out.push_back(name);
  }
  return out;
}

std::vector<wxString> entries(const wxConfigBase& config) {
  std::vector<wxString> out;
  wxString name;
  long index = 0;
  for (bool more = config.GetFirstEntry(name, index); more; more = config.GetNextEntry(name, index)) {
    out.push_back(name);
  }
  return out;
}

RegKey openKey(const wxString& path) {
  RegKey key(eCurrentUser, path);
  key.open();
  return key;
}

}  // namespace

TEST(RegConfigPaths, SetPathLikeWx) {
  test::TempStore store;
  RegConfig config;
  EXPECT_EQ(config.GetPath(), "");
  config.SetPath("a/b");
  EXPECT_EQ(config.GetPath(), "/a/b");
  config.SetPath("c");
  EXPECT_EQ(config.GetPath(), "/a/b/c");
  config.SetPath("..");
  EXPECT_EQ(config.GetPath(), "/a/b");
  config.SetPath("../x/./y/");
  EXPECT_EQ(config.GetPath(), "/a/x/y");
  config.SetPath("/top//level/");
  EXPECT_EQ(config.GetPath(), "/top/level");
  config.SetPath("../../../..");
  EXPECT_EQ(config.GetPath(), "") << "nothing above the root";
  config.SetPath("q");
  config.SetPath("");
  EXPECT_EQ(config.GetPath(), "");
  config.SetPath("q");
  config.SetPath("/");
  EXPECT_EQ(config.GetPath(), "");

  // wx's own path changer, as the configuration store drives it.
  config.SetPath("/start");
  {
    wxConfigPathChanger changer(&config, "/g1/g2/entry");
    EXPECT_EQ(config.GetPath(), "/g1/g2");
    EXPECT_EQ(changer.Name(), "entry");
  }
  EXPECT_EQ(config.GetPath(), "/start");
  {
    wxConfigPathChanger changer(&config, "../sibling/entry");
    EXPECT_EQ(config.GetPath(), "/sibling");
  }
  EXPECT_EQ(config.GetPath(), "/start");
}

TEST(RegConfigPaths, WritesLandUnderTheRootKey) {
  test::TempStore store;
  RegConfig config;
  ASSERT_TRUE(config.Write("top", 1L));
  ASSERT_TRUE(config.Write("g1/g2/entry", "text"));
  config.SetPath("/g1");
  ASSERT_TRUE(config.Write("inG1", 2L));
  ASSERT_TRUE(config.Write("/abs", 3L));
  ASSERT_TRUE(config.Write("../alsoTop", 4L));
  EXPECT_EQ(config.GetPath(), "/g1") << "the path changer restores the path";

  RegKey root = openKey("Software\\TVCAD");
  ASSERT_TRUE(root.isOpen());
  long v = 0;
  EXPECT_TRUE(root.queryValue("top", v));
  EXPECT_TRUE(root.queryValue("abs", v));
  EXPECT_TRUE(root.queryValue("alsoTop", v));
  EXPECT_EQ(v, 4);
  RegKey g2 = openKey("Software\\TVCAD\\g1\\g2");
  wxString s;
  ASSERT_TRUE(g2.queryValue("entry", s));
  EXPECT_EQ(s, "text");
  EXPECT_TRUE(openKey("Software\\TVCAD\\g1").queryValue("inG1", v));

  // Another root below HKEY_CURRENT_USER, given with either separator.
  RegConfig other("Software/Other\\Product");
  ASSERT_TRUE(other.Write("x/y", 5L));
  EXPECT_TRUE(openKey("Software\\Other\\Product\\x").queryValue("y", v));
  EXPECT_EQ(v, 5);
  EXPECT_FALSE(config.HasEntry("x/y"));

  // A group name may not hold the store's separator.
  EXPECT_FALSE(config.Write("bad\\group/entry", 1L));
  EXPECT_FALSE(openKey("Software\\TVCAD\\g1\\bad").isOpen());
  // An entry name may: value names hold anything.
  ASSERT_TRUE(config.Write("/odd\\name", 6L));
  EXPECT_TRUE(root.queryValue("odd\\name", v));
}

TEST(RegConfigRead, TypesAndConversions) {
  test::TempStore store;
  RegConfig config;
  ASSERT_TRUE(config.Write("num", 42L));
  ASSERT_TRUE(config.Write("str", "hello"));
  ASSERT_TRUE(config.Write("numStr", "123"));
  ASSERT_TRUE(config.Write("neg", -1L));
  ASSERT_TRUE(config.Write("u32", 4294967295UL));
  ASSERT_TRUE(config.Write("big", 5000000000L));
  ASSERT_TRUE(config.Write("dbl", 1.5));
  ASSERT_TRUE(config.Write("flag", true));
  wxMemoryBuffer bin;
  bin.AppendData("\0\1\2", 3);
  ASSERT_TRUE(config.Write("bin", bin));
  RegKey raw = openKey("Software\\TVCAD");
  ASSERT_TRUE(raw.setExpandString("exp", "%PATH%"));
  const std::uint8_t multi[] = {'a', 0, 0, 0};
  ASSERT_TRUE(raw.setRawValue("multi", eRegMultiSz, multi, sizeof multi));

  EXPECT_EQ(config.GetEntryType("num"), wxConfigBase::Type_Integer);
  EXPECT_EQ(config.GetEntryType("big"), wxConfigBase::Type_Integer);
  EXPECT_EQ(config.GetEntryType("str"), wxConfigBase::Type_String);
  EXPECT_EQ(config.GetEntryType("exp"), wxConfigBase::Type_String);
  EXPECT_EQ(config.GetEntryType("bin"), wxConfigBase::Type_Unknown);
  EXPECT_EQ(config.GetEntryType("multi"), wxConfigBase::Type_Unknown);
  EXPECT_EQ(config.GetEntryType("missing"), wxConfigBase::Type_Unknown);
  EXPECT_EQ(raw.valueType("num"), eRegDword);
  EXPECT_EQ(raw.valueType("u32"), eRegDword) << "32-bit numbers stay DWORDs";
  EXPECT_EQ(raw.valueType("big"), eRegQword) << "wider ones are not cut";

  long v = 0;
  EXPECT_TRUE(config.Read("num", &v));
  EXPECT_EQ(v, 42);
  EXPECT_TRUE(config.Read("numStr", &v)) << "a number held as a string reads as a number";
  EXPECT_EQ(v, 123);
  EXPECT_TRUE(config.Read("neg", &v));
  EXPECT_EQ(v, -1);
  EXPECT_TRUE(config.Read("u32", &v));
  EXPECT_EQ(static_cast<std::uint32_t>(v), 0xFFFFFFFFu);
  EXPECT_TRUE(config.Read("big", &v));
  EXPECT_EQ(v, 5000000000L);
  EXPECT_FALSE(config.Read("str", &v));
  EXPECT_EQ(config.ReadLong("str", 77), 77);
  EXPECT_FALSE(config.Read("bin", &v));

  wxString s;
  EXPECT_TRUE(config.Read("str", &s));
  EXPECT_EQ(s, "hello");
  EXPECT_TRUE(config.Read("num", &s)) << "a number reads as its decimal text";
  EXPECT_EQ(s, "42");
  EXPECT_EQ(config.Read("missing", "default"), "default");
  EXPECT_DOUBLE_EQ(config.ReadDouble("dbl", 0.0), 1.5);
  EXPECT_TRUE(config.ReadBool("flag", false));
  wxMemoryBuffer back;
  ASSERT_TRUE(config.Read("bin", &back));
  ASSERT_EQ(back.GetDataLen(), 3u);
  EXPECT_EQ(memcmp(back.GetData(), "\0\1\2", 3), 0);

  EXPECT_TRUE(config.HasEntry("NUM")) << "names ignore case";
  EXPECT_FALSE(config.HasEntry("nothing"));
  EXPECT_TRUE(config.Flush());
}

TEST(RegConfigEnumerate, GroupsAndEntries) {
  test::TempStore store;
  RegConfig config;
  for (const wchar_t* g : {L"beta", L"Alpha", L"gamma", L"Über"}) ASSERT_TRUE(config.Write(wxString(g) + "/v", 1L));
  ASSERT_TRUE(config.Write("Alpha/Inner/deep", 1L));
  for (const char* e : {"z", "a", "m"}) ASSERT_TRUE(config.Write(e, 1L));
  ASSERT_TRUE(config.Write("Z", "overwrite keeps the place and the first spelling"));

  EXPECT_EQ(groups(config), (std::vector<wxString>{"Alpha", "beta", "gamma", wxString(L"Über")}));
  EXPECT_EQ(entries(config), (std::vector<wxString>{"z", "a", "m"}));
  EXPECT_EQ(config.GetNumberOfGroups(), 4u);
  EXPECT_EQ(config.GetNumberOfGroups(true), 5u);
  EXPECT_EQ(config.GetNumberOfEntries(), 3u);
  EXPECT_EQ(config.GetNumberOfEntries(true), 8u);
  EXPECT_TRUE(config.HasGroup(wxString(L"über")));
  EXPECT_TRUE(config.HasGroup("alpha/inner"));
  EXPECT_TRUE(config.HasGroup("/"));
  EXPECT_FALSE(config.HasGroup("Inner"));
  EXPECT_FALSE(config.HasGroup("z")) << "an entry is not a group";

  // Walking the tree recursively, as the configuration store loads it:
  // enumerations of inner groups do not disturb the outer one.
  std::vector<wxString> visited;
  std::function<void()> walk = [&] {
    wxString name;
    long index = 0;
    for (bool more = config.GetFirstGroup(name, index); more; more = config.GetNextGroup(name, index)) {
      wxConfigPathChanger changer(&config, name + "/");
      visited.push_back(config.GetPath());
      for (const auto& e : entries(config)) visited.push_back(config.GetPath() + "/" + e);
      walk();
    }
  };
  walk();
  EXPECT_EQ(visited, (std::vector<wxString>{"/Alpha", "/Alpha/v", "/Alpha/Inner", "/Alpha/Inner/deep", "/beta",
                                             "/beta/v", "/gamma", "/gamma/v", wxString(L"/Über"),
                                             wxString(L"/Über/v")}));

  // A group that does not exist enumerates as empty.
  config.SetPath("/nowhere");
  EXPECT_TRUE(groups(config).empty());
  EXPECT_TRUE(entries(config).empty());
  EXPECT_EQ(config.GetNumberOfEntries(true), 0u);
  wxString name;
  long index = 5;
  EXPECT_FALSE(config.GetNextEntry(name, index));
}

TEST(RegConfigEdit, RenameEntry) {
  test::TempStore store;
  RegConfig config;
  config.SetPath("/g");
  for (const char* e : {"one", "two", "three"}) ASSERT_TRUE(config.Write(e, 1L));
  ASSERT_TRUE(config.Write("two", 2L));
  ASSERT_TRUE(config.RenameEntry("two", "deux"));
  EXPECT_EQ(entries(config), (std::vector<wxString>{"one", "deux", "three"})) << "the place is kept";
  EXPECT_EQ(config.ReadLong("deux", 0), 2);
  EXPECT_FALSE(config.HasEntry("two"));
  EXPECT_FALSE(config.RenameEntry("two", "again")) << "the old name is gone";
  EXPECT_FALSE(config.RenameEntry("one", "THREE")) << "the new name is taken";
  EXPECT_EQ(config.ReadLong("three", 0), 1);
  ASSERT_TRUE(config.RenameEntry("one", "ONE")) << "a change of case only";
  EXPECT_EQ(entries(config), (std::vector<wxString>{"ONE", "deux", "three"}));
  EXPECT_FALSE(config.RenameEntry("deux", "x/y"));
  EXPECT_FALSE(config.RenameEntry("a/deux", "y"));
}

TEST(RegConfigEdit, RenameGroup) {
  test::TempStore store;
  RegConfig config;
  ASSERT_TRUE(config.Write("old/v", 1L));
  ASSERT_TRUE(config.Write("old/sub/w", "deep"));
  ASSERT_TRUE(config.Write("taken/v", 1L));
  ASSERT_TRUE(config.RenameGroup("old", "new"));
  EXPECT_FALSE(config.HasGroup("old"));
  EXPECT_EQ(config.Read("new/sub/w", ""), "deep");
  EXPECT_EQ(config.ReadLong("new/v", 0), 1);
  EXPECT_FALSE(config.RenameGroup("old", "other"));
  EXPECT_FALSE(config.RenameGroup("new", "TAKEN"));
  EXPECT_EQ(config.Read("new/sub/w", ""), "deep") << "a refused rename changes nothing";
  ASSERT_TRUE(config.RenameGroup("new", "NEW"));
  EXPECT_EQ(groups(config), (std::vector<wxString>{"NEW", "taken"}));
  EXPECT_FALSE(config.RenameGroup("NEW", "a/b"));

  // The rename is seen through a key object opened before it.
  RegKey before = openKey("Software\\TVCAD\\taken");
  ASSERT_TRUE(config.RenameGroup("taken", "moved"));
  EXPECT_FALSE(before.exists());
  EXPECT_FALSE(before.hasValue("v"));
}

TEST(RegConfigEdit, DeleteEntryAndEmptyGroups) {
  test::TempStore store;
  RegConfig config;
  ASSERT_TRUE(config.Write("a/b/only", 1L));
  ASSERT_TRUE(config.Write("a/b/c/deeper", 1L));
  ASSERT_TRUE(config.Write("keep/x", 1L));
  ASSERT_TRUE(config.Write("keep/y", 1L));
  ASSERT_TRUE(config.Write("rootEntry", 1L));

  // A group that still has a subgroup stays.
  EXPECT_TRUE(config.DeleteEntry("a/b/only"));
  EXPECT_TRUE(config.HasGroup("a/b"));
  // An emptied group goes; the current path moves to its parent, as in wx.
  config.SetPath("/a/b/c");
  EXPECT_TRUE(config.DeleteEntry("deeper"));
  EXPECT_FALSE(config.HasGroup("/a/b/c"));
  EXPECT_EQ(config.GetPath(), "/a/b");
  config.SetPath("/");
  // Unless asked not to.
  EXPECT_TRUE(config.DeleteEntry("keep/x", false));
  EXPECT_TRUE(config.DeleteEntry("keep/y", false));
  EXPECT_TRUE(config.HasGroup("keep"));
  EXPECT_FALSE(config.DeleteEntry("keep/y"));
  // The root is never deleted.
  EXPECT_TRUE(config.DeleteEntry("rootEntry"));
  EXPECT_TRUE(RegKey(eCurrentUser, "Software\\TVCAD").exists());
}

TEST(RegConfigEdit, DeleteGroupAndAll) {
  test::TempStore store;
  RegConfig config;
  ASSERT_TRUE(config.Write("g/h/i/v", 1L));
  ASSERT_TRUE(config.Write("g/w", 1L));
  ASSERT_TRUE(config.Write("other/v", 1L));
  RegKey outside(eCurrentUser, "Software\\Elsewhere");
  ASSERT_TRUE(outside.create());
  ASSERT_TRUE(outside.setValue("stay", 1L));

  config.SetPath("/g/h/i");
  EXPECT_TRUE(config.DeleteGroup("/g/h"));
  EXPECT_EQ(config.GetPath(), "/g") << "moved to the deepest remaining part";
  EXPECT_FALSE(config.HasGroup("/g/h"));
  EXPECT_TRUE(config.HasEntry("/g/w"));
  EXPECT_FALSE(config.DeleteGroup("h")) << "no such group";
  EXPECT_FALSE(config.DeleteGroup(""));

  EXPECT_TRUE(config.DeleteAll());
  EXPECT_EQ(config.GetPath(), "");
  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\TVCAD").exists());
  EXPECT_TRUE(outside.hasValue("stay"));
  EXPECT_TRUE(config.DeleteAll()) << "nothing left to delete is no failure";
  EXPECT_TRUE(config.Write("fresh", 1L));
}

TEST(RegConfigTransactions, AFlushLandsWholeOrNotAtAll) {
  test::TempStore store;
  RegConfig config;
  ASSERT_TRUE(config.Write("g/kept", 1L));
  {
    RegTransaction tx;
    ASSERT_TRUE(config.DeleteGroup("g"));
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(config.Write(wxString::Format("g/v%d", i), static_cast<long>(i)));
    ASSERT_TRUE(config.Flush());
    // not committed
  }
  EXPECT_EQ(config.ReadLong("g/kept", 0), 1);
  EXPECT_FALSE(config.HasEntry("g/v0"));
  {
    RegTransaction tx;
    ASSERT_TRUE(config.DeleteGroup("g"));
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(config.Write(wxString::Format("g/v%d", i), static_cast<long>(i)));
    ASSERT_TRUE(tx.commit());
  }
  EXPECT_FALSE(config.HasEntry("g/kept"));
  config.SetPath("/g");
  EXPECT_EQ(entries(config).size(), 100u);
  EXPECT_EQ(config.ReadLong("v99", 0), 99);
}

TEST(RegConfigDefault, InstallAsDefault) {
  test::TempStore store;
  delete wxConfigBase::Set(nullptr);
  wxConfigBase* installed = RegConfig::installAsDefault();
  ASSERT_NE(installed, nullptr);
  EXPECT_NE(dynamic_cast<RegConfig*>(installed), nullptr);
  EXPECT_EQ(wxConfigBase::Get(false), installed);
  EXPECT_EQ(RegConfig::installAsDefault(), installed) << "installed once";
  ASSERT_TRUE(installed->Write("viaDefault", 1L));
  EXPECT_TRUE(openKey("Software\\TVCAD").hasValue("viaDefault"));
  delete wxConfigBase::Set(nullptr);

  // A configuration object the host set stays in force.
  test::TempDir dir;
  auto* host = new wxFileConfig(wxString(), wxString(), wxString((dir / "host.ini").string()), wxString(),
                                wxCONFIG_USE_LOCAL_FILE);
  wxConfigBase::Set(host);
  EXPECT_EQ(RegConfig::installAsDefault(), host);
  delete wxConfigBase::Set(nullptr);
}
