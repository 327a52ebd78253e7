// Configuration key paths ("/"-separated, relative to a key) on arbitrary
// text, one path per input line, descended into one fresh tree with
// facade::descend as the profile importer and the facade do:
//  - descending with create gives a live key whose path is the root's
//    followed by the path's non-empty levels, each ending in "/" (or the key
//    an earlier line made under the same path ignoring case); with no level
//    it is the root itself;
//  - descending again without create, and childAt() from the root, find
//    that key; childAt() finds a value added to it by its relative path;
//  - leafName() of the key's path is its last level.
// Stored names such as "." and ".." are plain names here, never steps.

#include <ut/ut_confignode.h>

#include "fuzz_check.h"
#include "fuzz_input.h"
#include "ut_config_facade.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

using ut::fuzz::check;

bool sameKey(const ut::ConfigNodePtr& node, const OdString& path) {
  return node && node->isContainerNode() && node->type() != ut::ConfigValBase::kNone &&
         node->pathKey() == ut::ConfigNode::createNode(path)->pathKey();
}

void descendLine(const ut::ConfigNodePtr& root, const std::wstring& line, int lineNo) {
  std::vector<std::wstring> levels;
  std::size_t start = 0;
  while (start <= line.size()) {
    std::size_t end = line.find(L'/', start);
    if (end == std::wstring::npos) end = line.size();
    if (end > start) levels.push_back(line.substr(start, end - start));
    start = end + 1;
  }
  std::wstring expected(root->path().c_str(), static_cast<std::size_t>(root->path().getLength()));
  for (const auto& level : levels) expected += level + L'/';

  const OdString path(line);
  const ut::ConfigNodePtr key = ut::facade::descend(root, path, true);
  check(sameKey(key, OdString(expected)));
  check(levels.empty() ? key == root : key != root);
  check(sameKey(ut::facade::descend(root, path, false), OdString(expected)));

  const int rootLength = root->path().getLength();
  const OdString relative = key->path().mid(rootLength);
  if (!levels.empty()) {
    check(sameKey(root->childAt(relative), OdString(expected)));
    const OdString leaf = ut::facade::leafName(key->path());
    check(key->path().right(leaf.getLength() + 1) == leaf + L"/");
  }

  const OdString name(L"value" + std::to_wstring(lineNo));
  const ut::ConfigNodePtr value = ut::ConfigNode::createNode(key->path() + name);
  check(value->setString(name.c_str()) && key->addChild(value));
  const ut::ConfigNodePtr found = root->childAt(relative + name);
  OdString text;
  check(found && !found->isContainerNode() && found->getString(text) && text == name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Every level costs a collation key of the whole path so far; the store
  // bounds paths long before that matters, so long inputs teach nothing.
  if (size > 1024) return 0;
  const std::wstring text = ut::fuzz::wideText(data, size);
  const ut::ConfigNodePtr root = ut::ConfigNode::createNode(L"Root/");
  std::size_t start = 0;
  for (int line = 0; line < 16 && start <= text.size(); ++line) {
    std::size_t end = text.find(L'\n', start);
    if (end == std::wstring::npos) end = text.size();
    descendLine(root, text.substr(start, end - start), line);
    start = end + 1;
  }
  return 0;
}
