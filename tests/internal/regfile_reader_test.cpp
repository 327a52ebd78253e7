#include <gtest/gtest.h>

#include "test_support.h"
#include "ut_regfile.h"

#include <cstdint>
#include <string>
#include <vector>

using ut::regfile::decodeFile;
using ut::regfile::Operation;

namespace {

struct Parsed {
  bool ok = false;
  std::vector<Operation> ops;

  std::vector<const Operation*> errors() const {
    std::vector<const Operation*> out;
    for (const auto& op : ops) {
      if (op.kind == Operation::eError) out.push_back(&op);
    }
    return out;
  }
  // The set-value operations, by name (the last one wins).
  const Operation* value(const std::wstring& name) const {
    const Operation* found = nullptr;
    for (const auto& op : ops) {
      if (op.kind == Operation::eSetValue && op.name == name) found = &op;
    }
    return found;
  }
};

Parsed parseText(std::wstring_view text) {
  Parsed p;
  p.ok = ut::regfile::parse(text, [&](const Operation& op) { p.ops.push_back(op); });
  return p;
}

std::wstring withHeader(std::wstring_view body) {
  return L"Windows Registry Editor Version 5.00\r\n\r\n" + std::wstring(body);
}

std::vector<std::uint8_t> bytes(std::initializer_list<int> list) {
  std::vector<std::uint8_t> out;
  for (int b : list) out.push_back(static_cast<std::uint8_t>(b));
  return out;
}

std::vector<std::uint8_t> sz(const std::wstring& s) { return ut::regfile::encodeUtf16(s, true); }

std::wstring stringOf(const Operation* op) {
  if (op == nullptr || op->data.size() < 2) return L"<none>";
  return ut::regfile::decodeUtf16(op->data.data(), op->data.size() - 2);
}

std::wstring loadShared(const std::string& name) {
  return decodeFile(ut::test::readFileBytes(std::string(UT_SHARED_TESTDATA_DIR) + "/registry/" + name));
}

}  // namespace

TEST(RegFileReader, KeysValuesAndDeletions) {
  const auto p = parseText(withHeader(
      L"; a comment line\r\n"
      L"[HKEY_CURRENT_USER\\Software\\TVCAD\\A]\r\n"
      L"@=\"default\"\r\n"
      L"\"Str\" = \"text\"\r\n"
      L"\"Num\"=dword:0000002A\r\n"
      L"  \"Short\"=dword:f\r\n"
      L"\"Bin\"=hex:01,ab,FF\r\n"
      L"\"Gone\"=-\r\n"
      L"\r\n"
      L"[-HKCU\\Software\\TVCAD\\Old]\r\n"
      L"[HKEY_LOCAL_MACHINE]\r\n"
      L"\"AtRoot\"=hex(0):\r\n"));
  ASSERT_TRUE(p.ok);
  EXPECT_TRUE(p.errors().empty());
  ASSERT_EQ(p.ops.size(), 10u);

  EXPECT_EQ(p.ops[0].kind, Operation::eOpenKey);
  EXPECT_EQ(p.ops[0].rootName, L"HKEY_CURRENT_USER");
  EXPECT_EQ(p.ops[0].path, L"Software\\TVCAD\\A");
  EXPECT_EQ(p.ops[0].line, 4);

  EXPECT_EQ(p.ops[1].name, L"");
  EXPECT_EQ(p.ops[1].type, 1u);
  EXPECT_EQ(p.ops[1].data, sz(L"default"));
  EXPECT_EQ(p.ops[2].name, L"Str");
  EXPECT_EQ(p.ops[2].data, sz(L"text"));
  EXPECT_EQ(p.ops[3].type, 4u);
  EXPECT_EQ(p.ops[3].data, bytes({0x2a, 0, 0, 0}));
  EXPECT_EQ(p.ops[4].data, bytes({0x0f, 0, 0, 0}));
  EXPECT_EQ(p.ops[5].type, 3u);
  EXPECT_EQ(p.ops[5].data, bytes({0x01, 0xab, 0xff}));
  EXPECT_EQ(p.ops[6].kind, Operation::eDeleteValue);
  EXPECT_EQ(p.ops[6].name, L"Gone");
  EXPECT_EQ(p.ops[6].line, 10);

  EXPECT_EQ(p.ops[7].kind, Operation::eDeleteKey);
  EXPECT_EQ(p.ops[7].rootName, L"HKCU");
  EXPECT_EQ(p.ops[7].path, L"Software\\TVCAD\\Old");
  EXPECT_EQ(p.ops[8].kind, Operation::eOpenKey);
  EXPECT_EQ(p.ops[8].path, L"");
  EXPECT_EQ(p.ops[9].type, 0u);
  EXPECT_TRUE(p.ops[9].data.empty());
}

