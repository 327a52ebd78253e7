#pragma once

// The `ut` tool's terminal progress bar: a ut::Progress that draws one line
// on standard error while a long command runs.
//
//   ProgressBar bar;                         // standard error
//   bar.start(OdString(L"Importing big.reg"));
//   bar.setBytes(done, total);               // or bar.setPercent(p, msg)
//   if (bar.isCanceled()) ...                // the user pressed Ctrl-C
//   bar.stop();
//
// The line shows the message, a bar with the percentage (a moving marker
// while no percentage is known), the elapsed time and, when the caller
// reports bytes, the amount done and the throughput:
//
//   Importing big.reg [##########----------]  50%  0:04  12.0 MiB  3.0 MiB/s
//
// Drawing happens on a thread of the bar's own, at most four times a second
// and only after the first quarter second, so a short command shows nothing;
// the calls of Progress only record the state and never write. When the file
// descriptor is not a terminal nothing is ever written.
//
// Between start() and stop() the bar owns SIGINT and SIGTERM: the first Ctrl-C
// or termination request marks the operation cancelled (isCanceled() turns
// true, setPercent answers false), so the command can clean up (remove partial
// output, delete lock files), and the next one ends the process as usual.
// stop() puts the previous handlers back. One bar at a time may be started in
// a process.

#include "OdString.h"

#include <ut/ut_progress.h>

#include <chrono>
#include <cstdint>
#include <memory>

namespace ut::tool {

class ProgressBar : public ut::Progress {
 public:
  struct Options {
    int fd = 2;  // standard error
    std::chrono::milliseconds interval{250};
    bool handleInterrupt = true;
  };

  ProgressBar();
  explicit ProgressBar(const Options& options);
  // Stops the bar if it is running.
  ~ProgressBar() override;
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Whether the bar draws at all: its descriptor is a terminal.
  bool drawing() const;

  // Begins a run: resets percentage, bytes, elapsed time and cancellation;
  // a running bar is stopped first.
  void start(const OdString& message) override;
  // Ends the run: the final state is drawn once more and the line ended, if
  // anything was drawn. Does nothing when not started.
  void stop() override;
  void setMessage(const OdString& message) override;
  // The drawing thread redraws on its own schedule; nothing to do here.
  void updateUI(bool force) override;
  // Percent is clamped to [0, 100] (not-a-number is ignored); a non-empty
  // message replaces the current one. False once the user has cancelled.
  bool setPercent(double percent, const OdString& message) override;
  double getPercent() const override;
  bool isCanceled() const override;

  // The amount done, and the total when known (negative: unknown), in bytes.
  // With a positive total the percentage follows done / total. False once the
  // user has cancelled.
  bool setBytes(std::int64_t done, std::int64_t total = -1);

  // The line as it would be drawn now, `columns` wide at most (for tests and
  // for callers that print the final state themselves).
  std::string render(int columns) const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace ut::tool
