// Natural ordering, number tests and decoders, each beside a reference doing
// the same work on the same data: ICU's numeric collation and plain wcscmp for
// the sorts, the C library's own parsing for isNumber, a std::wstring
// implementation for trimTrailingZeros and wxWidgets' decoder for base64.

#include <benchmark/benchmark.h>

#include <ut/ut_encodings.h>
#include <ut/ut_sorting.h>
#include <ut/ut_strings.h>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <wx/base64.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cwchar>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kNameCount = 1'000'000;

// File-name-like strings: words in mixed case, spaces, separators and numbers
// of varying width, some zero-padded, as drawing and image folders hold them.
const std::vector<std::wstring>& realisticNames() {
  static const std::vector<std::wstring> names = [] {
    const std::vector<std::wstring> words = {
        L"Floor Plan", L"floor plan", L"Section", L"Detail", L"detail", L"Elevation", L"IMG_",  L"img_",    L"Scan",
        L"Sheet A-",   L"sheet a-",   L"Part_",   L"Level ", L"Rev",    L"rev ",      L"Site",  L"Drawing", L"Copy of ",
        L"Backup",     L"Room",       L"Kitchen", L"Bath",   L"Stair",  L"Roof",      L"North", L"South"};
    const std::vector<std::wstring> extensions = {L".dwg", L".DWG", L".pdf", L".jpg", L".dxf", L".png", L""};
    std::mt19937 rng(12345);
    std::uniform_int_distribution<std::size_t> word(0, words.size() - 1);
    std::uniform_int_distribution<std::size_t> extension(0, extensions.size() - 1);
    std::uniform_int_distribution<int> parts(1, 4);
    std::uniform_int_distribution<int> width(1, 6);
    std::uniform_int_distribution<int> coin(0, 3);
    std::vector<std::wstring> out;
    out.reserve(kNameCount);
    for (std::size_t i = 0; i < kNameCount; ++i) {
      std::wstring name;
      for (int p = parts(rng); p > 0; --p) {
        name += words[word(rng)];
        const int digits = width(rng);
        std::uniform_int_distribution<long> number(0, static_cast<long>(std::pow(10, digits)) - 1);
        std::wstring n = std::to_wstring(number(rng));
        if (coin(rng) == 0)
          n.insert(0, static_cast<std::size_t>(digits) - std::min<std::size_t>(n.size(), digits), L'0');
        name += n;
        if (p > 1) name += coin(rng) == 0 ? L" - " : (coin(rng) == 0 ? L"_" : L" ");
      }
      name += extensions[extension(rng)];
      out.push_back(std::move(name));
    }
    return out;
  }();
  return names;
}

OdArray<OdString> namesAsArray() {
  OdArray<OdString> a;
  a.reserve(kNameCount);
  for (const auto& n : realisticNames()) a.append(OdString(n));
  return a;
}

// The thread's locale for one benchmark.
class ThreadLocale {
 public:
  explicit ThreadLocale(const char* name)
      : m_locale(newlocale(LC_ALL_MASK, name, nullptr)), m_previous(m_locale ? uselocale(m_locale) : nullptr) {}
  ~ThreadLocale() {
    if (m_locale == nullptr) return;
    uselocale(m_previous);
    freelocale(m_locale);
  }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;
  bool ok() const { return m_locale != nullptr; }

 private:
  locale_t m_locale;
  locale_t m_previous;
};

// --- sorting 1,000,000 names ------------------------------------------------------

