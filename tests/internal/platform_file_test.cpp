#include <gtest/gtest.h>

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

namespace {

std::wstring wide(const std::filesystem::path& p) { return up::fromUtf8(p.string()); }

// What a second process sees: 0 when it could take the write lock, 1 when the
// lock is held elsewhere, 2 on any other failure. The child does only simple
// system calls before _exit, as is safe after fork in a threaded program.
int lockStatusFromOtherProcess(const std::filesystem::path& file) {
  const std::string name = file.string();
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int fd = ::open(name.c_str(), O_RDWR);
    if (fd < 0) ::_exit(2);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(fd, F_OFD_SETLK, &lock) == 0) ::_exit(0);
    ::_exit(errno == EAGAIN || errno == EACCES ? 1 : 2);
  }
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// A second process that holds the lock until told to go.
class LockingChild {
 public:
  explicit LockingChild(const std::filesystem::path& file) {
    const std::string name = file.string();
    int ready[2];
    int release[2];
    if (::pipe(ready) != 0) return;
    if (::pipe(release) != 0) {
      ::close(ready[0]);
      ::close(ready[1]);
      return;
    }
    m_pid = ::fork();
    if (m_pid == 0) {
      ::close(ready[0]);
      ::close(release[1]);
      const int fd = ::open(name.c_str(), O_RDWR);
      struct flock lock {};
      lock.l_type = F_WRLCK;
      lock.l_whence = SEEK_SET;
      const char ok = (fd >= 0 && ::fcntl(fd, F_OFD_SETLK, &lock) == 0) ? 'y' : 'n';
      if (::write(ready[1], &ok, 1) != 1) ::_exit(3);
      char dummy = 0;
      while (::read(release[0], &dummy, 1) < 0 && errno == EINTR) {
      }
      ::_exit(ok == 'y' ? 0 : 1);
    }
    ::close(ready[1]);
    ::close(release[0]);
    m_release = release[1];
    char answer = 0;
    while (::read(ready[0], &answer, 1) < 0 && errno == EINTR) {
    }
    ::close(ready[0]);
    m_locked = answer == 'y';
  }
  ~LockingChild() { finish(); }
  LockingChild(const LockingChild&) = delete;
  LockingChild& operator=(const LockingChild&) = delete;

  bool locked() const { return m_locked; }
  // Lets the child exit and waits for it; true when it ended normally.
  bool finish() {
    if (m_pid <= 0) return false;
    ::close(m_release);
    int status = 0;
    const bool ok = ::waitpid(m_pid, &status, 0) == m_pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    m_pid = -1;
    return ok;
  }

 private:
  pid_t m_pid = -1;
  int m_release = -1;
  bool m_locked = false;
};

}  // namespace

TEST(PlatformExclusiveFile, SecondOpenFailsInProcessWhileReadersStillRead) {
  ut::test::TempDir dir;
  const auto file = dir / "drawing.dwl";
  ExclusiveFile holder = ExclusiveFile::open(wide(file), EDisposition::eCreateAlways);
  ASSERT_TRUE(holder.isOpen()) << up::toUtf8(holder.errorText());
  EXPECT_EQ(holder.error(), EFileError::eNone);
  EXPECT_TRUE(holder.errorText().empty());
  ASSERT_TRUE(holder.write("user\nhost\n"));
  EXPECT_EQ(holder.size(), 10);

  for (auto disposition : {EDisposition::eOpenExisting, EDisposition::eOpenAlways, EDisposition::eCreateAlways,
                           EDisposition::eTruncateExisting}) {
    ExclusiveFile second = ExclusiveFile::open(wide(file), disposition);
    EXPECT_FALSE(second.isOpen());
    EXPECT_EQ(second.error(), EFileError::eSharingViolation);
    EXPECT_FALSE(second.errorText().empty());
  }
  // None of the refused opens emptied the holder's file.
  EXPECT_EQ(ut::test::readFileBytes(file), "user\nhost\n");
  ASSERT_TRUE(holder.write("more"));
  EXPECT_EQ(ut::test::readFileBytes(file), "user\nhost\nmore");
}

TEST(PlatformExclusiveFile, OtherProcessCannotLockWhileHeld) {
  ut::test::TempDir dir;
  const auto file = dir / "a.dwg";
  ASSERT_TRUE(ut::test::writeFileBytes(file, "drawing"));
  {
    ExclusiveFile holder = ExclusiveFile::open(wide(file), EDisposition::eOpenExisting);
    ASSERT_TRUE(holder.isOpen());
    EXPECT_EQ(lockStatusFromOtherProcess(file), 1);
  }
  // Destruction released the lock.
  EXPECT_EQ(lockStatusFromOtherProcess(file), 0);
}

