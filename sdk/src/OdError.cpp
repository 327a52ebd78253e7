#include "OdError.h"

#include <string>

namespace {
std::string narrow(const std::wstring& s) {
  std::string out;
  for (wchar_t c : s) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
  return out;
}
}  // namespace

OdError::OdError(OdResult code) : OdError(code, L"Error " + std::to_wstring(static_cast<int>(code))) {}

OdError::OdError(OdResult code, const std::wstring& message)
    : std::runtime_error(narrow(message)), m_code(code), m_message(message) {}
