// Profiles in registry-export files, and the wxString functions on profiles.

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include "ut_config_facade.h"
#include "ut_configtree.h"
#include "ut_regfile.h"
#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

#include <wx/arrstr.h>
#include <wx/filename.h>
#include <wx/log.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ut {

namespace {

constexpr const wchar_t* kDescriptionValue = L"Description";
constexpr const wchar_t* kCurrentUser = L"HKEY_CURRENT_USER";

OdString od(const wxString& s) { return OdString(s.wc_str()); }

// "HKEY_CURRENT_USER\Software\TVCAD\...\Profiles\" in the form key lines use.
std::wstring profilesKeyName() {
  std::wstring name(kCurrentUser);
  name += L'\\';
  name += Config::profilesRoot(eCfgPathRegistry).c_str();
  return name;
}

// The value a node holds, under a name, in registry form; nothing for a node
// without a value.
void writeValue(regfile::Writer& writer, std::wstring_view name, const ConfigNodeBase& node) {
  unsigned long number = 0;
  OdString text;
  if (node.getULong(number)) {
    const auto bytes = regstore::encodeDword(static_cast<std::uint32_t>(number));
    writer.value(name, eRegDword, bytes.data(), bytes.size());
  } else if (node.getString(text)) {
    const auto bytes =
        regstore::encodeUtf16le(std::wstring_view(text.c_str(), static_cast<std::size_t>(text.getLength())), true);
    writer.value(name, eRegSz, bytes.data(), bytes.size());
  } else if (const ConfigValRaw* raw = node.rawValue()) {
    writer.value(name, raw->registryType(), raw->data().data(), raw->data().size());
  }
}

// A key and its subtree: the key's own value under ownName ("" writes "@"),
// its values, then its subkeys, in child order.
void writeKey(regfile::Writer& writer, const std::wstring& keyName, const ConfigNodeBase& key,
              std::wstring_view ownName) {
  writer.key(keyName);
  writeValue(writer, ownName, key);
  // By length: a stored name may hold U+0000.
  const auto leafOf = [&key](const ConfigNodeBase& child) {
    const int skip = key.path().getLength();
    return std::wstring(child.path().c_str() + skip, static_cast<std::size_t>(child.path().getLength() - skip));
  };
  for (const ConfigNodePtr& child : key.children()) {
    if (isLiveNode(child) && !child->isContainerNode()) writeValue(writer, leafOf(*child), *child);
  }
  for (const ConfigNodePtr& child : key.children()) {
    if (!isLiveNode(child) || !child->isContainerNode()) continue;
    std::wstring leaf = leafOf(*child);
    leaf.pop_back();  // the trailing "/"
    writeKey(writer, keyName + L'\\' + leaf, *child, L"");
  }
}

// What a profile export file holds, read and checked.
struct ProfileFile {
  std::wstring name;  // the profile's name in the file
  bool hasDescription = false;
  std::wstring description;
  ConfigNodePtr root = ConfigNode::createNode(OdString());  // the profile's content
  int skipped = 0;                                          // values no tree path can address
};

// Turns the operations of an export file into a profile. The first key must
// be a profile's own key (...\Profiles\<name> below the company key), every
// other key one below it; anything else, a deletion or an unreadable line
// included, means the file is not a profile export.
class ProfileReader {
 public:
  explicit ProfileReader(ProfileFile& out) : m_out(out) {}

  bool shaped() const { return m_shaped && !m_profileKey.empty(); }

  void operator()(const regfile::Operation& op) {
    if (!m_shaped) return;
    switch (op.kind) {
      case regfile::Operation::eOpenKey:
        m_shaped = op.rootName == kCurrentUser && openKey(op.path);
        return;
      case regfile::Operation::eSetValue:
        if (m_skippingKey) return;  // said once, for the key
        m_shaped = m_current != nullptr;
        if (m_shaped) setValue(op);
        return;
      default:
        m_shaped = false;
        return;
    }
  }

 private:
  bool openKey(const std::wstring& path) {
    if (m_profileKey.empty()) {
      const std::wstring prefix = L"Software\\" + std::wstring(kCompanyKey) + L"\\";
      constexpr std::wstring_view kProfiles = L"\\Profiles";
      const std::size_t slash = path.rfind(L'\\');
      if (slash == std::wstring::npos || slash + 1 == path.size() || path.compare(0, prefix.size(), prefix) != 0 ||
          slash < kProfiles.size() || path.compare(slash - kProfiles.size(), kProfiles.size(), kProfiles) != 0) {
        return false;
      }
      m_profileKey = path;
      m_out.name = path.substr(slash + 1);
      m_current = m_out.root;
      return true;
    }
    if (path.size() <= m_profileKey.size() + 1 || path.compare(0, m_profileKey.size(), m_profileKey) != 0 ||
        path[m_profileKey.size()] != L'\\') {
      return false;
    }
    m_skippingKey = !expressible(path.substr(m_profileKey.size() + 1));
    if (m_skippingKey) {
      m_current = nullptr;
      return true;
    }
    std::wstring relative = path.substr(m_profileKey.size() + 1) + L'/';
    std::replace(relative.begin(), relative.end(), L'\\', L'/');
    m_current = facade::descend(m_out.root, OdString(relative), true);
    return m_current != nullptr;
  }

