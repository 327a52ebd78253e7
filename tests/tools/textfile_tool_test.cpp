// `ut text info` and `ut csv show|convert`, run as a user runs them.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "test_support.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

using Result = ut::test::ProgramResult;

class TextFileToolTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;

  Result run(const std::vector<std::string>& args, const std::string& input = "") const {
    return ut::test::runProgram(UT_TOOL, args, m_dir.path(), "env LC_ALL=C LANG=C", input);
  }

  std::string file(const std::string& name, const std::string& content) const {
    ut::test::writeFileBytes(m_dir / name, content);
    return (m_dir / name).string();
  }
  std::string bytes(const std::string& name) const { return ut::test::readFileBytes(m_dir / name); }
};

}  // namespace

TEST_F(TextFileToolTest, TextInfoTellsEncodingReasonAndLineEnds) {
  const std::string marked = file("marked.txt", std::string("\xFF\xFE"
                                                            "a\0\n\0b\0\r\0\n\0",
                                                            12));
  const std::string plain = file("plain.txt", "caf\xC3\xA9\r\nx\ry");
  const std::string ascii = file("one.txt", "A");
  const Result r = run({"text", "info", marked, plain, ascii});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, marked + ": UTF-16LE (byte-order mark), 2 lines, line ends: LF 1, CR LF 1, CR 0, none 0\n" + plain +
                       ": UTF-8 (valid UTF-8), 3 lines, line ends: LF 0, CR LF 1, CR 1, none 1\n" + ascii +
                       ": ANSI_X3.4-1968 (conversion), 1 line, line ends: LF 0, CR LF 0, CR 0, none 1\n");

  const Result json = run({"text", "info", "--json", plain});
  ASSERT_EQ(json.status, 0) << json.err;
  const auto parsed = nlohmann::json::parse(json.out);
  ASSERT_EQ(parsed.size(), 1u);
  EXPECT_EQ(parsed[0]["encoding"], "UTF-8");
  EXPECT_EQ(parsed[0]["reason"], "valid UTF-8");
  EXPECT_EQ(parsed[0]["lines"], 3);
  EXPECT_EQ(parsed[0]["lineEnds"]["CRLF"], 1);
  EXPECT_EQ(parsed[0]["lineEnds"]["none"], 1);
}

TEST_F(TextFileToolTest, TextInfoErrorsNameTheFile) {
  const std::string good = file("good.txt", "ok\n");
  const std::string missing = (m_dir / "missing.txt").string();
  const std::string latin = file("latin.txt", "caf\xE9\n");  // unreadable in the C locale
  const Result r = run({"text", "info", missing, good, latin});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find(missing + ": no such file"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(latin + ": no encoding can read it"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find(good + ": "), std::string::npos);
  EXPECT_EQ(run({"text", "info"}).status, 2);
  EXPECT_EQ(run({"text", "info", "--bogus", good}).status, 2);
}

TEST_F(TextFileToolTest, CsvShowAlignsColumnsAndPrintsJson) {
  const std::string in = file("t.csv", "name,city\n\"M\xC3\xBCller, A.\",K\xC3\xB6ln\nLi,\xE5\x8C\x97\xE4\xBA\xAC\n");
  const Result table = run({"csv", "show", in});
  ASSERT_EQ(table.status, 0) << table.err;
  EXPECT_EQ(table.out,
            "name        city\n"
            "M\xC3\xBCller, A.  K\xC3\xB6ln\n"
            "Li          \xE5\x8C\x97\xE4\xBA\xAC\n");
  const Result json = run({"csv", "show", "--json", "-"}, "a;b\n\"x\"\"y\";\n");
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(json.out, "[\n  [\"a;b\"],\n  [\"x\\\"y;\"]\n]\n");
  const Result semicolons = run({"csv", "show", "--json", "--delimiter", ";", "-"}, "a;b\n\"x\"\"y\";\n");
  EXPECT_EQ(semicolons.out, "[\n  [\"a\",\"b\"],\n  [\"x\\\"y\",\"\"]\n]\n");
  EXPECT_EQ(run({"csv", "show", "--json", "-"}, "").out, "[]\n");
}

TEST_F(TextFileToolTest, CsvConvertWithEveryOption) {
  const std::string in = file("in.csv", "a,\"b;c\",\"say \"\"hi\"\"\"\n1,2,3\n");
  const std::string out = (m_dir / "out.csv").string();
  Result r = run({"csv", "convert", in, out, "--delimiter", ";"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(bytes("out.csv"), "a;\"b;c\";\"say \"\"hi\"\"\"\n1;2;3\n");
  r = run({"csv", "convert", in, out, "--quoting", "always"});
  EXPECT_EQ(bytes("out.csv"), "\"a\",\"b;c\",\"say \"\"hi\"\"\"\n\"1\",\"2\",\"3\"\n");
  r = run({"csv", "convert", in, out, "--quoting", "none", "--delimiter", ";", "--escape", "\\"});
  EXPECT_EQ(bytes("out.csv"), "a;b\\;c;say \"hi\"\n1;2;3\n");
  r = run({"csv", "convert", in, "-", "--quote", "'", "--escape", "\\"});
  EXPECT_EQ(r.out, "a,b;c,say \"hi\"\n1,2,3\n");
  r = run({"csv", "convert", "--from-delimiter", "tab", "-", "-", "--delimiter", ","}, "x\ty,z\n");
  EXPECT_EQ(r.out, "x,\"y,z\"\n");
}

TEST_F(TextFileToolTest, CsvConvertFailuresKeepTheTargetAndNameTheReason) {
  const std::string in = file("in.csv", "ok\n\"1,5\"\n");
  const std::string out = file("out.csv", "previous\n");
  const Result none = run({"csv", "convert", in, out, "--quoting", "none"});
  EXPECT_EQ(none.status, 1);
  EXPECT_NE(none.err.find(out + ": row 2: No quoting and no escaping"), std::string::npos) << none.err;
  EXPECT_EQ(bytes("out.csv"), "previous\n");
  EXPECT_FALSE(std::filesystem::exists(out + ".ut-convert-tmp"));

  const Result missing = run({"csv", "convert", (m_dir / "nope.csv").string(), out});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("nope.csv"), std::string::npos);
  EXPECT_EQ(run({"csv", "convert", in, out, "--quoting", "sometimes"}).status, 2);
  EXPECT_EQ(run({"csv", "convert", in, out, "--quote", "ab"}).status, 2);
  EXPECT_EQ(run({"csv", "show", in, "--delimiter", ""}).status, 2);
  EXPECT_EQ(run({"csv", "convert", in}).status, 2);
  EXPECT_EQ(run({"csv"}).status, 2);
  EXPECT_EQ(bytes("out.csv"), "previous\n");
}
