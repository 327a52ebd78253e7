#include <ut/ut_registry.h>

#include "ut_regfile.h"

#include <wx/filefn.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ut {

wxString escape(const wxString& text) { return wxString(regfile::escape(text.ToStdWstring())); }

wxString unescape(const wxString& text) { return wxString(regfile::unescape(text.ToStdWstring())); }

namespace {

const wchar_t* const kCompanyPath = L"Software\\TVCAD";

wxString toWx(const OdString& s) { return wxString(s.c_str(), static_cast<size_t>(s.getLength())); }

std::wstring_view view(const wxString& s) { return std::wstring_view(s.wc_str(), s.length()); }

bool validRoot(ERootKey root) { return !rootKeyName(root).empty(); }

wxString fullKeyName(ERootKey root, const wxString& path) {
  return path.empty() ? rootKeyName(root) : rootKeyName(root) + L"\\" + path;
}

// Reports failures of the static operations through wxLogError when the
// caller asked for it, even while some Registry object silences the log of
// this thread; the previous state returns at the end of the operation.
class Reporter {
 public:
  explicit Reporter(bool report) : m_report(report), m_wasEnabled(report ? wxLog::EnableLogging(true) : false) {}
  ~Reporter() {
    if (m_report) wxLog::EnableLogging(m_wasEnabled);
  }
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  void error(const wxString& message) const {
    if (m_report) wxLogError(L"%s", message);
  }

 private:
  bool m_report;
  bool m_wasEnabled;
};

std::unique_ptr<RegKey> openKey(ERootKey root, const wxString& path, EAccessMode mode) {
  if (!validRoot(root)) return nullptr;
  auto key = std::make_unique<RegKey>(root, path);
  if (!key->open(mode)) return nullptr;
  return key;
}

// --- export --------------------------------------------------------------------

bool writeTree(regfile::Writer& writer, const RegKey& key, const wxString& fullName) {
  writer.key(view(fullName));
  std::vector<wxString> names;
  if (!key.getValueNames(names)) return false;
  unsigned type = 0;
  std::vector<std::uint8_t> data;
  for (const auto& name : names) {
    if (!key.queryRawValue(name, type, data)) return false;
    writer.value(view(name), type, data.data(), data.size());
  }
  std::vector<wxString> subkeys;
  if (!key.getSubKeys(subkeys)) return false;
  for (const auto& name : subkeys) {
    RegKey child(key, name);
    if (!child.open(eRead) || !writeTree(writer, child, fullName + L"\\" + name)) return false;
  }
  return true;
}

// --- import --------------------------------------------------------------------

// Applies the reader's operations to the store. Anything that cannot be read
// or applied is reported and skipped without touching what the store holds.
class Importer {
 public:
  Importer(const Reporter& reporter, const RegTransaction& transaction)
      : m_reporter(reporter), m_transaction(transaction) {}

  void operator()(const regfile::Operation& op) {
    using regfile::Operation;
    // After a failure of the store itself (a full disk, damage) nothing of
    // the file can land: one message says so, not one per line.
    if (m_stopped) return;
    switch (op.kind) {
      case Operation::eOpenKey:
      case Operation::eDeleteKey: {
        m_key.reset();
        ERootKey root = eCurrentUser;
        if (!parseRootKeyName(op.rootName, root)) {
          fail(op.line, L"unknown root key \"" + wxString(op.rootName) + L"\"");
          return;
        }
        if (op.kind == Operation::eDeleteKey) {
          // A key that is not there is already as the file wants it.
          RegKey doomed(root, op.path);
          if (doomed.open(eWrite) && !doomed.deleteSelf()) {
            fail(op.line, L"failed to delete key " + fullKeyName(root, op.path) + whyNot());
          }
          return;
        }
        m_key.emplace(root, op.path);
        if (!m_key->create()) {
          m_key.reset();
          ++m_failedKeys;
          fail(op.line, L"cannot create key " + shortened(fullKeyName(root, op.path)) + whyNot());
        }
        return;
      }
      case Operation::eSetValue:
        // Values of a key that could not be created go with it (counted there).
        if (m_key && !m_key->setRawValue(op.name, op.type, op.data.data(), op.data.size())) {
          fail(op.line, L"failed to set value \"" + wxString(op.name) + L"\"" + whyNot());
        }
        return;
      case Operation::eDeleteValue:
        if (m_key && m_key->hasValue(op.name) && !m_key->deleteValue(op.name)) {
          fail(op.line, L"failed to delete value \"" + wxString(op.name) + L"\"" + whyNot());
        }
        return;
      case Operation::eError:
        m_skipped = true;
        m_reporter.error(op.message);
        return;
    }
  }

