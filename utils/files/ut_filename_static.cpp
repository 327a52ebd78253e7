// FileName's static operations: existence tests on strings, directories, the
// working, home and temporary directories, temporary files and separators.

#include <ut/ut_config.h>
#include <ut/ut_filename.h>

#include "ut_files_wx.h"
#include "ut_netguard.h"
#include "ut_platform.h"

#include <wx/filename.h>
#include <wx/log.h>

namespace ut {

using files::fromWx;
using files::toWx;
using files::toWxCorrected;

namespace {

// The guard on a string: the corrected string itself, so that a
// "//server/share" name is seen as one.
bool admits(const wxString& corrected, OdString* message = nullptr) {
  return files::NetworkPathGuard::instance().admits(corrected.ToStdWstring(), message);
}

// Whether `path`, corrected, is admitted by the network guard and names
// something of `kind` on the system. The name goes to the system as UTF-8
// bytes, as every path the library hands it (the C library's locale does not
// decide how a name is spelt on disk); symbolic links are followed.
bool existsAs(const OdString& path, platform::EPathKind kind) {
  std::wstring corrected(path.c_str(), static_cast<std::size_t>(path.getLength()));
  files::correctInPlace(corrected);
  return !corrected.empty() && files::NetworkPathGuard::instance().admits(corrected) &&
         platform::pathKind(platform::toUtf8(corrected)) == kind;
}

// The separators that end a directory in getTempDir, computed once.
const wxString& pathSeparators() {
  static const wxString separators = wxFileName::GetPathSeparators();
  return separators;
}

}  // namespace

bool FileName::fileExists(const OdString& path) { return existsAs(path, platform::EPathKind::eRegularFile); }

bool FileName::dirExists(const OdString& path) { return existsAs(path, platform::EPathKind::eDirectory); }

bool FileName::isFileReadOnly(const OdString& path) {
  const wxString corrected = toWxCorrected(path);
  return !corrected.empty() && admits(corrected) && platform::isReadOnlyFile(corrected.ToStdWstring());
}

bool FileName::isDirWritable(const OdString& path) { return wxFileName::IsDirWritable(toWxCorrected(path)); }

std::uint64_t FileName::getSize(const OdString& path) {
  const wxLogNull quiet;
  const wxULongLong size = wxFileName::GetSize(toWxCorrected(path));
  return size == wxInvalidSize ? 0 : size.GetValue();
}

bool FileName::mkdir(const OdString& dir, int perm, int flags) {
  const wxString corrected = toWxCorrected(dir);
  const wxLogNull quiet;
  return !corrected.empty() && wxFileName::Mkdir(corrected, perm, flags);
}

bool FileName::rmdir(const OdString& dir, bool recursive) {
  const wxString corrected = toWxCorrected(dir);
  const wxLogNull quiet;
  if (corrected.empty() || !wxFileName::DirExists(corrected)) return false;
  return wxFileName::Rmdir(corrected, recursive ? wxPATH_RMDIR_RECURSIVE : 0);
}

bool FileName::clearDir(const OdString& dir) { return platform::clearDirectory(toWxCorrected(dir).ToStdWstring()); }

OdString FileName::getCwd(const OdString& volume) {
  const wxLogNull quiet;
  return fromWx(wxFileName::GetCwd(toWx(volume)));
}

bool FileName::setCwd(const OdString& dir) {
  const wxString corrected = toWxCorrected(dir);
  const wxLogNull quiet;
  return !corrected.empty() && wxFileName::SetCwd(corrected);
}

OdString FileName::getHomeDir() { return OdString(platform::homeDirectory()); }

OdString FileName::getTempDir() {
  OdString dir;
  Config::read(eCfgConfig, L"TEMPPREFIX", dir);
  dir = correctSlashes(dir);
  if (dir.isEmpty()) {
    const auto system = platform::environmentText("TMPDIR");
    dir = system && !system->empty() ? OdString(*system) : OdString(L"/tmp");
  }
  if (pathSeparators().find(dir[dir.getLength() - 1]) == wxString::npos) {
    OdString separator;
    separator.format(L"%lc", static_cast<wint_t>(wxFileName::GetPathSeparator().GetValue()));
    dir += separator;
  }
  return dir;
}

namespace {

// One attempt of the system's unique-file creation; empty on failure.
OdString systemTempFile(const wxString& prefix) {
  const wxLogNull quiet;
  return fromWx(wxFileName::CreateTempFileName(prefix));
}

}  // namespace

OdString FileName::createTempFileName(const OdString& prefix) {
  const wxString corrected = toWxCorrected(prefix);
  wxString dir;
  wxString namePrefix = corrected;
  const size_t slash = corrected.find_last_of(L'/');
  if (slash != wxString::npos) {
    dir = slash == 0 ? wxString(L"/") : corrected.substr(0, slash);
    namePrefix = corrected.substr(slash + 1);
  }
  if (!wxFileName(dir, wxString()).IsAbsolute()) dir = toWx(getTempDir()) + dir;
  if (!admits(dir) || !wxFileName::DirExists(dir)) {
    const wxLogNull quiet;
    wxFileName::Mkdir(dir, 0777, wxPATH_MKDIR_FULL);
  }
  if (!dir.EndsWith(L"/")) dir += L"/";
  OdString created = systemTempFile(dir + namePrefix);
  if (created.isEmpty() || !fileExists(created)) created = systemTempFile(toWx(prefix));
  return created;
}

OdString FileName::getPathSeparator() {
  return OdString(static_cast<wchar_t>(wxFileName::GetPathSeparator().GetValue()));
}
OdString FileName::getPathSeparators() { return fromWx(wxFileName::GetPathSeparators()); }
OdString FileName::getVolumeSeparator() {
  // The native format has no volumes; the separator a volume would carry.
  return OdString(L":");
}
bool FileName::isPathSeparator(wchar_t c) { return c != 0 && wxFileName::IsPathSeparator(c); }

void FileName::splitPath(const OdString& full, OdString* path, OdString* name, OdString* ext) {
  wxString p;
  wxString n;
  wxString e;
  wxFileName::SplitPath(toWxCorrected(full), &p, &n, &e);
  if (path) *path = fromWx(p);
  if (name) *name = fromWx(n);
  if (ext) *ext = fromWx(e);
}

OdString FileName::toggleLastPathSeparator(const OdString& path) {
  const auto separator = static_cast<wchar_t>(wxFileName::GetPathSeparator().GetValue());
  if (!path.isEmpty() && path[path.getLength() - 1] == separator) return path.left(path.getLength() - 1);
  OdString result = path;
  result += separator;
  return result;
}

bool FileName::isCrossPlatformAbsolute(const OdString& path) {
  const wxString corrected = toWxCorrected(path);
  return corrected.StartsWith(L"//") || (!corrected.empty() && wxFileName(corrected).IsAbsolute());
}

}  // namespace ut
