#pragma once

// Helpers shared by the file-layer tests.

#include "OdString.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>

namespace ut::test {

// Sets (or, with nullopt, unsets) an environment variable for the object's
// lifetime, then restores what was there.
class EnvOverride {
 public:
  EnvOverride(const char* name, std::optional<std::string> value) : m_name(name) {
    if (const char* old = std::getenv(name)) m_old = old;
    if (value)
      ::setenv(name, value->c_str(), 1);
    else
      ::unsetenv(name);
  }
  ~EnvOverride() {
    if (m_old)
      ::setenv(m_name.c_str(), m_old->c_str(), 1);
    else
      ::unsetenv(m_name.c_str());
  }
  EnvOverride(const EnvOverride&) = delete;
  EnvOverride& operator=(const EnvOverride&) = delete;

 private:
  std::string m_name;
  std::optional<std::string> m_old;
};

inline OdString od(const std::filesystem::path& p) { return OdString::fromUtf8(p.string()); }
inline std::string utf8(const OdString& s) { return s.toUtf8(); }

inline void writeFile(const std::filesystem::path& p, const std::string& content) {
  std::ofstream out(p, std::ios::binary);
  out << content;
}

inline std::string readFile(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// `n` bytes from a generator seeded with `seed`: the same bytes on every run.
inline std::string randomBytes(std::size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::string s(n, '\0');
  for (char& c : s) c = static_cast<char>(gen());
  return s;
}

}  // namespace ut::test
