#include <benchmark/benchmark.h>
#include <wx/init.h>

int main(int argc, char** argv) {
  wxInitializer wx;
  if (!wx.IsOk()) return 1;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
