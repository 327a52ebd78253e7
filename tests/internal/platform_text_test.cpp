#include <gtest/gtest.h>

#include <algorithm>
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
  return {
      L"",
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
      std::wstring(L"a\0b", 3),
  };
}

// Restores LC_CTYPE when a test changed it.
class CtypeGuard {
 public:
  CtypeGuard() {
    const char* current = std::setlocale(LC_CTYPE, nullptr);
    m_saved = current ? current : "C";
  }
  ~CtypeGuard() { std::setlocale(LC_CTYPE, m_saved.c_str()); }
  CtypeGuard(const CtypeGuard&) = delete;
  CtypeGuard& operator=(const CtypeGuard&) = delete;

  // Switches to the first UTF-8 locale the system has.
  bool useUtf8() {
    for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8", "en_US.utf8"}) {
      if (std::setlocale(LC_CTYPE, name)) return true;
    }
    return false;
  }

 private:
  std::string m_saved;
};

}  // namespace

// --- compareNoCase / equalNoCase ---------------------------------------------------

TEST(PlatformCompareNoCase, IgnoresCaseNotAccents) {
  EXPECT_EQ(up::compareNoCase(L"abc", L"ABC"), 0);
  EXPECT_EQ(up::compareNoCase(L"Résumé", L"RÉSUMÉ"), 0);
  EXPECT_EQ(up::compareNoCase(L"ДОМ", L"дом"), 0);
  EXPECT_EQ(up::compareNoCase(L"ΩΜΈΓΑ", L"ωμέγα"), 0);
  EXPECT_EQ(up::compareNoCase(L"\U00010400", L"\U00010428"), 0);
  EXPECT_TRUE(up::equalNoCase(L"Straße", L"STRAẞE"));

  EXPECT_NE(up::compareNoCase(L"resume", L"résumé"), 0);
  EXPECT_NE(up::compareNoCase(L"e", L"É"), 0);
  EXPECT_FALSE(up::equalNoCase(L"Apfel", L"Äpfel"));
  EXPECT_FALSE(up::equalNoCase(L"abc", L"abcd"));
  EXPECT_FALSE(up::equalNoCase(L"", L"a"));
  EXPECT_TRUE(up::equalNoCase(L"", L""));
}

TEST(PlatformCompareNoCase, OrdersLinguisticallyNotByCodePoint) {
  // By code point "B" < "a" and "Z" < "a"; ignoring case they come after.
  EXPECT_LT(up::compareNoCase(L"apple", L"Banana"), 0);
  EXPECT_GT(up::compareNoCase(L"Zebra", L"apple"), 0);
  // Accented letters sort with their base letter, not after "z".
  EXPECT_LT(up::compareNoCase(L"éclair", L"zebra"), 0);
  EXPECT_LT(up::compareNoCase(L"", L"a"), 0);
  EXPECT_GT(up::compareNoCase(L"ab", L"A"), 0);
}

TEST(PlatformCompareNoCase, CanonicallyEquivalentFormsAreEqual) {
  EXPECT_EQ(up::compareNoCase(L"\u00E9", L"e\u0301"), 0);
  EXPECT_EQ(up::compareNoCase(L"RE\u0301SUME\u0301", L"résumé"), 0);
  EXPECT_EQ(up::sortKeyNoCase(L"\u00C5ngstr\u00F6m"), up::sortKeyNoCase(L"a\u030Angstro\u0308m"));
}

TEST(PlatformCompareNoCase, AntisymmetricAndAgreesWithSortKeysOverAllPairs) {
  const auto strings = sampleStrings();
  std::vector<std::string> keys;
  for (const auto& s : strings) keys.push_back(up::sortKeyNoCase(s));
  for (std::size_t i = 0; i < strings.size(); ++i) {
    for (std::size_t j = 0; j < strings.size(); ++j) {
      const int direct = sign(up::compareNoCase(strings[i], strings[j]));
      const int reverse = sign(up::compareNoCase(strings[j], strings[i]));
      const int byKey = sign(keys[i].compare(keys[j]));
      EXPECT_EQ(direct, -reverse) << i << " vs " << j;
      EXPECT_EQ(direct, byKey) << i << " vs " << j;
      EXPECT_EQ(direct == 0, up::equalNoCase(strings[i], strings[j])) << i << " vs " << j;
    }
  }
}

