#pragma once

// Turns fuzzer bytes into wide text that is mostly ASCII and Latin-1 but can
// hold any 32-bit value: a byte below 0xF0 is that character; a byte from
// 0xF0 up is followed by four bytes giving one raw wchar_t value (surrogates,
// values past U+10FFFF and negative ones included).

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace ut::fuzz {

inline std::wstring wideText(const std::uint8_t* data, std::size_t size) {
  std::wstring out;
  out.reserve(size);
  std::size_t i = 0;
  while (i < size) {
    const std::uint8_t b = data[i++];
    if (b < 0xF0 || size - i < 4) {
      out.push_back(static_cast<wchar_t>(b));
      continue;
    }
    std::uint32_t raw = 0;
    std::memcpy(&raw, data + i, 4);
    i += 4;
    out.push_back(static_cast<wchar_t>(raw));
  }
  return out;
}

// The text up to its first null, as a C string would be read.
inline std::wstring cString(std::wstring s) {
  const std::size_t end = s.find(L'\0');
  if (end != std::wstring::npos) s.resize(end);
  return s;
}

}  // namespace ut::fuzz
