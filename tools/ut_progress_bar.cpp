#include "ut_progress_bar.h"

#include <wx/string.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include <sys/ioctl.h>
#include <unistd.h>

namespace ut::tool {

namespace {

using Clock = std::chrono::steady_clock;

// Set by the SIGINT and SIGTERM handler; a lock-free atomic is safe to store
// from it.
std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void onInterrupt(int) { g_interrupted.store(true); }

constexpr int kDefaultColumns = 80;

int terminalColumns(int fd) {
  winsize size{};
  if (::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return kDefaultColumns;
}

void writeAll(int fd, const std::string& text) {
  const char* p = text.data();
  std::size_t left = text.size();
  while (left > 0) {
    const ssize_t n = ::write(fd, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;  // a closed terminal: the bar is only decoration
    p += n;
    left -= static_cast<std::size_t>(n);
  }
}

std::string utf8(const std::wstring& text) {
  // The buffer may point into the string: keep the string alive.
  const wxString string(text);
  const wxScopedCharBuffer buffer = string.utf8_str();
  return std::string(buffer.data(), buffer.length());
}

std::string elapsedText(double seconds) {
  const long total = static_cast<long>(seconds);
  char text[32];
  if (total >= 3600)
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", total / 3600, total / 60 % 60, total % 60);
  else
    std::snprintf(text, sizeof text, "%ld:%02ld", total / 60, total % 60);
  return text;
}

std::string bytesText(double bytes) {
  static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  std::size_t unit = 0;
  while (bytes >= 1024 && unit + 1 < std::size(units)) {
    bytes /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
  return text;
}

}  // namespace

struct ProgressBar::State {
  Options options;
  bool tty = false;

  mutable std::mutex mutex;
  std::condition_variable wake;
  std::thread drawer;
  bool running = false;
  bool stopping = false;
  bool drawn = false;
  int frame = 0;

  std::wstring message;
  double percent = -1;  // negative: not known yet
  std::int64_t done = -1;
  std::int64_t total = -1;
  Clock::time_point started = Clock::now();

  struct sigaction previousInt {};
  struct sigaction previousTerm {};
  bool handlerInstalled = false;

  std::string renderLocked(int columns) const;
  void drawLoop();
  void installHandler();
  void restoreHandler();
};

std::string ProgressBar::State::renderLocked(int columns) const {
  const int cells = columns >= 60 ? 20 : 10;
  std::string bar(static_cast<std::size_t>(cells), '-');
  if (percent >= 0) {
    const auto filled = static_cast<std::size_t>(std::lround(percent / 100 * cells));
    std::fill_n(bar.begin(), std::min<std::size_t>(filled, bar.size()), '#');
  } else {
    // No percentage yet: a marker moving to and fro shows the command lives.
    const int span = cells - 3;
    const int step = frame % (2 * span);
    const int at = step <= span ? step : 2 * span - step;
    bar.replace(static_cast<std::size_t>(at), 3, "<=>");
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
  std::string tail = " [" + bar + "]";
  if (percent >= 0) {
    char pct[8];
    std::snprintf(pct, sizeof pct, " %3d%%", static_cast<int>(percent));
    tail += pct;
  }
  tail += "  " + elapsedText(seconds);
  if (done >= 0) {
    tail += "  " + bytesText(static_cast<double>(done));
    if (total >= 0) tail += " of " + bytesText(static_cast<double>(total));
    if (seconds >= 0.5) tail += "  " + bytesText(static_cast<double>(done) / seconds) + "/s";
  }
  // The message gives way first; one column stays free so the terminal
  // never wraps the line.
  const int room = columns - 1 - static_cast<int>(tail.size());
  std::wstring shown = message;
  if (room <= 0) {
    shown.clear();
  } else if (static_cast<int>(shown.size()) > room) {
    shown = room > 3 ? shown.substr(0, static_cast<std::size_t>(room - 3)) + L"..." : std::wstring();
  }
  std::string line = utf8(shown) + tail;
  const auto limit = static_cast<std::size_t>(std::max(columns - 1, 0));
  if (line.size() > limit) line.resize(limit);  // only the ASCII tail is ever cut
  return line;
}

void ProgressBar::State::drawLoop() {
  std::unique_lock lock(mutex);
  while (!stopping) {
    wake.wait_for(lock, options.interval, [this] { return stopping; });
    if (stopping) break;
    ++frame;
    const std::string line = "\r" + renderLocked(terminalColumns(options.fd)) + "\x1b[K";
    drawn = true;
    lock.unlock();
    writeAll(options.fd, line);
    lock.lock();
  }
}

void ProgressBar::State::installHandler() {
  if (!options.handleInterrupt) return;
  g_interrupted.store(false);
  struct sigaction action {};
  action.sa_handler = &onInterrupt;
  sigemptyset(&action.sa_mask);
  // The first Ctrl-C (or termination request) asks to stop; SA_RESETHAND
  // lets the next one end the process as it normally would.
  action.sa_flags = SA_RESETHAND | SA_RESTART;
  handlerInstalled = ::sigaction(SIGINT, &action, &previousInt) == 0;
  if (handlerInstalled && ::sigaction(SIGTERM, &action, &previousTerm) != 0) {
    ::sigaction(SIGINT, &previousInt, nullptr);
    handlerInstalled = false;
  }
}

void ProgressBar::State::restoreHandler() {
  if (!handlerInstalled) return;
  ::sigaction(SIGINT, &previousInt, nullptr);
  ::sigaction(SIGTERM, &previousTerm, nullptr);
  handlerInstalled = false;
}

ProgressBar::ProgressBar() : ProgressBar(Options()) {}

ProgressBar::ProgressBar(const Options& options) : m_state(std::make_unique<State>()) {
  m_state->options = options;
  m_state->tty = ::isatty(options.fd) == 1;
}

ProgressBar::~ProgressBar() { stop(); }

bool ProgressBar::drawing() const { return m_state->tty; }

void ProgressBar::start(const OdString& message) {
  stop();
  State& s = *m_state;
  {
    const std::lock_guard lock(s.mutex);
    s.message = message.c_str();
    s.percent = -1;
    s.done = s.total = -1;
    s.frame = 0;
    s.drawn = false;
    s.stopping = false;
    s.started = Clock::now();
    s.running = true;
  }
  s.installHandler();
  if (s.tty) s.drawer = std::thread([&s] { s.drawLoop(); });
}

void ProgressBar::stop() {
  State& s = *m_state;
  {
    const std::lock_guard lock(s.mutex);
    if (!s.running) return;
    s.stopping = true;
  }
  s.wake.notify_all();
  if (s.drawer.joinable()) s.drawer.join();
  const std::lock_guard lock(s.mutex);
  if (s.drawn) writeAll(s.options.fd, "\r" + s.renderLocked(terminalColumns(s.options.fd)) + "\x1b[K\n");
  s.restoreHandler();
  s.running = false;
}

void ProgressBar::setMessage(const OdString& message) {
  const std::lock_guard lock(m_state->mutex);
  m_state->message = message.c_str();
}

void ProgressBar::updateUI(bool) {}

bool ProgressBar::setPercent(double percent, const OdString& message) {
  {
    const std::lock_guard lock(m_state->mutex);
    if (!std::isnan(percent)) m_state->percent = std::clamp(percent, 0.0, 100.0);
    if (!message.isEmpty()) m_state->message = message.c_str();
  }
  return !isCanceled();
}

double ProgressBar::getPercent() const {
  const std::lock_guard lock(m_state->mutex);
  return std::max(m_state->percent, 0.0);
}

bool ProgressBar::isCanceled() const { return m_state->options.handleInterrupt && g_interrupted.load(); }

bool ProgressBar::setBytes(std::int64_t done, std::int64_t total) {
  {
    const std::lock_guard lock(m_state->mutex);
    m_state->done = std::max<std::int64_t>(done, 0);
    m_state->total = total;
    if (total > 0)
      m_state->percent = std::clamp(static_cast<double>(done) * 100 / static_cast<double>(total), 0.0, 100.0);
  }
  return !isCanceled();
}

std::string ProgressBar::render(int columns) const {
  const std::lock_guard lock(m_state->mutex);
  return m_state->renderLocked(columns);
}

}  // namespace ut::tool
