#include <gtest/gtest.h>

#include <ut/ut_confignode.h>

#include <string>
#include <vector>

using namespace ut;

namespace {

std::vector<std::wstring> childPaths(const ConfigNodePtr& node) {
  std::vector<std::wstring> out;
  for (const auto& c : node->children()) out.emplace_back(c->path().c_str());
  return out;
}

std::wstring text(const ConfigNodePtr& node) {
  OdString s;
  return node && node->getString(s) ? std::wstring(s.c_str()) : L"<none>";
}

// A small tree: R/ { R/A/ { R/A/x = 1, R/A/B/ { R/A/B/y = "why" } }, R/z = "zed" }
struct Tree {
  ConfigNodePtr root = ConfigNode::createNode(L"R/");
  ConfigNodePtr a = ConfigNode::createNode(L"R/A/");
  ConfigNodePtr x = ConfigNode::createNode(L"R/A/x");
  ConfigNodePtr b = ConfigNode::createNode(L"R/A/B/");
  ConfigNodePtr y = ConfigNode::createNode(L"R/A/B/y");
  ConfigNodePtr z = ConfigNode::createNode(L"R/z");

  Tree() {
    x->setULong(1);
    y->setString(L"why");
    z->setString(L"zed");
    b->addChild(y);
    a->addChild(x);
    a->addChild(b);
    root->addChild(a);
    root->addChild(z);
    for (const auto& n : {root, a, b}) n->unTouch();
  }
};

}  // namespace

TEST(ConfigNode, KindsAndValues) {
  EXPECT_TRUE(ConfigNode::createNode(L"")->isContainerNode());
  EXPECT_FALSE(ConfigNode::createNode(L"A/B")->isContainerNode());

  // Typed reads of a missing or other-typed value leave the output alone.
  auto n = ConfigNode::createNode(L"v");
  unsigned long number = 7;
  OdString s(L"untouched");
  EXPECT_FALSE(n->getULong(number) || n->getString(s));
  EXPECT_TRUE(n->setULong(0x1'0000'0005ul));  // a DWORD keeps its low 32 bits
  EXPECT_TRUE(n->getULong(number) && number == 5u);
  EXPECT_FALSE(n->getString(s));
  EXPECT_EQ(s, OdString(L"untouched"));
  EXPECT_TRUE(n->setString(nullptr));  // removes the value
  EXPECT_EQ(n->type(), ConfigValBase::kNoValue);

  // Copies share the value object until a setter replaces it.
  ConfigNode first(L"v");
  first.setULong(1);
  ConfigNode second(first);
  second.setULong(2);
  second.setString(L"own now");
  ASSERT_TRUE(first.getULong(number));
  EXPECT_EQ(number, 2u);
}

TEST(ConfigNodeComparator, CaseInsensitiveCollationAndEmptyPointers) {
  ConfigNodeComparator less;
  const auto lower = ConfigNode::createNode(L"A/b");
  const auto upper = ConfigNode::createNode(L"A/B");
  EXPECT_TRUE(less(nullptr, nullptr));  // deliberate asymmetry
  EXPECT_TRUE(less(nullptr, lower));
  EXPECT_FALSE(less(lower, nullptr));
  EXPECT_FALSE(less(lower, upper) || less(upper, lower));
  ConfigNodeSet set{lower};
  EXPECT_FALSE(set.insert(upper).second);

  auto root = ConfigNode::createNode(L"");
  for (const wchar_t* p : {L"beta", L"Alpha", L"gamma", L"Älter", L"Delta"}) root->addChild(ConfigNode::createNode(p));
  EXPECT_EQ(childPaths(root), (std::vector<std::wstring>{L"Alpha", L"Älter", L"beta", L"Delta", L"gamma"}));
}

TEST(ConfigContainerNode, ChildAtWalksLevelsIgnoringCase) {
  Tree t;
  const std::pair<const wchar_t*, ConfigNodePtr> cases[] = {{L"a/X", t.x},
                                                            {L"a//b///Y", t.y},  // repeated separators are skipped
                                                            {L"A", t.a},
                                                            {L"A/B/", t.b},  // the last component finds a key too
                                                            {L"missing", nullptr},
                                                            {L"A/missing/y", nullptr},
                                                            {L"z/deeper", nullptr},
                                                            {L"", nullptr}};
  for (const auto& [path, expected] : cases) EXPECT_EQ(t.root->childAt(path), expected) << std::wstring(path);
  EXPECT_EQ(t.x->childAt(L"anything"), nullptr);
}

