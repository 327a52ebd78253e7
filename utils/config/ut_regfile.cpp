#include "ut_regfile.h"
#include "ut_regstore_codec.h"

#include "ut_platform.h"

#include <wx/file.h>
#include <wx/log.h>

#include <cwchar>

namespace ut::regfile {

std::wstring escape(std::wstring_view text) {
  // One pass doing the three replacements: they never feed each other (the
  // backslash added before a quote must not be doubled, and that is exactly
  // what doubling backslashes first and quoting second gives).
  std::wstring out;
  out.reserve(text.size() + text.size() / 8 + 2);
  for (const wchar_t c : text) {
    if (c == L'\\') {
      out += L"\\\\";
    } else if (c == L'"') {
      out += L"\\\"";
    } else if (c == L'\n') {
      out += L"\r\n";
    } else {
      out += c;
    }
  }
  return out;
}

std::wstring unescape(std::wstring_view in) {
  std::wstring out;
  out.reserve(in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    const wchar_t c = in[i];
    const wchar_t next = i + 1 < in.size() ? in[i + 1] : L'\0';
    if (c == L'\\' && (next == L'\\' || next == L'"')) {
      out += next;
      ++i;
    } else if (c == L'\r' && next == L'\n') {
      out += L'\n';
      ++i;
    } else {
      out += c;
    }
  }
  return out;
}

namespace {

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

int hexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

bool startsWithNoCase(std::wstring_view s, std::wstring_view prefix) {
  if (s.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    wchar_t a = s[i];
    if (a >= L'A' && a <= L'Z') a = static_cast<wchar_t>(a - L'A' + L'a');
    if (a != prefix[i]) return false;  // prefixes are given in lower case
  }
  return true;
}

std::wstring lineMessage(int line, std::wstring_view what) {
  return L"line " + std::to_wstring(line) + L": " + std::wstring(what);
}

// --- reader --------------------------------------------------------------------

class Parser {
 public:
  Parser(std::wstring_view text, const std::function<void(const Operation&)>& sink) : m_text(text), m_sink(sink) {}

  bool run();

 private:
  enum EKeyState { eNoKey, eInKey, eBadKey };

  // A failed entry: what went wrong, on which line, and the position where
  // reading resumes.
  struct Failure {
    int line;
    std::wstring what;
    std::size_t resumePos;
    int resumeLine;
  };

  std::size_t lineEnd(std::size_t pos) const {
    const std::size_t nl = m_text.find(L'\n', pos);
    return nl == std::wstring_view::npos ? m_text.size() : nl;
  }
  // The line's text without its line end (LF or CR LF).
  std::wstring_view lineText(std::size_t pos) const {
    std::size_t end = lineEnd(pos);
    if (end > pos && m_text[end - 1] == L'\r') --end;
    return m_text.substr(pos, end - pos);
  }
  std::size_t nextLine(std::size_t pos) const {
    const std::size_t end = lineEnd(pos);
    return end == m_text.size() ? end : end + 1;
  }
  // True when nothing but blanks remain before the end of the line at pos.
  bool restOfLineBlank(std::size_t pos) const {
    while (pos < m_text.size() && isBlank(m_text[pos])) ++pos;
    if (pos < m_text.size() && m_text[pos] == L'\r') ++pos;
    return pos == m_text.size() || m_text[pos] == L'\n';
  }
  void skipBlanks(std::size_t& pos) const {
    while (pos < m_text.size() && isBlank(m_text[pos])) ++pos;
  }

  void emitError(int line, std::wstring_view what) {
    m_op.kind = Operation::eError;
    m_op.line = line;
    m_op.message = lineMessage(line, what);
    m_sink(m_op);
  }

  void keyLine(std::wstring_view line, int lineNo);
  // Reads one value entry starting at m_pos (on its first character); on
  // success fills m_op and advances m_pos/m_line past the entry.
  bool valueEntry(Failure& failure);
  // A quoted string starting at pos (on the opening quote); returns the raw
  // text between the quotes and moves pos past the closing quote.
  bool quoted(std::size_t& pos, int& line, std::wstring& raw) const;
  bool hexList(std::size_t& pos, int& line, Failure& failure);

