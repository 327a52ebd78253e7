// Registry key paths on arbitrary text, in their two syntaxes.
//
// Store paths ("\"-separated, KeyRef::make): the path kept is the one given
// without leading and trailing "\"; its components, joined again, are that
// path; a reference is valid exactly when the root is one of the five and
// every component is a name a key can have (1 to 255 UTF-16 units, code
// points up to U+10FFFF) at a depth the store allows; a valid reference's
// folded form has as many components and is stable (folding the folded path
// changes nothing), and addressing the path as a child of its first level
// gives the same key.
//
// wxConfigBase paths ("/"-separated, RegConfig::SetPath), one per input line:
// the current path is "" or "/name/name..." with no empty, "." or ".."
// level; setting it again changes nothing; an absolute path without relative
// steps becomes its non-empty levels, and a relative one adds them to the
// current path.

#include <ut/ut_regstore.h>

#include "fuzz_check.h"
#include "fuzz_input.h"
#include "ut_platform.h"
#include "ut_regstore_db.h"

#include <wx/arrstr.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using ut::regstore::KeyRef;

using ut::fuzz::check;

std::wstring join(const std::vector<std::wstring>& parts, wchar_t separator) {
  std::wstring out;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) out += separator;
    out += parts[i];
  }
  return out;
}

bool legalName(const std::wstring& name) {
  if (name.empty() || ut::platform::utf16Length(name) > ut::regstore::kMaxKeyNameUnits) return false;
  for (const wchar_t c : name) {
    if (static_cast<std::uint32_t>(c) > 0x10FFFF) return false;
  }
  return true;
}

void checkStorePath(int root, const std::wstring& text) {
  const KeyRef key = KeyRef::make(root, text);
  const std::size_t first = text.find_first_not_of(L'\\');
  const std::wstring trimmed =
      first == std::wstring::npos ? std::wstring() : text.substr(first, text.find_last_not_of(L'\\') - first + 1);
  check(key.path == trimmed);

  const std::vector<std::wstring> components = key.components();
  check(components.size() == key.depth && join(components, L'\\') == key.path);
  bool legal = root >= ut::eClassesRoot && root <= ut::eCurrentConfig && key.depth <= ut::regstore::kMaxKeyDepth;
  for (const auto& c : components) legal = legal && legalName(c);
  check(key.valid == legal);
  if (!key.valid) return;

  check(key.foldedComponents().size() == key.depth);
  const std::wstring foldedPath = key.depth == 0 ? std::wstring() : key.folded.substr(2);
  check(key.folded.front() == static_cast<wchar_t>(L'0' + root) && ut::platform::foldCase(foldedPath) == foldedPath);
  check(KeyRef::make(root, key.path).folded == key.folded);
  if (key.depth >= 2) {
    const KeyRef parent = KeyRef::make(root, components.front());
    const KeyRef child = parent.child(std::wstring_view(key.path).substr(components.front().size() + 1));
    check(child.valid && child.path == key.path && child.folded == key.folded);
  }
}

// The non-empty levels of a "/"-separated path, or false when one of them
// is a relative step.
bool plainLevels(const wxString& path, std::vector<wxString>& levels) {
  for (const auto& level : wxSplit(path, L'/', L'\0')) {
    if (level == L"." || level == L"..") return false;
    if (!level.empty()) levels.push_back(level);
  }
  return true;
}

void checkConfigPaths(const std::wstring& text) {
  ut::RegConfig config(L"Software\\Fuzz");
  std::size_t start = 0;
  for (int line = 0; line < 16 && start <= text.size(); ++line) {
    std::size_t end = text.find(L'\n', start);
    if (end == std::wstring::npos) end = text.size();
    const wxString path(text.substr(start, end - start));
    start = end + 1;

    const wxString before = config.GetPath();
    config.SetPath(path);
    const wxString now = config.GetPath();
    check(now.empty() || (now.StartsWith(L"/") && !now.EndsWith(L"/")));
    std::vector<wxString> levels;
    check(plainLevels(now, levels) && now.Find(L"//") == wxNOT_FOUND);
    config.SetPath(now);
    check(config.GetPath() == now);

    std::vector<wxString> given;
    if (!plainLevels(path, given)) continue;
    wxString expected = path.StartsWith(L"/") || path.empty() ? wxString() : before;
    for (const auto& level : given) expected << L"/" << level;
    check(now == expected);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte picks the root, including numbers that are none.
  const int root = data[0] % 7 - 1;
  const std::wstring text = ut::fuzz::wideText(data + 1, size - 1);
  checkStorePath(root, text);
  checkConfigPaths(text);
  return 0;
}
