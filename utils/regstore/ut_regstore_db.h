#pragma once

// The registry store's database layer: one process-wide SQLite connection to
// the per-user store file, the schema, key resolution and every value and key
// operation the public classes (RegKey, RegConfig, RegTransaction, RegStore)
// are built on. Internal: not exported from the shared library.
//
// Layout. Table `keys` holds one row per key (parent row id, original name,
// folded name; the five roots have the fixed ids 1 to 5), table `vals` one row
// per value (key id, original and folded name, type number, data bytes). The
// row id of a value records the order of its first write, which is the
// enumeration order; an overwrite updates the row in place and so keeps it.
//
// Key ids. A key's id never changes and is never reused for another key
// (AUTOINCREMENT), except after a rollback in this process, which bumps
// epoch() and empties the path cache. Keys are never renamed in place across
// paths: moving a key copies it and deletes the original. A cached id is
// therefore either right or points at a deleted row; operations that find
// nothing check the row and resolve the path again, so keys deleted or
// recreated by other processes are handled without validating every cached id
// on every call.
//
// Durability. WAL journal with synchronous=NORMAL: a committed write is in the
// WAL file when the call returns, so it survives a crash of the process (and
// is seen by every other process at once); after a power failure the last
// commits may be lost but the file stays consistent.
//
// Read cache. Values read are kept in memory per key (complete listings and
// single lookups, absent names included) while no commit has reached the file.
// The test is the WAL-index header in shared memory, which every commit in
// any process rewrites (its change counter and checksums move): SQLite keeps
// the same comparison to notice other connections' commits. Comparing it
// costs a few nanoseconds where a read transaction costs microseconds. The
// header is reached through the VFS's xShmMap on this connection's own
// mapping; when it is not available (no WAL), nothing is cached. Our own
// writes drop the cached key at once; rollbacks drop everything.
//
// Threads. Every operation takes the store's recursive mutex. A transaction
// keeps it locked from begin to commit or rollback (see RegTransaction), so
// other threads wait while this thread's calls go through.

#include "ut_regstore_codec.h"

#include <wx/string.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace ut::regstore {

using KeyId = std::int64_t;

// The schema version this program writes, and the SQLite application id that
// marks a file as a registry store.
inline constexpr int kSchemaVersion = 1;
inline constexpr std::int32_t kApplicationId = 0x75745247;  // "utRG"
// How long a call waits for another process's write lock.
inline constexpr int kBusyTimeoutMs = 10000;
// Windows limits a key name to 255 UTF-16 units.
inline constexpr std::size_t kMaxKeyNameUnits = 255;
// Keys nest at most this many levels below their root, as on Windows. The
// bound keeps every walk over a path (resolving, listing, exporting) small.
inline constexpr std::size_t kMaxKeyDepth = 512;

// The address of a key (root and "\"-separated path) with its resolved row id.
struct KeyRef {
  int root = -1;
  std::wstring path;      // normalised: no leading, trailing or doubled "\"
  std::wstring folded;    // root digit + "\" + case-folded path: the cache key
  bool valid = false;     // root in range, every component a legal key name, depth in bounds
  std::size_t depth = 0;  // the number of components
  KeyId id = 0;           // 0: not resolved
  std::uint64_t epoch = 0;

  static KeyRef make(int root, std::wstring_view path);
  KeyRef child(std::wstring_view subpath) const;
  std::vector<std::wstring> components() const;
  std::vector<std::wstring> foldedComponents() const;
  void forget() { id = 0; }
};

struct ValueRecord {
  std::wstring name;
  unsigned type = 0;
  Bytes data;
};

enum class EStatus { eOk, eNotFound, eError };

class Statement;

class Store {
 public:
  static Store& instance();

  std::recursive_mutex& mutex() { return m_mutex; }

  // --- the file ------------------------------------------------------------
  static wxString defaultFile();
  wxString file();
  bool setFile(const wxString& path);
  bool open();
  void close();
  int schemaVersion();
  // How long a call waits for another process's write lock (kBusyTimeoutMs
  // unless changed; tests shorten it).
  void setBusyTimeout(int ms);
  // Raised when key ids cached outside the store may have become meaningless
  // (rollback, close, another file).
  std::uint64_t epoch() const { return m_epoch; }

  // --- damage ----------------------------------------------------------------
  // Whether this process has found the file damaged: a statement met a page
  // that fails SQLite's checks (cell sizes are checked as pages are read), or
  // checkIntegrity() found problems. What can be read still is; every write is
  // refused, so that the damage does not spread. The mark stays until
  // setFile() chooses a file again.
  bool isDamaged();
  // SQLite's full integrity check of the file. True when it is sound; else
  // false with the problems found (at most 100) in `problems`, the store
  // marked damaged and lastError() set; false with no problems when the check
  // could not run (lastError() says why).
  bool checkIntegrity(std::vector<wxString>& problems);
  // Caps the file at `pages` database pages for this connection (SQLite's
  // max_page_count): a write beyond fails as it does on a full disk. For tests.
  bool setPageLimit(std::int64_t pages);

  // --- transactions (the caller holds mutex() from begin to commit/rollback)
  // Every begin, successful or not, is ended by one commit or rollback.
  bool beginTransaction();
  bool commitTransaction();
  void rollbackTransaction();
  int transactionDepth() const { return m_depth; }
  // Whether the open transaction can no longer commit: a failure of the store
  // (disk full, I/O, damage, permissions) or an inner rollback ended it.
  bool transactionDoomed() const { return m_depth > 0 && m_doomed; }

