#include <ut/ut_regstore.h>

#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

#include <climits>
#include <memory>
#include <optional>
#include <unordered_map>

namespace ut {

using regstore::Bytes;
using regstore::EStatus;
using regstore::KeyRef;
using regstore::Store;

namespace {

// Groups whose keys and listings are remembered per object; beyond this the
// memory is dropped and rebuilt on demand.
constexpr std::size_t kMaxRemembered = 1024;

std::wstring wide(const wxString& s) { return s.ToStdWstring(); }

std::optional<std::int64_t> numberOf(unsigned type, const std::uint8_t* data, std::size_t size) {
  switch (type) {
    case eRegDword:
      if (const auto v = regstore::decodeDword(data, size)) {
        // 32 bits, signed as a long is on Windows: -1 written reads back -1.
        return static_cast<std::int32_t>(*v);
      }
      return std::nullopt;
    case eRegQword:
      if (const auto v = regstore::decodeQword(data, size)) return static_cast<std::int64_t>(*v);
      return std::nullopt;
    case eRegSz:
    case eRegExpandSz:
      return regstore::parseDecimal(regstore::decodeRegString(data, size));
    default:
      return std::nullopt;
  }
}

}  // namespace

struct RegConfig::Impl {
  std::wstring rootPath;  // below HKEY_CURRENT_USER
  wxString path;          // "" at the root, else "/a/b"
  std::shared_ptr<KeyRef> key;
  std::unordered_map<std::wstring, std::shared_ptr<KeyRef>> keys;
  std::unordered_map<std::wstring, std::vector<std::wstring>> groupLists;
  std::unordered_map<std::wstring, std::vector<std::wstring>> entryLists;

  // The store key of a wx path (its components joined below the root).
  std::shared_ptr<KeyRef> keyFor(const wxString& wxPath, const std::vector<wxString>& components) {
    const std::wstring cacheKey = wide(wxPath);
    if (const auto it = keys.find(cacheKey); it != keys.end()) return it->second;
    std::wstring storePath = rootPath;
    bool valid = true;
    for (const auto& c : components) {
      storePath += L'\\';
      storePath += wide(c);
      // A group name holding "\" would address another key.
      if (c.Find(L'\\') != wxNOT_FOUND) valid = false;
    }
    auto ref = std::make_shared<KeyRef>(KeyRef::make(eCurrentUser, storePath));
    if (!valid) ref->valid = false;
    if (keys.size() >= kMaxRemembered) keys.clear();
    keys.emplace(cacheKey, ref);
    return ref;
  }

