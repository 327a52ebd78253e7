#include <ut/ut_tasks.h>

#include <wx/thread.h>

namespace ut {

// --- TaskContext -----------------------------------------------------------------

TaskContext::~TaskContext() = default;

// --- Task ------------------------------------------------------------------------

Task::Task() : m_refCount(0) {}

// The count travels with the object: a copy starts where its source stands.
Task::Task(const Task& other) : m_refCount(other.m_refCount.load(std::memory_order_relaxed)) {}

Task& Task::operator=(const Task& other) {
  m_refCount.store(other.m_refCount.load(std::memory_order_relaxed), std::memory_order_relaxed);
  return *this;
}

Task::~Task() = default;

void Task::addRef() { m_refCount.fetch_add(1, std::memory_order_relaxed); }

void Task::release() {
  // acq_rel: the deleting thread sees every write other holders made before
  // they let go.
  if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

// --- thread identity ---------------------------------------------------------------

unsigned long getCurrentThreadId() { return static_cast<unsigned long>(wxThread::GetCurrentId()); }

unsigned long getMainThreadId() { return static_cast<unsigned long>(wxThread::GetMainId()); }

bool isMainThread() {
  const unsigned long main = getMainThreadId();
  return main == 0 || getCurrentThreadId() == main;
}

}  // namespace ut
