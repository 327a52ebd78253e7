#include <gtest/gtest.h>

#include <ut/ut_reporter_message.h>
#include <ut/ut_tracer.h>

#include "test_support.h"

#include <pthread.h>

#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// Sets or unsets an environment variable for one scope and restores the value
// it had before.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : m_name(name) {
    if (const char* old = std::getenv(name)) m_old = old;
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  ~ScopedEnv() {
    if (m_old)
      ::setenv(m_name.c_str(), m_old->c_str(), 1);
    else
      ::unsetenv(m_name.c_str());
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_name;
  std::optional<std::string> m_old;
};

struct AssertRecord {
  std::string expression;
  bool hasMessage = false;
  std::string file;
  int line = 0;
};
std::vector<AssertRecord> g_asserts;

int recordAssert(const char* expression, const char* message, const char* file, int line) {
  g_asserts.push_back({expression ? expression : "", message != nullptr, file ? file : "", line});
  return 0;
}

// The tracer is process-wide: every test starts and ends with it closed,
// off, unindented and with an empty area mask, and with no lock registered.
class TracerTest : public ::testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override {
    reset();
    ut::removeAssertCallback(&recordAssert);
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

  ut::test::TempDir m_dir;
  UtTracer& m_tracer = UtTracer::tracer();
};

// --- opening, levels and areas ---------------------------------------------------------

TEST_F(TracerTest, UnsetLevelLeavesTracingOffButRemembersTheName) {
  const ScopedEnv level("TDM_LOG_LEVEL", nullptr);
  const std::string name = file("trace.txt");
  m_tracer.setStreamName(name.c_str());
  EXPECT_EQ(m_tracer.traceLevel(), -1);
  EXPECT_FALSE(m_tracer.isOpen());
  EXPECT_FALSE(std::filesystem::exists(name));

  // The remembered name is what a later level opens.
  m_tracer.setTraceLevel(2);
  EXPECT_TRUE(m_tracer.isOpen());
  m_tracer.str(2) << "late" << std::endl;
  m_tracer.freeStream();
  EXPECT_EQ(contents("trace.txt"), "2> late\n");
}

TEST_F(TracerTest, LevelFromEnvironmentAndNegativeAreaMeansEveryArea) {
  const ScopedEnv level("TDM_LOG_LEVEL", "2");
  const ScopedEnv area("TDM_LOG_AREA", "-5");
  ASSERT_TRUE(ut::test::writeFileBytes(m_dir / "trace.txt", "old content that must go\n"));
  m_tracer.setStreamName(file("trace.txt").c_str());
  EXPECT_EQ(m_tracer.traceLevel(), 2);
  EXPECT_TRUE(m_tracer.isOpen());
  EXPECT_TRUE(m_tracer.checkArea(0));  // mask 0: everything passes
  EXPECT_TRUE(m_tracer.checkArea(0x40));
  m_tracer.freeStream();
  EXPECT_EQ(contents("trace.txt"), "");
}

TEST_F(TracerTest, EnvironmentValuesFollowAtoiRules) {
  struct Case {
    const char* level;
    int expected;
  } cases[] = {{"  7", 7}, {"+3", 3}, {"4abc", 4}, {"abc", 0}, {"-2", -2}, {"99999999999999", 2147483647}};
  for (const Case& c : cases) {
    const ScopedEnv level("TDM_LOG_LEVEL", c.level);
    m_tracer.setStreamName(nullptr);
    EXPECT_EQ(m_tracer.traceLevel(), c.expected) << c.level;
    m_tracer.freeStream();
  }
}

TEST_F(TracerTest, AreaMaskFromEnvironment) {
  const ScopedEnv level("TDM_LOG_LEVEL", "1");
  {
    const ScopedEnv area("TDM_LOG_AREA", "6");
    m_tracer.setStreamName(nullptr);
    EXPECT_TRUE(m_tracer.checkArea(2));
    EXPECT_TRUE(m_tracer.checkArea(4 | 8));
    EXPECT_FALSE(m_tracer.checkArea(1));
    EXPECT_FALSE(m_tracer.checkArea(0));
  }
  // Unset: mask 0 when opening, but -1 (every non-zero area) for readArea.
  m_tracer.setStreamName(nullptr);
  EXPECT_TRUE(m_tracer.checkArea(0));
  m_tracer.readArea();
  EXPECT_FALSE(m_tracer.checkArea(0));
  EXPECT_TRUE(m_tracer.checkArea(1));
  EXPECT_TRUE(m_tracer.checkArea(static_cast<int>(0x80000000u)));
}

