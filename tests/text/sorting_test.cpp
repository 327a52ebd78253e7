#include <gtest/gtest.h>

#include <ut/ut_sorting.h>

#include "sorting_locales.h"
#include "sorting_reference.h"

#include <tuple>
#include <clocale>
#include <cwctype>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace ut;
using ut::test::ScopedThreadLocale;
using ut::test::testLocales;

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// File-name-like strings that share prefixes and digit runs often, so that
// comparisons reach deep positions, run comparisons and leading zeros. The
// characters straddle every boundary of the collation cache (below and above
// 256, the BMP's end) and include values that are not characters at all.
std::wstring randomName(std::mt19937& rng) {
  static const std::vector<std::wstring> pieces = {L"a",
                                                   L"A",
                                                   L"b",
                                                   L"B",
                                                   L"z",
                                                   L"Z",
                                                   L"0",
                                                   L"00",
                                                   L"007",
                                                   L"1",
                                                   L"9",
                                                   L"10",
                                                   L"99",
                                                   L"100",
                                                   L"12345",
                                                   L" ",
                                                   L"-",
                                                   L"_",
                                                   L".",
                                                   L",",
                                                   L"(",
                                                   L")",
                                                   L"~",
                                                   L"é",
                                                   L"É",
                                                   L"ß",
                                                   L"ü",
                                                   L"Ü",
                                                   L"ø",
                                                   L"ÿ",
                                                   L"Ā",
                                                   L"ł",
                                                   L"Ω",
                                                   L"ω",
                                                   L"中",
                                                   L"文",
                                                   L"\U0001F600",
                                                   L"\U0010FFFF",
                                                   L"\uFFFD",
                                                   L"file",
                                                   L"File",
                                                   L"IMG_",
                                                   L"v1.2",
                                                   L"x0y",
                                                   L"\u00A0",
                                                   L"\u0301",
                                                   std::wstring(1, static_cast<wchar_t>(0xD800)),
                                                   std::wstring(1, static_cast<wchar_t>(0x110000)),
                                                   std::wstring(1, static_cast<wchar_t>(-1))};
  std::uniform_int_distribution<std::size_t> count(0, 7);
  std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
  std::wstring s;
  for (std::size_t n = count(rng); n > 0; --n) s += pieces[pick(rng)];
  return s;
}

std::vector<std::wstring> contents(const OdArray<OdString>& a) {
  std::vector<std::wstring> out;
  for (const auto& s : a) out.emplace_back(s.c_str());
  return out;
}

// Splits into runs of ASCII digits (number tokens of the kind given) and runs
// of other characters (string tokens).
template <class Number>
LexiNumericalSorter::Tokenizer runTokenizer() {
  return [](LexiNumericalSorter::Tokens& tokens, const OdString& text) {
    const std::wstring s = text.c_str();
    const auto digit = [&s](std::size_t i) { return s[i] >= L'0' && s[i] <= L'9'; };
    for (std::size_t i = 0, end = 0; i < s.size(); i = end) {
      for (end = i; end < s.size() && digit(end) == digit(i);) ++end;
      if (digit(i)) {
        tokens.emplace_back(static_cast<Number>(std::stod(s.substr(i, end - i))));
      } else {
        tokens.emplace_back(OdString(s.substr(i, end - i)));
      }
    }
  };
}

}  // namespace

// --- strCmpAlphanum -----------------------------------------------------------------

