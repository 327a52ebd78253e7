#include "OdString.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>
#include <wx/string.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>

namespace {

std::wstring_view viewOf(const wchar_t* text) noexcept { return text ? std::wstring_view(text) : std::wstring_view(); }

int clampToLength(std::int64_t value, std::size_t length) noexcept {
  return static_cast<int>(std::clamp<std::int64_t>(value, 0, static_cast<std::int64_t>(length)));
}

// A code unit as a code point number; wchar_t is signed here, so widen first.
std::int64_t codeValue(wchar_t unit) noexcept { return static_cast<std::int64_t>(unit); }

bool isCodePoint(wchar_t unit) noexcept {
  const std::int64_t v = codeValue(unit);
  return v >= 0 && v <= 0x10FFFF;
}

// Surrogates and out-of-range values cannot be encoded; they become U+FFFD.
UChar32 scalarOrReplacement(wchar_t unit) noexcept {
  if (!isCodePoint(unit) || U_IS_SURROGATE(unit)) return 0xFFFD;
  return static_cast<UChar32>(unit);
}

std::int64_t folded(wchar_t unit) noexcept {
  return isCodePoint(unit) ? u_foldCase(static_cast<UChar32>(unit), U_FOLD_CASE_DEFAULT) : codeValue(unit);
}

bool isWhiteSpace(wchar_t unit) noexcept { return isCodePoint(unit) && u_isUWhiteSpace(static_cast<UChar32>(unit)); }

// The SDK's non-Windows builds read a bare %s or %c in a wide format as a wide
// argument, as the Windows C library does, while the C library here reads
// them as narrow. Rewrite the conversions so that bare %s/%c become %ls/%lc
// and the explicitly narrow %hs/%hc become the C library's %s/%c.
std::wstring wideConversions(std::wstring_view fmt) {
  std::wstring out;
  out.reserve(fmt.size() + 8);
  std::size_t i = 0;
  const auto inSet = [](wchar_t c, std::wstring_view set) { return set.find(c) != std::wstring_view::npos; };
  while (i < fmt.size()) {
    if (fmt[i] != L'%') {
      out += fmt[i++];
      continue;
    }
    const std::size_t percentAt = out.size();
    out += fmt[i++];
    while (i < fmt.size() && inSet(fmt[i], L"0123456789$-+ #'.*")) out += fmt[i++];
    std::wstring lengthModifier;
    while (i < fmt.size() && inSet(fmt[i], L"hlLqjzt")) lengthModifier += fmt[i++];
    if (i == fmt.size()) {
      // A conversion cut off by the end of the format is printed as text
      // rather than handed to the C library, which leaves it undefined.
      out.insert(percentAt, 1, L'%');
      out += lengthModifier;
      break;
    }
    const wchar_t conversion = fmt[i++];
    if (conversion == L's' || conversion == L'c') {
      if (lengthModifier.empty())
        lengthModifier = L"l";
      else if (lengthModifier == L"h")
        lengthModifier.clear();
    }
    out += lengthModifier;
    out += conversion;
  }
  return out;
}

struct FileCloser {
  void operator()(std::FILE* f) const noexcept { std::fclose(f); }
};
struct FreeDeleter {
  void operator()(wchar_t* p) const noexcept { std::free(p); }
};

template <class Pred>
std::size_t leadingCount(const std::wstring& s, Pred pred) {
  std::size_t n = 0;
  while (n < s.size() && pred(s[n])) ++n;
  return n;
}

template <class Pred>
std::size_t trailingCount(const std::wstring& s, Pred pred) {
  std::size_t n = 0;
  while (n < s.size() && pred(s[s.size() - 1 - n])) ++n;
  return n;
}

}  // namespace

OdString::OdString(const wchar_t* text) : m_data(viewOf(text)) {}

OdString::OdString(const wchar_t* text, int length) {
  if (!text || length <= 0) return;
  // Stop at a terminator inside the first `length` units, and never look past
  // them: the buffer need not be terminated.
  m_data.assign(text, wcsnlen(text, static_cast<std::size_t>(length)));
}

OdString::OdString(wchar_t ch, int count) : m_data(count > 0 ? static_cast<std::size_t>(count) : 0, ch) {}

OdString::OdString(const char* utf8) : OdString(fromUtf8(utf8 ? std::string_view(utf8) : std::string_view())) {}

OdString::OdString(const wxString& text) : m_data(text.ToStdWstring()) {}

wchar_t OdString::getAt(int index) const noexcept {
  if (index < 0 || static_cast<std::size_t>(index) >= m_data.size()) return L'\0';
  return m_data[static_cast<std::size_t>(index)];
}

int OdString::compare(const wchar_t* other) const noexcept { return m_data.compare(viewOf(other)); }