  std::wstring_view m_text;
  const std::function<void(const Operation&)>& m_sink;
  Operation m_op;
  std::size_t m_pos = 0;
  int m_line = 1;
  EKeyState m_state = eNoKey;
  bool m_ansi = false;  // REGEDIT4 files carry single-byte strings
};

bool Parser::run() {
  if (!m_text.empty() && m_text[0] == L'\xFEFF') m_pos = 1;

  // The header: the first line that is not blank.
  for (;;) {
    std::wstring_view line = lineText(m_pos);
    while (!line.empty() && isBlank(line.back())) line.remove_suffix(1);
    std::size_t lead = 0;
    while (lead < line.size() && isBlank(line[lead])) ++lead;
    line.remove_prefix(lead);
    if (line.empty() && m_pos < m_text.size()) {
      m_pos = nextLine(m_pos);
      ++m_line;
      continue;
    }
    if (line == kHeader || line == kHeader4) {
      m_ansi = line == kHeader4;
      m_pos = nextLine(m_pos);
      ++m_line;
      break;
    }
    emitError(m_line, L"not a registry export file: the first line must be \"" + std::wstring(kHeader) + L"\"");
    return false;
  }

  while (m_pos < m_text.size()) {
    std::size_t start = m_pos;
    skipBlanks(start);
    const std::wstring_view line = lineText(start);
    if (line.empty() || line[0] == L';') {
      m_pos = nextLine(m_pos);
      ++m_line;
      continue;
    }
    if (line[0] == L'[') {
      keyLine(line, m_line);
      m_pos = nextLine(m_pos);
      ++m_line;
      continue;
    }
    if (line[0] != L'@' && line[0] != L'"') {
      if (m_state != eBadKey) emitError(m_line, L"unrecognised line");
      m_pos = nextLine(m_pos);
      ++m_line;
      continue;
    }

    const int entryLine = m_line;
    m_pos = start;
    Failure failure;
    if (valueEntry(failure)) {
      if (m_state == eInKey) {
        m_sink(m_op);
      } else if (m_state == eNoKey) {
        emitError(entryLine, L"value outside a key");
      }
    } else {
      if (m_state != eBadKey) emitError(failure.line, failure.what);
      m_pos = failure.resumePos;
      m_line = failure.resumeLine;
    }
  }
  return true;
}

void Parser::keyLine(std::wstring_view line, int lineNo) {
  if (line.size() >= 2 && line[1] == L'[') {
    // The exporter's placeholder for a value of a type it does not interpret:
    // the value is lost but the key goes on.
    if (m_state == eInKey) emitError(lineNo, L"value of an unsupported type not imported: " + std::wstring(line));
    return;
  }
  std::wstring_view body = line;
  while (!body.empty() && isBlank(body.back())) body.remove_suffix(1);
  const auto bad = [&](std::wstring_view what) {
    emitError(lineNo, what);
    m_state = eBadKey;
  };
  if (body.size() < 2 || body.back() != L']') return bad(L"key line without closing \"]\"");
  body = body.substr(1, body.size() - 2);
  bool remove = false;
  if (!body.empty() && body[0] == L'-') {
    remove = true;
    body.remove_prefix(1);
  }
  const std::size_t sep = body.find(L'\\');
  const std::wstring_view root = body.substr(0, sep);
  const std::wstring_view path = sep == std::wstring_view::npos ? std::wstring_view() : body.substr(sep + 1);
  if (root.empty()) return bad(L"key line without a root key");
  if (sep != std::wstring_view::npos) {
    // Every level needs a name: no empty component, no leading or trailing "\".
    std::size_t from = 0;
    for (;;) {
      const std::size_t next = path.find(L'\\', from);
      const std::size_t len = (next == std::wstring_view::npos ? path.size() : next) - from;
      if (len == 0) return bad(L"empty key name in \"" + std::wstring(body) + L"\"");
      if (next == std::wstring_view::npos) break;
      from = next + 1;
    }
  }
  if (remove && path.empty()) return bad(L"a root key cannot be deleted");
  m_op.kind = remove ? Operation::eDeleteKey : Operation::eOpenKey;
  m_op.line = lineNo;
  m_op.rootName.assign(root);
  m_op.path.assign(path);
  m_state = remove ? eNoKey : eInKey;
  m_sink(m_op);
}

bool Parser::quoted(std::size_t& pos, int& line, std::wstring& raw) const {
  std::size_t i = pos + 1;
  int lines = line;
  while (i < m_text.size()) {
    const wchar_t c = m_text[i];
    if (c == L'"') {
      raw.assign(m_text.substr(pos + 1, i - pos - 1));
      pos = i + 1;
      line = lines;
      return true;
    }
    if (c == L'\\' && i + 1 < m_text.size() && m_text[i + 1] != L'\n') {
      i += 2;
      continue;
    }
    if (c == L'\n') ++lines;
    ++i;
  }
  return false;
}

bool Parser::hexList(std::size_t& pos, int& line, Failure& failure) {
  m_op.data.clear();
  const auto fail = [&](int at, std::wstring_view what, std::size_t resume, int resumeLine) {
    failure = {at, std::wstring(what), resume, resumeLine};
    return false;
  };
  for (;;) {
    skipBlanks(pos);
    if (restOfLineBlank(pos)) {
      pos = nextLine(pos);
      ++line;
      return true;
    }
    const wchar_t c = m_text[pos];
    if (c == L'\\') {
      if (!restOfLineBlank(pos + 1)) return fail(line, L"bad hex data", nextLine(pos), line + 1);
      const std::size_t next = nextLine(pos);
      std::size_t p = next;
      skipBlanks(p);
      const std::wstring_view cont = p < m_text.size() ? lineText(p) : std::wstring_view();
      if (cont.empty() || cont[0] == L'"' || cont[0] == L'@' || cont[0] == L'[' || cont[0] == L';') {
        // The continuation never came: the file was cut or edited here.
        return fail(line, L"truncated hex data", next, line + 1);
      }
      pos = p;
      ++line;
      continue;
    }
    const int d1 = hexDigit(c);
    if (d1 < 0) return fail(line, L"bad hex data", nextLine(pos), line + 1);
    int value = d1;
    ++pos;
    if (pos < m_text.size() && hexDigit(m_text[pos]) >= 0) {
      value = value * 16 + hexDigit(m_text[pos]);
      ++pos;
    }
    m_op.data.push_back(static_cast<std::uint8_t>(value));
    skipBlanks(pos);
    if (pos < m_text.size() && m_text[pos] == L',') {
      ++pos;
    } else if (!(pos < m_text.size() && m_text[pos] == L'\\') && !restOfLineBlank(pos)) {
      return fail(line, L"bad hex data", nextLine(pos), line + 1);
    }
  }
}

bool Parser::valueEntry(Failure& failure) {
  const int startLine = m_line;
  std::size_t pos = m_pos;
  int line = m_line;
  const auto fail = [&](std::wstring_view what) {
    // After a quoted part that ran over several lines, the likeliest fault is
    // a missing closing quote on the first line: resume right after it so
    // that the lines it swallowed are read as entries of their own.
    if (line != startLine) {
      failure = {startLine, L"unterminated quoted text", nextLine(m_pos), startLine + 1};
    } else {
      failure = {line, std::wstring(what), nextLine(pos), line + 1};
    }
    return false;
  };

  std::wstring raw;
  if (m_text[pos] == L'@') {
    m_op.name.clear();
    ++pos;
  } else {
    if (!quoted(pos, line, raw)) {
      failure = {startLine, L"unterminated quoted name", nextLine(m_pos), startLine + 1};
      return false;
    }
    m_op.name = unescape(raw);
  }
  skipBlanks(pos);
  if (pos >= m_text.size() || m_text[pos] != L'=') {
    return fail(restOfLineBlank(pos) ? L"truncated line: missing \"=\" and data"
                                     : L"expected \"=\" after the value name");
  }
  ++pos;
  skipBlanks(pos);
  const std::wstring_view rest = m_text.substr(pos, lineEnd(pos) - pos);

  m_op.line = startLine;
  m_op.kind = Operation::eSetValue;
  if (!rest.empty() && rest[0] == L'"') {
    const int before = line;
    if (!quoted(pos, line, raw)) {
      failure = {startLine, L"unterminated quoted string", nextLine(m_pos), startLine + 1};
      return false;
    }
    if (!restOfLineBlank(pos)) {
      if (line == before) return fail(L"unexpected text after the closing quote");
      failure = {startLine, L"unterminated quoted string", nextLine(m_pos), startLine + 1};
      return false;
    }
    m_op.type = 1;
    m_op.data = regstore::encodeUtf16le(unescape(raw), true);
    m_pos = nextLine(pos);
    m_line = line + 1;
    return true;
  }
  if (!rest.empty() && rest[0] == L'-') {
    if (!restOfLineBlank(pos + 1)) return fail(L"unexpected text after \"-\"");
    m_op.kind = Operation::eDeleteValue;
    m_pos = nextLine(pos);
    m_line = line + 1;
    return true;
  }
  if (startsWithNoCase(rest, L"dword:")) {
    pos += 6;
    std::uint32_t value = 0;
    int digits = 0;
    while (pos < m_text.size() && hexDigit(m_text[pos]) >= 0 && digits < 9) {
      value = (value << 4) | static_cast<std::uint32_t>(hexDigit(m_text[pos]));
      ++digits;
      ++pos;
    }
    if (digits == 0) return fail(L"truncated line: \"dword:\" without digits");
    if (digits > 8 || !restOfLineBlank(pos)) return fail(L"bad dword: 1 to 8 hexadecimal digits expected");
    m_op.type = 4;
    m_op.data = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                 static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
    m_pos = nextLine(pos);
    m_line = line + 1;
    return true;
  }
  if (startsWithNoCase(rest, L"hex")) {
    pos += 3;
    unsigned type = 3;
    if (pos < m_text.size() && m_text[pos] == L'(') {
      ++pos;
      std::uint64_t number = 0;
      int digits = 0;
      while (pos < m_text.size() && hexDigit(m_text[pos]) >= 0) {
        number = (number << 4) | static_cast<unsigned>(hexDigit(m_text[pos]));
        ++pos;
        if (++digits > 8) break;
      }
      if (digits == 0 || digits > 8 || pos >= m_text.size() || m_text[pos] != L')') {
        return fail(L"bad type number in \"hex(...)\"");
      }
      ++pos;
      type = static_cast<unsigned>(number);
    }
    if (pos >= m_text.size() || m_text[pos] != L':') return fail(L"unknown value type");
    ++pos;
    if (!hexList(pos, line, failure)) return false;
    if (m_ansi && (type == 1 || type == 2 || type == 7)) {
      // REGEDIT4 wrote these as single-byte text; the store keeps UTF-16.
      std::wstring widened;
      for (std::uint8_t b : m_op.data) widened += static_cast<wchar_t>(b);
      m_op.data = regstore::encodeUtf16le(widened, false);
    }
    m_op.type = type;
    m_pos = pos;
    m_line = line;
    return true;
  }
  if (rest.empty() || (rest.size() == 1 && rest[0] == L'\r')) return fail(L"truncated line: no data after \"=\"");
  return fail(L"unknown value type");
}

}  // namespace

// --- public functions of the format layer -----------------------------------------

std::wstring decodeFile(std::string_view bytes) {
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
      static_cast<unsigned char>(bytes[1]) == 0xFE) {
    return platform::decodeUtf16(reinterpret_cast<const std::uint8_t*>(bytes.data()) + 2, bytes.size() - 2,
                                 platform::EByteOrder::eLittleEndian);
  }
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFE &&
      static_cast<unsigned char>(bytes[1]) == 0xFF) {
    return platform::decodeUtf16(reinterpret_cast<const std::uint8_t*>(bytes.data()) + 2, bytes.size() - 2,
                                 platform::EByteOrder::eBigEndian);
  }
  if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
  std::wstring text;
  if (platform::decodeUtf8(bytes, text, platform::ESurrogates::eKeep)) return text;
  text.clear();
  for (char c : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
  return text;
}