TEST_F(TracerTest, ExplicitLevelIgnoresEnvironment) {
  const ScopedEnv level("TDM_LOG_LEVEL", "9");
  const ScopedEnv area("TDM_LOG_AREA", "1");
  m_tracer.setStreamName(file("t.txt").c_str(), 4, -3);
  EXPECT_EQ(m_tracer.traceLevel(), 4);
  EXPECT_TRUE(m_tracer.checkArea(2));  // negative mask became 0
  EXPECT_TRUE(m_tracer.isOpen());

  m_tracer.setStreamName(file("u.txt").c_str(), -1, 2);
  EXPECT_EQ(m_tracer.traceLevel(), -1);
  EXPECT_FALSE(m_tracer.isOpen());
  EXPECT_FALSE(std::filesystem::exists(m_dir / "u.txt"));
  EXPECT_TRUE(m_tracer.checkArea(2)) << "a negative level stops before the area is taken";
}

TEST_F(TracerTest, SetTraceLevelOnOpenFileSilencesIt) {
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  m_tracer.str(1) << "before" << std::endl;
  m_tracer.setTraceLevel(1);  // same level: nothing happens
  m_tracer.str(1) << "same" << std::endl;
  m_tracer.setTraceLevel(3);
  EXPECT_EQ(m_tracer.traceLevel(), 3);
  EXPECT_TRUE(m_tracer.isOpen());
  m_tracer.str(3) << "after" << std::endl;
  m_tracer.setTraceLevel(-1);  // off, but the file stays open
  EXPECT_TRUE(m_tracer.isOpen());
  m_tracer.freeStream();
  EXPECT_EQ(contents("t.txt"), "1> before\n1> same\n");

  // A fresh setStreamName clears the failure.
  m_tracer.setStreamName(file("t.txt").c_str(), 2, 0);
  m_tracer.str(2) << "clean" << std::endl;
  m_tracer.freeStream();
  EXPECT_EQ(contents("t.txt"), "2> clean\n");
}

TEST_F(TracerTest, StandardOutputWhileNoFileIsOpen) {
  const std::string name = (m_dir / "missing" / "t.txt").string();
  m_tracer.setStreamName(name.c_str(), 2, 0);  // cannot be opened: not reported
  EXPECT_EQ(m_tracer.traceLevel(), 2);
  EXPECT_FALSE(m_tracer.isOpen());
  ::testing::internal::CaptureStdout();
  m_tracer.str(2) << "to the console" << std::endl;
  m_tracer.setStreamName(nullptr, 0, 0);
  m_tracer.str(0) << "x=" << 5 << std::endl;
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "2> to the console\n0> x=5\n");
}

// --- line format and operators ------------------------------------------------------------

TEST_F(TracerTest, TracedScopeProducesCallInnerDone) {
  m_tracer.setStreamName(file("t.txt").c_str(), 3, 0);
  {
    const ut::TraceIndenter scope(3, "load", 1);
    ut::SafeTracerAccessor access;
    if (access.get().traceLevel() >= 3 && access.get().checkArea(1)) access.get().str(3) << "inner" << std::endl;
  }
  m_tracer.freeStream();
  EXPECT_EQ(contents("t.txt"), "3> Call load()\n3>   inner\n3> Done load()\n");
}

TEST_F(TracerTest, NestedScopesIndentByTwoAndLevelFilters) {
  m_tracer.setStreamName(file("t.txt").c_str(), 2, 0);
  {
    const ut::TraceIndenter outer(1, "outer", 0);
    {
      const ut::TraceIndenter hidden(3, "hidden", 0);  // above the level: no line, no indent
      const ut::TraceIndenter inner(2, "inner", 0);
      const ut::TraceIndenter unnamed(2, nullptr, 0);  // indents without a line
      const ut::TraceIndenter empty(2, "", 0);
      m_tracer.str(2) << "deep" << std::endl;
    }
  }
  m_tracer.freeStream();
  EXPECT_EQ(contents("t.txt"),
            "1> Call outer()\n"
            "2>   Call inner()\n"
            "2>         deep\n"
            "2>   Done inner()\n"
            "1> Done outer()\n");
}

TEST_F(TracerTest, IndenterFilteredByAreaStillUnindents) {
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 4);
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
  m_tracer.str(1) << "floor" << std::endl;  // clamped at 0, never negative
  m_tracer.freeStream();
  EXPECT_EQ(contents("t.txt"), "1>     inside\n1>   after\n1> floor\n");
}

