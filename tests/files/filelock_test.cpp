#include <ut/ut_filelock.h>

#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include <sys/xattr.h>
#include <unistd.h>

#include "lock_contention.h"
#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using ut::FileLocker;
using ut::test::readFileBytes;
using ut::test::TempDir;
using ut::test::writeFileBytes;

OdString od(const fs::path& p) { return OdString(p.wstring()); }

// The drawing "a.dwg" in a fresh folder.
struct Drawing {
  TempDir dir;
  fs::path file = dir / "a.dwg";
  fs::path dwl = dir / "a.dwl";
  fs::path dwl2 = dir / "a.dwl2";
  Drawing() { writeFileBytes(file, "drawing"); }
};

std::string currentUser() {
  OdAnsiString user, machine, when;
  ut::getLockFileInfo(user, machine, when);
  return user.c_str();
}

std::string currentMachine() {
  OdAnsiString user, machine, when;
  ut::getLockFileInfo(user, machine, when);
  return machine.c_str();
}

std::string dwl2Text(const std::string& user, const std::string& machine, const std::string& when) {
  return "<?xml version=\"1.0\"?>\n<whprops>\n<username>" + user + "</username>\n<machinename>" + machine +
         "</machinename>\n<fullname></fullname>\n<datetime>" + when + "</datetime>\n</whprops>\n";
}

TEST(FileLockFiles, LockWritesBothLockFilesAndUnlockRemovesThem) {
  Drawing d;
  FileLocker locker;
  ASSERT_TRUE(locker.lock(od(d.file)));
  EXPECT_TRUE(locker.isLocked());
  const std::string dwl = readFileBytes(d.dwl);
  const std::string user = currentUser();
  const std::string machine = currentMachine();
  ASSERT_EQ(dwl.rfind(user + "\n" + machine + "\n", 0), 0u) << dwl;
  const std::string when = dwl.substr(user.size() + machine.size() + 2);
  EXPECT_TRUE(std::regex_match(when, std::regex(R"([A-Z][a-z]+, [A-Z][a-z]+ \d\d, \d{4} .+)"))) << when;
  EXPECT_EQ(when.find('\n'), std::string::npos);
  EXPECT_EQ(readFileBytes(d.dwl2), dwl2Text(user, machine, when));

  EXPECT_TRUE(FileLocker::hasDwl(od(d.file)));
  EXPECT_TRUE(FileLocker::isLocked(od(d.file)));
  EXPECT_FALSE(FileLocker::isLockedByOther(od(d.file)));
  OdString info;
  ASSERT_TRUE(FileLocker::readLockInfo(od(d.file), info));
  EXPECT_EQ(info.toUtf8(), user + ", " + machine);

  EXPECT_TRUE(locker.unlock());
  EXPECT_FALSE(locker.isLocked());
  EXPECT_FALSE(fs::exists(d.dwl));
  EXPECT_FALSE(fs::exists(d.dwl2));
  EXPECT_TRUE(fs::exists(d.file));
  EXPECT_TRUE(locker.unlock());  // nothing locked: true
}

TEST(FileLockFiles, LockFileNamesReplaceTheExtension) {
  EXPECT_EQ(FileLocker::lockFileName(L"/d/a.dwg", L"dwl"), OdString(L"/d/a.dwl"));
  EXPECT_EQ(FileLocker::lockFileName(L"\\d\\x.y\\a.dwg", L"dwl2"), OdString(L"/d/x.y/a.dwl2"));
  EXPECT_EQ(FileLocker::lockFileName(L"/d/noext", L"dwl"), OdString(L"/d/noext.dwl"));
  EXPECT_EQ(FileLocker::lockFileName(L"", L"dwl"), OdString());
}

