#include <gtest/gtest.h>

#include <ut/ut_sorting.h>

#include "sorting_locales.h"
#include "sorting_reference.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace ut;
using ut::test::ScopedThreadLocale;
using ut::test::testLocales;

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// File-name-like strings that share prefixes and digit runs often, so that
// comparisons reach deep positions, run comparisons and leading zeros.
std::wstring randomName(std::mt19937& rng) {
  static const std::vector<std::wstring> pieces = {
      L"a", L"A", L"b", L"B", L"z", L"Z", L"0", L"00", L"007", L"1", L"9", L"10", L"99", L"100", L"12345",
      L" ", L"-", L"_", L".", L",", L"(", L")", L"~", L"é", L"É", L"ß", L"ü", L"Ü", L"ø", L"ł", L"Ω",
      L"ω", L"中", L"文", L"\U0001F600", L"file", L"File", L"IMG_", L"v1.2", L"x0y", L"\u00A0", L"\u0301"};
  std::uniform_int_distribution<std::size_t> count(0, 7);
  std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
  std::wstring s;
  for (std::size_t n = count(rng); n > 0; --n) s += pieces[pick(rng)];
  return s;
}

}  // namespace

// --- strCmpAlphanum -----------------------------------------------------------------

TEST(StrCmpAlphanum, NaturalOrderConsequences) {
  const ScopedThreadLocale c(testLocales().front().handle);
  EXPECT_LT(strCmpAlphanum(L"a9", L"a10", true), 0);
  EXPECT_GT(strCmpAlphanum(L"a10", L"a9", true), 0);
  EXPECT_LT(strCmpAlphanum(L"x2y", L"x10y", true), 0);
  EXPECT_LT(strCmpAlphanum(L"a01", L"a1", true), 0);
  EXPECT_LT(strCmpAlphanum(L"abc", L"abd", true), 0);
  EXPECT_LT(strCmpAlphanum(L"ab", L"abc", true), 0);
  EXPECT_GT(strCmpAlphanum(L"abc", L"ab", true), 0);
  EXPECT_EQ(strCmpAlphanum(L"file12.txt", L"file12.txt", true), 0);
  // Numerically equal runs, then '0' collates before '7' at position 0.
  EXPECT_LT(strCmpAlphanum(L"007", L"7", true), 0);
  EXPECT_GT(strCmpAlphanum(L"7", L"007", true), 0);
  // A longer run is larger whatever its digits.
  EXPECT_LT(strCmpAlphanum(L"99", L"100", true), 0);
  // Only ASCII digits form runs: Arabic-Indic digits are plain characters.
  EXPECT_GT(strCmpAlphanum(L"\u0669", L"\u0661\u0660", true), 0);
}

TEST(StrCmpAlphanum, CaseFlagChoosesTheCollation) {
  // In the C locale the collation is code point order, so 'B' (66) sorts
  // before 'a' (97) unless case is ignored.
  const ScopedThreadLocale c(testLocales().front().handle);
  EXPECT_LT(strCmpAlphanum(L"B", L"a", true), 0);
  EXPECT_GT(strCmpAlphanum(L"B", L"a", false), 0);
  EXPECT_EQ(strCmpAlphanum(L"ABC10", L"abc10", false), 0);
  EXPECT_NE(strCmpAlphanum(L"ABC10", L"abc10", true), 0);
}

TEST(StrCmpAlphanum, NullsSortAfterEverything) {
  EXPECT_EQ(strCmpAlphanum(nullptr, nullptr, true), 0);
  EXPECT_EQ(strCmpAlphanum(nullptr, L"", true), 1);
  EXPECT_EQ(strCmpAlphanum(L"", nullptr, true), -1);
  EXPECT_EQ(strCmpAlphanum(nullptr, L"zzz", false), 1);
  EXPECT_EQ(strCmpAlphanum(L"", L"", true), 0);
  EXPECT_LT(strCmpAlphanum(L"", L"a", true), 0);
}

