#pragma once

// File names: the value type FileName and the free path-string functions the
// rest of the library uses.
//
// FileName owns exactly one wxFileName in the native (Unix) path format; every
// structural rule (how a string splits into directories, name and extension,
// how normalisation works) is wxFileName's. What this type adds:
//  - Slash correction on the way in: every path string taken is passed
//    through correctSlashes first, unless a declaration says otherwise.
//  - The unavailable-network-path guard before every existence test
//    (fileExists, dirExists, exists, isFileReadOnly, createTempFileName): a
//    name on a network file system whose root does not answer is refused at
//    once, and the root is not asked again for 10 minutes.
//  - The library's temporary directory ("TEMPPREFIX" of the eCfgConfig
//    group, else $TMPDIR, else "/tmp") and temporary file creation.
//
// Platform mappings of this build (the file system is Unix):
//  - The native separator is "/": correctSlashes turns "\" into "/" (where
//    the Windows build turns "/" into "\"); "|" still becomes a blank.
//  - checkSlashes looks for the foreign separator "\".
//  - makeBackSlashes keeps its literal meaning: "/" becomes "\".
//  - Names have no volume: checkVolume of a volume-less name is true.
//    Strings beginning with "//server/share" count as network names
//    (wxFileName itself folds the double slash, so the string forms see it).
//  - sameAs folds no case: the file system is case-sensitive.
//
// Failures never throw: questions answer false, getters an empty string.
// FileName objects are not synchronised; the guard behind them is.

#include <ut/ut_export.h>

#include "OdArray.h"
#include "OdString.h"

#include <cstddef>
#include <cstdint>
#include <memory>

class wxDateTime;
class wxFileName;

namespace ut {

// What kind of application module a file is, by its extension (lower-cased,
// whole extension). Powers of two so that callers may combine them as masks;
// FileName::appModuleType returns exactly one of them.
enum EAppModuleType : int {
  eNotAppModule = 0,   // anything else, also no extension
  eManagedModule = 1,  // "tx"
  eNativeModule = 2,   // "tcx", "arx", "drx", "dbx", "dll"
  eLispModule = 4,     // "lsp", "des", "mnl"
  eVbaProject = 8,     // "dvb"
};

class UT_EXPORT FileName {
 public:
  // An empty name (isOk() is false).
  FileName();
  FileName(const FileName& other);
  FileName& operator=(const FileName& other);
  FileName(FileName&& other) noexcept;
  FileName& operator=(FileName&& other) noexcept;
  ~FileName();

  // A full path (directories, name and extension).
  FileName(const OdString& fullPath);  // NOLINT: names convert freely, as wxFileName does
  // A directory plus a full name ("name.ext"): the name part may not hold
  // separators of its own.
  FileName(const OdString& path, const OdString& name);
  // A directory, a name and an extension (without the dot).
  FileName(const OdString& path, const OdString& name, const OdString& ext);

  void assign(const OdString& fullPath);
  FileName& operator=(const OdString& fullPath);
  void assign(const OdString& path, const OdString& name);
  void assign(const OdString& path, const OdString& name, const OdString& ext);
  // The whole string is a directory; name and extension become empty.
  void assignDir(const OdString& dir);
  // Back to the empty state.
  void clear();

