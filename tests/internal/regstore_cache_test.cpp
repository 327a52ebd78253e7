// The read cache against writes of another connection, made here through a
// second SQLite connection in this process (the file does not know the
// difference), and against this process's own rollbacks.

#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <sqlite3.h>

#include "test_support.h"

using namespace ut;

namespace {

// Another writer on the same store file.
class OtherConnection {
 public:
  explicit OtherConnection(const std::filesystem::path& file) {
    sqlite3_open(file.c_str(), &m_db);
    sqlite3_busy_timeout(m_db, 10000);
  }
  ~OtherConnection() { sqlite3_close(m_db); }
  OtherConnection(const OtherConnection&) = delete;
  OtherConnection& operator=(const OtherConnection&) = delete;
  void exec(const std::string& sql) {
    char* err = nullptr;
    EXPECT_EQ(sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &err), SQLITE_OK) << (err ? err : "");
    sqlite3_free(err);
  }

 private:
  sqlite3* m_db = nullptr;
};

long readLong(const RegKey& key, const wxString& name) {
  long v = -999;
  key.queryValue(name, v);
  return v;
}

}  // namespace

TEST(RegStoreCache, OtherConnectionsWritesAreSeen) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Cache");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue("a", 1L));
  ASSERT_TRUE(key.setValue("b", 2L));
  std::vector<wxString> names;
  ASSERT_TRUE(key.getValueNames(names));  // a complete listing is cached
  EXPECT_EQ(readLong(key, "a"), 1);
  EXPECT_EQ(readLong(key, "missing"), -999);

  OtherConnection other(store.file());
  // 4 bytes little-endian: 7.
  other.exec("UPDATE vals SET data = x'07000000' WHERE folded = 'a'");
  EXPECT_EQ(readLong(key, "a"), 7);
  other.exec("INSERT INTO vals(key, folded, name, type, data) SELECT key, 'missing', 'Missing', 4, x'05000000' "
             "FROM vals WHERE folded = 'a'");
  EXPECT_EQ(readLong(key, "missing"), 5);
  ASSERT_TRUE(key.getValueNames(names));
  EXPECT_EQ(names, (std::vector<wxString>{"a", "b", "Missing"}));
  other.exec("DELETE FROM vals WHERE folded = 'b'");
  EXPECT_FALSE(key.hasValue("b"));
  EXPECT_EQ(key.valueCount(), 2u);

  // Many commits in a row, each seen by the next read.
  for (int i = 0; i < 50; ++i) {
    other.exec("UPDATE vals SET data = x'" + std::string(i % 2 ? "01" : "02") + "000000' WHERE folded = 'a'");
    EXPECT_EQ(readLong(key, "a"), i % 2 ? 1 : 2) << i;
  }
  // A checkpoint that restarts the WAL changes nothing we read.
  other.exec("PRAGMA wal_checkpoint(TRUNCATE)");
  EXPECT_EQ(readLong(key, "a"), 1);
  other.exec("UPDATE vals SET data = x'09000000' WHERE folded = 'a'");
  EXPECT_EQ(readLong(key, "a"), 9);
}

TEST(RegStoreCache, KeysCreatedElsewhereAreFound) {
  test::TempStore store;
  RegKey parent(eCurrentUser, "Software\\TVCAD");
  ASSERT_TRUE(parent.create());
  RegConfig config;
  // Missing twice, so that the absence is remembered.
  EXPECT_EQ(config.ReadLong("Later/v", -1), -1);
  EXPECT_EQ(config.ReadLong("Later/v", -1), -1);
  EXPECT_FALSE(RegKey(eCurrentUser, "Software\\TVCAD\\Later").exists());
  OtherConnection other(store.file());
  other.exec("INSERT INTO keys(parent, folded, name) SELECT id, 'later', 'Later' FROM keys WHERE folded = 'tvcad'");
  other.exec("INSERT INTO vals(key, folded, name, type, data) SELECT id, 'v', 'v', 4, x'2A000000' FROM keys "
             "WHERE folded = 'later'");
  EXPECT_TRUE(RegKey(eCurrentUser, "Software\\TVCAD\\Later").exists());
  EXPECT_EQ(config.ReadLong("Later/v", -1), 42);
  EXPECT_TRUE(config.HasGroup("later"));

  // And keys created here after a miss, too.
  EXPECT_FALSE(config.HasEntry("Mine/x"));
  RegKey mine(eCurrentUser, "Software\\TVCAD\\Mine");
  ASSERT_TRUE(mine.create());
  ASSERT_TRUE(mine.setValue("x", 1L));
  EXPECT_TRUE(config.HasEntry("Mine/x"));
}

TEST(RegStoreCache, OwnWritesAndRollbacks) {
  test::TempStore store;
  RegKey key(eCurrentUser, "Software\\TVCAD\\Cache");
  ASSERT_TRUE(key.create());
  ASSERT_TRUE(key.setValue("a", 1L));
  EXPECT_EQ(readLong(key, "a"), 1);
  {
    RegTransaction tx;
    ASSERT_TRUE(key.setValue("a", 2L));
    EXPECT_EQ(readLong(key, "a"), 2);
    ASSERT_TRUE(key.setValue("n", 3L));
    std::vector<wxString> names;
    ASSERT_TRUE(key.getValueNames(names));
    EXPECT_EQ(names.size(), 2u);
    ASSERT_TRUE(key.deleteValue("a"));
    EXPECT_FALSE(key.hasValue("a"));
  }
  EXPECT_EQ(readLong(key, "a"), 1) << "the rollback brought the old value back";
  EXPECT_FALSE(key.hasValue("n"));
  std::vector<wxString> names;
  ASSERT_TRUE(key.getValueNames(names));
  EXPECT_EQ(names, std::vector<wxString>{"a"});

  // Through another key object on the same key, and after deleting the key.
  RegKey same(eCurrentUser, "SOFTWARE\\TVCAD\\CACHE");
  ASSERT_TRUE(same.open());
  ASSERT_TRUE(same.setValue("a", 4L));
  EXPECT_EQ(readLong(key, "a"), 4);
  RegKey parent(eCurrentUser, "Software\\TVCAD");
  ASSERT_TRUE(parent.open());
  ASSERT_TRUE(parent.deleteKey("cache"));
  EXPECT_EQ(readLong(key, "a"), -999);
  EXPECT_EQ(key.valueCount(), 0u);
}
