#include <gtest/gtest.h>

#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

using namespace ut::regstore;

namespace {

Bytes utf16(std::initializer_list<unsigned> units) {
  Bytes out;
  for (unsigned u : units) {
    out.push_back(static_cast<std::uint8_t>(u & 0xFF));
    out.push_back(static_cast<std::uint8_t>(u >> 8));
  }
  return out;
}

}  // namespace

TEST(RegStoreCodec, Utf16Conversions) {
  EXPECT_EQ(encodeUtf16le(L"", true), utf16({0}));
  EXPECT_EQ(encodeUtf16le(L"", false), Bytes());
  EXPECT_EQ(encodeUtf16le(L"a\U0010FFFF", false), utf16({'a', 0xDBFF, 0xDFFF}));
  // Beyond Unicode: replaced; lone surrogates: kept as single units.
  EXPECT_EQ(encodeUtf16le(std::wstring(1, static_cast<wchar_t>(0x110000)), false), utf16({0xFFFD}));
  EXPECT_EQ(encodeUtf16le(std::wstring{static_cast<wchar_t>(0xDC00), L'x'}, false), utf16({0xDC00, 'x'}));

  const std::wstring samples[] = {L"", L"plain", L"\u00E9\u4E2D\U0001F600\U00010000",
                                  std::wstring{static_cast<wchar_t>(0xD800)},
                                  std::wstring{static_cast<wchar_t>(0xDBFF), static_cast<wchar_t>(0xDBFF)}};
  for (const auto& s : samples) {
    const Bytes b = encodeUtf16le(s, false);
    EXPECT_EQ(decodeUtf16le(b.data(), b.size()), s);
  }
  // A high surrogate at the very end, and a low one first, stay alone.
  const Bytes tail = utf16({'a', 0xD83D});
  EXPECT_EQ(decodeUtf16le(tail.data(), tail.size()), (std::wstring{L'a', static_cast<wchar_t>(0xD83D)}));
  const Bytes swapped = utf16({0xDE00, 0xD83D});
  EXPECT_EQ(decodeUtf16le(swapped.data(), swapped.size()).size(), 2u);
}

TEST(RegStoreCodec, RegStringsAndLists) {
  const Bytes nuls = utf16({'x', 0, 0, 0});
  EXPECT_EQ(decodeRegString(nuls.data(), nuls.size()), L"x");
  const Bytes onlyNuls = utf16({0, 0});
  EXPECT_EQ(decodeRegString(onlyNuls.data(), onlyNuls.size()), L"");
  EXPECT_EQ(decodeRegString(nullptr, 0), L"");

  EXPECT_EQ(encodeMultiString({}), std::optional<Bytes>(utf16({0})));
  EXPECT_EQ(encodeMultiString({L"a", L"bc"}), std::optional<Bytes>(utf16({'a', 0, 'b', 'c', 0, 0})));
  EXPECT_FALSE(encodeMultiString({L"a", L""}).has_value());
  EXPECT_FALSE(encodeMultiString({std::wstring(L"a\0b", 3)}).has_value());
  const Bytes list = utf16({'a', 0, 'b', 'c', 0, 0});
  EXPECT_EQ(decodeMultiString(list.data(), list.size()), (std::vector<std::wstring>{L"a", L"bc"}));
  const Bytes odd = {'a', 0, 0, 0, 'b'};
  EXPECT_EQ(decodeMultiString(odd.data(), odd.size()), (std::vector<std::wstring>{L"a"}));
  EXPECT_TRUE(decodeMultiString(nullptr, 0).empty());
}

TEST(RegStoreCodec, Numbers) {
  EXPECT_EQ(encodeDword(0xA1B2C3D4u), (Bytes{0xD4, 0xC3, 0xB2, 0xA1}));
  EXPECT_EQ(encodeQword(0x0102030405060708ull), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
  const Bytes d = encodeDword(0xFFFFFFFEu);
  EXPECT_EQ(decodeDword(d.data(), d.size()), std::optional<std::uint32_t>(0xFFFFFFFEu));
  EXPECT_FALSE(decodeDword(d.data(), 3).has_value());
  EXPECT_FALSE(decodeQword(d.data(), d.size()).has_value());
  const Bytes q = encodeQword(~0ull);
  EXPECT_EQ(decodeQword(q.data(), q.size()), std::optional<std::uint64_t>(~0ull));

  EXPECT_EQ(parseDecimal(L"0"), std::optional<std::int64_t>(0));
  EXPECT_EQ(parseDecimal(L"+17"), std::optional<std::int64_t>(17));
  EXPECT_EQ(parseDecimal(L"-9223372036854775808"), std::optional<std::int64_t>(INT64_MIN));
  EXPECT_EQ(parseDecimal(L"9223372036854775807"), std::optional<std::int64_t>(INT64_MAX));
  for (const wchar_t* bad : {L"", L"+", L"-", L"9223372036854775808", L"1e3", L"١٢", L"--1", L"+-1", L"1-"}) {
    EXPECT_FALSE(parseDecimal(bad).has_value()) << bad;
  }
}

TEST(RegStoreCodec, NamesAsUtf8) {
  const std::wstring samples[] = {L"", L"ascii", L"\u00DCber \u03A3 \u0414", L"\U0001F600",
                                  std::wstring(L"nul\0in", 6), std::wstring{static_cast<wchar_t>(0xDFFF)}};
  for (const auto& s : samples) {
    const auto utf8 = nameToUtf8(s);
    ASSERT_TRUE(utf8.has_value());
    EXPECT_EQ(nameFromUtf8(*utf8), s);
  }
  EXPECT_EQ(nameToUtf8(L"\u00E9"), std::optional<std::string>("\xC3\xA9"));
  EXPECT_FALSE(nameToUtf8(std::wstring(1, static_cast<wchar_t>(0x110000))).has_value());
  // Damaged bytes decode to replacement characters, never past the end.
  EXPECT_EQ(nameFromUtf8("\x80x"), L"\uFFFDx");
  EXPECT_EQ(nameFromUtf8("a\xE2\x82"), L"a\uFFFD");
}

TEST(RegStoreKeyRef, Normalisation) {
  const KeyRef k = KeyRef::make(1, L"\\\\Software\\TVCAD\\\\");
  EXPECT_TRUE(k.valid);
  EXPECT_EQ(k.path, L"Software\\TVCAD");
  EXPECT_EQ(k.folded, L"1\\software\\tvcad");
  EXPECT_EQ(k.components(), (std::vector<std::wstring>{L"Software", L"TVCAD"}));
  EXPECT_EQ(k.foldedComponents(), (std::vector<std::wstring>{L"software", L"tvcad"}));
  EXPECT_EQ(KeyRef::make(2, L"").folded, L"2");
  EXPECT_TRUE(KeyRef::make(2, L"").foldedComponents().empty());
  EXPECT_FALSE(KeyRef::make(5, L"x").valid);
  EXPECT_FALSE(KeyRef::make(-1, L"x").valid);
  EXPECT_FALSE(KeyRef::make(1, L"a\\\\b").valid);
  EXPECT_EQ(KeyRef::make(1, L"Stra\u00DFe").folded, L"1\\strasse");
  EXPECT_EQ(k.child(L"A\\B").path, L"Software\\TVCAD\\A\\B");
  EXPECT_FALSE(k.child(L"").valid);
  EXPECT_FALSE(k.child(L"\\x").valid);
  EXPECT_FALSE(k.child(L"x\\").valid);
  EXPECT_FALSE(KeyRef::make(9, L"a").child(L"b").valid);
}
