#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <wx/arrstr.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

using namespace ut;
using test::sameContent;

namespace {

std::wstring str(const OdString& s) { return s.c_str(); }

std::vector<std::wstring> namesOf(ProfileManagerBase& m) {
  OdArray<OdString> names;
  m.getProfileNames(names);
  std::vector<std::wstring> out;
  for (unsigned i = 0; i < names.size(); ++i) out.push_back(names[i].c_str());
  return out;
}

// The profiles key of the store, in registry form.
wxString profilesKey() {
  wxString key(Config::profilesRoot(eCfgPathRegistry).c_str());
  key.RemoveLast();
  return key;
}

bool storeHasKey(const wxString& relative) { return RegKey(eCurrentUser, profilesKey() + L"\\" + relative).exists(); }

bool storeString(const wxString& relative, const wxString& name, wxString& value) {
  RegKey key(eCurrentUser, relative.empty() ? profilesKey() : profilesKey() + L"\\" + relative);
  return key.open(eRead) && key.queryValue(name, value);
}

bool storeNumber(const wxString& relative, const wxString& name, long& value) {
  RegKey key(eCurrentUser, profilesKey() + L"\\" + relative);
  return key.open(eRead) && key.queryValue(name, value);
}

class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_store.ok());
    m_manager = std::make_unique<ProfileManagerBase>();
  }
  void TearDown() override { m_manager.reset(); }

  // A profile with a few values of both types and a nested key.
  void fill(const OdString& name) {
    ASSERT_TRUE(m_manager->setCurrentProfile(name, true));
    ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Number", 255));
    ASSERT_TRUE(Config::writeString(eCfgConfig, L"Text", L"a \"b\" \\ c\nd ü"));
    ASSERT_TRUE(Config::writeString(eCfgPlot, L"Plotter", L"pdf"));
    ASSERT_TRUE(Config::writeLong(eCfgToolbars, L"Deep/Er/Value", 0xffffffffL));
    ASSERT_TRUE(Config::setProfileDescription(name, L"described"));
  }

  test::TempStore m_store;
  std::unique_ptr<ProfileManagerBase> m_manager;
};

}  // namespace

TEST_F(ProfileTest, EmptyNameIsTheTreeAndNamesIgnoreCase) {
  EXPECT_EQ(m_manager->getProfileNode(L"", false), m_manager->getProfileNode(L"", true));
  EXPECT_EQ(m_manager->getProfileNode(L"Work", false), nullptr);
  const auto work = m_manager->getProfileNode(L"Work", true);
  ASSERT_NE(work, nullptr);
  EXPECT_EQ(m_manager->getProfileNode(L"WORK", false), work);
  EXPECT_EQ(m_manager->getProfileNode(L"wOrK", true), work);
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"Work"});
  EXPECT_EQ(m_manager->getProfileNode(L"a/b", true), nullptr);  // not one key level
}

TEST_F(ProfileTest, CurrentProfileIsRecordedAndSurvivesFlush) {
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  EXPECT_FALSE(m_manager->setCurrentProfile(L"", true));
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Mine", true));
  EXPECT_EQ(str(m_manager->currentProfileName()), L"Mine");
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"Mine"});  // "CurProfile" is no profile
  ASSERT_TRUE(m_manager->flush());
  wxString value;
  ASSERT_TRUE(storeString(L"", L"CurProfile", value));
  EXPECT_EQ(value, L"Mine");
  EXPECT_TRUE(storeHasKey(L"Mine\\Config"));  // prepared for writing

  m_manager.reset();
  m_manager = std::make_unique<ProfileManagerBase>();
  EXPECT_EQ(str(m_manager->currentProfileName()), L"Mine");
}

TEST_F(ProfileTest, CopyOfAMissingProfileCreatesBothEmpty) {
  EXPECT_TRUE(m_manager->copyProfile(L"Ghost", L"Copy"));
  EXPECT_EQ(namesOf(*m_manager), (std::vector<std::wstring>{L"Copy", L"Ghost"}));
  ASSERT_TRUE(m_manager->flush());
  EXPECT_TRUE(storeHasKey(L"Ghost"));
  EXPECT_TRUE(storeHasKey(L"Copy"));
}

TEST_F(ProfileTest, CopyOverwritesAndCarriesValuesAndDescription) {
  fill(L"Source");
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Target", true));
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Old", 1));
  ASSERT_TRUE(m_manager->flush());
  ASSERT_TRUE(m_manager->copyProfile(L"source", L"Target"));
  EXPECT_TRUE(sameContent(m_manager->getProfileNode(L"Source", false), m_manager->getProfileNode(L"Target", false)));
  ASSERT_TRUE(m_manager->flush());
  long n = 0;
  EXPECT_FALSE(storeNumber(L"Target\\Config", L"Old", n));  // the old key was replaced
  EXPECT_TRUE(storeNumber(L"Target\\Config", L"Number", n));
  EXPECT_EQ(n, 255);
  wxString description;
  EXPECT_TRUE(storeString(L"Target", L"", description));
  EXPECT_EQ(description, L"described");
}

