#include <ut/ut_sorting.h>

#include "ut_platform.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cwctype>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace ut {

namespace {

// Both the positions walked and the digits of one run compared are capped, so
// a comparison costs at most about a million steps whatever the input.
constexpr int kMaxPositions = 1024;
constexpr int kMaxRunDigits = 1024;
constexpr double kTokenTolerance = 1e-10;

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

const wchar_t* skipZeros(const wchar_t* p) {
  while (*p == L'0') ++p;
  return p;
}

struct RunOrder {
  int order = 0;           // -1 or +1 when the runs decide
  bool identical = false;  // both ended together with no differing digit
};

// Compares the digit runs starting at a and b (both start with a digit).
RunOrder compareRuns(const wchar_t* a, const wchar_t* b) {
  int firstDifference = 0;
  for (int k = 0; k < kMaxRunDigits; ++k) {
    const bool moreA = isDigit(a[k]);
    const bool moreB = isDigit(b[k]);
    if (!moreA && !moreB) return RunOrder{firstDifference, firstDifference == 0};
    if (!moreA) return RunOrder{-1, false};
    if (!moreB) return RunOrder{1, false};
    if (firstDifference == 0 && a[k] != b[k]) firstDifference = a[k] < b[k] ? -1 : 1;
  }
  // Runs this long agree as far as they were read; a difference seen so far
  // is not trusted to decide.
  return RunOrder{};
}

// Introspective sort (quicksort, heapsort past a depth limit, insertion sort
// for short ranges) whose every loop is bounded by the range itself. The
// standard library's sort may read outside the range when the comparison is
// not a strict weak order, and a caller's tokenizer can make it one that
// is not.
template <class It, class Less>
void insertionSort(It first, It last, Less& less) {
  if (last - first < 2) return;
  for (It i = first + 1; i != last; ++i) {
    auto value = std::move(*i);
    It j = i;
    for (; j != first && less(value, *(j - 1)); --j) *j = std::move(*(j - 1));
    *j = std::move(value);
  }
}

template <class It, class Less>
void introSort(It first, It last, int depth, Less& less) {
  constexpr std::ptrdiff_t kShortRange = 16;
  while (last - first > kShortRange) {
    if (depth-- == 0) {
      std::make_heap(first, last, less);
      std::sort_heap(first, last, less);
      return;
    }
    // Median of three as the pivot, moved to the front.
    It a = first + 1;
    It b = first + (last - first) / 2;
    It c = last - 1;
    if (less(*b, *a)) std::iter_swap(a, b);
    if (less(*c, *b)) std::iter_swap(b, c);
    if (less(*b, *a)) std::iter_swap(a, b);
    std::iter_swap(first, b);

    It lo = first + 1;
    It hi = last - 1;
    while (true) {
      while (lo <= hi && less(*lo, *first)) ++lo;
      while (lo <= hi && less(*first, *hi)) --hi;
      if (lo >= hi) break;
      std::iter_swap(lo, hi);
      ++lo;
      --hi;
    }
    std::iter_swap(first, hi);
    // Recurse into the smaller side, loop on the larger: the stack stays
    // logarithmic.
    if (hi - first < last - (hi + 1)) {
      introSort(first, hi, depth, less);
      first = hi + 1;
    } else {
      introSort(hi + 1, last, depth, less);
      last = hi;
    }
  }
  insertionSort(first, last, less);
}

template <class It, class Less>
void robustSort(It first, It last, Less less) {
  int depth = 0;
  for (auto n = last - first; n > 1; n /= 2) depth += 2;
  introSort(first, last, depth, less);
}

wchar_t foldAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c - L'A' + L'a') : c; }

}  // namespace

// --- natural comparison --------------------------------------------------------

int strCmpAlphanum(const wchar_t* a, const wchar_t* b, bool caseSensitive) {
  if (a == nullptr) return b == nullptr ? 0 : 1;
  if (b == nullptr) return -1;
  // The shared position, held at a string's terminator once it is reached.
  const wchar_t* pa = a;
  const wchar_t* pb = b;
  // The first character that is not '0' at or after pa (pb); it stays valid
  // while the position has not passed it.
  const wchar_t* za = skipZeros(pa);
  const wchar_t* zb = skipZeros(pb);
  // Set when the runs at this position are known to be identical: as long as
  // the characters then agree, the runs at the next position are identical
  // suffixes of them, or absent, and cannot decide either.
  bool sameRuns = false;
  for (int i = 0; i < kMaxPositions; ++i) {
    const wchar_t ca = *pa;
    const wchar_t cb = *pb;
    if (za < pa) za = skipZeros(pa);
    if (zb < pb) zb = skipZeros(pb);
    if (isDigit(*za) && isDigit(*zb)) {
      if (!sameRuns) {
        const RunOrder runs = compareRuns(za, zb);
        if (runs.order != 0) return runs.order;
        sameRuns = runs.identical;
      }
    } else {
      sameRuns = false;
    }
    if (ca == L'\0' && cb == L'\0') return 0;
    if (ca != cb) {
      const int order = platform::crtCollateChars(ca, cb, !caseSensitive);
      if (order != 0) return order;
      sameRuns = false;
    }
    if (ca != L'\0') ++pa;
    if (cb != L'\0') ++pb;
  }
  return 0;
}

