// The automaton behind the UTF-8 test fed in pieces, as files are read: every
// split of the input gives the result of the whole, and its states are those
// of the classic automaton.

#include <gtest/gtest.h>

#include "../../fuzz/utf8_reference.h"
#include "ut_utf8.h"

#include <string>
#include <vector>

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

}  // namespace

TEST(Utf8ValidatorPieces, EverySplitGivesTheResultOfTheWhole) {
  const std::vector<std::string> inputs = {
      std::string(40, 'a') + "\xE2\x82\xAC" + std::string(40, 'b'),
      "\xF0\x9F\x98\x80\xF0\x9F\x98\x80" + std::string(33, 'c') + "\xC3\xA9",
      std::string(31, 'x') + "\xE2\x82",                             // cut at the end
      std::string(17, 'x') + "\xED\xA0\x80" + std::string(20, 'y'),  // surrogate
      "\xC3\xA9\xC3" + std::string(50, 'z'),
  };
  for (const auto& input : inputs) {
    const bool whole = ut::reference::plainUtf8(bytes(input), input.size());
    for (std::size_t first = 0; first <= input.size(); ++first) {
      for (std::size_t second = first; second <= input.size(); second += 7) {
        ut::files::Utf8Validator v;
        v.feed(bytes(input), first);
        v.feed(bytes(input) + first, second - first);
        v.feed(bytes(input) + second, input.size() - second);
        ASSERT_EQ(v.accepting(), whole) << "split at " << first << " and " << second;
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
