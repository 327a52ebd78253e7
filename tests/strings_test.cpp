#include <gtest/gtest.h>

#include <ut/ut_strings.h>

#include <climits>
#include <string>
#include <vector>

using namespace ut;

namespace {

std::vector<std::wstring> contents(const OdArray<OdString>& a) {
  std::vector<std::wstring> out;
  for (const auto& s : a) out.emplace_back(s.c_str());
  return out;
}

// A buffer of `capacity` characters plus terminator, followed by a guard
// character, so that writes past the promised size show up.
struct Buffer {
  explicit Buffer(const std::wstring& text, std::size_t capacity = 64) : data(capacity + 2, L'#') {
    std::copy(text.begin(), text.end(), data.begin());
    data[text.size()] = L'\0';
  }
  wchar_t* get() { return data.data(); }
  std::wstring str() const { return std::wstring(data.data()); }
  std::vector<wchar_t> data;
};

}  // namespace

// --- number tests ---------------------------------------------------------------

TEST(IsNumber, IntegerWithValue) {
  long value = -1;
  EXPECT_TRUE(isNumber(L" 42 ", &value));
  EXPECT_EQ(value, 42);
  value = -1;
  EXPECT_FALSE(isNumber(L"42x", &value));
  EXPECT_EQ(value, 42);  // stored even when the answer is false
  value = -1;
  EXPECT_FALSE(isNumber(L"x", &value));
  EXPECT_EQ(value, 0);
  EXPECT_TRUE(isNumber(L"-17\t\n", &value));
  EXPECT_EQ(value, -17);
  EXPECT_TRUE(isNumber(L"+5", &value));
  EXPECT_EQ(value, 5);
  EXPECT_FALSE(isNumber(L"", &value));
  EXPECT_FALSE(isNumber(L"   ", &value));
  EXPECT_FALSE(isNumber(L"1 2", &value));
  EXPECT_FALSE(isNumber(L"0x10", &value));  // base 10 only
  EXPECT_EQ(value, 0);
  value = 99;
  EXPECT_FALSE(isNumber(nullptr, &value));
  EXPECT_EQ(value, 99);  // untouched for a null text
  EXPECT_TRUE(isNumber(L"12", static_cast<long*>(nullptr)));
}

TEST(IsNumber, SixtyFourBitAndClamping) {
  long long big = 0;
  EXPECT_TRUE(isNumber(L"9007199254740993", &big));
  EXPECT_EQ(big, 9007199254740993LL);
  EXPECT_TRUE(isNumber(L"-9223372036854775808", &big));
  EXPECT_EQ(big, LLONG_MIN);
  // Out of range: clamped as the C library clamps, still a number.
  EXPECT_TRUE(isNumber(L"99999999999999999999999", &big));
  EXPECT_EQ(big, LLONG_MAX);
  EXPECT_FALSE(isNumber(L"12.5", &big));
  EXPECT_EQ(big, 12);
  EXPECT_FALSE(isNumber(nullptr, &big));
}

TEST(IsNumber, FloatingPointFallback) {
  EXPECT_TRUE(isNumber(L"1.5"));
  EXPECT_FALSE(isInteger(L"1.5"));
  EXPECT_TRUE(isNumber(L" -2.5e3 "));
  EXPECT_TRUE(isNumber(L".5"));
  EXPECT_TRUE(isNumber(L"7"));
  EXPECT_TRUE(isInteger(L" 7 "));
  EXPECT_FALSE(isNumber(L"1.5.2"));
  EXPECT_FALSE(isNumber(L"abc"));
  EXPECT_FALSE(isNumber(L"."));
  EXPECT_FALSE(isNumber(L""));
  EXPECT_FALSE(isNumber(nullptr));
  EXPECT_FALSE(isInteger(nullptr));
  EXPECT_FALSE(isInteger(L""));
  EXPECT_FALSE(isInteger(L"1e3"));
}

