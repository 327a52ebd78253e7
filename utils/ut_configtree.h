#pragma once

// Tree helpers shared by the configuration facade and the profile manager.
// Internal: not exported.

#include <ut/ut_confignode.h>

#include "OdString.h"

namespace ut {

// A deep copy of a live node made of fresh nodes, every path starting with
// `from` rewritten to start with `to` instead (both key paths ending in "/",
// or for a value node its full path). Tombstones and absent nodes are left
// out; overlays are copied as the node they wrap. Empty for a node that is
// not live or whose path does not start with `from`.
ConfigNodePtr relocatedCopy(const ConfigNodePtr& node, const OdString& from, const OdString& to);

// Whether a node stands for something: not empty, not a tombstone, not absent.
inline bool isLiveNode(const ConfigNodePtr& node) { return node && node->type() != ConfigValBase::kNone; }

}  // namespace ut
