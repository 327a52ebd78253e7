#include "ut_taskqueue_state.h"

#include <ut/ut_tracer.h>

#include <exception>
#include <utility>

namespace ut {

namespace {

// The state record of the queue whose worker the calling thread is, if any:
// lets the queue notice calls made from inside one of its own tasks.
thread_local const TaskQueueState* t_servedQueue = nullptr;

// Where a worker's thread leaves its queue: the destructor of a thread-local
// object, which runs when the thread itself ends. A detached wxWidgets thread
// goes on after Entry() returns: it deletes its thread object and updates the
// toolkit's process-wide thread lists under the toolkit's own mutexes. Were a
// worker counted gone any earlier, a host could destroy the queue and then
// shut the toolkit down (or unload it) while that code still runs, and those
// mutexes would be destroyed under the thread. Counting it gone here, after
// the last call into the toolkit, makes the queue's destructor the point
// after which none of its threads runs library or toolkit code.
class ThreadEnd {
 public:
  ThreadEnd() = default;
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    if (!m_state) return;
    if (m_orphaned) {
      // The queue was destroyed from a task on this thread: nobody waits.
      m_state->release();
      return;
    }
    // The queue's own reference is held until the count below reaches
    // zero, so releasing this one first never deletes the record, and the
    // queue's destructor, not this thread, is the last to touch it.
    m_state->release();
    m_state->workerLeft();
  }

  // Called once, as the worker starts: takes a reference on the record.
  void arm(TaskQueueState& state) {
    state.addRef();
    m_state = &state;
  }
  // The queue is being destroyed by a task running on this thread.
  void orphan() { m_orphaned = true; }

 private:
  TaskQueueState* m_state = nullptr;
  bool m_orphaned = false;
};

thread_local ThreadEnd t_threadEnd;

// A detached worker thread; it is also the context its tasks receive. The
// queue counts it in `live` from its creation until its thread has ended
// (see ThreadEnd), and does not free the state record before that.
class Worker final : public wxThread, public TaskContext {
 public:
  explicit Worker(TaskQueueState& state) : wxThread(wxTHREAD_DETACHED), m_state(state) {}

  bool isStopping() const override { return m_state.stopping.load(std::memory_order_acquire) != 0; }

 private:
  ExitCode Entry() override {
    t_threadEnd.arm(m_state);
    t_servedQueue = &m_state;
    m_state.running.fetch_add(1, std::memory_order_acq_rel);
    for (Task* task = m_state.takeNext(); task; task = m_state.takeNext()) runAndRelease(task);
    t_servedQueue = nullptr;
    return nullptr;
  }

  // The worker survives a task that throws: the fault goes to the assertion
  // callbacks, and the queue's counts stay right so that waiting ends.
  void runAndRelease(Task* task) {
    try {
      task->run(*this);
    } catch (const std::exception& e) {
      callAssert("Task::run() does not throw", e.what(), __FILE__, __LINE__);
    } catch (...) {
      callAssert("Task::run() does not throw", "an exception not derived from std::exception", __FILE__, __LINE__);
    }
    task->release();
  }

  TaskQueueState& m_state;
};

}  // namespace

// --- TaskQueueState --------------------------------------------------------------

TaskQueueState::TaskQueueState(int maximum) : maxThreads(maximum < 1 ? 1 : maximum), condition(mutex) {}

TaskQueueState::~TaskQueueState() = default;

