// Extracting and listing zip archives over wxWidgets' zip input stream.

#include <ut/ut_zip.h>

#include "ut_platform.h"

#include <wx/log.h>
#include <wx/wfstream.h>
#include <wx/zipstrm.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

namespace ut {

namespace {

namespace fs = std::filesystem;

fs::path toPath(const OdString& name) {
  return fs::path(platform::toUtf8(platform::toNativeSeparators(std::wstring(name.c_str()))));
}

wxString fromPath(const fs::path& path) { return wxString::FromUTF8(path.string()); }

bool cannotRead(const wxString& entry) {
  wxLogError(L"Can not read zip entry '%ls'", entry.wc_str());
  return false;
}

bool cannotCreate(const fs::path& file) {
  wxLogError(L"Can not create file '%ls'", fromPath(file).wc_str());
  return false;
}

// The entry's path below the target folder, or nullopt for a name that is
// absolute ("/x", "\x", "C:x") or climbs out with "..". "." components and
// repeated separators are dropped; a name left empty is refused too.
std::optional<fs::path> safeRelativePath(const wxString& name) {
  if (name.empty() || name[0] == L'/' || name[0] == L'\\') return std::nullopt;
  if (name.length() >= 2 && name[1] == L':') return std::nullopt;
  fs::path relative;
  wxString part;
  auto take = [&relative, &part]() -> bool {
    if (part == L"..") return false;
    if (!part.empty() && part != L".") relative /= fs::path(part.ToStdString(wxConvUTF8));
    part.clear();
    return true;
  };
  for (wxUniChar c : name) {
    if (c == L'/' || c == L'\\') {
      if (!take()) return std::nullopt;
    } else {
      part += c;
    }
  }
  if (!take() || relative.empty()) return std::nullopt;
  return relative;
}

bool sameEntryName(const wxString& a, const wxString& b) {
  wxString x = a;
  wxString y = b;
  x.Replace(L"\\", L"/");
  y.Replace(L"\\", L"/");
  return x == y;
}

// Copies the current entry's data to `out`; false when the entry cannot be
// read to its end with a matching CRC and size (wx checks both at the end).
enum class ECopy { eOk, eReadFailed, eWriteFailed };
ECopy copyEntry(wxZipInputStream& zip, wxOutputStream& out) {
  static constexpr std::size_t kChunk = 1 << 16;
  std::vector<char> buffer(kChunk);
  const wxLogNull quiet;  // wx's own account of a bad CRC; the caller reports
  for (;;) {
    zip.Read(buffer.data(), kChunk);
    const std::size_t n = zip.LastRead();
    if (n > 0 && out.Write(buffer.data(), n).LastWrite() != n) return ECopy::eWriteFailed;
    if (zip.Eof()) return ECopy::eOk;
    if (n == 0 || zip.GetLastError() != wxSTREAM_NO_ERROR) return ECopy::eReadFailed;
  }
}

// UTF-8 for the names of an archive, remembering names that were absolute:
// wx strips their leading "/" before the entry shows them, and such an
// archive must be refused, not extracted somewhere else.
class NameConv : public wxMBConvUTF8 {
 public:
  size_t ToWChar(wchar_t* dst, size_t dstLen, const char* src, size_t srcLen = wxNO_LEN) const override {
    const size_t n = wxMBConvUTF8::ToWChar(dst, dstLen, src, srcLen);
    if (src && srcLen != 0 && (src[0] == '/' || src[0] == '\\') && n != wxCONV_FAILED) {
      const wxString raw = wxString::FromUTF8(src, srcLen == wxNO_LEN ? std::strlen(src) : srcLen);
      m_absolute[wxZipEntry::GetInternalName(raw, wxPATH_UNIX)] = raw;
    }
    return n;
  }
  wxMBConv* Clone() const override { return new NameConv(*this); }
  // The raw name an entry's name came from when that was absolute.
  std::optional<wxString> absolute(const wxString& name) const {
    const auto it = m_absolute.find(name);
    return it == m_absolute.end() ? std::nullopt : std::optional<wxString>(it->second);
  }

