#include "OdString.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>
#include <wx/string.h>

#include <climits>
#include <cstdarg>
#include <string>

// The SDK's non-Windows builds hold one UTF-32 code point per wchar_t; every
// format defined on UTF-16 must therefore convert explicitly, never reinterpret.
static_assert(sizeof(wchar_t) == 4);

namespace {

// Code points spelled out so that no source-encoding question arises.
constexpr wchar_t kGrinning = 0x1F600;        // astral, UTF-16 D83D DE00
constexpr wchar_t kDeseretCapital = 0x10400;  // astral letter with a case pair
constexpr wchar_t kDeseretSmall = 0x10428;
constexpr wchar_t kReplacement = 0xFFFD;

OdString formatted(const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  OdString s;
  s.formatV(fmt, args);
  va_end(args);
  return s;
}

OdString units(std::initializer_list<long> values) {
  OdString s;
  for (long v : values) s += static_cast<wchar_t>(v);
  return s;
}

}  // namespace

TEST(OdStringConstruct, NullAndLengthLimitedInputAndAccess) {
  EXPECT_TRUE(OdString(static_cast<const wchar_t*>(nullptr)).isEmpty());
  EXPECT_TRUE(OdString(static_cast<const char*>(nullptr)).isEmpty());
  EXPECT_TRUE(OdString(nullptr, 5).isEmpty());
  EXPECT_TRUE(OdString(L"abc", -1).isEmpty());
  EXPECT_EQ(OdString(L"ab\0cd", 5).getLength(), 2);  // a terminator before the limit ends it
  const wchar_t unterminated[3] = {L'x', L'y', L'z'};
  EXPECT_EQ(OdString(unterminated, 2), L"xy");  // the limit holds without a terminator in range
  EXPECT_EQ(OdString(L'-', 3), L"---");
  EXPECT_TRUE(OdString(L'-', -4).isEmpty());
  // Out-of-range indices give the null character.
  const OdString s(L"ab");
  EXPECT_EQ(std::wstring({s[1], s.getAt(2), s.getAt(-1), s[INT_MAX]}), std::wstring(L"b\0\0\0", 4));
}

