#pragma once

// The private state record of a TaskQueue, shared by the queue and its
// workers.
//
// Lifetime: the record carries its own reference count. The queue holds one
// reference until every worker it created has ended (`live` is 0), so a
// worker that starts late still finds the record alive. A worker's thread
// holds one from its start to its end; it outlives the queue's only when the
// queue was destroyed by a task running on that thread. Whoever releases the
// last reference deletes the record.
//
// Locks: `lock` guards the task list and the decision how many workers to
// start. `mutex` and `condition` only carry wake-ups to the threads waiting
// for workers to finish; every decrement of `running` or `live` is followed
// by a broadcast under `mutex`, and waiters test their condition under
// `mutex`, so no wake-up is missed (the 1000 ms timeouts stay as a safety
// net). A thread holding `mutex` may take `lock`, never the other way round.

#include <ut/ut_tasks.h>

#include <wx/thread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace ut {

struct TaskQueueState {
  explicit TaskQueueState(int maximum);  // maxThreads := max(maximum, 1)
  ~TaskQueueState();
  TaskQueueState(const TaskQueueState&) = delete;
  TaskQueueState& operator=(const TaskQueueState&) = delete;

  void addRef() { m_refs.fetch_add(1, std::memory_order_relaxed); }
  // Deletes the record when this was the last reference.
  void release();

  // Under `lock`: starts up to `wanted` detached workers, each counted in
  // `live`. Stops at the first thread that fails to start (or at once while
  // wxWidgets is not initialised), reports it and returns false.
  bool startWorkers(int wanted);
  // How many workers addTask() starts now (may be 0 or negative: none).
  int workersWanted() const;
  // The next task for a worker, whose reference passes to the caller; null
  // when the list is empty or the queue is stopping, after which the calling
  // worker has left the running count.
  Task* takeNext();
  // Wakes every thread waiting on `condition`.
  void broadcast();
  // Called as a worker's thread ends, its last touch of the record: leaves
  // `live` and wakes the waiters, both under `mutex`, so a waiter that sees
  // the count drop may free the record at once.
  void workerLeft();
  // Under `mutex`, waits with 1000 ms timeouts until `done()` is true.
  template <typename Done>
  void waitUntil(Done done);

  wxCriticalSection lock;
  const int maxThreads;
  std::atomic<std::int32_t> running{0};   // workers inside their loop
  std::atomic<std::int32_t> stopping{0};  // 1 once destruction began
  wxMutex mutex;
  wxCondition condition;
  std::deque<Task*> tasks;  // each entry holds one reference

  // Workers created whose threads have not yet ended (they may not have
  // started to run yet). The destructor waits for this to reach 0.
  std::atomic<std::int32_t> live{0};

 private:
  std::atomic<std::int32_t> m_refs{1};
};

// Read-only view of a queue's counters for the library's internal tests.
class TaskQueueInspector {
 public:
  static int running(const TaskQueue& queue);
  static int live(const TaskQueue& queue);
  static std::size_t queued(const TaskQueue& queue);
  static int maxThreads(const TaskQueue& queue);
};

}  // namespace ut
