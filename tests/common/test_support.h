#pragma once

#include <wx/string.h>

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ut::test {

// A fresh, empty folder under the system's temporary directory, removed with
// everything in it when the object goes out of scope.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

// Points the process's registry store (ut::RegStore) at a fresh file in a
// private temporary folder for the object's lifetime, then switches back to
// the file that was in force before. Every test that reads or writes the
// store creates one, so tests never see each other's data or the user's.
class TempStore {
 public:
  TempStore();
  ~TempStore();
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

  // The store file (it exists once the store has opened it).
  const std::filesystem::path& file() const { return m_file; }
  // The folder holding it; other files of the test may go there too.
  const TempDir& dir() const { return m_dir; }
  // True when the store accepted the file.
  bool ok() const { return m_ok; }

 private:
  TempDir m_dir;
  std::filesystem::path m_file;
  wxString m_previous;
  bool m_previousWasDefault = true;
  bool m_ok = false;
};

// Another process, started from a program path and its arguments, whose
// standard output the test reads line by line (standard error is inherited).
// The destructor kills a child that is still running and reaps it.
class ChildProcess {
 public:
  ChildProcess(const std::string& program, const std::vector<std::string>& args);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool started() const { return m_pid > 0; }
  // The next line of output without its line feed; nullopt at the end of the
  // output or when none arrives in time.
  std::optional<std::string> readLine(std::chrono::milliseconds timeout = std::chrono::seconds(30));
  // Sends a signal (SIGKILL by default).
  void kill(int signal = 9);
  // Waits for the end: the exit code, or 128 + the signal that ended it;
  // -1 when it does not end within the timeout.
  int wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));

 private:
  pid_t m_pid = -1;
  int m_out = -1;
  std::string m_pending;
  std::optional<int> m_status;
};

// Sets (or, with nullopt, unsets) an environment variable for the object's
// lifetime, then restores what was there.
class EnvOverride {
 public:
  EnvOverride(const char* name, std::optional<std::string> value);
  ~EnvOverride();
  EnvOverride(const EnvOverride&) = delete;
  EnvOverride& operator=(const EnvOverride&) = delete;

 private:
  std::string m_name;
  std::optional<std::string> m_old;
};

// The threads of this process right now.
int processThreadCount();
// The process's thread count before a test starts threads of its own. A
// sanitizer starts a helper thread at the process's first thread creation
// and keeps it; one short-lived thread first makes that helper part of the
// baseline, whichever test runs first.
int threadBaseline();

// Reads a whole file as bytes; empty when it cannot be read.
std::string readFileBytes(const std::filesystem::path& file);
// Writes bytes to a file, replacing it; false on failure.
bool writeFileBytes(const std::filesystem::path& file, const std::string& bytes);

// A word quoted for the shell.
std::string shellQuote(const std::string& word);

// How a program run by runProgram ended and what it printed.
struct ProgramResult {
  int status = -1;  // the exit status; -1 when a signal ended it
  std::string out;
  std::string err;
};

// Runs a program with its arguments through the shell, behind `envPrefix`
// (for instance "env LC_ALL=C", or empty), with `input` as standard input
// (/dev/null when empty, so a program can never wait for a user). Output is
// captured in files under `scratch`.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::filesystem::path& scratch, const std::string& envPrefix = "",
                         const std::string& input = "");

}  // namespace ut::test
