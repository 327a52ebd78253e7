// strCmpAlphanum on two arbitrary strings: the same answer as the definition
// worked step by step with direct collation calls, the opposite sign when the
// arguments swap, and 0 against itself. The locale is that of FUZZ_LOCALE
// (default C.UTF-8).

#include <ut/ut_sorting.h>

#include "../tests/text/sorting_reference.h"
#include "fuzz_input.h"

#include <clocale>
#include <cstdlib>

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* locale = std::getenv("FUZZ_LOCALE");
  if (std::setlocale(LC_ALL, locale != nullptr ? locale : "C.UTF-8") == nullptr) std::setlocale(LC_ALL, "C");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool caseSensitive = (data[0] & 1) != 0;
  const std::wstring both = ut::fuzz::wideText(data + 1, size - 1);
  // The first '|' separates the two strings.
  const std::size_t bar = both.find(L'|');
  const std::wstring a = ut::fuzz::cString(both.substr(0, bar));
  const std::wstring b = ut::fuzz::cString(bar == std::wstring::npos ? std::wstring() : both.substr(bar + 1));
  const int ab = ut::strCmpAlphanum(a.c_str(), b.c_str(), caseSensitive);
  if (ab != ut::test::referenceAlphanum(a, b, caseSensitive)) std::abort();
  if (sign(ab) != -sign(ut::strCmpAlphanum(b.c_str(), a.c_str(), caseSensitive))) std::abort();
  if (ut::strCmpAlphanum(a.c_str(), a.c_str(), caseSensitive) != 0) std::abort();
  if (ut::strCmpAlphanum(a.c_str(), nullptr, caseSensitive) != -1) std::abort();
  return 0;
}
