#include <gtest/gtest.h>

#include "files_test_support.h"
#include "test_support.h"
#include "ut_netguard.h"
#include "ut_platform.h"

#include <ut/ut_fileops.h>
#include <ut/ut_filename.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace ut;
using files::NetworkPathGuard;
using platform::EDriveType;
using test::od;
using test::utf8;
namespace fs = std::filesystem;

namespace {

// Network roots of the test's choosing, each with a fixed drive type; every
// other path is local. Counts the drive-type questions per root.
class FakeNetwork : public platform::FileSystemInfo {
 public:
  explicit FakeNetwork(std::map<std::wstring, EDriveType> roots) : m_roots(std::move(roots)) {
    for (const auto& [root, type] : m_roots) m_calls[root] = std::make_unique<std::atomic<int>>(0);
  }

  bool isNetworkPath(const std::wstring& path) const override { return !rootOf(path).empty(); }
  std::wstring rootOf(const std::wstring& path) const override {
    for (const auto& [root, type] : m_roots) {
      if (path.compare(0, root.size(), root) == 0 && (path.size() == root.size() || path[root.size()] == L'/'))
        return root;
    }
    return {};
  }
  EDriveType driveType(const std::wstring& root) const override {
    std::wstring bare = root;
    if (bare.size() > 1 && bare.back() == L'/') bare.pop_back();
    const auto it = m_roots.find(bare);
    if (it == m_roots.end()) return EDriveType::eNoRootDir;
    ++*m_calls.at(bare);
    return it->second;
  }
  std::vector<std::wstring> roots() const override { return {L"/"}; }

  int calls(const std::wstring& root) const { return m_calls.at(root)->load(); }

 private:
  std::map<std::wstring, EDriveType> m_roots;
  std::map<std::wstring, std::unique_ptr<std::atomic<int>>> m_calls;
};

// The guard with a hand-moved clock and a fake network: "<scratch>/live"
// answers, "<scratch>/dead" does not answer in time, "<scratch>/gone" has no
// root; all three hold a real file "f.dwg" so that only the guard can refuse.
class NetworkGuard : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"live", "dead", "gone"}) {
      fs::create_directory(m_dir / name);
      test::writeFileBytes(m_dir / name / "f.dwg", "d");
    }
    m_live = (m_dir / "live").wstring();
    m_dead = (m_dir / "dead").wstring();
    m_gone = (m_dir / "gone").wstring();
    m_fake =
        std::make_shared<FakeNetwork>(std::map<std::wstring, EDriveType>{{m_live, EDriveType::eRemote},
                                                                         {m_dead, EDriveType::eUnknown},
                                                                         {m_gone, EDriveType::eNoRootDir},
                                                                         {L"//server/share", EDriveType::eUnknown}});
    platform::setFileSystemInfo(m_fake);
    NetworkPathGuard::instance().reset([this] { return m_now.load(); });
  }
  void TearDown() override {
    NetworkPathGuard::instance().reset();
    platform::setFileSystemInfo(nullptr);
  }
  OdString file(const std::wstring& root) const { return OdString(root + L"/f.dwg"); }
  static std::string firstMessage(const std::wstring& root, int type) {
    return "The network path with root directory '" + platform::toUtf8(root) +
           "' is not available at the moment (drive type = " + std::to_string(type) +
           ") and will be ignored for the next 10 minutes or until restart.";
  }
  static std::string laterMessage(const std::wstring& root, int minutes) {
    return "The network path with root directory '" + platform::toUtf8(root) +
           "' is not available at the moment and will be ignored for the next " + std::to_string(minutes) +
           " minute(s) or until restart.";
  }

  test::TempDir m_dir;
  std::wstring m_live, m_dead, m_gone;
  std::shared_ptr<FakeNetwork> m_fake;
  std::atomic<std::int64_t> m_now{1000000};
};

}  // namespace

TEST_F(NetworkGuard, DeadRootIsRefusedThenRememberedForTenMinutes) {
  OdString message;
  EXPECT_FALSE(FileName(file(m_dead)).fileExists(&message));
  EXPECT_EQ(utf8(message), firstMessage(m_dead, 0));
  EXPECT_EQ(m_fake->calls(m_dead), 1);

  struct Step {
    std::int64_t elapsedMs;
    int minutes;
  };
  const Step steps[] = {{0, 10}, {30000, 9}, {60000, 9}, {60001, 8}, {540000, 1}, {570000, 1}, {599999, 1}};
  for (const Step& step : steps) {
    SCOPED_TRACE(step.elapsedMs);
    m_now = 1000000 + step.elapsedMs;
    message = L"";
    EXPECT_FALSE(FileName(file(m_dead)).fileExists(&message));
    EXPECT_EQ(utf8(message), laterMessage(m_dead, step.minutes));
  }
  EXPECT_EQ(m_fake->calls(m_dead), 1);

  m_now = 1000000 + NetworkPathGuard::kWindowMs;
  message = L"";
  EXPECT_FALSE(FileName(file(m_dead)).fileExists(&message));
  EXPECT_EQ(utf8(message), firstMessage(m_dead, 0));
  EXPECT_EQ(m_fake->calls(m_dead), 2);
}

