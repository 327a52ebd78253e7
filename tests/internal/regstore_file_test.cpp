// Store files that cannot be used: the store refuses them with a message
// naming the file, every operation fails, and the file is left as it was.

#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <sqlite3.h>

#include <sys/stat.h>
#include <unistd.h>

#include "test_support.h"
#include "ut_regstore_db.h"

using namespace ut;

namespace {

void sql(const std::filesystem::path& file, const char* statements) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  char* err = nullptr;
  const int rc = sqlite3_exec(db, statements, nullptr, nullptr, &err);
  EXPECT_EQ(rc, SQLITE_OK) << (err ? err : "");
  sqlite3_free(err);
  sqlite3_close(db);
}

// Switches to `file`, expects it refused with `reason` in the message, and
// restores the previous store.
class RefusedStore {
 public:
  explicit RefusedStore(const std::filesystem::path& file) : m_previous(RegStore::file()) {
    m_accepted = RegStore::setFile(wxString(file.string()));
  }
  ~RefusedStore() { RegStore::setFile(m_previous == RegStore::defaultFile() ? wxString() : m_previous); }
  RefusedStore(const RefusedStore&) = delete;
  RefusedStore& operator=(const RefusedStore&) = delete;
  bool accepted() const { return m_accepted; }

 private:
  wxString m_previous;
  bool m_accepted = false;
};

// Every kind of operation answers false or nothing, and says why.
void expectEverythingFails(const std::filesystem::path& file, const char* reason) {
  const wxString quoted = "Registry store \"" + wxString(file.string()) + "\" cannot be used: ";
  auto expectMessage = [&](const char* what) {
    const wxString error = RegStore::lastError();
    EXPECT_TRUE(error.StartsWith(quoted)) << what << ": " << error;
    EXPECT_NE(error.Find(reason), wxNOT_FOUND) << what << ": " << error;
  };
  expectMessage("setFile");
  EXPECT_FALSE(RegStore::open());
  expectMessage("open");
  EXPECT_EQ(RegStore::schemaVersion(), 0);

  RegKey key(eCurrentUser, "Software\\TVCAD");
  EXPECT_FALSE(key.create());
  expectMessage("create");
  EXPECT_FALSE(key.open());
  EXPECT_FALSE(key.exists());
  RegKey root(eCurrentUser, "");
  EXPECT_FALSE(root.open());
  {
    RegTransaction tx;
    EXPECT_FALSE(tx.isActive());
    EXPECT_FALSE(tx.commit());
  }
  RegConfig config;
  EXPECT_FALSE(config.Write("a/b", 1L));
  expectMessage("RegConfig::Write");
  long v = 0;
  EXPECT_FALSE(config.Read("a/b", &v));
  EXPECT_FALSE(config.HasGroup("a"));
  EXPECT_EQ(config.GetNumberOfEntries(true), 0u);
  wxString name;
  long index = 0;
  EXPECT_FALSE(config.GetFirstGroup(name, index));
  EXPECT_FALSE(config.DeleteAll());
}

}  // namespace

TEST(RegStoreFileRefused, NotADatabase) {
  test::TempDir dir;
  const auto file = dir / "registry.db";
  std::string bytes = "This is a text file, not a database.\n";
  for (int i = 0; i < 200; ++i) bytes += static_cast<char>((i * 37) & 0xFF);
  ASSERT_TRUE(test::writeFileBytes(file, bytes));
  {
    RefusedStore store(file);
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(file, "file is not a database");
  }
  EXPECT_EQ(test::readFileBytes(file), bytes);
  EXPECT_FALSE(std::filesystem::exists(dir / "registry.db-wal"));
}

TEST(RegStoreFileRefused, DatabaseOfAnotherKind) {
  test::TempDir dir;
  const auto file = dir / "other.db";
  sql(file, "CREATE TABLE people(name TEXT); INSERT INTO people VALUES('ann');");
  const std::string bytes = test::readFileBytes(file);
  {
    RefusedStore store(file);
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(file, "not a registry store");
  }
  EXPECT_EQ(test::readFileBytes(file), bytes);

  // Tables with our names do not make it ours either.
  const auto lookalike = dir / "lookalike.db";
  sql(lookalike, "CREATE TABLE keys(x); CREATE TABLE vals(y);");
  const std::string lookalikeBytes = test::readFileBytes(lookalike);
  {
    RefusedStore store(lookalike);
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(lookalike, "not a registry store");
  }
  EXPECT_EQ(test::readFileBytes(lookalike), lookalikeBytes);
}

TEST(RegStoreFileRefused, NewerFormat) {
  test::TempDir dir;
  const auto file = dir / "registry.db";
  {
    RefusedStore create(file);
    ASSERT_TRUE(create.accepted()) << RegStore::lastError();
    RegKey key(eCurrentUser, "Software\\TVCAD");
    ASSERT_TRUE(key.create());
    ASSERT_TRUE(key.setValue("keep", "me"));
  }
  RegStore::close();
  sql(file, "PRAGMA user_version = 2;");
  const std::string bytes = test::readFileBytes(file);
  {
    RefusedStore store(file);
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(file, "newer version");
    EXPECT_NE(RegStore::lastError().Find("format 2"), wxNOT_FOUND) << RegStore::lastError();
  }
  RegStore::close();
  EXPECT_EQ(test::readFileBytes(file), bytes);

  // Our own format with a damaged version number is refused too.
  sql(file, "PRAGMA user_version = 0;");
  {
    RefusedStore store(file);
    EXPECT_FALSE(store.accepted());
    EXPECT_NE(RegStore::lastError().Find("damaged"), wxNOT_FOUND) << RegStore::lastError();
  }
  // Put right again, the data is all there.
  sql(file, "PRAGMA user_version = 1;");
  {
    RefusedStore store(file);
    ASSERT_TRUE(store.accepted()) << RegStore::lastError();
    RegKey key(eCurrentUser, "Software\\TVCAD");
    wxString v;
    ASSERT_TRUE(key.open(eRead));
    EXPECT_TRUE(key.queryValue("keep", v));
    EXPECT_EQ(v, "me");
  }
}

