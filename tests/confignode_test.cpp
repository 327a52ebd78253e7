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

TEST(ConfigNode, CreateNodeKindFromLastCharacter) {
  EXPECT_TRUE(ConfigNode::createNode(L"")->isContainerNode());
  EXPECT_TRUE(ConfigNode::createNode(L"A/B/")->isContainerNode());
  EXPECT_FALSE(ConfigNode::createNode(L"A/B")->isContainerNode());
  const auto fresh = ConfigNode::createNode(L"A/");
  EXPECT_EQ(fresh->type(), ConfigValBase::kNoValue);
  EXPECT_FALSE(fresh->isTouched());
  EXPECT_TRUE(fresh->children().empty());
}

TEST(ConfigNode, ValueSettersAndGetters) {
  auto n = ConfigNode::createNode(L"v");
  unsigned long number = 7;
  OdString text(L"untouched");
  EXPECT_FALSE(n->getULong(number));
  EXPECT_FALSE(n->getString(text));
  EXPECT_EQ(number, 7u);
  EXPECT_EQ(text, OdString(L"untouched"));

  EXPECT_TRUE(n->setULong(0x1'0000'0005ul));  // a DWORD keeps its low 32 bits
  EXPECT_EQ(n->type(), ConfigValBase::kULong);
  EXPECT_TRUE(n->getULong(number));
  EXPECT_EQ(number, 5u);
  EXPECT_FALSE(n->getString(text));

  EXPECT_TRUE(n->setString(L"text"));  // replaces the number
  EXPECT_EQ(n->type(), ConfigValBase::kString);
  EXPECT_FALSE(n->getULong(number));
  EXPECT_TRUE(n->getString(text));
  EXPECT_EQ(text, OdString(L"text"));

  EXPECT_TRUE(n->setULong(9));
  EXPECT_TRUE(n->setString(nullptr));  // removes the value
  EXPECT_EQ(n->type(), ConfigValBase::kNoValue);
  EXPECT_FALSE(n->getULong(number));
  EXPECT_FALSE(n->getString(text));
}

TEST(ConfigNode, CopiesShareTheValueObject) {
  ConfigNode a(L"v");
  a.setULong(1);
  ConfigNode b(a);
  b.setULong(2);  // updated in place: the shared value changes for both
  unsigned long n = 0;
  ASSERT_TRUE(a.getULong(n));
  EXPECT_EQ(n, 2u);
  b.setString(L"s");  // replaced: the copy now has its own value
  ASSERT_TRUE(a.getULong(n));
  EXPECT_EQ(n, 2u);
}

TEST(ConfigNode, ContainerSettersMarkTouched) {
  auto key = ConfigNode::createNode(L"K/");
  EXPECT_FALSE(key->isTouched());
  key->setString(L"default");
  EXPECT_TRUE(key->isTouched());
  key->unTouch();
  EXPECT_FALSE(key->isTouched());
  key->setULong(3);
  EXPECT_TRUE(key->isTouched());
  EXPECT_EQ(key->type(), ConfigValBase::kULong);
}

TEST(ConfigNodeComparator, EmptyPointersAndCase) {
  ConfigNodeComparator less;
  const auto lower = ConfigNode::createNode(L"A/b");
  const auto upper = ConfigNode::createNode(L"A/B");
  EXPECT_TRUE(less(nullptr, nullptr));  // deliberate asymmetry
  EXPECT_TRUE(less(nullptr, lower));
  EXPECT_FALSE(less(lower, nullptr));
  EXPECT_FALSE(less(lower, upper));
  EXPECT_FALSE(less(upper, lower));
  EXPECT_TRUE(less(ConfigNode::createNode(L"A/a"), upper));

  ConfigNodeSet set;
  EXPECT_TRUE(set.insert(lower).second);
  EXPECT_FALSE(set.insert(upper).second);
  EXPECT_EQ(set.size(), 1u);
}

