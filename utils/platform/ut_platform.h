#pragma once

// The platform layer: every operating-system service the library takes from
// Windows, provided for Linux. Nothing else in the library calls the OS for
// these services. Internal: not exported from the shared library.
//
// Strings: wchar_t holds one UTF-32 code point on Linux. Text the system
// hands over as bytes (file names, user and host names) is UTF-8; the "ANSI"
// conversions below use the process locale instead, as their Windows
// counterparts use the ANSI code page.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ut::platform {

// --- Text comparison -------------------------------------------------------
//
// "The default locale" is ICU's default locale, which ICU derives from the
// process environment (LC_ALL, LC_MESSAGES, LANG). The C/POSIX locale and
// locales ICU does not know fall back to the root collation (the Unicode
// default order), because the POSIX collation orders upper case apart from
// lower case and so cannot ignore case. The locale is looked up once, on first
// use; later changes of the environment are not seen.

// Locale-aware comparison that ignores letter case but not accents (the role of
// CompareStringW with NORM_IGNORECASE): ICU collation for the default locale at
// secondary strength, canonically equivalent forms equal. Returns <0, 0 or >0.
// Safe from any thread (each thread uses its own collator).
int compareNoCase(std::wstring_view a, std::wstring_view b);
bool equalNoCase(std::wstring_view a, std::wstring_view b);

// The collation key of compareNoCase: for any a and b,
// sign(compareNoCase(a, b)) == sign(sortKeyNoCase(a).compare(sortKeyNoCase(b))).
// Compute it once for strings that are compared constantly. Keys are only
// meaningful within one process (they depend on the locale and ICU version).
std::string sortKeyNoCase(std::wstring_view s);

// Whether, for strings made only of printable ASCII characters (U+0020 to
// U+007E), compareNoCase(a, b) == 0 exactly when a and b are equal after
// mapping A-Z to a-z. It holds when the default locale's collation tailors
// none of these characters, gives each of them one collation element with a
// primary weight, and no two of them (after that mapping) the same primary and
// secondary weights: the root collation and most locales; not Turkish ("I" is
// the capital of dotless "i") or Czech ("ch" is one letter), where callers
// must use the full comparison. Decided once per process from the collator's
// own tables; false when ICU has no collation data.
bool asciiFoldsToCollation();
// The same test for the collation of the named ICU locale ("tr", "en_US");
// false for null.
bool asciiFoldsToCollation(const char* locale);

// Locale collation in the role of wcscoll: ICU collation for the default
// locale at tertiary strength (case breaks ties; the C library's LC_COLLATE is
// not consulted). Its case-insensitive form in the role of _wcsicoll is the
// same collation applied to case-folded copies (see foldCase).
int collate(std::wstring_view a, std::wstring_view b);
int collateNoCase(std::wstring_view a, std::wstring_view b);

// The C library's own locale collation, for the orderings defined on the
// runtime's wcscoll and _wcsicoll rather than on the system comparison above.
// They follow the calling thread's locale (setlocale, or uselocale for one
// thread): in the C and C.UTF-8 locales that is code point order. Results are
// the collation function's own values, not only their signs. A null argument
// counts as the empty string.
//
// crtCollate is wcscoll. crtCollateNoCase stands for _wcsicoll: both strings
// are lower-cased with towlower (LC_CTYPE) and then compared with wcscoll.
int crtCollate(const wchar_t* a, const wchar_t* b);
int crtCollateNoCase(const wchar_t* a, const wchar_t* b);

// crtCollate (ignoreCase false) or crtCollateNoCase (true) of the
// one-character strings {a} and {b}, where L'\0' stands for the empty string.
// Answers come from a cache per locale (each pair is computed once by the call
// it stands for), so they are identical to the direct call while costing a
// table look-up. The direct call meant is one on 64-byte aligned buffers: the
// C library's magnitudes for the same strings may differ with their addresses
// (the sign never does). Safe from any thread.
int crtCollateChars(wchar_t a, wchar_t b, bool ignoreCase);

// Lower-cases (the role of _wcslwr) over all of Unicode with the simple,
// locale-independent mapping: one code point becomes one code point, so
// offsets into the result are offsets into the argument.
std::wstring toLower(std::wstring_view s);
// Full Unicode case folding: two names are equal ignoring case exactly when
// their folded forms are equal code point for code point. The registry store
// uses it for key and value identity. The result may be longer ("ß" -> "ss").
std::wstring foldCase(std::wstring_view s);

