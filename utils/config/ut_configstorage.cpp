#include <ut/ut_configstorage.h>

#include <ut/ut_regstore.h>

#include "ut_configtree.h"
#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

#include <wx/config.h>
#include <wx/log.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <vector>

namespace ut {

namespace {

// --- paths ---------------------------------------------------------------------------

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

// A name wxConfigBase paths can address as one level.
bool addressable(std::wstring_view name) {
  return name.find(L'/') == std::wstring_view::npos && name != L"." && name != L"..";
}

// "/a/b/" -> "/a/b"; "/" stays.
std::wstring keyArg(std::wstring path) {
  if (path.size() > 1 && path.back() == L'/') path.pop_back();
  return path;
}

// Splits an absolute path into the key that holds its last level and that
// level's name: "/a/b/c" -> "/a/b" + "c", "/a/b/" -> "/a" + "b", "/c" -> "/" + "c".
void splitLeaf(const std::wstring& absPath, std::wstring& dir, std::wstring& leaf) {
  const std::wstring p = keyArg(absPath);
  const std::size_t slash = p.rfind(L'/');
  dir = slash == 0 || slash == std::wstring::npos ? std::wstring(L"/") : p.substr(0, slash);
  leaf = slash == std::wstring::npos ? p : p.substr(slash + 1);
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

// --- reaching a store ----------------------------------------------------------------

// One value as a store lists it.
struct Entry {
  enum EKind { eText, eNumber, eRaw };
  std::wstring name;  // "" for the key's default value
  EKind kind = eText;
  std::uint32_t value = 0;  // eNumber: the number; eRaw: the registry type
  std::wstring text;
  regstore::Bytes data;  // eRaw: the value as the registry stores it
};

// What load and flush need of a store. Keys are absolute "/"-separated paths
// without a trailing "/" ("/" itself for the top).
class StoreAccess {
 public:
  virtual ~StoreAccess() = default;
  virtual bool keyExists(const std::wstring& key) = 0;
  // Subkey names and the values, in store order.
  virtual bool list(const std::wstring& key, std::vector<std::wstring>& groups, std::vector<Entry>& entries) = 0;
  virtual bool writeNumber(const std::wstring& key, std::wstring_view name, std::uint32_t value) = 0;
  virtual bool writeString(const std::wstring& key, std::wstring_view name, const wchar_t* text) = 0;
  virtual bool writeRaw(const std::wstring& key, std::wstring_view name, const ConfigValRaw& raw) = 0;
  // Both succeed when there is nothing to delete.
  virtual bool deleteKey(const std::wstring& key) = 0;
  virtual bool deleteValue(const std::wstring& key, const std::wstring& name) = 0;
  virtual bool createKey(const std::wstring& key) = 0;
  // Whether the store keeps a key's unnamed default value.
  virtual bool keepsDefaults() const = 0;
};

// Any wxConfigBase, through its public interface.
class WxAccess final : public StoreAccess {
 public:
  explicit WxAccess(wxConfigBase& config)
      : m_config(config),
        m_path(config.GetPath()),
        m_expand(config.IsExpandingEnvVars()),
        m_defaults(dynamic_cast<const RegConfig*>(&config) != nullptr) {
    // wx reports the top as "", which SetPath() would read as "stay here".
    if (!m_path.StartsWith(L"/")) m_path.Prepend(L"/");
    // Stored strings are loaded as they are, "%PATH%" included.
    m_config.SetExpandEnvVars(false);
  }
  ~WxAccess() override {
    m_config.SetPath(m_path);
    m_config.SetExpandEnvVars(m_expand);
  }
  WxAccess(const WxAccess&) = delete;
  WxAccess& operator=(const WxAccess&) = delete;

  bool keyExists(const std::wstring& key) override { return key == L"/" || m_config.HasGroup(key); }

  bool list(const std::wstring& key, std::vector<std::wstring>& groups, std::vector<Entry>& entries) override {
    enter(key);
    wxString name;
    long index = 0;
    for (bool more = m_config.GetFirstGroup(name, index); more; more = m_config.GetNextGroup(name, index)) {
      groups.push_back(name.ToStdWstring());
    }
    std::vector<wxString> names;
    for (bool more = m_config.GetFirstEntry(name, index); more; more = m_config.GetNextEntry(name, index)) {
      if (!name.empty() || m_defaults) names.push_back(name);
    }
    for (const auto& n : names) {
      Entry e;
      e.name = n.ToStdWstring();
      if (m_config.GetEntryType(n) == wxConfigBase::Type_Integer) {
        long number = 0;
        if (!m_config.Read(n, &number)) continue;
        e.kind = Entry::eNumber;
        e.value = static_cast<std::uint32_t>(number);
      } else {
        wxString text;
        if (!m_config.Read(n, &text)) continue;  // binary data and the like
        e.text = text.ToStdWstring();
      }
      entries.push_back(std::move(e));
    }
    return true;
  }

  bool writeNumber(const std::wstring& key, std::wstring_view name, std::uint32_t value) override {
    enter(key);
    return m_config.Write(wxString(name.data(), name.size()), static_cast<unsigned long>(value));
  }

  bool writeString(const std::wstring& key, std::wstring_view name, const wchar_t* text) override {
    enter(key);
    return m_config.Write(wxString(name.data(), name.size()), wxString(text));
  }

  // A wxConfigBase lists no raw registry data and has no form to keep it in.
  bool writeRaw(const std::wstring&, std::wstring_view, const ConfigValRaw&) override { return true; }

  bool deleteKey(const std::wstring& key) override {
    std::wstring dir;
    std::wstring leaf;
    splitLeaf(key, dir, leaf);
    if (leaf.empty()) return false;  // the top cannot go
    enter(dir);
    const bool ok = !m_config.HasGroup(leaf) || m_config.DeleteGroup(leaf);
    m_current.clear();  // deleting may move the current path
    return ok;
  }

  bool deleteValue(const std::wstring& key, const std::wstring& name) override {
    enter(key);
    const bool ok = !m_config.HasEntry(name) || m_config.DeleteEntry(name, false);
    m_current.clear();
    return ok;
  }

  bool createKey(const std::wstring& key) override {
    if (keyExists(key)) return true;
    // wxConfigBase makes keys only as a side effect of writing into them.
    enter(key);
    const wxString probe = L"ut-new-key";
    const bool ok = m_config.Write(probe, wxString()) && m_config.DeleteEntry(probe, false);
    m_current.clear();
    return ok;
  }

  bool keepsDefaults() const override { return m_defaults; }

 private:
  void enter(const std::wstring& key) {
    if (key != m_current) {
      m_config.SetPath(key);
      m_current = key;
    }
  }

  wxConfigBase& m_config;
  wxString m_path;
  bool m_expand;
  bool m_defaults;
  std::wstring m_current;
};

// The registry store itself, below the company key. Reading a whole key at
// once and addressing keys without a configuration object's current path
// makes loading and flushing large trees several times cheaper; what is read
// and written is exactly what RegConfig reads and writes.
class RegistryAccess final : public StoreAccess {
 public:
  explicit RegistryAccess(std::wstring companyKey) : m_company(std::move(companyKey)) {}

  bool keyExists(const std::wstring& key) override { return key == L"/" || store().exists(ref(key)); }

  bool list(const std::wstring& key, std::vector<std::wstring>& groups, std::vector<Entry>& entries) override {
    regstore::KeyRef& k = ref(key);
    if (store().listSubKeys(k, groups) == regstore::EStatus::eError) return false;
    m_records.clear();
    if (store().listValues(k, m_records) == regstore::EStatus::eError) return false;
    for (auto& r : m_records) {
      Entry e;
      e.kind = Entry::eRaw;
      e.value = r.type;
      e.data = std::move(r.data);
      e.name = std::move(r.name);
      entries.push_back(std::move(e));
    }
    return true;
  }

  bool writeNumber(const std::wstring& key, std::wstring_view name, std::uint32_t value) override {
    const regstore::Bytes data = regstore::encodeDword(value);
    return store().writeValue(ref(key), name, eRegDword, data.data(), data.size(), true) == regstore::EStatus::eOk;
  }

  bool writeString(const std::wstring& key, std::wstring_view name, const wchar_t* text) override {
    const regstore::Bytes data = regstore::encodeUtf16le(text);
    return store().writeValue(ref(key), name, eRegSz, data.data(), data.size(), true) == regstore::EStatus::eOk;
  }

  bool writeRaw(const std::wstring& key, std::wstring_view name, const ConfigValRaw& raw) override {
    return store().writeValue(ref(key), name, raw.registryType(), raw.data().data(), raw.data().size(), true) ==
           regstore::EStatus::eOk;
  }

  bool deleteKey(const std::wstring& key) override {
    if (key == L"/") return false;  // the company key cannot go
    const regstore::EStatus s = store().deleteKey(ref(key));
    return s == regstore::EStatus::eOk || (s == regstore::EStatus::eNotFound && !store().exists(ref(key)));
  }

  bool deleteValue(const std::wstring& key, const std::wstring& name) override {
    return store().deleteValue(ref(key), name) != regstore::EStatus::eError;
  }

  bool createKey(const std::wstring& key) override { return store().resolve(ref(key), true) == regstore::EStatus::eOk; }

  bool keepsDefaults() const override { return true; }

 private:
  static regstore::Store& store() { return regstore::Store::instance(); }

  // Resolved keys are kept per thread from one operation to the next, up to
  // a bound: a resolution stays right until the store says otherwise (a key
  // reference carries the store's epoch, and the store resolves a key that has
  // gone again), and a flush mostly writes the keys the last one wrote.
  regstore::KeyRef& ref(const std::wstring& key) {
    constexpr std::size_t kMaxKeys = 8192;
    thread_local std::unordered_map<std::wstring, regstore::KeyRef> cache;
    m_path.assign(m_company);
    for (const wchar_t c : key) m_path += c == L'/' ? L'\\' : c;
    const auto it = cache.find(m_path);
    if (it != cache.end()) return it->second;
    // Only the reference just handed out is in use at any time.
    if (cache.size() >= kMaxKeys) cache.clear();
    return cache.emplace(m_path, regstore::KeyRef::make(eCurrentUser, m_path)).first->second;
  }

  std::wstring m_company;
  std::wstring m_path;
  std::vector<regstore::ValueRecord> m_records;
};

// --- load ------------------------------------------------------------------------------

class Loader {
 public:
  Loader(StoreAccess& access, bool synced) : m_access(access), m_synced(synced) {}

  bool loadKey(ConfigNodeBase& container, const std::wstring& key) {
    std::vector<std::wstring> groups;
    std::vector<Entry> entries;
    if (!m_access.list(key, groups, entries)) return false;

    const std::wstring base(container.path().c_str());
    std::wstring path;
    for (auto& e : entries) {
      if (!addressable(e.name)) {
        warnSkippedName(wxString(key), wxString(e.name));
        continue;
      }
      if (e.name.empty()) {
        // The key's own default value belongs to its container.
        if (m_access.keepsDefaults()) set(container, e);
        continue;
      }
      path.assign(base).append(e.name);
      ConfigNodePtr node = ConfigNode::createNode(OdString(path));
      set(*node, e);
      if (m_synced) node->markSaved();
      container.addChild(std::move(node));
    }
    for (const auto& g : groups) {
      if (!pathExpressible(g)) {
        warnSkippedName(wxString(key), wxString(g));
        continue;
      }
      path.assign(base).append(g).append(L"/");
      ConfigNodePtr child = ConfigNode::createNode(OdString(path));
      container.addChild(child);
      if (!loadKey(*child, key == L"/" ? key + g : key + L"/" + g)) return false;
    }
    container.unTouch();
    if (m_synced) container.markSaved();
    return true;
  }

 private:
  static void set(ConfigNodeBase& node, Entry& e) {
    switch (e.kind) {
      case Entry::eNumber:
        node.setULong(e.value);
        break;
      case Entry::eText:
        node.setString(e.text.c_str());
        break;
      case Entry::eRaw:
        assignRegistryValue(node, e.value, std::move(e.data));
        break;
    }
  }

  StoreAccess& m_access;
  bool m_synced;
};

bool loadTree(StoreAccess& access, const OdString& root, const ConfigNodePtr& node, bool synced) {
  if (root.isEmpty() || !node || !node->isContainerNode() || node->type() == ConfigValBase::kNone) return false;
  const std::wstring key = keyArg(std::wstring(root.c_str()) + node->path().c_str());
  if (!access.keyExists(key)) return false;
  return Loader(access, synced).loadKey(*node, key);
}

// --- flush -------------------------------------------------------------------------------

class Flusher {
 public:
  Flusher(StoreAccess& access, const OdString& root, bool incremental)
      : m_access(access), m_root(root.c_str()), m_incremental(incremental) {}

  // parentKey: the absolute key of the container being flushed, or null.
  bool flushNode(const ConfigNodePtr& node, bool force, const std::wstring* parentKey = nullptr,
                 const OdString* parentPath = nullptr) {
    if (!node) return true;
    ConfigNodeBase* target = node.get();
    // Most nodes of a large tree are plain values and keys with nothing to
    // write. For those exact kinds the marks alone decide, without asking
    // the node's value (one more object to fetch from memory per node): an
    // unmarked plain node has no deletion pending and nothing to write.
    const std::type_info& kind = typeid(*node);
    const bool plainValue = kind == typeid(ConfigNode);
    const bool plainKey = !plainValue && kind == typeid(ConfigContainerNode);
    const bool settled = m_incremental && !force && !node->isNew();
    if (plainValue && settled && !node->isModified()) return true;
    if ((plainValue || plainKey) && settled) {
      // no deletion pending: straight to the writes
    } else if (node->isDestructiveWrite()) {
      if (dynamic_cast<const ConfigNoNode*>(node.get()) != nullptr) return true;  // stands for nothing
      target = unwrap(node.get());
      if (target == nullptr) return true;
      if (!m_incremental || force || node->isNew()) {
        if (!destroy(*node)) return false;
        force = true;
      }
      if (target != node.get()) noteVisited(*node);
      if (target->type() == ConfigValBase::kNone) {
        noteVisited(*target);
        return true;
      }
    }

    const bool all = !m_incremental || force;
    if (!target->isContainerNode()) {
      if (!all && !target->isNew() && !target->isModified()) return true;
      noteVisited(*target);
      // A value directly below its container, as nearly all are, is written
      // into the container's key without composing its path again.
      const std::wstring_view path(target->path().c_str(), static_cast<std::size_t>(target->path().getLength()));
      if (parentKey != nullptr && parentPath != nullptr) {
        const std::size_t prefix = static_cast<std::size_t>(parentPath->getLength());
        if (path.size() > prefix && path.compare(0, prefix, parentPath->c_str()) == 0 &&
            path.find(L'/', prefix) == std::wstring_view::npos) {
          return writeValue(*target, *parentKey, path.substr(prefix));
        }
      }
      std::wstring dir;
      std::wstring leaf;
      splitLeaf(absolute(*target), dir, leaf);
      return writeValue(*target, dir, leaf);
    }

    const bool fresh = all || target->isNew();
    if (fresh || target->isModified() || target->isTouched()) noteVisited(*target);
    const std::wstring key = keyArg(absolute(*target));
    if ((fresh || target->isModified()) && m_access.keepsDefaults() && !writeValue(*target, key, {})) return false;
    const OdString& path = target->path();
    for (const auto& child : target->children()) {
      if (!flushNode(child, fresh, &key, &path)) return false;
    }
    // A new key without values would not reach the store by writes alone.
    return !fresh || m_access.createKey(key);
  }

  // Once the store took everything: the nodes that carried marks no longer
  // differ from it.
  void markSaved() {
    for (ConfigNodeBase* node : m_visited) {
      node->markSaved();
      node->unTouch();
    }
  }

 private:
  std::wstring absolute(const ConfigNodeBase& node) const { return m_root + node.path().c_str(); }

  void noteVisited(ConfigNodeBase& node) {
    if (m_incremental) m_visited.push_back(&node);
  }

  bool writeValue(const ConfigNodeBase& node, const std::wstring& key, std::wstring_view name) {
    unsigned long number = 0;
    OdString text;
    if (node.getULong(number)) return m_access.writeNumber(key, name, static_cast<std::uint32_t>(number));
    if (node.getString(text)) return m_access.writeString(key, name, text.c_str());
    if (const ConfigValRaw* raw = node.rawValue()) return m_access.writeRaw(key, name, *raw);
    return true;  // no value: nothing to write
  }

  bool destroy(const ConfigNodeBase& node) {
    if (node.isContainerNode()) return m_access.deleteKey(keyArg(absolute(node)));
    std::wstring dir;
    std::wstring leaf;
    splitLeaf(absolute(node), dir, leaf);
    return m_access.deleteValue(dir, leaf);
  }

  StoreAccess& m_access;
  std::wstring m_root;
  bool m_incremental;
  // Raw pointers into the tree the caller holds for the whole flush.
  std::vector<ConfigNodeBase*> m_visited;
};

// Runs a flush; over the registry store inside one transaction, so that it
// lands completely or not at all.
bool flushTree(StoreAccess& access, const OdString& root, const ConfigNodePtr& node, bool incremental,
               bool transactional, wxConfigBase* flushAfter) {
  if (root.isEmpty() || !node) return false;
  Flusher flusher(access, root, incremental);
  bool ok = false;
  if (transactional) {
    RegTransaction transaction;
    ok = transaction.isActive() && flusher.flushNode(node, false) && transaction.commit();
  } else {
    ok = flusher.flushNode(node, false) && (flushAfter == nullptr || flushAfter->Flush());
  }
  if (ok) flusher.markSaved();
  return ok;
}

std::wstring companyKey() { return kCompanyRegistryKey; }

}  // namespace

// --- ConfigStorageBase -------------------------------------------------------------------

ConfigStorageBase::~ConfigStorageBase() = default;

// --- ConfigStorage -----------------------------------------------------------------------

ConfigStorage::ConfigStorage(const OdString& rootPath) : m_root(normaliseRoot(rootPath)) {}

OdString ConfigStorage::rootPath() const { return m_root; }

// --- ConfigRegistryStorage ---------------------------------------------------------------

ConfigRegistryStorage::ConfigRegistryStorage(const OdString& rootPath) : ConfigStorage(rootPath) {}

bool ConfigRegistryStorage::rootExists() const {
  if (rootPath().isEmpty()) return false;
  RegistryAccess access(companyKey());
  return access.keyExists(keyArg(std::wstring(rootPath().c_str())));
}

bool ConfigRegistryStorage::load(const ConfigNodePtr& node, bool synced) {
  RegistryAccess access(companyKey());
  // The whole walk reads one consistent state, even while other processes
  // write.
  RegTransaction snapshot;
  return snapshot.isActive() && loadTree(access, rootPath(), node, synced) && snapshot.commit();
}

bool ConfigRegistryStorage::flush(const ConfigNodePtr& node, bool incremental) {
  RegistryAccess access(companyKey());
  return flushTree(access, rootPath(), node, incremental, true, nullptr);
}

// --- ConfigStorageWx ---------------------------------------------------------------------

ConfigStorageWx::ConfigStorageWx(const OdString& rootPath, std::shared_ptr<wxConfigBase> config)
    : ConfigStorage(rootPath), m_config(std::move(config)) {}

ConfigStorageWx::ConfigStorageWx(const OdString& rootPath, wxConfigBase& config)
    : ConfigStorage(rootPath), m_config(std::shared_ptr<wxConfigBase>(), &config) {}

bool ConfigStorageWx::load(const ConfigNodePtr& node, bool synced) {
  if (!m_config) return false;
  const bool registry = dynamic_cast<const RegConfig*>(m_config.get()) != nullptr;
  std::optional<RegTransaction> snapshot;
  if (registry) {
    snapshot.emplace();
    if (!snapshot->isActive()) return false;
  }
  WxAccess access(*m_config);
  return loadTree(access, rootPath(), node, synced) && (!snapshot || snapshot->commit());
}

bool ConfigStorageWx::flush(const ConfigNodePtr& node, bool incremental) {
  if (!m_config) return false;
  const bool registry = dynamic_cast<const RegConfig*>(m_config.get()) != nullptr;
  WxAccess access(*m_config);
  return flushTree(access, rootPath(), node, incremental, registry, registry ? nullptr : m_config.get());
}

// --- ConfigManagerBase -------------------------------------------------------------------

ConfigManagerBase::~ConfigManagerBase() = default;

std::shared_ptr<ConfigStorageBase> ConfigManagerBase::createStorage(const OdString& path, bool create) {
  auto storage = std::make_shared<ConfigRegistryStorage>(path);
  if (storage->rootPath().isEmpty()) return nullptr;
  wxLogNull quiet;
  if (!RegStore::open()) return nullptr;
  if (storage->rootExists()) return storage;
  if (!create) return nullptr;
  RegistryAccess access(companyKey());
  if (!access.createKey(keyArg(std::wstring(storage->rootPath().c_str())))) return nullptr;
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
