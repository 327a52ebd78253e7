// File names and file operations, each beside a reference doing the same work:
// FileName parsing and its common getters against wxFileName itself,
// fileExists (with the network-path guard) against a plain stat(), and
// cleanupSearchPath against a minimal split / lower-case / de-duplicate /
// join over std::wstring.

#include <benchmark/benchmark.h>

#include <ut/ut_fileops.h>
#include <ut/ut_filename.h>

#include <wx/file.h>
#include <wx/filename.h>

#include "bench_support.h"

#include <cwctype>
#include <string>
#include <unordered_set>
#include <vector>

#include <sys/stat.h>

namespace {

const std::vector<std::wstring>& samplePaths() {
  static const std::vector<std::wstring> paths = {
      L"/home/user/Projects/Tower A/Drawings/Level 03/floor plan.dwg",
      L"relative/dir/file.tar.gz",
      L"C:\\Users\\someone\\Documents\\Drawing1.dwg",
      L"/opt/app/support/fonts/isocp.shx",
      L"plain.txt",
      L"/var/tmp/x/y/z/w/v/u/t/s/deep name with spaces.DXF",
      L"\\\\server\\share\\projects\\site plan|v2.dwg",
      L"/a/b/",
  };
  return paths;
}

void BM_FileNameParseAndGet(benchmark::State& state) {
  std::vector<OdString> paths;
  for (const auto& p : samplePaths()) paths.emplace_back(p);
  for (auto _ : state) {
    for (const OdString& p : paths) {
      const ut::FileName fn(p);
      benchmark::DoNotOptimize(fn.getPath());
      benchmark::DoNotOptimize(fn.getName());
      benchmark::DoNotOptimize(fn.getExt());
      benchmark::DoNotOptimize(fn.getFullName());
      benchmark::DoNotOptimize(fn.getDirCount());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(paths.size()));
}
BENCHMARK(BM_FileNameParseAndGet);

void BM_FileNameParseAndGet_WxReference(benchmark::State& state) {
  std::vector<std::wstring> paths;
  for (auto p : samplePaths()) {
    for (auto& c : p) {
      if (c == L'\\') c = L'/';
      if (c == L'|') c = L' ';
    }
    paths.push_back(p);
  }
  for (auto _ : state) {
    for (const std::wstring& p : paths) {
      const wxFileName fn(p);
      benchmark::DoNotOptimize(fn.GetPath().ToStdWstring());
      benchmark::DoNotOptimize(fn.GetName().ToStdWstring());
      benchmark::DoNotOptimize(fn.GetExt().ToStdWstring());
      benchmark::DoNotOptimize(fn.GetFullName().ToStdWstring());
      benchmark::DoNotOptimize(fn.GetDirCount());
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(paths.size()));
}
BENCHMARK(BM_FileNameParseAndGet_WxReference);

void BM_FileExistsLocal(benchmark::State& state) {
  const ut::bench::ScratchDir dir;
  const wxString file = dir.file("present.dwg");
  { wxFile(file, wxFile::write).Write("x", 1); }
  const OdString path(file);
  for (auto _ : state) benchmark::DoNotOptimize(ut::FileName::fileExists(path));
}
BENCHMARK(BM_FileExistsLocal);

void BM_FileExistsLocal_StatReference(benchmark::State& state) {
  const ut::bench::ScratchDir dir;
  const wxString file = dir.file("present.dwg");
  { wxFile(file, wxFile::write).Write("x", 1); }
  const std::string path = file.utf8_string();
  for (auto _ : state) {
    struct stat info {};
    benchmark::DoNotOptimize(::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode));
  }
}
BENCHMARK(BM_FileExistsLocal_StatReference);

// 1,000 entries: 600 distinct folders, the rest repeats in other letter case
// or with a trailing separator, and a few empty entries.
const std::wstring& searchPath1000() {
  static const std::wstring text = [] {
    std::wstring out;
    for (int i = 0; i < 1000; ++i) {
      std::wstring entry;
      if (i % 50 == 49) {
        entry.clear();
      } else if (i < 600) {
        entry = L"C:\\Program Files\\Vendor\\Support\\Folder" + std::to_wstring(i);
      } else {
        entry = L"c:\\program files\\vendor\\SUPPORT\\folder" + std::to_wstring(i % 600) + (i % 2 ? L"\\" : L"");
      }
      out += entry;
      out += L';';
    }
    return out;
  }();
  return text;
}

void BM_CleanupSearchPath1000(benchmark::State& state) {
  const OdString input(searchPath1000());
  for (auto _ : state) benchmark::DoNotOptimize(ut::cleanupSearchPath(input));
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_CleanupSearchPath1000);

void BM_CleanupSearchPath1000_StdReference(benchmark::State& state) {
  const std::wstring& input = searchPath1000();
  for (auto _ : state) {
    std::unordered_set<std::wstring> seen;
    std::wstring out;
    std::size_t start = 0;
    while (start <= input.size()) {
      const std::size_t end = std::min(input.find(L';', start), input.size());
      std::wstring entry = input.substr(start, end - start);
      for (auto& c : entry) {
        if (c == L'\\') c = L'/';
      }
      std::wstring key = entry;
      while (!key.empty() && key.back() == L'/') key.pop_back();
      for (auto& c : key) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
      if (!entry.empty() && seen.insert(key).second) {
        out += entry;
        out += L';';
      }
      start = end + 1;
    }
    if (!out.empty()) out.pop_back();
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_CleanupSearchPath1000_StdReference);

}  // namespace