 private:
  mutable std::map<wxString, wxString> m_absolute;
};

// An archive opened for reading; entries read one after the other.
class Reader {
 public:
  explicit Reader(wxInputStream& in) : m_zip(in, m_conv) {}
  explicit Reader(const OdString& archive)
      : m_file(std::make_unique<wxFFileInputStream>(fromPath(toPath(archive)))), m_zip(*m_file, m_conv) {}

  // The name to refuse the entry under, when it leaves the target folder.
  std::optional<wxString> unsafeName(const wxZipEntry& entry) const {
    if (auto raw = m_conv.absolute(entry.GetInternalName())) return raw;
    const wxString name = entry.GetInternalName();
    if (!safeRelativePath(name)) return name;
    return std::nullopt;
  }

  bool ok() const { return (!m_file || m_file->IsOk()) && m_zip.IsOk(); }
  // The next entry; null at the end or on a damaged archive (see failed()).
  std::unique_ptr<wxZipEntry> next() {
    const wxLogNull quiet;  // the caller reports a damaged archive in its words
    return std::unique_ptr<wxZipEntry>(m_zip.GetNextEntry());
  }
  bool failed() const { return !m_zip.Eof() && m_zip.GetLastError() != wxSTREAM_NO_ERROR; }
  wxZipInputStream& stream() { return m_zip; }