TEST_F(ProfileTest, CopyOverTheCurrentProfileServesTheCopy) {
  fill(L"Src");
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Cur", true));
  ASSERT_TRUE(m_manager->copyProfile(L"Src", L"CUR"));
  long n = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Number", n));
  EXPECT_EQ(n, 255);
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"After", 2));
  ASSERT_TRUE(m_manager->flush());
  EXPECT_TRUE(storeNumber(L"Cur\\Config", L"After", n));
  EXPECT_EQ(n, 2);
}

TEST_F(ProfileTest, RenameRefusesAnExistingTargetAndMovesCurProfile) {
  fill(L"A");
  m_manager->getProfileNode(L"B", true);
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(m_manager->renameProfile(L"A", L"b"));
  EXPECT_EQ(str(m_manager->currentProfileName()), L"A");
  EXPECT_EQ(namesOf(*m_manager), (std::vector<std::wstring>{L"A", L"B"}));

  ASSERT_TRUE(m_manager->renameProfile(L"A", L"C"));
  EXPECT_EQ(str(m_manager->currentProfileName()), L"C");
  long n = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Number", n));
  EXPECT_EQ(n, 255);
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(storeHasKey(L"A"));
  EXPECT_TRUE(storeNumber(L"C\\Toolbars\\Deep\\Er", L"Value", n));
  wxString value;
  ASSERT_TRUE(storeString(L"", L"CurProfile", value));
  EXPECT_EQ(value, L"C");
  ASSERT_TRUE(storeString(L"C", L"", value));
  EXPECT_EQ(value, L"described");
}

TEST_F(ProfileTest, ResetEmptiesButKeepsTheName) {
  EXPECT_FALSE(m_manager->resetProfile(L"Nobody"));
  EXPECT_TRUE(namesOf(*m_manager).empty());
  fill(L"R");
  ASSERT_TRUE(m_manager->flush());
  ASSERT_TRUE(m_manager->resetProfile(L"r"));
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"R"});
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"Number"));
  ASSERT_TRUE(m_manager->flush());
  EXPECT_TRUE(storeHasKey(L"R"));
  EXPECT_FALSE(storeHasKey(L"R\\Config"));
}

TEST_F(ProfileTest, DeleteReachesTheStoreAtOnce) {
  fill(L"Gone");
  m_manager->getProfileNode(L"Kept", true);
  ASSERT_TRUE(m_manager->flush());
  ASSERT_TRUE(storeHasKey(L"Gone\\Config"));
  ASSERT_TRUE(m_manager->deleteProfile(L"GONE"));
  EXPECT_FALSE(storeHasKey(L"Gone"));  // no flush needed
  EXPECT_TRUE(storeHasKey(L"Kept"));
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"Kept"});
  EXPECT_TRUE(m_manager->deleteProfile(L"NeverWas"));  // created, then deleted
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"Kept"});
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(storeHasKey(L"Gone"));
}

TEST_F(ProfileTest, ResetReloadsFromTheStore) {
  fill(L"P");
  ASSERT_TRUE(m_manager->flush());
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Unflushed", 1));
  ASSERT_TRUE(m_manager->reset());
  EXPECT_EQ(str(m_manager->currentProfileName()), L"P");
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"Unflushed"));
  EXPECT_TRUE(Config::hasEntry(eCfgConfig, L"Number"));
}

TEST_F(ProfileTest, WxFunctions) {
  EXPECT_TRUE(ut::createProfile(L"W", L"desc"));
  EXPECT_FALSE(ut::createProfile(L"w", L"again"));
  EXPECT_TRUE(ut::profileExists(L"W"));
  EXPECT_FALSE(ut::profileExists(L""));
  EXPECT_EQ(ut::getProfileDescription(L"W"), L"desc");
  EXPECT_TRUE(ut::setCurrentProfileName(L"W"));
  EXPECT_EQ(ut::getCurrentProfileName(), L"W");
  EXPECT_FALSE(ut::renameProfile(L"Missing", L"Y"));
  EXPECT_FALSE(ut::profileExists(L"Missing"));  // the wx rename checks first
  EXPECT_TRUE(ut::renameProfile(L"W", L"Y"));
  wxArrayString names;
  ut::getProfileNames(names);
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], L"Y");
  EXPECT_TRUE(ut::resetProfile(L"Y"));
  EXPECT_TRUE(ut::deleteProfile(L"Y"));
  EXPECT_FALSE(ut::profileExists(L"Y"));
}

TEST_F(ProfileTest, AnotherProcessSeesFlushedChangesAfterReset) {
  fill(L"Shared");
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"Plain", L"plain ü"));
  ASSERT_TRUE(Config::flush());
  const std::string store = m_store.file().string();
  const std::string key = (profilesKey() + L"\\Shared\\Config").ToStdString();
  {
    test::ChildProcess reader(UT_TEST_CHILD, {"--store", store, "get", key, "Plain"});
    ASSERT_TRUE(reader.started());
    const auto line = reader.readLine();
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(wxString::FromUTF8(line->c_str()), L"plain ü");
    reader.wait();
  }
  {
    test::ChildProcess writer(UT_TEST_CHILD, {"--store", store, "set", key, "FromChild", "child value"});
    ASSERT_TRUE(writer.started());
    EXPECT_EQ(writer.wait(), 0);
  }
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"FromChild"));  // the tree is not live
  ASSERT_TRUE(m_manager->reset());
  OdString s;
  EXPECT_TRUE(Config::read(eCfgConfig, L"FromChild", s));
  EXPECT_EQ(str(s), L"child value");
}
