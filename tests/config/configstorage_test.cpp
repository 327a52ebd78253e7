#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_configstorage.h>
#include <ut/ut_regstore.h>

#include <wx/fileconf.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace ut;

namespace {

// The storages of these tests are rooted at HKEY_CURRENT_USER\Software\TVCAD\T\Root.
const wchar_t* const kRoot = L"/T/Root/";
const wxString kRootKey = L"Software\\TVCAD\\T\\Root";

RegKey storeKey(const wxString& below = wxString()) {
  return RegKey(eCurrentUser, below.empty() ? kRootKey : kRootKey + L"\\" + below);
}

template <typename T>
bool put(const wxString& key, const wxString& name, const T& value) {
  RegKey k = storeKey(key);
  return k.create() && k.setValue(name, value);
}

// The value as the store holds it: "s:text", "n:number", "" when absent.
std::wstring stored(const wxString& key, const wxString& name) {
  RegKey k = storeKey(key);
  if (!k.open(eRead) || !k.hasValue(name)) return L"";
  long n = 0;
  wxString s;
  if (k.valueType(name) == eRegDword) {
    return k.queryValue(name, n) ? L"n:" + std::to_wstring(static_cast<unsigned long>(n) & 0xFFFFFFFFul) : L"?";
  }
  return k.queryValue(name, s) ? L"s:" + s.ToStdWstring() : L"?";
}

std::vector<wxString> subKeys(const wxString& key = wxString()) {
  std::vector<wxString> keys;
  RegKey k = storeKey(key);
  EXPECT_TRUE(k.open(eRead) && k.getSubKeys(keys));
  return keys;
}

bool keyExists(const wxString& key) { return storeKey(key).exists(); }

std::wstring text(const ConfigNodePtr& node) {
  OdString s;
  return node && node->getString(s) ? std::wstring(s.c_str()) : L"<none>";
}

// A new node added below a container, with the value given if any.
ConfigNodePtr add(const ConfigNodePtr& parent, const OdString& path, const wchar_t* text = nullptr) {
  auto node = ConfigNode::createNode(path);
  EXPECT_TRUE(parent && parent->addChild(node)) << wxString(path.c_str());
  if (text != nullptr) node->setString(text);
  return node;
}
ConfigNodePtr add(const ConfigNodePtr& parent, const OdString& path, unsigned long value) {
  auto node = add(parent, path);
  node->setULong(value);
  return node;
}

unsigned long number(const ConfigNodePtr& node) {
  unsigned long n = 0xDEADu;
  if (node) node->getULong(n);
  return n;
}

class ConfigStorageTest : public ::testing::Test {
 protected:
  test::TempStore m_store;
  ConfigRegistryStorage m_storage{kRoot};

  // A profile-like layout:
  //   Root (default "root default")
  //     Config: AUTOSNAP=127, OSMODE=4263, TEMPPREFIX="D:\Temp", Env="%PATH%"
  //       Plot: Device="PDF", Copies=1
  //     Dialogs
  //       Open: Folder="C:\Drawings"
  //     Empty
  void SetUp() override {
    ASSERT_TRUE(m_store.ok());
    ASSERT_TRUE(put(L"", L"", L"root default") && put(L"Config", L"AUTOSNAP", 127L) &&
                put(L"Config", L"OSMODE", 4263L) && put(L"Config", L"TEMPPREFIX", L"D:\\Temp") &&
                put(L"Config", L"Env", L"%PATH%") && put(L"Config\\Plot", L"Device", L"PDF") &&
                put(L"Config\\Plot", L"Copies", 1L) && put(L"Dialogs\\Open", L"Folder", L"C:\\Drawings") &&
                storeKey(L"Empty").create());
  }

  ConfigNodePtr loaded() {
    auto tree = ConfigNode::createNode(L"");
    EXPECT_TRUE(m_storage.load(tree, true));
    return tree;
  }
};

// Counts the writes that reach a registry configuration object and can make
// one of them fail.
class CountingRegConfig : public RegConfig {
 public:
  using RegConfig::RegConfig;
  int writes = 0;
  int failAt = -1;  // the write number that fails, -1 for none

 protected:
  bool DoWriteString(const wxString& key, const wxString& value) override {
    return count() && RegConfig::DoWriteString(key, value);
  }
  bool DoWriteLong(const wxString& key, long value) override { return count() && RegConfig::DoWriteLong(key, value); }

 private:
  bool count() { return ++writes != failAt; }
};

}  // namespace

// --- load ------------------------------------------------------------------------------