// --- Encodings ---------------------------------------------------------------

// The library's one UTF-8 and one UTF-16 codec. wchar_t holds a code point.
//
// Surrogate code points (U+D800..U+DFFF) that stand alone are no characters,
// but Windows lets registry names and string data hold them, so the registry
// store and its export files keep them (eKeep): UTF-8 then carries them in
// the three-byte form (generalised UTF-8) and UTF-16 as the single unit. Every
// other caller replaces them (eReplace). Values beyond U+10FFFF always become
// U+FFFD when encoded.
enum class ESurrogates { eReplace, eKeep };

// UTF-8, the encoding of file names and other system strings.
std::string toUtf8(std::wstring_view s, ESurrogates surrogates = ESurrogates::eReplace);
// Decodes leniently: each maximal invalid subsequence (stray or missing
// continuation bytes, overlong forms, values past U+10FFFF, and encoded
// surrogates unless kept) becomes one U+FFFD.
std::wstring fromUtf8(std::string_view s, ESurrogates surrogates = ESurrogates::eReplace);
// Decodes strictly: false, with `out` unspecified, at the first byte that is
// not valid UTF-8 (encoded surrogates are valid only with eKeep).
bool decodeUtf8(std::string_view s, std::wstring& out, ESurrogates surrogates = ESurrogates::eReplace);
// Appends the UTF-8 form of one code point up to U+10FFFF, surrogate values
// included; values beyond become U+FFFD.
void appendUtf8(std::string& out, std::uint32_t codePoint);

// UTF-16. The byte forms are what Windows writes (little-endian) and what
// byte-order marks may announce (big-endian).
enum class EByteOrder { eLittleEndian, eBigEndian };
// Appends the units of one code point (a pair beyond U+FFFF; a lone surrogate
// as itself; beyond U+10FFFF U+FFFD); returns how many it wrote (1 or 2).
int appendUtf16(char16_t* out, std::uint32_t codePoint);
// The code points of UTF-16 units: pairs combined, lone surrogates kept as
// their code points (callers that want U+FFFD for them replace afterwards).
std::wstring fromUtf16(std::u16string_view units);
// Text as UTF-16 bytes in the given order, lone surrogates kept.
std::vector<std::uint8_t> encodeUtf16(std::wstring_view text, EByteOrder order);
// UTF-16 bytes in the given order to text, as fromUtf16; an odd last byte is ignored.
std::wstring decodeUtf16(const std::uint8_t* data, std::size_t size, EByteOrder order);
// The number of UTF-16 units of `s` (what Windows measures lengths in).
std::size_t utf16Length(std::wstring_view s);

// The conversions in the role of the ANSI code page: the multibyte encoding of
// the process locale (LC_CTYPE, as set with setlocale). Decomposed sequences
// are composed first (NFC), so "e" + U+0301 becomes one character where the
// encoding has it. Characters the encoding cannot represent become '?';
// invalid input bytes become U+FFFD. Embedded nulls are kept.
std::string toAnsi(std::wstring_view s);
std::wstring fromAnsi(std::string_view s);

// --- The C library's locale ---------------------------------------------------
//
// The runtime-library locale (setlocale) is process-wide: changing it affects
// every thread's multibyte conversions, so callers change it only where no
// other thread converts text at the same time.

// The locale name setlocale(LC_ALL, nullptr) reports now: one name, or the
// composite form that setlocale accepts back when the categories differ.
std::string crtLocale();
// setlocale(LC_ALL, name). True when the C library accepted the name; the
// locale is unchanged otherwise. A null or empty name is refused (setlocale
// would read the environment instead).
bool setCrtLocale(const char* name);
// The character encoding of the current LC_CTYPE (nl_langinfo(CODESET), for
// example "ISO-8859-1" or "UTF-8"; "ANSI_X3.4-1968" in the C locale).
std::string crtCodeset();

// The user's default language as the environment names it: the first of
// LC_ALL, LC_MESSAGES and LANG that is set and not empty, reduced to its
// language_REGION part ("de_DE" from "de_DE.ISO-8859-1@euro"). Empty when none
// is set or the named locale is "C" or "POSIX" (no language).
std::string userDefaultLanguage();