TEST(RegStoreFileRefused, DamagedSchemaPage) {
  test::TempDir dir;
  const auto file = dir / "registry.db";
  {
    RefusedStore create(file);
    ASSERT_TRUE(create.accepted()) << RegStore::lastError();
    RegKey key(eCurrentUser, "Software\\TVCAD");
    ASSERT_TRUE(key.create());
    ASSERT_TRUE(key.setValue("v", 1L));
  }
  RegStore::close();
  std::string bytes = test::readFileBytes(file);
  ASSERT_GT(bytes.size(), 4096u);
  // Page 1 past the 100-byte file header holds the schema.
  for (std::size_t i = 100; i < 4000; ++i) bytes[i] = static_cast<char>(0xA5 ^ (i & 0xFF));
  ASSERT_TRUE(test::writeFileBytes(file, bytes));
  {
    RefusedStore store(file);
    EXPECT_FALSE(store.accepted());
    EXPECT_TRUE(RegStore::lastError().StartsWith("Registry store \"" + wxString(file.string()) + "\" cannot be used: "))
        << RegStore::lastError();
    RegKey key(eCurrentUser, "Software\\TVCAD");
    EXPECT_FALSE(key.open());
    EXPECT_FALSE(key.create());
  }
  RegStore::close();
  EXPECT_EQ(test::readFileBytes(file), bytes);
}

TEST(RegStoreFileRefused, FolderAndPermissionProblems) {
  test::TempDir dir;
  // The path is a folder.
  std::filesystem::create_directory(dir / "folder.db");
  {
    RefusedStore store(dir / "folder.db");
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(dir / "folder.db", "not a regular file");
  }
  // A parent that is a file.
  ASSERT_TRUE(test::writeFileBytes(dir / "plain", "x"));
  {
    RefusedStore store(dir / "plain" / "registry.db");
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(dir / "plain" / "registry.db", "is not a folder");
  }
  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
  // A folder we may not write in.
  std::filesystem::create_directory(dir / "locked");
  ::chmod((dir / "locked").c_str(), 0500);
  {
    RefusedStore store(dir / "locked" / "sub" / "registry.db");
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(dir / "locked" / "sub" / "registry.db", "Permission denied");
  }
  {
    RefusedStore store(dir / "locked" / "registry.db");
    EXPECT_FALSE(store.accepted());
    expectEverythingFails(dir / "locked" / "registry.db", "unable to open");
  }
  ::chmod((dir / "locked").c_str(), 0700);
}

TEST(RegStoreFileRefused, ReadOnlyStoreRefusesWrites) {
  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
  test::TempDir dir;
  const auto file = dir / "registry.db";
  {
    RefusedStore create(file);
    ASSERT_TRUE(create.accepted());
    RegKey key(eCurrentUser, "Software\\TVCAD");
    ASSERT_TRUE(key.create());
    ASSERT_TRUE(key.setValue("v", 1L));
  }
  RegStore::close();
  ::chmod(file.c_str(), 0400);
  const std::string bytes = test::readFileBytes(file);
  {
    RefusedStore store(file);
    // Whether or not it opens for reading, nothing may be written, and the
    // failure says why.
    RegKey key(eCurrentUser, "Software\\TVCAD");
    if (key.open()) {
      EXPECT_FALSE(key.setValue("w", 2L));
      EXPECT_NE(RegStore::lastError().Find(wxString(file.string())), wxNOT_FOUND) << RegStore::lastError();
    } else {
      EXPECT_FALSE(RegStore::lastError().empty());
    }
  }
  RegStore::close();
  EXPECT_EQ(test::readFileBytes(file), bytes);
  ::chmod(file.c_str(), 0600);
}

TEST(RegStoreFileRefused, EmptyFileIsTakenAndGoodFilesWorkAfterABadOne) {
  test::TempDir dir;
  ASSERT_TRUE(test::writeFileBytes(dir / "bad.db", "garbage garbage garbage garbage"));
  ASSERT_TRUE(test::writeFileBytes(dir / "empty.db", ""));
  RefusedStore bad(dir / "bad.db");
  EXPECT_FALSE(bad.accepted());
  {
    RefusedStore empty(dir / "empty.db");
    EXPECT_TRUE(empty.accepted()) << RegStore::lastError();
    EXPECT_TRUE(RegStore::lastError().empty());
    EXPECT_EQ(RegStore::schemaVersion(), 1);
    RegKey key(eCurrentUser, "Software\\TVCAD");
    EXPECT_TRUE(key.create());
  }
  EXPECT_FALSE(RegStore::open()) << "back on the bad file";
}