TEST_F(ConfigStorageTest, LoadMirrorsKeysAndTypedValues) {
  const auto tree = loaded();
  EXPECT_EQ(text(tree), L"root default");  // the key's own value is the container's
  EXPECT_EQ(number(tree->childAt(L"Config/AUTOSNAP")), 127u);
  EXPECT_EQ(text(tree->childAt(L"config/tempprefix")), L"D:\\Temp");
  EXPECT_EQ(text(tree->childAt(L"Config/Env")), L"%PATH%");  // never expanded
  ASSERT_NE(tree->childAt(L"Empty"), nullptr);
  EXPECT_EQ(tree->childAt(L"Empty")->path(), OdString(L"Empty/"));

  // A subkey loads below the root with its full path.
  const auto config = ConfigNode::createNode(L"Config/");
  ASSERT_TRUE(m_storage.load(config, true));
  EXPECT_EQ(config->childAt(L"Plot/Device")->path(), OdString(L"Config/Plot/Device"));
}

// Values the tree cannot read are carried whole: even a subtree rewritten in
// full by a flush puts back every value byte for byte, with its type.
TEST_F(ConfigStorageTest, ValuesOfOtherTypesSurviveARewrite) {
  RegKey k = storeKey(L"Config");
  ASSERT_TRUE(k.open());
  wxMemoryBuffer bytes;
  bytes.AppendData("\x01\x02", 2);
  ASSERT_TRUE(k.setValue(L"Blob", bytes) && k.setMultiString(L"Multi", {L"a", L"b c"}) &&
              k.setValue64(L"Wide", 0x0123456789abcdefLL) && k.setValue64(L"Narrow", 7) &&
              k.setRawValue(L"ShortDword", eRegDword, "\x01\x02", 2) &&
              k.setValue(L"AllBits", static_cast<long>(0xFFFFFFFFl)));
  const auto raw = [&k](const wxString& name) {
    unsigned type = 0;
    std::vector<std::uint8_t> data;
    EXPECT_TRUE(k.queryRawValue(name, type, data)) << name;
    return std::make_pair(type, data);
  };
  const std::vector<wxString> opaque{L"Blob", L"Multi", L"Wide", L"ShortDword"};
  std::vector<std::pair<unsigned, std::vector<std::uint8_t>>> before;
  for (const auto& name : opaque) before.push_back(raw(name));

  const auto tree = loaded();
  EXPECT_EQ(number(tree->childAt(L"Config/AllBits")), 0xFFFFFFFFul);
  EXPECT_EQ(number(tree->childAt(L"Config/Narrow")), 7u);  // fits: a number
  for (const auto& name : opaque) {
    const auto node = tree->childAt(OdString(L"Config/") + OdString(name.wc_str()));
    ASSERT_NE(node, nullptr) << name;
    EXPECT_EQ(node->type(), ConfigValBase::kNoValue) << name;
    EXPECT_NE(node->rawValue(), nullptr) << name;
  }

  // Replace Config by a copy of itself: the flush deletes the key, then
  // writes everything the copy holds.
  ASSERT_TRUE(tree->addChild(ConfigNode::cloneNode(tree->childAt(L"Config"), false)));
  ASSERT_TRUE(m_storage.flush(tree, true));
  ASSERT_TRUE(k.open());
  for (std::size_t i = 0; i < opaque.size(); ++i) EXPECT_EQ(raw(opaque[i]), before[i]) << opaque[i];

  // A setter turns a carried value into an ordinary one.
  ASSERT_TRUE(tree->childAt(L"Config/Blob")->setString(L"text now") && m_storage.flush(tree, true));
  EXPECT_EQ(k.valueType(L"Blob"), eRegSz);
}

TEST_F(ConfigStorageTest, BadRootsAndNodesAreRefused) {
  EXPECT_FALSE(m_storage.load(nullptr, true));
  EXPECT_FALSE(m_storage.load(ConfigNode::createNode(L"Config/AUTOSNAP"), true));
  EXPECT_FALSE(m_storage.load(std::make_shared<ConfigDeletedNode>(L"Config/", true), true));
  const auto missing = ConfigNode::createNode(L"NoSuchKey/");
  EXPECT_FALSE(m_storage.load(missing, true));
  EXPECT_TRUE(missing->children().empty());
  ConfigRegistryStorage bad(L"/T//Root/");
  EXPECT_FALSE(bad.load(ConfigNode::createNode(L""), true) || bad.flush(ConfigNode::createNode(L"x"), true));
  ConfigStorageWx none(kRoot, std::shared_ptr<wxConfigBase>());
  EXPECT_FALSE(none.load(ConfigNode::createNode(L""), true) || none.flush(ConfigNode::createNode(L"x"), true));

  const std::pair<const wchar_t*, const wchar_t*> roots[] = {
      {L"A\\B", L"/A/B/"}, {L"/A/B/", L"/A/B/"}, {L"", L"/"}, {L"A/../B/", L""}, {L"A//B", L""}};
  for (const auto& [given, normal] : roots) {
    EXPECT_EQ(ConfigRegistryStorage(given).rootPath(), OdString(normal)) << wxString(given);
  }
}

