#pragma once

// The developer trace channel: one process-wide UtTracer that writes indented,
// level-prefixed text lines to a trace file, or to standard output while no
// file is open.
//
// Which lines are written is the caller's decision: the output operators do
// not filter. A trace site tests the level and area first and keeps the
// accessor alive for the whole line:
//
//   {
//     ut::SafeTracerAccessor access;
//     UtTracer& t = access.get();
//     if (t.traceLevel() >= 3 && t.checkArea(kAreaFiles))
//       t.str(3) << "opened " << path << std::endl;
//   }
//
// Level and area come from the environment ("TDM_LOG_LEVEL", "TDM_LOG_AREA")
// or from the host. Tracing stays off (level -1) until the host calls
// setStreamName() or setTraceLevel().
//
// Threads: the tracer has no lock of its own. A host that traces from several
// threads registers a SafeTracerAccessorLock; SafeTracerAccessor and
// TraceIndenter then hold it around their output. Without one, lines written
// concurrently may interleave.
//
// Assertions: addAssertCallback() and friends keep the process-wide list of
// callbacks that are told about broken invariants (the tracer reports an
// unbalanced indentation at freeStream() this way).

#include <ut/ut_export.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <ostream>
#include <string>
#include <thread>

namespace ut {
class IReporterMessage;
class SafeTracerAccessor;
class TraceIndenter;
}  // namespace ut

class UT_EXPORT UtTracer {
 public:
  // The process-wide tracer.
  static UtTracer& tracer() { return m_sTracer; }

  UtTracer(const UtTracer&) = delete;
  UtTracer& operator=(const UtTracer&) = delete;

  // True while the trace file is open; output then goes there, otherwise to
  // standard output.
  bool isOpen() const { return m_stream.is_open(); }

  // The effective level; negative means tracing is off.
  int traceLevel() const { return m_traceLevel.load(std::memory_order_relaxed); }

  // Sets the level. The same level does nothing; a negative one switches
  // tracing off and leaves an open file open. A non-negative level opens the
  // remembered file name (truncating it) WITHOUT closing first: when the file
  // is already open that open fails and all later output to the file is
  // dropped. To change the level of an open trace cleanly, call
  // setStreamName() again.
  void setTraceLevel(int level);

  // True when the area mask is 0 (every area passes) or `area` shares a bit
  // with it. checkArea(0) is therefore false under any non-zero mask.
  bool checkArea(int area) const {
    const int mask = m_area.load(std::memory_order_relaxed);
    return mask == 0 || (area & mask) != 0;
  }

  // Area mask := the integer value of "TDM_LOG_AREA", or -1 when unset (every
  // non-zero area passes).
  void readArea();

  // Closes any trace file and starts again with the level from
  // "TDM_LOG_LEVEL" (-1 when unset: tracing stays off, no file is opened and
  // the name is only remembered) and the area mask from "TDM_LOG_AREA"
  // (0 when unset or negative). A null name traces to standard output. The
  // file is truncated; one that cannot be opened is not reported: its output
  // goes to standard output instead. Numbers are written with 16 significant
  // digits.
  void setStreamName(const char* name);
  // The same with an explicit level and area mask (a negative mask means 0);
  // the environment is not read.
  void setStreamName(const char* name, int level, int area);

  // Closes the trace file and switches tracing off (level -1). A non-zero
  // indentation is reported to the assertion callbacks ("0 == m_indent") and
  // reset.
  void freeStream();

  // Indentation in spaces: +2, respectively -2 but never below 0.
  void incIndent();
  void decIndent();

  // Starts a line: the level, "> ", then the current indentation in spaces.
  UtTracer& str(int level);

  UtTracer& operator<<(int value);
  UtTracer& operator<<(long value);
  UtTracer& operator<<(unsigned int value);
  UtTracer& operator<<(unsigned long value);
  UtTracer& operator<<(long long value);
  UtTracer& operator<<(unsigned long long value);
  UtTracer& operator<<(double value);
  // The integer the identifier holds (the native thread handle), in decimal.
  UtTracer& operator<<(std::thread::id id);
  // "TRUE" or "FALSE".
  UtTracer& operator<<(bool value);
  // "NULL PTR" for a null pointer, else the stream's pointer formatting.
  UtTracer& operator<<(const void* pointer);
  // Written as is; a null pointer writes nothing.
  UtTracer& operator<<(const char* const text);
  UtTracer& operator<<(const std::string& text);
  // Converted to the multibyte encoding of the process locale and cut at 511
  // bytes (on a character boundary); a null pointer writes nothing.
  UtTracer& operator<<(const wchar_t* text);
  // Narrowed character by character through the stream's locale; characters
  // it cannot narrow become '?'.
  UtTracer& operator<<(const std::wstring& text);
  // In seconds: 1'500'000'000 ns is written as 1.5.
  UtTracer& operator<<(std::chrono::nanoseconds duration);
  // Stream manipulators such as std::endl, std::flush, std::hex.
  UtTracer& operator<<(std::ostream& (*manipulator)(std::ostream&));
  UtTracer& operator<<(std::ios_base& (*manipulator)(std::ios_base&));
  // "Message type <id>", end of line, "Message <text>", end of line.
  UtTracer& operator<<(const ut::IReporterMessage& message);