TEST(CharacterClassTests, Ascii) {
  EXPECT_TRUE(isASCII(L""));
  EXPECT_TRUE(isASCII(L"plain text ~\x7f"));
  EXPECT_FALSE(isASCII(L"caf\u00e9"));
  EXPECT_FALSE(isASCII(L"\x80"));
  EXPECT_FALSE(isASCII(nullptr));
}

TEST(CharacterClassTests, HandleStrings) {
  EXPECT_TRUE(isValidHandleString(L"   "));
  EXPECT_FALSE(isValidHandleString(L"1F "));
  EXPECT_TRUE(isValidHandleString(L" 1f"));
  EXPECT_TRUE(isValidHandleString(L"0123456789ABCDEFabcdef"));
  EXPECT_FALSE(isValidHandleString(L"1G"));
  EXPECT_FALSE(isValidHandleString(L"\t1F"));  // only blanks are skipped
  EXPECT_FALSE(isValidHandleString(L"1 F"));
  EXPECT_FALSE(isValidHandleString(L"\uFF11"));  // full-width digit
  EXPECT_FALSE(isValidHandleString(L""));
  EXPECT_FALSE(isValidHandleString(nullptr));
}

TEST(CharacterClassTests, Wildcards) {
  EXPECT_TRUE(hasWildcard(L"a.b"));
  for (const wchar_t* w : {L"*", L"?", L",", L".", L"#", L"@", L"`", L"[", L"~"}) {
    EXPECT_TRUE(hasWildcard((std::wstring(L"name") + w + L"x").c_str())) << static_cast<char>(*w);
  }
  EXPECT_FALSE(hasWildcard(L"plain name_1-2]"));
  EXPECT_FALSE(hasWildcard(L""));
  EXPECT_FALSE(hasWildcard(nullptr));
}

// --- raw buffer edits -----------------------------------------------------------------

TEST(RawBuffers, ReplaceSymbol) {
  Buffer b(L"a/b/c");
  replaceSymbol(b.get(), L'/', L'\\');
  EXPECT_EQ(b.str(), L"a\\b\\c");
  replaceSymbol(b.get(), L'x', L'y');
  EXPECT_EQ(b.str(), L"a\\b\\c");
  replaceSymbol(nullptr, L'a', L'b');
}

TEST(RawBuffers, FindEndingQuote) {
  const wchar_t text[] = L"ab\\\"c\"d";
  const wchar_t* q = findEndingQuote(text);
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(q - text, 5);
  const wchar_t first[] = L"\"x";
  EXPECT_EQ(findEndingQuote(first), first);
  EXPECT_EQ(findEndingQuote(L"no quote"), nullptr);
  EXPECT_EQ(findEndingQuote(L"escaped \\\" only"), nullptr);
  // A backslash before the terminator escapes nothing and does not read on.
  const wchar_t trailing[] = {L'a', L'\\', L'\0', L'"', L'\0'};
  EXPECT_EQ(findEndingQuote(trailing), nullptr);
  // An escaped backslash leaves the quote after it unescaped.
  const wchar_t doubled[] = L"a\\\\\"b";
  EXPECT_EQ(findEndingQuote(doubled), doubled + 3);
  EXPECT_EQ(findEndingQuote(static_cast<const wchar_t*>(nullptr)), nullptr);
  Buffer mutableText(L"x\"y");
  wchar_t* writable = findEndingQuote(mutableText.get());
  ASSERT_NE(writable, nullptr);
  *writable = L'\'';
  EXPECT_EQ(mutableText.str(), L"x'y");
}

TEST(RawBuffers, FindSubstringNoCase) {
  const wchar_t text[] = L"Hello World";
  EXPECT_EQ(findSubstringNoCase(text, L"WORLD"), text + 6);
  EXPECT_EQ(findSubstringNoCase(text, L"lo w"), text + 3);
  EXPECT_EQ(findSubstringNoCase(text, L""), text);
  EXPECT_EQ(findSubstringNoCase(text, L"worlds"), nullptr);
  EXPECT_EQ(findSubstringNoCase(static_cast<const wchar_t*>(nullptr), L"a"), nullptr);
  EXPECT_EQ(findSubstringNoCase(text, nullptr), nullptr);
  // Non-ASCII letters fold too, and offsets stay those of the original.
  const wchar_t greek[] = L"x\u0391\u0392\u0393";
  EXPECT_EQ(findSubstringNoCase(greek, L"\u03b2\u03b3"), greek + 2);
  const wchar_t german[] = L"GR\u00dcN gr\u00fcn";
  EXPECT_EQ(findSubstringNoCase(german, L"gr\u00fcn"), german);
}

