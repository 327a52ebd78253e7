#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <thread>
#include <vector>

#include "ut_platform.h"

namespace up = ut::platform;

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// A varied set: case pairs, accents in both normal forms, other scripts,
// astral characters, punctuation, digits, empty and invalid code points.
std::vector<std::wstring> sampleStrings() {
  return {L"",
          L"a",
          L"A",
          L"b",
          L"B",
          L"ab",
          L"Ab",
          L"aB",
          L"abc",
          L"ABC",
          L"abd",
          L"Straße",
          L"STRASSE",
          L"strasse",
          L"résumé",
          L"RÉSUMÉ",
          L"re\u0301sume\u0301",
          L"resume",
          L"Resume",
          L"éclair",
          L"eclair",
          L"zebra",
          L"Zebra",
          L"Äpfel",
          L"apfel",
          L"ÄPFEL",
          L"Ωμέγα",
          L"ΩΜΈΓΑ",
          L"дом",
          L"ДОМ",
          L"中文",
          L"日本語",
          L"\U0001F600",
          L"\U0001F600a",
          L"\U00010400",
          L"\U00010428",
          L"x\U0001D11Ey",
          L"1",
          L"10",
          L"2",
          L"a b",
          L"a-b",
          L"a_b",
          L"a.b",
          L"file.DWG",
          L"FILE.dwg",
          L"Profile 1",
          L"profile 1",
          L"ıi",
          L"İI",
          std::wstring(1, static_cast<wchar_t>(0xD800)),
          std::wstring(1, static_cast<wchar_t>(0x110000)),
          std::wstring(L"a\0b", 3)};
}

// Restores LC_CTYPE when a test changed it.
struct CtypeGuard {
  std::string saved = std::setlocale(LC_CTYPE, nullptr);
  ~CtypeGuard() { std::setlocale(LC_CTYPE, saved.c_str()); }
};

}  // namespace

// --- compareNoCase / equalNoCase / sortKeyNoCase ------------------------------------

