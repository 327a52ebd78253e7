// The configuration tree and its registry storage beside wxFileConfig doing
// the same work on the same data in the same run: loading a profile-like tree
// of 20,000 values in about 2,000 keys, flushing after 2,000 of its values
// changed, and looking up values by a 5-level relative path.
//
// The tree: P<a>/G<b>/S<c>/K<dd>/ with a in 0..1, b in 0..3, c in 0..4, dd in
// 00..49 (2,000 leaf keys below 50 intermediate ones), each leaf key holding
// ten values V0..V9, the even ones strings and the odd ones numbers.

#include <benchmark/benchmark.h>

#include "bench_support.h"

#include <ut/ut_configstorage.h>
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

constexpr int kValuesPerKey = 10;
constexpr int kChanged = 2000;
const wchar_t* const kRoot = L"/Bench/Profiles/";

using ut::bench::ScratchDir;
using ut::bench::ScratchStore;

struct Data {
  std::vector<wxString> keys;        // "P0/G0/S0/K00"
  std::vector<wxString> valuePaths;  // "P0/G0/S0/K00/V0", key by key
  std::vector<int> changed;          // indexes into valuePaths
  std::vector<int> lookupOrder;      // indexes into valuePaths

  Data() {
    for (int a = 0; a < 2; ++a) {
      for (int b = 0; b < 4; ++b) {
        for (int c = 0; c < 5; ++c) {
          for (int d = 0; d < 50; ++d) keys.push_back(wxString::Format(L"P%d/G%d/S%d/K%02d", a, b, c, d));
        }
      }
    }
    for (const auto& k : keys) {
      for (int v = 0; v < kValuesPerKey; ++v) valuePaths.push_back(wxString::Format(L"%s/V%d", k, v));
    }
    std::vector<int> all(valuePaths.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<int>(i);
    std::mt19937 rng(7);
    std::shuffle(all.begin(), all.end(), rng);
    changed.assign(all.begin(), all.begin() + kChanged);
    std::shuffle(all.begin(), all.end(), rng);
    lookupOrder = all;
  }

  static bool isNumber(int index) { return index % 2 == 1; }
  static wxString text(int index, int round) { return wxString::Format(L"text %d of round %d", index, round); }
  static long number(int index, int round) { return index * 7 + round; }
};

const Data& data() {
  static const Data d;
  return d;
}

wxString storeKeyOf(const wxString& key) {
  wxString k = L"Software\\TVCAD\\Bench\\Profiles\\" + key;
  k.Replace(L"/", L"\\");
  return k;
}

void fillStore() {
  const Data& d = data();
  ut::RegTransaction tx;
  for (std::size_t k = 0; k < d.keys.size(); ++k) {
    ut::RegKey key(ut::eCurrentUser, storeKeyOf(d.keys[k]));
    key.create();
    for (int v = 0; v < kValuesPerKey; ++v) {
      const int index = static_cast<int>(k) * kValuesPerKey + v;
      if (Data::isNumber(index)) {
        key.setValue(wxString::Format(L"V%d", v), Data::number(index, 0));
      } else {
        key.setValue(wxString::Format(L"V%d", v), Data::text(index, 0));
      }
    }
  }
  tx.commit();
}

std::unique_ptr<wxFileConfig> openFileConfig(const wxString& file) {
  return std::make_unique<wxFileConfig>(wxString(), wxString(), file, wxString(), wxCONFIG_USE_LOCAL_FILE);
}

void fillFileConfig(const wxString& file) {
  const Data& d = data();
  auto config = openFileConfig(file);
  for (std::size_t i = 0; i < d.valuePaths.size(); ++i) {
    const wxString path = L"/Bench/Profiles/" + d.valuePaths[i];
    const int index = static_cast<int>(i);
    if (Data::isNumber(index)) {
      config->Write(path, Data::number(index, 0));
    } else {
      config->Write(path, Data::text(index, 0));
    }
  }
  config->Flush();
}

// What loading does for wxFileConfig: every group walked, every value read.
std::size_t readAll(wxConfigBase& config, const wxString& path) {
  config.SetPath(path);
  std::vector<wxString> groups;
  wxString name;
  long index = 0;
  std::size_t values = 0;
  for (bool more = config.GetFirstEntry(name, index); more; more = config.GetNextEntry(name, index)) {
    wxString value;
    config.Read(name, &value);
    benchmark::DoNotOptimize(value);
    ++values;
  }
  for (bool more = config.GetFirstGroup(name, index); more; more = config.GetNextGroup(name, index)) {
    groups.push_back(name);
  }
  for (const auto& g : groups) values += readAll(config, path + L"/" + g);
  return values;
}

std::size_t countValues(const ut::ConfigNodePtr& node) {
  std::size_t n = node->isContainerNode() ? 0 : 1;
  for (const auto& c : node->children()) n += countValues(c);
  return n;
}

// --- load --------------------------------------------------------------------------

void BM_ConfigLoad_Registry(benchmark::State& state) {
  ScratchStore store;
  fillStore();
  const bool cold = state.range(0) != 0;
  std::size_t values = 0;
  for (auto _ : state) {
    if (cold) {
      // A fresh start: nothing of the store is in memory yet.
      state.PauseTiming();
      ut::RegStore::close();
      ut::RegStore::open();
      state.ResumeTiming();
    }
    ut::ConfigRegistryStorage storage(kRoot);
    auto tree = ut::ConfigNode::createNode(OdString());
    if (!storage.load(tree, true)) state.SkipWithError("load failed");
    // Counting and tearing the tree down again are not part of loading.
    state.PauseTiming();
    values = countValues(tree);
    tree.reset();
    state.ResumeTiming();
  }
  state.counters["values"] = static_cast<double>(values);
}
BENCHMARK(BM_ConfigLoad_Registry)->Arg(1)->Arg(0)->ArgName("cold")->Unit(benchmark::kMillisecond);

void BM_ConfigLoad_wxFileConfig(benchmark::State& state) {
  ScratchDir dir;
  const wxString file = dir.file("settings.ini");
  fillFileConfig(file);
  std::size_t values = 0;
  for (auto _ : state) {
    auto config = openFileConfig(file);
    values = readAll(*config, L"/Bench/Profiles");
    state.PauseTiming();
    config.reset();
    state.ResumeTiming();
  }
  state.counters["values"] = static_cast<double>(values);
}
BENCHMARK(BM_ConfigLoad_wxFileConfig)->Unit(benchmark::kMillisecond);

// --- flush after changing 2,000 values --------------------------------------------

void BM_ConfigFlush_Registry(benchmark::State& state) {
  ScratchStore store;
  fillStore();
  const Data& d = data();
  ut::ConfigRegistryStorage storage(kRoot);
  auto tree = ut::ConfigNode::createNode(OdString());
  storage.load(tree, true);
  std::vector<ut::ConfigNodePtr> nodes;
  for (int index : d.changed) nodes.push_back(tree->childAt(OdString(d.valuePaths[index].wc_str())));
  int round = 0;
  for (auto _ : state) {
    ++round;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const int index = d.changed[i];
      if (Data::isNumber(index)) {
        nodes[i]->setULong(static_cast<unsigned long>(Data::number(index, round)));
      } else {
        nodes[i]->setString(Data::text(index, round).wc_str());
      }
    }
    if (!storage.flush(tree, true)) state.SkipWithError("flush failed");
  }
}
BENCHMARK(BM_ConfigFlush_Registry)->Unit(benchmark::kMillisecond);

