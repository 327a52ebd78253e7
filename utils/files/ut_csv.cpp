// CSV: the line parser, the readers on top of TextFile, and CsvWriter.

#include <ut/ut_csv.h>

#include "ut_platform.h"

#include <stdexcept>
#include <string>

namespace ut {

namespace {

// The parser of parseCSV on raw characters, so that lines held as wxString
// need no copy into an OdString first.
void parseFields(OdArray<OdString>& fields, const wchar_t* text, std::size_t length, wchar_t delimiter) {
  std::wstring field;
  bool inQuotes = false;
  std::size_t i = 0;
  while (i < length) {
    // Copy the run of ordinary characters in one piece.
    std::size_t run = i;
    while (run < length && text[run] != L'"' && (inQuotes || text[run] != delimiter)) ++run;
    field.append(text + i, run - i);
    i = run;
    if (i == length) break;
    if (text[i] == L'"') {
      // Two quotes are one literal quote only when a third character follows
      // and it is not the delimiter; otherwise each quote toggles.
      if (i + 2 < length && text[i + 1] == L'"' && text[i + 2] != delimiter) {
        field += L'"';
        i += 2;
      } else {
        inQuotes = !inQuotes;
        ++i;
      }
      continue;
    }
    // The delimiter outside quotes.
    fields.append(OdString(std::move(field)));
    field.clear();
    ++i;
  }
  fields.append(OdString(std::move(field)));
}

bool isScalarValue(wchar_t c) {
  const auto v = static_cast<std::uint32_t>(c);
  return v < 0xD800 || (v > 0xDFFF && v <= 0x10FFFF);
}

// Strict UTF-8: a value that is no Unicode scalar value cannot be written.
void appendStrictUtf8(std::string& out, const std::wstring& text) {
  for (const wchar_t c : text) {
    if (static_cast<std::uint32_t>(c) < 0x80) {
      out += static_cast<char>(c);
      continue;
    }
    if (!isScalarValue(c)) throw std::range_error("CsvWriter: a field holds a value that is not a Unicode character");
    platform::appendUtf8(out, static_cast<std::uint32_t>(c));
  }
}

}  // namespace

void parseCSV(OdArray<OdString>& fields, const OdString& line, wchar_t delimiter) {
  parseFields(fields, line.c_str(), static_cast<std::size_t>(line.getLength()), delimiter);
}

void readCSV(OdArray<OdArray<OdString>>& rows, const TextFile& file, wchar_t delimiter) {
  if (!file.isOpened()) return;
  rows.reserve(rows.size() + static_cast<OdArray<OdString>::size_type>(file.getLineCount()));
  for (size_t n = 0; n < file.getLineCount(); ++n) {
    const wxString& line = file.getLine(n);
    OdArray<OdString> row;
    parseFields(row, line.wc_str(), line.length(), delimiter);
    rows.append(std::move(row));
  }
}

void readCSV(OdArray<OdArray<OdString>>& rows, const OdString& fileName, wchar_t delimiter) {
  TextFile file(fileName);
  if (!file.open(nullptr)) return;
  readCSV(rows, file, delimiter);
  // Puts back the locale the fallback of open() may have changed.
  file.close();
}

// --- CsvWriter -------------------------------------------------------------------

CsvWriter::Error::Error(const OdString& message) : OdError(message) {}

CsvWriter::CsvWriter() = default;

CsvWriter::CsvWriter(const OdString& fileName) { open(fileName); }

CsvWriter::~CsvWriter() { close(); }

void CsvWriter::open(const OdString& fileName) {
  if (m_stream.is_open()) m_stream.close();
  m_stream.clear();
  m_stream.open(platform::toUtf8(std::wstring_view(fileName.c_str(), static_cast<std::size_t>(fileName.getLength()))),
                std::ios::out | std::ios::trunc | std::ios::binary);
}

void CsvWriter::close() {
  if (m_stream.is_open()) m_stream.close();
}

void CsvWriter::setQuoting(EQuoting mode, wchar_t quoteChar, wchar_t escapeChar) {
  m_quoting = mode;
  m_quoteChar = quoteChar;
  m_escapeChar = escapeChar;
}

std::wstring CsvWriter::escape(const OdString& field) const {
  const wchar_t* text = field.c_str();
  const auto length = static_cast<std::size_t>(field.getLength());
  std::wstring out;
  out.reserve(length + 2);
  bool needsQuotes = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const wchar_t c = text[i];
    const bool breaksField = c == m_delimiter || c == L'\n' || c == L'\r';
    const bool isQuote = c == m_quoteChar && m_quoting != None;
    if (!breaksField && !isQuote) continue;
    if (breaksField && m_quoting != None) {
      needsQuotes = true;
      continue;
    }
    out.append(text + start, i - start);
    start = i + 1;
    if (breaksField) {
      if (m_escapeChar == 0) throw Error(L"No quoting and no escaping");
      out += m_escapeChar;
    } else {
      needsQuotes = true;
      out += m_escapeChar != 0 ? m_escapeChar : m_quoteChar;
    }
    out += c;
  }
  out.append(text + start, length - start);
  if (m_quoting == Always || needsQuotes) {
    out.insert(out.begin(), m_quoteChar);
    out += m_quoteChar;
  }
  return out;
}

void CsvWriter::write(const OdArray<OdString>& row) {
  if (row.isEmpty()) return;
  // The whole row is formed first, so that a field that cannot be written
  // leaves no partial line behind.
  std::string line;
  const std::wstring delimiter(1, m_delimiter);
  for (OdArray<OdString>::size_type i = 0; i < row.size(); ++i) {
    if (i > 0) appendStrictUtf8(line, delimiter);
    appendStrictUtf8(line, escape(row[i]));
  }
  line += '\n';
  m_stream.write(line.data(), static_cast<std::streamsize>(line.size()));
  m_stream.flush();
}

}  // namespace ut
