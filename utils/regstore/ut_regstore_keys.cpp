// Keys of the store: resolving paths to row ids, listing, counting, copying,
// renaming and deleting keys.

#include "ut_regstore_db.h"
#include "ut_regstore_sql.h"

#include "ut_platform.h"

#include <ut/ut_regstore.h>

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace ut::regstore {

// --- KeyRef ------------------------------------------------------------------

KeyRef KeyRef::make(int root, std::wstring_view path) {
  KeyRef key;
  key.root = root;
  std::size_t first = 0;
  std::size_t last = path.size();
  while (first < last && path[first] == L'\\') ++first;
  while (last > first && path[last - 1] == L'\\') --last;
  key.path.assign(path.substr(first, last - first));
  key.valid = root >= eClassesRoot && root <= eCurrentConfig;
  for (const auto& component : splitKeyPath(key.path)) {
    if (component.empty() || platform::utf16Length(component) > kMaxKeyNameUnits || !nameToUtf8(component))
      key.valid = false;
    ++key.depth;
  }
  if (key.depth > kMaxKeyDepth) key.valid = false;
  if (key.valid) {
    key.folded = std::wstring(1, static_cast<wchar_t>(L'0' + root));
    if (!key.path.empty()) {
      key.folded += L'\\';
      key.folded += platform::foldCase(key.path);
    }
  }
  return key;
}

KeyRef KeyRef::child(std::wstring_view subpath) const {
  if (path.empty()) return make(root, subpath);
  std::wstring joined = path;
  joined += L'\\';
  joined += subpath;
  KeyRef key = make(root, joined);
  // An empty or absolute-looking subkey name addresses nothing.
  if (subpath.empty() || subpath.front() == L'\\' || subpath.back() == L'\\') key.valid = false;
  if (!valid) key.valid = false;
  return key;
}

std::vector<std::wstring> KeyRef::components() const { return splitKeyPath(path); }

std::vector<std::wstring> KeyRef::foldedComponents() const {
  const auto sep = folded.find(L'\\');
  if (sep == std::wstring::npos) return {};
  return splitKeyPath(std::wstring_view(folded).substr(sep + 1));
}

std::vector<std::wstring> splitKeyPath(std::wstring_view s) {
  std::vector<std::wstring> out;
  if (s.empty()) return out;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = s.find(L'\\', start);
    if (end == std::wstring_view::npos) {
      out.emplace_back(s.substr(start));
      break;
    }
    out.emplace_back(s.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

// --- keys --------------------------------------------------------------------

bool Store::rowExists(KeyId id) {
  Statement q(*this, "SELECT 1 FROM keys WHERE id = ?1");
  if (!q) return true;  // cannot tell: do not retry
  q.bind(1, id);
  const int rc = q.step();
  return rc != SQLITE_DONE;
}

EStatus Store::findChild(KeyId parent, const std::string& folded, KeyId& id) {
  Statement q(*this, "SELECT id FROM keys WHERE parent = ?1 AND folded = ?2");
  if (!q) return EStatus::eError;
  q.bind(1, parent);
  q.bindText(2, folded);
  const int rc = q.step();
  if (rc == SQLITE_ROW) {
    id = q.integer(0);
    return EStatus::eOk;
  }
  if (rc == SQLITE_DONE) return EStatus::eNotFound;
  noteFailure(rc, L"looking up a key");
  return EStatus::eError;
}

EStatus Store::resolveLocked(KeyRef& key, bool create) {
  if (!key.valid && key.depth > kMaxKeyDepth) {
    fail(wxString::Format(L"key path too deep: %zu levels below the root (at most %zu)", key.depth, kMaxKeyDepth));
    return EStatus::eError;
  }
  if (!key.valid) {
    fail(wxString::Format(L"\"%s\" is not a valid key path", wxString(key.path)));
    return EStatus::eError;
  }
  if (key.id != 0 && key.epoch == m_epoch) return EStatus::eOk;
  key.id = 0;
  key.epoch = m_epoch;
  if (const auto it = m_pathCache.find(key.folded); it != m_pathCache.end()) {
    key.id = it->second;
    return EStatus::eOk;
  }
  if (!create && m_missingPaths.count(key.folded) && headerUnchanged()) return EStatus::eNotFound;
  const auto folded = key.foldedComponents();
  std::vector<std::wstring> names;
  std::unique_ptr<WriteScope> scope;
  KeyId id = key.root + 1;
  std::wstring prefix(1, static_cast<wchar_t>(L'0' + key.root));
  for (std::size_t i = 0; i < folded.size(); ++i) {
    prefix += L'\\';
    prefix += folded[i];
    if (const auto it = m_pathCache.find(prefix); it != m_pathCache.end()) {
      id = it->second;
      continue;
    }
    const std::string foldedUtf8 = utf8OrEmpty(folded[i]);
    KeyId child = 0;
    EStatus s = findChild(id, foldedUtf8, child);
    if (s == EStatus::eError) return s;
    if (s == EStatus::eNotFound) {
      if (!create) {
        // Remembered while no commit reaches the file (see syncCache()).
        if (headerUnchanged() && m_missingPaths.size() < kMaxCachedPaths) m_missingPaths.insert(key.folded);
        return s;
      }
      if (!scope) {
        scope = std::make_unique<WriteScope>(*this);
        if (!scope->ok()) return EStatus::eError;
        names = key.components();
        // Look again under the write lock: another process may have created it.
        s = findChild(id, foldedUtf8, child);
        if (s == EStatus::eError) return s;
      }
      if (s == EStatus::eNotFound) {
        Statement ins(*this, "INSERT INTO keys(parent, folded, name) VALUES(?1, ?2, ?3)");
        if (!ins) return EStatus::eError;
        const std::string name = utf8OrEmpty(names[i]);
        ins.bind(1, id);
        ins.bindText(2, foldedUtf8);
        ins.bindText(3, name);
        const int rc = ins.step();
        if (rc != SQLITE_DONE) {
          noteFailure(rc, L"creating a key");
          return EStatus::eError;
        }
        child = sqlite3_last_insert_rowid(m_db);
        dropCachedKey(id);  // its listing of subkeys has changed
        m_missingPaths.clear();
      }
    }
    id = child;
    if (m_pathCache.size() >= kMaxCachedPaths) m_pathCache.clear();
    m_pathCache.emplace(prefix, id);
  }
  if (scope && !scope->commit()) return EStatus::eError;
  key.id = id;
  key.epoch = m_epoch;
  return EStatus::eOk;
}

EStatus Store::resolve(KeyRef& key, bool create) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen()) return EStatus::eError;
  if (create && !checkWritable()) return EStatus::eError;
  return resolveLocked(key, create);
}

bool Store::exists(KeyRef& key) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen()) return false;
  if (resolveLocked(key, false) != EStatus::eOk) return false;
  if (rowExists(key.id)) return true;
  m_pathCache.clear();
  key.forget();
  return resolveLocked(key, false) == EStatus::eOk;
}

