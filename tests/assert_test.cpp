#include <gtest/gtest.h>

#include <ut/ut_tracer.h>

#include <atomic>
#include <string>
#include <thread>
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

TEST_F(AssertTest, NoCallbacksMeansNothingHappens) {
  ut::callAssert("x", nullptr, "f", 1);
  EXPECT_TRUE(g_calls.empty());
}

TEST_F(AssertTest, CallbacksRunInOrderWithTheirArguments) {
  ut::addAssertCallback(&first);
  ut::addAssertCallback(&second);
  ut::callAssert("a > b", "bad", "src/x", 12);
  ut::callAssert("c", nullptr, "src/y", 0);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"first:a > b:bad:src/x:12", "second", "first:c:<null>:src/y:0", "second"}));
}

TEST_F(AssertTest, ReaddingMovesToTheEndWithoutDuplicates) {
  ut::addAssertCallback(&first);
  ut::addAssertCallback(&second);
  ut::addAssertCallback(&third);
  ut::addAssertCallback(&first);
  ut::callAssert("e", "m", "f", 3);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"second", "third", "first:e:m:f:3"}));
}

TEST_F(AssertTest, RemovingDeletesAndUnknownOrNullAreHarmless) {
  ut::addAssertCallback(&first);
  ut::addAssertCallback(&second);
  ut::addAssertCallback(nullptr);
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

std::atomic<int> g_concurrentCalls{0};
int counting(const char*, const char*, const char*, int) {
  ++g_concurrentCalls;
  return 0;
}
int quiet(const char*, const char*, const char*, int) { return 0; }

TEST_F(AssertTest, ConcurrentRegistrationAndCalls) {
  ut::addAssertCallback(&counting);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) {
        if (t % 2 == 0) {
          ut::callAssert("e", nullptr, "f", i);
        } else {
          ut::addAssertCallback(&quiet);
          ut::removeAssertCallback(&quiet);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ut::removeAssertCallback(&counting);
  EXPECT_EQ(g_concurrentCalls.load(), 2 * 500);
}

}  // namespace
