#pragma once

// Registry access: the Registry class over one key of the per-user registry
// store, static operations on keys addressed by root and path, and the export
// and import of keys in the registry-export text format.
//
// Numbering: ERootKey, EAccessMode and ERegType (ut_regstore.h) carry the
// Windows numbers (roots 0..4 as export files name them, KEY_READ/
// KEY_ALL_ACCESS masks, REG_* type numbers).
//
// Every operation answers false (or an empty result) on failure and never
// throws. A root number outside 0..4 addresses no key.

#include <ut/ut_export.h>
#include <ut/ut_regstore.h>

#include <OdArray.h>
#include <OdString.h>

#include <wx/buffer.h>
#include <wx/log.h>
#include <wx/string.h>

#include <memory>

namespace ut {

// Quotes text for the inside of a double-quoted string of an export file:
// "\" becomes "\\", a double quote becomes \" and a line feed becomes CR LF
// (so a multi-line value is written with raw line breaks inside its quotes).
UT_EXPORT wxString escape(const wxString& text);
// The reading counterpart: \\ -> \, \" -> ", CR LF -> LF; any other character
// (a lone CR, a backslash before anything else) is kept as it is, so that
// unescape(escape(s)) == s for every s.
UT_EXPORT wxString unescape(const wxString& text);

// One open key (or none) of the registry store. Toolkit log output is
// silenced for the object's whole lifetime (wxLogNull), so that failed calls
// never show messages; the static operations are not affected by it.
class UT_EXPORT Registry {
 public:
  Registry();
  // true: opens HKEY_CURRENT_USER\Software\TVCAD, creating it if needed.
  explicit Registry(bool openCompanyKey);
  // Copies open an equivalent key of their own (same root and path), or none
  // when the source has none or the key cannot be opened any more.
  Registry(const Registry& other);
  Registry& operator=(const Registry& other);
  virtual ~Registry();

  // Creates the key (and missing parents) if needed and keeps it open.
  bool create(ERootKey root, const OdString& path);
  // Opens an existing key.
  bool open(ERootKey root, const OdString& path, EAccessMode mode = eWrite);
  void close();
  bool isOpen() const;

  // A string (REG_SZ or REG_EXPAND_SZ, not expanded), a 32-bit number
  // (REG_DWORD, or a REG_SZ holding a decimal number) or the raw bytes of any
  // value.
  bool read(const OdString& name, OdString& value) const;
  bool read(const OdString& name, long& value) const;
  bool read(const OdString& name, wxMemoryBuffer& value) const;
  // REG_SZ, REG_DWORD (the low 32 bits) and REG_BINARY.
  bool write(const OdString& name, const OdString& value);
  bool write(const OdString& name, long value);
  bool write(const OdString& name, const wxMemoryBuffer& value);
  bool deleteValue(const OdString& name);
  // eRegNone also when the value does not exist (see verifyValue).
  ERegType valueType(const OdString& name) const;
  bool verifyKey(const OdString& subkey) const;
  bool verifyValue(const OdString& name) const;
  // requireData: the value must also be non-empty. True when the value exists
  // and its bytes are well-formed for its type (REG_SZ/REG_EXPAND_SZ: UTF-16
  // with a terminating NUL; REG_DWORD 4 and REG_QWORD 8 bytes; REG_MULTI_SZ
  // ending in an empty string). description, when given, receives one line:
  // what is wrong, or the type and size of good data.
  bool verifyData(const OdString& name, bool requireData, OdString* description = nullptr) const;

  // Creates the key (and missing parents). When key is not null, *key receives
  // a new RegKey object bound to the open key, which the caller owns and
  // deletes (std::unique_ptr<RegKey> owner(*key)); on failure *key is null.
  static bool createKey(ERootKey root, const OdString& path, RegKey** key);
  static bool verifyKey(ERootKey root, const OdString& path);
  static bool verifyValue(ERootKey root, const OdString& path, const OdString& name);
  // Replace the array's contents with the names in enumeration order.
  static bool listKeys(ERootKey root, const OdString& path, OdArray<OdString>& names);
  static bool listValues(ERootKey root, const OdString& path, OdArray<OdString>& names);
  // Deletes the key with its whole subtree; a root cannot be deleted.
  static bool deleteKey(ERootKey root, const OdString& path);
  // Copies the values of from\fromPath into to\toPath (created if missing),
  // overwriting values of the same name; recursive copies the subkeys too.
  // One transaction: all or nothing.
  static bool copyKey(ERootKey from, ERootKey to, const OdString& fromPath, const OdString& toPath, bool recursive);

  // Writes "ROOT\path" (long or short root name) with its subtree to file,
  // replacing it: UTF-8, CR LF, "Windows Registry Editor Version 5.00" first.
  // report: failures are logged with wxLogError ("Bad root", "Failed to open
  // registry key", ...); the result is false in every failing case either way.
  static bool exportKey(const OdString& key, const OdString& file, bool report);
  // Reads such a file (UTF-16 or UTF-8, also "REGEDIT4") into the store in one
  // transaction. Entries that cannot be read or applied are skipped one by one
  // (reported with their line number when report is set) and the rest is
  // imported; the result is false if anything was skipped. A file without the
  // header imports nothing.
  static bool importKey(const OdString& file, bool report);

 private:
  std::unique_ptr<RegKey> m_key;
  wxLogNull m_noLog;
};

}  // namespace ut
