#pragma once

// Object adapters: a uniform handle on a drawing object, whatever its class.
//
// Reports refer to drawing objects by OdDbObjectId. Host code registers, for
// each drawing-object class it knows how to show or select, an adapter class
// (a runtime class derived from IObjectIdAdapter) under the adapter's class
// name; ObjectIdAdapterRegistry::getAdapter then creates the right adapter
// for an identifier and binds it to that identifier.
//
//   class LineAdapter : public OdRxSubclass<LineAdapter, ut::IObjectIdAdapter, L"LineAdapter"> {...};
//   ut::IObjectIdAdapter::rxInit();  LineAdapter::rxInit();
//   ut::ObjectIdAdapterRegistry::instance().registerAdapter(L"LineAdapter", MyLine::desc(), true);
//   if (auto adapter = ut::ObjectIdAdapterRegistry::instance().getAdapter(id)) ...

#include <ut/ut_export.h>

#include "DbObjectId.h"
#include "OdString.h"
#include "RxClass.h"
#include "RxObject.h"
#include "RxSubclass.h"
#include "SmartPtr.h"

#include <map>
#include <utility>

namespace ut {

// An empty polymorphic base of every adapter.
class UT_EXPORT IObjectAdapter {
 public:
  virtual ~IObjectAdapter();

 protected:
  IObjectAdapter() = default;
  IObjectAdapter(const IObjectAdapter&) = default;
  IObjectAdapter& operator=(const IObjectAdapter&) = default;
};

// An adapter for the drawing object behind one identifier: a runtime class
// named "IObjectIdAdapter" with parent OdRxObject. Its runtime-class members
// (desc, isA, queryX, cast, createObject, pseudoConstructor, rxInit,
// rxUninit) behave as for every OdRxSubclass: in particular rxInit() while
// the class is registered throws OdError with code eDuplicateKey (313), and
// desc() is null until rxInit(). Register this class before any adapter
// class derived from it.
class UT_EXPORT IObjectIdAdapter : public IObjectAdapter,
                                   public OdRxSubclass<IObjectIdAdapter, OdRxObject, L"IObjectIdAdapter"> {
 public:
  IObjectIdAdapter();
  ~IObjectIdAdapter() override;

  // The object the adapter stands for; null until bound.
  const OdDbObjectId& objectId() const;
  // Binds the adapter to `id`. getAdapter() calls it on every adapter it
  // creates; an adapter that caches data about its object overrides it (and
  // calls this one).
  virtual void setObjectId(const OdDbObjectId& id);

 private:
  OdDbObjectId m_objectId;
};

using IObjectIdAdapterPtr = OdSmartPtr<IObjectIdAdapter>;

// Which adapter class serves which drawing-object class. One process-wide
// instance; its operations may be called from any thread.
class UT_EXPORT ObjectIdAdapterRegistry {
 public:
  static ObjectIdAdapterRegistry& instance();

  ObjectIdAdapterRegistry(const ObjectIdAdapterRegistry&) = delete;
  ObjectIdAdapterRegistry& operator=(const ObjectIdAdapterRegistry&) = delete;

  // Declares that the adapter class `adapterClassName` serves objects of
  // `objectClass`, and of classes derived from it when `includeDerived`. An
  // empty name or a null class is ignored; a name already registered keeps
  // its first registration.
  void registerAdapter(const OdString& adapterClassName, const OdRxClass* objectClass, bool includeDerived);
  // Forgets the adapter class; an empty or unknown name changes nothing.
  void unregisterAdapter(const OdString& adapterClassName);

  // A new adapter bound to `id`, or null when the identifier cannot be opened
  // (null, unknown, erased), no registered entry accepts the object, or the
  // chosen adapter class cannot be created as an IObjectIdAdapter. Entries
  // are tried in order of adapter class name: the first whose class is the
  // object's class, or an ancestor of it when the entry admits derived
  // classes, wins.
  IObjectIdAdapterPtr getAdapter(const OdDbObjectId& id) const;

 protected:
  ObjectIdAdapterRegistry();
  ~ObjectIdAdapterRegistry();

 private:
  using Entry = std::pair<const OdRxClass*, bool>;
  static std::map<OdString, Entry> s_adapterClassNamesMap;
};

}  // namespace ut