TEST(OdStringUtf8, RoundTripAndIllFormedInput) {
  const std::string utf8 = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // A, e-acute, euro, grinning face
  const OdString s = OdString::fromUtf8(utf8);
  EXPECT_EQ(s, OdString(L"A\u00E9\u20AC") + kGrinning);
  EXPECT_EQ(s.toUtf8(), utf8);
  EXPECT_EQ(OdString(utf8.c_str()), s);
  const OdString withNull = OdString::fromUtf8(std::string_view("a\0b", 3));
  EXPECT_EQ(withNull.getLength(), 3);
  EXPECT_EQ(withNull.toUtf8(), std::string("a\0b", 3));
  // Each maximal ill-formed piece becomes one U+FFFD; what follows survives.
  const std::pair<std::string, OdString> broken[] = {{"a\xC3", OdString(L"a") + kReplacement},  // truncated at the end
                                                     {"\xE2\x82"
                                                      "A",
                                                      OdString(kReplacement) + L'A'},          // truncated before ASCII
                                                     {"\xC0\xAF", OdString(kReplacement, 2)},  // overlong
                                                     {"\xED\xA0\x80", OdString(kReplacement, 3)},  // encoded surrogate
                                                     {"\x80x\xFF", OdString(kReplacement) + L'x' + kReplacement}};
  for (const auto& [bytes, expected] : broken) EXPECT_EQ(OdString::fromUtf8(bytes), expected);
  // Surrogate values and values beyond U+10FFFF have no UTF-8 form.
  EXPECT_EQ(units({0xD800, 0x110000, -1}).toUtf8(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(OdStringUtf16, SurrogatePairsAndLoneSurrogates) {
  const OdString s = OdString(L'x') + kGrinning + kDeseretCapital;
  EXPECT_EQ(s.toUtf16(), (std::u16string{u'x', 0xD83D, 0xDE00, 0xD801, 0xDC00}));
  EXPECT_EQ(OdString::fromUtf16(s.toUtf16()), s);
  // High at the end, low alone, high before a non-surrogate, a pair reversed.
  EXPECT_EQ(OdString::fromUtf16(std::u16string{u'a', 0xD83D}), OdString(L"a") + kReplacement);
  EXPECT_EQ(OdString::fromUtf16(std::u16string{0xDE00, u'b'}), OdString(kReplacement) + L'b');
  EXPECT_EQ(OdString::fromUtf16(std::u16string{0xD83D, u'c'}), OdString(kReplacement) + L'c');
  EXPECT_EQ(OdString::fromUtf16(std::u16string{0xDE00, 0xD83D}), OdString(kReplacement, 2));
  // Units that are not scalar values are not written as raw surrogates.
  EXPECT_EQ(units({0xDC00, 0x110000}).toUtf16(), (std::u16string{0xFFFD, 0xFFFD}));
  EXPECT_EQ(OdString::fromUtf16(std::u16string(3, u'\0')).getLength(), 3);
}

TEST(OdStringWx, ConversionsBothWays) {
  const wxString wx(std::wstring(L"Stra\u00DFe ") + kGrinning);
  const OdString fromWx = wx;  // implicit
  EXPECT_EQ(fromWx, OdString(L"Stra\u00DFe ") + kGrinning);
  EXPECT_EQ(fromWx.toWxString(), wx);
  EXPECT_TRUE(OdString(wxString()).isEmpty());
}

TEST(OdStringCompare, CaseInsensitiveOverUnicodeWithSimpleFolding) {
  struct Case {
    OdString a;
    OdString b;
    int sign;
  };
  const Case cases[] = {{L"Hello", L"hELLO", 0},
                        {L"apple", L"BANANA", -1},
                        {L"abc", L"ABCD", -1},
                        {L"ABCD", L"abc", 1},
                        {L"\u00C9T\u00C9", L"\u00E9t\u00E9", 0},
                        {L"\u041F\u0420\u0418", L"\u043F\u0440\u0438", 0},
                        {L"\u039F\u03A3", L"\u03BF\u03C2", 0},
                        {L"\u03C3", L"\u03C2", 0},  // final, small and capital sigma
                        {OdString(kDeseretCapital), OdString(kDeseretSmall), 0},
                        {L"\u00DF", L"ss", 1},  // simple folding maps one code point to one: sharp s is not "ss"
                        {L"e", L"\u00E9", -1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.a.toUtf8() + " vs " + c.b.toUtf8());
    const int r = c.a.iCompare(c.b);
    EXPECT_EQ((r > 0) - (r < 0), c.sign);
  }
  EXPECT_EQ(OdString().iCompare(static_cast<const wchar_t*>(nullptr)), 0);
  EXPECT_NE(units({-5}).iCompare(L"a"), 0);  // units outside Unicode compare as they are
}

TEST(OdStringFormat, PrintfSemanticsWithWideStrings) {
  const std::wstring nonAscii = std::wstring(L"\u00E9\u20AC") + kGrinning;
  // Bare %s and %c take wide arguments, like %ls and %lc; %hs and %hc narrow ones.
  EXPECT_EQ(formatted(L"[%s|%ls]", nonAscii.c_str(), L"x"), L"[" + nonAscii + L"|x]");
  EXPECT_EQ(formatted(L"%c%lc", L'\u00E9', kGrinning), std::wstring(L"\u00E9") + kGrinning);
  EXPECT_EQ(formatted(L"%hs-%hc", "narrow", 'c'), L"narrow-c");
  EXPECT_EQ(formatted(L"%d %u %x %ld %lld", -42, 7u, 255u, 123456789L, -1LL), L"-42 7 ff 123456789 -1");
  EXPECT_EQ(formatted(L"%5d|%-5s|%.2s|%05.1f", 42, L"ab", L"xyz", 3.14159), L"   42|ab   |xy|003.1");
  EXPECT_EQ(formatted(L"%*d|%-*s|", 4, 7, 3, L"z"), L"   7|z  |");
  EXPECT_EQ(formatted(L"%2$s %1$s", L"world", L"hello"), L"hello world");
  EXPECT_EQ(formatted(L"100%% %g", 0.5), L"100% 0.5");
  EXPECT_EQ(formatted(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
  EXPECT_EQ(formatted(L"trailing %"), L"trailing %");
  // No length limit, and the old content goes.
  const std::wstring big(3000, L'q');
  OdString s(L"old content");
  s.format(L"<%s>%d", big.c_str(), 5);
  EXPECT_EQ(s, L"<" + big + L">5");
  EXPECT_EQ(formatted(L"%0500d%0500d%0500d", 1, 2, 3),
            std::wstring(499, L'0') + L"1" + std::wstring(499, L'0') + L"2" + std::wstring(499, L'0') + L"3");
  EXPECT_TRUE(OdString(L"x").format(nullptr).isEmpty());
  EXPECT_TRUE(OdString(L"x").format(L"").isEmpty());
}
