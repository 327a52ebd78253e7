// The export-file reader on its own: the syntax it accepts, line numbers, file
// encodings, and damaged text. What an import does to the store, and every
// kind of bad entry, is tested through Registry::importKey.

#include <gtest/gtest.h>

#include "test_support.h"
#include "ut_regfile.h"
#include "ut_regstore_codec.h"

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

using ut::regfile::decodeFile;
using ut::regfile::Operation;
using Bytes = std::vector<std::uint8_t>;

namespace {

std::vector<Operation> parseText(std::wstring_view text, bool* ok = nullptr) {
  std::vector<Operation> ops;
  const bool parsed = ut::regfile::parse(text, [&](const Operation& op) { ops.push_back(op); });
  if (ok != nullptr) *ok = parsed;
  return ops;
}

Bytes sz(const std::wstring& s) { return ut::regstore::encodeUtf16le(s, true); }

}  // namespace

// Each entry between a key line and a following value: read as one value with
// the right bytes, and the line count goes on right through it.
TEST(RegFileReader, EntriesAndLineNumbers) {
  // One entry, how many lines it takes, and the value it sets.
  const std::tuple<const wchar_t*, int, const wchar_t*, unsigned, Bytes> cases[] = {
      {L"\"Str\" = \"text\"", 1, L"Str", 1, sz(L"text")},
      {L"  \"Short\"=dword:f", 1, L"Short", 4, {0x0f, 0, 0, 0}},
      {L"\"Num\"=dword:0000002A", 1, L"Num", 4, {0x2a, 0, 0, 0}},
      {L"\"Bin\"=hex:01,ab,FF", 1, L"Bin", 3, {0x01, 0xab, 0xff}},
      {L"\"Odd\"=hex(1234abcd):7", 1, L"Odd", 0x1234abcd, {7}},
      {L"\"Long\"=hex:00,01,\\\r\n  02,03,\\\r\n\t\t04", 3, L"Long", 3, {0, 1, 2, 3, 4}},
      {L"\"NoComma\"=hex:05,06\\\r\n  07", 2, L"NoComma", 3, {5, 6, 7}},
      {L"\"Na\\\"me\\\\x\"=\"a\\\\b \\\"q\\\" \\n stays\"", 1, L"Na\"me\\x", 1, sz(L"a\\b \"q\" \\n stays")},
      {L"\"Multi\"=\"one\r\ntwo\r\n\r\nthree\"", 4, L"Multi", 1, sz(L"one\ntwo\n\nthree")},
  };
  for (const auto& [entry, lines, name, type, data] : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(entry)));
    bool ok = false;
    const auto ops = parseText(L"Windows Registry Editor Version 5.00\r\n\r\n[HKCU\\K]\r\n" + std::wstring(entry) +
                                   L"\r\n\"After\"=dword:1\r\n",
                               &ok);
    ASSERT_TRUE(ok && ops.size() == 3) << testing::PrintToString(ops.back().message);
    EXPECT_EQ(std::make_tuple(ops[0].kind, ops[0].line, ops[1].kind, ops[1].line, ops[2].line),
              std::make_tuple(Operation::eOpenKey, 3, Operation::eSetValue, 4, 4 + lines));
    EXPECT_EQ(std::make_tuple(ops[1].name, ops[1].type, ops[1].data), std::make_tuple(std::wstring(name), type, data));
  }
  // A file with bare LF line ends keeps LF inside strings as well.
  const auto lf = parseText(L"Windows Registry Editor Version 5.00\n[HKCU\\K]\n\"M\"=\"x\ny\"\n\"N\"=dword:1\n");
  ASSERT_EQ(lf.size(), 3u);
  EXPECT_TRUE(lf[1].data == sz(L"x\ny") && lf[2].line == 5);
  // The root as written, and a root alone.
  const auto keys = parseText(L"REGEDIT4\r\n[-HKCU\\Software\\Old]\r\n[HKEY_LOCAL_MACHINE]\r\n");
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(std::make_tuple(keys[0].kind, keys[0].rootName, keys[0].path, keys[1].rootName, keys[1].path),
            std::make_tuple(Operation::eDeleteKey, std::wstring(L"HKCU"), std::wstring(L"Software\\Old"),
                            std::wstring(L"HKEY_LOCAL_MACHINE"), std::wstring()));
}

TEST(RegFileReader, DecodesEveryFileEncoding) {
  const std::wstring expected = L"Windows Registry Editor Version 5.00\r\n\"\u00e9\U0001F600\"";
  const std::string utf8 = "Windows Registry Editor Version 5.00\r\n\"\xC3\xA9\xF0\x9F\x98\x80\"";
  EXPECT_EQ(decodeFile(utf8), expected);
  EXPECT_EQ(decodeFile("\xEF\xBB\xBF" + utf8), expected);
  const auto units = ut::regstore::encodeUtf16le(expected, false);
  std::string le = "\xFF\xFE";
  std::string be = "\xFE\xFF";
  for (std::size_t i = 0; i < units.size(); i += 2) {
    le += {static_cast<char>(units[i]), static_cast<char>(units[i + 1])};
    be += {static_cast<char>(units[i + 1]), static_cast<char>(units[i])};
  }
  EXPECT_EQ(decodeFile(le), expected);
  EXPECT_EQ(decodeFile(be), expected);
  EXPECT_EQ(decodeFile(le + "A"), expected) << "a stray last byte is dropped, not read past";
  // Not UTF-8 (a Latin-1 e-acute, an overlong slash, a cut sequence): read byte by byte.
  EXPECT_EQ(decodeFile("caf\xE9"), L"caf\u00e9");
  EXPECT_EQ(decodeFile("\xC0\xAF"), L"\u00c0\u00af");
  EXPECT_EQ(decodeFile("\xE2\x82"), L"\u00e2\u0082");
  EXPECT_EQ(decodeFile(""), L"");
}

// Values of type numbers the writer does not interpret: the registry
// exporter's placeholder line, or the hex form that reads back to the same
// type and bytes, which profile exports use.
TEST(RegFileWriter, OtherTypesAsPlaceholderOrHex) {
  using ut::regfile::Writer;
  const Bytes data = {0x61, 0x00, 0xff};
  const struct {
    unsigned type;
    const wchar_t* placeholder;
    const wchar_t* hex;
  } cases[] = {
      {6, L"[[Unknown type: 6]]\r\n", L"\"v\"=hex(6):61,00,ff\r\n"},
      {0x12345, L"[[Unknown type: 74565]]\r\n", L"\"v\"=hex(12345):61,00,ff\r\n"},
      {0xffffffff, L"[[Unknown type: 4294967295]]\r\n", L"\"v\"=hex(ffffffff):61,00,ff\r\n"},
  };
  const std::wstring head = L"Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\K]\r\n";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    Writer placeholder;
    Writer hex(Writer::EOtherTypes::eHex);
    for (Writer* w : {&placeholder, &hex}) {
      w->key(L"HKEY_CURRENT_USER\\K");
      w->value(L"v", c.type, data.data(), data.size());
    }
    EXPECT_EQ(placeholder.text(), head + c.placeholder);
    EXPECT_EQ(hex.text(), head + c.hex);
    const std::vector<Operation> ops = parseText(hex.text());
    ASSERT_EQ(ops.size(), 2u);
    EXPECT_EQ(ops[1].kind, Operation::eSetValue);
    EXPECT_EQ(ops[1].type, c.type);
    EXPECT_EQ(ops[1].data, data);
  }
}
