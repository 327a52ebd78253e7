#include <gtest/gtest.h>

#include "test_support.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

using Result = ut::test::ProgramResult;

class PathToolTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;

  Result run(const std::vector<std::string>& args) const {
    return ut::test::runProgram(UT_TOOL, args, m_dir.path(), "env LC_ALL=C", "");
  }
};

}  // namespace

TEST_F(PathToolTest, ShowsPartsCorrectionAndExistence) {
  ut::test::writeFileBytes(m_dir / "Plot.LSP", "(princ)");
  std::filesystem::create_directory(m_dir / "sub");
  const std::string dir = m_dir.path().string();
  const Result r = run({"path", dir + "\\sub\\..\\Plot.LSP"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("corrected:  " + dir + "/sub/../Plot.LSP\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("name:       Plot\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("ext:        LSP\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("normalized: " + (m_dir / "Plot.LSP").string() + "\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("exists:     file\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("module:     lisp\n"), std::string::npos) << r.out;
}

TEST_F(PathToolTest, JsonForScripts) {
  const Result one = run({"path", "--json", "/a/b|c.dwg"});
  ASSERT_EQ(one.status, 0) << one.err;
  EXPECT_EQ(one.out,
            "{\"input\":\"/a/b|c.dwg\",\"corrected\":\"/a/b c.dwg\",\"full\":\"/a/b c.dwg\",\"path\":\"/a\","
            "\"dirs\":[\"a\"],\"name\":\"b c\",\"ext\":\"dwg\",\"absolute\":true,\"normalized\":\"/a/b c.dwg\","
            "\"exists\":\"no\",\"module\":\"none\"}\n");
  const Result two = run({"path", "--json", "x", "y"});
  EXPECT_EQ(two.out.front(), '[');
  EXPECT_EQ(two.out.substr(two.out.size() - 3), "}]\n");
  EXPECT_EQ(run({"path"}).status, 2);
}
