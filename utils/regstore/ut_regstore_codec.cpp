#include "ut_regstore_codec.h"

#include "ut_platform.h"

#include <charconv>
#include <limits>

namespace ut::regstore {

namespace {

void appendUnit(Bytes& out, std::uint32_t unit) {
  out.push_back(static_cast<std::uint8_t>(unit & 0xFF));
  out.push_back(static_cast<std::uint8_t>((unit >> 8) & 0xFF));
}

void appendUtf16(Bytes& out, std::wstring_view text) {
  for (const wchar_t wc : text) {
    auto cp = static_cast<std::uint32_t>(wc);
    if (cp >= 0x10000 && cp <= 0x10FFFF) {
      cp -= 0x10000;
      appendUnit(out, 0xD800 + (cp >> 10));
      appendUnit(out, 0xDC00 + (cp & 0x3FF));
    } else if (cp > 0x10FFFF) {
      appendUnit(out, 0xFFFD);
    } else {
      appendUnit(out, cp);
    }
  }
}

}  // namespace

Bytes encodeUtf16le(std::wstring_view text, bool terminate) {
  Bytes out;
  out.reserve((text.size() + 1) * 2);
  appendUtf16(out, text);
  if (terminate) appendUnit(out, 0);
  return out;
}

std::wstring decodeUtf16le(const std::uint8_t* data, std::size_t size) {
  std::wstring out;
  const std::size_t units = size / 2;
  out.reserve(units);
  auto unitAt = [data](std::size_t i) -> std::uint32_t {
    return static_cast<std::uint32_t>(data[2 * i]) | (static_cast<std::uint32_t>(data[2 * i + 1]) << 8);
  };
  for (std::size_t i = 0; i < units; ++i) {
    std::uint32_t c = unitAt(i);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units) {
      const std::uint32_t next = unitAt(i + 1);
      if (next >= 0xDC00 && next <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
        ++i;
      }
    }
    out.push_back(static_cast<wchar_t>(c));
  }
  return out;
}

std::wstring decodeRegString(const std::uint8_t* data, std::size_t size) {
  std::wstring text = decodeUtf16le(data, size);
  while (!text.empty() && text.back() == L'\0') text.pop_back();
  return text;
}

std::optional<Bytes> encodeMultiString(const std::vector<std::wstring>& strings) {
  Bytes out;
  for (const auto& s : strings) {
    if (s.empty() || s.find(L'\0') != std::wstring::npos) return std::nullopt;
    appendUtf16(out, s);
    appendUnit(out, 0);
  }
  appendUnit(out, 0);
  return out;
}

std::vector<std::wstring> decodeMultiString(const std::uint8_t* data, std::size_t size) {
  const std::wstring all = decodeUtf16le(data, size);
  std::vector<std::wstring> out;
  std::size_t start = 0;
  while (start < all.size()) {
    std::size_t end = all.find(L'\0', start);
    if (end == std::wstring::npos) end = all.size();
    if (end == start) break;  // the empty string that closes the list
    out.emplace_back(all, start, end - start);
    start = end + 1;
  }
  return out;
}

Bytes encodeDword(std::uint32_t value) {
  Bytes out(4);
  for (int i = 0; i < 4; ++i) out[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
  return out;
}

Bytes encodeQword(std::uint64_t value) {
  Bytes out(8);
  for (int i = 0; i < 8; ++i) out[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
  return out;
}

std::optional<std::uint32_t> decodeDword(const std::uint8_t* data, std::size_t size) {
  if (size != 4) return std::nullopt;
  std::uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | data[i];
  return v;
}

std::optional<std::uint64_t> decodeQword(const std::uint8_t* data, std::size_t size) {
  if (size != 8) return std::nullopt;
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | data[i];
  return v;
}

std::optional<std::string> nameToUtf8(std::wstring_view name) {
  std::string out;
  out.reserve(name.size());
  for (const wchar_t wc : name) {
    const auto cp = static_cast<std::uint32_t>(wc);
    if (cp > 0x10FFFF) return std::nullopt;
    platform::appendUtf8(out, cp);
  }
  return out;
}

std::wstring nameFromUtf8(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  std::size_t i = 0;
  while (i < utf8.size()) {
    const auto b = static_cast<std::uint8_t>(utf8[i]);
    std::size_t len = 1;
    std::uint32_t cp = b;
    if (b >= 0xF0) {
      len = 4;
      cp = b & 0x07;
    } else if (b >= 0xE0) {
      len = 3;
      cp = b & 0x0F;
    } else if (b >= 0xC0) {
      len = 2;
      cp = b & 0x1F;
    } else if (b >= 0x80) {
      // A stray continuation byte: only a damaged file holds one.
      out.push_back(L'\uFFFD');
      ++i;
      continue;
    }
    if (i + len > utf8.size()) {
      out.push_back(L'\uFFFD');
      break;
    }
    for (std::size_t k = 1; k < len; ++k) cp = (cp << 6) | (static_cast<std::uint8_t>(utf8[i + k]) & 0x3F);
    out.push_back(static_cast<wchar_t>(cp));
    i += len;
  }
  return out;
}

std::optional<std::int64_t> parseDecimal(std::wstring_view text) {
  if (text.empty() || text.size() > 32) return std::nullopt;
  std::string narrow;
  for (const wchar_t c : text) {
    if (c != L'-' && c != L'+' && (c < L'0' || c > L'9')) return std::nullopt;
    narrow.push_back(static_cast<char>(c));
  }
  const std::size_t start = narrow[0] == '+' ? 1 : 0;
  if (start == 1 && narrow.size() > 1 && narrow[1] == '-') return std::nullopt;
  std::int64_t value = 0;
  const char* first = narrow.data() + start;
  const char* last = narrow.data() + narrow.size();
  const auto [ptr, ec] = std::from_chars(first, last, value);
  if (ec != std::errc() || ptr != last || first == last) return std::nullopt;
  return value;
}

}  // namespace ut::regstore
