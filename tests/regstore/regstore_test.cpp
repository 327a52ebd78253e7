#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <cstring>
#include <functional>
#include <optional>

#include "test_support.h"

using namespace ut;
using Bytes = std::vector<std::uint8_t>;

namespace {

wxMemoryBuffer bufferOf(const Bytes& bytes) {
  wxMemoryBuffer buf;
  if (!bytes.empty()) buf.AppendData(bytes.data(), bytes.size());
  return buf;
}

// A created key under the per-user settings of the test store.
RegKey makeKey(const wxString& path) {
  RegKey key(eCurrentUser, path);
  EXPECT_TRUE(key.create()) << RegStore::lastError();
  return key;
}

std::vector<wxString> subKeys(const RegKey& key) {
  std::vector<wxString> names;
  EXPECT_TRUE(key.getSubKeys(names));
  return names;
}

std::vector<wxString> valueNames(const RegKey& key) {
  std::vector<wxString> names;
  EXPECT_TRUE(key.getValueNames(names));
  return names;
}

long longValue(const RegKey& key, const wxString& name) {
  long v = -999;
  return key.queryValue(name, v) ? v : -999;
}

// A value's type and bytes; type 0xDEAD when it cannot be read.
std::pair<unsigned, Bytes> rawValue(const RegKey& key, const wxString& name) {
  std::pair<unsigned, Bytes> value{0xDEAD, {}};
  if (!key.queryRawValue(name, value.first, value.second)) value.first = 0xDEAD;
  return value;
}

// Each test has its own store and a created key Software\TVCAD\Test in it.
class RegStoreTest : public ::testing::Test {
 protected:
  test::TempStore m_store;
  RegKey m_key = makeKey("Software\\TVCAD\\Test");
};

}  // namespace

TEST(RegRootNames, LongAndShortFormsIgnoringCase) {
  EXPECT_EQ(rootKeyName(-1), "");
  EXPECT_EQ(rootKeyName(5), "");
  const std::pair<const wchar_t*, ERootKey> good[] = {{L"HKEY_CLASSES_ROOT", eClassesRoot},
                                                      {L"hkcr", eClassesRoot},
                                                      {L"HKEY_current_USER", eCurrentUser},
                                                      {L"HKCU", eCurrentUser},
                                                      {L"HKLM", eLocalMachine},
                                                      {L"hkey_users", eUsers},
                                                      {L"HKU", eUsers},
                                                      {L"HKCC", eCurrentConfig},
                                                      {L"HKEY_CURRENT_CONFIG", eCurrentConfig}};
  for (const auto& [text, expected] : good) {
    ERootKey root = eClassesRoot;
    EXPECT_TRUE(parseRootKeyName(text, root) && root == expected) << text;
    EXPECT_TRUE(parseRootKeyName(rootKeyName(expected), root) && root == expected) << text;
  }
  for (const wchar_t* bad : {L"", L"HKEY", L"HKCU\\", L" HKCU", L"HKEY_CURRENT_USERS", L"HKC"}) {
    ERootKey root = eUsers;
    EXPECT_FALSE(parseRootKeyName(bad, root)) << bad;
    EXPECT_EQ(root, eUsers) << "untouched on failure";
  }
}

TEST(RegStoreFile, CreatesMissingFoldersPrivately) {
  test::TempDir dir;
  const auto folder = dir.path() / "a" / "b";
  const wxString before = RegStore::file();
  ASSERT_TRUE(RegStore::setFile(wxString((folder / "registry.db").string()))) << RegStore::lastError();
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(folder).permissions() & perms::all, perms::owner_all);
  // The store and its companion files are the user's alone.
  ASSERT_TRUE(makeKey("Software").isOpen());
  for (const char* name : {"registry.db", "registry.db-wal", "registry.db-shm"}) {
    EXPECT_EQ(std::filesystem::status(folder / name).permissions() & perms::all, perms::owner_read | perms::owner_write)
        << name;
  }
  RegStore::setFile(before);
}

