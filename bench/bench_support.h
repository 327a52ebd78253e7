#pragma once

// Scratch folders and stores shared by the benchmarks.

#include <ut/ut_regstore.h>

#include <wx/string.h>

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

#include <unistd.h>

namespace ut::bench {

// A private folder, removed with its contents at the end.
class ScratchDir {
 public:
  ScratchDir() {
    std::random_device rd;
    m_path = std::filesystem::temp_directory_path() /
             ("ut-bench-" + std::to_string(::getpid()) + "-" + std::to_string(rd()));
    std::filesystem::create_directories(m_path);
  }
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(m_path, ec);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  wxString file(const char* name) const { return wxString((m_path / name).string()); }

 private:
  std::filesystem::path m_path;
};

// Points the store at a file of a scratch folder for the object's lifetime.
class ScratchStore {
 public:
  ScratchStore() : m_previous(RegStore::file()) { RegStore::setFile(m_dir.file("registry.db")); }
  ~ScratchStore() { RegStore::setFile(m_previous == RegStore::defaultFile() ? wxString() : m_previous); }
  ScratchStore(const ScratchStore&) = delete;
  ScratchStore& operator=(const ScratchStore&) = delete;
  const ScratchDir& dir() const { return m_dir; }
  wxString file(const char* name) const { return m_dir.file(name); }

 private:
  ScratchDir m_dir;
  wxString m_previous;
};

}  // namespace ut::bench