  int failedKeys() const { return m_failedKeys; }
  bool skipped() const { return m_skipped; }

 private:
  // A key name cut to a readable length for a message.
  static wxString shortened(const wxString& name) {
    constexpr std::size_t kShown = 160;
    return name.length() <= kShown ? name : name.Left(kShown) + L"...";
  }

  // The store's reason for the last failure, as ": reason", or nothing.
  static wxString whyNot() {
    const wxString why = RegStore::lastError();
    return why.empty() ? wxString() : L": " + why;
  }

  void fail(int line, const wxString& what) {
    m_skipped = true;
    if (!m_transaction.isActive()) {
      m_stopped = true;
      m_reporter.error(wxString::Format(L"line %d: %s; the import stops and nothing of the file is kept", line, what));
      return;
    }
    m_reporter.error(wxString::Format(L"line %d: %s", line, what));
  }

  const Reporter& m_reporter;
  const RegTransaction& m_transaction;
  bool m_stopped = false;
  std::optional<RegKey> m_key;
  int m_failedKeys = 0;
  bool m_skipped = false;
};

// --- data checks -------------------------------------------------------------

wxString typeLabel(unsigned type) {
  switch (type) {
    case eRegNone:
      return L"REG_NONE";
    case eRegSz:
      return L"REG_SZ";
    case eRegExpandSz:
      return L"REG_EXPAND_SZ";
    case eRegBinary:
      return L"REG_BINARY";
    case eRegDword:
      return L"REG_DWORD";
    case eRegMultiSz:
      return L"REG_MULTI_SZ";
    case eRegQword:
      return L"REG_QWORD";
    default:
      return wxString::Format(L"type %u", type);
  }
}

wxString count(std::size_t n) { return wxString(std::to_wstring(n)); }

std::uint64_t littleEndian(const std::vector<std::uint8_t>& data) {
  std::uint64_t v = 0;
  for (std::size_t i = data.size(); i > 0; --i) v = (v << 8) | data[i - 1];
  return v;
}

// Whether data is well-formed for type; why receives what is wrong, or a
// short description of good data.
bool checkData(unsigned type, const std::vector<std::uint8_t>& data, bool requireData, wxString& why) {
  const wxString label = typeLabel(type);
  const std::size_t size = data.size();
  const auto unitAt = [&data](std::size_t byte) { return data[byte] | (data[byte + 1] << 8); };
  switch (type) {
    case eRegSz:
    case eRegExpandSz: {
      if (size % 2 != 0) {
        why = label + L" data has an odd number of bytes (" + count(size) + L")";
        return false;
      }
      if (size > 0 && unitAt(size - 2) != 0) {
        why = label + L" data is not NUL-terminated";
        return false;
      }
      const std::size_t chars = size == 0 ? 0 : size / 2 - 1;
      if (requireData && chars == 0) {
        why = label + L" value is empty";
        return false;
      }
      why = label + L", " + count(chars) + L" UTF-16 units";
      return true;
    }
    case eRegDword:
    case eRegQword: {
      const std::size_t expected = type == eRegDword ? 4 : 8;
      if (size != expected) {
        why = label + L" data has " + count(size) + L" bytes, expected " + count(expected);
        return false;
      }
      why = wxString::Format(L"%s, 0x%0*llx", label, static_cast<int>(2 * expected),
                             static_cast<unsigned long long>(littleEndian(data)));
      return true;
    }
    case eRegMultiSz: {
      // NUL-separated strings closed by an empty one; an empty list is a
      // single NUL.
      const bool wellFormed =
          size >= 2 && size % 2 == 0 && unitAt(size - 2) == 0 && (size == 2 || unitAt(size - 4) == 0);
      if (!wellFormed) {
        why = label + L" data is not closed by two NUL characters";
        return false;
      }
      std::size_t strings = 0;
      for (std::size_t i = 0; i + 2 < size; i += 2) strings += unitAt(i) == 0 ? 1 : 0;
      if (requireData && strings == 0) {
        why = label + L" value holds no string";
        return false;
      }
      why = label + L", " + count(strings) + L" strings";
      return true;
    }
    default:
      if (requireData && size == 0) {
        why = label + L" value is empty";
        return false;
      }
      why = label + L", " + count(size) + L" bytes";
      return true;
  }
}

}  // namespace

