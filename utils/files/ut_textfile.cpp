// TextFile: a wxTextFile whose reading and writing this file takes over, so
// that the bytes are read once, every decoding failure is seen (wxTextFile
// reports a file it cannot convert as empty but opened), and writes report
// encoding and disk errors instead of dropping text.

#include <ut/ut_textfile.h>

#include "ut_platform.h"
#include "ut_utf8.h"

#include <wx/convauto.h>
#include <wx/file.h>
#include <wx/filename.h>
#include <wx/log.h>
#include <wx/strconv.h>
#include <wx/textfile.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

namespace ut {

namespace {

// --- the bytes of a file -----------------------------------------------------

// The whole content of a file, read to its end whatever its announced length
// (files that grow, shrink or have no size, such as those of /proc).
struct FileBytes {
  std::unique_ptr<char[]> data;
  std::size_t size = 0;
  std::string_view view() const { return {data.get(), size}; }
};

// The size a file announces is only a hint: it may be 0 (/proc), grow while
// it is read, or be meaningless (folders).
constexpr wxFileOffset kLargestHint = wxFileOffset(1) << 32;

bool readFileBytes(const wxString& name, FileBytes& out) try {
  if (wxFileName::DirExists(name)) return false;
  wxFile file;
  if (!file.Open(name, wxFile::read)) return false;
  const wxFileOffset announced = file.Length();
  std::size_t capacity = announced > 0 && announced < kLargestHint ? static_cast<std::size_t>(announced) + 1 : 1 << 16;
  std::unique_ptr<char[]> data(new char[capacity]);
  std::size_t used = 0;
  for (;;) {
    if (used == capacity) {
      const std::size_t larger = capacity * 2;
      std::unique_ptr<char[]> grown(new char[larger]);
      std::copy(data.get(), data.get() + used, grown.get());
      data = std::move(grown);
      capacity = larger;
    }
    const ssize_t got = file.Read(data.get() + used, capacity - used);
    if (got == wxInvalidOffset) return false;
    if (got == 0) break;
    used += static_cast<std::size_t>(got);
  }
  out.data = std::move(data);
  out.size = used;
  return true;
} catch (const std::bad_alloc&) {
  // A file larger than the memory available cannot be opened.
  return false;
}

// --- byte-order marks ----------------------------------------------------------

enum class EMark { eNone, eUtf8, eUtf16LE, eUtf16BE, eUtf32LE, eUtf32BE };

struct MarkInfo {
  const char* bytes;
  std::size_t length;
  const char* name;
};

MarkInfo markInfo(EMark mark) {
  switch (mark) {
    case EMark::eUtf8:
      return {"\xEF\xBB\xBF", 3, "UTF-8"};
    case EMark::eUtf16LE:
      return {"\xFF\xFE", 2, "UTF-16LE"};
    case EMark::eUtf16BE:
      return {"\xFE\xFF", 2, "UTF-16BE"};
    case EMark::eUtf32LE:
      return {"\xFF\xFE\x00\x00", 4, "UTF-32LE"};
    case EMark::eUtf32BE:
      return {"\x00\x00\xFE\xFF", 4, "UTF-32BE"};
    case EMark::eNone:
      break;
  }
  return {"", 0, ""};
}

// The mark at the start of the first (up to) four bytes. FF FE 00 00 is the
// UTF-32 mark, as everywhere, although it could start UTF-16 text with a
// null character.
EMark detectMark(std::string_view bytes) {
  const std::string_view head = bytes.substr(0, 4);
  for (EMark mark : {EMark::eUtf32LE, EMark::eUtf32BE, EMark::eUtf8, EMark::eUtf16LE, EMark::eUtf16BE}) {
    const MarkInfo info = markInfo(mark);
    if (head.substr(0, info.length) == std::string_view(info.bytes, info.length)) return mark;
  }
  return EMark::eNone;
}

std::unique_ptr<wxMBConv> markConversion(EMark mark) {
  switch (mark) {
    case EMark::eUtf8:
      return std::make_unique<wxMBConvUTF8>();
    case EMark::eUtf16LE:
      return std::make_unique<wxMBConvUTF16LE>();
    case EMark::eUtf16BE:
      return std::make_unique<wxMBConvUTF16BE>();
    case EMark::eUtf32LE:
      return std::make_unique<wxMBConvUTF32LE>();
    case EMark::eUtf32BE:
      return std::make_unique<wxMBConvUTF32BE>();
    case EMark::eNone:
      break;
  }
  return nullptr;
}

// A readable name of a conversion for encodingName().
OdString conversionName(const wxMBConv& conv) {
  if (&conv == &wxConvLibc || &conv == &wxConvLocal) return OdString(platform::crtCodeset().c_str());
  if (&conv == &wxConvISO8859_1) return L"ISO-8859-1";
  if (dynamic_cast<const wxConvAuto*>(&conv) != nullptr) return L"automatic";
  if (dynamic_cast<const wxMBConvUTF8*>(&conv) != nullptr) return L"UTF-8";
  if (dynamic_cast<const wxMBConvUTF16LE*>(&conv) != nullptr) return L"UTF-16LE";
  if (dynamic_cast<const wxMBConvUTF16BE*>(&conv) != nullptr) return L"UTF-16BE";
  if (dynamic_cast<const wxMBConvUTF32LE*>(&conv) != nullptr) return L"UTF-32LE";
  if (dynamic_cast<const wxMBConvUTF32BE*>(&conv) != nullptr) return L"UTF-32BE";
  if (dynamic_cast<const wxMBConvUTF7*>(&conv) != nullptr) return L"UTF-7";
  // wxCSConv does not tell its character set.
  return L"custom conversion";
}

wxTextFileType toWx(TextFile::ELineEndingType type) {
  switch (type) {
    case TextFile::eUnix:
      return wxTextFileType_Unix;
    case TextFile::eDos:
      return wxTextFileType_Dos;
    case TextFile::eMac:
      return wxTextFileType_Mac;
    case TextFile::eNone:
      break;
  }
  return wxTextFileType_None;
}

TextFile::ELineEndingType fromWx(wxTextFileType type) {
  switch (type) {
    case wxTextFileType_Unix:
      return TextFile::eUnix;
    case wxTextFileType_Dos:
      return TextFile::eDos;
    case wxTextFileType_Mac:
      return TextFile::eMac;
    default:
      break;
  }
  return TextFile::eNone;
}

// Characters per piece handed to the conversion when writing.
constexpr std::size_t kWriteChunk = 1 << 16;

}  // namespace

// --- the line buffer -----------------------------------------------------------

// Reads from bytes handed over by TextFile::open instead of opening the file
// again, and writes with a leading mark and full error checks.
class TextFile::Lines : public wxTextFile {
 public:
  Lines() = default;
  explicit Lines(const wxString& name) : wxTextFile(name) {}