TEST(RegFileReader, HexContinuationsAndTypes) {
  const auto p = parseText(withHeader(
      L"[HKEY_CURRENT_USER\\K]\r\n"
      L"\"Long\"=hex:00,01,\\\r\n"
      L"  02,03,\\\r\n"
      L"\t\t04\r\n"
      L"\"Q\"=hex(b):4e,f3,f1,15,3e,22,da,01\r\n"
      L"\"Odd\"=hex(1234abcd):7\r\n"
      L"\"NoComma\"=hex:05,06\\\r\n"
      L"  07\r\n"
      L"\"After\"=dword:00000001\r\n"));
  ASSERT_TRUE(p.ok);
  EXPECT_TRUE(p.errors().empty()) << p.errors()[0]->message;
  ASSERT_NE(p.value(L"Long"), nullptr);
  EXPECT_EQ(p.value(L"Long")->data, bytes({0, 1, 2, 3, 4}));
  EXPECT_EQ(p.value(L"Q")->type, 11u);
  EXPECT_EQ(p.value(L"Odd")->type, 0x1234abcdu);
  EXPECT_EQ(p.value(L"Odd")->data, bytes({7}));
  EXPECT_EQ(p.value(L"NoComma")->data, bytes({5, 6, 7}));
  // Line numbers keep counting through continuation lines.
  EXPECT_EQ(p.value(L"After")->line, 11);
}

TEST(RegFileReader, EscapesAndMultiLineStrings) {
  const auto p = parseText(withHeader(
      L"[HKEY_CURRENT_USER\\K]\r\n"
      L"\"Na\\\"me\\\\x\"=\"a\\\\b \\\"q\\\" \\n stays\"\r\n"
      L"\"Multi\"=\"one\r\ntwo\r\n\r\nthree\"\r\n"
      L"\"LoneCr\"=\"a\rb\"\r\n"
      L"\"Next\"=dword:00000002\r\n"));
  ASSERT_TRUE(p.ok);
  EXPECT_TRUE(p.errors().empty());
  const Operation* named = p.value(L"Na\"me\\x");
  ASSERT_NE(named, nullptr);
  EXPECT_EQ(stringOf(named), L"a\\b \"q\" \\n stays");
  EXPECT_EQ(stringOf(p.value(L"Multi")), L"one\ntwo\n\nthree");
  EXPECT_EQ(stringOf(p.value(L"LoneCr")), L"a\rb");
  EXPECT_EQ(p.value(L"Next")->line, 10);

  // A file with bare LF line ends keeps LF inside strings as well.
  const auto lf = parseText(L"Windows Registry Editor Version 5.00\n[HKCU\\K]\n\"M\"=\"x\ny\"\n\"N\"=dword:1\n");
  EXPECT_TRUE(lf.errors().empty());
  EXPECT_EQ(stringOf(lf.value(L"M")), L"x\ny");
  EXPECT_EQ(lf.value(L"N")->line, 5);
}

TEST(RegFileReader, HeaderVariants) {
  EXPECT_TRUE(parseText(L"REGEDIT4\r\n[HKCU\\K]\r\n").ok);
  EXPECT_TRUE(parseText(L"\r\n\r\nWindows Registry Editor Version 5.00  \r\n[HKCU\\K]\r\n").ok);
  EXPECT_TRUE(parseText(L"\xFEFFWindows Registry Editor Version 5.00").ok);

  for (const wchar_t* bad : {L"", L"[HKCU\\K]\r\n\"a\"=dword:1\r\n", L"Windows Registry Editor Version 4.00\r\n",
                             L"REGEDIT\r\n"}) {
    const auto p = parseText(bad);
    EXPECT_FALSE(p.ok) << "header accepted in: " << testing::PrintToString(std::wstring(bad));
    ASSERT_EQ(p.ops.size(), 1u);
    EXPECT_EQ(p.ops[0].kind, Operation::eError);
    EXPECT_EQ(p.ops[0].message.rfind(L"line ", 0), 0u);
  }
}

TEST(RegFileReader, Regedit4StringsAreWidened) {
  const auto p = parseText(L"REGEDIT4\r\n[HKCU\\K]\r\n\"E\"=hex(2):25,41,25,00\r\n\"B\"=hex:25,41\r\n");
  ASSERT_TRUE(p.errors().empty());
  EXPECT_EQ(p.value(L"E")->data, sz(L"%A%"));
  EXPECT_EQ(p.value(L"B")->data, bytes({0x25, 0x41}));
}