TEST(PlatformExclusiveFile, LockHeldByOtherProcessRefusesOpenAndKeepsContent) {
  ut::test::TempDir dir;
  const auto file = dir / "a.dwl";
  ASSERT_TRUE(ut::test::writeFileBytes(file, "other user\nother host\n"));
  LockingChild child(file);
  ASSERT_TRUE(child.locked());

  ExclusiveFile attempt = ExclusiveFile::open(wide(file), EDisposition::eCreateAlways);
  EXPECT_FALSE(attempt.isOpen());
  EXPECT_EQ(attempt.error(), EFileError::eSharingViolation);
  EXPECT_EQ(ut::test::readFileBytes(file), "other user\nother host\n");

  // The lock dies with the process that held it.
  ASSERT_TRUE(child.finish());
  ExclusiveFile after = ExclusiveFile::open(wide(file), EDisposition::eCreateAlways);
  ASSERT_TRUE(after.isOpen());
  EXPECT_EQ(after.size(), 0);
}

TEST(PlatformExclusiveFile, CloseAndMoveTransferOrReleaseTheLock) {
  ut::test::TempDir dir;
  const auto file = dir / "f.bin";
  ExclusiveFile first = ExclusiveFile::open(wide(file), EDisposition::eCreateNew);
  ASSERT_TRUE(first.isOpen());

  ExclusiveFile moved = std::move(first);
  EXPECT_FALSE(first.isOpen());  // NOLINT(bugprone-use-after-move): a moved-from file is closed
  EXPECT_TRUE(moved.isOpen());
  EXPECT_EQ(moved.path(), wide(file));
  EXPECT_FALSE(ExclusiveFile::open(wide(file), EDisposition::eOpenExisting).isOpen());

  ExclusiveFile assigned;
  assigned = std::move(moved);
  EXPECT_FALSE(ExclusiveFile::open(wide(file), EDisposition::eOpenExisting).isOpen());

  EXPECT_TRUE(assigned.close());
  EXPECT_FALSE(assigned.isOpen());
  EXPECT_TRUE(assigned.close());  // closing twice is harmless
  EXPECT_FALSE(assigned.write("x"));
  EXPECT_FALSE(assigned.sync());
  EXPECT_EQ(assigned.size(), -1);

  ExclusiveFile again = ExclusiveFile::open(wide(file), EDisposition::eOpenExisting);
  EXPECT_TRUE(again.isOpen());
  // Assigning over an open file releases its lock.
  again = ExclusiveFile();
  EXPECT_TRUE(ExclusiveFile::open(wide(file), EDisposition::eOpenExisting).isOpen());
}

TEST(PlatformExclusiveFile, DispositionsOnExistingAndMissingFiles) {
  ut::test::TempDir dir;
  const auto existing = dir / "existing.txt";
  const auto missing = dir / "missing.txt";
  const auto reset = [&] { ASSERT_TRUE(ut::test::writeFileBytes(existing, "content")); };

  reset();
  {
    ExclusiveFile f = ExclusiveFile::open(wide(existing), EDisposition::eCreateNew);
    EXPECT_EQ(f.error(), EFileError::eAlreadyExists);
    EXPECT_EQ(ut::test::readFileBytes(existing), "content");
  }
  {
    ExclusiveFile f = ExclusiveFile::open(wide(existing), EDisposition::eCreateAlways);
    ASSERT_TRUE(f.isOpen());
    EXPECT_EQ(f.size(), 0);
  }
  reset();
  {
    ExclusiveFile f = ExclusiveFile::open(wide(existing), EDisposition::eOpenExisting);
    ASSERT_TRUE(f.isOpen());
    EXPECT_EQ(f.size(), 7);
    // Writing starts at the beginning, over the old bytes.
    ASSERT_TRUE(f.write("C"));
    EXPECT_TRUE(f.sync());
  }
  EXPECT_EQ(ut::test::readFileBytes(existing), "Content");
  {
    ExclusiveFile f = ExclusiveFile::open(wide(existing), EDisposition::eOpenAlways);
    ASSERT_TRUE(f.isOpen());
    EXPECT_EQ(f.size(), 7);
  }
  {
    ExclusiveFile f = ExclusiveFile::open(wide(existing), EDisposition::eTruncateExisting);
    ASSERT_TRUE(f.isOpen());
    EXPECT_EQ(f.size(), 0);
  }

  for (auto disposition : {EDisposition::eOpenExisting, EDisposition::eTruncateExisting}) {
    ExclusiveFile f = ExclusiveFile::open(wide(missing), disposition);
    EXPECT_FALSE(f.isOpen());
    EXPECT_EQ(f.error(), EFileError::eNotFound);
    EXPECT_FALSE(std::filesystem::exists(missing));
  }
  for (auto disposition : {EDisposition::eOpenAlways, EDisposition::eCreateAlways, EDisposition::eCreateNew}) {
    ExclusiveFile f = ExclusiveFile::open(wide(missing), disposition);
    EXPECT_TRUE(f.isOpen());
    EXPECT_EQ(f.size(), 0);
    f.close();
    ASSERT_TRUE(up::deleteFile(wide(missing)));
  }
}

