// The strict UTF-8 test on 64 MiB of mostly-ASCII and of mixed-script text,
// beside the plain one-byte-at-a-time automaton, iconv and Python's strict
// decoder on the same bytes (targets: 4 GB/s on ASCII, 1 GB/s on mixed text,
// identical results); TextFile::open of a 100 MB UTF-8 file beside wxTextFile
// opening it alone (target: at least 0.9 of its speed).

#include <benchmark/benchmark.h>

#include <ut/ut_textfile.h>

#include <wx/convauto.h>
#include <wx/textfile.h>

#include "../fuzz/utf8_reference.h"
#include "bench_support.h"
#include "python_reference.h"

#include <iconv.h>

#include <cerrno>

#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kValidatorBytes = 64u << 20;
constexpr std::size_t kTextFileBytes = 100'000'000;

// Text of `size` bytes (whole characters, whole lines) made of the words.
std::string makeText(const std::vector<std::string>& words, std::size_t size, unsigned seed) {
  std::mt19937 rng(seed);
  std::string text;
  text.reserve(size + 64);
  std::size_t lineLength = 0;
  while (text.size() < size) {
    const std::string& word = words[rng() % words.size()];
    if (text.size() + word.size() + 1 > size) break;
    text += word;
    lineLength += word.size() + 1;
    if (lineLength > 70) {
      text += '\n';
      lineLength = 0;
    } else {
      text += ' ';
    }
  }
  text.resize(size, '.');
  return text;
}

// English prose with the odd accented letter or dash (about 1 byte in 100
// outside ASCII).
const std::string& mostlyAscii() {
  static const std::string text =
      makeText({"the",     "drawing",  "layer",      "block",       "reference",    "was",
                "moved",   "to",       "a",          "new",         "position",     "and",
                "scaled",  "by",       "factor",     "of",          "two",          "while",
                "keeping", "its",      "attributes", "caf\xC3\xA9", "\xE2\x80\x94", "na\xC3\xAFve",
                "sheet",   "viewport", "dimension",  "style",       "text",         "height",
                "of"},
               kValidatorBytes, 1);
  return text;
}

// Latin with accents, Cyrillic, CJK and emoji in equal shares of words.
const std::string& mixed() {
  static const std::string text = makeText(
      {"Stra\xC3\x9F"
       "e",
       "\xC3\xA9l\xC3\xA9ment", "\xD1\x87\xD0\xB5\xD1\x80\xD1\x82\xD1\x91\xD0\xB6", "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB9",
       "\xE5\x9B\xBE\xE5\xB1\x82", "\xE5\xB0\xBA\xE5\xAF\xB8\xE6\xA0\xB7\xE5\xBC\x8F",
       "\xF0\x9F\x93\x90\xF0\x9F\x93\x8F", "\xF0\x9F\x98\x80", "layer", "\xCE\xB3\xCF\x89\xCE\xBD\xCE\xAF\xCE\xB1"},
      kValidatorBytes, 2);
  return text;
}

unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
}

void setThroughput(benchmark::State& state, std::size_t bytes, bool valid) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.counters["valid"] = valid ? 1 : 0;
}

void checkSameResult(benchmark::State& state, const std::string& text, bool result) {
  if (result != ut::reference::plainUtf8(bytesOf(text), text.size())) state.SkipWithError("results differ");
}

template <const std::string& (*Text)()>
void BM_Utf8Valid(benchmark::State& state) {
  const std::string& text = Text();
  bool valid = false;
  for (auto _ : state) {
    valid = ut::isValidUTF8Encoding(bytesOf(text), text.size());
    benchmark::DoNotOptimize(valid);
  }
  checkSameResult(state, text, valid);
  setThroughput(state, text.size(), valid);
}

template <const std::string& (*Text)()>
void BM_Utf8Valid_PlainAutomaton(benchmark::State& state) {
  const std::string& text = Text();
  bool valid = false;
  for (auto _ : state) {
    valid = ut::reference::plainUtf8(bytesOf(text), text.size());
    benchmark::DoNotOptimize(valid);
  }
  setThroughput(state, text.size(), valid);
}

