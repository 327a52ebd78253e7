#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <wx/utils.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "test_support.h"

using namespace ut;
using Bytes = std::vector<std::uint8_t>;

namespace {

Bytes bytesOf(std::initializer_list<int> list) {
  Bytes out;
  for (int b : list) out.push_back(static_cast<std::uint8_t>(b));
  return out;
}

wxMemoryBuffer bufferOf(const Bytes& bytes) {
  wxMemoryBuffer buf;
  if (!bytes.empty()) buf.AppendData(bytes.data(), bytes.size());
  return buf;
}

Bytes bytesOf(const wxMemoryBuffer& buf) {
  const auto* p = static_cast<const std::uint8_t*>(buf.GetData());
  return Bytes(p, p + buf.GetDataLen());
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

}  // namespace

TEST(RegRootNames, LongAndShortFormsIgnoringCase) {
  EXPECT_EQ(rootKeyName(eClassesRoot), "HKEY_CLASSES_ROOT");
  EXPECT_EQ(rootKeyName(eCurrentUser), "HKEY_CURRENT_USER");
  EXPECT_EQ(rootKeyName(eLocalMachine), "HKEY_LOCAL_MACHINE");
  EXPECT_EQ(rootKeyName(eUsers), "HKEY_USERS");
  EXPECT_EQ(rootKeyName(eCurrentConfig), "HKEY_CURRENT_CONFIG");
  EXPECT_EQ(rootKeyName(-1), "");
  EXPECT_EQ(rootKeyName(5), "");

  const std::pair<const wchar_t*, ERootKey> good[] = {
      {L"HKEY_CLASSES_ROOT", eClassesRoot}, {L"hkcr", eClassesRoot},      {L"HKEY_current_USER", eCurrentUser},
      {L"HKCU", eCurrentUser},              {L"HKLM", eLocalMachine},     {L"hkey_users", eUsers},
      {L"HKU", eUsers},                     {L"HKCC", eCurrentConfig},    {L"HKEY_CURRENT_CONFIG", eCurrentConfig},
  };
  for (const auto& [text, expected] : good) {
    ERootKey root = eClassesRoot;
    EXPECT_TRUE(parseRootKeyName(text, root)) << text;
    EXPECT_EQ(root, expected) << text;
  }
  for (const wchar_t* bad : {L"", L"HKEY", L"HKCU\\", L" HKCU", L"HKEY_CURRENT_USERS", L"HKC"}) {
    ERootKey root = eUsers;
    EXPECT_FALSE(parseRootKeyName(bad, root)) << bad;
    EXPECT_EQ(root, eUsers) << "untouched on failure";
  }
}

TEST(RegStoreFile, TempStoreSwitchesAndRestores) {
  const wxString before = RegStore::file();
  {
    test::TempStore store;
    ASSERT_TRUE(store.ok()) << RegStore::lastError();
    EXPECT_EQ(RegStore::file(), wxString(store.file().string()));
    EXPECT_TRUE(std::filesystem::exists(store.file()));
    EXPECT_EQ(RegStore::schemaVersion(), 1);
    EXPECT_TRUE(RegStore::lastError().empty());
    {
      test::TempStore inner;
      EXPECT_NE(RegStore::file(), wxString(store.file().string()));
    }
    EXPECT_EQ(RegStore::file(), wxString(store.file().string()));
  }
  EXPECT_EQ(RegStore::file(), before);
}

TEST(RegStoreFile, DefaultLocationFollowsEnvironment) {
  wxString saved[3];
  const bool had[3] = {wxGetEnv("UT_REGISTRY_FILE", &saved[0]), wxGetEnv("XDG_CONFIG_HOME", &saved[1]),
                       wxGetEnv("HOME", &saved[2])};
  wxSetEnv("UT_REGISTRY_FILE", "/tmp/x/explicit.db");
  EXPECT_EQ(RegStore::defaultFile(), "/tmp/x/explicit.db");
  wxUnsetEnv("UT_REGISTRY_FILE");
  wxSetEnv("XDG_CONFIG_HOME", "/cfg/home");
  EXPECT_EQ(RegStore::defaultFile(), "/cfg/home/TVCAD/registry.db");
  // A relative XDG_CONFIG_HOME is invalid and ignored.
  wxSetEnv("XDG_CONFIG_HOME", "relative/dir");
  wxSetEnv("HOME", "/home/someone");
  EXPECT_EQ(RegStore::defaultFile(), "/home/someone/.config/TVCAD/registry.db");
  wxUnsetEnv("XDG_CONFIG_HOME");
  EXPECT_EQ(RegStore::defaultFile(), "/home/someone/.config/TVCAD/registry.db");
  const char* names[3] = {"UT_REGISTRY_FILE", "XDG_CONFIG_HOME", "HOME"};
  for (int i = 0; i < 3; ++i) {
    if (had[i]) {
      wxSetEnv(names[i], saved[i]);
    } else {
      wxUnsetEnv(names[i]);
    }
  }
}

TEST(RegStoreFile, CreatesMissingFoldersPrivately) {
  test::TempDir dir;
  const auto file = dir.path() / "a" / "b" / "registry.db";
  const wxString before = RegStore::file();
  ASSERT_TRUE(RegStore::setFile(wxString(file.string()))) << RegStore::lastError();
  EXPECT_TRUE(std::filesystem::exists(file));
  const auto perms = std::filesystem::status(dir.path() / "a" / "b").permissions();
  EXPECT_EQ(perms & std::filesystem::perms::all, std::filesystem::perms::owner_all);
  // The store and its companion files are the user's alone.
  RegKey key(eCurrentUser, "Software");
  ASSERT_TRUE(key.create());
  for (const char* name : {"registry.db", "registry.db-wal", "registry.db-shm"}) {
    const auto filePerms = std::filesystem::status(dir.path() / "a" / "b" / name).permissions();
    EXPECT_EQ(filePerms & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
        << name;
  }
  RegStore::setFile(before);
}

TEST(RegStoreFile, DataSurvivesReopening) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Persist");
  ASSERT_TRUE(key.setValue("n", 42L));
  RegStore::close();
  // The closed store reopens on next use, and a key object opened before the
  // close goes on working.
  long n = 0;
  EXPECT_TRUE(key.queryValue("n", n));
  EXPECT_EQ(n, 42);
  ASSERT_TRUE(RegStore::setFile(wxString(store.file().string())));
  RegKey again(eCurrentUser, "SOFTWARE\\tvcad\\persist");
  ASSERT_TRUE(again.open(eRead));
  EXPECT_TRUE(again.queryValue("N", n));
  EXPECT_EQ(n, 42);
}

// --- typed values ------------------------------------------------------------

TEST(RegKeyValues, StringsRoundTrip) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Strings");
  const wxString samples[] = {
      wxString(),                        // empty
      wxString(L"plain"),
      wxString(L"Grüße, Ελληνικά, Кириллица"),
      wxString(L"astral \U0001F600 \U00010400 end"),
      wxString(L"tab\tline\nfeed\\backslash\"quote"),
  };
  int i = 0;
  for (const auto& s : samples) {
    const wxString name = wxString::Format("s%d", i++);
    ASSERT_TRUE(key.setValue(name, s));
    wxString back = "untouched";
    ASSERT_TRUE(key.queryValue(name, back));
    EXPECT_EQ(back, s);
    EXPECT_EQ(key.valueType(name), eRegSz);
    ASSERT_TRUE(key.setExpandString(name + "x", s));
    ASSERT_TRUE(key.queryValue(name + "x", back));
    EXPECT_EQ(back, s);
    EXPECT_EQ(key.valueType(name + "x"), eRegExpandSz);
  }
  // The expandable string is not expanded.
  ASSERT_TRUE(key.setExpandString("path", "%HOME%\\x"));
  wxString back;
  ASSERT_TRUE(key.queryValue("path", back));
  EXPECT_EQ(back, "%HOME%\\x");
}

