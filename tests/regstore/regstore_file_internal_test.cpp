// Store files that cannot be used: the store refuses them with a message
// naming the file, every operation fails, and the file is left as it was.

#include <gtest/gtest.h>

#include <ut/ut_regstore.h>

#include <sqlite3.h>

#include <functional>

#include "test_support.h"

using namespace ut;
namespace fs = std::filesystem;

namespace {

void sql(const fs::path& file, const char* statements) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  char* err = nullptr;
  EXPECT_EQ(sqlite3_exec(db, statements, nullptr, nullptr, &err), SQLITE_OK) << (err ? err : "");
  sqlite3_free(err);
  sqlite3_close(db);
}

// Points the process at `file` for the object's lifetime, then back.
class StoreSwitch {
 public:
  explicit StoreSwitch(const fs::path& file) : m_previous(RegStore::file()) {
    m_accepted = RegStore::setFile(wxString(file.string()));
  }
  ~StoreSwitch() { RegStore::setFile(m_previous == RegStore::defaultFile() ? wxString() : m_previous); }
  StoreSwitch(const StoreSwitch&) = delete;
  StoreSwitch& operator=(const StoreSwitch&) = delete;
  bool accepted() const { return m_accepted; }

 private:
  wxString m_previous;
  bool m_accepted = false;
};

// A good store file holding one value, closed.
void makeStore(const fs::path& file) {
  {
    StoreSwitch store(file);
    ASSERT_TRUE(store.accepted()) << RegStore::lastError();
    RegKey key(eCurrentUser, "Software\\TVCAD");
    ASSERT_TRUE(key.create() && key.setValue("keep", "me"));
  }
  RegStore::close();
}

fs::path withBytes(const fs::path& file, const std::string& bytes) {
  EXPECT_TRUE(test::writeFileBytes(file, bytes));
  return file;
}

fs::path withSql(const fs::path& file, const char* statements, bool store = false) {
  if (store) makeStore(file);
  sql(file, statements);
  return file;
}

// Every kind of operation answers false or nothing, and says why.
void expectEverythingFails(const fs::path& file, const char* reason) {
  const wxString quoted = "Registry store \"" + wxString(file.string()) + "\" cannot be used: ";
  auto expectMessage = [&](const char* what) {
    const wxString error = RegStore::lastError();
    EXPECT_TRUE(error.StartsWith(quoted) && error.Find(reason) != wxNOT_FOUND) << what << ": " << error;
  };
  expectMessage("setFile");
  EXPECT_FALSE(RegStore::open());
  expectMessage("open");
  EXPECT_EQ(RegStore::schemaVersion(), 0);
  RegKey key(eCurrentUser, "Software\\TVCAD");
  EXPECT_FALSE(key.create());
  expectMessage("create");
  EXPECT_FALSE(key.open() || key.exists() || RegKey(eCurrentUser, "").open());
  {
    RegTransaction tx;
    EXPECT_FALSE(tx.isActive() || tx.commit());
  }
  RegConfig config;
  EXPECT_FALSE(config.Write("a/b", 1L));
  expectMessage("RegConfig::Write");
  long v = 0;
  wxString name;
  EXPECT_FALSE(config.Read("a/b", &v) || config.HasGroup("a") || config.GetFirstGroup(name, v) || config.DeleteAll());
  EXPECT_EQ(config.GetNumberOfEntries(true), 0u);
}

}  // namespace

TEST(RegStoreFileRefused, UnusableFilesStayByteForByte) {
  std::string noise = "This is a text file, not a database.\n";
  for (int i = 0; i < 200; ++i) noise += static_cast<char>((i * 37) & 0xFF);
  const auto damagedSchema = [](const fs::path& file) {
    makeStore(file);
    std::string bytes = test::readFileBytes(file);
    // Page 1 past the 100-byte file header holds the schema.
    for (std::size_t i = 100; i < 4000 && i < bytes.size(); ++i) bytes[i] = static_cast<char>(0xA5 ^ (i & 0xFF));
    return withBytes(file, bytes);
  };
  struct Case {
    const char* reason;
    std::function<fs::path(const fs::path& dir)> make;  // creates the file, returns its path
  };
  const Case cases[] = {
      {"file is not a database", [&](const fs::path& d) { return withBytes(d / "registry.db", noise); }},
      {"not a registry store",
       [](const fs::path& d) { return withSql(d / "x.db", "CREATE TABLE t(n); INSERT INTO t VALUES(1);"); }},
      {"not a registry store",
       [](const fs::path& d) { return withSql(d / "x.db", "CREATE TABLE keys(x); CREATE TABLE vals(y);"); }},
      {"newer version of the program (store format 2;",
       [](const fs::path& d) { return withSql(d / "registry.db", "PRAGMA user_version = 2;", true); }},
      {"format is damaged",
       [](const fs::path& d) { return withSql(d / "registry.db", "PRAGMA user_version = 0;", true); }},
      {"", [&](const fs::path& d) { return damagedSchema(d / "registry.db"); }},
      {"not a regular file", [](const fs::path& d) { return fs::create_directory(d / "folder.db"), d / "folder.db"; }},
      {"is not a folder", [](const fs::path& d) { return withBytes(d / "plain", "x") / "registry.db"; }},
  };
  for (const Case& c : cases) {
    test::TempDir dir;
    const fs::path file = c.make(dir.path());
    SCOPED_TRACE(file.string() + ": " + c.reason);
    const bool regular = fs::is_regular_file(file);
    const auto bytesOf = [&] { return fs::is_regular_file(file) ? test::readFileBytes(file) : std::string(); };
    const std::string bytes = bytesOf();
    {
      StoreSwitch store(file);
      EXPECT_FALSE(store.accepted());
      expectEverythingFails(file, c.reason);
    }
    RegStore::close();
    EXPECT_EQ(fs::is_regular_file(file), regular);
    EXPECT_EQ(bytesOf(), bytes);
    EXPECT_FALSE(fs::exists(file.string() + "-wal"));
  }
}

TEST(RegStoreFileRefused, EmptyFileIsTakenAndGoodFilesWorkAfterABadOne) {
  test::TempDir dir;
  ASSERT_TRUE(test::writeFileBytes(dir / "bad.db", "garbage garbage garbage garbage"));
  ASSERT_TRUE(test::writeFileBytes(dir / "empty.db", ""));
  StoreSwitch bad(dir / "bad.db");
  EXPECT_FALSE(bad.accepted());
  {
    StoreSwitch empty(dir / "empty.db");
    EXPECT_TRUE(empty.accepted()) << RegStore::lastError();
    EXPECT_TRUE(RegStore::lastError().empty());
    EXPECT_EQ(RegStore::schemaVersion(), 1);
    EXPECT_TRUE(RegKey(eCurrentUser, "Software\\TVCAD").create());
  }
  EXPECT_FALSE(RegStore::open()) << "back on the bad file";
}