TEST(ConfigNodeComparator, OrdersCaseInsensitivelyNotByCodeUnit) {
  auto root = ConfigNode::createNode(L"");
  for (const wchar_t* p : {L"beta", L"Alpha", L"gamma", L"Älter", L"Delta"}) root->addChild(ConfigNode::createNode(p));
  EXPECT_EQ(childPaths(root), (std::vector<std::wstring>{L"Alpha", L"Älter", L"beta", L"Delta", L"gamma"}));
}

TEST(ConfigContainerNode, ChildAtWalksLevelsIgnoringCase) {
  Tree t;
  EXPECT_EQ(t.root->childAt(L"A/x"), t.x);
  EXPECT_EQ(t.root->childAt(L"a/X"), t.x);
  EXPECT_EQ(t.root->childAt(L"a//b///Y"), t.y);  // repeated separators are skipped
  EXPECT_EQ(t.root->childAt(L"A"), t.a);          // last component: key found too
  EXPECT_EQ(t.root->childAt(L"A/B/"), t.b);
  EXPECT_EQ(t.root->childAt(L"z"), t.z);
  EXPECT_EQ(t.root->childAt(L"missing"), nullptr);
  EXPECT_EQ(t.root->childAt(L"A/missing/y"), nullptr);
  EXPECT_EQ(t.root->childAt(L"z/deeper"), nullptr);  // a value has no children
  EXPECT_EQ(t.root->childAt(L""), nullptr);
  EXPECT_EQ(t.x->childAt(L"anything"), nullptr);
}

TEST(ConfigContainerNode, AddChildRefusesEmptyPathAndReplacesEqualPaths) {
  Tree t;
  EXPECT_FALSE(t.a->addChild(ConfigNode::createNode(L"")));
  EXPECT_FALSE(t.a->addChild(nullptr));
  EXPECT_FALSE(t.a->isTouched());
  EXPECT_FALSE(t.x->addChild(ConfigNode::createNode(L"R/A/x/q")));  // a value takes no children

  // Same path in another letter case: the old child is replaced by an overlay.
  auto replacement = ConfigNode::createNode(L"R/A/X");
  replacement->setString(L"new");
  EXPECT_TRUE(t.a->addChild(replacement));
  EXPECT_TRUE(t.a->isTouched());
  EXPECT_EQ(t.a->children().size(), 2u);
  const auto overlay = t.a->childAt(L"x");
  ASSERT_NE(overlay, nullptr);
  EXPECT_NE(overlay, replacement);
  EXPECT_TRUE(overlay->isDestructiveWrite());
  EXPECT_FALSE(replacement->isDestructiveWrite());
  EXPECT_EQ(overlay->path(), OdString(L"R/A/X"));
  OdString text;
  ASSERT_TRUE(overlay->getString(text));
  EXPECT_EQ(text, OdString(L"new"));
  // Everything else goes to the wrapped node.
  overlay->setString(L"newer");
  ASSERT_TRUE(replacement->getString(text));
  EXPECT_EQ(text, OdString(L"newer"));
}

TEST(ConfigContainerNode, ReplacedContainerDelegatesStructure) {
  Tree t;
  auto newB = ConfigNode::createNode(L"R/A/b/");
  ASSERT_TRUE(t.a->addChild(newB));
  const auto overlay = t.a->childAt(L"B/");
  ASSERT_NE(overlay, nullptr);
  EXPECT_TRUE(overlay->isContainerNode());
  EXPECT_TRUE(overlay->children().empty());   // the old y is gone with the old subtree
  EXPECT_TRUE(overlay->isDestructiveWrite());  // although the wrapped key is not
  auto w = ConfigNode::createNode(L"R/A/b/w");
  EXPECT_TRUE(overlay->addChild(w));
  EXPECT_EQ(t.root->childAt(L"A/B/W"), w);
  overlay->unTouch();                           // does nothing to the wrapped node
  EXPECT_TRUE(newB->isTouched());
}

