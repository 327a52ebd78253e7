#include <ut/ut_config.h>

#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <wx/filename.h>
#include <wx/log.h>
#include <wx/string.h>

#include <array>
#include <cwchar>
#include <string>

namespace ut {

namespace {

constexpr const wchar_t* kSoftwareKey = L"Software";
constexpr const wchar_t* kConnectorKey = L"TVCAD Connector";
constexpr const wchar_t* kDefaultProduct = L"TVCAD";
constexpr const wchar_t* kDefaultLanguage = L"en_US";
constexpr const wchar_t* kDefaultProfile = L"Default";
constexpr const wchar_t* kProfilesKey = L"Profiles";
constexpr const wchar_t* kLanguageValue = L"CURVER";
constexpr const wchar_t* kCurrentProfileValue = L"CurProfile";

// The version key "V%d%ls%ls": the settings layout's release number, a minor
// release suffix and a build-flavour suffix. A release that changes the
// layout gets a key of its own, so older releases keep reading theirs.
constexpr int kSettingsRelease = 25;
constexpr const wchar_t* kMinorSuffix = L"";
constexpr const wchar_t* kFlavourSuffix = L"";

// Where a group's key hangs.
enum class EBase { eRoot, eVersion, eLanguage, eProfile, eNone };

struct GroupInfo {
  const wchar_t* name;  // enumerator name
  EBase base;
  const wchar_t* key;  // below the base, "/"-separated, without the final "/"
};

constexpr std::array<GroupInfo, kCfgGroupCount> kGroups = {{
    {L"eCfgRoot", EBase::eRoot, L""},
    {L"eCfgVersion", EBase::eVersion, L""},
    {L"eCfgLanguage", EBase::eLanguage, L""},
    {L"eCfgProfile", EBase::eProfile, L""},
    {L"eCfgAddins", EBase::eLanguage, L"Addins"},
    {L"eCfgApplications", EBase::eLanguage, L"Applications"},
    {L"eCfgConfig", EBase::eProfile, L"Config"},
    {L"eCfgDialogs", EBase::eProfile, L"Dialogs"},
    {L"eCfgEnvironment", EBase::eLanguage, L"Environment"},
    {L"eCfgStandard", EBase::eLanguage, L"Standard"},
    {L"eCfgMenus", EBase::eProfile, L"Menus"},
    {L"eCfgMLeader", EBase::eProfile, L"MLeader"},
    {L"eCfgPlot", EBase::eProfile, L"Config/Plot"},
    {L"eCfgProfiles", EBase::eLanguage, L"Profiles"},
    {L"eCfgProjectSettings", EBase::eProfile, L"Project Settings"},
    {L"eCfgRecentPaths", EBase::eLanguage, L"Recent Paths"},
    {L"eCfgProfileRecentPaths", EBase::eProfile, L"Recent Paths"},
    {L"eCfgRecentSheetSets", EBase::eLanguage, L"Recent Sheet Sets"},
    {L"eCfgSettings", EBase::eLanguage, L"Settings"},
    {L"eCfgSetup", EBase::eLanguage, L"Setup"},
    {L"eCfgScaleList", EBase::eLanguage, L"Scale List"},
    {L"eCfgStartup", EBase::eNone, L"Startup"},
    {L"eCfgStatusBar", EBase::eProfile, L"StatusBar"},
    {L"eCfgTablet", EBase::eProfile, L"Config/Tablet"},
    {L"eCfgTest", EBase::eLanguage, L"TEST"},
    {L"eCfgToolbars", EBase::eProfile, L"Toolbars"},
    {L"eCfgTPSettings", EBase::eProfile, L"TPSettings"},
    {L"eCfgUser", EBase::eLanguage, L"User"},
    {L"eCfgWindows", EBase::eProfile, L"Windows"},
    {L"eCfgWorksets", EBase::eProfile, L"Worksets"},
    {L"eCfgQuad", EBase::eProfile, L"Quad"},
    {L"eCfgPropertiesBar", EBase::eProfile, L"Properties Bar"},
    {L"eCfg3dMouseMenu", EBase::eProfile, L"3dMouseMenu"},
    {L"eCfgHotkeyAssistantContext", EBase::eProfile, L"HotkeyAssistantContext"},
    {L"eCfgMapConnections", EBase::eProfile, L"Map Connections"},
    {L"eCfgAppWindows", EBase::eLanguage, L"Windows"},
    {L"eCfgLayersPanel", EBase::eNone, L"Layers Panel"},
    {L"eCfgDrawingRecovery", EBase::eNone, L"Drawing Recovery"},
    {L"eCfgRibbonPanel", EBase::eNone, L"Ribbon Panel"},
    {L"eCfgDataCollection", EBase::eNone, L"Data Collection"},
}};

OdString& productName() {
  static OdString name(kDefaultProduct);
  return name;
}

// A name usable as one key level: not empty, no separator of any kind.
bool isKeyName(const OdString& name) {
  if (name.isEmpty()) return false;
  const wchar_t* s = name.c_str();
  return std::wcschr(s, L'/') == nullptr && std::wcschr(s, L'\\') == nullptr;
}

OdString versionKey() {
  return OdString(wxString::Format(L"V%d%ls%ls", kSettingsRelease, kMinorSuffix, kFlavourSuffix).wc_str());
}

// A string value of a key of HKEY_CURRENT_USER given in registry form.
OdString readStoreString(const OdString& registryKey, const wchar_t* name) {
  RegKey key(eCurrentUser, wxString(registryKey.c_str()));
  wxString value;
  if (!key.open(eRead) || !key.queryValue(wxString(name), value)) return OdString();
  return OdString(value.wc_str());
}

OdString toRegistryForm(const OdString& configPath) {
  OdString out = Config::companyRoot(eCfgPathRegistry);
  std::wstring tail(configPath.c_str());
  for (auto& c : tail) {
    if (c == L'/') c = L'\\';
  }
  if (tail.empty() || tail.front() != L'\\') out += L"\\";
  out += tail.c_str();
  return out;
}

// The key path of a group below a given language root (eCfgPathConfig form,
// ending in "/").
OdString composeGroup(int group, const OdString& languageRoot) {
  const GroupInfo& info = kGroups[static_cast<std::size_t>(group)];
  OdString base;
  switch (info.base) {
    case EBase::eRoot:
      return OdString(L"/");
    case EBase::eVersion:
      base = Config::versionRoot(eCfgPathConfig) + L"/";
      break;
    case EBase::eLanguage:
      base = languageRoot;
      break;
    case EBase::eProfile:
      base = languageRoot + kProfilesKey + L"/" + Config::currentProfileName() + L"/";
      break;
    case EBase::eNone:
      return OdString();
  }
  if (*info.key != L'\0') {
    base += info.key;
    base += L"/";
  }
  return base;
}

// What depends only on the language root, composed once: every group path
// agrees on the language for the life of the process.
struct LanguageGroupPaths {
  OdString languageRoot;
  std::array<OdString, kCfgGroupCount> config;
  std::array<OdString, kCfgGroupCount> full;
};

const LanguageGroupPaths& languageGroupPaths() {
  static const LanguageGroupPaths paths = [] {
    LanguageGroupPaths p;
    p.languageRoot = Config::languageRoot(eCfgPathConfig);
    for (int g = 0; g < kCfgGroupCount; ++g) {
      const EBase base = kGroups[static_cast<std::size_t>(g)].base;
      if (base == EBase::eProfile || base == EBase::eNone) continue;
      p.config[static_cast<std::size_t>(g)] = composeGroup(g, p.languageRoot);
      p.full[static_cast<std::size_t>(g)] = toRegistryForm(p.config[static_cast<std::size_t>(g)]);
    }
    return p;
  }();
  return paths;
}

}  // namespace

OdString cfgGroupName(int group) {
  if (group < 0 || group >= kCfgGroupCount) return OdString();
  return OdString(kGroups[static_cast<std::size_t>(group)].name);
}

bool parseCfgGroup(const OdString& text, ECfgGroup& group) {
  const wxString s(text.c_str());
  if (s.empty()) return false;
  unsigned long number = 0;
  if (s.find_first_not_of(L"0123456789") == wxString::npos) {
    if (s.length() > 3 || !s.ToULong(&number) || number >= static_cast<unsigned long>(kCfgGroupCount)) {
      return false;
    }
    group = static_cast<ECfgGroup>(number);
    return true;
  }
  for (int g = 0; g < kCfgGroupCount; ++g) {
    const wxString name(kGroups[static_cast<std::size_t>(g)].name);
    if (s.CmpNoCase(name) == 0 || s.CmpNoCase(name.Mid(4)) == 0) {
      group = static_cast<ECfgGroup>(g);
      return true;
    }
  }
  return false;
}

OdString Config::regPath(ECfgGroup group, bool full) {
  const int g = static_cast<int>(group);
  if (g < 0 || g >= kCfgGroupCount || kGroups[static_cast<std::size_t>(g)].base == EBase::eNone) {
    wxLogError(L"Unknown configuration group (%d)", g);
    return OdString();
  }
  const LanguageGroupPaths& paths = languageGroupPaths();
  if (kGroups[static_cast<std::size_t>(g)].base == EBase::eProfile) {
    // The current profile can change at any time.
    const OdString path = composeGroup(g, paths.languageRoot);
    return full ? toRegistryForm(path) : path;
  }
  return full ? paths.full[static_cast<std::size_t>(g)] : paths.config[static_cast<std::size_t>(g)];
}

wchar_t Config::separator(ECfgPathType type) {
  switch (type) {
    case eCfgPathRegistry:
    case eCfgPathExport:
      return L'\\';
    case eCfgPathFile:
      return static_cast<wchar_t>(wxFileName::GetPathSeparator());
    case eCfgPathConfig:
      break;
  }
  return L'/';
}

OdString Config::companyRoot(ECfgPathType type) {
  switch (type) {
    case eCfgPathRegistry:
    case eCfgPathExport: {
      OdString root(kSoftwareKey);
      root += separator(type);
      root += kCompanyKey;
      return root;
    }
    case eCfgPathFile:
      return OdString(kCompanyKey);
    case eCfgPathConfig:
      break;
  }
  return OdString();
}

OdString Config::productRoot(ECfgPathType type) {
  OdString root = companyRoot(type);
  root += separator(type);
  root += regProduct();
  return root;
}

OdString Config::versionRoot(ECfgPathType type) {
  OdString root = productRoot(type);
  root += separator(type);
  root += versionKey();
  return root;
}

OdString Config::languageRoot(ECfgPathType type) {
  OdString root = versionRoot(type);
  root += separator(type);
  root += currentLanguage();
  root += separator(type);
  return root;
}

OdString Config::profilesRoot(ECfgPathType type) {
  OdString root = languageRoot(type);
  root += kProfilesKey;
  root += separator(type);
  return root;
}

OdString Config::currentProfileRoot(ECfgPathType type) {
  OdString root = profilesRoot(type);
  root += currentProfileName();
  root += separator(type);
  return root;
}

OdString Config::connectorRoot(ECfgPathType type) {
  OdString root = companyRoot(type);
  root += separator(type);
  root += kConnectorKey;
  return root;
}

OdString Config::regProduct() { return productName(); }

void Config::setRegProduct(const OdString& product) {
  if (isKeyName(product)) productName() = product;
}

OdString Config::currentLanguage() {
  wxLogNull quiet;  // an absent store or key is the ordinary case, not an error
  const OdString language = readStoreString(versionRoot(eCfgPathRegistry), kLanguageValue);
  return isKeyName(language) ? language : OdString(kDefaultLanguage);
}

OdString Config::currentProfileName() {
  if (const ProfileManagerBase* manager = installedProfileManager()) {
    const OdString name = manager->currentProfileName();
    if (!name.isEmpty()) return name;
  }
  wxLogNull quiet;
  const OdString key = profilesRoot(eCfgPathRegistry);
  OdString name = readStoreString(key, L"");
  if (name.isEmpty()) name = readStoreString(key, kCurrentProfileValue);
  return isKeyName(name) ? name : OdString(kDefaultProfile);
}

}  // namespace ut
