#include <gtest/gtest.h>

#include "ut_command_report.h"
#include "ut_progress_bar.h"

#include <wx/log.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

using ut::tool::CommandReport;
using ut::tool::ProgressBar;
using namespace std::chrono_literals;

namespace {

// A pseudo-terminal: the bar writes to the slave side, the test reads the
// master side.
class Pty {
 public:
  Pty() {
    // Raw: the terminal passes the bar's bytes through unchanged.
    termios raw{};
    ::cfmakeraw(&raw);
    if (::openpty(&m_master, &m_slave, nullptr, &raw, nullptr) != 0) m_master = m_slave = -1;
  }
  ~Pty() {
    if (m_master >= 0) ::close(m_master);
    if (m_slave >= 0) ::close(m_slave);
  }
  Pty(const Pty&) = delete;
  Pty& operator=(const Pty&) = delete;
  bool ok() const { return m_master >= 0; }
  int slave() const { return m_slave; }

  // Everything written so far, waiting at most `wait` for the first byte.
  std::string read(std::chrono::milliseconds wait) {
    std::string out;
    pollfd p{m_master, POLLIN, 0};
    int timeout = static_cast<int>(wait.count());
    char buffer[4096];
    while (::poll(&p, 1, timeout) > 0 && (p.revents & POLLIN)) {
      const ssize_t n = ::read(m_master, buffer, sizeof buffer);
      if (n <= 0) break;
      out.append(buffer, static_cast<std::size_t>(n));
      timeout = 50;
    }
    return out;
  }

 private:
  int m_master = -1;
  int m_slave = -1;
};

std::size_t countOf(const std::string& text, char c) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

ProgressBar::Options quiet(int fd, std::chrono::milliseconds interval) {
  ProgressBar::Options options;
  options.fd = fd;
  options.interval = interval;
  options.handleInterrupt = false;
  return options;
}

}  // namespace

TEST(ProgressBarTest, DrawsOnATerminalAtMostOncePerInterval) {
  Pty pty;
  ASSERT_TRUE(pty.ok());
  ProgressBar bar(quiet(pty.slave(), 100ms));
  EXPECT_TRUE(bar.drawing());
  const auto begin = std::chrono::steady_clock::now();
  bar.start(OdString(L"Importing data"));
  bar.setPercent(42, OdString(L"Copying"));
  // Many updates; the drawer redraws on its own schedule only.
  for (int i = 0; i < 2000; ++i) bar.setPercent(42, OdString());
  std::string out = pty.read(5000ms);  // the first draw
  ASSERT_FALSE(out.empty());
  bar.stop();
  const auto elapsed = std::chrono::steady_clock::now() - begin;
  out += pty.read(1000ms);
  EXPECT_NE(out.find("Copying [########------------]  42%  0:0"), std::string::npos) << out;
  EXPECT_NE(out.find("\x1b[K"), std::string::npos);
  EXPECT_EQ(out.back(), '\n');
  // Each draw begins with a carriage return.
  const std::size_t draws = countOf(out, '\r');
  EXPECT_GE(draws, 2u);
  EXPECT_LE(draws, static_cast<std::size_t>(elapsed / 100ms) + 2) << out;
}

TEST(ProgressBarTest, AShortRunDrawsNothing) {
  Pty pty;
  ASSERT_TRUE(pty.ok());
  ProgressBar bar(quiet(pty.slave(), 10s));
  bar.start(OdString(L"quick"));
  bar.setPercent(100, OdString());
  bar.stop();
  EXPECT_EQ(pty.read(100ms), "");
}

TEST(ProgressBarTest, NothingIsWrittenWhenTheOutputIsNoTerminal) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  {
    ProgressBar bar(quiet(fds[1], 10ms));
    EXPECT_FALSE(bar.drawing());
    bar.start(OdString(L"Exporting"));
    bar.setPercent(50, OdString());
    std::this_thread::sleep_for(100ms);
    bar.stop();
  }
  ::close(fds[1]);
  char c;
  EXPECT_EQ(::read(fds[0], &c, 1), 0);
  ::close(fds[0]);
}

