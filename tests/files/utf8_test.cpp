// The strict UTF-8 test: the cases of the "UTF-8 decoder capability and stress
// test" (byte sequences written out here), every boundary of the encoding, and
// agreement with a plain one-byte-at-a-time checker on random inputs at every
// alignment (short sequences at every phase: utf8_internal_test.cpp).

#include <gtest/gtest.h>

#include <ut/ut_textfile.h>

#include <wx/file.h>

#include "../../fuzz/utf8_reference.h"
#include "../sdk/sdk_test_print.h"
#include "test_support.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

bool valid(const std::string& bytes) {
  std::vector<unsigned char> copy(bytes.begin(), bytes.end());
  return ut::isValidUTF8Encoding(copy.data(), copy.size());
}

// A sequence tested on its own would be cut down to the "fewer than 2 bytes"
// rule when it is one byte long; a leading "a" keeps it about the sequence.
bool validAfterA(const std::string& bytes) { return valid("a" + bytes); }

struct Case {
  const char* what;
  std::string bytes;
  bool expected;
};

void expectCases(const std::vector<Case>& cases) {
  for (const auto& c : cases) {
    EXPECT_EQ(validAfterA(c.bytes), c.expected) << c.what;
  }
}

}  // namespace

TEST(Utf8TestShortInput, FewerThanTwoBytesAreNeverUtf8) {
  EXPECT_FALSE(ut::isValidUTF8Encoding(nullptr, 0));
  EXPECT_FALSE(ut::isValidUTF8Encoding(nullptr, 10));
  unsigned char two[] = {'a', 'b'};
  EXPECT_FALSE(ut::isValidUTF8Encoding(two, 0));
  EXPECT_TRUE(ut::isValidUTF8Encoding(two, 2));
  for (int b = 0; b < 256; ++b) {
    unsigned char one = static_cast<unsigned char>(b);
    EXPECT_FALSE(ut::isValidUTF8Encoding(&one, 1)) << "byte " << b;
  }
}

TEST(Utf8TestKuhn, CorrectTextAndBoundaries) {
  expectCases({
      {"1 kosme", "\xCE\xBA\xE1\xBD\xB9\xCF\x83\xCE\xBC\xCE\xB5", true},
      // 2.1 first sequence of each length
      {"2.1.1 U+0000", std::string("\x00", 1), true},
      {"2.1.2 U+0080", "\xC2\x80", true},
      {"2.1.3 U+0800", "\xE0\xA0\x80", true},
      {"2.1.4 U+10000", "\xF0\x90\x80\x80", true},
      {"2.1.5 five bytes", "\xF8\x88\x80\x80\x80", false},
      {"2.1.6 six bytes", "\xFC\x84\x80\x80\x80\x80", false},
      // 2.2 last sequence of each length
      {"2.2.1 U+007F", "\x7F", true},
      {"2.2.2 U+07FF", "\xDF\xBF", true},
      {"2.2.3 U+FFFF", "\xEF\xBF\xBF", true},
      {"2.2.4 U+1FFFFF", "\xF7\xBF\xBF\xBF", false},
      {"2.2.5 five bytes", "\xFB\xBF\xBF\xBF\xBF", false},
      {"2.2.6 six bytes", "\xFD\xBF\xBF\xBF\xBF\xBF", false},
      // 2.3 other boundaries
      {"2.3.1 U+D7FF", "\xED\x9F\xBF", true},
      {"2.3.2 U+E000", "\xEE\x80\x80", true},
      {"2.3.3 U+FFFD", "\xEF\xBF\xBD", true},
      {"2.3.4 U+10FFFF", "\xF4\x8F\xBF\xBF", true},
      {"2.3.5 U+110000", "\xF4\x90\x80\x80", false},
  });
}