TEST(PlatformCompareNoCase, SortedOrderIsConsistent) {
  auto strings = sampleStrings();
  std::sort(strings.begin(), strings.end(),
            [](const std::wstring& a, const std::wstring& b) { return up::compareNoCase(a, b) < 0; });
  // A total preorder: every later element is not less than every earlier one.
  for (std::size_t i = 0; i < strings.size(); ++i) {
    for (std::size_t j = i + 1; j < strings.size(); ++j) {
      EXPECT_GE(up::compareNoCase(strings[j], strings[i]), 0) << i << " vs " << j;
    }
  }
}

TEST(PlatformCompareNoCase, SortKeysOfLongStringsAreComplete) {
  // Longer than any fixed first-try buffer: the difference is at the very end.
  const std::wstring base(2000, L'x');
  EXPECT_LT(up::sortKeyNoCase(base + L"a").compare(up::sortKeyNoCase(base + L"B")), 0);
  EXPECT_EQ(up::sortKeyNoCase(base + L"q"), up::sortKeyNoCase(base + L"Q"));
  EXPECT_LT(up::compareNoCase(base + L"a", base + L"B"), 0);
  EXPECT_TRUE(up::sortKeyNoCase(L"").empty() || up::sortKeyNoCase(L"") < up::sortKeyNoCase(L"a"));
}

