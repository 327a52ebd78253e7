#include <ut/ut_configstorage.h>

#include <ut/ut_regstore.h>

#include <wx/config.h>
#include <wx/log.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ut {

namespace {

// Brings a wxConfigBase back to the current path and environment-variable
// expansion it had, whatever a walk did to them. Expansion is switched off
// meanwhile: stored strings are loaded as they are, "%PATH%" included.
class ConfigStateKeeper {
 public:
  explicit ConfigStateKeeper(wxConfigBase& config)
      : m_config(config), m_path(config.GetPath()), m_expand(config.IsExpandingEnvVars()) {
    // wx reports the root as "", which SetPath() would read as "stay here".
    if (!m_path.StartsWith(L"/")) m_path.Prepend(L"/");
    m_config.SetExpandEnvVars(false);
  }
  ~ConfigStateKeeper() {
    m_config.SetPath(m_path);
    m_config.SetExpandEnvVars(m_expand);
  }
  ConfigStateKeeper(const ConfigStateKeeper&) = delete;
  ConfigStateKeeper& operator=(const ConfigStateKeeper&) = delete;

 private:
  wxConfigBase& m_config;
  wxString m_path;
  bool m_expand;
};

// A root key path in normal form ("/", "/a/b/"), or empty when it has an
// empty, "." or ".." level.
OdString normaliseRoot(const OdString& path) {
  std::wstring p(path.c_str());
  for (auto& c : p) {
    if (c == L'\\') c = L'/';
  }
  if (!p.empty() && p.front() == L'/') p.erase(0, 1);
  if (!p.empty() && p.back() == L'/') p.pop_back();
  std::wstring out = L"/";
  if (p.empty()) return OdString(out);
  std::size_t pos = 0;
  while (true) {
    const std::size_t slash = p.find(L'/', pos);
    const std::wstring level = p.substr(pos, slash == std::wstring::npos ? std::wstring::npos : slash - pos);
    if (level.empty() || level == L"." || level == L"..") return OdString();
    out += level;
    out += L'/';
    if (slash == std::wstring::npos) return OdString(out);
    pos = slash + 1;
  }
}

// A name wxConfigBase can address as one level.
bool addressable(const wxString& name) {
  return name.Find(L'/') == wxNOT_FOUND && name != L"." && name != L"..";
}

// "/a/b/" -> "/a/b"; "/" stays.
wxString keyArg(const wxString& absKeyPath) {
  wxString k = absKeyPath;
  if (k.length() > 1 && k.EndsWith(L"/")) k.RemoveLast();
  return k;
}

// Splits an absolute path into the key that holds the last level and that
// level's name: "/a/b/c" -> "/a/b" + "c", "/a/b/" -> "/a" + "b", "/c" -> "/" + "c".
void splitLeaf(const wxString& absPath, wxString& dir, wxString& leaf) {
  const wxString p = keyArg(absPath);
  const int slash = p.Find(L'/', true);
  dir = slash <= 0 ? wxString(L"/") : p.Left(static_cast<std::size_t>(slash));
  leaf = p.Mid(static_cast<std::size_t>(slash + 1));
}

bool keyExists(const wxConfigBase& config, const wxString& absKeyPath) {
  const wxString k = keyArg(absKeyPath);
  return k == L"/" || config.HasGroup(k);
}

// The node a flush writes for a child: an overlay's wrapped node.
ConfigNodeBase* unwrap(ConfigNodeBase* node) {
  while (node != nullptr) {
    const auto* overlay = dynamic_cast<const ConfigReplacedNode*>(node);
    if (overlay == nullptr) break;
    node = overlay->wrapped().get();
  }
  return node;
}

// --- load --------------------------------------------------------------------------

class Loader {
 public:
  Loader(wxConfigBase& config, bool synced, bool defaults)
      : m_config(config), m_synced(synced), m_defaults(defaults) {}

  void loadKey(ConfigNodeBase& container, const wxString& absKey) {
    m_config.SetPath(absKey);
    std::vector<wxString> groups;
    std::vector<wxString> entries;
    wxString name;
    long index = 0;
    for (bool more = m_config.GetFirstGroup(name, index); more; more = m_config.GetNextGroup(name, index)) {
      if (!name.empty() && addressable(name)) groups.push_back(name);
    }
    for (bool more = m_config.GetFirstEntry(name, index); more; more = m_config.GetNextEntry(name, index)) {
      if ((m_defaults || !name.empty()) && addressable(name)) entries.push_back(name);
    }

    const std::wstring base(container.path().c_str());
    for (const auto& entry : entries) {
      if (entry.empty()) {
        // The key's own default value belongs to its container.
        readValue(entry, container);
        continue;
      }
      ConfigNodePtr node = ConfigNode::createNode(OdString(base + entry.ToStdWstring()));
      if (!readValue(entry, *node)) continue;
      if (m_synced) node->markSaved();
      container.addChild(std::move(node));
    }
    for (const auto& group : groups) {
      ConfigNodePtr child = ConfigNode::createNode(OdString(base + group.ToStdWstring() + L"/"));
      container.addChild(child);
      loadKey(*child, absKey == L"/" ? absKey + group : absKey + L"/" + group);
    }
    container.unTouch();
    if (m_synced) container.markSaved();
  }

