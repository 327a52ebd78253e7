#include "RxObject.h"

#include "RxClass.h"

OdRxObject::~OdRxObject() = default;

void OdRxObject::addRef() noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }

void OdRxObject::release() noexcept {
  // acq_rel: every other owner's writes must be visible to the thread that
  // destroys the object.
  if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

long OdRxObject::numRefs() const noexcept { return m_refs.load(std::memory_order_relaxed); }

OdRxClass* OdRxObject::isA() const { return desc(); }

OdRxObject* OdRxObject::queryX(const OdRxClass* cls) const {
  if (!isKindOf(cls)) return nullptr;
  // Objects are always created non-const on the heap; const only restricts
  // this caller's view, while the reference count is shared bookkeeping.
  auto* self = const_cast<OdRxObject*>(this);
  self->addRef();
  return self;
}

bool OdRxObject::isKindOf(const OdRxClass* cls) const {
  const OdRxClass* mine = isA();
  return mine && mine->isDerivedFrom(cls);
}

OdRxObjectPtr OdRxObject::cast(const OdRxObject* object) {
  if (!object) return {};
  return OdRxObjectPtr(object->queryX(desc()), kOdRxObjAttach);
}
