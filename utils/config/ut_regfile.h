#pragma once

// The registry-export text format ("Windows Registry Editor Version 5.00"):
// a reader that turns a file into a stream of operations and a writer that
// turns keys and values into the file's text. Neither touches the store; the
// registry access class drives them. Internal: not exported.
//
// Value data travels as the registry's raw bytes (strings UTF-16LE with their
// terminating NUL, numbers little-endian) so that export followed by import
// reproduces every value byte for byte.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class wxString;

namespace ut::regfile {

inline constexpr std::wstring_view kHeader = L"Windows Registry Editor Version 5.00";
inline constexpr std::wstring_view kHeader4 = L"REGEDIT4";

// --- Quoting -------------------------------------------------------------------

// The quoting of the inside of a double-quoted string: "\" becomes "\\", a
// double quote \" and a line feed CR LF; unescape reverses it and keeps any
// other character as it is, so unescape(escape(s)) == s for every s.
std::wstring escape(std::wstring_view text);
std::wstring unescape(std::wstring_view text);

// --- Encodings ---------------------------------------------------------------

// Decodes a whole file: UTF-16LE or UTF-16BE with their byte-order marks,
// UTF-8 with or without one; bytes without a mark that are not valid UTF-8 are
// read as Latin-1, so that every file yields some text.
std::wstring decodeFile(std::string_view bytes);

// The text of a REG_SZ or REG_EXPAND_SZ value when its bytes are exactly what
// regstore::encodeUtf16le(text, true) produces (even size, one terminating NUL, no NUL
// inside, no unpaired surrogate); false otherwise.
bool canonicalString(const std::uint8_t* data, std::size_t size, std::wstring& text);

// --- Reader ------------------------------------------------------------------

// One step of an import, in file order.
struct Operation {
  enum EKind {
    eOpenKey,      // "[ROOT\path]": open the key, creating it if needed
    eDeleteKey,    // "[-ROOT\path]": delete the key with its subtree
    eSetValue,     // name=data: set a value of the current key
    eDeleteValue,  // name=-: delete a value of the current key
    eError,        // a line that could not be read; message says why
  };
  EKind kind = eError;
  int line = 0;                    // 1-based line where the entry starts
  std::wstring rootName;           // keys: the root as written ("HKEY_CURRENT_USER", "HKCU")
  std::wstring path;               // keys: the path below the root, "\"-separated, may be empty
  std::wstring name;               // values: the value name, "" for the default value
  unsigned type = 0;               // eSetValue: registry type number
  std::vector<std::uint8_t> data;  // eSetValue: raw bytes
  std::wstring message;            // eError: "line N: ..."
};

// Reads decoded text and hands each operation to the sink; the Operation
// object is reused between calls. Entries that cannot be read become eError
// operations and reading resumes at the next entry, so one bad line costs one
// value. Values after a key line that could not be read are dropped with the
// key (one error for the key), never attached to another key. Returns false,
// after one eError and no other operation, when the text does not start with
// a known header.
bool parse(std::wstring_view text, const std::function<void(const Operation&)>& sink);

// --- Writer ------------------------------------------------------------------

// Builds an export file in memory: the header line, then key lines and their
// values, CR LF line ends. The text is encoded as UTF-8 without a byte-order
// mark when written out.
class Writer {
 public:
  // What becomes of a value whose type number the writer does not interpret
  // (see value()).
  enum class EOtherTypes {
    ePlaceholder,  // the "[[Unknown type: N]]" line of the registry exporter
    eHex,          // "hex(N):" with the raw bytes, so that an import restores it
  };

  explicit Writer(EOtherTypes otherTypes = EOtherTypes::ePlaceholder);

  // "[fullName]", fullName being "HKEY_CURRENT_USER\Software\..." .
  void key(std::wstring_view fullName);
  // One value of the current key. Well-formed strings are written as quoted
  // text, well-formed 32-bit numbers as "dword:", binary data as "hex:", the
  // other interpreted types (and ill-formed strings or numbers) as "hex(N):"
  // with their raw bytes; uninterpreted type numbers give an
  // "[[Unknown type: N]]" line, or "hex(N):" too when the writer was made
  // with EOtherTypes::eHex.
  void value(std::wstring_view name, unsigned type, const std::uint8_t* data, std::size_t size);

  const std::wstring& text() const { return m_text; }
  std::string utf8() const;

 private:
  void hexList(std::wstring_view prefix, const std::uint8_t* data, std::size_t size);

  std::wstring m_text;
  EOtherTypes m_otherTypes;
};

// --- Files -------------------------------------------------------------------

// A whole export file read and decoded (see decodeFile); nullopt when it
// cannot be opened or read. Logs nothing.
std::optional<std::wstring> loadFile(const wxString& fileName);

enum class ESave { eSaved, eNotCreated, eNotWritten };
// Creates the file, or empties an existing one, and writes the writer's text
// in UTF-8. Logs nothing: callers say what failed in their own words.
ESave saveFile(const wxString& fileName, const Writer& writer);

}  // namespace ut::regfile
