// The `ut` tool's `config` and `profile` commands, run as separate processes
// on a store of the test's own, and seen from this process through the
// registry store or a profile manager.

#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace ut;
using Result = test::ProgramResult;

class ProfileToolTest : public ::testing::Test {
 protected:
  test::TempStore m_store;
  test::TempDir m_dir;

  void SetUp() override { ASSERT_TRUE(m_store.ok()); }

  Result run(const std::vector<std::string>& args) const {
    RegStore::close();  // the tool opens the store file itself
    std::vector<std::string> all{"--store", m_store.file().string()};
    all.insert(all.end(), args.begin(), args.end());
    return test::runProgram(UT_TOOL, all, m_dir.path());
  }
};

// A profile's Config key with a subkey, and a group outside the profiles.
class ConfigToolTest : public ProfileToolTest {
 protected:
  void SetUp() override {
    ProfileToolTest::SetUp();
    if (HasFatalFailure()) return;
    const wxString language = L"Software\\TVCAD\\TVCAD\\V25\\en_US\\";
    RegKey config(eCurrentUser, language + L"Profiles\\Default\\Config");
    RegKey plot(eCurrentUser, language + L"Profiles\\Default\\Config\\Plot");
    RegKey addins(eCurrentUser, language + L"Addins");
    ASSERT_TRUE(config.create() && config.setValue(L"AUTOSNAP", 127L) &&
                config.setValue(L"TEMPPREFIX", L"D:\\Temp \"x\"") && plot.create() &&
                plot.setValue(L"", L"plot settings") && addins.create() && addins.setValue(L"Count", 2L));
  }

  Result config(std::vector<std::string> args) const {
    args.insert(args.begin(), "config");
    return run(args);
  }
};

}  // namespace

TEST_F(ConfigToolTest, ShowPrintsAnIndentedTreeOfTypedValues) {
  const Result r = config({"show", "/TVCAD/V25\\en_US/Profiles/"});  // either separator
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\n"
            "  Default\\\n"
            "    Config\\\n"
            "      AUTOSNAP = 127 (0x0000007f, dword)\n"
            "      TEMPPREFIX = \"D:\\\\Temp \\\"x\\\"\" (string)\n"
            "      Plot\\\n"
            "        (Default) = \"plot settings\" (string)\n");
  // The whole company key by default.
  const Result all = config({"show"});
  ASSERT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(all.out.rfind("HKEY_CURRENT_USER\\Software\\TVCAD\n  TVCAD\\\n    V25\\\n", 0), 0u) << all.out;
  EXPECT_NE(all.out.find("          Count = 2 (0x00000002, dword)\n"), std::string::npos) << all.out;

  const Result missing = config({"show", "TVCAD/Nothing"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "ut: key not found: HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\Nothing\n");
  for (const char* bad : {"TVCAD//V25", "TVCAD/../TVCAD"}) {
    const Result r = config({"show", bad});
    EXPECT_EQ(r.status, 2) << bad;
    EXPECT_TRUE(r.out.empty()) << bad;
  }
}

