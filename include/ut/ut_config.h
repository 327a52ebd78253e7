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
// The facade holds no lock: callers serialise access.

#include <ut/ut_export.h>

#include "OdString.h"

namespace ut {

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

// Static services; never instantiated for use (it carries no state).
class UT_EXPORT Config {
 public:
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

  // The product key name; "TVCAD" until the host sets another. An empty name
  // or one holding "/" or "\" is refused (the product key stays as it is).
  static OdString regProduct();
  static void setRegProduct(const OdString& product);

  // The language of the key paths: the string value "CURVER" of the version
  // key, or "en_US" when it is missing, empty, or not a single key name.
  static OdString currentLanguage();

  // The current profile's name as the store records it under the profiles
  // key (the key's own string value, else its value "CurProfile"), or
  // "Default" when none is recorded or the name is not a single key name.
  static OdString currentProfileName();
};

}  // namespace ut
