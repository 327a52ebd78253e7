#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ut/ut_hooks.h>

#include "test_support.h"
#include "ut_platform.h"

namespace up = ut::platform;

namespace {

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

// The hint keeps what the memory holds, at any alignment and size, and
// ignores null and empty ranges.
TEST(PlatformMemory, LargeWriteAdviceKeepsTheContent) {
  std::string buffer(16 * 1024 * 1024 + 3, '\0');
  for (std::size_t i = 0; i < buffer.size(); i += 4093) buffer[i] = static_cast<char>('a' + i % 26);
  const std::string before = buffer;
  up::adviseLargeWrite(buffer.data(), buffer.size());
  up::adviseLargeWrite(buffer.data() + 1, 100);  // no whole page inside
  up::adviseLargeWrite(buffer.data() + 5, buffer.size() - 5);
  up::adviseLargeWrite(nullptr, 4096);
  up::adviseLargeWrite(buffer.data(), 0);
  EXPECT_TRUE(buffer == before);
  buffer.assign(buffer.size(), 'z');  // still writable in full
  EXPECT_EQ(buffer.find_first_not_of('z'), std::string::npos);
}

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
  std::vector<std::wstring> texts;
  ut::setDebugOutputHandler([&texts](const wchar_t* text) { texts.emplace_back(text); });
  up::outputDebugString(L"first line\r\n");
  up::outputDebugString(L"Grüße \U0001F600");
  up::outputDebugString(std::wstring(L"cut\0here", 8));  // ends at the null, like its model
  up::outputDebugString(L"");
  redirectStderr();
  ut::setDebugOutputHandler({});
  up::outputDebugString(L"to stderr: Grüße €\n");
  EXPECT_EQ(restoreStderr(),
            "to stderr: Gr\xC3\xBC\xC3\x9F"
            "e \xE2\x82\xAC\n");
  EXPECT_EQ(texts, (std::vector<std::wstring>{L"first line\r\n", L"Grüße \U0001F600", L"cut", L""}));
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