  // Decodes `bytes` with `conv` into lines and marks the buffer opened; on
  // failure adds no line and leaves it closed.
  bool load(std::string_view bytes, const wxMBConv& conv) {
    m_source = bytes;
    m_loading = true;
    const bool ok = Open(conv);
    m_loading = false;
    m_source = {};
    return ok;
  }

  bool save(const wxMBConv& conv, std::string_view bom) {
    m_bom = bom;
    const bool ok = Write(wxTextFileType_None, conv);
    m_bom = {};
    return ok;
  }

 protected:
  bool OnOpen(const wxString& name, wxTextBufferOpenMode mode) override {
    if (mode == ReadAccess) return m_loading;
    return wxTextFile::OnOpen(name, mode);
  }

  bool OnClose() override { return m_loading || wxTextFile::OnClose(); }

  bool OnRead(const wxMBConv& conv) override try {
    if (m_source.empty()) return true;
    const std::size_t length = conv.ToWChar(nullptr, 0, m_source.data(), m_source.size());
    if (length == wxCONV_FAILED) return false;
    std::unique_ptr<wchar_t[]> text(new wchar_t[length + 1]);
    if (conv.ToWChar(text.get(), length, m_source.data(), m_source.size()) != length) return false;
    splitLines(text.get(), length);
    return true;
  } catch (const std::bad_alloc&) {
    Clear();
    return false;
  }

