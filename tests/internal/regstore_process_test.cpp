// The store shared by several processes: visibility, concurrent writers, and
// writers killed at any moment.

#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <sqlite3.h>

#include <map>
#include <set>
#include <string>

#include "test_support.h"
#include "ut_regstore_db.h"

using namespace ut;
using ut::test::ChildProcess;

namespace {

const std::string kChild = UT_TEST_CHILD;

// Runs the child on the store and returns its exit code; its first output
// line goes to `output` when given.
int runChild(const test::TempStore& store, const std::vector<std::string>& args, std::string* output = nullptr) {
  std::vector<std::string> full = {"--store", store.file().string()};
  full.insert(full.end(), args.begin(), args.end());
  ChildProcess child(kChild, full);
  if (!child.started()) return -1;
  if (output) *output = child.readLine().value_or("<no output>");
  return child.wait();
}

std::vector<std::string> childArgs(const test::TempStore& store, std::vector<std::string> args) {
  std::vector<std::string> full = {"--store", store.file().string()};
  full.insert(full.end(), args.begin(), args.end());
  return full;
}

// SQLite's own verdict on the file, through a connection of its own.
std::string integrityCheck(const std::filesystem::path& file) {
  sqlite3* db = nullptr;
  std::string result;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &st, nullptr) == SQLITE_OK) {
      while (sqlite3_step(st) == SQLITE_ROW) result += reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    }
    sqlite3_finalize(st);
  } else {
    result = sqlite3_errmsg(db);
  }
  sqlite3_close(db);
  return result;
}

wxString stringValue(const RegKey& key, const wxString& name) {
  wxString value;
  return key.queryValue(name, value) ? value : wxString("<missing>");
}

}  // namespace

TEST(RegStoreProcesses, WritesAreSeenByOtherProcessesAtOnce) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Shared");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue("fromParent", "parent data"));
  std::string out;
  EXPECT_EQ(runChild(store, {"get", "Software\\TVCAD\\Shared", "FROMPARENT"}, &out), 0);
  EXPECT_EQ(out, "parent data");

  // What this process has read (and cached), present or absent, must give way
  // to another process's writes as soon as they return.
  EXPECT_EQ(stringValue(key, "fromChild"), "<missing>");
  std::vector<wxString> names;
  ASSERT_TRUE(key.getValueNames(names));
  EXPECT_EQ(names.size(), 1u);
  ASSERT_EQ(runChild(store, {"set", "Software\\TVCAD\\Shared", "fromChild", "child data"}), 0);
  EXPECT_EQ(stringValue(key, "fromChild"), "child data");
  ASSERT_TRUE(key.getValueNames(names));
  EXPECT_EQ(names, (std::vector<wxString>{"fromParent", "fromChild"}));

  ASSERT_EQ(runChild(store, {"set", "Software\\TVCAD\\Shared", "fromParent", "overwritten"}), 0);
  EXPECT_EQ(stringValue(key, "fromParent"), "overwritten");

  RegConfig config("Software\\TVCAD");
  EXPECT_EQ(config.Read("Shared/fromChild", "x"), "child data");
  ASSERT_EQ(runChild(store, {"set", "Software\\TVCAD\\Shared", "fromChild", "again"}), 0);
  EXPECT_EQ(config.Read("Shared/fromChild", "x"), "again");
}

TEST(RegStoreProcesses, KeyDeletedAndRecreatedElsewhere) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Moving");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue("v", "first"));
  EXPECT_EQ(stringValue(key, "v"), "first");

  ASSERT_EQ(runChild(store, {"deletekey", "Software\\TVCAD\\Moving"}), 0);
  EXPECT_EQ(stringValue(key, "v"), "<missing>");
  EXPECT_FALSE(key.exists());
  EXPECT_FALSE(key.setValue("v", "must not land"));
  std::vector<wxString> names;
  EXPECT_FALSE(key.getValueNames(names));

  ASSERT_EQ(runChild(store, {"set", "Software\\TVCAD\\Moving", "v", "second"}), 0);
  EXPECT_TRUE(key.exists());
  EXPECT_EQ(stringValue(key, "v"), "second") << "the open key object follows the path to the new key";
  EXPECT_TRUE(key.setValue("w", "mine"));
  std::string out;
  EXPECT_EQ(runChild(store, {"get", "Software\\TVCAD\\Moving", "w"}, &out), 0);
  EXPECT_EQ(out, "mine");
}