 private:
  // Reads one entry of the current key into a node; false when it is neither
  // a number nor text (binary data).
  bool readValue(const wxString& entry, ConfigNodeBase& node) {
    if (m_config.GetEntryType(entry) == wxConfigBase::Type_Integer) {
      long number = 0;
      if (!m_config.Read(entry, &number)) return false;
      return node.setULong(static_cast<unsigned long>(static_cast<std::uint32_t>(number)));
    }
    wxString text;
    if (!m_config.Read(entry, &text)) return false;
    return node.setString(text.wc_str());
  }

  wxConfigBase& m_config;
  bool m_synced;
  bool m_defaults;
};

// --- flush -------------------------------------------------------------------------

class Flusher {
 public:
  Flusher(wxConfigBase& config, const OdString& root, bool incremental, bool defaults)
      : m_config(config), m_root(root.c_str()), m_incremental(incremental), m_defaults(defaults) {}

  bool flushNode(const ConfigNodePtr& node, bool force) {
    if (!node || dynamic_cast<const ConfigNoNode*>(node.get()) != nullptr) return true;
    ConfigNodeBase* target = unwrap(node.get());
    if (target == nullptr) return true;
    const wxString abs = m_root + wxString(node->path().c_str());

    if (node->isDestructiveWrite() && (!m_incremental || force || node->isNew())) {
      if (!destroy(abs, node->isContainerNode())) return false;
      force = true;
    }
    if (target->type() == ConfigValBase::kNone) return true;

    const bool all = !m_incremental || force;
    if (!target->isContainerNode()) {
      if (!all && !target->isNew() && !target->isModified()) return true;
      wxString dir;
      wxString leaf;
      splitLeaf(abs, dir, leaf);
      return writeValue(*target, dir, leaf);
    }

    const bool fresh = all || target->isNew();
    if ((fresh || target->isModified()) && m_defaults && !writeValue(*target, keyArg(abs), wxString())) return false;
    for (const auto& child : target->children()) {
      if (!flushNode(child, fresh)) return false;
    }
    return !fresh || ensureKey(abs);
  }

 private:
  void enter(const wxString& dir) {
    if (dir != m_current) {
      m_config.SetPath(dir);
      m_current = dir;
    }
  }

  bool writeValue(const ConfigNodeBase& node, const wxString& dir, const wxString& leaf) {
    unsigned long number = 0;
    OdString text;
    if (node.getULong(number)) {
      enter(dir);
      return m_config.Write(leaf, number);
    }
    if (node.getString(text)) {
      enter(dir);
      return m_config.Write(leaf, wxString(text.c_str()));
    }
    return true;  // no value: nothing to write
  }

  bool destroy(const wxString& abs, bool key) {
    wxString dir;
    wxString leaf;
    splitLeaf(abs, dir, leaf);
    if (leaf.empty()) return false;  // the company key itself cannot go
    enter(dir);
    bool ok = true;
    if (key) {
      if (m_config.HasGroup(leaf)) ok = m_config.DeleteGroup(leaf);
    } else if (m_config.HasEntry(leaf)) {
      ok = m_config.DeleteEntry(leaf, false);
    }
    // Deleting may move the current path; set it afresh next time.
    m_current.clear();
    return ok;
  }

  // A new key without values would not reach the store by writes alone.
  bool ensureKey(const wxString& abs) {
    const wxString k = keyArg(abs);
    if (keyExists(m_config, k)) return true;
    enter(k);
    const wxString probe = L"ut-new-key";
    const bool ok = m_config.Write(probe, wxString()) && m_config.DeleteEntry(probe, false);
    m_current.clear();
    return ok;
  }

  wxConfigBase& m_config;
  wxString m_root;
  wxString m_current;
  bool m_incremental;
  bool m_defaults;
};

void markSubtreeSaved(ConfigNodeBase* node) {
  if (node == nullptr) return;
  node->markSaved();
  ConfigNodeBase* target = unwrap(node);
  if (target == nullptr) return;
  target->markSaved();
  target->unTouch();
  for (const auto& child : target->children()) markSubtreeSaved(child.get());
}

// Only the registry store knows a key's unnamed default value; other
// wxConfigBase classes refuse or drop empty entry names.
bool supportsDefaultValues(const wxConfigBase& config) { return dynamic_cast<const RegConfig*>(&config) != nullptr; }

}  // namespace

