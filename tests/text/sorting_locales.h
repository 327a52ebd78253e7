#pragma once

// Locales for the collation tests: "C" and "C.UTF-8" always, "en_US.UTF-8"
// when the system has it or can generate it (with localedef, into a temporary
// folder, without root). Used through uselocale, so only the calling thread
// changes locale.

#include <langinfo.h>
#include <locale.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "test_support.h"

namespace ut::test {

// A locale owned for the rest of the program (freed at exit).
struct TestLocale {
  TestLocale(std::string n, locale_t h) : name(std::move(n)), owner(h, &freelocale), handle(h) {}
  std::string name;
  std::unique_ptr<std::remove_pointer_t<locale_t>, decltype(&freelocale)> owner;
  locale_t handle;
};

// Makes `locale` the calling thread's locale until destruction.
class ScopedThreadLocale {
 public:
  explicit ScopedThreadLocale(locale_t locale) : m_previous(uselocale(locale)) {}
  ~ScopedThreadLocale() { uselocale(m_previous); }
  ScopedThreadLocale(const ScopedThreadLocale&) = delete;
  ScopedThreadLocale& operator=(const ScopedThreadLocale&) = delete;

 private:
  locale_t m_previous;
};

// Compiles the system's locale source `source` (/usr/share/i18n/locales) with
// the character map `charmap` into the folder dir/name, with localedef, which
// needs no root. False when the source is missing or localedef fails.
inline bool compileLocale(const std::filesystem::path& dir, const std::string& name, const std::string& source,
                          const std::string& charmap) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!fs::exists("/usr/share/i18n/locales/" + source, ec)) return false;
  fs::create_directories(dir, ec);
  if (ec) return false;
  const std::string command =
      "localedef -i " + source + " -f " + charmap + " '" + (dir / name).string() + "' >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

namespace detail {

inline locale_t generateLocale(const std::string& name, const std::string& source, const std::string& charmap) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path dir = fs::temp_directory_path(ec) / ("ut-locale-" + std::to_string(::getpid()));
  if (ec || fs::exists(dir, ec)) return nullptr;
  locale_t handle = nullptr;
  if (compileLocale(dir, name, source, charmap)) {
    const std::string savedLocale = setlocale(LC_ALL, nullptr);
    {
      const EnvOverride path("LOCPATH", dir.string());
      // Loaded through the global locale and copied from there: newlocale
      // would keep a copy of LOCPATH for good, which leak checkers report.
      if (setlocale(LC_ALL, name.c_str()) != nullptr) handle = duplocale(LC_GLOBAL_LOCALE);
    }
    setlocale(LC_ALL, savedLocale.c_str());
  }
  // The loaded locale keeps its data mapped; the files are no longer needed.
  fs::remove_all(dir, ec);
  return handle;
}

}  // namespace detail

// The locales of the process, made once; generated ones included.
inline const std::vector<TestLocale>& testLocales() {
  static const std::vector<TestLocale> locales = [] {
    std::vector<TestLocale> out;
    for (const char* name : {"C", "C.UTF-8"}) {
      if (locale_t h = newlocale(LC_ALL_MASK, name, nullptr)) out.emplace_back(name, h);
    }
    locale_t us = newlocale(LC_ALL_MASK, "en_US.UTF-8", nullptr);
    if (us == nullptr) us = detail::generateLocale("en_US.UTF-8", "en_US", "UTF-8");
    if (us != nullptr) out.emplace_back("en_US.UTF-8", us);
    return out;
  }();
  return locales;
}

inline bool hasLocale(const std::string& name) {
  for (const auto& l : testLocales()) {
    if (l.name == name) return true;
  }
  return false;
}

}  // namespace ut::test