// iconv decoding to UTF-32 into a small buffer; valid when nothing is refused.
template <const std::string& (*Text)()>
void BM_Utf8Valid_Iconv(benchmark::State& state) {
  const std::string& text = Text();
  iconv_t cd = iconv_open("UTF-32LE", "UTF-8");
  std::vector<char> out(1 << 16);
  bool valid = false;
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(text.data());
    std::size_t inLeft = text.size();
    valid = true;
    while (inLeft > 0) {
      char* o = out.data();
      std::size_t outLeft = out.size();
      if (iconv(cd, &in, &inLeft, &o, &outLeft) == static_cast<std::size_t>(-1) && errno != E2BIG) {
        valid = false;
        break;
      }
    }
    benchmark::DoNotOptimize(valid);
  }
  iconv_close(cd);
  setThroughput(state, text.size(), valid);
}

// Python's bytes.decode("utf-8") (strict), timed by Python itself.
template <const std::string& (*Text)()>
void BM_Utf8Valid_PythonDecode(benchmark::State& state) {
  static const char* const kScript = R"(import sys, time
data = open(sys.argv[1], 'rb').read()
runs = 5
start = time.perf_counter()
for _ in range(runs):
    try:
        data.decode('utf-8')
    except UnicodeDecodeError:
        pass
print((time.perf_counter() - start) / runs)
)";
  ut::bench::ScratchDir dir;
  const std::string file = dir.file("text.bin").ToStdString();
  {
    std::ofstream out(file, std::ios::binary);
    out << Text();
  }
  for (auto _ : state) {
    const double seconds = ut::bench::pythonSeconds(dir.file("decode.py").ToStdString(), kScript, "'" + file + "'");
    if (seconds < 0) {
      state.SkipWithError("python3 is not available");
      break;
    }
    state.SetIterationTime(seconds);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * Text().size()));
}

BENCHMARK_TEMPLATE(BM_Utf8Valid, mostlyAscii)->Name("Utf8Valid/MostlyAscii")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid_PlainAutomaton, mostlyAscii)
    ->Name("Utf8Valid_PlainAutomaton/MostlyAscii")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid_Iconv, mostlyAscii)->Name("Utf8Valid_Iconv/MostlyAscii")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid_PythonDecode, mostlyAscii)
    ->Name("Utf8Valid_PythonDecode/MostlyAscii")
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid, mixed)->Name("Utf8Valid/Mixed")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid_PlainAutomaton, mixed)
    ->Name("Utf8Valid_PlainAutomaton/Mixed")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid_Iconv, mixed)->Name("Utf8Valid_Iconv/Mixed")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Utf8Valid_PythonDecode, mixed)
    ->Name("Utf8Valid_PythonDecode/Mixed")
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

// --- TextFile::open of 100 MB -----------------------------------------------------

class TextFileFixture {
 public:
  static const TextFileFixture& instance() {
    static const TextFileFixture fixture;
    return fixture;
  }
  const wxString& file() const { return m_file; }

 private:
  TextFileFixture() : m_file(m_dir.file("big.txt")) {
    std::ofstream out(m_file.ToStdString(), std::ios::binary);
    // All of the mostly-ASCII text, then whole lines of the mixed one, so
    // that no character is cut in two.
    std::string text = mostlyAscii();
    text += mixed().substr(0, mixed().rfind('\n', kTextFileBytes - text.size()) + 1);
    out << text;
  }
  ut::bench::ScratchDir m_dir;
  wxString m_file;
};

void BM_TextFileOpen(benchmark::State& state) {
  const wxString& file = TextFileFixture::instance().file();
  std::size_t lines = 0;
  for (auto _ : state) {
    ut::TextFile text{OdString(file)};
    if (!text.open(nullptr)) state.SkipWithError("open failed");
    lines = text.getLineCount();
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextFileBytes));
  state.counters["lines"] = static_cast<double>(lines);
}

void BM_TextFileOpen_WxTextFile(benchmark::State& state) {
  const wxString& file = TextFileFixture::instance().file();
  std::size_t lines = 0;
  for (auto _ : state) {
    wxTextFile text(file);
    if (!text.Open(wxConvAuto())) state.SkipWithError("open failed");
    lines = text.GetLineCount();
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kTextFileBytes));
  state.counters["lines"] = static_cast<double>(lines);
}

BENCHMARK(BM_TextFileOpen)->Name("TextFileOpen")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TextFileOpen_WxTextFile)->Name("TextFileOpen_WxTextFile")->Unit(benchmark::kMillisecond);

}  // namespace