void TaskQueueState::release() {
  if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

int TaskQueueState::workersWanted() const {
  // One per queued task, but no more than the maximum less the workers that
  // already count themselves running (workers created but not yet started do
  // not count, so quick successive calls may start more than the maximum).
  const int free = maxThreads - running.load(std::memory_order_acquire);
  if (free <= 0) return 0;
  return tasks.size() >= static_cast<std::size_t>(free) ? free : static_cast<int>(tasks.size());
}

bool TaskQueueState::startWorkers(int wanted) {
  if (wanted > 0 && wxThread::GetMainId() == 0) {
    // wxWidgets sets up its thread bookkeeping when it is initialised;
    // creating a thread before that would crash.
    callAssert("wxWidgets is initialised before a task queue starts workers", "tasks stay queued", __FILE__, __LINE__);
    return false;
  }
  for (int i = 0; i < wanted; ++i) {
    auto* worker = new Worker(*this);
    live.fetch_add(1, std::memory_order_acq_rel);
    // From a successful Run() on, the detached thread owns and deletes itself.
    if (worker->Run() != wxTHREAD_NO_ERROR) {
      // Under `lock`, where no broadcast may be sent; nobody waits for a
      // worker that never ran.
      live.fetch_sub(1, std::memory_order_acq_rel);
      delete worker;
      callAssert("a task queue worker thread starts", "the thread could not be created; tasks stay queued", __FILE__,
                 __LINE__);
      return false;
    }
  }
  return true;
}

Task* TaskQueueState::takeNext() {
  {
    wxCriticalSectionLocker guard(lock);
    if (!tasks.empty() && stopping.load(std::memory_order_acquire) == 0) {
      Task* task = tasks.front();
      tasks.pop_front();
      return task;
    }
    running.fetch_sub(1, std::memory_order_acq_rel);
  }
  broadcast();
  return nullptr;
}

void TaskQueueState::broadcast() {
  wxMutexLocker guard(mutex);
  condition.Broadcast();
}

void TaskQueueState::workerLeft() {
  wxMutexLocker guard(mutex);
  live.fetch_sub(1, std::memory_order_acq_rel);
  condition.Broadcast();
}

template <typename Done>
void TaskQueueState::waitUntil(Done done) {
  wxMutexLocker guard(mutex);
  while (!done()) condition.WaitTimeout(1000);
}

// --- TaskQueue ---------------------------------------------------------------------

TaskQueue::TaskQueue(int maxThreads) : m_state(new TaskQueueState(maxThreads)) {}

TaskQueue::~TaskQueue() {
  TaskQueueState& s = *m_state;
  s.stopping.exchange(1, std::memory_order_acq_rel);
  // Every worker leaves once its running task returns: none takes another
  // task now. Waiting for `live` as well as `running` also covers workers
  // created but not yet started, and lasts until their threads have ended.
  // Destroyed from one of its own tasks, the queue waits for the others only;
  // that worker's reference keeps the record alive until its thread ends.
  const int self = t_servedQueue == m_state ? 1 : 0;
  if (self) t_threadEnd.orphan();
  s.waitUntil([&s, self] {
    return s.running.load(std::memory_order_acquire) <= self && s.live.load(std::memory_order_acquire) <= self;
  });
  std::deque<Task*> unrun;
  {
    wxCriticalSectionLocker guard(s.lock);
    unrun.swap(s.tasks);
  }
  for (Task* task : unrun) task->release();
  s.release();
}

void TaskQueue::addTask(Task* task) {
  if (!task) return;
  TaskQueueState& s = *m_state;
  wxCriticalSectionLocker guard(s.lock);
  s.tasks.push_back(task);
  task->addRef();
  if (s.stopping.load(std::memory_order_acquire) == 0) s.startWorkers(s.workersWanted());
}

void TaskQueue::waitAllTasks() {
  TaskQueueState& s = *m_state;
  if (t_servedQueue == m_state) {
    // The caller's own worker counts as running: waiting would never end.
    callAssert("waitAllTasks() is not called from a task of the same queue", nullptr, __FILE__, __LINE__);
    return;
  }
  s.waitUntil([&s] {
    wxCriticalSectionLocker guard(s.lock);
    if (s.tasks.empty()) return s.running.load(std::memory_order_acquire) < 1;
    // Tasks without any worker are only left behind by a thread that failed
    // to start. Try again; when that fails too, waiting would never end.
    if (s.live.load(std::memory_order_acquire) == 0 && s.stopping.load(std::memory_order_acquire) == 0)
      return !s.startWorkers(s.workersWanted());
    return false;
  });
}

// --- TaskQueueInspector ------------------------------------------------------------

int TaskQueueInspector::running(const TaskQueue& queue) { return queue.m_state->running.load(); }

int TaskQueueInspector::live(const TaskQueue& queue) { return queue.m_state->live.load(); }

std::size_t TaskQueueInspector::queued(const TaskQueue& queue) {
  wxCriticalSectionLocker guard(queue.m_state->lock);
  return queue.m_state->tasks.size();
}

int TaskQueueInspector::maxThreads(const TaskQueue& queue) { return queue.m_state->maxThreads; }

}  // namespace ut
