// Tearing a queue down while its workers are still starting: nothing may touch
// the queue after it is gone, every task is released once, no thread stays
// behind, and a module that used a queue can be unloaded.

#include <gtest/gtest.h>

#include <ut/ut_tasks.h>

#include "taskqueue_test_support.h"

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace {

using ut::test::CountingTask;
using ut::test::TaskLedger;
using ut::test::waitFor;
using namespace std::chrono_literals;

// 10,000 queues destroyed right after addTask, mostly before their workers
// have counted themselves running (the rounds are divided by
// kSanitizerDivisor under a sanitizer, where thread creation is far slower).
// The sanitizers see any late worker touching a freed queue; here each task
// is released exactly once and runs at most once.
TEST(TaskQueueConcurrency, DestroyedRightAfterAddTask) {
  const int rounds = 10000 / ut::test::kSanitizerDivisor;
  const int threadsBefore = ut::test::threadBaseline();
  std::vector<int> firstTask(rounds + 1);
  int tasks = 0;
  for (int r = 0; r < rounds; ++r) {
    firstTask[r] = tasks;
    tasks += 1 + r % 3;
  }
  firstTask[rounds] = tasks;
  TaskLedger ledger(tasks);
  for (int r = 0; r < rounds; ++r) {
    ut::TaskQueue queue(1 + r % 4);
    for (int t = firstTask[r]; t < firstTask[r + 1]; ++t) queue.addTask(new CountingTask(ledger, t));
  }
  EXPECT_EQ(TaskLedger::countNot(ledger.deletions, 1), 0);
  int ranTwice = 0;
  for (const auto& runs : ledger.runs) ranTwice += runs.load() > 1 ? 1 : 0;
  EXPECT_EQ(ranTwice, 0);
  EXPECT_TRUE(waitFor([&] { return ut::test::processThreadCount() <= threadsBefore; }, 5s))
      << ut::test::processThreadCount() << " threads, " << threadsBefore << " before";
}

// Destroyed with a long queue behind busy workers: each task is run at most
// once and released exactly once, whether it ran or not.
TEST(TaskQueueConcurrency, DestroyedWithManyTasksQueued) {
  constexpr int kRounds = 100;
  constexpr int kPerRound = 200;
  TaskLedger ledger(kRounds * kPerRound);
  auto work = [](ut::TaskContext&) { std::this_thread::sleep_for(20us); };
  for (int r = 0; r < kRounds; ++r) {
    ut::TaskQueue queue(2);
    for (int i = 0; i < kPerRound; ++i) queue.addTask(new CountingTask(ledger, r * kPerRound + i, work));
  }
  EXPECT_EQ(TaskLedger::countNot(ledger.deletions, 1), 0);
  int ranTwice = 0;
  for (const auto& runs : ledger.runs) ranTwice += runs.load() > 1 ? 1 : 0;
  EXPECT_EQ(ranTwice, 0);
}

// The module's queues are gone when its function returns; unloading it must
// not leave a worker inside its code. After dlclose the module is really
// unmapped (RTLD_NOLOAD finds nothing), so a late worker would crash here.
TEST(TaskQueueThreads, ModuleUnloadedRightAfterItsQueuesAreDestroyed) {
  using RunFunc = int (*)(int, int);
  for (int load = 0; load < 10; ++load) {
    void* module = ::dlopen(UT_TEST_TASK_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << ::dlerror();
    auto run = reinterpret_cast<RunFunc>(::dlsym(module, "ut_test_task_module_run"));
    ASSERT_NE(run, nullptr) << ::dlerror();
    EXPECT_EQ(run(10, 6), 60);
    ASSERT_EQ(::dlclose(module), 0) << ::dlerror();
    void* again = ::dlopen(UT_TEST_TASK_MODULE, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(again, nullptr) << "the module stayed loaded";
    if (again) ::dlclose(again);
  }
}

}  // namespace
