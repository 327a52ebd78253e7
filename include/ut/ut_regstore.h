#pragma once

// The per-user registry store: keys and typed values with the semantics of the
// Windows registry, persisted in one SQLite database file per user and shared
// safely by every process of the application.
//
//  - Five roots (ERootKey). Key and value names keep their letter case and are
//    compared case-insensitively over all of Unicode (full case folding).
//  - The empty value name is the key's default value.
//  - Values carry a registry type number (ERegType, the Windows numbers) and
//    their data in the byte form Windows uses: strings as UTF-16LE with a
//    terminating NUL, REG_MULTI_SZ as NUL-separated strings ending in an empty
//    one, REG_DWORD as 4 and REG_QWORD as 8 little-endian bytes.
//  - A write outside a transaction is durable and visible to other processes
//    when the call returns; RegTransaction groups writes so that they land
//    completely or not at all. The file is a SQLite database in WAL mode with
//    synchronous=NORMAL: what a call has written survives a crash of the
//    process at once, and the file stays consistent after a power failure
//    (which may lose the last commits).
//  - Reads are served from a per-process cache that any commit to the file,
//    from any process, invalidates; a value written elsewhere is read back at
//    once.
//  - Thread-safe: one store per process, its calls serialised.
//
// RegKey plays the role of wxRegKey and RegConfig that of wxRegConfig.

#include <ut/ut_export.h>

#include <wx/buffer.h>
#include <wx/config.h>
#include <wx/string.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace ut {

// The company key: the per-user settings live under
// HKEY_CURRENT_USER\Software\<kCompanyKey>, and the default store file in a
// folder of that name.
inline constexpr const wchar_t* kCompanyKey = L"TVCAD";
// The company's key under HKEY_CURRENT_USER: "Software\TVCAD".
inline constexpr const wchar_t* kCompanyRegistryKey = L"Software\\TVCAD";

// Root keys, numbered as the registry-export file names them.
enum ERootKey : int {
  eClassesRoot = 0,    // "HKEY_CLASSES_ROOT"
  eCurrentUser = 1,    // "HKEY_CURRENT_USER"
  eLocalMachine = 2,   // "HKEY_LOCAL_MACHINE"
  eUsers = 3,          // "HKEY_USERS"
  eCurrentConfig = 4,  // "HKEY_CURRENT_CONFIG"
};

// Access requested when opening a key; the values are the Windows access
// masks (KEY_READ and KEY_ALL_ACCESS).
enum EAccessMode : unsigned {
  eRead = 0x20019,
  eWrite = 0xF003F,
};

// Registry value types with their Windows numbers. The store keeps any type
// number it is given; these are the ones the library interprets.
enum ERegType : unsigned {
  eRegNone = 0,      // REG_NONE
  eRegSz = 1,        // REG_SZ
  eRegExpandSz = 2,  // REG_EXPAND_SZ
  eRegBinary = 3,    // REG_BINARY
  eRegDword = 4,     // REG_DWORD (little-endian)
  eRegMultiSz = 7,   // REG_MULTI_SZ
  eRegQword = 11,    // REG_QWORD (little-endian)
};

// The registry-export name of a root ("HKEY_CURRENT_USER"), empty for a value
// that is not a root.
UT_EXPORT wxString rootKeyName(int root);
// Parses a root name, long ("HKEY_CURRENT_USER") or short ("HKCU"), ignoring
// case; false when it names no root.
UT_EXPORT bool parseRootKeyName(const wxString& name, ERootKey& root);

// The process-wide store file. The default is "$UT_REGISTRY_FILE" when that
// environment variable is set, else "<XDG_CONFIG_HOME or ~/.config>/TVCAD/
// registry.db" (missing folders are created, private to the user). The store
// opens lazily on first use and tries again on each use while it cannot. A
// file that exists but is not a valid store (not a database, a database of
// another kind, a damaged or newer store format) is never replaced, changed or
// deleted: every operation fails and lastError() names the file and the
// reason, as in "Registry store "/path/x.db" cannot be used: file is not a
// database".
class UT_EXPORT RegStore {
 public:
  // Where the store is (or will be) kept.
  static wxString file();
  // The default location, ignoring any setFile() call.
  static wxString defaultFile();
  // Switches the process to another store file (an empty name returns to the
  // default). Closes the current one; the new one opens now. False, with
  // lastError() set, when it cannot be opened; the choice stays in force.
  static bool setFile(const wxString& path);
  // Opens the store now if it is not open; false with lastError() on failure.
  static bool open();
  // Closes the store (it reopens on next use).
  static void close();
  // The last failure of this thread's store operations (the file, I/O,
  // locking, a refused write), empty if none since the last successful
  // open() or setFile(). A missing key or value is no failure of the store.
  static wxString lastError();
  // The schema version recorded in the open store file (0 if not open).
  static int schemaVersion();
  // Whether this process has found the store file damaged: an operation met
  // a database page that fails its consistency checks, or check() found
  // problems. A damaged store answers what it still can, refuses every write
  // (lastError() says why) so that the damage does not spread, and stays
  // marked until setFile() is called. Restore it from a registry export.
  static bool isDamaged();
  // Checks the whole store file. True when it is sound; false when it is
  // damaged, with what was found (at most 100 lines) in `problems` when given
  // and the store marked damaged; false with no problems when it could not be
  // checked (the file cannot be opened: lastError() says why).
  static bool check(std::vector<wxString>* problems = nullptr);
};