// --- LexiNumericalSorter --------------------------------------------------------

LexiNumericalSorter::LexiNumericalSorter(Tokenizer tokenizer) : m_tokenizer(std::move(tokenizer)) {}

const LexiNumericalSorter::Tokens& LexiNumericalSorter::tokensOf(const OdString& text) {
  auto it = m_cache.lower_bound(text);
  if (it != m_cache.end() && it->first == text) return it->second;
  Tokens tokens;
  m_tokenizer(tokens, text);
  return m_cache.emplace_hint(it, text, std::move(tokens))->second;
}

bool LexiNumericalSorter::isLess(const OdString& a, const OdString& b) {
  if (!m_tokenizer) return strCmpAlphanum(a.c_str(), b.c_str(), true) < 0;
  // Map nodes never move, so both references survive the second insertion.
  const Tokens& ta = tokensOf(a);
  const Tokens& tb = tokensOf(b);
  const std::size_t n = std::min(ta.size(), tb.size());
  for (std::size_t k = 0; k < n; ++k) {
    const Token& x = ta[k];
    const Token& y = tb[k];
    const bool textX = std::holds_alternative<OdString>(x);
    const bool textY = std::holds_alternative<OdString>(y);
    if (!textX && !textY) {
      const double dx = getAsDouble(x);
      const double dy = getAsDouble(y);
      if (dx - dy > kTokenTolerance) return false;
      if (dx < dy - kTokenTolerance) return true;
    } else if (textX && textY) {
      const int order = std::get<OdString>(x).compare(std::get<OdString>(y));
      if (order != 0) return order < 0;
    } else {
      return x.index() < y.index();
    }
  }
  return ta.size() < tb.size();
}

void LexiNumericalSorter::sort(OdArray<OdString>& strings) {
  m_cache.clear();
  robustSort(strings.begin(), strings.end(), [this](const OdString& a, const OdString& b) { return isLess(a, b); });
}

double LexiNumericalSorter::getAsDouble(const Token& token) {
  if (const double* d = std::get_if<double>(&token)) return *d;
  if (const int* i = std::get_if<int>(&token)) return static_cast<double>(*i);
  return 0.0;
}

// --- other orderings ------------------------------------------------------------

unsigned long sortStrings(OdArray<OdString>& strings, bool ignoreCase) {
  if (!ignoreCase) {
    robustSort(strings.begin(), strings.end(),
               [](const OdString& a, const OdString& b) { return platform::crtCollate(a.c_str(), b.c_str()) < 0; });
    return strings.size();
  }
  // Each string is lower-cased once rather than at every comparison; the
  // comparison of the lowered copies is exactly crtCollateNoCase.
  struct Entry {
    std::wstring lowered;
    OdString text;
  };
  std::vector<Entry> entries;
  entries.reserve(strings.size());
  for (const OdString& s : strings) {
    std::wstring lowered(s.c_str());
    for (auto& c : lowered) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    entries.push_back(Entry{std::move(lowered), s});
  }
  robustSort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    return platform::crtCollate(a.lowered.c_str(), b.lowered.c_str()) < 0;
  });
  for (std::size_t i = 0; i < entries.size(); ++i) {
    strings[static_cast<OdArray<OdString>::size_type>(i)] = std::move(entries[i].text);
  }
  return strings.size();
}

bool OdStringArrayLess::operator()(const OdArray<OdString>& x, const OdArray<OdString>& y) const {
  return std::lexicographical_compare(x.begin(), x.end(), y.begin(), y.end(),
                                      [](const OdString& a, const OdString& b) { return a.compare(b) < 0; });
}

int compareNamesLowercase(const wchar_t* a, const wchar_t* b, std::size_t maxChars) {
  if (a == nullptr) a = L"";
  if (b == nullptr) b = L"";
  std::int64_t fa = 0;
  std::int64_t fb = 0;
  for (std::size_t count = 0;; ++count) {
    fa = foldAscii(a[count]);
    fb = foldAscii(b[count]);
    if (fa != fb || fa == 0 || count + 1 == maxChars) break;
  }
  const std::int64_t difference = fa - fb;
  if (difference > INT_MAX) return 1;
  if (difference < INT_MIN) return -1;
  return static_cast<int>(difference);
}

}  // namespace ut