TEST(StrCmpAlphanum, DigitRunLimit) {
  const ScopedThreadLocale c(testLocales().front().handle);
  // "0" + 2...2 against 1...1: the runs (after the leading zero) have the same
  // length, and a's is larger. Within 1024 digits the number decides; past
  // it the difference is dropped and '0' against '1' decides instead.
  const auto run = [](std::size_t n, wchar_t d) { return std::wstring(n, d); };
  EXPECT_GT(strCmpAlphanum((L"0" + run(1000, L'2')).c_str(), run(1000, L'1').c_str(), true), 0);
  EXPECT_GT(strCmpAlphanum((L"0" + run(1023, L'2')).c_str(), run(1023, L'1').c_str(), true), 0);
  EXPECT_LT(strCmpAlphanum((L"0" + run(1024, L'2')).c_str(), run(1024, L'1').c_str(), true), 0);
  EXPECT_LT(strCmpAlphanum((L"0" + run(1100, L'2')).c_str(), run(1100, L'1').c_str(), true), 0);
  // A run that ends first is smaller even when the other only continues past
  // the limit.
  EXPECT_LT(strCmpAlphanum(run(1023, L'9').c_str(), run(1024, L'1').c_str(), true), 0);
}

TEST(StrCmpAlphanum, PositionLimit) {
  const std::wstring common(1024, L'x');
  EXPECT_EQ(strCmpAlphanum((common + L"a").c_str(), (common + L"b").c_str(), true), 0);
  EXPECT_EQ(strCmpAlphanum((common + L"a").c_str(), common.c_str(), true), 0);
  const std::wstring shorter(1023, L'x');
  EXPECT_LT(strCmpAlphanum((shorter + L"a").c_str(), (shorter + L"b").c_str(), true), 0);
  // Digits count as positions too: after 1030 equal digits nothing decides.
  const std::wstring digits(1030, L'5');
  EXPECT_EQ(strCmpAlphanum((digits + L"a").c_str(), (digits + L"b").c_str(), true), 0);
}

TEST(StrCmpAlphanum, AgreesWithDirectCollationInEveryLocale) {
  ASSERT_GE(testLocales().size(), 2u);
  std::mt19937 rng(20240611);
  for (const auto& locale : testLocales()) {
    const ScopedThreadLocale scoped(locale.handle);
    int mismatches = 0;
    for (int n = 0; n < 20000; ++n) {
      const std::wstring a = randomName(rng);
      // Half the pairs share a prefix so that the walk goes further.
      std::wstring b = (n % 2 == 0) ? a.substr(0, a.size() / 2) + randomName(rng) : randomName(rng);
      for (bool caseSensitive : {true, false}) {
        const int expected = ut::test::referenceAlphanum(a, b, caseSensitive);
        const int actual = strCmpAlphanum(a.c_str(), b.c_str(), caseSensitive);
        if (expected != actual && ++mismatches < 5) {
          ADD_FAILURE() << locale.name << ": '" << std::string(a.begin(), a.end()) << "' vs '"
                        << std::string(b.begin(), b.end()) << "' case " << caseSensitive << ": expected "
                        << expected << ", got " << actual;
        }
        // Antisymmetry of the sign.
        EXPECT_EQ(sign(actual), -sign(strCmpAlphanum(b.c_str(), a.c_str(), caseSensitive)));
      }
    }
    EXPECT_EQ(mismatches, 0) << locale.name;
  }
}

TEST(StrCmpAlphanum, FollowsTheThreadLocale) {
  if (!ut::test::hasLocale("en_US.UTF-8")) GTEST_SKIP() << "no en_US.UTF-8 locale";
  // Code point order puts 'B' before 'a'; the English collation does not.
  for (const auto& locale : testLocales()) {
    const ScopedThreadLocale scoped(locale.handle);
    const int r = strCmpAlphanum(L"B", L"a", true);
    if (locale.name == "en_US.UTF-8") {
      EXPECT_GT(r, 0);
    } else {
      EXPECT_LT(r, 0) << locale.name;
    }
  }
}

// --- LexiNumericalSorter ------------------------------------------------------------