  bool OnWrite(wxTextFileType typeNew, const wxMBConv& conv) override {
    wxFileName target(GetName());
    if (!target.IsAbsolute()) target.MakeAbsolute();
    wxTempFile out;
    if (!out.Open(target.GetFullPath())) return false;
    if (!m_bom.empty() && !out.Write(m_bom.data(), m_bom.size())) return discard(out);
    wxString chunk;
    for (std::size_t n = 0; n < GetLineCount(); ++n) {
      chunk += GetLine(n);
      chunk += GetEOL(typeNew == wxTextFileType_None ? GetLineType(n) : typeNew);
      if (chunk.length() >= kWriteChunk || n + 1 == GetLineCount()) {
        // wxTempFile::Write is false both for a failed conversion and for a
        // short write; either would lose text.
        if (!out.Write(chunk, conv)) return discard(out);
        chunk.clear();
      }
    }
    return out.Commit();
  }

 private:
  static bool discard(wxTempFile& out) {
    out.Discard();
    return false;
  }

  // LF, CR LF and CR end lines; a last line without an end has type None.
  void splitLines(const wchar_t* text, std::size_t length) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < length; ++i) {
      const wchar_t c = text[i];
      if (c != L'\n' && c != L'\r') continue;
      wxTextFileType type = wxTextFileType_Unix;
      if (c == L'\r') type = i + 1 < length && text[i + 1] == L'\n' ? wxTextFileType_Dos : wxTextFileType_Mac;
      AddLine(wxString(text + start, i - start), type);
      if (type == wxTextFileType_Dos) ++i;
      start = i + 1;
    }
    if (start < length) AddLine(wxString(text + start, length - start), wxTextFileType_None);
  }

  std::string_view m_source;
  std::string_view m_bom;
  bool m_loading = false;
};

// --- TextFile ------------------------------------------------------------------

TextFile::TextFile() : m_file(std::make_unique<Lines>()) {}

TextFile::TextFile(const OdString& name) : m_file(std::make_unique<Lines>(name.toWxString())) {}

TextFile::~TextFile() { restoreLocale(); }

bool TextFile::open(const wxMBConv* conv) {
  if (isOpened()) close();
  m_source = eNotRead;
  m_encoding = OdString();
  if (m_file->GetName().empty()) return false;
  // Failed attempts are expected on the way to the right encoding; they are
  // not errors to show.
  wxLogNull quiet;
  FileBytes bytes;
  if (!readFileBytes(m_file->GetName(), bytes)) return false;
  const std::string_view all = bytes.view();

  bool read = false;
  const EMark mark = detectMark(all);
  if (mark != EMark::eNone) {
    const MarkInfo info = markInfo(mark);
    read = m_file->load(all.substr(info.length), *markConversion(mark));
    if (read) {
      m_source = eByteOrderMark;
      m_encoding = OdString(info.name);
    }
  } else if (files::isValidUtf8(reinterpret_cast<const unsigned char*>(all.data()), all.size())) {
    read = m_file->load(all, wxConvUTF8);
    if (read) {
      m_source = eValidUtf8;
      m_encoding = L"UTF-8";
    }
  } else {
    const wxMBConv& chosen = conv != nullptr ? *conv : (wxConvCurrent != nullptr ? *wxConvCurrent : wxConvLibc);
    read = m_file->load(all, chosen);
    if (read) {
      m_source = eConversion;
      m_encoding = conversionName(chosen);
    }
  }
  if (read) return true;

  // The last resort: the C library's conversion under the user's own locale.
  const std::string language = platform::userDefaultLanguage();
  if (language.empty()) return false;
  const std::string saved = platform::crtLocale();
  const std::string accepted = platform::setCrtLocaleForLanguage(language);
  if (accepted.empty()) return false;
  if (!m_file->load(all, wxConvLibc)) {
    platform::setCrtLocale(saved.c_str());
    return false;
  }
  m_savedLocale = OdString(saved.c_str());
  m_source = eLocaleFallback;
  m_encoding = OdString(accepted.c_str());
  return true;
}