TEST_F(RegStoreTest, DataSurvivesReopening) {
  ASSERT_TRUE(m_key.setValue("n", 42L));
  RegStore::close();
  // The closed store reopens on next use; a key opened before goes on working.
  EXPECT_EQ(longValue(m_key, "n"), 42);
  ASSERT_TRUE(RegStore::setFile(wxString(m_store.file().string())));
  RegKey again(eCurrentUser, "SOFTWARE\\tvcad\\TEST");
  ASSERT_TRUE(again.open(eRead));
  EXPECT_EQ(longValue(again, "N"), 42);
}

// --- typed values ------------------------------------------------------------

// Each setter stores the bytes Windows would; writing a name again replaces
// type and data.
TEST_F(RegStoreTest, WritesUseTheWindowsByteForm) {
  using Set = std::function<bool(RegKey&)>;
  const std::tuple<Set, unsigned, Bytes> cases[] = {
      {[](RegKey& k) { return k.setValue("v", wxString(L"A\u00E9\U0001F600")); },
       1,
       {0x41, 0, 0xE9, 0, 0x3D, 0xD8, 0, 0xDE, 0, 0}},
      {[](RegKey& k) { return k.setValue("v", wxString()); }, 1, {0, 0}},
      {[](RegKey& k) { return k.setExpandString("v", "%A%"); }, 2, {'%', 0, 'A', 0, '%', 0, 0, 0}},
      {[](RegKey& k) { return k.setValue("v", 0x12345678L); }, 4, {0x78, 0x56, 0x34, 0x12}},
      {[](RegKey& k) { return k.setValue("v", 0x100000005L); }, 4, {5, 0, 0, 0}},  // the low 32 bits
      {[](RegKey& k) { return k.setValue("v", -2L); }, 4, {0xFE, 0xFF, 0xFF, 0xFF}},
      {[](RegKey& k) { return k.setValue64("v", 0x0102030405060708LL); }, 11, {8, 7, 6, 5, 4, 3, 2, 1}},
      {[](RegKey& k) {
         return k.setMultiString("v", {"ab", "c"});
       },
       7,
       {'a', 0, 'b', 0, 0, 0, 'c', 0, 0, 0, 0, 0}},
      {[](RegKey& k) { return k.setValue("v", bufferOf({})); }, 3, {}},
      {[](RegKey& k) {
         return k.setValue("v", bufferOf({0, 1, 0, 0xFF}));
       },
       3,
       {0, 1, 0, 0xFF}},
      // Any type number and any bytes are kept as given.
      {[](RegKey& k) { return k.setRawValue("v", 0, "\xDE\xAD", 2); }, 0, {0xDE, 0xAD}},
      {[](RegKey& k) { return k.setRawValue("v", 0xFFFFFFFFu, "\xDE", 1); }, 0xFFFFFFFFu, {0xDE}},
      {[](RegKey& k) { return k.setRawValue("v", eRegBinary, nullptr, 0); }, 3, {}},
  };
  for (const auto& [set, type, data] : cases) {
    ASSERT_TRUE(set(m_key)) << testing::PrintToString(data);
    EXPECT_EQ(rawValue(m_key, "V"), std::make_pair(type, data));
    EXPECT_EQ(static_cast<unsigned>(m_key.valueType("v")), type);
  }
  EXPECT_FALSE(m_key.setRawValue("null", eRegBinary, nullptr, 4) || m_key.hasValue("null"));
  // An empty string would end a list early: refused, the old value stays.
  ASSERT_TRUE(m_key.setMultiString("m", {"x"}));
  EXPECT_FALSE(m_key.setMultiString("m", {"a", "", "b"}));
  std::vector<wxString> list;
  EXPECT_TRUE(m_key.queryMultiString("m", list) && list == std::vector<wxString>{"x"});
}

