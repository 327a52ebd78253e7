// The group exporter: one key of a wxConfigBase with its subtree, written as
// registry-export text.

#include <ut/ut_configstorage.h>

#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>

#include "ut_configtree.h"

#include <wx/config.h>
#include <wx/filename.h>
#include <wx/log.h>
#include <wx/textfile.h>

#include <climits>
#include <cstdint>
#include <utility>
#include <vector>

namespace ut {

namespace {

constexpr const wchar_t* kHeader = L"Windows Registry Editor Version 5.00";

// A group path: "/" alone, or "/"-separated levels ending in "/", none of
// them empty, "." or ".."; the leading "/" is optional. Gives the wx key
// argument ("/a/b", "/" for the root), or false.
bool groupKey(const OdString& path, wxString& key) {
  const wxString p(path.c_str());
  if (p == L"/") {
    key = p;
    return true;
  }
  if (!p.EndsWith(L"/") || p.Find(L'\\') != wxNOT_FOUND) return false;
  wxString inner = p.Left(p.length() - 1);
  if (inner.StartsWith(L"/")) inner.Remove(0, 1);
  if (inner.empty()) return false;
  for (const auto& level : wxSplit(inner, L'/', L'\0')) {
    if (level.empty() || level == L"." || level == L"..") return false;
  }
  key = L"/" + inner;
  return true;
}

class Exporter {
 public:
  Exporter(wxConfigBase& config, const wxString& storeRoot, wxTextFile& file)
      : m_config(config), m_storeRoot(storeRoot), m_file(file) {}

  // The key and the name of each entry or key left out, in walk order.
  std::vector<std::pair<wxString, wxString>>& skipped() { return m_skipped; }

  void writeKey(const wxString& absKey) {
    wxString line;
    if (absKey == L"/") {
      line = wxString::Format(L"[HKEY_CURRENT_USER\\%ls]", m_storeRoot.wc_str());
    } else {
      line = wxString::Format(L"[HKEY_CURRENT_USER\\%ls\\%ls]", m_storeRoot.wc_str(), absKey.Mid(1).wc_str());
    }
    line.Replace(L"/", L"\\");
    m_file.AddLine(line);

    m_config.SetPath(absKey);
    std::vector<wxString> entries;
    std::vector<wxString> groups;
    wxString name;
    long index = 0;
    // A name holding "/" would be read as a path, and a key named "." or
    // ".." as a step up or in place (endlessly, for ".").
    for (bool more = m_config.GetFirstEntry(name, index); more; more = m_config.GetNextEntry(name, index)) {
      if (name.Find(L'/') == wxNOT_FOUND) {
        entries.push_back(name);
      } else {
        m_skipped.emplace_back(absKey, name);
      }
    }
    for (bool more = m_config.GetFirstGroup(name, index); more; more = m_config.GetNextGroup(name, index)) {
      if (pathExpressible(name.ToStdWstring())) {
        groups.push_back(name);
      } else {
        m_skipped.emplace_back(absKey, name);
      }
    }
    for (const auto& entry : entries) m_file.AddLine(valueLine(entry));
    for (const auto& group : groups) writeKey(absKey == L"/" ? absKey + group : absKey + L"/" + group);
  }

 private:
  wxString valueLine(const wxString& entry) {
    const wxString left = entry.empty() ? wxString(L"@") : L"\"" + entry + L"\"";
    const wxConfigBase::EntryType type = m_config.GetEntryType(entry);
    switch (type) {
      case wxConfigBase::Type_String: {
        wxString text;
        if (m_config.Read(entry, &text)) return stringLine(left, text);
        break;
      }
      case wxConfigBase::Type_Integer: {
        long number = 0;
        if (!m_config.Read(entry, &number)) break;
        if (number >= INT32_MIN && number <= static_cast<long>(UINT32_MAX)) {
          return wxString::Format(L"%ls=dword:%.8x", left.wc_str(),
                                  static_cast<unsigned>(static_cast<std::uint32_t>(number)));
        }
        // Wider than a dword: kept whole as text rather than cut down.
        return stringLine(left, wxString::Format(L"%ld", number));
      }
      case wxConfigBase::Type_Float: {
        double number = 0;
        if (m_config.Read(entry, &number)) return stringLine(left, wxString::Format(L"%g", number));
        break;
      }
      default:
        break;
    }
    return wxString::Format(L"{{Unknown type: %d}}", static_cast<int>(type));
  }