TEST_F(TracerTest, ValuesAreFormattedAsDocumented) {
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  const void* null = nullptr;
  int object = 0;
  m_tracer << true << " " << false << "|" << null << "|" << std::chrono::nanoseconds(1'500'000'000) << "|"
           << std::chrono::nanoseconds(1) << "|" << -7 << "|" << 7u << "|" << -8L << "|" << 9UL << "|"
           << -1234567890123LL << "|" << 18446744073709551615ULL << "|" << 1.0 / 3.0 << "|" << std::string("str")
           << "|" << static_cast<const char*>(nullptr) << std::hex << 255 << std::dec << "|"
           << std::this_thread::get_id() << "|" << std::thread::id() << "|" << static_cast<const void*>(&object)
           << std::endl;
  m_tracer.freeStream();
  std::ostringstream pointer;
  pointer << static_cast<const void*>(&object);
  // The file stream writes numbers with 16 significant digits.
  EXPECT_EQ(contents("t.txt"), "TRUE FALSE|NULL PTR|1.5|1e-09|-7|7|-8|9|-1234567890123|18446744073709551615|"
                               "0.3333333333333333|str|ff|" +
                                   std::to_string(static_cast<unsigned long long>(::pthread_self())) + "|0|" +
                                   pointer.str() + "\n");
}

TEST_F(TracerTest, WideTextIsNarrowedAndCutWithoutSplittingCharacters) {
  const char* previous = std::setlocale(LC_CTYPE, nullptr);
  const std::string saved = previous ? previous : "C";
  if (!std::setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "no UTF-8 locale";
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  // 510 ASCII characters then 'é' (two bytes in UTF-8): it does not fit in 511.
  std::wstring text(510, L'a');
  text += L"\u00e9\u00e9";
  m_tracer << L"\u00e9" << "|" << static_cast<const wchar_t*>(nullptr) << "|" << text.c_str() << "|"
           << std::wstring(600, L'w').c_str() << std::endl;
  // std::wstring goes character by character through the stream's (classic)
  // locale, which has no 'é'.
  m_tracer << std::wstring(L"\u00e9t\u00e9") << std::endl;
  m_tracer.freeStream();
  std::setlocale(LC_CTYPE, saved.c_str());
  EXPECT_EQ(contents("t.txt"), "\xc3\xa9||" + std::string(510, 'a') + "|" + std::string(511, 'w') + "\n?t?\n");
}

TEST_F(TracerTest, ReporterMessageIsWrittenOnTwoLines) {
  static const char kId[] = "TRACER_TEST_MESSAGE";
  ut::ReporterMessageRegistry::instance().registerMessage(kId, ut::IReporterMessage::eSeverityWarning,
                                                          ut::IReporterMessage::eHighlightShort,
                                                          std::wstring(L"Layer missing"));
  const ut::ReporterMessage message(kId);
  ut::ReporterMessageRegistry::instance().unregisterMessage(kId);
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  m_tracer << message;
  m_tracer.freeStream();
  EXPECT_EQ(contents("t.txt"), "Message type TRACER_TEST_MESSAGE\nMessage Layer missing\n");
}

TEST_F(TracerTest, CallStackAnswerIsFixedAtFirstUse) {
  const bool developer = std::getenv("TDM_DEV") != nullptr;
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  m_tracer.traceCallStack();
  {
    const ScopedEnv flipped("TDM_DEV", developer ? nullptr : "1");
    m_tracer.traceCallStack();
  }
  m_tracer.freeStream();
  const std::string once = developer ? ut::getCallStack() : "Call stack trace is available if TDM_DEV is set\n";
  EXPECT_EQ(contents("t.txt"), once + once);
  EXPECT_EQ(ut::getCallStack(), "");
}

// --- freeStream and the assertion -----------------------------------------------------------

TEST_F(TracerTest, UnbalancedIndentationIsAssertedAndReset) {
  ut::addAssertCallback(&recordAssert);
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  m_tracer.incIndent();
  m_tracer.freeStream();
  ASSERT_EQ(g_asserts.size(), 1u);
  EXPECT_EQ(g_asserts[0].expression, "0 == m_indent");
  EXPECT_FALSE(g_asserts[0].hasMessage);
  EXPECT_EQ(g_asserts[0].file, "src/utils/ut_log");
  EXPECT_EQ(g_asserts[0].line, 198);
  EXPECT_EQ(m_tracer.traceLevel(), -1);
  EXPECT_FALSE(m_tracer.isOpen());

  // The indentation is back at 0: the next trace starts flush left and a
  // balanced session asserts nothing.
  m_tracer.setStreamName(file("t.txt").c_str(), 1, 0);
  m_tracer.str(1) << "x" << std::endl;
  m_tracer.freeStream();
  EXPECT_EQ(g_asserts.size(), 1u);
  EXPECT_EQ(contents("t.txt"), "1> x\n");
}

}  // namespace
