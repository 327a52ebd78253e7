#include <gtest/gtest.h>

#include <ut/ut_tasks.h>
#include <ut/ut_tracer.h>

#include "taskqueue_test_support.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using ut::test::CountingTask;
using ut::test::finishesWithin;
using ut::test::Gate;
using ut::test::TaskLedger;
using ut::test::waitFor;
using namespace std::chrono_literals;

// --- Task reference counting --------------------------------------------------------

class ProbeTask : public ut::Task {
 public:
  explicit ProbeTask(int* deletions) : m_deletions(deletions) {}
  ProbeTask(const ProbeTask&) = default;
  ProbeTask& operator=(const ProbeTask&) = default;
  ~ProbeTask() override { ++*m_deletions; }
  void run(ut::TaskContext&) override {}

 private:
  int* m_deletions;
};

TEST(Task, ReleaseDeletesWhenTheLastReferenceGoes) {
  int deletions = 0;
  auto* task = new ProbeTask(&deletions);
  task->addRef();
  task->addRef();
  task->release();
  EXPECT_EQ(deletions, 0);
  task->release();
  EXPECT_EQ(deletions, 1);
}

TEST(Task, CopyAndAssignmentCarryTheReferenceCount) {
  int deletions = 0;
  auto* source = new ProbeTask(&deletions);
  source->addRef();
  source->addRef();
  auto* copy = new ProbeTask(*source);  // starts at 2
  copy->release();
  EXPECT_EQ(deletions, 0);
  copy->release();
  EXPECT_EQ(deletions, 1);

  auto* target = new ProbeTask(&deletions);  // 0, then overwritten with 2
  *target = *source;
  target->release();
  EXPECT_EQ(deletions, 1);
  target->release();
  EXPECT_EQ(deletions, 2);

  source->release();
  source->release();
  EXPECT_EQ(deletions, 3);
}

TEST(TaskConcurrency, ReferencesFromManyThreadsDeleteExactlyOnce) {
  for (int round = 0; round < 50; ++round) {
    int deletions = 0;
    auto* task = new ProbeTask(&deletions);
    task->addRef();  // held by the test until every thread has its own
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([task] {
        for (int i = 0; i < 1000; ++i) task->addRef();
        for (int i = 0; i < 1000; ++i) task->release();
      });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(deletions, 0);
    task->release();
    ASSERT_EQ(deletions, 1);
  }
}

// --- thread identity -----------------------------------------------------------------

TEST(TaskQueueThreads, MainThreadIdentity) {
  // The test program initialised wxWidgets on this thread.
  EXPECT_NE(ut::getMainThreadId(), 0ul);
  EXPECT_EQ(ut::getCurrentThreadId(), ut::getMainThreadId());
  EXPECT_TRUE(ut::isMainThread());

  unsigned long otherId = 0;
  bool otherIsMain = true;
  std::thread other([&] {
    otherId = ut::getCurrentThreadId();
    otherIsMain = ut::isMainThread();
  });
  other.join();
  EXPECT_NE(otherId, ut::getMainThreadId());
  EXPECT_NE(otherId, 0ul);
  EXPECT_FALSE(otherIsMain);
}

// --- the queue ----------------------------------------------------------------------------

TEST(TaskQueueThreads, WaitOnFreshQueueReturnsAtOnceAndNullTaskIsIgnored) {
  ut::TaskQueue queue(2);
  EXPECT_TRUE(finishesWithin([&queue] { queue.waitAllTasks(); }, 2s));
  queue.addTask(nullptr);
  EXPECT_TRUE(finishesWithin([&queue] { queue.waitAllTasks(); }, 2s));
}