// --- Registry: the object ------------------------------------------------------

Registry::Registry() = default;

Registry::Registry(bool openCompanyKey) {
  if (openCompanyKey) create(eCurrentUser, OdString(kCompanyPath));
}

Registry::Registry(const Registry& other) {
  if (other.isOpen()) m_key = openKey(other.m_key->root(), other.m_key->path(), eWrite);
}

Registry& Registry::operator=(const Registry& other) {
  if (this != &other) {
    close();
    if (other.isOpen()) m_key = openKey(other.m_key->root(), other.m_key->path(), eWrite);
  }
  return *this;
}

Registry::~Registry() { close(); }

bool Registry::create(ERootKey root, const OdString& path) {
  close();
  if (!validRoot(root)) return false;
  auto key = std::make_unique<RegKey>(root, toWx(path));
  if (!key->create()) return false;
  m_key = std::move(key);
  return true;
}

bool Registry::open(ERootKey root, const OdString& path, EAccessMode mode) {
  close();
  m_key = openKey(root, toWx(path), mode);
  return m_key != nullptr;
}

void Registry::close() {
  if (m_key) {
    m_key->close();
    m_key.reset();
  }
}

bool Registry::isOpen() const { return m_key && m_key->isOpen(); }

bool Registry::read(const OdString& name, OdString& value) const {
  wxString text;
  if (!isOpen() || !m_key->queryValue(toWx(name), text)) return false;
  value = text;
  return true;
}

bool Registry::read(const OdString& name, long& value) const {
  return isOpen() && m_key->queryValue(toWx(name), value);
}

bool Registry::read(const OdString& name, wxMemoryBuffer& value) const {
  unsigned type = 0;
  std::vector<std::uint8_t> data;
  if (!isOpen() || !m_key->queryRawValue(toWx(name), type, data)) return false;
  value.Clear();
  value.AppendData(data.data(), data.size());
  return true;
}

bool Registry::write(const OdString& name, const OdString& value) {
  return isOpen() && m_key->setValue(toWx(name), toWx(value));
}

bool Registry::write(const OdString& name, long value) { return isOpen() && m_key->setValue(toWx(name), value); }

bool Registry::write(const OdString& name, const wxMemoryBuffer& value) {
  return isOpen() && m_key->setValue(toWx(name), value);
}

bool Registry::deleteValue(const OdString& name) { return isOpen() && m_key->deleteValue(toWx(name)); }

ERegType Registry::valueType(const OdString& name) const { return isOpen() ? m_key->valueType(toWx(name)) : eRegNone; }

bool Registry::verifyKey(const OdString& subkey) const {
  return isOpen() && !subkey.isEmpty() && RegKey(*m_key, toWx(subkey)).exists();
}

bool Registry::verifyValue(const OdString& name) const { return isOpen() && m_key->hasValue(toWx(name)); }

bool Registry::verifyData(const OdString& name, bool requireData, OdString* description) const {
  wxString why;
  bool ok = false;
  unsigned type = 0;
  std::vector<std::uint8_t> data;
  if (!isOpen()) {
    why = L"no key is open";
  } else if (!m_key->queryRawValue(toWx(name), type, data)) {
    why = L"value \"" + toWx(name) + L"\" does not exist";
  } else {
    ok = checkData(type, data, requireData, why);
  }
  if (description != nullptr) *description = why;
  return ok;
}

// --- Registry: static operations -----------------------------------------------

bool Registry::createKey(ERootKey root, const OdString& path, RegKey** key) {
  if (key != nullptr) *key = nullptr;
  if (!validRoot(root)) return false;
  auto created = std::make_unique<RegKey>(root, toWx(path));
  if (!created->create()) return false;
  if (key != nullptr) *key = created.release();
  return true;
}

bool Registry::verifyKey(ERootKey root, const OdString& path) {
  return validRoot(root) && RegKey(root, toWx(path)).exists();
}

bool Registry::verifyValue(ERootKey root, const OdString& path, const OdString& name) {
  const auto key = openKey(root, toWx(path), eRead);
  return key && key->hasValue(toWx(name));
}

