#pragma once

// How the configuration facade reaches an entry: through the profile tree or
// through the application's wxConfigBase. Internal: not exported.

#include <ut/ut_config.h>
#include <ut/ut_confignode.h>

#include <wx/config.h>
#include <wx/string.h>

namespace ut::facade {

// False, after logging "Unknown configuration group (%d)", for a value
// outside 0 to 39.
bool validGroup(ECfgGroup g);
// Whether a group is served from the profile tree.
bool isTreeGroup(ECfgGroup g);
// The key of a tree group relative to the current profile ("Config/Plot/",
// "" for the profile's own key and for group 13, which is the whole profiles
// tree); null for the groups the wxConfigBase serves.
const wchar_t* treePath(ECfgGroup g);

// The route of one entry. For a tree group `node` is the key holding the
// entry (empty when it does not exist and was not to be created) and `name`
// the entry's name in it; for any other group `path` is the entry's full
// wxConfigBase path. `ok` is false for an invalid group.
struct Route {
  bool ok = false;
  bool tree = false;
  ConfigNodePtr node;
  OdString name;
  wxString path;
};
Route routeEntry(ECfgGroup g, const OdString& entry, bool create);
// The same for a full path (eCfgPathConfig key path + entry name).
Route routePath(const OdString& path, bool create);

// The live value node a route names; empty when missing, a key or a tombstone.
ConfigNodePtr valueNode(const Route& route);
// Writes a number or a string where a route points.
bool writeNumber(const Route& route, long value);
bool writeText(const Route& route, const OdString& value);
// Reads a number (a 32-bit number node, or what wxConfigBase reads as one)
// or a string (a string node, or a wxConfigBase string).
bool readNumber(const Route& route, long& value);
bool readText(const Route& route, OdString& value);

// Descends from a key along a relative key path ("a/b/"), making missing keys
// when create is set. Empty when a level is missing (or cannot be made).
ConfigNodePtr descend(ConfigNodePtr node, const OdString& relativeKeyPath, bool create);
// The key that holds a node of the profiles tree, looked up from the tree's root.
ConfigNodePtr parentOf(const ConfigNodePtr& node);
// The last level of a node's path, without a trailing "/".
OdString leafName(const OdString& path);

// A wxConfigBase key path without its trailing "/" ("/" stays).
wxString keyPath(const OdString& configKeyPath);

// Sets a wxConfigBase's current path for a scope.
class PathScope {
 public:
  PathScope(wxConfigBase& config, const wxString& path) : m_config(config), m_old(config.GetPath()) {
    m_config.SetPath(path);
  }
  ~PathScope() { m_config.SetPath(m_old); }
  PathScope(const PathScope&) = delete;
  PathScope& operator=(const PathScope&) = delete;

 private:
  wxConfigBase& m_config;
  wxString m_old;
};

}  // namespace ut::facade
