#pragma once

// The report of one `ut` command: a ut::IReporter that collects the
// command's warnings and errors and prints them when the command ends.
//
//   CommandReport report("reg import");
//   const bool ok = Registry::importKey(file, true);   // its wxLog records are collected
//   if (!ok) report.addError(L"some entries of " + file + L" were not imported");
//   return report.finish();                            // prints; 1 if any error, else 0
//
// While the report exists it is the active wxLog target: what the library
// logs (warnings, errors, messages) becomes reporter messages instead of
// lines written in the middle of a progress bar; the previous target is put
// back when the report is destroyed. Duplicates are dropped as in every
// reporter, so a problem logged a hundred times is printed once.
//
// Printed lines go to standard error, in order of first arrival:
//   ut: reg import: error: Bad value on line 12
//   ut: reg import: warning: ...

#include "ut_progress_bar.h"

#include <ut/ut_reporter.h>

#include <wx/string.h>

#include <functional>
#include <memory>
#include <string>

namespace ut::tool {

class CommandReport : public ut::IReporter {
 public:
  // `command` prefixes every printed line ("reg import"); may be empty.
  explicit CommandReport(std::string command);
  ~CommandReport() override;
  CommandReport(const CommandReport&) = delete;
  CommandReport& operator=(const CommandReport&) = delete;

  void addError(const wxString& text);
  void addWarning(const wxString& text);
  void addNote(const wxString& text);

  // Prints every collected message to standard error (and hands the report
  // to the targets); the list is emptied so nothing is printed twice.
  void showReport() override;
  void deliverToTargets() override;

  // Shows the report and returns the command's exit status: 1 when an error
  // was ever added (hasErrors()), else 0.
  int finish();

  // The kinds of the collected messages.
  static const char kError[];
  static const char kWarning[];
  static const char kNote[];

 private:
  class LogCollector;
  std::string m_command;
  std::unique_ptr<LogCollector> m_collector;
};

// Runs `step`, a library call that cannot stop half way (one transaction,
// one file write), while `bar` shows `message` with the elapsed time. When
// `dataFile` is given, the final line shows its size (after the step) and
// the throughput. A Ctrl-C during the step cannot take effect: it is
// reported as a warning once the step completed. Returns the step's result.
bool runLongStep(ProgressBar& bar, CommandReport& report, const wxString& message, const std::function<bool()>& step,
                 const wxString& dataFile = wxString());

}  // namespace ut::tool