TEST(TaskQueueThreads, TasksRunOnWorkersNotTheCaller) {
  TaskLedger ledger(1);
  std::atomic<unsigned long> ranOn{0};
  std::atomic<int> sawMain{-1};
  std::atomic<int> sawStopping{-1};
  {
    ut::TaskQueue queue(2);
    queue.addTask(new CountingTask(ledger, 0, [&](ut::TaskContext& context) {
      ranOn = ut::getCurrentThreadId();
      sawMain = ut::isMainThread() ? 1 : 0;
      sawStopping = context.isStopping() ? 1 : 0;
    }));
    queue.waitAllTasks();
    // waitAllTasks returns after the task has run and been released.
    EXPECT_EQ(ledger.runs[0].load(), 1);
    EXPECT_EQ(ledger.deletions[0].load(), 1);
  }
  EXPECT_NE(ranOn.load(), ut::getCurrentThreadId());
  EXPECT_EQ(sawMain.load(), 0);
  EXPECT_EQ(sawStopping.load(), 0);
}

// A reference the caller keeps is not the queue's to drop.
TEST(TaskQueueThreads, CallerReferenceKeepsTaskAliveAfterRun) {
  int deletions = 0;
  auto* task = new ProbeTask(&deletions);
  task->addRef();
  {
    ut::TaskQueue queue(1);
    queue.addTask(task);
    queue.waitAllTasks();
  }
  EXPECT_EQ(deletions, 0);
  task->release();
  EXPECT_EQ(deletions, 1);
}

// The first task holds the only worker until every other task is queued, so
// the order of the rest is the queue's alone.
TEST(TaskQueueThreads, SingleWorkerRunsTasksFirstInFirstOut) {
  constexpr int kTasks = 30;
  TaskLedger ledger(kTasks + 1);
  Gate started, release;
  std::mutex orderMutex;
  std::vector<int> order;
  ut::TaskQueue queue(1);
  queue.addTask(new CountingTask(ledger, kTasks, [&](ut::TaskContext&) {
    started.open();
    release.wait();
  }));
  // Once its worker counts as running, no further worker starts.
  ASSERT_TRUE(started.wait());
  for (int i = 0; i < kTasks; ++i) {
    queue.addTask(new CountingTask(ledger, i, [&, i](ut::TaskContext&) {
      const std::lock_guard<std::mutex> guard(orderMutex);
      order.push_back(i);
    }));
  }
  release.open();
  queue.waitAllTasks();
  std::vector<int> expected;
  for (int i = 0; i < kTasks; ++i) expected.push_back(i);
  EXPECT_EQ(order, expected);
  EXPECT_EQ(ledger.totalDeletions(), kTasks + 1);
}

// A maximum of 0 or less means one worker: once it counts itself running,
// later tasks wait for it instead of starting threads, and never overlap.
TEST(TaskQueueThreads, ZeroAndNegativeMaximumRunOneTaskAtATime) {
  for (const int maximum : {0, -3}) {
    SCOPED_TRACE(maximum);
    constexpr int kTasks = 40;
    TaskLedger ledger(kTasks + 1);
    std::atomic<int> active{0};
    std::atomic<int> peak{0};
    std::mutex threadsMutex;
    std::set<unsigned long> threads;
    auto work = [&](ut::TaskContext&) {
      const int now = ++active;
      int seen = peak.load();
      while (now > seen && !peak.compare_exchange_weak(seen, now)) {}
      {
        const std::lock_guard<std::mutex> guard(threadsMutex);
        threads.insert(ut::getCurrentThreadId());
      }
      std::this_thread::sleep_for(100us);
      --active;
    };
    Gate first;
    Gate go;
    ut::TaskQueue queue(maximum);
    queue.addTask(new CountingTask(ledger, kTasks, [&](ut::TaskContext& context) {
      first.open();
      go.wait();
      work(context);
    }));
    ASSERT_TRUE(first.wait());
    for (int i = 0; i < kTasks; ++i) queue.addTask(new CountingTask(ledger, i, work));
    go.open();
    queue.waitAllTasks();
    EXPECT_EQ(peak.load(), 1);
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(ledger.totalRuns(), kTasks + 1);
    EXPECT_EQ(ledger.totalDeletions(), kTasks + 1);
  }
}

