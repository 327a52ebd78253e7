// The `ut` tool on a store it cannot fully use: a damaged file, a folder or
// file it may not write. Each says what is wrong and where, with exit status 1.

#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_regstore.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace ut;
using Result = test::ProgramResult;
namespace fs = std::filesystem;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class StoreFaultTest : public ::testing::Test {
 protected:
  test::TempStore m_home;
  test::TempDir m_dir;

  // A store of 300 keys with ten values each, closed.
  void fillStore(const fs::path& file) const {
    ASSERT_TRUE(RegStore::setFile(wxString(file.string())));
    RegTransaction transaction;
    for (int k = 0; k < 300; ++k) {
      RegKey key(eCurrentUser, wxString::Format(L"Software\\TVCAD\\Damage\\K%d", k));
      ASSERT_TRUE(key.create());
      for (int v = 0; v < 10; ++v) {
        ASSERT_TRUE(key.setValue(wxString::Format(L"v%d", v), wxString(L'x', 50)));
      }
    }
    ASSERT_TRUE(transaction.commit());
    // Back to this test's own store: never the user's.
    RegStore::setFile(wxString(m_home.file().string()));
  }

  // "ut --store FILE ARGS", at most 60 s. Root passes every permission check,
  // so for root the tool runs without its capabilities: the file modes apply.
  Result run(const fs::path& store, std::vector<std::string> args) const {
    RegStore::close();
    args.insert(args.begin(), {"--store", store.string()});
    const std::string asUser = ::geteuid() == 0 ? "setpriv --bounding-set -all --inh-caps -all " : "";
    return test::runProgram(UT_TOOL, args, m_dir.path(), asUser + "timeout 60 env LC_ALL=C.UTF-8");
  }
};

}  // namespace

TEST_F(StoreFaultTest, CheckTellsASoundStoreFromADamagedOne) {
  const fs::path file = m_dir / "store.db";
  fillStore(file);
  Result r = run(file, {"reg", "check"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "The store " + file.string() + " is sound.\n");

  // 200 random bytes inside a page in the middle of the file.
  std::string bytes = test::readFileBytes(file);
  ASSERT_GT(bytes.size(), 60u * 4096);
  std::mt19937 random(50);
  for (std::size_t i = 0; i < 200; ++i) bytes[50 * 4096 + 1000 + i] = static_cast<char>(random());
  ASSERT_TRUE(test::writeFileBytes(file, bytes));

  r = run(file, {"reg", "check"});
  EXPECT_EQ(r.status, 1);
  EXPECT_FALSE(r.out.empty());
  EXPECT_TRUE(contains(r.err, "the store " + file.string() + " is damaged")) << r.err;

  // A walk that meets the damage fails instead of showing fewer keys.
  r = run(file, {"reg", "query", "HKCU\\Software\\TVCAD\\Damage", "-s"});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "is damaged")) << r.err;
}

TEST_F(StoreFaultTest, CheckOfAMissingStoreFails) {
  const Result r = run(m_dir / "none.db", {"reg", "check"});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "does not exist yet")) << r.err;
  EXPECT_FALSE(fs::exists(m_dir / "none.db"));
}

TEST_F(StoreFaultTest, PermissionDeniedNamesTheStore) {
  // A folder the user may not write: no store can be made there.
  const fs::path locked = m_dir / "locked";
  fs::create_directory(locked);
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
  Result r = run(locked / "store.db", {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "a", "-d", "b"});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "permission denied")) << r.err;
  EXPECT_TRUE(contains(r.err, (locked / "store.db").string())) << r.err;
  fs::permissions(locked, fs::perms::owner_all);

  // A store file the user may read but not write: reading works, writing
  // says why not.
  const fs::path file = m_dir / "readonly.db";
  fillStore(file);
  fs::permissions(file, fs::perms::owner_read);
  r = run(file, {"reg", "query", "HKCU\\Software\\TVCAD\\Damage\\K1", "-v", "v1"});
  EXPECT_EQ(r.status, 0) << r.err;
  r = run(file, {"reg", "add", "HKCU\\Software\\TVCAD\\X", "-v", "a", "-d", "b"});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "permission denied")) << r.err;
  EXPECT_TRUE(contains(r.err, file.string())) << r.err;
}