// --- flush: what is written --------------------------------------------------------------

TEST_F(ConfigStorageTest, FlushWritesExactlyTheChanges) {
  const auto tree = loaded();
  // Changed in place, parents untouched.
  tree->childAt(L"Config/Plot/Copies")->setULong(3);
  tree->childAt(L"Config/AUTOSNAP")->setString(L"text now");
  // A value taken away in the tree is not a deletion: only a tombstone is.
  tree->childAt(L"Config/TEMPPREFIX")->setString(nullptr);
  ASSERT_FALSE(tree->childAt(L"Config/Plot")->isTouched());
  // New keys and values at several depths.
  const auto key = add(tree, L"Menus/");
  const auto item = add(add(key, L"Menus/Main/"), L"Menus/Main/Item", L"Line");
  add(key, L"Menus/Blank/");
  add(key, L"Menus/NoValue");
  add(tree->childAt(L"Config"), L"Config/Count", 0ul);
  tree->childAt(L"Empty")->setString(L"now with a default");
  // Meanwhile someone else changes values the tree did not touch: an
  // incremental flush must leave them alone.
  ASSERT_TRUE(put(L"Config", L"OSMODE", 1L) && put(L"Config\\Plot", L"Device", L"elsewhere"));

  ASSERT_TRUE(m_storage.flush(tree, true));
  const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> expected[] = {
      {L"Config\\Plot", L"Copies", L"n:3"},
      {L"Config", L"AUTOSNAP", L"s:text now"},
      {L"Config", L"OSMODE", L"n:1"},
      {L"Config\\Plot", L"Device", L"s:elsewhere"},
      {L"Config", L"TEMPPREFIX", L"s:D:\\Temp"},
      {L"Menus\\Main", L"Item", L"s:Line"},
      {L"Menus", L"NoValue", L""},
      {L"Config", L"Count", L"n:0"},
      {L"Empty", L"", L"s:now with a default"}};
  for (const auto& [k, name, value] : expected) EXPECT_EQ(stored(k, name), value) << wxString(name);
  EXPECT_TRUE(keyExists(L"Menus\\Blank"));  // a new key without values exists too
  EXPECT_FALSE(tree->isTouched() || tree->childAt(L"Menus/Main")->isTouched() || item->isNew() ||
               tree->childAt(L"Config/Plot/Copies")->isModified());

  // Nothing left to write: a second flush writes nothing.
  auto counting = std::make_shared<CountingRegConfig>(L"Software\\TVCAD");
  ASSERT_TRUE(ConfigStorageWx(kRoot, counting).flush(tree, true));
  EXPECT_EQ(counting->writes, 0);
}

TEST_F(ConfigStorageTest, TombstonesDeleteExactlyWhatTheyStandFor) {
  const auto tree = loaded();
  ASSERT_TRUE(tree->removeChild(tree->childAt(L"Config/Plot/Device")));
  ASSERT_TRUE(tree->removeChild(tree->childAt(L"Dialogs/Open")));
  ASSERT_TRUE(m_storage.flush(tree, true));
  EXPECT_EQ(stored(L"Config\\Plot", L"Device"), L"");
  EXPECT_EQ(stored(L"Config\\Plot", L"Copies"), L"n:1");
  EXPECT_FALSE(keyExists(L"Dialogs\\Open"));
  EXPECT_TRUE(keyExists(L"Dialogs"));

  // Carried out once: a value written later at that path by someone else
  // survives the next incremental flush...
  ASSERT_TRUE(put(L"Config\\Plot", L"Device", L"back"));
  ASSERT_TRUE(m_storage.flush(tree, true));
  EXPECT_EQ(stored(L"Config\\Plot", L"Device"), L"s:back");
  // ...while a full flush makes the store hold the tree, deletions included,
  // and does not fail on what is gone already.
  ASSERT_TRUE(m_storage.flush(tree, false));
  EXPECT_EQ(stored(L"Config\\Plot", L"Device"), L"");

  // Standalone, as a profile deletion hands it over: a key path, nothing loaded.
  ASSERT_TRUE(m_storage.flush(std::make_shared<ConfigDeletedNode>(L"Config/", true), true));
  EXPECT_FALSE(keyExists(L"Config"));
  EXPECT_TRUE(keyExists(L"Dialogs"));
  ASSERT_TRUE(m_storage.flush(std::make_shared<ConfigDeletedNode>(L"Config/", true), false));  // gone already
  // An absent node stands for nothing, even at the root.
  ASSERT_TRUE(m_storage.flush(std::make_shared<ConfigNoNode>(L""), true));
  EXPECT_TRUE(keyExists(L""));
}