TEST(RegStoreProcesses, ConcurrentWritersLoseNothing) {
  test::TempStore store;
  const auto go = store.dir() / "go";
  constexpr int kWriters = 4;
  constexpr int kEach = 2000;
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int w = 0; w < kWriters; ++w) {
    children.push_back(std::make_unique<ChildProcess>(
        kChild, childArgs(store, {"--go", go.string(), "write", "Software\\TVCAD\\Concurrent", std::to_string(kEach),
                                  "w" + std::to_string(w) + "x"})));
    ASSERT_TRUE(children.back()->started());
  }
  // Every writer has its store open before they all start.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_TRUE(test::writeFileBytes(go, "go"));
  for (auto& child : children) EXPECT_EQ(child->wait(std::chrono::seconds(240)), 0);

  RegKey key(eCurrentUser, "Software\\TVCAD\\Concurrent");
  ASSERT_TRUE(key.open(eRead));
  EXPECT_EQ(key.valueCount(), static_cast<std::size_t>(kWriters * kEach));
  std::vector<wxString> names;
  ASSERT_TRUE(key.getValueNames(names));
  std::set<wxString> unique(names.begin(), names.end());
  EXPECT_EQ(unique.size(), static_cast<std::size_t>(kWriters * kEach));
  int wrong = 0;
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kEach; ++i) {
      const wxString name = wxString::Format("w%dx%d", w, i);
      if (stringValue(key, name) != wxString::Format("data-w%dx-%d", w, i)) ++wrong;
    }
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(integrityCheck(store.file()), "ok");
}

TEST(RegStoreProcesses, FirstUseByManyProcessesAtOnce) {
  test::TempDir dir;
  const auto file = dir / "fresh" / "registry.db";
  const auto go = dir / "go";
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (int w = 0; w < 4; ++w) {
    children.push_back(std::make_unique<ChildProcess>(
        kChild, std::vector<std::string>{"--store", file.string(), "--go", go.string(), "write", "Software\\Init", "20",
                                         "p" + std::to_string(w) + "-"}));
  }
  ASSERT_TRUE(test::writeFileBytes(go, "go"));
  for (auto& child : children) EXPECT_EQ(child->wait(std::chrono::seconds(120)), 0);
  const wxString before = RegStore::file();
  ASSERT_TRUE(RegStore::setFile(wxString(file.string()))) << RegStore::lastError();
  RegKey key(eCurrentUser, "Software\\Init");
  ASSERT_TRUE(key.open(eRead));
  EXPECT_EQ(key.valueCount(), 80u);
  EXPECT_EQ(RegStore::schemaVersion(), 1);
  RegStore::setFile(before == RegStore::defaultFile() ? wxString() : before);
}

TEST(RegStoreProcesses, WriteSurvivesKillOnceReturned) {
  test::TempStore store;
  ChildProcess child(kChild, childArgs(store, {"write", "Software\\TVCAD\\Durable", "300", "d", "hang"}));
  ASSERT_EQ(child.readLine(), std::optional<std::string>("done"));
  child.kill();
  EXPECT_EQ(child.wait(), 128 + 9);
  RegStore::close();
  RegKey key(eCurrentUser, "Software\\TVCAD\\Durable");
  ASSERT_TRUE(key.open(eRead));
  EXPECT_EQ(key.valueCount(), 300u);
  EXPECT_EQ(stringValue(key, "d299"), "data-d-299");
  EXPECT_EQ(integrityCheck(store.file()), "ok");
}

