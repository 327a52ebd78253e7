#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ut/ut_platform.h>

#include "test_support.h"
#include "ut_platform.h"

namespace up = ut::platform;

namespace {

// Collects handler output; safe to call from several threads.
class Capture {
 public:
  ut::DebugOutputHandler handler() {
    return [this](const wchar_t* text) {
      const std::lock_guard lock(m_mutex);
      m_texts.emplace_back(text);
    };
  }
  std::vector<std::wstring> texts() const {
    const std::lock_guard lock(m_mutex);
    return m_texts;
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<std::wstring> m_texts;
};

// Sends file descriptor 2 to a file for its lifetime, and restores standard
// error handling of debugger output whatever the test leaves installed.
class DebugOutputTest : public ::testing::Test {
 protected:
  void TearDown() override { ut::setDebugOutputHandler({}); }
  void redirectStderr() {
    m_saved = ::dup(STDERR_FILENO);
    const int fd = ::open((m_dir / "stderr.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ::dup2(fd, STDERR_FILENO);
    ::close(fd);
  }
  std::string restoreStderr() {
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
    return ut::test::readFileBytes(m_dir / "stderr.txt");
  }

  ut::test::TempDir m_dir;
  int m_saved = -1;
};

}  // namespace

TEST(PlatformCounter, MonotonicNanosecondsAtOneGigahertz) {
  EXPECT_EQ(up::performanceFrequency(), 1'000'000'000);
  std::int64_t previous = up::performanceCounter();
  for (int i = 0; i < 10000; ++i) {
    const std::int64_t now = up::performanceCounter();
    ASSERT_GE(now, previous);
    previous = now;
  }
  const std::int64_t before = up::performanceCounter();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const std::int64_t elapsed = up::performanceCounter() - before;
  // At least the slept time in ticks of the stated frequency, and not absurdly more.
  EXPECT_GE(elapsed, up::performanceFrequency() * 30 / 1000);
  EXPECT_LT(elapsed, up::performanceFrequency() * 10);
}

TEST_F(DebugOutputTest, HandlerReceivesTextUntilRestoredToStderr) {
  Capture capture;
  ut::setDebugOutputHandler(capture.handler());
  up::outputDebugString(L"first line\r\n");
  up::outputDebugString(L"Grüße \U0001F600");
  up::outputDebugString(std::wstring(L"cut\0here", 8));  // ends at the null, like its model
  up::outputDebugString(L"");
  redirectStderr();
  ut::setDebugOutputHandler({});
  up::outputDebugString(L"to stderr: Grüße €\n");
  EXPECT_EQ(restoreStderr(), "to stderr: Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC\n");
  EXPECT_EQ(capture.texts(), (std::vector<std::wstring>{L"first line\r\n", L"Grüße \U0001F600", L"cut", L""}));
}

TEST_F(DebugOutputTest, HandlerMayOutputReplaceOrThrowWithoutHarm) {
  Capture after;
  std::atomic<int> calls{0};
  redirectStderr();
  ut::setDebugOutputHandler([&](const wchar_t* text) {
    ++calls;
    const std::wstring s(text);
    if (s == L"nested") up::outputDebugString(L"from inside\n");  // goes to stderr, no recursion
    if (s == L"throw") throw std::runtime_error("handler failure");
    if (s == L"swap") ut::setDebugOutputHandler(after.handler());  // must not wait for itself
  });
  for (const wchar_t* text : {L"nested", L"throw", L"swap", L"later"}) up::outputDebugString(text);
  EXPECT_EQ(restoreStderr(), "from inside\n");
  EXPECT_EQ(calls.load(), 3);
  EXPECT_EQ(after.texts(), std::vector<std::wstring>{L"later"});
}

TEST(PlatformIdentity, LoginAndHostNames) {
  const std::wstring login = up::loginName();
  ASSERT_FALSE(login.empty());
  EXPECT_EQ(login.find(L'\0'), std::wstring::npos);
  if (const passwd* entry = ::getpwuid(::geteuid())) {
    EXPECT_EQ(login, up::fromUtf8(entry->pw_name));
  }
  utsname names{};
  ASSERT_EQ(::uname(&names), 0);
  EXPECT_EQ(up::hostName(), up::fromUtf8(names.nodename));
}

TEST(PlatformPaths, BackslashesBecomeSlashes) {
  EXPECT_EQ(up::toNativeSeparators(L"C:\\dir\\sub/file.dwg"), L"C:/dir/sub/file.dwg");
  EXPECT_EQ(up::toNativeSeparators(L"\\\\server\\share"), L"//server/share");
  EXPECT_EQ(up::toNativeSeparators(L""), L"");
  EXPECT_EQ(up::toNativeSeparators(std::wstring(L"a\\\0b", 4)), std::wstring(L"a/\0b", 4));
}