// A replacement in another letter case is part of the round trip below; here,
// a loaded, unchanged subtree put over its own key is written in full (the
// old key goes first), and that deletion is carried out once.
TEST_F(ConfigStorageTest, OverlayReplacesTheOldSubtreeOnce) {
  const auto tree = loaded();
  auto open = ConfigNode::createNode(L"Dialogs/Open/");
  ASSERT_TRUE(m_storage.load(open, true) && tree->childAt(L"Dialogs")->addChild(open));
  ASSERT_TRUE(put(L"Dialogs\\Open", L"Stale", L"only in the store"));
  ASSERT_TRUE(m_storage.flush(tree, true));
  EXPECT_EQ(stored(L"Dialogs\\Open", L"Folder"), L"s:C:\\Drawings");
  EXPECT_EQ(stored(L"Dialogs\\Open", L"Stale"), L"");

  ASSERT_TRUE(put(L"Dialogs\\Open", L"Extra", L"kept"));
  open->childAt(L"Folder")->setString(L"E:\\");
  ASSERT_TRUE(m_storage.flush(tree, true));
  EXPECT_EQ(stored(L"Dialogs\\Open", L"Extra"), L"s:kept");
  EXPECT_EQ(stored(L"Dialogs\\Open", L"Folder"), L"s:E:\\");
}

TEST_F(ConfigStorageTest, RoundTripAtSeveralDepths) {
  auto tree = loaded();
  tree->setString(L"new root default");                     // the root key's own value
  tree->childAt(L"Config/OSMODE")->setULong(0);             // in place
  tree->childAt(L"Config/Plot/Device")->setULong(12);       // another type
  add(tree->childAt(L"Config"), L"Config/ENV", L"%HOME%");  // letter-case variant of a value
  add(add(add(tree, L"DIALOGS/"), L"DIALOGS/Save/"), L"DIALOGS/Save/Folder", L"E:\\Out");  // replace a subtree
  ASSERT_TRUE(tree->removeChild(tree->childAt(L"Config/TEMPPREFIX")));                     // remove a value
  ASSERT_TRUE(tree->removeChild(tree->childAt(L"Empty")));                                 // and a key
  add(add(tree, L"New/"), L"New/Lines", L"one\ntwo \"quoted\" back\\slash");               // add at depth

  ASSERT_TRUE(m_storage.flush(tree, true));
  EXPECT_TRUE(test::sameContent(tree, loaded()));
  // And the store holds exactly that: the key names as the tree spells them.
  EXPECT_EQ(subKeys(), (std::vector<wxString>{L"Config", L"DIALOGS", L"New"}));
}

// --- flush: full writes and other stores ------------------------------------------------

// A full write of the tree elsewhere (and its content there) is checked with
// exportNode below; here, what the bool arguments do to the marks.
TEST_F(ConfigStorageTest, WritesElsewhereKeepTheMarksAndForeignLoadsStayNew) {
  const auto tree = loaded();
  tree->childAt(L"Config/OSMODE")->setULong(5);
  ConfigRegistryStorage copy(L"/T/Copy/");
  ASSERT_TRUE(copy.flush(tree, false));
  // The marks are the tree's bookkeeping against its own store: a full write
  // elsewhere leaves them, and the change still reaches the tree's store.
  EXPECT_EQ(stored(L"Config", L"OSMODE"), L"n:4263");
  ASSERT_TRUE(m_storage.flush(tree, true));
  EXPECT_EQ(stored(L"Config", L"OSMODE"), L"n:5");

  // Loaded as foreign, the nodes stay new: an incremental flush to another
  // store writes them all.
  auto again = ConfigNode::createNode(L"");
  ASSERT_TRUE(copy.load(again, false) && ConfigRegistryStorage(L"/T/Other/").flush(again, true));
  RegKey plot(eCurrentUser, L"Software\\TVCAD\\T\\Other\\Config\\Plot");
  EXPECT_TRUE(plot.open(eRead) && plot.valueCount() == 2u);
}

