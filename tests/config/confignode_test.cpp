#include <gtest/gtest.h>

#include <ut/ut_confignode.h>

#include <algorithm>
#include <random>
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

// --- lookups against the collation, over random trees -------------------------

namespace {

// Names that the index may answer alone (printable ASCII in any case) beside
// names only the collation can match: some of them equal an ASCII name
// ("straße" and "STRASSE", fullwidth letters, ignorable characters).
const std::vector<std::wstring> kNamePool = {
    L"Config",  L"config",  L"CONFIG", L"a",        L"A",        L"b",      L"ab",
    L"a b",     L"a-b",     L"a_b",    L"x1",       L"X1",       L"10",     L"010",
    L"strasse", L"STRASSE", L"straße", L"Straße",   L"résumé",   L"RÉSUMÉ", L"re\u0301sume\u0301",
    L"resume",  L"\uFF21",  L"\uFF41", L"a\u0001b", L"a\u200Bb", L"ĳ",      L"ij",
    L"I",       L"i",       L"ı",      L"İ",        L"~!@#",     L"{}[]",   L"é",
    L"E\u0301", L"e",       L"dz",     L"ǆ"};

// The child of `level` at `fullPath` by the comparator alone: what every
// lookup must agree with.
ConfigNodePtr referenceChild(const ConfigNodePtr& level, const std::wstring& fullPath) {
  const ConfigNodePtr probe = ConfigNode::createNode(OdString(fullPath.c_str()));
  const ConfigNodeComparator less;
  for (const auto& child : level->children()) {
    if (!less(child, probe) && !less(probe, child)) return child;
  }
  return nullptr;
}

ConfigNodePtr referenceChildAt(const ConfigNodePtr& root, const std::vector<std::wstring>& names) {
  ConfigNodePtr level = root;
  for (std::size_t i = 0; i < names.size() && level; ++i) {
    const std::wstring base = level->path().c_str();
    ConfigNodePtr next;
    if (i + 1 == names.size()) next = referenceChild(level, base + names[i]);
    if (!next) next = referenceChild(level, base + names[i] + L"/");
    level = next;
  }
  return level;
}

}  // namespace

TEST(ConfigContainerNode, ChildAtAgreesWithTheCollationOverRandomTrees) {
  std::mt19937 random(20261124);
  const auto pick = [&random](const std::vector<std::wstring>& from) {
    return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(random)];
  };
  const auto chance = [&random](int percent) { return std::uniform_int_distribution<int>(0, 99)(random) < percent; };
  std::size_t found = 0;
  std::size_t lookups = 0;
  for (int tree = 0; tree < 60; ++tree) {
    // Three levels; each container gets a few children from the pool, some of
    // them replaced or deleted afterwards, and on some trees only ASCII names.
    const bool asciiOnly = tree % 3 == 0;
    std::vector<std::wstring> pool;
    for (const auto& name : kNamePool) {
      if (!asciiOnly || std::all_of(name.begin(), name.end(), [](wchar_t c) { return c >= 0x20 && c < 0x7F; }))
        pool.push_back(name);
    }
    const ConfigNodePtr root = ConfigNode::createNode(L"R/");
    std::vector<ConfigNodePtr> containers = {root};
    for (std::size_t c = 0; c < containers.size() && c < 12; ++c) {
      const ConfigNodePtr parent = containers[c];
      const std::wstring base = parent->path().c_str();
      for (int n = 0; n < 6; ++n) {
        const bool key = containers.size() < 12 && chance(50);
        const ConfigNodePtr child = ConfigNode::createNode(OdString((base + pick(pool) + (key ? L"/" : L"")).c_str()));
        parent->addChild(child);
        if (key) containers.push_back(child);
        if (chance(15)) parent->removeChild(child);
      }
    }
    for (int probe = 0; probe < 200; ++probe) {
      std::vector<std::wstring> names;
      std::wstring path;
      const int depth = 1 + static_cast<int>(random() % 3);
      for (int level = 0; level < depth; ++level) {
        names.push_back(pick(pool));
        path += (level == 0 ? L"" : L"/") + names.back();
      }
      const ConfigNodePtr expected = referenceChildAt(root, names);
      EXPECT_EQ(root->childAt(OdString(path.c_str())), expected) << "tree " << tree << ": " << path;
      found += expected ? 1 : 0;
      ++lookups;
    }
  }
  // The trees are dense enough that both answers occur often.
  EXPECT_GT(found, lookups / 10);
  EXPECT_LT(found, lookups - lookups / 10);
}

TEST(ConfigContainerNode, AsciiLookupsFallBackWhenAnotherNameCouldMatch) {
  // The ligature "ĳ" equals "IJ" at this strength, and the ignorable U+200B
  // vanishes: an index of ASCII names alone would miss both.
  const ConfigNodePtr root = ConfigNode::createNode(L"R/");
  const ConfigNodePtr ligature = ConfigNode::createNode(L"R/ĳ");
  const ConfigNodePtr joined = ConfigNode::createNode(L"R/a\u200Bb/");
  const ConfigNodePtr plain = ConfigNode::createNode(L"R/plain");
  for (const auto& child : {ligature, joined, plain}) root->addChild(child);
  EXPECT_EQ(root->childAt(L"IJ"), ligature);
  EXPECT_EQ(root->childAt(L"AB"), joined);
  EXPECT_EQ(root->childAt(L"Plain"), plain);
  // A copy indexes its own children.
  const ConfigNodePtr copy = ConfigNode::cloneNode(root, false);
  EXPECT_EQ(copy->childAt(L"PLAIN")->path(), OdString(L"R/plain"));
  EXPECT_NE(copy->childAt(L"ij"), nullptr);
}
