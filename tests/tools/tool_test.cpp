#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_registry.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Result = ut::test::ProgramResult;
using Args = std::vector<std::string>;

class ToolTest : public ::testing::Test {
 protected:
  ut::test::TempStore m_store;
  ut::test::TempDir m_dir;

  std::string storeFile() const { return ut::RegStore::file().utf8_string(); }
  // Runs the tool with stdin from /dev/null (so it can never ask), with extra
  // environment assignments in front.
  Result run(const Args& args, const std::string& env = "") const {
    return ut::test::runProgram(UT_TOOL, args, m_dir.path(), env.empty() ? "" : "env " + env);
  }
  // "ut --store <this test's store> reg ARGS".
  Result reg(Args args) const {
    args.insert(args.begin(), {"--store", storeFile(), "reg"});
    return run(args);
  }
};

::testing::AssertionResult exited(const Result& r, int expected) {
  if (r.status == expected) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "exit status " << r.status << ", expected " << expected << "\nstdout:\n"
                                       << r.out << "stderr:\n"
                                       << r.err;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST_F(ToolTest, OverviewOnAFreshMachineCreatesNothing) {
  const auto home = m_dir / "home";
  const auto config = m_dir / "config";
  const Result r = run({}, "-u UT_REGISTRY_FILE HOME=" + ut::test::shellQuote(home.string()) +
                               " XDG_CONFIG_HOME=" + ut::test::shellQuote(config.string()));
  EXPECT_TRUE(exited(r, 0));
  for (const std::string& part : {(config / "TVCAD" / "registry.db").string(), std::string("not created yet"),
                                  std::string("ut reg query"), std::string("--help")}) {
    EXPECT_TRUE(contains(r.out, part)) << part << "\n" << r.out;
  }
  EXPECT_TRUE(r.err.empty()) << r.err;
  EXPECT_FALSE(std::filesystem::exists(config) || std::filesystem::exists(home));
  const auto other = m_dir / "other.db";
  const Result s = run({"--store", other.string()});
  EXPECT_TRUE(exited(s, 0) && contains(s.out, other.string())) << s.out;
  EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(ToolTest, BadCommandLinesExitWithTwo) {
  const std::string key = "HKCU\\Software\\TVCAD\\X";
  const Args cases[] = {
      {"bogus"},
      {"reg"},
      {"reg", "frobnicate"},
      {"reg", "query"},
      {"reg", "query", "HKCU\\Software", "--bogus"},
      {"reg", "query", "HKEY_NOWHERE\\Software"},
      {"reg", "query", "HKCU\\Software", "-v", "x", "--ve"},
      {"reg", "add", key, "-v", "n", "-t", "REG_FLOAT", "-d", "1"},
      {"reg", "add", key, "-v", "n", "-t", "REG_DWORD", "-d", "12abc"},
      {"reg", "add", key, "-v", "n", "-t", "REG_DWORD", "-d", "4294967296"},
      {"reg", "add", key, "-v", "n", "-t", "REG_BINARY", "-d", "abc"},
      {"reg", "add", key, "-v", "n", "-t", "REG_MULTI_SZ", "-d", "a\\0\\0b"},
      {"reg", "add", "HKCU\\Software\\\\TVCAD"},
      {"reg", "delete", "HKCU\\Software", "--va", "--ve"},
      {"reg", "export", "HKCU\\Software"},
      {"reg", "copy", key},
      {"reg", "import"},
  };
  for (const auto& args : cases) {
    Args full = {"--store", storeFile()};
    full.insert(full.end(), args.begin(), args.end());
    const Result r = run(full);
    SCOPED_TRACE(args.back() + "\n" + r.out + r.err);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line";
    EXPECT_EQ(r.err.rfind("ut: ", 0), 0u);
  }
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\X")) << "nothing was written";
}

TEST_F(ToolTest, AddEveryTypeAndQuery) {
  const std::string key = "HKEY_CURRENT_USER\\Software\\TVCAD\\Tool";
  const Args adds[] = {
      {"--ve", "-d", "default text"},
      {"-v", "Sz", "-d", "h\xC3\xA9llo"},
      {"-v", "Expand", "-t", "REG_EXPAND_SZ", "-d", "%TEMP%\\x"},
      {"-v", "Multi", "-t", "REG_MULTI_SZ", "-d", "one\\0two"},
      {"-v", "Dword", "-t", "REG_DWORD", "-d", "0xFFFFFFFF"},
      {"-v", "Dec", "-t", "reg_dword", "-d", "42"},
      {"-v", "Qword", "-t", "REG_QWORD", "-d", "0x01da223e15f1f34e"},
      {"-v", "Bin", "-t", "REG_BINARY", "-d", "00ff10"},
      {"-v", "None", "-t", "REG_NONE", "-d", ""},
  };
  for (Args a : adds) {
    a.insert(a.begin(), {"add", key});
    EXPECT_TRUE(exited(reg(a), 0)) << a[3];
  }
  EXPECT_TRUE(exited(reg({"add", key + "\\Child"}), 0));

  Result r = reg({"query", key});
  EXPECT_TRUE(exited(r, 0));
  EXPECT_EQ(r.out, key +
                       "\n"
                       "    (Default)    REG_SZ    default text\n"
                       "    Sz    REG_SZ    h\xC3\xA9llo\n"
                       "    Expand    REG_EXPAND_SZ    %TEMP%\\x\n"
                       "    Multi    REG_MULTI_SZ    one\\0two\n"
                       "    Dword    REG_DWORD    0xffffffff\n"
                       "    Dec    REG_DWORD    0x2a\n"
                       "    Qword    REG_QWORD    0x1da223e15f1f34e\n"
                       "    Bin    REG_BINARY    00FF10\n"
                       "    None    REG_NONE    \n"
                       "\n" +
                       key + "\\Child\n");
  r = reg({"query", "hkcu\\Software\\TVCAD\\Tool", "-v", "dec"});
  EXPECT_TRUE(exited(r, 0));
  EXPECT_EQ(r.out, key + "\n    Dec    REG_DWORD    0x2a\n\n");
  ASSERT_EQ(reg({"add", key + "\\Child", "-v", "Dec", "-d", "x"}).status, 0);
  r = reg({"query", key, "-s", "-v", "Dec"});
  EXPECT_TRUE(exited(r, 0));
  EXPECT_EQ(r.out, key + "\n    Dec    REG_DWORD    0x2a\n\n" + key + "\\Child\n    Dec    REG_SZ    x\n\n");
  EXPECT_TRUE(contains(reg({"query", key, "-s"}).out, "\n\n" + key + "\\Child\n    Dec    REG_SZ    x\n"));
}

TEST_F(ToolTest, OverwritingAndDeletingNeedForce) {
  const std::string key = "HKCU\\Software\\TVCAD\\F";
  ut::RegKey k(ut::eCurrentUser, L"Software\\TVCAD\\F");
  wxString s;
  ASSERT_EQ(reg({"add", key, "-v", "v", "-d", "first"}).status, 0);
  ASSERT_TRUE(k.open(ut::eRead));
  // Without a terminal to ask on, nothing is overwritten or deleted.
  EXPECT_TRUE(exited(reg({"add", key, "-v", "v", "-d", "second"}), 1));
  EXPECT_TRUE(exited(reg({"delete", key}), 1));
  EXPECT_TRUE(k.queryValue(L"v", s) && s == "first");
  EXPECT_TRUE(exited(reg({"add", key, "-v", "v", "-d", "second", "-f"}), 0));
  EXPECT_TRUE(k.queryValue(L"v", s) && s == "second");
  ASSERT_EQ(reg({"add", key + "\\Sub", "-v", "y", "-d", "1"}).status, 0);
  EXPECT_TRUE(exited(reg({"delete", key, "-v", "V", "-f"}), 0));
  EXPECT_TRUE(k.valueCount() == 0 && k.hasSubKey(L"Sub"));
  EXPECT_TRUE(exited(reg({"delete", key, "-f"}), 0));
  EXPECT_FALSE(k.exists());
}

TEST_F(ToolTest, FailuresExitWithOne) {
  ASSERT_EQ(reg({"add", "HKCU\\Software\\TVCAD\\K"}).status, 0);
  for (const Args& args :
       {Args{"query", "HKCU\\Software\\TVCAD\\Missing"}, Args{"query", "HKCU\\Software\\TVCAD\\K", "-v", "missing"},
        Args{"delete", "HKCU\\Software\\TVCAD\\K", "-v", "missing", "-f"},
        Args{"delete", "HKCU\\Software\\TVCAD\\Missing", "-f"},
        Args{"export", "HKCU\\Software\\TVCAD\\Missing", (m_dir / "x.reg").string()},
        Args{"import", (m_dir / "none.reg").string()},
        Args{"copy", "HKCU\\Software\\TVCAD\\Missing", "HKCU\\Software\\TVCAD\\Y", "-f"}}) {
    EXPECT_TRUE(exited(reg(args), 1)) << args[0] << " " << args[1];
  }
  // A store file that is not a store: the command fails and names it.
  const auto bad = m_dir / "corrupt.db";
  ASSERT_TRUE(ut::test::writeFileBytes(bad, std::string(4096, 'x')));
  const Result r = run({"--store", bad.string(), "reg", "query", "HKCU\\Software"});
  EXPECT_EQ(r.status, 1) << r.out << r.err;
  EXPECT_TRUE(contains(r.out + r.err, bad.string())) << r.out << r.err;
  // A read on a store that does not exist creates nothing.
  const auto absent = m_dir / "absent.db";
  EXPECT_EQ(run({"--store", absent.string(), "reg", "query", "HKCU\\Software"}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(absent));
}

TEST_F(ToolTest, ExportImportAndCopy) {
  const std::string key = "HKCU\\Software\\TVCAD\\X";
  ASSERT_EQ(reg({"add", key, "-v", "s", "-d", "a \"quoted\" \\ text"}).status, 0);
  ASSERT_EQ(reg({"add", key + "\\Sub", "-v", "n", "-t", "REG_DWORD", "-d", "255"}).status, 0);
  const auto file = (m_dir / "x.reg").string();
  EXPECT_TRUE(exited(reg({"export", key, file}), 0));
  const std::string exported = ut::test::readFileBytes(file);
  EXPECT_EQ(exported,
            "Windows Registry Editor Version 5.00\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\X]\r\n"
            "\"s\"=\"a \\\"quoted\\\" \\\\ text\"\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\X\\Sub]\r\n"
            "\"n\"=dword:000000ff\r\n");
  // An existing file is replaced only with -y.
  ASSERT_EQ(reg({"add", key, "-v", "t", "-d", "more"}).status, 0);
  EXPECT_TRUE(exited(reg({"export", key, file}), 1));
  EXPECT_EQ(ut::test::readFileBytes(file), exported);
  EXPECT_TRUE(exited(reg({"export", key, file, "-y"}), 0));
  EXPECT_NE(ut::test::readFileBytes(file), exported);
  ASSERT_EQ(reg({"delete", key, "-f"}).status, 0);
  EXPECT_TRUE(exited(reg({"import", file}), 0));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\X\\Sub", L"n") &&
              ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\X", L"t"));

  // A partly bad file: the good entries land, the bad one is named, exit 1.
  ASSERT_TRUE(ut::test::writeFileBytes(file,
                                       "Windows Registry Editor Version 5.00\r\n"
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\Imp]\r\n"
                                       "\"bad\"=dword:xyz\r\n"
                                       "\"good\"=\"yes\"\r\n"));
  const Result r = reg({"import", file});
  EXPECT_TRUE(exited(r, 1) && contains(r.err, "line 3:")) << r.err;
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Imp", L"good"));

  EXPECT_TRUE(exited(reg({"copy", key, "HKLM\\Software\\Copy"}), 0));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eLocalMachine, L"Software\\Copy", L"s"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eLocalMachine, L"Software\\Copy\\Sub"));
  // The destination exists now: -f to overwrite, -s for the subkeys.
  EXPECT_TRUE(exited(reg({"copy", key, "HKLM\\Software\\Copy", "-s"}), 1));
  EXPECT_TRUE(exited(reg({"copy", key, "HKLM\\Software\\Copy", "-s", "-f"}), 0));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eLocalMachine, L"Software\\Copy\\Sub", L"n"));
}
