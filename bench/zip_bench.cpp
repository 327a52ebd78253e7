// Compression and archives, each beside its references on the same data:
//   ZlibEngine compress/decompress of a 64 MB file against raw zlib at the
//   same level with 1 MB buffers and against gzip -6;
//   zipFolder/unzipFolder of 2,000 small files and of one 200 MB file against
//   Info-ZIP zip -r / unzip and Python's zipfile.
// The external programs run through the shell; their start-up is part of
// their time, as it is of a user's.

#include <benchmark/benchmark.h>

#include <ut/ut_zip.h>

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench_support.h"

namespace {

namespace fs = std::filesystem;

// Drawing-export-like content: words, numbers and some noise, about 3:1 at
// level 6.
std::string sampleBytes(std::size_t n, unsigned seed) {
  static const char* const words[] = {"LINE ", "ARC ",     "LAYER ", "0.000000 ",  "CIRCLE ",
                                      "TEXT ", "Kitchen ", "HATCH ", "ENTITIES\n", "AcDbLine\n"};
  std::mt19937 rng(seed);
  std::string s;
  s.reserve(n + 32);
  while (s.size() < n) {
    const unsigned r = rng();
    s += words[r % 10];
    s += std::to_string(r % 100000);
    if (r % 7 == 0) s += static_cast<char>(rng());
  }
  s.resize(n);
  return s;
}

void writeFile(const fs::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// The scratch folder with the inputs, made once per run.
struct Data {
  ut::bench::ScratchDir dir;
  fs::path root;
  fs::path big;    // 64 MB
  fs::path bigZ;   // its zlib form
  fs::path bigGz;  // its gzip form
  fs::path small;  // folder of 2,000 small files
  fs::path huge;   // folder with one 200 MB file
  Data() {
    root = fs::path(dir.file("x").ToStdString()).parent_path();
    big = root / "big.bin";
    writeFile(big, sampleBytes(64u << 20, 1));
    bigZ = root / "big.z";
    ZlibEngine().compress(big.wstring().c_str(), bigZ.wstring().c_str(), 6);
    bigGz = root / "big.gz";
    std::system(("gzip -6 -c '" + big.string() + "' > '" + bigGz.string() + "'").c_str());
    small = root / "small";
    for (int i = 0; i < 2000; ++i) {
      const fs::path folder = small / ("d" + std::to_string(i / 100));
      fs::create_directories(folder);
      writeFile(folder / ("f" + std::to_string(i) + ".txt"), sampleBytes(200 + (i * 37) % 4000, i));
    }
    huge = root / "huge";
    fs::create_directories(huge);
    writeFile(huge / "one.bin", sampleBytes(200u << 20, 2));
  }
  static Data& get() {
    static Data data;
    return data;
  }
};

void run(const std::string& command) {
  if (std::system(command.c_str()) != 0) std::fprintf(stderr, "failed: %s\n", command.c_str());
}

void setBytes(benchmark::State& state, const fs::path& input) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(fs::file_size(input)));
}

// --- the 64 MB file ---------------------------------------------------------------

void BM_ZlibEngine_Compress64MB(benchmark::State& state) {
  Data& d = Data::get();
  const fs::path out = d.root / "engine.z";
  for (auto _ : state)
    benchmark::DoNotOptimize(ZlibEngine().compress(d.big.wstring().c_str(), out.wstring().c_str(), 6));
  setBytes(state, d.big);
}

// Raw zlib at the same level, 1 MB buffers.
int rawZlib(const fs::path& in, const fs::path& out, bool deflating) {
  std::FILE* src = std::fopen(in.c_str(), "rb");
  std::FILE* dst = std::fopen(out.c_str(), "wb");
  std::vector<unsigned char> inBuf(1 << 20), outBuf(1 << 20);
  z_stream z{};
  int rc = deflating ? deflateInit(&z, 6) : inflateInit(&z);
  for (bool end = false; rc == Z_OK && !end;) {
    z.avail_in = static_cast<uInt>(std::fread(inBuf.data(), 1, inBuf.size(), src));
    z.next_in = inBuf.data();
    const int flush = std::feof(src) ? Z_FINISH : Z_NO_FLUSH;
    do {
      z.avail_out = static_cast<uInt>(outBuf.size());
      z.next_out = outBuf.data();
      rc = deflating ? deflate(&z, flush) : inflate(&z, flush);
      std::fwrite(outBuf.data(), 1, outBuf.size() - z.avail_out, dst);
    } while (z.avail_out == 0 && rc == Z_OK);
    end = flush == Z_FINISH || rc == Z_STREAM_END;
    if (rc == Z_BUF_ERROR) rc = Z_OK;
  }
  deflating ? deflateEnd(&z) : inflateEnd(&z);
  std::fclose(src);
  std::fclose(dst);
  return rc;
}

void BM_ZlibEngine_Compress64MB_RawZlib(benchmark::State& state) {
  Data& d = Data::get();
  for (auto _ : state) benchmark::DoNotOptimize(rawZlib(d.big, d.root / "raw.z", true));
  setBytes(state, d.big);
}

void BM_ZlibEngine_Compress64MB_Gzip6(benchmark::State& state) {
  Data& d = Data::get();
  for (auto _ : state) run("gzip -6 -c '" + d.big.string() + "' > '" + (d.root / "ref.gz").string() + "'");
  setBytes(state, d.big);
}