EStatus Store::hasSubKey(KeyRef& key, std::wstring_view subpath) {
  KeyRef sub = key.child(subpath);
  if (!sub.valid) return EStatus::eNotFound;
  return exists(sub) ? EStatus::eOk : EStatus::eNotFound;
}

EStatus Store::listSubKeys(KeyRef& key, std::vector<std::wstring>& names) {
  std::lock_guard lock(m_mutex);
  names.clear();
  if (!ensureOpen()) return EStatus::eError;
  syncCache();
  const EStatus s = withKey(key, false, [&](KeyId id) {
    names.clear();
    KeyCache* cache = cachedKey(id);
    if (cache && cache->subkeysComplete) {
      names = cache->subkeys;
      return names.empty() ? EStatus::eNotFound : EStatus::eOk;
    }
    std::vector<std::pair<KeyId, std::wstring>> children;
    {
      Statement q(*this, "SELECT name, id, folded FROM keys WHERE parent = ?1 ORDER BY folded");
      if (!q) return EStatus::eError;
      q.bind(1, id);
      int rc;
      while ((rc = q.step()) == SQLITE_ROW) {
        names.push_back(q.name(0));
        children.emplace_back(q.integer(1), q.name(2));
      }
      if (rc != SQLITE_DONE) return sqlError(rc, L"listing subkeys");
    }
    if (cache) {
      cache->subkeys = names;
      cache->subkeysComplete = true;
      if (!names.empty()) cache->exists = true;
      // The children's ids, for the paths that lead to them next.
      if (m_pathCache.size() + children.size() >= kMaxCachedPaths) m_pathCache.clear();
      for (const auto& [childId, folded] : children) m_pathCache.emplace(key.folded + L'\\' + folded, childId);
      if (!children.empty()) prefetchChildren(id, key.folded, children);
    }
    return names.empty() ? EStatus::eNotFound : EStatus::eOk;
  });
  if (s == EStatus::eNotFound && key.id != 0) return EStatus::eOk;
  return s;
}

