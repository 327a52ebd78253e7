#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_registry.h>

#include <wx/strconv.h>

#include <cstdint>
#include <memory>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

using namespace ut;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::wstring>;
using Messages = std::vector<std::wstring>;
using test::LogCapture;

namespace {

const ERootKey kBadRoot = static_cast<ERootKey>(7);
const std::string kHeader = "Windows Registry Editor Version 5.00\r\n";

// A string as the registry keeps it: UTF-16LE (BMP only here) with its NUL.
Bytes utf16z(const std::wstring& text) {
  Bytes out;
  for (wchar_t c : text) {
    out.push_back(static_cast<std::uint8_t>(c & 0xFF));
    out.push_back(static_cast<std::uint8_t>((c >> 8) & 0xFF));
  }
  out.insert(out.end(), {0, 0});
  return out;
}

std::string repeat(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

class RegistryTest : public ::testing::Test {
 protected:
  test::TempStore m_store;
  test::TempDir m_dir;

  // A value's type and bytes; type 0xDEAD when it cannot be read.
  static std::pair<unsigned, Bytes> raw(const RegKey& key, const wxString& name) {
    std::pair<unsigned, Bytes> value{0xDEAD, {}};
    if (!key.queryRawValue(name, value.first, value.second)) value.first = 0xDEAD;
    return value;
  }
  static RegKey makeKey(const wxString& path) {
    RegKey key(eCurrentUser, path);
    EXPECT_TRUE(key.create()) << path;
    return key;
  }
  // What listKeys or listValues hands back; {"<failed>"} when it fails.
  static Names list(bool keys, ERootKey root, const wchar_t* path) {
    OdArray<OdString> names;
    names.append(OdString(L"stale"));
    if (!(keys ? Registry::listKeys(root, path, names) : Registry::listValues(root, path, names))) return {L"<failed>"};
    Names out;
    for (const auto& name : names) out.push_back(name.c_str());
    return out;
  }
  wxString path(const std::string& name) const { return wxString((m_dir / name).wstring()); }
  // Writes the bytes to a file of the test folder and imports it, reporting.
  bool import(const std::string& bytes) const {
    EXPECT_TRUE(test::writeFileBytes(m_dir / "in.reg", bytes));
    return Registry::importKey(path("in.reg"), true);
  }
};

}  // namespace

// --- the object ----------------------------------------------------------------

TEST_F(RegistryTest, ClosedObjectRefusesEverything) {
  Registry r;
  OdString s;
  long n = 0;
  wxMemoryBuffer b;
  EXPECT_FALSE(r.read(L"x", s) || r.read(L"x", n) || r.read(L"x", b));
  EXPECT_FALSE(r.write(L"x", OdString(L"v")) || r.write(L"x", 1L) || r.write(L"x", b));
  EXPECT_FALSE(r.deleteValue(L"x") || r.verifyKey(OdString(L"x")) || r.verifyValue(L"x"));
  EXPECT_EQ(r.valueType(L"x"), eRegNone);
  OdString why;
  EXPECT_TRUE(!r.verifyData(L"x", false, &why) && !why.isEmpty());
  r.close();  // closing nothing is harmless
  EXPECT_FALSE(r.open(eCurrentUser, L"Software\\TVCAD\\Missing", eRead) || r.open(kBadRoot, L"Software", eRead));
  EXPECT_FALSE(r.create(kBadRoot, L"Software\\X") ||
               r.create(eCurrentUser, L"Software\\" + OdString(std::wstring(256, L'k'))));
  EXPECT_FALSE(r.isOpen());
}

TEST_F(RegistryTest, ReadsAndWritesEachType) {
  Registry r;
  ASSERT_TRUE(r.create(eCurrentUser, L"Software\\TVCAD\\Test"));
  wxMemoryBuffer bytes;
  bytes.AppendData("\0\1\2", 3);
  ASSERT_TRUE(r.write(L"Text", OdString(L"h\u00e9llo")) && r.write(L"Number", -2L) && r.write(L"Bytes", bytes));
  ASSERT_TRUE(r.write(OdString(L""), OdString(L"default")));
  RegKey key(eCurrentUser, L"Software\\TVCAD\\Test");
  ASSERT_TRUE(key.open(eRead));
  EXPECT_EQ(raw(key, L"Text"), std::make_pair(1u, utf16z(L"h\u00e9llo")));
  EXPECT_EQ(raw(key, L"Number"), std::make_pair(4u, Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(raw(key, L"Bytes"), std::make_pair(3u, Bytes{0, 1, 2}));

  OdString text;
  EXPECT_TRUE(r.read(L"Text", text) && text == OdString(L"h\u00e9llo"));
  long number = 0;
  EXPECT_TRUE(r.read(L"Number", number) && number == -2);
  wxMemoryBuffer back;
  EXPECT_TRUE(r.read(L"", back) && back.GetDataLen() == utf16z(L"default").size()) << "the raw bytes of any value";
  EXPECT_TRUE(r.valueType(L"Bytes") == eRegBinary && r.valueType(L"Missing") == eRegNone);
  EXPECT_FALSE(r.read(L"Missing", text) || r.read(L"Bytes", number));
  EXPECT_TRUE(r.verifyValue(L"TEXT") && r.deleteValue(L"Text")) << "names ignore case";
  EXPECT_FALSE(r.verifyValue(L"Text") || r.deleteValue(L"Text"));
  r.close();
  EXPECT_TRUE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\Test", L"Number"))
      << "the data outlives the object";
}

TEST_F(RegistryTest, VerifyDataChecksBytesByType) {
  RegKey key = makeKey(L"Software\\TVCAD\\Data");
  // Name, type, bytes; verifyData without and with requireData; a part of the description.
  const std::tuple<const wchar_t*, unsigned, Bytes, bool, bool, const wchar_t*> cases[] = {
      {L"sz", 1, utf16z(L"abc"), true, true, L"REG_SZ"},
      {L"sz-empty", 1, utf16z(L""), true, false, L"empty"},
      {L"sz-open", 2, {'a', 0}, false, false, L"NUL"},
      {L"dword-short", 4, {1, 0}, false, false, L"expected 4"},
      {L"multi", 7, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, true, true, L"2 strings"},
      {L"missing", 0, {}, false, false, L"does not exist"},
  };
  for (const auto& [name, type, data, plain, required, text] : cases) {
    if (std::wstring(name) != L"missing") {
      ASSERT_TRUE(key.setRawValue(name, type, data.data(), data.size()));
    }
  }
  Registry r;
  ASSERT_TRUE(r.open(eCurrentUser, L"Software\\TVCAD\\Data", eRead));
  for (const auto& [name, type, data, plain, required, text] : cases) {
    OdString plainWhy;
    OdString requiredWhy;
    EXPECT_EQ(r.verifyData(name, false, &plainWhy), plain) << name;
    EXPECT_EQ(r.verifyData(name, true, &requiredWhy), required) << name;
    const std::wstring why = (plain == required ? plainWhy : requiredWhy).c_str();
    EXPECT_NE(why.find(text), std::wstring::npos) << name << ": " << why;
  }
  EXPECT_TRUE(r.verifyData(L"sz", true, nullptr));
}

// --- static operations -------------------------------------------------------

TEST_F(RegistryTest, CreateKeyHandsOverAnOwnedKey) {
  RegKey* raw = nullptr;
  ASSERT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\Made\\Deep", &raw));
  const std::unique_ptr<RegKey> key(raw);
  ASSERT_NE(key, nullptr);
  EXPECT_TRUE(key->setValue(L"x", L"y"));
  EXPECT_TRUE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\Made\\Deep", L"x"));
  RegKey* none = key.get();  // must be reset on failure
  EXPECT_FALSE(Registry::createKey(kBadRoot, L"Software\\X", &none));
  EXPECT_EQ(none, nullptr);
  EXPECT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\Made", nullptr));
}

TEST_F(RegistryTest, OpenTheCompanyKeyOnRequest) {
  EXPECT_FALSE(Registry(false).isOpen());
  EXPECT_FALSE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD"));
  Registry company(true);
  EXPECT_TRUE(company.isOpen() && company.write(L"x", 1L));
  EXPECT_TRUE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD", L"x"));
}

TEST_F(RegistryTest, ExistenceListsAndDeletion) {
  const wchar_t* const l = L"Software\\TVCAD\\L";
  ASSERT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\L\\b", nullptr));
  ASSERT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\L\\A\\R", nullptr));
  Registry r;
  ASSERT_TRUE(r.open(eCurrentUser, l, eWrite) && r.write(L"z", 1L) && r.write(L"a", 2L));
  // Subkeys are verified below the open key.
  EXPECT_TRUE(r.verifyKey(OdString(L"a\\r")));
  EXPECT_FALSE(r.verifyKey(OdString(L"R")) || r.verifyKey(OdString(L"")));

  EXPECT_EQ(list(true, eCurrentUser, l), (Names{L"A", L"b"}));
  EXPECT_EQ(list(false, eCurrentUser, l), (Names{L"z", L"a"})) << "the order values were written in";
  EXPECT_EQ(list(true, eCurrentUser, L"Software\\TVCAD\\None"), Names{L"<failed>"});
  EXPECT_EQ(list(false, kBadRoot, l), Names{L"<failed>"});
  EXPECT_TRUE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\L\\a"));
  EXPECT_TRUE(Registry::verifyValue(eCurrentUser, l, L"Z"));
  EXPECT_FALSE(Registry::verifyKey(kBadRoot, l) || Registry::verifyValue(eCurrentUser, l, L"y") ||
               Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\None", L"z"));

  EXPECT_FALSE(Registry::deleteKey(eCurrentUser, L"Software\\TVCAD\\None") || Registry::deleteKey(eCurrentUser, L"") ||
               Registry::deleteKey(kBadRoot, l));
  ASSERT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\Lb", nullptr));
  EXPECT_TRUE(Registry::deleteKey(eCurrentUser, l));
  EXPECT_TRUE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\Lb")) << "a sibling whose name starts alike stays";
  EXPECT_FALSE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\L\\A") || Registry::verifyKey(eCurrentUser, l));
  EXPECT_TRUE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD"));
}

TEST_F(RegistryTest, CopyKeyShallowAndRecursive) {
  RegKey src = makeKey(L"Software\\TVCAD\\Src");
  ASSERT_TRUE(src.setValue(L"s", L"text"));
  ASSERT_TRUE(src.setRawValue(L"odd", 0x42, "\1\2", 2));
  ASSERT_TRUE(makeKey(L"Software\\TVCAD\\Src\\Sub").setValue(L"n", 3L));
  RegKey dst(eLocalMachine, L"Software\\Dst");
  ASSERT_TRUE(dst.create());
  ASSERT_TRUE(dst.setValue(L"s", L"old"));
  ASSERT_TRUE(dst.setValue(L"keep", L"mine"));

  ASSERT_TRUE(Registry::copyKey(eCurrentUser, eLocalMachine, L"Software\\TVCAD\\Src", L"Software\\Dst", false));
  wxString text;
  EXPECT_TRUE(dst.queryValue(L"s", text));
  EXPECT_EQ(text, L"text");
  EXPECT_TRUE(dst.hasValue(L"keep"));
  EXPECT_EQ(raw(dst, L"odd"), std::make_pair(0x42u, Bytes{1, 2}));
  EXPECT_FALSE(Registry::verifyKey(eLocalMachine, L"Software\\Dst\\Sub"));

  ASSERT_TRUE(
      Registry::copyKey(eCurrentUser, eCurrentUser, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\Deep\\Copy", true));
  EXPECT_TRUE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\Deep\\Copy\\Sub", L"n"));
  EXPECT_TRUE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\Src\\Sub", L"n"));  // source intact

  EXPECT_FALSE(Registry::copyKey(eCurrentUser, eCurrentUser, L"Software\\TVCAD\\None", L"Software\\TVCAD\\X", true));
  EXPECT_FALSE(Registry::copyKey(kBadRoot, eCurrentUser, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\X", false));
  EXPECT_FALSE(Registry::copyKey(eCurrentUser, kBadRoot, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\X", false));
  EXPECT_FALSE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\X"));
  // Never into its own subtree, which would copy without end.
  EXPECT_FALSE(
      Registry::copyKey(eCurrentUser, eCurrentUser, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\Src\\Sub\\In", true));
  EXPECT_FALSE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\Src\\Sub\\In"));
}

// --- export and import -----------------------------------------------------------

// Every kind of value is exported in the registry editor's form, and imports
// back to the same name, type and bytes; uninterpreted types are reported and
// skipped. Exporting the imported key gives the same file again.
TEST_F(RegistryTest, ExportIsExactAndImportsBackByteForByte) {
  struct Value {
    std::wstring name;
    unsigned type;
    Bytes data;
    std::string line;
  };
  const wchar_t lone = static_cast<wchar_t>(0xDC00);
  Bytes bytes44(44);
  std::iota(bytes44.begin(), bytes44.end(), 0);
  const std::vector<Value> values = {
      {L"", 1, utf16z(L""), "@=\"\""},
      {L"quote\"back\\slash", 1, utf16z(L"\"\\ \\\" end\\"),
       "\"quote\\\"back\\\\slash\"=\"\\\"\\\\ \\\\\\\" end\\\\\""},
      {L"breaks", 1, utf16z(L"lf\ncrlf\r\ncr\rend\n"), "\"breaks\"=\"lf\r\ncrlf\r\r\ncr\rend\r\n\""},
      {L"line\nname", 1, utf16z(L"x"), "\"line\r\nname\"=\"x\""},
      {L"\u00fcn\u00efc\u00f8d\u00e9 \u65e5\u672c", 1, utf16z(L"\u30c6\u30ad\u30b9\u30c8 \u00e9"),
       "\"ünïcødé 日本\"=\"テキスト é\""},
      {L"injection", 1, utf16z(L"\t[HKCU\\x]\r\n\"y\"=dword:1\r\n;"),
       "\"injection\"=\"\t[HKCU\\\\x]\r\r\n\\\"y\\\"=dword:1\r\r\n;\""},
      {L"surrogates", 1, {0x3d, 0xd8, 0x00, 0xde, 0, 0}, "\"surrogates\"=\"\xF0\x9F\x98\x80\""},
      {std::wstring(L"lone") + lone, 1, {0x3d, 0xd8, 0, 0}, "\"lone\xED\xB0\x80\"=hex(1):3d,d8,00,00"},
      {L"no terminator", 1, {'a', 0}, "\"no terminator\"=hex(1):61,00"},
      {L"odd size", 1, {'a', 0, 0}, "\"odd size\"=hex(1):61,00,00"},
      {L"inner nul", 1, {0, 0, 'a', 0, 0, 0}, "\"inner nul\"=hex(1):00,00,61,00,00,00"},
      {L"sz no bytes", 1, {}, "\"sz no bytes\"=hex(1):"},
      {L"expand", 2, utf16z(L"%A%"), "\"expand\"=hex(2):25,00,41,00,25,00,00,00"},
      {L"expand empty", 2, {}, "\"expand empty\"=hex(2):"},
      {L"bin", 3, {0, 0xab}, "\"bin\"=hex:00,ab"},
      {L"bin empty", 3, {}, "\"bin empty\"=hex:"},
      {L"dword", 4, {0x78, 0x56, 0x34, 0x12}, "\"dword\"=dword:12345678"},
      {L"short dword", 4, {1, 2, 3}, "\"short dword\"=hex(4):01,02,03"},
      {L"multi", 7, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}, "\"multi\"=hex(7):61,00,00,00,62,00,00,00,00,00"},
      {L"qword", 11, {1, 2, 3, 4, 5, 6, 7, 0x80}, "\"qword\"=hex(b):01,02,03,04,05,06,07,80"},
      {L"none", 0, {}, "\"none\"=hex(0):"},
      {L"none bytes", 0, {0, 1, 2}, "\"none bytes\"=hex(0):00,01,02"},
      // Names that look like syntax; "@" is not the default value.
      {L"@", 4, {0, 0, 0, 0}, "\"@\"=dword:00000000"},
      {L"[x]", 4, {0, 0, 0, 0}, "\"[x]\"=dword:00000000"},
      // Long data wraps like the registry editor's: 80 columns at most, 25
      // bytes on a continuation line, nothing but a full line before a break.
      {L"WindowPlacement", 3, bytes44,
       "\"WindowPlacement\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,\\\r\n"
       "  13,14,15,16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b"},
      {L"WindowPlacemen2", 3, Bytes(20, 0), "\"WindowPlacemen2\"=hex:" + repeat("00,", 19) + "\\\r\n  00"},
      // The width counts UTF-16 units: two astral characters take four.
      {L"\U0001F600\U0001F600", 3, Bytes(30, 0),
       "\"\xF0\x9F\x98\x80\xF0\x9F\x98\x80\"=hex:" + repeat("00,", 22) + "\\\r\n  " + repeat("00,", 7) + "00"},
      // Types the library does not interpret.
      {L"link", 6, {'a', 'b'}, "[[Unknown type: 6]]"},
      {L"big type", 0x12345, {1}, "[[Unknown type: 74565]]"},
  };
  const auto interpreted = [](const Value& v) { return v.type <= 4 || v.type == 7 || v.type == 11; };
  RegKey key = makeKey(L"Software\\TVCAD\\Round");
  for (const auto& v : values) ASSERT_TRUE(key.setRawValue(v.name, v.type, v.data.data(), v.data.size()));
  ASSERT_TRUE(makeKey(L"Software\\TVCAD\\Round\\Sub \u00e9 [x]").setValue(L"n", 7L));
  ASSERT_TRUE(makeKey(L"Software\\TVCAD\\Round\\Empty").isOpen());
  const auto expected = [&](bool all) {
    std::string text = kHeader + "[HKEY_CURRENT_USER\\Software\\TVCAD\\Round]\r\n";
    for (const auto& v : values) text += all || interpreted(v) ? v.line + "\r\n" : "";
    return text +
           "[HKEY_CURRENT_USER\\Software\\TVCAD\\Round\\Empty]\r\n"
           "[HKEY_CURRENT_USER\\Software\\TVCAD\\Round\\Sub é [x]]\r\n\"n\"=dword:00000007\r\n";
  };

  ASSERT_TRUE(Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\TVCAD\\Round", path("round.reg"), true));
  EXPECT_EQ(test::readFileBytes(m_dir / "round.reg"), expected(true));
  ASSERT_TRUE(key.deleteSelf());
  {
    LogCapture log;
    EXPECT_FALSE(Registry::importKey(path("round.reg"), true)) << "the unknown types were skipped";
    ASSERT_EQ(log.messages().size(), 2u);
    for (const auto& m : log.messages()) EXPECT_EQ(m.rfind(L"line ", 0), 0u) << m;
  }
  RegKey back(eCurrentUser, L"Software\\TVCAD\\Round");
  ASSERT_TRUE(back.open(eRead));
  for (const auto& v : values) {
    const auto expectedValue = interpreted(v) ? std::make_pair(v.type, v.data) : std::make_pair(0xDEADu, Bytes{});
    EXPECT_EQ(raw(back, v.name), expectedValue) << testing::PrintToString(v.name);
  }
  ASSERT_TRUE(Registry::exportKey(L"hkcu\\Software\\TVCAD\\Round", path("round.reg"), true));
  EXPECT_EQ(test::readFileBytes(m_dir / "round.reg"), expected(false)) << "the file is replaced";
}

TEST_F(RegistryTest, ExportFailuresAreReportedOnRequest) {
  ASSERT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\E", nullptr));
  const wxString file = path("e.reg");
  const std::pair<const wchar_t*, const wchar_t*> failures[] = {
      {L"HKEY_NOWHERE\\Software", L"Bad root"},
      {L"HKEY_CURRENT_USER\\Software\\TVCAD\\Missing", L"Failed to open registry key"},
      {L"", L"Bad arguments"}};
  for (const auto& [key, message] : failures) {
    for (const bool report : {true, false}) {
      LogCapture log;
      EXPECT_FALSE(Registry::exportKey(key, file, report));
      EXPECT_EQ(log.messages(), report ? Messages{message} : Messages{}) << key;
    }
  }
  LogCapture log;
  EXPECT_FALSE(Registry::exportKey(L"HKCU\\Software\\TVCAD\\E", path("no/such/dir/e.reg"), true));
  ASSERT_FALSE(log.messages().empty());
  EXPECT_NE(log.messages()[0].find(L"Failed to create file"), std::wstring::npos) << log.messages()[0];
  // A Registry object silences its own calls, not a report asked for.
  Registry quiet(true);
  EXPECT_FALSE(Registry::exportKey(L"HKEY_NOWHERE\\Software", file, true));
  EXPECT_EQ(log.messages().size(), 2u);
  EXPECT_FALSE(wxFileExists(file));
}

// The two exports written on Windows (UTF-16LE with a byte-order mark, CR LF,
// hex values on continuation lines) import value by value, and exporting the
// imported keys reproduces them line for line (their blank lines apart).
TEST_F(RegistryTest, WindowsExportsImportAndExportAgain) {
  const std::string dir = std::string(UT_TESTDATA_DIR) + "/registry/";
  const wxString profile = L"HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Drafting";
  const std::pair<const char*, wxString> files[] = {{"profile-windows-export.reg", profile},
                                                    {"all-value-types.reg", L"HKCU\\Software\\TVCAD\\Samples"}};
  LogCapture log;
  for (const auto& [file, keyName] : files) ASSERT_TRUE(Registry::importKey(wxString(dir + file), true)) << file;
  EXPECT_TRUE(log.messages().empty());

  RegKey config(eCurrentUser, profile.AfterFirst(L'\\') + L"\\Config");
  ASSERT_TRUE(config.open(eRead));
  EXPECT_EQ(raw(config, L"OSMODE"), std::make_pair(4u, Bytes{0xa7, 0x10, 0, 0}));
  wxString s;
  EXPECT_TRUE(config.queryValue(L"Greeting", s) && s == L"Gr\u00fc\u00dfe, \"quoted\" and back\\slash") << s;
  EXPECT_EQ(config.valueType(L"SupportPath"), eRegExpandSz);
  EXPECT_TRUE(config.queryValue(L"SupportPath", s));
  EXPECT_EQ(s, L"%APPDATA%\\TVCAD\\Support;%USERPROFILE%\\Documents\\TVCAD\\Fonts;C:\\Program Files\\TVCAD\\Support");
  std::int64_t q = 0;
  EXPECT_TRUE(config.queryValue64(L"LastSaved", q) && q == 0x01da223e15f1f34e);
  std::vector<wxString> multi;
  EXPECT_TRUE(config.queryMultiString(L"RecentCommands", multi));
  EXPECT_EQ(multi, (std::vector<wxString>{L"LINE", L"CIRCLE", L"PLINE", L"DIMLINEAR"}));
  RegKey samples(eCurrentUser, L"Software\\TVCAD\\Samples");
  ASSERT_TRUE(samples.open(eRead));
  EXPECT_EQ(raw(samples, L"Empty"), std::make_pair(1u, utf16z(L"")));
  EXPECT_TRUE(samples.queryValue(L"\u00dcn\u00efc\u00f8d\u00e9 name", s) &&
              s == L"\u65e5\u672c\u8a9e\u30c6\u30ad\u30b9\u30c8");
  EXPECT_TRUE(samples.queryValue(L"", s) && s == L"default value");

  for (const auto& [file, keyName] : files) {
    const std::string original = test::readFileBytes(dir + file);
    ASSERT_EQ(original.rfind("\xFF\xFE", 0), 0u) << file;
    wxString text(original.data() + 2, wxMBConvUTF16LE(), original.size() - 2);
    while (text.Replace("\r\n\r\n", "\r\n")) {}
    ASSERT_TRUE(Registry::exportKey(keyName, path("again.reg"), true));
    EXPECT_EQ(test::readFileBytes(m_dir / "again.reg"), text.utf8_string()) << file;
  }
}

TEST_F(RegistryTest, ImportRefusesMissingAndHeaderlessFiles) {
  LogCapture log;
  EXPECT_FALSE(Registry::importKey(path("none.reg"), false) ||
               import("[HKCU\\Software\\TVCAD\\H]\r\n\"a\"=dword:1\r\n"));
  EXPECT_FALSE(Registry::importKey(path("none.reg"), true));
  EXPECT_EQ(log.messages(), (Messages{L"line 1: not a registry export file: the first line must be "
                                      L"\"Windows Registry Editor Version 5.00\"",
                                      L"File not found"}));
  EXPECT_FALSE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\H"));
}

TEST_F(RegistryTest, MalformedEntriesAreSkippedOneByOneWithoutDamage) {
  // One bad entry (it may span lines), how many lines it takes, a part of the message.
  const std::tuple<const char*, int, const char*> cases[] = {
      {"\"Keep\"=hex:01,zz,03", 1, "bad hex"},        {"\"Keep\"=hex:01,02,\\\r\n  03,0g", 2, "bad hex"},
      {"\"Keep\"=hex:01,02,\\", 1, "truncated hex"},  {"\"Keep\"", 1, "truncated"},
      {"\"Keep\" dword:1", 1, "expected \"=\""},      {"\"Keep\"=dword:123456789", 1, "bad dword"},
      {"\"Keep\"=qword:12", 1, "unknown value type"}, {"\"Keep\"=hex(zz):12", 1, "bad type number"},
      {"\"Keep\"=\"x\" y", 1, "unexpected text"},     {"\"Keep\"=\"never closed", 1, "unterminated"},
      {"\"Keep=\"x\"", 1, "expected \"=\""},          {"\"Keep=dword:1", 1, "unterminated"},
      {"\"Keep\"=-x", 1, "unexpected text"},          {"garbage here", 1, "unrecognised line"},
  };
  for (const auto& [entry, lines, what] : cases) {
    SCOPED_TRACE(entry);
    Registry::deleteKey(eCurrentUser, L"Software\\TVCAD\\M");
    RegKey key = makeKey(L"Software\\TVCAD\\M");
    ASSERT_TRUE(key.setValue(L"Keep", L"original"));
    LogCapture log;
    // The bad entry starts on line 4 (header, key, Before).
    EXPECT_FALSE(import("\xEF\xBB\xBF" + kHeader + "[HKEY_CURRENT_USER\\Software\\TVCAD\\M]\r\n\"Before\"=dword:1\r\n" +
                        entry + "\r\n\"After\"=\"ok\"\r\n"));
    ASSERT_EQ(log.messages().size(), 1u);
    const wxString message = log.messages()[0];
    long line = 0;
    EXPECT_TRUE(message.StartsWith("line ") && message.Mid(5).BeforeFirst(':').ToLong(&line)) << message;
    EXPECT_TRUE(line >= 4 && line < 4 + lines && message.Find(what) != wxNOT_FOUND) << message;
    EXPECT_EQ(raw(key, L"Keep"), std::make_pair(1u, utf16z(L"original")));
    EXPECT_EQ(raw(key, L"After"), std::make_pair(1u, utf16z(L"ok")));
    EXPECT_EQ(key.valueCount(), 3u) << "Keep, Before and After";
  }
}

// Deletions apply ("already gone" is no failure); values whose key line is bad
// go with it, never to another key; the good keys around them still import.
TEST_F(RegistryTest, ImportDeletionsAndBadKeyLines) {
  ASSERT_TRUE(Registry::createKey(eCurrentUser, L"Software\\TVCAD\\Gone\\Child", nullptr));
  RegKey good = makeKey(L"Software\\TVCAD\\Good");
  ASSERT_TRUE(good.setValue(L"a", 1L) && good.setValue(L"b", 2L));
  const std::string tooLong(300, 'k');  // key names hold 255 UTF-16 units
  LogCapture log;
  EXPECT_FALSE(import(kHeader +
                      "\"Early\"=dword:1\r\n"                                  // 2: before any key
                      "[HKCU\\Software\\TVCAD\\Good]\r\n"                      // 3
                      "\"G\"=dword:1\r\n"                                      // 4
                      "\"a\"=-\r\n"                                            // 5
                      "\"missing\"=-\r\n"                                      // 6
                      "[HKCU\\Software\\\\Path]\r\n"                           // 7: empty component
                      "\"Lost\"=dword:1\r\n"                                   // 8: dropped with its key
                      "\"Lost2\"=hex:zz\r\n"                                   // 9: dropped silently too
                      "[HKCU\\Software\\Unclosed\r\n"                          // 10
                      "\"Lost\"=dword:1\r\n"                                   // 11
                      "[HKEY_BOGUS\\Software]\r\n"                             // 12
                      "\"Lost\"=dword:1\r\n"                                   // 13
                      "[-HKEY_CURRENT_USER\\Software\\TVCAD\\Gone]\r\n"        // 14
                      "[-HKEY_CURRENT_USER\\Software\\TVCAD\\Never\\Was]\r\n"  // 15
                      "\"Lost\"=dword:1\r\n"                                   // 16: after a deletion
                      "[-HKCU]\r\n"                                            // 17: a root cannot go
                      "[\\Software]\r\n"                                       // 18: no root
                      "[HKCU\\Software\\TVCAD\\" +
                      tooLong +
                      "]\r\n"                 // 19
                      "\"Lost\"=dword:1\r\n"  // 20
                      "[HKCU\\Software\\TVCAD\\" +
                      tooLong +
                      "\\Sub]\r\n"                         // 21
                      "\"Lost\"=dword:1\r\n"               // 22
                      "[HKCU\\Software\\TVCAD\\Good]\r\n"  // 23
                      "\"H\"=dword:2\r\n"));               // 24
  std::vector<wxString> lines;
  for (const auto& m : log.messages()) lines.push_back(wxString(m).BeforeFirst(':'));
  // A key the store refuses is named with its line, like every other failure.
  EXPECT_EQ(lines, (std::vector<wxString>{"line 2", "line 7", "line 10", "line 12", "line 16", "line 17", "line 18",
                                          "line 19", "line 21", "Failed to create 2 registry keys"}));
  EXPECT_EQ(list(false, eCurrentUser, L"Software\\TVCAD\\Good"), (Names{L"b", L"G", L"H"}));
  EXPECT_EQ(list(true, eCurrentUser, L"Software\\TVCAD"), Names{L"Good"}) << "Gone went, nothing came";
  EXPECT_EQ(list(true, eCurrentUser, L"Software"), Names{L"TVCAD"});
  EXPECT_EQ(list(false, eCurrentUser, L"Software"), Names{});
}