TEST(RegKeyValues, StringsAreUtf16LeWithTerminator) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Bytes");
  ASSERT_TRUE(key.setValue("s", wxString(L"A\u00E9\U0001F600")));
  unsigned type = 0;
  Bytes data;
  ASSERT_TRUE(key.queryRawValue("s", type, data));
  EXPECT_EQ(type, 1u);
  EXPECT_EQ(data, bytesOf({0x41, 0x00, 0xE9, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0x00}));

  ASSERT_TRUE(key.setValue("empty", wxString()));
  ASSERT_TRUE(key.queryRawValue("empty", type, data));
  EXPECT_EQ(data, bytesOf({0x00, 0x00}));

  ASSERT_TRUE(key.setValue("d", 0x12345678L));
  ASSERT_TRUE(key.queryRawValue("d", type, data));
  EXPECT_EQ(type, 4u);
  EXPECT_EQ(data, bytesOf({0x78, 0x56, 0x34, 0x12}));

  ASSERT_TRUE(key.setValue64("q", 0x0102030405060708LL));
  ASSERT_TRUE(key.queryRawValue("q", type, data));
  EXPECT_EQ(type, 11u);
  EXPECT_EQ(data, bytesOf({8, 7, 6, 5, 4, 3, 2, 1}));

  ASSERT_TRUE(key.setMultiString("m", {"ab", "c"}));
  ASSERT_TRUE(key.queryRawValue("m", type, data));
  EXPECT_EQ(type, 7u);
  EXPECT_EQ(data, bytesOf({'a', 0, 'b', 0, 0, 0, 'c', 0, 0, 0, 0, 0}));
}

