#include "OdAnsiString.h"
#include "OdString.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>
#include <wx/string.h>

#include <climits>
#include <cstdarg>
#include <map>
#include <string>
#include <unordered_map>

namespace {

// Code points spelled out so that no source-encoding question arises.
constexpr wchar_t kGrinning = 0x1F600;      // astral, UTF-16 D83D DE00
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

}  // namespace

TEST(OdStringConstruct, NullAndLengthLimitedInput) {
  EXPECT_TRUE(OdString(static_cast<const wchar_t*>(nullptr)).isEmpty());
  EXPECT_TRUE(OdString(static_cast<const char*>(nullptr)).isEmpty());
  EXPECT_TRUE(OdString(nullptr, 5).isEmpty());
  EXPECT_TRUE(OdString(L"abc", -1).isEmpty());
  EXPECT_EQ(OdString(L"abcdef", 3), L"abc");
  // A terminator before the limit ends the string there.
  EXPECT_EQ(OdString(L"ab\0cd", 5).getLength(), 2);
  // The limit is respected even without a terminator in range.
  const wchar_t unterminated[3] = {L'x', L'y', L'z'};
  EXPECT_EQ(OdString(unterminated, 2), L"xy");
  EXPECT_EQ(OdString(L'-', 3), L"---");
  EXPECT_TRUE(OdString(L'-', 0).isEmpty());
  EXPECT_TRUE(OdString(L'-', -4).isEmpty());
  EXPECT_EQ(OdString(std::wstring(L"std")), L"std");
}

TEST(OdStringAccess, OutOfRangeIndicesGiveNull) {
  const OdString s(L"ab");
  EXPECT_EQ(s.getAt(0), L'a');
  EXPECT_EQ(s[1], L'b');
  EXPECT_EQ(s.getAt(2), L'\0');
  EXPECT_EQ(s.getAt(-1), L'\0');
  EXPECT_EQ(s[INT_MAX], L'\0');
  EXPECT_EQ(s.length(), 2);
  EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(s)), L"ab");
}

TEST(OdStringUtf8, RoundTripIncludingAstral) {
  const std::string utf8 = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // A, e-acute, euro, grinning face
  const OdString s = OdString::fromUtf8(utf8);
  ASSERT_EQ(s.getLength(), 4);
  EXPECT_EQ(s[1], wchar_t{0xE9});
  EXPECT_EQ(s[2], wchar_t{0x20AC});
  EXPECT_EQ(s[3], kGrinning);
  EXPECT_EQ(s.toUtf8(), utf8);
  EXPECT_EQ(OdString(utf8.c_str()), s);
}

TEST(OdStringUtf8, IllFormedInputBecomesReplacementCharacters) {
  // Truncated two-byte sequence at the end.
  EXPECT_EQ(OdString::fromUtf8("a\xC3"), (OdString(L"a") + kReplacement));
  // Truncated three-byte sequence followed by ASCII: one replacement for the
  // maximal valid prefix, the ASCII survives.
  EXPECT_EQ(OdString::fromUtf8("\xE2\x82" "A"), (OdString(kReplacement) + L'A'));
  // Overlong encoding: neither byte can start or continue anything.
  EXPECT_EQ(OdString::fromUtf8("\xC0\xAF"), OdString(kReplacement, 2));
  // An encoded surrogate is not UTF-8.
  EXPECT_EQ(OdString::fromUtf8("\xED\xA0\x80"), OdString(kReplacement, 3));
  // A stray continuation byte and a byte that never occurs in UTF-8.
  EXPECT_EQ(OdString::fromUtf8("\x80x\xFF"), (OdString(kReplacement) + L'x' + kReplacement));
}

