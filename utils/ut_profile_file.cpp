// Profiles in registry-export files, and the wxString functions on profiles.

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include "ut_config_facade.h"
#include "ut_configtree.h"
#include "ut_regfile.h"
#include "ut_regstore_codec.h"

#include <wx/arrstr.h>
#include <wx/file.h>
#include <wx/filename.h>
#include <wx/log.h>

#include <map>
#include <string>

namespace ut {

namespace {

constexpr unsigned kRegSz = 1;
constexpr unsigned kRegExpandSz = 2;
constexpr unsigned kRegDword = 4;
constexpr unsigned kRegQword = 11;
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

std::wstring toBackslashes(const OdString& path) {
  std::wstring out(path.c_str());
  for (auto& c : out) {
    if (c == L'/') c = L'\\';
  }
  while (!out.empty() && out.back() == L'\\') out.pop_back();
  return out;
}

void writeValue(regfile::Writer& writer, const std::wstring& name, const ConfigNodePtr& node) {
  unsigned long number = 0;
  OdString text;
  if (node->getULong(number)) {
    const auto bytes = regstore::encodeDword(static_cast<std::uint32_t>(number));
    writer.value(name, kRegDword, bytes.data(), bytes.size());
  } else if (node->getString(text)) {
    const auto bytes = regstore::encodeUtf16le(std::wstring_view(text.c_str()), true);
    writer.value(name, kRegSz, bytes.data(), bytes.size());
  }
}

// A key and its subtree: its values first, then its subkeys, in child order.
void writeKey(regfile::Writer& writer, const std::wstring& keyName, const ConfigNodePtr& key) {
  writer.key(keyName);
  for (const ConfigNodePtr& child : key->children()) {
    if (isLiveNode(child) && !child->isContainerNode()) {
      writeValue(writer, std::wstring(OdString(child->path()).mid(key->path().getLength()).c_str()), child);
    }
  }
  for (const ConfigNodePtr& child : key->children()) {
    if (isLiveNode(child) && child->isContainerNode()) {
      OdString leaf = child->path().mid(key->path().getLength());
      leaf.trimRight(L'/');
      writeKey(writer, keyName + L'\\' + leaf.c_str(), child);
    }
  }
}

// What a profile export file holds, read and checked.
struct ProfileFile {
  std::wstring name;                                 // the profile's name in the file
  bool hasDescription = false;
  std::wstring description;
  std::map<std::wstring, ConfigNodePtr> keys;        // by relative key path ("Config/")
  ConfigNodePtr root = ConfigNode::createNode(OdString());  // the profile's content
  int skipped = 0;                                   // values the tree cannot hold
};

bool readFileBytes(const wxString& fileName, std::string& bytes) {
  const wxLogNull quiet;
  wxFile in;
  if (!in.Open(fileName, wxFile::read)) return false;
  const wxFileOffset length = in.Length();
  if (length < 0) return false;
  bytes.resize(static_cast<std::size_t>(length));
  return in.Read(bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

// Reads a profile export. Logs the refusal and answers false when the file is
// missing or not the export of one profile.
bool readProfileFile(const wxString& fileName, ProfileFile& out) {
  if (fileName.empty() || !wxFileName::FileExists(fileName)) {
    wxLogError(L"File not found: \"%ls\"", fileName.wc_str());
    return false;
  }
  std::string bytes;
  bool shaped = readFileBytes(fileName, bytes);
  const std::wstring prefix = L"Software\\" + std::wstring(kCompanyKey) + L"\\";
  std::wstring profileKey;  // the profile's key path below HKEY_CURRENT_USER
  ConfigNodePtr current;
  const auto sink = [&](const regfile::Operation& op) {
    if (!shaped) return;
    switch (op.kind) {
      case regfile::Operation::eOpenKey: {
        if (op.rootName != kCurrentUser) {
          shaped = false;
          return;
        }
        if (profileKey.empty()) {
          // The first key is the profile's own: ...\Profiles\<name>.
          const std::size_t slash = op.path.rfind(L'\\');
          const std::wstring parent = slash == std::wstring::npos ? std::wstring() : op.path.substr(0, slash);
          const std::wstring name = slash == std::wstring::npos ? std::wstring() : op.path.substr(slash + 1);
          if (op.path.compare(0, prefix.size(), prefix) != 0 || name.empty() || parent.size() < 9 ||
              parent.compare(parent.size() - 9, 9, L"\\Profiles") != 0) {
            shaped = false;
            return;
          }
          profileKey = op.path;
          out.name = name;
          current = out.root;
          return;
        }
        if (op.path.size() <= profileKey.size() + 1 || op.path.compare(0, profileKey.size(), profileKey) != 0 ||
            op.path[profileKey.size()] != L'\\') {
          shaped = false;
          return;
        }
        std::wstring relative = op.path.substr(profileKey.size() + 1);
        for (auto& c : relative) {
          if (c == L'\\') c = L'/';
        }
        current = facade::descend(out.root, OdString(relative.c_str()) + L"/", true);
        if (!current) shaped = false;
        return;
      }
      case regfile::Operation::eSetValue: {
        if (!current) {
          shaped = false;
          return;
        }
        const bool ownKey = current == out.root;
        std::wstring text;
        if ((op.type == kRegSz || op.type == kRegExpandSz) &&
            (ownKey && (op.name.empty() || op.name == kDescriptionValue))) {
          out.hasDescription = true;
          out.description = regstore::decodeRegString(op.data.data(), op.data.size());
          return;
        }
        if (op.name.empty() || op.name.find(L'/') != std::wstring::npos) {
          ++out.skipped;  // a key's default value or an unaddressable name
          return;
        }
        ConfigNodePtr value = ConfigNode::createNode(current->path() + OdString(op.name.c_str()));
        if (op.type == kRegSz || op.type == kRegExpandSz) {
          value->setString(regstore::decodeRegString(op.data.data(), op.data.size()).c_str());
        } else if (op.type == kRegDword && regstore::decodeDword(op.data.data(), op.data.size())) {
          value->setULong(*regstore::decodeDword(op.data.data(), op.data.size()));
        } else if (op.type == kRegQword && regstore::decodeQword(op.data.data(), op.data.size()) &&
                   *regstore::decodeQword(op.data.data(), op.data.size()) <= 0xffffffffULL) {
          value->setULong(static_cast<unsigned long>(*regstore::decodeQword(op.data.data(), op.data.size())));
        } else {
          ++out.skipped;
          return;
        }
        current->addChild(value);
        return;
      }
      default:
        // Deletions and unreadable lines have no place in a profile export.
        shaped = false;
        return;
    }
  };
  if (shaped) {
    // The sink clears `shaped` as soon as an entry does not belong to a profile.
    const bool parsed = regfile::parse(regfile::decodeFile(bytes), sink);
    shaped = shaped && parsed && !profileKey.empty();
  }
  if (!shaped) {
    wxLogError(L"File \"%ls\" is not a profile of the application", fileName.wc_str());
    return false;
  }
  if (out.skipped > 0) wxLogWarning(L"%d values of \"%ls\" are of types a profile cannot hold and were skipped", out.skipped, fileName.wc_str());
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

  bool flush(const ConfigNodePtr& node, bool) override {
    if (!isLiveNode(node) || !node->isContainerNode()) return false;
    regfile::Writer writer;
    OdString name = node->path();
    name.trimRight(L'/');
    const std::wstring keyName = profilesKeyName() + toBackslashes(name);
    writer.key(keyName);
    OdString description;
    if (node->getString(description)) {
      const auto bytes = regstore::encodeUtf16le(std::wstring_view(description.c_str()), true);
      writer.value(kDescriptionValue, kRegSz, bytes.data(), bytes.size());
    }
    // The profile key's own line is written once, with its description.
    regfile::Writer body;
    writeKey(body, keyName, node);
    std::wstring text = writer.text();
    const std::wstring& rest = body.text();
    const std::size_t firstKeyEnd = rest.find(L"]\r\n");
    if (firstKeyEnd == std::wstring::npos) return false;
    text += rest.substr(firstKeyEnd + 3);
    const std::string utf8 = OdString(text.c_str()).toUtf8();
    const wxLogNull quiet;
    wxFile out;
    if (!out.Create(m_fileName, true)) {
      wxLogError(L"Failed to create file %ls", m_fileName.wc_str());
      return false;
    }
    return out.Write(utf8.data(), utf8.size()) == utf8.size() && out.Close();
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
  if (name.empty() || fileName.empty()) return false;
  return Config::profileManager().exportProfile(od(name), std::make_shared<ProfileFileStorage>(fileName));
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
