#include "ut_regstore_codec.h"

#include "ut_platform.h"

#include <charconv>
#include <limits>

namespace ut::regstore {

Bytes encodeUtf16le(std::wstring_view text, bool terminate) {
  Bytes out = platform::encodeUtf16(text, platform::EByteOrder::eLittleEndian);
  if (terminate) out.insert(out.end(), {0, 0});
  return out;
}

std::wstring decodeUtf16le(const std::uint8_t* data, std::size_t size) {
  return platform::decodeUtf16(data, size, platform::EByteOrder::eLittleEndian);
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
    const Bytes units = encodeUtf16le(s, true);
    out.insert(out.end(), units.begin(), units.end());
  }
  out.insert(out.end(), {0, 0});
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
  for (const wchar_t wc : name) {
    if (static_cast<std::uint32_t>(wc) > 0x10FFFF) return std::nullopt;
  }
  return platform::toUtf8(name, platform::ESurrogates::eKeep);
}

std::wstring nameFromUtf8(std::string_view utf8) { return platform::fromUtf8(utf8, platform::ESurrogates::eKeep); }

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