// Every class of error: reported with the right line number, and the entries
// around it still read.
TEST(RegFileReader, ErrorsAreReportedByLineAndSkippedOneByOne) {
  struct Case {
    const wchar_t* entry;  // one bad entry (may span lines)
    int lines;             // how many lines it takes
    const wchar_t* what;   // part of the expected message
  };
  const Case cases[] = {
      {L"\"BadHex\"=hex:01,zz,03", 1, L"bad hex"},
      {L"\"BadHex2\"=hex:01,02,\\\r\n  03,0g", 2, L"bad hex"},
      {L"\"Trailing\"=hex:01 02", 1, L"bad hex"},
      {L"\"Cut\"=hex:01,02,\\", 1, L"truncated hex"},
      {L"\"NoData\"=", 1, L"truncated"},
      {L"\"NoEquals\"", 1, L"truncated"},
      {L"\"Junk\" dword:1", 1, L"expected \"=\""},
      {L"\"NoDigits\"=dword:", 1, L"truncated"},
      {L"\"TooLong\"=dword:123456789", 1, L"bad dword"},
      {L"\"NotHex\"=dword:12x4", 1, L"bad dword"},
      {L"\"Prefix\"=qword:12", 1, L"unknown value type"},
      {L"\"Prefix2\"=hexa:12", 1, L"unknown value type"},
      {L"\"BadType\"=hex(zz):12", 1, L"bad type number"},
      {L"\"Extra\"=\"x\" y", 1, L"unexpected text"},
      {L"\"Open\"=\"never closed", 1, L"unterminated"},
      {L"\"OpenName=\"x\"", 1, L"expected \"=\""},
      {L"\"Unclosed name=dword:1", 1, L"unterminated"},
      {L"\"Minus\"=-x", 1, L"unexpected text"},
      {L"garbage here", 1, L"unrecognised line"},
  };
  for (const Case& c : cases) {
    const std::wstring text = withHeader(L"[HKCU\\K]\r\n\"Before\"=dword:1\r\n" + std::wstring(c.entry) +
                                         L"\r\n\"After\"=\"ok\"\r\n");
    const auto p = parseText(text);
    const std::string label = testing::PrintToString(std::wstring(c.entry));
    EXPECT_TRUE(p.ok) << label;
    const auto errors = p.errors();
    ASSERT_EQ(errors.size(), 1u) << label;
    // The bad entry starts on line 5 (header, blank, key, Before).
    const int first = 5;
    EXPECT_GE(errors[0]->line, first) << label;
    EXPECT_LE(errors[0]->line, first + c.lines - 1) << label;
    EXPECT_EQ(errors[0]->message.rfind(L"line " + std::to_wstring(errors[0]->line) + L": ", 0), 0u) << label;
    EXPECT_NE(errors[0]->message.find(c.what), std::wstring::npos)
        << label << " -> " << testing::PrintToString(errors[0]->message);
    ASSERT_NE(p.value(L"Before"), nullptr) << label;
    ASSERT_NE(p.value(L"After"), nullptr) << label;
    EXPECT_EQ(stringOf(p.value(L"After")), L"ok") << label;
    EXPECT_EQ(p.value(L"After")->line, first + c.lines) << label;
    // Nothing but Before and After was set.
    int sets = 0;
    for (const auto& op : p.ops) sets += op.kind == Operation::eSetValue ? 1 : 0;
    EXPECT_EQ(sets, 2) << label;
  }
}

TEST(RegFileReader, UnterminatedStringDoesNotSwallowFollowingValues) {
  // The missing quote would pair with the first quote of the next line; the
  // reader notices the text after it and re-reads that line as an entry.
  const auto p = parseText(withHeader(
      L"[HKCU\\K]\r\n"
      L"\"A\"=\"no end\r\n"
      L"\"B\"=\"b\"\r\n"
      L"\"C\"=dword:3\r\n"));
  const auto errors = p.errors();
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0]->line, 4);
  EXPECT_EQ(p.value(L"A"), nullptr);
  EXPECT_EQ(stringOf(p.value(L"B")), L"b");
  ASSERT_NE(p.value(L"C"), nullptr);
  EXPECT_EQ(p.value(L"C")->line, 6);
}

