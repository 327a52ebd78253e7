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
  const std::pair<std::string, OdString> broken[] = {
      {"a\xC3", OdString(L"a") + kReplacement},            // truncated at the end
      {"\xE2\x82" "A", OdString(kReplacement) + L'A'},     // truncated before ASCII
      {"\xC0\xAF", OdString(kReplacement, 2)},             // overlong
      {"\xED\xA0\x80", OdString(kReplacement, 3)},         // encoded surrogate
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

TEST(OdStringCompare, CodeUnitOrder) {
  EXPECT_LT(OdString(L"Z"), OdString(L"a"));  // upper case sorts before lower case
  EXPECT_LT(OdString(L"z"), OdString(L"\u00E9"));
  EXPECT_LT(OdString(L"\uFFFF"), OdString(kGrinning));  // code points, not UTF-16 units
  EXPECT_LT(OdString(L"ab"), OdString(L"abc"));
  EXPECT_GT(OdString(L"abc").compare(L"ab"), 0);
  EXPECT_EQ(OdString(), static_cast<const wchar_t*>(nullptr));
  EXPECT_GT(OdString(L"x").compare(static_cast<const wchar_t*>(nullptr)), 0);
  EXPECT_TRUE(L"x" == OdString(L"x"));
  EXPECT_TRUE(L"w" < OdString(L"x"));
}

TEST(OdStringCompare, CaseInsensitiveOverUnicodeWithSimpleFolding) {
  struct Case {
    OdString a;
    OdString b;
    int sign;
  };
  const Case cases[] = {
      {L"Hello", L"hELLO", 0}, {L"apple", L"BANANA", -1}, {L"abc", L"ABCD", -1}, {L"ABCD", L"abc", 1},
      {L"\u00C9T\u00C9", L"\u00E9t\u00E9", 0}, {L"\u041F\u0420\u0418", L"\u043F\u0440\u0438", 0},
      {L"\u039F\u03A3", L"\u03BF\u03C2", 0}, {L"\u03C3", L"\u03C2", 0},  // final, small and capital sigma
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

TEST(OdStringFind, CharactersSubstringsAndStartPositions) {
  const OdString s(L"abcabc");
  // An empty needle is found where the search starts, up to the end.
  const std::pair<int, int> cases[] = {
      {s.find(L'b'), 1},        {s.find(L'b', 2), 4},      {s.find(L'b', 5), -1},       {s.find(L'a', -7), 0},
      {s.find(L'a', 6), -1},    {s.find(L'a', INT_MAX), -1}, {s.reverseFind(L'a'), 3},  {s.reverseFind(L'z'), -1},
      {OdString().reverseFind(L'a'), -1}, {s.find(L"bc", 2), 4}, {s.find(L"abcabcd"), -1}, {s.find(L"c", -3), 2},
      {s.find(L"", 6), 6},      {s.find(L"", 7), -1},      {s.find(static_cast<const wchar_t*>(nullptr), 2), 2}};
  for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
}

TEST(OdStringExtract, ArgumentsAreClamped) {
  const OdString s(L"hello");
  // mid(-2, 3): the count is not shortened by a negative start.
  const std::pair<OdString, const wchar_t*> cases[] = {
      {s.left(2), L"he"},      {s.left(-1), L""},         {s.left(INT_MAX), L"hello"}, {s.right(3), L"llo"},
      {s.right(99), L"hello"}, {s.right(INT_MIN), L""},   {s.mid(-3), L"hello"},       {s.mid(5), L""},
      {s.mid(99), L""},        {s.mid(1, 3), L"ell"},     {s.mid(3, 99), L"lo"},       {s.mid(1, -1), L""},
      {s.mid(-2, 3), L"hel"},  {s.mid(INT_MAX, INT_MAX), L""}, {s.mid(2, INT_MAX), L"llo"}};
  for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
}

TEST(OdStringEdit, ReplaceCountsNonOverlappingMatches) {
  OdString s(L"aaa");
  EXPECT_EQ(s.replace(L"aa", L"aaa"), 1);  // the replacement is not scanned again
  EXPECT_EQ(s, L"aaaa");
  EXPECT_EQ(s.replace(L"aa", L"b"), 2);
  EXPECT_EQ(s, L"bb");
  OdString none(L"abc");
  EXPECT_EQ(none.replace(L"", L"x"), 0);
  EXPECT_EQ(none.replace(nullptr, L"x"), 0);
  EXPECT_EQ(none.replace(L"zz", L"x"), 0);
  EXPECT_EQ(none.replace(L"b", nullptr), 1);
  EXPECT_EQ(none, L"ac");
  OdString self(L"xy");  // arguments pointing into the string itself
  EXPECT_EQ(self.replace(L"x", self.c_str()), 1);
  EXPECT_EQ(self, L"xyy");
  OdString path(L"a/b/c");
  EXPECT_EQ(path.replace(L'/', L'\\'), 2);
  EXPECT_EQ(path.remove(L'\\'), 2);
  EXPECT_EQ(path, L"abc");
  // Concatenation with itself, with characters and with null.
  path += path;
  EXPECT_EQ(L'<' + path + L">" + static_cast<const wchar_t*>(nullptr), L"<abcabc>");
}

TEST(OdStringEdit, InsertAndDeleteClampPositions) {
  OdString s(L"bd");
  EXPECT_EQ(s.insert(1, L'c'), 3);
  EXPECT_EQ(s.insert(-5, L'a'), 4);
  EXPECT_EQ(s.insert(99, L"ef"), 6);
  EXPECT_EQ(s, L"abcdef");
  OdString d(L"abcdef");
  EXPECT_EQ(d.deleteChars(1), 5);
  EXPECT_EQ(d.deleteChars(3, 99), 3);
  EXPECT_EQ(d, L"acd");
  EXPECT_EQ(d.deleteChars(5, 1), 3);
  EXPECT_EQ(d.deleteChars(0, INT_MAX), 0);
}

TEST(OdStringEdit, Trimming) {
  OdString s(L" \t\n\u3000 text \u00A0\r\n");
  EXPECT_EQ(s.trimLeft(), L"text \u00A0\r\n");
  EXPECT_EQ(s.trimRight(), L"text");
  OdString zeros(L"0012.500");
  EXPECT_EQ(zeros.trimLeft(L'0').trimRight(L'0'), L"12.5");
  OdString quoted(L"\"'x'\"");
  EXPECT_EQ(quoted.trimLeft(L"'\"").trimRight(L"\"'"), L"x");
  OdString untouched(L"  x  ");
  EXPECT_EQ(untouched.trimLeft(static_cast<const wchar_t*>(nullptr)).trimRight(L""), L"  x  ");
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
  EXPECT_EQ(formatted(L"%0500d%0500d%0500d", 1, 2, 3), std::wstring(499, L'0') + L"1" + std::wstring(499, L'0') +
                                                           L"2" + std::wstring(499, L'0') + L"3");
  EXPECT_TRUE(OdString(L"x").format(nullptr).isEmpty());
  EXPECT_TRUE(OdString(L"x").format(L"").isEmpty());
}

