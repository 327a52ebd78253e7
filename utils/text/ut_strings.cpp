#include <ut/ut_strings.h>

#include "ut_platform.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cwchar>
#include <cwctype>
#include <string_view>

namespace ut {

namespace {

constexpr wchar_t kQuote = L'"';
constexpr wchar_t kBackslash = L'\\';
constexpr wchar_t kBlank = L' ';
constexpr std::wstring_view kWildcards = L"*?,.#@`[~";
constexpr wchar_t kWildcardEscape = L'`';

std::wstring_view view(const OdString& s) {
  return std::wstring_view(s.c_str(), static_cast<std::size_t>(s.getLength()));
}

bool onlySpaceFrom(const wchar_t* p) {
  for (; *p != L'\0'; ++p) {
    if (std::iswspace(static_cast<std::wint_t>(*p)) == 0) return false;
  }
  return true;
}

bool isHexDigit(wchar_t c) { return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'F') || (c >= L'a' && c <= L'f'); }

// Whether the code units a and b, read as bytes of the process locale's
// multibyte encoding, are a lead byte followed by a trail byte.
bool isLeadTrailPair(wchar_t a, wchar_t b) {
  const auto ua = static_cast<std::uint32_t>(a);
  const auto ub = static_cast<std::uint32_t>(b);
  if (ua == 0 || ub == 0 || ua > 0xFF || ub > 0xFF) return false;
  const std::array<char, 2> bytes{static_cast<char>(ua), static_cast<char>(ub)};
  std::mbstate_t state{};
  wchar_t ignored = 0;
  // A lead byte alone is an incomplete character.
  if (std::mbrtowc(&ignored, bytes.data(), 1, &state) != static_cast<std::size_t>(-2)) return false;
  state = std::mbstate_t{};
  const std::size_t n = std::mbrtowc(&ignored, bytes.data(), 2, &state);
  // The trail byte completes the character or continues it.
  return n == 2 || n == static_cast<std::size_t>(-2);
}

template <class Integer, class Parse>
bool parseInteger(const wchar_t* text, Integer* value, Parse parse) {
  if (text == nullptr) return false;
  wchar_t* end = nullptr;
  const Integer parsed = parse(text, &end);
  if (value != nullptr) *value = parsed;
  if (end == nullptr || end == text) return false;
  return onlySpaceFrom(end);
}

long parseLong(const wchar_t* text, wchar_t** end) { return std::wcstol(text, end, 10); }
long long parseLongLong(const wchar_t* text, wchar_t** end) { return std::wcstoll(text, end, 10); }

bool isFloatingPoint(const wchar_t* text) {
  wchar_t* end = nullptr;
  static_cast<void>(std::wcstod(text, &end));
  if (end == nullptr || end == text) return false;
  return onlySpaceFrom(end);
}

void appendPiece(OdArray<OdString>& parts, std::wstring_view piece) { parts.append(OdString(std::wstring(piece))); }

}  // namespace

// --- tests on raw buffers ------------------------------------------------------

bool isNumber(const wchar_t* text, long* value) { return parseInteger(text, value, parseLong); }

bool isNumber(const wchar_t* text, long long* value) { return parseInteger(text, value, parseLongLong); }

bool isNumber(const wchar_t* text) {
  if (text == nullptr) return false;
  return isInteger(text) || isFloatingPoint(text);
}

bool isInteger(const wchar_t* text) { return parseInteger<long>(text, nullptr, parseLong); }

bool isASCII(const wchar_t* text) {
  if (text == nullptr) return false;
  for (; *text != L'\0'; ++text) {
    if (static_cast<std::uint32_t>(*text) > 127) return false;
  }
  return true;
}

bool isValidHandleString(const wchar_t* text) {
  if (text == nullptr || *text == L'\0') return false;
  while (*text == kBlank) ++text;
  for (; *text != L'\0'; ++text) {
    if (!isHexDigit(*text)) return false;
  }
  return true;
}

bool hasWildcard(const wchar_t* text) {
  if (text == nullptr) return false;
  return std::wcspbrk(text, kWildcards.data()) != nullptr;
}

// --- searching and editing raw buffers ------------------------------------------

void replaceSymbol(wchar_t* text, wchar_t from, wchar_t to) {
  if (text == nullptr) return;
  for (; *text != L'\0'; ++text) {
    if (*text == from) *text = to;
  }
}