TEST_F(ConfigStorageTest, AFailedFlushChangesNothing) {
  const auto tree = loaded();
  for (const wchar_t* name : {L"Config/OSMODE", L"Config/AUTOSNAP", L"Config/Plot/Copies"}) {
    tree->childAt(name)->setULong(99);
  }
  ASSERT_TRUE(tree->removeChild(tree->childAt(L"Dialogs")));
  add(tree->childAt(L"Empty"), L"Empty/Later", L"x");
  // Writes 1 to 3 are the Config values, then Dialogs goes, then write 4 fails.
  auto failing = std::make_shared<CountingRegConfig>(L"Software\\TVCAD");
  failing->failAt = 4;
  ConfigStorageWx wx(kRoot, failing);
  EXPECT_FALSE(wx.flush(tree, true));
  EXPECT_EQ(failing->writes, 4);
  // Nothing reached the store, the deletion included, and the marks still
  // say what is to be written.
  EXPECT_EQ(stored(L"Config", L"OSMODE"), L"n:4263");
  EXPECT_EQ(stored(L"Config", L"AUTOSNAP"), L"n:127");
  EXPECT_TRUE(keyExists(L"Dialogs\\Open"));
  EXPECT_EQ(stored(L"Empty", L"Later"), L"");
  EXPECT_TRUE(tree->childAt(L"Config/OSMODE")->isModified() && tree->isTouched());
  // The next attempt writes it all.
  failing->failAt = -1;
  ASSERT_TRUE(wx.flush(tree, true));
  EXPECT_EQ(stored(L"Config\\Plot", L"Copies"), L"n:99");
  EXPECT_EQ(stored(L"Empty", L"Later"), L"s:x");
  EXPECT_FALSE(keyExists(L"Dialogs"));
}

// Any wxConfigBase: written in full (the file has no transaction, it is
// flushed at the end) and read back; a file cannot tell numbers from text.
TEST_F(ConfigStorageTest, WxStorageOverAFileConfig) {
  const auto tree = loaded();
  const wxString file((m_store.dir() / "settings.ini").string());
  auto ini = std::make_shared<wxFileConfig>(wxString(), wxString(), file, wxString(), wxCONFIG_USE_LOCAL_FILE);
  ini->SetPath(L"/Elsewhere");
  ASSERT_TRUE(ConfigStorageWx(L"/Profiles/Default/", ini).flush(tree, false));
  EXPECT_EQ(ini->GetPath(), wxString(L"/Elsewhere"));  // the caller's path is kept
  wxFileConfig reread(wxString(), wxString(), file, wxString(), wxCONFIG_USE_LOCAL_FILE);
  auto copy = ConfigNode::createNode(L"");
  ASSERT_TRUE(ConfigStorageWx(L"Profiles/Default", reread).load(copy, true));
  EXPECT_EQ(text(copy->childAt(L"Config/AUTOSNAP")), L"127");
  EXPECT_EQ(text(copy->childAt(L"Config/Env")), L"%PATH%");
  EXPECT_NE(copy->childAt(L"Empty"), nullptr);
}

// --- storages made for a key path ------------------------------------------------------

namespace {

class Manager : public ConfigManagerBase {
 public:
  using ConfigManagerBase::createStorage;
  using ConfigManagerBase::exportNode;
  using ConfigManagerBase::importNode;
};

}  // namespace

TEST_F(ConfigStorageTest, StoragesAndNodesForAKeyPath) {
  EXPECT_NE(Manager::createStorage(kRoot, false), nullptr);
  EXPECT_EQ(Manager::createStorage(L"/T/Missing/", false), nullptr);
  EXPECT_FALSE(RegKey(eCurrentUser, L"Software\\TVCAD\\T\\Missing").exists());
  const auto made = Manager::createStorage(L"/T/Missing/Deeper/", true);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->rootPath(), OdString(L"/T/Missing/Deeper/"));
  EXPECT_TRUE(RegKey(eCurrentUser, L"Software\\TVCAD\\T\\Missing\\Deeper").exists());
  EXPECT_EQ(Manager::createStorage(L"/T//x/", true), nullptr);

  const auto tree = Manager::importNode(kRoot);
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(tree->path(), OdString(L""));
  EXPECT_EQ(number(tree->childAt(L"Config/OSMODE")), 4263u);
  EXPECT_EQ(Manager::importNode(L"/T/Nothing/"), nullptr);
  ASSERT_TRUE(Manager::exportNode(tree, L"/T/Exported/"));
  EXPECT_TRUE(test::sameContent(tree, Manager::importNode(L"/T/Exported")));
  EXPECT_FALSE(Manager::exportNode(nullptr, L"/T/Exported/") || Manager::exportNode(tree, L"/T/../x"));
}
