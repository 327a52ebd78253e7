#include "DbObject.h"

#include "OdError.h"
#include "RxClass.h"

#include <map>
#include <mutex>
#include <utility>

namespace {

struct StoreEntry {
  OdDbObjectPtr object;
  bool erased = false;
};

// The objects of the process. Identifiers are never reused, so a stale
// identifier can never reach a newer object.
struct StoreState {
  std::mutex mutex;
  std::map<std::uint64_t, StoreEntry> entries;
  std::uint64_t lastId = 0;
};

StoreState& storeState() {
  static StoreState state;
  return state;
}

// The entry's object (null if unknown) and whether it is erased.
std::pair<OdDbObjectPtr, bool> lookup(std::uint64_t id) {
  StoreState& state = storeState();
  const std::lock_guard lock(state.mutex);
  const auto it = state.entries.find(id);
  if (it == state.entries.end()) return {OdDbObjectPtr(), false};
  return {it->second.object, it->second.erased};
}

}  // namespace

OdRxClass* OdDbObject::isA() const { return desc(); }

OdDbObjectPtr OdDbObject::cast(const OdRxObject* object) {
  if (!object) return {};
  return OdDbObjectPtr(static_cast<OdDbObject*>(object->queryX(desc())), kOdRxObjAttach);
}

OdDbObjectPtr OdDbObject::createObject() { return OdDbObjectPtr(new OdDbObject(), kOdRxObjAttach); }

OdDbObjectId OdDbObject::objectId() const noexcept {
  return OdDbObjectStore::idOf(m_id.load(std::memory_order_acquire));
}

bool OdDbObject::isErased() const noexcept { return m_erased.load(std::memory_order_acquire); }

OdDbObjectId OdDbObjectStore::add(const OdDbObjectPtr& object) {
  if (!object) return {};
  StoreState& state = storeState();
  const std::lock_guard lock(state.mutex);
  const std::uint64_t existing = object->m_id.load(std::memory_order_acquire);
  if (existing != 0) return OdDbObjectId(existing);
  const std::uint64_t id = ++state.lastId;
  state.entries.emplace(id, StoreEntry{object, false});
  object->m_id.store(id, std::memory_order_release);
  return OdDbObjectId(id);
}

bool OdDbObjectStore::erase(const OdDbObjectId& id) {
  StoreState& state = storeState();
  const std::lock_guard lock(state.mutex);
  const auto it = state.entries.find(id.m_value);
  if (it == state.entries.end() || it->second.erased) return false;
  it->second.erased = true;
  it->second.object->m_erased.store(true, std::memory_order_release);
  return true;
}

OdDbObjectId OdDbObjectStore::idOf(std::uint64_t value) noexcept { return OdDbObjectId(value); }

bool OdDbObjectId::isValid() const {
  if (isNull()) return false;
  const auto [object, erased] = lookup(m_value);
  return object && !erased;
}

bool OdDbObjectId::isErased() const {
  if (isNull()) return false;
  const auto [object, erased] = lookup(m_value);
  return object && erased;
}

OdDbObjectPtr OdDbObjectId::openObject(OdDb::OpenMode /*mode*/, bool openErasedOne) const {
  if (isNull()) return {};
  auto [object, erased] = lookup(m_value);
  if (erased && !openErasedOne) return {};
  return object;
}

OdDbObjectPtr OdDbObjectId::safeOpenObject(OdDb::OpenMode /*mode*/, bool openErasedOne) const {
  if (isNull()) throw OdError(eNullObjectId);
  auto [object, erased] = lookup(m_value);
  if (!object) throw OdError(eKeyNotFound);
  if (erased && !openErasedOne) throw OdError(eWasErased);
  return object;
}