int OdString::iCompare(const wchar_t* other) const noexcept {
  const std::wstring_view rhs = viewOf(other);
  const std::size_t common = std::min(m_data.size(), rhs.size());
  for (std::size_t i = 0; i < common; ++i) {
    const std::int64_t a = folded(m_data[i]);
    const std::int64_t b = folded(rhs[i]);
    if (a != b) return a < b ? -1 : 1;
  }
  if (m_data.size() == rhs.size()) return 0;
  return m_data.size() < rhs.size() ? -1 : 1;
}

int OdString::find(wchar_t ch, int start) const noexcept {
  const std::size_t from = static_cast<std::size_t>(std::max(start, 0));
  const std::size_t hit = m_data.find(ch, from);
  return hit == std::wstring::npos ? -1 : static_cast<int>(hit);
}

int OdString::find(const wchar_t* sub, int start) const noexcept {
  const std::size_t from = static_cast<std::size_t>(std::max(start, 0));
  const std::size_t hit = m_data.find(viewOf(sub), from);
  return hit == std::wstring::npos ? -1 : static_cast<int>(hit);
}

int OdString::reverseFind(wchar_t ch) const noexcept {
  const std::size_t hit = m_data.rfind(ch);
  return hit == std::wstring::npos ? -1 : static_cast<int>(hit);
}

int OdString::findOneOf(const wchar_t* chars) const noexcept {
  const std::wstring_view set = viewOf(chars);
  if (set.empty()) return -1;
  const std::size_t hit = m_data.find_first_of(set);
  return hit == std::wstring::npos ? -1 : static_cast<int>(hit);
}

OdString OdString::left(int count) const {
  return OdString(m_data.substr(0, static_cast<std::size_t>(clampToLength(count, m_data.size()))));
}

OdString OdString::right(int count) const {
  const std::size_t n = static_cast<std::size_t>(clampToLength(count, m_data.size()));
  return OdString(m_data.substr(m_data.size() - n));
}

OdString OdString::mid(int start) const {
  return OdString(m_data.substr(static_cast<std::size_t>(clampToLength(start, m_data.size()))));
}

OdString OdString::mid(int start, int count) const {
  const std::size_t from = static_cast<std::size_t>(clampToLength(start, m_data.size()));
  const std::size_t n = static_cast<std::size_t>(std::max(count, 0));
  return OdString(m_data.substr(from, n));
}

int OdString::replace(const wchar_t* oldText, const wchar_t* newText) {
  const std::wstring_view from = viewOf(oldText);
  if (from.empty()) return 0;
  const std::wstring_view to = viewOf(newText);
  // Built aside so that arguments pointing into this string stay valid.
  std::wstring result;
  int count = 0;
  std::size_t pos = 0;
  for (std::size_t hit = m_data.find(from); hit != std::wstring::npos; hit = m_data.find(from, pos)) {
    result.append(m_data, pos, hit - pos);
    result.append(to);
    pos = hit + from.size();
    ++count;
  }
  if (count > 0) {
    result.append(m_data, pos);
    m_data.swap(result);
  }
  return count;
}

int OdString::replace(wchar_t oldCh, wchar_t newCh) {
  int count = 0;
  for (wchar_t& c : m_data) {
    if (c == oldCh) {
      c = newCh;
      ++count;
    }
  }
  return count;
}

int OdString::remove(wchar_t ch) {
  const std::size_t before = m_data.size();
  std::erase(m_data, ch);
  return static_cast<int>(before - m_data.size());
}

int OdString::insert(int index, wchar_t ch) {
  m_data.insert(static_cast<std::size_t>(clampToLength(index, m_data.size())), 1, ch);
  return getLength();
}

int OdString::insert(int index, const wchar_t* text) {
  const std::wstring copy(viewOf(text));  // `text` may point into this string
  m_data.insert(static_cast<std::size_t>(clampToLength(index, m_data.size())), copy);
  return getLength();
}

int OdString::deleteChars(int index, int count) {
  const std::size_t from = static_cast<std::size_t>(clampToLength(index, m_data.size()));
  if (count > 0) m_data.erase(from, static_cast<std::size_t>(count));
  return getLength();
}

OdString& OdString::trimLeft() {
  m_data.erase(0, leadingCount(m_data, isWhiteSpace));
  return *this;
}

OdString& OdString::trimLeft(wchar_t ch) {
  m_data.erase(0, leadingCount(m_data, [ch](wchar_t c) { return c == ch; }));
  return *this;
}

OdString& OdString::trimLeft(const wchar_t* chars) {
  const std::wstring set(viewOf(chars));
  m_data.erase(0, leadingCount(m_data, [&set](wchar_t c) { return set.find(c) != std::wstring::npos; }));
  return *this;
}

