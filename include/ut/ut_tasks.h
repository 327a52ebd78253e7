#pragma once

// Background work on a small pool of worker threads, and the identity of the
// main thread.
//
//  - Task: a unit of work with an intrusive, atomic reference count. Derive
//    from it and implement run().
//  - TaskContext: what a running task is handed; it tells the task that its
//    queue is shutting down.
//  - TaskQueue: runs tasks first-in first-out on detached worker threads that
//    are created on demand and end as soon as they find the queue empty.
//  - getCurrentThreadId(), getMainThreadId(), isMainThread().
//
//   class Resize : public ut::Task {
//     void run(ut::TaskContext& context) override {
//       for (Image& image : m_images) {
//         if (context.isStopping()) return;  // the queue is being destroyed
//         image.resize();
//       }
//     }
//     ...
//   };
//   ut::TaskQueue queue(4);
//   queue.addTask(new Resize(images));  // the queue now owns the task
//   queue.waitAllTasks();
//
// The worker threads are wxWidgets threads: wxWidgets must be initialised (the
// host's application object, or a wxInitializer) before the first addTask()
// and until the last queue is destroyed. A queue used before that starts no
// workers: it reports the fault to the assertion callbacks (ut/ut_tracer.h)
// and keeps its tasks queued.

#include <ut/ut_export.h>

#include <atomic>
#include <cstdint>

namespace ut {

struct TaskQueueState;

// What a worker hands to the task it runs.
class UT_EXPORT TaskContext {
 public:
  virtual ~TaskContext();
  // True once the queue that runs the task has begun to be destroyed. A task
  // that runs long tests it now and then and returns early when it is true:
  // the queue's destructor waits for every running task.
  virtual bool isStopping() const = 0;
};

// A unit of work, owned through its reference count. A new task has the count
// 0; addRef() raises it and release() lowers it, deleting the task (through
// the virtual destructor, exactly once) when the count drops from 1 to 0. Both
// are thread-safe. Tasks must therefore live on the heap once anything calls
// release() on them.
//
// Copying a task copies its reference count along with the rest of the object
// (the copy starts with the source's count, and assignment overwrites the
// target's count with the source's). A copy that is to be owned by a queue
// should therefore be made from a task nobody holds a reference on yet.
class UT_EXPORT Task {
 public:
  Task();
  Task(const Task& other);
  Task& operator=(const Task& other);
  virtual ~Task();

  // The task's work, on a worker thread. An exception that escapes it is
  // reported to the assertion callbacks (ut/ut_tracer.h) and otherwise
  // dropped; the worker goes on with the next task.
  virtual void run(TaskContext& context) = 0;

  void addRef();
  // Lowers the count; deletes the task when it was 1. Calling it on a task
  // whose count is already 0 is a programming error (the count goes negative
  // and the task is never deleted).
  void release();

 private:
  std::atomic<std::int32_t> m_refCount;
};

// A first-in first-out queue of tasks and the detached worker threads that run
// them.
//
// addTask() starts new workers while there are fewer running workers than the
// maximum given to the constructor; a worker takes tasks from the front until
// it finds the queue empty, and then ends. A worker counts itself as running
// when it starts, so tasks added in quick succession may briefly start more
// workers than the maximum (the extra ones end as soon as the queue is empty).
//
// Destruction stops the queue: tasks not yet taken by a worker are released
// without being run, running tasks see isStopping() and are waited for, and
// every worker thread has ended (past wxWidgets' own thread-exit code) when
// the destructor returns, so the host may then shut wxWidgets down or unload
// the module that used the queue. A task may destroy its own queue: the
// destructor then waits for the other workers, and the calling task finishes
// after it; that one thread ends later, unwaited.
//
// addTask() may be called from any thread, also from the queue's own tasks;
// so may waitAllTasks(), except from a task of the same queue (see there).
class UT_EXPORT TaskQueue {
 public:
  // Up to max(maxThreads, 1) workers; zero and negative values mean 1.
  explicit TaskQueue(int maxThreads);
  ~TaskQueue();
  TaskQueue(const TaskQueue&) = delete;
  TaskQueue& operator=(const TaskQueue&) = delete;

  // Appends `task` (taking a reference on it, which the queue releases after
  // the task has run or when it is dropped unrun) and starts as many workers
  // as the queued tasks need, up to the maximum less the running workers. A
  // null task is ignored. While the queue is being destroyed the task is
  // queued but never run; it is released with the other unrun tasks.
  void addTask(Task* task);

  // Blocks until the queue is empty and no worker is running. Returns at once
  // on a queue that never had a task. A task added meanwhile by another
  // thread is waited for too. Called from a task of this queue, whose own
  // worker would never stop running, it reports the fault to the assertion
  // callbacks (ut/ut_tracer.h) and returns at once. It also returns, after
  // reporting, when tasks are queued but no worker thread can be started
  // (the system refuses new threads, or wxWidgets is not initialised); those
  // tasks stay queued.
  void waitAllTasks();

 private:
  friend class TaskQueueInspector;  // reads the counters in the library's internal tests
  TaskQueueState* m_state;          // one reference on the shared state record
};

// The calling thread's identifier, as wxWidgets reports it.
UT_EXPORT unsigned long getCurrentThreadId();
// The main thread's identifier as wxWidgets recorded it when it was
// initialised; 0 before that.
UT_EXPORT unsigned long getMainThreadId();
// True on the main thread, and on every thread while no main thread is
// recorded (getMainThreadId() is 0).
UT_EXPORT bool isMainThread();

}  // namespace ut