TEST(FileLockExclusion, ASecondLockerIsRefusedWhileTheFirstHolds) {
  Drawing d;
  FileLocker first(od(d.file));
  ASSERT_TRUE(first.isLocked());
  const std::string dwlBefore = readFileBytes(d.dwl);
  FileLocker second;
  EXPECT_FALSE(second.canLock(od(d.file)));
  EXPECT_FALSE(second.lock(od(d.file)));
  EXPECT_FALSE(first.canLock(od(d.file)));  // it holds a lock already
  EXPECT_EQ(readFileBytes(d.dwl), dwlBefore);

  ASSERT_TRUE(first.unlock());
  EXPECT_TRUE(second.canLock(od(d.file)));
  EXPECT_TRUE(second.lock(od(d.file)));
  EXPECT_TRUE(fs::exists(d.dwl));
  // Relocking releases the old lock and its files first.
  Drawing other;
  EXPECT_TRUE(second.lock(od(other.file)));
  EXPECT_FALSE(fs::exists(d.dwl));
  EXPECT_TRUE(fs::exists(other.dwl));
}

TEST(FileLockExclusion, MissingFilesAndFoldersCannotBeLocked) {
  TempDir dir;
  FileLocker locker;
  EXPECT_FALSE(locker.lock(od(dir / "missing.dwg")));
  EXPECT_FALSE(fs::exists(dir / "missing.dwl"));
  EXPECT_FALSE(locker.canLock(od(dir / "missing.dwg")));
  EXPECT_FALSE(locker.lock(od(dir.path())));
  EXPECT_FALSE(locker.lock(OdString()));
  EXPECT_FALSE(locker.isLocked());
}

TEST(FileLockHandles, OpenCloseAndShallowCopies) {
  Drawing d;
  ut::LockedFileHandle handle;
  EXPECT_FALSE(handle.isOpened());
  EXPECT_FALSE(handle.close());
  const std::wstring backslashed = L"\\" + d.file.wstring().substr(1);
  ASSERT_TRUE(handle.open(backslashed.c_str()));
  EXPECT_EQ(handle.getFileName(), od(d.file));
  ut::LockedFileHandle copy = handle;
  EXPECT_TRUE(copy.isOpened());
  { ut::LockedFileHandle scoped = handle; }  // destroying a copy closes nothing
  ut::LockedFileHandle probe;
  EXPECT_FALSE(probe.open(od(d.file)));
  EXPECT_TRUE(copy.close());
  EXPECT_FALSE(copy.isOpened());
  EXPECT_TRUE(probe.open(od(d.file)));
  EXPECT_TRUE(probe.close());

  FileLocker locker(od(d.file));
  FileLocker moved(std::move(locker));
  EXPECT_FALSE(locker.isLocked());  // NOLINT(bugprone-use-after-move): documented state
  EXPECT_TRUE(moved.isLocked());
  FileLocker copied(moved);
  EXPECT_TRUE(copied.isLocked());
  EXPECT_TRUE(copied.unlock());  // releases the shared lock
  EXPECT_FALSE(fs::exists(d.dwl));
  FileLocker again;
  EXPECT_TRUE(again.canLock(od(d.file)));
}

TEST(FileLockReading, ReadsWhatTheLockFileHolds) {
  struct Case {
    const char* what;
    std::string content;
    const char* info;
    const char* user;
    const char* machine;
    const char* dateTime;
  };
  const Case cases[] = {
      {"one line", "only user", "only user", "only user", "-", "-"},
      {"two lines", "u\nm", "u, m", "u", "m", "-"},
      {"three lines", "u\nm\nMonday, May 04, 2026 10:00:00", "u, m", "u", "m", "Monday, May 04, 2026 10:00:00"},
      {"CR LF", "u\r\nm\r\nd\r\n", "u, m", "u", "m", "d"},
      {"empty", "", "", "-", "-", "-"},
  };
  for (const Case& c : cases) {
    Drawing d;
    ASSERT_TRUE(writeFileBytes(d.dwl, c.content));
    OdString info = L"-";
    EXPECT_TRUE(FileLocker::readLockInfo(od(d.file), info)) << c.what;
    EXPECT_EQ(info.toUtf8(), c.info) << c.what;
    OdString user = L"-", machine = L"-", dateTime = L"-";
    EXPECT_TRUE(FileLocker::readLockInfo(od(d.file), user, machine, dateTime)) << c.what;
    EXPECT_EQ(user.toUtf8(), c.user) << c.what;
    EXPECT_EQ(machine.toUtf8(), c.machine) << c.what;
    EXPECT_EQ(dateTime.toUtf8(), c.dateTime) << c.what;
  }
  TempDir dir;
  OdString info = L"unchanged", user = L"unchanged", machine, dateTime;
  EXPECT_FALSE(FileLocker::readLockInfo(od(dir / "none.dwg"), info));
  EXPECT_FALSE(FileLocker::readLockInfo(od(dir / "none.dwg"), user, machine, dateTime));
  EXPECT_FALSE(ut::readLockFileInfo(od(dir / "none.dwl"), user, machine, dateTime));
  EXPECT_EQ(info, OdString(L"unchanged"));
  EXPECT_EQ(user, OdString(L"unchanged"));
  EXPECT_FALSE(FileLocker::hasDwl(od(dir / "none.dwg")));
}

