// The store shared by several processes: visibility and the read cache,
// concurrent writers, and writers killed at any moment.

#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <sqlite3.h>

#include <memory>
#include <string>
#include <thread>

#include "test_support.h"
#include "ut_regstore_db.h"

using namespace ut;
using ut::test::ChildProcess;
using Args = std::vector<std::string>;

namespace {

// The helper program's arguments on this test's store.
Args childArgs(const test::TempStore& store, Args args) {
  args.insert(args.begin(), {"--store", store.file().string()});
  return args;
}

// Runs the helper program to its end: its exit code, and its first output line
// in `output` when given.
int runChild(const test::TempStore& store, const Args& args, std::string* output = nullptr) {
  ChildProcess child(UT_TEST_CHILD, childArgs(store, args));
  if (!child.started()) return -1;
  if (output) *output = child.readLine().value_or("<no output>");
  return child.wait();
}

// Runs one statement through a connection of its own (the file cannot tell it
// from another process's): the first column of its rows, joined.
std::string sql(const std::filesystem::path& file, const std::string& statement) {
  sqlite3* db = nullptr;
  std::string result;
  EXPECT_EQ(sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  sqlite3_busy_timeout(db, 10000);
  sqlite3_stmt* st = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, statement.c_str(), -1, &st, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  int rc = SQLITE_ROW;
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) result += reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
  EXPECT_EQ(rc, SQLITE_DONE) << sqlite3_errmsg(db);
  sqlite3_finalize(st);
  sqlite3_close(db);
  return result;
}

// SQLite's own verdict on the file.
std::string integrityCheck(const std::filesystem::path& file) { return sql(file, "PRAGMA integrity_check"); }

wxString stringValue(const RegKey& key, const wxString& name) {
  wxString value;
  return key.queryValue(name, value) ? value : wxString("<missing>");
}

}  // namespace

// What this process has read (and cached), present or absent, gives way to
// another process's writes as soon as they return.
TEST(RegStoreProcesses, OtherProcessesChangesAreSeenAtOnce) {
  test::TempStore store;
  const std::string shared = "Software\\TVCAD\\Shared";
  RegKey key(eCurrentUser, shared);
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue("fromParent", "parent data"));
  std::string out;
  EXPECT_TRUE(runChild(store, {"get", shared, "FROMPARENT"}, &out) == 0 && out == "parent data") << out;

  EXPECT_EQ(stringValue(key, "fromChild"), "<missing>");
  std::vector<wxString> names;
  ASSERT_TRUE(key.getValueNames(names));
  ASSERT_EQ(runChild(store, {"set", shared, "fromChild", "child data"}), 0);
  EXPECT_EQ(stringValue(key, "fromChild"), "child data");
  ASSERT_TRUE(key.getValueNames(names));
  EXPECT_EQ(names, (std::vector<wxString>{"fromParent", "fromChild"}));

  // A key missing twice (so that the absence is remembered), then created.
  RegConfig config("Software\\TVCAD");
  EXPECT_EQ(config.ReadLong("Later/v", -1), -1);
  EXPECT_EQ(config.Read("Later/v", "x"), "x");
  ASSERT_EQ(runChild(store, {"set", "Software\\TVCAD\\Later", "v", "42"}), 0);
  EXPECT_TRUE(config.ReadLong("Later/v", -1) == 42 && config.HasGroup("later"));

  // The open key deleted elsewhere, then created again under its path.
  ASSERT_EQ(runChild(store, {"deletekey", shared}), 0);
  EXPECT_EQ(stringValue(key, "fromParent"), "<missing>");
  EXPECT_FALSE(key.exists() || key.setValue("v", "must not land") || key.getValueNames(names));
  ASSERT_EQ(runChild(store, {"set", shared, "v", "second"}), 0);
  EXPECT_EQ(stringValue(key, "v"), "second") << "the open key object follows the path to the new key";
  EXPECT_TRUE(key.setValue("w", "mine"));
  EXPECT_TRUE(runChild(store, {"get", shared, "w"}, &out) == 0 && out == "mine") << out;
}

// Commits in quick succession, and a checkpoint that restarts the log, never
// leave a stale read behind.
TEST(RegStoreProcesses, CacheFollowsEveryCommitThroughCheckpoints) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Cache");
  ASSERT_TRUE(key.create() && key.setValue("a", 1L));
  long v = 0;
  for (int i = 0; i < 50; ++i) {
    sql(store.file(), "UPDATE vals SET data = x'0" + std::to_string(i % 2 + 1) + "000000' WHERE folded = 'a'");
    EXPECT_TRUE(key.queryValue("a", v));
    EXPECT_EQ(v, i % 2 + 1) << i;
  }
  sql(store.file(), "PRAGMA wal_checkpoint(TRUNCATE)");
  EXPECT_TRUE(key.queryValue("a", v) && v == 2);
  sql(store.file(), "UPDATE vals SET data = x'09000000' WHERE folded = 'a'");
  EXPECT_TRUE(key.queryValue("a", v) && v == 9);
}