TEST(OdStringUtf8, EmbeddedNullsAndUnencodableUnits) {
  const OdString withNull = OdString::fromUtf8(std::string_view("a\0b", 3));
  ASSERT_EQ(withNull.getLength(), 3);
  EXPECT_EQ(withNull[1], L'\0');
  EXPECT_EQ(withNull.toUtf8(), std::string("a\0b", 3));
  // Surrogate values and values beyond U+10FFFF have no UTF-8 form.
  OdString bad(static_cast<wchar_t>(0xD800));
  bad += static_cast<wchar_t>(0x110000);
  bad += static_cast<wchar_t>(-1);
  EXPECT_EQ(bad.toUtf8(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_TRUE(OdString::fromUtf8("").isEmpty());
}

TEST(OdStringUtf16, SurrogatePairs) {
  const OdString s = OdString(L'x') + kGrinning + kDeseretCapital;
  const std::u16string utf16 = s.toUtf16();
  EXPECT_EQ(utf16, (std::u16string{u'x', 0xD83D, 0xDE00, 0xD801, 0xDC00}));
  EXPECT_EQ(OdString::fromUtf16(utf16), s);
}

TEST(OdStringUtf16, LoneSurrogatesBecomeReplacementCharacters) {
  // High surrogate at the end, low surrogate alone, high followed by a
  // non-surrogate, and a pair in the wrong order.
  EXPECT_EQ(OdString::fromUtf16(std::u16string{u'a', 0xD83D}), (OdString(L"a") + kReplacement));
  EXPECT_EQ(OdString::fromUtf16(std::u16string{0xDE00, u'b'}), (OdString(kReplacement) + L'b'));
  EXPECT_EQ(OdString::fromUtf16(std::u16string{0xD83D, u'c'}), (OdString(kReplacement) + L'c'));
  EXPECT_EQ(OdString::fromUtf16(std::u16string{0xDE00, 0xD83D}), OdString(kReplacement, 2));
  // Units that are not scalar values are not written as raw surrogates.
  OdString bad(static_cast<wchar_t>(0xDC00));
  bad += static_cast<wchar_t>(0x110000);
  EXPECT_EQ(bad.toUtf16(), (std::u16string{0xFFFD, 0xFFFD}));
  EXPECT_EQ(OdString::fromUtf16(std::u16string(3, u'\0')).getLength(), 3);
}

TEST(OdStringWx, ConversionsBothWays) {
  const wxString wx(std::wstring(L"Stra\u00DFe ") + kGrinning);
  const OdString fromWx = wx;  // implicit
  EXPECT_EQ(fromWx.getLength(), 8);
  EXPECT_EQ(fromWx[7], kGrinning);
  EXPECT_EQ(fromWx.toWxString(), wx);
  EXPECT_TRUE(OdString(wxString()).isEmpty());
  const auto takesOdString = [](const OdString& s) { return s.getLength(); };
  EXPECT_EQ(takesOdString(wxString(L"four")), 4);
}

TEST(OdStringCompare, CodeUnitOrder) {
  const OdString a(L"a");
  EXPECT_LT(OdString(L"Z"), a);  // upper case sorts before lower case
  EXPECT_LT(OdString(L"z"), OdString(L"\u00E9"));
  EXPECT_LT(OdString(L"\uFFFF"), OdString(kGrinning));  // code points, not UTF-16 units
  EXPECT_LT(OdString(L"ab"), OdString(L"abc"));
  EXPECT_GT(OdString(L"abc").compare(L"ab"), 0);
  EXPECT_EQ(OdString(L"abc").compare(OdString(L"abc")), 0);
  EXPECT_EQ(OdString(), static_cast<const wchar_t*>(nullptr));
  EXPECT_GT(OdString(L"x").compare(static_cast<const wchar_t*>(nullptr)), 0);
  EXPECT_TRUE(OdString(L"x") == L"x");
  EXPECT_TRUE(L"x" == OdString(L"x"));
  EXPECT_TRUE(OdString(L"x") != L"y");
  EXPECT_TRUE(L"w" < OdString(L"x"));

  std::map<OdString, int> ordered{{L"b", 2}, {L"B", 1}, {L"a", 3}};
  std::wstring keys;
  for (const auto& [key, value] : ordered) keys += key.c_str();
  EXPECT_EQ(keys, L"Bab");
}

TEST(OdStringCompare, CaseInsensitiveOverUnicode) {
  EXPECT_EQ(OdString(L"Hello").iCompare(L"hELLO"), 0);
  // Case-insensitive order differs from code-unit order here.
  EXPECT_GT(OdString(L"apple").compare(L"BANANA"), 0);
  EXPECT_LT(OdString(L"apple").iCompare(L"BANANA"), 0);
  EXPECT_LT(OdString(L"abc").iCompare(L"ABCD"), 0);
  EXPECT_GT(OdString(L"ABCD").iCompare(L"abc"), 0);
  EXPECT_EQ(OdString(L"\u00C9T\u00C9").iCompare(L"\u00E9t\u00E9"), 0);          // Latin-1
  EXPECT_EQ(OdString(L"\u041F\u0420\u0418").iCompare(L"\u043F\u0440\u0438"), 0);  // Cyrillic
  // Final sigma, small sigma and capital sigma fold alike.
  EXPECT_EQ(OdString(L"\u039F\u03A3").iCompare(L"\u03BF\u03C2"), 0);
  EXPECT_EQ(OdString(L"\u03C3").iCompare(L"\u03C2"), 0);
  EXPECT_EQ(OdString(kDeseretCapital).iCompare(OdString(kDeseretSmall)), 0);
  // Simple folding maps one code point to one: sharp s is not "ss".
  EXPECT_NE(OdString(L"\u00DF").iCompare(L"ss"), 0);
  EXPECT_NE(OdString(L"e").iCompare(L"\u00E9"), 0);
  EXPECT_EQ(OdString().iCompare(static_cast<const wchar_t*>(nullptr)), 0);
  // Units outside Unicode are compared as they are, without crashing.
  EXPECT_NE(OdString(static_cast<wchar_t>(-5)).iCompare(L"a"), 0);
}

TEST(OdStringFind, CharactersAndStartPositions) {
  const OdString s(L"abcabc");
  EXPECT_EQ(s.find(L'b'), 1);
  EXPECT_EQ(s.find(L'b', 2), 4);
  EXPECT_EQ(s.find(L'b', 5), -1);
  EXPECT_EQ(s.find(L'a', -7), 0);
  EXPECT_EQ(s.find(L'a', 6), -1);
  EXPECT_EQ(s.find(L'a', INT_MAX), -1);
  EXPECT_EQ(s.find(L'z'), -1);
  EXPECT_EQ(s.reverseFind(L'a'), 3);
  EXPECT_EQ(s.reverseFind(L'z'), -1);
  EXPECT_EQ(OdString().reverseFind(L'a'), -1);
  EXPECT_EQ(OdString().find(L'a'), -1);
}

TEST(OdStringFind, SubstringsAndSets) {
  const OdString s(L"abcabc");
  EXPECT_EQ(s.find(L"ca"), 2);
  EXPECT_EQ(s.find(L"bc", 2), 4);
  EXPECT_EQ(s.find(L"abcabcd"), -1);
  EXPECT_EQ(s.find(L"c", -3), 2);
  // An empty needle is found where the search starts, up to the end.
  EXPECT_EQ(s.find(L""), 0);
  EXPECT_EQ(s.find(L"", 6), 6);
  EXPECT_EQ(s.find(L"", 7), -1);
  EXPECT_EQ(s.find(static_cast<const wchar_t*>(nullptr), 2), 2);
  EXPECT_EQ(s.findOneOf(L"xyc"), 2);
  EXPECT_EQ(s.findOneOf(L"xyz"), -1);
  EXPECT_EQ(s.findOneOf(L""), -1);
  EXPECT_EQ(s.findOneOf(nullptr), -1);
}

TEST(OdStringExtract, ArgumentsAreClamped) {
  const OdString s(L"hello");
  EXPECT_EQ(s.left(2), L"he");
  EXPECT_EQ(s.left(0), L"");
  EXPECT_EQ(s.left(-1), L"");
  EXPECT_EQ(s.left(99), L"hello");
  EXPECT_EQ(s.left(INT_MAX), L"hello");
  EXPECT_EQ(s.right(3), L"llo");
  EXPECT_EQ(s.right(-3), L"");
  EXPECT_EQ(s.right(99), L"hello");
  EXPECT_EQ(s.right(INT_MIN), L"");
  EXPECT_EQ(s.mid(1), L"ello");
  EXPECT_EQ(s.mid(-3), L"hello");
  EXPECT_EQ(s.mid(5), L"");
  EXPECT_EQ(s.mid(99), L"");
  EXPECT_EQ(s.mid(1, 3), L"ell");
  EXPECT_EQ(s.mid(3, 99), L"lo");
  EXPECT_EQ(s.mid(1, -1), L"");
  EXPECT_EQ(s.mid(-2, 3), L"hel");  // the count is not shortened by a negative start
  EXPECT_EQ(s.mid(INT_MAX, INT_MAX), L"");
  EXPECT_EQ(s.mid(2, INT_MAX), L"llo");
  EXPECT_EQ(OdString().mid(0, 1), L"");
}

TEST(OdStringEdit, ReplaceCountsNonOverlappingMatches) {
  OdString s(L"aaaa");
  EXPECT_EQ(s.replace(L"aa", L"b"), 2);
  EXPECT_EQ(s, L"bb");
  OdString odd(L"aaa");
  EXPECT_EQ(odd.replace(L"aa", L"aaa"), 1);  // the replacement is not scanned again
  EXPECT_EQ(odd, L"aaaa");
  OdString none(L"abc");
  EXPECT_EQ(none.replace(L"", L"x"), 0);
  EXPECT_EQ(none.replace(nullptr, L"x"), 0);
  EXPECT_EQ(none.replace(L"zz", L"x"), 0);
  EXPECT_EQ(none, L"abc");
  EXPECT_EQ(none.replace(L"b", nullptr), 1);
  EXPECT_EQ(none, L"ac");
  // Arguments pointing into the string itself.
  OdString self(L"xy");
  EXPECT_EQ(self.replace(L"x", self.c_str()), 1);
  EXPECT_EQ(self, L"xyy");

  OdString path(L"a/b/c");
  EXPECT_EQ(path.replace(L'/', L'\\'), 2);
  EXPECT_EQ(path, L"a\\b\\c");
  EXPECT_EQ(path.replace(L'#', L'-'), 0);
  EXPECT_EQ(path.remove(L'\\'), 2);
  EXPECT_EQ(path, L"abc");
  EXPECT_EQ(path.remove(L'z'), 0);
}

TEST(OdStringEdit, InsertAndDeleteClampPositions) {
  OdString s(L"bd");
  EXPECT_EQ(s.insert(1, L'c'), 3);
  EXPECT_EQ(s.insert(-5, L'a'), 4);
  EXPECT_EQ(s.insert(99, L"ef"), 6);
  EXPECT_EQ(s, L"abcdef");
  EXPECT_EQ(s.insert(0, s.c_str()), 12);  // text from the string itself
  EXPECT_EQ(s, L"abcdefabcdef");
  EXPECT_EQ(s.insert(3, static_cast<const wchar_t*>(nullptr)), 12);

  OdString d(L"abcdef");
  EXPECT_EQ(d.deleteChars(1), 5);
  EXPECT_EQ(d, L"acdef");
  EXPECT_EQ(d.deleteChars(3, 99), 3);
  EXPECT_EQ(d, L"acd");
  EXPECT_EQ(d.deleteChars(-4, 1), 2);
  EXPECT_EQ(d, L"cd");
  EXPECT_EQ(d.deleteChars(5, 1), 2);
  EXPECT_EQ(d.deleteChars(0, 0), 2);
  EXPECT_EQ(d.deleteChars(0, -3), 2);
  EXPECT_EQ(d.deleteChars(0, INT_MAX), 0);
}

TEST(OdStringEdit, Trimming) {
  OdString s(L" \t\n\u3000 text \u00A0\r\n");
  EXPECT_EQ(s.trimLeft(), L"text \u00A0\r\n");
  EXPECT_EQ(s.trimRight(), L"text");
  OdString blank(L" \t ");
  EXPECT_TRUE(blank.trimRight().isEmpty());
  OdString zeros(L"0012.500");
  EXPECT_EQ(zeros.trimLeft(L'0').trimRight(L'0'), L"12.5");
  OdString quoted(L"\"'x'\"");
  EXPECT_EQ(quoted.trimLeft(L"'\"").trimRight(L"\"'"), L"x");
  OdString untouched(L"  x  ");
  EXPECT_EQ(untouched.trimLeft(static_cast<const wchar_t*>(nullptr)), L"  x  ");
  EXPECT_EQ(untouched.trimRight(L""), L"  x  ");
  EXPECT_EQ(untouched.trimLeft(L'y'), L"  x  ");
}

TEST(OdStringEdit, CaseMappingIsUnicodeAndKeepsLength) {
  OdString s(L"abc \u00E9\u00DF\u03C3\u03C2 \u043F");
  s += kDeseretSmall;
  s.makeUpper();
  OdString expected(L"ABC \u00C9\u00DF\u03A3\u03A3 \u041F");  // sharp s has no single-unit capital
  expected += kDeseretCapital;
  EXPECT_EQ(s, expected);
  s.makeLower();
  OdString lower(L"abc \u00E9\u00DF\u03C3\u03C3 \u043F");
  lower += kDeseretSmall;
  EXPECT_EQ(s, lower);
  OdString invalid(static_cast<wchar_t>(0x7FFFFFFF));
  EXPECT_EQ(invalid.makeUpper()[0], static_cast<wchar_t>(0x7FFFFFFF));
}

TEST(OdStringFormat, WideAndNarrowStringArguments) {
  const std::wstring nonAscii = std::wstring(L"\u00E9\u20AC") + kGrinning;
  // Bare %s and %c take wide arguments, like %ls and %lc.
  EXPECT_EQ(formatted(L"[%s|%ls]", nonAscii.c_str(), L"x"), L"[" + nonAscii + L"|x]");
  EXPECT_EQ(formatted(L"%c%lc", L'\u00E9', kGrinning), std::wstring(L"\u00E9") + kGrinning);
  // %hs and %hc take narrow ones.
  EXPECT_EQ(formatted(L"%hs-%hc", "narrow", 'c'), L"narrow-c");
  EXPECT_EQ(formatted(L"%d %u %x %ld %lld", -42, 7u, 255u, 123456789L, -1LL), L"-42 7 ff 123456789 -1");
  EXPECT_EQ(formatted(L"%5d|%-5s|%.2s|%05.1f", 42, L"ab", L"xyz", 3.14159), L"   42|ab   |xy|003.1");
  EXPECT_EQ(formatted(L"%*d|%-*s|", 4, 7, 3, L"z"), L"   7|z  |");
  EXPECT_EQ(formatted(L"%2$s %1$s", L"world", L"hello"), L"hello world");
  EXPECT_EQ(formatted(L"100%% %g", 0.5), L"100% 0.5");
  EXPECT_EQ(formatted(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
  EXPECT_EQ(formatted(L"trailing %"), L"trailing %");
}

TEST(OdStringFormat, LongOutputAndReuse) {
  const std::wstring big(3000, L'q');
  OdString s(L"old content");
  s.format(L"<%s>%d", big.c_str(), 5);
  EXPECT_EQ(s.getLength(), 3003);
  EXPECT_EQ(s.left(2), L"<q");
  EXPECT_EQ(s.right(3), L"q>5");
  // Many small conversions adding up to more than 1 KB.
  OdString numbers;
  numbers.format(L"%0500d%0500d%0500d", 1, 2, 3);
  EXPECT_EQ(numbers.getLength(), 1500);
  EXPECT_EQ(numbers[499], L'1');
  EXPECT_EQ(numbers[1499], L'3');
  EXPECT_TRUE(OdString(L"x").format(nullptr).isEmpty());
  EXPECT_TRUE(OdString(L"x").format(L"").isEmpty());
}

TEST(OdStringConcat, OperatorsAndSelfAppend) {
  const OdString a(L"ab");
  EXPECT_EQ(L"<" + a + L'>' + OdString(L"!"), L"<ab>!");
  EXPECT_EQ(L'!' + a + static_cast<const wchar_t*>(nullptr), L"!ab");
  OdString s(L"ab-");
  s += s;
  EXPECT_EQ(s, L"ab-ab-");
}

TEST(OdStringHash, KeysUnorderedMaps) {
  std::unordered_map<OdString, int> map;
  map[OdString(L"key")] = 1;
  map[OdString(L"KEY")] = 2;
  map[OdString::fromUtf8("key")] += 10;
  EXPECT_EQ(map.size(), 2u);
  EXPECT_EQ(map.at(L"key"), 11);
  EXPECT_EQ(std::hash<OdString>{}(OdString(L"same")), std::hash<OdString>{}(OdString(std::wstring(L"same"))));
}

TEST(OdAnsiString, BasicsAndComparison) {
  EXPECT_TRUE(OdAnsiString(static_cast<const char*>(nullptr)).isEmpty());
  EXPECT_EQ(OdAnsiString("abcdef", 2), "ab");
  EXPECT_EQ(OdAnsiString("ab\0cd", 5).getLength(), 2);
  const OdAnsiString s("abc");
  EXPECT_EQ(s.getLength(), 3);
  EXPECT_EQ(s.length(), 3);
  EXPECT_EQ(s[2], 'c');
  EXPECT_EQ(s.getAt(3), '\0');
  EXPECT_EQ(s.getAt(-1), '\0');
  EXPECT_STREQ(s.c_str(), "abc");
  // Bytes compare as unsigned: a UTF-8 lead byte sorts after ASCII.
  EXPECT_LT(OdAnsiString("z"), OdAnsiString("\xC3\xA9"));
  EXPECT_LT(OdAnsiString("ab"), "abc");
  EXPECT_GT(s.compare(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(s + "d", "abcd");
  EXPECT_EQ("0" + s, "0abc");
  EXPECT_EQ(s + OdAnsiString("!") + '?', "abc!?");
  OdAnsiString t;
  t += s;
  t += t;
  EXPECT_EQ(t, "abcabc");
}

TEST(OdAnsiString, Format) {
  OdAnsiString s("previous");
  s.format("%s\n%s\n%s", "user", "machine", "Monday");
  EXPECT_EQ(s, "user\nmachine\nMonday");
  EXPECT_EQ(OdAnsiString().format("%-4d|%x|%.3f", 12, 255u, 1.0), "12  |ff|1.000");
  const std::string big(2000, 'b');
  EXPECT_EQ(OdAnsiString().format("%s%s", big.c_str(), big.c_str()).getLength(), 4000);
}

TEST(OdAnsiString, Utf8ConversionWithOdString) {
  const OdString wide = OdString(L"Gr\u00FC\u00DFe ") + kGrinning;
  const OdAnsiString narrow(wide);
  EXPECT_EQ(std::string(narrow.c_str()), "Gr\xC3\xBC\xC3\x9F" "e \xF0\x9F\x98\x80");
  EXPECT_EQ(OdString(narrow), wide);
  EXPECT_EQ(OdString(OdAnsiString("\xFF")), OdString(kReplacement));
}