TEST(RegFileReader, ValuesOutsideKeysAndBadKeys) {
  const auto p = parseText(withHeader(
      L"\"Early\"=dword:1\r\n"                // 3: before any key
      L"[HKCU\\Good]\r\n"                     // 4
      L"\"G\"=dword:1\r\n"                    // 5
      L"[HKCU\\Bad\\\\Path]\r\n"              // 6: empty component
      L"\"Lost1\"=dword:1\r\n"                // 7: dropped with its key
      L"\"Lost2\"=hex:zz\r\n"                 // 8: dropped silently too
      L"[HKCU\\Unclosed\r\n"                  // 9
      L"\"Lost3\"=dword:1\r\n"                // 10
      L"[-HKCU\\Removed]\r\n"                 // 11
      L"\"Orphan\"=dword:1\r\n"               // 12: after a deletion
      L"[-HKCU]\r\n"                          // 13: a root cannot go
      L"[\\Software]\r\n"                     // 14: no root
      L"[HKCU\\Back]\r\n"                     // 15
      L"\"H\"=dword:2\r\n"));                 // 16
  ASSERT_TRUE(p.ok);
  std::vector<int> lines;
  for (const auto* e : p.errors()) lines.push_back(e->line);
  EXPECT_EQ(lines, (std::vector<int>{3, 6, 9, 12, 13, 14}));
  EXPECT_NE(p.value(L"G"), nullptr);
  EXPECT_NE(p.value(L"H"), nullptr);
  for (const wchar_t* lost : {L"Early", L"Lost1", L"Lost2", L"Lost3", L"Orphan"}) {
    EXPECT_EQ(p.value(lost), nullptr) << testing::PrintToString(std::wstring(lost));
  }
}

TEST(RegFileReader, UnknownTypePlaceholderKeepsTheKey) {
  const auto p = parseText(withHeader(L"[HKCU\\K]\r\n\"A\"=dword:1\r\n[[Unknown type: 5]]\r\n\"B\"=dword:2\r\n"));
  ASSERT_EQ(p.errors().size(), 1u);
  EXPECT_EQ(p.errors()[0]->line, 5);
  EXPECT_NE(p.value(L"B"), nullptr);
}

TEST(RegFileReader, DecodesEveryFileEncoding) {
  const std::wstring expected = L"Windows Registry Editor Version 5.00\r\n\"\u00e9\U0001F600\"";
  std::string utf8 = "Windows Registry Editor Version 5.00\r\n\"\xC3\xA9\xF0\x9F\x98\x80\"";
  EXPECT_EQ(decodeFile(utf8), expected);
  EXPECT_EQ(decodeFile("\xEF\xBB\xBF" + utf8), expected);

  const auto units = ut::regfile::encodeUtf16(expected, false);
  std::string le = "\xFF\xFE";
  std::string be = "\xFE\xFF";
  for (std::size_t i = 0; i < units.size(); i += 2) {
    le += static_cast<char>(units[i]);
    le += static_cast<char>(units[i + 1]);
    be += static_cast<char>(units[i + 1]);
    be += static_cast<char>(units[i]);
  }
  EXPECT_EQ(decodeFile(le), expected);
  EXPECT_EQ(decodeFile(be), expected);
  // A stray last byte of a UTF-16 file is dropped, not read past.
  EXPECT_EQ(decodeFile(le + "A"), expected);

  // Not UTF-8 (a Latin-1 e-acute, an overlong slash): read byte by byte.
  EXPECT_EQ(decodeFile("caf\xE9"), L"caf\u00e9");
  EXPECT_EQ(decodeFile("\xC0\xAF"), L"\u00c0\u00af");
  EXPECT_EQ(decodeFile("\xE2\x82"), L"\u00e2\u0082");  // truncated sequence
  EXPECT_EQ(decodeFile(""), L"");
}

TEST(RegFileReader, Utf16BytesRoundTripIncludingLoneSurrogates) {
  const std::wstring text = std::wstring(L"a\u00e9\U0001D11E") + static_cast<wchar_t>(0xD800) + L"z" +
                            static_cast<wchar_t>(0xDC05);
  const auto data = ut::regfile::encodeUtf16(text, true);
  EXPECT_EQ(data.size(), 2u * 8u);  // the clef takes two units
  EXPECT_EQ(ut::regfile::decodeUtf16(data.data(), data.size() - 2), text);
  std::wstring out;
  // Lone surrogates are not a canonical string: such a value is exported as bytes.
  EXPECT_FALSE(ut::regfile::canonicalString(data.data(), data.size(), out));
  const auto good = sz(L"x\U0001D11Ey");
  EXPECT_TRUE(ut::regfile::canonicalString(good.data(), good.size(), out));
  EXPECT_EQ(out, L"x\U0001D11Ey");

  const auto empty = sz(L"");
  EXPECT_TRUE(ut::regfile::canonicalString(empty.data(), empty.size(), out));
  EXPECT_EQ(out, L"");
  EXPECT_FALSE(ut::regfile::canonicalString(nullptr, 0, out));
  const auto noNul = bytes({'a', 0});
  EXPECT_FALSE(ut::regfile::canonicalString(noNul.data(), noNul.size(), out));
  const auto odd = bytes({'a', 0, 0, 0, 0});
  EXPECT_FALSE(ut::regfile::canonicalString(odd.data(), odd.size(), out));
  const auto inner = bytes({'a', 0, 0, 0, 'b', 0, 0, 0});
  EXPECT_FALSE(ut::regfile::canonicalString(inner.data(), inner.size(), out));
}

