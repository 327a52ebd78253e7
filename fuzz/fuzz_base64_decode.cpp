// base64_decode on arbitrary bytes, held against the definition; what it
// decodes must encode back to the input's prefix it consumed.

#include <ut/ut_encodings.h>

#include "base64_reference.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string decoded = ut::base64_decode(text);
  if (decoded != ut::fuzz::referenceBase64Decode(text, ut::fuzz::kStandardAlphabet)) std::abort();
  if (ut::base64_decode(ut::base64_encode(decoded)) != decoded) std::abort();
  return 0;
}
