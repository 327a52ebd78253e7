#pragma once

#include <filesystem>
#include <string>

namespace ut::test {

// A fresh, empty folder under the system's temporary directory, removed with
// everything in it when the object goes out of scope.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

// Reads a whole file as bytes; empty when it cannot be read.
std::string readFileBytes(const std::filesystem::path& file);
// Writes bytes to a file, replacing it; false on failure.
bool writeFileBytes(const std::filesystem::path& file, const std::string& bytes);

}  // namespace ut::test