  // Whether a key below the profile can become a path of the tree: each
  // level a name "/"-separated paths can hold, and no deeper than a store
  // key can be. Warns about a key that cannot, which is skipped with its
  // values and never followed as a relative step.
  bool expressible(std::wstring_view relative) const {
    std::size_t levels = 0;
    std::size_t start = 0;
    while (start <= relative.size()) {
      std::size_t end = relative.find(L'\\', start);
      if (end == std::wstring_view::npos) end = relative.size();
      const std::wstring_view level = relative.substr(start, end - start);
      if (!pathExpressible(level)) {
        warnSkippedName(wxString(m_profileKey), wxString(std::wstring(relative)));
        return false;
      }
      ++levels;
      start = end + 1;
    }
    // The depth the key would have in the store, below HKEY_CURRENT_USER.
    const std::size_t depth =
        levels + 1 + static_cast<std::size_t>(std::count(m_profileKey.begin(), m_profileKey.end(), L'\\'));
    if (depth > regstore::kMaxKeyDepth) {
      wxLogWarning(L"Skipped a key %zu levels deep below %s: keys nest at most %zu levels", depth, L"HKEY_CURRENT_USER",
                   regstore::kMaxKeyDepth);
      return false;
    }
    return true;
  }

  void setValue(const regfile::Operation& op) {
    const bool text = op.type == eRegSz || op.type == eRegExpandSz;
    if (m_current == m_out.root && (op.name.empty() || op.name == kDescriptionValue)) {
      // The profile key's own text is its description; the file may carry it
      // as the default value (a registry export) or as "Description" (ours).
      if (text) {
        m_out.hasDescription = true;
        m_out.description = regstore::decodeRegString(op.data.data(), op.data.size());
        return;
      }
      if (op.name.empty()) {
        ++m_out.skipped;  // a profile key holds no other value of its own
        return;
      }
    }
    if (op.name.empty()) {
      assignRegistryValue(*m_current, op.type, op.data);  // the key's default value
      return;
    }
    if (op.name.find(L'/') != std::wstring::npos) {
      ++m_out.skipped;  // "/" separates levels in the tree
      return;
    }
    ConfigNodePtr value = ConfigNode::createNode(m_current->path() + OdString(op.name));
    assignRegistryValue(*value, op.type, op.data);
    m_current->addChild(std::move(value));
  }

  ProfileFile& m_out;
  bool m_shaped = true;
  std::wstring m_profileKey;  // the profile's key path below HKEY_CURRENT_USER
  ConfigNodePtr m_current;
  bool m_skippingKey = false;  // the values of a skipped key are left out with it
};

// Reads a profile export. Logs the refusal and answers false when the file is
// missing or not the export of one profile.
bool readProfileFile(const wxString& fileName, ProfileFile& out) {
  if (fileName.empty() || !wxFileName::FileExists(fileName)) {
    wxLogError(L"File not found: \"%ls\"", fileName.wc_str());
    return false;
  }
  ProfileReader reader(out);
  const std::optional<std::wstring> text = regfile::loadFile(fileName);
  if (!text || !regfile::parse(*text, std::ref(reader)) || !reader.shaped()) {
    wxLogError(L"File \"%ls\" is not a profile of the application", fileName.wc_str());
    return false;
  }
  if (out.skipped > 0) {
    wxLogWarning(L"%d values of \"%ls\" have names a profile cannot hold and were skipped", out.skipped,
                 fileName.wc_str());
  }
  return true;
}

}  // namespace

// A registry-export file holding one profile, as a storage: flush writes the
// profile to the file, load reads it back into a profile container.
class ProfileFileStorage : public ConfigStorageBase {
 public:
  explicit ProfileFileStorage(const wxString& fileName) : m_fileName(fileName) {}

  bool load(const ConfigNodePtr& node, bool) override {
    if (!node || !node->isContainerNode()) return false;
    ProfileFile file;
    if (!readProfileFile(m_fileName, file)) return false;
    for (const ConfigNodePtr& child : file.root->children()) {
      const ConfigNodePtr copy = relocatedCopy(child, OdString(), node->path());
      if (copy) node->addChild(copy);
    }
    if (file.hasDescription) node->setString(file.description.c_str());
    return true;
  }

