// The free path-string functions and the module-type classification.

#include <ut/ut_filename.h>

#include "ut_files_wx.h"

#include <wx/filename.h>

#include <set>

namespace ut {

using files::fromWx;
using files::toWx;

namespace {

OdString replaced(const wchar_t* text, wchar_t from, wchar_t to) {
  std::wstring s = text ? text : L"";
  for (wchar_t& c : s) {
    if (c == from) c = to;
  }
  return OdString(std::move(s));
}

bool holds(const wchar_t* text, wchar_t c) {
  if (!text) return false;
  for (; *text; ++text) {
    if (*text == c) return true;
  }
  return false;
}

constexpr wxPathFormat kFormats[] = {wxPATH_NATIVE, wxPATH_UNIX, wxPATH_MAC, wxPATH_DOS, wxPATH_VMS};

}  // namespace

OdString correctSlashes(const OdString& path) {
  std::wstring s(path.c_str(), static_cast<size_t>(path.getLength()));
  files::correctInPlace(s);
  return OdString(std::move(s));
}

OdString correctSlashes(const wchar_t* path) { return path ? correctSlashes(OdString(path)) : OdString(); }

OdString& correctSlashes(OdString& path) {
  path.replace(L'\\', L'/');
  path.replace(L'|', L' ');
  return path;
}

OdString makeBackSlashes(const OdString& path) { return replaced(path.c_str(), L'/', L'\\'); }
OdString makeBackSlashes(const wchar_t* path) { return replaced(path, L'/', L'\\'); }
bool checkSlashes(const OdString& path) { return !holds(path.c_str(), L'\\'); }
bool checkSlashes(const wchar_t* path) { return !holds(path, L'\\'); }

OdString appendFolder(const wchar_t* base, const wchar_t* folder) {
  FileName name;
  name.assignDir(OdString(folder && *folder ? folder : L"."));
  name.makeAbsolute(OdString(base ? base : L""));
  return name.getPath(wxPATH_GET_VOLUME | wxPATH_GET_SEPARATOR);
}

bool equalFilePath(const OdString& a, const OdString& b) { return FileName(a).sameAs(FileName(b)); }

OdString validateFileName(const OdString& name, bool keepDots, wchar_t replacement) {
  std::set<wchar_t> forbidden;  // ordered: characters are processed in ascending code order
  const auto addAll = [&](const wxString& chars) {
    for (const auto c : chars) forbidden.insert(static_cast<wchar_t>(c.GetValue()));
  };
  for (const wxPathFormat format : kFormats) {
    addAll(wxFileName::GetVolumeSeparator(format));
    if (!keepDots) {
      addAll(wxFileName::GetForbiddenChars(format));
      addAll(wxFileName::GetPathSeparators(format));
    }
  }
  if (keepDots)
    addAll(getForbiddenCharacters().c_str());
  else
    forbidden.insert(L'.');
  std::wstring result(name.c_str(), static_cast<size_t>(name.getLength()));
  for (const wchar_t bad : forbidden) {
    for (wchar_t& c : result) {
      if (c == bad) c = replacement;
    }
  }
  return OdString(std::move(result));
}

bool verifyAbsolutePath(OdString& path, FileName& fn) {
  fn.assign(path);
  if (!fn.isAbsolute()) return false;
  fn.normalize(wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_ABSOLUTE);
  path = fn.getFullPath();
  return true;
}

OdString getForbiddenCharacters() {
  return fromWx(wxFileName::GetForbiddenChars(wxPATH_NATIVE) + wxFileName::GetPathSeparators(wxPATH_NATIVE));
}

EAppModuleType FileName::appModuleType(const OdString& file) {
  struct Kind {
    const wchar_t* ext;
    EAppModuleType type;
  };
  static constexpr Kind kKinds[] = {
      {L"lsp", eLispModule},   {L"des", eLispModule},   {L"mnl", eLispModule},   {L"dvb", eVbaProject},
      {L"tx", eManagedModule}, {L"tcx", eNativeModule}, {L"arx", eNativeModule}, {L"drx", eNativeModule},
      {L"dbx", eNativeModule}, {L"dll", eNativeModule},
  };
  const wxString ext = FileName(file).wx().GetExt().Lower();
  for (const Kind& kind : kKinds) {
    if (ext == kind.ext) return kind.type;
  }
  return eNotAppModule;
}

}  // namespace ut