bool canonicalString(const std::uint8_t* data, std::size_t size, std::wstring& text) {
  if (size < 2 || size % 2 != 0 || data[size - 1] != 0 || data[size - 2] != 0) return false;
  text = regstore::decodeUtf16le(data, size - 2);
  for (wchar_t c : text) {
    if (c == 0 || (c >= 0xD800 && c <= 0xDFFF)) return false;
  }
  return true;
}

bool parse(std::wstring_view text, const std::function<void(const Operation&)>& sink) {
  Parser parser(text, sink);
  return parser.run();
}

// --- writer ----------------------------------------------------------------------

namespace {

const wchar_t kHexDigits[] = L"0123456789abcdef";

}  // namespace

Writer::Writer(EOtherTypes otherTypes) : m_otherTypes(otherTypes) {
  m_text.reserve(4096);
  m_text += kHeader;
  m_text += L"\r\n";
}

void Writer::key(std::wstring_view fullName) {
  m_text += L'[';
  m_text += fullName;
  m_text += L"]\r\n";
}

void Writer::value(std::wstring_view name, unsigned type, const std::uint8_t* data, std::size_t size) {
  std::wstring left;
  if (name.empty()) {
    left = L"@";
  } else {
    left = L'"';
    left += escape(name);
    left += L'"';
  }

  std::wstring text;
  if (type == 1 && canonicalString(data, size, text)) {
    m_text += left;
    m_text += L"=\"";
    m_text += escape(text);
    m_text += L"\"\r\n";
    return;
  }
  if (type == 4 && size == 4) {
    const std::uint32_t v = static_cast<std::uint32_t>(data[0]) | (static_cast<std::uint32_t>(data[1]) << 8) |
                            (static_cast<std::uint32_t>(data[2]) << 16) | (static_cast<std::uint32_t>(data[3]) << 24);
    wchar_t digits[9];
    std::swprintf(digits, 9, L"%.8x", v);
    m_text += left;
    m_text += L"=dword:";
    m_text += digits;
    m_text += L"\r\n";
    return;
  }
  if (type == 3) {
    hexList(left + L"=hex:", data, size);
    return;
  }
  if (type <= 4 || type == 7 || type == 11 || m_otherTypes == EOtherTypes::eHex) {
    wchar_t prefix[16];  // "=hex(ffffffff):"
    std::swprintf(prefix, 16, L"=hex(%x):", type);
    hexList(left + prefix, data, size);
    return;
  }
  m_text += L"[[Unknown type: " + std::to_wstring(type) + L"]]\r\n";
}

