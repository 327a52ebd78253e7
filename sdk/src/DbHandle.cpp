#include "DbHandle.h"

OdDbHandle::OdDbHandle(const OdString& hex) {
  const int length = hex.getLength();
  if (length < 1 || length > 16) return;
  std::uint64_t value = 0;
  for (int i = 0; i < length; ++i) {
    const wchar_t c = hex[i];
    unsigned digit = 0;
    if (c >= L'0' && c <= L'9')
      digit = static_cast<unsigned>(c - L'0');
    else if (c >= L'a' && c <= L'f')
      digit = static_cast<unsigned>(c - L'a' + 10);
    else if (c >= L'A' && c <= L'F')
      digit = static_cast<unsigned>(c - L'A' + 10);
    else
      return;
    value = (value << 4) | digit;
  }
  m_value = value;
}

OdString OdDbHandle::ascii() const { return OdString().format(L"%llX", static_cast<unsigned long long>(m_value)); }
