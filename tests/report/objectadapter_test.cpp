#include <gtest/gtest.h>

#include <ut/ut_objectadapter.h>

#include "DbObject.h"
#include "OdError.h"
#include "RxClass.h"
#include "RxSubclass.h"

#include <string>
#include <vector>

using ut::IObjectIdAdapter;
using ut::ObjectIdAdapterRegistry;

namespace {

// Drawing-object classes: a shape, a circle derived from it, and text.
class AdaptedShape : public OdRxSubclass<AdaptedShape, OdDbObject, L"AdaptedShape"> {};
class AdaptedCircle : public OdRxSubclass<AdaptedCircle, AdaptedShape, L"AdaptedCircle"> {};
class AdaptedText : public OdRxSubclass<AdaptedText, OdDbObject, L"AdaptedText"> {};

// Adapter classes; each says which one it is.
class ShapeAdapter : public OdRxSubclass<ShapeAdapter, IObjectIdAdapter, L"ShapeAdapter"> {
 public:
  virtual std::string kind() const { return "shape"; }
};
class AlphaAdapter : public OdRxSubclass<AlphaAdapter, ShapeAdapter, L"AlphaAdapter"> {
 public:
  std::string kind() const override { return "alpha"; }
};
// A runtime class that is not an adapter.
class NotAnAdapter : public OdRxSubclass<NotAnAdapter, OdRxObject, L"NotAnAdapter"> {};

class ObjectAdapterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    AdaptedShape::rxInit();
    AdaptedCircle::rxInit();
    AdaptedText::rxInit();
    IObjectIdAdapter::rxInit();
    ShapeAdapter::rxInit();
    AlphaAdapter::rxInit();
    NotAnAdapter::rxInit();
  }
  void TearDown() override {
    for (const wchar_t* name : {L"ShapeAdapter", L"AlphaAdapter", L"NotAnAdapter", L"MissingAdapter"})
      registry().unregisterAdapter(OdString(name));
    NotAnAdapter::rxUninit();
    AlphaAdapter::rxUninit();
    ShapeAdapter::rxUninit();
    IObjectIdAdapter::rxUninit();
    AdaptedText::rxUninit();
    AdaptedCircle::rxUninit();
    AdaptedShape::rxUninit();
  }

  static ObjectIdAdapterRegistry& registry() { return ObjectIdAdapterRegistry::instance(); }

  template <class T>
  static OdDbObjectId add() {
    return OdDbObjectStore::add(OdDbObjectPtr(T::createObject()));
  }

  // The kind of adapter getAdapter gives for `id`, "none" for null; checks
  // that the adapter is bound to `id`.
  static std::string adapterFor(const OdDbObjectId& id) {
    const ut::IObjectIdAdapterPtr adapter = registry().getAdapter(id);
    if (!adapter) return "none";
    EXPECT_EQ(adapter->objectId(), id);
    const auto* shape = dynamic_cast<const ShapeAdapter*>(adapter.get());
    return shape ? shape->kind() : "base";
  }
};

}  // namespace

TEST_F(ObjectAdapterTest, TheAdapterClassIsARuntimeClassUnderRxObject) {
  ASSERT_NE(IObjectIdAdapter::desc(), nullptr);
  EXPECT_EQ(IObjectIdAdapter::desc()->name(), OdString(L"IObjectIdAdapter"));
  EXPECT_EQ(IObjectIdAdapter::desc()->myParent(), OdRxObject::desc());
  const OdRxObjectPtr created = odrxCreateObject(OdString(L"IObjectIdAdapter"));
  ASSERT_FALSE(created.isNull());
  EXPECT_EQ(created->isA(), IObjectIdAdapter::desc());
  EXPECT_FALSE(IObjectIdAdapter::cast(created.get()).isNull());
  const auto shape = ShapeAdapter::createObject();
  EXPECT_EQ(IObjectIdAdapter::cast(shape.get()).get(), shape.get());
  EXPECT_TRUE(IObjectIdAdapter::cast(NotAnAdapter::createObject().get()).isNull());
  EXPECT_TRUE(IObjectIdAdapter::createObject()->objectId().isNull());
}

