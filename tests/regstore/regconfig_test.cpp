#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <wx/fileconf.h>

#include "test_support.h"

using namespace ut;

namespace {

// The names GetFirst/NextGroup (or Entry) hand out at the current path.
std::vector<wxString> names(const wxConfigBase& config, bool groups) {
  std::vector<wxString> out;
  wxString name;
  long index = 0;
  for (bool more = groups ? config.GetFirstGroup(name, index) : config.GetFirstEntry(name, index); more;
       more = groups ? config.GetNextGroup(name, index) : config.GetNextEntry(name, index)) {
    out.push_back(name);
  }
  return out;
}

RegKey openKey(const wxString& path) {
  RegKey key(eCurrentUser, path);
  key.open();
  return key;
}

class RegConfigTest : public ::testing::Test {
 protected:
  test::TempStore m_store;
  RegConfig m_config;
};

}  // namespace

TEST_F(RegConfigTest, WritesLandUnderTheRootKey) {
  ASSERT_TRUE(m_config.Write("top", 1L) && m_config.Write("g1/g2/entry", "text"));
  m_config.SetPath("/g1");
  ASSERT_TRUE(m_config.Write("inG1", 2L) && m_config.Write("/abs", 3L) && m_config.Write("../alsoTop", 4L));
  EXPECT_EQ(m_config.GetPath(), "/g1") << "the path changer restores the path";
  EXPECT_EQ(names(m_config, false), std::vector<wxString>{"inG1"});
  RegKey root = openKey("Software\\TVCAD");
  std::vector<wxString> values;
  EXPECT_TRUE(root.getValueNames(values) && values == (std::vector<wxString>{"top", "abs", "alsoTop"}));
  wxString s;
  EXPECT_TRUE(openKey("Software\\TVCAD\\g1\\g2").queryValue("entry", s) && s == "text");

  // Another root below HKEY_CURRENT_USER, given with either separator.
  RegConfig other("Software/Other\\Product");
  ASSERT_TRUE(other.Write("x/y", 5L));
  long v = 0;
  EXPECT_TRUE(openKey("Software\\Other\\Product\\x").queryValue("y", v) && v == 5);
  EXPECT_FALSE(m_config.HasEntry("/x/y"));
  // A group name may not hold the store's separator; an entry name may.
  EXPECT_FALSE(m_config.Write("bad\\group/entry", 1L));
  EXPECT_FALSE(openKey("Software\\TVCAD\\g1\\bad").isOpen());
  ASSERT_TRUE(m_config.Write("/odd\\name", 6L));
  EXPECT_TRUE(root.queryValue("odd\\name", v) && v == 6);
}

TEST_F(RegConfigTest, TypesAndConversions) {
  ASSERT_TRUE(m_config.Write("num", 42L) && m_config.Write("str", "hello") && m_config.Write("numStr", "123"));
  ASSERT_TRUE(m_config.Write("neg", -1L) && m_config.Write("u32", 4294967295UL) && m_config.Write("big", 5000000000L));
  wxMemoryBuffer bin;
  bin.AppendData("\0\1\2", 3);
  ASSERT_TRUE(m_config.Write("bin", bin));
  RegKey raw = openKey("Software\\TVCAD");
  ASSERT_TRUE(raw.setExpandString("exp", "%PATH%") && raw.setRawValue("multi", eRegMultiSz, "a\0\0\0", 4));

  using E = wxConfigBase::EntryType;
  const std::pair<const char*, E> types[] = {
      {"num", E::Type_Integer}, {"big", E::Type_Integer},   {"str", E::Type_String},     {"exp", E::Type_String},
      {"bin", E::Type_Unknown}, {"multi", E::Type_Unknown}, {"missing", E::Type_Unknown}};
  for (const auto& [name, type] : types) EXPECT_EQ(m_config.GetEntryType(name), type) << name;
  EXPECT_EQ(raw.valueType("u32"), eRegDword) << "32-bit numbers stay DWORDs";
  EXPECT_EQ(raw.valueType("big"), eRegQword) << "wider ones are not cut";

  // Numbers from numbers and decimal strings only; every number reads as text.
  const std::pair<const char*, long> numbers[] = {{"num", 42},          {"numStr", 123}, {"neg", -1}, {"u32", -1},
                                                  {"big", 5000000000L}, {"str", 77},     {"bin", 77}};
  for (const auto& [name, expected] : numbers) EXPECT_EQ(m_config.ReadLong(name, 77), expected) << name;
  EXPECT_EQ(m_config.Read("str", ""), "hello");
  EXPECT_EQ(m_config.Read("num", ""), "42");
  EXPECT_EQ(m_config.Read("missing", "default"), "default");
  wxMemoryBuffer back;
  ASSERT_TRUE(m_config.Read("bin", &back));
  EXPECT_TRUE(back.GetDataLen() == 3 && memcmp(back.GetData(), "\0\1\2", 3) == 0);
  EXPECT_TRUE(m_config.HasEntry("NUM")) << "names ignore case";
}