void BM_ConfigFlush_wxFileConfig(benchmark::State& state) {
  ScratchDir dir;
  const wxString file = dir.file("settings.ini");
  fillFileConfig(file);
  const Data& d = data();
  auto config = openFileConfig(file);
  std::vector<wxString> paths;
  for (int index : d.changed) paths.push_back(L"/Bench/Profiles/" + d.valuePaths[index]);
  int round = 0;
  for (auto _ : state) {
    ++round;
    for (std::size_t i = 0; i < paths.size(); ++i) {
      const int index = d.changed[i];
      if (Data::isNumber(index)) {
        config->Write(paths[i], Data::number(index, round));
      } else {
        config->Write(paths[i], Data::text(index, round));
      }
    }
    if (!config->Flush()) state.SkipWithError("flush failed");
  }
}
BENCHMARK(BM_ConfigFlush_wxFileConfig)->Unit(benchmark::kMillisecond);

// --- lookups by a 5-level relative path ---------------------------------------------

void BM_ConfigChildAt(benchmark::State& state) {
  ScratchStore store;
  fillStore();
  const Data& d = data();
  ut::ConfigRegistryStorage storage(kRoot);
  auto tree = ut::ConfigNode::createNode(OdString());
  storage.load(tree, true);
  std::vector<OdString> paths;
  for (int index : d.lookupOrder) paths.emplace_back(d.valuePaths[index].wc_str());
  std::size_t i = 0;
  for (auto _ : state) {
    auto node = tree->childAt(paths[i]);
    benchmark::DoNotOptimize(node);
    if (++i == paths.size()) i = 0;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_ConfigChildAt);

void BM_ConfigChildAt_wxFileConfigRead(benchmark::State& state) {
  ScratchDir dir;
  const wxString file = dir.file("settings.ini");
  fillFileConfig(file);
  const Data& d = data();
  auto config = openFileConfig(file);
  config->SetPath(L"/Bench/Profiles");
  std::vector<wxString> paths;
  for (int index : d.lookupOrder) paths.push_back(d.valuePaths[index]);
  std::size_t i = 0;
  for (auto _ : state) {
    wxString value;
    bool found = config->Read(paths[i], &value);
    benchmark::DoNotOptimize(found);
    if (++i == paths.size()) i = 0;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_ConfigChildAt_wxFileConfigRead);

}  // namespace
