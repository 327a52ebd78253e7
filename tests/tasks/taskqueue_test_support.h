#pragma once

// Building blocks of the task queue tests: bounded waits, a gate, tasks that
// count their runs and deletions, and the process's thread count.

#include <ut/ut_tasks.h>

#include "test_support.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace ut::test {

// Sanitizers slow thread creation down by an order of magnitude; the longest
// loops run this many times fewer rounds under them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int kSanitizerDivisor = 10;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr int kSanitizerDivisor = 10;
#else
inline constexpr int kSanitizerDivisor = 1;
#endif
#else
inline constexpr int kSanitizerDivisor = 1;
#endif

// The longest any single wait of these tests may take before it counts as hung.
inline constexpr std::chrono::seconds kHang{20};

// Polls `done` every millisecond until it is true or `timeout` passed.
inline bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout = kHang) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// Runs `work` on another thread and returns whether it finished in time. A
// call that hangs cannot be abandoned safely (it still uses the test's
// objects), so the test program stops with a message instead of hanging.
inline bool finishesWithin(const std::function<void()>& work, std::chrono::milliseconds timeout = kHang) {
  auto done = std::make_shared<std::atomic<bool>>(false);
  std::thread runner([work, done] {
    work();
    done->store(true);
  });
  if (!waitFor([&done] { return done->load(); }, timeout)) {
    std::fprintf(stderr, "a call did not return within %lld ms; stopping the test program\n",
                 static_cast<long long>(timeout.count()));
    std::abort();
  }
  runner.join();
  return true;
}

// A one-way gate: closed until open() is called.
class Gate {
 public:
  void open() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_open = true;
    m_changed.notify_all();
  }
  bool isOpen() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_open;
  }
  // True when the gate opened within `timeout`.
  bool wait(std::chrono::milliseconds timeout = kHang) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [this] { return m_open; });
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_open = false;
};

// Counters for a batch of tasks, indexed by task number.
struct TaskLedger {
  explicit TaskLedger(std::size_t n) : runs(n), deletions(n) {}
  std::vector<std::atomic<int>> runs;
  std::vector<std::atomic<int>> deletions;

  int totalRuns() const { return total(runs); }
  int totalDeletions() const { return total(deletions); }
  static int total(const std::vector<std::atomic<int>>& counters) {
    int sum = 0;
    for (const auto& c : counters) sum += c.load();
    return sum;
  }
  // Tasks whose counter is not exactly `expected`.
  static int countNot(const std::vector<std::atomic<int>>& counters, int expected) {
    int wrong = 0;
    for (const auto& c : counters) wrong += c.load() != expected ? 1 : 0;
    return wrong;
  }
};

// Counts its run and its deletion in a ledger; optionally does more work.
class CountingTask : public ut::Task {
 public:
  CountingTask(TaskLedger& ledger, std::size_t index, std::function<void(ut::TaskContext&)> work = {})
      : m_ledger(ledger), m_index(index), m_work(std::move(work)) {}
  ~CountingTask() override { m_ledger.deletions[m_index].fetch_add(1); }
  void run(ut::TaskContext& context) override {
    m_ledger.runs[m_index].fetch_add(1);
    if (m_work) m_work(context);
  }

 private:
  TaskLedger& m_ledger;
  std::size_t m_index;
  std::function<void(ut::TaskContext&)> m_work;
};

}  // namespace ut::test
