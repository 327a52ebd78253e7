// FileName: construction, components, questions and conversions. Every
// structural rule is wxFileName's; this file adds slash correction, the
// network-path guard and the few questions wxFileName does not answer.

#include <ut/ut_filename.h>

#include "ut_files_wx.h"
#include "ut_netguard.h"
#include "ut_platform.h"

#include <wx/datetime.h>
#include <wx/filename.h>
#include <wx/log.h>

namespace ut {

using files::fromWx;
using files::toWx;
using files::toWxCorrected;

FileName::FileName() : m_name(std::make_unique<wxFileName>()) {}
FileName::FileName(const FileName& other) : m_name(std::make_unique<wxFileName>(*other.m_name)) {}
FileName& FileName::operator=(const FileName& other) {
  if (this != &other) *m_name = *other.m_name;
  return *this;
}
// A moved-from name is empty, never without its wxFileName.
FileName::FileName(FileName&& other) noexcept : m_name(std::make_unique<wxFileName>()) { m_name.swap(other.m_name); }
FileName& FileName::operator=(FileName&& other) noexcept {
  m_name.swap(other.m_name);
  return *this;
}
FileName::~FileName() = default;

FileName::FileName(const OdString& fullPath) : m_name(std::make_unique<wxFileName>(toWxCorrected(fullPath))) {}
FileName::FileName(const OdString& path, const OdString& name)
    : m_name(std::make_unique<wxFileName>(toWxCorrected(path), toWx(name))) {}
FileName::FileName(const OdString& path, const OdString& name, const OdString& ext)
    : m_name(std::make_unique<wxFileName>(toWxCorrected(path), toWx(name), toWx(ext))) {}

void FileName::assign(const OdString& fullPath) { m_name->Assign(toWxCorrected(fullPath)); }
FileName& FileName::operator=(const OdString& fullPath) {
  assign(fullPath);
  return *this;
}
void FileName::assign(const OdString& path, const OdString& name) { m_name->Assign(toWxCorrected(path), toWx(name)); }
void FileName::assign(const OdString& path, const OdString& name, const OdString& ext) {
  m_name->Assign(toWxCorrected(path), toWx(name), toWx(ext));
}
void FileName::assignDir(const OdString& dir) { m_name->AssignDir(toWxCorrected(dir)); }
void FileName::clear() { m_name->Clear(); }

// --- components ------------------------------------------------------------------------------

OdString FileName::getVolume() const { return fromWx(m_name->GetVolume()); }
void FileName::setVolume(const OdString& volume) { m_name->SetVolume(toWx(volume)); }
bool FileName::hasVolume() const { return m_name->HasVolume(); }
OdString FileName::getPath(int flags) const { return fromWx(m_name->GetPath(flags)); }
void FileName::setPath(const OdString& path) { m_name->SetPath(toWxCorrected(path)); }
OdString FileName::getFullPath() const { return fromWx(m_name->GetFullPath()); }
OdString FileName::getName() const { return fromWx(m_name->GetName()); }
void FileName::setName(const OdString& name) { m_name->SetName(toWx(name)); }
bool FileName::hasName() const { return m_name->HasName(); }
OdString FileName::getExt() const { return fromWx(m_name->GetExt()); }
void FileName::setExt(const OdString& ext) { m_name->SetExt(toWx(ext)); }
bool FileName::hasExt() const { return m_name->HasExt(); }

bool FileName::hasExt(const OdString& ext) const {
  wxString wanted = toWx(ext);
  if (wanted.StartsWith(L".")) wanted.erase(0, 1);
  return m_name->GetExt().IsSameAs(wanted, false);
}

void FileName::clearExt() { m_name->ClearExt(); }
OdString FileName::getFullName() const { return fromWx(m_name->GetFullName()); }
void FileName::setFullName(const OdString& fullName) { m_name->SetFullName(toWxCorrected(fullName)); }
std::uint64_t FileName::getDirCount() const { return m_name->GetDirCount(); }

OdArray<OdString> FileName::getDirs() const {
  OdArray<OdString> dirs;
  for (const wxString& dir : m_name->GetDirs()) dirs.append(fromWx(dir));
  return dirs;
}

OdString FileName::getDirAt(std::size_t i) const {
  const wxArrayString& dirs = m_name->GetDirs();
  return i < dirs.size() ? fromWx(dirs[i]) : OdString();
}

OdString FileName::getLastDir() const {
  const wxArrayString& dirs = m_name->GetDirs();
  return dirs.empty() ? OdString() : fromWx(dirs.Last());
}

void FileName::appendDir(const OdString& dir) {
  const wxString corrected = toWxCorrected(dir);
  // wxFileName asserts on these; the library refuses them quietly.
  if (corrected.empty() || corrected.find(L'/') != wxString::npos) return;
  m_name->AppendDir(corrected);
}

void FileName::removeLastDir() {
  if (m_name->GetDirCount() > 0) m_name->RemoveLastDir();
}

void FileName::removeFirstDir() {
  if (m_name->GetDirCount() > 0) m_name->RemoveDir(0);
}

// --- questions -------------------------------------------------------------------------------

bool FileName::isOk() const { return m_name->IsOk(); }
bool FileName::isAbsolute() const { return m_name->IsAbsolute(); }
bool FileName::isRelative() const { return m_name->IsRelative(); }
bool FileName::isDir() const { return m_name->IsDir(); }

bool FileName::guardAdmits(OdString* message) const {
  return files::NetworkPathGuard::instance().admits(m_name->GetFullPath().ToStdWstring(), message);
}

bool FileName::fileExists(OdString* message) const { return guardAdmits(message) && m_name->FileExists(); }
bool FileName::dirExists() const { return guardAdmits(nullptr) && m_name->DirExists(); }
bool FileName::exists(int) const { return guardAdmits(nullptr) && m_name->Exists(wxFILE_EXISTS_ANY); }
bool FileName::isDirReadable() const { return m_name->IsDirReadable(); }
bool FileName::isDirWritable() const { return m_name->IsDirWritable(); }
bool FileName::isFileReadable() const { return m_name->IsFileReadable(); }
bool FileName::isFileWritable() const { return m_name->IsFileWritable(); }
bool FileName::isFileExecutable() const { return m_name->IsFileExecutable(); }

std::uint64_t FileName::getSize() const {
  const wxLogNull quiet;
  const wxULongLong size = m_name->GetSize();
  return size == wxInvalidSize ? 0 : size.GetValue();
}

bool FileName::getTimes(wxDateTime* access, wxDateTime* modification, wxDateTime* creation) const {
  const wxLogNull quiet;
  return m_name->GetTimes(access, modification, creation);
}

bool FileName::setTimes(const wxDateTime* access, const wxDateTime* modification, const wxDateTime* creation) const {
  const wxLogNull quiet;
  return m_name->SetTimes(access, modification, creation);
}

bool FileName::mkdir(int perm, int flags) const {
  const wxLogNull quiet;
  return m_name->IsOk() && m_name->Mkdir(perm, flags);
}

bool FileName::rmdir(int flags) const {
  const wxLogNull quiet;
  return m_name->IsOk() && m_name->Rmdir(flags);
}

bool FileName::sameAs(const FileName& other) const {
  constexpr int kFlags = wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_CASE | wxPATH_NORM_ABSOLUTE;
  wxFileName a(*m_name);
  wxFileName b(*other.m_name);
  a.Normalize(kFlags);
  b.Normalize(kFlags);
  return a.GetFullPath() == b.GetFullPath();
}

bool FileName::operator==(const FileName& other) const { return *m_name == *other.m_name; }
bool FileName::operator==(const OdString& other) const { return *m_name == toWxCorrected(other); }

// --- conversions -----------------------------------------------------------------------------

bool FileName::normalize(int flags, const OdString& cwd) {
  if (!m_name->IsOk()) return false;
  return m_name->Normalize(flags, toWxCorrected(cwd));
}

bool FileName::makeAbsolute(const OdString& cwd) {
  if (cwd == L"..") return false;
  return normalize(wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_ABSOLUTE, cwd);
}

bool FileName::makeRelativeTo(const OdString& base) { return m_name->MakeRelativeTo(toWxCorrected(base)); }

bool FileName::makeRelativeToRoot() {
  wxString root = L"/";
  if (m_name->HasVolume()) root = m_name->GetVolume() + wxFileName::GetVolumeSeparator() + L"/";
  return m_name->MakeRelativeTo(root);
}

bool FileName::checkVolume() const {
  if (!m_name->HasVolume()) return true;
  const std::wstring volume = m_name->GetVolume().ToStdWstring();
  for (const std::wstring& root : platform::fileSystemInfo()->roots()) {
    if (root.size() >= volume.size() && platform::equalNoCase(std::wstring_view(root).substr(0, volume.size()), volume))
      return true;
  }
  return false;
}

namespace {

// The entry of `dir` spelt `name`, or failing that the one entry that matches
// it ignoring case; empty when there is neither.
wxString storedSpelling(const wxString& dir, const wxString& name) {
  const wxString full = dir.empty() ? name : (dir.EndsWith(L"/") ? dir + name : dir + L"/" + name);
  if (wxFileName::Exists(full, wxFILE_EXISTS_ANY)) return name;
  wxString found;
  for (const std::wstring& entry : platform::directoryEntries(dir.empty() ? std::wstring(L".") : dir.ToStdWstring())) {
    if (!platform::equalNoCase(entry, name.ToStdWstring())) continue;
    if (!found.empty()) return wxString();  // ambiguous: keep the caller's spelling
    found = entry;
  }
  return found;
}

}  // namespace

bool FileName::correctCase() {
  if (!m_name->IsOk() || !guardAdmits(nullptr)) return false;
  wxString dir = m_name->IsAbsolute() ? wxString(L"/") : wxString();
  wxArrayString dirs = m_name->GetDirs();
  for (wxString& component : dirs) {
    if (component == L"." || component == L"..") {
      dir += component + L"/";
      continue;
    }
    const wxString stored = storedSpelling(dir, component);
    if (stored.empty()) return false;
    component = stored;
    dir += component + L"/";
  }
  wxString fullName = m_name->GetFullName();
  if (!fullName.empty()) {
    fullName = storedSpelling(dir, fullName);
    if (fullName.empty()) return false;
  }
  m_name->ClearExt();
  m_name->SetPath(dir);
  m_name->SetFullName(fullName);
  return true;
}

}  // namespace ut