bool TextFile::close() {
  m_file->Close();
  m_source = eNotRead;
  m_encoding = OdString();
  restoreLocale();
  return true;
}

void TextFile::restoreLocale() {
  if (m_savedLocale.isEmpty()) return;
  platform::setCrtLocale(m_savedLocale.toUtf8().c_str());
  m_savedLocale = OdString();
}

bool TextFile::exists() const { return !m_file->GetName().empty() && m_file->Exists(); }

bool TextFile::isOpened() const { return m_file->IsOpened(); }

bool TextFile::eof() const { return m_file->GetCurrentLine() >= m_file->GetLineCount(); }

bool TextFile::create() const {
  if (m_file->GetName().empty()) return false;
  wxLogNull quiet;
  return m_file->Create();
}

bool TextFile::create(const OdString& name) const {
  if (name.isEmpty()) return false;
  wxLogNull quiet;
  return m_file->Create(name.toWxString());
}

bool TextFile::write(const wxMBConv* conv, const char* bom, size_t bomLength) {
  if (m_file->GetName().empty()) return false;
  wxLogNull quiet;
  const std::string_view mark = bom != nullptr ? std::string_view(bom, bomLength) : std::string_view();
  if (conv != nullptr) return m_file->save(*conv, mark);
  const wxConvAuto automatic;
  return m_file->save(automatic, mark);
}

bool TextFile::write_utf8_with_bom() { return write(&wxConvUTF8, "\xEF\xBB\xBF", 3); }

OdString TextFile::getFirstLine() { return OdString(m_file->GetFirstLine()); }

OdString TextFile::getNextLine() {
  if (m_file->GetCurrentLine() >= m_file->GetLineCount()) return OdString();
  return OdString(m_file->GetNextLine());
}

void TextFile::goToLine(size_t n) {
  if (n <= m_file->GetLineCount()) m_file->GoToLine(n);
}

size_t TextFile::getCurrentLine() const { return m_file->GetCurrentLine(); }

size_t TextFile::getLineCount() const { return m_file->GetLineCount(); }

wxString& TextFile::getLine(size_t n) {
  if (n < m_file->GetLineCount()) return m_file->GetLine(n);
  m_outOfRange.clear();
  return m_outOfRange;
}

const wxString& TextFile::getLine(size_t n) const {
  if (n < m_file->GetLineCount()) return m_file->GetLine(n);
  m_outOfRange.clear();
  return m_outOfRange;
}

TextFile::ELineEndingType TextFile::getLineType(size_t n) {
  return n < m_file->GetLineCount() ? fromWx(m_file->GetLineType(n)) : eNone;
}

void TextFile::addLine(const OdString& text) const { m_file->AddLine(text.toWxString()); }

void TextFile::replaceCurrentLine(const OdString& text) {
  const size_t current = m_file->GetCurrentLine();
  if (current < m_file->GetLineCount()) m_file->GetLine(current) = text.toWxString();
}

void TextFile::clear() const { m_file->Clear(); }

OdString TextFile::getName() { return OdString(m_file->GetName()); }

TextFile::EEncodingSource TextFile::encodingSource() const { return m_source; }

OdString TextFile::encodingName() const { return m_encoding; }

OdString TextFile::translate(const OdString& text, ELineEndingType type) {
  if (type != eUnix && type != eDos && type != eMac) return text;
  return OdString(wxTextBuffer::Translate(text.toWxString(), toWx(type)));
}

const wchar_t* TextFile::getEOL(ELineEndingType type) {
  if (type != eUnix && type != eDos && type != eMac) return L"";
  return wxTextBuffer::GetEOL(toWx(type));
}

}  // namespace ut
