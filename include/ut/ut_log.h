#pragma once

// Developer output beside the tracer (ut/ut_tracer.h):
//
//  - ThreadLog: debug lines marked with the writing thread, each thread's
//    lines in their own column, by default to the debugger output.
//  - outputDebugString(): one formatted text to the debugger output.
//  - getLogStamp(): the banner line that opens a log session.
//  - LogBuffer: a wxWidgets log target that holds records back and delivers
//    them, in order, when it is destroyed.
//
// The debugger output is the platform's (see ut/ut_platform.h: standard
// error unless the host routes it elsewhere).
//
// Wide format strings here follow the wide printf of the host platform's
// C library as the SDK strings do: a bare %s or %c takes a wide argument, like
// %ls and %lc; %hs and %hc take narrow ones.

#include <ut/ut_export.h>
#include <ut/ut_tracer.h>

#include <wx/log.h>
#include <wx/string.h>

#include <cstdint>
#include <mutex>
#include <vector>

namespace ut {

// Process-wide writer of per-thread debug lines. Each line is
//
//   <two spaces per thread that printed first><id as %#lx>["*"]> <text>\n
//
// where the asterisk marks the main thread (or every thread while wxWidgets
// knows no main thread), and the indentation places each thread in the column
// given by the order in which threads first printed. Thread-safe; whole lines
// are handed to the output function one at a time, under the log's lock (a
// recursive one, so an output function may itself print).
class UT_EXPORT ThreadLog {
 public:
  // Receives each finished line, terminated; valid only during the call.
  using OutputFunc = void (*)(const wchar_t* line);

  // The log; created on first use (thread-safe).
  static ThreadLog& get();

  ThreadLog(const ThreadLog&) = delete;
  ThreadLog& operator=(const ThreadLog&) = delete;

  // Installs `func` (null: the debugger output) and returns the function it
  // replaces.
  OutputFunc setOutputFunc(OutputFunc func);

  // Writes one line; a null text counts as empty.
  void print(const wchar_t* text);
  // Formats (see the header comment) and prints at most the first 2048
  // characters. A format that fails prints an empty text.
  void printf(const wchar_t* format, ...);

 private:
  ThreadLog();
  ~ThreadLog();
  static void defaultOutputFunc(const wchar_t* line);

  OutputFunc m_outputFunc;
  // Thread identifiers in first-print order; never shrinks. Held at their
  // native width so that distinct threads never share a column.
  std::vector<std::uint64_t> m_threads;
  std::recursive_mutex m_lock;
};

// Formats (see the header comment), replaces every tab by eight spaces and
// then every "\n" by "\r\n", and writes the result to the debugger output.
// A null format writes nothing.
UT_EXPORT void outputDebugString(const wchar_t* format, ...);

// "\n--------------- DD-MM-YYYY hh:mm:ss --------------- v<version> ---------------"
// in local time, where <version> is the library's version. The text lives in
// one static buffer that the next call overwrites; not safe to call from two
// threads at once.
UT_EXPORT const char* getLogStamp();

// A log target that keeps every record it receives, in arrival order, and
// writes nothing. Its destructor replays the records in order through
// wxLog::OnLog, so they reach whichever target is active then. Install it with
// wxLog::SetActiveTarget for a stretch of work whose log output is to be held
// back, and restore the previous target before destroying it. Destroyed while
// still active, it first withdraws itself (wxWidgets then falls back to its
// default target) so that no record is lost or fed back into it.
class UT_EXPORT LogBuffer : public wxLog {
 public:
  LogBuffer();
  // Copies the records; the copy replays them too when it dies.
  LogBuffer(const LogBuffer& other);
  LogBuffer& operator=(const LogBuffer& other);
  ~LogBuffer() override;

 protected:
  void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo& info) override;

 private:
  struct Record {
    wxLogLevel level;
    wxString message;
    wxLogRecordInfo info;
  };
  std::vector<Record> m_records;
};

}  // namespace ut
