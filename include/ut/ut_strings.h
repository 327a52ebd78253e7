#pragma once

// String primitives on raw wide buffers (null-terminated) and on OdString.
//
// None of these functions keeps state or throws. A null pointer argument is
// always tolerated: tests answer false, searches answer null, edits do
// nothing. The in-place edits (padAtLeftSide, padAtRightSide, safe_tcsncpy,
// truncateWithDots) trust the caller for the size of the buffer.
//
// Splitting functions append their pieces to the output array; they never
// clear it.

#include <ut/ut_export.h>

#include "OdArray.h"
#include "OdString.h"

#include <cstddef>
#include <string>

namespace ut {

// --- tests on raw buffers ------------------------------------------------------

// Parses `text` with wcstol, base 10 (leading white space and a sign are
// accepted as wcstol accepts them) and stores the parsed value in *value, also
// when the answer is false (a null `value` is allowed). False for a null text
// (value untouched) and when nothing could be parsed; otherwise true exactly
// when only white space (iswspace) follows the number. Out-of-range numbers
// are clamped as wcstol clamps them.
UT_EXPORT bool isNumber(const wchar_t* text, long* value);
// The same with a 64-bit parse (wcstoll).
UT_EXPORT bool isNumber(const wchar_t* text, long long* value);
// True when the integer test above accepts `text`, otherwise when the same
// test with wcstod (decimals, exponents, the forms wcstod knows) accepts it.
UT_EXPORT bool isNumber(const wchar_t* text);
// The integer test of isNumber, without storing the value.
UT_EXPORT bool isInteger(const wchar_t* text);
// True when no character exceeds 127; an empty text is ASCII, a null one is not.
UT_EXPORT bool isASCII(const wchar_t* text);
// True when, after leading blanks (code 32), only hexadecimal digits remain.
// A text of blanks only is valid; a trailing blank makes the text invalid.
UT_EXPORT bool isValidHandleString(const wchar_t* text);
// True when any of the wildcard characters *?,.#@`[~ occurs in `text`.
UT_EXPORT bool hasWildcard(const wchar_t* text);

// --- searching and editing raw buffers ------------------------------------------

// Replaces every `from` in `text` by `to`, in place.
UT_EXPORT void replaceSymbol(wchar_t* text, wchar_t from, wchar_t to);

// The first double quote in `text` that is not escaped by a backslash (a
// backslash makes the character after it ordinary); null when there is none
// or `text` is null. Like strchr, one function for constant and writable
// text: the result points into `text`, and writing through it is for the
// caller who owns a writable buffer.
UT_EXPORT wchar_t* findEndingQuote(const wchar_t* text);

// The first occurrence of `part` in `text` ignoring case (both lower-cased with
// the simple one-to-one mapping); the result points into `text`. Null when
// either is null or nothing is found. An empty `part` is found at the start.
// One function for constant and writable text, as findEndingQuote.
UT_EXPORT wchar_t* findSubstringNoCase(const wchar_t* text, const wchar_t* part);

// Right-aligns `text` in `width` characters by inserting blanks at the front;
// a text already as long as `width` is unchanged. The buffer must hold
// width + 1 characters.
UT_EXPORT void padAtLeftSide(wchar_t* text, int width);
// Appends blanks up to `width` characters and terminates the text; a longer
// text keeps its length and is only terminated again at its end. The buffer
// must hold width + 1 characters.
UT_EXPORT void padAtRightSide(wchar_t* text, int width);

// When `text` has at least two characters and starts and ends with a double
// quote, overwrites the closing quote with the terminator and returns the
// character after the opening quote; otherwise returns `text`.
UT_EXPORT wchar_t* trimQuotes(wchar_t* text);

// Shortens `text` in place to `maxLength` characters with three dots. `mode`
// starting with 'b' or 'B' cuts at the beginning ("...", then the last
// maxLength - 3 characters), 'e' or 'E' at the end (the first maxLength - 3
// characters, then "..."); any other mode changes nothing. Nothing happens
// when the text is not longer than `maxLength` or `maxLength` is below 4.
// When cutting at the beginning would leave the character after the dots as
// the second half of a two-byte character in the process locale's multibyte
// encoding (that character and the next, taken as bytes, forming a lead byte
// followed by a trail byte), the dots move one place right and the result is
// one character shorter.
UT_EXPORT void truncateWithDots(wchar_t* text, int maxLength, const wchar_t* mode);

// Copies at most `count` characters of `source` into `target` and always
// terminates it (the target must hold count + 1). A null source gives an
// empty target; a null target does nothing.
UT_EXPORT void safe_tcsncpy(wchar_t* target, const wchar_t* source, std::size_t count);

// --- OdString operations ------------------------------------------------------

// Removes one leading and one trailing double quote when the string has at
// least two characters and both are there.
UT_EXPORT OdString& trimQuotes(OdString& text);
// Puts a double quote at both ends; an empty string stays empty.
UT_EXPORT OdString& wrapInQuotes(OdString& text);

// Trims a formatted number: when the last `separator` lies after the first
// character, trailing zeros after it are removed; then a separator left at
// the end is removed. "2.500" -> "2.5", "3.000" -> "3", "10" stays "10",
// ".50" stays ".50".
UT_EXPORT OdString& trimTrailingZeros(OdString& number, const wchar_t& separator);

// Case-insensitive, locale-aware prefix and suffix tests (letter case is
// ignored, accents are not): the first (last) prefix-length characters of
// `text` must equal `prefix` (`suffix`). An empty prefix or suffix matches.
UT_EXPORT bool startsWith(const OdString& text, const OdString& prefix);
UT_EXPORT bool endsWith(const OdString& text, const OdString& suffix);

// The string without its last character (empty stays empty).
UT_EXPORT OdString removeLast(const OdString& text);
// The part before the first `c`; the whole text when `c` does not occur.
UT_EXPORT OdString beforeFirst(const OdString& text, const wchar_t& c);
// The part after the first `c`; empty when `c` does not occur.
UT_EXPORT OdString afterFirst(const OdString& text, const wchar_t& c);

// Removes every white-space character (iswspace) from `text`.
UT_EXPORT OdString& removeSpaces(OdString& text);
// Escapes every wildcard character of hasWildcard with a backquote, so that a
// wildcard match takes the text literally: "a.b" -> "a`.b", "`" -> "``".
UT_EXPORT OdString escapeWildcards(const OdString& text);

// --- splitting ------------------------------------------------------------------
//
// Every function appends to `parts`. Empty pieces between adjacent separators
// are kept unless stated; an empty text appends nothing.

// Splits at every occurrence of `separator` (left to right, non-overlapping).
// An empty separator appends the whole text as one piece.
UT_EXPORT void split(const OdString& text, const OdString& separator, OdArray<OdString>& parts);
// Splits at every occurrence of any of `separators`; where several match at
// one place, the longest wins. Empty separators are ignored.
UT_EXPORT void split(const OdString& text, const OdArray<OdString>& separators, OdArray<OdString>& parts);
// Splits at every `separator` character; with `skipEmpty`, empty pieces are
// dropped.
UT_EXPORT void splitByChar(const OdString& text, wchar_t separator, OdArray<OdString>& parts, bool skipEmpty = false);
// Splits into lines at "\r\n", "\n" or "\r". The line end after the last line
// does not start another (empty) line.
UT_EXPORT void splitLines(const OdString& text, OdArray<OdString>& lines);
// Splits a search path (folders separated by ';'). A double-quoted stretch may
// hold ';'; the quotes themselves are dropped. Each entry is trimmed of white
// space at both ends, and empty entries are skipped.
UT_EXPORT void splitSearchPath(const OdString& path, OdArray<OdString>& folders);

// --- narrow and wide ------------------------------------------------------------

// UTF-8 form of a wide string and back. Values that are not characters and
// invalid byte sequences each become U+FFFD.
UT_EXPORT std::string ws2s(const std::wstring& text);
UT_EXPORT std::wstring s2ws(const std::string& text);

}  // namespace ut
