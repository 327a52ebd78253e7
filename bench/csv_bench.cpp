// readCSV of a 50 MB file and CsvWriter writing the same table, beside
// Python's csv module reading and writing that file (target: at least as fast
// as Python).

#include <benchmark/benchmark.h>

#include <ut/ut_csv.h>

#include "bench_support.h"
#include "python_reference.h"

#include <fstream>
#include <random>
#include <string>

namespace {

constexpr std::size_t kCsvBytes = 50'000'000;

// A table of drawing data: numbers, names, quoted fields with commas and
// quotes, some non-ASCII text; about 70 bytes per row.
class CsvFixture {
 public:
  static const CsvFixture& instance() {
    static const CsvFixture fixture;
    return fixture;
  }
  const ut::bench::ScratchDir& dir() const { return m_dir; }
  std::string file() const { return m_dir.file("table.csv").ToStdString(); }
  const OdArray<OdArray<OdString>>& rows() const { return m_rows; }

 private:
  CsvFixture() {
    std::mt19937 rng(50);
    const char* const names[] = {"Wall",
                                 "Door \"D1\"",
                                 "Window, north",
                                 "Stra\xC3\x9F"
                                 "e",
                                 "\xE5\x9B\xBE\xE5\xB1\x82",
                                 "Layer 0",
                                 "\xD0\xA1\xD1\x82\xD0\xB5\xD0\xBD\xD0\xB0"};
    std::string text;
    text.reserve(kCsvBytes + 128);
    for (long id = 1; text.size() < kCsvBytes; ++id) {
      std::string name = names[rng() % 7];
      if (name.find_first_of(",\"") != std::string::npos) {
        std::string quoted = "\"";
        for (const char c : name) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        name = quoted + "\"";
      }
      text += std::to_string(id) + "," + name + "," + std::to_string(rng() % 100000) + "." +
              std::to_string(rng() % 1000) + "," + std::to_string(rng() % 5000) + ",ByLayer," +
              std::to_string(rng() % 256) + ",\n";
    }
    std::ofstream(file(), std::ios::binary) << text;
    ut::readCSV(m_rows, OdString(file().c_str()), L',');
  }
  ut::bench::ScratchDir m_dir;
  OdArray<OdArray<OdString>> m_rows;
};

void BM_CsvRead(benchmark::State& state) {
  const CsvFixture& fixture = CsvFixture::instance();
  const OdString name(fixture.file().c_str());
  std::size_t rows = 0;
  for (auto _ : state) {
    OdArray<OdArray<OdString>> table;
    ut::readCSV(table, name, L',');
    rows = table.size();
    benchmark::DoNotOptimize(rows);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCsvBytes));
  state.counters["rows"] = static_cast<double>(rows);
}

void BM_CsvRead_PythonCsv(benchmark::State& state) {
  static const char* const kScript = R"(import csv, sys, time
start = time.perf_counter()
with open(sys.argv[1], newline='', encoding='utf-8') as f:
    rows = list(csv.reader(f))
print(time.perf_counter() - start)
)";
  const CsvFixture& fixture = CsvFixture::instance();
  for (auto _ : state) {
    const double seconds =
        ut::bench::pythonSeconds(fixture.dir().file("read.py").ToStdString(), kScript, "'" + fixture.file() + "'");
    if (seconds < 0) {
      state.SkipWithError("python3 is not available");
      break;
    }
    state.SetIterationTime(seconds);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCsvBytes));
}

void BM_CsvWrite(benchmark::State& state) {
  const CsvFixture& fixture = CsvFixture::instance();
  const OdString out(fixture.dir().file("written.csv").ToStdString().c_str());
  for (auto _ : state) {
    ut::CsvWriter writer(out);
    for (const auto& row : fixture.rows()) writer.write(row);
    writer.close();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCsvBytes));
}

void BM_CsvWrite_PythonCsv(benchmark::State& state) {
  // Python's rows come from its own reader; only the writing is timed, with a
  // flush after every row as CsvWriter does.
  static const char* const kScript = R"(import csv, sys, time
with open(sys.argv[1], newline='', encoding='utf-8') as f:
    rows = list(csv.reader(f))
start = time.perf_counter()
with open(sys.argv[2], 'w', newline='', encoding='utf-8') as f:
    w = csv.writer(f, lineterminator='\n')
    for row in rows:
        w.writerow(row)
        f.flush()
print(time.perf_counter() - start)
)";
  const CsvFixture& fixture = CsvFixture::instance();
  const std::string args = "'" + fixture.file() + "' '" + fixture.dir().file("python.csv").ToStdString() + "'";
  for (auto _ : state) {
    const double seconds = ut::bench::pythonSeconds(fixture.dir().file("write.py").ToStdString(), kScript, args);
    if (seconds < 0) {
      state.SkipWithError("python3 is not available");
      break;
    }
    state.SetIterationTime(seconds);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCsvBytes));
}

BENCHMARK(BM_CsvRead)->Name("CsvRead")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CsvRead_PythonCsv)
    ->Name("CsvRead_PythonCsv")
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CsvWrite)->Name("CsvWrite")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CsvWrite_PythonCsv)
    ->Name("CsvWrite_PythonCsv")
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

}  // namespace
