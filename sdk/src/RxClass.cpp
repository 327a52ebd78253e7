#include "RxClass.h"

#include "DbObject.h"
#include "OdError.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace {

// The process-wide class dictionary. Descriptors are owned here for the
// whole process: unregistering only removes the name, so pointers held by
// objects, derived classes or callers stay valid.
class ClassDictionary {
 public:
  static ClassDictionary& instance() {
    static ClassDictionary dictionary;
    return dictionary;
  }

  OdRxClass* rxObjectClass() const noexcept { return m_rxObjectClass; }
  OdRxClass* dbObjectClass() const noexcept { return m_dbObjectClass; }

  OdRxClass* add(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor,
                 AppNameChangeFuncPtr callback) {
    if (name.isEmpty()) throw OdError(eInvalidInput, L"A runtime class needs a name");
    if (!parent) throw OdError(eInvalidInput, L"The parent of runtime class " + name + L" is not registered");
    const std::lock_guard lock(m_mutex);
    if (m_byName.contains(name)) throw OdError(eDuplicateKey, L"Runtime class " + name + L" is already registered");
    return addLocked(name, parent, constructor, callback);
  }

  void remove(const OdRxClass* cls) {
    if (!cls || cls == m_rxObjectClass || cls == m_dbObjectClass) return;
    const std::lock_guard lock(m_mutex);
    const auto it = m_byName.find(cls->name());
    if (it != m_byName.end() && it->second == cls) m_byName.erase(it);
  }

  OdRxClass* find(const OdString& name) const {
    const std::lock_guard lock(m_mutex);
    const auto it = m_byName.find(name);
    return it == m_byName.end() ? nullptr : it->second;
  }

 private:
  ClassDictionary() {
    m_rxObjectClass = addLocked(L"OdRxObject", nullptr, nullptr, nullptr);
    m_dbObjectClass = addLocked(
        L"OdDbObject", m_rxObjectClass, [] { return OdRxObjectPtr(OdDbObject::createObject()); }, nullptr);
  }

  OdRxClass* addLocked(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor,
                       AppNameChangeFuncPtr callback) {
    m_all.push_back(std::make_unique<OdRxClass>(name, parent, constructor, callback));
    OdRxClass* cls = m_all.back().get();
    m_byName.emplace(name, cls);
    return cls;
  }

  mutable std::mutex m_mutex;
  std::vector<std::unique_ptr<OdRxClass>> m_all;
  std::map<OdString, OdRxClass*> m_byName;
  OdRxClass* m_rxObjectClass = nullptr;
  OdRxClass* m_dbObjectClass = nullptr;
};

}  // namespace

OdRxClass::OdRxClass(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor,
                     AppNameChangeFuncPtr appNameCallback)
    : m_name(name), m_parent(parent), m_constructor(constructor), m_appNameCallback(appNameCallback) {}

bool OdRxClass::isDerivedFrom(const OdRxClass* other) const noexcept {
  if (!other) return false;
  for (const OdRxClass* cls = this; cls; cls = cls->m_parent)
    if (cls == other) return true;
  return false;
}

OdRxObjectPtr OdRxClass::create() const { return m_constructor ? m_constructor() : OdRxObjectPtr(); }

OdRxClass* newOdRxClass(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor,
                        AppNameChangeFuncPtr appNameCallback) {
  return ClassDictionary::instance().add(name, parent, constructor, appNameCallback);
}

void deleteOdRxClass(OdRxClass* cls) { ClassDictionary::instance().remove(cls); }

OdRxObjectPtr odrxCreateObject(const OdString& className) {
  const OdRxClass* cls = ClassDictionary::instance().find(className);
  return cls ? cls->create() : OdRxObjectPtr();
}

OdRxClass* OdRxObject::desc() { return ClassDictionary::instance().rxObjectClass(); }

OdRxClass* OdDbObject::desc() { return ClassDictionary::instance().dbObjectClass(); }