  // --- components --------------------------------------------------------
  // Volumes do not exist on this file system: getVolume() is empty unless
  // setVolume stored one, and no full path shows it.
  OdString getVolume() const;
  void setVolume(const OdString& volume);
  bool hasVolume() const;
  // The directory part; flags as wxFileName::GetPath (1 with volume, 2 with
  // a trailing separator, 4 without one). "/" for a name in the root.
  OdString getPath(int flags = 1) const;
  void setPath(const OdString& path);
  OdString getFullPath() const;
  OdString getName() const;
  void setName(const OdString& name);
  bool hasName() const;
  // The extension without the dot.
  OdString getExt() const;
  void setExt(const OdString& ext);
  bool hasExt() const;
  // True when the extension equals `ext` ignoring case; one leading "." of
  // `ext` is dropped first ("dwg" and ".dwg" are the same). An empty `ext`
  // matches a name without extension.
  bool hasExt(const OdString& ext) const;
  void clearExt();
  OdString getFullName() const;
  // Name and extension from one string (slashes corrected).
  void setFullName(const OdString& fullName);
  std::uint64_t getDirCount() const;
  OdArray<OdString> getDirs() const;
  // The i-th directory component; empty when i is out of range.
  OdString getDirAt(std::size_t i) const;
  // The last directory component; empty when there is none.
  OdString getLastDir() const;
  // Adds a directory component at the end; an empty or separator-holding
  // component is refused (nothing changes).
  void appendDir(const OdString& dir);
  // Both do nothing when there is no directory component.
  void removeLastDir();
  void removeFirstDir();

  // --- questions about the entry ---------------------------------------
  bool isOk() const;
  bool isAbsolute() const;
  bool isRelative() const;
  // The name has no name part (it names a directory).
  bool isDir() const;
  // The guard, then file existence (symbolic links followed). When the guard
  // refuses and `message` is given, it receives the guard's text; otherwise
  // `message` is left alone.
  bool fileExists(OdString* message = nullptr) const;
  // The guard, then existence of the directory part (as wxFileName: for a
  // name with a name part, that is its directory; use assignDir for a name
  // that is a directory as a whole).
  bool dirExists() const;
  // The guard, then existence of an entry of any kind (a dangling symbolic
  // link included). `flags` is deliberately ignored: any kind counts.
  bool exists(int flags = 0) const;
  bool isDirReadable() const;
  bool isDirWritable() const;
  bool isFileReadable() const;
  bool isFileWritable() const;
  bool isFileExecutable() const;
  // Size in bytes; 0 when the file is missing or not a file.
  std::uint64_t getSize() const;
  // File times; a null pointer skips that time. Creation is the time of the
  // last status change here (Linux keeps no creation time). False when the
  // entry is missing.
  bool getTimes(wxDateTime* access, wxDateTime* modification, wxDateTime* creation) const;
  bool setTimes(const wxDateTime* access, const wxDateTime* modification, const wxDateTime* creation) const;
  // Creates / removes the directory this name denotes (the name part, if
  // any, is the last directory). Flags as wxFileName::Mkdir (1: with all
  // parents) and wxFileName::Rmdir (2: with its contents).
  bool mkdir(int perm = 0777, int flags = 0) const;
  bool rmdir(int flags = 0) const;
  // Both names made absolute against the working directory with dots and
  // "~" expanded (case kept: the file system is case-sensitive), then
  // compared. Symbolic links are not resolved.
  bool sameAs(const FileName& other) const;
  bool operator==(const FileName& other) const;
  bool operator==(const OdString& other) const;

  // --- conversions -------------------------------------------------------
  // wxFileName::Normalize with `flags` against the corrected `cwd` (empty:
  // the working directory).
  bool normalize(int flags, const OdString& cwd = OdString());
  // Dots, "~" and absolute (2 | 4 | 16) against the corrected `cwd`; a `cwd`
  // of exactly ".." does nothing and answers false.
  bool makeAbsolute(const OdString& cwd = OdString());
  bool makeRelativeTo(const OdString& base = OdString());
  // Relative to "/" (or to the root of its volume where it has one).
  bool makeRelativeToRoot();
  // True without a volume; with one, true when it begins one of the
  // machine's roots (compared ignoring case).
  bool checkVolume() const;
  // Adopts the spelling the file system stores: each component that does not
  // exist as spelt but matches exactly one entry of its directory ignoring
  // case takes that entry's spelling. True when the whole name then exists.
  bool correctCase();