TEST(PlatformCompareNoCase, ConcurrentThreadsAgreeWithOneThread) {
  const auto strings = sampleStrings();
  const std::size_t n = strings.size();
  std::vector<int> expected(n * n);
  std::vector<int> expectedCollated(n * n);
  std::vector<std::string> expectedKeys;
  for (std::size_t i = 0; i < n; ++i) {
    expectedKeys.push_back(up::sortKeyNoCase(strings[i]));
    for (std::size_t j = 0; j < n; ++j) {
      expected[i * n + j] = sign(up::compareNoCase(strings[i], strings[j]));
      expectedCollated[i * n + j] = sign(up::collateNoCase(strings[i], strings[j]));
    }
  }

  constexpr int kThreads = 4;
  std::vector<int> mismatches(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 5; ++round) {
        for (std::size_t i = 0; i < n; ++i) {
          // Offsetting by thread keeps the threads on different pairs.
          const std::size_t a = (i + static_cast<std::size_t>(t) * 7) % n;
          if (up::sortKeyNoCase(strings[a]) != expectedKeys[a]) ++mismatches[t];
          for (std::size_t j = 0; j < n; ++j) {
            if (sign(up::compareNoCase(strings[a], strings[j])) != expected[a * n + j]) ++mismatches[t];
            if (sign(up::collateNoCase(strings[a], strings[j])) != expectedCollated[a * n + j]) ++mismatches[t];
          }
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

// --- collate / collateNoCase ---------------------------------------------------------

TEST(PlatformCollate, CaseBreaksTiesButDoesNotOrderFirst) {
  EXPECT_NE(up::collate(L"a", L"A"), 0);
  EXPECT_EQ(up::collate(L"a", L"A"), -up::collate(L"A", L"a"));
  EXPECT_LT(up::collate(L"a", L"B"), 0);   // not code-point order
  EXPECT_LT(up::collate(L"A", L"b"), 0);
  EXPECT_LT(up::collate(L"e", L"é"), 0);   // accent is a secondary difference
  EXPECT_LT(up::collate(L"é", L"f"), 0);
  EXPECT_EQ(up::collate(L"\u00E9", L"e\u0301"), 0);
  EXPECT_EQ(up::collate(L"", L""), 0);
  EXPECT_LT(up::collate(L"", L"a"), 0);
}

TEST(PlatformCollate, NoCaseFormComparesFoldedCopies) {
  EXPECT_EQ(up::collateNoCase(L"a", L"A"), 0);
  EXPECT_EQ(up::collateNoCase(L"Straße", L"STRASSE"), 0);
  EXPECT_EQ(up::collateNoCase(L"ΣΊΣΥΦΟΣ", L"σίσυφος"), 0);
  EXPECT_NE(up::collateNoCase(L"é", L"e"), 0);
  EXPECT_LT(up::collateNoCase(L"apple", L"BANANA"), 0);
  EXPECT_GT(up::collateNoCase(L"ZEBRA", L"apple"), 0);
  // Agrees in sign with comparing the folded copies directly.
  const auto strings = sampleStrings();
  for (const auto& a : strings) {
    for (const auto& b : strings) {
      EXPECT_EQ(sign(up::collateNoCase(a, b)), sign(up::collate(up::foldCase(a), up::foldCase(b))));
    }
  }
}

// --- toLower / foldCase ------------------------------------------------------------------

TEST(PlatformToLower, MapsEveryCodePointToOne) {
  EXPECT_EQ(up::toLower(L"Hello WORLD 123"), L"hello world 123");
  EXPECT_EQ(up::toLower(L"ÀÉÎÕÜ"), L"àéîõü");
  EXPECT_EQ(up::toLower(L"ΣΊΣΥΦΟΣ"), L"σίσυφοσ");  // simple mapping: no final-sigma context
  EXPECT_EQ(up::toLower(L"ДОМ"), L"дом");
  EXPECT_EQ(up::toLower(L"\U00010400"), L"\U00010428");
  EXPECT_EQ(up::toLower(L"ẞ"), L"ß");
  EXPECT_EQ(up::toLower(L""), L"");
  // Offsets must carry over to the argument: the length never changes, even
  // where full lower-casing would add a combining dot.
  for (const auto& s : sampleStrings()) EXPECT_EQ(up::toLower(s).size(), s.size());
  EXPECT_EQ(up::toLower(L"İ"), L"i");
  // Values that are not characters pass unchanged.
  const std::wstring odd{static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)};
  EXPECT_EQ(up::toLower(odd), odd);
}

TEST(PlatformToLower, SubstringSearchOnLoweredCopiesFindsOriginalOffset) {
  const std::wstring text = L"Zeichnung İSTANBUL Straße.DWG";
  const std::wstring lowered = up::toLower(text);
  const auto at = lowered.find(up::toLower(L"straße.dwg"));
  ASSERT_NE(at, std::wstring::npos);
  EXPECT_EQ(text.substr(at), L"Straße.DWG");
}

TEST(PlatformFoldCase, InvalidCodePointsDoNotBreakFolding) {
  const std::wstring odd{L'A', static_cast<wchar_t>(0xD800), L'Ä', static_cast<wchar_t>(0x7FFFFFFF)};
  const std::wstring folded = up::foldCase(odd);
  ASSERT_EQ(folded.size(), 4u);
  EXPECT_EQ(folded[0], L'a');
  EXPECT_EQ(folded[1], L'\uFFFD');
  EXPECT_EQ(folded[2], L'ä');
  EXPECT_EQ(folded[3], L'\uFFFD');
  // Folding is idempotent.
  for (const auto& s : sampleStrings()) EXPECT_EQ(up::foldCase(up::foldCase(s)), up::foldCase(s));
}

// --- UTF-8 -----------------------------------------------------------------------------------

TEST(PlatformUtf8, RoundTripsEveryScalarRange) {
  const std::wstring text = L"a\u007F\u0080\u07FF\u0800\uD7FF\uE000\uFFFD\uFFFF\U00010000\U0010FFFF";
  const std::string bytes = up::toUtf8(text);
  EXPECT_EQ(bytes,
            "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xEF\xBF\xBF"
            "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  EXPECT_EQ(up::fromUtf8(bytes), text);
  EXPECT_EQ(up::fromUtf8(std::string("x\0y", 3)), std::wstring(L"x\0y", 3));
}

TEST(PlatformUtf8, NonCharactersAndBrokenBytesBecomeReplacement) {
  EXPECT_EQ(up::toUtf8(std::wstring{static_cast<wchar_t>(0xD800)}), "\xEF\xBF\xBD");
  EXPECT_EQ(up::toUtf8(std::wstring{static_cast<wchar_t>(0x110000)}), "\xEF\xBF\xBD");
  EXPECT_EQ(up::toUtf8(std::wstring{static_cast<wchar_t>(-5)}), "\xEF\xBF\xBD");

  EXPECT_EQ(up::fromUtf8("\xC0\xAF"), L"\uFFFD\uFFFD");          // overlong lead bytes
  EXPECT_EQ(up::fromUtf8("\xE0\x80\xAF"), L"\uFFFD\uFFFD\uFFFD");  // overlong three-byte
  EXPECT_EQ(up::fromUtf8("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");  // encoded surrogate
  EXPECT_EQ(up::fromUtf8("\xF4\x90\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");  // past U+10FFFF
  EXPECT_EQ(up::fromUtf8("a\xE2\x82"), L"a\uFFFD");              // cut short at the end
  EXPECT_EQ(up::fromUtf8("\xE2\x82z"), L"\uFFFDz");              // cut short before ASCII
  EXPECT_EQ(up::fromUtf8("\x80\xFF"), L"\uFFFD\uFFFD");
  EXPECT_EQ(up::fromUtf8("\xF0\x9F\x98\x80!"), L"\U0001F600!");
}

// --- ANSI conversions ------------------------------------------------------------------------

TEST(PlatformAnsi, RoundTripUnderUtf8Locale) {
  CtypeGuard guard;
  if (!guard.useUtf8()) GTEST_SKIP() << "no UTF-8 locale installed";
  const std::wstring text = L"Müller on Höst-7 € \U0001F600 дом";
  const std::string bytes = up::toAnsi(text);
  EXPECT_EQ(bytes, up::toUtf8(text));
  EXPECT_EQ(up::fromAnsi(bytes), text);
  // Decomposed input is composed first.
  EXPECT_EQ(up::toAnsi(L"e\u0301"), "\xC3\xA9");
  // Embedded nulls survive both ways.
  EXPECT_EQ(up::toAnsi(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(up::fromAnsi(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
  // Bytes that are not UTF-8 never go through as garbage.
  EXPECT_EQ(up::fromAnsi("ok\xFF"), L"ok\uFFFD");
  EXPECT_EQ(up::fromAnsi("\xC3"), L"\uFFFD");
  EXPECT_EQ(up::toAnsi(std::wstring{L'x', static_cast<wchar_t>(0xD800)}), "x?");
}

TEST(PlatformAnsi, UnrepresentableBecomesQuestionMarkInCLocale) {
  CtypeGuard guard;
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
  EXPECT_EQ(up::toAnsi(L"plain ASCII 0-9"), "plain ASCII 0-9");
  EXPECT_EQ(up::toAnsi(L"a€b"), "a?b");
  EXPECT_EQ(up::toAnsi(L"Müller"), "M?ller");
  EXPECT_EQ(up::toAnsi(L"\U0001F600"), "?");
  EXPECT_EQ(up::toAnsi(L"e\u0301"), "?");  // one character after composition
  EXPECT_EQ(up::fromAnsi("plain"), L"plain");
  // A high byte yields exactly one character and never a crash.
  EXPECT_EQ(up::fromAnsi("\xE9x").size(), 2u);
  EXPECT_EQ(up::fromAnsi("\xE9x").back(), L'x');
  EXPECT_TRUE(up::toAnsi(L"").empty());
  EXPECT_TRUE(up::fromAnsi("").empty());
}
