#include <ut/ut_progress.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>

namespace ut {

// --- ProgressCounter ------------------------------------------------------------------

struct ProgressCounter::State {
  State(Progress* p, int t) : progress(p), total(t) {}
  Progress* progress;
  int total;
  int count = 0;
};

ProgressCounter::ProgressCounter(Progress* progress, int total) : m_state(std::make_unique<State>(progress, total)) {}
ProgressCounter::~ProgressCounter() = default;

ProgressCounter& ProgressCounter::operator++() {
  increase(1);
  return *this;
}

bool ProgressCounter::increase(int n) {
  const std::int64_t sum = std::int64_t{m_state->count} + n;
  m_state->count =
      static_cast<int>(std::clamp<std::int64_t>(sum, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
  return report();
}

bool ProgressCounter::report() {
  if (!m_state->progress) return true;
  const double percent = std::min(m_state->count * 100.0 / m_state->total, 100.0);
  return m_state->progress->setPercent(percent, OdString());
}

ProgressCounter::ScopedIncrease ProgressCounter::scopedIncrease() { return ScopedIncrease(*this); }

int ProgressCounter::count() const { return m_state->count; }
int ProgressCounter::total() const { return m_state->total; }

ProgressCounter::ScopedIncrease::ScopedIncrease(ProgressCounter& counter) : m_counter(counter) {}
ProgressCounter::ScopedIncrease::~ScopedIncrease() { ++m_counter; }

// --- ProgressSplitter -----------------------------------------------------------------

struct ProgressSplitter::State {
  State(Progress* p, const std::vector<double>& w) : progress(p), weights(w) {}
  Progress* progress;
  std::vector<double> weights;
  std::size_t position = 0;
  std::unique_ptr<Progress> part;
};

ProgressSplitter::ProgressSplitter(Progress* progress, int n)
    : ProgressSplitter(progress, std::vector<double>(static_cast<std::size_t>(std::max(n, 0)), 1.0)) {}

ProgressSplitter::ProgressSplitter(Progress* progress, const std::vector<double>& weights)
    : m_state(std::make_unique<State>(progress, weights)) {}

ProgressSplitter::~ProgressSplitter() = default;

Progress* ProgressSplitter::next(const OdString& message) {
  State& s = *m_state;
  if (!s.progress || s.position >= s.weights.size()) return nullptr;
  const auto current = s.weights.begin() + static_cast<std::ptrdiff_t>(s.position);
  const double before = std::accumulate(s.weights.begin(), current, 0.0);
  const double total = std::accumulate(s.weights.begin(), s.weights.end(), 0.0);
  const double weight = *current;
  const double from = before * 100 / total;
  const double to = (before + weight) * 100 / total;
  ++s.position;
  s.part = s.progress->createPart(from, to, message);
  return s.part.get();
}

}  // namespace ut
