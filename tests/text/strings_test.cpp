#include <gtest/gtest.h>

#include <ut/ut_strings.h>

#include <climits>
#include <string>
#include <vector>

using namespace ut;

namespace {

using Pieces = std::vector<std::wstring>;

Pieces contents(const OdArray<OdString>& a) {
  Pieces out;
  for (const auto& s : a) out.emplace_back(s.c_str());
  return out;
}

// The splitting functions with a fresh output array each.
template <class... Args>
Pieces splitText(const OdString& text, const Args&... args) {
  OdArray<OdString> parts;
  split(text, args..., parts);
  return contents(parts);
}
Pieces byChar(const OdString& text, bool skipEmpty) {
  OdArray<OdString> parts;
  splitByChar(text, L',', parts, skipEmpty);
  return contents(parts);
}
Pieces lines(const OdString& text) {
  OdArray<OdString> parts;
  splitLines(text, parts);
  return contents(parts);
}
Pieces searchPath(const OdString& text) {
  OdArray<OdString> parts;
  splitSearchPath(text, parts);
  return contents(parts);
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

template <class T>
struct NumberCase {
  const wchar_t* text;
  bool result;
  T value;  // stored also when the answer is false
};

}  // namespace

// --- number tests ---------------------------------------------------------------

TEST(IsNumber, IntegersStoreTheParsedValue) {
  const NumberCase<long> longs[] = {{L" 42 ", true, 42}, {L"-17\t\n", true, -17}, {L"42x", false, 42},
                                    {L"1 2", false, 1},  {L"", false, 0},         {L"   ", false, 0},
                                    {L"0x10", false, 0}};  // base 10 only
  for (const auto& c : longs) {
    long value = -1;
    EXPECT_EQ(isNumber(c.text, &value), c.result) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
  // Out of range: clamped as the C library clamps, still a number.
  const NumberCase<long long> wide[] = {{L"9007199254740993", true, 9007199254740993LL},
                                        {L"-9223372036854775808", true, LLONG_MIN},
                                        {L"99999999999999999999999", true, LLONG_MAX},
                                        {L"12.5", false, 12}};
  for (const auto& c : wide) {
    long long value = -1;
    EXPECT_EQ(isNumber(c.text, &value), c.result) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
  long value = 99;
  EXPECT_FALSE(isNumber(nullptr, &value));
  EXPECT_EQ(value, 99);  // untouched for a null text
  EXPECT_TRUE(isNumber(L"12", static_cast<long*>(nullptr)));
}

TEST(IsNumber, FloatingPointFallbackAndIntegerTest) {
  struct Case {
    const wchar_t* text;
    bool number;
    bool integer;
  };
  const Case cases[] = {{L" -2.5e3 ", true, false}, {L".5", true, false},     {L"1e3", true, false},
                        {L" 7 ", true, true},       {L"1.5.2", false, false}, {L".", false, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(isNumber(c.text), c.number) << c.text;
    EXPECT_EQ(isInteger(c.text), c.integer) << c.text;
  }
  EXPECT_FALSE(isNumber(nullptr));
  EXPECT_FALSE(isInteger(nullptr));
}

TEST(CharacterClassTests, AsciiHandlesAndWildcards) {
  for (const wchar_t* t : {L"", L"plain text ~\x7f"}) EXPECT_TRUE(isASCII(t)) << t;
  for (const wchar_t* t : {L"caf\u00e9", L"\x80", static_cast<const wchar_t*>(nullptr)}) EXPECT_FALSE(isASCII(t));
  // Only leading blanks are skipped; a trailing blank or a full-width digit is not hex.
  for (const wchar_t* t : {L"   ", L" 1f", L"0123456789ABCDEFabcdef"}) EXPECT_TRUE(isValidHandleString(t)) << t;
  for (const wchar_t* t : {L"1F ", L"1G", L"\t1F", L"1 F", L"\uFF11", L"", static_cast<const wchar_t*>(nullptr)}) {
    EXPECT_FALSE(isValidHandleString(t));
  }
  for (const wchar_t w : std::wstring(L"*?,.#@`[~")) {
    EXPECT_TRUE(hasWildcard((std::wstring(L"name") + w + L"x").c_str())) << static_cast<char>(w);
  }
  for (const wchar_t* t : {L"plain name_1-2]", L"", static_cast<const wchar_t*>(nullptr)}) EXPECT_FALSE(hasWildcard(t));
}

// --- raw buffer edits -----------------------------------------------------------------

TEST(RawBuffers, ReplaceSymbolAndFindEndingQuote) {
  Buffer b(L"a/b/c");
  replaceSymbol(b.get(), L'/', L'\\');
  EXPECT_EQ(b.str(), L"a\\b\\c");
  replaceSymbol(nullptr, L'a', L'b');

  const wchar_t text[] = L"ab\\\"c\"d";
  EXPECT_EQ(findEndingQuote(text), text + 5);
  const wchar_t first[] = L"\"x";
  EXPECT_EQ(findEndingQuote(first), first);
  EXPECT_EQ(findEndingQuote(L"escaped \\\" only"), nullptr);
  // A backslash before the terminator escapes nothing and does not read on.
  const wchar_t trailing[] = {L'a', L'\\', L'\0', L'"', L'\0'};
  EXPECT_EQ(findEndingQuote(trailing), nullptr);
  // An escaped backslash leaves the quote after it unescaped.
  const wchar_t doubled[] = L"a\\\\\"b";
  EXPECT_EQ(findEndingQuote(doubled), doubled + 3);
  EXPECT_EQ(findEndingQuote(nullptr), nullptr);  // a plain null is not ambiguous
  Buffer writable(L"x\"y");
  *findEndingQuote(writable.get()) = L'\'';
  EXPECT_EQ(writable.str(), L"x'y");
}

TEST(RawBuffers, FindSubstringNoCase) {
  const wchar_t text[] = L"Hello World";
  EXPECT_EQ(findSubstringNoCase(text, L"lo w"), text + 3);
  EXPECT_EQ(findSubstringNoCase(text, L""), text);
  EXPECT_EQ(findSubstringNoCase(text, L"worlds"), nullptr);
  EXPECT_EQ(findSubstringNoCase(nullptr, L"a"), nullptr);
  EXPECT_EQ(findSubstringNoCase(nullptr, nullptr), nullptr);
  // Host code keeps a writable result from writable text.
  wchar_t writable[] = L"aBc";
  wchar_t* found = findSubstringNoCase(writable, L"b");
  *found = L'x';
  EXPECT_EQ(std::wstring(writable), L"axc");
  EXPECT_EQ(findSubstringNoCase(text, nullptr), nullptr);
  // Non-ASCII letters fold too, and offsets stay those of the original even
  // after a capital whose full lower case would be longer ("İ").
  const wchar_t greek[] = L"x\u0391\u0392\u0393";
  EXPECT_EQ(findSubstringNoCase(greek, L"\u03b2\u03b3"), greek + 2);
  const wchar_t mixed[] = L"Zeichnung \u0130STANBUL Stra\u00dfe.DWG";
  EXPECT_EQ(findSubstringNoCase(mixed, L"stra\u00dfe.dwg"), mixed + 19);
}

TEST(RawBuffers, TrimQuotes) {
  Buffer b(L"\"quoted\"");
  EXPECT_EQ(trimQuotes(b.get()), b.get() + 1);
  EXPECT_EQ(b.str(), L"\"quoted");
  Buffer pair(L"\"\"");
  EXPECT_EQ(std::wstring(trimQuotes(pair.get())), L"");
  for (const wchar_t* unchanged : {L"\"", L"\"open"}) {
    Buffer u(unchanged);
    EXPECT_EQ(trimQuotes(u.get()), u.get());
    EXPECT_EQ(u.str(), unchanged);
  }
  EXPECT_EQ(trimQuotes(static_cast<wchar_t*>(nullptr)), nullptr);
}

// --- OdString operations -------------------------------------------------------------

TEST(OdStringOps, QuotesAroundStrings) {
  for (const auto& [text, expected] : {std::pair{L"\"a b\"", L"a b"}, {L"\"", L"\""}, {L"\"a", L"\"a"}}) {
    OdString s(text);
    EXPECT_EQ(trimQuotes(s), OdString(expected));
  }
  OdString empty;
  EXPECT_EQ(wrapInQuotes(empty), OdString());
  OdString a(L"a");
  EXPECT_EQ(wrapInQuotes(a), OdString(L"\"a\""));
  EXPECT_EQ(trimQuotes(wrapInQuotes(a)), OdString(L"\"a\""));  // one pair of quotes each, in place
}

TEST(OdStringOps, TrimTrailingZeros) {
  // Only after the last separator, and only when it is not the first character.
  const std::tuple<const wchar_t*, wchar_t, const wchar_t*> cases[] = {
      {L"2.500", L'.', L"2.5"}, {L"100.0", L'.', L"100"}, {L"100", L'.', L"100"},       {L".50", L'.', L".50"},
      {L"1,200", L',', L"1,2"}, {L"100.", L'.', L"100"},  {L"1.2.300", L'.', L"1.2.3"}, {L".", L'.', L""},
      {L"", L'.', L""},         {L"1.05", L'.', L"1.05"}};
  for (const auto& [text, separator, expected] : cases) {
    OdString s(text);
    EXPECT_EQ(trimTrailingZeros(s, separator), OdString(expected)) << text;
  }
}

TEST(OdStringOps, PrefixAndSuffixIgnoreCaseNotAccents) {
  for (const auto& [text, prefix] :
       {std::pair{L"Hello", L"HE"}, {L"Hello", L""}, {L"Hello", L"hello"}, {L"\u00c9cole", L"\u00e9c"}}) {
    EXPECT_TRUE(startsWith(text, prefix)) << text << " " << prefix;
  }
  for (const auto& [text, prefix] :
       {std::pair{L"Hello", L"Helloo"}, {L"Hello", L"ello"}, {L"", L"a"}, {L"Ecole", L"\u00e9c"}}) {
    EXPECT_FALSE(startsWith(text, prefix)) << text << " " << prefix;
  }
  EXPECT_TRUE(endsWith(L"drawing.DWG", L".dwg"));
  EXPECT_TRUE(endsWith(L"abc", L""));
  EXPECT_FALSE(endsWith(L"abc", L"xabc"));
  EXPECT_FALSE(endsWith(L"abc", L"ab"));
}

TEST(OdStringOps, PiecesSpacesAndWildcards) {
  EXPECT_EQ(removeLast(L"abc"), OdString(L"ab"));
  EXPECT_EQ(removeLast(OdString()), OdString());
  EXPECT_EQ(beforeFirst(L"key=value=x", L'='), OdString(L"key"));
  EXPECT_EQ(beforeFirst(L"plain", L'='), OdString(L"plain"));
  EXPECT_EQ(beforeFirst(L"=x", L'='), OdString());
  EXPECT_EQ(afterFirst(L"key=value=x", L'='), OdString(L"value=x"));
  EXPECT_EQ(afterFirst(L"plain", L'='), OdString());
  OdString s(L" a \tb\nc\r\vd ");
  EXPECT_EQ(removeSpaces(s), OdString(L"abcd"));
  EXPECT_EQ(escapeWildcards(L"plain"), OdString(L"plain"));
  EXPECT_EQ(escapeWildcards(L"a*?,.#@`[~"), OdString(L"a`*`?`,`.`#`@```[`~"));
}

// --- splitting ------------------------------------------------------------------

TEST(Splitting, EveryFormKeepsOrSkipsEmptyPiecesAsDocumented) {
  OdArray<OdString> appended{L"kept"};
  split(L"a::b::::c", L"::", appended);
  EXPECT_EQ(contents(appended), (Pieces{L"kept", L"a", L"b", L"", L"c"}));
  EXPECT_EQ(splitText(L"::a::", OdString(L"::")), (Pieces{L"", L"a", L""}));
  EXPECT_EQ(splitText(L"abc", OdString()), (Pieces{L"abc"}));
  EXPECT_EQ(splitText(L"", OdString(L",")), Pieces{});
  EXPECT_EQ(splitText(L"aaa", OdString(L"aa")), (Pieces{L"", L"a"}));
  // A list of separators: the longest match wins, empty ones are ignored.
  EXPECT_EQ(splitText(L"a,b;c;;d", OdArray<OdString>{L",", L";", L";;"}), (Pieces{L"a", L"b", L"c", L"d"}));
  EXPECT_EQ(splitText(L"a--b", OdArray<OdString>{L"", L"-"}), (Pieces{L"a", L"", L"b"}));
  EXPECT_EQ(splitText(L"abc", OdArray<OdString>{}), (Pieces{L"abc"}));

  EXPECT_EQ(byChar(L",a,,b,", false), (Pieces{L"", L"a", L"", L"b", L""}));
  EXPECT_EQ(byChar(L",a,,b,", true), (Pieces{L"a", L"b"}));
  EXPECT_EQ(byChar(L",,,", true), Pieces{});

  EXPECT_EQ(lines(L"one\r\ntwo\nthree\rfour"), (Pieces{L"one", L"two", L"three", L"four"}));
  EXPECT_EQ(lines(L"a\n\nb\r\n"), (Pieces{L"a", L"", L"b"}));
  EXPECT_EQ(lines(L"a\n\rb"), (Pieces{L"a", L"", L"b"}));  // "\n\r" is two line ends
  EXPECT_EQ(lines(L"\n"), (Pieces{L""}));
  EXPECT_EQ(lines(L""), Pieces{});

  EXPECT_EQ(searchPath(L" /opt/fonts ; ;\"/home/me/my;fonts\";\" spaced \";;/last"),
            (Pieces{L"/opt/fonts", L"/home/me/my;fonts", L" spaced ", L"/last"}));
  EXPECT_EQ(searchPath(L" ; \"\" ;"), Pieces{});
  EXPECT_EQ(searchPath(L"a;\"b;c"), (Pieces{L"a", L"b;c"}));
}

// --- narrow and wide ------------------------------------------------------------

TEST(NarrowWide, Utf8RoundTripAtEveryEncodingBoundary) {
  const std::wstring text = L"a\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFD\uFFFF\U00010000\U0010FFFF";
  const std::string bytes =
      "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xEF\xBF\xBF"
      "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
  EXPECT_EQ(ws2s(text), bytes);
  EXPECT_EQ(s2ws(bytes), text);
  EXPECT_EQ(s2ws(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(ws2s(L""), "");
}

TEST(NarrowWide, BrokenBytesAndNonCharactersBecomeReplacement) {
  const std::pair<std::string, std::wstring> broken[] = {
      {"\xC0\xAF", L"\uFFFD\uFFFD"},                      // overlong lead bytes
      {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},            // encoded surrogate
      {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},  // past U+10FFFF
      {"a\xE2\x82", L"a\uFFFD"},                          // cut short at the end
      {"bad \x80\xFF byte", L"bad \uFFFD\uFFFD byte"}};
  for (const auto& [in, expected] : broken) EXPECT_EQ(s2ws(in), expected);
  for (long bad : {0xD800L, 0x110000L, -5L}) {
    EXPECT_EQ(ws2s(std::wstring(1, static_cast<wchar_t>(bad))), "\xEF\xBF\xBD") << bad;
  }
}
