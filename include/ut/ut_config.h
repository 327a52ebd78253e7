#pragma once

// The configuration facade: where every configuration group lives in the
// per-user store and how the store's key paths are composed.
//
// Key paths. Inside the program a key path uses "/" between levels and ends
// in "/"; a value path does not. Paths of the kind eCfgPathConfig are those of
// the in-memory tree and of every wxConfigBase the library uses: they are
// relative to the company key "Software\TVCAD" of HKEY_CURRENT_USER and start
// with "/". Written for the registry, every "/" becomes "\".
//
// Composition decisions:
//  - The product key is regProduct(), "TVCAD" unless the host sets another.
//  - The version key is "V%d%ls%ls": the release number of the settings
//    layout (25), then a minor-release suffix and a build-flavour suffix, both
//    empty in this build, so "V25".
//  - The company, product, version and connector roots carry no trailing
//    separator; the language, profiles and current-profile roots end in one,
//    since they are the keys that trees and groups hang below
//    (profilesRoot() is languageRoot() + "Profiles" + separator).
//  - The language of the key paths is currentLanguage(); the group paths
//    that depend only on it are composed once, on first use, and kept for the
//    life of the process. Paths below the current profile are composed on
//    every call (on that same language root).
//
// Serving settings. Config is the one entry point through which settings are
// read and written. Groups that live under the current profile (3, 6, 7, 10
// to 12, 14, 16, 21 to 23, 25, 26, 28 to 34, 36 to 39) and group 13 (all
// profiles) are served from the profile tree of the installed profile manager
// (ut_profile.h); every other group goes to the application's wxConfigBase,
// which is wxConfigBase::Get() when the host has set one, else a RegConfig
// installed once as the default (RegConfig::installAsDefault). Profile-tree
// changes reach the store with flush(). An entry of a profile group whose key
// the tree lacks is missing: it is never looked for through the wxConfigBase,
// which may still hold what the tree deleted and has not flushed yet.
//
// Values. Numbers in the profile tree are 32-bit: writeLong() refuses a value
// that does not fit (as a signed or unsigned 32-bit number), and a number
// reads back as a signed 32-bit value. Booleans are the numbers 0 and 1.
// Doubles and composite values are strings: doubles in the shortest form that
// reads back exactly; wxSize and integer points "%d,%d"; tagRECT and wxRect
// "%d,%d,%d,%d" in member order; OdGePoint2d "%g,%g"; OdGePoint3d "%g,%g,%g"
// (C locale). A typed read answers false and leaves its output untouched when
// the entry is missing, of another type, or text that is not exactly of the
// format (a short out of range included). Over the wxConfigBase its own
// conversions apply first: a number reads as its decimal text, a string
// holding a decimal number reads as that number.
//
// Full paths (read/write by path) are eCfgPathConfig key paths followed by
// the entry name ("/TVCAD/V25/en_US/Addins/X"). A path below the profiles root
// is served from the profile tree, any other from the wxConfigBase.
//
// Unknown groups: every operation taking a group logs "Unknown configuration
// group (%d)" with wxLogError for a value outside 0 to 39 and answers false
// (0, empty). Groups without a key path (21, 36 to 39) work all the same:
// they are served by the profile tree, and only regPath() refuses them.
//
// Copying and renaming over the wxConfigBase carry strings, integers, floats
// and booleans; an entry of another type is not copied: "{{Unknown type: %d}}"
// is logged with its wxConfigBase entry type and the operation answers false
// after copying the rest.
//
// The facade holds no lock: callers serialise access.

#include <ut/ut_export.h>

#include "OdArray.h"
#include "OdString.h"

#include <memory>

class OdGePoint2d;
class OdGePoint3d;
class wxConfigBase;
class wxPoint;
class wxRect;
class wxSize;
class wxString;

#ifndef _WIN32
// The platform's point and rectangle structures, for the settings that
// windows keep.
struct tagPOINT {
  long x;
  long y;
};
struct tagRECT {
  long left;
  long top;
  long right;
  long bottom;
};
#endif

