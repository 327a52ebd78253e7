#include "OdAnsiString.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

std::string_view viewOf(const char* text) noexcept { return text ? std::string_view(text) : std::string_view(); }

}  // namespace

OdString::OdString(const OdAnsiString& ansi)
    : OdString(fromUtf8(std::string_view(ansi.c_str(), static_cast<std::size_t>(ansi.getLength())))) {}

OdAnsiString::OdAnsiString(const char* text) : m_data(viewOf(text)) {}

OdAnsiString::OdAnsiString(const char* text, int length) {
  if (!text || length <= 0) return;
  m_data.assign(text, strnlen(text, static_cast<std::size_t>(length)));
}

char OdAnsiString::getAt(int index) const noexcept {
  if (index < 0 || static_cast<std::size_t>(index) >= m_data.size()) return '\0';
  return m_data[static_cast<std::size_t>(index)];
}

int OdAnsiString::compare(const char* other) const noexcept { return m_data.compare(viewOf(other)); }

OdAnsiString& OdAnsiString::format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  formatV(fmt, args);
  va_end(args);
  return *this;
}

OdAnsiString& OdAnsiString::formatV(const char* fmt, va_list args) {
  m_data.clear();
  if (!fmt) return *this;
  // First pass measures, second pass writes; the argument list is consumed
  // once per pass, hence the copy.
  va_list measureArgs;
  va_copy(measureArgs, args);
  const int needed = std::vsnprintf(nullptr, 0, fmt, measureArgs);
  va_end(measureArgs);
  if (needed < 0) return *this;
  std::string buffer(static_cast<std::size_t>(needed) + 1, '\0');
  const int written = std::vsnprintf(buffer.data(), buffer.size(), fmt, args);
  if (written != needed) return *this;
  buffer.resize(static_cast<std::size_t>(needed));
  m_data.swap(buffer);
  return *this;
}

OdAnsiString& OdAnsiString::operator+=(const OdAnsiString& other) {
  m_data += other.m_data;
  return *this;
}

OdAnsiString& OdAnsiString::operator+=(const char* other) {
  m_data += viewOf(other);
  return *this;
}

OdAnsiString& OdAnsiString::operator+=(char ch) {
  m_data += ch;
  return *this;
}

OdAnsiString operator+(const OdAnsiString& a, const OdAnsiString& b) {
  OdAnsiString r(a);
  r += b;
  return r;
}

OdAnsiString operator+(const OdAnsiString& a, const char* b) {
  OdAnsiString r(a);
  r += b;
  return r;
}

OdAnsiString operator+(const char* a, const OdAnsiString& b) {
  OdAnsiString r(a);
  r += b;
  return r;
}

OdAnsiString operator+(const OdAnsiString& a, char b) {
  OdAnsiString r(a);
  r += b;
  return r;
}