// Makes every store write between its construction and commit() one atomic
// change: commit() makes it durable and visible to other processes; a scope
// left without commit() (or a process that dies inside it) leaves the store as
// it was. Scopes nest: only the outermost commit reaches the file, and an inner
// scope that rolls back makes the outer commit fail. One thread at a time may
// hold a transaction; other threads' store calls wait for it.
class UT_EXPORT RegTransaction {
 public:
  RegTransaction();
  ~RegTransaction();
  RegTransaction(const RegTransaction&) = delete;
  RegTransaction& operator=(const RegTransaction&) = delete;

  // False when the transaction could not begin (store unavailable, or another
  // process held the write lock past the busy timeout of 10 s), or when a
  // failure of the store inside it (disk full, I/O, permissions, damage) or
  // an inner scope's rollback means its commit will fail. Such a scope
  // refuses this thread's writes until it ends, so that nothing lands outside
  // the transaction the caller asked for.
  bool isActive() const;
  bool commit();
  void rollback();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// One key of the store, addressed by root and path ("Software\\TVCAD\\X", "\"
// between levels, no leading or trailing "\"). A key name is 1 to 255 UTF-16
// units and cannot hold "\"; a path with an empty level addresses nothing.
// Constructing a RegKey touches nothing; open() or create() binds it to an
// existing key, and every other operation except exists() fails while it is
// not open. All operations answer false (or an empty result) on failure and
// never throw. If the key is deleted (by any process) while open, operations
// fail; if it is created again under the same path, the object follows it.
class UT_EXPORT RegKey {
 public:
  // Addresses no key: every operation fails; root() answers -1.
  RegKey();
  RegKey(ERootKey root, const wxString& path);
  // A subkey of another key (need not be open).
  RegKey(const RegKey& parent, const wxString& subkey);
  RegKey(const RegKey& other);
  RegKey& operator=(const RegKey& other);
  RegKey(RegKey&& other) noexcept;
  RegKey& operator=(RegKey&& other) noexcept;
  ~RegKey();

  void setName(ERootKey root, const wxString& path);
  ERootKey root() const;
  // The path below the root, as given (normalised: no leading or trailing "\").
  wxString path() const;
  // The last component of the path ("" for a root).
  wxString name() const;
  // "HKEY_CURRENT_USER\Software\TVCAD".
  wxString fullName() const;

  bool exists() const;
  bool isOpen() const;
  // Opens an existing key. With eRead every change is refused.
  bool open(EAccessMode mode = eWrite);
  // Opens the key, creating it and any missing parents first.
  bool create();
  bool close();

  // Typed access. String reads accept REG_SZ and REG_EXPAND_SZ (not expanded),
  // dropping the terminating NUL(s); data without a terminator or with an odd
  // byte count is read as far as it goes. Number reads accept REG_DWORD (as a
  // signed 32-bit number, as a long is on Windows: 0xFFFFFFFF reads -1),
  // REG_QWORD, and a REG_SZ holding a decimal number. The binary read hands
  // back the raw bytes of a value of any type.
  bool hasValue(const wxString& name) const;
  bool hasSubKey(const wxString& name) const;
  // eRegNone when the value does not exist; use hasValue() to tell apart.
  ERegType valueType(const wxString& name) const;
  bool queryValue(const wxString& name, wxString& value) const;
  bool queryValue(const wxString& name, long& value) const;
  bool queryValue64(const wxString& name, std::int64_t& value) const;
  bool queryValue(const wxString& name, wxMemoryBuffer& value) const;
  // REG_MULTI_SZ as a list of strings (up to the first empty one).
  bool queryMultiString(const wxString& name, std::vector<wxString>& value) const;
  // Any value, as its type number and raw bytes.
  bool queryRawValue(const wxString& name, unsigned& type, std::vector<std::uint8_t>& data) const;