// The names setlocale may know a language's locale by, in the order to try
// them: `language` as it stands; the installed locales named language.CODESET
// or language@MODIFIER (in $LOCPATH and the system's locale folder), legacy
// encodings before UTF-8; the usual suffixes (".ISO-8859-1", "@euro",
// ".ISO-8859-15", ".UTF-8" and their short spellings, plus the one the
// environment names). No duplicates; empty for an empty language.
std::vector<std::string> localeNameCandidates(const std::string& language);

// Sets the C library's locale to the first candidate of `language` it
// accepts and returns that name; empty, with the locale unchanged, when it
// accepts none.
std::string setCrtLocaleForLanguage(const std::string& language);

// --- Counters and debugger output ------------------------------------------

// The high-resolution counter (QueryPerformanceCounter): a monotonic clock in
// nanoseconds; its frequency is therefore 1e9 ticks per second.
std::int64_t performanceCounter();
std::int64_t performanceFrequency();

// Debugger output (OutputDebugStringW). Goes to standard error, UTF-8 encoded
// and written in one piece, unless the host has installed a handler (see
// ut/ut_platform.h). Like its model, the text ends at the first null.
void outputDebugString(std::wstring_view text);

// --- Identity ----------------------------------------------------------------

// The login name of the user running the process (the effective user's
// password entry, else $USER, else $LOGNAME; empty when none is known) and
// this machine's host name (empty on failure).
std::wstring loginName();
std::wstring hostName();

// --- Environment and well-known folders ------------------------------------

// The value of an environment variable as the bytes the process holds, or
// nullopt when it is not set (an empty value is set). A null name is unset.
std::optional<std::string> environmentVariable(const char* name);
// The same value decoded as UTF-8 (invalid bytes become U+FFFD).
std::optional<std::wstring> environmentText(const char* name);

// The user's home folder: $HOME when set and not empty, else the effective
// user's password entry; empty when neither is known.
std::wstring homeDirectory();
// The per-user configuration folder: $XDG_CONFIG_HOME when it is absolute,
// else home + "/.config"; empty without a home folder.
std::wstring userConfigDirectory();
// The absolute file name of the running executable (/proc/self/exe), empty
// when the system does not tell.
std::wstring executablePath();

// --- Paths -------------------------------------------------------------------

// The native separator is '/'. Where the Windows build turns '/' into '\' in a
// file path, this build turns '\' into '/' with this function.
std::wstring toNativeSeparators(std::wstring_view path);

// --- Exclusive files -------------------------------------------------------

// How ExclusiveFile::open treats an existing or missing file (the dispositions
// of CreateFileW).
enum class EDisposition {
  eCreateNew,         // create; fail with eAlreadyExists when it exists
  eCreateAlways,      // create, or empty an existing file once it is locked
  eOpenExisting,      // open; fail with eNotFound when it is missing
  eOpenAlways,        // open, creating it when missing; content kept
  eTruncateExisting,  // open an existing file and empty it once it is locked
};

enum class EFileError {
  eNone,
  eSharingViolation,  // another ExclusiveFile (any process) holds the file
  eNotFound,          // the file or a folder on its path is missing
  eAlreadyExists,     // eCreateNew on an existing file
  eAccessDenied,      // permissions, read-only file system, or a directory
  eInvalidPath,       // empty, or holding a null or a value that is not a character
  eOther,             // any other failure, including file systems without locks
};

// A file opened for reading and writing that no other ExclusiveFile, in this
// or another process, can open while this one is open (the role of CreateFileW
// with GENERIC_READ | GENERIC_WRITE and FILE_SHARE_READ). Ordinary readers
// still open and read it. Exclusion rests on an open-file-description write
// lock over the whole file (fcntl F_OFD_SETLK), which is advisory: programs
// that write without asking for the lock are not kept out.
//
// A failed open never changes the file: the content is truncated (eCreateAlways,
// eTruncateExisting) only after the lock is held. The lock lasts until close()
// or destruction; moving hands it over and leaves the source closed. Not
// synchronised: one object belongs to one thread at a time.
class ExclusiveFile {
 public:
  // A closed file with no error.
  ExclusiveFile() = default;
  ~ExclusiveFile();
  ExclusiveFile(ExclusiveFile&& other) noexcept;
  ExclusiveFile& operator=(ExclusiveFile&& other) noexcept;
  ExclusiveFile(const ExclusiveFile&) = delete;
  ExclusiveFile& operator=(const ExclusiveFile&) = delete;

