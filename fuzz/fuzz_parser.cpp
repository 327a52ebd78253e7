// The attribute parser on arbitrary text: besides not failing, the message
// must be a suffix of the input and each attribute must stand written as
// key={value} before it.

#include <ut/ut_parser.h>

#include "fuzz_input.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring text = ut::fuzz::wideText(data, size);
  ut::CStringParser parser;
  const bool ok = parser.parse(OdString(text));
  const std::wstring message(parser.message().c_str(), static_cast<std::size_t>(parser.message().getLength()));
  if (message.size() > text.size() || text.compare(text.size() - message.size(), message.size(), message) != 0) {
    std::abort();
  }
  const std::wstring head = text.substr(0, text.size() - message.size());
  for (const auto& [key, value] : parser.attributes()) {
    const std::wstring written = std::wstring(key.c_str(), static_cast<std::size_t>(key.getLength())) + L"={" +
                                 std::wstring(value.c_str(), static_cast<std::size_t>(value.getLength())) + L"}";
    if (head.find(written) == std::wstring::npos) std::abort();
    if (parser.attribute(key) != value) std::abort();
  }
  if (!ok && message.find(L"={") == std::wstring::npos) std::abort();
  return 0;
}
