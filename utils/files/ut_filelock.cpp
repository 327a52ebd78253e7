// Drawing locks: the exclusively held drawing and its two lock files.

#include <ut/ut_filelock.h>

#include <ut/ut_filename.h>
#include <ut/ut_fileops.h>
#include <ut/ut_textfile.h>

#include "ut_platform.h"

#include <OdArray.h>

#include <ctime>
#include <string>
#include <utility>

namespace ut {

// --- LockedFileHandle ------------------------------------------------------------

bool LockedFileHandle::open(const OdString& path) {
  m_fileName = correctSlashes(path);
  if (m_fileName.isEmpty()) return false;
  platform::ExclusiveFile file =
      platform::ExclusiveFile::open(m_fileName.c_str(), platform::EDisposition::eOpenExisting);
  m_handle = file.release();
  return isOpened();
}

bool LockedFileHandle::close() {
  if (!isOpened() || !platform::closeHandle(m_handle)) return false;
  m_handle = -1;
  return true;
}

// --- LockFileHandle ----------------------------------------------------------------

bool LockFileHandle::create(const OdString& lockFile, const OdAnsiString& content) {
  const OdString name = correctSlashes(lockFile);
  if (name.isEmpty()) return false;
  const std::wstring path(name.c_str());
  platform::ExclusiveFile file = platform::ExclusiveFile::open(path, platform::EDisposition::eCreateAlways);
  if (!file.isOpen() || !file.write(std::string_view(content.c_str(), static_cast<std::size_t>(content.getLength())))) {
    return false;
  }
  platform::setDosHiddenAttribute(path);
  m_handle = file.release();
  m_fileName = name;
  return true;
}

bool LockFileHandle::close() {
  if (!isOpened()) return false;
  platform::closeHandle(std::exchange(m_handle, -1));
  const bool deleted = platform::deleteFile(m_fileName.c_str());
  m_fileName = OdString();
  return deleted;
}

// --- FileLocker ----------------------------------------------------------------------

FileLocker::FileLocker(const OdString& path) { lock(path); }

FileLocker::FileLocker(FileLocker&& other) noexcept
    : m_file(std::exchange(other.m_file, LockedFileHandle())),
      m_dwl(std::exchange(other.m_dwl, LockFileHandle())),
      m_dwl2(std::exchange(other.m_dwl2, LockFileHandle())) {}

FileLocker& FileLocker::operator=(FileLocker&& other) noexcept {
  if (this != &other) {
    unlock();
    m_file = std::exchange(other.m_file, LockedFileHandle());
    m_dwl = std::exchange(other.m_dwl, LockFileHandle());
    m_dwl2 = std::exchange(other.m_dwl2, LockFileHandle());
  }
  return *this;
}

FileLocker::~FileLocker() {
  if (isLocked()) unlock();
}

bool FileLocker::lock(const OdString& path) {
  if (isLocked()) unlock();
  OdAnsiString user;
  OdAnsiString machine;
  OdAnsiString dateTime;
  getLockFileInfo(user, machine, dateTime);
  if (!m_file.open(path)) return false;

  OdAnsiString dwl;
  dwl.format("%s\n%s\n%s", user.c_str(), machine.c_str(), dateTime.c_str());
  m_dwl.create(lockFileName(path, L"dwl"), dwl);
  OdAnsiString dwl2;
  dwl2.format(
      "<?xml version=\"1.0\"?>\n<whprops>\n<username>%s</username>\n<machinename>%s</machinename>\n"
      "<fullname></fullname>\n<datetime>%s</datetime>\n</whprops>\n",
      user.c_str(), machine.c_str(), dateTime.c_str());
  m_dwl2.create(lockFileName(path, L"dwl2"), dwl2);
  return m_file.isOpened();
}

bool FileLocker::unlock() {
  if (!isLocked()) return true;
  const bool closed = m_file.close();
  m_dwl.close();
  m_dwl2.close();
  return closed;
}

bool FileLocker::canLock(const OdString& path) const {
  if (isLocked()) return false;
  LockedFileHandle probe;
  const bool opened = probe.open(path);
  probe.close();
  return opened;
}

bool FileLocker::isLocked(const OdString& path) { return hasDwl(path); }

bool FileLocker::hasDwl(const OdString& path) {
  const OdString dwl = lockFileName(path, L"dwl");
  return !dwl.isEmpty() && fileExists(dwl);
}

bool FileLocker::isLockedByOther(const OdString& path) {
  if (!hasDwl(path)) return false;
  OdString user;
  OdString machine;
  OdString dateTime;
  if (!readLockFileInfo(lockFileName(path, L"dwl"), user, machine, dateTime)) return false;
  if (platform::compareNoCase(user.c_str(), platform::loginName()) != 0) return true;
  return platform::compareNoCase(machine.c_str(), platform::hostName()) != 0;
}

bool FileLocker::readLockInfo(const OdString& path, OdString& info) {
  const OdString dwl = lockFileName(path, L"dwl");
  OdArray<OdString> lines;
  if (dwl.isEmpty() || !readTextFileContent(lines, dwl)) return false;
  info = lines.isEmpty() ? OdString() : lines[0];
  if (lines.size() > 1) info = lines[0] + L", " + lines[1];
  return true;
}

bool FileLocker::readLockInfo(const OdString& path, OdString& user, OdString& machine, OdString& dateTime) {
  const OdString dwl = lockFileName(path, L"dwl");
  if (dwl.isEmpty() || !fileExists(dwl)) return false;
  return readLockFileInfo(dwl, user, machine, dateTime);
}

OdString FileLocker::lockFileName(const OdString& path, const wchar_t* extension) {
  const OdString corrected = correctSlashes(path);
  if (corrected.isEmpty()) return OdString();
  FileName name(corrected);
  name.setExt(extension);
  return name.getFullPath();
}

// --- free functions ----------------------------------------------------------------------

bool readLockFileInfo(const OdString& lockFile, OdString& user, OdString& machine, OdString& dateTime) {
  OdArray<OdString> lines;
  if (lockFile.isEmpty() || !readTextFileContent(lines, lockFile)) return false;
  if (lines.size() > 0) user = lines[0];
  if (lines.size() > 1) machine = lines[1];
  if (lines.size() > 2) dateTime = lines[2];
  return true;
}

bool getLockFileInfo(OdAnsiString& user, OdAnsiString& machine, OdAnsiString& dateTime) {
  user = OdAnsiString(platform::toAnsi(platform::loginName()));
  machine = OdAnsiString(platform::toAnsi(platform::hostName()));
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char buffer[256] = {};
  if (localtime_r(&now, &local)) std::strftime(buffer, sizeof buffer, "%A, %B %d, %Y %X", &local);
  dateTime = OdAnsiString(buffer);
  return true;
}

}  // namespace ut
