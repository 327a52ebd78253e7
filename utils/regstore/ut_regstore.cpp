#include <ut/ut_regstore.h>

#include "ut_regstore_codec.h"
#include "ut_regstore_db.h"

#include <climits>
#include <mutex>
#include <optional>

namespace ut {

using regstore::Bytes;
using regstore::EStatus;
using regstore::KeyRef;
using regstore::Store;

namespace {

struct RootName {
  ERootKey root;
  const wchar_t* longName;
  const wchar_t* shortName;
};

constexpr RootName kRoots[] = {
    {eClassesRoot, L"HKEY_CLASSES_ROOT", L"HKCR"},     {eCurrentUser, L"HKEY_CURRENT_USER", L"HKCU"},
    {eLocalMachine, L"HKEY_LOCAL_MACHINE", L"HKLM"},   {eUsers, L"HKEY_USERS", L"HKU"},
    {eCurrentConfig, L"HKEY_CURRENT_CONFIG", L"HKCC"},
};

std::wstring wide(const wxString& s) { return s.ToStdWstring(); }

// A DWORD read as a number: 32-bit signed, as a long is on Windows, so that
// -1 written comes back as -1.
long dwordToLong(std::uint32_t v) { return static_cast<long>(static_cast<std::int32_t>(v)); }

}  // namespace

wxString rootKeyName(int root) {
  for (const auto& r : kRoots) {
    if (r.root == root) return r.longName;
  }
  return wxString();
}

bool parseRootKeyName(const wxString& name, ERootKey& root) {
  for (const auto& r : kRoots) {
    if (name.IsSameAs(r.longName, false) || name.IsSameAs(r.shortName, false)) {
      root = r.root;
      return true;
    }
  }
  return false;
}

// --- RegStore ------------------------------------------------------------------

wxString RegStore::file() { return Store::instance().file(); }
wxString RegStore::defaultFile() { return Store::defaultFile(); }
bool RegStore::setFile(const wxString& path) { return Store::instance().setFile(path); }
bool RegStore::open() { return Store::instance().open(); }
void RegStore::close() { Store::instance().close(); }
wxString RegStore::lastError() { return regstore::lastError(); }
int RegStore::schemaVersion() { return Store::instance().schemaVersion(); }
bool RegStore::isDamaged() { return Store::instance().isDamaged(); }

bool RegStore::check(std::vector<wxString>* problems) {
  std::vector<wxString> found;
  const bool sound = Store::instance().checkIntegrity(found);
  if (problems) *problems = std::move(found);
  return sound;
}

// --- RegTransaction --------------------------------------------------------------

struct RegTransaction::Impl {
  std::unique_lock<std::recursive_mutex> lock{Store::instance().mutex()};
  bool active = false;
  bool finished = false;
};

RegTransaction::RegTransaction() : m_impl(std::make_unique<Impl>()) {
  m_impl->active = Store::instance().beginTransaction();
}

RegTransaction::~RegTransaction() { rollback(); }

bool RegTransaction::isActive() const {
  return m_impl->active && !m_impl->finished && !Store::instance().transactionDoomed();
}

bool RegTransaction::commit() {
  if (m_impl->finished) return false;
  m_impl->finished = true;
  bool ok = false;
  if (m_impl->active) {
    ok = Store::instance().commitTransaction();
  } else {
    Store::instance().rollbackTransaction();
  }
  m_impl->lock.unlock();
  return ok;
}

void RegTransaction::rollback() {
  if (m_impl->finished) return;
  m_impl->finished = true;
  Store::instance().rollbackTransaction();
  m_impl->lock.unlock();
}

// --- RegKey ------------------------------------------------------------------------

struct RegKey::Impl {
  KeyRef ref;
  bool open = false;
  EAccessMode mode = eRead;

