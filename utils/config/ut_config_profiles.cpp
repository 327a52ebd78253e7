// The configuration facade: the profile manager it serves, set-up, flush and
// the app-id file.

#include "ut_config_facade.h"

#include <ut/ut_json.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <wx/filename.h>
#include <wx/log.h>
#include <wx/stdpaths.h>
#include <wx/utils.h>

#include <cwchar>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace ut {

using namespace facade;

namespace {

constexpr const wchar_t* kTsbFileName = L"tsb.json";

ProfileManagerBase*& installedManager() {
  static ProfileManagerBase* manager = nullptr;
  return manager;
}

// The manager made on first use when the host installed none.
std::unique_ptr<ProfileManagerBase>& fallbackManager() {
  static std::unique_ptr<ProfileManagerBase> manager;
  return manager;
}

struct ShapeDefault {
  const wchar_t* entry;
  bool flag;
  long value;
};

constexpr ShapeDefault kShapeDefaults[] = {
    {L"AntiAliasScreen", false, 1}, {L"AUTOCOMPLETEMODE", false, 31},
    {L"AUTOSNAP", false, 127},      {L"CLEANSCREENOPTIONS", false, 29},
    {L"COLORTHEME", false, 1},      {L"GEOMRELATIONS", false, 0},
    {L"GETSTARTED", true, 1},       {L"LAYOUTTAB", true, 0},
    {L"LOCKUI", false, 7},          {L"OSMODE", false, 4263},
    {L"OSOPTIONS", false, 5},       {L"PROMPTMENU", false, 0},
    {L"SHORTCUTMENU", false, 0},    {L"SHOWDOCTABS", true, 0},
    {L"SSLOCATE", true, 0},         {L"STARTUP", false, 2},
    {L"UCSORTHO", true, 0},         {L"UseConnector", false, 0},
    {L"XDWGFADECTL", false, 0},
};

OdString wxToOd(const wxString& s) { return OdString(s.wc_str()); }

// Where tsb.json is looked for, in order.
wxArrayString tsbCandidates() {
  wxArrayString candidates;
  const wxFileName exe(wxStandardPaths::Get().GetExecutablePath());
  candidates.Add(wxFileName(exe.GetPath(), kTsbFileName).GetFullPath());
  candidates.Add(wxFileName(wxStandardPaths::Get().GetUserDataDir(), kTsbFileName).GetFullPath());
  return candidates;
}

}  // namespace

// --- Profiles ----------------------------------------------------------------

ProfileManagerBase* Config::installedProfileManager() { return installedManager(); }

ProfileManagerBase& Config::profileManager() {
  if (installedManager() == nullptr) {
    // The manager's constructor installs it.
    fallbackManager() = std::make_unique<ProfileManagerBase>();
  }
  return *installedManager();
}

bool Config::setCurProfileName(const OdString& name, bool prepare) {
  return profileManager().setCurrentProfile(name, prepare);
}

int Config::getProfileNames(OdArray<OdString>& names) {
  profileManager().getProfileNames(names);
  return static_cast<int>(names.size());
}

bool Config::copyProfile(const OdString& from, const OdString& to) { return profileManager().copyProfile(from, to); }

bool Config::renameProfile(const OdString& from, const OdString& to) {
  return profileManager().renameProfile(from, to);
}

bool Config::resetProfile(const OdString& name) { return profileManager().resetProfile(name); }

bool Config::deleteProfile(const OdString& name) { return profileManager().deleteProfile(name); }

bool Config::exportProfile(const OdString& name, const OdString& fileName, bool report) {
  if (report) return ut::exportProfile(wxString(name.c_str()), wxString(fileName.c_str()));
  const wxLogNull quiet;
  return ut::exportProfile(wxString(name.c_str()), wxString(fileName.c_str()));
}

bool Config::importProfile(const OdString& fileName, const OdString& name, const OdString& description) {
  return ut::importProfile(wxString(fileName.c_str()), wxString(name.c_str()), wxString(description.c_str()));
}

bool Config::setProfileDescription(const OdString& name, const OdString& description) {
  return ut::setProfileDescription(wxString(name.c_str()), wxString(description.c_str()));
}

std::shared_ptr<ConfigNodeBase> Config::getProfileNode(const OdString& path, bool create) {
  ProfileManagerBase& manager = profileManager();
  ConfigNodePtr profile = manager.currentProfile();
  if (!profile && create) {
    if (!manager.setCurrentProfile(currentProfileName(), true)) return nullptr;
    profile = manager.currentProfile();
  }
  if (!profile) return nullptr;
  return descend(profile, path, create);
}

