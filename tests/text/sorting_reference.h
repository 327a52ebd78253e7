#pragma once

// The natural comparison written out step by step as it is defined, with no
// shortcuts, collating each character pair by a direct call of the C library.
// The tests and the fuzz target hold the library's strCmpAlphanum against it.

#include <cwchar>
#include <cwctype>
#include <string>

namespace ut::test {

// Positions past a string's end read as its terminator. Strings holding a
// null character compare as if they ended there only when the caller cuts
// them there.
inline int referenceAlphanum(const std::wstring& a, const std::wstring& b, bool caseSensitive) {
  const auto at = [](const std::wstring& s, std::size_t i) { return i < s.size() ? s[i] : L'\0'; };
  const auto digit = [](wchar_t c) { return c >= L'0' && c <= L'9'; };
  for (std::size_t i = 0; i < 1024; ++i) {
    const wchar_t ca = at(a, i);
    const wchar_t cb = at(b, i);
    std::size_t ia = i;
    std::size_t ib = i;
    while (at(a, ia) == L'0') ++ia;
    while (at(b, ib) == L'0') ++ib;
    if (digit(at(a, ia)) && digit(at(b, ib))) {
      int first = 0;
      int decided = 0;
      bool fellThrough = true;
      for (std::size_t k = 0; k < 1024; ++k) {
        const bool da = digit(at(a, ia + k));
        const bool db = digit(at(b, ib + k));
        if (!da && !db) {
          decided = first;
          fellThrough = false;
          break;
        }
        if (!da) return -1;
        if (!db) return 1;
        if (first == 0 && at(a, ia + k) != at(b, ib + k)) first = at(a, ia + k) < at(b, ib + k) ? -1 : 1;
      }
      if (!fellThrough && decided != 0) return decided;
    }
    if (ca == L'\0' && cb == L'\0') return 0;
    // Aligned, as the library places them: the C library's magnitudes for the
    // same strings may depend on their addresses.
    alignas(64) wchar_t sa[2] = {ca, L'\0'};
    alignas(64) wchar_t sb[2] = {cb, L'\0'};
    if (!caseSensitive) {
      sa[0] = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(sa[0])));
      sb[0] = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(sb[0])));
    }
    const int r = std::wcscoll(sa, sb);
    if (r != 0) return r;
  }
  return 0;
}

}  // namespace ut::test