TEST(RegKeyValues, NumbersRoundTrip) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Numbers");
  for (long v : {0L, 1L, -1L, 2147483647L, -2147483647L - 1, 123456L}) {
    ASSERT_TRUE(key.setValue("d", v));
    long back = 7;
    ASSERT_TRUE(key.queryValue("d", back));
    EXPECT_EQ(back, v);
    EXPECT_EQ(key.valueType("d"), eRegDword);
  }
  // A DWORD keeps the low 32 bits; read back as a 32-bit signed number.
  ASSERT_TRUE(key.setValue("d", 0xFFFFFFFFL));
  long back = 0;
  ASSERT_TRUE(key.queryValue("d", back));
  EXPECT_EQ(back, -1);
  ASSERT_TRUE(key.setValue("d", 0x100000005L));
  ASSERT_TRUE(key.queryValue("d", back));
  EXPECT_EQ(back, 5);

  for (std::int64_t v : {std::int64_t{0}, std::int64_t{-1}, INT64_MAX, INT64_MIN, std::int64_t{1} << 40}) {
    ASSERT_TRUE(key.setValue64("q", v));
    std::int64_t q = 3;
    ASSERT_TRUE(key.queryValue64("q", q));
    EXPECT_EQ(q, v);
    EXPECT_EQ(key.valueType("q"), eRegQword);
  }
}

TEST(RegKeyValues, NumbersFromStrings) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Numbers");
  ASSERT_TRUE(key.setValue("pos", "123"));
  ASSERT_TRUE(key.setValue("neg", "-45"));
  ASSERT_TRUE(key.setValue("big", "9000000000"));
  long v = 0;
  EXPECT_TRUE(key.queryValue("pos", v));
  EXPECT_EQ(v, 123);
  EXPECT_TRUE(key.queryValue("neg", v));
  EXPECT_EQ(v, -45);
  std::int64_t q = 0;
  EXPECT_TRUE(key.queryValue64("big", q));
  EXPECT_EQ(q, 9000000000LL);
  for (const wchar_t* bad : {L"", L"12x", L" 1", L"1 ", L"0x10", L"+-1", L"99999999999999999999999", L"-"}) {
    ASSERT_TRUE(key.setValue("bad", bad));
    v = 77;
    EXPECT_FALSE(key.queryValue("bad", v)) << bad;
    EXPECT_EQ(v, 77) << "untouched on failure";
  }
  // A number is not a string, and binary data is not a number.
  ASSERT_TRUE(key.setValue("n", 5L));
  wxString s = "keep";
  EXPECT_FALSE(key.queryValue("n", s));
  EXPECT_EQ(s, "keep");
  ASSERT_TRUE(key.setValue("b", bufferOf(bytesOf({1, 0, 0, 0}))));
  EXPECT_FALSE(key.queryValue("b", v));
  // A DWORD whose data is not four bytes (imported from a damaged file).
  const std::uint8_t three[] = {1, 2, 3};
  ASSERT_TRUE(key.setRawValue("short", eRegDword, three, 3));
  EXPECT_FALSE(key.queryValue("short", v));
  EXPECT_FALSE(key.queryValue64("short", q));
}

TEST(RegKeyValues, BinaryAndRawRoundTrip) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Binary");
  const Bytes samples[] = {Bytes(), bytesOf({0}), bytesOf({0, 1, 0, 0xFF, 0, 0}), Bytes(100000, 0xAB)};
  for (const auto& sample : samples) {
    ASSERT_TRUE(key.setValue("b", bufferOf(sample)));
    wxMemoryBuffer back;
    ASSERT_TRUE(key.queryValue("b", back));
    EXPECT_EQ(bytesOf(back), sample);
    EXPECT_EQ(key.valueType("b"), eRegBinary);
  }
  // Any type number and any bytes are kept as given, REG_NONE included.
  const std::uint8_t odd[] = {0xDE, 0xAD, 0xBE};
  for (unsigned type : {0u, 5u, 42u, 0xFFFFFFFFu}) {
    ASSERT_TRUE(key.setRawValue("raw", type, odd, sizeof odd));
    unsigned t = 1;
    Bytes data;
    ASSERT_TRUE(key.queryRawValue("raw", t, data));
    EXPECT_EQ(t, type);
    EXPECT_EQ(data, Bytes(odd, odd + 3));
    EXPECT_TRUE(key.hasValue("raw"));
    EXPECT_EQ(static_cast<unsigned>(key.valueType("raw")), type);
  }
  EXPECT_FALSE(key.setRawValue("null", eRegBinary, nullptr, 4));
  EXPECT_TRUE(key.setRawValue("null", eRegBinary, nullptr, 0));
}

