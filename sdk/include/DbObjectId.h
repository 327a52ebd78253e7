#pragma once

#include "DbHandle.h"
#include "OdArray.h"
#include "SdkExport.h"
#include "SmartPtr.h"

#include <compare>
#include <cstdint>

class OdDbObject;
using OdDbObjectPtr = OdSmartPtr<OdDbObject>;  // include DbObject.h to use it

namespace OdDb {
// How an object is opened. The in-memory store hands out shared objects and
// does not enforce the mode.
enum OpenMode { kForRead = 0, kForWrite = 1 };
}  // namespace OdDb

// Identifies an object in the process-wide object store (OdDbObjectStore).
// The default identifier is null. Identifiers are compared by value; their
// order is the order in which objects were added.
class UTSDK_EXPORT OdDbObjectId {
 public:
  static const OdDbObjectId kNull;

  constexpr OdDbObjectId() noexcept = default;

  constexpr bool isNull() const noexcept { return m_value == 0; }
  // Not null, known to the store and not erased.
  bool isValid() const;
  // Known to the store and erased.
  bool isErased() const;
  // The object's handle (the null handle for a null identifier).
  OdDbHandle handle() const noexcept { return OdDbHandle(m_value); }

  // The object, or null for a null identifier, an unknown one, or an erased
  // object unless `openErasedOne` is true. Thread-safe.
  OdDbObjectPtr openObject(OdDb::OpenMode mode = OdDb::kForRead, bool openErasedOne = false) const;
  // Like openObject(), but throws OdError instead of answering null:
  // eNullObjectId for a null identifier, eWasErased for an erased object,
  // eKeyNotFound for an identifier the store does not know.
  OdDbObjectPtr safeOpenObject(OdDb::OpenMode mode = OdDb::kForRead, bool openErasedOne = false) const;

  friend constexpr bool operator==(const OdDbObjectId&, const OdDbObjectId&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const OdDbObjectId&, const OdDbObjectId&) noexcept = default;

 private:
  friend class OdDbObjectStore;
  constexpr explicit OdDbObjectId(std::uint64_t value) noexcept : m_value(value) {}

  std::uint64_t m_value = 0;
};

inline constexpr OdDbObjectId OdDbObjectId::kNull{};

using OdDbObjectIdArray = OdArray<OdDbObjectId>;