TEST(FileLockReading, IsLockedByOtherComparesUserAndMachineIgnoringCase) {
  std::string upperUser = currentUser();
  for (char& c : upperUser) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string upperMachine = currentMachine();
  for (char& c : upperMachine) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  struct Case {
    const char* what;
    std::string content;
    bool other;
  };
  const Case cases[] = {
      {"same user and machine in other case", upperUser + "\n" + upperMachine + "\nd", false},
      {"another user here", "somebody-else\n" + currentMachine() + "\nd", true},
      {"this user elsewhere", currentUser() + "\nanother-machine\nd", true},
      {"user only", currentUser(), true},
  };
  for (const Case& c : cases) {
    Drawing d;
    ASSERT_TRUE(writeFileBytes(d.dwl, c.content));
    EXPECT_EQ(FileLocker::isLockedByOther(od(d.file)), c.other) << c.what;
  }
  Drawing none;
  EXPECT_FALSE(FileLocker::isLockedByOther(od(none.file)));
}

TEST(FileLockFiles, LockFilesAreHiddenOnFoldersThatKeepDosAttributes) {
  Drawing d;
  const std::string folder = d.dir.path().string();
  if (::setxattr(folder.c_str(), "user.DOSATTRIB", "0x10", 5, 0) != 0) {
    GTEST_SKIP() << "the temporary folder's file system keeps no user extended attributes";
  }
  FileLocker locker(od(d.file));
  ASSERT_TRUE(locker.isLocked());
  for (const fs::path& lockFile : {d.dwl, d.dwl2}) {
    char value[32] = {};
    const ssize_t n = ::getxattr(lockFile.c_str(), "user.DOSATTRIB", value, sizeof value);
    EXPECT_EQ(std::string(value, n > 0 ? static_cast<std::size_t>(n) : 0), std::string("0x22\0", 5));
  }
  char value[8];
  EXPECT_LT(::getxattr(d.file.c_str(), "user.DOSATTRIB", value, sizeof value), 0);  // the drawing is untouched

  Drawing plain;  // no attribute on the folder: none on the lock files
  FileLocker other(od(plain.file));
  EXPECT_LT(::getxattr(plain.dwl.c_str(), "user.DOSATTRIB", value, sizeof value), 0);
}

// The child runs as another user where the test may arrange that (as root),
// with a user name that XML would have to escape.
const char* const kForeignUser = "Zo\xc3\xab & <Co>";

std::vector<std::string> childCommand(const std::vector<std::string>& args, bool foreign) {
  std::vector<std::string> all;
  if (foreign)
    all = {"--reuid=54321",  "--regid=54321", "--clear-groups", "/usr/bin/env", std::string("USER=") + kForeignUser,
           "LC_ALL=C.UTF-8", UT_TEST_CHILD};
  all.insert(all.end(), args.begin(), args.end());
  return all;
}

bool canRunAsAnotherUser() { return ::geteuid() == 0 && fs::exists("/usr/bin/setpriv"); }

// Opens the folder and the drawing to a child running as another user.
void share(const Drawing& d) {
  fs::permissions(d.dir.path(), fs::perms::all);
  fs::permissions(d.file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                              fs::perms::group_write | fs::perms::others_read | fs::perms::others_write);
}

class LocaleUtf8 {
 public:
  LocaleUtf8() : m_previous(std::setlocale(LC_ALL, nullptr)) { std::setlocale(LC_ALL, "C.UTF-8"); }
  ~LocaleUtf8() { std::setlocale(LC_ALL, m_previous.c_str()); }

 private:
  std::string m_previous;
};