  // --- keys ----------------------------------------------------------------
  // Resolves (and with create, creates) the key; eNotFound when it is absent.
  EStatus resolve(KeyRef& key, bool create);
  // Like resolve(false), but also proves that a cached id still exists.
  bool exists(KeyRef& key);
  EStatus hasSubKey(KeyRef& key, std::wstring_view subpath);
  EStatus listSubKeys(KeyRef& key, std::vector<std::wstring>& names);
  EStatus countSubKeys(KeyRef& key, bool recursive, std::size_t& count);
  // Deletes the key and its subtree in one step (roots cannot be deleted).
  EStatus deleteKey(KeyRef& key);
  // Copies src's values and subtree into dst (created if missing).
  EStatus copyKey(KeyRef& src, KeyRef& dst);
  // Moves a key to a new name under the same parent: eNotFound when it does
  // not exist, eError when the new name is taken.
  EStatus renameKey(KeyRef& parent, std::wstring_view oldName, std::wstring_view newName);

  // --- values --------------------------------------------------------------
  EStatus readValue(KeyRef& key, std::wstring_view name, unsigned& type, Bytes* data);
  // Hands the value's type and bytes to `visit` (while the store is locked)
  // instead of copying them.
  using ValueVisitor = std::function<void(unsigned type, const std::uint8_t* data, std::size_t size)>;
  EStatus visitValue(KeyRef& key, std::wstring_view name, const ValueVisitor& visit);
  // With createKey the key and its parents are created first.
  EStatus writeValue(KeyRef& key, std::wstring_view name, unsigned type, const void* data, std::size_t size,
                     bool createKey);
  EStatus deleteValue(KeyRef& key, std::wstring_view name);
  EStatus renameValue(KeyRef& key, std::wstring_view oldName, std::wstring_view newName);
  EStatus listValueNames(KeyRef& key, std::vector<std::wstring>& names);
  EStatus listValues(KeyRef& key, std::vector<ValueRecord>& values);
  EStatus countValues(KeyRef& key, bool recursive, std::size_t& count);

  // Sets this thread's last error.
  void fail(const wxString& what);
  void failSql(const wxString& what);

  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

 private:
  friend class Statement;
  friend class WriteScope;
  Store() = default;

  bool ensureOpen();
  bool openConnection();
  bool tryOpenConnection();
  bool initialiseSchema();
  void closeConnection();
  void invalidateIds();
  bool checkWritable();
  bool exec(const char* sql, bool report = true);
  sqlite3_stmt* prepare(const char* sql);
  bool noteFailure(int rc, const wxString& what);
  // noteFailure() for damage only: for statements whose other failures cost
  // nothing but a missed prefetch.
  void noteDamage(int rc, const wxString& what);
  // The connection's last error as users read it: "disk full", "permission
  // denied" or "the file is damaged" where SQLite's code says so, with
  // SQLite's own text.
  wxString failureReason() const;
  EStatus sqlError(int rc, const wxString& what) {
    noteFailure(rc, what);
    return EStatus::eError;
  }

  EStatus resolveLocked(KeyRef& key, bool create);
  bool rowExists(KeyId id);
  bool keyKnownToExist(KeyId id);
  EStatus findChild(KeyId parent, const std::string& folded, KeyId& id);
  // Runs op(id); when it reports eNotFound and the id turns out to be stale,
  // resolves the key again and retries once.
  template <class Op>
  EStatus withKey(KeyRef& key, bool create, Op&& op);

  std::recursive_mutex m_mutex;
  sqlite3* m_db = nullptr;
  wxString m_fileOverride;  // setFile(); empty: the default
  wxString m_openFile;      // the file m_db has open
  std::vector<std::pair<const char*, sqlite3_stmt*>> m_statements;
  std::unordered_map<std::wstring, KeyId> m_pathCache;  // folded path -> id

  struct CachedValue {
    std::wstring name;
    unsigned type = 0;
    Bytes data;
    bool present = false;
  };
  struct KeyCache {
    bool complete = false;                                 // every value of the key is in `values`
    bool exists = false;                                   // the key's row was seen under this header
    std::unordered_map<std::wstring, CachedValue> values;  // by folded name
    std::vector<std::wstring> order;                       // folded names, when complete
    bool subkeysComplete = false;
    std::vector<std::wstring> subkeys;  // original names, sorted as listed
  };
  static constexpr std::size_t kWalHeaderBytes = 96;
  // Brings the cache in line with the file; false when there is no cache.
  bool syncCache();
  bool headerUnchanged() const;
  void readWalHeader(unsigned char* out) const;
  void dropCache();
  void dropCachedKey(KeyId id);
  KeyCache* cachedKey(KeyId id);
  void noteCached(std::size_t values);
  void mapWalHeader();
  EStatus loadKeyValues(KeyId id, KeyCache& into);
  // Fills the cache for the children of a key being listed: their values and
  // their own subkey listings, one query each, since a walk of the tree reads
  // them next.
  void prefetchChildren(KeyId parent, const std::wstring& parentFolded,
                        const std::vector<std::pair<KeyId, std::wstring>>& children);
  const volatile unsigned char* m_walHeader = nullptr;
  unsigned char m_savedHeader[kWalHeaderBytes] = {};
  std::unordered_map<KeyId, KeyCache> m_valueCache;
  std::size_t m_cachedValues = 0;
  std::unordered_set<std::wstring> m_missingPaths;  // folded paths found absent
  std::uint64_t m_epoch = 1;
  int m_depth = 0;
  bool m_doomed = false;
  wxString m_doomReason;
  bool m_damaged = false;
  int m_schemaVersion = 0;
  int m_busyTimeoutMs = kBusyTimeoutMs;
  bool m_openWasBusy = false;  // the last open attempt failed on another process's lock
};

// This thread's last store error.
wxString lastError();
void clearLastError();

}  // namespace ut::regstore
