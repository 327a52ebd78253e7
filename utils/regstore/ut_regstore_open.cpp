// Opening the store: the file, the connection and its schema, transactions
// and the per-thread last error.

#include "ut_regstore_db.h"
#include "ut_regstore_sql.h"

#include "ut_platform.h"

#include <ut/ut_regstore.h>

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace ut::regstore {

namespace {

thread_local wxString t_lastError;

std::string nativePath(const wxString& file) {
  const wxCharBuffer buf = file.fn_str();
  return buf.data() ? std::string(buf.data()) : std::string();
}

// What every message about a damaged store ends with.
constexpr const wchar_t* kNoMoreWrites = L"nothing more is written to it until it is restored";

// Results that say the file itself is damaged.
bool isDamage(int rc) { return (rc & 0xFF) == SQLITE_CORRUPT || (rc & 0xFF) == SQLITE_NOTADB; }

// Failures of the store itself rather than of one request: a transaction that
// meets one cannot be completed.
bool isStoreFailure(int rc) {
  switch (rc & 0xFF) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_CANTOPEN:
    case SQLITE_NOMEM:
      return true;
    default:
      return false;
  }
}

}  // namespace

wxString lastError() { return t_lastError; }
void clearLastError() { t_lastError.clear(); }

// --- the store ---------------------------------------------------------------

Store& Store::instance() {
  static Store store;
  return store;
}

Store::~Store() { closeConnection(); }

void Store::fail(const wxString& what) { t_lastError = what; }

wxString Store::failureReason() const {
  if (!m_db) return L"store not open";
  const wxString message = wxString::FromUTF8(sqlite3_errmsg(m_db));
  wxString plain;
  switch (sqlite3_errcode(m_db)) {
    case SQLITE_FULL:
      plain = L"disk full";
      break;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      plain = L"the file is damaged";
      break;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      plain = L"permission denied";
      break;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      plain = wxString::FromUTF8(platform::describeSystemError(sqlite3_system_errno(m_db)).c_str());
      break;
    default:
      break;
  }
  if (plain.empty() || plain == message) return message;
  return plain + L" (" + message + L")";
}

void Store::failSql(const wxString& what) {
  if (m_damaged) {
    fail(wxString::Format(L"Registry store \"%s\" is damaged: %s failed: %s; %s", m_openFile, what, failureReason(),
                          kNoMoreWrites));
    return;
  }
  fail(wxString::Format(L"Registry store \"%s\": %s failed: %s", m_openFile, what, failureReason()));
}

bool Store::noteFailure(int rc, const wxString& what) {
  if (isDamage(rc)) m_damaged = true;
  failSql(what);
  // SQLite rolls the whole transaction back after some errors (I/O, full
  // disk), and after the others it could only commit part of what the caller
  // asked for: either way the caller's transaction must fail.
  if (m_depth > 0 && m_db && (sqlite3_get_autocommit(m_db) || isStoreFailure(rc)) && !m_doomed) {
    m_doomed = true;
    m_doomReason = L"the transaction was rolled back after an error (" + failureReason() + L")";
    if (sqlite3_get_autocommit(m_db)) invalidateIds();
  }
  return false;
}

void Store::noteDamage(int rc, const wxString& what) {
  if (isDamage(rc)) noteFailure(rc, what);
}

bool Store::isDamaged() {
  std::lock_guard lock(m_mutex);
  return m_damaged;
}

bool Store::checkIntegrity(std::vector<wxString>& problems) {
  std::lock_guard lock(m_mutex);
  problems.clear();
  if (!ensureOpen()) return false;
  int rc;
  {
    // SQLite stops after the first 100 problems.
    Statement q(*this, "PRAGMA integrity_check(100)");
    if (!q) return false;
    while ((rc = q.step()) == SQLITE_ROW) {
      if (q.text(0) != "ok") problems.push_back(q.name(0));
    }
  }
  if (rc != SQLITE_DONE) {
    // A page too damaged to walk is damage too.
    noteFailure(rc, L"checking the file");
    if (m_damaged && problems.empty()) problems.push_back(failureReason());
    return false;
  }
  if (problems.empty()) return true;
  m_damaged = true;
  fail(wxString::Format(L"Registry store \"%s\" is damaged: %zu problems found; %s", m_openFile, problems.size(),
                        kNoMoreWrites));
  return false;
}

bool Store::setPageLimit(std::int64_t pages) {
  std::lock_guard lock(m_mutex);
  if (!ensureOpen()) return false;
  const std::string sql = "PRAGMA max_page_count = " + std::to_string(pages);
  return exec(sql.c_str(), false);
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
  m_damaged = false;
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
  if (m_damaged) {
    fail(wxString::Format(L"Registry store \"%s\" is damaged; %s", m_openFile, kNoMoreWrites));
    return false;
  }
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
    case platform::EPathKind::eMissing: {
      // A new store is private to the user; SQLite gives its WAL and shared
      // memory files the same permissions.
      int error = 0;
      if (!platform::createPrivateFile(native, &error) && error != EEXIST) {
        return unusable(wxString::FromUTF8(platform::describeSystemError(error).c_str()) +
                        L": the file cannot be created in its folder");
      }
      break;
    }
    default:
      return unusable(L"it is not a regular file");
  }

  sqlite3* db = nullptr;
  const int rc =
      sqlite3_open_v2(native.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  m_db = db;
  m_openFile = file;
  if (rc != SQLITE_OK) return unusable(db ? failureReason() : wxString::FromUTF8(sqlite3_errstr(rc)));
  sqlite3_extended_result_codes(m_db, 1);
  sqlite3_busy_timeout(m_db, m_busyTimeoutMs);
  // Pages whose cells do not fit them are reported as damage when read,
  // rather than read as if the rows on them were missing.
  sqlite3_exec(m_db, "PRAGMA cell_size_check = ON", nullptr, nullptr, nullptr);

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
      return unusable(failureReason());
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
  if (!walSet) return unusable(failureReason());
  if (!exec("PRAGMA synchronous = NORMAL") || !exec("PRAGMA foreign_keys = ON")) return unusable(failureReason());
  if (fresh && !initialiseSchema()) return unusable(failureReason());
  invalidateIds();
  mapWalHeader();
  return true;
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

}  // namespace ut::regstore