// With every worker busy, a new task starts no thread: one of the busy
// workers runs it when its task returns.
TEST(TaskQueueThreads, TaskAddedWhileMaximumIsBusyRunsOnABusyWorker) {
  TaskLedger ledger(3);
  Gate startedA, startedB, release;
  std::atomic<unsigned long> threadA{0}, threadB{0}, threadC{0};
  ut::TaskQueue queue(2);
  queue.addTask(new CountingTask(ledger, 0, [&](ut::TaskContext&) {
    threadA = ut::getCurrentThreadId();
    startedA.open();
    release.wait();
  }));
  ASSERT_TRUE(startedA.wait());
  queue.addTask(new CountingTask(ledger, 1, [&](ut::TaskContext&) {
    threadB = ut::getCurrentThreadId();
    startedB.open();
    release.wait();
  }));
  ASSERT_TRUE(startedB.wait());
  queue.addTask(new CountingTask(ledger, 2, [&](ut::TaskContext&) { threadC = ut::getCurrentThreadId(); }));
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(ledger.runs[2].load(), 0);
  release.open();
  queue.waitAllTasks();
  EXPECT_EQ(ledger.runs[2].load(), 1);
  EXPECT_NE(threadA.load(), threadB.load());
  EXPECT_TRUE(threadC == threadA || threadC == threadB);
}

// Destruction: the running task is told to stop and waited for; the queued
// ones are released without running, each exactly once.
TEST(TaskQueueThreads, DestructionDropsQueuedTasksAndWaitsForRunningOnes) {
  constexpr int kQueued = 5;
  TaskLedger ledger(kQueued + 1);
  Gate running;
  std::atomic<bool> sawStop{false};
  std::atomic<bool> finished{false};
  {
    ut::TaskQueue queue(1);
    queue.addTask(new CountingTask(ledger, kQueued, [&](ut::TaskContext& context) {
      running.open();
      sawStop = waitFor([&context] { return context.isStopping(); });
      std::this_thread::sleep_for(30ms);  // finishing work after the stop request
      finished = true;
    }));
    ASSERT_TRUE(running.wait());
    for (int i = 0; i < kQueued; ++i) queue.addTask(new CountingTask(ledger, i));
  }
  EXPECT_TRUE(sawStop.load());
  EXPECT_TRUE(finished.load());
  EXPECT_EQ(ledger.runs[kQueued].load(), 1);
  EXPECT_EQ(ledger.deletions[kQueued].load(), 1);
  for (int i = 0; i < kQueued; ++i) {
    EXPECT_EQ(ledger.runs[i].load(), 0) << i;
    EXPECT_EQ(ledger.deletions[i].load(), 1) << i;
  }
}

TEST(TaskQueueThreads, WaitCoversTasksAddedByTasks) {
  TaskLedger ledger(2);
  ut::TaskQueue queue(1);
  queue.addTask(new CountingTask(ledger, 0, [&](ut::TaskContext&) {
    std::this_thread::sleep_for(5ms);
    queue.addTask(new CountingTask(ledger, 1, [](ut::TaskContext&) { std::this_thread::sleep_for(5ms); }));
  }));
  queue.waitAllTasks();
  EXPECT_EQ(ledger.runs[0].load(), 1);
  EXPECT_EQ(ledger.runs[1].load(), 1);
  EXPECT_EQ(ledger.deletions[1].load(), 1);
}

// Assertion reports, collected from any thread.
std::mutex g_reportsMutex;
std::vector<std::string> g_reports;

int collectReport(const char* expression, const char* message, const char*, int) {
  const std::lock_guard<std::mutex> guard(g_reportsMutex);
  g_reports.push_back(std::string(expression) + " | " + (message ? message : "(none)"));
  return 0;
}

