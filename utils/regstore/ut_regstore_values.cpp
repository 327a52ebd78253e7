// Values of keys: reading, enumerating, renaming and deleting them.

#include "ut_regstore_db.h"
#include "ut_regstore_sql.h"

#include "ut_platform.h"

#include <algorithm>

namespace ut::regstore {

// --- values ------------------------------------------------------------------

EStatus Store::readValue(KeyRef& key, std::wstring_view name, unsigned& type, Bytes* data) {
  return visitValue(key, name, [&](unsigned t, const std::uint8_t* bytes, std::size_t size) {
    type = t;
    if (data) data->assign(bytes, bytes + size);
  });
}

EStatus Store::visitValue(KeyRef& key, std::wstring_view name, const ValueVisitor& visit) {
  std::lock_guard lock(m_mutex);
  std::wstring foldedName = platform::foldCase(name);
  if (!ensureOpen()) return EStatus::eError;
  syncCache();
  return withKey(key, false, [&](KeyId id) {
    KeyCache* cache = cachedKey(id);
    if (cache) {
      if (const auto it = cache->values.find(foldedName); it != cache->values.end()) {
        if (!it->second.present) return EStatus::eNotFound;
        visit(it->second.type, it->second.data.data(), it->second.data.size());
        return EStatus::eOk;
      }
      if (cache->complete) return EStatus::eNotFound;
    }
    const auto folded = nameToUtf8(foldedName);
    if (!folded) return EStatus::eNotFound;
    Statement q(*this, "SELECT type, data, name FROM vals WHERE key = ?1 AND folded = ?2");
    if (!q) return EStatus::eError;
    q.bind(1, id);
    q.bindText(2, *folded);
    const int rc = q.step();
    if (rc != SQLITE_DONE && rc != SQLITE_ROW) return sqlError(rc, L"reading a value");
    CachedValue found;
    found.present = rc == SQLITE_ROW;
    if (found.present) {
      found.type = static_cast<unsigned>(q.integer(0));
      found.data = q.blob(1);
      found.name = q.name(2);
      visit(found.type, found.data.data(), found.data.size());
    }
    if (cache) {
      if (found.present) cache->exists = true;
      cache->values.emplace(std::move(foldedName), std::move(found));
      noteCached(1);
      return rc == SQLITE_ROW ? EStatus::eOk : EStatus::eNotFound;
    }
    return found.present ? EStatus::eOk : EStatus::eNotFound;
  });
}

EStatus Store::writeValue(KeyRef& key, std::wstring_view name, unsigned type, const void* data, std::size_t size,
                          bool createKey) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen() || !checkWritable()) return EStatus::eError;
  const auto utf8 = nameToUtf8(name);
  const auto folded = nameToUtf8(platform::foldCase(name));
  if (!utf8 || !folded) {
    fail(L"a value name holds a character that is not Unicode");
    return EStatus::eError;
  }
  return withKey(key, createKey, [&](KeyId id) {
    Statement up(*this,
                 "INSERT INTO vals(key, folded, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
                 "ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data");
    if (!up) return EStatus::eError;
    up.bind(1, id);
    up.bindText(2, *folded);
    up.bindText(3, *utf8);
    up.bind(4, static_cast<std::int64_t>(type));
    up.bindBlob(5, data, size);
    const int rc = up.step();
    dropCachedKey(id);
    if (rc == SQLITE_DONE) return EStatus::eOk;
    if (rc == SQLITE_CONSTRAINT_FOREIGNKEY) return EStatus::eNotFound;  // the key is gone
    noteFailure(rc, L"writing a value");
    return EStatus::eError;
  });
}

EStatus Store::deleteValue(KeyRef& key, std::wstring_view name) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen() || !checkWritable()) return EStatus::eError;
  const auto folded = nameToUtf8(platform::foldCase(name));
  if (!folded) return EStatus::eNotFound;
  return withKey(key, false, [&](KeyId id) {
    Statement del(*this, "DELETE FROM vals WHERE key = ?1 AND folded = ?2");
    if (!del) return EStatus::eError;
    del.bind(1, id);
    del.bindText(2, *folded);
    const int rc = del.step();
    dropCachedKey(id);
    if (rc != SQLITE_DONE) return sqlError(rc, L"deleting a value");
    return sqlite3_changes(m_db) > 0 ? EStatus::eOk : EStatus::eNotFound;
  });
}

