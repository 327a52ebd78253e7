#include "OdArray.h"
#include "OdString.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>

#include <functional>

TEST(OdArray, BadIndicesThrowOutOfRangeAndChangeNothing) {
  OdArray<int> a{10, 20};
  const OdArray<int>& ca = a;
  OdArray<int> empty;
  const auto codeOf = [](const std::function<void()>& action) {
    try {
      action();
    } catch (const OdError& e) {
      return static_cast<int>(e.code());
    }
    return -1;
  };
  const std::function<void()> bad[] = {[&] { a.at(2); },
                                       [&] { ca.at(2); },
                                       [&] { a[2]; },
                                       [&] { ca[static_cast<unsigned>(-1)]; },
                                       [&] { a.removeAt(2); },
                                       [&] { a.insertAt(3, 0); },
                                       [&] { empty.first(); },
                                       [&] { empty.last(); },
                                       [&] { empty.removeAt(0); }};
  for (std::size_t i = 0; i < std::size(bad); ++i) EXPECT_EQ(codeOf(bad[i]), eOutOfRange) << "case " << i;
  EXPECT_EQ(a, (OdArray<int>{10, 20}));
  EXPECT_EQ(codeOf([&] { empty.insertAt(0, 7); }), -1);  // inserting at the end is allowed
  EXPECT_EQ(empty, (OdArray<int>{7}));
}