TEST_F(RegStoreTest, TypedValuesRoundTrip) {
  for (long v : {0L, -1L, 2147483647L, -2147483647L - 1, 0xFFFFFFFFL}) {
    ASSERT_TRUE(m_key.setValue("d", v));
    EXPECT_EQ(longValue(m_key, "d"), static_cast<std::int32_t>(v)) << "a 32-bit signed number, as on Windows";
  }
  for (std::int64_t v : {std::int64_t{-1}, INT64_MAX, INT64_MIN}) {
    std::int64_t q = 3;
    EXPECT_TRUE(m_key.setValue64("q", v) && m_key.queryValue64("q", q) && q == v) << v;
  }
  const Bytes big(100000, 0xAB);
  ASSERT_TRUE(m_key.setValue("b", bufferOf(big)));
  wxMemoryBuffer buffer;
  ASSERT_TRUE(m_key.queryValue("b", buffer));
  EXPECT_TRUE(buffer.GetDataLen() == big.size() && std::memcmp(buffer.GetData(), big.data(), big.size()) == 0);
  for (const auto& sample : std::vector<std::vector<wxString>>{
           {}, {"a", wxString(L"Grüße"), wxString(L"\U0001F600")}, std::vector<wxString>(300, "x")}) {
    std::vector<wxString> back = {"junk"};
    EXPECT_TRUE(m_key.setMultiString("m", sample) && m_key.queryMultiString("m", back) && back == sample);
  }
}

// Data written by other programs is read as far as it goes; a read of another
// type fails and leaves its output alone.
TEST_F(RegStoreTest, ReadsOfOtherFormsAndTypes) {
  const std::tuple<unsigned, Bytes, std::optional<wxString>> strings[] = {
      {1, {'h', 0, 'i', 0}, wxString("hi")},
      {1, {'h', 0, 'i', 0, 0}, wxString("hi")},
      {1, {'h', 0, 'i', 0, 0, 0, 0, 0}, wxString("hi")},
      {1, {'a', 0, 0, 0, 'b', 0, 0, 0}, wxString(L"a\0b", 3)},
      {1, {'x'}, wxString()},
      {2, {0x00, 0xD8, 'z', 0}, wxString(wxUniChar(0xD800)) + "z"},
      {4, {5, 0, 0, 0}, std::nullopt},
      {7, {'a', 0, 0, 0, 0, 0}, std::nullopt},
      {3, {'a', 0, 0, 0}, std::nullopt}};
  for (const auto& [type, data, text] : strings) {
    ASSERT_TRUE(m_key.setRawValue("s", type, data.data(), data.size()));
    wxString s = "keep";
    EXPECT_EQ(m_key.queryValue("s", s), text.has_value()) << testing::PrintToString(data);
    EXPECT_EQ(s, text.value_or("keep")) << testing::PrintToString(data);
  }
  std::vector<wxString> list;
  ASSERT_TRUE(m_key.setRawValue("m", eRegMultiSz, "a\0\0\0b\0", 6));
  EXPECT_TRUE(m_key.queryMultiString("m", list) && list == (std::vector<wxString>{"a", "b"})) << "no final terminator";
  ASSERT_TRUE(m_key.setRawValue("m", eRegMultiSz, "a\0\0\0\0\0b\0\0\0", 10));
  EXPECT_TRUE(m_key.queryMultiString("m", list) && list == std::vector<wxString>{"a"}) << "the empty string ends it";
  EXPECT_FALSE(m_key.queryMultiString("s", list)) << "binary data is no list";

  // Numbers: from a decimal string, never from other bytes.
  const std::pair<const wchar_t*, std::optional<std::int64_t>> numbers[] = {{L"123", 123},
                                                                            {L"-45", -45},
                                                                            {L"+17", 17},
                                                                            {L"-9223372036854775808", INT64_MIN},
                                                                            {L"9223372036854775807", INT64_MAX},
                                                                            {L"9223372036854775808", {}},
                                                                            {L"", {}},
                                                                            {L"12x", {}},
                                                                            {L" 1", {}},
                                                                            {L"0x10", {}},
                                                                            {L"\u0661\u0662", {}}};
  for (const auto& [text, expected] : numbers) {
    ASSERT_TRUE(m_key.setValue("n", text));
    std::int64_t q = 77;
    EXPECT_EQ(m_key.queryValue64("n", q), expected.has_value()) << text;
    EXPECT_EQ(q, expected.value_or(77)) << text;
  }
  ASSERT_TRUE(m_key.setValue("n", "-45"));
  EXPECT_EQ(longValue(m_key, "n"), -45);
  EXPECT_EQ(longValue(m_key, "s"), -999) << "binary data is no number";
  ASSERT_TRUE(m_key.setRawValue("short", eRegDword, "\1\2\3", 3));
  EXPECT_EQ(longValue(m_key, "short"), -999) << "a DWORD that is not four bytes";
  std::int64_t q = 77;
  EXPECT_FALSE(m_key.queryValue64("short", q));
}

