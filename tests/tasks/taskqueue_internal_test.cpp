// The queue's counters seen from inside: how many workers it starts, and that
// tasks only ever run on workers it counts as running.

#include <gtest/gtest.h>

#include "ut_taskqueue_state.h"

#include "taskqueue_test_support.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// Thread identifiers are reused once a thread is gone; a thread-local flag is
// not.
thread_local bool t_isProducer = false;

using ut::TaskQueueInspector;
using ut::test::CountingTask;
using ut::test::Gate;
using ut::test::TaskLedger;
using ut::test::waitFor;
using namespace std::chrono_literals;

TEST(TaskQueueInspection, MaximumIsAtLeastOne) {
  const struct {
    int given;
    int expected;
  } cases[] = {{-3, 1}, {0, 1}, {1, 1}, {7, 7}};
  for (const auto& c : cases) {
    const ut::TaskQueue queue(c.given);
    EXPECT_EQ(TaskQueueInspector::maxThreads(queue), c.expected) << c.given;
    EXPECT_EQ(TaskQueueInspector::running(queue), 0) << c.given;
    EXPECT_EQ(TaskQueueInspector::live(queue), 0) << c.given;
  }
}

TEST(TaskQueueThreads, BusyMaximumStartsNoThread) {
  TaskLedger ledger(4);
  Gate release;
  std::atomic<int> started{0};
  auto block = [&](ut::TaskContext&) {
    ++started;
    release.wait();
  };
  ut::TaskQueue queue(2);
  queue.addTask(new CountingTask(ledger, 0, block));
  ASSERT_TRUE(waitFor([&] { return started.load() == 1; }));
  queue.addTask(new CountingTask(ledger, 1, block));
  ASSERT_TRUE(waitFor([&] { return started.load() == 2; }));
  EXPECT_EQ(TaskQueueInspector::running(queue), 2);
  EXPECT_EQ(TaskQueueInspector::live(queue), 2);

  queue.addTask(new CountingTask(ledger, 2));
  queue.addTask(new CountingTask(ledger, 3));
  EXPECT_EQ(TaskQueueInspector::live(queue), 2);
  EXPECT_EQ(TaskQueueInspector::queued(queue), 2u);

  release.open();
  queue.waitAllTasks();
  EXPECT_EQ(TaskQueueInspector::running(queue), 0);
  EXPECT_EQ(TaskQueueInspector::queued(queue), 0u);
  EXPECT_EQ(ledger.totalRuns(), 4);
  // Workers leave right after they stop counting as running.
  EXPECT_TRUE(waitFor([&] { return TaskQueueInspector::live(queue) == 0; }));
}

// Workers end on an empty queue, and the next task starts a new one.
TEST(TaskQueueThreads, WorkersEndOnEmptyQueueAndAreCreatedAgain) {
  TaskLedger ledger(2);
  std::atomic<unsigned long> first{0}, second{0};
  ut::TaskQueue queue(3);
  queue.addTask(new CountingTask(ledger, 0, [&](ut::TaskContext&) { first = ut::getCurrentThreadId(); }));
  queue.waitAllTasks();
  ASSERT_TRUE(waitFor([&] { return TaskQueueInspector::live(queue) == 0; }));
  queue.addTask(new CountingTask(ledger, 1, [&](ut::TaskContext&) { second = ut::getCurrentThreadId(); }));
  queue.waitAllTasks();
  EXPECT_EQ(ledger.totalRuns(), 2);
  EXPECT_NE(first.load(), 0ul);
  EXPECT_NE(second.load(), 0ul);
}

// 8 producers add 100,000 tasks in bursts and trickles to a queue of 4. Each
// task, under one test lock, checks that the tasks running at that moment do
// not outnumber the workers the queue counts as running (a worker that left
// the count before its task returned would show here), and that its thread
// is running no other task.
TEST(TaskQueueConcurrency, ManyProducersEveryTaskRunsAndIsReleasedOnce) {
  constexpr int kProducers = 8;
  constexpr int kTasks = 100000;
  constexpr int kPerProducer = kTasks / kProducers;
  const int threadsBefore = ut::test::threadBaseline();
  TaskLedger ledger(kTasks);
  std::mutex checkMutex;
  int active = 0;
  int peak = 0;
  int overRunning = 0;
  int reentered = 0;
  std::vector<unsigned long> busy;  // threads inside a task
  std::atomic<int> onProducer{0};
  {
    ut::TaskQueue queue(4);
    auto work = [&](ut::TaskContext&) {
      const unsigned long self = ut::getCurrentThreadId();
      {
        const std::lock_guard<std::mutex> guard(checkMutex);
        ++active;
        peak = std::max(peak, active);
        if (active > TaskQueueInspector::running(queue)) ++overRunning;
        if (std::find(busy.begin(), busy.end(), self) != busy.end()) ++reentered;
        busy.push_back(self);
        if (t_isProducer) ++onProducer;
      }
      const std::lock_guard<std::mutex> guard(checkMutex);
      --active;
      busy.erase(std::find(busy.begin(), busy.end(), self));
    };
    std::vector<std::thread> threads;
    Gate go;
    for (int p = 0; p < kProducers; ++p) {
      threads.emplace_back([&, p] {
        t_isProducer = true;
        go.wait();
        int next = p * kPerProducer;
        const int end = next + kPerProducer;
        while (next < end) {
          for (int i = 0; i < 1000 && next < end; ++i) queue.addTask(new CountingTask(ledger, next++, work));
          for (int i = 0; i < 20 && next < end; ++i) {
            queue.addTask(new CountingTask(ledger, next++, work));
            std::this_thread::sleep_for(50us);
          }
        }
      });
    }
    go.open();
    for (std::thread& t : threads) t.join();
    queue.waitAllTasks();
    EXPECT_EQ(TaskQueueInspector::running(queue), 0);
    EXPECT_EQ(TaskQueueInspector::queued(queue), 0u);
  }
  EXPECT_EQ(TaskLedger::countNot(ledger.runs, 1), 0);
  EXPECT_EQ(TaskLedger::countNot(ledger.deletions, 1), 0);
  EXPECT_EQ(overRunning, 0);
  EXPECT_EQ(reentered, 0);
  EXPECT_EQ(onProducer.load(), 0);
  EXPECT_GE(peak, 1);
  // The destructor waited for every worker: only the operating system's
  // clean-up of the finished threads may lag.
  EXPECT_TRUE(waitFor([&] { return ut::test::processThreadCount() <= threadsBefore; }, 5s))
      << ut::test::processThreadCount() << " threads, " << threadsBefore << " before";
}

}  // namespace
