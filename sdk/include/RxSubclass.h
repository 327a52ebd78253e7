#pragma once

#include "OdString.h"
#include "RxClass.h"
#include "RxObject.h"
#include "SdkExport.h"
#include "SmartPtr.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <type_traits>

// A class name usable as a template argument: OdRxSubclass<..., L"Name">.
template <std::size_t N>
struct UTSDK_EXPORT OdRxClassName {
  constexpr OdRxClassName(const wchar_t (&text)[N]) { std::copy_n(text, N, m_text); }
  wchar_t m_text[N]{};  // public: template arguments must be structural
};

// Holds the descriptor of class T. Kept apart from OdRxSubclass because a
// template with a class-type argument such as OdRxClassName always gets
// hidden visibility, which would give every shared library its own copy;
// this one is keyed by T alone and so is shared whenever T is exported.
template <class T>
struct UTSDK_EXPORT OdRxClassSlot {
  static inline std::atomic<OdRxClass*> g_pDesc{nullptr};
};

// Gives class T, derived from TParent, the runtime-class members:
//
//   class MyEntity : public OdRxSubclass<MyEntity, OdDbObject, L"MyEntity"> {...};
//
// - desc(): T's descriptor (held in OdRxClassSlot<T>::g_pDesc), null while T
//   is not registered;
// - isA(): desc();
// - cast(object): `object` as OdSmartPtr<T> when it is a T, else null;
// - createObject(): a new T holding one reference (only for a T that is
//   publicly default-constructible, so not for an abstract T);
// - pseudoConstructor(): createObject() as an OdRxObjectPtr, or null when T
//   cannot be created that way;
// - rxInit() / rxInit(callback): register T under Name with TParent as its
//   parent (TParent must be registered first); throws OdError eDuplicateKey
//   (313) when Name is registered already;
// - rxUninit(): unregister T; does nothing when T is not registered.
//
// The descriptor is one variable per T. A class used from several shared
// libraries must be exported (default visibility) so that they all share it.
template <class T, class TParent, OdRxClassName Name>
class UTSDK_EXPORT OdRxSubclass : public TParent {
 public:
  using TParent::TParent;

  static OdRxClass* desc() noexcept { return OdRxClassSlot<T>::g_pDesc.load(std::memory_order_acquire); }
  OdRxClass* isA() const override { return desc(); }

  static OdSmartPtr<T> cast(const OdRxObject* object) {
    if (!object) return {};
    // queryX answers only for objects of T's class or classes derived from it.
    return OdSmartPtr<T>(static_cast<T*>(object->queryX(desc())), kOdRxObjAttach);
  }

  static OdSmartPtr<T> createObject() requires std::is_default_constructible_v<T> {
    return OdSmartPtr<T>(new T(), kOdRxObjAttach);
  }

  static OdRxObjectPtr pseudoConstructor() {
    if constexpr (std::is_default_constructible_v<T>)
      return createObject();
    else
      return {};
  }

  static void rxInit() { rxInit(nullptr); }
  static void rxInit(AppNameChangeFuncPtr appNameCallback) {
    OdRxClass* cls = newOdRxClass(OdString(Name.m_text), TParent::desc(),
                                  std::is_default_constructible_v<T> ? &pseudoConstructor : nullptr, appNameCallback);
    OdRxClassSlot<T>::g_pDesc.store(cls, std::memory_order_release);
  }
  static void rxUninit() {
    if (OdRxClass* cls = OdRxClassSlot<T>::g_pDesc.exchange(nullptr, std::memory_order_acq_rel)) deleteOdRxClass(cls);
  }
};