TEST(ConfigContainerNode, RemoveChildLeavesTombstoneAndMarksPath) {
  Tree t;
  EXPECT_TRUE(t.root->removeChild(t.y));  // two levels down
  EXPECT_TRUE(t.root->isTouched());
  EXPECT_TRUE(t.a->isTouched());
  EXPECT_TRUE(t.b->isTouched());
  const auto tomb = t.b->childAt(L"y");
  ASSERT_NE(tomb, nullptr);
  EXPECT_NE(tomb, t.y);
  EXPECT_EQ(tomb->type(), ConfigValBase::kNone);
  EXPECT_TRUE(tomb->isDestructiveWrite());
  EXPECT_TRUE(tomb->children().empty());
  EXPECT_FALSE(tomb->isContainerNode());
  EXPECT_EQ(tomb->path(), OdString(L"R/A/B/y"));
  unsigned long n = 0;
  EXPECT_FALSE(tomb->getULong(n));
  // The tombstone lives only in the lower container.
  EXPECT_EQ(t.root->children().size(), 2u);
  EXPECT_EQ(t.a->children().size(), 2u);

  // Removing a key remembers that it was one.
  EXPECT_TRUE(t.root->removeChild(t.a));
  const auto keyTomb = t.root->childAt(L"A");
  ASSERT_NE(keyTomb, nullptr);
  EXPECT_TRUE(keyTomb->isContainerNode());
  EXPECT_EQ(keyTomb->type(), ConfigValBase::kNone);
}

TEST(ConfigContainerNode, RemoveChildSearchesByIdentity) {
  Tree t;
  const auto lookalike = ConfigNode::createNode(L"R/A/x");
  EXPECT_FALSE(t.root->removeChild(lookalike));
  EXPECT_FALSE(t.root->isTouched());
  EXPECT_FALSE(t.a->isTouched());
  EXPECT_EQ(t.a->childAt(L"x"), t.x);
  EXPECT_FALSE(t.root->removeChild(nullptr));
  EXPECT_FALSE(t.x->removeChild(t.x));
}

TEST(ConfigNodeKinds, AbsentAndDeletedNodes) {
  ConfigNoNode none(L"P/q");
  EXPECT_EQ(none.type(), ConfigValBase::kNone);
  EXPECT_TRUE(none.isContainerNode());
  EXPECT_TRUE(none.children().empty());
  EXPECT_TRUE(none.isDestructiveWrite());
  EXPECT_TRUE(none.isTouched());
  EXPECT_EQ(none.childAt(L"x"), nullptr);

  ConfigDeletedNode tomb(L"P/k/", true);
  EXPECT_TRUE(tomb.isContainerNode());
  EXPECT_FALSE(tomb.addChild(ConfigNode::createNode(L"P/k/v")));
  tomb.setULong(4);  // stored, but a tombstone still reads as deleted
  EXPECT_EQ(tomb.type(), ConfigValBase::kNone);
  unsigned long n = 0;
  EXPECT_FALSE(tomb.getULong(n));
  EXPECT_TRUE(tomb.isTouched());

  ConfigNode leaf(L"P/v");
  EXPECT_TRUE(leaf.isTouched());
  leaf.unTouch();
  EXPECT_TRUE(leaf.isTouched());
  EXPECT_FALSE(leaf.isDestructiveWrite());
}

TEST(ConfigNodeClone, DeepCopySharesNothing) {
  Tree t;
  t.root->removeChild(t.z);
  const auto copy = ConfigNode::cloneNode(t.root, true);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, t.root);
  EXPECT_FALSE(copy->isTouched());
  EXPECT_EQ(childPaths(copy), childPaths(t.root));
  const auto cx = copy->childAt(L"A/x");
  ASSERT_NE(cx, nullptr);
  EXPECT_NE(cx, t.x);
  cx->setULong(99);  // in place on the copy's own value
  unsigned long n = 0;
  ASSERT_TRUE(t.x->getULong(n));
  EXPECT_EQ(n, 1u);
  OdString s;
  ASSERT_TRUE(copy->childAt(L"a/b/y")->getString(s));
  EXPECT_EQ(s, OdString(L"why"));
  // The tombstone is copied as a tombstone...
  const auto cz = copy->childAt(L"z");
  ASSERT_NE(cz, nullptr);
  EXPECT_EQ(cz->type(), ConfigValBase::kNone);
  // ...or dropped on request.
  const auto pruned = ConfigNode::cloneNode(t.root, false);
  EXPECT_EQ(pruned->childAt(L"z"), nullptr);
  EXPECT_NE(pruned->childAt(L"A/B/y"), nullptr);
}

