#include <gtest/gtest.h>

#include <ut/ut_reporter_message.h>
#include <ut/ut_tracer.h>

#include "test_support.h"

#include <atomic>
#include <chrono>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using ut::test::EnvOverride;

// What the assertion callbacks saw, one entry per call.
std::vector<std::string> g_asserts;

int recordAssert(const char* expression, const char* message, const char* file, int line) {
  g_asserts.push_back(std::string(expression) + "|" + (message ? message : "<null>") + "|" + file + "|" +
                      std::to_string(line));
  return 0;
}
int second(const char*, const char*, const char*, int) {
  g_asserts.push_back("second");
  return 0;
}
int third(const char*, const char*, const char*, int) {
  g_asserts.push_back("third");
  return 0;
}
// Removes itself and adds `third`: changes take effect from the next call.
int selfRemoving(const char*, const char*, const char*, int) {
  g_asserts.push_back("selfRemoving");
  ut::removeAssertCallback(&selfRemoving);
  ut::addAssertCallback(&third);
  return 0;
}

// A lock that counts its uses.
class MutexLock : public ut::SafeTracerAccessorLock {
 public:
  void lock() override {
    m_mutex.lock();
    ++m_locks;
  }
  void unlock() override {
    ++m_unlocks;
    m_mutex.unlock();
  }
  std::mutex m_mutex;
  std::atomic<int> m_locks{0};
  std::atomic<int> m_unlocks{0};
};

// The tracer and the assertion list are process-wide: every test starts and
// ends with the tracer closed, off, unindented, with an empty area mask and no
// lock, and with no assertion callback registered.
class TracerTest : public ::testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override {
    reset();
    for (ut::AssertCallback callback : {&recordAssert, &second, &third, &selfRemoving}) {
      ut::removeAssertCallback(callback);
    }
    g_asserts.clear();
  }
  static void reset() {
    ut::SafeTracerAccessor::setLocker(nullptr);
    UtTracer& t = UtTracer::tracer();
    t.setStreamName(nullptr, 0, 0);  // closes any file; area mask 0
    t.freeStream();                  // level -1, indentation 0
  }
  std::string file(const char* name) const { return (m_dir / name).string(); }
  std::string contents(const char* name) const { return ut::test::readFileBytes(m_dir / name); }
  // Opens t.txt at `level` with area mask `area`.
  void open(int level, int area = 0) { m_tracer.setStreamName(file("t.txt").c_str(), level, area); }
  // Closes the file and answers what it holds.
  std::string closeAndRead() {
    m_tracer.freeStream();
    return contents("t.txt");
  }

  ut::test::TempDir m_dir;
  UtTracer& m_tracer = UtTracer::tracer();
};

// --- opening, levels and areas ---------------------------------------------------------

TEST_F(TracerTest, LevelAndAreaFromTheEnvironment) {
  // The level is read as atoi reads it; out-of-range values saturate.
  const std::pair<const char*, int> levels[] = {
      {"  +7", 7}, {"4abc", 4}, {"abc", 0}, {"-2", -2}, {"99999999999999", INT_MAX}};
  for (const auto& [text, expected] : levels) {
    const EnvOverride level("TDM_LOG_LEVEL", text);
    m_tracer.setStreamName(nullptr);
    EXPECT_EQ(m_tracer.traceLevel(), expected) << text;
    m_tracer.freeStream();
  }
  const EnvOverride level("TDM_LOG_LEVEL", "1");
  {
    const EnvOverride area("TDM_LOG_AREA", "6");
    m_tracer.setStreamName(nullptr);
    EXPECT_TRUE(m_tracer.checkArea(2) && m_tracer.checkArea(4 | 8));
    EXPECT_FALSE(m_tracer.checkArea(1) || m_tracer.checkArea(0));
  }
  {
    const EnvOverride area("TDM_LOG_AREA", "-5");  // negative: mask 0, every area passes
    m_tracer.setStreamName(nullptr);
    EXPECT_TRUE(m_tracer.checkArea(0) && m_tracer.checkArea(0x40));
  }
  // Unset: mask 0 when opening, but -1 (every non-zero area) for readArea.
  m_tracer.setStreamName(nullptr);
  EXPECT_TRUE(m_tracer.checkArea(0));
  m_tracer.readArea();
  EXPECT_FALSE(m_tracer.checkArea(0));
  EXPECT_TRUE(m_tracer.checkArea(1) && m_tracer.checkArea(static_cast<int>(0x80000000u)));

  // An explicit level ignores the environment; a negative one stops before
  // the area is taken and opens nothing.
  const EnvOverride area("TDM_LOG_AREA", "1");
  m_tracer.setStreamName(file("t.txt").c_str(), 4, -3);
  EXPECT_EQ(m_tracer.traceLevel(), 4);
  EXPECT_TRUE(m_tracer.isOpen() && m_tracer.checkArea(2));  // negative mask became 0
  m_tracer.setStreamName(file("u.txt").c_str(), -1, 2);
  EXPECT_FALSE(m_tracer.isOpen());
  EXPECT_FALSE(std::filesystem::exists(m_dir / "u.txt"));
  EXPECT_TRUE(m_tracer.checkArea(2));
}

