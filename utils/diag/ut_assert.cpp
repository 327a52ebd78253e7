// Assertion callbacks: the host's handlers for failed assertions, run in the
// order they were added.

#include <ut/ut_tracer.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

// The assertion callbacks. Both objects are constant-initialised, so they
// exist before any dynamic initialisation in the process and outlive the
// tracer, whose destructor may still report an unbalanced indentation.
constinit std::mutex g_assertMutex;
constinit std::vector<ut::AssertCallback> g_assertCallbacks;

}  // namespace

namespace ut {

void addAssertCallback(AssertCallback callback) {
  if (!callback) return;
  const std::lock_guard<std::mutex> guard(g_assertMutex);
  std::erase(g_assertCallbacks, callback);
  g_assertCallbacks.push_back(callback);
}

void removeAssertCallback(AssertCallback callback) {
  const std::lock_guard<std::mutex> guard(g_assertMutex);
  std::erase(g_assertCallbacks, callback);
}

void callAssert(const char* expression, const char* message, const char* file, int line) {
  // Called outside the lock so that a callback may change the list.
  std::vector<AssertCallback> callbacks;
  {
    const std::lock_guard<std::mutex> guard(g_assertMutex);
    callbacks = g_assertCallbacks;
  }
  for (const AssertCallback callback : callbacks) callback(expression, message, file, line);
}

std::string getCallStack() { return {}; }

}  // namespace ut
