#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_registry.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace {

using Result = ut::test::ProgramResult;
using ut::test::shellQuote;

std::size_t lineCount(const std::string& text) {
  std::size_t n = 0;
  for (char c : text) n += c == '\n' ? 1 : 0;
  return n;
}

class ToolTest : public ::testing::Test {
 protected:
  ut::test::TempStore m_store;
  ut::test::TempDir m_dir;

  std::string storeFile() const { return ut::RegStore::file().utf8_string(); }

  // Runs the tool with stdin from /dev/null (so it can never ask), with
  // extra environment assignments in front.
  Result run(const std::vector<std::string>& args, const std::string& env = "") const {
    return ut::test::runProgram(UT_TOOL, args, m_dir.path(), env.empty() ? "" : "env " + env);
  }
  // The same on this test's store.
  Result reg(std::vector<std::string> args) const {
    args.insert(args.begin(), {"--store", storeFile(), "reg"});
    return run(args);
  }
};

::testing::AssertionResult exited(const Result& r, int expected) {
  if (r.status == expected) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "exit status " << r.status << ", expected " << expected << "\nstdout:\n"
                                       << r.out << "stderr:\n" << r.err;
}

}  // namespace

TEST_F(ToolTest, OverviewOnAFreshMachineCreatesNothing) {
  const auto home = m_dir / "home";
  const auto config = m_dir / "config";
  const auto storeDefault = config / "TVCAD" / "registry.db";
  const Result r = run({}, "-u UT_REGISTRY_FILE HOME=" + shellQuote(home.string()) +
                               " XDG_CONFIG_HOME=" + shellQuote(config.string()));
  EXPECT_TRUE(exited(r, 0));
  EXPECT_NE(r.out.find(storeDefault.string()), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("not created yet"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("ut reg query"), std::string::npos);
  EXPECT_NE(r.out.find("--help"), std::string::npos);
  EXPECT_TRUE(r.err.empty()) << r.err;
  EXPECT_FALSE(std::filesystem::exists(config));
  EXPECT_FALSE(std::filesystem::exists(home));

  const auto other = m_dir / "other.db";
  const Result s = run({"--store", other.string()});
  EXPECT_TRUE(exited(s, 0));
  EXPECT_NE(s.out.find(other.string()), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(ToolTest, OverviewSummarisesTheStore) {
  ASSERT_EQ(reg({"add", "HKCU\\Software\\TVCAD"}).status, 0);
  Result r = run({"--store", storeFile()});
  EXPECT_TRUE(exited(r, 0));
  EXPECT_NE(r.out.find("HKEY_CURRENT_USER\\Software\\TVCAD: empty"), std::string::npos) << r.out;

  ASSERT_EQ(reg({"add", "HKCU\\Software\\TVCAD\\V25\\en_US", "-v", "a", "-d", "1"}).status, 0);
  ASSERT_EQ(reg({"add", "HKCU\\Software\\TVCAD\\V25", "-v", "b", "-d", "2"}).status, 0);
  ASSERT_EQ(reg({"add", "HKCU\\Software\\TVCAD\\Tools", "-v", "c", "-d", "3"}).status, 0);
  r = run({"--store", storeFile()});
  EXPECT_TRUE(exited(r, 0));
  EXPECT_NE(r.out.find("HKEY_CURRENT_USER\\Software\\TVCAD: 3 subkeys, 3 values"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("  V25  (1 subkey, 2 values)"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("  Tools  (0 subkeys, 1 value)"), std::string::npos) << r.out;
}

TEST_F(ToolTest, HelpAtEveryLevel) {
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"--help"}, {"reg", "--help"}, {"reg", "query", "--help"}, {"reg", "add", "-h"},
        {"reg", "delete", "--help"}, {"reg", "export", "--help"}, {"reg", "import", "--help"},
        {"reg", "copy", "--help"}}) {
    const Result r = run(args);
    EXPECT_TRUE(exited(r, 0));
    EXPECT_NE(r.out.find("Usage"), std::string::npos) << args.back();
  }
  EXPECT_NE(run({"reg", "add", "--help"}).out.find("REG_MULTI_SZ"), std::string::npos);
  EXPECT_NE(run({"--help"}).out.find("--store"), std::string::npos);
}

TEST_F(ToolTest, BadCommandLinesExitWithTwo) {
  const std::vector<std::vector<std::string>> cases = {
      {"bogus"},
      {"reg"},
      {"reg", "frobnicate"},
      {"reg", "query"},
      {"reg", "query", "HKCU\\Software", "--bogus"},
      {"reg", "query", "HKEY_NOWHERE\\Software"},
      {"reg", "query", "HKCU\\Software", "-v", "x", "--ve"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_FLOAT", "-d", "1"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_DWORD", "-d", "12abc"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_DWORD", "-d", "0x100000000"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_DWORD", "-d", "4294967296"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_QWORD", "-d", "18446744073709551616"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_BINARY", "-d", "abc"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_BINARY", "-d", "zz"},
      {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "n", "-t", "REG_MULTI_SZ", "-d", "a\\0\\0b"},
      {"reg", "add", "HKCU\\Software\\\\TVCAD"},
      {"reg", "delete", "HKCU\\Software", "--va", "--ve"},
      {"reg", "export", "HKCU\\Software"},
      {"reg", "copy", "HKCU\\Software\\TVCAD\\A"},
      {"reg", "import"},
  };
  for (const auto& args : cases) {
    std::vector<std::string> full = {"--store", storeFile()};
    full.insert(full.end(), args.begin(), args.end());
    const Result r = run(full);
    std::string label;
    for (const auto& a : args) label += a + " ";
    EXPECT_EQ(r.status, 2) << label << "\n" << r.out << r.err;
    EXPECT_EQ(lineCount(r.err), 1u) << label << "\n" << r.err;
    EXPECT_EQ(r.err.rfind("ut: ", 0), 0u) << label << "\n" << r.err;
  }
  // Nothing was written by any of them.
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\X"));
}

TEST_F(ToolTest, AddEveryTypeAndQuery) {
  const std::string key = "HKEY_CURRENT_USER\\Software\\TVCAD\\Tool";
  const std::vector<std::vector<std::string>> adds = {
      {"add", key, "--ve", "-d", "default text"},
      {"add", key, "-v", "Sz", "-d", "h\xC3\xA9llo"},
      {"add", key, "-v", "Expand", "-t", "REG_EXPAND_SZ", "-d", "%TEMP%\\x"},
      {"add", key, "-v", "Multi", "-t", "REG_MULTI_SZ", "-d", "one\\0two"},
      {"add", key, "-v", "Dword", "-t", "REG_DWORD", "-d", "0xFFFFFFFF"},
      {"add", key, "-v", "Dec", "-t", "reg_dword", "-d", "42"},
      {"add", key, "-v", "Qword", "-t", "REG_QWORD", "-d", "0x01da223e15f1f34e"},
      {"add", key, "-v", "Bin", "-t", "REG_BINARY", "-d", "00ff10"},
      {"add", key, "-v", "None", "-t", "REG_NONE", "-d", ""},
      {"add", key + "\\Child"},
  };
  for (const auto& a : adds) EXPECT_TRUE(exited(reg(a), 0));

  ut::RegKey k(ut::eCurrentUser, L"Software\\TVCAD\\Tool");
  ASSERT_TRUE(k.open(ut::eRead));
  wxString s;
  EXPECT_TRUE(k.queryValue(L"", s));
  EXPECT_EQ(s, L"default text");
  EXPECT_TRUE(k.queryValue(L"Sz", s));
  EXPECT_EQ(s, L"h\u00e9llo");
  EXPECT_EQ(k.valueType(L"Expand"), ut::eRegExpandSz);
  std::vector<wxString> multi;
  EXPECT_TRUE(k.queryMultiString(L"Multi", multi));
  EXPECT_EQ(multi, (std::vector<wxString>{L"one", L"two"}));
  long n = 0;
  EXPECT_TRUE(k.queryValue(L"Dword", n));
  EXPECT_EQ(static_cast<std::uint32_t>(n), 0xFFFFFFFFu);
  EXPECT_TRUE(k.queryValue(L"Dec", n));
  EXPECT_EQ(n, 42);
  std::int64_t q = 0;
  EXPECT_TRUE(k.queryValue64(L"Qword", q));
  EXPECT_EQ(static_cast<std::uint64_t>(q), 0x01da223e15f1f34eull);
  unsigned type = 0;
  std::vector<std::uint8_t> data;
  EXPECT_TRUE(k.queryRawValue(L"Bin", type, data));
  EXPECT_EQ(data, (std::vector<std::uint8_t>{0, 0xff, 0x10}));
  EXPECT_TRUE(k.queryRawValue(L"None", type, data));
  EXPECT_EQ(type, 0u);
  EXPECT_TRUE(data.empty());
  EXPECT_TRUE(k.hasSubKey(L"Child"));

  Result r = reg({"query", key});
  EXPECT_TRUE(exited(r, 0));
  EXPECT_EQ(r.out, key + "\n"
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
  r = reg({"query", key, "-s"});
  EXPECT_NE(r.out.find("\n\n" + key + "\\Child\n    Dec    REG_SZ    x\n"), std::string::npos) << r.out;
}

TEST_F(ToolTest, OverwritingAndDeletingNeedForce) {
  const std::string key = "HKCU\\Software\\TVCAD\\F";
  ASSERT_EQ(reg({"add", key, "-v", "v", "-d", "first"}).status, 0);
  // Without a terminal to ask on, nothing is overwritten or deleted.
  EXPECT_TRUE(exited(reg({"add", key, "-v", "v", "-d", "second"}), 1));
  EXPECT_TRUE(exited(reg({"delete", key, "-v", "v"}), 1));
  EXPECT_TRUE(exited(reg({"delete", key}), 1));
  ut::RegKey k(ut::eCurrentUser, L"Software\\TVCAD\\F");
  wxString s;
  ASSERT_TRUE(k.open(ut::eRead));
  EXPECT_TRUE(k.queryValue(L"v", s));
  EXPECT_EQ(s, L"first");

  EXPECT_TRUE(exited(reg({"add", key, "-v", "v", "-d", "second", "-f"}), 0));
  EXPECT_TRUE(k.queryValue(L"v", s));
  EXPECT_EQ(s, L"second");

  ASSERT_EQ(reg({"add", key, "-v", "w", "-d", "x"}).status, 0);
  ASSERT_EQ(reg({"add", key, "--ve", "-d", "x"}).status, 0);
  EXPECT_TRUE(exited(reg({"delete", key, "--ve", "-f"}), 0));
  EXPECT_FALSE(k.hasValue(L""));
  EXPECT_TRUE(exited(reg({"delete", key, "-v", "V", "-f"}), 0));
  EXPECT_FALSE(k.hasValue(L"v"));
  EXPECT_TRUE(k.hasValue(L"w"));
  ASSERT_EQ(reg({"add", key + "\\Sub", "-v", "y", "-d", "1"}).status, 0);
  EXPECT_TRUE(exited(reg({"delete", key, "--va", "-f"}), 0));
  EXPECT_EQ(k.valueCount(), 0u);
  EXPECT_TRUE(k.hasSubKey(L"Sub"));
  EXPECT_TRUE(exited(reg({"delete", key, "-f"}), 0));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eCurrentUser, L"Software\\TVCAD\\F"));
}

TEST_F(ToolTest, FailuresExitWithOne) {
  EXPECT_TRUE(exited(reg({"query", "HKCU\\Software\\TVCAD\\Missing"}), 1));
  ASSERT_EQ(reg({"add", "HKCU\\Software\\TVCAD\\K"}).status, 0);
  EXPECT_TRUE(exited(reg({"query", "HKCU\\Software\\TVCAD\\K", "-v", "missing"}), 1));
  EXPECT_TRUE(exited(reg({"delete", "HKCU\\Software\\TVCAD\\K", "-v", "missing", "-f"}), 1));
  EXPECT_TRUE(exited(reg({"delete", "HKCU\\Software\\TVCAD\\Missing", "-f"}), 1));
  EXPECT_TRUE(exited(reg({"export", "HKCU\\Software\\TVCAD\\Missing", (m_dir / "x.reg").string()}), 1));
  EXPECT_TRUE(exited(reg({"import", (m_dir / "none.reg").string()}), 1));
  EXPECT_TRUE(exited(reg({"copy", "HKCU\\Software\\TVCAD\\Missing", "HKCU\\Software\\TVCAD\\Y", "-f"}), 1));

  // A store file that is not a store: every command fails and names it, and
  // the file is left alone.
  const auto bad = m_dir / "corrupt.db";
  const std::string garbage(4096, 'x');
  ASSERT_TRUE(ut::test::writeFileBytes(bad, garbage));
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"--store", bad.string()},
        {"--store", bad.string(), "reg", "query", "HKCU\\Software"},
        {"--store", bad.string(), "reg", "add", "HKCU\\Software\\TVCAD", "-v", "x", "-d", "1"}}) {
    const Result r = run(args);
    EXPECT_EQ(r.status, 1) << args.back() << "\n" << r.out << r.err;
    EXPECT_NE((r.out + r.err).find(bad.string()), std::string::npos) << r.out << r.err;
  }
  EXPECT_EQ(ut::test::readFileBytes(bad), garbage);

  // A read on a store that does not exist creates nothing.
  const auto absent = m_dir / "absent.db";
  EXPECT_EQ(run({"--store", absent.string(), "reg", "query", "HKCU\\Software"}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(absent));
}

