// The registry store's byte forms on arbitrary bytes. Every decoder accepts
// anything; where the bytes are in the form the encoder writes, encoding what
// was decoded gives them back exactly:
//  - UTF-16LE: any even number of bytes (lone surrogates are kept);
//  - strings: the text up to its trailing NULs;
//  - multi-strings: the list read, written and read again, is the same list;
//  - DWORD and QWORD: 4 and 8 bytes;
//  - names: UTF-8 read leniently and written again reads the same;
//  - decimals: a number parsed, printed and parsed again is the same number.

#include "fuzz_input.h"
#include "ut_regstore_codec.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rs = ut::regstore;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::wstring text = rs::decodeUtf16le(data, size);
  if (rs::encodeUtf16le(text, false) != rs::Bytes(data, data + (size & ~std::size_t{1}))) __builtin_trap();

  std::wstring trimmed = text;
  while (!trimmed.empty() && trimmed.back() == L'\0') trimmed.pop_back();
  if (rs::decodeRegString(data, size) != trimmed) __builtin_trap();

  const std::vector<std::wstring> list = rs::decodeMultiString(data, size);
  const auto encoded = rs::encodeMultiString(list);
  if (!encoded || rs::decodeMultiString(encoded->data(), encoded->size()) != list) __builtin_trap();

  if (const auto dword = rs::decodeDword(data, size)) {
    if (size != 4 || rs::encodeDword(*dword) != rs::Bytes(data, data + size)) __builtin_trap();
  } else if (size == 4) {
    __builtin_trap();
  }
  if (const auto qword = rs::decodeQword(data, size)) {
    if (size != 8 || rs::encodeQword(*qword) != rs::Bytes(data, data + size)) __builtin_trap();
  } else if (size == 8) {
    __builtin_trap();
  }

  const std::wstring name = rs::nameFromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  const auto utf8 = rs::nameToUtf8(name);
  if (!utf8 || rs::nameFromUtf8(*utf8) != name) __builtin_trap();

  const std::wstring wide = ut::fuzz::wideText(data, size);
  if (const auto number = rs::parseDecimal(wide)) {
    if (rs::parseDecimal(std::to_wstring(*number)) != number) __builtin_trap();
  }
  return 0;
}