wchar_t* findEndingQuote(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  for (const wchar_t* p = text; *p != L'\0'; ++p) {
    if (*p == kBackslash) {
      // An escape at the very end escapes nothing.
      if (p[1] == L'\0') return nullptr;
      ++p;
    } else if (*p == kQuote) {
      return const_cast<wchar_t*>(p);
    }
  }
  return nullptr;
}

wchar_t* findSubstringNoCase(const wchar_t* text, const wchar_t* part) {
  if (text == nullptr || part == nullptr) return nullptr;
  // The lower-case mapping is one code unit for one, so an offset into the
  // copy is an offset into the caller's text.
  const std::wstring lowText = platform::toLower(text);
  const std::wstring lowPart = platform::toLower(part);
  const std::size_t at = lowText.find(lowPart);
  if (at == std::wstring::npos) return nullptr;
  return const_cast<wchar_t*>(text + at);
}

void padAtLeftSide(wchar_t* text, int width) {
  if (text == nullptr || width <= 0) return;
  const std::size_t length = std::wcslen(text);
  const auto target = static_cast<std::size_t>(width);
  if (length >= target) return;
  const std::size_t shift = target - length;
  std::wmemmove(text + shift, text, length + 1);
  std::wmemset(text, kBlank, shift);
}

void padAtRightSide(wchar_t* text, int width) {
  if (text == nullptr) return;
  std::size_t length = std::wcslen(text);
  const std::size_t target = width > 0 ? static_cast<std::size_t>(width) : 0;
  for (; length < target; ++length) text[length] = kBlank;
  text[length] = L'\0';
}

wchar_t* trimQuotes(wchar_t* text) {
  if (text == nullptr) return nullptr;
  const std::size_t length = std::wcslen(text);
  if (length < 2 || text[0] != kQuote || text[length - 1] != kQuote) return text;
  text[length - 1] = L'\0';
  return text + 1;
}

void truncateWithDots(wchar_t* text, int maxLength, const wchar_t* mode) {
  if (text == nullptr || mode == nullptr || maxLength < 4) return;
  const std::size_t length = std::wcslen(text);
  const auto limit = static_cast<std::size_t>(maxLength);
  if (length <= limit) return;
  std::size_t excess = length - limit;
  switch (std::towlower(static_cast<std::wint_t>(mode[0]))) {
    case L'b':
      // excess + 3 <= length - 1 because maxLength >= 4, so both places are
      // inside the text.
      if (isLeadTrailPair(text[excess + 2], text[excess + 3])) ++excess;
      std::wmemset(text + excess, L'.', 3);
      std::wmemmove(text, text + excess, length - excess + 1);
      break;
    case L'e':
      std::wmemset(text + limit - 3, L'.', 3);
      text[limit] = L'\0';
      break;
    default:
      break;
  }
}

void safe_tcsncpy(wchar_t* target, const wchar_t* source, std::size_t count) {
  if (target == nullptr) return;
  std::size_t i = 0;
  if (source != nullptr) {
    for (; i < count && source[i] != L'\0'; ++i) target[i] = source[i];
  }
  target[i] = L'\0';
}

// --- OdString operations ------------------------------------------------------

OdString& trimQuotes(OdString& text) {
  const int length = text.getLength();
  if (length >= 2 && text.getAt(0) == kQuote && text.getAt(length - 1) == kQuote) {
    text = text.mid(1, length - 2);
  }
  return text;
}

OdString& wrapInQuotes(OdString& text) {
  if (text.isEmpty()) return text;
  text.insert(text.getLength(), kQuote);
  text.insert(0, kQuote);
  return text;
}

OdString& trimTrailingZeros(OdString& number, const wchar_t& separator) {
  const int length = number.getLength();
  int kept = length;
  const int at = number.reverseFind(separator);
  if (at > 0) {
    // At most the characters after the separator can go.
    while (kept > at + 1 && number.getAt(kept - 1) == L'0') --kept;
  }
  if (kept > 0 && number.getAt(kept - 1) == separator) --kept;
  // Removing in place keeps the string's buffer.
  if (kept < length) number.deleteChars(kept, length - kept);
  return number;
}

bool startsWith(const OdString& text, const OdString& prefix) {
  return platform::equalNoCase(view(text).substr(0, view(prefix).size()), view(prefix));
}

bool endsWith(const OdString& text, const OdString& suffix) {
  const std::wstring_view whole = view(text);
  const std::size_t n = std::min(whole.size(), view(suffix).size());
  return platform::equalNoCase(whole.substr(whole.size() - n), view(suffix));
}

OdString removeLast(const OdString& text) { return text.left(text.getLength() - 1); }