TEST_F(ToolTest, ExportImportAndCopy) {
  const std::string key = "HKCU\\Software\\TVCAD\\X";
  ASSERT_EQ(reg({"add", key, "-v", "s", "-d", "a \"quoted\" \\ text"}).status, 0);
  ASSERT_EQ(reg({"add", key + "\\Sub", "-v", "n", "-t", "REG_DWORD", "-d", "255"}).status, 0);

  const auto file = m_dir / "x.reg";
  EXPECT_TRUE(exited(reg({"export", key, file.string()}), 0));
  const std::string exported = ut::test::readFileBytes(file);
  EXPECT_EQ(exported,
            "Windows Registry Editor Version 5.00\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\X]\r\n"
            "\"s\"=\"a \\\"quoted\\\" \\\\ text\"\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\X\\Sub]\r\n"
            "\"n\"=dword:000000ff\r\n");
  // An existing file is replaced only with -y.
  ASSERT_EQ(reg({"add", key, "-v", "t", "-d", "more"}).status, 0);
  EXPECT_TRUE(exited(reg({"export", key, file.string()}), 1));
  EXPECT_EQ(ut::test::readFileBytes(file), exported);
  EXPECT_TRUE(exited(reg({"export", key, file.string(), "-y"}), 0));
  EXPECT_NE(ut::test::readFileBytes(file), exported);

  ASSERT_EQ(reg({"delete", key, "-f"}).status, 0);
  EXPECT_TRUE(exited(reg({"import", file.string()}), 0));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\X\\Sub", L"n"));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\X", L"t"));

  // A partly bad file: the good entries land, the bad one is named, exit 1.
  const auto bad = m_dir / "bad.reg";
  ASSERT_TRUE(ut::test::writeFileBytes(bad,
                                       "Windows Registry Editor Version 5.00\r\n"
                                       "[HKEY_CURRENT_USER\\Software\\TVCAD\\Imp]\r\n"
                                       "\"bad\"=dword:xyz\r\n"
                                       "\"good\"=\"yes\"\r\n"));
  const Result r = reg({"import", bad.string()});
  EXPECT_TRUE(exited(r, 1));
  EXPECT_NE(r.err.find("line 3:"), std::string::npos) << r.err;
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eCurrentUser, L"Software\\TVCAD\\Imp", L"good"));

  EXPECT_TRUE(exited(reg({"copy", key, "HKLM\\Software\\Copy"}), 0));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eLocalMachine, L"Software\\Copy", L"s"));
  EXPECT_FALSE(ut::Registry::verifyKey(ut::eLocalMachine, L"Software\\Copy\\Sub"));
  // The destination exists now: -f to overwrite, -s for the subkeys.
  EXPECT_TRUE(exited(reg({"copy", key, "HKLM\\Software\\Copy", "-s"}), 1));
  EXPECT_TRUE(exited(reg({"copy", key, "HKLM\\Software\\Copy", "-s", "-f"}), 0));
  EXPECT_TRUE(ut::Registry::verifyValue(ut::eLocalMachine, L"Software\\Copy\\Sub", L"n"));
}
