#pragma once

// Text files read and written as arrays of lines, with the choice of the
// character encoding made when a file is opened; the strict UTF-8 test; two
// convenience readers and a wide-character line reader for C streams.
//
// Choosing the encoding (TextFile::open), in this order:
//   1. a byte-order mark (UTF-8, UTF-16 LE/BE, UTF-32 LE/BE) decides, and the
//      mark itself is not part of the text;
//   2. otherwise a file that passes the strict UTF-8 test is UTF-8;
//   3. otherwise the conversion the caller gives, or the process's current
//      one (wxConvCurrent, by default the C library's for its locale);
//   4. when the chosen step cannot read the file: the locale fallback. The C
//      library's locale is set to the user's language (from LC_ALL,
//      LC_MESSAGES or LANG, as "de_DE" or with the encoding suffixes the
//      system offers) and the file is read with the C library's multibyte
//      conversion. That locale stays in force, for the whole process, until
//      close(), restoreLocale() or destruction; the readers below restore it
//      themselves. Do not open files on other threads meanwhile.
// Lines are held without their line ends; each remembers its own kind, and
// write() puts every line back with its own.

#include <ut/ut_export.h>

#include <OdArray.h>
#include <OdString.h>

#include <wx/string.h>

#include <cstddef>
#include <cstdio>
#include <memory>

class wxFile;
class wxMBConv;
class wxTextFile;

namespace ut {

class UT_EXPORT TextFile {
 public:
  // The line-end kinds of wxTextFile, in its order.
  enum ELineEndingType {
    eNone = 0,  // no line end (the last line of a file that does not end in one)
    eUnix = 1,  // LF
    eDos = 2,   // CR LF
    eMac = 3,   // CR
  };

  // How open() chose the encoding of the file it read (not in the Windows
  // original; for tools and diagnostics).
  enum EEncodingSource {
    eNotRead = 0,         // nothing read: not opened, or open() failed
    eByteOrderMark = 1,   // step 1
    eValidUtf8 = 2,       // step 2
    eConversion = 3,      // step 3: the given or the current conversion
    eLocaleFallback = 4,  // step 4
  };

  // No file / the named file; nothing is opened or read yet.
  TextFile();
  explicit TextFile(const OdString& name);
  // Frees the lines; restores the C library's locale when open() changed it.
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  // Reads the whole file into lines, choosing the encoding as described at
  // the top; `conv` may be null (the current conversion). Opening an opened
  // file closes it first. False, with no lines, when there is no name, the
  // file cannot be read, or no step can decode it.
  bool open(const wxMBConv* conv);
  // Drops the lines and, when open() changed the locale, restores it. True.
  bool close();
  // Sets the C library's locale back to the one open() saved and forgets it;
  // nothing when nothing was saved.
  void restoreLocale();

  // Whether the named file exists (false without a name); whether open()
  // succeeded and close() has not been called since; whether the current line
  // is the last one (true for no lines), as wxTextFile counts it.
  bool exists() const;
  bool isOpened() const;
  bool eof() const;

  // Creates the named file empty; false when it exists already, there is no
  // name, or it cannot be created. The second form names the file first.
  bool create() const;
  bool create(const OdString& name) const;

  // Writes every line with its own line end, replacing the file as a whole
  // (through a temporary file beside it, renamed over it at the end). The
  // bytes `bom` (none when null or bomLength is 0) come first, even when there
  // are no lines; the text is encoded with `conv` (UTF-8 without a mark when
  // null). False, with the file unchanged, when there is no name, a line
  // cannot be encoded, or the file cannot be written.
  bool write(const wxMBConv* conv, const char* bom, size_t bomLength);
  // Writes in UTF-8 preceded by the mark EF BB BF.
  bool write_utf8_with_bom();

  // The first line (position 0) / the line after the current one. Past the
  // last line: an empty string, and the position stays one past the end.
  OdString getFirstLine();
  OdString getNextLine();
  // Moves to line n; nothing when n is not a line.
  void goToLine(size_t n);
  size_t getCurrentLine() const;
  size_t getLineCount() const;

  // Line n, to read or change in place. For an n that is not a line: an
  // empty scratch string owned by this object, which later calls clear.
  wxString& getLine(size_t n);
  const wxString& getLine(size_t n) const;
  // The line end of line n; eNone when n is not a line.
  ELineEndingType getLineType(size_t n);

  // Appends a line with the platform's line end (LF here).
  void addLine(const OdString& text) const;
  // Replaces the text of the current line, keeping its line end; nothing when
  // there is no current line.
  void replaceCurrentLine(const OdString& text);
  // Removes all lines.
  void clear() const;

  OdString getName();

  // How the last open() chose the encoding, and the encoding it used: the
  // mark's encoding ("UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE",
  // "UTF-32BE"), "UTF-8", the conversion's character set (for the C
  // library's conversion, the codeset of its locale) or, for the locale
  // fallback, the locale name. Empty when nothing was read.
  EEncodingSource encodingSource() const;
  OdString encodingName() const;

  // `text` with every line end (LF, CR LF, CR) replaced by that of `type`;
  // eNone leaves the text unchanged.
  static OdString translate(const OdString& text, ELineEndingType type);
  // The characters of a line end: "\n", "\r\n", "\r", or "" for eNone and for
  // values outside the enumeration.
  static const wchar_t* getEOL(ELineEndingType type);

 private:
  class Lines;
  std::unique_ptr<Lines> m_file;
  OdString m_savedLocale;
  EEncodingSource m_source = eNotRead;
  OdString m_encoding;
  mutable wxString m_outOfRange;
};

// The strict UTF-8 test. False for null data or fewer than 2 bytes (so a
// one-byte ASCII file is deliberately not UTF-8); otherwise true exactly when
// the bytes are complete, well-formed UTF-8: truncated sequences, overlong
// forms, surrogates (ED A0..BF xx) and code points above U+10FFFF are
// rejected. The data is not modified.
UT_EXPORT bool isValidUTF8Encoding(unsigned char* data, size_t size);
// The same test over a whole file, from its start whatever its position (the
// position is restored). False when the file is not open or cannot be read.
UT_EXPORT bool isValidUTF8Encoding(wxFile& file);

// The file's text with every line end removed: the lines joined with nothing
// between them ("a\nb\n" gives "ab"). Encoding as TextFile::open(nullptr);
// the locale is restored before returning. Throws OdError with the message
// "Unable to open input file '<name>'" when the file cannot be opened.
UT_EXPORT OdString readEntireFile(const OdString& name);

// Appends the file's lines to `lines` (not cleared first), encoding as
// TextFile::open(nullptr), and restores the locale. False, with `lines`
// untouched, only when the file cannot be opened.
UT_EXPORT bool readTextFileContent(OdArray<OdString>& lines, const OdString& name);

// Reads one line of wide characters (fgetwc, so decoded by the stream's
// locale) into `buffer`, which must hold count + 1 characters. LF ends the
// line and is not stored; CR is skipped; DEL (127) ends the line early; after
// `count` stored characters the line ends too. The LF, the DEL and the
// character read when the buffer is full are consumed and lost. The text is
// terminated with 0. Returns null for a null buffer or stream, a stream
// already at its end, or when the end (or a read or decoding error) came
// before any character was stored; otherwise `buffer`. A count below 0 counts
// as 0.
UT_EXPORT wchar_t* nfgets(wchar_t* buffer, int count, FILE* stream);

}  // namespace ut
