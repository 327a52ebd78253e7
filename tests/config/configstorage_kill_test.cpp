// A flush killed in the middle must leave the store holding the whole old
// tree or the whole new one. The flushing process is a fork of the test that
// ends with _exit and is killed with SIGKILL by the test.

#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_configstorage.h>
#include <ut/ut_regstore.h>

#include <wx/string.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ut;

namespace {

constexpr int kKeys = 200;
constexpr int kValuesPerKey = 10;
const wchar_t* const kRoot = L"/K/Tree/";
const wxString kRootKey = L"Software\\TVCAD\\K\\Tree";

wxString keyName(int k) { return wxString::Format(L"Key%03d", k); }
wxString valueName(int v) { return wxString::Format(L"Value%d", v); }
wxString valueText(const wchar_t* generation, int k, int v) { return wxString::Format(L"%ls-%d-%d", generation, k, v); }

bool writeGeneration(const wchar_t* generation) {
  RegTransaction tx;
  for (int k = 0; k < kKeys; ++k) {
    RegKey key(eCurrentUser, kRootKey + L"\\" + keyName(k));
    if (!key.create()) return false;
    for (int v = 0; v < kValuesPerKey; ++v) {
      if (!key.setValue(valueName(v), valueText(generation, k, v))) return false;
    }
  }
  return tx.commit();
}

// "old" or "new" when every value is of that generation, else how many of
// each were found (a missing or foreign value counts as neither).
std::wstring generationInStore() {
  int counts[2] = {0, 0};
  for (int k = 0; k < kKeys; ++k) {
    RegKey key(eCurrentUser, kRootKey + L"\\" + keyName(k));
    for (int v = 0; v < kValuesPerKey; ++v) {
      wxString value;
      if (key.open(eRead) && key.queryValue(valueName(v), value)) {
        counts[0] += value == valueText(L"old", k, v);
        counts[1] += value == valueText(L"new", k, v);
      }
    }
  }
  const int all = kKeys * kValuesPerKey;
  if (counts[0] == all || counts[1] == all) return counts[0] == all ? L"old" : L"new";
  return std::to_wstring(counts[0]) + L" old, " + std::to_wstring(counts[1]) + L" new";
}

// Stops the flush after a given number of writes: tells the test through a
// pipe and waits there to be killed.
class PausingRegConfig : public RegConfig {
 public:
  PausingRegConfig(int pipe, int pauseAt) : RegConfig(L"Software\\TVCAD"), m_pipe(pipe), m_pauseAt(pauseAt) {}

 protected:
  bool DoWriteString(const wxString& key, const wxString& value) override {
    if (++m_writes == m_pauseAt) {
      const char mark = 'p';
      if (::write(m_pipe, &mark, 1) != 1) ::_exit(5);
      while (true) std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    return RegConfig::DoWriteString(key, value);
  }

 private:
  int m_pipe;
  int m_pauseAt;
  int m_writes = 0;
};

// In the child: load the tree, give every value its new text, flush.
[[noreturn]] void flushNewGeneration(ConfigStorageBase& storage, int readyPipe) {
  auto tree = ConfigNode::createNode(L"");
  if (!storage.load(tree, true)) ::_exit(3);
  for (int k = 0; k < kKeys; ++k) {
    for (int v = 0; v < kValuesPerKey; ++v) {
      const auto node = tree->childAt(OdString((keyName(k) + L"/" + valueName(v)).wc_str()));
      if (!node || !node->setString(valueText(L"new", k, v).wc_str())) ::_exit(4);
    }
  }
  const char mark = 'r';
  if (readyPipe >= 0 && ::write(readyPipe, &mark, 1) != 1) ::_exit(5);
  ::_exit(storage.flush(tree, true) ? 0 : 6);
}

// Forks a child that flushes the new generation. With pauseAt > 0 it stops
// before that write and says 'p' on the pipe; otherwise it says 'r' once it
// is about to flush. The mark read from the pipe comes back in `mark`.
pid_t startFlush(int pauseAt, char& mark) {
  int fds[2];
  if (::pipe(fds) != 0) return -1;
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    if (pauseAt > 0) {
      ConfigStorageWx storage(kRoot, std::make_shared<PausingRegConfig>(fds[1], pauseAt));
      flushNewGeneration(storage, -1);
    }
    ConfigRegistryStorage storage(kRoot);
    flushNewGeneration(storage, fds[1]);
  }
  ::close(fds[1]);
  if (pid <= 0 || ::read(fds[0], &mark, 1) != 1) mark = 0;
  ::close(fds[0]);
  return pid;
}

int waitFor(pid_t pid) {
  int status = 0;
  if (::waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

class ConfigKillTest : public ::testing::Test {
 protected:
  test::TempStore m_store;

  void SetUp() override {
    ASSERT_TRUE(m_store.ok());
    ASSERT_TRUE(writeGeneration(L"old"));
    // The child opens a connection of its own: none may cross the fork.
    RegStore::close();
  }
};

}  // namespace

TEST_F(ConfigKillTest, KilledAtChosenWritesLeavesTheOldTreeAndUnkilledTheNew) {
  for (int pauseAt : {1, 2, kKeys * kValuesPerKey / 2, kKeys * kValuesPerKey}) {
    char mark = 0;
    const pid_t pid = startFlush(pauseAt, mark);
    ASSERT_GT(pid, 0);
    ::kill(pid, SIGKILL);
    const int status = waitFor(pid);
    ASSERT_EQ(mark, 'p') << "the child ended with " << status << " before write " << pauseAt;
    EXPECT_EQ(status, 128 + SIGKILL);
    EXPECT_EQ(generationInStore(), L"old") << "killed at write " << pauseAt;
    RegStore::close();
  }
  char mark = 0;
  const pid_t pid = startFlush(0, mark);
  ASSERT_GT(pid, 0);
  EXPECT_EQ(waitFor(pid), 0);
  EXPECT_EQ(generationInStore(), L"new");
}

TEST_F(ConfigKillTest, KilledAtRandomTimesLeavesOneWholeTree) {
  std::mt19937 random(12345);
  // How long a flush takes depends on the machine and its load: the window
  // the kill falls in starts wide and halves whenever a kill came too late,
  // so that the rounds end up spread over the flush itself.
  int windowMicros = 40000;
  int oldTrees = 0;
  for (int round = 0; round < 16; ++round) {
    char mark = 0;
    const pid_t pid = startFlush(0, mark);
    ASSERT_GT(pid, 0);
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<int>(0, windowMicros)(random)));
    ::kill(pid, SIGKILL);
    const int status = waitFor(pid);
    ASSERT_EQ(mark, 'r') << "the child ended with " << status << " before flushing";
    EXPECT_TRUE(status == 0 || status == 128 + SIGKILL) << status;
    const std::wstring found = generationInStore();
    EXPECT_TRUE(found == L"old" || found == L"new") << wxString(found);
    if (found == L"new") {
      windowMicros = std::max(windowMicros / 2, 20);
      ASSERT_TRUE(writeGeneration(L"old"));
    } else {
      ++oldTrees;
    }
    RegStore::close();
  }
  // Some kills must have landed before the flush was through.
  EXPECT_GT(oldTrees, 0);
}