TEST(RegKeyValues, MultiStrings) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Multi");
  const std::vector<std::vector<wxString>> samples = {
      {}, {"one"}, {"a", wxString(L"Grüße"), wxString(L"\U0001F600")}, std::vector<wxString>(300, "x")};
  for (const auto& sample : samples) {
    ASSERT_TRUE(key.setMultiString("m", sample));
    std::vector<wxString> back = {"junk"};
    ASSERT_TRUE(key.queryMultiString("m", back));
    EXPECT_EQ(back, sample);
  }
  // An empty string would end the list early: refused, the old value stays.
  EXPECT_FALSE(key.setMultiString("m", {"a", "", "b"}));
  std::vector<wxString> back;
  ASSERT_TRUE(key.queryMultiString("m", back));
  EXPECT_EQ(back.size(), 300u);
  // A string is not a list.
  ASSERT_TRUE(key.setValue("s", "text"));
  EXPECT_FALSE(key.queryMultiString("s", back));
}

TEST(RegKeyValues, TolerantStringDecoding) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Imported");
  auto setRaw = [&key](const wxString& name, unsigned type, const Bytes& data) {
    ASSERT_TRUE(key.setRawValue(name, type, data.data(), data.size()));
  };
  setRaw("noterm", eRegSz, bytesOf({'h', 0, 'i', 0}));
  setRaw("odd", eRegSz, bytesOf({'h', 0, 'i', 0, 0}));
  setRaw("manynul", eRegSz, bytesOf({'h', 0, 'i', 0, 0, 0, 0, 0, 0, 0}));
  setRaw("inner", eRegSz, bytesOf({'a', 0, 0, 0, 'b', 0, 0, 0}));
  setRaw("onebyte", eRegSz, bytesOf({'x'}));
  setRaw("lone", eRegExpandSz, bytesOf({0x00, 0xD8, 'z', 0}));
  setRaw("multi", eRegMultiSz, bytesOf({'a', 0, 0, 0, 'b', 0}));
  setRaw("multi2", eRegMultiSz, bytesOf({'a', 0, 0, 0, 0, 0, 'b', 0, 0, 0}));
  wxString s;
  ASSERT_TRUE(key.queryValue("noterm", s));
  EXPECT_EQ(s, "hi");
  ASSERT_TRUE(key.queryValue("odd", s));
  EXPECT_EQ(s, "hi");
  ASSERT_TRUE(key.queryValue("manynul", s));
  EXPECT_EQ(s, "hi");
  ASSERT_TRUE(key.queryValue("inner", s));
  EXPECT_EQ(s, wxString(L"a\0b", 3));
  ASSERT_TRUE(key.queryValue("onebyte", s));
  EXPECT_EQ(s, "");
  ASSERT_TRUE(key.queryValue("lone", s));
  ASSERT_EQ(s.length(), 2u);
  EXPECT_EQ(static_cast<unsigned>(s[0].GetValue()), 0xD800u);
  EXPECT_EQ(s[1], 'z');
  std::vector<wxString> m;
  ASSERT_TRUE(key.queryMultiString("multi", m));
  EXPECT_EQ(m, (std::vector<wxString>{"a", "b"}));
  ASSERT_TRUE(key.queryMultiString("multi2", m));
  EXPECT_EQ(m, (std::vector<wxString>{"a"})) << "the empty string ends the list";
}

TEST(RegKeyValues, DefaultValueAndOddNames) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Names");
  ASSERT_TRUE(key.setValue("", "default"));
  ASSERT_TRUE(key.setValue("with\\backslash", 1L));
  ASSERT_TRUE(key.setValue(wxString(L"nul\0inside", 10), 2L));
  ASSERT_TRUE(key.setValue(wxString(L"\U0001F600"), 3L));
  wxString s;
  ASSERT_TRUE(key.queryValue("", s));
  EXPECT_EQ(s, "default");
  long v = 0;
  EXPECT_TRUE(key.queryValue("with\\backslash", v));
  EXPECT_EQ(v, 1);
  EXPECT_TRUE(key.queryValue(wxString(L"nul\0inside", 10), v));
  EXPECT_EQ(v, 2);
  EXPECT_FALSE(key.hasValue("nul"));
  EXPECT_EQ(valueNames(key),
            (std::vector<wxString>{"", "with\\backslash", wxString(L"nul\0inside", 10), wxString(L"\U0001F600")}));
  // A value name is not a path: no key was created for the backslash.
  EXPECT_EQ(key.subKeyCount(), 0u);
}

