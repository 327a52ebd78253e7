// Existence and access tests, copy, remove, rename, backup renaming, content
// comparison and free names.

#include <ut/ut_fileops.h>

#include "ut_netguard.h"
#include "ut_platform.h"

#include <wx/filename.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace ut {

namespace {

bool admits(const OdString& corrected) {
  return files::NetworkPathGuard::instance().admits(std::wstring(corrected.c_str()));
}

std::wstring wide(const OdString& s) { return std::wstring(s.c_str(), static_cast<size_t>(s.getLength())); }

// The whole content of a file that exists (after the guard); nullopt when it
// cannot be read.
std::optional<std::string> readContent(const OdString& path) {
  if (!FileName::fileExists(path)) return std::nullopt;
  std::ifstream in(platform::toUtf8(wide(correctSlashes(path))), std::ios::binary);
  if (!in) return std::nullopt;
  std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return content;
}

std::vector<std::string> sortedLines(const std::string& content) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < content.size()) {
    std::size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    std::string line = content.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    start = end + 1;
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

// "%NAME%" references: the home directory for "UserProfile", the environment
// for the rest; unknown names stay as written.
OdString expandPercentVariables(const OdString& path) {
  const std::wstring text = wide(path);
  std::wstring out;
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t open = text.find(L'%', pos);
    const std::size_t close = open == std::wstring::npos ? std::wstring::npos : text.find(L'%', open + 1);
    if (close == std::wstring::npos) break;
    out.append(text, pos, open - pos);
    const std::wstring name = text.substr(open + 1, close - open - 1);
    std::optional<std::wstring> value;
    if (platform::equalNoCase(name, L"UserProfile"))
      value = platform::homeDirectory();
    else if (!name.empty())
      value = platform::environmentText(platform::toUtf8(name).c_str());
    if (value) {
      out += *value;
      pos = close + 1;
    } else {
      out.append(text, open, close - open);  // keep "%NAME" and look again from the closing "%"
      pos = close;
    }
  }
  if (pos < text.size()) out.append(text, pos, std::wstring::npos);
  return OdString(std::move(out));
}

}  // namespace

bool fileExists(const OdString& path) { return FileName::fileExists(path); }
bool dirExists(const OdString& path) { return FileName::dirExists(path); }

bool accessFile(const OdString& path) {
  const OdString corrected = correctSlashes(path);
  return !corrected.isEmpty() && admits(corrected) && platform::isAccessible(wide(corrected), false);
}

bool expandedFileExists(OdString& path) {
  if (path.isEmpty()) return false;
  static const OdString kFolderVariable = L"%UserProfileFolder%";
  OdString text = path;
  const int percent = text.find(L'%');
  if (percent >= 0 && text.mid(percent, kFolderVariable.getLength()).iCompare(kFolderVariable) == 0)
    text = text.left(percent) + OdString(L"%UserProfile%") + text.mid(percent + kFolderVariable.getLength());
  FileName name(expandPercentVariables(correctSlashes(text)));
  // Every normalisation but case folding: environment variables, dots, "~",
  // absolute, long names, shortcuts.
  constexpr int kAllButCase = 0xf7;
  name.normalize(kAllButCase);
  path = name.getFullPath();
  return name.fileExists();
}

bool copyFile(const OdString& from, const OdString& to, bool overwrite) {
  const OdString target = correctSlashes(to);
  return FileName::fileExists(from) && !target.isEmpty() && admits(target) &&
         platform::copyFile(wide(correctSlashes(from)), wide(target), overwrite);
}

bool removeFile(const OdString& path) {
  return FileName::fileExists(path) && platform::deleteFile(wide(correctSlashes(path)));
}

bool renameFile(const OdString& from, const OdString& to, bool overwrite) {
  const OdString target = correctSlashes(to);
  return FileName(from).exists() && !target.isEmpty() && admits(target) &&
         platform::renameFile(wide(correctSlashes(from)), wide(target), overwrite);
}

bool renameFileForBackup(const OdString& path) {
  const FileName original(path);
  if (!original.fileExists()) return false;
  FileName backup(original);
  backup.setExt(L"bak");
  // A file that already is its own backup stays as it is.
  if (backup.getFullPath() == original.getFullPath()) return false;
  if (backup.fileExists()) removeFile(backup.getFullPath());
  return renameFile(original.getFullPath(), backup.getFullPath(), true);
}

bool filesAreEqual(const OdString& a, const OdString& b) {
  if (FileName::getSize(a) != FileName::getSize(b)) return false;
  const auto first = readContent(a);
  const auto second = readContent(b);
  return first && second && *first == *second;
}

bool filesAreEqualNoCase(const OdString& a, const OdString& b) {
  const auto first = readContent(a);
  const auto second = readContent(b);
  return first && second &&
         platform::toLower(platform::fromUtf8(*first)) == platform::toLower(platform::fromUtf8(*second));
}

bool filesAreEqualAfterSort(const OdString& a, const OdString& b) {
  const auto first = readContent(a);
  const auto second = readContent(b);
  return first && second && sortedLines(*first) == sortedLines(*second);
}

namespace {

constexpr int kMaxCandidates = 100000;

// The counter format split around its "%d"; the default when it has not
// exactly one.
std::pair<std::wstring, std::wstring> counterAffixes(const OdString& pattern) {
  const std::wstring text = wide(pattern);
  const auto at = text.find(L"%d");
  if (at == std::wstring::npos || text.find(L"%d", at + 2) != std::wstring::npos || text.find(L'%') != at)
    return {L" (", L")"};
  return {text.substr(0, at), text.substr(at + 2)};
}

// When `name` ends in prefix + decimal digits + suffix: the name without it,
// and the number.
std::optional<std::pair<std::wstring, long long>> parseCounter(const std::wstring& name, const std::wstring& prefix,
                                                               const std::wstring& suffix) {
  if (name.size() < prefix.size() + suffix.size() + 1 ||
      name.compare(name.size() - suffix.size(), suffix.size(), suffix))
    return std::nullopt;
  const std::size_t digitsEnd = name.size() - suffix.size();
  std::size_t digitsBegin = digitsEnd;
  while (digitsBegin > 0 && name[digitsBegin - 1] >= L'0' && name[digitsBegin - 1] <= L'9') --digitsBegin;
  if (digitsBegin == digitsEnd || digitsEnd - digitsBegin > 9 || digitsBegin < prefix.size() ||
      name.compare(digitsBegin - prefix.size(), prefix.size(), prefix))
    return std::nullopt;
  return std::make_pair(name.substr(0, digitsBegin - prefix.size()),
                        std::stoll(name.substr(digitsBegin, digitsEnd - digitsBegin)));
}

}  // namespace

OdString getFirstNotExistingPath(const OdString& path, const OdString& pattern, int start) {
  const OdString corrected = correctSlashes(path);
  if (corrected.isEmpty()) return OdString();
  FileName candidate(corrected);
  if (!candidate.exists()) return corrected;
  const auto [prefix, suffix] = counterAffixes(pattern);
  std::wstring base = wide(candidate.getName());
  long long counter = start;
  if (const auto parsed = parseCounter(base, prefix, suffix)) {
    base = parsed->first;
    counter = parsed->second + 1;
  }
  for (int i = 0; i < kMaxCandidates; ++i, ++counter) {
    candidate.setName(OdString(base + prefix + std::to_wstring(counter) + suffix));
    if (!candidate.exists()) return candidate.getFullPath();
  }
  return OdString();
}

}  // namespace ut