TEST(FileLockProcesses, TwoProcessesContendForOneDrawing) {
  const LocaleUtf8 locale;
  Drawing d;
  const bool foreign = canRunAsAnotherUser();
  share(d);
  constexpr int kRounds = 200;
  ut::test::ChildProcess child(
      foreign ? "/usr/bin/setpriv" : UT_TEST_CHILD,
      childCommand({"lock", "contend", d.dir.path().string(), d.file.string(), std::to_string(kRounds), "1", "77"},
                   foreign));
  ASSERT_TRUE(child.started());
  const std::vector<std::string> mine = ut::test::lockcontest::contend(d.dir.path(), d.file, kRounds, 0, 13);
  std::vector<std::string> theirs;
  for (int i = 0; i <= kRounds; ++i) {
    const auto line = child.readLine(std::chrono::seconds(30));
    if (!line || *line == "end") break;
    theirs.push_back(*line);
  }
  EXPECT_EQ(child.wait(), 0);
  ASSERT_EQ(mine.size(), static_cast<std::size_t>(kRounds));
  ASSERT_EQ(theirs.size(), static_cast<std::size_t>(kRounds));

  const std::string me = currentUser() + ", " + currentMachine();
  const std::string them = (foreign ? std::string(kForeignUser) : currentUser()) + ", " + currentMachine();
  // What the loser says: cannot lock, whether the holder is "other", who holds it.
  const std::string iLost = std::string("lost 0 ") + (foreign ? "1 " : "0 ") + them;
  const std::string theyLost = std::string("lost 0 ") + (foreign ? "1 " : "0 ") + me;
  int myWins = 0;
  for (int r = 0; r < kRounds; ++r) {
    const std::string round = std::to_string(r) + " ";
    const bool iWon = mine[r] == round + "won";
    const bool theyWon = theirs[r] == round + "won";
    ASSERT_NE(iWon, theyWon) << mine[r] << " | " << theirs[r];
    EXPECT_EQ(iWon ? theirs[r] : mine[r], round + (iWon ? theyLost : iLost));
    myWins += iWon ? 1 : 0;
  }
  EXPECT_GT(myWins, 0);
  EXPECT_LT(myWins, kRounds);
  EXPECT_FALSE(fs::exists(d.dwl));
}

TEST(FileLockProcesses, AKilledHolderLeavesItsLockFilesAndFreesTheDrawing) {
  const LocaleUtf8 locale;
  Drawing d;
  const bool foreign = canRunAsAnotherUser();
  share(d);
  ut::test::ChildProcess child(foreign ? "/usr/bin/setpriv" : UT_TEST_CHILD,
                               childCommand({"lock", "hold", d.file.string()}, foreign));
  ASSERT_EQ(child.readLine(std::chrono::seconds(30)), std::optional<std::string>("locked"));
  const std::string user = foreign ? kForeignUser : currentUser();
  const std::string dwl = readFileBytes(d.dwl);
  ASSERT_EQ(dwl.rfind(user + "\n" + currentMachine() + "\n", 0), 0u) << dwl;
  const std::string when = dwl.substr(user.size() + currentMachine().size() + 2);
  EXPECT_EQ(readFileBytes(d.dwl2), dwl2Text(user, currentMachine(), when));  // unescaped
  FileLocker locker;
  EXPECT_FALSE(locker.lock(od(d.file)));
  EXPECT_EQ(FileLocker::isLockedByOther(od(d.file)), foreign);

  child.kill();
  EXPECT_EQ(child.wait(), 128 + 9);
  EXPECT_TRUE(FileLocker::hasDwl(od(d.file)));
  EXPECT_EQ(FileLocker::isLockedByOther(od(d.file)), foreign);
  OdString lockUser, lockMachine, lockWhen;
  ASSERT_TRUE(FileLocker::readLockInfo(od(d.file), lockUser, lockMachine, lockWhen));
  EXPECT_EQ(lockUser.toUtf8(), user);
  EXPECT_TRUE(locker.canLock(od(d.file)));
  EXPECT_TRUE(locker.lock(od(d.file)));
  EXPECT_FALSE(FileLocker::isLockedByOther(od(d.file)));  // now ours
}

}  // namespace
