// The C library's locale collation and the per-locale cache of its answers for
// single characters.

#include "ut_platform.h"

#include <langinfo.h>

#include <array>
#include <atomic>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace ut::platform {

namespace {

const wchar_t* orEmpty(const wchar_t* s) { return s != nullptr ? s : L""; }

wchar_t lower(wchar_t c) { return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c))); }

std::wstring lowered(const wchar_t* s) {
  std::wstring out(orEmpty(s));
  for (auto& c : out) c = lower(c);
  return out;
}

// The C library's code-point comparison (wcscmp, which wcscoll uses in the C
// locales) reads whole vectors and, near the end of a memory page, takes
// another path that returns other magnitudes for the same strings. The
// strings compared here sit in aligned buffers that never reach a page end, so
// one pair always gets the same answer.
int collateOne(wchar_t a, wchar_t b, bool ignoreCase) {
  alignas(64) const std::array<wchar_t, 2> sa{ignoreCase ? lower(a) : a, L'\0'};
  alignas(64) const std::array<wchar_t, 2> sb{ignoreCase ? lower(b) : b, L'\0'};
  return std::wcscoll(sa.data(), sb.data());
}

// Characters below this value have their pairs in a dense table shared by all
// threads: they cover the ASCII and Latin-1 names that make up most input.
constexpr std::uint32_t kDenseRange = 256;
constexpr std::int32_t kUnknown = std::numeric_limits<std::int32_t>::min();
// Pairs beyond the dense range are kept per thread, up to this many; past it
// they are computed directly, so hostile input cannot grow memory without bound.
constexpr std::size_t kSparseLimit = std::size_t{1} << 16;

// The answers for all pairs of characters below kDenseRange in one locale and
// case mode, filled on demand. An entry is only ever written with the value
// any thread would compute for it, so concurrent writers cannot disagree;
// relaxed atomics keep those races defined.
class DenseTable {
 public:
  DenseTable() : m_entries(std::make_unique<std::atomic<std::int32_t>[]>(kDenseRange * kDenseRange)) {
    for (std::size_t i = 0; i < kDenseRange * kDenseRange; ++i) m_entries[i].store(kUnknown, std::memory_order_relaxed);
  }

  int get(std::uint32_t a, std::uint32_t b, bool ignoreCase) {
    std::atomic<std::int32_t>& entry = m_entries[a * kDenseRange + b];
    std::int32_t value = entry.load(std::memory_order_relaxed);
    if (value == kUnknown) {
      value = collateOne(static_cast<wchar_t>(a), static_cast<wchar_t>(b), ignoreCase);
      entry.store(value, std::memory_order_relaxed);
    }
    return value;
  }

 private:
  std::unique_ptr<std::atomic<std::int32_t>[]> m_entries;
};

// One dense table per locale and mode for the life of the process. A program
// meets only a handful of locales, so the tables are never dropped: that keeps
// the pointers the threads hold valid without reference counting.
DenseTable& denseTableFor(const std::string& key) {
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<DenseTable>> tables;
  const std::lock_guard lock(mutex);
  auto& table = tables[key];
  if (!table) table = std::make_unique<DenseTable>();
  return *table;
}

// The name of the calling thread's locale for one category (the thread's own
// locale after uselocale, else the global one); empty when unknown.
const char* localeName(int category) {
  const char* name = nl_langinfo(_NL_LOCALE_NAME(category));
  return name != nullptr ? name : "";
}

// What one thread knows of the current locale's cache in one mode.
struct ThreadCache {
  std::string collateName;
  std::string ctypeName;
  DenseTable* dense = nullptr;
  std::unordered_map<std::uint64_t, std::int32_t> sparse;

  // Points the cache at the calling thread's current locale; false when the
  // locale has no name to key a cache by.
  bool follow(bool ignoreCase) {
    const char* collateNow = localeName(LC_COLLATE);
    // Case folding depends on the character classes; plain collation does not.
    const char* ctypeNow = ignoreCase ? localeName(LC_CTYPE) : "";
    if (*collateNow == '\0' || (ignoreCase && *ctypeNow == '\0')) return false;
    if (dense != nullptr && collateName == collateNow && ctypeName == ctypeNow) return true;
    collateName = collateNow;
    ctypeName = ctypeNow;
    sparse.clear();
    std::string key(ignoreCase ? "i|" : "c|");
    key += collateName;
    key += '|';
    key += ctypeName;
    dense = &denseTableFor(key);
    return true;
  }
};

}  // namespace

int crtCollate(const wchar_t* a, const wchar_t* b) { return std::wcscoll(orEmpty(a), orEmpty(b)); }

int crtCollateNoCase(const wchar_t* a, const wchar_t* b) {
  const std::wstring la = lowered(a);
  const std::wstring lb = lowered(b);
  return std::wcscoll(la.c_str(), lb.c_str());
}

int crtCollateChars(wchar_t a, wchar_t b, bool ignoreCase) {
  thread_local std::array<ThreadCache, 2> caches;
  ThreadCache& cache = caches[ignoreCase ? 1 : 0];
  if (!cache.follow(ignoreCase)) return collateOne(a, b, ignoreCase);
  const auto ua = static_cast<std::uint32_t>(a);
  const auto ub = static_cast<std::uint32_t>(b);
  if (ua < kDenseRange && ub < kDenseRange) return cache.dense->get(ua, ub, ignoreCase);
  const std::uint64_t pair = (std::uint64_t{ua} << 32) | ub;
  if (const auto it = cache.sparse.find(pair); it != cache.sparse.end()) return it->second;
  const int value = collateOne(a, b, ignoreCase);
  if (cache.sparse.size() < kSparseLimit) cache.sparse.emplace(pair, value);
  return value;
}

}  // namespace ut::platform
