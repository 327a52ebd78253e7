#include "DbFullSubentPath.h"
#include "DbHandle.h"
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

int safeOpenError(const OdDbObjectId& id) {
  try {
    id.safeOpenObject();
  } catch (const OdError& e) {
    return e.code();
  }
  return -1;
}

OdDbFullSubentPath pathOf(std::initializer_list<OdDbObjectId> ids, OdDb::SubentType type, OdGsMarker index) {
  return OdDbFullSubentPath(OdDbObjectIdArray(ids), OdDbSubentId(type, index));
}

// Opening objects as TestBlock needs the class registered.
class DbObjects : public ::testing::Test {
 protected:
  void SetUp() override { TestBlock::rxInit(); }
  void TearDown() override { TestBlock::rxUninit(); }
};

}  // namespace

TEST(OdDbHandle, UnsignedOrder) {
  EXPECT_LT(OdDbHandle(2), OdDbHandle(10));
  EXPECT_LT(OdDbHandle(0x7FFFFFFFFFFFFFFF), OdDbHandle(0x8000000000000000));
  EXPECT_TRUE(OdDbHandle().isNull());
}

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

TEST_F(DbObjects, ErasedObjectsOpenOnlyOnRequest) {
  const int before = g_blocksDestroyed;
  const OdDbObjectId id = addBlock(3);
  const OdDbObjectPtr held = id.openObject();
  EXPECT_TRUE(OdDbObjectStore::erase(id));
  EXPECT_FALSE(OdDbObjectStore::erase(id));  // only once
  EXPECT_TRUE(id.isErased());
  EXPECT_FALSE(id.isValid());
  EXPECT_TRUE(held->isErased());
  EXPECT_TRUE(id.openObject().isNull());
  EXPECT_EQ(id.openObject(OdDb::kForRead, true), held);
  EXPECT_EQ(safeOpenError(id), eWasErased);
  EXPECT_EQ(id.safeOpenObject(OdDb::kForRead, true), held);
  EXPECT_EQ(g_blocksDestroyed, before);  // the store still keeps it
}

TEST_F(DbObjects, NullIdentifier) {
  const OdDbObjectId id;
  EXPECT_EQ(id, OdDbObjectId::kNull);
  EXPECT_FALSE(id.isValid() || id.isErased());
  EXPECT_TRUE(id.handle().isNull());
  EXPECT_TRUE(id.openObject(OdDb::kForRead, true).isNull());
  EXPECT_FALSE(OdDbObjectStore::erase(id));
  EXPECT_EQ(safeOpenError(id), eNullObjectId);
  EXPECT_LT(id, addBlock(0));
}

TEST(OdDbFullSubentPath, EqualityAndOrdering) {
  const OdDbObjectId a = addBlock(0);
  const OdDbObjectId b = addBlock(0);
  const auto edge1 = pathOf({a, b}, OdDb::kEdgeSubentType, 1);
  EXPECT_EQ(edge1, pathOf({a, b}, OdDb::kEdgeSubentType, 1));
  EXPECT_NE(edge1, pathOf({a, b}, OdDb::kEdgeSubentType, 2));
  EXPECT_NE(edge1, pathOf({a, b}, OdDb::kFaceSubentType, 1));
  EXPECT_NE(edge1, pathOf({b, a}, OdDb::kEdgeSubentType, 1));
  // Identifiers first, element by element, a prefix before its extension.
  EXPECT_LT(pathOf({a, b}, OdDb::kVertexSubentType, 9), pathOf({b}, OdDb::kNullSubentType, 0));
  EXPECT_LT(pathOf({a}, OdDb::kVertexSubentType, 9), pathOf({a, b}, OdDb::kNullSubentType, 0));
  // Then the subentity: type before index.
  EXPECT_LT(pathOf({a}, OdDb::kFaceSubentType, 5), pathOf({a}, OdDb::kEdgeSubentType, 1));
  EXPECT_LT(pathOf({a}, OdDb::kEdgeSubentType, 1), pathOf({a}, OdDb::kEdgeSubentType, 2));
  EXPECT_FALSE(edge1 < edge1);
  OdDbFullSubentPath single(a, OdDbSubentId(OdDb::kFaceSubentType, 4));
  single.objectIds().append(b);
  single.subentId().setType(OdDb::kEdgeSubentType);
  EXPECT_EQ(single, pathOf({a, b}, OdDb::kEdgeSubentType, 4));
  EXPECT_EQ(OdDbFullSubentPath(), pathOf({}, OdDb::kNullSubentType, 0));
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