OdString beforeFirst(const OdString& text, const wchar_t& c) {
  const int at = text.find(c);
  return at < 0 ? text : text.left(at);
}

OdString afterFirst(const OdString& text, const wchar_t& c) {
  const int at = text.find(c);
  return at < 0 ? OdString() : text.mid(at + 1);
}

OdString& removeSpaces(OdString& text) {
  std::wstring kept;
  kept.reserve(static_cast<std::size_t>(text.getLength()));
  for (wchar_t c : view(text)) {
    if (std::iswspace(static_cast<std::wint_t>(c)) == 0) kept.push_back(c);
  }
  if (kept.size() != static_cast<std::size_t>(text.getLength())) text = OdString(std::move(kept));
  return text;
}

OdString escapeWildcards(const OdString& text) {
  std::wstring out;
  out.reserve(static_cast<std::size_t>(text.getLength()));
  for (wchar_t c : view(text)) {
    if (kWildcards.find(c) != std::wstring_view::npos) out.push_back(kWildcardEscape);
    out.push_back(c);
  }
  return OdString(std::move(out));
}

// --- splitting ------------------------------------------------------------------

void split(const OdString& text, const OdString& separator, OdArray<OdString>& parts) {
  const std::wstring_view whole = view(text);
  if (whole.empty()) return;
  const std::wstring_view sep = view(separator);
  if (sep.empty()) {
    parts.append(text);
    return;
  }
  std::size_t start = 0;
  for (std::size_t at = whole.find(sep); at != std::wstring_view::npos; at = whole.find(sep, start)) {
    appendPiece(parts, whole.substr(start, at - start));
    start = at + sep.size();
  }
  appendPiece(parts, whole.substr(start));
}

void split(const OdString& text, const OdArray<OdString>& separators, OdArray<OdString>& parts) {
  const std::wstring_view whole = view(text);
  if (whole.empty()) return;
  std::size_t start = 0;
  std::size_t i = 0;
  while (i < whole.size()) {
    std::size_t matched = 0;
    for (const OdString& separator : separators) {
      const std::wstring_view sep = view(separator);
      if (sep.size() > matched && whole.compare(i, sep.size(), sep) == 0) matched = sep.size();
    }
    if (matched == 0) {
      ++i;
      continue;
    }
    appendPiece(parts, whole.substr(start, i - start));
    i += matched;
    start = i;
  }
  appendPiece(parts, whole.substr(start));
}

void splitByChar(const OdString& text, wchar_t separator, OdArray<OdString>& parts, bool skipEmpty) {
  const std::wstring_view whole = view(text);
  if (whole.empty()) return;
  std::size_t start = 0;
  while (true) {
    const std::size_t at = whole.find(separator, start);
    const std::wstring_view piece = whole.substr(start, at == std::wstring_view::npos ? at : at - start);
    if (!(skipEmpty && piece.empty())) appendPiece(parts, piece);
    if (at == std::wstring_view::npos) break;
    start = at + 1;
  }
}

void splitLines(const OdString& text, OdArray<OdString>& lines) {
  const std::wstring_view whole = view(text);
  std::size_t start = 0;
  std::size_t i = 0;
  while (i < whole.size()) {
    const wchar_t c = whole[i];
    if (c != L'\n' && c != L'\r') {
      ++i;
      continue;
    }
    appendPiece(lines, whole.substr(start, i - start));
    i += (c == L'\r' && i + 1 < whole.size() && whole[i + 1] == L'\n') ? 2 : 1;
    start = i;
  }
  if (start < whole.size()) appendPiece(lines, whole.substr(start));
}

void splitSearchPath(const OdString& path, OdArray<OdString>& folders) {
  const std::wstring_view whole = view(path);
  // Trimming happens before the quotes go, so that quoted blanks survive.
  const auto finish = [&folders](std::wstring_view raw) {
    OdString entry{std::wstring(raw)};
    entry.trimLeft();
    entry.trimRight();
    entry.remove(kQuote);
    if (!entry.isEmpty()) folders.append(entry);
  };
  bool quoted = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    if (whole[i] == kQuote) {
      quoted = !quoted;
    } else if (whole[i] == L';' && !quoted) {
      finish(whole.substr(start, i - start));
      start = i + 1;
    }
  }
  finish(whole.substr(start));
}

// --- narrow and wide ------------------------------------------------------------

std::string ws2s(const std::wstring& text) { return platform::toUtf8(text); }

std::wstring s2ws(const std::string& text) { return platform::fromUtf8(text); }

}  // namespace ut
