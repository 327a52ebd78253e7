#pragma once

// Registry access: the Registry class over one key of the per-user registry
// store, static operations on keys addressed by root and path, and the export
// and import of keys in the registry-export text format.

#include <ut/ut_export.h>
#include <ut/ut_regstore.h>

#include <wx/string.h>

namespace ut {

// Quotes text for the inside of a double-quoted string of an export file:
// "\" becomes "\\", a double quote becomes \" and a line feed becomes CR LF
// (so a multi-line value is written with raw line breaks inside its quotes).
UT_EXPORT wxString escape(const wxString& text);
// The reading counterpart: \\ -> \, \" -> ", CR LF -> LF; any other character
// (a lone CR, a backslash before anything else) is kept as it is, so that
// unescape(escape(s)) == s for every s.
UT_EXPORT wxString unescape(const wxString& text);

}  // namespace ut