TEST(StrCmpAlphanum, NaturalOrderConsequencesAndCaseFlag) {
  const ScopedThreadLocale c(testLocales().front().handle);  // code point order: 'B' (66) before 'a' (97)
  struct Case {
    const wchar_t* a;
    const wchar_t* b;
    bool caseSensitive;
    int sign;
  };
  const Case cases[] = {{L"a9", L"a10", true, -1},
                        {L"x2y", L"x10y", true, -1},
                        {L"a01", L"a1", true, -1},
                        {L"abc", L"abd", true, -1},
                        {L"ab", L"abc", true, -1},
                        {L"file12.txt", L"file12.txt", true, 0},
                        {L"", L"", true, 0},
                        {L"", L"a", true, -1},
                        // Numerically equal runs, then '0' collates before '7' at position 0.
                        {L"007", L"7", true, -1},
                        // A longer run is larger whatever its digits.
                        {L"99", L"100", true, -1},
                        // Only ASCII digits form runs: Arabic-Indic digits are plain characters.
                        {L"\u0669", L"\u0661\u0660", true, 1},
                        {L"B", L"a", true, -1},
                        {L"B", L"a", false, 1},
                        {L"ABC10", L"abc10", false, 0},
                        {L"ABC10", L"abc10", true, -1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::wstring(c.a) + L" vs " + c.b);
    EXPECT_EQ(sign(strCmpAlphanum(c.a, c.b, c.caseSensitive)), c.sign);
    EXPECT_EQ(sign(strCmpAlphanum(c.b, c.a, c.caseSensitive)), -c.sign);
  }
  // A null sorts after everything, with exactly 1 and -1.
  EXPECT_EQ(strCmpAlphanum(nullptr, nullptr, true), 0);
  EXPECT_EQ(strCmpAlphanum(nullptr, L"", true), 1);
  EXPECT_EQ(strCmpAlphanum(L"", nullptr, true), -1);
  EXPECT_EQ(strCmpAlphanum(nullptr, L"zzz", false), 1);
}

TEST(StrCmpAlphanum, DigitRunAndPositionLimits) {
  const ScopedThreadLocale c(testLocales().front().handle);
  const auto cmp = [](const std::wstring& a, const std::wstring& b) {
    return strCmpAlphanum(a.c_str(), b.c_str(), true);
  };
  const auto run = [](std::size_t n, wchar_t d) { return std::wstring(n, d); };
  // "0" + 2...2 against 1...1: the runs (after the leading zero) have the same
  // length, and a's is larger. Within 1024 digits the number decides; past
  // it the difference is dropped and '0' against '1' decides instead.
  EXPECT_GT(cmp(L"0" + run(1023, L'2'), run(1023, L'1')), 0);
  EXPECT_LT(cmp(L"0" + run(1024, L'2'), run(1024, L'1')), 0);
  // A run that ends first is smaller even when the other only continues past the limit.
  EXPECT_LT(cmp(run(1023, L'9'), run(1024, L'1')), 0);
  // After 1024 equal positions nothing decides; digits count as positions too.
  EXPECT_EQ(cmp(run(1024, L'x') + L"a", run(1024, L'x') + L"b"), 0);
  EXPECT_EQ(cmp(run(1024, L'x') + L"a", run(1024, L'x')), 0);
  EXPECT_LT(cmp(run(1023, L'x') + L"a", run(1023, L'x') + L"b"), 0);
  EXPECT_EQ(cmp(run(1030, L'5') + L"a", run(1030, L'5') + L"b"), 0);
}