TEST_F(RegConfigTest, GroupsAndEntries) {
  for (const wchar_t* g : {L"beta", L"Alpha", L"gamma", L"Über"}) ASSERT_TRUE(m_config.Write(wxString(g) + "/v", 1L));
  ASSERT_TRUE(m_config.Write("Alpha/Inner/deep", 1L));
  for (const char* e : {"z", "a", "m"}) ASSERT_TRUE(m_config.Write(e, 1L));
  ASSERT_TRUE(m_config.Write("Z", "overwrite keeps the place and the first spelling"));

  EXPECT_EQ(names(m_config, true), (std::vector<wxString>{"Alpha", "beta", "gamma", L"Über"}));
  EXPECT_EQ(names(m_config, false), (std::vector<wxString>{"z", "a", "m"}));
  const std::vector<std::size_t> counts = {m_config.GetNumberOfGroups(), m_config.GetNumberOfGroups(true),
                                           m_config.GetNumberOfEntries(), m_config.GetNumberOfEntries(true)};
  EXPECT_EQ(counts, (std::vector<std::size_t>{4, 5, 3, 8}));
  EXPECT_TRUE(m_config.HasGroup(L"über") && m_config.HasGroup("alpha/inner") && m_config.HasGroup("/"));
  EXPECT_FALSE(m_config.HasGroup("Inner") || m_config.HasGroup("z")) << "an entry is not a group";

  // A group that does not exist enumerates as empty.
  m_config.SetPath("/nowhere");
  EXPECT_TRUE(names(m_config, true).empty() && names(m_config, false).empty() &&
              m_config.GetNumberOfEntries(true) == 0);
  wxString name;
  long index = 5;
  EXPECT_FALSE(m_config.GetNextEntry(name, index));
}

TEST_F(RegConfigTest, RenameAndDeleteStayInPlaceAndUnderTheRoot) {
  m_config.SetPath("/g");
  ASSERT_TRUE(m_config.Write("one", 1L) && m_config.Write("two", 2L) && m_config.Write("three", 1L));
  ASSERT_TRUE(m_config.RenameEntry("two", "deux"));
  EXPECT_EQ(names(m_config, false), (std::vector<wxString>{"one", "deux", "three"})) << "the place is kept";
  EXPECT_FALSE(m_config.RenameEntry("one", "THREE")) << "the new name is taken";
  m_config.SetPath("/");
  ASSERT_TRUE(m_config.Write("g/sub/w", "deep") && m_config.Write("taken/v", 1L));
  EXPECT_FALSE(m_config.RenameGroup("g", "TAKEN"));
  ASSERT_TRUE(m_config.RenameGroup("g", "new"));
  EXPECT_TRUE(!m_config.HasGroup("g") && m_config.Read("new/sub/w", "") == "deep");

  RegKey outside(eCurrentUser, "Software\\Elsewhere");
  ASSERT_TRUE(outside.create() && outside.setValue("stay", 1L));
  // An emptied group goes and the current path moves to its parent, as in wx.
  m_config.SetPath("/new/sub");
  EXPECT_TRUE(m_config.DeleteEntry("w"));
  EXPECT_FALSE(m_config.HasGroup("/new/sub"));
  EXPECT_EQ(m_config.GetPath(), "/new");
  EXPECT_FALSE(m_config.DeleteGroup("sub")) << "no such group";
  EXPECT_TRUE(m_config.DeleteAll());
  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\TVCAD").exists());
  EXPECT_TRUE(outside.hasValue("stay")) << "nothing outside the root";
}

TEST_F(RegConfigTest, AFlushLandsWholeOrNotAtAll) {
  const auto rewrite = [this] {
    ASSERT_TRUE(m_config.DeleteGroup("g"));
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(m_config.Write(wxString::Format("g/v%d", i), static_cast<long>(i)));
    ASSERT_TRUE(m_config.Flush());
  };
  ASSERT_TRUE(m_config.Write("g/kept", 1L));
  {
    RegTransaction tx;
    rewrite();
  }
  EXPECT_TRUE(m_config.HasEntry("g/kept") && !m_config.HasEntry("g/v0")) << "left without commit";
  {
    RegTransaction tx;
    rewrite();
    ASSERT_TRUE(tx.commit());
  }
  EXPECT_FALSE(m_config.HasEntry("g/kept"));
  m_config.SetPath("/g");
  EXPECT_EQ(names(m_config, false).size(), 100u);
  EXPECT_EQ(m_config.ReadLong("v99", 0), 99);
}

TEST_F(RegConfigTest, InstallAsDefault) {
  delete wxConfigBase::Set(nullptr);
  wxConfigBase* installed = RegConfig::installAsDefault();
  ASSERT_NE(dynamic_cast<RegConfig*>(installed), nullptr);
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
