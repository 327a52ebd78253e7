// Export and import of a key with 10,000 values, each measured beside
// wxFileConfig doing the same work on the same data: writing the values to a
// file-backed configuration and flushing it, and reading them all back from
// that file.

#include <ut/ut.h>

#include <benchmark/benchmark.h>

#include "bench_support.h"
#include <wx/fileconf.h>
#include <wx/log.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace {

constexpr int kValues = 10000;
const wxString kKeyPath = L"Software\\TVCAD\\Bench";
const wxString kKeyName = L"HKEY_CURRENT_USER\\Software\\TVCAD\\Bench";

// The data both sides write and read: every other value a string, the others
// 32-bit numbers, as settings usually are.
struct Entry {
  wxString name;
  wxString text;
  long number = 0;
  bool isText = false;
};

const std::vector<Entry>& entries() {
  static const std::vector<Entry> all = [] {
    std::vector<Entry> v;
    v.reserve(kValues);
    for (int i = 0; i < kValues; ++i) {
      Entry e;
      e.name = wxString::Format(L"Setting%05d", i);
      e.isText = i % 2 == 0;
      if (e.isText) {
        e.text = wxString::Format(L"C:\\Users\\Drafter\\Documents\\Project %d\\Sheet \"%d\".dwg", i, i * 7);
      } else {
        e.number = static_cast<long>(i) * 2654435761L % 100000L;
      }
      v.push_back(std::move(e));
    }
    return v;
  }();
  return all;
}

using Scratch = ut::bench::ScratchDir;

const Scratch& scratch() {
  static const Scratch s;
  return s;
}

// Points the process at a scratch store holding the 10,000 values.
bool fillStore() {
  if (!ut::RegStore::setFile(scratch().file("registry.db"))) return false;
  ut::RegKey key(ut::eCurrentUser, kKeyPath);
  ut::RegTransaction transaction;
  key.deleteSelf();
  if (!key.create()) return false;
  for (const Entry& e : entries()) {
    const bool ok = e.isText ? key.setValue(e.name, e.text) : key.setValue(e.name, e.number);
    if (!ok) return false;
  }
  return transaction.commit();
}

void writeFileConfig(const wxString& file) {
  wxRemoveFile(file);
  wxFileConfig config(wxEmptyString, wxEmptyString, file, wxEmptyString, wxCONFIG_USE_LOCAL_FILE);
  config.SetPath(L"/Bench");
  for (const Entry& e : entries()) {
    if (e.isText) {
      config.Write(e.name, e.text);
    } else {
      config.Write(e.name, e.number);
    }
  }
  config.Flush();
}

void BM_Registry_Export(benchmark::State& state) {
  const wxLogNull quiet;
  if (!fillStore()) {
    state.SkipWithError("cannot fill the store");
    return;
  }
  const wxString file = scratch().file("export.reg");
  for (auto _ : state) {
    if (!ut::Registry::exportKey(kKeyName, file, false)) state.SkipWithError("export failed");
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_Registry_Export)->Unit(benchmark::kMillisecond);

void BM_Registry_ExportFileConfig(benchmark::State& state) {
  const wxLogNull quiet;
  const wxString file = scratch().file("config.ini");
  for (auto _ : state) writeFileConfig(file);
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_Registry_ExportFileConfig)->Unit(benchmark::kMillisecond);

void BM_Registry_Import(benchmark::State& state) {
  const wxLogNull quiet;
  const wxString file = scratch().file("import.reg");
  if (!fillStore() || !ut::Registry::exportKey(kKeyName, file, false)) {
    state.SkipWithError("cannot prepare the file");
    return;
  }
  for (auto _ : state) {
    if (!ut::Registry::importKey(file, false)) state.SkipWithError("import failed");
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_Registry_Import)->Unit(benchmark::kMillisecond);

void BM_Registry_ImportFileConfig(benchmark::State& state) {
  const wxLogNull quiet;
  const wxString file = scratch().file("read.ini");
  writeFileConfig(file);
  for (auto _ : state) {
    wxFileConfig config(wxEmptyString, wxEmptyString, file, wxEmptyString, wxCONFIG_USE_LOCAL_FILE);
    config.SetPath(L"/Bench");
    std::size_t found = 0;
    for (const Entry& e : entries()) {
      if (e.isText) {
        wxString text;
        found += config.Read(e.name, &text) ? 1 : 0;
      } else {
        long number = 0;
        found += config.Read(e.name, &number) ? 1 : 0;
      }
    }
    if (found != entries().size()) state.SkipWithError("values missing");
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}
BENCHMARK(BM_Registry_ImportFileConfig)->Unit(benchmark::kMillisecond);

}  // namespace
