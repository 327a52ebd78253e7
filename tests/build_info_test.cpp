#include <gtest/gtest.h>

#include <cwchar>

// The library is built for wide strings of 32-bit code units; every format
// defined on UTF-16 bytes must convert explicitly, never reinterpret.
TEST(BuildInfo, WideCharIsUtf32) {
  static_assert(sizeof(wchar_t) == 4);
  EXPECT_EQ(sizeof(wchar_t), 4u);
}
