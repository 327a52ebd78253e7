#pragma once

// Tree helpers shared by the configuration facade and the profile manager.
// Internal: not exported.

#include <ut/ut_confignode.h>

#include "OdString.h"

#include <wx/string.h>

#include <cstdint>
#include <string_view>
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

// Whether a stored key name can be one level of a "/"-separated
// configuration path: not empty, not ".", not "..", holding no "/". A walk
// over stored keys never follows another name as a relative step: it skips
// it and says so with warnSkippedName().
bool pathExpressible(std::wstring_view name);

// Warns through wxLogWarning that the key or value `name` found in `where`
// (a key path or name, as the walk knows it) was left out because no
// configuration path can name it.
void warnSkippedName(const wxString& where, const wxString& name);

// Whether a node stands for something: not empty, not a tombstone, not absent.
inline bool isLiveNode(const ConfigNodePtr& node) { return node && node->type() != ConfigValBase::kNone; }

}  // namespace ut