  // Writes the current call stack when "TDM_DEV" was set when first asked
  // (the answer is kept for the life of the process), else a line saying how
  // to get one.
  void traceCallStack();

 private:
  friend class ut::SafeTracerAccessor;
  friend class ut::TraceIndenter;

  UtTracer();
  ~UtTracer();

  static UtTracer& safeTracer() { return m_sTracer; }
  std::ostream& stream();
  void readEnvVar();
  // Opens m_streamName for writing (truncating) and sets the precision.
  void openStream();

  // Atomic so that level and area tests on one thread never race with a
  // change on another; the host's lock still orders whole lines.
  std::atomic<int> m_indent;
  std::atomic<int> m_envTraceLevel;
  std::atomic<int> m_traceLevel;
  std::atomic<int> m_area;
  std::ofstream m_stream;
  std::string m_streamName;

  static UtTracer m_sTracer;
};

namespace ut {

// A lock the host supplies to serialise trace output, for example around a
// mutex. The library never creates or deletes one.
class UT_EXPORT SafeTracerAccessorLock {
 public:
  virtual ~SafeTracerAccessorLock();
  virtual void lock() = 0;
  virtual void unlock() = 0;

 protected:
  SafeTracerAccessorLock() = default;
  SafeTracerAccessorLock(const SafeTracerAccessorLock&) = default;
  SafeTracerAccessorLock& operator=(const SafeTracerAccessorLock&) = default;
};

// Scoped access to the tracer: holds the registered lock, if any, from
// construction to destruction. The lock is looked up once, at construction.
class UT_EXPORT SafeTracerAccessor {
 public:
  // Inline: a bracketed trace site whose level test fails costs a load and
  // two branches.
  SafeTracerAccessor() : m_lockHeld(m_pLock.load(std::memory_order_acquire)) {
    if (m_lockHeld) m_lockHeld->lock();
  }
  ~SafeTracerAccessor() {
    if (m_lockHeld) m_lockHeld->unlock();
  }
  SafeTracerAccessor(const SafeTracerAccessor&) = delete;
  SafeTracerAccessor& operator=(const SafeTracerAccessor&) = delete;

  static UtTracer& get() { return UtTracer::safeTracer(); }

  // Registers the lock that accessors and indenters take; null removes it.
  // The lock must outlive its registration. Change it only while no trace
  // site is running: an accessor alive across the change unlocks the lock it
  // took.
  static void setLocker(SafeTracerAccessorLock* lock);

 private:
  SafeTracerAccessorLock* m_lockHeld;
  static std::atomic<SafeTracerAccessorLock*> m_pLock;
};

// Traces a scope. When the level and area pass at construction, writes
// "<level>> Call <name>()" and indents by two; the destructor unindents and
// writes "<level>> Done <name>()". A null or empty name indents silently.
//
// The destructor tests the level only, not the area: an indenter filtered out
// by its area still unindents at destruction when the level passes (the
// indentation never goes below 0). Copies take level and name and unindent
// again when they die.
class UT_EXPORT TraceIndenter {
 public:
  TraceIndenter(int level, const char* name, int area);
  ~TraceIndenter();
  TraceIndenter(const TraceIndenter& other) = default;
  TraceIndenter& operator=(const TraceIndenter& other) = default;

 private:
  int m_level;
  std::string m_name;
};

// A marker that API entry points create. It records its arguments and writes
// nothing, on construction or destruction.
class UT_EXPORT ApiScopeLogger {
 public:
  ApiScopeLogger(int value, const char* const name);
  ~ApiScopeLogger();
  ApiScopeLogger(const ApiScopeLogger&) = default;
  ApiScopeLogger& operator=(const ApiScopeLogger&) = default;

  void succeeded();

  const char* name() const { return m_name; }
  int value() const { return m_value; }
  bool hasSucceeded() const { return m_succeeded; }

 private:
  const char* m_name;
  int m_value;
  bool m_succeeded;
};

// The current call stack as text; empty in this build (no capture).
UT_EXPORT std::string getCallStack();

// --- assertions ------------------------------------------------------------------

// Told about a broken invariant: the failed expression, a message (null when
// there is none), the source file and line. The result is ignored.
using AssertCallback = int (*)(const char* expression, const char* message, const char* file, int line);

// Appends `callback` to the process-wide list; a callback already in it moves
// to the end (no duplicates). Null is ignored.
UT_EXPORT void addAssertCallback(AssertCallback callback);
// Removes `callback` from the list.
UT_EXPORT void removeAssertCallback(AssertCallback callback);
// Calls every registered callback in list order. Callbacks may add or remove
// callbacks; that takes effect from the next call. Thread-safe.
UT_EXPORT void callAssert(const char* expression, const char* message, const char* file, int line);

}  // namespace ut
