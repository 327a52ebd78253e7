// percentDecode on arbitrary text must equal replacing the fourteen codes one
// after the other (with "%25" last); percentEncode must undo to the input.

#include <ut/ut_encodings.h>

#include "fuzz_input.h"

#include <cstdlib>

namespace {

OdString stepwiseDecode(OdString s) {
  if (s.find(L'%') < 0) return s;
  static const wchar_t* const codes[][2] = {
      {L"%22", L"\""}, {L"%2A", L"*"}, {L"%2C", L","}, {L"%2F", L"/"},  {L"%3A", L":"}, {L"%3B", L";"}, {L"%3C", L"<"},
      {L"%3D", L"="},  {L"%3E", L">"}, {L"%3F", L"?"}, {L"%5C", L"\\"}, {L"%60", L"`"}, {L"%7C", L"|"}, {L"%25", L"%"}};
  for (const auto& code : codes) s.replace(code[0], code[1]);
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // OdString::replace works on C strings, so the text is cut at a null.
  const OdString text(ut::fuzz::cString(ut::fuzz::wideText(data, size)));
  if (ut::percentDecode(text) != stepwiseDecode(text)) std::abort();
  if (ut::percentDecode(ut::percentEncode(text)) != text) std::abort();
  return 0;
}