  // Opens `path` as is (no separator correction). On failure the result is
  // closed and error() tells why. The file position starts at 0.
  static ExclusiveFile open(const std::wstring& path, EDisposition disposition);

  bool isOpen() const { return m_fd >= 0; }
  const std::wstring& path() const { return m_path; }

  // Why the last open, write, sync or close failed; eNone after success.
  EFileError error() const { return m_error; }
  // The errno of that failure (0 when there was none).
  int systemError() const { return m_systemError; }
  // A readable account of that failure; empty when there was none.
  std::wstring errorText() const;

  // Writes all bytes at the current position; false when closed or on error.
  bool write(std::string_view bytes);
  // Forces written data to the storage device.
  bool sync();
  // The file's size in bytes; -1 when closed or on error.
  std::int64_t size() const;
  // Releases the lock and the descriptor. True when nothing was open or the
  // descriptor closed cleanly; the object is closed afterwards either way.
  bool close();
  // Hands the descriptor to the caller with its lock and leaves the object
  // closed; -1 when it was not open. For types that copy a handle by value
  // and close it explicitly (closeHandle), as Windows handles are used.
  int release();

 private:
  void setError(EFileError error, int systemError);

  int m_fd = -1;
  std::wstring m_path;
  EFileError m_error = EFileError::eNone;
  int m_systemError = 0;
};

// Deletes a file (the role of DeleteFileW); false for a missing file or a
// directory.
bool deleteFile(const std::wstring& path);

// --- Raw handles, hidden files and broken pipes ----------------------------

// Closes a descriptor from ExclusiveFile::release (the role of CloseHandle); false for
// -1 or when the system reports an error.
bool closeHandle(int handle);

// Sets the hidden bit in the DOS attributes that Samba keeps as the extended
// attribute "user.DOSATTRIB", where the file or its folder carries one (the
// sign that the folder is shared with Windows machines). Elsewhere Linux has
// no hidden attribute for a name without a leading dot, and nothing happens.
// True when the bit was set.
bool setDosHiddenAttribute(const std::wstring& path);

// While alive, writes by this thread to a pipe or socket whose reader is gone
// fail with EPIPE instead of raising SIGPIPE (the signal is blocked for the
// thread and any instance raised meanwhile is consumed on destruction).
class SigpipeGuard {
 public:
  SigpipeGuard();
  ~SigpipeGuard();
  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

 private:
  bool m_wasPending = false;
  bool m_wasBlocked = false;
};

// What a native path names, following symbolic links. `systemError`, when
// given, receives errno for eInaccessible (and 0 otherwise).
enum class EPathKind { eMissing, eRegularFile, eDirectory, eOther, eInaccessible };
EPathKind pathKind(const std::string& path, int* systemError = nullptr);

// Creates the folder `dir` and its missing parents, private to the user
// (0700). True when `dir` is a folder afterwards (an empty `dir` is); else
// false with the reason, naming the path, in `error`.
bool makePrivateFolders(const std::string& dir, std::string& error);

// Creates the empty file `path` private to the user (0600) unless something
// exists there already. True when it created the file; else false, with errno
// in `systemError` when given (EEXIST when something was there).
bool createPrivateFile(const std::string& path, int* systemError = nullptr);

// A system error (errno) as users read it: "permission denied" for refused
// access (EACCES, EPERM, a read-only file system), "disk full" for a full
// disk or an exhausted quota, the system's own text for the rest; empty for 0.
std::string describeSystemError(int systemError);

// --- File and directory operations ---------------------------------------
//
// Paths are native (UTF-8 on the way to the system); none of these corrects
// separators. None follows a path onto a network file system on its own: the
// file layer asks its network-path guard first.

// A regular file (symbolic links followed) that carries no write permission
// for anyone: the role of the read-only attribute.
bool isReadOnlyFile(const std::wstring& path);

// access(2) for reading (write false) or writing (write true) by this process.
bool isAccessible(const std::wstring& path, bool write);

// Copies the content and permission bits of the regular file `from` to `to`.
// Without `overwrite` an existing `to` makes it fail; with it, `to` is
// replaced (never when it is `from` itself or a directory). A failed copy
// leaves no partial `to` behind.
bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite);

// Renames `from` to `to` (files and directories, on one file system). Without
// `overwrite` an existing `to` makes it fail, atomically.
bool renameFile(const std::wstring& from, const std::wstring& to, bool overwrite);

