// The C library's locale: what it is, changing it, and finding the locale of
// the user's language among those the system offers.

#include "ut_platform.h"

#include <algorithm>
#include <cctype>
#include <clocale>
#include <filesystem>
#include <system_error>

#include <langinfo.h>

namespace ut::platform {

namespace {

// Where glibc looks for compiled locales when $LOCPATH does not say.
constexpr const char* kSystemLocaleFolder = "/usr/lib/locale";

// Suffixes a language_REGION locale usually carries, legacy encodings first:
// a file that is not UTF-8 is what the locale fallback exists for.
constexpr const char* kUsualSuffixes[] = {".ISO-8859-1", ".iso88591", "@euro", ".ISO-8859-15",
                                          ".iso885915",  ".UTF-8",    ".utf8"};

// The codeset part of a locale name spells UTF-8 ("UTF-8", "utf8", ...).
bool namesUtf8(const std::string& name) {
  const std::size_t dot = name.find('.');
  if (dot == std::string::npos) return false;
  std::string codeset;
  for (std::size_t i = dot + 1; i < name.size() && name[i] != '@'; ++i) {
    const char c = name[i];
    if (c != '-' && c != '_') codeset += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return codeset == "utf8";
}

// The first of LC_ALL, LC_MESSAGES and LANG that is set and not empty.
std::string environmentLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (auto value = environmentVariable(name); value && !value->empty()) return *value;
  }
  return {};
}

// Folders holding compiled locales: each entry of $LOCPATH, then the system's.
std::vector<std::filesystem::path> localeFolders() {
  std::vector<std::filesystem::path> folders;
  if (auto path = environmentVariable("LOCPATH"); path && !path->empty()) {
    std::size_t start = 0;
    while (start <= path->size()) {
      std::size_t end = path->find(':', start);
      if (end == std::string::npos) end = path->size();
      if (end > start) folders.emplace_back(path->substr(start, end - start));
      start = end + 1;
    }
  }
  folders.emplace_back(kSystemLocaleFolder);
  return folders;
}

// Installed locales named language.CODESET or language@MODIFIER, sorted.
std::vector<std::string> installedVariants(const std::string& language) {
  std::vector<std::string> found;
  for (const auto& folder : localeFolders()) {
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
      const std::string name = it->path().filename().string();
      if (name.size() > language.size() && name.compare(0, language.size(), language) == 0 &&
          (name[language.size()] == '.' || name[language.size()] == '@')) {
        found.push_back(name);
      }
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

std::string crtLocale() {
  const char* name = std::setlocale(LC_ALL, nullptr);
  return name != nullptr ? std::string(name) : std::string();
}

bool setCrtLocale(const char* name) {
  if (name == nullptr || *name == '\0') return false;
  return std::setlocale(LC_ALL, name) != nullptr;
}

std::string crtCodeset() {
  const char* codeset = ::nl_langinfo(CODESET);
  return codeset != nullptr ? std::string(codeset) : std::string();
}

std::string userDefaultLanguage() {
  const std::string value = environmentLocale();
  // A locale given as a path names no language.
  if (value.find('/') != std::string::npos) return {};
  std::string language = value.substr(0, value.find_first_of(".@"));
  if (language == "C" || language == "POSIX") return {};
  return language;
}

std::vector<std::string> localeNameCandidates(const std::string& language) {
  if (language.empty()) return {};
  std::vector<std::string> variants = installedVariants(language);
  const std::string environment = environmentLocale();
  const std::size_t suffix = environment.find_first_of(".@");
  if (suffix != std::string::npos && environment.compare(0, suffix, language) == 0) variants.push_back(environment);
  for (const char* usual : kUsualSuffixes) variants.push_back(language + usual);

  std::vector<std::string> out{language};
  for (auto& name : variants) {
    if (std::find(out.begin(), out.end(), name) == out.end()) out.push_back(std::move(name));
  }
  std::stable_partition(out.begin() + 1, out.end(), [](const std::string& name) { return !namesUtf8(name); });
  return out;
}

std::string setCrtLocaleForLanguage(const std::string& language) {
  for (const auto& name : localeNameCandidates(language)) {
    if (setCrtLocale(name.c_str())) return name;
  }
  return {};
}

}  // namespace ut::platform
