// The automaton behind the UTF-8 test fed in pieces, as files are read: every
// split of the input gives the result of the whole, and its states are those
// of the classic automaton. Both walks (vector blocks where the processor has
// them, and the tables alone) agree with the plain checker on every short
// sequence at every phase of the blocks.

#include <gtest/gtest.h>

#include "../../fuzz/utf8_reference.h"
#include "ut_utf8.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Walk = ut::files::Utf8Validator::Walk;

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

bool validBy(Walk walk, const unsigned char* data, std::size_t size) {
  ut::files::Utf8Validator v(walk);
  v.feed(data, size);
  return v.accepting();
}

}  // namespace

TEST(Utf8ValidatorPieces, EverySplitGivesTheResultOfTheWhole) {
  const std::vector<std::string> inputs = {
      std::string(40, 'a') + "\xE2\x82\xAC" + std::string(40, 'b'),
      "\xF0\x9F\x98\x80\xF0\x9F\x98\x80" + std::string(33, 'c') + "\xC3\xA9",
      std::string(31, 'x') + "\xE2\x82",                             // cut at the end
      std::string(17, 'x') + "\xED\xA0\x80" + std::string(20, 'y'),  // surrogate
      "\xC3\xA9\xC3" + std::string(50, 'z'),
      // Long enough for the vector blocks, with characters across their edges.
      std::string(62, 'v') + "\xE2\x82\xAC" + std::string(29, 'w') + "\xF0\x9F\x98\x80" + std::string(40, 'u'),
      std::string(63, 'v') + "\xF0\x9F\x98\x80" + std::string(60, 'u') + "\xC3",
      std::string(70, 'v') + "\xE0\x9F\x80" + std::string(70, 'u'),  // overlong
  };
  for (const auto& input : inputs) {
    const bool whole = ut::reference::plainUtf8(bytes(input), input.size());
    for (const Walk walk : {Walk::eFastest, Walk::eTables}) {
      for (std::size_t first = 0; first <= input.size(); ++first) {
        for (std::size_t second = first; second <= input.size(); second += 7) {
          ut::files::Utf8Validator v(walk);
          v.feed(bytes(input), first);
          v.feed(bytes(input) + first, second - first);
          v.feed(bytes(input) + second, input.size() - second);
          ASSERT_EQ(v.accepting(), whole) << "split at " << first << " and " << second;
        }
      }
    }
  }
}

TEST(Utf8ValidatorPieces, StatesOfTheAutomaton) {
  struct Case {
    std::string bytes;
    int state;
  };
  const std::vector<Case> cases = {
      {"", 0},         {"a", 0},        {"\xC3", 2},     {"\xE2", 3}, {"\xE2\x82", 2}, {"\xF1", 4},
      {"\xE0", 5},     {"\xED", 6},     {"\xF0", 7},     {"\xF4", 8}, {"\x80", 1},     {"\xE0\x80", 1},
      {"\xED\xA0", 1}, {"\xF4\x90", 1}, {"\xF0\x90", 3}, {"\xC0", 1}, {"\xC3\xA9", 0},
  };
  for (const auto& c : cases) {
    ut::files::Utf8Validator v;
    v.feed(bytes(c.bytes), c.bytes.size());
    EXPECT_EQ(v.state(), c.state) << c.bytes.size() << " bytes";
    EXPECT_EQ(v.rejected(), c.state == 1);
  }
  // Rejection is final.
  ut::files::Utf8Validator v;
  v.feed(bytes("\xFF"), 1);
  v.feed(bytes("abc"), 3);
  EXPECT_TRUE(v.rejected());
  v.feed(nullptr, 0);
  EXPECT_TRUE(v.rejected());
}

TEST(Utf8ValidatorWalks, EveryThreeByteSequenceAtEveryPhaseAgreesWithThePlainChecker) {
  // The three bytes are placed behind 0 to 70 ASCII bytes and followed by
  // none or 64 more, so that they meet each walk at every position of its
  // blocks, across the edges of 16-, 32- and 64-byte blocks and cut at the end.
  EXPECT_EQ(ut::files::vectorUtf8Available(), __builtin_cpu_supports("avx2") != 0);
  unsigned char buffer[140];
  std::fill(std::begin(buffer), std::end(buffer), 'q');
  std::size_t mismatches = 0;
  for (std::uint32_t v = 0; v < (1u << 24); ++v) {
    const std::size_t prefix = v % 71;
    const std::size_t size = prefix + 3 + (v % 3 == 0 ? 0 : 64);
    buffer[prefix] = static_cast<unsigned char>(v >> 16);
    buffer[prefix + 1] = static_cast<unsigned char>(v >> 8);
    buffer[prefix + 2] = static_cast<unsigned char>(v);
    const bool expected = ut::reference::plainUtf8(buffer, size);
    if (validBy(Walk::eFastest, buffer, size) != expected) ++mismatches;
    if (validBy(Walk::eTables, buffer, size) != expected) ++mismatches;
    // Every pair of bytes on its own.
    if (v < (1u << 16) &&
        validBy(Walk::eTables, buffer + prefix + 1, 2) != ut::reference::plainUtf8(buffer + prefix + 1, 2))
      ++mismatches;
    buffer[prefix] = buffer[prefix + 1] = buffer[prefix + 2] = 'q';
  }
  EXPECT_EQ(mismatches, 0u);
}

TEST(Utf8ValidatorWalks, EveryLeadByteWithBoundaryBytesAfterItAgreesWithThePlainChecker) {
  // Four-byte characters are longer than the sequences above: every byte from
  // C0 up, followed by three bytes from the edges of the continuation ranges
  // and their neighbours, at phases that move along the blocks.
  const unsigned char edges[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC2, 0xF4, 0xFF};
  unsigned char buffer[150];
  std::fill(std::begin(buffer), std::end(buffer), 'q');
  std::size_t mismatches = 0;
  std::size_t count = 0;
  for (unsigned lead = 0xC0; lead <= 0xFF; ++lead) {
    for (const unsigned char b1 : edges) {
      for (const unsigned char b2 : edges) {
        for (const unsigned char b3 : edges) {
          const std::size_t prefix = count % 71;
          const std::size_t size = prefix + 4 + (count % 3 == 0 ? 0 : 64);
          ++count;
          buffer[prefix] = static_cast<unsigned char>(lead);
          buffer[prefix + 1] = b1;
          buffer[prefix + 2] = b2;
          buffer[prefix + 3] = b3;
          const bool expected = ut::reference::plainUtf8(buffer, size);
          if (validBy(Walk::eFastest, buffer, size) != expected) ++mismatches;
          if (validBy(Walk::eTables, buffer, size) != expected) ++mismatches;
          std::fill(buffer + prefix, buffer + prefix + 4, 'q');
        }
      }
    }
  }
  EXPECT_EQ(mismatches, 0u);
}
