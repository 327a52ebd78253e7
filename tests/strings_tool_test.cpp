#include <gtest/gtest.h>

#include "test_support.h"

#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace {

using Result = ut::test::ProgramResult;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

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
  const Result i = run({"sort", "--ignore-case"}, "b10\nB9\na\nA1\n");
  EXPECT_EQ(i.status, 0) << i.err;
  EXPECT_EQ(i.out, "a\nA1\nB9\nb10\n");
}

TEST_F(TextToolTest, SortReadsAllFilesTogether) {
  const std::string a = file("a.txt", "x 20\n\xc3\xa9 1\n");
  const std::string b = file("b.txt", "x 3\n\n");
  const Result r = run({"sort", a, b});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(linesOf(r.out), (std::vector<std::string>{"", "x 3", "x 20", "\xc3\xa9 1"}));
  const Result missing = run({"sort", a, (m_dir / "none.txt").string()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("none.txt"), std::string::npos);
  EXPECT_EQ(missing.out, "");
}

TEST_F(TextToolTest, PercentRoundTrip) {
  const Result e = run({"encode", "percent", "a/b:c% d\xc3\xa9"});
  EXPECT_EQ(e.status, 0) << e.err;
  EXPECT_EQ(e.out, "a%2Fb%3Ac%25 d\xc3\xa9\n");
  const Result d = run({"decode", "percent"}, "a%2Fb%3Ac%25 d\xc3\xa9\n");
  EXPECT_EQ(d.status, 0) << d.err;
  EXPECT_EQ(d.out, "a/b:c% d\xc3\xa9\n");
}

TEST_F(TextToolTest, Base64OfBinaryInput) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
  const Result e = run({"encode", "base64"}, bytes);
  ASSERT_EQ(e.status, 0) << e.err;
  EXPECT_EQ(e.out.substr(0, 8), "AAECAwQF");
  // Wrapped into lines, as mail and PEM files carry it.
  std::string wrapped;
  const std::string encoded = e.out.substr(0, e.out.size() - 1);
  for (std::size_t i = 0; i < encoded.size(); i += 76) wrapped += encoded.substr(i, 76) + "\r\n";
  const Result d = run({"decode", "base64"}, wrapped);
  EXPECT_EQ(d.status, 0) << d.err;
  EXPECT_EQ(d.out, bytes);

  const Result url = run({"encode", "base64url"}, bytes);
  EXPECT_EQ(url.out.find_first_of("+/="), std::string::npos);
  EXPECT_EQ(run({"decode", "base64url"}, url.out).out, bytes);
  EXPECT_EQ(run({"decode", "base64", "Zm9vYmFy"}).out, "foobar");
}

TEST_F(TextToolTest, CodecUsageErrors) {
  const Result unknown = run({"encode", "rot13", "x"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("rot13"), std::string::npos);
  EXPECT_EQ(run({"decode"}).status, 2);
}

TEST_F(TextToolTest, Uuids) {
  const Result r = run({"uuid", "-n", "3"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto lines = linesOf(r.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), 3u);
  for (const auto& line : lines) {
    EXPECT_EQ(line.size(), 36u);
    EXPECT_EQ(line[14], '4');
  }
  const Result braced = run({"uuid", "--braced"});
  EXPECT_EQ(braced.out.size(), 39u);
  EXPECT_EQ(braced.out.front(), '{');

  const Result check = run({"uuid", "-c", "{0A1A2A3A-4A5A-6A7A-8A9A-AABACADAEAFA}"});
  EXPECT_EQ(check.status, 0) << check.err;
  EXPECT_EQ(check.out, "0a1a2a3a-4a5a-6a7a-8a9a-aabacadaeafa\n");
  EXPECT_EQ(run({"uuid", "-c", "0a1a2a3a-4a5a-6a7a-8a9a"}).status, 2);
  EXPECT_EQ(run({"uuid", "-n", "0"}).status, 2);
}