TEST(Utf8TestKuhn, MalformedSequences) {
  std::vector<Case> cases = {
      {"3.1.1 first continuation byte", "\x80", false},
      {"3.1.2 last continuation byte", "\xBF", false},
      {"3.1.3 two continuation bytes", "\x80\xBF", false},
      {"3.1.4 three", "\x80\xBF\x80", false},
      {"3.1.7 seven", "\x80\xBF\x80\xBF\x80\xBF\x80", false},
      // 3.3 last continuation byte missing
      {"3.3.1 C0", "\xC0", false},
      {"3.3.2 E0 80", "\xE0\x80", false},
      {"3.3.3 F0 80 80", "\xF0\x80\x80", false},
      {"3.3.4 F8 80 80 80", "\xF8\x80\x80\x80", false},
      {"3.3.5 FC 80 80 80 80", "\xFC\x80\x80\x80\x80", false},
      {"3.3.6 DF", "\xDF", false},
      {"3.3.7 EF BF", "\xEF\xBF", false},
      {"3.3.8 F7 BF BF", "\xF7\xBF\xBF", false},
      {"3.3.9 FB BF BF BF", "\xFB\xBF\xBF\xBF", false},
      {"3.3.10 FD BF BF BF BF", "\xFD\xBF\xBF\xBF\xBF", false},
      {"3.4 concatenated incomplete sequences",
       "\xC0\xE0\x80\xF0\x80\x80\xF8\x80\x80\x80\xFC\x80\x80\x80\x80\xDF\xEF\xBF\xF7\xBF\xBF\xFB\xBF\xBF\xBF\xFD"
       "\xBF\xBF\xBF\xBF",
       false},
      // 3.5 impossible bytes
      {"3.5.1 FE", "\xFE", false},
      {"3.5.2 FF", "\xFF", false},
      {"3.5.3 FE FE FF FF", "\xFE\xFE\xFF\xFF", false},
  };
  // 3.1.9: every continuation byte alone.
  for (int b = 0x80; b <= 0xBF; ++b) cases.push_back({"3.1.9 lone continuation", std::string(1, char(b)), false});
  // 3.2: every start byte followed by a space.
  for (int b = 0xC0; b <= 0xFD; ++b) cases.push_back({"3.2 lonely start byte", std::string(1, char(b)) + " ", false});
  expectCases(cases);
}

TEST(Utf8TestKuhn, OverlongFormsAndIllegalCodePositions) {
  expectCases({
      // 4.1 overlong "/"
      {"4.1.1", "\xC0\xAF", false},
      {"4.1.2", "\xE0\x80\xAF", false},
      {"4.1.3", "\xF0\x80\x80\xAF", false},
      {"4.1.4", "\xF8\x80\x80\x80\xAF", false},
      {"4.1.5", "\xFC\x80\x80\x80\x80\xAF", false},
      // 4.2 largest overlong forms
      {"4.2.1 U+007F as two bytes", "\xC1\xBF", false},
      {"4.2.2 U+07FF as three bytes", "\xE0\x9F\xBF", false},
      {"4.2.3 U+FFFF as four bytes", "\xF0\x8F\xBF\xBF", false},
      {"4.2.4", "\xF8\x87\xBF\xBF\xBF", false},
      {"4.2.5", "\xFC\x83\xBF\xBF\xBF\xBF", false},
      // 4.3 overlong null
      {"4.3.1", "\xC0\x80", false},
      {"4.3.2", "\xE0\x80\x80", false},
      {"4.3.3", "\xF0\x80\x80\x80", false},
      {"4.3.4", "\xF8\x80\x80\x80\x80", false},
      {"4.3.5", "\xFC\x80\x80\x80\x80\x80", false},
      // 5.1 single surrogates
      {"5.1.1 U+D800", "\xED\xA0\x80", false},
      {"5.1.2 U+DB7F", "\xED\xAD\xBF", false},
      {"5.1.3 U+DB80", "\xED\xAE\x80", false},
      {"5.1.4 U+DBFF", "\xED\xAF\xBF", false},
      {"5.1.5 U+DC00", "\xED\xB0\x80", false},
      {"5.1.6 U+DF80", "\xED\xBE\x80", false},
      {"5.1.7 U+DFFF", "\xED\xBF\xBF", false},
      // 5.2 paired surrogates
      {"5.2.1 U+D800 U+DC00", "\xED\xA0\x80\xED\xB0\x80", false},
      {"5.2.4 U+DB7F U+DFFF", "\xED\xAD\xBF\xED\xBF\xBF", false},
      {"5.2.8 U+DBFF U+DFFF", "\xED\xAF\xBF\xED\xBF\xBF", false},
      // 5.3 noncharacters are well-formed UTF-8
      {"5.3.1 U+FFFE", "\xEF\xBF\xBE", true},
      {"5.3.2 U+FFFF", "\xEF\xBF\xBF", true},
      {"5.3.3 U+FDD0", "\xEF\xB7\x90", true},
      {"5.3.3 U+FDEF", "\xEF\xB7\xAF", true},
      {"5.3.4 U+10FFFE", "\xF4\x8F\xBF\xBE", true},
  });
}

