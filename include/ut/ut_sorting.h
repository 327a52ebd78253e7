#pragma once

// Orderings of names: the natural ("alphanumeric") order that puts "a9"
// before "a10", a sorter built on it or on caller-defined tokens, a collating
// sort, a less-than for string arrays and a length-capped ASCII case-folding
// comparison.
//
// The collations used here are the C library's, under the calling thread's
// locale (which the library never sets).

#include <ut/ut_export.h>

#include "OdArray.h"
#include "OdString.h"

#include <cstddef>
#include <functional>
#include <map>
#include <variant>
#include <vector>

namespace ut {

// Three-way natural comparison: negative when `a` sorts first, 0 when equal,
// positive when `b` sorts first.
//
// Both strings are walked with one shared position. At each position, runs of
// decimal digits (ASCII '0'..'9'; leading zeros skipped in each string) are
// compared as numbers: the longer run is larger, else the first differing
// digit decides. Runs that are numerically equal, or that agree on their first
// 1024 digits, do not decide; then the characters at the position are compared
// as one-character strings by the locale collation (wcscoll, or _wcsicoll when
// `caseSensitive` is false) and a non-zero result is returned as it is. After
// 1024 positions without a decision the strings are equal.
//
// So "a9" < "a10", "x2y" < "x10y", "a01" < "a1", "007" < "7", "ab" < "abc".
// Two nulls are equal; a null sorts after every other string.
UT_EXPORT int strCmpAlphanum(const wchar_t* a, const wchar_t* b, bool caseSensitive);

// Sorts strings naturally (strCmpAlphanum, case-sensitive) or by token lists
// that a caller-supplied tokenizer makes from each string.
//
// With a tokenizer, two token lists are compared pair by pair: two numbers
// (double or int, mixed freely) by value, equal when within 1e-10; two strings
// by code units; a double before a string, a string before an int. When all
// compared pairs are equal the shorter list is less.
//
// Token lists are cached per string from the first comparison until the next
// sort(): strings must not change meanwhile. Not thread-safe: isLess changes
// the cache. Copies carry the tokenizer and the cache.
class UT_EXPORT LexiNumericalSorter {
 public:
  // The order of the alternatives matters (see the class comment).
  using Token = std::variant<double, OdString, int>;
  using Tokens = std::vector<Token>;
  using Tokenizer = std::function<void(Tokens& tokens, const OdString& text)>;

  LexiNumericalSorter() = default;
  explicit LexiNumericalSorter(Tokenizer tokenizer);

  // Strict "less" for sorting.
  bool isLess(const OdString& a, const OdString& b);
  // Empties the cache, then sorts `strings` in place (not stable). A tokenizer
  // whose order is inconsistent gives an unspecified order of the same
  // elements, never a fault.
  void sort(OdArray<OdString>& strings);

  // A double as it is, an int converted, a string as 0.0.
  static double getAsDouble(const Token& token);

 private:
  const Tokens& tokensOf(const OdString& text);

  std::map<OdString, Tokens> m_cache;
  Tokenizer m_tokenizer;
};

// Sorts `strings` in place by the locale collation: wcscoll, or _wcsicoll when
// `ignoreCase` is true (note: the opposite sense of strCmpAlphanum's flag).
// Returns the number of elements.
UT_EXPORT unsigned long sortStrings(OdArray<OdString>& strings, bool ignoreCase);

// Lexicographic "less" over string arrays, comparing strings by code units; a
// proper prefix is less than the longer array.
struct UT_EXPORT OdStringArrayLess {
  bool operator()(const OdArray<OdString>& x, const OdArray<OdString>& y) const;
};

// Compares at most `maxChars` characters (0: no limit), folding only 'A'..'Z'
// to lower case, and returns the difference of the last two folded characters
// compared (the sign of it when the difference exceeds int). Stops at the
// first difference or at the end of the strings. A null string counts as "".
UT_EXPORT int compareNamesLowercase(const wchar_t* a, const wchar_t* b, std::size_t maxChars);

}  // namespace ut
