// The configuration facade and the profile manager, each beside a reference
// doing the same work in the same run:
//  - 100,000 Config::read of profile entries (the tree) and of wxConfigBase
//    entries (the registry store through RegConfig), beside wxFileConfig
//    reads held in memory;
//  - Config::flush after 1,000 writes to a profile of 20,000 values, beside
//    wxFileConfig writing the same changes to its file;
//  - export and import of that profile (ut::exportProfile, ut::importProfile),
//    beside Registry::exportKey / importKey of the same key.
//
// The profile: "Bench" with 2,000 keys Config/K<i>/ of ten values V0..V9 each,
// even ones strings and odd ones numbers.

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>

#include <wx/fileconf.h>
#include <wx/sstream.h>

#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace ut;

constexpr int kKeys = 2000;
constexpr int kValuesPerKey = 10;
constexpr int kReads = 100000;
constexpr int kReadEntries = 1000;
constexpr int kWrites = 1000;

using BenchStore = ut::bench::ScratchStore;

wxString entryName(int key, int value) { return wxString::Format(L"K%d/V%d", key, value); }

// The 20,000-value profile, current and flushed.
void fillProfile(ProfileManagerBase& manager) {
  manager.setCurrentProfile(L"Bench", true);
  for (int k = 0; k < kKeys; ++k) {
    for (int v = 0; v < kValuesPerKey; ++v) {
      const OdString name(entryName(k, v).wc_str());
      if (v % 2 == 0) {
        Config::writeString(eCfgConfig, name, OdString(wxString::Format(L"text %d-%d", k, v).wc_str()));
      } else {
        Config::writeLong(eCfgConfig, name, k * 100 + v);
      }
    }
  }
  Config::flush();
}

std::vector<OdString> readNames() {
  std::vector<OdString> names;
  for (int i = 0; i < kReadEntries; ++i) names.emplace_back(wxString::Format(L"R%d", i).wc_str());
  return names;
}

// 100,000 reads of 1,000 numbers of one group: eCfgConfig lives in the
// current profile's tree, eCfgSettings is read through the wxConfigBase.
void BM_ConfigRead(benchmark::State& state, ECfgGroup group) {
  BenchStore store;
  ProfileManagerBase manager;
  manager.setCurrentProfile(L"Bench", true);
  const auto names = readNames();
  for (int i = 0; i < kReadEntries; ++i) Config::writeLong(group, names[static_cast<std::size_t>(i)], i);
  for (auto _ : state) {
    long sum = 0;
    for (int i = 0; i < kReads; ++i) {
      long value = 0;
      Config::read(group, names[static_cast<std::size_t>(i % kReadEntries)], value);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kReads);
}
BENCHMARK_CAPTURE(BM_ConfigRead, profile, eCfgConfig)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ConfigRead, wxConfigBase, eCfgSettings)->Unit(benchmark::kMillisecond);

void BM_ReferenceReadFileConfig(benchmark::State& state) {
  wxStringInputStream empty(L"");
  wxFileConfig config(empty);
  std::vector<wxString> names;
  for (int i = 0; i < kReadEntries; ++i) {
    names.push_back(wxString::Format(L"/TVCAD/V25/en_US/Profiles/Bench/Config/R%d", i));
    config.Write(names.back(), static_cast<long>(i));
  }
  for (auto _ : state) {
    long sum = 0;
    for (int i = 0; i < kReads; ++i) {
      long value = 0;
      config.Read(names[static_cast<std::size_t>(i % kReadEntries)], &value);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kReads);
}
BENCHMARK(BM_ReferenceReadFileConfig)->Unit(benchmark::kMillisecond);

void BM_ConfigFlushAfterWrites(benchmark::State& state) {
  BenchStore store;
  ProfileManagerBase manager;
  fillProfile(manager);
  int round = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ++round;
    for (int i = 0; i < kWrites; ++i) {
      const int k = (i * 7 + round) % kKeys;
      Config::writeLong(eCfgConfig, OdString(entryName(k, 1).wc_str()), round * 10000 + i);
    }
    state.ResumeTiming();
    if (!Config::flush()) state.SkipWithError("flush failed");
  }
}
BENCHMARK(BM_ConfigFlushAfterWrites)->Unit(benchmark::kMillisecond)->Iterations(20);

void BM_ReferenceFileConfigFlush(benchmark::State& state) {
  BenchStore store;
  const wxString file = store.file("bench.ini");
  wxFileConfig config(wxString(), wxString(), file, wxString(), wxCONFIG_USE_LOCAL_FILE);
  for (int k = 0; k < kKeys; ++k) {
    for (int v = 0; v < kValuesPerKey; ++v) {
      if (v % 2 == 0) {
        config.Write(L"/Config/" + entryName(k, v), wxString::Format(L"text %d-%d", k, v));
      } else {
        config.Write(L"/Config/" + entryName(k, v), static_cast<long>(k * 100 + v));
      }
    }
  }
  config.Flush();
  int round = 0;
  for (auto _ : state) {
    state.PauseTiming();
    ++round;
    for (int i = 0; i < kWrites; ++i) {
      config.Write(L"/Config/" + entryName((i * 7 + round) % kKeys, 1), static_cast<long>(round * 10000 + i));
    }
    state.ResumeTiming();
    config.Flush();
  }
}
BENCHMARK(BM_ReferenceFileConfigFlush)->Unit(benchmark::kMillisecond)->Iterations(20);

void BM_ProfileExportImport(benchmark::State& state) {
  BenchStore store;
  ProfileManagerBase manager;
  fillProfile(manager);
  const wxString file = store.file("bench.reg");
  for (auto _ : state) {
    if (!exportProfile(L"Bench", file) || !importProfile(file, L"Copy", L"")) state.SkipWithError("failed");
  }
  state.SetItemsProcessed(state.iterations() * kKeys * kValuesPerKey);
}
BENCHMARK(BM_ProfileExportImport)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_ReferenceRegistryExportImport(benchmark::State& state) {
  BenchStore store;
  ProfileManagerBase manager;
  fillProfile(manager);
  const wxString file = store.file("bench-registry.reg");
  const OdString key = OdString(L"HKEY_CURRENT_USER\\") + Config::profilesRoot(eCfgPathRegistry) + L"Bench";
  for (auto _ : state) {
    if (!Registry::exportKey(key, OdString(file.wc_str()), false) ||
        !Registry::importKey(OdString(file.wc_str()), false)) {
      state.SkipWithError("failed");
    }
  }
  state.SetItemsProcessed(state.iterations() * kKeys * kValuesPerKey);
}
BENCHMARK(BM_ReferenceRegistryExportImport)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
