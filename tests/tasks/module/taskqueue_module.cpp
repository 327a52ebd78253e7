// A plug-in module for the unload test: it owns task classes whose code and
// counters disappear with the module, creates queues, feeds them and destroys
// them. The test unloads it right after; a worker still running or releasing
// one of these tasks then would jump into unmapped code.

#include <ut/ut_tasks.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

std::atomic<int> g_deleted{0};

class ModuleTask : public ut::Task {
 public:
  explicit ModuleTask(bool untilStopped) : m_untilStopped(untilStopped) {}
  ~ModuleTask() override {
    // Some work in the module's code after the last reference went.
    std::this_thread::sleep_for(std::chrono::microseconds(50));
    g_deleted.fetch_add(1);
  }
  void run(ut::TaskContext& context) override {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (m_untilStopped && !context.isStopping() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }

 private:
  bool m_untilStopped;
};

}  // namespace

// Runs `rounds` queues of 3 workers, each given `tasks` tasks (the first ones
// run until the queue stops) and destroyed at once. Returns how many tasks were
// deleted, which is rounds * tasks when the queue released every one.
extern "C" __attribute__((visibility("default"))) int ut_test_task_module_run(int rounds, int tasks) {
  g_deleted = 0;
  for (int r = 0; r < rounds; ++r) {
    ut::TaskQueue queue(3);
    for (int t = 0; t < tasks; ++t) queue.addTask(new ModuleTask(t < 2));
  }
  return g_deleted.load();
}