TEST(RegKeyValues, OverwriteChangesTypeAndKeepsPlace) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Order");
  for (const char* name : {"zeta", "Alpha", "mid", "beta"}) ASSERT_TRUE(key.setValue(name, 1L));
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{"zeta", "Alpha", "mid", "beta"}));
  // Overwriting (in another case, with another type) keeps name and place.
  ASSERT_TRUE(key.setValue("ALPHA", "now a string"));
  EXPECT_EQ(key.valueType("alpha"), eRegSz);
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{"zeta", "Alpha", "mid", "beta"}));
  long v = 0;
  EXPECT_FALSE(key.queryValue("Alpha", v));
  // Deleting and writing again moves it to the end.
  ASSERT_TRUE(key.deleteValue("zeta"));
  ASSERT_TRUE(key.setValue("Zeta", 2L));
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{"Alpha", "mid", "beta", "Zeta"}));
  EXPECT_EQ(key.valueCount(), 4u);
}

// --- names and case ------------------------------------------------------------

TEST(RegKeyNames, CaseInsensitiveOverUnicode) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Case");
  ASSERT_TRUE(key.setValue(wxString(L"ÜBER"), 1L));
  ASSERT_TRUE(key.setValue(wxString(L"über"), 2L));
  ASSERT_TRUE(key.setValue(wxString(L"ΣΊΣΥΦΟΣ"), 3L));
  ASSERT_TRUE(key.setValue(wxString(L"ДОМ"), 4L));
  ASSERT_TRUE(key.setValue(wxString(L"Straße"), 5L));
  long v = 0;
  ASSERT_TRUE(key.queryValue(wxString(L"Über"), v));
  EXPECT_EQ(v, 2);
  ASSERT_TRUE(key.queryValue(wxString(L"σίσυφος"), v));
  EXPECT_EQ(v, 3);
  ASSERT_TRUE(key.queryValue(wxString(L"дом"), v));
  EXPECT_EQ(v, 4);
  ASSERT_TRUE(key.queryValue(wxString(L"STRASSE"), v));
  EXPECT_EQ(v, 5);
  // Accents are not case.
  EXPECT_FALSE(key.hasValue(wxString(L"uber")));
  // The first spelling is the one kept.
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{wxString(L"ÜBER"), wxString(L"ΣΊΣΥΦΟΣ"), wxString(L"ДОМ"),
                                                    wxString(L"Straße")}));

  // Keys alike.
  RegKey k1 = makeKey(wxString(L"Software\\TVCAD\\Case\\Ärger\\ΣΟΦΙΑ"));
  ASSERT_TRUE(k1.setValue("x", 1L));
  RegKey k2(eCurrentUser, wxString(L"software\\tvcad\\CASE\\äRGER\\σοφια"));
  ASSERT_TRUE(k2.open());
  EXPECT_TRUE(k2.hasValue("X"));
  EXPECT_TRUE(k2.create()) << "creating an existing key opens it";
  EXPECT_EQ(subKeys(key), (std::vector<wxString>{wxString(L"Ärger")}));
}

TEST(RegKeyNames, SubkeysSortCaseInsensitively) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Sort");
  for (const wchar_t* name : {L"b", L"C", L"a", L"B2", L"Ωmega", L"älpha", L"A1"}) {
    ASSERT_TRUE(RegKey(key, name).create());
  }
  EXPECT_EQ(subKeys(key), (std::vector<wxString>{"a", "A1", "b", "B2", "C", wxString(L"älpha"), wxString(L"Ωmega")}));
  EXPECT_EQ(key.subKeyCount(), 7u);
}

TEST(RegKeyNames, PathsAndInvalidNames) {
  test::TempStore store;
  RegKey key(eCurrentUser, "\\Software\\TVCAD\\Paths\\");
  EXPECT_EQ(key.path(), "Software\\TVCAD\\Paths");
  EXPECT_EQ(key.name(), "Paths");
  EXPECT_EQ(key.fullName(), "HKEY_CURRENT_USER\\Software\\TVCAD\\Paths");
  EXPECT_EQ(key.root(), eCurrentUser);
  ASSERT_TRUE(key.create());
  RegKey sub(key, "Child\\Grandchild");
  EXPECT_EQ(sub.fullName(), "HKEY_CURRENT_USER\\Software\\TVCAD\\Paths\\Child\\Grandchild");
  EXPECT_EQ(sub.name(), "Grandchild");
  ASSERT_TRUE(sub.create());
  EXPECT_TRUE(key.hasSubKey("child"));
  EXPECT_TRUE(key.hasSubKey("CHILD\\grandchild"));
  EXPECT_FALSE(key.hasSubKey("Grandchild"));
  EXPECT_FALSE(key.hasSubKey(""));

  RegKey rootKey(eLocalMachine, "");
  EXPECT_EQ(rootKey.fullName(), "HKEY_LOCAL_MACHINE");
  EXPECT_EQ(rootKey.name(), "");
  EXPECT_TRUE(rootKey.open());
  EXPECT_TRUE(rootKey.setValue("onRoot", 1L)) << "a root holds values like any key";

  // Empty components, over-long names and bad roots address nothing.
  const wxString longName(L'n', 256);
  for (const RegKey& bad : {RegKey(eCurrentUser, "Software\\\\X"), RegKey(eCurrentUser, "Software\\" + longName),
                            RegKey(static_cast<ERootKey>(7), "Software"), RegKey(key, ""), RegKey()}) {
    RegKey k(bad);
    EXPECT_FALSE(k.create()) << k.path();
    EXPECT_FALSE(k.open()) << k.path();
    EXPECT_FALSE(k.exists()) << k.path();
  }
  EXPECT_EQ(RegKey().fullName(), "");
  EXPECT_TRUE(RegKey(eCurrentUser, "Software\\" + wxString(L'n', 255)).create());
  // 255 UTF-16 units: an astral character counts twice.
  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\" + wxString(L'n', 254) + wxString(L"\U0001F600")).create());
}

