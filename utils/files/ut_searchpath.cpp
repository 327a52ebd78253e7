// Search paths: directory lists separated by ";".

#include <ut/ut_fileops.h>

#include "ut_platform.h"

#include <string>
#include <unordered_set>

namespace ut {

namespace {

constexpr int kUnlimitedSearchPath = 0x7fff;

// Whether some entry of `searchPath` equals `path` ignoring case (the whole
// entry: a trailing separator counts).
bool holdsEntry(const OdString& searchPath, const OdString& path) {
  OdArray<OdString> entries;
  splitSearchPath(entries, searchPath);
  for (const OdString& entry : entries) {
    if (platform::equalNoCase(entry.c_str(), path.c_str())) return true;
  }
  return false;
}

// The identity of an entry when cleaning up: without trailing separators,
// lower-cased.
std::wstring entryKey(const OdString& entry) {
  std::wstring key(entry.c_str(), static_cast<size_t>(entry.getLength()));
  while (!key.empty() && (key.back() == L'/' || key.back() == L'\\')) key.pop_back();
  return platform::toLower(key);
}

}  // namespace

void splitSearchPath(OdArray<OdString>& entries, const OdString& searchPath) {
  entries.clear();
  const wchar_t* text = searchPath.c_str();
  const wchar_t* const end = text + searchPath.getLength();
  for (;;) {
    const wchar_t* stop = text;
    while (stop != end && *stop != L';') ++stop;
    OdString entry(text, static_cast<int>(stop - text));
    entries.append(correctSlashes(entry));
    if (stop == end) break;
    text = stop + 1;
  }
}

OdString cleanupSearchPath(const OdString& searchPath) {
  OdArray<OdString> entries;
  splitSearchPath(entries, searchPath);
  std::unordered_set<std::wstring> seen;
  std::wstring joined;
  joined.reserve(static_cast<size_t>(searchPath.getLength()));
  for (const OdString& entry : entries) {
    if (entry.isEmpty() || !seen.insert(entryKey(entry)).second) continue;
    joined.append(entry.c_str(), static_cast<size_t>(entry.getLength()));
    joined.push_back(L';');
  }
  while (!joined.empty() && joined.back() == L';') joined.pop_back();
  return OdString(std::move(joined));
}

bool addPathToSearchPath(OdString& searchPath, const OdString& path, int maxLength) {
  if (path.isEmpty()) return true;
  const OdString corrected = correctSlashes(path);
  if (holdsEntry(searchPath, corrected)) return true;
  const bool separator = !searchPath.isEmpty() && searchPath[searchPath.getLength() - 1] != L';';
  const long long length = static_cast<long long>(searchPath.getLength()) + corrected.getLength() + (separator ? 1 : 0);
  if (length > maxLength) return false;
  if (separator) searchPath += L';';
  searchPath += corrected;
  return true;
}

bool prependPathToSearchPath(OdString& searchPath, const OdString& path, bool unlimited, int maxLength) {
  if (path.isEmpty()) return true;
  const OdString corrected = correctSlashes(path);
  if (holdsEntry(searchPath, corrected)) return true;
  const int limit = unlimited ? kUnlimitedSearchPath : maxLength;
  const bool leadingSeparator = !searchPath.isEmpty() && searchPath[0] == L';';
  // The extra 1 is counted exactly when no separator is inserted; kept so for
  // the callers that size their buffers by it.
  const long long length =
      static_cast<long long>(searchPath.getLength()) + corrected.getLength() + (leadingSeparator ? 1 : 0);
  if (length > limit) return false;
  OdString result = corrected;
  if (!leadingSeparator) result += L';';
  result += searchPath;
  searchPath = result;
  return true;
}

OdString firstAccessibleDir(const OdString& searchPath) {
  OdArray<OdString> entries;
  splitSearchPath(entries, searchPath);
  for (const OdString& entry : entries) {
    if (!entry.isEmpty() && FileName::dirExists(entry) && platform::isAccessible(entry.c_str(), false)) return entry;
  }
  return OdString();
}

}  // namespace ut