TEST_F(RegStoreTest, DefaultValueOddNamesAndOrder) {
  const wxString names[] = {"",     "with\\backslash", wxString(L"nul\0inside", 10), wxString(L"\U0001F600"), "zeta",
                            "Alpha"};
  for (long i = 0; i < 6; ++i) ASSERT_TRUE(m_key.setValue(names[i], i));
  for (long i = 0; i < 6; ++i) EXPECT_EQ(longValue(m_key, names[i]), i) << names[i];
  EXPECT_FALSE(m_key.hasValue("nul"));
  EXPECT_EQ(m_key.subKeyCount(), 0u) << "a value name is not a path";
  EXPECT_EQ(valueNames(m_key), std::vector<wxString>(std::begin(names), std::end(names)));
  // Overwriting (in another case, with another type) keeps name and place;
  // deleting and writing again moves it to the end.
  ASSERT_TRUE(m_key.setValue("ALPHA", "now a string"));
  EXPECT_EQ(m_key.valueType("alpha"), eRegSz);
  ASSERT_TRUE(m_key.deleteValue("zeta"));
  ASSERT_TRUE(m_key.setValue("Zeta", 2L));
  EXPECT_EQ(valueNames(m_key), (std::vector<wxString>{names[0], names[1], names[2], names[3], "Alpha", "Zeta"}));
}

// --- names and case ------------------------------------------------------------

TEST_F(RegStoreTest, NamesIgnoreCaseOverUnicode) {
  const std::pair<const wchar_t*, const wchar_t*> spellings[] = {
      {L"ÜBER", L"über"}, {L"ΣΊΣΥΦΟΣ", L"σίσυφος"}, {L"ДОМ", L"дом"}, {L"Straße", L"STRASSE"}};
  long i = 0;
  for (const auto& [first, other] : spellings) {
    ASSERT_TRUE(m_key.setValue(first, i) && m_key.setValue(other, ++i));
    EXPECT_EQ(longValue(m_key, first), i) << "the second spelling wrote the same value";
  }
  EXPECT_FALSE(m_key.hasValue(L"uber")) << "accents are not case";
  EXPECT_EQ(valueNames(m_key), (std::vector<wxString>{L"ÜBER", L"ΣΊΣΥΦΟΣ", L"ДОМ", L"Straße"}))
      << "the first spelling stays";
  // Keys alike.
  ASSERT_TRUE(makeKey(L"Software\\TVCAD\\Test\\Ärger\\ΣΟΦΙΑ").setValue("x", 1L));
  RegKey other(eCurrentUser, L"software\\tvcad\\TEST\\äRGER\\σοφια");
  EXPECT_TRUE(other.open() && other.hasValue("X"));
  EXPECT_TRUE(other.create()) << "creating an existing key opens it";
  // Subkeys enumerate sorted without regard to case.
  for (const wchar_t* name : {L"b", L"C", L"a", L"B2", L"Ωmega", L"älpha", L"A1"})
    ASSERT_TRUE(RegKey(m_key, name).create());
  EXPECT_EQ(subKeys(m_key), (std::vector<wxString>{"a", "A1", "b", "B2", "C", L"älpha", L"Ärger", L"Ωmega"}));
  EXPECT_EQ(m_key.subKeyCount(), 8u);
}

