#include "ut_platform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace up = ut::platform;
using up::ESurrogates;

namespace {

struct DecodeCase {
  const char* name;
  std::string bytes;
  std::wstring lenient;  // fromUtf8 with eReplace
  bool strict;           // decodeUtf8 with eReplace accepts it
};

}  // namespace

TEST(PlatformUtf8, DecodesBoundariesAndReplacesEachInvalidSubsequenceOnce) {
  const std::vector<DecodeCase> cases = {
      {"empty", "", L"", true},
      {"largest of each length", "\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF", L"\x7F\u07FF\uFFFF\U0010FFFF", true},
      {"smallest of each length", std::string("\0\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80", 10),
       std::wstring(L"\0\u0080\u0800\U00010000", 4), true},
      {"overlong two bytes", "\xC0\xAF", L"\uFFFD\uFFFD", false},
      {"overlong three bytes", "\xE0\x80\xAF", L"\uFFFD\uFFFD\uFFFD", false},
      {"beyond U+10FFFF", "\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD", false},
      {"encoded surrogate", "\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD", false},
      {"cut at the end", "a\xE2\x82", L"a\uFFFD", false},
      {"stray continuation", "\x80x", L"\uFFFDx", false},
      {"lead without continuation", "\xC3(", L"\uFFFD(", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(up::fromUtf8(c.bytes), c.lenient);
    std::wstring strict;
    EXPECT_EQ(up::decodeUtf8(c.bytes, strict), c.strict);
    if (c.strict) {
      EXPECT_EQ(strict, c.lenient);
    }
  }
}

TEST(PlatformUtf8, KeptSurrogatesRoundTripAndReplacedOnesDoNot) {
  const std::wstring lone = L"a\xD800z\xDFFF";
  const std::string kept = up::toUtf8(lone, ESurrogates::eKeep);
  EXPECT_EQ(kept, "a\xED\xA0\x80z\xED\xBF\xBF");
  EXPECT_EQ(up::fromUtf8(kept, ESurrogates::eKeep), lone);
  std::wstring strict;
  EXPECT_TRUE(up::decodeUtf8(kept, strict, ESurrogates::eKeep));
  EXPECT_EQ(strict, lone);
  EXPECT_EQ(up::toUtf8(lone), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
  EXPECT_EQ(up::toUtf8(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xEF\xBF\xBD");
}

TEST(PlatformUtf16, BothByteOrdersPairsLoneSurrogatesAndOddBytes) {
  const std::wstring text = L"A\U0001F600\xDC00";
  const std::vector<std::uint8_t> le = up::encodeUtf16(text, up::EByteOrder::eLittleEndian);
  EXPECT_EQ(le, (std::vector<std::uint8_t>{0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xDC}));
  const std::vector<std::uint8_t> be = up::encodeUtf16(text, up::EByteOrder::eBigEndian);
  EXPECT_EQ(be, (std::vector<std::uint8_t>{0x00, 0x41, 0xD8, 0x3D, 0xDE, 0x00, 0xDC, 0x00}));
  EXPECT_EQ(up::decodeUtf16(le.data(), le.size(), up::EByteOrder::eLittleEndian), text);
  EXPECT_EQ(up::decodeUtf16(be.data(), be.size(), up::EByteOrder::eBigEndian), text);
  EXPECT_EQ(up::decodeUtf16(le.data(), 3, up::EByteOrder::eLittleEndian), L"A") << "odd last byte ignored";
  EXPECT_EQ(up::decodeUtf16(nullptr, 4, up::EByteOrder::eLittleEndian), L"");
  EXPECT_EQ(up::utf16Length(text), 4u);
  EXPECT_EQ(up::encodeUtf16(std::wstring(1, static_cast<wchar_t>(0x110000)), up::EByteOrder::eLittleEndian),
            (std::vector<std::uint8_t>{0xFD, 0xFF}));
}
