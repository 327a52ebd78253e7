#include <gtest/gtest.h>

#include "test_support.h"
#include "ut_regfile.h"

#include <ut/ut_registry.h>

#include <cstdint>
#include <string>
#include <vector>

using ut::regfile::Operation;
using ut::regfile::Writer;

namespace {

const std::wstring kHead = L"Windows Registry Editor Version 5.00\r\n";

std::vector<std::uint8_t> sz(const std::wstring& s) { return ut::regfile::encodeUtf16(s, true); }

std::wstring written(const std::wstring& name, unsigned type, const std::vector<std::uint8_t>& data) {
  Writer w;
  w.value(name, type, data.data(), data.size());
  return w.text().substr(kHead.size());
}

std::wstring loadShared(const std::string& name) {
  return ut::regfile::decodeFile(ut::test::readFileBytes(std::string(UT_SHARED_TESTDATA_DIR) + "/registry/" + name));
}

// The text without blank lines: what our writer produces from the same data.
std::wstring withoutBlankLines(const std::wstring& text) {
  std::wstring out;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t end = text.find(L'\n', pos);
    end = end == std::wstring::npos ? text.size() : end + 1;
    const std::wstring line = text.substr(pos, end - pos);
    if (line != L"\r\n") out += line;
    pos = end;
  }
  return out;
}

}  // namespace

TEST(Escape, ReplacesInOrder) {
  EXPECT_EQ(ut::escape(L"a\\b\"c\nd"), L"a\\\\b\\\"c\r\nd");
  EXPECT_EQ(ut::escape(L"\\\""), L"\\\\\\\"");  // the quote's backslash is not doubled
  EXPECT_EQ(ut::escape(L"\r\n"), L"\r\r\n");
  EXPECT_EQ(ut::escape(L""), L"");
  EXPECT_EQ(ut::unescape(L"a\\\\b\\\"c\r\nd"), L"a\\b\"c\nd");
  // Sequences escape() never writes are kept as they are.
  EXPECT_EQ(ut::unescape(L"\\n\\t\\"), L"\\n\\t\\");
  EXPECT_EQ(ut::unescape(L"x\ry\n"), L"x\ry\n");
}

TEST(Escape, UnescapeInvertsEscape) {
  const std::vector<std::wstring> samples = {
      L"", L"\\", L"\\\\", L"\"", L"\\\"", L"\"\\", L"\n", L"\r", L"\r\n", L"\n\r", L"\r\r\n\n",
      L"end\\", L"C:\\Temp\\\"x\"\r\nline2\nline3\r", L"\u00e9\U0001F600\\n", std::wstring(L"nul\0in", 6)};
  for (const auto& s : samples) {
    EXPECT_EQ(ut::unescape(ut::escape(wxString(s))).ToStdWstring(), s) << testing::PrintToString(s);
  }
}

TEST(RegFileWriter, LinesOfEachKind) {
  Writer w;
  EXPECT_EQ(w.text(), kHead);
  w.key(L"HKEY_CURRENT_USER\\Software\\TVCAD\\K");
  const auto def = sz(L"only");
  w.value(L"", 1, def.data(), def.size());
  EXPECT_EQ(w.text(), kHead + L"[HKEY_CURRENT_USER\\Software\\TVCAD\\K]\r\n@=\"only\"\r\n");

  EXPECT_EQ(written(L"S", 1, sz(L"back\\slash \"quote\"\nnext")), L"\"S\"=\"back\\\\slash \\\"quote\\\"\r\nnext\"\r\n");
  EXPECT_EQ(written(L"D", 4, {0xff, 0, 0, 0}), L"\"D\"=dword:000000ff\r\n");
  EXPECT_EQ(written(L"D", 4, {0x78, 0x56, 0x34, 0x12}), L"\"D\"=dword:12345678\r\n");
  EXPECT_EQ(written(L"B", 3, {}), L"\"B\"=hex:\r\n");
  EXPECT_EQ(written(L"B", 3, {0, 0xab}), L"\"B\"=hex:00,ab\r\n");
  EXPECT_EQ(written(L"N", 0, {1}), L"\"N\"=hex(0):01\r\n");
  EXPECT_EQ(written(L"E", 2, sz(L"%A%")), L"\"E\"=hex(2):25,00,41,00,25,00,00,00\r\n");
  EXPECT_EQ(written(L"M", 7, {0, 0}), L"\"M\"=hex(7):00,00\r\n");
  EXPECT_EQ(written(L"Q", 11, {1, 2, 3, 4, 5, 6, 7, 8}), L"\"Q\"=hex(b):01,02,03,04,05,06,07,08\r\n");
  // Names are escaped like data.
  EXPECT_EQ(written(L"a\"b\\c", 4, {0, 0, 0, 0}), L"\"a\\\"b\\\\c\"=dword:00000000\r\n");
  // A value literally named "@" is not the default value.
  EXPECT_EQ(written(L"@", 4, {0, 0, 0, 0}), L"\"@\"=dword:00000000\r\n");
}