class TaskQueueReportsThreads : public ::testing::Test {
 protected:
  void SetUp() override {
    g_reports.clear();
    ut::addAssertCallback(&collectReport);
  }
  void TearDown() override { ut::removeAssertCallback(&collectReport); }
  static std::vector<std::string> reports() {
    const std::lock_guard<std::mutex> guard(g_reportsMutex);
    return g_reports;
  }
};

TEST_F(TaskQueueReportsThreads, ThrowingTaskIsReportedReleasedAndTheWorkerGoesOn) {
  TaskLedger ledger(3);
  ut::TaskQueue queue(1);
  queue.addTask(new CountingTask(ledger, 0, [](ut::TaskContext&) { throw std::runtime_error("disk full"); }));
  queue.addTask(new CountingTask(ledger, 1, [](ut::TaskContext&) { throw 42; }));
  queue.addTask(new CountingTask(ledger, 2));
  queue.waitAllTasks();
  EXPECT_EQ(ledger.totalRuns(), 3);
  EXPECT_EQ(ledger.totalDeletions(), 3);
  // Tasks added in quick succession may run on two workers: no order.
  std::vector<std::string> got = reports();
  std::sort(got.begin(), got.end());
  const std::vector<std::string> expected = {
      "Task::run() does not throw | an exception not derived from std::exception",
      "Task::run() does not throw | disk full",
  };
  EXPECT_EQ(got, expected);
}

TEST_F(TaskQueueReportsThreads, WaitFromOwnTaskIsReportedInsteadOfHanging) {
  TaskLedger ledger(1);
  ut::TaskQueue queue(2);
  queue.addTask(new CountingTask(ledger, 0, [&queue](ut::TaskContext&) { queue.waitAllTasks(); }));
  ASSERT_TRUE(finishesWithin([&queue] { queue.waitAllTasks(); }));
  EXPECT_EQ(ledger.runs[0].load(), 1);
  const std::vector<std::string> expected = {"waitAllTasks() is not called from a task of the same queue | (none)"};
  EXPECT_EQ(reports(), expected);
}

// A task may destroy its own queue: the destructor waits for the other
// running task and drops the queued ones; the destroying task then finishes.
TEST(TaskQueueThreads, TaskDestroysItsOwnQueue) {
  const int threadsBefore = ut::test::threadBaseline();
  TaskLedger ledger(4);
  Gate otherRunning;
  std::atomic<bool> otherFinished{false};
  std::atomic<bool> otherFinishedBeforeDelete{false};
  Gate destroyerRunning, destroy, destroyed;
  auto* queue = new ut::TaskQueue(2);
  queue->addTask(new CountingTask(ledger, 0, [&](ut::TaskContext& context) {
    otherRunning.open();
    waitFor([&context] { return context.isStopping(); });
    std::this_thread::sleep_for(10ms);
    otherFinished = true;
  }));
  ASSERT_TRUE(otherRunning.wait());
  queue->addTask(new CountingTask(ledger, 1, [&](ut::TaskContext& context) {
    destroyerRunning.open();
    destroy.wait();
    delete queue;
    otherFinishedBeforeDelete = otherFinished.load();
    EXPECT_TRUE(context.isStopping());
    destroyed.open();
  }));
  ASSERT_TRUE(destroyerRunning.wait());
  // Queued behind the two busy workers, so never taken.
  queue->addTask(new CountingTask(ledger, 2));
  queue->addTask(new CountingTask(ledger, 3));
  destroy.open();
  ASSERT_TRUE(destroyed.wait());
  EXPECT_TRUE(otherFinishedBeforeDelete.load());
  ASSERT_TRUE(waitFor([&ledger] { return ledger.totalDeletions() == 4; }));
  EXPECT_EQ(ledger.runs[2].load(), 0);
  EXPECT_EQ(ledger.runs[3].load(), 0);
  // Nobody waits for the destroying task's own thread; it ends by itself.
  EXPECT_TRUE(waitFor([&] { return ut::test::processThreadCount() <= threadsBefore; }))
      << ut::test::processThreadCount() << " threads, " << threadsBefore << " before";
}

}  // namespace