// The per-locale cache of character collations must answer exactly what the
// direct call answers. Each locale runs in its own thread at the same time, so
// the caches fill concurrently under different thread locales.
TEST(StrCmpAlphanum, AgreesWithDirectCollationInEveryLocaleFromConcurrentThreads) {
  ASSERT_GE(testLocales().size(), 2u);
  std::vector<int> mismatches(testLocales().size(), 0);
  std::vector<std::thread> threads;
  for (std::size_t l = 0; l < testLocales().size(); ++l) {
    threads.emplace_back([l, &mismatches] {
      const auto& locale = testLocales()[l];
      const ScopedThreadLocale scoped(locale.handle);
      std::mt19937 rng(20240611);
      for (int n = 0; n < 20000; ++n) {
        const std::wstring a = randomName(rng);
        // Half the pairs share a prefix so that the walk goes further.
        std::wstring b = (n % 2 == 0) ? a.substr(0, a.size() / 2) + randomName(rng) : randomName(rng);
        for (bool caseSensitive : {true, false}) {
          const int expected = ut::test::referenceAlphanum(a, b, caseSensitive);
          const int actual = strCmpAlphanum(a.c_str(), b.c_str(), caseSensitive);
          const int reverse = strCmpAlphanum(b.c_str(), a.c_str(), caseSensitive);
          if ((expected != actual || sign(actual) != -sign(reverse)) && ++mismatches[l] < 5) {
            ADD_FAILURE() << locale.name << ": '" << std::string(a.begin(), a.end()) << "' vs '"
                          << std::string(b.begin(), b.end()) << "' case " << caseSensitive << ": expected " << expected
                          << ", got " << actual << " and " << reverse << " reversed";
          }
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (std::size_t l = 0; l < mismatches.size(); ++l) EXPECT_EQ(mismatches[l], 0) << testLocales()[l].name;
}

TEST(StrCmpAlphanum, FollowsTheGlobalLocale) {
  // Threads without a locale of their own follow setlocale.
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  EXPECT_LT(strCmpAlphanum(L"B", L"a", true), 0);  // code point order
  if (std::setlocale(LC_ALL, "en_US.UTF-8") != nullptr) {
    EXPECT_GT(strCmpAlphanum(L"B", L"a", true), 0);  // English: letters before case
  }
  std::setlocale(LC_ALL, saved.c_str());
}

// --- LexiNumericalSorter ------------------------------------------------------------

TEST(LexiNumericalSorter, DefaultSortsNaturallyCaseSensitive) {
  const ScopedThreadLocale c(testLocales().front().handle);
  OdArray<OdString> names{L"file10", L"file9", L"File1", L"file1", L"file009", L""};
  LexiNumericalSorter sorter;
  sorter.sort(names);
  EXPECT_EQ(contents(names), (std::vector<std::wstring>{L"", L"File1", L"file1", L"file009", L"file9", L"file10"}));
  EXPECT_TRUE(sorter.isLess(L"a9", L"a10") && !sorter.isLess(L"a10", L"a9"));
  EXPECT_FALSE(sorter.isLess(L"a", L"a"));
  // Random names come out in strCmpAlphanum's order.
  std::mt19937 rng(99);
  OdArray<OdString> many;
  for (int i = 0; i < 3000; ++i) many.append(OdString(randomName(rng)));
  sorter.sort(many);
  for (unsigned i = 1; i < many.size(); ++i) EXPECT_LE(strCmpAlphanum(many[i - 1].c_str(), many[i].c_str(), true), 0);
}

TEST(LexiNumericalSorter, TokenKindsOrderAsTheVariant) {
  // A double before a string, a string before an int; strings by code units;
  // the shorter token list first.
  LexiNumericalSorter ints(runTokenizer<int>());
  EXPECT_TRUE(ints.isLess(L"x", L"10") && !ints.isLess(L"10", L"x"));
  EXPECT_TRUE(ints.isLess(L"B", L"a"));
  EXPECT_TRUE(ints.isLess(L"ab", L"ab1") && !ints.isLess(L"ab1", L"ab"));
  EXPECT_TRUE(ints.isLess(L"a9b", L"a10"));
  OdArray<OdString> names{L"v10", L"v9", L"v1.5", L"v1"};
  ints.sort(names);
  EXPECT_EQ(contents(names), (std::vector<std::wstring>{L"v1", L"v1.5", L"v9", L"v10"}));
  LexiNumericalSorter doubles(runTokenizer<double>());
  EXPECT_TRUE(doubles.isLess(L"10", L"x") && !doubles.isLess(L"x", L"10"));

  // Mixed numeric kinds compare by value, equal within 1e-10.
  const std::map<std::wstring, LexiNumericalSorter::Token> values{
      {L"int2", 2}, {L"double1.5", 1.5}, {L"double2", 2.0}, {L"near2", 2.0 + 5e-11}, {L"far2", 2.0 + 1e-9}};
  LexiNumericalSorter mixed(
      [&values](LexiNumericalSorter::Tokens& t, const OdString& s) { t.push_back(values.at(s.c_str())); });
  EXPECT_TRUE(mixed.isLess(L"double1.5", L"int2") && !mixed.isLess(L"int2", L"double1.5"));
  for (const wchar_t* same : {L"double2", L"near2"}) {
    EXPECT_FALSE(mixed.isLess(L"int2", same)) << same;
    EXPECT_FALSE(mixed.isLess(same, L"int2")) << same;
  }
  EXPECT_TRUE(mixed.isLess(L"int2", L"far2"));
  EXPECT_EQ(LexiNumericalSorter::getAsDouble(LexiNumericalSorter::Token(OdString(L"12"))), 0.0);  // strings are 0
}

// --- sortStrings, OdStringArrayLess, compareNamesLowercase ---------------------------

TEST(SortStrings, CollatesWithTheFlagTheOtherWayRound) {
  const ScopedThreadLocale c(testLocales().front().handle);
  OdArray<OdString> names{L"b", L"B", L"a", L"A", L"a10", L"a9"};
  EXPECT_EQ(sortStrings(names, false), 6ul);
  EXPECT_EQ(contents(names), (std::vector<std::wstring>{L"A", L"B", L"a", L"a10", L"a9", L"b"}));
  EXPECT_EQ(sortStrings(names, true), 6ul);
  // Ignoring case, "A" and "a" are equal: only their place among the others is fixed.
  std::vector<std::wstring> folded = contents(names);
  for (auto& s : folded) s[0] = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(s[0])));
  EXPECT_EQ(folded, (std::vector<std::wstring>{L"a", L"a", L"a10", L"a9", L"b", L"b"}));
  OdArray<OdString> empty;
  EXPECT_EQ(sortStrings(empty, true), 0ul);

  if (!ut::test::hasLocale("en_US.UTF-8")) GTEST_SKIP() << "no en_US.UTF-8 locale";
  const ScopedThreadLocale english(testLocales().back().handle);
  OdArray<OdString> accented{L"b", L"B", L"\u00e9", L"a", L"f"};
  sortStrings(accented, false);
  // Letters together regardless of case; "é" beside "e", before "f".
  const auto sorted = contents(accented);
  EXPECT_EQ(sorted[0], L"a");
  EXPECT_EQ(sorted[3], L"\u00e9");
  EXPECT_EQ(sorted[4], L"f");
}

TEST(OdStringArrayLess, LexicographicByCodeUnits) {
  using A = OdArray<OdString>;
  const OdStringArrayLess less;
  EXPECT_TRUE(less(A{L"a", L"b"}, A{L"a", L"b", L"c"}));
  EXPECT_FALSE(less(A{L"a", L"b", L"c"}, A{L"a", L"b"}));
  EXPECT_FALSE(less(A{L"a", L"b"}, A{L"a", L"b"}));
  EXPECT_TRUE(less(A{L"a", L"B"}, A{L"a", L"b"}));
  EXPECT_TRUE(less(A{}, A{L"a"}));
  EXPECT_FALSE(less(A{}, A{}));
  EXPECT_TRUE(less(A{L"z"}, A{L"zz", L"a"}));
}

TEST(CompareNamesLowercase, FoldsAsciiOnlyAndHonoursTheLimit) {
  // Only A..Z fold: '[' (after 'Z') stays, and so do non-ASCII capitals.
  const wchar_t high[] = {static_cast<wchar_t>(0x7FFFFFFF), L'\0'};
  const wchar_t low[] = {static_cast<wchar_t>(-0x7FFFFFFF), L'\0'};
  const std::tuple<const wchar_t*, const wchar_t*, std::size_t, int> cases[] = {
      {L"ABC", L"abd", 2, 0},   {L"ABC", L"abd", 0, L'c' - L'd'}, {L"ABC", L"abd", 3, -1}, {L"Name", L"nAME", 0, 0},
      {L"abc", L"ab", 0, L'c'}, {L"ab", L"abc", 0, -L'c'},        {L"ab", L"abc", 2, 0},   {L"[", L"{", 0, L'[' - L'{'},
      {L"x", L"y", 1, -1},      {nullptr, nullptr, 0, 0}};
  for (const auto& [a, b, n, expected] : cases) EXPECT_EQ(compareNamesLowercase(a, b, n), expected) << a << " " << n;
  EXPECT_NE(compareNamesLowercase(L"\u00c9", L"\u00e9", 0), 0);
  EXPECT_LT(compareNamesLowercase(nullptr, L"a", 0), 0);
  // Differences beyond the range of int keep their sign.
  EXPECT_GT(compareNamesLowercase(high, low, 0), 0);
  EXPECT_LT(compareNamesLowercase(low, high, 0), 0);
}
