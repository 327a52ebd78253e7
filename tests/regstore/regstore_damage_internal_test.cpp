// A store file whose pages are damaged, and a store on a full disk: the
// damage is reported as such rather than read as missing keys, nothing more is
// written into a damaged file, and a write that does not fit fails as a whole
// with "disk full".

#include <gtest/gtest.h>

#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>

#include "ut_regstore_db.h"

#include <wx/log.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"

using namespace ut;
namespace fs = std::filesystem;

namespace {

constexpr int kKeys = 300;
constexpr int kPageSize = 4096;

wxString keyPath(int k) { return wxString::Format(L"Software\\TVCAD\\Damage\\K%d", k); }

// Ten values in each of kKeys keys; the file is closed afterwards, so that
// everything stands in the database file itself.
void fillStore() {
  RegTransaction transaction;
  for (int k = 0; k < kKeys; ++k) {
    RegKey key(eCurrentUser, keyPath(k));
    ASSERT_TRUE(key.create());
    for (int v = 0; v < 10; ++v) {
      ASSERT_TRUE(key.setValue(wxString::Format(L"v%d", v),
                               wxString::Format(L"value number %d of key %d with some padding text", v, k)));
    }
  }
  ASSERT_TRUE(transaction.commit());
  RegStore::close();
}

// 200 random bytes in the middle of one page, as a failing disk leaves them.
void damagePage(const fs::path& file, int page) {
  std::string bytes = test::readFileBytes(file);
  ASSERT_GT(bytes.size(), static_cast<std::size_t>((page + 1) * kPageSize));
  std::mt19937 random(static_cast<unsigned>(page));
  for (int i = 0; i < 200; ++i)
    bytes[static_cast<std::size_t>(page * kPageSize + 1000 + i)] = static_cast<char>(random());
  ASSERT_TRUE(test::writeFileBytes(file, bytes));
}

// Reads every key's values; answers how many keys could not be listed.
int unreadableKeys() {
  int failed = 0;
  for (int k = 0; k < kKeys; ++k) {
    RegKey key(eCurrentUser, keyPath(k));
    std::vector<wxString> names;
    if (!key.open(eRead) || !key.getValueNames(names) || names.size() != 10) ++failed;
  }
  return failed;
}

bool contains(const wxString& text, const wxString& part) { return text.find(part) != wxString::npos; }

class LogCapture : public wxLog {
 public:
  LogCapture() : m_previous(wxLog::SetActiveTarget(this)) { wxLog::EnableLogging(true); }
  ~LogCapture() override { wxLog::SetActiveTarget(m_previous); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::vector<wxString> messages;

 protected:
  void DoLogRecord(wxLogLevel, const wxString& msg, const wxLogRecordInfo&) override { messages.push_back(msg); }

 private:
  wxLog* m_previous;
};

}  // namespace

TEST(RegStoreDamage, DamagedPagesAreReportedAndNothingMoreIsWritten) {
  // Damage in a value page, in the middle and towards the end of the file.
  for (const int page : {20, 50, 80}) {
    SCOPED_TRACE(page);
    test::TempStore store;
    ASSERT_TRUE(store.ok());
    fillStore();
    damagePage(store.file(), page);
    ASSERT_TRUE(RegStore::setFile(wxString(store.file().string()))) << RegStore::lastError();
    EXPECT_FALSE(RegStore::isDamaged());

    EXPECT_GT(unreadableKeys(), 0);
    EXPECT_TRUE(RegStore::isDamaged());
    const std::string damaged = test::readFileBytes(store.file());

    RegKey key(eCurrentUser, keyPath(5));
    ASSERT_TRUE(key.open(eWrite));
    EXPECT_FALSE(key.setValue(L"new", L"x"));
    EXPECT_TRUE(contains(RegStore::lastError(), L"is damaged")) << RegStore::lastError();
    EXPECT_TRUE(contains(RegStore::lastError(), wxString(store.file().string()))) << RegStore::lastError();
    EXPECT_FALSE(RegKey(eCurrentUser, L"Software\\TVCAD\\Fresh").create());
    EXPECT_FALSE(key.deleteValue(L"v1"));
    RegStore::close();
    EXPECT_TRUE(test::readFileBytes(store.file()) == damaged);  // not printed: 400 KB

    // A process that has not met the damage yet learns of it from the check,
    // and refuses writes from then on.
    ASSERT_TRUE(RegStore::setFile(wxString(store.file().string())));
    std::vector<wxString> problems;
    EXPECT_FALSE(RegStore::check(&problems));
    EXPECT_FALSE(problems.empty());
    EXPECT_TRUE(RegStore::isDamaged());
    EXPECT_FALSE(RegKey(eCurrentUser, L"Software\\TVCAD\\Fresh").create());
  }
}

TEST(RegStoreDamage, SoundStorePassesTheCheckAndStaysWritable) {
  test::TempStore store;
  ASSERT_TRUE(store.ok());
  fillStore();
  std::vector<wxString> problems{L"stale"};
  EXPECT_TRUE(RegStore::check(&problems));
  EXPECT_TRUE(problems.empty());
  EXPECT_FALSE(RegStore::isDamaged());
  EXPECT_EQ(unreadableKeys(), 0);
  EXPECT_TRUE(RegKey(eCurrentUser, L"Software\\TVCAD\\Fresh").create());
}

TEST(RegStoreDamage, AStoreThatIsNotADatabaseFailsTheCheck) {
  test::TempStore store;
  ASSERT_TRUE(store.ok());
  fillStore();
  // Page 1 holds the schema: the store cannot even open.
  std::string bytes = test::readFileBytes(store.file());
  for (std::size_t i = 0; i < 100; ++i) bytes[i] = 'x';
  ASSERT_TRUE(test::writeFileBytes(store.file(), bytes));
  EXPECT_FALSE(RegStore::setFile(wxString(store.file().string())));
  std::vector<wxString> problems;
  EXPECT_FALSE(RegStore::check(&problems));
  EXPECT_TRUE(problems.empty());
  EXPECT_TRUE(contains(RegStore::lastError(), wxString(store.file().string()))) << RegStore::lastError();
}

TEST(RegStoreFullDisk, AWriteThatDoesNotFitSaysDiskFull) {
  test::TempStore store;
  ASSERT_TRUE(store.ok());
  RegKey key(eCurrentUser, L"Software\\TVCAD\\Full");
  ASSERT_TRUE(key.create() && key.setValue(L"small", L"fits"));
  ASSERT_TRUE(regstore::Store::instance().setPageLimit(1));  // no page more than the file has

  const wxString big(L'x', 100000);
  EXPECT_FALSE(key.setValue(L"big", big));
  EXPECT_TRUE(contains(RegStore::lastError(), L"disk full")) << RegStore::lastError();
  EXPECT_FALSE(key.hasValue(L"big"));
  wxString kept;
  EXPECT_TRUE(key.queryValue(L"small", kept));
  EXPECT_EQ(kept, L"fits");
  EXPECT_FALSE(RegStore::isDamaged());
}

TEST(RegStoreFullDisk, AnImportThatDoesNotFitStopsOnceAndKeepsNothing) {
  test::TempStore store;
  ASSERT_TRUE(store.ok());
  ASSERT_TRUE(RegKey(eCurrentUser, L"Software\\TVCAD\\Before").create());
  ASSERT_TRUE(regstore::Store::instance().setPageLimit(1));

  std::string text = "Windows Registry Editor Version 5.00\r\n\r\n";
  for (int k = 0; k < 200; ++k) {
    text += "[HKEY_CURRENT_USER\\Software\\TVCAD\\Imported\\K" + std::to_string(k) + "]\r\n";
    for (int v = 0; v < 10; ++v) text += "\"v" + std::to_string(v) + "\"=\"" + std::string(200, 'x') + "\"\r\n";
    text += "\r\n";
  }
  const fs::path file = store.dir() / "big.reg";
  ASSERT_TRUE(test::writeFileBytes(file, text));

  LogCapture log;
  EXPECT_FALSE(Registry::importKey(OdString(file.wstring().c_str()), true));
  ASSERT_FALSE(log.messages.empty());
  // One message for the line where the disk filled, one for the import.
  EXPECT_LE(log.messages.size(), 2u);
  EXPECT_TRUE(contains(log.messages.front(), L"disk full")) << log.messages.front();
  EXPECT_TRUE(contains(log.messages.front(), L"the import stops")) << log.messages.front();
  EXPECT_FALSE(RegKey(eCurrentUser, L"Software\\TVCAD\\Imported").exists());
  EXPECT_TRUE(RegKey(eCurrentUser, L"Software\\TVCAD\\Before").exists());
}
