#include <gtest/gtest.h>

#include <ut/ut_tracer.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> g_calls;

int first(const char* expression, const char* message, const char* file, int line) {
  g_calls.push_back(std::string("first:") + expression + ":" + (message ? message : "<null>") + ":" + file + ":" +
                    std::to_string(line));
  return 1;
}
int second(const char*, const char*, const char*, int) {
  g_calls.push_back("second");
  return 0;
}
int third(const char*, const char*, const char*, int) {
  g_calls.push_back("third");
  return 0;
}
// Removes itself and adds `third`: changes take effect from the next call.
int selfRemoving(const char*, const char*, const char*, int) {
  g_calls.push_back("selfRemoving");
  ut::removeAssertCallback(&selfRemoving);
  ut::addAssertCallback(&third);
  return 0;
}

class AssertTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (ut::AssertCallback callback : {&first, &second, &third, &selfRemoving}) ut::removeAssertCallback(callback);
    g_calls.clear();
  }
};

TEST_F(AssertTest, CallbacksRunInListOrderWithoutDuplicates) {
  ut::addAssertCallback(&first);
  ut::addAssertCallback(&second);
  ut::addAssertCallback(nullptr);
  ut::callAssert("a > b", "bad", "src/x", 12);
  ut::callAssert("c", nullptr, "src/y", 0);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"first:a > b:bad:src/x:12", "second", "first:c:<null>:src/y:0", "second"}));

  g_calls.clear();
  ut::addAssertCallback(&third);
  ut::addAssertCallback(&first);  // moves to the end, once
  ut::callAssert("e", "m", "f", 3);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"second", "third", "first:e:m:f:3"}));
}

TEST_F(AssertTest, RemovingDeletesAndUnknownOrNullAreHarmless) {
  ut::addAssertCallback(&first);
  ut::addAssertCallback(&second);
  ut::removeAssertCallback(&third);
  ut::removeAssertCallback(nullptr);
  ut::removeAssertCallback(&first);
  ut::callAssert("e", "m", "f", 3);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"second"}));
  ut::removeAssertCallback(&second);
  ut::callAssert("e", "m", "f", 3);
  EXPECT_EQ(g_calls.size(), 1u);
}

TEST_F(AssertTest, CallbackMayChangeTheListWhileBeingCalled) {
  ut::addAssertCallback(&selfRemoving);
  ut::addAssertCallback(&second);
  ut::callAssert("e", nullptr, "f", 1);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"selfRemoving", "second"}));
  g_calls.clear();
  ut::callAssert("e", nullptr, "f", 1);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"second", "third"}));
}

}  // namespace