TEST(PlatformCompareNoCase, IgnoresCaseNotAccentsAndOrdersLinguistically) {
  struct Case {
    const wchar_t* a;
    const wchar_t* b;
    int expected;
  };
  const Case cases[] = {{L"abc", L"ABC", 0},
                        {L"Résumé", L"RÉSUMÉ", 0},
                        {L"ДОМ", L"дом", 0},
                        {L"\U00010400", L"\U00010428", 0},
                        {L"Straße", L"STRAẞE", 0},
                        {L"", L"", 0},
                        {L"RE\u0301SUME\u0301", L"résumé", 0},  // canonical equivalence
                        // Accents are a difference; so is length.
                        {L"resume", L"résumé", -1},
                        {L"Apfel", L"Äpfel", -1},
                        {L"abc", L"abcd", -1},
                        {L"", L"a", -1},
                        // Not code point order: "B" < "a" by code point, "é" > "z".
                        {L"apple", L"Banana", -1},
                        {L"éclair", L"zebra", -1},
                        {L"ab", L"A", 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(up::toUtf8(c.a) + " vs " + up::toUtf8(c.b));
    EXPECT_EQ(sign(up::compareNoCase(c.a, c.b)), c.expected);
    EXPECT_EQ(sign(up::compareNoCase(c.b, c.a)), -c.expected);
    EXPECT_EQ(up::equalNoCase(c.a, c.b), c.expected == 0);
    EXPECT_EQ(sign(up::sortKeyNoCase(c.a).compare(up::sortKeyNoCase(c.b))), c.expected);
  }
}

// Antisymmetry plus agreement with the byte order of the sort keys makes the
// comparison a total preorder, which sorted containers rely on.
TEST(PlatformCompareNoCase, AntisymmetricAndAgreesWithSortKeysOverAllPairs) {
  const auto strings = sampleStrings();
  std::vector<std::string> keys;
  for (const auto& s : strings) keys.push_back(up::sortKeyNoCase(s));
  for (std::size_t i = 0; i < strings.size(); ++i) {
    for (std::size_t j = 0; j < strings.size(); ++j) {
      const int direct = sign(up::compareNoCase(strings[i], strings[j]));
      EXPECT_EQ(direct, -sign(up::compareNoCase(strings[j], strings[i]))) << i << " vs " << j;
      EXPECT_EQ(direct, sign(keys[i].compare(keys[j]))) << i << " vs " << j;
      EXPECT_EQ(direct == 0, up::equalNoCase(strings[i], strings[j])) << i << " vs " << j;
    }
  }
}

TEST(PlatformCompareNoCase, SortKeysOfLongStringsAreComplete) {
  // Longer than any fixed first-try buffer: the difference is at the very end.
  const std::wstring base(2000, L'x');
  EXPECT_LT(up::sortKeyNoCase(base + L"a").compare(up::sortKeyNoCase(base + L"B")), 0);
  EXPECT_EQ(up::sortKeyNoCase(base + L"q"), up::sortKeyNoCase(base + L"Q"));
  EXPECT_LT(up::compareNoCase(base + L"a", base + L"B"), 0);
}

TEST(PlatformCompareNoCase, ConcurrentThreadsAgreeWithOneThread) {
  const auto strings = sampleStrings();
  const std::size_t n = strings.size();
  // Each thread's own collators must give exactly the single-thread answers.
  const auto answers = [&](std::size_t offset) {
    std::string out;
    for (std::size_t i = 0; i < n; ++i) {
      const std::wstring& a = strings[(i + offset) % n];  // threads start on different strings
      out += up::sortKeyNoCase(a);
      for (const auto& b : strings) {
        out += static_cast<char>('1' + sign(up::compareNoCase(a, b)));
        out += static_cast<char>('1' + sign(up::collateNoCase(a, b)));
      }
    }
    return out;
  };
  constexpr int kThreads = 4;
  std::vector<std::string> results(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 5; ++round) results[t] = answers(static_cast<std::size_t>(t) * 7);
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(results[t], answers(static_cast<std::size_t>(t) * 7)) << "thread " << t;
}

// --- collate / collateNoCase ---------------------------------------------------------

TEST(PlatformCollate, CaseBreaksTiesAndNoCaseFormComparesFoldedCopies) {
  EXPECT_EQ(sign(up::collate(L"a", L"A")), -sign(up::collate(L"A", L"a")));
  EXPECT_NE(up::collate(L"a", L"A"), 0);
  EXPECT_LT(up::collate(L"A", L"b"), 0);  // not code-point order
  EXPECT_LT(up::collate(L"e", L"é"), 0);  // accent is a secondary difference
  EXPECT_LT(up::collate(L"é", L"f"), 0);
  EXPECT_EQ(up::collate(L"\u00E9", L"e\u0301"), 0);
  EXPECT_EQ(up::collateNoCase(L"Straße", L"STRASSE"), 0);
  EXPECT_NE(up::collateNoCase(L"é", L"e"), 0);
  const auto strings = sampleStrings();
  for (const auto& a : strings) {
    for (const auto& b : strings) {
      EXPECT_EQ(sign(up::collateNoCase(a, b)), sign(up::collate(up::foldCase(a), up::foldCase(b))));
    }
  }
}

// --- toLower / foldCase ------------------------------------------------------------------

TEST(PlatformToLower, MapsEveryCodePointToOne) {
  // Simple mapping: no final-sigma context.
  EXPECT_EQ(up::toLower(L"Hello ÀÉ ΣΊΣΥΦΟΣ \U00010400ДОМẞ"), L"hello àé σίσυφοσ \U00010428домß");
  // Offsets must carry over to the argument: the length never changes, even
  // where full lower-casing would add a combining dot.
  EXPECT_EQ(up::toLower(L"İ"), L"i");
  for (const auto& s : sampleStrings()) EXPECT_EQ(up::toLower(s).size(), s.size());
  // Values that are not characters pass unchanged.
  const std::wstring odd{static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)};
  EXPECT_EQ(up::toLower(odd), odd);
}

