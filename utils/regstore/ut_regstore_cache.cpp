// The read cache: values of keys read once are served from memory until
// the WAL header shows that any process committed since.

#include "ut_regstore_db.h"
#include "ut_regstore_sql.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace ut::regstore {

void Store::mapWalHeader() {
  m_walHeader = nullptr;
  // A read maps the WAL index of this connection first.
  if (!rowExists(1)) return;
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(m_db, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || !file || !file->pMethods ||
      file->pMethods->iVersion < 2 || !file->pMethods->xShmMap) {
    return;
  }
  {
    Statement mode(*this, "PRAGMA journal_mode");
    if (!mode || mode.step() != SQLITE_ROW || mode.text(0) != "wal") return;
  }
  void volatile* region = nullptr;
  // Region 0 of the WAL index (32 KiB pages); bExtend 0: only what exists.
  if (file->pMethods->xShmMap(file, 0, 32768, 0, &region) != SQLITE_OK || !region) return;
  m_walHeader = static_cast<const volatile unsigned char*>(region);
  dropCache();
}

void Store::readWalHeader(unsigned char* out) const {
  std::atomic_thread_fence(std::memory_order_acquire);
  for (std::size_t i = 0; i < kWalHeaderBytes; ++i) out[i] = m_walHeader[i];
  std::atomic_thread_fence(std::memory_order_acquire);
}

bool Store::headerUnchanged() const {
  if (!m_walHeader) return false;
  unsigned char now[kWalHeaderBytes];
  readWalHeader(now);
  return std::memcmp(now, m_savedHeader, kWalHeaderBytes) == 0;
}

bool Store::syncCache() {
  if (!m_walHeader) return false;
  unsigned char now[kWalHeaderBytes];
  readWalHeader(now);
  if (std::memcmp(now, m_savedHeader, kWalHeaderBytes) != 0 || m_cachedValues > kMaxCachedValues ||
      m_valueCache.size() > kMaxCachedValues) {
    dropCache();
    std::memcpy(m_savedHeader, now, kWalHeaderBytes);
  }
  return true;
}

void Store::dropCache() {
  m_valueCache.clear();
  m_cachedValues = 0;
  m_missingPaths.clear();
}

void Store::dropCachedKey(KeyId id) {
  if (const auto it = m_valueCache.find(id); it != m_valueCache.end()) {
    m_cachedValues -= std::min(m_cachedValues, it->second.values.size());
    m_valueCache.erase(it);
  }
}

Store::KeyCache* Store::cachedKey(KeyId id) {
  // Entries stay where they are while an operation runs (the map only grows
  // then; syncCache() trims it between operations).
  return m_walHeader ? &m_valueCache[id] : nullptr;
}

void Store::noteCached(std::size_t values) { m_cachedValues += values; }

bool Store::keyKnownToExist(KeyId id) {
  const auto it = m_valueCache.find(id);
  return it != m_valueCache.end() && it->second.exists;
}

EStatus Store::loadKeyValues(KeyId id, KeyCache& into) {
  into.values.clear();
  into.order.clear();
  Statement q(*this, "SELECT folded, name, type, data FROM vals WHERE key = ?1 ORDER BY id");
  if (!q) return EStatus::eError;
  q.bind(1, id);
  int rc;
  while ((rc = q.step()) == SQLITE_ROW) cacheValueRow(q, 0, into);
  if (rc != SQLITE_DONE) {
    into.values.clear();
    into.order.clear();
    return sqlError(rc, L"listing values");
  }
  into.complete = true;
  if (!into.order.empty()) into.exists = true;
  return into.order.empty() ? EStatus::eNotFound : EStatus::eOk;
}

}  // namespace ut::regstore