TEST_F(ObjectAdapterTest, InitialisingTheClassTwiceRaisesDuplicateKey) {
  int code = -1;
  try {
    IObjectIdAdapter::rxInit();
  } catch (const OdError& e) {
    code = e.code();
  }
  EXPECT_EQ(code, 313);
  // The failed second registration left the first in place.
  EXPECT_EQ(IObjectIdAdapter::desc()->name(), OdString(L"IObjectIdAdapter"));
  IObjectIdAdapter::rxUninit();
  EXPECT_EQ(IObjectIdAdapter::desc(), nullptr);
  EXPECT_NO_THROW(IObjectIdAdapter::rxInit(nullptr));
}

TEST_F(ObjectAdapterTest, ExactAndDerivedClasses) {
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedShape::desc(), false);
  const OdDbObjectId shape = add<AdaptedShape>();
  const OdDbObjectId circle = add<AdaptedCircle>();
  const OdDbObjectId text = add<AdaptedText>();
  EXPECT_EQ(adapterFor(shape), "shape");
  EXPECT_EQ(adapterFor(circle), "none");
  EXPECT_EQ(adapterFor(text), "none");

  registry().unregisterAdapter(OdString(L"ShapeAdapter"));
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedShape::desc(), true);
  EXPECT_EQ(adapterFor(shape), "shape");
  EXPECT_EQ(adapterFor(circle), "shape");
  EXPECT_EQ(adapterFor(text), "none");
}

TEST_F(ObjectAdapterTest, OfTwoAcceptingAdaptersTheFirstByNameWins) {
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedCircle::desc(), false);
  registry().registerAdapter(OdString(L"AlphaAdapter"), AdaptedShape::desc(), true);
  const OdDbObjectId circle = add<AdaptedCircle>();
  EXPECT_EQ(adapterFor(circle), "alpha");
  registry().unregisterAdapter(OdString(L"AlphaAdapter"));
  EXPECT_EQ(adapterFor(circle), "shape");
}

TEST_F(ObjectAdapterTest, TheFirstRegistrationOfANameWins) {
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedText::desc(), false);
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedShape::desc(), true);
  EXPECT_EQ(adapterFor(add<AdaptedText>()), "shape");
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "none");
}

TEST_F(ObjectAdapterTest, EmptyNamesAndNullClassesAreIgnored) {
  registry().registerAdapter(OdString(), AdaptedShape::desc(), true);
  registry().registerAdapter(OdString(L"ShapeAdapter"), nullptr, true);
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "none");
  // The null class did not take the name.
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedShape::desc(), false);
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "shape");
  registry().unregisterAdapter(OdString());
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "shape");
}

TEST_F(ObjectAdapterTest, IdentifiersThatCannotBeOpenedGiveNoAdapter) {
  registry().registerAdapter(OdString(L"ShapeAdapter"), OdDbObject::desc(), true);
  const OdDbObjectId erased = add<AdaptedShape>();
  ASSERT_TRUE(OdDbObjectStore::erase(erased));
  EXPECT_EQ(adapterFor(erased), "none");
  EXPECT_EQ(adapterFor(OdDbObjectId::kNull), "none");
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "shape");
}

TEST_F(ObjectAdapterTest, AnAdapterThatCannotBeCreatedAsAnAdapterGivesNull) {
  registry().registerAdapter(OdString(L"NotAnAdapter"), AdaptedShape::desc(), true);
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "none");
  registry().unregisterAdapter(OdString(L"NotAnAdapter"));
  registry().registerAdapter(OdString(L"MissingAdapter"), AdaptedShape::desc(), true);
  EXPECT_EQ(adapterFor(add<AdaptedShape>()), "none");
}

TEST_F(ObjectAdapterTest, TheOpenedObjectIsReleasedOnEveryPath) {
  const OdDbObjectPtr object(AdaptedShape::createObject());
  const OdDbObjectId id = OdDbObjectStore::add(object);
  const long held = object->numRefs();
  adapterFor(id);  // empty registry
  registry().registerAdapter(OdString(L"ShapeAdapter"), AdaptedText::desc(), true);
  adapterFor(id);  // no entry accepts it
  registry().registerAdapter(OdString(L"AlphaAdapter"), AdaptedShape::desc(), false);
  EXPECT_EQ(adapterFor(id), "alpha");
  EXPECT_EQ(object->numRefs(), held);
}
