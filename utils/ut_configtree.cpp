#include "ut_configtree.h"

namespace ut {

ConfigNodePtr relocatedCopy(const ConfigNodePtr& node, const OdString& from, const OdString& to) {
  if (!isLiveNode(node)) return nullptr;
  const OdString& path = node->path();
  if (path.getLength() < from.getLength() || path.left(from.getLength()) != from) return nullptr;
  ConfigNodePtr copy = ConfigNode::createNode(to + path.mid(from.getLength()));
  unsigned long number = 0;
  OdString text;
  if (node->getULong(number)) {
    copy->setULong(number);
  } else if (node->getString(text)) {
    copy->setString(text.c_str());
  }
  if (node->isContainerNode()) {
    for (const ConfigNodePtr& child : node->children()) {
      ConfigNodePtr childCopy = relocatedCopy(child, from, to);
      if (childCopy) copy->addChild(childCopy);
    }
  }
  return copy;
}

}  // namespace ut
