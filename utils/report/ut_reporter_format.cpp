#include "ut_reporter_format.h"

#include <array>
#include <cerrno>
#include <cwchar>

namespace ut {

bool formatBounded(const std::wstring& format, va_list args, std::wstring& result) {
  std::array<wchar_t, kFormatBufferSize> buffer{};
  // vswprintf answers -1 both for output that does not fit and for a real
  // failure; only a failure sets errno (EOVERFLOW is how some C libraries
  // report the cut, and the buffer then holds the output's beginning).
  errno = 0;
  const int written = std::vswprintf(buffer.data(), buffer.size(), format.c_str(), args);
  if (written < 0 && errno != 0 && errno != EOVERFLOW) return false;
  buffer.back() = L'\0';
  result.assign(buffer.data());
  return true;
}

}  // namespace ut
