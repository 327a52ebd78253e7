#pragma once

// Progress of long operations: the abstract sink Progress and the arithmetic
// around it.
//
// A Progress takes a completion percentage (0 to 100, a double), a message,
// and answers whether the user has cancelled. The concrete progress that
// drives a progress bar belongs to the host. The library adds:
// - ProgressPart (Progress::createPart): a sub-range [from, to] of a parent;
// - ProgressSplitter: consecutive weighted parts of one progress;
// - ProgressCounter: a step counter reporting count / total;
// - ProgressPropagator: one progress fanned out to several;
// - StopWatch, getTicks() and getTicksPerSecond(): the high-resolution
//   counter.
//
// Nothing here takes a lock: a progress and its helpers belong to the thread
// running the operation.

#include <ut/ut_export.h>

#include "OdString.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace ut {

class UT_EXPORT Progress {
 public:
  virtual ~Progress();

  virtual void start(const OdString& message) = 0;
  virtual void stop() = 0;
  virtual void setMessage(const OdString& message) = 0;
  // Lets the user interface repaint; `force` asks for it even when nothing
  // changed.
  virtual void updateUI(bool force) = 0;
  // Sets the completion and, when not empty, the message. False asks the
  // caller to stop (the user cancelled).
  virtual bool setPercent(double percent, const OdString& message) = 0;
  virtual double getPercent() const = 0;
  virtual bool isCanceled() const = 0;

  // setPercent(100.0, empty) and its result.
  bool finish();
  // A ProgressPart over this progress for [from, to], percentages of this
  // progress; when `message` is not empty, setMessage(message) on this
  // progress first. The part must not outlive this progress.
  std::unique_ptr<Progress> createPart(double from, double to, const OdString& message = OdString());

 protected:
  Progress() = default;
  Progress(const Progress&) = default;
  Progress& operator=(const Progress&) = default;
};

// A sub-range [from, to] of a parent progress, made by Progress::createPart.
// - setPercent(p): the parent gets from + (to - from) * p / 100, clamped to
//   [0, 100];
// - getPercent(): (parent - from) * 100 / (to - from); from == to gives an
//   infinity or not-a-number, as floating point has it;
// - start(message): the parent starts, then gets from + (to - from) * from /
//   100: the part's own lower bound serves as its starting percentage, so a
//   part over [20, 60] reports 28 on start;
// - stop, setMessage, updateUI, isCanceled: forwarded unchanged.
class UT_EXPORT ProgressPart : public Progress {
 public:
  ~ProgressPart() override;
  ProgressPart(const ProgressPart&) = delete;
  ProgressPart& operator=(const ProgressPart&) = delete;

  void start(const OdString& message) override;
  void stop() override;
  void setMessage(const OdString& message) override;
  void updateUI(bool force) override;
  bool setPercent(double percent, const OdString& message) override;
  double getPercent() const override;
  bool isCanceled() const override;

 private:
  friend class Progress;
  ProgressPart(Progress& parent, double from, double to);

  double toParent(double percent) const;

  Progress& m_parent;
  double m_from;
  double m_to;
};

// Fans one progress out to several. Entries are not owned and may be null
// (skipped). Destroying the propagator stops every entry.
class UT_EXPORT ProgressPropagator : public Progress {
 public:
  explicit ProgressPropagator(const std::vector<Progress*>& progresses);
  ProgressPropagator(const ProgressPropagator& other);
  ProgressPropagator& operator=(const ProgressPropagator&) = delete;
  ~ProgressPropagator() override;

  void start(const OdString& message) override;
  void stop() override;
  void setMessage(const OdString& message) override;
  void updateUI(bool force) override;
  // Every entry is called, even after one refused; true only when none
  // refused (so true for no entries).
  bool setPercent(double percent, const OdString& message) override;
  // The first entry's percentage; 0 when there is none or it is null.
  double getPercent() const override;
  // True as soon as one entry is cancelled (later ones are not asked).
  bool isCanceled() const override;

 private:
  std::vector<Progress*> m_progresses;
};

// Counts steps towards a total and reports count * 100 / total (at most 100,
// with no lower clamp) to a progress after each change. Without a progress
// (null) it only counts. A total of 0 reports 100 (not-a-number for a count
// of 0). The count saturates at the limits of int instead of overflowing.
class UT_EXPORT ProgressCounter {
 public:
  // Adds one step when destroyed, as operator++ does.
  class UT_EXPORT ScopedIncrease {
   public:
    explicit ScopedIncrease(ProgressCounter& counter);
    ~ScopedIncrease();
    ScopedIncrease(const ScopedIncrease&) = delete;
    ScopedIncrease& operator=(const ScopedIncrease&) = delete;

   private:
    ProgressCounter& m_counter;
  };

  // `progress` is not owned and must outlive the counter.
  ProgressCounter(Progress* progress, int total);
  ~ProgressCounter();
  ProgressCounter(const ProgressCounter&) = delete;
  ProgressCounter& operator=(const ProgressCounter&) = delete;

  ProgressCounter& operator++();
  // Adds `n` steps (negative n counts back); the result of setPercent, or
  // true without a progress.
  bool increase(int n);
  ScopedIncrease scopedIncrease();

  int count() const;
  int total() const;

 private:
  struct State;
  bool report();
  std::unique_ptr<State> m_state;
};

// Hands out consecutive parts of one progress, each as wide as its weight's
// share of all weights: weights 1 and 3 give [0, 25] and [25, 100].
class UT_EXPORT ProgressSplitter {
 public:
  // `n` equal weights. `progress` is not owned and must outlive the splitter.
  ProgressSplitter(Progress* progress, int n);
  ProgressSplitter(Progress* progress, const std::vector<double>& weights);
  ~ProgressSplitter();
  ProgressSplitter(const ProgressSplitter&) = delete;
  ProgressSplitter& operator=(const ProgressSplitter&) = delete;

  // The part for the next weight, with `message` set on the progress when
  // not empty. The splitter owns the part; it stays valid until the next
  // call that returns a part, or the splitter's end. Null without a progress
  // or when every weight is used (the part handed out before then stays).
  Progress* next(const OdString& message = OdString());

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

// Measures elapsed time on the high-resolution counter.
class UT_EXPORT StopWatch {
 public:
  StopWatch();
  void restart();
  // Milliseconds since construction or the last restart().
  double time() const;

 private:
  std::int64_t m_start;
};

// The high-resolution counter's current value, and its ticks per second.
UT_EXPORT std::int64_t getTicks();
UT_EXPORT std::int64_t getTicksPerSecond();

}  // namespace ut