  bool setValue(const wxString& name, const wxString& value);         // REG_SZ
  bool setValue(const wxString& name, long value);                    // REG_DWORD (low 32 bits)
  bool setValue64(const wxString& name, std::int64_t value);          // REG_QWORD
  bool setValue(const wxString& name, const wxMemoryBuffer& value);   // REG_BINARY
  bool setExpandString(const wxString& name, const wxString& value);  // REG_EXPAND_SZ
  // REG_MULTI_SZ; false for a list holding an empty string or a NUL, which the
  // type cannot represent.
  bool setMultiString(const wxString& name, const std::vector<wxString>& value);
  bool setRawValue(const wxString& name, unsigned type, const void* data, std::size_t size);

  bool deleteValue(const wxString& name);
  // Deletes a subkey (a relative path) with its whole subtree, atomically.
  bool deleteKey(const wxString& subkey);
  // Deletes this key with its whole subtree; the object is closed afterwards.
  // A root cannot be deleted.
  bool deleteSelf();

  // Names in enumeration order: subkeys sorted case-insensitively, values in
  // the order they were first written.
  bool getSubKeys(std::vector<wxString>& names) const;
  bool getValueNames(std::vector<wxString>& names) const;
  std::size_t subKeyCount() const;
  std::size_t valueCount() const;

  // Copies this key's values and subtree into dest (created if missing, and
  // opened), overwriting values of the same name; one transaction. Copying
  // into the key's own subtree is refused; onto itself it changes nothing.
  bool copy(RegKey& dest) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

// A wxConfigBase over the store, rooted at HKEY_CURRENT_USER\Software\<company
// key> (or another key below HKEY_CURRENT_USER, given with "\" or "/"). Paths
// use "/" as every wxConfigBase does (absolute, relative, "." and ".."); they
// map to "\" in the store, so a group name cannot hold "\".
//
//  - GetEntryType(): Type_Integer for REG_DWORD and REG_QWORD, Type_String for
//    REG_SZ and REG_EXPAND_SZ, Type_Unknown for any other type.
//  - Numbers are written as REG_DWORD when they fit 32 bits (signed or
//    unsigned), else as REG_QWORD, so nothing is cut off although a long has
//    64 bits here. A REG_DWORD reads back as a signed 32-bit number. Reading a
//    number from a REG_SZ holding one works, and a number read as a string
//    gives its decimal text.
//  - Writes are in the store when they return, or belong to the calling
//    thread's RegTransaction: Flush() has nothing to do.
//  - DeleteEntry() with deleteGroupIfEmpty deletes the group it emptied (never
//    the root) and moves the current path to its parent, as wx does;
//    DeleteGroup() answers false for a group that does not exist; DeleteAll()
//    deletes the root key with everything under it.
//  - Environment variables in strings are expanded on reading unless
//    SetExpandEnvVars(false) is called (wxConfigBase's default).
class UT_EXPORT RegConfig : public wxConfigBase {
 public:
  explicit RegConfig(const wxString& rootKeyPath = wxString(L"Software\\") + kCompanyKey);
  ~RegConfig() override;

  // Installs a RegConfig as the application's wxConfigBase unless the host has
  // already set one; returns the object in force. The installed object belongs
  // to wx's global slot: the application deletes it with
  // delete wxConfigBase::Set(nullptr).
  static wxConfigBase* installAsDefault();

  void SetPath(const wxString& path) override;
  const wxString& GetPath() const override;

  bool GetFirstGroup(wxString& str, long& index) const override;
  bool GetNextGroup(wxString& str, long& index) const override;
  bool GetFirstEntry(wxString& str, long& index) const override;
  bool GetNextEntry(wxString& str, long& index) const override;
  size_t GetNumberOfEntries(bool recursive = false) const override;
  size_t GetNumberOfGroups(bool recursive = false) const override;
  bool HasGroup(const wxString& name) const override;
  bool HasEntry(const wxString& name) const override;
  EntryType GetEntryType(const wxString& name) const override;

  bool Flush(bool currentOnly = false) override;
  bool RenameEntry(const wxString& oldName, const wxString& newName) override;
  bool RenameGroup(const wxString& oldName, const wxString& newName) override;
  bool DeleteEntry(const wxString& key, bool deleteGroupIfEmpty = true) override;
  bool DeleteGroup(const wxString& key) override;
  bool DeleteAll() override;

 protected:
  bool DoReadString(const wxString& key, wxString* value) const override;
  bool DoReadLong(const wxString& key, long* value) const override;
  bool DoReadLongLong(const wxString& key, wxLongLong_t* value) const override;
  bool DoReadBinary(const wxString& key, wxMemoryBuffer* buf) const override;
  bool DoWriteString(const wxString& key, const wxString& value) override;
  bool DoWriteLong(const wxString& key, long value) override;
  bool DoWriteLongLong(const wxString& key, wxLongLong_t value) override;
  bool DoWriteBinary(const wxString& key, const wxMemoryBuffer& buf) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace ut