 private:
  NameConv m_conv;
  std::unique_ptr<wxFFileInputStream> m_file;
  wxZipInputStream m_zip;
};

// Extracts the current entry of `reader` into `folder`.
bool extractEntry(Reader& reader, const wxZipEntry& entry, const fs::path& folder) {
  const wxString name = entry.GetInternalName();
  if (const auto unsafe = reader.unsafeName(entry)) return cannotRead(*unsafe);
  const std::optional<fs::path> relative = safeRelativePath(name);
  if (!relative) return cannotRead(name);
  const fs::path target = folder / *relative;
  std::error_code ec;
  if (entry.IsDir()) {
    fs::create_directories(target, ec);
    return fs::is_directory(target, ec) || cannotCreate(target);
  }
  fs::create_directories(target.parent_path(), ec);
  ECopy result = ECopy::eWriteFailed;
  {
    wxFFileOutputStream out(fromPath(target));
    if (!out.IsOk()) return cannotCreate(target);
    result = copyEntry(reader.stream(), out);
    if (!out.Close() && result == ECopy::eOk) result = ECopy::eWriteFailed;
  }
  if (result == ECopy::eOk) return true;
  fs::remove(target, ec);
  return result == ECopy::eReadFailed ? cannotRead(name) : cannotCreate(target);
}

// The names of all entries (folders ending in "/"), or nullopt (logged) for
// an unreadable archive. With `checked`, also nullopt (logged) for a name
// that would leave the target folder.
std::optional<std::vector<wxString>> entryNames(const OdString& archive, bool checked) {
  Reader reader(archive);
  if (!reader.ok()) {
    cannotRead(archive.c_str());
    return std::nullopt;
  }
  std::vector<wxString> names;
  while (auto entry = reader.next()) {
    if (checked) {
      if (const auto unsafe = reader.unsafeName(*entry)) {
        cannotRead(*unsafe);
        return std::nullopt;
      }
    }
    names.push_back(entry->GetInternalName() + (entry->IsDir() ? L"/" : L""));
  }
  if (reader.failed()) {
    cannotRead(names.empty() ? wxString(archive.c_str()) : names.back());
    return std::nullopt;
  }
  return names;
}

bool makeFolder(const fs::path& folder) {
  std::error_code ec;
  fs::create_directories(folder, ec);
  return fs::is_directory(folder, ec) || cannotCreate(folder);
}

bool extractAll(Reader& reader, const fs::path& folder) {
  if (!reader.ok()) return cannotRead(L"");
  while (auto entry = reader.next()) {
    if (!extractEntry(reader, *entry, folder)) return false;
  }
  return !reader.failed() || cannotRead(L"");
}

}  // namespace

bool unzipFolder(const OdString& archive, const OdString& folder) {
  const std::optional<std::vector<wxString>> names = entryNames(archive, true);
  if (!names) return false;
  const fs::path target = toPath(folder);
  if (!makeFolder(target)) return false;
  Reader reader(archive);
  return extractAll(reader, target);
}

bool unzipFolder(wxInputStream& archive, const OdString& folder) {
  const fs::path target = toPath(folder);
  if (!makeFolder(target)) return false;
  Reader reader(archive);
  return extractAll(reader, target);
}

bool unzipEntry(const OdString& archive, const OdString& entry, const OdString& target) {
  const fs::path path = toPath(target);
  bool created = false;
  bool ok = false;
  {
    wxFFileOutputStream out(fromPath(path));
    if (!out.IsOk()) return cannotCreate(path);
    created = true;
    ok = unzipEntry(archive, entry, out);
    if (!out.Close() && ok) ok = cannotCreate(path);
  }
  if (!ok && created) {
    std::error_code ec;
    fs::remove(path, ec);
  }
  return ok;
}

bool unzipEntry(const OdString& archive, const OdString& entry, wxOutputStream& target) {
  Reader reader(archive);
  if (!reader.ok()) return cannotRead(entry.c_str());
  const wxString wanted(entry.c_str());
  while (auto current = reader.next()) {
    if (current->IsDir() || !sameEntryName(current->GetInternalName(), wanted)) continue;
    const ECopy result = copyEntry(reader.stream(), target);
    if (result == ECopy::eOk) return true;
    wxLogError(result == ECopy::eReadFailed ? L"Can not read zip entry '%ls'" : L"Can not write zip entry '%ls'",
               wanted.wc_str());
    return false;
  }
  return cannotRead(wanted);
}

bool unzipOneFile(const OdString& archive, wxOutputStream& target) {
  Reader reader(archive);
  if (!reader.ok()) return cannotRead(archive.c_str());
  while (auto current = reader.next()) {
    if (current->IsDir()) continue;
    const ECopy result = copyEntry(reader.stream(), target);
    return result == ECopy::eOk || cannotRead(current->GetInternalName());
  }
  return cannotRead(archive.c_str());
}

bool getZippedFolderEntries(const OdString& archive, OdArray<OdString>& entries) {
  const std::optional<std::vector<wxString>> names = entryNames(archive, false);
  if (!names) return false;
  for (const wxString& name : *names) entries.append(OdString(name));
  return true;
}

// --- UnzippingHelper ------------------------------------------------------------

struct UnzippingHelper::Impl {
  OdString archive;
  fs::path folder;
  std::unique_ptr<Reader> reader;
  std::size_t total = 0;
  std::size_t done = 0;
};

UnzippingHelper::UnzippingHelper(const OdString& archive, const OdString& folder) : m_impl(std::make_unique<Impl>()) {
  m_impl->archive = archive;
  m_impl->folder = toPath(folder);
}

UnzippingHelper::~UnzippingHelper() = default;

bool UnzippingHelper::init(std::size_t expectedEntries) {
  m_impl->reader.reset();
  m_impl->total = m_impl->done = 0;
  const std::optional<std::vector<wxString>> names = entryNames(m_impl->archive, true);
  if (!names) return false;
  if (expectedEntries != 0 && expectedEntries != names->size()) return false;
  if (!makeFolder(m_impl->folder)) return false;
  m_impl->reader = std::make_unique<Reader>(m_impl->archive);
  if (!m_impl->reader->ok()) {
    m_impl->reader.reset();
    return cannotRead(m_impl->archive.c_str());
  }
  m_impl->total = names->size();
  return true;
}

bool UnzippingHelper::unzipPackOfEntries(unsigned int count) {
  if (!m_impl->reader) return false;
  for (unsigned int i = 0; i < count && m_impl->done < m_impl->total; ++i) {
    auto entry = m_impl->reader->next();
    if (!entry) {
      m_impl->reader.reset();
      return cannotRead(m_impl->archive.c_str());
    }
    if (!extractEntry(*m_impl->reader, *entry, m_impl->folder)) {
      m_impl->reader.reset();
      return false;
    }
    ++m_impl->done;
  }
  return true;
}

std::size_t UnzippingHelper::total() const { return m_impl->total; }
std::size_t UnzippingHelper::remaining() const { return m_impl->total - m_impl->done; }

}  // namespace ut
