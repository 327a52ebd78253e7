#pragma once

#include "OdString.h"
#include "RxObject.h"
#include "SdkExport.h"

class OdRxClass;

// Creates a new object of a class; null for classes without instances.
using OdPseudoConstructorType = OdRxObjectPtr (*)();
// Called when a class's owning application name is needed under another
// file-format version; stored with the class for the host's use.
using AppNameChangeFuncPtr = void (*)(const OdRxClass* cls, OdString& newAppName, int saveVersion);

// A runtime-class descriptor: a name, a parent class and an optional
// constructor. Descriptors are created and registered by newOdRxClass() and
// stay valid for the rest of the process, even after deleteOdRxClass(), so
// that objects and derived classes never hold a dangling descriptor.
class UTSDK_EXPORT OdRxClass {
 public:
  OdRxClass(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor,
            AppNameChangeFuncPtr appNameCallback);
  OdRxClass(const OdRxClass&) = delete;
  OdRxClass& operator=(const OdRxClass&) = delete;

  const OdString& name() const noexcept { return m_name; }
  // The parent class; null only for the root class "OdRxObject".
  OdRxClass* myParent() const noexcept { return m_parent; }
  // True when `other` is this class or one of its ancestors (false for null).
  bool isDerivedFrom(const OdRxClass* other) const noexcept;
  // A new instance, or null when the class has no constructor.
  OdRxObjectPtr create() const;
  AppNameChangeFuncPtr appNameCallbackPtr() const noexcept { return m_appNameCallback; }

 private:
  OdString m_name;
  OdRxClass* m_parent;
  OdPseudoConstructorType m_constructor;
  AppNameChangeFuncPtr m_appNameCallback;
};

// Creates a class descriptor and registers it under `name` in the
// process-wide class dictionary. Throws OdError: eDuplicateKey (313) when a
// class of that name is registered already, eInvalidInput for an empty name
// or a null parent. Thread-safe.
UTSDK_EXPORT OdRxClass* newOdRxClass(const OdString& name, OdRxClass* parent,
                                     OdPseudoConstructorType constructor = nullptr,
                                     AppNameChangeFuncPtr appNameCallback = nullptr);

// Removes `cls` from the class dictionary; afterwards its name may be
// registered again. Unknown or null classes and the built-in classes
// ("OdRxObject", "OdDbObject") are left alone. Thread-safe.
UTSDK_EXPORT void deleteOdRxClass(OdRxClass* cls);

// A new object of the registered class `className`; null when no such class
// is registered or it has no constructor. Thread-safe.
UTSDK_EXPORT OdRxObjectPtr odrxCreateObject(const OdString& className);