std::shared_ptr<ConfigNodeBase> Config::getIfProfileNode(ECfgGroup g, bool create) {
  if (!validGroup(g) || !isTreeGroup(g)) return nullptr;
  if (g == eCfgProfiles) return profileManager().getProfileNode(OdString(), false);
  return getProfileNode(OdString(treePath(g)), create);
}

std::shared_ptr<ConfigNodeBase> Config::getIfProfileNodeParent(OdString& entry, ECfgGroup g, bool create) {
  ConfigNodePtr node = getIfProfileNode(g, create);
  const int slash = entry.reverseFind(L'/');
  if (!node || slash < 0) return node;
  node = descend(node, entry.left(slash + 1), create);
  if (node) entry = entry.mid(slash + 1);
  return node;
}

// --- Set-up and persistence --------------------------------------------------

wxConfigBase& Config::appConfig() { return *RegConfig::installAsDefault(); }

void Config::initConfig(ProfileManagerBase* manager) {
  installedManager() = manager;
  if (manager == nullptr) return;
  // A manager made on first use gives way to the one the host installs.
  if (fallbackManager() && fallbackManager().get() != manager) fallbackManager().reset();
  wxConfigBase& config = appConfig();
  const ConfigNodePtr profile = manager->currentProfile();
  const ConfigNodePtr expand = profile ? profile->childAt(OdString(L"Config/REGEXPAND")) : nullptr;
  unsigned long value = 0;
  if (expand && !expand->isContainerNode() && expand->getULong(value)) config.SetExpandEnvVars(value != 0);
}

bool Config::flush() {
  bool ok = appConfig().Flush(false);
  if (ProfileManagerBase* manager = installedManager()) ok = manager->flush() && ok;
  return ok;
}

bool Config::setShapeDefaults() {
  bool ok = true;
  for (const ShapeDefault& d : kShapeDefaults) {
    const bool written =
        d.flag ? writeBool(eCfgConfig, d.entry, d.value != 0) : writeLong(eCfgConfig, d.entry, d.value);
    ok = written && ok;
  }
  return ok;
}

bool Config::isTSB() { return true; }

OdString Config::readTsbAppID(const OdString& fileName) {
  const wxString name(fileName.c_str());
  if (!wxFileName::FileExists(name)) {
    wxLogError(L"TSB app ID file '%ls' does not exist", fileName.c_str());
    return OdString();
  }
  std::ifstream in(name.fn_str(), std::ios::binary);
  if (!in) {
    wxLogError(L"Unable to open TSB app ID file '%ls'", fileName.c_str());
    return OdString();
  }
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (in.bad()) {
    wxLogError(L"Unable to read TSB app ID file '%ls'", fileName.c_str());
    return OdString();
  }
  JsonValue document;
  if (!parseJson(bytes.str(), document) || !document.is_object()) {
    wxLogError(L"Unable to parse json from TSB app ID file '%ls'", fileName.c_str());
    return OdString();
  }
  const JsonObject& object = document.get_ref<const JsonObject&>();
  OdString appId;
  for (const wchar_t* key : {L"appID", L"companyID"}) {
    try {
      const OdString value = getStringValue(object, key, Context(fileName));
      if (std::wcscmp(key, L"appID") == 0) appId = value;
    } catch (const JsonParseError&) {
      wxLogError(L"Unable to read json key '%ls' from TSB app file", key);
      return OdString();
    }
  }
  return appId;
}

const wchar_t* Config::tsbAppID() {
  static const OdString appId = [] {
    const wxArrayString candidates = tsbCandidates();
    for (const wxString& candidate : candidates) {
      if (wxFileName::FileExists(candidate)) return readTsbAppID(wxToOd(candidate));
    }
    return readTsbAppID(wxToOd(candidates[0]));
  }();
  return appId.c_str();
}

// --- Names -------------------------------------------------------------------

OdString Config::regCompany(bool full) { return full ? companyRoot(eCfgPathRegistry) : OdString(kCompanyKey); }

bool Config::setRegCompany(const OdString& company) { return company == kCompanyKey; }

OdString Config::userName() { return wxToOd(wxGetUserId()); }

OdString Config::getConfigFileName() { return wxToOd(RegStore::file()); }

}  // namespace ut