TEST(RegFileWriter, IllFormedDataKeepsItsBytes) {
  EXPECT_EQ(written(L"S", 1, {}), L"\"S\"=hex(1):\r\n");
  EXPECT_EQ(written(L"S", 1, {'a', 0}), L"\"S\"=hex(1):61,00\r\n");            // no terminating NUL
  EXPECT_EQ(written(L"S", 1, {'a', 0, 0}), L"\"S\"=hex(1):61,00,00\r\n");      // odd size
  EXPECT_EQ(written(L"S", 1, {0, 0, 'a', 0, 0, 0}), L"\"S\"=hex(1):00,00,61,00,00,00\r\n");
  EXPECT_EQ(written(L"S", 1, {0x00, 0xd8, 0, 0}), L"\"S\"=hex(1):00,d8,00,00\r\n");  // lone surrogate
  EXPECT_EQ(written(L"D", 4, {1, 2, 3}), L"\"D\"=hex(4):01,02,03\r\n");
  EXPECT_EQ(written(L"D", 4, {1, 2, 3, 4, 5}), L"\"D\"=hex(4):01,02,03,04,05\r\n");
}

TEST(RegFileWriter, UninterpretedTypesGetAPlaceholder) {
  for (unsigned type : {5u, 6u, 8u, 9u, 10u, 12u, 0x12345u}) {
    EXPECT_EQ(written(L"X", type, {1, 2}), L"[[Unknown type: " + std::to_wstring(type) + L"]]\r\n");
  }
}

TEST(RegFileWriter, WrapsLikeTheRegistryEditor) {
  // 19 bytes take "\"WindowPlacement\"=hex:" (22 characters) past 76 columns.
  std::vector<std::uint8_t> data;
  for (int i = 0; i < 44; ++i) data.push_back(static_cast<std::uint8_t>(i));
  EXPECT_EQ(written(L"WindowPlacement", 3, data),
            L"\"WindowPlacement\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,\\\r\n"
            L"  13,14,15,16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b\r\n");

  // Exactly filling a line does not leave an empty continuation behind.
  const std::wstring w19 = written(L"WindowPlacement", 3, std::vector<std::uint8_t>(19, 0));
  EXPECT_EQ(w19.find(L'\\'), std::wstring::npos);
  const std::wstring w20 = written(L"WindowPlacement", 3, std::vector<std::uint8_t>(20, 0));
  EXPECT_NE(w20.find(L",\\\r\n  00\r\n"), std::wstring::npos);

  // Continuation lines hold 25 bytes; a name outside the BMP counts as two units.
  const std::wstring many = written(L"x", 3, std::vector<std::uint8_t>(100, 0xaa));
  std::vector<std::size_t> lengths;
  for (std::size_t pos = 0; pos < many.size();) {
    const std::size_t end = many.find(L"\r\n", pos);
    lengths.push_back(end - pos);
    pos = end + 2;
  }
  EXPECT_EQ(lengths, (std::vector<std::size_t>{78, 78, 78, 78, 7}));
  const std::wstring wide = written(L"\U0001F600\U0001F600", 3, std::vector<std::uint8_t>(30, 0));
  const std::wstring narrow = written(L"abcd", 3, std::vector<std::uint8_t>(30, 0));
  EXPECT_EQ(wide.find(L'\\'), narrow.find(L'\\') - 2);
}

