#include <gtest/gtest.h>

#include "test_support.h"

#include <regex>
#include <string>
#include <vector>

namespace {

using Result = ut::test::ProgramResult;

// Runs `ut` with the given arguments and standard input, in the C locale so
// that the order of the sort command does not depend on the machine.
class TextToolTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;

  Result run(const std::vector<std::string>& args, const std::string& input = "") const {
    return ut::test::runProgram(UT_TOOL, args, m_dir.path(), "env LC_ALL=C", input);
  }

  std::string file(const std::string& name, const std::string& content) const {
    const auto path = m_dir / name;
    ut::test::writeFileBytes(path, content);
    return path.string();
  }
};

}  // namespace

TEST_F(TextToolTest, SortOrdersLinesNaturally) {
  const Result r = run({"sort"}, "file10\nFile2\nfile9\r\nfile1\nfile01");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "File2\nfile01\nfile1\nfile9\nfile10\n");
  EXPECT_EQ(run({"sort", "--ignore-case"}, "b10\nB9\na\nA1\n").out, "a\nA1\nB9\nb10\n");
  const std::string a = file("a.txt", "x 20\n");
  const std::string b = file("b.txt", "x 3\n");
  EXPECT_EQ(run({"sort", a, b}).out, "x 3\nx 20\n");
  const Result missing = run({"sort", a, (m_dir / "none.txt").string()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("none.txt"), std::string::npos);
  EXPECT_EQ(missing.out, "");
}

TEST_F(TextToolTest, EncodeDecodeAndUuids) {
  const Result e = run({"encode", "percent", "a/b:c% d\xc3\xa9"});
  EXPECT_EQ(e.status, 0) << e.err;
  EXPECT_EQ(e.out, "a%2Fb%3Ac%25 d\xc3\xa9\n");
  EXPECT_EQ(run({"decode", "percent"}, e.out).out, "a/b:c% d\xc3\xa9\n");
  EXPECT_EQ(run({"encode", "base64"}, "\xfb\xff").out, "+/8=\n");
  EXPECT_EQ(run({"encode", "base64url"}, "\xfb\xff").out, "-_8\n");
  EXPECT_EQ(run({"decode", "base64url"}, "-_8").out, "\xfb\xff");
  EXPECT_EQ(run({"decode", "base64", "Zm9vYmFy"}).out, "foobar");
  // Usage errors exit with 2.
  const Result unknown = run({"encode", "rot13", "x"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("rot13"), std::string::npos);
  EXPECT_EQ(run({"decode"}).status, 2);

  const Result r = run({"uuid", "-n", "2"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::regex version4("([0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}\n){2}");
  EXPECT_TRUE(std::regex_match(r.out, version4)) << r.out;
  const Result check = run({"uuid", "-c", "{0A1A2A3A-4A5A-6A7A-8A9A-AABACADAEAFA}"});
  EXPECT_EQ(check.status, 0) << check.err;
  EXPECT_EQ(check.out, "0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa\n");
  EXPECT_EQ(run({"uuid", "-c", "0a1a2a3a-4a5a-6a7a-8a9a"}).status, 2);
}
