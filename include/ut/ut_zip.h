#pragma once

// Compression: ZlibEngine, which compresses or decompresses one file into
// another as a zlib stream with progress and user abort, its memory-buffer
// helpers, and zip archives over wxWidgets' zip streams.

#include <ut/ut_export.h>

#include <OdArray.h>
#include <OdString.h>

#include <wx/stream.h>

#include <cstddef>
#include <cstdio>
#include <memory>

struct z_stream_s;

// Drives zlib over two files with 4096-byte buffers. Derive from it to receive
// progress (progress) and the outcome (status); the base versions do nothing.
//
// Results are zlib's own codes passed through unchanged (0 Z_OK, 1
// Z_STREAM_END, negative errors), plus -1 for a failed write (or an input or
// output file that cannot be opened) and -7 for a user abort. Writes that fail
// because the reader of a pipe is gone give -1; they never raise SIGPIPE.
//
// Both files are closed by compress/decompress before status() is called, so
// a status handler may remove a partial output. An engine runs one file pair
// at a time; it may be reused.
class UT_EXPORT ZlibEngine {
 public:
  static constexpr int kBufferSize = 4096;
  static constexpr int kUserAbort = -7;
  static constexpr int kWriteError = -1;

  // An idle engine; abort flag false.
  ZlibEngine();
  virtual ~ZlibEngine();
  ZlibEngine(const ZlibEngine&) = delete;
  ZlibEngine& operator=(const ZlibEngine&) = delete;

  // Compresses `input` into `output` (created or emptied) at zlib's `level`
  // (-1 default, 0 to 9). Names are slash-corrected. A file that cannot be
  // opened (or a null or empty name) gives -1 and status "Zlib Error".
  // Steps: init (a non-zero result is returned at once, without status);
  // while not aborted, refill the input buffer when it is empty (end of input
  // leaves the loop), deflate, drain, stop on an error, report progress; then
  // finish and drain until no more output, an error or an abort; final
  // progress; end the stream; status "User Abort", "Success" (last result 0
  // or 1) or "Zlib Error". Returns -7 when aborted, else the last zlib result
  // (1 on success).
  int compress(const wchar_t* input, const wchar_t* output, int level);
  // The inverse. A truncated or corrupt stream gives zlib's error
  // (-3 Z_DATA_ERROR, -5 Z_BUF_ERROR for a cut stream).
  int decompress(const wchar_t* input, const wchar_t* output);

  // Requests (true) or clears an abort; checked once per buffer. Not reset
  // by compress/decompress.
  void setAbortFlag(bool abort) { m_abort = abort; }

  // Progress of the current run in percent: 100 for an empty input; up to
  // 10,000,000 bytes consumed * 100 / length, beyond consumed / (length / 100)
  // so that no product overflows 32 bits. Never above 100.
  int percent();

  // Refills the input buffer: reads up to 4096 bytes; returns their number
  // (0 at the end of the input or on a read error).
  int load_input();
  // Drains the output buffer: writes its n > 0 pending bytes and returns n;
  // a short write sets the last result to -1 and returns 0; 0 when empty.
  int flush_output();

  // zlib's compressBound: the largest compressed size of n bytes.
  static unsigned long compressedSize(unsigned long n);
  // zlib's compress2 and uncompress. *destLen is the room at dest on entry
  // and the size produced on return. Null destLen, or a null buffer with a
  // non-zero length, gives Z_STREAM_ERROR (-2) without touching anything.
  static int compressMemory(unsigned char* dest, unsigned long* destLen, unsigned char* src, unsigned long srcLen,
                            int level);
  static int decompressMemory(unsigned char* dest, unsigned long* destLen, unsigned char* src, unsigned long srcLen);

 protected:
  // Record the input's length and initialise zlib (header version "1.2.5");
  // zlib's result (0 on success).
  virtual int doDeflateInit(int level);
  virtual int doInflateInit();
  // Called after each buffer and once with the final percentage.
  virtual void progress(int percent);
  // Called once at the end of a run that got past initialisation.
  virtual void status(const wchar_t* message);

 private:
  bool openFiles(const wchar_t* input, const wchar_t* output);
  void closeFiles();
  int run(bool deflating, int level);
  int step(bool deflating, int flush);

  std::unique_ptr<z_stream_s> m_stream;
  bool m_abort = false;
  std::FILE* m_in = nullptr;
  std::FILE* m_out = nullptr;
  // Clamped to INT_MAX: inputs beyond 2 GiB compress correctly, their
  // progress simply reads 100 from there on.
  int m_length = 0;
  int m_err = 0;
  unsigned char m_input[kBufferSize];
  unsigned char m_output[kBufferSize];
};