  bool readable() const { return open && ref.valid; }
  bool writable() const {
    if (readable() && mode == eWrite) return true;
    if (open && mode != eWrite) {
      Store::instance().fail(wxString::Format(L"the key \"%s\" is open for reading only", wxString(ref.path)));
    }
    return false;
  }
  bool read(const wxString& name, unsigned& type, Bytes& data) {
    return readable() && Store::instance().readValue(ref, wide(name), type, &data) == EStatus::eOk;
  }
  bool write(const wxString& name, unsigned type, const void* data, std::size_t size) {
    return writable() && Store::instance().writeValue(ref, wide(name), type, data, size, false) == EStatus::eOk;
  }
  bool write(const wxString& name, unsigned type, const Bytes& data) {
    return write(name, type, data.data(), data.size());
  }
};

RegKey::RegKey() : m_impl(std::make_unique<Impl>()) {}

RegKey::RegKey(ERootKey root, const wxString& path) : m_impl(std::make_unique<Impl>()) { setName(root, path); }

RegKey::RegKey(const RegKey& parent, const wxString& subkey) : m_impl(std::make_unique<Impl>()) {
  m_impl->ref = parent.m_impl->ref.child(wide(subkey));
}

RegKey::RegKey(const RegKey& other) : m_impl(std::make_unique<Impl>(*other.m_impl)) {}

RegKey& RegKey::operator=(const RegKey& other) {
  if (this != &other) *m_impl = *other.m_impl;
  return *this;
}

RegKey::RegKey(RegKey&& other) noexcept : m_impl(std::make_unique<Impl>()) { std::swap(m_impl, other.m_impl); }

RegKey& RegKey::operator=(RegKey&& other) noexcept {
  std::swap(m_impl, other.m_impl);
  return *this;
}

RegKey::~RegKey() = default;

void RegKey::setName(ERootKey root, const wxString& path) {
  m_impl->ref = KeyRef::make(root, wide(path));
  m_impl->open = false;
}

ERootKey RegKey::root() const { return static_cast<ERootKey>(m_impl->ref.root); }
wxString RegKey::path() const { return m_impl->ref.path; }

wxString RegKey::name() const {
  const auto& p = m_impl->ref.path;
  const auto slash = p.rfind(L'\\');
  return slash == std::wstring::npos ? wxString(p) : wxString(p.substr(slash + 1));
}

wxString RegKey::fullName() const {
  wxString full = rootKeyName(m_impl->ref.root);
  if (!full.empty() && !m_impl->ref.path.empty()) full << L"\\" << wxString(m_impl->ref.path);
  return full;
}

bool RegKey::exists() const { return m_impl->ref.valid && Store::instance().exists(m_impl->ref); }
bool RegKey::isOpen() const { return m_impl->open; }

bool RegKey::open(EAccessMode mode) {
  m_impl->open = exists();
  m_impl->mode = mode;
  return m_impl->open;
}

bool RegKey::create() {
  // The store says why a path cannot be created (too deep, a bad name).
  m_impl->open = Store::instance().resolve(m_impl->ref, true) == EStatus::eOk;
  m_impl->mode = eWrite;
  return m_impl->open;
}

bool RegKey::close() {
  m_impl->open = false;
  return true;
}

bool RegKey::hasValue(const wxString& name) const {
  unsigned type = 0;
  return m_impl->readable() && Store::instance().readValue(m_impl->ref, wide(name), type, nullptr) == EStatus::eOk;
}

bool RegKey::hasSubKey(const wxString& name) const {
  return m_impl->readable() && Store::instance().hasSubKey(m_impl->ref, wide(name)) == EStatus::eOk;
}

ERegType RegKey::valueType(const wxString& name) const {
  unsigned type = 0;
  if (!m_impl->readable() || Store::instance().readValue(m_impl->ref, wide(name), type, nullptr) != EStatus::eOk) {
    return eRegNone;
  }
  return static_cast<ERegType>(type);
}

bool RegKey::queryValue(const wxString& name, wxString& value) const {
  bool ok = false;
  if (!m_impl->readable()) return false;
  Store::instance().visitValue(m_impl->ref, wide(name), [&](unsigned type, const std::uint8_t* data, std::size_t size) {
    if (type == eRegSz || type == eRegExpandSz) {
      value = regstore::decodeRegString(data, size);
      ok = true;
    }
  });
  return ok;
}

bool RegKey::queryValue(const wxString& name, long& value) const {
  std::int64_t v = 0;
  if (!queryValue64(name, v) || v < LONG_MIN || v > LONG_MAX) return false;
  value = static_cast<long>(v);
  return true;
}

bool RegKey::queryValue64(const wxString& name, std::int64_t& value) const {
  std::optional<std::int64_t> number;
  if (!m_impl->readable()) return false;
  Store::instance().visitValue(m_impl->ref, wide(name), [&](unsigned type, const std::uint8_t* data, std::size_t size) {
    switch (type) {
      case eRegDword:
        if (const auto v = regstore::decodeDword(data, size)) number = dwordToLong(*v);
        break;
      case eRegQword:
        if (const auto v = regstore::decodeQword(data, size)) number = static_cast<std::int64_t>(*v);
        break;
      case eRegSz:
      case eRegExpandSz:
        number = regstore::parseDecimal(regstore::decodeRegString(data, size));
        break;
      default:
        break;
    }
  });
  if (!number) return false;
  value = *number;
  return true;
}

bool RegKey::queryValue(const wxString& name, wxMemoryBuffer& value) const {
  unsigned type = 0;
  Bytes data;
  if (!m_impl->read(name, type, data)) return false;
  value.Clear();
  if (!data.empty()) value.AppendData(data.data(), data.size());
  return true;
}

bool RegKey::queryMultiString(const wxString& name, std::vector<wxString>& value) const {
  unsigned type = 0;
  Bytes data;
  if (!m_impl->read(name, type, data) || type != eRegMultiSz) return false;
  value.clear();
  for (auto& s : regstore::decodeMultiString(data.data(), data.size())) value.emplace_back(s);
  return true;
}

bool RegKey::queryRawValue(const wxString& name, unsigned& type, std::vector<std::uint8_t>& data) const {
  return m_impl->read(name, type, data);
}

bool RegKey::setValue(const wxString& name, const wxString& value) {
  return m_impl->write(name, eRegSz, regstore::encodeUtf16le(wide(value)));
}

bool RegKey::setValue(const wxString& name, long value) {
  return m_impl->write(name, eRegDword, regstore::encodeDword(static_cast<std::uint32_t>(value)));
}

bool RegKey::setValue64(const wxString& name, std::int64_t value) {
  return m_impl->write(name, eRegQword, regstore::encodeQword(static_cast<std::uint64_t>(value)));
}

bool RegKey::setValue(const wxString& name, const wxMemoryBuffer& value) {
  return m_impl->write(name, eRegBinary, value.GetData(), value.GetDataLen());
}

bool RegKey::setExpandString(const wxString& name, const wxString& value) {
  return m_impl->write(name, eRegExpandSz, regstore::encodeUtf16le(wide(value)));
}

bool RegKey::setMultiString(const wxString& name, const std::vector<wxString>& value) {
  std::vector<std::wstring> strings;
  strings.reserve(value.size());
  for (const auto& s : value) strings.push_back(wide(s));
  const auto data = regstore::encodeMultiString(strings);
  if (!data) {
    Store::instance().fail(L"a REG_MULTI_SZ value cannot hold an empty string or a NUL");
    return false;
  }
  return m_impl->write(name, eRegMultiSz, *data);
}

bool RegKey::setRawValue(const wxString& name, unsigned type, const void* data, std::size_t size) {
  if (!data && size != 0) return false;
  return m_impl->write(name, type, data, size);
}

bool RegKey::deleteValue(const wxString& name) {
  return m_impl->writable() && Store::instance().deleteValue(m_impl->ref, wide(name)) == EStatus::eOk;
}

bool RegKey::deleteKey(const wxString& subkey) {
  if (!m_impl->writable()) return false;
  KeyRef sub = m_impl->ref.child(wide(subkey));
  return sub.valid && Store::instance().deleteKey(sub) == EStatus::eOk;
}

bool RegKey::deleteSelf() {
  if (!m_impl->writable() || Store::instance().deleteKey(m_impl->ref) != EStatus::eOk) return false;
  m_impl->open = false;
  return true;
}

bool RegKey::getSubKeys(std::vector<wxString>& names) const {
  std::vector<std::wstring> list;
  if (!m_impl->readable() || Store::instance().listSubKeys(m_impl->ref, list) != EStatus::eOk) return false;
  names.assign(list.begin(), list.end());
  return true;
}

bool RegKey::getValueNames(std::vector<wxString>& names) const {
  std::vector<std::wstring> list;
  if (!m_impl->readable() || Store::instance().listValueNames(m_impl->ref, list) != EStatus::eOk) return false;
  names.assign(list.begin(), list.end());
  return true;
}

std::size_t RegKey::subKeyCount() const {
  std::size_t n = 0;
  if (!m_impl->readable() || Store::instance().countSubKeys(m_impl->ref, false, n) != EStatus::eOk) return 0;
  return n;
}

std::size_t RegKey::valueCount() const {
  std::size_t n = 0;
  if (!m_impl->readable() || Store::instance().countValues(m_impl->ref, false, n) != EStatus::eOk) return 0;
  return n;
}

bool RegKey::copy(RegKey& dest) const {
  if (!m_impl->readable() || !dest.m_impl->ref.valid) return false;
  if (Store::instance().copyKey(m_impl->ref, dest.m_impl->ref) != EStatus::eOk) return false;
  dest.m_impl->open = true;
  dest.m_impl->mode = eWrite;
  return true;
}

}  // namespace ut
