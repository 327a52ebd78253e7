#pragma once

// The registry store's SQL plumbing shared by its parts (opening and schema,
// the value cache, keys, values): cached prepared statements, atomic write
// scopes and the small conversions they need. Internal to utils/regstore.

#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

#include "ut_platform.h"

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ut::regstore {

// Key paths remembered as missing before the memo starts over.
constexpr std::size_t kMaxCachedPaths = 100000;
// Values kept by the read cache before it starts over.
constexpr std::size_t kMaxCachedValues = 500000;

// The components of a "\"-separated key path; none for an empty path.
std::vector<std::wstring> splitKeyPath(std::wstring_view s);

// The stored UTF-8 form of a name; empty for one that has none.
inline std::string utf8OrEmpty(std::wstring_view s) { return nameToUtf8(s).value_or(std::string()); }

// --- statements --------------------------------------------------------------

// A cached prepared statement, reset for reuse when the object goes away.
class Statement {
 public:
  Statement(Store& store, const char* sql) : m_store(store), m_stmt(store.prepare(sql)) {}
  ~Statement() {
    if (m_stmt) {
      sqlite3_reset(m_stmt);
      sqlite3_clear_bindings(m_stmt);
    }
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  explicit operator bool() const { return m_stmt != nullptr; }
  void bind(int i, std::int64_t v) { sqlite3_bind_int64(m_stmt, i, v); }
  // The text must outlive the statement object: no temporaries.
  void bindText(int i, const std::string& s) {
    sqlite3_bind_text64(m_stmt, i, s.data(), s.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void bindText(int i, std::string&&) = delete;
  void bindBlob(int i, const void* data, std::size_t size) {
    static const unsigned char kEmpty = 0;
    sqlite3_bind_blob64(m_stmt, i, size ? data : &kEmpty, size, SQLITE_STATIC);
  }

  // sqlite3_step, retried when another process holds the lock longer than the
  // busy timeout and no transaction of ours is open (nothing is lost by
  // starting the statement again).
  int step() {
    for (int attempt = 0;; ++attempt) {
      const int rc = sqlite3_step(m_stmt);
      if ((rc & 0xFF) == SQLITE_BUSY && attempt < 1 && sqlite3_get_autocommit(m_store.m_db)) {
        sqlite3_reset(m_stmt);
        continue;
      }
      return rc;
    }
  }

  std::int64_t integer(int c) const { return sqlite3_column_int64(m_stmt, c); }
  std::string_view text(int c) const {
    const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(m_stmt, c));
    return p ? std::string_view(p, static_cast<std::size_t>(sqlite3_column_bytes(m_stmt, c))) : std::string_view();
  }
  std::wstring name(int c) const { return nameFromUtf8(text(c)); }
  Bytes blob(int c) const {
    const auto* p = static_cast<const std::uint8_t*>(sqlite3_column_blob(m_stmt, c));
    const auto n = static_cast<std::size_t>(sqlite3_column_bytes(m_stmt, c));
    return p ? Bytes(p, p + n) : Bytes();
  }

 private:
  Store& m_store;
  sqlite3_stmt* m_stmt;
};

// Adds one row of (folded, name, type, data), starting at column `first`, to
// a key's cached values, in the order the rows come.
template <typename Cache>
void cacheValueRow(const Statement& q, int first, Cache& into) {
  std::wstring folded = q.name(first);
  typename decltype(into.values)::mapped_type value;
  value.name = q.name(first + 1);
  value.type = static_cast<unsigned>(q.integer(first + 2));
  value.data = q.blob(first + 3);
  value.present = true;
  into.order.push_back(folded);
  into.values.emplace(std::move(folded), std::move(value));
}

// Makes one multi-statement operation atomic: its own transaction when none is
// open, else a savepoint inside the caller's transaction.
class WriteScope {
 public:
  explicit WriteScope(Store& store) : m_store(store) {
    if (!store.checkWritable()) return;
    m_outer = sqlite3_get_autocommit(store.m_db) != 0;
    m_ok = store.exec(m_outer ? "BEGIN IMMEDIATE" : "SAVEPOINT regstore_op");
  }
  ~WriteScope() {
    if (!m_ok || m_done) return;
    if (m_outer) {
      m_store.exec("ROLLBACK", false);
    } else {
      m_store.exec("ROLLBACK TO regstore_op", false);
      m_store.exec("RELEASE regstore_op", false);
    }
    m_store.invalidateIds();
  }
  WriteScope(const WriteScope&) = delete;
  WriteScope& operator=(const WriteScope&) = delete;

  bool ok() const { return m_ok; }
  bool commit() {
    if (!m_ok) return false;
    m_done = true;
    if (m_store.exec(m_outer ? "COMMIT" : "RELEASE regstore_op")) return true;
    if (m_outer && !sqlite3_get_autocommit(m_store.m_db)) m_store.exec("ROLLBACK", false);
    m_store.invalidateIds();
    return false;
  }

 private:
  Store& m_store;
  bool m_outer = false;
  bool m_ok = false;
  bool m_done = false;
};

// Runs op on the id of key, resolving (or creating) the key first. A key
// that another process deleted since its id was cached is resolved again once.
template <class Op>
EStatus Store::withKey(KeyRef& key, bool create, Op&& op) {
  if (!ensureOpen()) return EStatus::eError;
  EStatus s = resolveLocked(key, create);
  if (s != EStatus::eOk) return s;
  s = op(key.id);
  if (s != EStatus::eNotFound || keyKnownToExist(key.id)) return s;
  if (rowExists(key.id)) {
    if (KeyCache* cache = cachedKey(key.id)) cache->exists = true;
    return s;
  }
  // The cached id belongs to a key that is gone (deleted, perhaps recreated,
  // by another process): resolve the path again.
  m_pathCache.clear();
  key.forget();
  s = resolveLocked(key, create);
  if (s != EStatus::eOk) return s;
  return op(key.id);
}

}  // namespace ut::regstore
