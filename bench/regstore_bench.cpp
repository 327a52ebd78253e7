// The registry store beside wxFileConfig, doing the same work on the same
// data in the same run: transactional writes, point reads and enumeration of
// one key holding many values.

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <ut/ut_regstore.h>

#include <wx/fileconf.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr int kValues = 10000;

using ut::bench::ScratchDir;
using ut::bench::ScratchStore;

// The same data for both sides: names, and every other value a number.
struct Data {
  std::vector<wxString> names;
  std::vector<wxString> strings;
  std::vector<long> numbers;
  std::vector<int> readOrder;
  Data() {
    for (int i = 0; i < kValues; ++i) {
      names.push_back(wxString::Format("Value%05d", i));
      strings.push_back(wxString::Format("some text for value %d", i));
      numbers.push_back(i * 7);
      readOrder.push_back(i);
    }
    std::mt19937 rng(42);
    std::shuffle(readOrder.begin(), readOrder.end(), rng);
  }
};

const Data& data() {
  static const Data d;
  return d;
}

std::unique_ptr<wxFileConfig> makeFileConfig(const wxString& file) {
  return std::make_unique<wxFileConfig>(wxString(), wxString(), file, wxString(), wxCONFIG_USE_LOCAL_FILE);
}

void fillRegKey(ut::RegKey& key) {
  const Data& d = data();
  ut::RegTransaction tx;
  for (int i = 0; i < kValues; ++i) {
    if (i % 2) {
      key.setValue(d.names[i], d.numbers[i]);
    } else {
      key.setValue(d.names[i], d.strings[i]);
    }
  }
  tx.commit();
}

void fillConfig(wxConfigBase& config) {
  const Data& d = data();
  config.SetPath("/Bench");
  for (int i = 0; i < kValues; ++i) {
    if (i % 2) {
      config.Write(d.names[i], d.numbers[i]);
    } else {
      config.Write(d.names[i], d.strings[i]);
    }
  }
  config.Flush();
}

// --- writes --------------------------------------------------------------------

