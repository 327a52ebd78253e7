// The quoting of export files on arbitrary text: unescape never grows its
// input and undoes escape (unescape(escape(s)) == s), the exported wxString
// pair agrees with the internal one, and text quoted by escape survives the
// reader both as a value name and as string data. escape(unescape(t)) == t is
// no invariant (a bare line feed comes back as CR LF), so it is not checked.

#include <ut/ut_registry.h>

#include "fuzz_input.h"
#include "ut_regfile.h"
#include "ut_regstore_codec.h"

#include <cstdint>
#include <string>

namespace {

// One key with the text as a value name and as the value's string data.
std::wstring fileWith(const std::wstring& quoted) {
  std::wstring file(ut::regfile::kHeader);
  file += L"\r\n\r\n[HKEY_CURRENT_USER\\Software\\Fuzz]\r\n\"";
  file += quoted;
  file += L"\"=\"";
  file += quoted;
  file += L"\"\r\n";
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring text = ut::fuzz::wideText(data, size);

  const std::wstring plain = ut::regfile::unescape(text);
  if (plain.size() > text.size()) __builtin_trap();
  const std::wstring quoted = ut::regfile::escape(text);
  if (ut::regfile::unescape(quoted) != text) __builtin_trap();

  if (ut::unescape(wxString(text)).ToStdWstring() != plain) __builtin_trap();
  if (ut::escape(wxString(text)).ToStdWstring() != quoted) __builtin_trap();

  int values = 0;
  bool otherOperation = false;
  ut::regfile::parse(fileWith(quoted), [&](const ut::regfile::Operation& op) {
    if (op.kind == ut::regfile::Operation::eOpenKey) return;
    if (op.kind != ut::regfile::Operation::eSetValue) {
      otherOperation = true;
      return;
    }
    ++values;
    if (op.name != text || op.type != 1 || op.data != ut::regstore::encodeUtf16le(text, true)) __builtin_trap();
  });
  if (values != 1 || otherOperation) __builtin_trap();
  return 0;
}
