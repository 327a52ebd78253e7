#pragma once

#include "SdkExport.h"
#include "SmartPtr.h"

#include <atomic>

class OdRxClass;
class OdRxObject;
using OdRxObjectPtr = OdSmartPtr<OdRxObject>;

// Root of the runtime-class system: an object with an intrusive, atomic
// reference count and a runtime class (isA()).
//
// Objects live on the heap and start with one reference, owned by whoever
// created them (normally handed straight to an OdSmartPtr with
// kOdRxObjAttach, see OdRxSubclass::createObject()). The object deletes
// itself when release() drops the last reference. addRef() and release()
// may be called from any thread.
class UTSDK_EXPORT OdRxObject {
 public:
  OdRxObject(const OdRxObject&) = delete;
  OdRxObject& operator=(const OdRxObject&) = delete;
  virtual ~OdRxObject();

  void addRef() noexcept;
  // Drops one reference; destroys the object when it was the last.
  void release() noexcept;
  // The current number of references (a snapshot under concurrency).
  long numRefs() const noexcept;

  // The descriptor of the class "OdRxObject"; always registered.
  static OdRxClass* desc();
  // The object's runtime class; null when its class has been unregistered.
  virtual OdRxClass* isA() const;
  // This object with one added reference when it is of class `cls` or of a
  // class derived from it; otherwise null. The caller owns the reference.
  virtual OdRxObject* queryX(const OdRxClass* cls) const;
  // Whether the object is of class `cls` or derived from it.
  bool isKindOf(const OdRxClass* cls) const;
  // `object` itself as a new smart pointer, or null for a null pointer.
  static OdRxObjectPtr cast(const OdRxObject* object);

 protected:
  OdRxObject() noexcept = default;

 private:
  std::atomic<long> m_refs{1};
};
