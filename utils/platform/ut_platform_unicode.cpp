// The UTF-8 and UTF-16 codecs. Hand-written rather than taken from the
// toolkit or ICU because the registry must keep lone surrogates, which their
// converters reject, and because the same rules must hold for every caller.

#include "ut_platform.h"

namespace ut::platform {

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool isSurrogate(std::uint32_t cp) { return cp >= 0xD800 && cp <= 0xDFFF; }

// The outcome of decoding one sequence: the code point, or none with the
// number of bytes that form the maximal invalid subsequence.
struct Decoded {
  std::uint32_t codePoint;
  std::size_t length;
  bool valid;
};

// Decodes the sequence at s[i]. Follows the well-formed byte table of
// Unicode (no overlong forms, nothing past U+10FFFF); encoded surrogates
// (ED A0..BF xx) are well formed only when kept.
Decoded decodeOne(std::string_view s, std::size_t i, ESurrogates surrogates) {
  const auto lead = static_cast<unsigned char>(s[i]);
  if (lead < 0x80) return {lead, 1, true};
  std::size_t length = 0;
  std::uint32_t cp = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, cp = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, cp = lead & 0x0Fu;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, cp = lead & 0x07u;
  } else {
    return {kReplacement, 1, false};
  }
  const unsigned char secondMax = lead == 0xED && surrogates == ESurrogates::eReplace ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  const unsigned char secondMin = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  std::size_t k = 1;
  for (; k < length && i + k < s.size(); ++k) {
    const auto next = static_cast<unsigned char>(s[i + k]);
    if ((next & 0xC0) != 0x80) break;
    if (k == 1 && (next < secondMin || next > secondMax)) break;
    cp = (cp << 6) | (next & 0x3Fu);
  }
  if (k == length) return {cp, length, true};
  return {kReplacement, k, false};
}

std::uint32_t unitAt(const std::uint8_t* data, std::size_t i, EByteOrder order) {
  const std::uint32_t lo = data[2 * i + (order == EByteOrder::eLittleEndian ? 0 : 1)];
  const std::uint32_t hi = data[2 * i + (order == EByteOrder::eLittleEndian ? 1 : 0)];
  return lo | (hi << 8);
}

// Combines surrogate pairs of `count` units read by `unit(i)`.
template <class UnitAt>
std::wstring combineUnits(std::size_t count, UnitAt unit) {
  std::wstring out;
  out.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t c = unit(i);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < count) {
      const std::uint32_t next = unit(i + 1);
      if (next >= 0xDC00 && next <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
        ++i;
      }
    }
    out.push_back(static_cast<wchar_t>(c));
  }
  return out;
}

}  // namespace

// --- UTF-8 -------------------------------------------------------------------

void appendUtf8(std::string& out, std::uint32_t cp) {
  if (cp > 0x10FFFF) cp = kReplacement;
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

std::string toUtf8(std::wstring_view s, ESurrogates surrogates) {
  std::string out;
  out.reserve(s.size());
  for (const wchar_t wc : s) {
    const auto cp = static_cast<std::uint32_t>(wc);
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
      continue;
    }
    appendUtf8(out, isSurrogate(cp) && surrogates == ESurrogates::eReplace ? kReplacement : cp);
  }
  return out;
}

std::wstring fromUtf8(std::string_view s, ESurrogates surrogates) {
  std::wstring out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const Decoded d = decodeOne(s, i, surrogates);
    out.push_back(static_cast<wchar_t>(d.codePoint));
    i += d.length;
  }
  return out;
}

bool decodeUtf8(std::string_view s, std::wstring& out, ESurrogates surrogates) {
  out.clear();
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const Decoded d = decodeOne(s, i, surrogates);
    if (!d.valid) return false;
    out.push_back(static_cast<wchar_t>(d.codePoint));
    i += d.length;
  }
  return true;
}

// --- UTF-16 ------------------------------------------------------------------

int appendUtf16(char16_t* out, std::uint32_t cp) {
  if (cp > 0x10FFFF) cp = kReplacement;
  if (cp < 0x10000) {
    out[0] = static_cast<char16_t>(cp);
    return 1;
  }
  cp -= 0x10000;
  out[0] = static_cast<char16_t>(0xD800 + (cp >> 10));
  out[1] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
  return 2;
}

std::wstring fromUtf16(std::u16string_view units) {
  return combineUnits(units.size(), [units](std::size_t i) { return static_cast<std::uint32_t>(units[i]); });
}

std::vector<std::uint8_t> encodeUtf16(std::wstring_view text, EByteOrder order) {
  std::vector<std::uint8_t> out;
  out.reserve(text.size() * 2);
  char16_t units[2];
  for (const wchar_t wc : text) {
    const int n = appendUtf16(units, static_cast<std::uint32_t>(wc));
    for (int k = 0; k < n; ++k) {
      const auto lo = static_cast<std::uint8_t>(units[k] & 0xFF);
      const auto hi = static_cast<std::uint8_t>(units[k] >> 8);
      out.push_back(order == EByteOrder::eLittleEndian ? lo : hi);
      out.push_back(order == EByteOrder::eLittleEndian ? hi : lo);
    }
  }
  return out;
}

std::wstring decodeUtf16(const std::uint8_t* data, std::size_t size, EByteOrder order) {
  if (data == nullptr) return {};
  return combineUnits(size / 2, [data, order](std::size_t i) { return unitAt(data, i, order); });
}

std::size_t utf16Length(std::wstring_view s) {
  std::size_t n = s.size();
  for (const wchar_t c : s) {
    const auto cp = static_cast<std::uint32_t>(c);
    if (cp >= 0x10000 && cp <= 0x10FFFF) ++n;
  }
  return n;
}

}  // namespace ut::platform
