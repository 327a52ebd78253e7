// isValidUTF8Encoding must agree with the plain one-byte-at-a-time checker on
// every input, at every alignment and for every split of the input into
// pieces fed one after the other (as files are read in chunks), with vector
// blocks and with the tables alone.

#include <ut/ut_textfile.h>

#include "ut_utf8.h"
#include "utf8_reference.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte picks a misalignment and a split point; the rest is text.
  if (size == 0) return 0;
  const std::size_t shift = data[0] % 16;
  std::vector<unsigned char> text(shift + size - 1);
  std::copy(data + 1, data + size, text.begin() + static_cast<std::ptrdiff_t>(shift));
  unsigned char* const begin = text.data() + shift;
  const std::size_t length = size - 1;

  const bool expected = ut::reference::plainUtf8(begin, length);
  if (ut::isValidUTF8Encoding(begin, length) != expected) std::abort();

  const std::size_t split = length == 0 ? 0 : (data[0] * 7u) % (length + 1);
  for (const auto walk : {ut::files::Utf8Validator::Walk::eFastest, ut::files::Utf8Validator::Walk::eTables}) {
    ut::files::Utf8Validator pieces(walk);
    pieces.feed(begin, split);
    pieces.feed(begin + split, length - split);
    if (length >= 2 && pieces.accepting() != expected) std::abort();
  }
  return 0;
}
