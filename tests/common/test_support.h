#pragma once

#include <wx/string.h>

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

// Points the process's registry store (ut::RegStore) at a fresh file in a
// private temporary folder for the object's lifetime, then switches back to
// the file that was in force before. Every test that reads or writes the
// store creates one, so tests never see each other's data or the user's.
class TempStore {
 public:
  TempStore();
  ~TempStore();
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

  // The store file (it exists once the store has opened it).
  const std::filesystem::path& file() const { return m_file; }
  // The folder holding it; other files of the test may go there too.
  const TempDir& dir() const { return m_dir; }
  // True when the store accepted the file.
  bool ok() const { return m_ok; }

 private:
  TempDir m_dir;
  std::filesystem::path m_file;
  wxString m_previous;
  bool m_previousWasDefault = true;
  bool m_ok = false;
};

// Reads a whole file as bytes; empty when it cannot be read.
std::string readFileBytes(const std::filesystem::path& file);
// Writes bytes to a file, replacing it; false on failure.
bool writeFileBytes(const std::filesystem::path& file, const std::string& bytes);

}  // namespace ut::test