TEST(PlatformFoldCase, FullFoldingOverUnicode) {
  EXPECT_EQ(up::foldCase(L"Software\\TVCAD \U00010400ДОМ \U0001D11E"), L"software\\tvcad \U00010428дом \U0001D11E");
  EXPECT_EQ(up::foldCase(L"STRASSE"), up::foldCase(L"Straße"));  // full folding: "ß" is "ss"
  EXPECT_EQ(up::foldCase(L"ΣΊΣΥΦΟΣ"), up::foldCase(L"σίσυφος"));
  EXPECT_NE(up::foldCase(L"e"), up::foldCase(L"é"));  // accents are not case
  const std::wstring odd{L'A', static_cast<wchar_t>(0xD800), L'Ä', static_cast<wchar_t>(0x7FFFFFFF)};
  EXPECT_EQ(up::foldCase(odd), L"a\uFFFDä\uFFFD");
  for (const auto& s : sampleStrings()) EXPECT_EQ(up::foldCase(up::foldCase(s)), up::foldCase(s));
}

// --- ANSI conversions ------------------------------------------------------------------------

TEST(PlatformAnsi, RoundTripUnderUtf8Locale) {
  const CtypeGuard guard;
  if (!std::setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "no UTF-8 locale installed";
  const std::wstring text = L"Müller on Höst-7 € \U0001F600 дом";
  EXPECT_EQ(up::toAnsi(text), up::toUtf8(text));
  EXPECT_EQ(up::fromAnsi(up::toAnsi(text)), text);
  EXPECT_EQ(up::toAnsi(L"e\u0301"), "\xC3\xA9");  // decomposed input is composed first
  EXPECT_EQ(up::fromAnsi(up::toAnsi(std::wstring(L"a\0b", 3))), std::wstring(L"a\0b", 3));
  EXPECT_EQ(up::fromAnsi("ok\xFF\xC3"), L"ok\uFFFD\uFFFD");  // never garbage from bytes that are not UTF-8
  EXPECT_EQ(up::toAnsi(std::wstring{L'x', static_cast<wchar_t>(0xD800)}), "x?");
}

TEST(PlatformAnsi, UnrepresentableBecomesQuestionMarkInCLocale) {
  const CtypeGuard guard;
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
  EXPECT_EQ(up::toAnsi(L"plain Müller a€b \U0001F600 e\u0301"), "plain M?ller a?b ? ?");  // composed first
  EXPECT_EQ(up::fromAnsi("plain"), L"plain");
  // A high byte yields exactly one character and never a crash.
  EXPECT_EQ(up::fromAnsi("\xE9x").size(), 2u);
  EXPECT_EQ(up::fromAnsi("\xE9x").back(), L'x');
  EXPECT_TRUE(up::toAnsi(L"").empty() && up::fromAnsi("").empty());
}

TEST(PlatformAsciiFolding, HoldsWhereNoTailoringTouchesAscii) {
  // The root order and English treat ASCII letters by simple case folding.
  for (const char* locale : {"root", "en_US", "de_DE"}) EXPECT_TRUE(up::asciiFoldsToCollation(locale)) << locale;
  // Turkish pairs "I" with dotless "ı"; Czech makes "ch" one letter; Danish
  // "aa" one letter; Lithuanian and Slovak tailor ASCII letters too.
  for (const char* locale : {"tr", "cs", "da"}) EXPECT_FALSE(up::asciiFoldsToCollation(locale)) << locale;
  EXPECT_FALSE(up::asciiFoldsToCollation(nullptr));
}

TEST(PlatformAsciiFolding, AgreesWithCompareNoCaseOverAsciiPairs) {
  if (!up::asciiFoldsToCollation()) GTEST_SKIP() << "the test locale tailors ASCII";
  // Every pair of printable ASCII characters, alone and inside a word.
  for (wchar_t a = 0x20; a <= 0x7E; ++a) {
    for (wchar_t b = 0x20; b <= 0x7E; ++b) {
      const bool folded = up::foldCase(std::wstring(1, a)) == up::foldCase(std::wstring(1, b));
      const std::wstring wa = std::wstring(L"k") + a + L"z";
      const std::wstring wb = std::wstring(L"k") + b + L"z";
      ASSERT_EQ(up::compareNoCase(wa, wb) == 0, folded) << int(a) << " " << int(b);
    }
  }
}