// --- open, closed and missing keys ---------------------------------------------

TEST(RegKeyState, ClosedAndMissingKeysFailCleanly) {
  test::TempStore store;
  RegKey missing(eCurrentUser, "Software\\TVCAD\\Missing");
  EXPECT_FALSE(missing.exists());
  EXPECT_FALSE(missing.open());
  EXPECT_FALSE(missing.isOpen());

  RegKey key = makeKey("Software\\TVCAD\\State");
  ASSERT_TRUE(key.setValue("v", 1L));
  ASSERT_TRUE(key.close());
  EXPECT_FALSE(key.isOpen());
  EXPECT_TRUE(key.exists()) << "existence needs no open key";
  long v = 0;
  wxString s;
  std::vector<wxString> names;
  EXPECT_FALSE(key.queryValue("v", v));
  EXPECT_FALSE(key.setValue("v", 2L));
  EXPECT_FALSE(key.hasValue("v"));
  EXPECT_FALSE(key.deleteValue("v"));
  EXPECT_FALSE(key.getValueNames(names));
  EXPECT_FALSE(key.getSubKeys(names));
  EXPECT_FALSE(key.deleteSelf());
  EXPECT_EQ(key.valueCount(), 0u);

  // Read access refuses every change.
  ASSERT_TRUE(key.open(eRead));
  EXPECT_TRUE(key.queryValue("v", v));
  EXPECT_FALSE(key.setValue("v", 2L));
  EXPECT_FALSE(key.deleteValue("v"));
  EXPECT_FALSE(key.deleteKey("x"));
  EXPECT_FALSE(key.deleteSelf());
  ASSERT_TRUE(key.open(eWrite));
  EXPECT_TRUE(key.setValue("v", 2L));

  // Missing values.
  EXPECT_FALSE(key.queryValue("nope", s));
  EXPECT_FALSE(key.hasValue("nope"));
  EXPECT_EQ(key.valueType("nope"), eRegNone);
  EXPECT_FALSE(key.deleteValue("nope"));
  EXPECT_FALSE(key.deleteKey("nope"));
}

TEST(RegKeyState, KeyDeletedUnderAnOpenObject) {
  test::TempStore store;
  RegKey a = makeKey("Software\\TVCAD\\Gone");
  ASSERT_TRUE(a.setValue("v", 1L));
  RegKey b(eCurrentUser, "Software\\TVCAD\\Gone");
  ASSERT_TRUE(b.open());
  ASSERT_TRUE(a.deleteSelf());
  EXPECT_FALSE(a.isOpen());
  EXPECT_FALSE(b.exists());
  long v = 0;
  EXPECT_FALSE(b.queryValue("v", v));
  EXPECT_FALSE(b.setValue("v", 2L)) << "a write must not bring a deleted key back";
  EXPECT_FALSE(b.exists());
  std::vector<wxString> names;
  EXPECT_FALSE(b.getValueNames(names));
  // Recreated under the same path, the open object finds the new key.
  RegKey c = makeKey("Software\\TVCAD\\Gone");
  ASSERT_TRUE(c.setValue("v", 3L));
  EXPECT_TRUE(b.queryValue("v", v));
  EXPECT_EQ(v, 3);
}

// --- deleting and copying --------------------------------------------------------

