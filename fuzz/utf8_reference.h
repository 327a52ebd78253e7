#pragma once

// A plain strict UTF-8 checker, one byte at a time, written straight from the
// table of well-formed byte sequences (Unicode, table 3-7) with no lookup
// tables: the reference the fast isValidUTF8Encoding is compared with by the
// tests, the fuzz target and the benchmarks. Same contract: null or fewer than
// 2 bytes give false.

#include <cstddef>

namespace ut::reference {

inline bool plainUtf8(const unsigned char* data, std::size_t size) {
  if (data == nullptr || size < 2) return false;
  int pending = 0;  // continuation bytes still expected
  unsigned char low = 0x80;
  unsigned char high = 0xBF;  // range allowed for the next continuation byte
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned char b = data[i];
    if (pending > 0) {
      if (b < low || b > high) return false;
      low = 0x80;
      high = 0xBF;
      --pending;
      continue;
    }
    if (b <= 0x7F) continue;
    if (b >= 0xC2 && b <= 0xDF) {
      pending = 1;
    } else if (b == 0xE0) {
      pending = 2;
      low = 0xA0;
    } else if ((b >= 0xE1 && b <= 0xEC) || b == 0xEE || b == 0xEF) {
      pending = 2;
    } else if (b == 0xED) {
      pending = 2;
      high = 0x9F;
    } else if (b == 0xF0) {
      pending = 3;
      low = 0x90;
    } else if (b >= 0xF1 && b <= 0xF3) {
      pending = 3;
    } else if (b == 0xF4) {
      pending = 3;
      high = 0x8F;
    } else {
      return false;
    }
  }
  return pending == 0;
}

}  // namespace ut::reference
