#include <gtest/gtest.h>

#include <ut/ut_progress.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

using ut::Progress;
using ut::ProgressCounter;
using ut::ProgressPropagator;
using ut::ProgressSplitter;

namespace {

// Records every call as one line ("percent 28", "start load"); answers
// setPercent with `accept` and isCanceled with `canceled`.
class RecordingProgress : public Progress {
 public:
  void start(const OdString& message) override { log(L"start " + text(message)); }
  void stop() override { log(L"stop"); }
  void setMessage(const OdString& message) override { log(L"message " + text(message)); }
  void updateUI(bool force) override { log(force ? L"update forced" : L"update"); }
  bool setPercent(double percent, const OdString& message) override {
    percents.push_back(percent);
    m_percent = percent;
    log(L"percent " + text(message));
    return accept;
  }
  double getPercent() const override { return m_percent; }
  bool isCanceled() const override {
    ++cancelQueries;
    return canceled;
  }

  std::vector<std::wstring> calls;
  std::vector<double> percents;
  bool accept = true;
  bool canceled = false;
  mutable int cancelQueries = 0;

 private:
  static std::wstring text(const OdString& s) { return s.c_str(); }
  void log(const std::wstring& line) { calls.push_back(line); }
  double m_percent = 0;
};

using Calls = std::vector<std::wstring>;
using Percents = std::vector<double>;

}  // namespace

// --- ProgressPart ---------------------------------------------------------------------

TEST(ProgressPartTest, MapsIntoItsRangeAndClamps) {
  RecordingProgress parent;
  auto part = parent.createPart(20, 60);
  EXPECT_TRUE(part->setPercent(50, OdString(L"half")));
  part->setPercent(150, OdString());
  part->setPercent(-100, OdString());
  part->setPercent(0, OdString());
  part->setPercent(100, OdString());
  EXPECT_EQ(parent.percents, (Percents{40, 80, 0, 20, 60}));
  EXPECT_EQ(parent.calls[0], L"percent half");
  auto wide = parent.createPart(0, 200);
  wide->setPercent(75, OdString());
  EXPECT_EQ(parent.percents.back(), 100);
}

TEST(ProgressPartTest, StartReportsTheLowerBoundMappedThroughTheRange) {
  RecordingProgress parent;
  auto part = parent.createPart(20, 60);
  part->start(OdString(L"load"));
  EXPECT_EQ(parent.calls, (Calls{L"start load", L"percent "}));
  EXPECT_EQ(parent.percents, (Percents{28}));
  auto whole = parent.createPart(0, 100);
  whole->start(OdString());
  EXPECT_EQ(parent.percents.back(), 0);
}

TEST(ProgressPartTest, ReadsBackThroughTheRange) {
  RecordingProgress parent;
  auto part = parent.createPart(20, 60);
  parent.setPercent(40, OdString());
  EXPECT_EQ(part->getPercent(), 50);
  parent.setPercent(10, OdString());
  EXPECT_EQ(part->getPercent(), -25);
  auto empty = parent.createPart(30, 30);
  EXPECT_TRUE(std::isinf(empty->getPercent()));
  parent.setPercent(30, OdString());
  EXPECT_TRUE(std::isnan(empty->getPercent()));
}

TEST(ProgressPartTest, ForwardsTheRestAndSetsTheMessageOnlyWhenGiven) {
  RecordingProgress parent;
  auto quiet = parent.createPart(0, 50);
  EXPECT_TRUE(parent.calls.empty());
  auto part = parent.createPart(0, 50, OdString(L"phase 1"));
  part->setMessage(OdString(L"step"));
  part->updateUI(true);
  part->stop();
  EXPECT_EQ(parent.calls, (Calls{L"message phase 1", L"message step", L"update forced", L"stop"}));
  parent.canceled = true;
  EXPECT_TRUE(part->isCanceled());
  parent.accept = false;
  EXPECT_FALSE(part->setPercent(10, OdString()));
  // A part of a part composes the mappings: 50% of [50, 100] of [0, 50].
  auto inner = part->createPart(50, 100);
  inner->setPercent(50, OdString());
  EXPECT_EQ(parent.percents.back(), 37.5);
}

TEST(ProgressTest, FinishSetsAHundredAndPassesTheAnswerOn) {
  RecordingProgress progress;
  EXPECT_TRUE(progress.finish());
  progress.accept = false;
  EXPECT_FALSE(progress.finish());
  EXPECT_EQ(progress.percents, (Percents{100, 100}));
  EXPECT_EQ(progress.calls.back(), L"percent ");
}

// --- ProgressCounter ------------------------------------------------------------------

TEST(ProgressCounterTest, ReportsTheShareOfTheTotalAndStopsAtAHundred) {
  RecordingProgress progress;
  ProgressCounter counter(&progress, 4);
  for (int i = 0; i < 5; ++i) ++counter;
  EXPECT_EQ(progress.percents, (Percents{25, 50, 75, 100, 100}));
  EXPECT_EQ(counter.count(), 5);
  EXPECT_EQ(counter.total(), 4);
}

TEST(ProgressCounterTest, IncreaseByStepsAndScopedIncrease) {
  RecordingProgress progress;
  ProgressCounter counter(&progress, 8);
  EXPECT_TRUE(counter.increase(3));
  {
    const auto step = counter.scopedIncrease();
    EXPECT_EQ(progress.percents.size(), 1u);
  }
  EXPECT_TRUE(counter.increase(-6));  // no lower clamp
  progress.accept = false;
  EXPECT_FALSE(counter.increase(0));
  EXPECT_EQ(progress.percents, (Percents{37.5, 50, -25, -25}));
}