TEST(RawBuffers, PadAtLeftSide) {
  Buffer b(L"42", 6);
  padAtLeftSide(b.get(), 6);
  EXPECT_EQ(b.str(), L"    42");
  padAtLeftSide(b.get(), 4);  // already longer
  EXPECT_EQ(b.str(), L"    42");
  Buffer exact(L"abc", 3);
  padAtLeftSide(exact.get(), 3);
  EXPECT_EQ(exact.str(), L"abc");
  EXPECT_EQ(exact.data[4], L'#');
  Buffer empty(L"", 2);
  padAtLeftSide(empty.get(), 2);
  EXPECT_EQ(empty.str(), L"  ");
  padAtLeftSide(empty.get(), -3);
  EXPECT_EQ(empty.str(), L"  ");
  padAtLeftSide(nullptr, 5);
}

TEST(RawBuffers, PadAtRightSide) {
  Buffer b(L"ab", 5);
  padAtRightSide(b.get(), 5);
  EXPECT_EQ(b.str(), L"ab   ");
  EXPECT_EQ(b.data[5], L'\0');
  Buffer longer(L"abcdef", 8);
  padAtRightSide(longer.get(), 3);
  EXPECT_EQ(longer.str(), L"abcdef");
  EXPECT_EQ(longer.data[7], L'#');  // nothing written past the text
  Buffer zero(L"", 1);
  padAtRightSide(zero.get(), 0);
  EXPECT_EQ(zero.str(), L"");
  padAtRightSide(nullptr, 4);
}

TEST(RawBuffers, TrimQuotes) {
  Buffer b(L"\"quoted\"");
  wchar_t* inner = trimQuotes(b.get());
  EXPECT_EQ(std::wstring(inner), L"quoted");
  EXPECT_EQ(inner, b.get() + 1);
  Buffer pair(L"\"\"");
  EXPECT_EQ(std::wstring(trimQuotes(pair.get())), L"");
  Buffer single(L"\"");
  EXPECT_EQ(trimQuotes(single.get()), single.get());
  EXPECT_EQ(single.str(), L"\"");
  Buffer open(L"\"open");
  EXPECT_EQ(trimQuotes(open.get()), open.get());
  EXPECT_EQ(open.str(), L"\"open");
  EXPECT_EQ(trimQuotes(static_cast<wchar_t*>(nullptr)), nullptr);
}

TEST(RawBuffers, TruncateWithDots) {
  Buffer b(L"abcdefghij");
  truncateWithDots(b.get(), 7, L"b");
  EXPECT_EQ(b.str(), L"...ghij");
  Buffer e(L"abcdefghij");
  truncateWithDots(e.get(), 7, L"e");
  EXPECT_EQ(e.str(), L"abcd...");
  Buffer upper(L"abcdefghij");
  truncateWithDots(upper.get(), 4, L"End");
  EXPECT_EQ(upper.str(), L"a...");
  for (const wchar_t* mode : {L"b", L"e"}) {
    Buffer tooShortLimit(L"abcdefghij");
    truncateWithDots(tooShortLimit.get(), 3, mode);
    EXPECT_EQ(tooShortLimit.str(), L"abcdefghij");
    Buffer fits(L"abcdefg");
    truncateWithDots(fits.get(), 7, mode);
    EXPECT_EQ(fits.str(), L"abcdefg");
  }
  Buffer other(L"abcdefghij");
  truncateWithDots(other.get(), 5, L"middle");
  EXPECT_EQ(other.str(), L"abcdefghij");
  truncateWithDots(other.get(), 5, L"");
  truncateWithDots(other.get(), 5, nullptr);
  EXPECT_EQ(other.str(), L"abcdefghij");
  truncateWithDots(nullptr, 5, L"b");
}