TEST(ConfigContainerNode, AddChildRefusesEmptyPathsAndOverlaysEqualOnes) {
  Tree t;
  EXPECT_FALSE(t.a->addChild(ConfigNode::createNode(L"")));
  EXPECT_FALSE(t.a->addChild(nullptr));
  EXPECT_FALSE(t.a->isTouched());
  EXPECT_FALSE(t.x->addChild(ConfigNode::createNode(L"R/A/x/q")));  // a value takes no children

  // Same path in another letter case: the old child is replaced by an overlay
  // that stands for the deletion and hands everything else to the new node.
  auto replacement = ConfigNode::createNode(L"R/A/X");
  replacement->setString(L"new");
  replacement->markSaved();
  EXPECT_TRUE(t.a->addChild(replacement));
  EXPECT_EQ(t.a->children().size(), 2u);
  const auto overlay = t.a->childAt(L"x");
  ASSERT_NE(overlay, replacement);
  EXPECT_TRUE(overlay->isDestructiveWrite());
  EXPECT_EQ(overlay->path(), OdString(L"R/A/X"));
  overlay->setString(L"newer");
  EXPECT_EQ(text(replacement), L"newer");
  EXPECT_TRUE(replacement->isModified());

  // A replaced key drops the old subtree and delegates its structure.
  auto newB = ConfigNode::createNode(L"R/A/b/");
  ASSERT_TRUE(t.a->addChild(newB));
  const auto keyOverlay = t.a->childAt(L"B/");
  ASSERT_NE(keyOverlay, nullptr);
  EXPECT_TRUE(keyOverlay->children().empty());
  EXPECT_TRUE(keyOverlay->isDestructiveWrite());
  auto w = ConfigNode::createNode(L"R/A/b/w");
  EXPECT_TRUE(keyOverlay->addChild(w));
  EXPECT_EQ(t.root->childAt(L"A/B/W"), w);
}

TEST(ConfigContainerNode, RemoveChildLeavesTombstonesByIdentity) {
  Tree t;
  // Only the very node is removed: an equal path, nullptr or a value refuse.
  EXPECT_FALSE(t.root->removeChild(ConfigNode::createNode(L"R/A/x")));
  EXPECT_FALSE(t.root->removeChild(nullptr));
  EXPECT_FALSE(t.x->removeChild(t.x));
  EXPECT_FALSE(t.root->isTouched() || t.a->isTouched());

  EXPECT_TRUE(t.root->removeChild(t.y));  // two levels down
  const auto tomb = t.b->childAt(L"y");
  ASSERT_NE(tomb, nullptr);
  EXPECT_EQ(tomb->type(), ConfigValBase::kNone);
  EXPECT_FALSE(tomb->isContainerNode());
  EXPECT_EQ(t.a->children().size(), 2u);  // the tombstone lives only in the lower container

  // Removing the replacement (the caller holds it, not its overlay) works too,
  // and a key's tombstone remembers that it was one.
  auto replacement = ConfigNode::createNode(L"R/A/B/");
  ASSERT_TRUE(t.a->addChild(replacement));
  ASSERT_TRUE(t.root->removeChild(replacement));
  const auto keyTomb = t.a->childAt(L"B/");
  ASSERT_NE(keyTomb, nullptr);
  EXPECT_EQ(keyTomb->type(), ConfigValBase::kNone);
  EXPECT_TRUE(keyTomb->isContainerNode());
  EXPECT_FALSE(t.root->removeChild(ConfigNode::createNode(L"R/A/B/")));
}

TEST(ConfigNodeClone, DeepCopySharesNothing) {
  Tree t;
  t.root->removeChild(t.z);
  auto replacement = ConfigNode::createNode(L"R/A/x");
  replacement->setULong(2);
  t.a->addChild(replacement);
  const auto copy = ConfigNode::cloneNode(t.root, true);
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->isTouched());
  EXPECT_EQ(childPaths(copy), childPaths(t.root));
  const auto cx = copy->childAt(L"A/x");
  ASSERT_NE(cx, nullptr);
  EXPECT_FALSE(cx->isDestructiveWrite());  // an overlay clones as the node it wraps
  unsigned long n = 0;
  cx->setULong(99);  // in place on the copy's own value
  ASSERT_TRUE(replacement->getULong(n));
  EXPECT_EQ(n, 2u);
  EXPECT_EQ(text(copy->childAt(L"a/b/y")), L"why");
  // The tombstone is copied as a tombstone, or dropped on request.
  ASSERT_NE(copy->childAt(L"z"), nullptr);
  EXPECT_EQ(copy->childAt(L"z")->type(), ConfigValBase::kNone);
  EXPECT_EQ(ConfigNode::cloneNode(t.root, false)->childAt(L"z"), nullptr);
  EXPECT_EQ(ConfigNode::cloneNode(std::make_shared<ConfigNoNode>(L"q"), true), nullptr);
}
