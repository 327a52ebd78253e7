#include "DbObject.h"
#include "OdError.h"
#include "RxClass.h"
#include "RxObject.h"
#include "RxSubclass.h"
#include "SmartPtr.h"
#include "sdk_test_print.h"

#include <gtest/gtest.h>

#include <atomic>

namespace {

std::atomic<int> g_destroyed{0};

class TestShape : public OdRxSubclass<TestShape, OdDbObject, L"TestShape"> {
 public:
  ~TestShape() override { ++g_destroyed; }
};

class TestCircle : public OdRxSubclass<TestCircle, TestShape, L"TestCircle"> {};

// A runtime class outside the drawing-object branch.
class TestService : public OdRxSubclass<TestService, OdRxObject, L"TestService"> {};

class TestInterface : public OdRxSubclass<TestInterface, OdRxObject, L"TestInterface"> {
 public:
  virtual int answer() const = 0;
};

void renameApp(const OdRxClass*, OdString& name, int) { name = L"renamed"; }

// Registers the test classes for one test and removes them afterwards, so
// that every test starts from the same dictionary.
class RxClasses : public ::testing::Test {
 protected:
  void SetUp() override {
    TestShape::rxInit();
    TestCircle::rxInit();
    TestService::rxInit();
    TestInterface::rxInit(&renameApp);
  }
  void TearDown() override {
    TestInterface::rxUninit();
    TestService::rxUninit();
    TestCircle::rxUninit();
    TestShape::rxUninit();
  }
};

int errorCodeOf(void (*action)()) {
  try {
    action();
  } catch (const OdError& e) {
    return e.code();
  }
  return -1;
}

}  // namespace

TEST(RxRefCount, ObjectDiesExactlyWithItsLastReference) {
  const int before = g_destroyed;
  OdSmartPtr<TestShape> first = TestShape::createObject();
  EXPECT_EQ(first->numRefs(), 1);
  {
    OdSmartPtr<TestShape> second = first;
    OdRxObjectPtr asBase = second;               // an up-cast shares the same count
    OdSmartPtr<TestShape> fromRaw(first.get());  // a raw pointer adds a reference
    EXPECT_EQ(first->numRefs(), 4);
    EXPECT_EQ(asBase, first);
  }
  first->addRef();
  {
    OdSmartPtr<TestShape> attached(first.get(), kOdRxObjAttach);  // takes the one just added
    EXPECT_EQ(first->numRefs(), 2);
  }
  EXPECT_EQ(first->numRefs(), 1);
  EXPECT_EQ(g_destroyed, before);
  first.release();
  EXPECT_TRUE(first.isNull());
  EXPECT_EQ(g_destroyed, before + 1);
  OdSmartPtr<TestShape> a = TestShape::createObject();
  a = TestShape::createObject();  // the old object of `a` goes
  EXPECT_EQ(g_destroyed, before + 2);
}

TEST_F(RxClasses, HierarchyDescriptorsQueryXAndCast) {
  EXPECT_EQ(OdRxObject::desc()->myParent(), nullptr);
  EXPECT_EQ(OdDbObject::desc()->myParent(), OdRxObject::desc());
  EXPECT_EQ(TestCircle::desc()->name(), L"TestCircle");
  EXPECT_EQ(TestCircle::desc()->myParent(), TestShape::desc());
  EXPECT_TRUE(TestCircle::desc()->isDerivedFrom(TestCircle::desc()));
  EXPECT_TRUE(TestCircle::desc()->isDerivedFrom(OdRxObject::desc()));
  EXPECT_FALSE(TestShape::desc()->isDerivedFrom(TestCircle::desc()) || TestCircle::desc()->isDerivedFrom(nullptr));
  EXPECT_EQ(TestInterface::desc()->appNameCallbackPtr(), &renameApp);

  const OdSmartPtr<TestCircle> circle = TestCircle::createObject();
  const OdRxObject* asObject = circle.get();
  EXPECT_TRUE(circle->isKindOf(TestShape::desc()));
  OdRxObjectPtr answer(asObject->queryX(TestShape::desc()), kOdRxObjAttach);
  EXPECT_EQ(answer, circle);
  EXPECT_EQ(circle->numRefs(), 2);  // the answer carries its own reference
  answer.release();
  EXPECT_TRUE(asObject->queryX(TestService::desc()) == nullptr && asObject->queryX(nullptr) == nullptr);
  EXPECT_EQ(OdDbObject::cast(asObject), circle);
  EXPECT_TRUE(TestService::cast(asObject).isNull() && TestShape::cast(nullptr).isNull());
  EXPECT_EQ(circle->numRefs(), 1);  // failed queries and casts leave no reference behind
  EXPECT_TRUE(TestCircle::cast(TestShape::createObject().get()).isNull());  // a base is not a derived
}

TEST_F(RxClasses, RegistrationTwiceIsDuplicateKey) {
  EXPECT_EQ(errorCodeOf(&TestShape::rxInit), 313);
  EXPECT_EQ(errorCodeOf([] { newOdRxClass(L"OdDbObject", OdRxObject::desc()); }), eDuplicateKey);
  EXPECT_EQ(errorCodeOf([] { newOdRxClass(L"", OdRxObject::desc()); }), eInvalidInput);
  EXPECT_EQ(errorCodeOf([] { newOdRxClass(L"NoParent", nullptr); }), eInvalidInput);
  EXPECT_EQ(odrxCreateObject(L"TestShape")->isA(), TestShape::desc());  // the failed attempts left it in place
  try {
    TestCircle::rxInit();
    FAIL() << "second registration accepted";
  } catch (const OdError& e) {
    EXPECT_EQ(e.code(), eDuplicateKey);
    EXPECT_NE(e.description().find(L"TestCircle"), -1);
  }
}

TEST_F(RxClasses, CreateObjectByName) {
  const OdRxObjectPtr made = odrxCreateObject(L"TestCircle");
  ASSERT_FALSE(made.isNull());
  EXPECT_EQ(made->isA(), TestCircle::desc());
  EXPECT_EQ(made->numRefs(), 1);
  // Names match exactly; the root and abstract classes have no instances.
  for (const wchar_t* name : {L"NoSuchClass", L"testcircle", L"", L"OdRxObject", L"TestInterface"}) {
    EXPECT_TRUE(odrxCreateObject(name).isNull()) << OdString(name).toUtf8();
  }
}
