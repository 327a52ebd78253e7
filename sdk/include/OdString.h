#pragma once

#include "SdkExport.h"

#include <compare>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

class OdAnsiString;
class wxString;

// The SDK's wide string: a sequence of wchar_t code units with value
// semantics.
//
// wchar_t is 32 bits on this platform, so one code unit holds one Unicode
// code point; nothing here assumes 16-bit units. Byte formats defined on
// UTF-16 must go through toUtf16()/fromUtf16().
//
// Indices and counts are `int`, as in the SDK. Every position argument is
// clamped into range: no member has undefined behaviour for out-of-range
// input. Null `const wchar_t*` arguments are treated as empty strings.
class UTSDK_EXPORT OdString {
 public:
  OdString() = default;
  OdString(const wchar_t* text);
  // At most `length` units of `text`, stopping early at a null unit; empty
  // when `text` is null or length <= 0.
  OdString(const wchar_t* text, int length);
  OdString(const std::wstring& text) : m_data(text) {}
  OdString(std::wstring&& text) noexcept : m_data(std::move(text)) {}
  // `count` copies of `ch` (none if count <= 0).
  explicit OdString(wchar_t ch, int count = 1);
  // Decodes UTF-8; ill-formed sequences become U+FFFD.
  explicit OdString(const char* utf8);
  // The UTF-8 bytes of `ansi`, decoded as by the constructor above.
  explicit OdString(const OdAnsiString& ansi);
  OdString(const wxString& text);  // implicit: wx strings flow in freely

  // Length in code units.
  int getLength() const noexcept { return static_cast<int>(m_data.size()); }
  int length() const noexcept { return getLength(); }
  bool isEmpty() const noexcept { return m_data.empty(); }

  // Null-terminated contents; valid until the string is next modified.
  const wchar_t* c_str() const noexcept { return m_data.c_str(); }
  operator const wchar_t*() const noexcept { return m_data.c_str(); }

  // The unit at `index`, or L'\0' when index is out of range.
  wchar_t getAt(int index) const noexcept;
  wchar_t operator[](int index) const noexcept { return getAt(index); }

  // Ordinary code-unit comparison: <0, 0 or >0.
  int compare(const wchar_t* other) const noexcept;
  int compare(const OdString& other) const noexcept { return m_data.compare(other.m_data); }
  // Case-insensitive comparison: both sides are case-folded code point by
  // code point (Unicode simple case folding) and then compared as code units.
  int iCompare(const wchar_t* other) const noexcept;
  int iCompare(const OdString& other) const noexcept { return iCompare(other.c_str()); }

  // Index of the first `ch` at or after `start`, or -1. A negative start
  // counts as 0.
  int find(wchar_t ch, int start = 0) const noexcept;
  // Index of the first occurrence of `sub` at or after `start`, or -1. An
  // empty `sub` is found at `start` when start <= getLength().
  int find(const wchar_t* sub, int start = 0) const noexcept;
  // Index of the last `ch`, or -1.
  int reverseFind(wchar_t ch) const noexcept;
  // Index of the first unit that is one of `chars`, or -1 (also for an empty set).
  int findOneOf(const wchar_t* chars) const noexcept;

  // The first `count` units (all if count >= length, none if count <= 0).
  OdString left(int count) const;
  // The last `count` units, clamped like left().
  OdString right(int count) const;
  // From `start` to the end. A negative start counts as 0; a start past the
  // end gives an empty string.
  OdString mid(int start) const;
  // At most `count` units from `start`. A negative start counts as 0 (count
  // is not adjusted); a negative count counts as 0.
  OdString mid(int start, int count) const;

  // Replaces every non-overlapping occurrence of `oldText`, scanning left to
  // right; returns the number of replacements. An empty `oldText` replaces
  // nothing.
  int replace(const wchar_t* oldText, const wchar_t* newText);
  // Replaces every `oldCh` by `newCh`; returns the number of replacements.
  int replace(wchar_t oldCh, wchar_t newCh);
  // Removes every `ch`; returns the number removed.
  int remove(wchar_t ch);
  // Inserts before `index` (clamped to [0, length]); returns the new length.
  int insert(int index, wchar_t ch);
  int insert(int index, const wchar_t* text);
  // Deletes up to `count` units from `index` (a negative index counts as 0);
  // units past the end are ignored. Returns the new length.
  int deleteChars(int index, int count = 1);

  // Removes leading (trailing) Unicode white space, or a given unit, or any
  // unit of a given set.
  OdString& trimLeft();
  OdString& trimLeft(wchar_t ch);
  OdString& trimLeft(const wchar_t* chars);
  OdString& trimRight();
  OdString& trimRight(wchar_t ch);
  OdString& trimRight(const wchar_t* chars);

  // Unicode simple case mapping, code point by code point; the length never
  // changes.
  OdString& makeUpper();
  OdString& makeLower();

  // printf-style formatting into this string. Conversions follow the C
  // library's wide printf, except that `%s` and `%c` take wide arguments
  // (`const wchar_t*`, `wchar_t`) exactly like `%ls` and `%lc`; `%hs` and
  // `%hc` take narrow ones. A conversion cut off by the end of the format is
  // printed as text. The output has no length limit. When formatting fails
  // (e.g. a narrow argument that is not valid in the current locale) the
  // string becomes empty. A null format gives an empty string.
  OdString& format(const wchar_t* fmt, ...);
  OdString& formatV(const wchar_t* fmt, va_list args);

  OdString& operator+=(const OdString& other);
  OdString& operator+=(const wchar_t* other);
  OdString& operator+=(wchar_t ch);

  // Unicode encodings. Units that are not Unicode scalar values (surrogates,
  // values above U+10FFFF) are written as U+FFFD; ill-formed input (invalid
  // UTF-8, lone surrogates in UTF-16) is read as U+FFFD. Embedded nulls are
  // kept in both directions.
  std::string toUtf8() const;
  static OdString fromUtf8(std::string_view utf8);
  std::u16string toUtf16() const;
  static OdString fromUtf16(std::u16string_view utf16);

  wxString toWxString() const;

  friend bool operator==(const OdString& a, const OdString& b) noexcept { return a.m_data == b.m_data; }
  friend bool operator==(const OdString& a, const wchar_t* b) noexcept { return a.compare(b) == 0; }
  friend std::strong_ordering operator<=>(const OdString& a, const OdString& b) noexcept { return a.compare(b) <=> 0; }
  friend std::strong_ordering operator<=>(const OdString& a, const wchar_t* b) noexcept { return a.compare(b) <=> 0; }

 private:
  std::wstring m_data;
};

UTSDK_EXPORT OdString operator+(const OdString& a, const OdString& b);
UTSDK_EXPORT OdString operator+(const OdString& a, const wchar_t* b);
UTSDK_EXPORT OdString operator+(const wchar_t* a, const OdString& b);
UTSDK_EXPORT OdString operator+(const OdString& a, wchar_t b);
UTSDK_EXPORT OdString operator+(wchar_t a, const OdString& b);

// Lets OdString key unordered containers; equal strings hash equally.
template <>
struct std::hash<OdString> {
  std::size_t operator()(const OdString& s) const noexcept {
    return std::hash<std::wstring_view>{}(std::wstring_view(s.c_str(), static_cast<std::size_t>(s.getLength())));
  }
};