  // Replaces the file's contents; the messages are those of the group
  // exporter.
  bool flush(const ConfigNodePtr& node, bool) override {
    if (!isLiveNode(node) || !node->isContainerNode()) return false;
    OdString name = node->path();
    name.trimRight(L'/');
    std::wstring keyName = profilesKeyName() + name.c_str();
    std::replace(keyName.begin(), keyName.end(), L'/', L'\\');
    // Every value in a form the profile import reads back, whatever its type:
    // a placeholder line would make the file no profile export at all.
    regfile::Writer writer(regfile::Writer::EOtherTypes::eHex);
    writeKey(writer, keyName, *node, kDescriptionValue);
    const bool existed = wxFileName::FileExists(m_fileName);
    switch (regfile::saveFile(m_fileName, writer)) {
      case regfile::ESave::eSaved:
        return true;
      case regfile::ESave::eNotCreated:
        wxLogError(existed ? L"Failed to open file %ls" : L"Failed to create file %ls", m_fileName.wc_str());
        return false;
      case regfile::ESave::eNotWritten:
        break;
    }
    wxLogError(L"Failed to write to file %ls", m_fileName.wc_str());
    return false;
  }

  OdString rootPath() const override { return Config::profilesRoot(eCfgPathConfig); }

 private:
  wxString m_fileName;
};

// --- wxString functions ------------------------------------------------------

bool createProfile(const wxString& name, const wxString& description) {
  ProfileManagerBase& manager = Config::profileManager();
  if (name.empty() || manager.getProfileNode(od(name), false)) return false;
  const ConfigNodePtr profile = manager.getProfileNode(od(name), true);
  return profile && profile->setString(description.wc_str());
}

bool deleteProfile(const wxString& name) { return !name.empty() && Config::profileManager().deleteProfile(od(name)); }

bool renameProfile(const wxString& from, const wxString& to) {
  ProfileManagerBase& manager = Config::profileManager();
  if (from.empty() || !manager.getProfileNode(od(from), false)) return false;
  return manager.renameProfile(od(from), od(to));
}

bool resetProfile(const wxString& name) { return Config::profileManager().resetProfile(od(name)); }

bool exportProfile(const wxString& name, const wxString& fileName) {
  if (name.empty() || fileName.empty()) {
    wxLogError(L"Bad arguments");
    return false;
  }
  ProfileManagerBase& manager = Config::profileManager();
  if (!manager.getProfileNode(od(name), false)) {
    wxLogError(L"Config group not found: %ls", (Config::profilesRoot(eCfgPathConfig) + od(name) + L"/").c_str());
    return false;
  }
  return manager.exportProfile(od(name), std::make_shared<ProfileFileStorage>(fileName));
}

bool importProfile(const wxString& fileName, const wxString& name, const wxString& description) {
  wxString target = name;
  if (target.empty()) target = getProfileNameFromFile(fileName);
  if (target.empty()) return false;
  ProfileManagerBase& manager = Config::profileManager();
  if (!manager.importProfile(od(target), std::make_shared<ProfileFileStorage>(fileName))) return false;
  if (!description.empty()) return setProfileDescription(target, description);
  return true;
}

bool profileExists(const wxString& name) {
  return !name.empty() && static_cast<bool>(Config::profileManager().getProfileNode(od(name), false));
}

void getProfileNames(wxArrayString& names) {
  OdArray<OdString> list;
  Config::profileManager().getProfileNames(list);
  for (unsigned i = 0; i < list.size(); ++i) names.Add(wxString(list[i].c_str()));
}

wxString getCurrentProfileName() { return wxString(Config::profileManager().currentProfileName().c_str()); }

bool setCurrentProfileName(const wxString& name) { return Config::profileManager().setCurrentProfile(od(name), true); }

wxString getProfileDescription(const wxString& name) {
  if (name.empty()) return wxString();
  const ConfigNodePtr profile = Config::profileManager().getProfileNode(od(name), false);
  OdString description;
  if (!profile || !profile->getString(description)) return wxString();
  return wxString(description.c_str());
}

bool setProfileDescription(const wxString& name, const wxString& description) {
  if (name.empty()) return false;
  const ConfigNodePtr profile = Config::profileManager().getProfileNode(od(name), false);
  return profile && profile->setString(description.wc_str());
}

wxString getProfileNameFromFile(const wxString& fileName) {
  ProfileFile file;
  if (!readProfileFile(fileName, file)) return wxString();
  return wxString(file.name);
}

}  // namespace ut
