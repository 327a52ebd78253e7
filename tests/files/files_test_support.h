#pragma once

// Helpers shared by the file-layer tests.

#include "OdString.h"

#include <filesystem>
#include <random>
#include <string>

namespace ut::test {

inline OdString od(const std::filesystem::path& p) { return OdString::fromUtf8(p.string()); }
inline std::string utf8(const OdString& s) { return s.toUtf8(); }

// `n` bytes from a generator seeded with `seed`: the same bytes on every run.
inline std::string randomBytes(std::size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::string s(n, '\0');
  for (char& c : s) c = static_cast<char>(gen());
  return s;
}

}  // namespace ut::test
