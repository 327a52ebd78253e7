#include <gtest/gtest.h>
#include <wx/init.h>

#include <ut/ut_regstore.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "test_support.h"

// Under ThreadSanitizer: wxWidgets keeps per-thread records that a thread
// removes, under a mutex of wxWidgets, as it exits; the mutex itself is
// destroyed when the program ends. A detached thread's exit is no
// synchronisation point, so the program's end looks unordered with the last
// exit of a detached (task queue) worker. Only that report, a mutex destroyed
// in a race, is suppressed.
extern "C" const char* __tsan_default_suppressions() { return "race_top:pthread_mutex_destroy\n"; }

namespace {

// A detached task-queue worker is done with the queue when the queue's
// destructor returns, but its thread still runs the toolkit's exit path for a
// moment after that. Tearing the toolkit down under it would crash that
// thread, so the program waits (at most five seconds) for it to end.
long threadCount() {
  std::error_code error;
  const auto n = std::distance(std::filesystem::directory_iterator("/proc/self/task", error),
                               std::filesystem::directory_iterator());
  return error ? 0 : n;
}

// Waits until no more threads run than `baseline` (sanitizers keep threads of
// their own).
void waitForOtherThreadsToEnd(long baseline) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    if (threadCount() <= baseline) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace

// wxWidgets is initialised once for the whole test program, as a host would.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const long baseline = threadCount();
  wxInitializer wx;
  if (!wx.IsOk()) {
    fprintf(stderr, "wxWidgets failed to initialise\n");
    return 1;
  }
  // No test may touch the registry store of the user running it: the default
  // store of this program is a scratch file (tests that write use TempStore).
  ut::test::TempDir storeDir;
  ::setenv("UT_REGISTRY_FILE", (storeDir.path() / "default-registry.db").c_str(), 1);
  const int result = RUN_ALL_TESTS();
  ut::RegStore::close();
  waitForOtherThreadsToEnd(baseline);
  return result;
}