// The exporter's text itself is checked byte for byte by its own tests: here,
// that a group named either way reaches it, and what each failure reports.
TEST_F(ConfigToolTest, ExportByNameOrNumberAndItsFailures) {
  const auto byName = (m_dir / "by-name.reg").string();
  const auto byNumber = (m_dir / "by-number.reg").string();
  ASSERT_EQ(config({"export", "eCfgConfig", byName}).status, 0);
  ASSERT_EQ(config({"export", "6", byNumber}).status, 0);
  EXPECT_NE(test::readFileBytes(byName).find("\"AUTOSNAP\"=dword:0000007f\r\n"), std::string::npos);
  EXPECT_EQ(test::readFileBytes(byNumber), test::readFileBytes(byName));

  const auto file = (m_dir / "x.reg").string();
  const auto noFolder = (m_dir / "missing" / "x.reg").string();
  const std::tuple<const char*, std::string, int, std::string> cases[] = {
      {"eCfgStartup", file, 1, "ut: Unknown configuration group (21)\n"},
      {"eCfgTest", file, 1, "ut: Config group not found: /TVCAD/V25/en_US/TEST/\n"},
      {"eCfgConfig", noFolder, 1, "ut: Failed to create file " + noFolder + "\n"},
      {"40", file, 2, ""},
      {"NoSuchGroup", file, 2, ""}};
  for (const auto& [group, target, status, err] : cases) {
    const Result r = config({"export", group, target});
    EXPECT_EQ(r.status, status) << group;
    if (status == 1) {
      EXPECT_EQ(r.err, err);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(ProfileToolTest, ProfileCommandsLastBeyondTheRun) {
  ASSERT_EQ(run({"profile", "use", "Work"}).status, 0);
  ASSERT_EQ(run({"profile", "create", "Other", "--description", "the other"}).status, 0);
  EXPECT_EQ(run({"profile", "create", "other"}).status, 1);  // names ignore case
  Result r = run({"profile", "list"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "  Other  (the other)\n* Work\n");
  EXPECT_EQ(run({"profile", "current"}).out, "Work\n");

  ASSERT_EQ(run({"config", "set", "eCfgConfig", "OSMODE", "4263", "--type", "long"}).status, 0);
  ASSERT_EQ(run({"config", "set", "Config", "Name", "hé"}).status, 0);
  const std::string file = (m_dir / "work.reg").string();
  ASSERT_EQ(run({"profile", "export", "Work", file}).status, 0);
  ASSERT_EQ(run({"profile", "import", file, "Copy"}).status, 0);
  ASSERT_EQ(run({"profile", "rename", "Other", "Third"}).status, 0);
  EXPECT_EQ(run({"profile", "rename", "Third", "copy"}).status, 1);  // the target exists
  ASSERT_EQ(run({"profile", "describe", "Third", "--description", "new"}).status, 0);
  EXPECT_EQ(run({"profile", "describe", "Third"}).out, "new\n");
  ASSERT_EQ(run({"profile", "reset", "Work"}).status, 0);
  EXPECT_EQ(run({"profile", "reset", "Nobody"}).status, 1);
  ASSERT_EQ(run({"profile", "delete", "Third"}).status, 0);
  EXPECT_EQ(run({"profile", "delete", "Third"}).status, 1);

  // What the runs left in the store, as this process sees it.
  ProfileManagerBase manager;
  EXPECT_EQ(std::wstring(manager.currentProfileName().c_str()), L"Work");
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"OSMODE"));  // reset
  ASSERT_TRUE(manager.setCurrentProfile(L"Copy", true));
  long osmode = 0;
  OdString name;
  EXPECT_TRUE(Config::read(eCfgConfig, L"OSMODE", osmode) && osmode == 4263);
  EXPECT_TRUE(Config::read(eCfgConfig, L"Name", name) && name == OdString(L"hé"));
  EXPECT_FALSE(manager.getProfileNode(L"Third", false));
}

TEST_F(ProfileToolTest, ConfigEntriesTypedByOption) {
  ASSERT_EQ(run({"config", "set", "Addins", "Ratio", "2.5", "--type", "double"}).status, 0);
  ASSERT_EQ(run({"config", "set", "4", "Flag", "true", "--type", "bool"}).status, 0);
  EXPECT_EQ(run({"config", "get", "Addins", "Ratio"}).out, "2.5\n");
  EXPECT_EQ(run({"config", "get", "eCfgAddins", "Flag"}).out, "1\n");
  EXPECT_EQ(run({"config", "set", "Addins", "N", "x", "--type", "long"}).status, 2);
  EXPECT_EQ(run({"config", "set", "Addins", "N", "1", "--type", "int"}).status, 2);
  EXPECT_EQ(run({"config", "get", "NoSuchGroup", "N"}).status, 2);
  ASSERT_EQ(run({"config", "delete", "Addins", "Flag"}).status, 0);
  EXPECT_EQ(run({"config", "get", "Addins", "Flag"}).status, 1);
  EXPECT_EQ(run({"config", "delete", "Addins", "Flag"}).status, 1);

  // A profile from Windows: its binary values are kept, and said to be
  // unreadable rather than missing.
  const std::string windows = std::string(UT_TESTDATA_DIR) + "/registry/profile-windows-export.reg";
  ASSERT_EQ(run({"profile", "import", windows}).status, 0);
  ASSERT_EQ(run({"profile", "use", "drafting"}).status, 0);
  EXPECT_EQ(run({"config", "get", "Config", "OSMODE"}).out, "4263\n");
  const Result blob = run({"config", "get", "Config", "WindowPlacement"});
  EXPECT_EQ(blob.status, 1);
  EXPECT_EQ(blob.err, "ut: entry WindowPlacement in eCfgConfig holds no number or text\n");
}

TEST_F(ProfileToolTest, AnotherProcessChangesAndThisOneSeesThemAfterReset) {
  ProfileManagerBase manager;
  ASSERT_TRUE(manager.setCurrentProfile(L"Default", true));
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Mine", 1));
  ASSERT_TRUE(Config::flush());

  ASSERT_EQ(run({"config", "set", "Config", "Theirs", "7", "--type", "long"}).status, 0);
  EXPECT_EQ(run({"config", "get", "Config", "Mine"}).out, "1\n");
  long value = 0;
  EXPECT_FALSE(Config::read(eCfgConfig, L"Theirs", value));  // not before reset
  ASSERT_TRUE(manager.reset());
  EXPECT_TRUE(Config::read(eCfgConfig, L"Theirs", value) && value == 7);
  EXPECT_TRUE(Config::read(eCfgConfig, L"Mine", value) && value == 1);
}