TEST_F(TracerTest, SetTraceLevelOnOpenFileSilencesIt) {
  open(1);
  m_tracer.str(1) << "before" << std::endl;
  m_tracer.setTraceLevel(1);  // same level: nothing happens
  m_tracer.str(1) << "same" << std::endl;
  m_tracer.setTraceLevel(3);  // another level: the stream fails, deliberately
  EXPECT_EQ(m_tracer.traceLevel(), 3);
  EXPECT_TRUE(m_tracer.isOpen());
  m_tracer.str(3) << "after" << std::endl;
  m_tracer.setTraceLevel(-1);  // off, but the file stays open
  EXPECT_TRUE(m_tracer.isOpen());
  EXPECT_EQ(closeAndRead(), "1> before\n1> same\n");
  // A fresh setStreamName clears the failure.
  open(2);
  m_tracer.str(2) << "clean" << std::endl;
  EXPECT_EQ(closeAndRead(), "2> clean\n");
}

// --- line format and operators ------------------------------------------------------------

TEST_F(TracerTest, TracedScopeProducesCallInnerDone) {
  open(3);
  {
    const ut::TraceIndenter scope(3, "load", 1);
    ut::SafeTracerAccessor access;
    if (access.get().traceLevel() >= 3 && access.get().checkArea(1)) access.get().str(3) << "inner" << std::endl;
  }
  EXPECT_EQ(closeAndRead(), "3> Call load()\n3>   inner\n3> Done load()\n");
}

TEST_F(TracerTest, NestedScopesIndentByTwoAndFilterByLevelAndArea) {
  open(2);
  {
    const ut::TraceIndenter outer(1, "outer", 0);
    const ut::TraceIndenter hidden(3, "hidden", 0);  // above the level: no line, no indent
    const ut::TraceIndenter inner(2, "inner", 0);
    const ut::TraceIndenter unnamed(2, nullptr, 0);  // indents without a line
    const ut::TraceIndenter empty(2, "", 0);
    m_tracer.str(2) << "deep" << std::endl;
  }
  EXPECT_EQ(closeAndRead(),
            "1> Call outer()\n2>   Call inner()\n2>         deep\n2>   Done inner()\n1> Done outer()\n");

  // An indenter filtered out by its area does not indent but still unindents,
  // never below 0.
  open(1, 4);
  m_tracer.incIndent();
  m_tracer.incIndent();
  {
    const ut::TraceIndenter filtered(1, "other", 1);  // area 1 does not pass mask 4
    m_tracer.str(1) << "inside" << std::endl;
  }
  m_tracer.str(1) << "after" << std::endl;
  {
    const ut::TraceIndenter a(1, nullptr, 1);
    const ut::TraceIndenter b(1, nullptr, 1);
  }
  m_tracer.str(1) << "floor" << std::endl;
  EXPECT_EQ(closeAndRead(), "1>     inside\n1>   after\n1> floor\n");
}