TEST(PlatformExclusiveFile, BadTargetsGiveTheRightError) {
  ut::test::TempDir dir;
  EXPECT_EQ(ExclusiveFile::open(L"", EDisposition::eOpenAlways).error(), EFileError::eInvalidPath);
  EXPECT_EQ(ExclusiveFile::open(wide(dir / "a") + std::wstring(1, L'\0') + L"b", EDisposition::eOpenAlways).error(),
            EFileError::eInvalidPath);
  EXPECT_FALSE(std::filesystem::exists(dir / "a"));
  // A lone surrogate has no byte form; it must not open a file named with U+FFFD.
  const std::wstring surrogate = wide(dir.path()) + L"/x" + std::wstring(1, static_cast<wchar_t>(0xD800));
  EXPECT_EQ(ExclusiveFile::open(surrogate, EDisposition::eCreateAlways).error(), EFileError::eInvalidPath);
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));

  EXPECT_EQ(ExclusiveFile::open(wide(dir / "no" / "such" / "dir.txt"), EDisposition::eCreateAlways).error(),
            EFileError::eNotFound);

  const ExclusiveFile onDir = ExclusiveFile::open(wide(dir.path()), EDisposition::eOpenExisting);
  EXPECT_FALSE(onDir.isOpen());
  EXPECT_EQ(onDir.error(), EFileError::eAccessDenied);
  EXPECT_NE(onDir.systemError(), 0);
  EXPECT_FALSE(onDir.errorText().empty());

  // A FIFO is not a file to lock; opening it must not block either.
  const auto fifo = dir / "pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_EQ(ExclusiveFile::open(wide(fifo), EDisposition::eOpenExisting).error(), EFileError::eAccessDenied);
  ::close(reader);

  if (::geteuid() != 0) {  // root ignores permission bits
    const auto readOnly = dir / "ro.txt";
    ASSERT_TRUE(ut::test::writeFileBytes(readOnly, "keep"));
    std::filesystem::permissions(readOnly, std::filesystem::perms::owner_read);
    EXPECT_EQ(ExclusiveFile::open(wide(readOnly), EDisposition::eCreateAlways).error(), EFileError::eAccessDenied);
    EXPECT_EQ(ut::test::readFileBytes(readOnly), "keep");
  }
}

TEST(PlatformExclusiveFile, NonAsciiNamesAreUtf8OnDisk) {
  ut::test::TempDir dir;
  const std::wstring name = wide(dir.path()) + L"/Zeichnung Ä€ \U0001F600.dwl";
  ExclusiveFile f = ExclusiveFile::open(name, EDisposition::eCreateNew);
  ASSERT_TRUE(f.isOpen());
  EXPECT_TRUE(std::filesystem::exists(dir.path() / "Zeichnung \xC3\x84\xE2\x82\xAC \xF0\x9F\x98\x80.dwl"));
  EXPECT_EQ(f.path(), name);
}

TEST(PlatformDeleteFile, FilesOnly) {
  ut::test::TempDir dir;
  const auto file = dir / "x.dwl2";
  ASSERT_TRUE(ut::test::writeFileBytes(file, "x"));
  EXPECT_TRUE(up::deleteFile(wide(file)));
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_FALSE(up::deleteFile(wide(file)));
  EXPECT_FALSE(up::deleteFile(wide(dir.path())));
  EXPECT_TRUE(std::filesystem::exists(dir.path()));
  EXPECT_FALSE(up::deleteFile(L""));
  EXPECT_FALSE(up::deleteFile(std::wstring(L"\0", 1)));
  // Must not delete the file whose name has U+FFFD where the bad value was.
  const auto replaced = dir / "y\xEF\xBF\xBD";
  ASSERT_TRUE(ut::test::writeFileBytes(replaced, "keep"));
  EXPECT_FALSE(up::deleteFile(wide(dir.path()) + L"/y" + std::wstring(1, static_cast<wchar_t>(0xDFFF))));
  EXPECT_TRUE(std::filesystem::exists(replaced));
}