bool Registry::listKeys(ERootKey root, const OdString& path, OdArray<OdString>& names) {
  const auto key = openKey(root, toWx(path), eRead);
  std::vector<wxString> found;
  if (!key || !key->getSubKeys(found)) return false;
  names.clear();
  for (const auto& name : found) names.append(OdString(name));
  return true;
}

bool Registry::listValues(ERootKey root, const OdString& path, OdArray<OdString>& names) {
  const auto key = openKey(root, toWx(path), eRead);
  std::vector<wxString> found;
  if (!key || !key->getValueNames(found)) return false;
  names.clear();
  for (const auto& name : found) names.append(OdString(name));
  return true;
}

bool Registry::deleteKey(ERootKey root, const OdString& path) {
  RegKey key(root, toWx(path));
  if (!validRoot(root) || key.path().empty()) return false;
  return key.open(eWrite) && key.deleteSelf();
}

bool Registry::copyKey(ERootKey from, ERootKey to, const OdString& fromPath, const OdString& toPath, bool recursive) {
  const auto source = openKey(from, toWx(fromPath), eRead);
  if (!source || !validRoot(to)) return false;
  RegKey dest(to, toWx(toPath));
  if (recursive) return source->copy(dest);

  RegTransaction transaction;
  if (!transaction.isActive() || !dest.create()) return false;
  std::vector<wxString> names;
  if (!source->getValueNames(names)) return false;
  unsigned type = 0;
  std::vector<std::uint8_t> data;
  for (const auto& name : names) {
    if (!source->queryRawValue(name, type, data) || !dest.setRawValue(name, type, data.data(), data.size())) {
      return false;
    }
  }
  return transaction.commit();
}

bool Registry::exportKey(const OdString& key, const OdString& file, bool report) {
  const Reporter reporter(report);
  const wxString keyName = toWx(key);
  const wxString fileName = toWx(file);
  if (keyName.empty() || fileName.empty()) {
    reporter.error(L"Bad arguments");
    return false;
  }
  ERootKey root = eCurrentUser;
  if (!parseRootKeyName(keyName.BeforeFirst(L'\\'), root)) {
    reporter.error(L"Bad root");
    return false;
  }
  const wxString path = keyName.Find(L'\\') == wxNOT_FOUND ? wxString() : keyName.AfterFirst(L'\\');

  regfile::Writer writer;
  {
    // One read transaction: a consistent picture of the subtree, and far
    // fewer round trips to the store file.
    RegTransaction snapshot;
    RegKey source(root, path);
    if (!snapshot.isActive() || !source.open(eRead)) {
      reporter.error(L"Failed to open registry key");
      return false;
    }
    if (!writeTree(writer, source, fullKeyName(root, source.path()))) {
      reporter.error(L"Failed to read registry key " + fullKeyName(root, source.path()));
      return false;
    }
  }

  switch (regfile::saveFile(fileName, writer)) {
    case regfile::ESave::eSaved:
      return true;
    case regfile::ESave::eNotCreated:
      reporter.error(L"Failed to create file " + fileName);
      return false;
    case regfile::ESave::eNotWritten:
      break;
  }
  reporter.error(L"Failed to write to file " + fileName);
  return false;
}

bool Registry::importKey(const OdString& file, bool report) {
  const Reporter reporter(report);
  const wxString fileName = toWx(file);
  if (fileName.empty() || !wxFileExists(fileName)) {
    reporter.error(L"File not found");
    return false;
  }
  const std::optional<std::wstring> loaded = regfile::loadFile(fileName);
  if (!loaded) {
    reporter.error(L"Failed to read file " + fileName);
    return false;
  }
  const std::wstring& text = *loaded;

  RegTransaction transaction;
  if (!transaction.isActive()) {
    reporter.error(L"Failed to open the registry store: " + RegStore::lastError());
    return false;
  }
  Importer importer(reporter, transaction);
  if (!regfile::parse(text, std::ref(importer))) return false;
  if (importer.failedKeys() > 0)
    reporter.error(wxString::Format(L"Failed to create %d registry keys", importer.failedKeys()));
  if (!transaction.commit()) {
    reporter.error(L"Failed to write to the registry store: " + RegStore::lastError());
    return false;
  }
  return !importer.skipped();
}

}  // namespace ut