TEST(RegStoreProcesses, ConcurrentWritersLoseNothing) {
  test::TempStore store;
  const auto go = store.dir() / "go";
  constexpr int kWriters = 4;
  constexpr int kEach = 2000;
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int w = 0; w < kWriters; ++w) {
    children.push_back(std::make_unique<ChildProcess>(
        UT_TEST_CHILD, childArgs(store, {"--go", go.string(), "write", "Software\\TVCAD\\Concurrent",
                                         std::to_string(kEach), "w" + std::to_string(w) + "x"})));
    ASSERT_TRUE(children.back()->started());
  }
  // Every writer has its store open before they all start.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_TRUE(test::writeFileBytes(go, "go"));
  for (auto& child : children) EXPECT_EQ(child->wait(std::chrono::seconds(240)), 0);

  RegKey key(eCurrentUser, "Software\\TVCAD\\Concurrent");
  ASSERT_TRUE(key.open(eRead));
  EXPECT_EQ(key.valueCount(), static_cast<std::size_t>(kWriters * kEach));
  int wrong = 0;
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kEach; ++i) {
      wrong += stringValue(key, wxString::Format("w%dx%d", w, i)) != wxString::Format("data-w%dx-%d", w, i) ? 1 : 0;
    }
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(integrityCheck(store.file()), "ok");
}

// A first open racing other processes' set-up of the same new file once
// crashed and gave up on a transient lock.
TEST(RegStoreProcesses, FirstUseByManyProcessesAtOnce) {
  test::TempDir dir;
  const auto file = dir / "fresh" / "registry.db";
  const auto go = dir / "go";
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int w = 0; w < 4; ++w) {
    children.push_back(
        std::make_unique<ChildProcess>(UT_TEST_CHILD, Args{"--store", file.string(), "--go", go.string(), "write",
                                                           "Software\\Init", "20", "p" + std::to_string(w) + "-"}));
  }
  ASSERT_TRUE(test::writeFileBytes(go, "go"));
  for (auto& child : children) EXPECT_EQ(child->wait(std::chrono::seconds(120)), 0);
  const wxString before = RegStore::file();
  ASSERT_TRUE(RegStore::setFile(wxString(file.string()))) << RegStore::lastError();
  RegKey key(eCurrentUser, "Software\\Init");
  EXPECT_TRUE(key.open(eRead) && key.valueCount() == 80 && RegStore::schemaVersion() == 1);
  RegStore::setFile(before == RegStore::defaultFile() ? wxString() : before);
}

TEST(RegStoreProcesses, WriteSurvivesKillOnceReturned) {
  test::TempStore store;
  ChildProcess child(UT_TEST_CHILD, childArgs(store, {"write", "Software\\TVCAD\\Durable", "300", "d", "hang"}));
  ASSERT_EQ(child.readLine(), std::optional<std::string>("done"));
  child.kill();
  EXPECT_EQ(child.wait(), 128 + 9);
  RegStore::close();
  RegKey key(eCurrentUser, "Software\\TVCAD\\Durable");
  EXPECT_TRUE(key.open(eRead) && key.valueCount() == 300);
  EXPECT_EQ(stringValue(key, "d299"), "data-d-299");
  EXPECT_EQ(integrityCheck(store.file()), "ok");
}

TEST(RegStoreProcesses, KillInsideTransactionLeavesNothing) {
  test::TempStore store;
  RegKey parent(eCurrentUser, "Software\\TVCAD");
  ASSERT_TRUE(parent.create() && parent.setValue("before", 1L));
  ChildProcess child(UT_TEST_CHILD, childArgs(store, {"hold", "Software\\TVCAD\\Held", "2000"}));
  ASSERT_EQ(child.readLine(), std::optional<std::string>("ready"));
  // The transaction holds the write lock: our write waits (up to the busy
  // timeout), so it runs on a thread and must land once the holder dies.
  std::thread writer([] {
    RegKey k(eCurrentUser, "Software\\TVCAD");
    EXPECT_TRUE(k.open() && k.setValue("during", 2L)) << RegStore::lastError();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  child.kill();
  EXPECT_EQ(child.wait(), 128 + 9);
  writer.join();

  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\TVCAD\\Held").exists() || parent.hasSubKey("Held"));
  EXPECT_TRUE(parent.hasValue("before") && parent.hasValue("during"));
  RegStore::close();
  EXPECT_TRUE(RegStore::open()) << RegStore::lastError();
  EXPECT_EQ(integrityCheck(store.file()), "ok");
}

TEST(RegStoreProcesses, LockHeldElsewhereFailsCleanly) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Busy");
  ASSERT_TRUE(key.create() && key.setValue("v", 1L));
  ChildProcess child(UT_TEST_CHILD, childArgs(store, {"hold", "Software\\TVCAD\\Holder", "10"}));
  ASSERT_EQ(child.readLine(), std::optional<std::string>("ready"));
  regstore::Store::instance().setBusyTimeout(100);

  // Reads go on while another process writes; a write gives up after the
  // timeout, saying why.
  long v = 0;
  EXPECT_TRUE(key.queryValue("v", v));
  EXPECT_FALSE(key.setValue("v", 2L));
  EXPECT_NE(RegStore::lastError().Find("locked"), wxNOT_FOUND) << RegStore::lastError();
  {
    // A transaction that cannot begin refuses every write in its scope, so
    // that none lands on its own once the lock is free.
    RegTransaction tx;
    EXPECT_FALSE(tx.isActive());
    child.kill();
    EXPECT_EQ(child.wait(), 128 + 9);
    EXPECT_FALSE(key.setValue("a", 1L) || key.setValue("b", 1L) || tx.commit());
  }
  regstore::Store::instance().setBusyTimeout(regstore::kBusyTimeoutMs);
  EXPECT_FALSE(key.hasValue("a"));
  EXPECT_TRUE(key.setValue("v", 3L) && key.queryValue("v", v) && v == 3) << "writes work again after the scope";
}