TEST(RegKeyTree, DeleteSubtree) {
  test::TempStore store;
  RegKey top = makeKey("Software\\TVCAD\\Tree");
  RegKey keep = makeKey("Software\\TVCAD\\TreeSibling");
  ASSERT_TRUE(keep.setValue("k", 1L));
  // A wide and deep subtree.
  wxString deep = "Deep";
  for (int i = 0; i < 60; ++i) deep << "\\L" << i;
  RegKey deepKey = makeKey("Software\\TVCAD\\Tree\\" + deep);
  ASSERT_TRUE(deepKey.setValue("bottom", 1L));
  for (int i = 0; i < 200; ++i) {
    RegKey k(top, wxString::Format("Wide\\K%d", i));
    ASSERT_TRUE(k.create());
    ASSERT_TRUE(k.setValue("v", static_cast<long>(i)));
  }
  EXPECT_EQ(RegKey(top, "Wide").subKeyCount(), 0u) << "not open";
  RegKey wide(top, "Wide");
  ASSERT_TRUE(wide.open());
  EXPECT_EQ(wide.subKeyCount(), 200u);

  ASSERT_TRUE(top.deleteKey("wide"));
  EXPECT_FALSE(wide.exists());
  EXPECT_FALSE(RegKey(top, "Wide\\K5").exists());
  ASSERT_TRUE(top.deleteKey("DEEP"));
  EXPECT_FALSE(deepKey.exists());
  EXPECT_TRUE(top.exists());
  EXPECT_EQ(subKeys(top), std::vector<wxString>{});
  EXPECT_TRUE(keep.hasValue("k")) << "a sibling whose name starts alike is untouched";

  // A root cannot go.
  RegKey root(eCurrentUser, "");
  ASSERT_TRUE(root.open());
  EXPECT_FALSE(root.deleteSelf());
  EXPECT_TRUE(root.exists());
}

TEST(RegKeyTree, CopyValuesAndSubtree) {
  test::TempStore store;
  RegKey src = makeKey("Software\\TVCAD\\Src");
  ASSERT_TRUE(src.setValue("s", "text"));
  ASSERT_TRUE(src.setValue("n", 7L));
  ASSERT_TRUE(src.setValue("", "def"));
  RegKey child = makeKey("Software\\TVCAD\\Src\\Child\\Grand");
  ASSERT_TRUE(child.setValue64("q", -5));

  RegKey dst = makeKey("Software\\TVCAD\\Dst");
  ASSERT_TRUE(dst.setValue("n", "will be overwritten"));
  ASSERT_TRUE(dst.setValue("own", 1L));
  ASSERT_TRUE(src.copy(dst));
  long n = 0;
  ASSERT_TRUE(dst.queryValue("n", n));
  EXPECT_EQ(n, 7);
  EXPECT_EQ(dst.valueType("N"), eRegDword);
  EXPECT_TRUE(dst.hasValue("own"));
  EXPECT_EQ(valueNames(dst), (std::vector<wxString>{"n", "own", "s", ""}));
  RegKey copiedGrand(eCurrentUser, "Software\\TVCAD\\Dst\\Child\\Grand");
  ASSERT_TRUE(copiedGrand.open());
  std::int64_t q = 0;
  ASSERT_TRUE(copiedGrand.queryValue64("q", q));
  EXPECT_EQ(q, -5);
  EXPECT_TRUE(src.hasValue("s")) << "the source stays";

  // A destination that does not exist yet is created.
  RegKey fresh(eUsers, "Elsewhere\\Copy");
  ASSERT_TRUE(src.copy(fresh));
  EXPECT_TRUE(fresh.isOpen());
  EXPECT_TRUE(fresh.hasSubKey("child\\grand"));

  // Not into its own subtree; onto itself it changes nothing.
  RegKey inside(eCurrentUser, "Software\\TVCAD\\Src\\Child\\Inner");
  EXPECT_FALSE(src.copy(inside));
  EXPECT_FALSE(inside.exists());
  RegKey self(eCurrentUser, "software\\tvcad\\SRC");
  EXPECT_TRUE(src.copy(self));
  EXPECT_EQ(src.valueCount(), 3u);
  EXPECT_EQ(src.subKeyCount(), 1u);
}

// --- transactions -----------------------------------------------------------------

TEST(RegTransactionScope, CommitAndRollback) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Tx");
  {
    RegTransaction tx;
    ASSERT_TRUE(tx.isActive());
    ASSERT_TRUE(key.setValue("a", 1L));
    ASSERT_TRUE(key.setValue("b", 2L));
    EXPECT_TRUE(key.hasValue("a")) << "the transaction sees its own writes";
    EXPECT_TRUE(tx.commit());
    EXPECT_FALSE(tx.isActive());
    EXPECT_FALSE(tx.commit()) << "only once";
  }
  EXPECT_EQ(key.valueCount(), 2u);
  {
    RegTransaction tx;
    ASSERT_TRUE(key.setValue("c", 3L));
    ASSERT_TRUE(key.deleteValue("a"));
    RegKey created = makeKey("Software\\TVCAD\\Tx\\New");
    ASSERT_TRUE(created.setValue("x", 1L));
    // left without commit
  }
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{"a", "b"}));
  EXPECT_FALSE(key.hasSubKey("New"));
  {
    RegTransaction tx;
    ASSERT_TRUE(key.setValue("d", 4L));
    tx.rollback();
    EXPECT_FALSE(tx.isActive());
    EXPECT_FALSE(tx.commit());
  }
  EXPECT_FALSE(key.hasValue("d"));
}