void Store::prefetchChildren(KeyId parent, const std::wstring& parentFolded,
                             const std::vector<std::pair<KeyId, std::wstring>>& children) {
  std::unordered_map<KeyId, std::wstring> childPaths;  // id -> folded path
  std::unordered_set<KeyId> filling;                   // children whose values come now
  for (const auto& [childId, folded] : children) {
    childPaths.emplace(childId, parentFolded + L'\\' + folded);
    KeyCache& cache = *cachedKey(childId);
    cache.exists = true;
    if (!cache.complete) {
      cache.values.clear();
      cache.order.clear();
      filling.insert(childId);
    }
  }
  {
    Statement q(*this,
                "SELECT v.key, v.folded, v.name, v.type, v.data FROM vals v JOIN keys k ON v.key = k.id "
                "WHERE k.parent = ?1 ORDER BY v.key, v.id");
    if (!q) return;
    q.bind(1, parent);
    int rc;
    std::size_t added = 0;
    while ((rc = q.step()) == SQLITE_ROW) {
      const KeyId child = q.integer(0);
      if (!filling.count(child)) continue;
      cacheValueRow(q, 1, m_valueCache[child]);
      ++added;
    }
    noteCached(added);
    if (rc != SQLITE_DONE) {
      // Half a prefetch is no snapshot: forget what it brought. The listing
      // itself went well, but damage found on the way is remembered.
      noteDamage(rc, L"reading values");
      for (const KeyId child : filling) dropCachedKey(child);
      return;
    }
  }
  for (const KeyId child : filling) m_valueCache[child].complete = true;
  {
    Statement q(*this,
                "SELECT k.parent, k.name, k.id, k.folded FROM keys k JOIN keys p ON k.parent = p.id "
                "WHERE p.parent = ?1 ORDER BY k.parent, k.folded");
    if (!q) return;
    q.bind(1, parent);
    std::unordered_map<KeyId, std::vector<std::wstring>> lists;
    std::vector<std::pair<std::wstring, KeyId>> paths;
    int rc;
    while ((rc = q.step()) == SQLITE_ROW) {
      const KeyId child = q.integer(0);
      lists[child].push_back(q.name(1));
      if (const auto it = childPaths.find(child); it != childPaths.end()) {
        paths.emplace_back(it->second + L'\\' + q.name(3), q.integer(2));
      }
    }
    if (rc != SQLITE_DONE) {
      noteDamage(rc, L"listing keys");
      return;
    }
    for (const auto& entry : childPaths) {
      KeyCache& cache = m_valueCache[entry.first];
      cache.subkeys = std::move(lists[entry.first]);
      cache.subkeysComplete = true;
    }
    if (m_pathCache.size() + paths.size() >= kMaxCachedPaths) m_pathCache.clear();
    for (auto& [path, id] : paths) m_pathCache.emplace(std::move(path), id);
  }
}

