// `ut profile ...` and `ut config get|set|delete`, run as separate processes
// on a store of the test's own, and seen from this process through a profile
// manager.

#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <sys/wait.h>

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

}  // namespace

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
  EXPECT_TRUE(Config::read(eCfgConfig, L"OSMODE", osmode));
  EXPECT_EQ(osmode, 4263);
  OdString name;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Name", name));
  EXPECT_EQ(std::wstring(name.c_str()), L"hé");
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
  ASSERT_EQ(run({"profile", "import", std::string(UT_SHARED_TESTDATA_DIR) + "/registry/profile-windows-export.reg"})
                .status,
            0);
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
  EXPECT_TRUE(Config::read(eCfgConfig, L"Theirs", value));
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(Config::read(eCfgConfig, L"Mine", value));
  EXPECT_EQ(value, 1);
}
