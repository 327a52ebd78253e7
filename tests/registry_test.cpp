#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_registry.h>

#include <wx/log.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using ut::ERootKey;
using ut::RegKey;
using ut::Registry;

namespace {

const ERootKey kBadRoot = static_cast<ERootKey>(7);

// Collects what the library logs while it is alive.
class LogCapture : public wxLog {
 public:
  LogCapture() : m_previous(wxLog::SetActiveTarget(this)) {}
  ~LogCapture() override { wxLog::SetActiveTarget(m_previous); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<wxString> messages;

  bool contains(const wxString& text) const {
    for (const auto& m : messages) {
      if (m.Find(text) != wxNOT_FOUND) return true;
    }
    return false;
  }

 protected:
  void DoLogRecord(wxLogLevel, const wxString& msg, const wxLogRecordInfo&) override { messages.push_back(msg); }

 private:
  wxLog* m_previous;
};

class RegistryTest : public ::testing::Test {
 protected:
  ut::test::TempStore m_store;
  ut::test::TempDir m_dir;

  static std::vector<std::uint8_t> raw(const RegKey& key, const wxString& name, unsigned* type = nullptr) {
    unsigned t = 0;
    std::vector<std::uint8_t> data;
    EXPECT_TRUE(key.queryRawValue(name, t, data)) << name;
    if (type != nullptr) *type = t;
    return data;
  }
  wxString path(const std::string& name) const { return wxString((m_dir / name).wstring()); }
};

std::vector<std::uint8_t> utf16z(const std::wstring& text) {
  std::vector<std::uint8_t> out;
  for (wchar_t c : text) {
    out.push_back(static_cast<std::uint8_t>(c & 0xFF));
    out.push_back(static_cast<std::uint8_t>((c >> 8) & 0xFF));
  }
  out.push_back(0);
  out.push_back(0);
  return out;
}

}  // namespace

// --- the object ----------------------------------------------------------------

TEST_F(RegistryTest, ClosedObjectRefusesEverything) {
  Registry r;
  EXPECT_FALSE(r.isOpen());
  OdString s;
  long n = 0;
  wxMemoryBuffer b;
  EXPECT_FALSE(r.read(L"x", s));
  EXPECT_FALSE(r.read(L"x", n));
  EXPECT_FALSE(r.read(L"x", b));
  EXPECT_FALSE(r.write(L"x", OdString(L"v")));
  EXPECT_FALSE(r.write(L"x", 1L));
  EXPECT_FALSE(r.write(L"x", b));
  EXPECT_FALSE(r.deleteValue(L"x"));
  EXPECT_FALSE(r.verifyKey(OdString(L"x")));
  EXPECT_FALSE(r.verifyValue(L"x"));
  EXPECT_EQ(r.valueType(L"x"), ut::eRegNone);
  OdString why;
  EXPECT_FALSE(r.verifyData(L"x", false, &why));
  EXPECT_FALSE(why.isEmpty());
  r.close();  // closing nothing is harmless

  EXPECT_FALSE(r.open(ut::eCurrentUser, L"Software\\TVCAD\\Missing", ut::eRead));
  EXPECT_FALSE(r.create(kBadRoot, L"Software\\X"));
  EXPECT_FALSE(r.open(kBadRoot, L"Software", ut::eRead));
  EXPECT_FALSE(r.isOpen());
}

TEST_F(RegistryTest, ReadsAndWritesEachType) {
  Registry r;
  ASSERT_TRUE(r.create(ut::eCurrentUser, L"Software\\TVCAD\\Test\\Values"));
  EXPECT_TRUE(r.isOpen());
  EXPECT_TRUE(r.write(L"Text", OdString(L"h\u00e9llo \U0001F600")));
  EXPECT_TRUE(r.write(L"Number", -2L));
  wxMemoryBuffer bytes;
  bytes.AppendData("\0\1\2", 3);
  EXPECT_TRUE(r.write(L"Bytes", bytes));
  EXPECT_TRUE(r.write(OdString(L""), OdString(L"default")));

  OdString text;
  EXPECT_TRUE(r.read(L"Text", text));
  EXPECT_EQ(text, OdString(L"h\u00e9llo \U0001F600"));
  long number = 0;
  EXPECT_TRUE(r.read(L"Number", number));
  EXPECT_EQ(static_cast<std::uint32_t>(number), 0xFFFFFFFEu);
  wxMemoryBuffer back;
  EXPECT_TRUE(r.read(L"Bytes", back));
  ASSERT_EQ(back.GetDataLen(), 3u);
  EXPECT_EQ(static_cast<const char*>(back.GetData())[2], 2);
  // Raw bytes of a string value: UTF-16LE with its NUL.
  EXPECT_TRUE(r.read(L"", back));
  EXPECT_EQ(back.GetDataLen(), utf16z(L"default").size());

  EXPECT_EQ(r.valueType(L"Text"), ut::eRegSz);
  EXPECT_EQ(r.valueType(L"Number"), ut::eRegDword);
  EXPECT_EQ(r.valueType(L"Bytes"), ut::eRegBinary);
  EXPECT_EQ(r.valueType(L"Missing"), ut::eRegNone);
  EXPECT_FALSE(r.read(L"Missing", text));
  EXPECT_FALSE(r.read(L"Bytes", number));  // not a number

  EXPECT_TRUE(r.verifyValue(L"TEXT"));  // names ignore case
  EXPECT_TRUE(r.deleteValue(L"Text"));
  EXPECT_FALSE(r.verifyValue(L"Text"));
  EXPECT_FALSE(r.deleteValue(L"Text"));

  // The data outlives the object.
  r.close();
  EXPECT_FALSE(r.isOpen());
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Test\\Values", L"Number"));
}

TEST_F(RegistryTest, OpenTheCompanyKeyOnRequest) {
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD"));
  {
    Registry none(false);
    EXPECT_FALSE(none.isOpen());
  }
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD"));
  Registry company(true);
  EXPECT_TRUE(company.isOpen());
  EXPECT_TRUE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD"));
  EXPECT_TRUE(company.write(L"x", 1L));
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD", L"x"));
}

TEST_F(RegistryTest, CopiesOpenTheirOwnKey) {
  Registry a;
  ASSERT_TRUE(a.create(ut::eCurrentUser, L"Software\\TVCAD\\A"));
  ASSERT_TRUE(a.write(L"v", 5L));

  Registry b(a);
  EXPECT_TRUE(b.isOpen());
  long n = 0;
  EXPECT_TRUE(b.read(L"v", n));
  EXPECT_EQ(n, 5);
  b.close();
  EXPECT_TRUE(a.isOpen());  // independent keys
  EXPECT_TRUE(a.read(L"v", n));

  Registry c;
  c = a;
  EXPECT_TRUE(c.read(L"v", n));
  c = Registry();  // a closed source leaves the target closed
  EXPECT_FALSE(c.isOpen());
  const Registry& alias = a;
  a = alias;  // self-assignment keeps the key
  EXPECT_TRUE(a.isOpen());

  // Once the key is gone, a copy has nothing to open.
  ASSERT_TRUE(Registry::deleteKey(ut::eCurrentUser, L"Software\\TVCAD\\A"));
  Registry d(a);
  EXPECT_FALSE(d.isOpen());
}

TEST_F(RegistryTest, SubkeysAreVerifiedBelowTheOpenKey) {
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\P\\Q\\R", nullptr));
  Registry r;
  ASSERT_TRUE(r.open(ut::eCurrentUser, L"Software\\TVCAD\\P", ut::eRead));
  EXPECT_TRUE(r.verifyKey(OdString(L"Q")));
  EXPECT_TRUE(r.verifyKey(OdString(L"q\\r")));
  EXPECT_FALSE(r.verifyKey(OdString(L"R")));
  EXPECT_FALSE(r.verifyKey(OdString(L"")));
}

TEST_F(RegistryTest, VerifyDataChecksBytesByType) {
  RegKey key(ut::eCurrentUser, L"Software\\TVCAD\\Data");
  ASSERT_TRUE(key.create());
  const auto set = [&](const wchar_t* name, unsigned type, std::vector<std::uint8_t> data) {
    ASSERT_TRUE(key.setRawValue(name, type, data.data(), data.size())) << name;
  };
  set(L"sz", 1, utf16z(L"abc"));
  set(L"sz-empty", 1, utf16z(L""));
  set(L"sz-nobytes", 1, {});
  set(L"sz-odd", 1, {'a', 0, 0});
  set(L"sz-unterminated", 2, {'a', 0});
  set(L"dword", 4, {1, 0, 0, 0});
  set(L"dword-short", 4, {1, 0});
  set(L"qword", 11, {1, 2, 3, 4, 5, 6, 7, 8});
  set(L"qword-long", 11, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  set(L"multi", 7, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0});
  set(L"multi-empty", 7, {0, 0});
  set(L"multi-open", 7, {'a', 0, 0, 0});
  set(L"bin", 3, {9});
  set(L"bin-empty", 3, {});
  set(L"other", 9, {});

  Registry r;
  ASSERT_TRUE(r.open(ut::eCurrentUser, L"Software\\TVCAD\\Data", ut::eRead));
  struct Case {
    const wchar_t* name;
    bool plain;     // expected without requireData
    bool required;  // expected with requireData
    const wchar_t* text;
  };
  const Case cases[] = {
      {L"sz", true, true, L"REG_SZ"},
      {L"sz-empty", true, false, L"empty"},
      {L"sz-nobytes", true, false, L"empty"},
      {L"sz-odd", false, false, L"odd"},
      {L"sz-unterminated", false, false, L"NUL"},
      {L"dword", true, true, L"0x00000001"},
      {L"dword-short", false, false, L"expected 4"},
      {L"qword", true, true, L"0x0807060504030201"},
      {L"qword-long", false, false, L"expected 8"},
      {L"multi", true, true, L"2 strings"},
      {L"multi-empty", true, false, L"no string"},
      {L"multi-open", false, false, L"NUL"},
      {L"bin", true, true, L"1 bytes"},
      {L"bin-empty", true, false, L"empty"},
      {L"other", true, false, L"empty"},
      {L"missing", false, false, L"does not exist"},
  };
  for (const Case& c : cases) {
    OdString plainWhy;
    OdString requiredWhy;
    EXPECT_EQ(r.verifyData(c.name, false, &plainWhy), c.plain) << c.name;
    EXPECT_EQ(r.verifyData(c.name, true, &requiredWhy), c.required) << c.name;
    const OdString& why = c.plain == c.required ? plainWhy : requiredWhy;
    EXPECT_NE(std::wstring(why.c_str()).find(c.text), std::wstring::npos)
        << c.name << ": " << std::wstring(why.c_str()).size();
  }
  EXPECT_TRUE(r.verifyData(L"sz", true, nullptr));
}

// --- static operations -------------------------------------------------------

TEST_F(RegistryTest, CreateKeyHandsOverAnOwnedKey) {
  RegKey* raw = nullptr;
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\Made\\Deep", &raw));
  const std::unique_ptr<RegKey> key(raw);
  ASSERT_NE(key, nullptr);
  EXPECT_TRUE(key->isOpen());
  EXPECT_TRUE(key->setValue(L"x", L"y"));
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Made\\Deep", L"x"));

  RegKey* none = key.get();  // must be reset on failure
  EXPECT_FALSE(Registry::createKey(kBadRoot, L"Software\\X", &none));
  EXPECT_EQ(none, nullptr);
  EXPECT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\Made", nullptr));
}

TEST_F(RegistryTest, ExistenceListsAndDeletion) {
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\L\\b", nullptr));
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\L\\A", nullptr));
  Registry r;
  ASSERT_TRUE(r.open(ut::eCurrentUser, L"Software\\TVCAD\\L", ut::eWrite));
  ASSERT_TRUE(r.write(L"z", 1L));
  ASSERT_TRUE(r.write(L"a", 2L));

  OdArray<OdString> names;
  names.append(OdString(L"stale"));
  ASSERT_TRUE(Registry::listKeys(ut::eCurrentUser, L"Software\\TVCAD\\L", names));
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], OdString(L"A"));
  EXPECT_EQ(names[1], OdString(L"b"));
  ASSERT_TRUE(Registry::listValues(ut::eCurrentUser, L"Software\\TVCAD\\L", names));
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], OdString(L"z"));  // the order values were written in
  EXPECT_EQ(names[1], OdString(L"a"));
  EXPECT_FALSE(Registry::listKeys(ut::eCurrentUser, L"Software\\TVCAD\\None", names));
  EXPECT_FALSE(Registry::listValues(kBadRoot, L"Software\\TVCAD\\L", names));

  EXPECT_TRUE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\L\\a"));
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\L\\c"));
  EXPECT_FALSE(Registry::verifyKey(kBadRoot, L"Software\\TVCAD\\L"));
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\L", L"Z"));
  EXPECT_FALSE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\L", L"y"));
  EXPECT_FALSE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\None", L"z"));

  EXPECT_FALSE(Registry::deleteKey(ut::eCurrentUser, L"Software\\TVCAD\\None"));
  EXPECT_FALSE(Registry::deleteKey(ut::eCurrentUser, L""));
  EXPECT_FALSE(Registry::deleteKey(kBadRoot, L"Software\\TVCAD\\L"));
  EXPECT_TRUE(Registry::deleteKey(ut::eCurrentUser, L"Software\\TVCAD\\L"));
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\L\\A"));
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\L"));
  EXPECT_TRUE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD"));
}