EStatus Store::countSubKeys(KeyRef& key, bool recursive, std::size_t& count) {
  std::lock_guard lock(m_mutex);
  count = 0;
  const EStatus s = withKey(key, false, [&](KeyId id) {
    Statement q(*this, recursive ? "WITH RECURSIVE sub(id) AS (VALUES(?1) UNION ALL SELECT k.id FROM keys k "
                                   "JOIN sub ON k.parent = sub.id) SELECT count(*) - 1 FROM sub"
                                 : "SELECT count(*) FROM keys WHERE parent = ?1");
    if (!q) return EStatus::eError;
    q.bind(1, id);
    const int rc = q.step();
    if (rc != SQLITE_ROW) return sqlError(rc, L"counting subkeys");
    count = static_cast<std::size_t>(std::max<std::int64_t>(0, q.integer(0)));
    return count == 0 ? EStatus::eNotFound : EStatus::eOk;
  });
  if (s == EStatus::eNotFound && key.id != 0) return EStatus::eOk;
  return s;
}

EStatus Store::deleteKey(KeyRef& key) {
  std::lock_guard lock(m_mutex);
  if (key.valid && key.path.empty()) {
    fail(L"a root key cannot be deleted");
    return EStatus::eError;
  }
  if (!ensureOpen() || !checkWritable()) return EStatus::eError;
  return withKey(key, false, [&](KeyId id) {
    WriteScope scope(*this);
    if (!scope.ok()) return EStatus::eError;
    {
      Statement del(*this,
                    "WITH RECURSIVE sub(id) AS (VALUES(?1) UNION ALL SELECT k.id FROM keys k JOIN sub ON k.parent = "
                    "sub.id) DELETE FROM vals WHERE key IN (SELECT id FROM sub)");
      if (!del) return EStatus::eError;
      del.bind(1, id);
      const int rc = del.step();
      if (rc != SQLITE_DONE) return sqlError(rc, L"deleting a key");
    }
    {
      Statement del(*this,
                    "WITH RECURSIVE sub(id) AS (VALUES(?1) UNION ALL SELECT k.id FROM keys k JOIN sub ON k.parent = "
                    "sub.id) DELETE FROM keys WHERE id IN (SELECT id FROM sub)");
      if (!del) return EStatus::eError;
      del.bind(1, id);
      const int rc = del.step();
      if (rc != SQLITE_DONE) return sqlError(rc, L"deleting a key");
      if (sqlite3_changes(m_db) == 0) return EStatus::eNotFound;
    }
    dropCache();
    if (!scope.commit()) return EStatus::eError;
    // Every key reference resolved before may name a key that is gone now
    // (the deleted key's own included): a later resolve must look again.
    invalidateIds();
    return EStatus::eOk;
  });
}

