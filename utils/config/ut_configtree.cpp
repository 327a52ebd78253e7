#include "ut_configtree.h"

#include <ut/ut_regstore.h>

#include "ut_regstore_codec.h"

#include <wx/log.h>

#include <optional>

namespace ut {

bool pathExpressible(std::wstring_view name) {
  return !name.empty() && name != L"." && name != L".." && name.find(L'/') == std::wstring_view::npos;
}

void warnSkippedName(const wxString& where, const wxString& name) {
  wxLogWarning(L"Skipped \"%s\" in %s: \".\", \"..\" and names holding \"/\" cannot be levels of a configuration path",
               name, where);
}

void assignRegistryValue(ConfigNodeBase& node, unsigned registryType, std::vector<std::uint8_t> data) {
  std::optional<std::uint64_t> number;
  switch (registryType) {
    case eRegSz:
    case eRegExpandSz:
      node.setString(regstore::decodeRegString(data.data(), data.size()).c_str());
      return;
    case eRegDword:
      number = regstore::decodeDword(data.data(), data.size());
      break;
    case eRegQword:
      number = regstore::decodeQword(data.data(), data.size());
      break;
    default:
      break;
  }
  if (number && *number <= 0xffffffffULL) {
    node.setULong(static_cast<unsigned long>(*number));
  } else {
    node.setRawValue(registryType, std::move(data));
  }
}

ConfigNodePtr relocatedCopy(const ConfigNodePtr& node, const OdString& from, const OdString& to) {
  if (!isLiveNode(node)) return nullptr;
  const OdString& path = node->path();
  if (path.getLength() < from.getLength() || path.left(from.getLength()) != from) return nullptr;
  ConfigNodePtr copy = ConfigNode::createNode(to + path.mid(from.getLength()));
  copyNodeValue(*node, *copy);
  if (node->isContainerNode()) {
    for (const ConfigNodePtr& child : node->children()) {
      ConfigNodePtr childCopy = relocatedCopy(child, from, to);
      if (childCopy) copy->addChild(childCopy);
    }
  }
  return copy;
}

}  // namespace ut
