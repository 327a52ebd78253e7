#include <gtest/gtest.h>

#include "test_support.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Args = std::vector<std::string>;
using ut::test::readFileBytes;
using ut::test::writeFileBytes;

class FilesToolTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;
  ut::test::TempDir m_scratch;

  ut::test::ProgramResult run(const Args& args, const std::string& input = "") const {
    Args all{"60", UT_TOOL};
    all.insert(all.end(), args.begin(), args.end());
    return ut::test::runProgram("timeout", all, m_scratch.path(), "", input);
  }
  std::string path(const std::string& name) const { return (m_dir / name).string(); }
};

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST_F(FilesToolTest, CompressAndDecompressReportTheEngineStatus) {
  const std::string data(200000, 'q');
  writeFileBytes(path("in"), data);
  const auto c = run({"compress", path("in"), path("in.z"), "--level", "9"});
  EXPECT_EQ(c.status, 0) << c.err;
  EXPECT_EQ(c.out, "Success (result 1)\n");
  const auto d = run({"decompress", path("in.z"), "-"});
  EXPECT_EQ(d.status, 0) << d.err;
  EXPECT_TRUE(d.out == data);
  EXPECT_EQ(d.err, "ut: decompress: note: Success (result 1)\n");

  const auto fromStdin = run({"compress", "-", path("stdin.z")}, "from standard input");
  EXPECT_EQ(fromStdin.status, 0) << fromStdin.err;
  EXPECT_EQ(run({"decompress", path("stdin.z"), "-"}).out, "from standard input");

  writeFileBytes(path("junk.z"), "not compressed at all");
  const auto bad = run({"decompress", path("junk.z"), path("junk.out")});
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err, "ut: decompress: error: Zlib Error (result -3)\n");
  EXPECT_FALSE(fs::exists(path("junk.out")));  // no partial output
}

// Ctrl-C, or a termination request, while the engine waits for more input
// from a pipe: the engine stops after its current buffer with "User Abort"
// (-7), the partial output is removed and the exit status is 1.
TEST_F(FilesToolTest, InterruptAbortsCompressionAndRemovesThePartialOutput) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const std::string fifo = path("in.fifo");
    const std::string out = path("out.z");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    // Opened for reading too, so neither side blocks on open; non-blocking, so
    // a full pipe never stalls the test.
    const int writer = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    const std::string chunk(8192, 'x');
    ASSERT_EQ(::write(writer, chunk.data(), chunk.size()), static_cast<ssize_t>(chunk.size()));
    ut::test::ChildProcess codec(UT_TOOL, {"compress", fifo, out});
    ASSERT_TRUE(codec.started());
    // The output exists once the command is under way, its handler installed.
    bool started = false;
    for (int i = 0; i < 2000 && !started; ++i) {
      started = fs::exists(out);
      if (!started) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_TRUE(started);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    codec.kill(signal);
    // More input lets the engine finish its buffer and see the abort flag.
    for (int i = 0; i < 100; ++i) {
      if (::write(writer, chunk.data(), chunk.size()) < 0 && errno != EAGAIN) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (!fs::exists(out)) break;
    }
    ::close(writer);
    EXPECT_EQ(codec.wait(), 1) << signal;
    EXPECT_FALSE(fs::exists(out)) << signal;
    fs::remove(fifo);
  }
}

TEST_F(FilesToolTest, BadCommandLinesExitWithTwo) {
  fs::create_directories(path("d1"));
  fs::create_directories(path("d2"));
  const Args cases[] = {
      {"compress", path("x")},
      {"compress", path("x"), path("y"), "--level", "12"},
      {"zip", path("a.zip"), path("d1"), path("d2")},
      {"unzip"},
      {"lock"},
      {"lock", "status"},
      {"lock", path("x"), "--hold", "-1"},
  };
  for (const Args& args : cases) {
    EXPECT_EQ(run(args).status, 2) << args[0] << " " << args.size();
  }
}

TEST_F(FilesToolTest, ZipUnzipAndList) {
  fs::create_directories(path("src/sub"));
  writeFileBytes(path("src/a.txt"), "alpha");
  writeFileBytes(path("src/sub/b.txt"), "beta");
  EXPECT_EQ(run({"zip", path("a.zip"), path("src")}).status, 0);
  const auto list = run({"unzip", "--list", path("a.zip")});
  EXPECT_EQ(list.out, "a.txt\nsub/\nsub/b.txt\n");
  EXPECT_EQ(run({"unzip", "--list", "--json", path("a.zip")}).out, "[\"a.txt\",\"sub/\",\"sub/b.txt\"]\n");
  const auto x = run({"unzip", path("a.zip"), path("out")});
  EXPECT_EQ(x.status, 0) << x.err;
  EXPECT_EQ(readFileBytes(path("out/sub/b.txt")), "beta");

  EXPECT_EQ(run({"zip", path("files.zip"), path("src/a.txt"), path("src/sub/b.txt")}).status, 0);
  EXPECT_EQ(run({"unzip", "-l", path("files.zip")}).out, "a.txt\nb.txt\n");
  const auto missing = run({"unzip", path("nothing.zip"), path("out2")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(contains(missing.err, "Can not read zip entry '")) << missing.err;
}

TEST_F(FilesToolTest, LockHoldsUntilInterruptedAndStatusTellsWho) {
  const std::string drawing = path("plan.dwg");
  writeFileBytes(drawing, "drawing");
  EXPECT_EQ(run({"lock", "status", drawing}).out, drawing + ": free\n");

  ut::test::ChildProcess holder(UT_TOOL, {"lock", drawing});
  ASSERT_EQ(holder.readLine(), std::optional<std::string>("locked " + drawing + "; Ctrl-C unlocks"));
  const auto mine = run({"lock", "status", drawing});
  EXPECT_EQ(mine.status, 0);
  EXPECT_TRUE(contains(mine.out, drawing + ": locked by this user here since ")) << mine.out;
  const auto second = run({"lock", drawing, "--hold", "0"});
  EXPECT_EQ(second.status, 1);
  EXPECT_TRUE(contains(second.err, "cannot lock " + drawing)) << second.err;

  // Lock files naming someone else (the lock is advisory, so the test may write).
  writeFileBytes(path("plan.dwl"), "someone\nelsewhere\nMonday, May 04, 2026 10:00:00");
  const auto other = run({"lock", "status", "--json", drawing});
  EXPECT_EQ(other.status, 1);
  EXPECT_EQ(other.out, "[{\"file\":\"" + drawing +
                           "\",\"state\":\"other\",\"user\":\"someone\",\"machine\":\"elsewhere\","
                           "\"since\":\"Monday, May 04, 2026 10:00:00\"}]\n");

  holder.kill(SIGINT);
  EXPECT_EQ(holder.readLine(), std::optional<std::string>("unlocked " + drawing));
  EXPECT_EQ(holder.wait(), 0);
  EXPECT_FALSE(fs::exists(path("plan.dwl")));
  EXPECT_FALSE(fs::exists(path("plan.dwl2")));

  writeFileBytes(path("plan.dwl"), "someone\nelsewhere\nMonday");
  const auto stale = run({"lock", "status", drawing, path("none.dwg")});
  EXPECT_EQ(stale.status, 0);
  EXPECT_EQ(stale.out, drawing +
                           ": stale lock files (lock files present but nobody holds the file; written by someone "
                           "on elsewhere Monday)\n" +
                           path("none.dwg") + ": no such file\n");
}

}  // namespace
