#pragma once

// Everyday file work: search paths, existence and access tests, copy, remove,
// rename, backup renaming, content comparison, and the program's folders.
//
// Every function corrects the slashes of the paths it takes (correctSlashes,
// ut_filename.h: "\" becomes "/", "|" a blank) and tests existence through
// FileName, so behind the unavailable-network-path guard. None throws:
// failures answer false or an empty string.
//
// Search paths are one string of directory entries separated by ";" (no
// quoting). Entries keep their own spelling.
//
// On this platform "%NAME%" and "$NAME" environment references both expand in
// expandedFileExists, and "%UserProfile%" (and "%UserProfileFolder%") is the
// home directory.

#include <ut/ut_export.h>
#include <ut/ut_filename.h>

#include "OdArray.h"
#include "OdString.h"

namespace ut {

// --- search paths ------------------------------------------------------------

// Splits at every ";" (empty entries kept: "a;;b" gives three entries, ""
// gives one empty entry) and slash-corrects each entry. `entries` is replaced.
UT_EXPORT void splitSearchPath(OdArray<OdString>& entries, const OdString& searchPath);
// Drops empty entries and later duplicates (compared without trailing
// separators, ignoring case); the first spelling of a directory wins. Joined
// with ";", no trailing ";".
UT_EXPORT OdString cleanupSearchPath(const OdString& searchPath);
// Appends `path` (corrected) unless an entry equals it ignoring case (a
// trailing separator counts here). An empty `path` or one already held
// answers true without change. A ";" goes in between unless the search path
// is empty or ends in one. False, without change, when the result would be
// longer than `maxLength`.
UT_EXPORT bool addPathToSearchPath(OdString& searchPath, const OdString& path, int maxLength);
// Puts `path` (corrected) in front, followed by ";" unless the search path
// already begins with one (so "" becomes "path;"). Presence as for
// addPathToSearchPath. The limit is 32767 when `unlimited`, else `maxLength`;
// the length test counts length(searchPath) + length(path), plus 1 only when
// the search path begins with ";". False, without change, beyond the limit.
UT_EXPORT bool prependPathToSearchPath(OdString& searchPath, const OdString& path, bool unlimited, int maxLength);
// The first entry that names a directory this process may read; empty when
// there is none.
UT_EXPORT OdString firstAccessibleDir(const OdString& searchPath);

// --- existence and access ---------------------------------------------------------

// FileName::fileExists / FileName::dirExists on a string.
UT_EXPORT bool fileExists(const OdString& path);
UT_EXPORT bool dirExists(const OdString& path);
// The guard lets the path through and it names an entry (file or directory)
// this process may read. Empty: false.
UT_EXPORT bool accessFile(const OdString& path);
// Replaces a leading "%UserProfileFolder%" (any case) by "%UserProfile%",
// expands "%NAME%" and "$NAME" references (unknown names stay as written),
// corrects slashes and normalises (dots, "~", absolute against the working
// directory); writes the result back into `path` and tells whether that file
// exists (guard first). Empty: false, `path` unchanged.
UT_EXPORT bool expandedFileExists(OdString& path);

// --- copy, remove, rename ---------------------------------------------------------------

// Copies a regular file with its permission bits. Without `overwrite` an
// existing `to` makes it fail. Copying a file onto itself fails.
UT_EXPORT bool copyFile(const OdString& from, const OdString& to, bool overwrite);
// Deletes a file (not a directory). False when it is missing.
UT_EXPORT bool removeFile(const OdString& path);
// Renames a file or directory. Without `overwrite` an existing `to` makes it
// fail and nothing changes.
UT_EXPORT bool renameFile(const OdString& from, const OdString& to, bool overwrite);
// When the file exists: renames it to the same path with the extension
// "bak", removing an older backup first. True when it was renamed; false
// when the file is missing or the rename failed.
UT_EXPORT bool renameFileForBackup(const OdString& path);

// --- content comparison --------------------------------------------------------------

// True when both files exist and their contents are byte for byte equal.
UT_EXPORT bool filesAreEqual(const OdString& a, const OdString& b);
// The same after lower-casing both contents (UTF-8 text; invalid bytes are
// compared as they are).
UT_EXPORT bool filesAreEqualNoCase(const OdString& a, const OdString& b);
// The same after sorting the lines of each file ("\n" or "\r\n" endings; a
// missing last line end does not count).
UT_EXPORT bool filesAreEqualAfterSort(const OdString& a, const OdString& b);

// --- free names ----------------------------------------------------------------------

// `path` itself when nothing exists there; otherwise the first of
// "dir/name (N).ext" for N = start, start + 1, ... that does not exist. When
// the name already ends in " (N)" (decimal digits only), counting continues
// after N instead. `pattern` is the counter's format, with one "%d" (empty:
// " (%d)"); a pattern without exactly one "%d" is replaced by the default.
// Empty when `path` is empty or 100000 candidates all exist.
UT_EXPORT OdString getFirstNotExistingPath(const OdString& path, const OdString& pattern = OdString(), int start = 1);

// --- the program's folders ----------------------------------------------------------
//
// Folders end in "/", so that a file name can be appended directly
// (getExecutableFolder() + L"cacert.pem"). Empty when unknown.

// The running executable's absolute file name (/proc/self/exe).
UT_EXPORT OdString getExecutableFileName();
// The folder holding the running executable.
UT_EXPORT OdString getExecutableFolder();
// The executable's file name ready for a command line: in double quotes when
// it holds a blank.
UT_EXPORT OdString getExecutableCommand();
// The machine-wide data folder of the product: the first absolute entry of
// $XDG_DATA_DIRS (else "/usr/local/share") followed by the product's key
// name (Config::regProduct(), "TVCAD").
UT_EXPORT OdString getProgramDataFolder();
// The user's configuration folder ($XDG_CONFIG_HOME, else ~/.config), without
// the product's name.
UT_EXPORT OdString getUserConfigDir();
// The operating system's shared data folder, "/usr/share/" (where the Windows
// build answers the Windows folder).
UT_EXPORT OdString getOSDirectory();

}  // namespace ut
