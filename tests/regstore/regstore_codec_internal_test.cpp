// Byte forms the public tests cannot reach: characters beyond Unicode,
// damaged name bytes, and the folded form of key paths.

#include <gtest/gtest.h>

#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

using namespace ut::regstore;

TEST(RegStoreCodec, OutOfRangeAndDamagedInput) {
  const std::wstring beyond(1, static_cast<wchar_t>(0x110000));
  EXPECT_EQ(encodeUtf16le(beyond, false), (Bytes{0xFD, 0xFF}));
  EXPECT_FALSE(nameToUtf8(beyond).has_value()) << "no registry name can hold it";
  // Lone surrogates survive names and data alike.
  const std::wstring lone{static_cast<wchar_t>(0xDC00), L'x', static_cast<wchar_t>(0xD800)};
  EXPECT_EQ(nameFromUtf8(*nameToUtf8(lone)), lone);
  const Bytes data = encodeUtf16le(lone, false);
  EXPECT_EQ(decodeUtf16le(data.data(), data.size()), lone);
  // Damaged UTF-8 from a foreign writer decodes to replacement characters and
  // never reads past the end.
  EXPECT_EQ(nameFromUtf8("\x80x"), L"\uFFFDx");
  EXPECT_EQ(nameFromUtf8("a\xE2\x82"), L"a\uFFFD");
  EXPECT_FALSE(encodeMultiString({std::wstring(L"a\0b", 3)}).has_value());
}

TEST(RegStoreKeyRef, FoldedPaths) {
  const KeyRef k = KeyRef::make(1, L"\\\\Software\\Stra\u00DFe\\\\");
  ASSERT_TRUE(k.valid);
  EXPECT_EQ(k.path, L"Software\\Stra\u00DFe");
  // Full folding may change lengths; the levels stay apart.
  EXPECT_EQ(k.folded, L"1\\software\\strasse");
  EXPECT_EQ(k.foldedComponents(), (std::vector<std::wstring>{L"software", L"strasse"}));
  EXPECT_EQ(KeyRef::make(2, L"").folded, L"2");
  EXPECT_FALSE(KeyRef::make(-1, L"x").valid);
  EXPECT_FALSE(k.child(L"x\\").valid);
  EXPECT_FALSE(KeyRef::make(9, L"a").child(L"b").valid);
}
