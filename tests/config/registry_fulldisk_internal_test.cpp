// Importing a registry-export file into a store on a full disk: the import
// stops at the first value that does not fit, says so once, and keeps nothing.

#include <gtest/gtest.h>

#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>

#include "config_test_support.h"
#include "test_support.h"
#include "ut_regstore_db.h"

#include <string>

using namespace ut;
namespace fs = std::filesystem;

namespace {

bool contains(const std::wstring& text, const std::wstring& part) { return text.find(part) != std::wstring::npos; }

}  // namespace

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

  test::LogCapture log;
  EXPECT_FALSE(Registry::importKey(OdString(file.wstring().c_str()), true));
  ASSERT_FALSE(log.messages().empty());
  // One message for the line where the disk filled, one for the import.
  EXPECT_LE(log.messages().size(), 2u);
  EXPECT_TRUE(contains(log.messages().front(), L"disk full")) << log.messages().front();
  EXPECT_TRUE(contains(log.messages().front(), L"the import stops")) << log.messages().front();
  EXPECT_FALSE(RegKey(eCurrentUser, L"Software\\TVCAD\\Imported").exists());
  EXPECT_TRUE(RegKey(eCurrentUser, L"Software\\TVCAD\\Before").exists());
}
