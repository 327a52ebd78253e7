#pragma once

// The platform layer: every operating-system service the library takes from
// Windows, provided for Linux. Nothing else in the library calls the OS for
// these services. Internal: not exported from the shared library.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace ut::platform {

// --- Text comparison -------------------------------------------------------

// Locale-aware comparison that ignores letter case but not accents (the role of
// CompareStringW with NORM_IGNORECASE): ICU collation for the process's default
// locale at secondary strength. Returns <0, 0 or >0. Safe from any thread.
int compareNoCase(std::wstring_view a, std::wstring_view b);
bool equalNoCase(std::wstring_view a, std::wstring_view b);

// The collation key of compareNoCase: for any a and b,
// sign(compareNoCase(a, b)) == sign(sortKeyNoCase(a).compare(sortKeyNoCase(b))).
// Compute it once for strings that are compared constantly.
std::string sortKeyNoCase(std::wstring_view s);

// Locale collation (the role of wcscoll), and its case-insensitive form (the
// role of _wcsicoll: collation of case-folded copies).
int collate(std::wstring_view a, std::wstring_view b);
int collateNoCase(std::wstring_view a, std::wstring_view b);

// Lower-cases (the role of _wcslwr), over all of Unicode.
std::wstring toLower(std::wstring_view s);
// Full Unicode case folding: two names are equal ignoring case exactly when
// their folded forms are equal code point for code point. The registry store
// uses it for key and value identity.
std::wstring foldCase(std::wstring_view s);

// --- Counters and debugger output ------------------------------------------

// The high-resolution counter (QueryPerformanceCounter): a monotonic clock in
// nanoseconds; its frequency is therefore 1e9 ticks per second.
std::int64_t performanceCounter();
std::int64_t performanceFrequency();

// Debugger output (OutputDebugStringW). Goes to standard error unless the host
// has installed a handler (see ut/ut_platform.h).
void outputDebugString(std::wstring_view text);

// --- Identity and encodings ------------------------------------------------

// The login name of the user running the process, and this machine's name.
std::wstring loginName();
std::wstring hostName();

// The conversions in the role of the ANSI code page: the multibyte encoding of
// the process locale (LC_CTYPE). Characters the encoding cannot represent
// become '?'.
std::string toAnsi(std::wstring_view s);
std::wstring fromAnsi(std::string_view s);

}  // namespace ut::platform