TEST(RegStoreProcesses, KillInsideTransactionLeavesNothing) {
  test::TempStore store;
  RegKey parent(eCurrentUser, "Software\\TVCAD");
  ASSERT_TRUE(parent.create());
  ASSERT_TRUE(parent.setValue("before", 1L));
  ChildProcess child(kChild, childArgs(store, {"hold", "Software\\TVCAD\\Held", "2000"}));
  ASSERT_EQ(child.readLine(), std::optional<std::string>("ready"));
  // The transaction holds the write lock: our write waits (up to the busy
  // timeout), so it runs on a thread and must land once the holder dies.
  std::thread writer([] {
    RegKey k(eCurrentUser, "Software\\TVCAD");
    EXPECT_TRUE(k.open());
    EXPECT_TRUE(k.setValue("during", 2L)) << RegStore::lastError();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  child.kill();
  EXPECT_EQ(child.wait(), 128 + 9);
  writer.join();

  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\TVCAD\\Held").exists());
  EXPECT_FALSE(parent.hasSubKey("Held"));
  EXPECT_TRUE(parent.hasValue("before"));
  EXPECT_TRUE(parent.hasValue("during"));
  RegStore::close();
  EXPECT_TRUE(RegStore::open()) << RegStore::lastError();
  EXPECT_EQ(integrityCheck(store.file()), "ok");
}

TEST(RegStoreProcesses, KilledWhileLoopingLeavesWholeBatches) {
  constexpr int kBatch = 40;
  for (int attempt = 0; attempt < 3; ++attempt) {
    test::TempStore store;
    ChildProcess child(kChild, childArgs(store, {"loop", "Software\\TVCAD\\Loop", std::to_string(kBatch)}));
    long lastReported = -1;
    // Let it commit a few batches, then kill it at a moment that varies.
    const int waitFor = 3 + attempt * 4;
    while (lastReported < waitFor) {
      const auto line = child.readLine();
      ASSERT_TRUE(line.has_value());
      ASSERT_EQ(line->rfind("committed ", 0), 0u) << *line;
      lastReported = std::stol(line->substr(10));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(1500 * attempt + 300));
    child.kill();
    EXPECT_EQ(child.wait(), 128 + 9);
    // What it printed before it died is still in the pipe.
    while (const auto line = child.readLine(std::chrono::milliseconds(200))) lastReported = std::stol(line->substr(10));

    RegStore::close();
    EXPECT_EQ(integrityCheck(store.file()), "ok");
    RegKey key(eCurrentUser, "Software\\TVCAD\\Loop");
    ASSERT_TRUE(key.open(eRead)) << RegStore::lastError();
    std::vector<wxString> names;
    ASSERT_TRUE(key.getValueNames(names));
    std::map<long, int> perRound;
    for (const auto& name : names) {
      long round = -1;
      ASSERT_TRUE(name.Mid(1).BeforeFirst('-').ToLong(&round)) << name;
      ++perRound[round];
    }
    for (const auto& [round, count] : perRound) EXPECT_EQ(count, kBatch) << "round " << round << " is partial";
    // Every reported commit is there, and at most one more (committed but
    // killed before it could say so).
    ASSERT_FALSE(perRound.empty());
    EXPECT_GE(perRound.rbegin()->first, lastReported);
    EXPECT_LE(perRound.rbegin()->first, lastReported + 1);
    EXPECT_EQ(static_cast<long>(perRound.size()), perRound.rbegin()->first + 1) << "no round is missing";
  }
}

TEST(RegStoreProcesses, LockHeldElsewhereFailsCleanly) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Busy");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue("v", 1L));
  ChildProcess child(kChild, childArgs(store, {"hold", "Software\\TVCAD\\Holder", "10"}));
  ASSERT_EQ(child.readLine(), std::optional<std::string>("ready"));
  regstore::Store::instance().setBusyTimeout(100);

  // Reads go on while another process writes.
  long v = 0;
  EXPECT_TRUE(key.queryValue("v", v));
  // A write gives up after the timeout, saying why.
  EXPECT_FALSE(key.setValue("v", 2L));
  EXPECT_NE(RegStore::lastError().Find("locked"), wxNOT_FOUND) << RegStore::lastError();
  {
    // A transaction that cannot begin refuses every write in its scope, so
    // that none lands on its own once the lock is free.
    RegTransaction tx;
    EXPECT_FALSE(tx.isActive());
    child.kill();
    EXPECT_EQ(child.wait(), 128 + 9);
    EXPECT_FALSE(key.setValue("a", 1L));
    EXPECT_FALSE(key.setValue("b", 1L));
    EXPECT_FALSE(tx.commit());
  }
  regstore::Store::instance().setBusyTimeout(regstore::kBusyTimeoutMs);
  EXPECT_FALSE(key.hasValue("a"));
  EXPECT_TRUE(key.setValue("v", 3L)) << "writes work again once the scope has ended";
  EXPECT_TRUE(key.queryValue("v", v));
  EXPECT_EQ(v, 3);
}