namespace {

// Splits into runs of digits (tokens of the kind given) and runs of other
// characters (string tokens).
template <class Number>
LexiNumericalSorter::Tokenizer runTokenizer(int* calls = nullptr) {
  return [calls](LexiNumericalSorter::Tokens& tokens, const OdString& text) {
    if (calls != nullptr) ++*calls;
    std::wstring run;
    bool digits = false;
    const auto flush = [&] {
      if (run.empty()) return;
      if (digits) {
        tokens.emplace_back(static_cast<Number>(std::stod(run)));
      } else {
        tokens.emplace_back(OdString(run));
      }
      run.clear();
    };
    for (int i = 0; i < text.getLength(); ++i) {
      const wchar_t c = text.getAt(i);
      const bool d = c >= L'0' && c <= L'9';
      if (d != digits) flush();
      digits = d;
      run.push_back(c);
    }
    flush();
  };
}

std::vector<std::wstring> contents(const OdArray<OdString>& a) {
  std::vector<std::wstring> out;
  for (const auto& s : a) out.emplace_back(s.c_str());
  return out;
}

}  // namespace

TEST(LexiNumericalSorter, DefaultSortsNaturallyCaseSensitive) {
  const ScopedThreadLocale c(testLocales().front().handle);
  OdArray<OdString> names{L"file10", L"file9", L"File1", L"file1", L"file009", L""};
  LexiNumericalSorter sorter;
  sorter.sort(names);
  EXPECT_EQ(contents(names),
            (std::vector<std::wstring>{L"", L"File1", L"file1", L"file009", L"file9", L"file10"}));
  EXPECT_TRUE(sorter.isLess(L"a9", L"a10"));
  EXPECT_FALSE(sorter.isLess(L"a10", L"a9"));
  EXPECT_FALSE(sorter.isLess(L"a", L"a"));
}

TEST(LexiNumericalSorter, TokenKindsOrderAsTheVariant) {
  // An int token sorts after a string token; a double token before it.
  LexiNumericalSorter ints(runTokenizer<int>());
  EXPECT_TRUE(ints.isLess(L"x", L"10"));
  EXPECT_FALSE(ints.isLess(L"10", L"x"));
  LexiNumericalSorter doubles(runTokenizer<double>());
  EXPECT_TRUE(doubles.isLess(L"10", L"x"));
  EXPECT_FALSE(doubles.isLess(L"x", L"10"));

  // Mixed numeric kinds compare by value.
  LexiNumericalSorter mixed([](LexiNumericalSorter::Tokens& t, const OdString& s) {
    if (s == L"int2") t.emplace_back(2);
    if (s == L"double1.5") t.emplace_back(1.5);
    if (s == L"double2") t.emplace_back(2.0);
  });
  EXPECT_TRUE(mixed.isLess(L"double1.5", L"int2"));
  EXPECT_FALSE(mixed.isLess(L"int2", L"double1.5"));
  EXPECT_FALSE(mixed.isLess(L"int2", L"double2"));
  EXPECT_FALSE(mixed.isLess(L"double2", L"int2"));
}

TEST(LexiNumericalSorter, NumbersWithinToleranceAreEqual) {
  std::map<std::wstring, double> values{{L"a", 1.0}, {L"b", 1.0 + 5e-11}, {L"c", 1.0 + 1e-9}};
  LexiNumericalSorter sorter([&values](LexiNumericalSorter::Tokens& t, const OdString& s) {
    t.emplace_back(values.at(s.c_str()));
  });
  EXPECT_FALSE(sorter.isLess(L"a", L"b"));
  EXPECT_FALSE(sorter.isLess(L"b", L"a"));
  EXPECT_TRUE(sorter.isLess(L"a", L"c"));
  EXPECT_FALSE(sorter.isLess(L"c", L"a"));
}

TEST(LexiNumericalSorter, StringTokensByCodeUnitsAndShorterListFirst) {
  LexiNumericalSorter sorter(runTokenizer<int>());
  EXPECT_TRUE(sorter.isLess(L"B", L"a"));   // code units, no collation
  EXPECT_TRUE(sorter.isLess(L"ab", L"ab1"));  // prefix of tokens
  EXPECT_FALSE(sorter.isLess(L"ab1", L"ab"));
  EXPECT_TRUE(sorter.isLess(L"a9b", L"a10"));
  OdArray<OdString> names{L"v10", L"v9", L"v1.5", L"v1"};
  sorter.sort(names);
  EXPECT_EQ(contents(names), (std::vector<std::wstring>{L"v1", L"v1.5", L"v9", L"v10"}));
}