TEST(ConfigNodeClone, OverlaysCloneAsTheirWrappedNode) {
  Tree t;
  auto replacement = ConfigNode::createNode(L"R/A/x");
  replacement->setString(L"over");
  t.a->addChild(replacement);
  const auto copy = ConfigNode::cloneNode(t.root, true);
  const auto cx = copy->childAt(L"A/x");
  ASSERT_NE(cx, nullptr);
  EXPECT_FALSE(cx->isDestructiveWrite());
  OdString s;
  ASSERT_TRUE(cx->getString(s));
  EXPECT_EQ(s, OdString(L"over"));
  EXPECT_EQ(ConfigNode::cloneNode(nullptr, true), nullptr);
  EXPECT_EQ(ConfigNode::cloneNode(std::make_shared<ConfigNoNode>(L"q"), true), nullptr);
}

TEST(ConfigNodeMarks, NewUntilSavedAndModifiedBySetters) {
  Tree t;
  for (const auto& n : {t.root, t.a, t.x, t.b, t.y, t.z}) {
    EXPECT_TRUE(n->isNew());
    n->markSaved();
    EXPECT_FALSE(n->isNew());
    EXPECT_FALSE(n->isModified());
  }
  // In place on a value whose parent stays untouched: only the mark tells.
  t.y->setString(L"changed");
  EXPECT_TRUE(t.y->isModified());
  EXPECT_FALSE(t.y->isNew());
  EXPECT_FALSE(t.b->isTouched());
  EXPECT_FALSE(t.b->isModified());
  // Removing a value is a change too.
  t.x->setString(nullptr);
  EXPECT_TRUE(t.x->isModified());
  // A key's own value marks the key.
  t.a->setULong(5);
  EXPECT_TRUE(t.a->isModified());
  EXPECT_TRUE(t.a->isTouched());
  t.a->markNew();
  EXPECT_TRUE(t.a->isNew());
}

TEST(ConfigNodeMarks, OverlaySettersMarkTheWrappedNode) {
  Tree t;
  auto replacement = ConfigNode::createNode(L"R/A/x");
  replacement->markSaved();
  ASSERT_TRUE(t.a->addChild(replacement));
  const auto overlay = t.a->childAt(L"x");
  ASSERT_NE(overlay, replacement);
  EXPECT_TRUE(overlay->isNew());  // the deletion it stands for is still to come
  overlay->setULong(8);
  EXPECT_TRUE(replacement->isModified());
}

TEST(ConfigContainerNode, RemovingAReplacementLeavesATombstone) {
  Tree t;
  auto replacement = ConfigNode::createNode(L"R/A/B/");
  ASSERT_TRUE(t.a->addChild(replacement));
  t.a->unTouch();
  t.root->unTouch();
  // The caller holds the replacement, not its overlay.
  ASSERT_TRUE(t.root->removeChild(replacement));
  EXPECT_TRUE(t.root->isTouched());
  EXPECT_TRUE(t.a->isTouched());
  const auto tomb = t.a->childAt(L"B/");
  ASSERT_NE(tomb, nullptr);
  EXPECT_EQ(tomb->type(), ConfigValBase::kNone);
  EXPECT_TRUE(tomb->isContainerNode());
  EXPECT_EQ(t.a->children().size(), 2u);
  // An equal path that is neither the child nor its replacement stays refused.
  EXPECT_FALSE(t.root->removeChild(ConfigNode::createNode(L"R/A/B/")));
}
