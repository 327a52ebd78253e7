#include "OdArray.h"
#include "OdString.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>

#include <functional>

TEST(OdArray, AppendInsertAndRemoveKeepOrder) {
  OdArray<OdString> a;
  EXPECT_TRUE(a.isEmpty());
  EXPECT_EQ(a.append(OdString(L"x")), 0u);  // append answers the new index
  EXPECT_EQ(a.append(L"y"), 1u);
  a.push_back(L"z");
  EXPECT_EQ(a, (OdArray<OdString>{L"x", L"y", L"z"}));
  a.first() = L"first";
  a.last() = L"last";
  EXPECT_EQ(a, (OdArray<OdString>{L"first", L"y", L"last"}));

  OdArray<int> n{1, 3};
  n.insertAt(1, 2).insertAt(0, 0).insertAt(4, 4);
  EXPECT_EQ(n, (OdArray<int>{0, 1, 2, 3, 4}));
  n.removeAt(0).removeAt(3).removeAt(1);
  EXPECT_EQ(n, (OdArray<int>{1, 3}));
}

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
  const std::function<void()> bad[] = {[&] { a.at(2); },         [&] { ca.at(2); },      [&] { a[2]; },
                                       [&] { ca[static_cast<unsigned>(-1)]; }, [&] { a.removeAt(2); },
                                       [&] { a.insertAt(3, 0); },  [&] { empty.first(); }, [&] { empty.last(); },
                                       [&] { empty.removeAt(0); }};
  for (std::size_t i = 0; i < std::size(bad); ++i) EXPECT_EQ(codeOf(bad[i]), eOutOfRange) << "case " << i;
  EXPECT_EQ(a, (OdArray<int>{10, 20}));
  EXPECT_EQ(codeOf([&] { empty.insertAt(0, 7); }), -1);  // inserting at the end is allowed
  EXPECT_EQ(empty, (OdArray<int>{7}));
}

TEST(OdArray, ValueSemanticsAndEquality) {
  OdArray<OdArray<OdString>> rows;
  rows.append(OdArray<OdString>{L"a", L"b"});
  OdArray<OdArray<OdString>> copy = rows;
  copy[0][1] = L"changed";
  EXPECT_EQ(rows[0][1], L"b");
  EXPECT_FALSE(copy == rows);
  EXPECT_FALSE((OdArray<int>{1, 2}) == (OdArray<int>{1, 2, 3}));
  OdArray<int> self{1, 2};
  self.append(self);
  EXPECT_EQ(self, (OdArray<int>{1, 2, 1, 2}));
}
