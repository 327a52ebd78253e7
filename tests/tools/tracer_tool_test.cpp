#include <gtest/gtest.h>

#include "test_support.h"

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

namespace {

// The banner that opens every trace: an empty line, then date, time and version.
const std::string kBanner =
    "\n--------------- \\d\\d-\\d\\d-\\d{4} \\d\\d:\\d\\d:\\d\\d --------------- v\\d+\\.\\d+\\.\\d+ ---------------\n";

// Runs the tool on a scratch store with a clean trace environment plus `env`
// assignments.
class ToolTraceTest : public ::testing::Test {
 protected:
  int run(const std::string& env, const std::vector<std::string>& args, const std::string& traceFile = "") {
    std::vector<std::string> all{"--store", m_store.string(), "--trace", traceFile.empty() ? tracePath() : traceFile};
    all.insert(all.end(), args.begin(), args.end());
    return ut::test::runProgram(UT_TOOL, all, m_dir.path(), "env -u TDM_LOG_LEVEL -u TDM_LOG_AREA " + env).status;
  }
  int add(const std::string& env, const std::string& traceFile = "") {
    return run(env, {"reg", "add", "HKCU\\Software\\Test", "-v", "Name", "-d", "text", "-f"}, traceFile);
  }
  std::string trace() const { return ut::test::readFileBytes(m_dir / "trace.txt"); }
  std::string tracePath() const { return (m_dir / "trace.txt").string(); }

  ut::test::TempDir m_dir;
  std::filesystem::path m_store = m_dir / "store.db";
};

TEST_F(ToolTraceTest, WithoutLevelEverythingIsTracedInScopes) {
  ASSERT_EQ(add(""), 0) << ut::test::readFileBytes(m_dir / "stderr");
  const std::string store = m_store.string();
  const std::string expected = "1> ut --store " + store + " --trace " + tracePath() +
                               " reg add HKCU\\Software\\Test -v Name -d text -f\n"
                               "1> Call reg add()\n"
                               "1>   open the store " +
                               store +
                               "\n"
                               "2>   store open\n"
                               "1>   create or open the key HKEY_CURRENT_USER\\Software\\Test\n"
                               "1>   write the value Name as REG_SZ\n"
                               "1> Done reg add()\n"
                               "1> exit status 0\n";
  const std::string text = trace();
  std::smatch banner;
  ASSERT_TRUE(std::regex_search(text, banner, std::regex("^" + kBanner))) << text;
  EXPECT_EQ(text.substr(banner.length()), expected);
}

TEST_F(ToolTraceTest, LevelComesFromTheEnvironmentAndAnUnwritableTraceStopsTheCommand) {
  ASSERT_EQ(add("TDM_LOG_LEVEL=1"), 0);
  EXPECT_NE(trace().find("1>   write the value Name as REG_SZ\n"), std::string::npos) << trace();
  EXPECT_EQ(trace().find("2>"), std::string::npos) << trace();
  EXPECT_EQ(run("", {"reg", "query", "HKCU\\Nope"}), 1);
  EXPECT_NE(trace().find("\n1> exit status 1\n"), std::string::npos) << trace();
  std::filesystem::remove(m_store);
  EXPECT_EQ(add("", (m_dir / "no" / "such" / "trace.txt").string()), 1);
  EXPECT_NE(ut::test::readFileBytes(m_dir / "stderr").find("cannot write the trace file"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(m_store)) << "the command must not have run";
}

}  // namespace
