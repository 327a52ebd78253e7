// The task queue against a plain pool of long-lived std::thread workers
// sharing a mutex-guarded deque and a condition variable, both running the
// same reference-counted empty tasks:
//
//  - Burst: 100,000 tasks added back to back, then wait for all.
//  - Trickle: 10,000 tasks added one at a time with a short gap (about 20 us
//    of the producer's own work) between them, then wait for all. The queue's
//    workers end whenever they find it empty and a new thread is created for
//    the next task, so here it pays one thread start per task that arrives
//    after the workers have drained the queue; the pool's workers only wake.

#include <benchmark/benchmark.h>

#include <ut/ut_tasks.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int kBurstTasks = 100000;
constexpr int kTrickleTasks = 10000;
constexpr auto kTrickleGap = std::chrono::microseconds(20);

class EmptyTask : public ut::Task {
 public:
  void run(ut::TaskContext&) override { benchmark::ClobberMemory(); }
};

// The reference: workers created once and parked on a condition variable.
class StdThreadPool {
 public:
  explicit StdThreadPool(int threads) {
    for (int i = 0; i < threads; ++i) m_threads.emplace_back([this] { work(); });
  }
  ~StdThreadPool() {
    {
      const std::lock_guard<std::mutex> guard(m_mutex);
      m_stopping = true;
    }
    m_wake.notify_all();
    for (std::thread& t : m_threads) t.join();
  }
  StdThreadPool(const StdThreadPool&) = delete;
  StdThreadPool& operator=(const StdThreadPool&) = delete;

  void addTask(ut::Task* task) {
    task->addRef();
    {
      const std::lock_guard<std::mutex> guard(m_mutex);
      m_tasks.push_back(task);
      ++m_pending;
    }
    m_wake.notify_one();
  }

  void waitAllTasks() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_idle.wait(lock, [this] { return m_pending == 0; });
  }

 private:
  class Context : public ut::TaskContext {
   public:
    explicit Context(const StdThreadPool& pool) : m_pool(pool) {}
    bool isStopping() const override { return m_pool.m_stopping; }

   private:
    const StdThreadPool& m_pool;
  };

  void work() {
    Context context(*this);
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
      m_wake.wait(lock, [this] { return m_stopping || !m_tasks.empty(); });
      if (m_stopping) return;
      ut::Task* task = m_tasks.front();
      m_tasks.pop_front();
      lock.unlock();
      task->run(context);
      task->release();
      lock.lock();
      if (--m_pending == 0) m_idle.notify_all();
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_wake;
  std::condition_variable m_idle;
  std::deque<ut::Task*> m_tasks;
  long m_pending = 0;
  std::atomic<bool> m_stopping{false};
  std::vector<std::thread> m_threads;
};

void spinFor(std::chrono::microseconds gap) {
  const auto end = std::chrono::steady_clock::now() + gap;
  while (std::chrono::steady_clock::now() < end) {}
}

template <typename Queue>
void burst(benchmark::State& state) {
  Queue queue(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    for (int i = 0; i < kBurstTasks; ++i) queue.addTask(new EmptyTask);
    queue.waitAllTasks();
  }
  state.SetItemsProcessed(state.iterations() * kBurstTasks);
}

template <typename Queue>
void trickle(benchmark::State& state) {
  Queue queue(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    for (int i = 0; i < kTrickleTasks; ++i) {
      queue.addTask(new EmptyTask);
      spinFor(kTrickleGap);
    }
    queue.waitAllTasks();
  }
  state.SetItemsProcessed(state.iterations() * kTrickleTasks);
}

void BM_TaskQueueBurst(benchmark::State& state) { burst<ut::TaskQueue>(state); }
void BM_StdPoolBurst(benchmark::State& state) { burst<StdThreadPool>(state); }
void BM_TaskQueueTrickle(benchmark::State& state) { trickle<ut::TaskQueue>(state); }
void BM_StdPoolTrickle(benchmark::State& state) { trickle<StdThreadPool>(state); }

BENCHMARK(BM_TaskQueueBurst)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StdPoolBurst)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TaskQueueTrickle)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StdPoolTrickle)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
