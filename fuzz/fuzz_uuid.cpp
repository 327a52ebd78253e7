// Uuid::parse on arbitrary text. A refused text leaves the output untouched;
// an accepted one is the canonical form, in either case and optionally in
// braces, so its lower-case unbraced spelling is exactly toString(), and
// both written forms parse back to the same identifier.

#include <ut/ut_uuid.h>

#include "fuzz_input.h"

#include <cstdint>
#include <string>

namespace {

std::wstring str(const OdString& s) { return std::wstring(s.c_str(), static_cast<std::size_t>(s.getLength())); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring text = ut::fuzz::wideText(data, size);
  ut::Uuid::Bytes marker{};
  marker.fill(0xA5);
  ut::Uuid uuid(marker);
  if (!ut::Uuid::parse(OdString(text), uuid)) {
    if (uuid.bytes() != marker) __builtin_trap();
    return 0;
  }

  std::wstring canonical = text;
  if (canonical.size() == 38 && canonical.front() == L'{' && canonical.back() == L'}') {
    canonical = canonical.substr(1, 36);
  }
  for (wchar_t& c : canonical) {
    if (c >= L'A' && c <= L'F') c = static_cast<wchar_t>(c - L'A' + L'a');
  }
  if (str(uuid.toString()) != canonical) __builtin_trap();

  ut::Uuid again;
  if (!ut::Uuid::parse(uuid.toString(), again) || again != uuid) __builtin_trap();
  ut::Uuid braced;
  if (!ut::Uuid::parse(uuid.toBracedString(), braced) || braced != uuid) __builtin_trap();
  if (uuid.toBracedString().getLength() != 38 || uuid.isNil() != (uuid == ut::Uuid())) __builtin_trap();
  return 0;
}
