#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "test_support.h"
#include "ut_platform.h"

namespace up = ut::platform;
using up::EDisposition;
using up::EFileError;
using up::ExclusiveFile;
using ut::test::readFileBytes;
using ut::test::writeFileBytes;

namespace {

std::wstring wide(const std::filesystem::path& p) { return up::fromUtf8(p.string()); }

ExclusiveFile openFile(const std::filesystem::path& p, EDisposition d) { return ExclusiveFile::open(wide(p), d); }

// Another process that tries to take the write lock on a file and, when it
// gets it, holds it until release() or destruction kill the process (a lock
// dies with its process). The child makes only simple system calls before it
// ends, as is safe after fork in a threaded program.
class OtherProcessLock {
 public:
  explicit OtherProcessLock(const std::filesystem::path& file) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    m_pid = ::fork();
    if (m_pid == 0) {
      struct flock lock {};  // the whole file
      lock.l_type = F_WRLCK;
      const int fd = ::open(file.c_str(), O_RDWR);
      const int locked = fd < 0 ? -1 : ::fcntl(fd, F_OFD_SETLK, &lock);
      const char status = locked == 0 ? '0' : (fd >= 0 && (errno == EAGAIN || errno == EACCES)) ? '1' : '2';
      if (::write(fds[1], &status, 1) == 1) {
        for (;;) ::pause();
      }
      ::_exit(3);
    }
    ::close(fds[1]);
    char status = '9';
    while (::read(fds[0], &status, 1) < 0 && errno == EINTR) continue;
    ::close(fds[0]);
    m_status = status - '0';
  }
  ~OtherProcessLock() { release(); }
  OtherProcessLock(const OtherProcessLock&) = delete;
  OtherProcessLock& operator=(const OtherProcessLock&) = delete;

  // 0 when the child holds the lock, 1 when another holder kept it out, 2 on
  // any other failure.
  int status() const { return m_status; }
  void release() {
    if (m_pid <= 0) return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
  }

 private:
  pid_t m_pid = -1;
  int m_status = -1;
};

}  // namespace

TEST(PlatformExclusiveFile, SecondOpenFailsInProcessWhileReadersStillRead) {
  ut::test::TempDir dir;
  // The on-disk name is the UTF-8 form of the wide one.
  const auto file = dir / "Zeichnung \xC3\x84\xE2\x82\xAC \xF0\x9F\x98\x80.dwl";
  ExclusiveFile holder =
      ExclusiveFile::open(wide(dir.path()) + L"/Zeichnung Ä€ \U0001F600.dwl", EDisposition::eCreateNew);
  ASSERT_TRUE(holder.isOpen()) << up::toUtf8(holder.errorText());
  EXPECT_EQ(holder.path(), wide(file));
  EXPECT_TRUE(holder.errorText().empty());
  ASSERT_TRUE(holder.write("user\nhost\n"));
  for (auto disposition : {EDisposition::eOpenExisting, EDisposition::eOpenAlways, EDisposition::eCreateAlways,
                           EDisposition::eTruncateExisting}) {
    ExclusiveFile second = openFile(file, disposition);
    EXPECT_FALSE(second.isOpen());
    EXPECT_EQ(second.error(), EFileError::eSharingViolation);
    EXPECT_FALSE(second.errorText().empty());
  }
  // None of the refused opens emptied the holder's file; a plain reader reads it.
  EXPECT_EQ(readFileBytes(file), "user\nhost\n");
  ASSERT_TRUE(holder.write("more"));
  EXPECT_EQ(readFileBytes(file), "user\nhost\nmore");
}

TEST(PlatformExclusiveFile, LockIsSeenAcrossProcesses) {
  ut::test::TempDir dir;
  const auto file = dir / "a.dwl";
  ASSERT_TRUE(writeFileBytes(file, "other user\nother host\n"));
  {
    ExclusiveFile holder = openFile(file, EDisposition::eOpenExisting);
    ASSERT_TRUE(holder.isOpen());
    EXPECT_EQ(OtherProcessLock(file).status(), 1);
  }
  // Destruction released the lock: the other process gets it now.
  OtherProcessLock other(file);
  ASSERT_EQ(other.status(), 0);
  ExclusiveFile attempt = openFile(file, EDisposition::eCreateAlways);
  EXPECT_FALSE(attempt.isOpen());
  EXPECT_EQ(attempt.error(), EFileError::eSharingViolation);
  EXPECT_EQ(readFileBytes(file), "other user\nother host\n");  // the refused create truncated nothing

  other.release();
  ExclusiveFile after = openFile(file, EDisposition::eCreateAlways);
  ASSERT_TRUE(after.isOpen());
  EXPECT_EQ(after.size(), 0);
}

TEST(PlatformExclusiveFile, BadTargetsGiveTheRightError) {
  ut::test::TempDir dir;
  EXPECT_EQ(ExclusiveFile::open(L"", EDisposition::eOpenAlways).error(), EFileError::eInvalidPath);
  EXPECT_EQ(ExclusiveFile::open(wide(dir / "a") + std::wstring(1, L'\0') + L"b", EDisposition::eOpenAlways).error(),
            EFileError::eInvalidPath);
  // A lone surrogate has no byte form; it must not open a file named with U+FFFD.
  const std::wstring surrogate = wide(dir.path()) + L"/x" + std::wstring(1, static_cast<wchar_t>(0xD800));
  EXPECT_EQ(ExclusiveFile::open(surrogate, EDisposition::eCreateAlways).error(), EFileError::eInvalidPath);
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  EXPECT_EQ(openFile(dir / "no" / "such" / "dir.txt", EDisposition::eCreateAlways).error(), EFileError::eNotFound);

  const ExclusiveFile onDir = openFile(dir.path(), EDisposition::eOpenExisting);
  EXPECT_EQ(onDir.error(), EFileError::eAccessDenied);
  EXPECT_NE(onDir.systemError(), 0);

  // A FIFO is not a file to lock; opening it must not block either.
  const auto fifo = dir / "pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_EQ(openFile(fifo, EDisposition::eOpenExisting).error(), EFileError::eAccessDenied);
  ::close(reader);
}

TEST(PlatformDeleteFile, FilesOnly) {
  ut::test::TempDir dir;
  const auto file = dir / "x.dwl2";
  ASSERT_TRUE(writeFileBytes(file, "x"));
  EXPECT_TRUE(up::deleteFile(wide(file)));
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_FALSE(up::deleteFile(wide(file)));
  EXPECT_FALSE(up::deleteFile(wide(dir.path())));  // not a folder
  EXPECT_FALSE(up::deleteFile(L"") || up::deleteFile(std::wstring(L"\0", 1)));
  // Must not delete the file whose name has U+FFFD where the bad value was.
  const auto replaced = dir / "y\xEF\xBF\xBD";
  ASSERT_TRUE(writeFileBytes(replaced, "keep"));
  EXPECT_FALSE(up::deleteFile(wide(dir.path()) + L"/y" + std::wstring(1, static_cast<wchar_t>(0xDFFF))));
  EXPECT_TRUE(std::filesystem::exists(replaced));
}
