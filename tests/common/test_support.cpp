#include "test_support.h"

#include <fstream>
#include <iterator>
#include <random>
#include <system_error>

#include <unistd.h>

#include <ut/ut_regstore.h>

namespace ut::test {

TempDir::TempDir() {
  std::random_device rd;
  const auto base = std::filesystem::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = base / ("ut-test-" + std::to_string(::getpid()) + "-" + std::to_string(rd()));
    std::error_code ec;
    if (std::filesystem::create_directory(candidate, ec)) {
      m_path = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary test folder");
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

TempStore::TempStore() : m_file(m_dir / "registry.db") {
  m_previous = RegStore::file();
  m_previousWasDefault = m_previous == RegStore::defaultFile();
  m_ok = RegStore::setFile(wxString(m_file.string()));
}

TempStore::~TempStore() { RegStore::setFile(m_previousWasDefault ? wxString() : m_previous); }

std::string readFileBytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool writeFileBytes(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

}  // namespace ut::test