// The names in directory `dir` ("." and ".." left out); empty when it cannot
// be read.
std::vector<std::wstring> directoryEntries(const std::wstring& dir);

// Deletes everything inside directory `dir` (symbolic links themselves, never
// what they point to) and keeps `dir`. False when `dir` is not a directory or
// an entry could not be deleted (the others are deleted all the same).
bool clearDirectory(const std::wstring& dir);

// --- File-system facts -----------------------------------------------------

// What kind of storage a root is. The values are those of GetDriveTypeW, which
// callers report in messages.
enum class EDriveType {
  eUnknown = 0,    // could not be determined in time (for example a hung server)
  eNoRootDir = 1,  // the root does not exist
  eRemovable = 2,
  eFixed = 3,
  eRemote = 4,
  eCdRom = 5,
  eRamDisk = 6,
};

// The facts the file layer asks about paths before touching them. A "root" is
// the mount point of the file system a path lies on. Implementations must be
// safe to call from several threads.
class FileSystemInfo {
 public:
  virtual ~FileSystemInfo() = default;

  // Whether `path` lies on a network file system. Paths that do not exist yet
  // are judged by their nearest existing ancestor.
  virtual bool isNetworkPath(const std::wstring& path) const = 0;
  // The root of `path` (nearest existing ancestor for missing paths); empty
  // when it cannot be determined.
  virtual std::wstring rootOf(const std::wstring& path) const = 0;
  // The kind of the root, asked of the operating system within a bounded time.
  virtual EDriveType driveType(const std::wstring& root) const = 0;
  // Whether the root answers: its drive type is neither unknown nor "no root".
  virtual bool isRootReachable(const std::wstring& root) const;
  // Every root that holds files (kernel pseudo file systems left out).
  virtual std::vector<std::wstring> roots() const = 0;
};

// The process-wide instance the library consults. Never null.
std::shared_ptr<FileSystemInfo> fileSystemInfo();
// Replaces it (for tests and embedding); nullptr restores the real one.
void setFileSystemInfo(std::shared_ptr<FileSystemInfo> info);

// Result of looking at one root on the operating system.
struct RootProbe {
  int error = 0;             // errno of statfs, 0 on success
  std::int64_t fsMagic = 0;  // statfs f_type on success
};

// The real implementation. Paths are classified from the kernel's mount table
// (/proc/self/mountinfo), resolving symbolic links by hand one component at a
// time and never stepping into a network mount, so that classifying a path on
// a hung server cannot hang. Only driveType and isRootReachable touch a root,
// and they do it on a worker thread, giving up after the probe timeout; while a
// probe of a root is still running, later calls for that root wait for the same
// probe instead of starting another thread. Without a readable mount table the
// answers come from statfs and device numbers directly.
class SystemFileSystemInfo : public FileSystemInfo {
 public:
  // The function that looks at a root (on the worker thread); the default is
  // statfs. It must not refer to objects that may die before it returns.
  using Prober = std::function<RootProbe(const std::string& root)>;

  explicit SystemFileSystemInfo(std::chrono::milliseconds probeTimeout = std::chrono::seconds(2), Prober prober = {});
  ~SystemFileSystemInfo() override;

  bool isNetworkPath(const std::wstring& path) const override;
  std::wstring rootOf(const std::wstring& path) const override;
  EDriveType driveType(const std::wstring& root) const override;
  std::vector<std::wstring> roots() const override;

 private:
  struct Probes;
  std::chrono::milliseconds m_timeout;
  Prober m_prober;
  std::shared_ptr<Probes> m_probes;
};

// One line of /proc/self/mountinfo, octal escapes decoded.
struct MountEntry {
  std::string mountPoint;
  std::string fsType;
  std::string source;
  unsigned major = 0;
  unsigned minor = 0;
};

// Parses the text of /proc/self/mountinfo; malformed lines are skipped.
std::vector<MountEntry> parseMountInfo(std::string_view text);
// Whether a mount of this type (as mountinfo names it) is a network file system.
bool isNetworkFileSystemType(std::string_view fsType);

// The mount an absolute path lies on, following symbolic links (missing
// paths: their nearest existing ancestor). The walk stops at the first
// network mount it would enter, so nothing on it is touched. Empty when no
// mount contains the path.
std::optional<MountEntry> mountOfPath(const std::vector<MountEntry>& mounts, const std::string& absolutePath);

}  // namespace ut::platform