namespace ut {

class ConfigNodeBase;
class ProfileManagerBase;

// The configuration groups. Each maps to one key path (Config::regPath); the
// ones marked "profile tree only" are reached only through the current
// profile's tree and have no key path.
enum ECfgGroup : int {
  eCfgRoot = 0,                     // "/": the company key itself
  eCfgVersion = 1,                  // the version root
  eCfgLanguage = 2,                 // the language root
  eCfgProfile = 3,                  // the current profile's key
  eCfgAddins = 4,                   // language root + "Addins/"
  eCfgApplications = 5,             // language root + "Applications/"
  eCfgConfig = 6,                   // profile + "Config/"
  eCfgDialogs = 7,                  // profile + "Dialogs/"
  eCfgEnvironment = 8,              // language root + "Environment/"
  eCfgStandard = 9,                 // language root + "Standard/"
  eCfgMenus = 10,                   // profile + "Menus/"
  eCfgMLeader = 11,                 // profile + "MLeader/"
  eCfgPlot = 12,                    // profile + "Config/Plot/"
  eCfgProfiles = 13,                // language root + "Profiles/"
  eCfgProjectSettings = 14,         // profile + "Project Settings/"
  eCfgRecentPaths = 15,             // language root + "Recent Paths/"
  eCfgProfileRecentPaths = 16,      // profile + "Recent Paths/"
  eCfgRecentSheetSets = 17,         // language root + "Recent Sheet Sets/"
  eCfgSettings = 18,                // language root + "Settings/"
  eCfgSetup = 19,                   // language root + "Setup/"
  eCfgScaleList = 20,               // language root + "Scale List/"
  eCfgStartup = 21,                 // profile + "Startup/" (profile tree only)
  eCfgStatusBar = 22,               // profile + "StatusBar/"
  eCfgTablet = 23,                  // profile + "Config/Tablet/"
  eCfgTest = 24,                    // language root + "TEST/"
  eCfgToolbars = 25,                // profile + "Toolbars/"
  eCfgTPSettings = 26,              // profile + "TPSettings/"
  eCfgUser = 27,                    // language root + "User/"
  eCfgWindows = 28,                 // profile + "Windows/"
  eCfgWorksets = 29,                // profile + "Worksets/"
  eCfgQuad = 30,                    // profile + "Quad/"
  eCfgPropertiesBar = 31,           // profile + "Properties Bar/"
  eCfg3dMouseMenu = 32,             // profile + "3dMouseMenu/"
  eCfgHotkeyAssistantContext = 33,  // profile + "HotkeyAssistantContext/"
  eCfgMapConnections = 34,          // profile + "Map Connections/"
  eCfgAppWindows = 35,              // language root + "Windows/"
  eCfgLayersPanel = 36,             // profile + "Layers Panel/" (profile tree only)
  eCfgDrawingRecovery = 37,         // profile + "Drawing Recovery/" (profile tree only)
  eCfgRibbonPanel = 38,             // profile + "Ribbon Panel/" (profile tree only)
  eCfgDataCollection = 39,          // profile + "Data Collection/" (profile tree only)
};

inline constexpr int kCfgGroupCount = 40;

// The kinds of key path: which separator and which company root they use.
enum ECfgPathType : int {
  eCfgPathRegistry = 0,  // "\" between levels, from "Software\TVCAD" (a key of HKEY_CURRENT_USER)
  eCfgPathFile = 1,      // the file-path separator, from the bare company key "TVCAD" (a folder)
  eCfgPathConfig = 2,    // "/" between levels, relative to the company key (trees, wxConfigBase)
  eCfgPathExport = 3,    // as eCfgPathRegistry: key names as an export file writes them
};

// The enumerator name of a group ("eCfgAddins"); empty for a value outside
// 0 to 39.
UT_EXPORT OdString cfgGroupName(int group);
// A group given by its enumerator name ("eCfgAddins"), that name without its
// "eCfg" prefix ("Addins"), both ignoring case, or its number ("4"). False,
// with group untouched, for anything else.
UT_EXPORT bool parseCfgGroup(const OdString& text, ECfgGroup& group);
// Whether a group's entries live in the current profile's tree (those
// Config::getIfProfileNode serves, the all-profiles group 13 excepted): such
// a group has nowhere to go while no profile is current. False outside 0 to 39.
UT_EXPORT bool isProfileGroup(ECfgGroup group);

// The type of an entry, numbered as wxConfigBase::EntryType.
enum ECfgType : int {
  eCfgTypeUnknown = 0,  // unknown or absent
  eCfgTypeString = 1,
  eCfgTypeBoolean = 2,
  eCfgTypeInteger = 3,
  eCfgTypeFloat = 4,
};

// Static services; never instantiated for use (it carries no state).
class UT_EXPORT Config {
 public:
  Config() = default;
  Config(const Config&) = default;
  Config(Config&&) = default;
  Config& operator=(const Config&) = default;
  Config& operator=(Config&&) = default;

