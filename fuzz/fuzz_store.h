#pragma once

// A scratch registry store for the fuzz targets that go through it: a private
// folder made once per process (removed at a normal exit) holding the store
// file and the targets' files. The toolkit is initialised as a host would,
// and its log is switched off: bad input is expected to be reported, and the
// messages would only slow the run down.

#include <ut/ut_regstore.h>

#include <wx/init.h>
#include <wx/log.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace ut::fuzz {

class ScratchStore {
 public:
  static ScratchStore& instance() {
    static ScratchStore store;
    return store;
  }

  // A file of the folder by name.
  std::string file(const std::string& name) const { return (m_dir / name).string(); }

  static void write(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!out) std::abort();
  }

  // The whole file, or "" when it cannot be read.
  static std::string read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  ~ScratchStore() {
    RegStore::close();
    wxUninitialize();
    std::error_code ignored;
    std::filesystem::remove_all(m_dir, ignored);
  }

 private:
  ScratchStore() {
    std::string pattern = (scratchParent() / "ut-fuzz-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) std::abort();
    m_dir = pattern;
    if (!wxInitialize()) std::abort();
    wxLog::EnableLogging(false);
    if (!RegStore::setFile(wxString(file("registry.db")))) std::abort();
  }

  // $TMPDIR when set, else /dev/shm where there is one: the store syncs its
  // file to disk at checkpoints, which on a real disk makes each input some
  // thirty times slower. Else the system's temporary folder.
  static std::filesystem::path scratchParent() {
    if (const char* tmp = std::getenv("TMPDIR"); tmp && *tmp) return tmp;
    std::error_code error;
    if (std::filesystem::is_directory("/dev/shm", error) && ::access("/dev/shm", W_OK) == 0) return "/dev/shm";
    return std::filesystem::temp_directory_path();
  }

  std::filesystem::path m_dir;
};

}  // namespace ut::fuzz