TEST(RegFileReader, ReadsWindowsProfileExport) {
  const std::wstring text = loadShared("profile-windows-export.reg");
  ASSERT_FALSE(text.empty());
  const auto p = parseText(text);
  ASSERT_TRUE(p.ok);
  EXPECT_TRUE(p.errors().empty());

  std::vector<std::wstring> keys;
  for (const auto& op : p.ops) {
    if (op.kind == Operation::eOpenKey) keys.push_back(op.rootName + L"\\" + op.path);
  }
  const std::wstring base = L"HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Drafting";
  EXPECT_EQ(keys, (std::vector<std::wstring>{base, base + L"\\Config", base + L"\\Config\\Plot", base + L"\\Dialogs",
                                             base + L"\\Dialogs\\Layer Manager", base + L"\\Recent Paths"}));

  EXPECT_EQ(stringOf(p.value(L"")), L"Profile for 2D drafting, exported on Windows");
  EXPECT_EQ(p.value(L"OSMODE")->data, bytes({0xa7, 0x10, 0, 0}));
  EXPECT_EQ(stringOf(p.value(L"TEMPPREFIX")), L"D:\\Temp\\Drafting");
  EXPECT_EQ(stringOf(p.value(L"Greeting")), L"Gr\u00fc\u00dfe, \"quoted\" and back\\slash");
  EXPECT_EQ(stringOf(p.value(L"Path1")), L"\\\\fileserver\\projects\\Bridge 12\\drawings");

  const Operation* support = p.value(L"SupportPath");
  ASSERT_NE(support, nullptr);
  EXPECT_EQ(support->type, 2u);
  EXPECT_EQ(stringOf(support),
            L"%APPDATA%\\TVCAD\\Support;%USERPROFILE%\\Documents\\TVCAD\\Fonts;C:\\Program Files\\TVCAD\\Support");

  const Operation* placement = p.value(L"WindowPlacement");
  ASSERT_EQ(placement->data.size(), 44u);
  for (std::size_t i = 0; i < 44; ++i) EXPECT_EQ(placement->data[i], i);

  const Operation* recent = p.value(L"RecentCommands");
  EXPECT_EQ(recent->type, 7u);
  const std::wstring multi = ut::regfile::decodeUtf16(recent->data.data(), recent->data.size());
  EXPECT_EQ(multi, std::wstring(L"LINE\0CIRCLE\0PLINE\0DIMLINEAR\0\0", 29));

  const Operation* saved = p.value(L"LastSaved");
  EXPECT_EQ(saved->type, 11u);
  std::uint64_t q = 0;
  for (int i = 7; i >= 0; --i) q = (q << 8) | saved->data[static_cast<std::size_t>(i)];
  EXPECT_EQ(q, 0x01da223e15f1f34eull);
}

// Cut or damaged files never make the reader read out of bounds or lose its
// place: every operation lies within the file's lines.
TEST(RegFileReader, SurvivesTruncationAndDamage) {
  const std::wstring text = loadShared("profile-windows-export.reg");
  ASSERT_FALSE(text.empty());
  const auto check = [&](std::wstring_view damaged) {
    int lines = 1;
    for (wchar_t c : damaged) lines += c == L'\n' ? 1 : 0;
    int previous = 1;
    ut::regfile::parse(damaged, [&](const Operation& op) {
      ASSERT_GE(op.line, previous);  // in file order
      ASSERT_LE(op.line, lines);
      previous = op.line;
    });
  };
  for (std::size_t cut = 0; cut <= text.size(); ++cut) check(std::wstring_view(text).substr(0, cut));

  const wchar_t specials[] = {L'"', L'\\', L'\n', L'\r', L'[', L']', L',', L'=', L'@', L'-', L';', L':', L'('};
  unsigned seed = 12345;
  const auto next = [&seed] { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7FFF; };
  for (int round = 0; round < 2000; ++round) {
    std::wstring damaged = text;
    for (int k = 0; k < 4; ++k) damaged[next() % damaged.size()] = specials[next() % std::size(specials)];
    check(damaged);
  }
}