TEST(RegTransactionScope, NestedScopes) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Nested");
  {
    RegTransaction outer;
    ASSERT_TRUE(key.setValue("a", 1L));
    {
      RegTransaction inner;
      ASSERT_TRUE(key.setValue("b", 2L));
      EXPECT_TRUE(inner.commit());
    }
    EXPECT_TRUE(key.hasValue("b"));
    EXPECT_TRUE(outer.commit());
  }
  EXPECT_EQ(key.valueCount(), 2u);

  {
    RegTransaction outer;
    ASSERT_TRUE(key.setValue("c", 3L));
    {
      RegTransaction inner;
      ASSERT_TRUE(key.setValue("d", 4L));
      inner.rollback();
    }
    // Once an inner scope has failed, the whole transaction is lost.
    EXPECT_FALSE(key.setValue("e", 5L));
    EXPECT_FALSE(RegStore::lastError().empty());
    EXPECT_FALSE(outer.commit());
  }
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{"a", "b"}));
  EXPECT_TRUE(key.setValue("f", 6L)) << "writes work again after the scope";
}

TEST(RegTransactionScope, KeyIdsCreatedInARolledBackTransaction) {
  test::TempStore store;
  RegKey ghost(eCurrentUser, "Software\\TVCAD\\Ghost");
  {
    RegTransaction tx;
    ASSERT_TRUE(ghost.create());
    ASSERT_TRUE(ghost.setValue("g", 1L));
  }
  // The rolled-back key's id may be handed out again: the old object must
  // not reach the new key through it.
  RegKey other = makeKey("Software\\TVCAD\\Other");
  ASSERT_TRUE(other.setValue("o", 2L));
  EXPECT_FALSE(ghost.exists());
  EXPECT_FALSE(ghost.hasValue("o"));
  EXPECT_FALSE(ghost.setValue("o", 3L));
  long v = 0;
  ASSERT_TRUE(other.queryValue("o", v));
  EXPECT_EQ(v, 2);
}

TEST(RegTransactionScope, OtherThreadsWait) {
  test::TempStore store;
  RegKey key = makeKey("Software\\TVCAD\\Threads");
  std::atomic<bool> wrote{false};
  std::thread writer;
  {
    RegTransaction tx;
    ASSERT_TRUE(key.setValue("x", 1L));
    writer = std::thread([&wrote] {
      RegKey k(eCurrentUser, "Software\\TVCAD\\Threads");
      EXPECT_TRUE(k.open());
      EXPECT_TRUE(k.setValue("x", 2L));
      EXPECT_TRUE(k.setValue("y", 2L));
      wrote = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_FALSE(wrote.load()) << "the other thread must wait for the transaction";
    ASSERT_TRUE(key.setValue("x", 3L));
    EXPECT_TRUE(tx.commit());
  }
  writer.join();
  EXPECT_TRUE(wrote.load());
  long x = 0;
  ASSERT_TRUE(key.queryValue("x", x));
  EXPECT_EQ(x, 2) << "the waiting write lands after the commit";
  EXPECT_EQ(valueNames(key), (std::vector<wxString>{"x", "y"}));
}

TEST(RegTransactionScope, ConcurrentThreadsLoseNothing) {
  test::TempStore store;
  ASSERT_TRUE(makeKey("Software\\TVCAD\\Many").isOpen());
  constexpr int kThreads = 4;
  constexpr int kValues = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      RegKey k(eCurrentUser, "Software\\TVCAD\\Many");
      ASSERT_TRUE(k.open());
      for (int i = 0; i < kValues; ++i) {
        if (i % 50 == 0) {
          RegTransaction tx;
          for (int j = 0; j < 10; ++j) EXPECT_TRUE(k.setValue(wxString::Format("t%d-tx%d-%d", t, i, j), 1L));
          EXPECT_TRUE(tx.commit());
        }
        EXPECT_TRUE(k.setValue(wxString::Format("t%d-%d", t, i), static_cast<long>(i)));
      }
    });
  }
  for (auto& th : threads) th.join();
  RegKey k(eCurrentUser, "Software\\TVCAD\\Many");
  ASSERT_TRUE(k.open());
  EXPECT_EQ(k.valueCount(), static_cast<std::size_t>(kThreads * (kValues + 6 * 10)));
  long v = 0;
  ASSERT_TRUE(k.queryValue("t3-299", v));
  EXPECT_EQ(v, 299);
}