  // --- Reading by group ----------------------------------------------------
  // True with the value in `value`; false, `value` untouched, for a missing
  // entry or one of another type or format (see "Values").
  static bool read(ECfgGroup g, const OdString& entry, bool& value);
  static bool read(ECfgGroup g, const OdString& entry, short& value);
  static bool read(ECfgGroup g, const OdString& entry, long& value);
  static bool read(ECfgGroup g, const OdString& entry, OdString& value);
  static bool read(ECfgGroup g, const OdString& entry, double& value);
  static bool read(ECfgGroup g, const OdString& entry, tagPOINT& value);
  static bool read(ECfgGroup g, const OdString& entry, tagRECT& value);
  static bool read(ECfgGroup g, const OdString& entry, wxRect& value);
  static bool read(ECfgGroup g, const OdString& entry, wxPoint& value);
  static bool read(ECfgGroup g, const OdString& entry, wxSize& value);
  static bool read(ECfgGroup g, const OdString& entry, OdGePoint2d& value);
  static bool read(ECfgGroup g, const OdString& entry, OdGePoint3d& value);

  // --- Reading by full path --------------------------------------------------
  static bool read(const OdString& path, long& value);
  static bool read(const OdString& path, double& value);
  static bool read(const OdString& path, OdString& value);

  // --- Writing by group ----------------------------------------------------
  // Creates the entry (and missing subgroups) or replaces its value, whatever
  // its type was; see "Values" for the stored forms.
  static bool writeBool(ECfgGroup g, const OdString& entry, bool value);
  static bool writeShort(ECfgGroup g, const OdString& entry, short value);
  static bool writeLong(ECfgGroup g, const OdString& entry, long value);
  static bool writeString(ECfgGroup g, const OdString& entry, const OdString& value);
  static bool writeDouble(ECfgGroup g, const OdString& entry, double value);
  static bool writePoint(ECfgGroup g, const OdString& entry, const tagPOINT& value);
  static bool writePoint(ECfgGroup g, const OdString& entry, const wxPoint& value);
  static bool writePoint(ECfgGroup g, const OdString& entry, const OdGePoint2d& value);
  static bool writePoint(ECfgGroup g, const OdString& entry, const OdGePoint3d& value);
  static bool writeRect(ECfgGroup g, const OdString& entry, const tagRECT& value);
  static bool writeRect(ECfgGroup g, const OdString& entry, const wxRect& value);
  static bool writeSize(ECfgGroup g, const OdString& entry, const wxSize& value);

  // --- Writing by full path --------------------------------------------------
  static bool writeLong(const OdString& path, long value);
  static bool writeDouble(const OdString& path, double value);
  static bool writeString(const OdString& path, const OdString& value);

  // --- Entries (entry names may hold "/" to reach into subgroups) -----------
  // Names ignore letter case on both routes. A subgroup is not an entry.
  static bool hasEntry(ECfgGroup g, const OdString& entry);
  // False when the entry does not exist.
  static bool deleteEntry(ECfgGroup g, const OdString& entry);
  // False when `newName` exists or `oldName` does not.
  static bool renameEntry(ECfgGroup g, const OdString& oldName, const OdString& newName);
  // Profile tree: a number is eCfgTypeInteger, a string eCfgTypeString,
  // anything else eCfgTypeUnknown; otherwise the wxConfigBase's answer.
  static ECfgType entryType(ECfgGroup g, const OdString& entry);
  // The number of entries of the group's own key (0 when it is missing).
  static int countEntries(ECfgGroup g);
  // Append the names of the entries of the group's (or its subgroup's) key;
  // false when that key is missing.
  static bool listEntries(ECfgGroup g, OdArray<OdString>& entries);
  static bool listEntries(ECfgGroup g, OdArray<OdString>& entries, const OdString& subgroup);

