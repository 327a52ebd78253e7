#pragma once

// Base64 decoding as defined, the slow way: collect the six-bit values up to
// the first character outside the alphabet, then emit every complete byte.

#include <cstdint>
#include <string>
#include <string_view>

namespace ut::fuzz {

inline std::string referenceBase64Decode(const std::string& text, std::string_view alphabet) {
  std::string out;
  std::uint32_t bits = 0;
  int pending = 0;
  for (char c : text) {
    const std::size_t value = alphabet.find(c);
    if (value == std::string_view::npos) break;
    bits = (bits << 6) | static_cast<std::uint32_t>(value);
    pending += 6;
    if (pending >= 8) {
      pending -= 8;
      out.push_back(static_cast<char>((bits >> pending) & 0xFF));
    }
    bits &= (1u << pending) - 1;
  }
  return out;
}

constexpr std::string_view kStandardAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kUrlAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace ut::fuzz
