#include <ut/ut_objectadapter.h>

#include "DbObject.h"

#include <mutex>
#include <shared_mutex>

namespace ut {

namespace {

// Guards ObjectIdAdapterRegistry's map: hosts register from plug-in start-up
// while reports may already ask for adapters on other threads.
std::shared_mutex& registryMutex() {
  static std::shared_mutex mutex;
  return mutex;
}

}  // namespace

IObjectAdapter::~IObjectAdapter() = default;

IObjectIdAdapter::IObjectIdAdapter() = default;
IObjectIdAdapter::~IObjectIdAdapter() = default;

const OdDbObjectId& IObjectIdAdapter::objectId() const { return m_objectId; }
void IObjectIdAdapter::setObjectId(const OdDbObjectId& id) { m_objectId = id; }

std::map<OdString, ObjectIdAdapterRegistry::Entry> ObjectIdAdapterRegistry::s_adapterClassNamesMap;

ObjectIdAdapterRegistry::ObjectIdAdapterRegistry() = default;
ObjectIdAdapterRegistry::~ObjectIdAdapterRegistry() = default;

ObjectIdAdapterRegistry& ObjectIdAdapterRegistry::instance() {
  static ObjectIdAdapterRegistry registry;
  return registry;
}

void ObjectIdAdapterRegistry::registerAdapter(const OdString& adapterClassName, const OdRxClass* objectClass,
                                              bool includeDerived) {
  if (adapterClassName.isEmpty() || !objectClass) return;
  const std::unique_lock lock(registryMutex());
  s_adapterClassNamesMap.try_emplace(adapterClassName, objectClass, includeDerived);
}

void ObjectIdAdapterRegistry::unregisterAdapter(const OdString& adapterClassName) {
  if (adapterClassName.isEmpty()) return;
  const std::unique_lock lock(registryMutex());
  s_adapterClassNamesMap.erase(adapterClassName);
}

IObjectIdAdapterPtr ObjectIdAdapterRegistry::getAdapter(const OdDbObjectId& id) const {
  const OdDbObjectPtr object = id.openObject(OdDb::kForRead, false);
  if (!object) return {};
  OdString chosen;
  {
    const std::shared_lock lock(registryMutex());
    for (const auto& [name, entry] : s_adapterClassNamesMap) {
      const auto& [objectClass, includeDerived] = entry;
      // queryX answers with an added reference, released at once.
      const OdRxObjectPtr answer(object->queryX(objectClass), kOdRxObjAttach);
      if (answer && (object->isA() == objectClass || includeDerived)) {
        chosen = name;
        break;
      }
    }
  }
  if (chosen.isEmpty()) return {};
  // Created outside the lock: a constructor may itself look up adapters.
  const OdRxObjectPtr created = odrxCreateObject(chosen);
  IObjectIdAdapterPtr adapter = IObjectIdAdapter::cast(created.get());
  if (adapter) adapter->setObjectId(id);
  return adapter;
}

}  // namespace ut
