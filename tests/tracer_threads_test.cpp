#include <gtest/gtest.h>

#include <ut/ut_tracer.h>

#include "test_support.h"

#include <atomic>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

class MutexLock : public ut::SafeTracerAccessorLock {
 public:
  void lock() override {
    m_mutex.lock();
    ++m_locks;
    m_held = true;
  }
  void unlock() override {
    m_held = false;
    ++m_unlocks;
    m_mutex.unlock();
  }
  int locks() const { return m_locks; }
  int unlocks() const { return m_unlocks; }
  bool held() const { return m_held; }

 private:
  std::mutex m_mutex;
  std::atomic<int> m_locks{0};
  std::atomic<int> m_unlocks{0};
  std::atomic<bool> m_held{false};
};

class TracerThreadsTest : public ::testing::Test {
 protected:
  void TearDown() override {
    ut::SafeTracerAccessor::setLocker(nullptr);
    UtTracer::tracer().setStreamName(nullptr, 0, 0);
    UtTracer::tracer().freeStream();
  }
  ut::test::TempDir m_dir;
};

TEST_F(TracerThreadsTest, LockedWritersNeverInterleaveLines) {
  MutexLock lock;
  ut::SafeTracerAccessor::setLocker(&lock);
  const std::string name = (m_dir / "t.txt").string();
  UtTracer::tracer().setStreamName(name.c_str(), 2, 0);

  constexpr int kThreads = 4;
  constexpr int kLines = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const std::string filler(40, static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i) {
        ut::SafeTracerAccessor access;
        UtTracer& tracer = access.get();
        if (tracer.traceLevel() < 2) continue;
        // Many small pieces per line: without the lock they would mix.
        tracer.str(2) << "thread " << t << " line " << i << " ";
        for (char c : filler) tracer << std::string(1, c);
        tracer << std::endl;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  UtTracer::tracer().freeStream();

  std::istringstream in(ut::test::readFileBytes(m_dir / "t.txt"));
  std::map<int, int> nextLine;
  std::string line;
  int count = 0;
  while (std::getline(in, line)) {
    ++count;
    int t = -1, i = -1;
    char tail[64] = {};
    ASSERT_EQ(std::sscanf(line.c_str(), "2> thread %d line %d %63s", &t, &i, tail), 3) << line;
    ASSERT_GE(t, 0);
    ASSERT_LT(t, kThreads);
    EXPECT_EQ(std::string(tail), std::string(40, static_cast<char>('a' + t))) << line;
    EXPECT_EQ(line, "2> thread " + std::to_string(t) + " line " + std::to_string(i) + " " + tail);
    EXPECT_EQ(i, nextLine[t]++) << "each thread's lines stay in its own order";
  }
  EXPECT_EQ(count, kThreads * kLines);
  EXPECT_EQ(lock.locks(), kThreads * kLines);
  EXPECT_EQ(lock.unlocks(), kThreads * kLines);
}

TEST_F(TracerThreadsTest, AccessorHoldsTheLockForItsLifetime) {
  MutexLock lock;
  ut::SafeTracerAccessor::setLocker(&lock);
  {
    const ut::SafeTracerAccessor access;
    EXPECT_TRUE(lock.held());
    // Swapping the registration mid-scope must not unlock a lock never taken.
    ut::SafeTracerAccessor::setLocker(nullptr);
  }
  EXPECT_FALSE(lock.held());
  EXPECT_EQ(lock.locks(), 1);
  EXPECT_EQ(lock.unlocks(), 1);
  {
    const ut::SafeTracerAccessor unlocked;
  }
  EXPECT_EQ(lock.locks(), 1);
}

TEST_F(TracerThreadsTest, IndenterLocksOnlyWhenActive) {
  MutexLock lock;
  ut::SafeTracerAccessor::setLocker(&lock);
  const std::string name = (m_dir / "t.txt").string();
  UtTracer::tracer().setStreamName(name.c_str(), 2, 1);
  {
    const ut::TraceIndenter tooDetailed(3, "x", 1);  // level fails: no lock either way
    EXPECT_EQ(lock.locks(), 0);
  }
  EXPECT_EQ(lock.locks(), 0);
  {
    const ut::TraceIndenter active(2, "y", 1);
    EXPECT_EQ(lock.locks(), 1);
    EXPECT_FALSE(lock.held());
  }
  EXPECT_EQ(lock.locks(), 2);
  {
    const ut::TraceIndenter otherArea(2, "z", 2);  // area fails: the destructor still takes the lock
    EXPECT_EQ(lock.locks(), 2);
  }
  EXPECT_EQ(lock.locks(), 3);
  EXPECT_EQ(lock.unlocks(), 3);
  UtTracer::tracer().freeStream();
  EXPECT_EQ(ut::test::readFileBytes(m_dir / "t.txt"), "2> Call y()\n2> Done y()\n");
}

}  // namespace