TEST(Utf8TestBoundaries, SequencesCutAtTheEndAreRejected) {
  for (const std::string full : {"\xC2\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(validAfterA(full));
    for (std::size_t keep = 1; keep < full.size(); ++keep) {
      EXPECT_FALSE(validAfterA(full.substr(0, keep))) << full.size() << "-byte sequence cut to " << keep;
      // The same cut inside long ASCII text, past the 16-byte fast path.
      EXPECT_FALSE(valid(std::string(37, 'x') + full.substr(0, keep)));
      EXPECT_FALSE(valid(std::string(37, 'x') + full.substr(0, keep) + "tail"));
    }
  }
}

TEST(Utf8TestBoundaries, LeadBytesAndTheirSecondByteRanges) {
  // The second byte after each special lead byte, at the edges of its range.
  expectCases({
      {"E0 9F", "\xE0\x9F\x80", false},
      {"E0 A0", "\xE0\xA0\x80", true},
      {"E0 BF", "\xE0\xBF\xBF", true},
      {"ED 80", "\xED\x80\x80", true},
      {"ED 9F", "\xED\x9F\xBF", true},
      {"ED A0", "\xED\xA0\x80", false},
      {"EE 80", "\xEE\x80\x80", true},
      {"F0 8F", "\xF0\x8F\x80\x80", false},
      {"F0 90", "\xF0\x90\x80\x80", true},
      {"F1 80", "\xF1\x80\x80\x80", true},
      {"F3 BF", "\xF3\xBF\xBF\xBF", true},
      {"F4 80", "\xF4\x80\x80\x80", true},
      {"F4 8F", "\xF4\x8F\xBF\xBF", true},
      {"F4 90", "\xF4\x90\x80\x80", false},
      {"F5", "\xF5\x80\x80\x80", false},
      {"C1", "\xC1\x80", false},
      {"C2", "\xC2\x80", true},
      {"continuation C0 instead of 80..BF", "\xC2\xC0", false},
      {"ASCII instead of a continuation",
       "\xE2\x82"
       "A",
       false},
  });
}

TEST(Utf8TestDifferential, RandomTextWithDefectsAgreesWithThePlainChecker) {
  // Text built from valid characters of every length with rare defects (cut,
  // dropped or stray bytes), so that both outcomes are frequent.
  std::mt19937 rng(20240613);
  const std::vector<std::string> pieces = {"a",
                                           "Hello, ",
                                           "\xC3\xA9",
                                           "\xD0\x96",
                                           "\xE2\x82\xAC",
                                           "\xE4\xB8\xAD",
                                           "\xEF\xBF\xBD",
                                           "\xF0\x9F\x98\x80",
                                           "\xF4\x8F\xBF\xBF",
                                           std::string(20, 'z'),
                                           "\x7F",
                                           std::string("\0", 1)};
  const std::vector<std::string> defects = {"\x80",     "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                            "\xE2\x82", "\xF8",     "\xFF"};
  std::size_t accepted = 0;
  std::size_t rejected = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string s;
    const int count = std::uniform_int_distribution<int>(0, 60)(rng);
    for (int i = 0; i < count; ++i) {
      if (std::uniform_int_distribution<int>(0, 150)(rng) == 0) {
        s += defects[rng() % defects.size()];
      } else {
        s += pieces[rng() % pieces.size()];
      }
    }
    for (std::size_t shift = 0; shift < 3; ++shift) {
      std::vector<unsigned char> buffer(shift + s.size());
      std::copy(s.begin(), s.end(), buffer.begin() + static_cast<std::ptrdiff_t>(shift));
      const bool expected = ut::reference::plainUtf8(buffer.data() + shift, s.size());
      ASSERT_EQ(ut::isValidUTF8Encoding(buffer.data() + shift, s.size()), expected) << "round " << round;
      (expected ? accepted : rejected) += 1;
    }
  }
  EXPECT_GT(accepted, 10000u);
  EXPECT_GT(rejected, 10000u);
}

TEST(Utf8TestFile, ReadsTheWholeFileAndKeepsThePosition) {
  ut::test::TempDir dir;
  const auto write = [&](const std::string& name, const std::string& bytes) {
    ut::test::writeFileBytes(dir / name, bytes);
    return wxString((dir / name).string());
  };
  wxFile closed;
  EXPECT_FALSE(ut::isValidUTF8Encoding(closed));

  // A character across the 64 KiB read boundary, then a defect far behind it.
  std::string big(65535, 'a');
  big += "\xE2\x82\xAC";
  big += std::string(70000, 'b');
  wxFile good(write("good.txt", big));
  ASSERT_TRUE(good.IsOpened());
  good.Seek(100);
  EXPECT_TRUE(ut::isValidUTF8Encoding(good));
  EXPECT_EQ(good.Tell(), 100);

  wxFile bad(write("bad.txt", big + "\xC3"));
  EXPECT_FALSE(ut::isValidUTF8Encoding(bad));
  wxFile one(write("one.txt", "A"));
  EXPECT_FALSE(ut::isValidUTF8Encoding(one));
  wxFile empty(write("empty.txt", ""));
  EXPECT_FALSE(ut::isValidUTF8Encoding(empty));
  wxFile euro(write("euro.txt", "\xE2\x82\xAC"));
  EXPECT_TRUE(ut::isValidUTF8Encoding(euro));
}