TEST(RawBuffers, TruncateWithDotsKeepsTwoByteCharactersWhole) {
  // In a UTF-8 locale the bytes C3 A9 form one character: when they would be
  // split by the dots, the dots move one place right.
  const std::string saved = std::setlocale(LC_CTYPE, nullptr);
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) GTEST_SKIP() << "no C.UTF-8 locale";
  Buffer b(L"abcdefg\u00c3\u00a9hij");  // 12 characters
  truncateWithDots(b.get(), 8, L"b");   // excess 4: dots at 4..6, 'g' at 6
  EXPECT_EQ(b.str(), L"...\u00c3\u00a9hij");
  Buffer split(L"abcdef\u00c3\u00a9hij");  // 11 characters, excess 3
  truncateWithDots(split.get(), 8, L"b");  // place 5 is 'f': no pair, normal cut
  EXPECT_EQ(split.str(), L"...\u00c3\u00a9hij");
  Buffer pair(L"abcde\u00c3\u00a9hijk");  // 11 characters, excess 3
  truncateWithDots(pair.get(), 8, L"b");  // place 5 is the lead byte of a pair
  EXPECT_EQ(pair.str(), L"...hijk");
  std::setlocale(LC_CTYPE, "C");
  Buffer plain(L"abcde\u00c3\u00a9hijk");
  truncateWithDots(plain.get(), 8, L"b");  // no multibyte characters in C
  EXPECT_EQ(plain.str(), L"...\u00a9hijk");
  std::setlocale(LC_CTYPE, saved.c_str());
}

TEST(RawBuffers, SafeCopy) {
  Buffer target(L"", 8);
  safe_tcsncpy(target.get(), L"abcdef", 3);
  EXPECT_EQ(target.str(), L"abc");
  EXPECT_EQ(target.data[4], L'#');
  Buffer fresh(L"", 8);
  safe_tcsncpy(fresh.get(), L"xy", 5);
  EXPECT_EQ(fresh.str(), L"xy");
  EXPECT_EQ(fresh.data[3], L'#');  // no padding beyond the terminator
  safe_tcsncpy(target.get(), nullptr, 5);
  EXPECT_EQ(target.str(), L"");
  safe_tcsncpy(target.get(), L"abc", 0);
  EXPECT_EQ(target.str(), L"");
  safe_tcsncpy(nullptr, L"abc", 3);
}

// --- OdString operations -------------------------------------------------------------

TEST(OdStringOps, QuotesAroundStrings) {
  OdString s(L"\"a b\"");
  EXPECT_EQ(trimQuotes(s), OdString(L"a b"));
  OdString one(L"\"");
  EXPECT_EQ(trimQuotes(one), OdString(L"\""));
  OdString half(L"\"a");
  EXPECT_EQ(trimQuotes(half), OdString(L"\"a"));
  OdString empty;
  EXPECT_EQ(wrapInQuotes(empty), OdString());
  OdString a(L"a");
  EXPECT_EQ(wrapInQuotes(a), OdString(L"\"a\""));
  EXPECT_EQ(a.getLength(), 3);
  EXPECT_EQ(trimQuotes(wrapInQuotes(a)), OdString(L"\"a\""));
}

TEST(OdStringOps, TrimTrailingZeros) {
  const auto trimmed = [](const wchar_t* text, wchar_t separator) {
    OdString s(text);
    return std::wstring(trimTrailingZeros(s, separator).c_str());
  };
  EXPECT_EQ(trimmed(L"2.500", L'.'), L"2.5");
  EXPECT_EQ(trimmed(L"3.000", L'.'), L"3");
  EXPECT_EQ(trimmed(L"10", L'.'), L"10");
  EXPECT_EQ(trimmed(L".50", L'.'), L".50");
  EXPECT_EQ(trimmed(L"1,200", L','), L"1,2");
  EXPECT_EQ(trimmed(L"100", L'.'), L"100");
  EXPECT_EQ(trimmed(L"100.", L'.'), L"100");
  EXPECT_EQ(trimmed(L"100.0", L'.'), L"100");
  EXPECT_EQ(trimmed(L"1.2.300", L'.'), L"1.2.3");  // the last separator counts
  EXPECT_EQ(trimmed(L"0.0", L'.'), L"0");
  EXPECT_EQ(trimmed(L".", L'.'), L"");
  EXPECT_EQ(trimmed(L"", L'.'), L"");
  EXPECT_EQ(trimmed(L"1.05", L'.'), L"1.05");
}