TEST_F(RegistryTest, CopyKeyShallowAndRecursive) {
  RegKey src(ut::eCurrentUser, L"Software\\TVCAD\\Src");
  ASSERT_TRUE(src.create());
  ASSERT_TRUE(src.setValue(L"s", L"text"));
  ASSERT_TRUE(src.setRawValue(L"odd", 0x42, "\1\2", 2));
  RegKey sub(src, L"Sub");
  ASSERT_TRUE(sub.create());
  ASSERT_TRUE(sub.setValue(L"n", 3L));
  RegKey dst(ut::eLocalMachine, L"Software\\Dst");
  ASSERT_TRUE(dst.create());
  ASSERT_TRUE(dst.setValue(L"s", L"old"));
  ASSERT_TRUE(dst.setValue(L"keep", L"mine"));

  ASSERT_TRUE(Registry::copyKey(ut::eCurrentUser, ut::eLocalMachine, L"Software\\TVCAD\\Src", L"Software\\Dst", false));
  wxString text;
  EXPECT_TRUE(dst.queryValue(L"s", text));
  EXPECT_EQ(text, L"text");
  EXPECT_TRUE(dst.queryValue(L"keep", text));
  unsigned type = 0;
  EXPECT_EQ(raw(dst, L"odd", &type), (std::vector<std::uint8_t>{1, 2}));
  EXPECT_EQ(type, 0x42u);
  EXPECT_FALSE(Registry::verifyKey(ut::eLocalMachine, L"Software\\Dst\\Sub"));

  ASSERT_TRUE(Registry::copyKey(ut::eCurrentUser, ut::eCurrentUser, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\Deep\\Copy", true));
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Deep\\Copy\\Sub", L"n"));
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Src\\Sub", L"n"));  // source intact

  EXPECT_FALSE(Registry::copyKey(ut::eCurrentUser, ut::eCurrentUser, L"Software\\TVCAD\\None", L"Software\\TVCAD\\X", true));
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\X"));
  EXPECT_FALSE(Registry::copyKey(kBadRoot, ut::eCurrentUser, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\X", false));
  EXPECT_FALSE(Registry::copyKey(ut::eCurrentUser, kBadRoot, L"Software\\TVCAD\\Src", L"Software\\TVCAD\\X", false));
}

// --- export ------------------------------------------------------------------------

TEST_F(RegistryTest, ExportWritesTheExpectedBytes) {
  RegKey key(ut::eCurrentUser, L"Software\\TVCAD\\Exp");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue(L"", L"def"));
  ASSERT_TRUE(key.setValue(L"Path", L"C:\\a \"b\"\nc"));
  ASSERT_TRUE(key.setValue(L"Num", 255L));
  wxMemoryBuffer bin;
  for (int i = 0; i < 24; ++i) bin.AppendByte(static_cast<char>(i));
  ASSERT_TRUE(key.setValue(L"Bin", bin));
  RegKey child(key, L"Only Default");
  ASSERT_TRUE(child.create());
  ASSERT_TRUE(child.setValue(L"", L"x"));

  const wxString file = path("out.reg");
  ASSERT_TRUE(Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\TVCAD\\Exp", file, true));
  EXPECT_EQ(ut::test::readFileBytes((m_dir / "out.reg")),
            "Windows Registry Editor Version 5.00\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\Exp]\r\n"
            "@=\"def\"\r\n"
            "\"Path\"=\"C:\\\\a \\\"b\\\"\r\nc\"\r\n"
            "\"Num\"=dword:000000ff\r\n"
            "\"Bin\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,\\\r\n"
            "  17\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\Exp\\Only Default]\r\n"
            "@=\"x\"\r\n");

  // Short root names are accepted and an existing file is replaced.
  ASSERT_TRUE(Registry::exportKey(L"hkcu\\Software\\TVCAD\\Exp\\Only Default", file, true));
  EXPECT_EQ(ut::test::readFileBytes((m_dir / "out.reg")),
            "Windows Registry Editor Version 5.00\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\Exp\\Only Default]\r\n"
            "@=\"x\"\r\n");
}

TEST_F(RegistryTest, ExportFailuresAreReportedOnRequest) {
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\E", nullptr));
  const wxString file = path("e.reg");
  {
    LogCapture log;
    EXPECT_FALSE(Registry::exportKey(L"HKEY_NOWHERE\\Software", file, true));
    EXPECT_TRUE(log.contains(L"Bad root"));
    EXPECT_FALSE(Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\TVCAD\\Missing", file, true));
    EXPECT_TRUE(log.contains(L"Failed to open registry key"));
    EXPECT_FALSE(Registry::exportKey(L"HKCU\\Software\\TVCAD\\E", path("no/such/dir/e.reg"), true));
    EXPECT_TRUE(log.contains(L"Failed to create file"));
    EXPECT_FALSE(Registry::exportKey(L"", file, true));
    EXPECT_EQ(log.messages.size(), 4u);
  }
  {
    LogCapture log;
    EXPECT_FALSE(Registry::exportKey(L"HKEY_NOWHERE\\Software", file, false));
    EXPECT_FALSE(Registry::exportKey(L"HKCU\\Software\\TVCAD\\Missing", file, false));
    EXPECT_TRUE(log.messages.empty());
  }
  {
    // A Registry object silences its own calls, not a report asked for.
    Registry quiet(true);
    LogCapture log;
    EXPECT_FALSE(Registry::exportKey(L"HKEY_NOWHERE\\Software", file, true));
    EXPECT_TRUE(log.contains(L"Bad root"));
  }
  EXPECT_FALSE(wxFileExists(file));
}

// --- import ------------------------------------------------------------------------

TEST_F(RegistryTest, ImportsWindowsExportsValueByValue) {
  const wxString dir = wxString(UT_SHARED_TESTDATA_DIR) + L"/registry/";
  LogCapture log;
  ASSERT_TRUE(Registry::importKey(dir + L"profile-windows-export.reg", true));
  ASSERT_TRUE(Registry::importKey(dir + L"all-value-types.reg", true));
  EXPECT_TRUE(log.messages.empty());

  RegKey config(ut::eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Drafting\\Config");
  ASSERT_TRUE(config.open(ut::eRead));
  long n = 0;
  EXPECT_TRUE(config.queryValue(L"OSMODE", n));
  EXPECT_EQ(n, 0x10a7);
  wxString s;
  EXPECT_TRUE(config.queryValue(L"Greeting", s));
  EXPECT_EQ(s, L"Gr\u00fc\u00dfe, \"quoted\" and back\\slash");
  EXPECT_EQ(config.valueType(L"SupportPath"), ut::eRegExpandSz);
  EXPECT_TRUE(config.queryValue(L"SupportPath", s));
  EXPECT_EQ(s, L"%APPDATA%\\TVCAD\\Support;%USERPROFILE%\\Documents\\TVCAD\\Fonts;C:\\Program Files\\TVCAD\\Support");
  std::int64_t q = 0;
  EXPECT_TRUE(config.queryValue64(L"LastSaved", q));
  EXPECT_EQ(static_cast<std::uint64_t>(q), 0x01da223e15f1f34eull);
  std::vector<wxString> multi;
  EXPECT_TRUE(config.queryMultiString(L"RecentCommands", multi));
  EXPECT_EQ(multi, (std::vector<wxString>{L"LINE", L"CIRCLE", L"PLINE", L"DIMLINEAR"}));
  EXPECT_EQ(raw(config, L"WindowPlacement").size(), 44u);
  std::vector<wxString> names;
  config.getValueNames(names);
  EXPECT_EQ(names.size(), 10u);
  EXPECT_TRUE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Drafting\\Dialogs"));

  RegKey samples(ut::eCurrentUser, L"Software\\TVCAD\\Samples");
  ASSERT_TRUE(samples.open(ut::eRead));
  EXPECT_EQ(raw(samples, L"Big"), std::vector<std::uint8_t>(8, 0xff));
  EXPECT_EQ(raw(samples, L"Empty"), utf16z(L""));
  EXPECT_TRUE(raw(samples, L"NoBytes").empty());
  EXPECT_TRUE(samples.queryValue(L"\u00dcn\u00efc\u00f8d\u00e9 name", s));
  EXPECT_EQ(s, L"\u65e5\u672c\u8a9e\u30c6\u30ad\u30b9\u30c8");
  EXPECT_TRUE(samples.queryValue(L"", s));
  EXPECT_EQ(s, L"default value");
}

TEST_F(RegistryTest, ImportRefusesMissingAndHeaderlessFiles) {
  LogCapture log;
  EXPECT_FALSE(Registry::importKey(path("none.reg"), true));
  EXPECT_TRUE(log.contains(L"File not found"));

  ASSERT_TRUE(ut::test::writeFileBytes(m_dir / "plain.reg", "[HKEY_CURRENT_USER\\Software\\TVCAD\\H]\r\n\"a\"=dword:1\r\n"));
  EXPECT_FALSE(Registry::importKey(path("plain.reg"), true));
  EXPECT_TRUE(log.contains(L"line 1"));
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\H"));

  log.messages.clear();
  EXPECT_FALSE(Registry::importKey(path("none.reg"), false));
  EXPECT_TRUE(log.messages.empty());
}

TEST_F(RegistryTest, MalformedEntriesAreSkippedWithoutDamage) {
  RegKey key(ut::eCurrentUser, L"Software\\TVCAD\\M");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue(L"Keep", L"original"));
  ASSERT_TRUE(key.setValue(L"Hex", L"original hex"));
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\Gone\\Child", nullptr));

  ASSERT_TRUE(ut::test::writeFileBytes(m_dir / "bad.reg",
                                       "\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n"  // 1
                                       "\r\n"                                                 // 2
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\M]\r\n"          // 3
                                       "\"Keep\"=\"unterminated\r\n"                          // 4
                                       "\"Hex\"=hex:01,xx\r\n"                                // 5
                                       "\"New\"=dword:0000000a\r\n"                           // 6
                                       "\"Keep\"=-x\r\n"                                      // 7
                                       "[HKEY_BOGUS\\Software]\r\n"                           // 8
                                       "\"Lost\"=dword:1\r\n"                                 // 9
                                       "[-HKEY_CURRENT_USER\\Software\\TVCAD\\Gone]\r\n"      // 10
                                       "[HKCU\\Software\\TVCAD\\M\\Sub]\r\n"                  // 11
                                       "\"Str\"=\"fine \\\"quoted\\\"\"\r\n"));               // 12
  LogCapture log;
  EXPECT_FALSE(Registry::importKey(path("bad.reg"), true));
  for (const wchar_t* line : {L"line 4:", L"line 5:", L"line 7:", L"line 8:"}) {
    EXPECT_TRUE(log.contains(line)) << line;
  }
  EXPECT_EQ(log.messages.size(), 4u);

  wxString s;
  EXPECT_TRUE(key.queryValue(L"Keep", s));
  EXPECT_EQ(s, L"original");
  EXPECT_TRUE(key.queryValue(L"Hex", s));
  EXPECT_EQ(s, L"original hex");
  long n = 0;
  EXPECT_TRUE(key.queryValue(L"New", n));
  EXPECT_EQ(n, 10);
  EXPECT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\Gone"));
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\M\\Sub", L"Str"));
  EXPECT_FALSE(Registry::verifyValue(ut::eCurrentUser, L"Software", L"Lost"));
}

TEST_F(RegistryTest, ImportDeletesValuesAndKeys) {
  RegKey key(ut::eCurrentUser, L"Software\\TVCAD\\D");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue(L"a", 1L));
  ASSERT_TRUE(key.setValue(L"b", 2L));
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\D\\Sub\\Deeper", nullptr));
  ASSERT_TRUE(ut::test::writeFileBytes(m_dir / "del.reg",
                                       "Windows Registry Editor Version 5.00\r\n"
                                       "[-HKEY_CURRENT_USER\\Software\\TVCAD\\D\\Sub]\r\n"
                                       "[-HKEY_CURRENT_USER\\Software\\TVCAD\\Never\\Was]\r\n"
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\D]\r\n"
                                       "\"a\"=-\r\n"
                                       "\"missing\"=-\r\n"));
  EXPECT_TRUE(Registry::importKey(path("del.reg"), true));
  EXPECT_FALSE(key.hasValue(L"a"));
  EXPECT_TRUE(key.hasValue(L"b"));
  EXPECT_FALSE(key.hasSubKey(L"Sub"));
}

// Export then import gives back every value byte for byte.
TEST_F(RegistryTest, ExportImportRoundTrip) {
  struct Value {
    wxString name;
    unsigned type;
    std::vector<std::uint8_t> data;
  };
  const std::vector<Value> values = {
      {L"", 1, utf16z(L"")},
      {L"quote\"back\\slash", 1, utf16z(L"\"\\ \\\" end\\")},
      {L"breaks", 1, utf16z(L"lf\ncrlf\r\ncr\rend\n")},
      {L"line\nname", 1, utf16z(L"x")},
      {L"\u00fcn\u00efc\u00f8d\u00e9 \u65e5\u672c", 1, utf16z(L"\u30c6\u30ad\u30b9\u30c8 \u00e9")},
      {L"surrogates", 1, {0x3d, 0xd8, 0x00, 0xde, 0, 0}},
      {L"lone surrogate", 1, {0x3d, 0xd8, 0, 0}},
      {L"no terminator", 1, {'a', 0}},
      {L"expand", 2, utf16z(L"%TEMP%\\x")},
      {L"bin", 3, std::vector<std::uint8_t>(200, 0xa5)},
      {L"bin empty", 3, {}},
      {L"dword", 4, {0xff, 0xff, 0xff, 0xff}},
      {L"short dword", 4, {1, 2}},
      {L"multi", 7, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
      {L"qword", 11, {1, 2, 3, 4, 5, 6, 7, 0x80}},
      {L"none", 0, {}},
  };
  RegKey key(ut::eCurrentUser, L"Software\\TVCAD\\Round");
  ASSERT_TRUE(key.create());
  for (const auto& v : values) ASSERT_TRUE(key.setRawValue(v.name, v.type, v.data.data(), v.data.size())) << v.name;
  RegKey sub(key, L"Sub \u00e9 [x]");
  ASSERT_TRUE(sub.create());
  ASSERT_TRUE(sub.setValue(L"n", 7L));
  ASSERT_TRUE(Registry::createKey(ut::eCurrentUser, L"Software\\TVCAD\\Round\\Empty", nullptr));

  const wxString file = path("round.reg");
  ASSERT_TRUE(Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\TVCAD\\Round", file, true));
  ASSERT_TRUE(key.deleteSelf());
  ASSERT_FALSE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\Round"));
  LogCapture log;
  ASSERT_TRUE(Registry::importKey(file, true));
  EXPECT_TRUE(log.messages.empty()) << log.messages.front();

  RegKey back(ut::eCurrentUser, L"Software\\TVCAD\\Round");
  ASSERT_TRUE(back.open(ut::eRead));
  std::vector<wxString> names;
  back.getValueNames(names);
  ASSERT_EQ(names.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(names[i], values[i].name) << i;
    unsigned type = 0;
    EXPECT_EQ(raw(back, values[i].name, &type), values[i].data) << values[i].name;
    EXPECT_EQ(type, values[i].type) << values[i].name;
  }
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Round\\Sub \u00e9 [x]", L"n"));
  EXPECT_TRUE(Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\Round\\Empty"));

  // Exporting again yields the same file.
  const std::string first = ut::test::readFileBytes(m_dir / "round.reg");
  ASSERT_TRUE(Registry::exportKey(L"HKEY_CURRENT_USER\\Software\\TVCAD\\Round", path("again.reg"), true));
  EXPECT_EQ(ut::test::readFileBytes(m_dir / "again.reg"), first);
}

TEST_F(RegistryTest, UninterpretedTypesAreReportedNotImported) {
  RegKey key(ut::eCurrentUser, L"Software\\TVCAD\\U");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setRawValue(L"link", 6, "ab", 2));
  ASSERT_TRUE(key.setValue(L"after", 1L));
  ASSERT_TRUE(Registry::exportKey(L"HKCU\\Software\\TVCAD\\U", path("u.reg"), true));
  EXPECT_NE(ut::test::readFileBytes(m_dir / "u.reg").find("[[Unknown type: 6]]\r\n"), std::string::npos);
  ASSERT_TRUE(key.deleteSelf());
  LogCapture log;
  EXPECT_FALSE(Registry::importKey(path("u.reg"), true));
  EXPECT_EQ(log.messages.size(), 1u);
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\U", L"after"));
  EXPECT_FALSE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\U", L"link"));
}

TEST_F(RegistryTest, KeysThatCannotBeCreatedAreCountedOnce) {
  // Key names are limited to 255 UTF-16 units.
  const std::string tooLong(300, 'k');
  ASSERT_TRUE(ut::test::writeFileBytes(m_dir / "long.reg",
                                       "Windows Registry Editor Version 5.00\r\n"
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\" + tooLong + "]\r\n"
                                       "\"a\"=dword:1\r\n"
                                       "\"b\"=dword:2\r\n"
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\Fine]\r\n"
                                       "\"c\"=dword:3\r\n"
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\" + tooLong + "\\Sub]\r\n"
                                       "\"d\"=dword:4\r\n"));
  LogCapture log;
  EXPECT_FALSE(Registry::importKey(path("long.reg"), true));
  ASSERT_EQ(log.messages.size(), 1u);
  EXPECT_EQ(log.messages[0], L"Failed to create 2 registry keys");
  EXPECT_TRUE(Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Fine", L"c"));
  OdArray<OdString> names;
  ASSERT_TRUE(Registry::listKeys(ut::eCurrentUser, L"Software\\TVCAD", names));
  EXPECT_EQ(names.size(), 1u);

  Registry r;
  EXPECT_FALSE(r.create(ut::eCurrentUser, OdString(L"Software\\") + OdString(std::wstring(300, L'k'))));
}
