#pragma once

#include "DbObjectId.h"

#include <algorithm>
#include <compare>
#include <cstdint>

// Marker of a subentity within its entity's graphics.
using OdGsMarker = std::intptr_t;

namespace OdDb {
enum SubentType {
  kNullSubentType = 0,
  kFaceSubentType = 1,
  kEdgeSubentType = 2,
  kVertexSubentType = 3,
};
}  // namespace OdDb

// Names a subentity: its type and its index within the entity.
class OdDbSubentId {
 public:
  constexpr OdDbSubentId() noexcept = default;
  constexpr OdDbSubentId(OdDb::SubentType type, OdGsMarker index) noexcept : m_type(type), m_index(index) {}

  constexpr OdDb::SubentType type() const noexcept { return m_type; }
  constexpr void setType(OdDb::SubentType type) noexcept { m_type = type; }
  constexpr OdGsMarker index() const noexcept { return m_index; }
  constexpr void setIndex(OdGsMarker index) noexcept { m_index = index; }

  // Ordered by type, then index.
  friend constexpr bool operator==(const OdDbSubentId&, const OdDbSubentId&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const OdDbSubentId&, const OdDbSubentId&) noexcept = default;

 private:
  OdDb::SubentType m_type = OdDb::kNullSubentType;
  OdGsMarker m_index = 0;
};

// The path to a subentity: the chain of object identifiers from the outermost
// container down to the entity, and the subentity within it.
class OdDbFullSubentPath {
 public:
  OdDbFullSubentPath() = default;
  OdDbFullSubentPath(const OdDbObjectIdArray& objectIds, const OdDbSubentId& subentId)
      : m_objectIds(objectIds), m_subentId(subentId) {}
  OdDbFullSubentPath(const OdDbObjectId& entity, const OdDbSubentId& subentId) : m_subentId(subentId) {
    m_objectIds.append(entity);
  }

  const OdDbObjectIdArray& objectIds() const noexcept { return m_objectIds; }
  OdDbObjectIdArray& objectIds() noexcept { return m_objectIds; }
  const OdDbSubentId& subentId() const noexcept { return m_subentId; }
  OdDbSubentId& subentId() noexcept { return m_subentId; }

  friend bool operator==(const OdDbFullSubentPath& a, const OdDbFullSubentPath& b) {
    return a.m_objectIds == b.m_objectIds && a.m_subentId == b.m_subentId;
  }
  // Ordered by the identifiers (lexicographically, a prefix first), then by
  // the subentity.
  friend std::strong_ordering operator<=>(const OdDbFullSubentPath& a, const OdDbFullSubentPath& b) {
    const std::strong_ordering ids = std::lexicographical_compare_three_way(a.m_objectIds.begin(), a.m_objectIds.end(),
                                                                            b.m_objectIds.begin(), b.m_objectIds.end());
    return ids != 0 ? ids : a.m_subentId <=> b.m_subentId;
  }

 private:
  OdDbObjectIdArray m_objectIds;
  OdDbSubentId m_subentId;
};