void Writer::hexList(std::wstring_view prefix, const std::uint8_t* data, std::size_t size) {
  m_text += prefix;
  std::size_t lineLength = platform::utf16Length(prefix);
  for (std::size_t i = 0; i < size; ++i) {
    m_text += kHexDigits[data[i] >> 4];
    m_text += kHexDigits[data[i] & 0x0F];
    lineLength += 2;
    if (i + 1 < size) {
      m_text += L',';
      ++lineLength;
      if (lineLength > 76) {
        m_text += L"\\\r\n  ";
        lineLength = 2;
      }
    }
  }
  m_text += L"\r\n";
}

std::string Writer::utf8() const { return platform::toUtf8(m_text, platform::ESurrogates::eKeep); }

// --- Files -------------------------------------------------------------------

std::optional<std::wstring> loadFile(const wxString& fileName) {
  const wxLogNull quiet;
  wxFile in;
  if (!in.Open(fileName, wxFile::read)) return std::nullopt;
  const wxFileOffset length = in.Length();
  if (length < 0) return std::nullopt;
  std::string bytes(static_cast<std::size_t>(length), '\0');
  if (in.Read(bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) return std::nullopt;
  return decodeFile(bytes);
}

ESave saveFile(const wxString& fileName, const Writer& writer) {
  const std::string bytes = writer.utf8();
  const wxLogNull quiet;
  wxFile out;
  if (!out.Create(fileName, true)) return ESave::eNotCreated;
  return out.Write(bytes.data(), bytes.size()) == bytes.size() && out.Close() ? ESave::eSaved : ESave::eNotWritten;
}

}  // namespace ut::regfile