EStatus Store::copyKey(KeyRef& src, KeyRef& dst) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen() || !checkWritable()) return EStatus::eError;
  if (!exists(src)) return EStatus::eNotFound;
  WriteScope scope(*this);
  if (!scope.ok()) return EStatus::eError;
  if (!rowExists(src.id)) return EStatus::eNotFound;  // deleted while we waited for the lock
  if (resolveLocked(dst, true) != EStatus::eOk) return EStatus::eError;
  if (dst.id == src.id) return scope.commit() ? EStatus::eOk : EStatus::eError;
  // A copy into its own subtree would never end.
  for (KeyId walk = dst.id; walk != 0;) {
    Statement q(*this, "SELECT parent FROM keys WHERE id = ?1");
    if (!q) return EStatus::eError;
    q.bind(1, walk);
    if (q.step() != SQLITE_ROW) break;
    walk = q.integer(0);
    if (walk == src.id) {
      fail(L"a key cannot be copied into its own subtree");
      return EStatus::eError;
    }
  }
  struct Node {
    KeyId id;
    KeyId parent;
    std::string folded;
    std::string name;
  };
  std::vector<Node> nodes;
  {
    Statement q(*this,
                "WITH RECURSIVE sub(id, depth) AS (VALUES(?1, 0) UNION ALL SELECT k.id, sub.depth + 1 FROM keys k "
                "JOIN sub ON k.parent = sub.id) "
                "SELECT k.id, k.parent, k.folded, k.name FROM sub JOIN keys k ON k.id = sub.id ORDER BY sub.depth");
    if (!q) return EStatus::eError;
    q.bind(1, src.id);
    int rc;
    while ((rc = q.step()) == SQLITE_ROW) {
      nodes.push_back({q.integer(0), q.integer(1), std::string(q.text(2)), std::string(q.text(3))});
    }
    if (rc != SQLITE_DONE) return sqlError(rc, L"copying a key");
  }
  dropCache();
  std::unordered_map<KeyId, KeyId> target{{src.id, dst.id}};
  for (const Node& node : nodes) {
    if (node.id == src.id) continue;
    const KeyId parent = target.at(node.parent);
    KeyId child = 0;
    EStatus s = findChild(parent, node.folded, child);
    if (s == EStatus::eError) return s;
    if (s == EStatus::eNotFound) {
      Statement ins(*this, "INSERT INTO keys(parent, folded, name) VALUES(?1, ?2, ?3)");
      if (!ins) return EStatus::eError;
      ins.bind(1, parent);
      ins.bindText(2, node.folded);
      ins.bindText(3, node.name);
      const int rc = ins.step();
      if (rc != SQLITE_DONE) return sqlError(rc, L"copying a key");
      child = sqlite3_last_insert_rowid(m_db);
    }
    target.emplace(node.id, child);
  }
  for (const Node& node : nodes) {
    Statement cp(*this,
                 "INSERT INTO vals(key, folded, name, type, data) SELECT ?2, folded, name, type, data FROM vals "
                 "WHERE key = ?1 ORDER BY id ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, "
                 "data = excluded.data");
    if (!cp) return EStatus::eError;
    cp.bind(1, node.id);
    cp.bind(2, target.at(node.id));
    const int rc = cp.step();
    if (rc != SQLITE_DONE) return sqlError(rc, L"copying values");
  }
  return scope.commit() ? EStatus::eOk : EStatus::eError;
}

EStatus Store::renameKey(KeyRef& parent, std::wstring_view oldName, std::wstring_view newName) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen() || !checkWritable()) return EStatus::eError;
  KeyRef from = parent.child(oldName);
  KeyRef to = parent.child(newName);
  if (!from.valid || !to.valid || from.components().size() != to.components().size() ||
      from.components().size() != parent.components().size() + 1) {
    fail(L"a key can only be renamed to a simple name");
    return EStatus::eError;
  }
  if (!exists(from)) return EStatus::eNotFound;
  if (from.folded == to.folded) {
    // Only the letter case changes: the key keeps its id and place.
    Statement up(*this, "UPDATE keys SET name = ?2 WHERE id = ?1");
    if (!up) return EStatus::eError;
    const std::string name = utf8OrEmpty(to.components().back());
    up.bind(1, from.id);
    up.bindText(2, name);
    const int rc = up.step();
    dropCache();
    if (rc != SQLITE_DONE) return sqlError(rc, L"renaming a key");
    return EStatus::eOk;
  }
  WriteScope scope(*this);
  if (!scope.ok()) return EStatus::eError;
  if (exists(to)) {
    fail(wxString::Format(L"a key named \"%s\" already exists", wxString(newName.data(), newName.size())));
    return EStatus::eError;
  }
  if (copyKey(from, to) != EStatus::eOk) return EStatus::eError;
  if (deleteKey(from) != EStatus::eOk) return EStatus::eError;
  return scope.commit() ? EStatus::eOk : EStatus::eError;
}

}  // namespace ut::regstore
