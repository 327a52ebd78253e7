// Creating zip archives over wxWidgets' zip output stream.

#include <ut/ut_zip.h>

#include "ut_platform.h"

#include <wx/datetime.h>
#include <wx/filename.h>
#include <wx/log.h>
#include <wx/wfstream.h>
#include <wx/zipstrm.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace ut {

namespace {

namespace fs = std::filesystem;

// One archive member to write: a folder ("name/") or a file.
struct Member {
  fs::path source;
  wxString name;
  bool folder = false;
};

fs::path toPath(const OdString& name) {
  return fs::path(platform::toUtf8(platform::toNativeSeparators(std::wstring(name.c_str()))));
}

wxString fromPath(const fs::path& path) { return wxString::FromUTF8(path.string()); }

EZipStatus fail(EZipStatus status, const fs::path& path) {
  wxLogError(L"%ls: '%ls'", zipStatusMessage(status).c_str(), fromPath(path).wc_str());
  return status;
}

wxDateTime modificationTime(const fs::path& path) {
  wxDateTime when;
  wxFileName(fromPath(path)).GetTimes(nullptr, &when, nullptr);
  return when.IsValid() ? when : wxDateTime::Now();
}

// The entry for a member. Names outside ASCII are stored as UTF-8 and say so
// (the language-encoding flag), so that other tools do not read them as the
// old DOS code page.
class MemberEntry : public wxZipEntry {
 public:
  explicit MemberEntry(const Member& m) : wxZipEntry(m.name, modificationTime(m.source)) {
    // Made by Unix, with the member's permissions: extractors then keep the
    // names as they are instead of converting them from the DOS code page.
    SetSystemMadeBy(wxZIP_SYSTEM_UNIX);
    std::error_code ec;
    const auto perms = static_cast<int>(fs::status(m.source, ec).permissions() & fs::perms::all);
    SetMode(ec ? (m.folder ? 0755 : 0644) : perms);
    if (m.folder) SetIsDir();
    if (!m.name.IsAscii()) SetFlags(GetFlags() | wxZIP_LANG_ENC_UTF8);
  }
};

wxZipEntry* newEntry(const Member& m) { return new MemberEntry(m); }

// Copies a file's bytes into the current entry; false when the file cannot
// be read (the status says which side failed).
EZipStatus copyInto(wxZipOutputStream& zip, const fs::path& file) {
  wxFFileInputStream in(fromPath(file));
  if (!in.IsOk()) return eZipCannotReadFile;
  static constexpr std::size_t kChunk = 1 << 16;
  std::vector<char> buffer(kChunk);
  for (;;) {
    in.Read(buffer.data(), kChunk);
    const std::size_t n = in.LastRead();
    if (n > 0 && zip.Write(buffer.data(), n).LastWrite() != n) return eZipWriteError;
    if (in.Eof()) return eZipOk;
    if (n == 0 || !in.IsOk()) return eZipCannotReadFile;
  }
}

// Writes the members into a new archive; removes it again on failure.
EZipStatus writeArchive(const fs::path& archive, const std::vector<Member>& members) {
  if (members.empty()) return fail(eZipNothingToAdd, archive);
  EZipStatus status = eZipOk;
  fs::path failed = archive;
  {
    const wxLogNull quiet;  // failures are reported below, once, in our words
    wxFFileOutputStream out(fromPath(archive));
    if (!out.IsOk()) status = eZipCannotCreateArchive;
    wxZipOutputStream zip(out, -1, wxConvUTF8);
    for (const Member& m : members) {
      if (status != eZipOk) break;
      if (!zip.PutNextEntry(newEntry(m))) {
        status = eZipWriteError;
      } else if (!m.folder) {
        status = copyInto(zip, m.source);
        if (status == eZipOk && !zip.CloseEntry()) status = eZipWriteError;
      }
      if (status != eZipOk) {
        if (status == eZipCannotReadFile) failed = m.source;
        break;
      }
    }
    if (!zip.Close() && status == eZipOk) status = eZipWriteError;
    if (!out.Close() && status == eZipOk) status = eZipWriteError;
  }
  if (status != eZipOk) {
    std::error_code ignored;
    if (status != eZipCannotCreateArchive) fs::remove(archive, ignored);
    return fail(status, failed);
  }
  return eZipOk;
}

// The members below `folder` in sorted order, each folder before its content.
void collect(const fs::path& folder, const wxString& prefix, const fs::path& skip, std::vector<Member>& out) {
  std::error_code ec;
  std::vector<fs::directory_entry> children;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) children.push_back(*it);
  std::sort(children.begin(), children.end(),
            [](const fs::directory_entry& a, const fs::directory_entry& b) { return a.path() < b.path(); });
  for (const fs::directory_entry& child : children) {
    const wxString name = prefix + fromPath(child.path().filename());
    std::error_code kindError;
    if (child.is_directory(kindError)) {
      out.push_back({child.path(), name + L"/", true});
      collect(child.path(), name + L"/", skip, out);
    } else if (!fs::equivalent(child.path(), skip, kindError)) {
      out.push_back({child.path(), name, false});
    }
  }
}

}  // namespace

OdString zipStatusMessage(EZipStatus status) {
  switch (status) {
    case eZipOk:
      return OdString();
    case eZipNothingToAdd:
      return L"Nothing to add to the zip archive";
    case eZipCannotCreateArchive:
      return L"Can not create zip archive";
    case eZipCannotReadFile:
      return L"Can not read file to add to zip archive";
    case eZipWriteError:
      return L"Can not write zip archive";
  }
  return L"Unknown zip error";
}

EZipStatus zipFile(const OdString& archive, const OdString& file) {
  OdArray<OdString> files;
  files.append(file);
  return zipFiles(archive, files);
}

EZipStatus zipFiles(const OdString& archive, const OdArray<OdString>& files) {
  std::vector<Member> members;
  for (const OdString& file : files) {
    const fs::path path = toPath(file);
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return fail(eZipCannotReadFile, path);
    members.push_back({path, fromPath(path.filename()), false});
  }
  return writeArchive(toPath(archive), members);
}

EZipStatus zipFolder(const OdString& archive, const OdString& folder) {
  const fs::path root = toPath(folder);
  std::error_code ec;
  if (folder.isEmpty() || !fs::is_directory(root, ec)) return fail(eZipNothingToAdd, root);
  std::vector<Member> members;
  const fs::path target = toPath(archive);
  collect(root, wxString(), target, members);
  // An empty folder still makes a valid (empty) archive.
  if (members.empty()) {
    wxFFileOutputStream out(fromPath(target));
    if (!out.IsOk()) return fail(eZipCannotCreateArchive, target);
    wxZipOutputStream zip(out);
    return zip.Close() && out.Close() ? eZipOk : fail(eZipWriteError, target);
  }
  return writeArchive(target, members);
}

}  // namespace ut