// Re-exporting what the reader took from the Windows samples reproduces them
// line for line (the samples' blank lines apart).
TEST(RegFileWriter, ReproducesWindowsExports) {
  for (const char* file : {"profile-windows-export.reg", "all-value-types.reg"}) {
    const std::wstring original = loadShared(file);
    ASSERT_FALSE(original.empty()) << file;
    Writer w;
    const bool ok = ut::regfile::parse(original, [&](const Operation& op) {
      if (op.kind == Operation::eOpenKey) w.key(op.rootName + L"\\" + op.path);
      if (op.kind == Operation::eSetValue) w.value(op.name, op.type, op.data.data(), op.data.size());
    });
    ASSERT_TRUE(ok);
    EXPECT_EQ(w.text(), withoutBlankLines(original)) << file;
  }
}

TEST(RegFileWriter, EncodesUtf8WithoutBom) {
  Writer w;
  w.key(L"HKEY_CURRENT_USER\\\u00c4");
  const std::string bytes = w.utf8();
  EXPECT_EQ(bytes, "Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\\xC3\x84]\r\n");
}

// Everything the writer produces reads back to the same names, types and
// bytes, whatever the names and data hold.
TEST(RegFileWriter, RoundTripsEveryValueByteForByte) {
  struct Value {
    std::wstring name;
    unsigned type;
    std::vector<std::uint8_t> data;
  };
  const std::wstring loneSurrogate(1, static_cast<wchar_t>(0xDC00));
  std::vector<Value> values = {
      {L"", 1, sz(L"default")},
      {L"empty", 1, sz(L"")},
      {L"quotes \"and\" back\\slashes\\", 1, sz(L"\"\\\\\"\\")},
      {L"lf", 1, sz(L"a\nb\n")},
      {L"crlf", 1, sz(L"a\r\nb\r\n")},
      {L"cr", 1, sz(L"a\rb\r")},
      {L"name\nwith\r\nbreaks\r", 1, sz(L"x")},
      {L"\u00fcn\u00efc\u00f8d\u00e9 \u65e5\u672c \U0001F600", 1, sz(L"\u30c6\u30ad\u30b9\u30c8 \U0001D11E")},
      {L"lone" + loneSurrogate, 1, sz(L"v" + loneSurrogate)},
      {L"tab", 1, sz(L"\t[HKCU\\x]\r\n\"y\"=dword:1\r\n;")},
      {L"sz-raw", 1, {'a', 0, 'b'}},
      {L"expand", 2, sz(L"%PATH%;x")},
      {L"expand-empty", 2, {}},
      {L"bin", 3, std::vector<std::uint8_t>(300, 0x5a)},
      {L"bin-empty", 3, {}},
      {L"dword", 4, {0xef, 0xbe, 0xad, 0xde}},
      {L"dword-short", 4, {1}},
      {L"multi", 7, ut::regfile::encodeUtf16(std::wstring(L"a\0\0b\0\0", 6), false)},
      {L"qword", 11, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}},
      {L"none", 0, {}},
      {L"none-bytes", 0, {0, 1, 2}},
      {L"=", 4, {0, 0, 0, 0}},
      {L"[x]", 4, {0, 0, 0, 0}},
      {L";c", 4, {0, 0, 0, 0}},
  };
  Writer w;
  w.key(L"HKEY_CURRENT_USER\\Software\\TVCAD\\R");
  for (const auto& v : values) w.value(v.name, v.type, v.data.data(), v.data.size());
  w.key(L"HKEY_CURRENT_USER\\Software\\TVCAD\\R\\Sub key");
  w.value(L"last", 4, values[15].data.data(), 4);

  // Through the file encoding too.
  const std::wstring text = ut::regfile::decodeFile(w.utf8());
  EXPECT_EQ(text, w.text());
  std::vector<Operation> ops;
  ASSERT_TRUE(ut::regfile::parse(text, [&](const Operation& op) { ops.push_back(op); }));
  ASSERT_EQ(ops.size(), values.size() + 3);
  EXPECT_EQ(ops[0].kind, Operation::eOpenKey);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Operation& op = ops[i + 1];
    ASSERT_EQ(op.kind, Operation::eSetValue) << i << ": " << testing::PrintToString(op.message);
    EXPECT_EQ(op.name, values[i].name) << i;
    EXPECT_EQ(op.type, values[i].type) << i;
    EXPECT_EQ(op.data, values[i].data) << i;
  }
  EXPECT_EQ(ops[values.size() + 1].path, L"Software\\TVCAD\\R\\Sub key");
  EXPECT_EQ(ops.back().name, L"last");
}
