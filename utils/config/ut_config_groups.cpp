// The configuration facade: entries and groups.

#include "ut_config_facade.h"
#include "ut_configtree.h"

#include <ut/ut_profile.h>

#include <wx/log.h>

namespace ut {

using namespace facade;

namespace {

// The key of a group: the tree node (tree groups) or the wxConfigBase path.
struct GroupKey {
  bool ok = false;
  bool tree = false;
  ConfigNodePtr node;
  wxString path;
};

GroupKey groupKey(ECfgGroup g, const OdString& subgroup, bool create) {
  GroupKey key;
  if (!validGroup(g)) return key;
  if (isTreeGroup(g)) {
    key.tree = true;
    key.node = Config::getIfProfileNode(g, create && subgroup.isEmpty());
    if (key.node && !subgroup.isEmpty()) key.node = descend(key.node, subgroup + L"/", create);
    key.ok = static_cast<bool>(key.node);
    return key;
  }
  const OdString group = Config::regPath(g, false);
  if (group.isEmpty()) return key;
  key.ok = true;
  key.path = keyPath(subgroup.isEmpty() ? group : group + subgroup + L"/");
  return key;
}

bool isLiveValue(const ConfigNodePtr& node) { return isLiveNode(node) && !node->isContainerNode(); }
bool isLiveKey(const ConfigNodePtr& node) { return isLiveNode(node) && node->isContainerNode(); }

// Appends the names of a key's entries or subkeys.
bool listChildren(const GroupKey& key, OdArray<OdString>& names, bool groups) {
  if (!key.ok) return false;
  if (key.tree) {
    for (const ConfigNodePtr& child : key.node->children()) {
      if (groups ? isLiveKey(child) : isLiveValue(child)) names.append(leafName(child->path()));
    }
    return true;
  }
  wxConfigBase& config = Config::appConfig();
  if (!config.HasGroup(key.path) && key.path != L"/") return false;
  const PathScope scope(config, key.path);
  wxString name;
  long index = 0;
  for (bool more = groups ? config.GetFirstGroup(name, index) : config.GetFirstEntry(name, index); more;
       more = groups ? config.GetNextGroup(name, index) : config.GetNextEntry(name, index)) {
    names.append(OdString(name.wc_str()));
  }
  return true;
}

// Copies a wxConfigBase key with its subtree to another path, entry by entry.
bool copyWxGroup(wxConfigBase& config, const wxString& from, const wxString& to) {
  bool ok = true;
  wxArrayString entries;
  wxArrayString groups;
  {
    const PathScope scope(config, from);
    wxString name;
    long index = 0;
    // Names a path cannot hold are left behind, never followed as a step.
    for (bool more = config.GetFirstEntry(name, index); more; more = config.GetNextEntry(name, index)) {
      if (name.Find(L'/') == wxNOT_FOUND) {
        entries.Add(name);
      } else {
        warnSkippedName(from, name);
      }
    }
    for (bool more = config.GetFirstGroup(name, index); more; more = config.GetNextGroup(name, index)) {
      if (pathExpressible(name.ToStdWstring())) {
        groups.Add(name);
      } else {
        warnSkippedName(from, name);
      }
    }
  }
  const bool expand = config.IsExpandingEnvVars();
  config.SetExpandEnvVars(false);
  for (const wxString& name : entries) {
    const wxString source = from + L"/" + name;
    const wxString target = to + L"/" + name;
    const wxConfigBase::EntryType type = config.GetEntryType(source);
    bool copied = false;
    switch (type) {
      case wxConfigBase::Type_String: {
        wxString text;
        copied = config.Read(source, &text) && config.Write(target, text);
        break;
      }
      case wxConfigBase::Type_Integer: {
        long number = 0;
        copied = config.Read(source, &number) && config.Write(target, number);
        break;
      }
      case wxConfigBase::Type_Float: {
        double number = 0;
        copied = config.Read(source, &number) && config.Write(target, number);
        break;
      }
      case wxConfigBase::Type_Boolean: {
        bool flag = false;
        copied = config.Read(source, &flag) && config.Write(target, flag);
        break;
      }
      default:
        wxLogError(L"{{Unknown type: %d}}", static_cast<int>(type));
        break;
    }
    if (!copied) ok = false;
  }
  config.SetExpandEnvVars(expand);
  for (const wxString& name : groups) {
    if (!copyWxGroup(config, from + L"/" + name, to + L"/" + name)) ok = false;
  }
  return ok;
}

wxString wxParentPath(const wxString& path) {
  const wxString parent = path.BeforeLast(L'/');
  return parent.empty() ? wxString(L"/") : parent;
}

// Replaces a tree key by a copy at another name beside it.
bool renameTreeKey(const ConfigNodePtr& parent, const ConfigNodePtr& node, const OdString& newName) {
  if (!parent || !isLiveKey(node) || newName.isEmpty() || newName.find(L'/') >= 0) return false;
  const OdString target = parent->path() + newName + L"/";
  if (isLiveNode(parent->childAt(newName + L"/"))) return false;
  const ConfigNodePtr copy = relocatedCopy(node, node->path(), target);
  if (!copy || !parent->addChild(copy)) return false;
  if (!parent->removeChild(node)) {
    parent->removeChild(copy);
    return false;
  }
  return true;
}

}  // namespace

// --- Entries -----------------------------------------------------------------

bool Config::hasEntry(ECfgGroup g, const OdString& entry) {
  const Route route = routeEntry(g, entry, false);
  if (!route.ok) return false;
  if (route.tree) return static_cast<bool>(valueNode(route));
  return appConfig().HasEntry(route.path);
}

bool Config::deleteEntry(ECfgGroup g, const OdString& entry) {
  const Route route = routeEntry(g, entry, false);
  if (!route.ok) return false;
  if (route.tree) {
    const ConfigNodePtr node = valueNode(route);
    return node && route.node->removeChild(node);
  }
  return appConfig().DeleteEntry(route.path, false);
}

bool Config::renameEntry(ECfgGroup g, const OdString& oldName, const OdString& newName) {
  const Route from = routeEntry(g, oldName, false);
  if (!from.ok || newName.isEmpty()) return false;
  if (from.tree) {
    const ConfigNodePtr node = valueNode(from);
    if (!node) return false;
    const Route to = routeEntry(g, newName, true);
    if (!to.node || to.name.isEmpty() || valueNode(to)) return false;
    const ConfigNodePtr copy = relocatedCopy(node, node->path(), to.node->path() + to.name);
    if (!copy || !to.node->addChild(copy)) return false;
    return from.node->removeChild(node);
  }
  wxConfigBase& config = appConfig();
  const Route to = routeEntry(g, newName, false);
  if (!config.HasEntry(from.path) || config.HasEntry(to.path)) return false;
  // Within one key wxConfigBase renames natively; across keys the value is
  // copied by its type, then the old entry goes.
  if (wxParentPath(from.path) == wxParentPath(to.path)) {
    const PathScope scope(config, wxParentPath(from.path));
    return config.RenameEntry(from.path.AfterLast(L'/'), to.path.AfterLast(L'/'));
  }
  long number = 0;
  wxString text;
  bool copied = false;
  if (config.GetEntryType(from.path) == wxConfigBase::Type_Integer) {
    copied = config.Read(from.path, &number) && config.Write(to.path, number);
  } else {
    const bool expand = config.IsExpandingEnvVars();
    config.SetExpandEnvVars(false);
    copied = config.Read(from.path, &text) && config.Write(to.path, text);
    config.SetExpandEnvVars(expand);
  }
  return copied && config.DeleteEntry(from.path, false);
}

ECfgType Config::entryType(ECfgGroup g, const OdString& entry) {
  const Route route = routeEntry(g, entry, false);
  if (!route.ok) return eCfgTypeUnknown;
  if (route.tree) {
    const ConfigNodePtr node = valueNode(route);
    if (!node) return eCfgTypeUnknown;
    switch (node->type()) {
      case ConfigValBase::kULong:
        return eCfgTypeInteger;
      case ConfigValBase::kString:
        return eCfgTypeString;
      default:
        return eCfgTypeUnknown;
    }
  }
  wxConfigBase& config = appConfig();
  if (!config.HasEntry(route.path)) return eCfgTypeUnknown;
  return static_cast<ECfgType>(config.GetEntryType(route.path));
}

int Config::countEntries(ECfgGroup g) {
  OdArray<OdString> names;
  return listEntries(g, names) ? static_cast<int>(names.size()) : 0;
}

bool Config::listEntries(ECfgGroup g, OdArray<OdString>& entries) {
  return listChildren(groupKey(g, OdString(), false), entries, false);
}

bool Config::listEntries(ECfgGroup g, OdArray<OdString>& entries, const OdString& subgroup) {
  return listChildren(groupKey(g, subgroup, false), entries, false);
}

// --- Groups ------------------------------------------------------------------

bool Config::hasGroup(const OdString& path) {
  if (path.isEmpty()) return false;
  const OdString profiles = profilesRoot(eCfgPathConfig);
  if (path.getLength() >= profiles.getLength() && path.left(profiles.getLength()).iCompare(profiles) == 0) {
    ConfigNodePtr node = profileManager().getProfileNode(OdString(), false);
    const OdString rest = path.mid(profiles.getLength());
    if (!rest.isEmpty()) node = descend(node, rest.getAt(rest.getLength() - 1) == L'/' ? rest : rest + L"/", false);
    return isLiveKey(node);
  }
  const wxString key = keyPath(path);
  return key == L"/" || appConfig().HasGroup(key);
}

bool Config::hasGroup(ECfgGroup g) {
  const GroupKey key = groupKey(g, OdString(), false);
  if (!key.ok) return false;
  return key.tree ? isLiveKey(key.node) : (key.path == L"/" || appConfig().HasGroup(key.path));
}

bool Config::hasGroup(ECfgGroup g, const OdString& subgroup) {
  if (subgroup.isEmpty()) return hasGroup(g);
  const GroupKey key = groupKey(g, subgroup, false);
  if (!key.ok) return false;
  return key.tree ? isLiveKey(key.node) : appConfig().HasGroup(key.path);
}

bool Config::deleteGroup(ECfgGroup g) {
  // The current profile's own key goes as the profile does, so that the
  // manager stops serving it.
  if (g == eCfgProfile) {
    const OdString name = profileManager().currentProfileName();
    return !name.isEmpty() && deleteProfile(name);
  }
  const GroupKey key = groupKey(g, OdString(), false);
  if (!key.ok) return false;
  if (key.tree) {
    const ConfigNodePtr parent = parentOf(key.node);
    return parent && parent->removeChild(key.node);
  }
  // The company key itself holds every product's settings: never deleted here.
  return key.path != L"/" && appConfig().DeleteGroup(key.path);
}

bool Config::deleteGroup(ECfgGroup g, const OdString& subgroup) {
  if (subgroup.isEmpty()) return false;
  const GroupKey key = groupKey(g, subgroup, false);
  if (!key.ok) return false;
  if (key.tree) {
    const ConfigNodePtr parent = parentOf(key.node);
    return parent && parent->removeChild(key.node);
  }
  return appConfig().DeleteGroup(key.path);
}

bool Config::renameGroup(ECfgGroup g, const OdString& newName) {
  if (!validGroup(g)) return false;
  if (g == eCfgProfile) return renameProfile(currentProfileName(), newName);
  const GroupKey key = groupKey(g, OdString(), false);
  if (!key.ok || newName.isEmpty()) return false;
  if (key.tree) return g != eCfgProfiles && renameTreeKey(parentOf(key.node), key.node, newName);
  if (key.path == L"/") return false;
  wxConfigBase& config = appConfig();
  const PathScope scope(config, wxParentPath(key.path));
  return config.RenameGroup(key.path.AfterLast(L'/'), wxString(newName.c_str()));
}

bool Config::renameGroup(ECfgGroup g, const OdString& oldName, const OdString& newName) {
  if (oldName.isEmpty() || newName.isEmpty()) return false;
  const GroupKey key = groupKey(g, oldName, false);
  if (!key.ok) return false;
  if (key.tree) return renameTreeKey(parentOf(key.node), key.node, newName);
  wxConfigBase& config = appConfig();
  const PathScope scope(config, wxParentPath(key.path));
  return config.RenameGroup(key.path.AfterLast(L'/'), wxString(newName.c_str()));
}

bool Config::copyGroup(ECfgGroup g, const OdString& from, const OdString& to) {
  if (from.isEmpty() || to.isEmpty() || to.find(L'/') >= 0) return false;
  const GroupKey source = groupKey(g, from, false);
  if (!source.ok) return false;
  if (source.tree) {
    const ConfigNodePtr parent = parentOf(source.node);
    if (!parent) return false;
    const ConfigNodePtr copy = relocatedCopy(source.node, source.node->path(), parent->path() + to + L"/");
    return copy && parent->addChild(copy);
  }
  wxConfigBase& config = appConfig();
  if (!config.HasGroup(source.path)) return false;
  const wxString target =
      wxParentPath(source.path) + (wxParentPath(source.path) == L"/" ? L"" : L"/") + wxString(to.c_str());
  if (target.CmpNoCase(source.path) == 0) return true;
  if (config.HasGroup(target)) config.DeleteGroup(target);
  return copyWxGroup(config, source.path, target);
}

int Config::countGroups(ECfgGroup g) {
  OdArray<OdString> names;
  return listGroups(g, names) ? static_cast<int>(names.size()) : 0;
}

bool Config::listGroups(ECfgGroup g, OdArray<OdString>& groups) {
  return listChildren(groupKey(g, OdString(), false), groups, true);
}

bool Config::listGroups(ECfgGroup g, OdArray<OdString>& groups, const OdString& subgroup) {
  return listChildren(groupKey(g, subgroup, false), groups, true);
}

}  // namespace ut
