#include "ut_regstore_db.h"

#include "ut_platform.h"

#include <ut/ut_regstore.h>

#include <sqlite3.h>
#include <wx/utils.h>

#include <cerrno>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <unordered_map>
#include <unordered_set>

namespace ut::regstore {

namespace {

thread_local wxString t_lastError;

constexpr std::size_t kMaxCachedPaths = 100000;
// Values kept by the read cache before it starts over.
constexpr std::size_t kMaxCachedValues = 500000;

std::string nativePath(const wxString& file) {
  const wxCharBuffer buf = file.fn_str();
  return buf.data() ? std::string(buf.data()) : std::string();
}

std::uint32_t utf16Units(std::wstring_view s) {
  std::uint32_t n = 0;
  for (const wchar_t c : s) n += static_cast<std::uint32_t>(c) > 0xFFFF ? 2 : 1;
  return n;
}

std::vector<std::wstring> split(std::wstring_view s) {
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

std::string utf8OrEmpty(std::wstring_view s) { return nameToUtf8(s).value_or(std::string()); }

}  // namespace

wxString lastError() { return t_lastError; }
void clearLastError() { t_lastError.clear(); }

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
  for (const auto& component : split(key.path)) {
    if (component.empty() || utf16Units(component) > kMaxKeyNameUnits || !nameToUtf8(component)) key.valid = false;
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

std::vector<std::wstring> KeyRef::components() const { return split(path); }

std::vector<std::wstring> KeyRef::foldedComponents() const {
  const auto sep = folded.find(L'\\');
  if (sep == std::wstring::npos) return {};
  return split(std::wstring_view(folded).substr(sep + 1));
}

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

// --- the store ---------------------------------------------------------------

Store& Store::instance() {
  static Store store;
  return store;
}

Store::~Store() { closeConnection(); }

void Store::fail(const wxString& what) { t_lastError = what; }

void Store::failSql(const wxString& what) {
  const char* msg = m_db ? sqlite3_errmsg(m_db) : "store not open";
  fail(wxString::Format(L"Registry store \"%s\": %s failed: %s", m_openFile, what, wxString::FromUTF8(msg)));
}

bool Store::noteFailure(int rc, const wxString& what) {
  (void)rc;
  failSql(what);
  // SQLite rolls the whole transaction back after some errors (I/O, full
  // disk): what the caller's transaction wrote is gone, so it must fail.
  if (m_depth > 0 && m_db && sqlite3_get_autocommit(m_db)) {
    m_doomed = true;
    m_doomReason = L"the transaction was rolled back after an error";
    invalidateIds();
  }
  return false;
}

wxString Store::defaultFile() {
  if (auto value = platform::environmentText("UT_REGISTRY_FILE"); value && !value->empty()) return wxString(*value);
  const std::wstring base = platform::userConfigDirectory();
  if (base.empty()) return wxString();
  return wxString(base) + L"/" + kCompanyKey + L"/registry.db";
}

wxString Store::file() {
  std::lock_guard lock(m_mutex);
  if (m_db) return m_openFile;
  return m_fileOverride.empty() ? defaultFile() : m_fileOverride;
}

bool Store::setFile(const wxString& path) {
  std::lock_guard lock(m_mutex);
  closeConnection();
  m_fileOverride = path;
  if (!openConnection()) return false;
  clearLastError();
  return true;
}

bool Store::open() {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen()) return false;
  clearLastError();
  return true;
}

void Store::close() {
  std::lock_guard lock(m_mutex);
  closeConnection();
}

int Store::schemaVersion() {
  std::lock_guard lock(m_mutex);
  return m_db ? m_schemaVersion : 0;
}

void Store::setBusyTimeout(int ms) {
  std::lock_guard lock(m_mutex);
  m_busyTimeoutMs = ms;
  if (m_db) sqlite3_busy_timeout(m_db, ms);
}

bool Store::ensureOpen() { return m_db || openConnection(); }

void Store::invalidateIds() {
  ++m_epoch;
  m_pathCache.clear();
  dropCache();
}

void Store::closeConnection() {
  if (!m_db) return;
  if (!sqlite3_get_autocommit(m_db)) exec("ROLLBACK", false);
  for (auto& [sql, stmt] : m_statements) sqlite3_finalize(stmt);
  m_statements.clear();
  m_walHeader = nullptr;
  sqlite3_close_v2(m_db);
  m_db = nullptr;
  m_schemaVersion = 0;
  invalidateIds();
  // A transaction scope that is still open lost its changes with the
  // connection: its commit must fail.
  if (m_depth > 0) {
    m_doomed = true;
    m_doomReason = L"the store was closed inside the transaction";
  }
}

sqlite3_stmt* Store::prepare(const char* sql) {
  for (const auto& [text, stmt] : m_statements) {
    if (text == sql) return stmt;
  }
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK) {
    failSql(L"preparing a query");
    sqlite3_finalize(stmt);
    return nullptr;
  }
  m_statements.emplace_back(sql, stmt);
  return stmt;
}

bool Store::exec(const char* sql, bool report) {
  Statement st(*this, sql);
  if (!st) return false;
  int rc;
  while ((rc = st.step()) == SQLITE_ROW) {}
  if (rc == SQLITE_DONE) return true;
  if (report) noteFailure(rc, wxString::FromUTF8(sql));
  return false;
}

bool Store::checkWritable() {
  if (!m_doomed) return true;
  fail(wxString::Format(L"Registry store \"%s\": %s; nothing more is written until it ends", m_openFile, m_doomReason));
  return false;
}

bool Store::openConnection() {
  // Processes that open a new store at the same moment contend for its first
  // set-up (journal mode, schema); that contention is not a fault of the file.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_busyTimeoutMs);
  for (;;) {
    m_openWasBusy = false;
    if (tryOpenConnection()) return true;
    if (!m_openWasBusy || std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

bool Store::tryOpenConnection() {
  const wxString file = m_fileOverride.empty() ? defaultFile() : m_fileOverride;
  auto unusable = [&file, this](const wxString& why) {
    fail(wxString::Format(L"Registry store \"%s\" cannot be used: %s", file, why));
    m_walHeader = nullptr;
    if (m_db) {
      const int code = sqlite3_errcode(m_db) & 0xFF;
      m_openWasBusy = code == SQLITE_BUSY || code == SQLITE_LOCKED;
      for (auto& [sql, stmt] : m_statements) sqlite3_finalize(stmt);
      m_statements.clear();
      sqlite3_close_v2(m_db);
      m_db = nullptr;
    }
    return false;
  };
  if (file.empty()) return unusable(L"no home folder is known (HOME is not set)");
  const std::string native = nativePath(file);
  if (native.empty()) return unusable(L"the file name cannot be represented on this system");

  const auto slash = native.find_last_of('/');
  if (slash != std::string::npos && slash > 0) {
    std::string error;
    if (!platform::makePrivateFolders(native.substr(0, slash), error))
      return unusable(wxString::FromUTF8(error.c_str()));
  }
  switch (platform::pathKind(native)) {
    case platform::EPathKind::eRegularFile:
    case platform::EPathKind::eInaccessible:  // SQLite says why
      break;
    case platform::EPathKind::eMissing:
      // A new store is private to the user; SQLite gives its WAL and shared
      // memory files the same permissions.
      platform::createPrivateFile(native);
      break;
    default:
      return unusable(L"it is not a regular file");
  }

  sqlite3* db = nullptr;
  const int rc =
      sqlite3_open_v2(native.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  m_db = db;
  m_openFile = file;
  if (rc != SQLITE_OK) return unusable(wxString::FromUTF8(db ? sqlite3_errmsg(db) : sqlite3_errstr(rc)));
  sqlite3_extended_result_codes(m_db, 1);
  sqlite3_busy_timeout(m_db, m_busyTimeoutMs);

  // Only reads until the file has proved to be ours (or empty): a file that
  // is not a store must stay exactly as it is.
  std::int64_t objects = 0;
  std::int64_t appId = 0;
  std::int64_t version = 0;
  std::int64_t ourTables = 0;
  {
    auto query = [this](const char* sql, std::int64_t& out) {
      Statement q(*this, sql);
      if (!q) return false;
      const int r = q.step();
      if (r != SQLITE_ROW) return false;
      out = q.integer(0);
      return true;
    };
    if (!query("SELECT count(*) FROM sqlite_schema", objects) || !query("PRAGMA application_id", appId) ||
        !query("PRAGMA user_version", version) ||
        !query("SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name IN ('keys', 'vals')", ourTables)) {
      return unusable(wxString::FromUTF8(sqlite3_errmsg(m_db)));
    }
  }
  const bool fresh = objects == 0 && appId == 0 && version == 0;
  if (!fresh) {
    if (appId != kApplicationId) return unusable(L"it is a database of another kind, not a registry store");
    if (version > kSchemaVersion) {
      return unusable(wxString::Format(
          L"it was written by a newer version of the program (store format %lld; this program knows format %d)",
          static_cast<long long>(version), kSchemaVersion));
    }
    if (version < 1 || ourTables != 2) return unusable(L"its store format is damaged");
    // Migrations from older formats go here as the format evolves.
  }
  m_schemaVersion = static_cast<int>(fresh ? kSchemaVersion : version);

  // WAL lets readers in other processes go on while one writes; NORMAL
  // synchronisation keeps every commit safe from process crashes.
  bool walSet = false;
  {
    // The statement must be reset before unusable() finalises it.
    Statement wal(*this, "PRAGMA journal_mode = WAL");
    walSet = wal && wal.step() == SQLITE_ROW;
  }
  if (!walSet) return unusable(wxString::FromUTF8(sqlite3_errmsg(m_db)));
  if (!exec("PRAGMA synchronous = NORMAL") || !exec("PRAGMA foreign_keys = ON")) {
    return unusable(wxString::FromUTF8(sqlite3_errmsg(m_db)));
  }
  if (fresh && !initialiseSchema()) return unusable(wxString::FromUTF8(sqlite3_errmsg(m_db)));
  invalidateIds();
  mapWalHeader();
  return true;
}

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

bool Store::initialiseSchema() {
  if (!exec("BEGIN IMMEDIATE")) return false;
  // Another process may have created the schema while we waited for the lock.
  std::int64_t objects = 0;
  {
    Statement q(*this, "SELECT count(*) FROM sqlite_schema");
    if (!q || q.step() != SQLITE_ROW) {
      exec("ROLLBACK", false);
      return false;
    }
    objects = q.integer(0);
  }
  if (objects != 0) {
    exec("ROLLBACK", false);
    std::int64_t appId = 0;
    {
      Statement q(*this, "PRAGMA application_id");
      if (q && q.step() == SQLITE_ROW) appId = q.integer(0);
    }
    return appId == kApplicationId;
  }
  static const char* const kSchema =
      "CREATE TABLE keys("
      "  id INTEGER PRIMARY KEY AUTOINCREMENT,"
      "  parent INTEGER REFERENCES keys(id),"
      "  folded TEXT NOT NULL,"
      "  name TEXT NOT NULL);"
      "CREATE UNIQUE INDEX keys_by_parent ON keys(parent, folded);"
      "CREATE TABLE vals("
      "  id INTEGER PRIMARY KEY,"
      "  key INTEGER NOT NULL REFERENCES keys(id),"
      "  folded TEXT NOT NULL,"
      "  name TEXT NOT NULL,"
      "  type INTEGER NOT NULL,"
      "  data BLOB NOT NULL);"
      "CREATE UNIQUE INDEX vals_by_key ON vals(key, folded);"
      "INSERT INTO keys(id, parent, folded, name) VALUES"
      "  (1, NULL, 'hkey_classes_root', 'HKEY_CLASSES_ROOT'),"
      "  (2, NULL, 'hkey_current_user', 'HKEY_CURRENT_USER'),"
      "  (3, NULL, 'hkey_local_machine', 'HKEY_LOCAL_MACHINE'),"
      "  (4, NULL, 'hkey_users', 'HKEY_USERS'),"
      "  (5, NULL, 'hkey_current_config', 'HKEY_CURRENT_CONFIG');"
      "PRAGMA application_id = 1970557511;"
      "PRAGMA user_version = 1;";
  static_assert(kApplicationId == 1970557511 && kSchemaVersion == 1, "keep the schema text in step");
  if (sqlite3_exec(m_db, kSchema, nullptr, nullptr, nullptr) != SQLITE_OK) {
    const std::string err = sqlite3_errmsg(m_db);
    exec("ROLLBACK", false);
    fail(wxString::FromUTF8(err.c_str()));
    return false;
  }
  if (!exec("COMMIT")) {
    exec("ROLLBACK", false);
    return false;
  }
  return true;
}

// --- transactions --------------------------------------------------------------

bool Store::beginTransaction() {
  // The scope counts even when it cannot begin: until it ends, this thread's
  // writes are refused rather than landing one by one outside a transaction.
  ++m_depth;
  if (m_depth > 1) return !m_doomed;
  m_doomed = false;
  if (ensureOpen() && exec("BEGIN IMMEDIATE")) return true;
  const wxString why = lastError();
  m_doomed = true;
  m_doomReason = L"the transaction could not begin";
  fail(why);
  return false;
}

bool Store::commitTransaction() {
  if (m_depth == 0) return false;
  if (--m_depth > 0) return !m_doomed;
  const bool doomed = m_doomed;
  m_doomed = false;
  if (!m_db) return false;
  if (doomed) {
    if (!sqlite3_get_autocommit(m_db)) exec("ROLLBACK", false);
    fail(wxString::Format(L"Registry store \"%s\": the transaction was rolled back", m_openFile));
    return false;
  }
  if (sqlite3_get_autocommit(m_db)) {
    fail(wxString::Format(L"Registry store \"%s\": the transaction was lost", m_openFile));
    invalidateIds();
    return false;
  }
  if (exec("COMMIT")) return true;
  if (!sqlite3_get_autocommit(m_db)) exec("ROLLBACK", false);
  invalidateIds();
  return false;
}

void Store::rollbackTransaction() {
  if (m_depth == 0) return;
  --m_depth;
  if (m_db && !sqlite3_get_autocommit(m_db)) {
    exec("ROLLBACK", false);
    invalidateIds();
  }
  m_doomed = m_depth > 0;
  m_doomReason = L"the transaction was rolled back";
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
      // Half a prefetch is no snapshot: forget what it brought.
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
    if (rc != SQLITE_DONE) return;
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