TEST_F(RegStoreTest, PathsAndInvalidNames) {
  RegKey key(eCurrentUser, "\\Software\\TVCAD\\Test\\");
  EXPECT_EQ(key.path(), "Software\\TVCAD\\Test");
  RegKey sub(key, "Child\\Grandchild");
  EXPECT_EQ(sub.fullName() + "|" + sub.name(),
            "HKEY_CURRENT_USER\\Software\\TVCAD\\Test\\Child\\Grandchild|Grandchild");
  ASSERT_TRUE(sub.create());
  EXPECT_TRUE(m_key.hasSubKey("CHILD\\grandchild"));
  EXPECT_FALSE(m_key.hasSubKey("Grandchild") || m_key.hasSubKey(""));
  RegKey rootKey(eLocalMachine, "");
  EXPECT_EQ(rootKey.fullName() + "|" + rootKey.name(), "HKEY_LOCAL_MACHINE|");
  EXPECT_TRUE(rootKey.open() && rootKey.setValue("onRoot", 1L)) << "a root holds values like any key";

  // Empty components, over-long names and bad roots address nothing.
  for (const RegKey& bad :
       {RegKey(eCurrentUser, "Software\\\\X"), RegKey(eCurrentUser, "Software\\" + wxString(L'n', 256)),
        RegKey(static_cast<ERootKey>(7), "Software"), RegKey(key, ""), RegKey()}) {
    RegKey k(bad);
    EXPECT_FALSE(k.create() || k.open() || k.exists()) << k.path();
  }
  EXPECT_EQ(RegKey().fullName(), "");
  EXPECT_TRUE(RegKey(eCurrentUser, "Software\\" + wxString(L'n', 255)).create());
  // 255 UTF-16 units: an astral character counts twice.
  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\" + wxString(L'n', 254) + wxString(L"\U0001F600")).create());
}

// Keys nest at most 512 levels below their root, as on Windows; a deeper key
// is refused with a message, never created in part.
TEST_F(RegStoreTest, KeysNestAtMost512Levels) {
  wxString path = L"Software";
  for (int i = 2; i <= 511; ++i) path += L"\\d";
  RegKey parent(eCurrentUser, path + L"\\last");
  ASSERT_TRUE(parent.create());
  EXPECT_TRUE(parent.setValue(L"v", 1L));
  RegKey tooDeep(parent, L"x");
  EXPECT_FALSE(tooDeep.create());
  EXPECT_EQ(RegStore::lastError(), L"key path too deep: 513 levels below the root (at most 512)");
  EXPECT_FALSE(tooDeep.exists());
  EXPECT_FALSE(parent.hasSubKey(L"x"));
  EXPECT_FALSE(RegKey(eCurrentUser, path + L"\\a\\b").create());
  EXPECT_FALSE(RegKey(eCurrentUser, path + L"\\a").exists()) << "nothing created on the way";
}

// --- open, closed and missing keys ---------------------------------------------

TEST_F(RegStoreTest, ClosedMissingAndReadOnlyKeysFailCleanly) {
  RegKey missing(eCurrentUser, "Software\\TVCAD\\Missing");
  EXPECT_FALSE(missing.exists() || missing.open() || missing.isOpen());
  ASSERT_TRUE(m_key.setValue("v", 1L) && m_key.close());
  EXPECT_TRUE(!m_key.isOpen() && m_key.exists()) << "existence needs no open key";
  long v = 0;
  wxString s;
  std::vector<wxString> names;
  EXPECT_FALSE(m_key.queryValue("v", v) || m_key.setValue("v", 2L) || m_key.hasValue("v") || m_key.deleteValue("v"));
  EXPECT_FALSE(m_key.getValueNames(names) || m_key.getSubKeys(names) || m_key.deleteSelf());
  EXPECT_EQ(m_key.valueCount(), 0u);
  // Read access refuses every change.
  ASSERT_TRUE(m_key.open(eRead) && m_key.queryValue("v", v));
  EXPECT_FALSE(m_key.setValue("v", 2L) || m_key.deleteValue("v") || m_key.deleteKey("x") || m_key.deleteSelf());
  EXPECT_TRUE(m_key.open(eWrite) && m_key.setValue("v", 2L));
  EXPECT_FALSE(m_key.queryValue("nope", s) || m_key.hasValue("nope") || m_key.deleteValue("nope") ||
               m_key.deleteKey("nope"));
  EXPECT_EQ(m_key.valueType("nope"), eRegNone);
}

// --- deleting ---------------------------------------------------------------------

