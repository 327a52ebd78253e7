// Adding messages to a reporter, beside the reference: a std::vector
// push_back of the same shared pointers, which keeps everything and drops no
// duplicate. The reporter scans its whole list for an equivalent message on
// every add, so distinct messages cost O(n) each and O(n^2) for n of them;
// the runs over 1,000, 10,000 and 100,000 distinct messages show where that
// scan starts to dominate. Duplicates of a small set keep the list short.

#include <benchmark/benchmark.h>

#include <ut/ut_reporter.h>

#include <memory>
#include <string>
#include <vector>

namespace {

const char kObjectSkipped[] = "OBJECT_SKIPPED";

constexpr int kAdds = 100'000;
constexpr int kDuplicateSet = 100;

// Adds prepared messages as the public adders do after building them, so the
// measurement is the scan and the append alone.
class BenchReporter : public ut::IReporter {
 public:
  void showReport() override {}
  void deliverToTargets() override {}
  void add(const std::shared_ptr<ut::IReporterMessage>& message) { addMessageImpl(message); }
};

// Messages of one kind that differ in their additional info, the way one
// long operation reports many objects.
std::vector<std::shared_ptr<ut::IReporterMessage>> makeMessages(int distinct, int total) {
  std::vector<std::shared_ptr<ut::IReporterMessage>> kinds;
  for (int i = 0; i < distinct; ++i) {
    auto message = std::make_shared<ut::ReporterMessage>(kObjectSkipped);
    message->setAdditionalInfo(L"object " + std::to_wstring(i));
    kinds.push_back(std::move(message));
  }
  std::vector<std::shared_ptr<ut::IReporterMessage>> out;
  out.reserve(static_cast<std::size_t>(total));
  for (int i = 0; i < total; ++i) out.push_back(kinds[static_cast<std::size_t>(i % distinct)]);
  return out;
}

void BM_ReporterAddDistinct(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto messages = makeMessages(n, n);
  for (auto _ : state) {
    BenchReporter reporter;
    for (const auto& m : messages) reporter.add(m);
    benchmark::DoNotOptimize(reporter.messages().data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_ReporterAddDistinct)->Arg(100)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReporterAddDistinct)->Arg(kAdds)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_ReporterAddDuplicates(benchmark::State& state) {
  const auto messages = makeMessages(kDuplicateSet, kAdds);
  for (auto _ : state) {
    BenchReporter reporter;
    for (const auto& m : messages) reporter.add(m);
    benchmark::DoNotOptimize(reporter.messages().data());
  }
  state.SetItemsProcessed(state.iterations() * kAdds);
}
BENCHMARK(BM_ReporterAddDuplicates)->Unit(benchmark::kMillisecond);

// The public path: build the message from the registry, lock, scan, append.
void BM_ReporterAddMessageDuplicates(benchmark::State& state) {
  ut::ReporterMessageRegistry::instance().registerMessage(kObjectSkipped, ut::IReporterMessage::eSeverityWarning,
                                                          ut::IReporterMessage::eHighlightShort,
                                                          std::wstring(L"Object skipped"));
  std::vector<std::wstring> infos;
  for (int i = 0; i < kDuplicateSet; ++i) infos.push_back(L"object " + std::to_wstring(i));
  for (auto _ : state) {
    BenchReporter reporter;
    for (int i = 0; i < kAdds; ++i)
      reporter.addMessage(kObjectSkipped, infos[static_cast<std::size_t>(i % kDuplicateSet)]);
    benchmark::DoNotOptimize(reporter.messages().data());
  }
  state.SetItemsProcessed(state.iterations() * kAdds);
  ut::ReporterMessageRegistry::instance().unregisterMessage(kObjectSkipped);
}
BENCHMARK(BM_ReporterAddMessageDuplicates)->Unit(benchmark::kMillisecond);

// The reference: the same shared pointers appended to a vector.
void BM_VectorPushBack(benchmark::State& state) {
  const int distinct = static_cast<int>(state.range(0));
  const auto messages = makeMessages(distinct, kAdds);
  for (auto _ : state) {
    std::vector<std::shared_ptr<ut::IReporterMessage>> list;
    for (const auto& m : messages) list.push_back(m);
    benchmark::DoNotOptimize(list.data());
  }
  state.SetItemsProcessed(state.iterations() * kAdds);
}
BENCHMARK(BM_VectorPushBack)->Arg(kAdds)->Arg(kDuplicateSet)->Unit(benchmark::kMillisecond);

}  // namespace
