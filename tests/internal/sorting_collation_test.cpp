#include <gtest/gtest.h>

#include "ut_platform.h"

#include "../sorting_locales.h"

#include <cwchar>
#include <cwctype>
#include <string>
#include <thread>
#include <vector>

using namespace ut::platform;
using ut::test::ScopedThreadLocale;
using ut::test::testLocales;

namespace {

// Characters around every boundary the cache has: ASCII, Latin-1 and the
// dense range's end, other scripts, beyond the BMP, and values that are not
// characters at all.
std::vector<wchar_t> probeCharacters() {
  std::vector<wchar_t> out;
  for (wchar_t c = 0; c < 0x300; ++c) out.push_back(c);
  for (long c : {0x391L, 0x3B1L, 0x410L, 0x430L, 0x5D0L, 0x627L, 0x4E00L, 0x4E01L, 0xAC00L, 0xFB01L, 0xFF21L, 0xFF41L,
                 0xFFFDL, 0x1F600L, 0x10FFFFL, 0xD800L, 0xDFFFL, 0x110000L, 0x7FFFFFFFL, -1L}) {
    out.push_back(static_cast<wchar_t>(c));
  }
  return out;
}

// The direct call, on buffers placed as the cache places its own (the C
// library's magnitudes may depend on where the strings lie).
int direct(wchar_t a, wchar_t b, bool ignoreCase) {
  const auto lower = [](wchar_t c) { return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c))); };
  alignas(64) const wchar_t sa[2] = {ignoreCase ? lower(a) : a, L'\0'};
  alignas(64) const wchar_t sb[2] = {ignoreCase ? lower(b) : b, L'\0'};
  return std::wcscoll(sa, sb);
}

int sign(int v) { return (v > 0) - (v < 0); }

// Counts the pairs whose cached answer differs from the direct call.
long mismatches(const std::vector<wchar_t>& chars, bool ignoreCase, std::size_t stride = 1) {
  long bad = 0;
  for (std::size_t i = 0; i < chars.size(); i += stride) {
    for (std::size_t j = 0; j < chars.size(); ++j) {
      if (crtCollateChars(chars[i], chars[j], ignoreCase) != direct(chars[i], chars[j], ignoreCase)) ++bad;
    }
  }
  return bad;
}

}  // namespace

TEST(CrtCollate, IsTheCLibraryCollation) {
  for (const auto& locale : testLocales()) {
    const ScopedThreadLocale scoped(locale.handle);
    SCOPED_TRACE(locale.name);
    for (const auto& [a, b] : {std::pair{L"abc", L"abd"}, std::pair{L"B", L"a"}}) {
      EXPECT_EQ(sign(crtCollate(a, b)), sign(std::wcscoll(a, b)));
    }
    EXPECT_EQ(crtCollate(nullptr, L""), 0);  // null is the empty string
    EXPECT_LT(crtCollate(nullptr, L"a"), 0);
    EXPECT_GT(crtCollate(L"a", nullptr), 0);
    EXPECT_GT(crtCollateNoCase(L"B", L"a"), 0);
    EXPECT_EQ(crtCollateNoCase(L"ABC", L"abc"), 0);
    EXPECT_EQ(crtCollateNoCase(L"Stra\u00DFE", L"stra\u00dfe"), 0);
    EXPECT_GT(crtCollateNoCase(L"x", nullptr), 0);
  }
  // Code point order in C: capitals first.
  const ScopedThreadLocale c(testLocales().front().handle);
  EXPECT_LT(crtCollate(L"B", L"a"), 0);
}

TEST(CrtCollateChars, IdenticalToTheDirectCallInEveryLocale) {
  ASSERT_GE(testLocales().size(), 2u);
  const std::vector<wchar_t> chars = probeCharacters();
  for (const auto& locale : testLocales()) {
    const ScopedThreadLocale scoped(locale.handle);
    // Each case mode twice: the first pass fills the cache, the second reads it.
    for (bool ignoreCase : {false, false, true, true}) {
      EXPECT_EQ(mismatches(chars, ignoreCase), 0) << locale.name << " ignoreCase " << ignoreCase;
    }
  }
}

TEST(CrtCollateChars, FollowsLocaleSwitchesAndThreads) {
  if (!ut::test::hasLocale("en_US.UTF-8")) GTEST_SKIP() << "no en_US.UTF-8 locale";
  const std::vector<wchar_t> chars = probeCharacters();
  // Threads in different locales share the per-locale tables while filling
  // them; each must see its own locale's answers throughout.
  std::vector<long> bad(testLocales().size() * 2, 0);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < bad.size(); ++t) {
    threads.emplace_back([&, t] {
      const auto& locales = testLocales();
      for (int round = 0; round < 3; ++round) {
        const auto& locale = locales[(t + static_cast<std::size_t>(round)) % locales.size()];
        const ScopedThreadLocale scoped(locale.handle);
        bad[t] += mismatches(chars, t % 2 == 1, 7);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (std::size_t t = 0; t < bad.size(); ++t) EXPECT_EQ(bad[t], 0) << "thread " << t;
}

TEST(CrtCollateChars, GlobalLocaleChangesAreSeen) {
  // setlocale changes the global locale, which threads without their own
  // locale follow.
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  EXPECT_EQ(crtCollateChars(L'B', L'a', false), direct(L'B', L'a', false));
  EXPECT_LT(crtCollateChars(L'B', L'a', false), 0);
  if (std::setlocale(LC_ALL, "C.UTF-8") != nullptr) {
    EXPECT_EQ(mismatches(probeCharacters(), true, 5), 0);
  }
  std::setlocale(LC_ALL, saved.c_str());
}