EStatus Store::renameValue(KeyRef& key, std::wstring_view oldName, std::wstring_view newName) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen() || !checkWritable()) return EStatus::eError;
  const auto oldFolded = nameToUtf8(platform::foldCase(oldName));
  const auto newFolded = nameToUtf8(platform::foldCase(newName));
  const auto newUtf8 = nameToUtf8(newName);
  if (!oldFolded || !newFolded || !newUtf8) return EStatus::eNotFound;
  return withKey(key, false, [&](KeyId id) {
    Statement up(*this, "UPDATE vals SET name = ?3, folded = ?4 WHERE key = ?1 AND folded = ?2");
    if (!up) return EStatus::eError;
    up.bind(1, id);
    up.bindText(2, *oldFolded);
    up.bindText(3, *newUtf8);
    up.bindText(4, *newFolded);
    const int rc = up.step();
    dropCachedKey(id);
    if (rc == SQLITE_CONSTRAINT_UNIQUE) {
      fail(wxString::Format(L"a value named \"%s\" already exists", wxString(newName.data(), newName.size())));
      return EStatus::eError;
    }
    if (rc != SQLITE_DONE) return sqlError(rc, L"renaming a value");
    return sqlite3_changes(m_db) > 0 ? EStatus::eOk : EStatus::eNotFound;
  });
}

EStatus Store::listValueNames(KeyRef& key, std::vector<std::wstring>& names) {
  std::lock_guard lock(m_mutex);
  names.clear();
  std::vector<ValueRecord> values;
  const EStatus s = listValues(key, values);
  if (s != EStatus::eOk) return s;
  names.reserve(values.size());
  for (auto& v : values) names.push_back(std::move(v.name));
  return s;
}

EStatus Store::listValues(KeyRef& key, std::vector<ValueRecord>& values) {
  std::lock_guard lock(m_mutex);
  values.clear();
  if (!ensureOpen()) return EStatus::eError;
  syncCache();
  const EStatus s = withKey(key, false, [&](KeyId id) {
    values.clear();
    KeyCache* cache = cachedKey(id);
    KeyCache scratch;
    KeyCache& snapshot = cache ? *cache : scratch;
    if (!snapshot.complete) {
      const std::size_t before = snapshot.values.size();
      const EStatus loaded = loadKeyValues(id, snapshot);
      if (loaded == EStatus::eError) return loaded;
      if (cache) {
        m_cachedValues -= std::min(m_cachedValues, before);
        noteCached(snapshot.values.size());
      }
    }
    values.reserve(snapshot.order.size());
    for (const auto& folded : snapshot.order) {
      const CachedValue& v = snapshot.values.at(folded);
      values.push_back({v.name, v.type, v.data});
    }
    return values.empty() ? EStatus::eNotFound : EStatus::eOk;
  });
  if (s == EStatus::eNotFound && key.id != 0) return EStatus::eOk;
  return s;
}

EStatus Store::countValues(KeyRef& key, bool recursive, std::size_t& count) {
  std::lock_guard lock(m_mutex);
  count = 0;
  const EStatus s = withKey(key, false, [&](KeyId id) {
    Statement q(*this, recursive ? "WITH RECURSIVE sub(id) AS (VALUES(?1) UNION ALL SELECT k.id FROM keys k "
                                   "JOIN sub ON k.parent = sub.id) SELECT count(*) FROM vals "
                                   "WHERE key IN (SELECT id FROM sub)"
                                 : "SELECT count(*) FROM vals WHERE key = ?1");
    if (!q) return EStatus::eError;
    q.bind(1, id);
    const int rc = q.step();
    if (rc != SQLITE_ROW) return sqlError(rc, L"counting values");
    count = static_cast<std::size_t>(q.integer(0));
    return count == 0 ? EStatus::eNotFound : EStatus::eOk;
  });
  if (s == EStatus::eNotFound && key.id != 0) return EStatus::eOk;
  return s;
}

}  // namespace ut::regstore
