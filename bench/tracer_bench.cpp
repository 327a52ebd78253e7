// Trace throughput against plain std::ofstream writes of the same lines, and
// the cost of a trace site whose level test fails.

#include <benchmark/benchmark.h>

#include <ut/ut_tracer.h>

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <string>

namespace {

std::string benchFile(const char* name) {
  return (std::filesystem::temp_directory_path() / (std::string("ut-tracer-bench-") + name)).string();
}

// Guards the process-wide tracer for one benchmark run.
class OpenTracer {
 public:
  OpenTracer(const std::string& file, int level) : m_file(file) {
    UtTracer::tracer().setStreamName(file.c_str(), level, 0);
  }
  ~OpenTracer() {
    UtTracer::tracer().freeStream();
    std::error_code ec;
    std::filesystem::remove(m_file, ec);
  }
  OpenTracer(const OpenTracer&) = delete;
  OpenTracer& operator=(const OpenTracer&) = delete;

 private:
  std::string m_file;
};

const std::string kPath = "C:/drawings/site plan/level 2.dwg";

// A typical trace line: prefix, text, a number, a string and a line end.
// The '\n' variants leave flushing to the stream buffer; the std::endl ones
// flush every line, as most trace sites do.
void BM_TracerLine(benchmark::State& state) {
  const OpenTracer open(benchFile("tracer.txt"), 3);
  long i = 0;
  for (auto _ : state) {
    ut::SafeTracerAccessor access;
    UtTracer& t = access.get();
    if (t.traceLevel() >= 3 && t.checkArea(1)) t.str(3) << "opened drawing " << i++ << " at " << kPath << "\n";
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TracerLine);

void BM_OfstreamLine(benchmark::State& state) {
  const std::string file = benchFile("ofstream.txt");
  {
    std::ofstream out(file, std::ios::out | std::ios::trunc);
    const int level = 3;
    const int indent = 0;
    long i = 0;
    for (auto _ : state) {
      out << level << "> " << std::setw(indent) << ""
          << "opened drawing " << i++ << " at " << kPath << "\n";
    }
  }
  std::error_code ec;
  std::filesystem::remove(file, ec);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OfstreamLine);

void BM_TracerLineFlushed(benchmark::State& state) {
  const OpenTracer open(benchFile("tracer-endl.txt"), 3);
  long i = 0;
  for (auto _ : state) {
    ut::SafeTracerAccessor access;
    UtTracer& t = access.get();
    if (t.traceLevel() >= 3 && t.checkArea(1)) t.str(3) << "opened drawing " << i++ << " at " << kPath << std::endl;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TracerLineFlushed);

void BM_OfstreamLineFlushed(benchmark::State& state) {
  const std::string file = benchFile("ofstream-endl.txt");
  {
    std::ofstream out(file, std::ios::out | std::ios::trunc);
    const int level = 3;
    const int indent = 0;
    long i = 0;
    for (auto _ : state) {
      out << level << "> " << std::setw(indent) << ""
          << "opened drawing " << i++ << " at " << kPath << std::endl;
    }
  }
  std::error_code ec;
  std::filesystem::remove(file, ec);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OfstreamLineFlushed);

// A site above the current level: only the level test runs.
void BM_TracerFilteredSite(benchmark::State& state) {
  const OpenTracer open(benchFile("filtered.txt"), 1);
  long i = 0;
  for (auto _ : state) {
    UtTracer& t = UtTracer::tracer();
    if (t.traceLevel() >= 3) t.str(3) << "opened drawing " << i++ << " at " << kPath << "\n";
    benchmark::DoNotOptimize(i);
  }
}
BENCHMARK(BM_TracerFilteredSite);

// The same filtered site written through a SafeTracerAccessor (no lock
// registered), as a host that always brackets its sites would write it.
void BM_TracerFilteredSiteWithAccessor(benchmark::State& state) {
  const OpenTracer open(benchFile("filtered-accessor.txt"), 1);
  long i = 0;
  for (auto _ : state) {
    ut::SafeTracerAccessor access;
    UtTracer& t = access.get();
    if (t.traceLevel() >= 3) t.str(3) << "opened drawing " << i++ << " at " << kPath << "\n";
    benchmark::DoNotOptimize(i);
  }
}
BENCHMARK(BM_TracerFilteredSiteWithAccessor);

// A scope filtered out by level: constructor and destructor test the level.
void BM_TraceIndenterFiltered(benchmark::State& state) {
  const OpenTracer open(benchFile("indenter.txt"), 1);
  for (auto _ : state) {
    const ut::TraceIndenter scope(3, "load", 0);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_TraceIndenterFiltered);

}  // namespace
