#include <gtest/gtest.h>
#include <wx/init.h>

#include <ut/ut_regstore.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "test_support.h"

namespace {

// A detached task-queue worker is done with its queue when the queue's
// destructor returns, but its thread still runs the C library's and the
// toolkit's per-thread clean-up for a moment after that. A program that ends
// under it can have the leak checker see the toolkit's per-thread record as
// lost, or tear the toolkit down under that thread, so the test program waits
// (at most five seconds) for such threads to be gone.
void waitForOtherThreadsToEnd(int baseline) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (ut::test::processThreadCount() > baseline && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

// wxWidgets is initialised once for the whole test program, as a host would.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const int baseline = ut::test::threadBaseline();
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
