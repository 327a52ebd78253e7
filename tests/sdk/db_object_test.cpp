#include "DbObject.h"
#include "DbObjectId.h"
#include "OdError.h"
#include "RxSubclass.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

std::atomic<int> g_blocksDestroyed{0};

class TestBlock : public OdRxSubclass<TestBlock, OdDbObject, L"TestBlock"> {
 public:
  ~TestBlock() override { ++g_blocksDestroyed; }
  int m_number = 0;
};

OdDbObjectId addBlock(int number) {
  OdSmartPtr<TestBlock> block = TestBlock::createObject();
  block->m_number = number;
  return OdDbObjectStore::add(block);
}

// Opening objects as TestBlock needs the class registered.
class DbObjects : public ::testing::Test {
 protected:
  void SetUp() override { TestBlock::rxInit(); }
  void TearDown() override { TestBlock::rxUninit(); }
};

}  // namespace

TEST_F(DbObjects, AddOpenAndKeepAlive) {
  const int before = g_blocksDestroyed;
  const OdDbObjectId first = addBlock(1);
  const OdDbObjectId second = addBlock(2);  // the creator's pointers are gone already
  EXPECT_LT(first, second);                 // identifiers follow the order of addition
  EXPECT_TRUE(first.isValid() && !first.isErased());
  EXPECT_NE(first.handle(), second.handle());

  const OdDbObjectPtr opened = second.openObject();
  ASSERT_FALSE(opened.isNull());
  EXPECT_EQ(opened->objectId(), second);
  EXPECT_EQ(opened->numRefs(), 2);  // the store's and ours
  EXPECT_EQ(TestBlock::cast(opened.get())->m_number, 2);
  EXPECT_EQ(second.openObject(OdDb::kForWrite), opened);  // the same shared object
  EXPECT_EQ(second.safeOpenObject(), opened);
  EXPECT_EQ(g_blocksDestroyed, before);
  // Adding an object again keeps its identifier.
  EXPECT_EQ(OdDbObjectStore::add(opened), second);
  EXPECT_TRUE(OdDbObjectStore::add(OdDbObjectPtr()).isNull());
  EXPECT_TRUE(OdDbObject::createObject()->objectId().isNull());
}

TEST(OdError, CodeMessageAndWhat) {
  const OdError byCode(eOutOfRange);
  EXPECT_EQ(byCode.description(), OdError::codeText(eOutOfRange));
  EXPECT_FALSE(byCode.description().isEmpty());
  EXPECT_NE(OdError::codeText(eWasErased), OdError::codeText(eNullObjectId));
  EXPECT_EQ(OdError::codeText(static_cast<OdResult>(9999)), L"Error 9999");
  const OdError withText(eFileNotFound, L"Unable to open input file '\u00E9.txt'");
  EXPECT_EQ(withText.code(), eFileNotFound);
  EXPECT_STREQ(withText.what(), "Unable to open input file '\xC3\xA9.txt'");  // UTF-8 for std::exception
  EXPECT_EQ(OdError(OdString(L"plain")).code(), eGeneralError);
}
