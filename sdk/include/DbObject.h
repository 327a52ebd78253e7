#pragma once

#include "DbObjectId.h"
#include "RxObject.h"
#include "SdkExport.h"
#include "SmartPtr.h"

#include <atomic>
#include <cstdint>

// Base of drawing objects. Its runtime class "OdDbObject" (parent
// "OdRxObject") is always registered; derive concrete classes with
// OdRxSubclass<T, OdDbObject, L"Name">.
class UTSDK_EXPORT OdDbObject : public OdRxObject {
 public:
  static OdRxClass* desc();
  OdRxClass* isA() const override;
  // `object` as an OdDbObjectPtr when it is a drawing object, else null.
  static OdDbObjectPtr cast(const OdRxObject* object);
  static OdDbObjectPtr createObject();

  // The identifier given by OdDbObjectStore::add(); null before that.
  OdDbObjectId objectId() const noexcept;
  bool isErased() const noexcept;

 protected:
  OdDbObject() noexcept = default;

 private:
  friend class OdDbObjectStore;
  std::atomic<std::uint64_t> m_id{0};
  std::atomic<bool> m_erased{false};
};

// The process-wide in-memory store behind OdDbObjectId::openObject. It holds
// one reference to every object added, erased ones included, until the
// process ends. All members are thread-safe.
class UTSDK_EXPORT OdDbObjectStore {
 public:
  OdDbObjectStore() = delete;

  // Adds `object` and returns its new identifier; an object added before
  // keeps its identifier. A null pointer gives the null identifier.
  static OdDbObjectId add(const OdDbObjectPtr& object);
  // Marks the object erased; false for a null, unknown or already erased
  // identifier.
  static bool erase(const OdDbObjectId& id);

 private:
  friend class OdDbObject;
  static OdDbObjectId idOf(std::uint64_t value) noexcept;
};
