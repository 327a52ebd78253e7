#pragma once

// Bounded wide printf formatting for formatted reporter messages.

#include <cstdarg>
#include <cstddef>
#include <string>

namespace ut {

// The size of the formatting buffer in wide characters, the terminating null
// included: a formatted text keeps at most kFormatBufferSize - 1 characters.
inline constexpr std::size_t kFormatBufferSize = 1024;

// Formats `format` with `args` as the C library's wide printf does into
// `result`, cut to kFormatBufferSize - 1 characters when longer. False, with
// `result` untouched, when the format or an argument cannot be formatted (an
// unknown conversion, a narrow string that is not valid in the current
// locale). `args` is consumed.
bool formatBounded(const std::wstring& format, va_list args, std::wstring& result);

}  // namespace ut