  // --- Groups -------------------------------------------------------------
  // Whether a key exists: a full key path (eCfgPathConfig form; below the
  // profiles root it is looked up in the profile tree), a group's key (the
  // store's root, group 0, always exists), or a subgroup of it ("a/b").
  static bool hasGroup(const OdString& path);
  static bool hasGroup(ECfgGroup g);
  static bool hasGroup(ECfgGroup g, const OdString& subgroup);
  // Deletes a group's key, resp. a subgroup, with everything below it.
  // eCfgProfile deletes the current profile (ProfileManagerBase::
  // deleteProfile, at once in the store); the store's root (eCfgRoot) and the
  // key of all profiles (eCfgProfiles) are never deleted here.
  static bool deleteGroup(ECfgGroup g);
  static bool deleteGroup(ECfgGroup g, const OdString& subgroup);
  // Renames the group's own key (it keeps its parent), resp. a subgroup.
  // False when the new name exists or the old one does not. eCfgProfile
  // renames the current profile; eCfgRoot and eCfgProfiles are refused.
  static bool renameGroup(ECfgGroup g, const OdString& newName);
  static bool renameGroup(ECfgGroup g, const OdString& oldName, const OdString& newName);
  // Copies subgroup `from` of the group with its subtree to `to` beside it
  // (one key level), replacing what `to` held.
  static bool copyGroup(ECfgGroup g, const OdString& from, const OdString& to);
  // The number of subgroups of the group's key, and their names appended.
  static int countGroups(ECfgGroup g);
  static bool listGroups(ECfgGroup g, OdArray<OdString>& groups);
  static bool listGroups(ECfgGroup g, OdArray<OdString>& groups, const OdString& subgroup);

  // The key path of a group, ending in "/". full = false: the eCfgPathConfig
  // form ("/TVCAD/V25/en_US/Addins/"); full = true: the whole key below
  // HKEY_CURRENT_USER in registry form ("Software\TVCAD\TVCAD\V25\en_US\Addins\").
  // Groups without a key path (21, 36 to 39) and values outside 0 to 39 are
  // reported with wxLogError as "Unknown configuration group (%d)" and give an
  // empty path.
  static OdString regPath(ECfgGroup group, bool full = false);

  // "\" for eCfgPathRegistry and eCfgPathExport, the platform's file-path
  // separator for eCfgPathFile, "/" for eCfgPathConfig and any other value.
  static wchar_t separator(ECfgPathType type);

  // "Software\TVCAD" (eCfgPathRegistry, eCfgPathExport), "TVCAD"
  // (eCfgPathFile), "" (eCfgPathConfig and any other value). The other roots
  // are composed on it with the separator of the same kind.
  static OdString companyRoot(ECfgPathType type);
  // company root + separator + regProduct()
  static OdString productRoot(ECfgPathType type);
  // product root + separator + the version key
  static OdString versionRoot(ECfgPathType type);
  // version root + separator + currentLanguage() + separator
  static OdString languageRoot(ECfgPathType type);
  // language root + "Profiles" + separator
  static OdString profilesRoot(ECfgPathType type);
  // profiles root + currentProfileName() + separator
  static OdString currentProfileRoot(ECfgPathType type);
  // company root + separator + "TVCAD Connector": the companion product's keys
  static OdString connectorRoot(ECfgPathType type);

  // The company key name: "TVCAD" (full = false) or the registry path of the
  // company key "Software\TVCAD" (full = true). The company key is fixed in
  // this build: setRegCompany() accepts only that name.
  static OdString regCompany(bool full = false);
  static bool setRegCompany(const OdString& company);
  // The product key name; "TVCAD" until the host sets another. An empty name
  // or one holding "/" or "\" is refused (the product key stays as it is).
  static OdString regProduct();
  static void setRegProduct(const OdString& product);

  // The language of the key paths: the string value "CURVER" of the version
  // key, or "en_US" when it is missing, empty, or not a single key name.
  static OdString currentLanguage();

  // The login name of the user, from the platform.
  static OdString userName();
  // The file that holds the per-user store (RegStore::file()).
  static OdString getConfigFileName();