TEST_F(RegStoreTest, KeyDeletedUnderAnOpenObject) {
  ASSERT_TRUE(m_key.setValue("v", 1L));
  RegKey b(eCurrentUser, "SOFTWARE\\TVCAD\\TEST");
  ASSERT_TRUE(b.open());
  EXPECT_EQ(longValue(m_key, "v"), 1);
  ASSERT_TRUE(b.setValue("v", 2L));
  EXPECT_EQ(longValue(m_key, "v"), 2) << "what one object wrote, another reads";
  ASSERT_TRUE(m_key.deleteSelf());
  EXPECT_FALSE(m_key.isOpen());
  EXPECT_EQ(longValue(b, "v"), -999);
  EXPECT_FALSE(b.setValue("v", 2L)) << "a write must not bring a deleted key back";
  std::vector<wxString> names;
  EXPECT_FALSE(b.exists() || b.getValueNames(names));
  // Recreated under the same path, the open object finds the new key.
  ASSERT_TRUE(makeKey("Software\\TVCAD\\Test").setValue("v", 3L));
  EXPECT_EQ(longValue(b, "v"), 3);
}

// --- transactions -----------------------------------------------------------------

TEST_F(RegStoreTest, CommitAndRollback) {
  {
    RegTransaction tx;
    ASSERT_TRUE(tx.isActive() && m_key.setValue("a", 1L) && m_key.setValue("b", 2L));
    EXPECT_TRUE(m_key.hasValue("a")) << "the transaction sees its own writes";
    EXPECT_TRUE(tx.commit());
    EXPECT_FALSE(tx.isActive() || tx.commit()) << "only once";
  }
  EXPECT_EQ(m_key.valueCount(), 2u);
  {
    // Left without commit: what this process read inside goes back too.
    RegTransaction tx;
    ASSERT_TRUE(m_key.setValue("b", 5L));
    EXPECT_EQ(longValue(m_key, "b"), 5);
    ASSERT_TRUE(m_key.setValue("c", 3L) && m_key.deleteValue("a"));
    EXPECT_EQ(valueNames(m_key), (std::vector<wxString>{"b", "c"}));
    ASSERT_TRUE(makeKey("Software\\TVCAD\\Test\\New").setValue("x", 1L));
  }
  EXPECT_EQ(valueNames(m_key), (std::vector<wxString>{"a", "b"}));
  EXPECT_EQ(longValue(m_key, "b"), 2);
  EXPECT_FALSE(m_key.hasSubKey("New"));
}

TEST_F(RegStoreTest, NestedTransactions) {
  {
    RegTransaction outer;
    ASSERT_TRUE(m_key.setValue("a", 1L));
    {
      RegTransaction inner;
      EXPECT_TRUE(m_key.setValue("b", 2L) && inner.commit());
    }
    EXPECT_TRUE(outer.commit());
  }
  EXPECT_EQ(m_key.valueCount(), 2u);
  {
    RegTransaction outer;
    ASSERT_TRUE(m_key.setValue("c", 3L));
    {
      RegTransaction inner;
      ASSERT_TRUE(m_key.setValue("d", 4L));
      inner.rollback();
    }
    // Once an inner scope has failed, the whole transaction is lost.
    EXPECT_FALSE(m_key.setValue("e", 5L) || RegStore::lastError().empty() || outer.commit());
  }
  EXPECT_EQ(valueNames(m_key), (std::vector<wxString>{"a", "b"}));
  EXPECT_TRUE(m_key.setValue("f", 6L)) << "writes work again after the scope";
}

TEST_F(RegStoreTest, KeyIdsCreatedInARolledBackTransaction) {
  RegKey ghost(eCurrentUser, "Software\\TVCAD\\Ghost");
  {
    RegTransaction tx;
    ASSERT_TRUE(ghost.create() && ghost.setValue("g", 1L));
  }
  // The rolled-back key's id may be handed out again: the old object must not
  // reach the new key through it.
  RegKey other = makeKey("Software\\TVCAD\\Other");
  ASSERT_TRUE(other.setValue("o", 2L));
  EXPECT_FALSE(ghost.exists() || ghost.hasValue("o") || ghost.setValue("o", 3L));
  EXPECT_EQ(longValue(other, "o"), 2);
}
