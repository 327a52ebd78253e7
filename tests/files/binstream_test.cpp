#include <ut/ut_binstream.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const COBinStreamImp& out) {
  const auto* p = static_cast<const unsigned char*>(out.data());
  return p ? Bytes(p, p + out.pos()) : Bytes();
}

template <class T>
Bytes written(T value) {
  COBinStreamImp out;
  out << value;
  return bytesOf(out);
}

// The integer a reading operator throws, or -1 when it throws nothing.
template <class T>
int thrownBy(CIBinStream& in, T& value) {
  try {
    in >> value;
  } catch (int e) {
    return e;
  }
  return -1;
}

TEST(BinStreamWireFormat, ValuesAreTheirNativeLittleEndianBytes) {
  EXPECT_EQ(written('A'), (Bytes{0x41}));
  EXPECT_EQ(written(static_cast<unsigned char>(0xFE)), (Bytes{0xFE}));
  EXPECT_EQ(written(static_cast<short>(-2)), (Bytes{0xFE, 0xFF}));
  EXPECT_EQ(written(static_cast<unsigned short>(0xBEEF)), (Bytes{0xEF, 0xBE}));
  EXPECT_EQ(written(-1), (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(written(0x01020304u), (Bytes{0x04, 0x03, 0x02, 0x01}));
  EXPECT_EQ(written(1.0f), (Bytes{0x00, 0x00, 0x80, 0x3F}));
  EXPECT_EQ(written(-2.5), (Bytes{0, 0, 0, 0, 0, 0, 0x04, 0xC0}));
}

TEST(BinStreamWireFormat, ValuesFollowEachOtherWithoutPadding) {
  COBinStreamImp out;
  out << static_cast<short>(0x1234) << 1.0;
  EXPECT_EQ(bytesOf(out), (Bytes{0x34, 0x12, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F}));
}

TEST(BinStreamWireFormat, StringsCarryTheUnitCountAndThatManyBytes) {
  struct Case {
    const wchar_t* text;
    Bytes bytes;
  };
  const Case cases[] = {
      {nullptr, {0, 0, 0, 0}},
      {L"", {0, 0, 0, 0}},
      {L"AB", {2, 0, 0, 0, 0x41, 0x00}},
      {L"ABC", {3, 0, 0, 0, 0x41, 0x00, 0x42}},
      {L"\u00e9t\u00e9", {3, 0, 0, 0, 0xE9, 0x00, 0x74}},
      // U+1F600 is the pair D83D DE00: two units, so two bytes of the first.
      {L"\U0001F600", {2, 0, 0, 0, 0x3D, 0xD8}},
      // A lone surrogate stays the single unit it is.
      {L"\xD83D", {1, 0, 0, 0, 0x3D}},
      // Beyond Unicode: U+FFFD.
      {L"\x110000", {1, 0, 0, 0, 0xFD}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(written(c.text), c.bytes) << (c.text ? c.text : L"(null)");
  }
}

TEST(BinStreamRoundTrip, EveryTypeReadsBackAsWritten) {
  COBinStreamImp out;
  out << 'x' << static_cast<unsigned char>(200) << static_cast<short>(-32768) << static_cast<unsigned short>(65535)
      << INT_MIN << UINT_MAX << 3.141592653589793 << 0.1f;
  CIBinStreamImp in(static_cast<const unsigned char*>(out.data()), out.pos());
  char c = 0;
  unsigned char uc = 0;
  short s = 0;
  unsigned short us = 0;
  int i = 0;
  unsigned int ui = 0;
  double d = 0;
  int floatBits = 0;
  in >> c >> uc >> s >> us >> i >> ui >> d >> floatBits;
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(uc, 200);
  EXPECT_EQ(s, -32768);
  EXPECT_EQ(us, 65535);
  EXPECT_EQ(i, INT_MIN);
  EXPECT_EQ(ui, UINT_MAX);
  EXPECT_EQ(d, 3.141592653589793);
  EXPECT_EQ(floatBits, 0x3DCCCCCD);  // 0.1f
  EXPECT_EQ(in.read(1, &c), 0);
}

TEST(BinStreamRoundTrip, StringsComeBackAsTheWindowsBuildHoldsThem) {
  struct Case {
    const wchar_t* written;
    std::wstring read;  // always n + 1 characters, zero padded
  };
  const Case cases[] = {
      {nullptr, std::wstring(1, L'\0')},
      {L"AB", std::wstring(L"A\0\0", 3)},
      // Odd count: the last unit keeps only its low byte.
      {L"ABC", std::wstring(L"AB\0\0", 4)},
      {L"Hello, world", std::wstring(L"Hello,\0\0\0\0\0\0\0", 13)},
      // Non-BMP: a complete pair becomes one character; the string keeps its length.
      {L"\U0001F600abcd", std::wstring(L"\U0001F600a\0\0\0\0\0", 7)},
      {L"\U00010348\U00010348\U00010348\U00010348", std::wstring(L"\U00010348\U00010348\0\0\0\0\0\0\0", 9)},
      // The bytes end inside a pair: the high surrogate stays alone.
      {L"ab\U0001F600xyz", std::wstring(L"ab\xD83D\0\0\0\0\0", 8)},
      // The bytes end inside the high surrogate: its low byte only.
      {L"a\U0001F600", std::wstring(L"a=\0\0", 4)},
  };
  for (const Case& c : cases) {
    COBinStreamImp out;
    out << c.written;
    CIBinStreamImp in(static_cast<const unsigned char*>(out.data()), out.pos());
    std::wstring text = L"previous";
    in >> text;
    EXPECT_EQ(text, c.read) << (c.written ? c.written : L"(null)");
  }
}

TEST(BinStreamRoundTrip, AReadStringWritesBackTheSameBytes) {
  COBinStreamImp first;
  first << L"ab\U0001F600xyz";
  CIBinStreamImp in(static_cast<const unsigned char*>(first.data()), first.pos());
  std::wstring text;
  in >> text;
  COBinStreamImp second;
  second << text.c_str();  // up to the first zero: "ab" + lone D83D
  EXPECT_EQ(bytesOf(second), (Bytes{3, 0, 0, 0, 0x61, 0x00, 0x62}));
}

TEST(BinStreamShortRead, ThrowsZeroAndLeavesThePositionAtTheEnd) {
  const Bytes three{1, 2, 3};
  CIBinStreamImp in(three.data(), 3);
  int value = 77;
  EXPECT_EQ(thrownBy(in, value), 0);
  EXPECT_EQ(value, 77);
  char c = 0;
  EXPECT_EQ(in.read(1, &c), 0);
  EXPECT_EQ(thrownBy(in, c), 0);
}

TEST(BinStreamShortRead, EveryTypeThrowsOnAnEmptySource) {
  CIBinStreamImp in(nullptr, 100);
  // Reads into a copy of `value`, so each call names the type it reads.
  const auto thrownFor = [&in](auto value) { return thrownBy(in, value); };
  EXPECT_EQ(thrownFor('c'), 0);
  EXPECT_EQ(thrownFor(static_cast<unsigned char>(0)), 0);
  EXPECT_EQ(thrownFor(static_cast<short>(0)), 0);
  EXPECT_EQ(thrownFor(static_cast<unsigned short>(0)), 0);
  EXPECT_EQ(thrownFor(0), 0);
  EXPECT_EQ(thrownFor(0u), 0);
  EXPECT_EQ(thrownFor(0.0), 0);
  EXPECT_EQ(thrownFor(std::wstring()), 0);
}

TEST(BinStreamShortRead, BadStringCountsThrowWithoutAllocatingForThem) {
  struct Case {
    const char* what;
    Bytes bytes;
  };
  const Case cases[] = {
      {"count cut", {5, 0, 0}},
      {"negative count", {0xFF, 0xFF, 0xFF, 0xFF, 0x41, 0x00}},
      {"fewer bytes than counted", {4, 0, 0, 0, 0x41, 0x00, 0x42}},
      {"huge count", {0xFF, 0xFF, 0xFF, 0x7F, 0x41, 0x00}},
  };
  for (const Case& c : cases) {
    CIBinStreamImp in(c.bytes.data(), static_cast<unsigned int>(c.bytes.size()));
    std::wstring text = L"previous";
    EXPECT_EQ(thrownBy(in, text), 0) << c.what;
    EXPECT_EQ(text, L"") << c.what;
  }
}

TEST(BinStreamMemoryReader, ReadsWhatRemainsThenNothing) {
  const Bytes data{1, 2, 3, 4, 5};
  CIBinStreamImp in(data.data(), 5);
  unsigned char buffer[8] = {};
  EXPECT_EQ(in.read(2, buffer), 2);
  EXPECT_EQ(in.read(8, buffer), 3);
  EXPECT_EQ(buffer[0], 3);
  EXPECT_EQ(buffer[2], 5);
  EXPECT_EQ(in.read(1, buffer), 0);
  EXPECT_EQ(in.read(-1, buffer), 0);

  CIBinStreamImp copy(in);
  in.reset(data.data() + 4, 1);
  EXPECT_EQ(in.read(8, buffer), 1);
  EXPECT_EQ(buffer[0], 5);
  EXPECT_EQ(copy.read(1, buffer), 0);  // the copy kept its own position
}

TEST(BinStreamMemoryWriter, ResetStartsAgainAtOffsetZero) {
  COBinStreamImp out;
  out << 1 << 2;
  out.reset();
  EXPECT_EQ(out.pos(), 0u);
  out << static_cast<short>(7);
  EXPECT_EQ(bytesOf(out), (Bytes{7, 0}));
}

TEST(BinStreamMemoryWriter, RefusesEmptyAndNullWrites) {
  COBinStreamImp out;
  const char byte = 1;
  EXPECT_EQ(out.write(0, &byte), 0);
  EXPECT_EQ(out.write(-4, &byte), 0);
  EXPECT_EQ(out.write(4, nullptr), 0);
  EXPECT_EQ(out.pos(), 0u);
  EXPECT_EQ(out.write(1, &byte), 1);
  EXPECT_EQ(out.pos(), 1u);
}

TEST(BinStreamMemoryWriter, CopiesAreIndependentAndMovesEmptyTheSource) {
  COBinStreamImp out;
  out << 0x11223344;
  COBinStreamImp copy(out);
  copy << 'z';
  EXPECT_EQ(bytesOf(out), (Bytes{0x44, 0x33, 0x22, 0x11}));
  EXPECT_EQ(bytesOf(copy), (Bytes{0x44, 0x33, 0x22, 0x11, 'z'}));

  COBinStreamImp moved(std::move(copy));
  EXPECT_EQ(bytesOf(moved), (Bytes{0x44, 0x33, 0x22, 0x11, 'z'}));
  EXPECT_EQ(copy.data(), nullptr);  // NOLINT(bugprone-use-after-move): documented state
  EXPECT_EQ(copy.pos(), 5u);
  copy << 'q';  // zero-fills up to its position
  EXPECT_EQ(bytesOf(copy), (Bytes{0, 0, 0, 0, 0, 'q'}));

  COBinStreamImp assigned;
  assigned = out;
  assigned = std::move(moved);
  EXPECT_EQ(assigned.pos(), 5u);
  EXPECT_EQ(moved.data(), nullptr);  // NOLINT(bugprone-use-after-move)
}

TEST(BinStreamMemoryWriter, ManyValuesKeepTheirOrder) {
  COBinStreamImp out;
  for (int i = 0; i < 100000; ++i) out << i;
  ASSERT_EQ(out.pos(), 400000u);
  CIBinStreamImp in(static_cast<const unsigned char*>(out.data()), out.pos());
  int value = -1;
  for (int i = 0; i < 100000; ++i) {
    in >> value;
    if (value != i) {
      ADD_FAILURE() << "value " << i << " read as " << value;
      break;
    }
  }
}

}  // namespace