void BM_SortLexiNumericalSorter(benchmark::State& state) {
  const OdArray<OdString> source = namesAsArray();
  for (auto _ : state) {
    state.PauseTiming();
    OdArray<OdString> names = source;
    state.ResumeTiming();
    ut::LexiNumericalSorter sorter;
    sorter.sort(names);
    benchmark::DoNotOptimize(names.asArrayPtr());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}
BENCHMARK(BM_SortLexiNumericalSorter)->Unit(benchmark::kMillisecond)->Iterations(2);

void sortWithStrCmpAlphanum(benchmark::State& state, const char* locale, bool caseSensitive) {
  const ThreadLocale scoped(locale);
  if (!scoped.ok()) {
    state.SkipWithError("locale not available");
    return;
  }
  const std::vector<std::wstring>& source = realisticNames();
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<const wchar_t*> names;
    names.reserve(source.size());
    for (const auto& n : source) names.push_back(n.c_str());
    state.ResumeTiming();
    std::sort(names.begin(), names.end(), [caseSensitive](const wchar_t* a, const wchar_t* b) {
      return ut::strCmpAlphanum(a, b, caseSensitive) < 0;
    });
    benchmark::DoNotOptimize(names.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

void BM_SortStrCmpAlphanum(benchmark::State& state) { sortWithStrCmpAlphanum(state, "C", true); }
BENCHMARK(BM_SortStrCmpAlphanum)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_SortStrCmpAlphanumIgnoreCase(benchmark::State& state) { sortWithStrCmpAlphanum(state, "C", false); }
BENCHMARK(BM_SortStrCmpAlphanumIgnoreCase)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_SortStrCmpAlphanumCUtf8(benchmark::State& state) { sortWithStrCmpAlphanum(state, "C.UTF-8", true); }
BENCHMARK(BM_SortStrCmpAlphanumCUtf8)->Unit(benchmark::kMillisecond)->Iterations(2);

// Only where the system has the locale: its collation has real rules.
void BM_SortStrCmpAlphanumEnUs(benchmark::State& state) { sortWithStrCmpAlphanum(state, "en_US.UTF-8", true); }
BENCHMARK(BM_SortStrCmpAlphanumEnUs)->Unit(benchmark::kMillisecond)->Iterations(2);

// Reference: ICU's collation with numeric ordering (root locale, tertiary
// strength) over the same names, converted to UTF-16 beforehand so that only
// the comparisons are timed.
void BM_SortIcuNumericCollation(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status) || !collator) {
    state.SkipWithError("no ICU collator");
    return;
  }
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  std::vector<std::u16string> source;
  source.reserve(kNameCount);
  for (const auto& n : realisticNames()) {
    std::u16string u;
    for (wchar_t c : n) u.push_back(static_cast<char16_t>(c));  // the names are all in the BMP
    source.push_back(std::move(u));
  }
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<const std::u16string*> names;
    names.reserve(source.size());
    for (const auto& n : source) names.push_back(&n);
    state.ResumeTiming();
    std::sort(names.begin(), names.end(), [&collator](const std::u16string* a, const std::u16string* b) {
      UErrorCode s = U_ZERO_ERROR;
      return collator->compare(a->data(), static_cast<int32_t>(a->size()), b->data(), static_cast<int32_t>(b->size()),
                               s) == UCOL_LESS;
    });
    benchmark::DoNotOptimize(names.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}
BENCHMARK(BM_SortIcuNumericCollation)->Unit(benchmark::kMillisecond)->Iterations(2);

// Reference: plain code-unit order.
void BM_SortWcscmp(benchmark::State& state) {
  const std::vector<std::wstring>& source = realisticNames();
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<const wchar_t*> names;
    names.reserve(source.size());
    for (const auto& n : source) names.push_back(n.c_str());
    state.ResumeTiming();
    std::sort(names.begin(), names.end(), [](const wchar_t* a, const wchar_t* b) { return std::wcscmp(a, b) < 0; });
    benchmark::DoNotOptimize(names.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}
BENCHMARK(BM_SortWcscmp)->Unit(benchmark::kMillisecond)->Iterations(2);

// --- throughput of the text tests and decoders ------------------------------------

// Number-like cells of a table: integers, decimals, exponents, padded and
// signed values, and words that are not numbers. Bytes are counted as stored
// (wchar_t), characters as a separate rate.
const std::vector<std::wstring>& numberCells() {
  static const std::vector<std::wstring> cells = [] {
    const std::vector<std::wstring> samples = {L"12345",   L"3.14159", L"-42", L" 77 ",  L"1e10", L"0.000125",
                                               L"abc12",   L"12abc",   L"+9",  L"2.500", L"100",  L"-0.5e-3",
                                               L"Level 3", L"65536",   L"1,5", L""};
    std::vector<std::wstring> out;
    for (int i = 0; i < 4096; ++i) out.push_back(samples[static_cast<std::size_t>(i) % samples.size()]);
    return out;
  }();
  return cells;
}

void setTextRates(benchmark::State& state, const std::vector<std::wstring>& cells) {
  std::int64_t chars = 0;
  for (const auto& c : cells) chars += static_cast<std::int64_t>(c.size());
  state.SetBytesProcessed(state.iterations() * chars * static_cast<std::int64_t>(sizeof(wchar_t)));
  state.counters["chars/s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * chars), benchmark::Counter::kIsRate);
}

void BM_IsNumber(benchmark::State& state) {
  const auto& cells = numberCells();
  for (auto _ : state) {
    int count = 0;
    for (const auto& c : cells) count += ut::isNumber(c.c_str()) ? 1 : 0;
    benchmark::DoNotOptimize(count);
  }
  setTextRates(state, cells);
}
BENCHMARK(BM_IsNumber);

// Reference: the same decision with the C library's parsers called directly.
void BM_IsNumberReferenceWcstod(benchmark::State& state) {
  const auto& cells = numberCells();
  for (auto _ : state) {
    int count = 0;
    for (const auto& c : cells) {
      wchar_t* end = nullptr;
      std::wcstod(c.c_str(), &end);
      if (end != c.c_str()) {
        while (*end == L' ') ++end;
        count += *end == L'\0' ? 1 : 0;
      }
    }
    benchmark::DoNotOptimize(count);
  }
  setTextRates(state, cells);
}
BENCHMARK(BM_IsNumberReferenceWcstod);

void BM_TrimTrailingZeros(benchmark::State& state) {
  std::vector<OdString> source;
  std::vector<std::wstring> texts;
  for (const wchar_t* s : {L"2.500", L"3.000", L"10", L"1234.567000", L"0.125000000", L"42.0", L".50", L"1,200"}) {
    for (int i = 0; i < 512; ++i) {
      source.emplace_back(s);
      texts.emplace_back(s);
    }
  }
  std::vector<OdString> work = source;
  for (auto _ : state) {
    for (std::size_t i = 0; i < work.size(); ++i) {
      work[i] = source[i];
      ut::trimTrailingZeros(work[i], L'.');
    }
    benchmark::DoNotOptimize(work.data());
  }
  setTextRates(state, texts);
}
BENCHMARK(BM_TrimTrailingZeros);

// Reference: the same trimming on std::wstring with find_last_not_of.
void BM_TrimTrailingZerosReferenceWstring(benchmark::State& state) {
  std::vector<std::wstring> source;
  for (const wchar_t* s : {L"2.500", L"3.000", L"10", L"1234.567000", L"0.125000000", L"42.0", L".50", L"1,200"}) {
    for (int i = 0; i < 512; ++i) source.emplace_back(s);
  }
  std::vector<std::wstring> work = source;
  for (auto _ : state) {
    for (std::size_t i = 0; i < work.size(); ++i) {
      work[i] = source[i];
      std::wstring& s = work[i];
      const std::size_t at = s.rfind(L'.');
      if (at != std::wstring::npos && at > 0) {
        const std::size_t keep = std::max(s.find_last_not_of(L'0'), at);
        s.erase(keep + 1);
      }
      if (!s.empty() && s.back() == L'.') s.pop_back();
    }
    benchmark::DoNotOptimize(work.data());
  }
  setTextRates(state, source);
}
BENCHMARK(BM_TrimTrailingZerosReferenceWstring);

const std::string& encodedMegabyte(bool url) {
  static const std::string bytes = [] {
    std::string b(1 << 20, '\0');
    std::mt19937 rng(1);
    for (auto& c : b) c = static_cast<char>(rng());
    return b;
  }();
  static const std::string standard = ut::base64_encode(bytes);
  static const std::string urlSafe = ut::base64Url_encode(bytes);
  return url ? urlSafe : standard;
}

void BM_Base64Decode(benchmark::State& state) {
  const std::string& text = encodedMegabyte(false);
  for (auto _ : state) benchmark::DoNotOptimize(ut::base64_decode(text));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_Base64Decode);

void BM_Base64UrlDecode(benchmark::State& state) {
  const std::string& text = encodedMegabyte(true);
  for (auto _ : state) benchmark::DoNotOptimize(ut::base64Url_decode(text));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_Base64UrlDecode);

// Reference: wxWidgets' decoder on the same text.
void BM_Base64DecodeReferenceWx(benchmark::State& state) {
  const std::string& text = encodedMegabyte(false);
  for (auto _ : state) benchmark::DoNotOptimize(wxBase64Decode(text.data(), text.size()));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_Base64DecodeReferenceWx);

}  // namespace