TEST(OdStringOps, PrefixAndSuffixIgnoreCase) {
  EXPECT_TRUE(startsWith(L"Hello", L"HE"));
  EXPECT_TRUE(startsWith(L"Hello", L""));
  EXPECT_TRUE(startsWith(L"Hello", L"hello"));
  EXPECT_FALSE(startsWith(L"Hello", L"Helloo"));
  EXPECT_FALSE(startsWith(L"Hello", L"ello"));
  EXPECT_FALSE(startsWith(L"", L"a"));
  EXPECT_TRUE(startsWith(L"\u00c9cole", L"\u00e9c"));
  EXPECT_FALSE(startsWith(L"Ecole", L"\u00e9c"));  // accents are not ignored
  EXPECT_TRUE(endsWith(L"drawing.DWG", L".dwg"));
  EXPECT_TRUE(endsWith(L"abc", L""));
  EXPECT_FALSE(endsWith(L"abc", L"xabc"));
  EXPECT_FALSE(endsWith(L"abc", L"ab"));
}

TEST(OdStringOps, PiecesAroundACharacter) {
  EXPECT_EQ(removeLast(L"abc"), OdString(L"ab"));
  EXPECT_EQ(removeLast(L"a"), OdString());
  EXPECT_EQ(removeLast(OdString()), OdString());
  EXPECT_EQ(beforeFirst(L"key=value=x", L'='), OdString(L"key"));
  EXPECT_EQ(beforeFirst(L"plain", L'='), OdString(L"plain"));
  EXPECT_EQ(beforeFirst(L"=x", L'='), OdString());
  EXPECT_EQ(afterFirst(L"key=value=x", L'='), OdString(L"value=x"));
  EXPECT_EQ(afterFirst(L"plain", L'='), OdString());
  EXPECT_EQ(afterFirst(L"x=", L'='), OdString());
}

TEST(OdStringOps, RemoveSpacesAndEscapeWildcards) {
  OdString s(L" a \tb\nc\r\vd ");
  EXPECT_EQ(removeSpaces(s), OdString(L"abcd"));
  OdString none(L"abc");
  EXPECT_EQ(removeSpaces(none), OdString(L"abc"));
  EXPECT_EQ(escapeWildcards(L"a.b*c"), OdString(L"a`.b`*c"));
  EXPECT_EQ(escapeWildcards(L"`"), OdString(L"``"));
  EXPECT_EQ(escapeWildcards(L"plain"), OdString(L"plain"));
  EXPECT_EQ(escapeWildcards(L"*?,.#@`[~"), OdString(L"`*`?`,`.`#`@```[`~"));
  EXPECT_FALSE(hasWildcard(escapeWildcards(L"abc")));
}

// --- splitting ------------------------------------------------------------------

TEST(Splitting, BySeparatorString) {
  OdArray<OdString> parts{L"kept"};
  split(L"a::b::::c", L"::", parts);
  EXPECT_EQ(contents(parts), (std::vector<std::wstring>{L"kept", L"a", L"b", L"", L"c"}));
  OdArray<OdString> edges;
  split(L"::a::", L"::", edges);
  EXPECT_EQ(contents(edges), (std::vector<std::wstring>{L"", L"a", L""}));
  OdArray<OdString> whole;
  split(L"abc", L"", whole);
  EXPECT_EQ(contents(whole), (std::vector<std::wstring>{L"abc"}));
  OdArray<OdString> none;
  split(L"", L",", none);
  EXPECT_TRUE(none.isEmpty());
  OdArray<OdString> overlapping;
  split(L"aaa", L"aa", overlapping);
  EXPECT_EQ(contents(overlapping), (std::vector<std::wstring>{L"", L"a"}));
}

