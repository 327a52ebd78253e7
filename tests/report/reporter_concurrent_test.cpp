#include <gtest/gtest.h>

#include <ut/ut_reporter.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

using ut::IReporterMessage;
using ut::ReporterMessageRegistry;

namespace {

const char kShared[] = "SHARED";    // every thread adds the same 500 of these
const char kOwn[] = "OWN";          // 100 per thread, seen by that thread only
const char kFailure[] = "FAILURE";  // one error, from one thread

constexpr int kThreads = 8;
constexpr int kPerThread = 10000;
constexpr int kSharedDistinct = 500;
constexpr int kOwnDistinct = 100;

class Reporter : public ut::IReporter {
 public:
  void showReport() override {}
  void deliverToTargets() override {}
};

std::wstring sharedInfo(int k) { return L"shared " + std::to_wstring(k); }
std::wstring ownInfo(int thread, int k) { return L"thread " + std::to_wstring(thread) + L" #" + std::to_wstring(k); }

// Thread t's i-th message: even i a shared one, odd i one of its own, each
// cycling through its distinct values in increasing order; thread 7 adds
// one error half way.
void addMessages(Reporter& reporter, int thread) {
  for (int i = 0; i < kPerThread; ++i) {
    if (thread == 7 && i == kPerThread / 2) reporter.addMessage(kFailure, L"disk full");
    if (i % 2 == 0)
      reporter.addMessage(kShared, sharedInfo((i / 2) % kSharedDistinct));
    else
      reporter.addMessage(kOwn, ownInfo(thread, (i / 2) % kOwnDistinct));
  }
}

}  // namespace

TEST(ReporterConcurrentTest, EightThreadsKeepEachDistinctMessageOnceInArrivalOrder) {
  auto& registry = ReporterMessageRegistry::instance();
  registry.registerMessage(kShared, IReporterMessage::eSeverityWarning, IReporterMessage::eHighlightShort,
                           std::wstring(L"Shared"));
  registry.registerMessage(kOwn, IReporterMessage::eSeverityMessage, IReporterMessage::eHighlightShort,
                           std::wstring(L"Own"));
  registry.registerMessage(kFailure, IReporterMessage::eSeverityError, IReporterMessage::eHighlightShort,
                           std::wstring(L"Failure"));

  Reporter reporter;
  {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(addMessages, std::ref(reporter), t);
    for (auto& thread : threads) thread.join();
  }

  const auto& list = reporter.messages();
  EXPECT_EQ(list.size(), static_cast<std::size_t>(kSharedDistinct + kThreads * kOwnDistinct + 1));
  // Position of every message by its info; a second sighting is a duplicate.
  std::map<std::wstring, std::size_t> position;
  for (std::size_t i = 0; i < list.size(); ++i) {
    EXPECT_TRUE(position.emplace(list[i]->additionalInfo(), i).second) << "duplicate at " << i;
  }
  // Each thread met its values in increasing order, so their first arrivals
  // are in that order too; for the shared ones the earliest thread decides,
  // which keeps the order as well.
  for (int k = 1; k < kSharedDistinct; ++k) {
    ASSERT_TRUE(position.contains(sharedInfo(k)));
    EXPECT_LT(position[sharedInfo(k - 1)], position[sharedInfo(k)]) << k;
  }
  for (int t = 0; t < kThreads; ++t) {
    for (int k = 1; k < kOwnDistinct; ++k) {
      ASSERT_TRUE(position.contains(ownInfo(t, k)));
      EXPECT_LT(position[ownInfo(t, k - 1)], position[ownInfo(t, k)]) << t << " " << k;
    }
  }
  EXPECT_TRUE(position.contains(L"disk full"));
  EXPECT_TRUE(reporter.hasWarnings());
  EXPECT_TRUE(reporter.hasErrors());

  registry.unregisterMessage(kShared);
  registry.unregisterMessage(kOwn);
  registry.unregisterMessage(kFailure);
}

TEST(ReporterConcurrentTest, CopyingBothWaysAtOnceNeitherDeadlocksNorLosesMessages) {
  Reporter a;
  Reporter b;
  const char* id = kOwn;
  std::thread first([&] {
    for (int i = 0; i < 100; ++i) {
      a.addMessage(id, L"a" + std::to_wstring(i));
      a.copyMessagesFrom(b);
    }
  });
  std::thread second([&] {
    for (int i = 0; i < 100; ++i) {
      b.addMessage(id, L"b" + std::to_wstring(i));
      b.moveMessagesFrom(a);
    }
  });
  first.join();
  second.join();
  b.moveMessagesFrom(a);
  // Every "a" message ended up in b (moved, possibly also copied back to a
  // and moved again); b's own ones were never removed from b.
  std::map<std::wstring, int> seen;
  for (const auto& m : b.messages()) ++seen[m->additionalInfo()];
  EXPECT_EQ(seen.size(), 200u);
  for (const auto& [info, count] : seen) EXPECT_EQ(count, 1) << std::string(info.begin(), info.end());
  EXPECT_TRUE(a.messages().empty());
}