TEST(ProgressCounterTest, ZeroTotalAndNoProgress) {
  RecordingProgress progress;
  ProgressCounter zero(&progress, 0);
  zero.increase(0);
  zero.increase(1);
  ASSERT_EQ(progress.percents.size(), 2u);
  EXPECT_TRUE(std::isnan(progress.percents[0]));
  EXPECT_EQ(progress.percents[1], 100);
  ProgressCounter detached(nullptr, 10);
  EXPECT_TRUE(detached.increase(4));
  ++detached;
  EXPECT_EQ(detached.count(), 5);
}

TEST(ProgressCounterTest, TheCountSaturatesInsteadOfOverflowing) {
  ProgressCounter counter(nullptr, 10);
  counter.increase(INT_MAX);
  counter.increase(INT_MAX);
  EXPECT_EQ(counter.count(), INT_MAX);
  counter.increase(INT_MIN);
  counter.increase(INT_MIN);
  EXPECT_EQ(counter.count(), INT_MIN);
}

// --- ProgressSplitter -----------------------------------------------------------------

TEST(ProgressSplitterTest, EqualPartsCoverThirds) {
  RecordingProgress progress;
  ProgressSplitter splitter(&progress, 3);
  const Percents starts{0, 100.0 / 3, 200.0 / 3};
  const Percents ends{100.0 / 3, 200.0 / 3, 100};
  for (int i = 0; i < 3; ++i) {
    Progress* part = splitter.next(OdString(L"part ") + OdString(std::to_wstring(i).c_str()));
    ASSERT_NE(part, nullptr);
    part->setPercent(0, OdString());
    EXPECT_EQ(progress.percents.back(), starts[i]) << i;
    part->setPercent(100, OdString());
    EXPECT_DOUBLE_EQ(progress.percents.back(), ends[i]) << i;
  }
  EXPECT_EQ(splitter.next(), nullptr);
  EXPECT_EQ(progress.calls[0], L"message part 0");
}

TEST(ProgressSplitterTest, WeightsSetTheWidths) {
  RecordingProgress progress;
  ProgressSplitter splitter(&progress, std::vector<double>{1, 3});
  Progress* first = splitter.next();
  first->setPercent(100, OdString());
  Progress* second = splitter.next();
  second->setPercent(0, OdString());
  second->setPercent(50, OdString());
  EXPECT_EQ(progress.percents, (Percents{25, 25, 62.5}));
  EXPECT_EQ(splitter.next(), nullptr);
  // The last part stays usable after the splitter ran out.
  second->setPercent(100, OdString());
  EXPECT_EQ(progress.percents.back(), 100);
  EXPECT_EQ(progress.calls.size(), 4u);  // no message was set
}

TEST(ProgressSplitterTest, NoProgressOrNoWeightsGivesNoPart) {
  ProgressSplitter detached(nullptr, 3);
  EXPECT_EQ(detached.next(), nullptr);
  RecordingProgress progress;
  ProgressSplitter none(&progress, 0);
  EXPECT_EQ(none.next(), nullptr);
  ProgressSplitter negative(&progress, -2);
  EXPECT_EQ(negative.next(), nullptr);
  EXPECT_TRUE(progress.calls.empty());
}

// --- ProgressPropagator ---------------------------------------------------------------

TEST(ProgressPropagatorTest, ARefusalStillReachesEveryEntry) {
  RecordingProgress a, b, c;
  b.accept = false;
  {
    ProgressPropagator fan({&a, nullptr, &b, &c});
    EXPECT_FALSE(fan.setPercent(42, OdString(L"m")));
    fan.start(OdString(L"s"));
    fan.setMessage(OdString(L"t"));
    fan.updateUI(false);
    EXPECT_EQ(fan.getPercent(), 42);
  }
  for (const RecordingProgress* p : {&a, &b, &c}) {
    EXPECT_EQ(p->calls, (Calls{L"percent m", L"start s", L"message t", L"update", L"stop"}));
  }
}

TEST(ProgressPropagatorTest, CancellationStopsAtTheFirstThatSaysSo) {
  RecordingProgress a, b, c;
  ProgressPropagator fan({&a, &b, &c});
  EXPECT_FALSE(fan.isCanceled());
  b.canceled = true;
  c.cancelQueries = 0;
  EXPECT_TRUE(fan.isCanceled());
  EXPECT_EQ(c.cancelQueries, 0);
  const ProgressPropagator copy(fan);
  EXPECT_TRUE(copy.isCanceled());
}

TEST(ProgressPropagatorTest, EmptyOrNullFirstEntry) {
  ProgressPropagator empty({});
  EXPECT_TRUE(empty.setPercent(10, OdString()));
  EXPECT_EQ(empty.getPercent(), 0);
  EXPECT_FALSE(empty.isCanceled());
  RecordingProgress a;
  a.setPercent(70, OdString());
  ProgressPropagator nullFirst({nullptr, &a});
  EXPECT_EQ(nullFirst.getPercent(), 0);
}

// --- StopWatch and ticks ----------------------------------------------------------------

TEST(StopWatchTest, MeasuresMillisecondsOnTheNanosecondCounter) {
  EXPECT_EQ(ut::getTicksPerSecond(), 1000000000);
  const std::int64_t before = ut::getTicks();
  ut::StopWatch watch;
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const double elapsed = watch.time();
  EXPECT_GE(elapsed, 20.0);
  EXPECT_GE(ut::getTicks() - before, static_cast<std::int64_t>(elapsed * 1e6));
  watch.restart();
  EXPECT_GE(watch.time(), 0.0);
}
