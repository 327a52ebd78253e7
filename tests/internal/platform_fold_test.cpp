#include <gtest/gtest.h>

#include "ut_platform.h"

using ut::platform::foldCase;

TEST(PlatformFoldCase, AsciiAndBeyond) {
  EXPECT_EQ(foldCase(L"Software\\TVCAD"), L"software\\tvcad");
  EXPECT_EQ(foldCase(L""), L"");
  // Non-ASCII letters fold too, including ones outside Latin-1.
  EXPECT_EQ(foldCase(L"ÜNÏCØDÉ"), foldCase(L"ünïcødé"));
  EXPECT_EQ(foldCase(L"ΣΊΣΥΦΟΣ"), foldCase(L"σίσυφος"));
  EXPECT_EQ(foldCase(L"ДОМ"), L"дом");
  // Full folding: sharp s matches "ss".
  EXPECT_EQ(foldCase(L"STRASSE"), foldCase(L"Straße"));
  // Characters outside the BMP survive the UTF-16 round trip.
  EXPECT_EQ(foldCase(L"\U0001D11E x"), L"\U0001D11E x");
  EXPECT_EQ(foldCase(L"\U00010400"), L"\U00010428");  // DESERET capital/small
  // Accents are not case.
  EXPECT_NE(foldCase(L"e"), foldCase(L"é"));
}