  // --- static operations ---------------------------------------------------
  static bool fileExists(const OdString& path);
  static bool dirExists(const OdString& path);
  // The file exists (after the guard) and carries no write permission at all
  // (the role of the read-only attribute).
  static bool isFileReadOnly(const OdString& path);
  static bool isDirWritable(const OdString& path);
  static std::uint64_t getSize(const OdString& path);
  static bool mkdir(const OdString& dir, int perm = 0777, int flags = 0);
  // Removes a directory, with its contents when `recursive`; false for a
  // missing directory or a file.
  static bool rmdir(const OdString& dir, bool recursive);
  // Deletes everything inside `dir` (symbolic links themselves, never their
  // targets) and keeps `dir`. False when `dir` is not a directory or
  // something could not be deleted.
  static bool clearDir(const OdString& dir);
  // The working directory (volumes are ignored here); empty on failure.
  static OdString getCwd(const OdString& volume = OdString());
  static bool setCwd(const OdString& dir);
  static OdString getHomeDir();
  // The library's temporary directory, always ending in "/": the string
  // "TEMPPREFIX" of the eCfgConfig group (slashes corrected), else $TMPDIR
  // when set and not empty, else "/tmp".
  static OdString getTempDir();
  // Creates a new, empty temporary file and returns its path; empty when no
  // file could be created. `prefix` may hold a directory: a relative one lies
  // below getTempDir(), a missing one is created with its parents.
  static OdString createTempFileName(const OdString& prefix);
  static OdString getPathSeparator();
  static OdString getPathSeparators();
  static OdString getVolumeSeparator();
  static bool isPathSeparator(wchar_t c);
  // Any out-pointer may be null.
  static void splitPath(const OdString& full, OdString* path, OdString* name, OdString* ext);
  // Without its last separator when it ends in one, else with one appended
  // (an empty path becomes "/"). Not slash-corrected.
  static OdString toggleLastPathSeparator(const OdString& path);
  // Absolute in the native format, or beginning with "//".
  static bool isCrossPlatformAbsolute(const OdString& path);
  static EAppModuleType appModuleType(const OdString& file);

  // The owned object, for code that needs wxFileName itself.
  const wxFileName& wx() const { return *m_name; }

 private:
  bool guardAdmits(OdString* message) const;

  std::unique_ptr<wxFileName> m_name;
};

// "\" to "/" and "|" to a blank (null: empty).
UT_EXPORT OdString correctSlashes(const OdString& path);
UT_EXPORT OdString correctSlashes(const wchar_t* path);
UT_EXPORT OdString& correctSlashes(OdString& path);
// "/" to "\" only (null: empty).
UT_EXPORT OdString makeBackSlashes(const OdString& path);
UT_EXPORT OdString makeBackSlashes(const wchar_t* path);
// True when the string holds no foreign separator "\" (null: true).
UT_EXPORT bool checkSlashes(const OdString& path);
UT_EXPORT bool checkSlashes(const wchar_t* path);
// `folder` taken as a directory, made absolute against the corrected `base`
// (empty or null: the working directory), returned ending in "/". An empty
// or null `folder` gives `base` itself.
UT_EXPORT OdString appendFolder(const wchar_t* base, const wchar_t* folder);
// FileName(a).sameAs(FileName(b)).
UT_EXPORT bool equalFilePath(const OdString& a, const OdString& b);
// A copy of `name` in which every character that may not appear in a file
// name is replaced by `replacement`. With `keepDots` false those are ".",
// and the forbidden characters, path separators and volume separators of all
// of wxFileName's path formats (native, Unix, classic Mac, Windows, VMS);
// with `keepDots` true only the volume separators of all formats and the
// characters this file system forbids (getForbiddenCharacters()), so that a
// name keeps its extension.
UT_EXPORT OdString validateFileName(const OdString& name, bool keepDots = false, wchar_t replacement = L'_');
// Assigns `path` to `fn`; when it is absolute, writes the normalised full
// path (dots and "~" expanded) back into `path`. True when it is absolute.
UT_EXPORT bool verifyAbsolutePath(OdString& path, FileName& fn);
// The characters a file name may not hold here: "*?/" (wxFileName's forbidden
// characters of the native format and the separator).
UT_EXPORT OdString getForbiddenCharacters();

}  // namespace ut
