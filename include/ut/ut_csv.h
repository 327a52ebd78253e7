#pragma once

// Delimiter-separated text: reading a file into a table of strings, line by
// line, and writing rows with a choice of quoting.
//
// Reading knows only the double quote: a quote toggles "inside quotes" (where
// the delimiter is an ordinary character), and two quotes make one literal
// quote unless they end the line or are followed by the delimiter, in which
// case both toggle (so "" before a delimiter or at the end is an empty quoted
// field). Lines are those of the text file, so a field never spans lines, and
// malformed input never fails: an unmatched quote keeps the rest of the line
// in the last field.

#include <ut/ut_export.h>
#include <ut/ut_textfile.h>

#include <OdArray.h>
#include <OdError.h>
#include <OdString.h>

#include <fstream>

namespace ut {

// Splits one line (without its line end) and appends its fields to `fields`,
// which is not cleared first. Always appends at least one field: the empty
// line gives one empty field, and a line ending in the delimiter gives a
// trailing empty one.
UT_EXPORT void parseCSV(OdArray<OdString>& fields, const OdString& line, wchar_t delimiter);

// Reads the named text file (encoding chosen as TextFile::open(nullptr) does;
// the C library's locale is restored afterwards) and appends one row per line
// to `rows`. A file that cannot be opened leaves `rows` unchanged.
UT_EXPORT void readCSV(OdArray<OdArray<OdString>>& rows, const OdString& fileName, wchar_t delimiter);
// Appends one row per line of an opened text file, first to last; nothing for
// a file that is not opened or has no lines.
UT_EXPORT void readCSV(OdArray<OdArray<OdString>>& rows, const TextFile& file, wchar_t delimiter);

// Writes rows to a file, one line each, UTF-8 encoded, flushing after every
// row. Not synchronised: one writer belongs to one thread at a time.
class UT_EXPORT CsvWriter {
 public:
  enum EQuoting {
    None = 0,      // never quote; special characters need the escape character
    AsNeeded = 1,  // quote a field holding the delimiter, CR, LF or the quote
    Always = 2,    // quote every field
  };

  // What write() throws when a field cannot be written with the settings.
  class UT_EXPORT Error : public OdError {
   public:
    explicit Error(const OdString& message);
    const OdString& message() const noexcept { return description(); }
  };

  // Delimiter ",", AsNeeded, quote '"', no escape character (0), no file.
  CsvWriter();
  // The defaults, then open(fileName).
  explicit CsvWriter(const OdString& fileName);
  // Closes the file.
  ~CsvWriter();
  CsvWriter(const CsvWriter&) = delete;
  CsvWriter& operator=(const CsvWriter&) = delete;

  // Creates or truncates the file for writing (the name is taken as UTF-8
  // bytes, as file names are on this system); a file already open is closed
  // first. Failure puts the stream into its failed state; nothing is thrown.
  void open(const OdString& fileName);
  // Closes the file; a failing close leaves the stream failed.
  void close();

  // Writes one row: the escaped fields with the delimiter between them and
  // LF after the last, then flushes. An empty row writes nothing, not even a
  // line end. Throws Error("No quoting and no escaping") when the mode is None,
  // no escape character is set and a field holds the delimiter, CR or LF; throws
  // std::range_error when a field or the delimiter holds a value that is no
  // Unicode scalar value (a surrogate or beyond U+10FFFF). Either way nothing
  // of the row is written. Stream errors are left in the stream's state.
  void write(const OdArray<OdString>& row);

  wchar_t delimiter() const { return m_delimiter; }
  void setDelimiter(wchar_t delimiter) { m_delimiter = delimiter; }
  EQuoting quoting() const { return m_quoting; }
  wchar_t quoteChar() const { return m_quoteChar; }
  wchar_t escapeChar() const { return m_escapeChar; }
  // Sets all three; an escape character of 0 means none.
  void setQuoting(EQuoting mode, wchar_t quoteChar, wchar_t escapeChar);

  // The state of the stream (not in the Windows original, which leaves it to
  // the stream): whether a file is open, and whether an open, write or close
  // has failed since the last open.
  bool isOpen() const { return m_stream.is_open(); }
  bool failed() const { return m_stream.fail(); }

 private:
  // `field` as written: escape characters and quotes added as the mode says.
  std::wstring escape(const OdString& field) const;

  wchar_t m_delimiter = L',';
  EQuoting m_quoting = AsNeeded;
  wchar_t m_quoteChar = L'"';
  wchar_t m_escapeChar = 0;
  std::ofstream m_stream;
};

}  // namespace ut