TEST(ProgressBarTest, RendersPercentBytesAndAMovingMarker) {
  ProgressBar bar(quiet(-1, 10s));
  bar.start(OdString(L"Working"));
  EXPECT_NE(bar.render(80).find("Working [<=>-----------------]  0:00"), std::string::npos) << bar.render(80);
  bar.setBytes(3 * 1024 * 1024, 6 * 1024 * 1024);
  const std::string line = bar.render(80);
  EXPECT_NE(line.find("[##########----------]  50%"), std::string::npos) << line;
  EXPECT_NE(line.find("3.0 MiB of 6.0 MiB"), std::string::npos) << line;
  EXPECT_EQ(bar.getPercent(), 50);
  bar.setPercent(250, OdString());
  EXPECT_EQ(bar.getPercent(), 100);
  bar.setMessage(OdString(std::wstring(200, L'x').c_str()));
  for (int columns : {200, 80, 40, 10, 1}) {
    const std::string narrow = bar.render(columns);
    EXPECT_LT(narrow.size(), static_cast<std::size_t>(std::max(columns, 2))) << columns << ": " << narrow;
  }
  EXPECT_NE(bar.render(80).find("xxx... ["), std::string::npos);
  bar.stop();
}

TEST(ProgressBarTest, CtrlCCancelsAndStopPutsTheHandlerBack) {
  struct sigaction original {};
  ASSERT_EQ(::sigaction(SIGINT, nullptr, &original), 0);
  std::signal(SIGINT, SIG_IGN);
  {
    ProgressBar::Options options = quiet(-1, 10s);
    options.handleInterrupt = true;
    ProgressBar bar(options);
    bar.start(OdString(L"Long"));
    struct sigaction during {};
    ASSERT_EQ(::sigaction(SIGINT, nullptr, &during), 0);
    ASSERT_NE(during.sa_handler, SIG_IGN);
    ASSERT_NE(during.sa_handler, SIG_DFL);
    EXPECT_FALSE(bar.isCanceled());
    std::raise(SIGINT);
    EXPECT_TRUE(bar.isCanceled());
    EXPECT_FALSE(bar.setPercent(10, OdString()));
    EXPECT_FALSE(bar.setBytes(10));
    bar.stop();
    EXPECT_TRUE(bar.isCanceled());  // the run's answer stays
    struct sigaction after {};
    ASSERT_EQ(::sigaction(SIGINT, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, SIG_IGN);
    bar.start(OdString(L"Again"));
    EXPECT_FALSE(bar.isCanceled());
    bar.stop();
  }
  ::sigaction(SIGINT, &original, nullptr);
}

// --- the command report -------------------------------------------------------------

TEST(CommandReportTest, CollectsLoggedProblemsAndPrintsEachOnceAtTheEnd) {
  testing::internal::CaptureStderr();
  int status = -1;
  {
    CommandReport report("reg import");
    wxLogWarning(L"line %d: unknown type", 4);
    wxLogError(L"line %d: bad value", 3);
    wxLogError(L"line %d: bad value", 3);
    report.addNote(L"2 keys read");
    EXPECT_EQ(report.messages().size(), 3u);
    status = report.finish();
    EXPECT_TRUE(report.messages().empty());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ut: reg import: warning: line 4: unknown type\n"
            "ut: reg import: error: line 3: bad value\n"
            "ut: reg import: note: 2 keys read\n");
  EXPECT_EQ(status, 1);
}

TEST(CommandReportTest, WarningsAloneLeaveTheStatusZeroAndTheLogTargetIsRestored) {
  wxLog* const before = wxLog::GetActiveTarget();
  testing::internal::CaptureStderr();
  {
    CommandReport report("");
    report.addWarning(L"slow disk");
    EXPECT_NE(wxLog::GetActiveTarget(), before);
    EXPECT_EQ(report.finish(), 0);
    EXPECT_TRUE(report.hasWarnings());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ut: warning: slow disk\n");
  EXPECT_EQ(wxLog::GetActiveTarget(), before);
}

TEST(CommandReportTest, ALongStepReportsItsFailureThroughTheCaller) {
  testing::internal::CaptureStderr();
  CommandReport report("profile export");
  ProgressBar bar(quiet(-1, 10s));
  EXPECT_TRUE(ut::tool::runLongStep(bar, report, L"Exporting", [] { return true; }));
  EXPECT_EQ(bar.getPercent(), 100);
  EXPECT_FALSE(ut::tool::runLongStep(bar, report, L"Exporting", [] {
    wxLogError(L"disk full");
    return false;
  }));
  EXPECT_EQ(report.finish(), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ut: profile export: error: disk full\n");
}