  KeyRef& current() { return *key; }
};

RegConfig::RegConfig(const wxString& rootKeyPath)
    : wxConfigBase(wxString(), wxString(), wxString(), wxString(), 0), m_impl(std::make_unique<Impl>()) {
  wxString root = rootKeyPath;
  root.Replace(L"/", L"\\");
  m_impl->rootPath = KeyRef::make(eCurrentUser, wide(root)).path;
  m_impl->key = m_impl->keyFor(wxString(), {});
}

RegConfig::~RegConfig() = default;

wxConfigBase* RegConfig::installAsDefault() {
  if (wxConfigBase* existing = wxConfigBase::Get(false)) return existing;
  // wxConfigBase::Set takes ownership; the application deletes the object
  // with delete wxConfigBase::Set(nullptr) at exit.
  wxConfigBase::Set(std::make_unique<RegConfig>().release());
  return wxConfigBase::Get(false);
}

void RegConfig::SetPath(const wxString& path) {
  std::vector<wxString> components;
  // As in wx, the empty path is the root; others are relative unless they
  // start with "/".
  if (!path.empty() && !path.StartsWith(L"/")) {
    for (const auto& c : wxSplit(m_impl->path, L'/', L'\0')) {
      if (!c.empty()) components.push_back(c);
    }
  }
  for (const auto& c : wxSplit(path, L'/', L'\0')) {
    if (c.empty() || c == L".") continue;
    if (c == L"..") {
      if (!components.empty()) components.pop_back();
      continue;
    }
    components.push_back(c);
  }
  wxString normalised;
  for (const auto& c : components) normalised << L"/" << c;
  if (normalised == m_impl->path) return;
  m_impl->path = normalised;
  m_impl->key = m_impl->keyFor(normalised, components);
}

const wxString& RegConfig::GetPath() const { return m_impl->path; }

// --- enumeration -----------------------------------------------------------------

bool RegConfig::GetFirstGroup(wxString& str, long& index) const {
  if (m_impl->groupLists.size() >= kMaxRemembered) m_impl->groupLists.clear();
  auto& list = m_impl->groupLists[wide(m_impl->path)];
  list.clear();
  Store::instance().listSubKeys(m_impl->current(), list);
  index = 0;
  return GetNextGroup(str, index);
}

bool RegConfig::GetNextGroup(wxString& str, long& index) const {
  // Each group keeps the listing its last GetFirstGroup() took, so nested
  // enumerations of other groups do not disturb it.
  auto it = m_impl->groupLists.find(wide(m_impl->path));
  if (it == m_impl->groupLists.end()) {
    it = m_impl->groupLists.emplace(wide(m_impl->path), std::vector<std::wstring>()).first;
    Store::instance().listSubKeys(m_impl->current(), it->second);
  }
  if (index < 0 || static_cast<std::size_t>(index) >= it->second.size()) return false;
  str = it->second[static_cast<std::size_t>(index++)];
  return true;
}

bool RegConfig::GetFirstEntry(wxString& str, long& index) const {
  if (m_impl->entryLists.size() >= kMaxRemembered) m_impl->entryLists.clear();
  auto& list = m_impl->entryLists[wide(m_impl->path)];
  list.clear();
  Store::instance().listValueNames(m_impl->current(), list);
  index = 0;
  return GetNextEntry(str, index);
}

bool RegConfig::GetNextEntry(wxString& str, long& index) const {
  auto it = m_impl->entryLists.find(wide(m_impl->path));
  if (it == m_impl->entryLists.end()) {
    it = m_impl->entryLists.emplace(wide(m_impl->path), std::vector<std::wstring>()).first;
    Store::instance().listValueNames(m_impl->current(), it->second);
  }
  if (index < 0 || static_cast<std::size_t>(index) >= it->second.size()) return false;
  str = it->second[static_cast<std::size_t>(index++)];
  return true;
}

size_t RegConfig::GetNumberOfEntries(bool recursive) const {
  std::size_t n = 0;
  return Store::instance().countValues(m_impl->current(), recursive, n) == EStatus::eOk ? n : 0;
}

size_t RegConfig::GetNumberOfGroups(bool recursive) const {
  std::size_t n = 0;
  return Store::instance().countSubKeys(m_impl->current(), recursive, n) == EStatus::eOk ? n : 0;
}

bool RegConfig::HasGroup(const wxString& name) const {
  wxConfigPathChanger changer(this, name);
  // The empty name is the group the path leads to; the root always exists
  // for wx (its path changer relies on that).
  if (changer.Name().empty()) return m_impl->path.empty() || Store::instance().exists(m_impl->current());
  return Store::instance().hasSubKey(m_impl->current(), wide(changer.Name())) == EStatus::eOk;
}

bool RegConfig::HasEntry(const wxString& name) const {
  wxConfigPathChanger changer(this, name);
  unsigned type = 0;
  return Store::instance().readValue(m_impl->current(), wide(changer.Name()), type, nullptr) == EStatus::eOk;
}

wxConfigBase::EntryType RegConfig::GetEntryType(const wxString& name) const {
  wxConfigPathChanger changer(this, name);
  unsigned type = 0;
  if (Store::instance().readValue(m_impl->current(), wide(changer.Name()), type, nullptr) != EStatus::eOk) {
    return Type_Unknown;
  }
  switch (type) {
    case eRegSz:
    case eRegExpandSz:
      return Type_String;
    case eRegDword:
    case eRegQword:
      return Type_Integer;
    default:
      return Type_Unknown;
  }
}

// --- reading -----------------------------------------------------------------------

bool RegConfig::DoReadString(const wxString& key, wxString* value) const {
  wxConfigPathChanger changer(this, key);
  bool ok = false;
  Store::instance().visitValue(m_impl->current(), wide(changer.Name()),
                               [&](unsigned type, const std::uint8_t* data, std::size_t size) {
                                 if (type == eRegSz || type == eRegExpandSz) {
                                   *value = regstore::decodeRegString(data, size);
                                   ok = true;
                                 } else if (type == eRegDword || type == eRegQword) {
                                   if (const auto n = numberOf(type, data, size)) {
                                     *value = wxString::Format(L"%lld", static_cast<long long>(*n));
                                     ok = true;
                                   }
                                 }
                               });
  return ok;
}

bool RegConfig::DoReadLong(const wxString& key, long* value) const {
  wxLongLong_t v = 0;
  if (!DoReadLongLong(key, &v) || v < LONG_MIN || v > LONG_MAX) return false;
  *value = static_cast<long>(v);
  return true;
}

bool RegConfig::DoReadLongLong(const wxString& key, wxLongLong_t* value) const {
  wxConfigPathChanger changer(this, key);
  std::optional<std::int64_t> n;
  Store::instance().visitValue(
      m_impl->current(), wide(changer.Name()),
      [&](unsigned type, const std::uint8_t* data, std::size_t size) { n = numberOf(type, data, size); });
  if (!n) return false;
  *value = static_cast<wxLongLong_t>(*n);
  return true;
}

bool RegConfig::DoReadBinary(const wxString& key, wxMemoryBuffer* buf) const {
  wxConfigPathChanger changer(this, key);
  unsigned type = 0;
  Bytes data;
  if (Store::instance().readValue(m_impl->current(), wide(changer.Name()), type, &data) != EStatus::eOk) return false;
  buf->Clear();
  if (!data.empty()) buf->AppendData(data.data(), data.size());
  return true;
}

// --- writing -------------------------------------------------------------------------

bool RegConfig::DoWriteString(const wxString& key, const wxString& value) {
  wxConfigPathChanger changer(this, key);
  const Bytes data = regstore::encodeUtf16le(wide(value));
  return Store::instance().writeValue(m_impl->current(), wide(changer.Name()), eRegSz, data.data(), data.size(),
                                      true) == EStatus::eOk;
}

bool RegConfig::DoWriteLong(const wxString& key, long value) {
  // A long holds 64 bits here but 32 on Windows: numbers that fit 32 bits
  // (signed or unsigned) are REG_DWORD as there, larger ones REG_QWORD so that
  // nothing is cut off.
  if (value < INT32_MIN || value > static_cast<long>(UINT32_MAX)) return DoWriteLongLong(key, value);
  wxConfigPathChanger changer(this, key);
  const Bytes data = regstore::encodeDword(static_cast<std::uint32_t>(value));
  return Store::instance().writeValue(m_impl->current(), wide(changer.Name()), eRegDword, data.data(), data.size(),
                                      true) == EStatus::eOk;
}

bool RegConfig::DoWriteLongLong(const wxString& key, wxLongLong_t value) {
  wxConfigPathChanger changer(this, key);
  const Bytes data = regstore::encodeQword(static_cast<std::uint64_t>(value));
  return Store::instance().writeValue(m_impl->current(), wide(changer.Name()), eRegQword, data.data(), data.size(),
                                      true) == EStatus::eOk;
}

bool RegConfig::DoWriteBinary(const wxString& key, const wxMemoryBuffer& buf) {
  wxConfigPathChanger changer(this, key);
  return Store::instance().writeValue(m_impl->current(), wide(changer.Name()), eRegBinary, buf.GetData(),
                                      buf.GetDataLen(), true) == EStatus::eOk;
}

bool RegConfig::Flush(bool /*currentOnly*/) {
  // Every write is in the store when it returns (or in the caller's
  // RegTransaction, which its commit() completes): nothing is buffered here.
  return true;
}

// --- renaming and deleting ------------------------------------------------------------

bool RegConfig::RenameEntry(const wxString& oldName, const wxString& newName) {
  if (oldName.Find(L'/') != wxNOT_FOUND || newName.Find(L'/') != wxNOT_FOUND) return false;
  return Store::instance().renameValue(m_impl->current(), wide(oldName), wide(newName)) == EStatus::eOk;
}

bool RegConfig::RenameGroup(const wxString& oldName, const wxString& newName) {
  if (oldName.Find(L'/') != wxNOT_FOUND || newName.Find(L'/') != wxNOT_FOUND) return false;
  return Store::instance().renameKey(m_impl->current(), wide(oldName), wide(newName)) == EStatus::eOk;
}

bool RegConfig::DeleteEntry(const wxString& key, bool deleteGroupIfEmpty) {
  wxConfigPathChanger changer(this, key);
  Store& store = Store::instance();
  if (store.deleteValue(m_impl->current(), wide(changer.Name())) != EStatus::eOk) return false;
  if (deleteGroupIfEmpty && !m_impl->path.empty()) {
    std::size_t values = 1;
    std::size_t groups = 1;
    if (store.countValues(m_impl->current(), false, values) == EStatus::eOk && values == 0 &&
        store.countSubKeys(m_impl->current(), false, groups) == EStatus::eOk && groups == 0) {
      // As wx does, the emptied group goes and the path moves up to its parent.
      const std::shared_ptr<KeyRef> group = m_impl->key;
      SetPath(L"..");
      store.deleteKey(*group);
    }
  }
  return true;
}

bool RegConfig::DeleteGroup(const wxString& key) {
  wxConfigPathChanger changer(this, key);
  if (changer.Name().empty()) return false;
  KeyRef group = m_impl->current().child(wide(changer.Name()));
  const bool deleted = group.valid && Store::instance().deleteKey(group) == EStatus::eOk;
  // A current path inside the deleted group moves to its deepest remaining
  // part.
  changer.UpdateIfDeleted();
  return deleted;
}

bool RegConfig::DeleteAll() {
  Store& store = Store::instance();
  KeyRef root = KeyRef::make(eCurrentUser, m_impl->rootPath);
  SetPath(L"/");
  m_impl->groupLists.clear();
  m_impl->entryLists.clear();
  if (!root.path.empty()) {
    const EStatus s = store.deleteKey(root);
    return s == EStatus::eOk || (s == EStatus::eNotFound && !store.exists(root));
  }
  // Rooted at the hive itself, which cannot go: empty it instead.
  RegTransaction tx;
  std::vector<std::wstring> names;
  if (store.listSubKeys(root, names) != EStatus::eOk) return false;
  for (const auto& name : names) {
    KeyRef sub = root.child(name);
    if (store.deleteKey(sub) != EStatus::eOk) return false;
  }
  if (store.listValueNames(root, names) != EStatus::eOk) return false;
  for (const auto& name : names) {
    if (store.deleteValue(root, name) != EStatus::eOk) return false;
  }
  return tx.commit();
}

}  // namespace ut
