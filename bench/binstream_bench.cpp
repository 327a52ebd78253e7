// COBinStreamImp writing 10 million ints and 10 million doubles, beside the
// plain reference: the same bytes appended to a std::vector with memcpy, the
// vector growing the same way (resize, then copy).

#include <benchmark/benchmark.h>

#include <ut/ut_binstream.h>

#include <cstring>
#include <vector>

namespace {

constexpr int kValues = 10'000'000;

void BM_BinStream_Write10MIntsAndDoubles(benchmark::State& state) {
  for (auto _ : state) {
    COBinStreamImp out;
    for (int i = 0; i < kValues; ++i) out << i << static_cast<double>(i) * 0.5;
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kValues * 12);
}

template <class T>
void append(std::vector<unsigned char>& buffer, T value) {
  const std::size_t at = buffer.size();
  buffer.resize(at + sizeof value);
  std::memcpy(buffer.data() + at, &value, sizeof value);
}

void BM_BinStream_Write10MIntsAndDoubles_VectorMemcpy(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<unsigned char> buffer;
    for (int i = 0; i < kValues; ++i) {
      append(buffer, i);
      append(buffer, static_cast<double>(i) * 0.5);
    }
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kValues * 12);
}

BENCHMARK(BM_BinStream_Write10MIntsAndDoubles)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BinStream_Write10MIntsAndDoubles_VectorMemcpy)->Unit(benchmark::kMillisecond);

}  // namespace