TEST(LexiNumericalSorter, TokenizesEachStringOnceUntilTheNextSort) {
  int calls = 0;
  LexiNumericalSorter sorter(runTokenizer<int>(&calls));
  EXPECT_TRUE(sorter.isLess(L"a1", L"a2"));
  EXPECT_TRUE(sorter.isLess(L"a1", L"a2"));
  EXPECT_FALSE(sorter.isLess(L"a2", L"a1"));
  EXPECT_EQ(calls, 2);

  // A copy carries the cache (and the tokenizer).
  LexiNumericalSorter copy(sorter);
  EXPECT_TRUE(copy.isLess(L"a1", L"a2"));
  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(copy.isLess(L"a1", L"a3"));
  EXPECT_EQ(calls, 3);

  // sort() starts from an empty cache.
  OdArray<OdString> names{L"a2", L"a1"};
  sorter.sort(names);
  EXPECT_EQ(calls, 5);
  EXPECT_EQ(contents(names), (std::vector<std::wstring>{L"a1", L"a2"}));
}

TEST(LexiNumericalSorter, InconsistentTokenizerNeverLosesElements) {
  // int < double (by value), double < string, string < int: a cycle that no
  // strict weak order allows. The sort must still terminate, stay inside the
  // array and keep every element.
  std::mt19937 rng(7);
  OdArray<OdString> names;
  std::uniform_int_distribution<int> kind(0, 2);
  std::uniform_int_distribution<int> value(0, 5);
  for (int i = 0; i < 5000; ++i) names.append(OdString().format(L"%d:%d:%d", i, kind(rng), value(rng)));
  LexiNumericalSorter sorter([](LexiNumericalSorter::Tokens& t, const OdString& s) {
    const int k = s.getAt(s.find(L':') + 1) - L'0';
    const int v = s.getAt(s.getLength() - 1) - L'0';
    if (k == 0) t.emplace_back(v);
    if (k == 1) t.emplace_back(static_cast<double>(v) + 0.5);
    if (k == 2) t.emplace_back(OdString(L"s"));
  });
  OdArray<OdString> sorted = names;
  sorter.sort(sorted);
  std::vector<std::wstring> before = contents(names);
  std::vector<std::wstring> after = contents(sorted);
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  EXPECT_EQ(before, after);
}

TEST(LexiNumericalSorter, SortsLargeRandomArraysConsistently) {
  const ScopedThreadLocale c(testLocales().front().handle);
  std::mt19937 rng(99);
  OdArray<OdString> names;
  for (int i = 0; i < 3000; ++i) names.append(OdString(randomName(rng)));
  LexiNumericalSorter sorter;
  sorter.sort(names);
  for (unsigned i = 1; i < names.size(); ++i) {
    EXPECT_LE(strCmpAlphanum(names[i - 1].c_str(), names[i].c_str(), true), 0) << i;
  }
  EXPECT_EQ(LexiNumericalSorter::getAsDouble(LexiNumericalSorter::Token(OdString(L"12"))), 0.0);
  EXPECT_EQ(LexiNumericalSorter::getAsDouble(LexiNumericalSorter::Token(7)), 7.0);
  EXPECT_EQ(LexiNumericalSorter::getAsDouble(LexiNumericalSorter::Token(2.5)), 2.5);
}

// --- sortStrings, OdStringArrayLess, compareNamesLowercase ---------------------------

