#pragma once

// Drawing locks. A locked drawing is held open so that others may read but
// not write it, and two lock files beside it say who holds it:
//   "X.dwl"   three lines: user name, machine name, date-time; the last line
//             has no line end;
//   "X.dwl2"  seven LF-ended lines of XML: <?xml version="1.0"?>, <whprops>,
//             <username>…</username>, <machinename>…</machinename>,
//             <fullname></fullname>, <datetime>…</datetime>, </whprops>.
// Both are 8-bit text in the locale's encoding (the ANSI code page's role),
// written as they are, without XML escaping. The date-time is the local time
// of locking formatted by strftime with "%A, %B %d, %Y %X". Lock files are
// "hidden" where the folder keeps DOS attributes (a Samba share); see the
// platform notes of the README.
//
// Exclusion holds across processes: the drawing is held through an
// open-file-description lock, which a second holder in any process is
// refused, while plain readers still read it. Lock files of a process that
// ended without unlocking stay on disk; nothing here removes a lock file it
// did not create (hasDwl and isLockedByOther tell their story; the caller
// decides whether they are stale, for instance with canLock).
//
// Nothing throws. Paths are slash-corrected first.

#include <ut/ut_export.h>

#include <OdAnsiString.h>
#include <OdString.h>

namespace ut {

// The bare handle of a file opened for exclusive writing. Copying and moving
// copy both fields, so two objects may hold the same handle; the destructor
// never closes it: exactly one owner calls close().
class UT_EXPORT LockedFileHandle {
 public:
  // Closed handle, empty name.
  LockedFileHandle() = default;
  LockedFileHandle(const LockedFileHandle&) = default;
  LockedFileHandle& operator=(const LockedFileHandle&) = default;
  LockedFileHandle(LockedFileHandle&& other) noexcept : LockedFileHandle(static_cast<const LockedFileHandle&>(other)) {}
  LockedFileHandle& operator=(LockedFileHandle&& other) noexcept {
    return *this = static_cast<const LockedFileHandle&>(other);
  }
  ~LockedFileHandle() = default;

  // Stores the slash-corrected path and opens the existing file for reading
  // and writing while others may only read. True when the handle is valid;
  // false for an empty path, a missing file, a folder, or a file another
  // holder has open. A handle already held is not closed first.
  bool open(const OdString& path);
  // Closes the handle: true and the handle invalid on success; false with the
  // handle kept when the system call fails (or nothing was open).
  bool close();
  bool isOpened() const { return m_handle >= 0; }
  OdString getFileName() const { return m_fileName; }

 private:
  int m_handle = -1;
  OdString m_fileName;
};

// One written lock file: its handle (held with share-read) and its name.
// Copies share the handle like LockedFileHandle's.
class UT_EXPORT LockFileHandle {
 public:
  // Invalid handle, empty name.
  LockFileHandle() = default;

  // Creates (or empties) `lockFile`, hidden where possible, holds it with
  // share-read and writes `content`. False, with nothing held, when the file
  // cannot be created or written (for instance while another holder has it).
  bool create(const OdString& lockFile, const OdAnsiString& content);
  // Closes the handle, deletes the lock file and clears the name. True when
  // a lock file was held and deleted.
  bool close();
  bool isOpened() const { return m_handle >= 0; }
  OdString getFileName() const { return m_fileName; }

 private:
  int m_handle = -1;
  OdString m_fileName;
};

// Locks a drawing and writes its lock files. Copy construction and
// assignment copy all six fields: the copy shares the handles, and whichever
// copy unlocks (or is destroyed while locked) releases the lock for both, so
// keep one owner. Moving hands the lock over and leaves the source unlocked.
class UT_EXPORT FileLocker {
 public:
  // Nothing locked.
  FileLocker() = default;
  // Constructs, then lock(path).
  explicit FileLocker(const OdString& path);
  FileLocker(const FileLocker&) = default;
  FileLocker& operator=(const FileLocker&) = default;
  FileLocker(FileLocker&& other) noexcept;
  FileLocker& operator=(FileLocker&& other) noexcept;
  // When locked: closes the drawing and both lock files (deleting them).
  ~FileLocker();

  // Releases a lock already held, then: computes the lock values, opens the
  // drawing (only if it exists; false when that fails, and no lock file is
  // written), writes "X.dwl" and "X.dwl2" (a lock file that cannot be created
  // is skipped silently). True when the drawing is held.
  bool lock(const OdString& path);
  // True when nothing was locked; otherwise closes the drawing and both lock
  // files, true when the drawing's handle could be closed.
  bool unlock();
  // This locker holds a lock.
  bool isLocked() const { return m_file.isOpened(); }
  // False while this locker holds a lock; otherwise whether the file could be
  // opened as lock() would (it is closed again at once).
  bool canLock(const OdString& path) const;

  // The same as hasDwl(path).
  static bool isLocked(const OdString& path);
  // The "X.dwl" of `path` exists (a path the network-path guard refuses
  // counts as having none).
  static bool hasDwl(const OdString& path);
  // Whether "X.dwl" names someone else: false without a readable "X.dwl";
  // otherwise true unless both the user and the machine it names equal the
  // current login and host names, compared ignoring case in the user's locale.
  static bool isLockedByOther(const OdString& path);
  // `info` becomes the first line of "X.dwl", or "first, second" when it has
  // a second line (user and machine). False, `info` unchanged, when the lock
  // file cannot be read.
  static bool readLockInfo(const OdString& path, OdString& info);
  // readLockFileInfo on "X.dwl"; false when it does not exist.
  static bool readLockInfo(const OdString& path, OdString& user, OdString& machine, OdString& dateTime);

  // The lock file of `path` for extension "dwl" or "dwl2": the drawing's own
  // extension replaced. Empty for an empty path.
  static OdString lockFileName(const OdString& path, const wchar_t* extension);

 private:
  LockedFileHandle m_file;
  LockFileHandle m_dwl;
  LockFileHandle m_dwl2;
};

// Reads a lock file as text lines: lines 1, 2 and 3 go to user, machine and
// dateTime, each only when the file has that many lines. True when the file
// exists and could be read; false with the outputs unchanged otherwise.
UT_EXPORT bool readLockFileInfo(const OdString& lockFile, OdString& user, OdString& machine, OdString& dateTime);

// The three lock values: the login name and the host name in the locale's
// encoding, and the local time now as "%A, %B %d, %Y %X" (at most 255
// bytes). Always true.
UT_EXPORT bool getLockFileInfo(OdAnsiString& user, OdAnsiString& machine, OdAnsiString& dateTime);

}  // namespace ut
