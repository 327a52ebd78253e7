#pragma once

// Tree helpers shared by the configuration facade and the profile manager.
// Internal: not exported.

#include <ut/ut_confignode.h>

#include "OdString.h"

#include <cstdint>
#include <vector>

namespace ut {

// Gives `to` a copy of the value `from` holds (number, string or raw
// registry data), never sharing the value object; a container is not marked
// touched by it. Nothing changes when `from` holds no value.
void copyNodeValue(const ConfigNodeBase& from, ConfigNodeBase& to);

// Gives a node the value a registry value of that type and data stands for:
// REG_SZ and REG_EXPAND_SZ a string (an expandable one unexpanded), a DWORD
// or a QWORD that fits in 32 bits a number, anything else raw data kept
// byte for byte (ConfigValRaw). The store's loader and the profile importer
// share it, so a profile reads the same from either.
void assignRegistryValue(ConfigNodeBase& node, unsigned registryType, std::vector<std::uint8_t> data);

// A deep copy of a live node made of fresh nodes, every path starting with
// `from` rewritten to start with `to` instead (both key paths ending in "/",
// or for a value node its full path). Tombstones and absent nodes are left
// out; overlays are copied as the node they wrap. Empty for a node that is
// not live or whose path does not start with `from`.
ConfigNodePtr relocatedCopy(const ConfigNodePtr& node, const OdString& from, const OdString& to);

// Whether a node stands for something: not empty, not a tombstone, not absent.
inline bool isLiveNode(const ConfigNodePtr& node) { return node && node->type() != ConfigValBase::kNone; }

}  // namespace ut