TEST(SortStrings, CollatesWithTheFlagTheOtherWayRound) {
  const ScopedThreadLocale c(testLocales().front().handle);
  OdArray<OdString> names{L"b", L"B", L"a", L"A", L"a10", L"a9"};
  EXPECT_EQ(sortStrings(names, false), 6ul);
  EXPECT_EQ(contents(names), (std::vector<std::wstring>{L"A", L"B", L"a", L"a10", L"a9", L"b"}));
  EXPECT_EQ(sortStrings(names, true), 6ul);
  // Ignoring case, "A" and "a" are equal: only their place among the others
  // is fixed.
  const auto sorted = contents(names);
  EXPECT_EQ(sorted[0].size() + sorted[1].size(), 2u);
  EXPECT_EQ(std::towlower(sorted[0][0]), L'a');
  EXPECT_EQ(std::towlower(sorted[1][0]), L'a');
  EXPECT_EQ(sorted[2], L"a10");
  EXPECT_EQ(sorted[3], L"a9");
  EXPECT_EQ(std::towlower(sorted[4][0]), L'b');
  EXPECT_EQ(std::towlower(sorted[5][0]), L'b');
  OdArray<OdString> empty;
  EXPECT_EQ(sortStrings(empty, true), 0ul);
}

TEST(SortStrings, UsesTheLocaleCollation) {
  if (!ut::test::hasLocale("en_US.UTF-8")) GTEST_SKIP() << "no en_US.UTF-8 locale";
  for (const auto& locale : testLocales()) {
    if (locale.name != "en_US.UTF-8") continue;
    const ScopedThreadLocale scoped(locale.handle);
    OdArray<OdString> names{L"b", L"B", L"\u00e9", L"a", L"f"};
    sortStrings(names, false);
    const auto sorted = contents(names);
    // Letters together regardless of case; "é" beside "e", before "f".
    EXPECT_EQ(sorted[0], L"a");
    EXPECT_EQ(sorted[3], L"\u00e9");
    EXPECT_EQ(sorted[4], L"f");
  }
}

TEST(OdStringArrayLess, LexicographicByCodeUnits) {
  const OdStringArrayLess less;
  const OdArray<OdString> ab{L"a", L"b"};
  const OdArray<OdString> abc{L"a", L"b", L"c"};
  const OdArray<OdString> aB{L"a", L"B"};
  EXPECT_TRUE(less(ab, abc));
  EXPECT_FALSE(less(abc, ab));
  EXPECT_FALSE(less(ab, ab));
  EXPECT_TRUE(less(aB, ab));
  EXPECT_FALSE(less(ab, aB));
  EXPECT_TRUE(less(OdArray<OdString>{}, ab));
  EXPECT_FALSE(less(OdArray<OdString>{}, OdArray<OdString>{}));
  EXPECT_TRUE(less(OdArray<OdString>{L"z"}, OdArray<OdString>{L"zz", L"a"}));
}

TEST(CompareNamesLowercase, FoldsAsciiOnlyAndHonoursTheLimit) {
  EXPECT_EQ(compareNamesLowercase(L"ABC", L"abd", 2), 0);
  EXPECT_EQ(compareNamesLowercase(L"ABC", L"abd", 0), L'c' - L'd');
  EXPECT_EQ(compareNamesLowercase(L"ABC", L"abd", 3), -1);
  EXPECT_EQ(compareNamesLowercase(L"Name", L"nAME", 0), 0);
  EXPECT_EQ(compareNamesLowercase(L"abc", L"ab", 0), L'c');
  EXPECT_EQ(compareNamesLowercase(L"ab", L"abc", 0), -L'c');
  EXPECT_EQ(compareNamesLowercase(L"ab", L"abc", 2), 0);
  // Only A..Z fold: '[' (after 'Z') stays, and so do non-ASCII capitals.
  EXPECT_EQ(compareNamesLowercase(L"[", L"{", 0), L'[' - L'{');
  EXPECT_NE(compareNamesLowercase(L"\u00c9", L"\u00e9", 0), 0);
  EXPECT_EQ(compareNamesLowercase(L"x", L"y", 1), -1);
  EXPECT_EQ(compareNamesLowercase(nullptr, nullptr, 0), 0);
  EXPECT_LT(compareNamesLowercase(nullptr, L"a", 0), 0);
  // Differences beyond the range of int keep their sign.
  const wchar_t high[] = {static_cast<wchar_t>(0x7FFFFFFF), L'\0'};
  const wchar_t low[] = {static_cast<wchar_t>(-0x7FFFFFFF), L'\0'};
  EXPECT_GT(compareNamesLowercase(high, low, 0), 0);
  EXPECT_LT(compareNamesLowercase(low, high, 0), 0);
}