void BM_RegKey_WriteTransaction(benchmark::State& state) {
  ScratchStore store;
  int round = 0;
  for (auto _ : state) {
    ut::RegKey key(ut::eCurrentUser, wxString::Format("Software\\Bench\\W%d", round++));
    key.create();
    fillRegKey(key);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_RegKey_WriteTransaction)->Unit(benchmark::kMillisecond);

void BM_RegConfig_WriteTransaction(benchmark::State& state) {
  ScratchStore store;
  int round = 0;
  for (auto _ : state) {
    ut::RegConfig config(wxString::Format("Software\\Bench\\C%d", round++));
    ut::RegTransaction tx;
    fillConfig(config);
    tx.commit();
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_RegConfig_WriteTransaction)->Unit(benchmark::kMillisecond);

void BM_FileConfig_WriteFlush(benchmark::State& state) {
  ScratchDir dir;
  int round = 0;
  for (auto _ : state) {
    auto config = makeFileConfig(dir.file(wxString::Format("w%d.ini", round++).utf8_str()));
    fillConfig(*config);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_FileConfig_WriteFlush)->Unit(benchmark::kMillisecond);

// --- point reads -------------------------------------------------------------------

void BM_RegKey_PointRead(benchmark::State& state) {
  ScratchStore store;
  ut::RegKey key(ut::eCurrentUser, "Software\\Bench\\Read");
  key.create();
  fillRegKey(key);
  const Data& d = data();
  wxString s;
  long n = 0;
  std::size_t found = 0;
  for (auto _ : state) {
    for (const int i : d.readOrder) {
      found += (i % 2) ? key.queryValue(d.names[i], n) : key.queryValue(d.names[i], s);
    }
  }
  if (found != static_cast<std::size_t>(state.iterations()) * kValues) state.SkipWithError("values missing");
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_RegKey_PointRead)->Unit(benchmark::kMillisecond);

void pointReads(benchmark::State& state, wxConfigBase& config) {
  const Data& d = data();
  fillConfig(config);
  wxString s;
  long n = 0;
  std::size_t found = 0;
  for (auto _ : state) {
    for (const int i : d.readOrder) {
      found += (i % 2) ? config.Read(d.names[i], &n) : config.Read(d.names[i], &s);
    }
  }
  if (found != static_cast<std::size_t>(state.iterations()) * kValues) state.SkipWithError("values missing");
  state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_RegConfig_PointRead(benchmark::State& state) {
  ScratchStore store;
  ut::RegConfig config("Software\\Bench");
  pointReads(state, config);
}
BENCHMARK(BM_RegConfig_PointRead)->Unit(benchmark::kMillisecond);

void BM_FileConfig_PointRead(benchmark::State& state) {
  ScratchDir dir;
  auto config = makeFileConfig(dir.file("read.ini"));
  pointReads(state, *config);
}
BENCHMARK(BM_FileConfig_PointRead)->Unit(benchmark::kMillisecond);

// --- enumeration -------------------------------------------------------------------

void BM_RegKey_Enumerate(benchmark::State& state) {
  ScratchStore store;
  ut::RegKey key(ut::eCurrentUser, "Software\\Bench\\Enum");
  key.create();
  fillRegKey(key);
  std::vector<wxString> names;
  wxString s;
  long n = 0;
  std::size_t found = 0;
  for (auto _ : state) {
    key.getValueNames(names);
    for (const auto& name : names) {
      found += key.valueType(name) == ut::eRegDword ? key.queryValue(name, n) : key.queryValue(name, s);
    }
  }
  if (found != static_cast<std::size_t>(state.iterations()) * kValues) state.SkipWithError("values missing");
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_RegKey_Enumerate)->Unit(benchmark::kMillisecond);

// The configuration store's way: enumerate the entries of a group and read
// each as a number or as a string by its type.
void enumerate(benchmark::State& state, wxConfigBase& config) {
  fillConfig(config);
  wxString name;
  wxString s;
  long n = 0;
  long index = 0;
  std::size_t found = 0;
  for (auto _ : state) {
    for (bool more = config.GetFirstEntry(name, index); more; more = config.GetNextEntry(name, index)) {
      found += config.GetEntryType(name) == wxConfigBase::Type_Integer ? config.Read(name, &n) : config.Read(name, &s);
    }
  }
  if (found != static_cast<std::size_t>(state.iterations()) * kValues) state.SkipWithError("values missing");
  state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_RegConfig_Enumerate(benchmark::State& state) {
  ScratchStore store;
  ut::RegConfig config("Software\\Bench");
  enumerate(state, config);
}
BENCHMARK(BM_RegConfig_Enumerate)->Unit(benchmark::kMillisecond);

void BM_FileConfig_Enumerate(benchmark::State& state) {
  ScratchDir dir;
  auto config = makeFileConfig(dir.file("enum.ini"));
  enumerate(state, *config);
}
BENCHMARK(BM_FileConfig_Enumerate)->Unit(benchmark::kMillisecond);

// --- the configuration store's load and flush ---------------------------------------

// 2,000 keys (40 groups of 49 subgroups, plus the groups themselves) with 10
// values each: 20,000 values, half numbers, half strings.
constexpr int kTopGroups = 40;
constexpr int kSubGroups = 49;
constexpr int kValuesPerKey = 10;

void fillTree(wxConfigBase& config) {
  for (int g = 0; g < kTopGroups; ++g) {
    for (int sub = -1; sub < kSubGroups; ++sub) {
      config.SetPath(sub < 0 ? wxString::Format("/Tree/Group%02d", g)
                             : wxString::Format("/Tree/Group%02d/Sub%02d", g, sub));
      for (int v = 0; v < kValuesPerKey; ++v) {
        if (v % 2) {
          config.Write(wxString::Format("Number%d", v), static_cast<long>(g * 1000 + sub * 10 + v));
        } else {
          config.Write(wxString::Format("Text%d", v), wxString::Format("value %d/%d/%d", g, sub, v));
        }
      }
    }
  }
  config.SetPath("/");
  config.Flush();
}

// The configuration store's load: walk the groups recursively and read each
// entry as a number or a string by its type.
std::size_t loadTree(wxConfigBase& config) {
  std::size_t read = 0;
  wxString name;
  long index = 0;
  std::vector<wxString> names;
  for (bool more = config.GetFirstEntry(name, index); more; more = config.GetNextEntry(name, index)) {
    long n = 0;
    wxString s;
    read += config.GetEntryType(name) == wxConfigBase::Type_Integer ? config.Read(name, &n) : config.Read(name, &s);
  }
  for (bool more = config.GetFirstGroup(name, index); more; more = config.GetNextGroup(name, index)) {
    names.push_back(name);
  }
  for (const auto& group : names) {
    wxConfigPathChanger changer(&config, group + "/");
    read += loadTree(config);
  }
  return read;
}

void BM_RegConfig_LoadTreeCold(benchmark::State& state) {
  ScratchStore store;
  {
    ut::RegConfig config("Software\\Bench");
    ut::RegTransaction tx;
    fillTree(config);
    tx.commit();
  }
  std::size_t read = 0;
  for (auto _ : state) {
    // A process starting up: nothing cached, the store not yet open.
    state.PauseTiming();
    ut::RegStore::close();
    state.ResumeTiming();
    ut::RegConfig config("Software\\Bench");
    read += loadTree(config);
  }
  if (read != static_cast<std::size_t>(state.iterations()) * kTopGroups * (kSubGroups + 1) * kValuesPerKey) {
    state.SkipWithError("values missing");
  }
  state.SetItemsProcessed(state.iterations() * kTopGroups * (kSubGroups + 1) * kValuesPerKey);
}
BENCHMARK(BM_RegConfig_LoadTreeCold)->Unit(benchmark::kMillisecond);

void BM_FileConfig_LoadTree(benchmark::State& state) {
  ScratchDir dir;
  const wxString file = dir.file("tree.ini");
  fillTree(*makeFileConfig(file));
  std::size_t read = 0;
  for (auto _ : state) {
    auto config = makeFileConfig(file);
    read += loadTree(*config);
  }
  if (read != static_cast<std::size_t>(state.iterations()) * kTopGroups * (kSubGroups + 1) * kValuesPerKey) {
    state.SkipWithError("values missing");
  }
  state.SetItemsProcessed(state.iterations() * kTopGroups * (kSubGroups + 1) * kValuesPerKey);
}
BENCHMARK(BM_FileConfig_LoadTree)->Unit(benchmark::kMillisecond);

// The configuration store's flush: 2,000 changed values spread over the tree,
// written in one transaction.
void BM_RegConfig_Flush2000InTransaction(benchmark::State& state) {
  ScratchStore store;
  ut::RegConfig config("Software\\Bench");
  {
    ut::RegTransaction tx;
    fillTree(config);
    tx.commit();
  }
  long round = 0;
  for (auto _ : state) {
    ++round;
    ut::RegTransaction tx;
    for (int i = 0; i < 2000; ++i) {
      const int g = i % kTopGroups;
      const int sub = (i / kTopGroups) % kSubGroups;
      wxConfigPathChanger changer(&config, wxString::Format("/Tree/Group%02d/Sub%02d/x", g, sub));
      if (i % 2) {
        config.Write(wxString::Format("Number%d", i % kValuesPerKey), round + i);
      } else {
        config.Write(wxString::Format("Text%d", i % kValuesPerKey), wxString::Format("changed %ld", round));
      }
    }
    if (!tx.commit()) state.SkipWithError("commit failed");
  }
  state.SetItemsProcessed(state.iterations() * 2000);
}
BENCHMARK(BM_RegConfig_Flush2000InTransaction)->Unit(benchmark::kMillisecond);

}  // namespace