  // --- Profiles (forwarded to the installed profile manager) ----------------
  // The installed manager's current profile; without a manager, or when it
  // has none, the name the store records under the profiles key (the key's
  // own string value, else its value "CurProfile"); "Default" when none is
  // recorded or the name is not a single key name.
  static OdString currentProfileName();
  static bool setCurProfileName(const OdString& name, bool prepare = true);
  // Appends the profile names; returns how many there are now in `names`.
  static int getProfileNames(OdArray<OdString>& names);
  static bool copyProfile(const OdString& from, const OdString& to);
  static bool renameProfile(const OdString& from, const OdString& to);
  static bool resetProfile(const OdString& name);
  static bool deleteProfile(const OdString& name);
  // A profile to a registry-export file, resp. back from one (see
  // ut::exportProfile / ut::importProfile in ut_profile.h). With report
  // unset, exportProfile logs nothing.
  static bool exportProfile(const OdString& name, const OdString& fileName, bool report = true);
  static bool importProfile(const OdString& fileName, const OdString& name, const OdString& description);
  static bool setProfileDescription(const OdString& name, const OdString& description);
  // The node at a key path relative to the current profile ("Config/Plot/";
  // "" for the profile's own key). create: missing keys are made, and
  // without a current profile the profile currentProfileName() names is
  // selected (created when missing).
  static std::shared_ptr<ConfigNodeBase> getProfileNode(const OdString& path, bool create);
  // The profile-tree node of a group's key when the group lives in the tree,
  // else empty (see "Serving settings"). create: make missing keys.
  static std::shared_ptr<ConfigNodeBase> getIfProfileNode(ECfgGroup g, bool create);
  // The same for the key that holds an entry: `entry` ("a/b/x") becomes
  // relative to the returned key ("x").
  static std::shared_ptr<ConfigNodeBase> getIfProfileNodeParent(OdString& entry, ECfgGroup g, bool create);
  // The installed manager. Without one, a manager over the store is made
  // and installed on first use (it lives until the process ends or another
  // is installed).
  static ProfileManagerBase& profileManager();
  // The installed manager, or null; never creates one.
  static ProfileManagerBase* installedProfileManager();

  // --- Set-up and persistence ---------------------------------------------
  // Installs a profile manager (null uninstalls) and makes sure the
  // application's wxConfigBase exists. When the current profile carries the
  // number "Config/REGEXPAND", it switches the expansion of environment
  // variables in the strings read through the wxConfigBase (0 off, else on);
  // without it the wxConfigBase keeps its setting.
  static void initConfig(ProfileManagerBase* manager);
  // Flushes the wxConfigBase (every group), then the profile tree; true only
  // when every flush made succeeded.
  static bool flush();
  // Writes the drawing-shape defaults into group eCfgConfig.
  static bool setShapeDefaults();
  // Always true: the app-id file always applies.
  static bool isTSB();
  // The application identifier: the string "appID" of the JSON file
  // "tsb.json", which must also hold the string "companyID". The file is
  // looked for in the folder of the running program, then in the per-user
  // data folder (wxStandardPaths::GetUserDataDir()), and read once. On
  // failure the result is an empty string and one of these is logged with
  // wxLogError: "TSB app ID file '%ls' does not exist", "Unable to open TSB
  // app ID file '%ls'", "Unable to read TSB app ID file '%ls'", "Unable to
  // parse json from TSB app ID file '%ls'" (also for a document that is not
  // an object), "Unable to read json key '%ls' from TSB app file" (a key
  // missing or not a string; "appID" is checked first).
  static const wchar_t* tsbAppID();
  // Reads the app-id file at a given path afresh (what tsbAppID() does with
  // the file it finds); empty, with the messages above, on failure.
  static OdString readTsbAppID(const OdString& fileName);

  // The application's wxConfigBase (see "Serving settings").
  static wxConfigBase& appConfig();
};

// For callers on the user-interface side: Config::read / writeString of a
// string entry with wxString. getString gives "" when the entry is missing.
UT_EXPORT wxString getString(ECfgGroup g, const wxString& entry);
UT_EXPORT bool setString(ECfgGroup g, const wxString& entry, const wxString& value);

}  // namespace ut