// --- ConfigStorageBase ---------------------------------------------------------------

ConfigStorageBase::~ConfigStorageBase() = default;

// --- ConfigStorage -------------------------------------------------------------------

ConfigStorage::ConfigStorage(const OdString& rootPath) : m_root(normaliseRoot(rootPath)) {
  m_valid = !m_root.isEmpty();
}

OdString ConfigStorage::rootPath() const { return m_root; }

bool ConfigStorage::rootExists() const {
  wxConfigBase* cfg = config();
  if (!m_valid || cfg == nullptr) return false;
  ConfigStateKeeper keep(*cfg);
  return keyExists(*cfg, wxString(m_root.c_str()));
}

bool ConfigStorage::load(const ConfigNodePtr& node, bool synced) {
  wxConfigBase* cfg = config();
  if (!m_valid || cfg == nullptr || !node || !node->isContainerNode() || node->type() == ConfigValBase::kNone) {
    return false;
  }
  ConfigStateKeeper keep(*cfg);
  const bool registry = supportsDefaultValues(*cfg);
  // Over the registry store the whole walk reads one consistent state, even
  // while other processes write.
  std::unique_ptr<RegTransaction> snapshot;
  if (registry) {
    snapshot = std::make_unique<RegTransaction>();
    if (!snapshot->isActive()) return false;
  }
  const wxString abs = wxString(m_root.c_str()) + wxString(node->path().c_str());
  if (!keyExists(*cfg, abs)) return false;
  Loader(*cfg, synced, registry).loadKey(*node, keyArg(abs));
  return !snapshot || snapshot->commit();
}

bool ConfigStorage::flush(const ConfigNodePtr& node, bool incremental) {
  wxConfigBase* cfg = config();
  if (!m_valid || cfg == nullptr || !node) return false;
  ConfigStateKeeper keep(*cfg);
  const bool registry = supportsDefaultValues(*cfg);
  Flusher flusher(*cfg, m_root, incremental, registry);
  bool ok = false;
  if (registry) {
    RegTransaction transaction;
    ok = transaction.isActive() && flusher.flushNode(node, false) && transaction.commit();
  } else {
    ok = flusher.flushNode(node, false) && cfg->Flush();
  }
  if (ok && incremental) markSubtreeSaved(node.get());
  return ok;
}

// --- ConfigRegistryStorage -----------------------------------------------------------

ConfigRegistryStorage::ConfigRegistryStorage(const OdString& rootPath)
    : ConfigStorage(rootPath),
      m_config(std::make_shared<RegConfig>(wxString(Config::companyRoot(eCfgPathRegistry).c_str()))) {}

wxConfigBase* ConfigRegistryStorage::config() const { return m_config.get(); }

// --- ConfigStorageWx -----------------------------------------------------------------

ConfigStorageWx::ConfigStorageWx(const OdString& rootPath, std::shared_ptr<wxConfigBase> config)
    : ConfigStorage(rootPath), m_config(std::move(config)) {}

ConfigStorageWx::ConfigStorageWx(const OdString& rootPath, wxConfigBase& config)
    : ConfigStorage(rootPath), m_config(std::shared_ptr<wxConfigBase>(), &config) {}

wxConfigBase* ConfigStorageWx::config() const { return m_config.get(); }

// --- ConfigManagerBase ---------------------------------------------------------------

ConfigManagerBase::~ConfigManagerBase() = default;

std::shared_ptr<ConfigStorageBase> ConfigManagerBase::createStorage(const OdString& path, bool create) {
  const OdString root = normaliseRoot(path);
  if (root.isEmpty()) return nullptr;
  wxLogNull quiet;
  if (!RegStore::open()) return nullptr;
  auto storage = std::make_shared<ConfigRegistryStorage>(root);
  if (storage->rootExists()) return storage;
  if (!create) return nullptr;
  std::wstring below(root.c_str());
  for (auto& c : below) {
    if (c == L'/') c = L'\\';
  }
  RegKey key(eCurrentUser, wxString(Config::companyRoot(eCfgPathRegistry).c_str()) + wxString(below));
  if (!key.create()) return nullptr;
  return storage;
}

ConfigNodePtr ConfigManagerBase::importNode(const OdString& path) {
  const auto storage = createStorage(path, false);
  if (!storage) return nullptr;
  ConfigNodePtr tree = ConfigNode::createNode(OdString());
  if (!storage->load(tree, true)) return nullptr;
  return tree;
}

bool ConfigManagerBase::exportNode(ConfigNodePtr node, const OdString& path) {
  if (!node) return false;
  const auto storage = createStorage(path, true);
  return storage && storage->flush(node, false);
}

}  // namespace ut
