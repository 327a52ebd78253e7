// `ut config show` and `ut config export`, run as a separate process on a
// store of the test's own.

#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_regstore.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace {

using Result = ut::test::ProgramResult;

class ConfigToolTest : public ::testing::Test {
 protected:
  ut::test::TempStore m_store;
  ut::test::TempDir m_dir;

  void SetUp() override {
    ASSERT_TRUE(m_store.ok());
    ut::RegKey config(ut::eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\Config");
    ASSERT_TRUE(config.create());
    ASSERT_TRUE(config.setValue(L"AUTOSNAP", 127L));
    ASSERT_TRUE(config.setValue(L"TEMPPREFIX", L"D:\\Temp \"x\""));
    ut::RegKey plot(ut::eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\Config\\Plot");
    ASSERT_TRUE(plot.create() && plot.setValue(L"", L"plot settings"));
    ut::RegKey addins(ut::eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins");
    ASSERT_TRUE(addins.create() && addins.setValue(L"Count", 2L));
    // The tool opens the store file itself.
    ut::RegStore::close();
  }

  Result config(const std::vector<std::string>& args) const {
    std::vector<std::string> all{"--store", m_store.file().string(), "config"};
    all.insert(all.end(), args.begin(), args.end());
    return ut::test::runProgram(UT_TOOL, all, m_dir.path());
  }
};

}  // namespace

TEST_F(ConfigToolTest, ShowPrintsAnIndentedTreeOfTypedValues) {
  const Result r = config({"show", "TVCAD\\V25\\en_US\\Profiles"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\n"
            "  Default\\\n"
            "    Config\\\n"
            "      AUTOSNAP = 127 (0x0000007f, dword)\n"
            "      TEMPPREFIX = \"D:\\\\Temp \\\"x\\\"\" (string)\n"
            "      Plot\\\n"
            "        (Default) = \"plot settings\" (string)\n");
  // The whole company key by default, with "/" accepted between levels.
  const Result all = config({"show"});
  ASSERT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(all.out.rfind("HKEY_CURRENT_USER\\Software\\TVCAD\n  TVCAD\\\n    V25\\\n", 0), 0u) << all.out;
  EXPECT_NE(all.out.find("          Count = 2 (0x00000002, dword)\n"), std::string::npos) << all.out;
  EXPECT_EQ(config({"show", "/TVCAD/V25/en_US/Addins/"}).out,
            "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Addins\n  Count = 2 (0x00000002, dword)\n");
}

TEST_F(ConfigToolTest, ShowRefusesMissingKeysAndBadPaths) {
  Result r = config({"show", "TVCAD/Nothing"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ut: key not found: HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\Nothing\n");
  r = config({"show", "TVCAD//V25"});
  EXPECT_EQ(r.status, 2);
  r = config({"show", "TVCAD/../TVCAD"});
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(r.out.empty());
}

TEST_F(ConfigToolTest, ExportByNameOrNumber) {
  const auto byName = (m_dir / "by-name.reg").string();
  const auto byNumber = (m_dir / "by-number.reg").string();
  ASSERT_EQ(config({"export", "eCfgConfig", byName}).status, 0);
  ASSERT_EQ(config({"export", "6", byNumber}).status, 0);
  const std::string text = ut::test::readFileBytes(byName);
  EXPECT_EQ(text,
            "Windows Registry Editor Version 5.00\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\Config]\r\n"
            "\"AUTOSNAP\"=dword:0000007f\r\n"
            "\"TEMPPREFIX\"=\"D:\\\\Temp \\\"x\\\"\"\r\n"
            "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\Config\\Plot]\r\n"
            "@=\"plot settings\"\r\n");
  EXPECT_EQ(ut::test::readFileBytes(byNumber), text);
  const auto addins = (m_dir / "addins.reg").string();
  ASSERT_EQ(config({"export", "addins", addins}).status, 0);
  EXPECT_NE(ut::test::readFileBytes(addins).find("\"Count\"=dword:00000002\r\n"), std::string::npos);
}

TEST_F(ConfigToolTest, ExportFailuresAreReported) {
  const auto file = (m_dir / "x.reg").string();
  Result r = config({"export", "eCfgStartup", file});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ut: Unknown configuration group (21)\n");
  r = config({"export", "eCfgTest", file});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ut: Config group not found: /TVCAD/V25/en_US/TEST/\n");
  r = config({"export", "40", file});
  EXPECT_EQ(r.status, 2);
  r = config({"export", "NoSuchGroup", file});
  EXPECT_EQ(r.status, 2);
  EXPECT_FALSE(std::filesystem::exists(file));
  r = config({"export", "eCfgConfig", (m_dir / "missing" / "x.reg").string()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ut: Failed to create file " + (m_dir / "missing" / "x.reg").string() + "\n");
}