  static wxString stringLine(const wxString& left, const wxString& text) {
    return wxString::Format(L"%ls=\"%ls\"", left.wc_str(), escape(text).wc_str());
  }

  wxConfigBase& m_config;
  wxString m_storeRoot;
  wxTextFile& m_file;
  std::vector<std::pair<wxString, wxString>> m_skipped;
};

// Brings the configuration object back to where the caller had it.
class PathKeeper {
 public:
  explicit PathKeeper(wxConfigBase& config)
      : m_config(config), m_path(config.GetPath()), m_expand(config.IsExpandingEnvVars()) {
    if (!m_path.StartsWith(L"/")) m_path.Prepend(L"/");
    m_config.SetExpandEnvVars(false);
  }
  ~PathKeeper() {
    m_config.SetPath(m_path);
    m_config.SetExpandEnvVars(m_expand);
  }
  PathKeeper(const PathKeeper&) = delete;
  PathKeeper& operator=(const PathKeeper&) = delete;

 private:
  wxConfigBase& m_config;
  wxString m_path;
  bool m_expand;
};

}  // namespace

bool exportConfigGroup(wxConfigBase& config, const OdString& storeRoot, const OdString& keyPath,
                       const OdString& fileName, bool report) {
  auto fail = [report](const wxString& message) {
    if (report) wxLogError(L"%s", message);
    return false;
  };
  if (keyPath.isEmpty() || fileName.isEmpty()) return fail(L"Bad arguments");
  wxString key;
  if (!groupKey(keyPath, key)) return fail(wxString::Format(L"Bad group path: %ls", keyPath.c_str()));

  const wxString name(fileName.c_str());
  std::vector<std::pair<wxString, wxString>> skipped;
  // wx's own messages are held back while the work runs: ours say what
  // failed, and only when the caller asks.
  const wxString error = [&]() -> wxString {
    wxLogNull quiet;
    PathKeeper keep(config);
    if (key != L"/" && !config.HasGroup(key)) return wxString::Format(L"Config group not found: %ls", keyPath.c_str());
    wxTextFile file;
    if (wxFileName::FileExists(name)) {
      // The old contents are replaced, so any bytes will do for reading them.
      if (!file.Open(name, wxConvISO8859_1)) return wxString::Format(L"Failed to open file %ls", name.wc_str());
      file.Clear();
    } else if (!file.Create(name)) {
      return wxString::Format(L"Failed to create file %ls", name.wc_str());
    }
    file.AddLine(kHeader);
    Exporter exporter(config, wxString(storeRoot.c_str()), file);
    exporter.writeKey(key);
    skipped = std::move(exporter.skipped());
    if (!file.Write(wxTextFileType_Dos, wxConvUTF8))
      return wxString::Format(L"Failed to write to file %ls", name.wc_str());
    return wxString();
  }();
  // Outside the wx silence above, and whether or not errors are reported:
  // what is left out of an export is never left out silently.
  for (const auto& [where, skippedName] : skipped) warnSkippedName(where, skippedName);
  return error.empty() || fail(error);
}

bool exportConfigGroup(const OdString& keyPath, const OdString& fileName, bool report) {
  RegConfig config(kCompanyRegistryKey);
  return exportConfigGroup(config, kCompanyRegistryKey, keyPath, fileName, report);
}

}  // namespace ut