TEST(Splitting, ByListOfSeparators) {
  OdArray<OdString> parts;
  split(L"a,b;c;;d", OdArray<OdString>{L",", L";", L";;"}, parts);
  EXPECT_EQ(contents(parts), (std::vector<std::wstring>{L"a", L"b", L"c", L"d"}));
  OdArray<OdString> withEmpty;
  split(L"a--b", OdArray<OdString>{L"", L"-"}, withEmpty);
  EXPECT_EQ(contents(withEmpty), (std::vector<std::wstring>{L"a", L"", L"b"}));
  OdArray<OdString> noSeparators;
  split(L"abc", OdArray<OdString>{}, noSeparators);
  EXPECT_EQ(contents(noSeparators), (std::vector<std::wstring>{L"abc"}));
}

TEST(Splitting, ByCharacter) {
  OdArray<OdString> parts;
  splitByChar(L",a,,b,", L',', parts);
  EXPECT_EQ(contents(parts), (std::vector<std::wstring>{L"", L"a", L"", L"b", L""}));
  OdArray<OdString> skipped;
  splitByChar(L",a,,b,", L',', skipped, true);
  EXPECT_EQ(contents(skipped), (std::vector<std::wstring>{L"a", L"b"}));
  OdArray<OdString> none;
  splitByChar(L"", L',', none);
  splitByChar(L",,,", L',', none, true);
  EXPECT_TRUE(none.isEmpty());
}

TEST(Splitting, Lines) {
  OdArray<OdString> lines;
  splitLines(L"one\r\ntwo\nthree\rfour", lines);
  EXPECT_EQ(contents(lines), (std::vector<std::wstring>{L"one", L"two", L"three", L"four"}));
  OdArray<OdString> trailing;
  splitLines(L"a\n\nb\r\n", trailing);
  EXPECT_EQ(contents(trailing), (std::vector<std::wstring>{L"a", L"", L"b"}));
  OdArray<OdString> reversed;
  splitLines(L"a\n\rb", reversed);  // "\n\r" is two line ends
  EXPECT_EQ(contents(reversed), (std::vector<std::wstring>{L"a", L"", L"b"}));
  OdArray<OdString> single;
  splitLines(L"\n", single);
  EXPECT_EQ(contents(single), (std::vector<std::wstring>{L""}));
  OdArray<OdString> none;
  splitLines(L"", none);
  EXPECT_TRUE(none.isEmpty());
}

TEST(Splitting, SearchPath) {
  OdArray<OdString> folders;
  splitSearchPath(L" /opt/fonts ; ;\"/home/me/my;fonts\";\" spaced \";;/last", folders);
  EXPECT_EQ(contents(folders),
            (std::vector<std::wstring>{L"/opt/fonts", L"/home/me/my;fonts", L" spaced ", L"/last"}));
  OdArray<OdString> none;
  splitSearchPath(L" ; \"\" ;", none);
  EXPECT_TRUE(none.isEmpty());
  OdArray<OdString> unbalanced;
  splitSearchPath(L"a;\"b;c", unbalanced);
  EXPECT_EQ(contents(unbalanced), (std::vector<std::wstring>{L"a", L"b;c"}));
}

// --- narrow and wide ------------------------------------------------------------

TEST(NarrowWide, Utf8RoundTrip) {
  const std::wstring text = L"a\u00e9\u4e2d\U0001F600";
  EXPECT_EQ(ws2s(text), "a\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80");
  EXPECT_EQ(s2ws(ws2s(text)), text);
  EXPECT_EQ(s2ws("bad \xff byte"), L"bad \uFFFD byte");
  EXPECT_EQ(ws2s(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xef\xbf\xbd");
  EXPECT_EQ(ws2s(L""), "");
  EXPECT_EQ(s2ws(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}