TEST_F(TracerTest, ValuesWideTextAndCallStack) {
  const std::string saved = std::setlocale(LC_CTYPE, nullptr);
  if (!std::setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "no UTF-8 locale";
  open(1);
  // The file stream writes numbers with 16 significant digits.
  m_tracer << true << " " << false << "|" << static_cast<const void*>(nullptr) << "|"
           << std::chrono::nanoseconds(1'500'000'000) << "|" << 1.0 / 3.0 << std::endl;
  // 510 ASCII characters then 'é' (two bytes in UTF-8): it does not fit in 511.
  m_tracer << (std::wstring(510, L'a') + L"\u00e9").c_str() << std::endl;
  std::setlocale(LC_CTYPE, saved.c_str());
  m_tracer.traceCallStack();
  const std::string stack =
      std::getenv("TDM_DEV") ? ut::getCallStack() : "Call stack trace is available if TDM_DEV is set\n";
  EXPECT_EQ(closeAndRead(), "TRUE FALSE|NULL PTR|1.5|0.3333333333333333\n" + std::string(510, 'a') + "\n" + stack);
}

TEST_F(TracerTest, StandardOutputWhileNoFileIsOpen) {
  m_tracer.setStreamName((m_dir / "missing" / "t.txt").c_str(), 2, 0);  // cannot be opened: not reported
  EXPECT_FALSE(m_tracer.isOpen());
  ::testing::internal::CaptureStdout();
  m_tracer.str(2) << "to the console" << std::endl;
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "2> to the console\n");
}

TEST_F(TracerTest, ReporterMessageIsWrittenOnTwoLines) {
  static const char kId[] = "TRACER_TEST_MESSAGE";
  ut::ReporterMessageRegistry::instance().registerMessage(kId, ut::IReporterMessage::eSeverityWarning,
                                                          ut::IReporterMessage::eHighlightShort,
                                                          std::wstring(L"Layer missing"));
  const ut::ReporterMessage message(kId);
  ut::ReporterMessageRegistry::instance().unregisterMessage(kId);
  open(1);
  m_tracer << message;
  EXPECT_EQ(closeAndRead(), "Message type TRACER_TEST_MESSAGE\nMessage Layer missing\n");
}

// --- assertions ------------------------------------------------------------------------------

TEST_F(TracerTest, UnbalancedIndentationIsAssertedAndReset) {
  ut::addAssertCallback(&recordAssert);
  open(1);
  m_tracer.incIndent();
  m_tracer.freeStream();
  EXPECT_EQ(g_asserts, std::vector<std::string>{"0 == m_indent|<null>|src/utils/ut_log|198"});
  EXPECT_EQ(m_tracer.traceLevel(), -1);
  EXPECT_FALSE(m_tracer.isOpen());
  // The indentation is back at 0: the next trace starts flush left and a
  // balanced session asserts nothing.
  open(1);
  m_tracer.str(1) << "x" << std::endl;
  EXPECT_EQ(closeAndRead(), "1> x\n");
  EXPECT_EQ(g_asserts.size(), 1u);
}

TEST_F(TracerTest, AssertCallbacksRunInListOrderOnceEachAndMayChangeTheList) {
  ut::addAssertCallback(&recordAssert);
  ut::addAssertCallback(&second);
  ut::addAssertCallback(nullptr);
  ut::callAssert("a > b", "bad", "src/x", 12);
  ut::addAssertCallback(&selfRemoving);
  ut::addAssertCallback(&recordAssert);  // moves to the end, once
  ut::callAssert("e", "m", "f", 3);      // selfRemoving swaps itself for `third` from the next call on
  ut::removeAssertCallback(nullptr);     // unknown or null: harmless
  ut::removeAssertCallback(&recordAssert);
  ut::callAssert("e", nullptr, "f", 1);
  EXPECT_EQ(g_asserts, (std::vector<std::string>{"a > b|bad|src/x|12", "second", "second", "selfRemoving", "e|m|f|3",
                                                 "second", "third"}));
}

// --- threads ---------------------------------------------------------------------------------

TEST_F(TracerTest, LockedWritersNeverInterleaveLines) {
  MutexLock lock;
  ut::SafeTracerAccessor::setLocker(&lock);
  open(2);
  constexpr int kThreads = 4;
  constexpr int kLines = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) {
        ut::SafeTracerAccessor access;
        UtTracer& tracer = access.get();
        if (tracer.traceLevel() < 2) continue;
        // Many small pieces per line: without the lock they would mix.
        tracer.str(2) << "thread " << t << " line " << i << " ";
        for (int c = 0; c < 40; ++c) tracer << std::string(1, static_cast<char>('a' + t));
        tracer << std::endl;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  // Every line whole, each thread's lines in its own order.
  std::vector<std::vector<std::string>> byThread(kThreads);
  std::istringstream in(closeAndRead());
  for (std::string line; std::getline(in, line);) {
    const int t = line.size() > 10 ? line[10] - '0' : -1;  // "2> thread T ..."
    ASSERT_TRUE(t >= 0 && t < kThreads) << line;
    byThread[t].push_back(line);
  }
  for (int t = 0; t < kThreads; ++t) {
    std::vector<std::string> expected;
    for (int i = 0; i < kLines; ++i) {
      expected.push_back("2> thread " + std::to_string(t) + " line " + std::to_string(i) + " " +
                         std::string(40, static_cast<char>('a' + t)));
    }
    EXPECT_EQ(byThread[t], expected) << "thread " << t;
  }
  EXPECT_EQ(lock.m_locks.load(), kThreads * kLines);
  EXPECT_EQ(lock.m_unlocks.load(), kThreads * kLines);
}

}  // namespace
