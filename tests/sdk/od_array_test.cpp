#include "OdArray.h"
#include "OdString.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace {

// Runs `action` and answers the result code of the OdError it throws, or -1
// when it throws nothing.
template <class Action>
int errorCodeOf(Action action) {
  try {
    action();
  } catch (const OdError& e) {
    return e.code();
  }
  return -1;
}

}  // namespace

TEST(OdArray, AppendReturnsIndexAndKeepsOrder) {
  OdArray<OdString> a;
  EXPECT_TRUE(a.isEmpty());
  EXPECT_EQ(a.append(OdString(L"x")), 0u);
  EXPECT_EQ(a.append(L"y"), 1u);
  a.push_back(L"z");
  ASSERT_EQ(a.size(), 3u);
  EXPECT_EQ(a.length(), 3u);
  EXPECT_EQ(a[0], L"x");
  EXPECT_EQ(a.at(2), L"z");
  EXPECT_EQ(a.first(), L"x");
  EXPECT_EQ(a.last(), L"z");
  a.first() = L"first";
  a[1] = L"second";
  EXPECT_EQ(a.at(0), L"first");
  EXPECT_EQ(a.at(1), L"second");
}

TEST(OdArray, BadIndicesThrowOutOfRange) {
  OdArray<int> a{10, 20};
  const OdArray<int>& ca = a;
  EXPECT_EQ(errorCodeOf([&] { a.at(2); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { ca.at(2); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { a[2]; }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { ca[static_cast<unsigned>(-1)]; }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { a.removeAt(2); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { a.insertAt(3, 0); }), eOutOfRange);
  EXPECT_EQ(a, (OdArray<int>{10, 20}));  // failed calls change nothing

  OdArray<int> empty;
  EXPECT_EQ(errorCodeOf([&] { empty.first(); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { empty.last(); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { empty.at(0); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { empty.removeAt(0); }), eOutOfRange);
  EXPECT_EQ(errorCodeOf([&] { empty.insertAt(0, 7); }), -1);
  EXPECT_EQ(empty, (OdArray<int>{7}));
}

TEST(OdArray, InsertAndRemoveAtShiftElements) {
  OdArray<int> a{1, 3};
  a.insertAt(1, 2).insertAt(0, 0).insertAt(4, 4);
  EXPECT_EQ(a, (OdArray<int>{0, 1, 2, 3, 4}));
  a.removeAt(0).removeAt(3);
  EXPECT_EQ(a, (OdArray<int>{1, 2, 3}));
  a.removeAt(1);
  EXPECT_EQ(a, (OdArray<int>{1, 3}));
}

TEST(OdArray, FindContainsAndRemove) {
  OdArray<OdString> a{L"a", L"b", L"a", L"c"};
  OdArray<OdString>::size_type at = 99;
  EXPECT_TRUE(a.find(L"a", at));
  EXPECT_EQ(at, 0u);
  EXPECT_TRUE(a.find(L"a", at, 1));
  EXPECT_EQ(at, 2u);
  at = 99;
  EXPECT_FALSE(a.find(L"a", at, 3));
  EXPECT_EQ(at, 99u);  // untouched when not found
  EXPECT_FALSE(a.find(L"a", at, 1000));
  EXPECT_TRUE(a.contains(L"c"));
  EXPECT_FALSE(a.contains(L"C"));
  EXPECT_FALSE(a.contains(L"b", 2));

  EXPECT_TRUE(a.remove(L"a"));  // the first occurrence only
  EXPECT_EQ(a, (OdArray<OdString>{L"b", L"a", L"c"}));
  EXPECT_TRUE(a.remove(L"a", 1));
  EXPECT_FALSE(a.remove(L"a"));
  EXPECT_FALSE(a.remove(L"b", 5));
  EXPECT_EQ(a, (OdArray<OdString>{L"b", L"c"}));
}

TEST(OdArray, LengthsAndCapacity) {
  OdArray<OdString> reserved(16);
  EXPECT_EQ(reserved.size(), 0u);  // the constructor argument is capacity, not length
  EXPECT_GE(reserved.physicalLength(), 16u);

  OdArray<int> a{1, 2, 3};
  a.resize(5);
  EXPECT_EQ(a, (OdArray<int>{1, 2, 3, 0, 0}));
  a.resize(6, 9);
  EXPECT_EQ(a.last(), 9);
  a.resize(2);
  EXPECT_EQ(a, (OdArray<int>{1, 2}));
  a.reserve(100);
  EXPECT_GE(a.physicalLength(), 100u);
  EXPECT_EQ(a.size(), 2u);
  a.setPhysicalLength(1);
  EXPECT_EQ(a, (OdArray<int>{1}));
  a.setPhysicalLength(50);
  EXPECT_EQ(a.size(), 1u);
  EXPECT_GE(a.physicalLength(), 50u);
  a.clear();
  EXPECT_TRUE(a.isEmpty());
}

TEST(OdArray, IterationAndRawAccess) {
  OdArray<int> a{5, 3, 4, 1, 2};
  std::sort(a.begin(), a.end());
  EXPECT_EQ(a, (OdArray<int>{1, 2, 3, 4, 5}));
  int sum = 0;
  for (int v : a) sum += v;
  EXPECT_EQ(sum, 15);
  EXPECT_EQ(std::accumulate(a.getPtr(), a.getPtr() + a.size(), 0), 15);
  a.asArrayPtr()[0] = 10;
  EXPECT_EQ(a[0], 10);
  const OdArray<int> empty;
  EXPECT_EQ(empty.begin(), empty.end());
}

TEST(OdArray, ValueSemanticsAndEquality) {
  OdArray<OdArray<OdString>> rows;
  rows.append(OdArray<OdString>{L"a", L"b"});
  OdArray<OdArray<OdString>> copy = rows;
  copy[0][1] = L"changed";
  EXPECT_EQ(rows[0][1], L"b");
  EXPECT_FALSE(copy == rows);
  copy[0][1] = L"b";
  EXPECT_TRUE(copy == rows);
  EXPECT_FALSE((OdArray<int>{1, 2}) == (OdArray<int>{1, 2, 3}));

  OdArray<int> self{1, 2};
  self.append(self);
  EXPECT_EQ(self, (OdArray<int>{1, 2, 1, 2}));
}