TEST_F(NetworkGuard, NoRootIsAskedTwiceAndReportedAsDriveTypeOne) {
  OdString message;
  EXPECT_FALSE(FileName(file(m_gone)).fileExists(&message));
  EXPECT_EQ(utf8(message), firstMessage(m_gone, 1));
  EXPECT_EQ(m_fake->calls(m_gone), 2);  // the root, then its full form with a separator
  EXPECT_FALSE(FileName::fileExists(file(m_gone)));
  EXPECT_EQ(m_fake->calls(m_gone), 2);
}

TEST_F(NetworkGuard, LiveRootsAndLocalPathsPass) {
  OdString message = L"untouched";
  EXPECT_TRUE(FileName(file(m_live)).fileExists(&message));
  EXPECT_TRUE(FileName(file(m_live)).fileExists(&message));
  EXPECT_EQ(utf8(message), "untouched");
  EXPECT_EQ(m_fake->calls(m_live), 2);  // a live root is asked every time
  EXPECT_TRUE(FileName(od(m_dir.path())).dirExists());
  EXPECT_EQ(NetworkPathGuard::instance().refusedCount(), 0u);
}

TEST_F(NetworkGuard, EveryExistenceTestAndItsUsersAreRefused) {
  const OdString f = file(m_dead);
  EXPECT_FALSE(FileName::fileExists(f));
  EXPECT_FALSE(FileName::dirExists(OdString(m_dead)));
  EXPECT_FALSE(FileName(OdString(m_dead)).dirExists());
  EXPECT_FALSE(FileName(f).exists());
  fs::permissions(m_dir / "dead/f.dwg", fs::perms::owner_read);
  EXPECT_FALSE(FileName::isFileReadOnly(f));
  EXPECT_FALSE(accessFile(f));
  OdString expanded = f;
  EXPECT_FALSE(expandedFileExists(expanded));
  EXPECT_FALSE(copyFile(f, od(m_dir / "copy.dwg"), true));
  EXPECT_FALSE(copyFile(file(m_live), f, true));
  EXPECT_FALSE(removeFile(f));
  EXPECT_FALSE(renameFileForBackup(f));
  EXPECT_FALSE(filesAreEqual(f, f));
  EXPECT_EQ(utf8(firstAccessibleDir(OdString(m_dead) + L";" + OdString(m_live))), platform::toUtf8(m_live));
  EXPECT_TRUE(fs::exists(m_dir / "dead/f.dwg"));
  EXPECT_FALSE(fs::exists(m_dir / "copy.dwg"));
  EXPECT_EQ(m_fake->calls(m_dead), 1);
}

TEST_F(NetworkGuard, UncNamesHaveTheirShareAsRoot) {
  EXPECT_EQ(files::uncRoot(L"//server/share/dir/f"), L"//server/share");
  EXPECT_EQ(files::uncRoot(L"//server/share"), L"//server/share");
  EXPECT_EQ(files::uncRoot(L"//server/"), L"//server");
  EXPECT_EQ(files::uncRoot(L"//server"), L"//server");
  EXPECT_EQ(files::uncRoot(L"///x"), L"");
  EXPECT_EQ(files::uncRoot(L"/x/y"), L"");
  EXPECT_FALSE(FileName::fileExists(L"\\\\server\\share\\x.dwg"));
  EXPECT_EQ(m_fake->calls(L"//server/share"), 1);
}

TEST(NetworkGuardSystem, MissingShareIsRefusedByTheRealFileSystemInfo) {
  NetworkPathGuard guard;
  OdString message;
  EXPECT_FALSE(guard.admits(L"//ut-no-such-server/share/x.dwg", &message));
  EXPECT_EQ(utf8(message),
            "The network path with root directory '//ut-no-such-server/share' is not available at the moment "
            "(drive type = 1) and will be ignored for the next 10 minutes or until restart.");
  EXPECT_TRUE(guard.admits(L"/tmp"));
  EXPECT_TRUE(guard.admits(L""));
}

TEST_F(NetworkGuard, ConcurrentExistenceTestsProbeEachDeadRootOncePerWindow) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 300;
  const auto hammer = [&] {
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kRounds; ++i) {
          switch ((t + i) % 4) {
            case 0:
              if (!FileName::fileExists(file(m_live))) ++wrong;
              break;
            case 1:
              if (FileName::fileExists(file(m_dead))) ++wrong;
              break;
            case 2: {
              OdString message;
              if (FileName(file(m_gone)).fileExists(&message) || message.isEmpty()) ++wrong;
              break;
            }
            default:
              if (!FileName(od(m_dir.path())).dirExists()) ++wrong;
          }
        }
      });
    }
    for (auto& thread : threads) thread.join();
    return wrong.load();
  };
  EXPECT_EQ(hammer(), 0);
  EXPECT_EQ(m_fake->calls(m_dead), 1);
  EXPECT_EQ(m_fake->calls(m_gone), 2);
  // Live roots are asked on every test; simultaneous tests share one question.
  EXPECT_GE(m_fake->calls(m_live), 1);
  EXPECT_LE(m_fake->calls(m_live), kThreads * kRounds / 4);

  m_now += NetworkPathGuard::kWindowMs;
  EXPECT_EQ(hammer(), 0);
  EXPECT_EQ(m_fake->calls(m_dead), 2);
  EXPECT_EQ(m_fake->calls(m_gone), 4);
}