namespace ut {

// Outcome of creating a zip archive.
enum EZipStatus {
  eZipOk = 0,
  eZipNothingToAdd = 1,         // no file given, or a folder that does not exist
  eZipCannotCreateArchive = 2,  // the archive file cannot be created
  eZipCannotReadFile = 3,       // a file to add cannot be opened or read
  eZipWriteError = 4,           // writing the archive failed (disk full ...)
};

// A readable sentence for a status ("" for eZipOk); unknown values give
// "Unknown zip error".
UT_EXPORT OdString zipStatusMessage(EZipStatus status);

// --- creating archives ------------------------------------------------------
//
// Entries are deflated at the default level. Entry names are relative paths
// with "/" as the separator; names outside ASCII are stored as UTF-8 with the
// language-encoding flag set. A folder becomes an entry of its own ("dir/"),
// so empty folders survive. Paths are slash-corrected first. An existing
// archive is replaced; on failure the incomplete archive is removed. Failures
// are also logged (wxLogError) with the message of zipStatusMessage and the
// path concerned.

// One file, stored under its name without the folder.
UT_EXPORT EZipStatus zipFile(const OdString& archive, const OdString& file);
// Several files, each under its name without the folder (a later file with a
// name already used replaces nothing: both entries are written, as zip allows).
// An empty list gives eZipNothingToAdd.
UT_EXPORT EZipStatus zipFiles(const OdString& archive, const OdArray<OdString>& files);
// Everything below `folder` (not the folder itself), recursively, names
// relative to it, in sorted order; hidden files included, symbolic links
// followed. An archive placed inside `folder` is not added to itself.
UT_EXPORT EZipStatus zipFolder(const OdString& archive, const OdString& folder);

// --- extracting ---------------------------------------------------------------
//
// Extraction refuses entries whose names are absolute ("/x", "\x", "C:x") or
// climb out of the target with "..": such an archive fails before anything
// is written. Folders are created as needed; existing files are replaced.
// Every entry's data is checked against its CRC and size. Failures are logged
// (wxLogError) as "Can not read zip entry '<name>'" (a corrupt, truncated or
// refused entry, or an unreadable archive) or "Can not create file '<path>'".

// Extracts every entry of the archive into `folder` (created when missing).
UT_EXPORT bool unzipFolder(const OdString& archive, const OdString& folder);
UT_EXPORT bool unzipFolder(wxInputStream& archive, const OdString& folder);
// Extracts the entry named `entry` (compared with "/" and "\" alike, case
// sensitive) into the file `target`. False when there is no such entry.
UT_EXPORT bool unzipEntry(const OdString& archive, const OdString& entry, const OdString& target);
UT_EXPORT bool unzipEntry(const OdString& archive, const OdString& entry, wxOutputStream& target);
// Extracts the first file entry of the archive into `target`; false when the
// archive holds no file.
UT_EXPORT bool unzipOneFile(const OdString& archive, wxOutputStream& target);
// Appends the names of the archive's entries (folders with their trailing
// "/") to `entries` in archive order; false when it cannot be read.
UT_EXPORT bool getZippedFolderEntries(const OdString& archive, OdArray<OdString>& entries);

// Extraction in portions, for a progress display:
//   UnzippingHelper helper(archive, folder);
//   if (!helper.init(0)) fail;
//   while (helper.remaining() > 0) { if (!helper.unzipPackOfEntries(50)) fail; show progress; }
class UT_EXPORT UnzippingHelper {
 public:
  UnzippingHelper(const OdString& archive, const OdString& folder);
  ~UnzippingHelper();
  UnzippingHelper(const UnzippingHelper&) = delete;
  UnzippingHelper& operator=(const UnzippingHelper&) = delete;

  // Opens the archive, checks every entry name (see above) and creates the
  // folder. `expectedEntries`, when not 0, is compared with the archive's
  // entry count and a difference fails. False when the archive cannot be read.
  bool init(std::size_t expectedEntries);
  // Extracts the next `count` entries (fewer at the end; 0 extracts nothing).
  // False on the first failure, or when init has not succeeded.
  bool unzipPackOfEntries(unsigned int count);
  // Entries in the archive, and those not extracted yet.
  std::size_t total() const;
  std::size_t remaining() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace ut