OdString& OdString::trimRight() {
  m_data.resize(m_data.size() - trailingCount(m_data, isWhiteSpace));
  return *this;
}

OdString& OdString::trimRight(wchar_t ch) {
  m_data.resize(m_data.size() - trailingCount(m_data, [ch](wchar_t c) { return c == ch; }));
  return *this;
}

OdString& OdString::trimRight(const wchar_t* chars) {
  const std::wstring set(viewOf(chars));
  m_data.resize(m_data.size() - trailingCount(m_data, [&set](wchar_t c) { return set.find(c) != std::wstring::npos; }));
  return *this;
}

OdString& OdString::makeUpper() {
  for (wchar_t& c : m_data)
    if (isCodePoint(c)) c = static_cast<wchar_t>(u_toupper(static_cast<UChar32>(c)));
  return *this;
}

OdString& OdString::makeLower() {
  for (wchar_t& c : m_data)
    if (isCodePoint(c)) c = static_cast<wchar_t>(u_tolower(static_cast<UChar32>(c)));
  return *this;
}

OdString& OdString::format(const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  formatV(fmt, args);
  va_end(args);
  return *this;
}

OdString& OdString::formatV(const wchar_t* fmt, va_list args) {
  m_data.clear();
  if (!fmt) return *this;
  const std::wstring pattern = wideConversions(fmt);
  // A growing in-memory stream avoids guessing the output size: vswprintf
  // cannot tell "buffer too small" from an encoding failure.
  wchar_t* buffer = nullptr;
  std::size_t size = 0;
  std::unique_ptr<std::FILE, FileCloser> stream(open_wmemstream(&buffer, &size));
  if (!stream) return *this;
  const int written = std::vfwprintf(stream.get(), pattern.c_str(), args);
  stream.reset();  // closing publishes the final buffer and size
  const std::unique_ptr<wchar_t, FreeDeleter> owned(buffer);
  if (written >= 0 && owned) m_data.assign(owned.get(), size);
  return *this;
}

OdString& OdString::operator+=(const OdString& other) {
  m_data += other.m_data;
  return *this;
}

OdString& OdString::operator+=(const wchar_t* other) {
  m_data += viewOf(other);
  return *this;
}

OdString& OdString::operator+=(wchar_t ch) {
  m_data += ch;
  return *this;
}

std::string OdString::toUtf8() const {
  std::string out;
  out.reserve(m_data.size());
  for (const wchar_t unit : m_data) {
    std::uint8_t bytes[U8_MAX_LENGTH];
    std::int32_t n = 0;
    U8_APPEND_UNSAFE(bytes, n, scalarOrReplacement(unit));
    out.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(n));
  }
  return out;
}

OdString OdString::fromUtf8(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(utf8.data());
  const auto length = static_cast<std::int64_t>(utf8.size());
  std::int64_t i = 0;
  while (i < length) {
    UChar32 c = 0;
    U8_NEXT_OR_FFFD(bytes, i, length, c);
    out += static_cast<wchar_t>(c);
  }
  return OdString(std::move(out));
}

std::u16string OdString::toUtf16() const {
  std::u16string out;
  out.reserve(m_data.size());
  for (const wchar_t unit : m_data) {
    char16_t units[U16_MAX_LENGTH];
    std::int32_t n = 0;
    U16_APPEND_UNSAFE(units, n, scalarOrReplacement(unit));
    out.append(units, static_cast<std::size_t>(n));
  }
  return out;
}

OdString OdString::fromUtf16(std::u16string_view utf16) {
  std::wstring out;
  out.reserve(utf16.size());
  const char16_t* units = utf16.data();
  const auto length = static_cast<std::int64_t>(utf16.size());
  std::int64_t i = 0;
  while (i < length) {
    UChar32 c = 0;
    U16_NEXT(units, i, length, c);
    out += static_cast<wchar_t>(U_IS_SURROGATE(c) ? 0xFFFD : c);
  }
  return OdString(std::move(out));
}

wxString OdString::toWxString() const { return wxString(m_data); }

OdString operator+(const OdString& a, const OdString& b) {
  OdString r(a);
  r += b;
  return r;
}

OdString operator+(const OdString& a, const wchar_t* b) {
  OdString r(a);
  r += b;
  return r;
}

OdString operator+(const wchar_t* a, const OdString& b) {
  OdString r(a);
  r += b;
  return r;
}

OdString operator+(const OdString& a, wchar_t b) {
  OdString r(a);
  r += b;
  return r;
}

OdString operator+(wchar_t a, const OdString& b) {
  OdString r(a);
  r += b;
  return r;
}
