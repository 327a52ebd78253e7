#include <ut/ut_progress.h>

#include "ut_platform.h"

#include <algorithm>

namespace ut {

namespace {

// The order matters for not-a-number, which passes through both unchanged.
double clampPercent(double value) {
  value = std::min(value, 100.0);
  return std::max(value, 0.0);
}

}  // namespace

// --- Progress --------------------------------------------------------------------

Progress::~Progress() = default;

bool Progress::finish() { return setPercent(100.0, OdString()); }

std::unique_ptr<Progress> Progress::createPart(double from, double to, const OdString& message) {
  if (!message.isEmpty()) setMessage(message);
  return std::unique_ptr<Progress>(new ProgressPart(*this, from, to));
}

// --- ProgressPart ------------------------------------------------------------------

ProgressPart::ProgressPart(Progress& parent, double from, double to) : m_parent(parent), m_from(from), m_to(to) {}

ProgressPart::~ProgressPart() = default;

double ProgressPart::toParent(double percent) const { return clampPercent(m_from + (m_to - m_from) * (percent / 100)); }

void ProgressPart::start(const OdString& message) {
  m_parent.start(message);
  // The lower bound doubles as the starting percentage: a part over [20, 60]
  // starts its parent at 28. Hosts rely on this mapping.
  m_parent.setPercent(toParent(m_from), OdString());
}

void ProgressPart::stop() { m_parent.stop(); }
void ProgressPart::setMessage(const OdString& message) { m_parent.setMessage(message); }
void ProgressPart::updateUI(bool force) { m_parent.updateUI(force); }
bool ProgressPart::setPercent(double percent, const OdString& message) {
  return m_parent.setPercent(toParent(percent), message);
}
double ProgressPart::getPercent() const { return (m_parent.getPercent() - m_from) * 100 / (m_to - m_from); }
bool ProgressPart::isCanceled() const { return m_parent.isCanceled(); }

// --- ProgressPropagator ----------------------------------------------------------

ProgressPropagator::ProgressPropagator(const std::vector<Progress*>& progresses) : m_progresses(progresses) {}

ProgressPropagator::ProgressPropagator(const ProgressPropagator& other)
    : Progress(other), m_progresses(other.m_progresses) {}

ProgressPropagator::~ProgressPropagator() { stop(); }

void ProgressPropagator::start(const OdString& message) {
  for (Progress* p : m_progresses)
    if (p) p->start(message);
}

void ProgressPropagator::stop() {
  for (Progress* p : m_progresses)
    if (p) p->stop();
}

void ProgressPropagator::setMessage(const OdString& message) {
  for (Progress* p : m_progresses)
    if (p) p->setMessage(message);
}

void ProgressPropagator::updateUI(bool force) {
  for (Progress* p : m_progresses)
    if (p) p->updateUI(force);
}

bool ProgressPropagator::setPercent(double percent, const OdString& message) {
  bool all = true;
  for (Progress* p : m_progresses)
    if (p && !p->setPercent(percent, message)) all = false;
  return all;
}

double ProgressPropagator::getPercent() const {
  if (m_progresses.empty() || !m_progresses.front()) return 0;
  return m_progresses.front()->getPercent();
}

bool ProgressPropagator::isCanceled() const {
  return std::any_of(m_progresses.begin(), m_progresses.end(), [](const Progress* p) { return p && p->isCanceled(); });
}

// --- StopWatch and ticks -------------------------------------------------------------

std::int64_t getTicks() { return platform::performanceCounter(); }
std::int64_t getTicksPerSecond() { return platform::performanceFrequency(); }

StopWatch::StopWatch() : m_start(getTicks()) {}
void StopWatch::restart() { m_start = getTicks(); }
double StopWatch::time() const { return static_cast<double>(getTicks() - m_start) * 1000.0 / getTicksPerSecond(); }

}  // namespace ut
