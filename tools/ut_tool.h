#pragma once

// Shared pieces of the `ut` command-line tool. Each command group (reg, and
// later ones) lives in its own source file and registers itself on the
// application through an add...Commands function declared here.

#include <ut/ut_regstore.h>

#include <CLI/CLI.hpp>
#include <wx/string.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace ut::tool {

// Exit statuses: success, a failed operation, a bad command line.
enum EExitStatus : int {
  eExitOk = 0,
  eExitFailed = 1,
  eExitUsage = 2,
};

// Thrown by a command for a command line that parsed but makes no sense
// (unknown root key, bad type, unparsable data): exit status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Thrown by a command whose operation failed: exit status 1.
class OperationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// State shared by the commands of one run.
class Context {
 public:
  // The store file the run works on: the --store option, else the default.
  wxString storeFile() const;
  bool storeExists() const;
  // Binds the process to the store, creating the file if needed; throws
  // OperationError naming the file when the store is unusable.
  void openStore() const;

  // Set by the chosen command while the command line is parsed; run after
  // parsing succeeded. Returns the exit status.
  std::function<int()> action;
  std::string storeOption;
  std::string traceOption;
};

// --- tracing (--trace FILE) --------------------------------------------------
//
// The tool writes its main steps at level 1 and the details under them at
// level 2, all in one trace area, each command inside a TraceIndenter scope
// named after it.
enum ETraceLevel : int {
  eTraceSteps = 1,
  eTraceDetails = 2,
};
inline constexpr int kTraceArea = 0x1;
// The level a run traces at when "TDM_LOG_LEVEL" is unset: everything.
inline constexpr int kDefaultTraceLevel = eTraceDetails;

// The trace of one run: opens the tracer on a file, and closes it when the
// session ends.
class TraceSession {
 public:
  TraceSession() = default;
  ~TraceSession();
  TraceSession(const TraceSession&) = delete;
  TraceSession& operator=(const TraceSession&) = delete;

  // Opens the tracer on `file` with level and area from "TDM_LOG_LEVEL" and
  // "TDM_LOG_AREA" (kDefaultTraceLevel and every area when they are unset),
  // then writes the log stamp and the command line. False when the level is
  // on but the file cannot be written.
  bool start(const std::string& file, int argc, const char* const* argv);
};

// Writes `text` as one trace line at `level` when the tracer passes that
// level and the tool's area.
void trace(int level, const wxString& text);

// UTF-8 (the command line, the terminal) to and from wxString.
wxString fromUtf8(const std::string& text);
std::string toUtf8(const wxString& text);
// Writes a line to standard output.
void printLine(const wxString& text);

// Asks a yes/no question on the terminal (on standard error); true at once
// when force is set. Without a terminal to ask on, answers no and says how
// to force. Every command that replaces a file or a profile asks first.
bool confirm(const wxString& question, bool force, const char* forceOption);

// "-" for a file argument: standard input or output. The library reads and
// writes files by name, so the stream passes through a temporary file that
// the object removes.
class StdioFile {
 public:
  StdioFile() = default;
  ~StdioFile();
  StdioFile(const StdioFile&) = delete;
  StdioFile& operator=(const StdioFile&) = delete;

  // The file to read: `arg` itself, or for "-" a temporary copy of all of
  // standard input. Throws OperationError when the copy cannot be made.
  wxString input(const std::string& arg);
  // The file to write: `arg` itself, or for "-" a temporary file whose
  // contents finish() copies to standard output.
  wxString output(const std::string& arg);
  // Copies a temporary output file to standard output; nothing otherwise.
  void finish();

 private:
  wxString m_temp;
  bool m_toStdout = false;
};

// A "ROOT\path" argument (long or short root name); throws UsageError for an
// unknown root. Leading and trailing "\" around the path are dropped.
struct KeyArg {
  ERootKey root = eCurrentUser;
  wxString path;
  wxString fullName() const;
};
KeyArg parseKeyArg(const std::string& text);

// The overview printed when `ut` runs without a command.
int showOverview(const Context& context);

// Command groups.
void addRegCommands(CLI::App& app, Context& context);
void addConfigCommands(CLI::App& app, Context& context);
void addProfileCommands(CLI::App& app, Context& context);
void addSortCommands(CLI::App& app, Context& context);
void addEncodeCommands(CLI::App& app, Context& context);
void addPathCommands(CLI::App& app, Context& context);
void addFilesCommands(CLI::App& app, Context& context);
void addHttpsCommands(CLI::App& app, Context& context);
void addOAuthCommands(CLI::App& app, Context& context);
void addTextCommands(CLI::App& app, Context& context);
void addCsvCommands(CLI::App& app, Context& context);

}  // namespace ut::tool
