#pragma once

// Conversions between the library's OdString and wxString for the file
// layer, slash correction included. Internal.

#include "OdString.h"

#include <wx/string.h>

#include <string>
#include <string_view>

namespace ut::files {

inline wxString toWx(const OdString& s) { return wxString(s.c_str(), static_cast<size_t>(s.getLength())); }
inline OdString fromWx(const wxString& s) { return OdString(s.ToStdWstring()); }

// "\" to "/" and "|" to a blank, in place.
inline void correctInPlace(std::wstring& s) {
  for (wchar_t& c : s) {
    if (c == L'\\')
      c = L'/';
    else if (c == L'|')
      c = L' ';
  }
}

inline wxString toWxCorrected(const OdString& s) {
  const std::wstring_view text(s.c_str(), static_cast<size_t>(s.getLength()));
  // Most names need no correction: one copy, straight into the wxString.
  if (text.find_first_of(L"\\|") == std::wstring_view::npos) return wxString(text.data(), text.size());
  std::wstring corrected(text);
  correctInPlace(corrected);
  return wxString(corrected);
}

}  // namespace ut::files
