#pragma once

#include "OdString.h"
#include "SdkExport.h"

#include <compare>
#include <cstdarg>
#include <string>

// The SDK's narrow string: a sequence of bytes with value semantics. The
// bytes carry no encoding of their own; conversions to and from OdString use
// UTF-8. Null `const char*` arguments are treated as empty strings.
class UTSDK_EXPORT OdAnsiString {
 public:
  OdAnsiString() = default;
  OdAnsiString(const char* text);  // implicit, as string literals flow in freely
  // At most `length` bytes of `text`, stopping early at a null byte.
  OdAnsiString(const char* text, int length);
  OdAnsiString(const std::string& text) : m_data(text) {}
  OdAnsiString(std::string&& text) noexcept : m_data(std::move(text)) {}
  // The UTF-8 form of `text` (see OdString::toUtf8).
  explicit OdAnsiString(const OdString& text) : m_data(text.toUtf8()) {}

  int getLength() const noexcept { return static_cast<int>(m_data.size()); }
  int length() const noexcept { return getLength(); }
  bool isEmpty() const noexcept { return m_data.empty(); }

  const char* c_str() const noexcept { return m_data.c_str(); }
  operator const char*() const noexcept { return m_data.c_str(); }

  // The byte at `index`, or '\0' when index is out of range.
  char getAt(int index) const noexcept;
  char operator[](int index) const noexcept { return getAt(index); }

  // Byte-wise comparison (bytes compared as unsigned): <0, 0 or >0.
  int compare(const char* other) const noexcept;
  int compare(const OdAnsiString& other) const noexcept { return m_data.compare(other.m_data); }

  // printf-style formatting into this string, no length limit. When
  // formatting fails the string becomes empty.
  [[gnu::format(printf, 2, 3)]] OdAnsiString& format(const char* fmt, ...);
  OdAnsiString& formatV(const char* fmt, va_list args);

  OdAnsiString& operator+=(const OdAnsiString& other);
  OdAnsiString& operator+=(const char* other);
  OdAnsiString& operator+=(char ch);

  friend bool operator==(const OdAnsiString& a, const OdAnsiString& b) noexcept { return a.m_data == b.m_data; }
  friend bool operator==(const OdAnsiString& a, const char* b) noexcept { return a.compare(b) == 0; }
  friend std::strong_ordering operator<=>(const OdAnsiString& a, const OdAnsiString& b) noexcept {
    return a.compare(b) <=> 0;
  }
  friend std::strong_ordering operator<=>(const OdAnsiString& a, const char* b) noexcept { return a.compare(b) <=> 0; }

 private:
  std::string m_data;
};

UTSDK_EXPORT OdAnsiString operator+(const OdAnsiString& a, const OdAnsiString& b);
UTSDK_EXPORT OdAnsiString operator+(const OdAnsiString& a, const char* b);
UTSDK_EXPORT OdAnsiString operator+(const char* a, const OdAnsiString& b);
UTSDK_EXPORT OdAnsiString operator+(const OdAnsiString& a, char b);