void BM_ZlibEngine_Decompress64MB(benchmark::State& state) {
  Data& d = Data::get();
  const fs::path out = d.root / "engine.out";
  for (auto _ : state)
    benchmark::DoNotOptimize(ZlibEngine().decompress(d.bigZ.wstring().c_str(), out.wstring().c_str()));
  setBytes(state, d.big);
}

void BM_ZlibEngine_Decompress64MB_RawZlib(benchmark::State& state) {
  Data& d = Data::get();
  for (auto _ : state) benchmark::DoNotOptimize(rawZlib(d.bigZ, d.root / "raw.out", false));
  setBytes(state, d.big);
}

void BM_ZlibEngine_Decompress64MB_Gzip(benchmark::State& state) {
  Data& d = Data::get();
  for (auto _ : state) run("gzip -d -c '" + d.bigGz.string() + "' > '" + (d.root / "ref.out").string() + "'");
  setBytes(state, d.big);
}

BENCHMARK(BM_ZlibEngine_Compress64MB)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_ZlibEngine_Compress64MB_RawZlib)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_ZlibEngine_Compress64MB_Gzip6)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_ZlibEngine_Decompress64MB)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_ZlibEngine_Decompress64MB_RawZlib)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_ZlibEngine_Decompress64MB_Gzip)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// --- archives ---------------------------------------------------------------------------

const char* const kPythonZip =
    "import zipfile,os,sys\n"
    "root=sys.argv[1]\n"
    "with zipfile.ZipFile(sys.argv[2],'w',zipfile.ZIP_DEFLATED) as z:\n"
    "  for d,ds,fs in os.walk(root):\n"
    "    for n in sorted(ds)+sorted(fs): p=os.path.join(d,n); z.write(p,os.path.relpath(p,root))\n";
const char* const kPythonUnzip = "import zipfile,sys\nzipfile.ZipFile(sys.argv[1]).extractall(sys.argv[2])\n";

fs::path folderOf(int which) { return which == 0 ? Data::get().small : Data::get().huge; }
std::string label(int which) { return which == 0 ? "2000 small files" : "one 200 MB file"; }

void BM_ZipFolder(benchmark::State& state) {
  const fs::path archive = Data::get().root / "ut.zip";
  for (auto _ : state) ut::zipFolder(archive.wstring(), folderOf(state.range(0)).wstring());
  state.SetLabel(label(state.range(0)));
}

void BM_ZipFolder_InfoZip(benchmark::State& state) {
  const fs::path archive = Data::get().root / "infozip.zip";
  for (auto _ : state) {
    fs::remove(archive);
    run("cd '" + folderOf(state.range(0)).string() + "' && zip -q -r '" + archive.string() + "' .");
  }
  state.SetLabel(label(state.range(0)));
}

void BM_ZipFolder_Python(benchmark::State& state) {
  const fs::path archive = Data::get().root / "python.zip";
  for (auto _ : state) {
    run("python3 -c \"$UT_BENCH_PY_ZIP\" '" + folderOf(state.range(0)).string() + "' '" + archive.string() + "'");
  }
  state.SetLabel(label(state.range(0)));
}

// The archive every unzip reads: made by Info-ZIP, so all three read the same bytes.
fs::path unzipInput(int which) {
  const fs::path archive = Data::get().root / ("input" + std::to_string(which) + ".zip");
  if (!fs::exists(archive)) run("cd '" + folderOf(which).string() + "' && zip -q -r '" + archive.string() + "' .");
  return archive;
}

void BM_UnzipFolder(benchmark::State& state) {
  const fs::path archive = unzipInput(static_cast<int>(state.range(0)));
  const fs::path out = Data::get().root / "ut-out";
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove_all(out);
    state.ResumeTiming();
    ut::unzipFolder(archive.wstring(), out.wstring());
  }
  state.SetLabel(label(state.range(0)));
}

void BM_UnzipFolder_InfoZip(benchmark::State& state) {
  const fs::path archive = unzipInput(static_cast<int>(state.range(0)));
  const fs::path out = Data::get().root / "infozip-out";
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove_all(out);
    state.ResumeTiming();
    run("unzip -q -o '" + archive.string() + "' -d '" + out.string() + "'");
  }
  state.SetLabel(label(state.range(0)));
}

void BM_UnzipFolder_Python(benchmark::State& state) {
  const fs::path archive = unzipInput(static_cast<int>(state.range(0)));
  const fs::path out = Data::get().root / "python-out";
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove_all(out);
    state.ResumeTiming();
    run("python3 -c \"$UT_BENCH_PY_UNZIP\" '" + archive.string() + "' '" + out.string() + "'");
  }
  state.SetLabel(label(state.range(0)));
}

}  // namespace

// The Python programs reach the shell through the environment, which spares
// quoting them.
namespace {
struct PythonScripts {
  PythonScripts() {
    ::setenv("UT_BENCH_PY_ZIP", kPythonZip, 1);
    ::setenv("UT_BENCH_PY_UNZIP", kPythonUnzip, 1);
  }
} const pythonScripts;
}  // namespace

BENCHMARK(BM_ZipFolder)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_ZipFolder_InfoZip)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_ZipFolder_Python)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_UnzipFolder)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_UnzipFolder_InfoZip)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_UnzipFolder_Python)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
