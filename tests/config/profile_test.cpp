#include <gtest/gtest.h>

#include "config_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_profile.h>
#include <ut/ut_regstore.h>

#include <wx/arrstr.h>
#include <wx/buffer.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

using namespace ut;
using test::sameContent;
using test::str;

namespace {

// The start of a registry-export file, and of a profile's key line in it.
const std::string kHeader = "Windows Registry Editor Version 5.00\r\n\r\n";
const std::string kProfileKey = "[HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\";

std::vector<std::wstring> namesOf(ProfileManagerBase& m) {
  OdArray<OdString> names;
  m.getProfileNames(names);
  std::vector<std::wstring> out;
  for (unsigned i = 0; i < names.size(); ++i) out.push_back(names[i].c_str());
  return out;
}

// A key below the store's profiles key, in registry form; "" for that key itself.
wxString keyOf(const wxString& relative) {
  const wxString profiles(Config::profilesRoot(eCfgPathRegistry).c_str());  // ends with a backslash
  return relative.empty() ? profiles.Left(profiles.length() - 1) : profiles + relative;
}

bool storeHasKey(const wxString& relative) { return RegKey(eCurrentUser, keyOf(relative)).exists(); }

// A value straight from the store (wxString or long), below the profiles key.
template <typename T>
bool storeValue(const wxString& relative, const wxString& name, T& value) {
  return test::storeValue(keyOf(relative), name, value);
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
    ASSERT_TRUE(m_manager->setCurrentProfile(name, true) && Config::writeLong(eCfgConfig, L"Number", 255) &&
                Config::writeString(eCfgConfig, L"Text", L"a \"b\" \\ c\nd ü") &&
                Config::writeString(eCfgPlot, L"Plotter", L"pdf") &&
                Config::writeLong(eCfgToolbars, L"Deep/Er/Value", 0xffffffffL) &&
                Config::setProfileDescription(name, L"described"));
  }

  // Writes `text` to a file of the test's folder and answers its path.
  std::string writeFile(const char* name, const std::string& text) const {
    const std::string path = (m_store.dir() / name).string();
    EXPECT_TRUE(test::writeFileBytes(path, text)) << name;
    return path;
  }

  test::TempStore m_store;
  std::unique_ptr<ProfileManagerBase> m_manager;
};

// A host's manager whose export refuses one profile and counts its calls.
class RefusingManager : public ProfileManagerBase {
 public:
  bool exportProfile(const OdString& name, std::shared_ptr<ConfigStorageBase> storage) const override {
    ++m_exports;
    return name != L"Refused" && ProfileManagerBase::exportProfile(name, std::move(storage));
  }
  mutable int m_exports = 0;
};

}  // namespace

TEST_F(ProfileTest, EmptyNameIsTheTreeAndNamesIgnoreCase) {
  EXPECT_EQ(m_manager->getProfileNode(L"", false), m_manager->getProfileNode(L"", true));
  EXPECT_EQ(m_manager->getProfileNode(L"Work", false), nullptr);
  const auto work = m_manager->getProfileNode(L"Work", true);
  ASSERT_NE(work, nullptr);
  EXPECT_EQ(m_manager->getProfileNode(L"wOrK", true), work);
  for (const wchar_t* bad : {L"a/b", L"a\\b", L".."}) EXPECT_EQ(m_manager->getProfileNode(bad, true), nullptr);
  OdArray<OdString> names;
  names.append(L"before");
  m_manager->getProfileNames(names);  // appends
  EXPECT_TRUE(names.size() == 2u && str(names[1]) == L"Work");
}

TEST_F(ProfileTest, CurrentProfileIsRecordedAndReloaded) {
  // A store whose profiles key names "Old" in its own value, which wins over
  // "CurProfile" when the store is read.
  RegKey root(eCurrentUser, keyOf(L""));
  ASSERT_TRUE(RegKey(eCurrentUser, keyOf(L"Old")).create() && root.create() && root.setValue(L"", L"Old"));
  ASSERT_TRUE(m_manager->reset());
  EXPECT_EQ(str(m_manager->currentProfileName()), L"Old");
  EXPECT_FALSE(m_manager->setCurrentProfile(L"", true));
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Mine", true));
  EXPECT_EQ(namesOf(*m_manager), (std::vector<std::wstring>{L"Mine", L"Old"}));  // "CurProfile" is no profile
  ASSERT_TRUE(m_manager->flush());
  wxString value;
  EXPECT_TRUE(storeValue(L"", L"CurProfile", value) && value == L"Mine");
  EXPECT_TRUE(storeValue(L"", L"", value) && value.empty());  // the old record is emptied
  EXPECT_TRUE(storeHasKey(L"Mine\\Config"));                  // prepared for writing

  // A reset reloads from the store and drops what was not flushed.
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Unflushed", 1));
  ASSERT_TRUE(m_manager->reset());
  EXPECT_EQ(str(m_manager->currentProfileName()), L"Mine");
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"Unflushed"));
  // A store without profiles: nothing to reload, nothing current.
  ASSERT_TRUE(root.open() && root.deleteSelf());
  EXPECT_FALSE(m_manager->reset());
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  EXPECT_TRUE(namesOf(*m_manager).empty());
}

TEST_F(ProfileTest, CopyReplacesTheTargetWithValuesAndDescription) {
  // A missing source is created empty along with the copy.
  EXPECT_TRUE(m_manager->copyProfile(L"Ghost", L"Copy"));
  // An empty name would be the whole tree: no source at all.
  EXPECT_FALSE(m_manager->copyProfile(L"", L"All") || m_manager->renameProfile(L"", L"All"));
  fill(L"Source");
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Target", true));
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Old", 1));
  ASSERT_TRUE(m_manager->flush());
  ASSERT_TRUE(m_manager->copyProfile(L"source", L"Target"));
  EXPECT_TRUE(sameContent(m_manager->getProfileNode(L"Source", false), m_manager->getProfileNode(L"Target", false)));
  long n = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Number", n) && n == 255);  // the current profile serves the copy
  ASSERT_TRUE(m_manager->flush());
  EXPECT_TRUE(storeHasKey(L"Ghost") && storeHasKey(L"Copy"));
  EXPECT_FALSE(storeValue(L"Target\\Config", L"Old", n));  // the old key was replaced
  EXPECT_TRUE(storeValue(L"Target\\Config", L"Number", n) && n == 255);
  wxString description;
  EXPECT_TRUE(storeValue(L"Target", L"", description) && description == L"described");

  // Reset after the copy: what is written lands in the empty profile.
  ASSERT_TRUE(m_manager->resetProfile(L"TARGET"));
  EXPECT_FALSE(m_manager->resetProfile(L"Nobody") || m_manager->getProfileNode(L"Nobody", false));
  EXPECT_FALSE(Config::hasEntry(eCfgConfig, L"Number"));
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"After", 2));
  ASSERT_TRUE(m_manager->flush());
  EXPECT_TRUE(storeValue(L"Target\\Config", L"After", n) && n == 2);
  EXPECT_FALSE(storeValue(L"Target\\Config", L"Number", n));
  // Deleting a profile that replaced another still ends its being current.
  ASSERT_TRUE(m_manager->deleteProfile(L"Target"));
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Target", true));  // over the deleted one
  ASSERT_TRUE(m_manager->deleteProfile(L"target"));
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
}

TEST_F(ProfileTest, RenameRefusesAnExistingTargetAndMovesCurProfile) {
  fill(L"A");
  m_manager->getProfileNode(L"B", true);
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(m_manager->renameProfile(L"A", L"b"));
  EXPECT_EQ(namesOf(*m_manager), (std::vector<std::wstring>{L"A", L"B"}));
  ASSERT_TRUE(m_manager->renameProfile(L"A", L"C"));
  EXPECT_EQ(str(m_manager->currentProfileName()), L"C");
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(storeHasKey(L"A"));
  long n = 0;
  EXPECT_TRUE(storeValue(L"C\\Toolbars\\Deep\\Er", L"Value", n));
  wxString value;
  EXPECT_TRUE(storeValue(L"", L"CurProfile", value) && value == L"C");
  EXPECT_TRUE(storeValue(L"C", L"", value) && value == L"described");
}

TEST_F(ProfileTest, ResetAndDeleteReachTheStore) {
  fill(L"Other");
  fill(L"R");
  fill(L"Gone");
  ASSERT_TRUE(m_manager->flush());
  // A reset profile keeps its name and loses its keys.
  ASSERT_TRUE(m_manager->resetProfile(L"r"));
  ASSERT_TRUE(m_manager->flush());
  EXPECT_TRUE(storeHasKey(L"R"));
  EXPECT_FALSE(storeHasKey(L"R\\Config"));
  // A deletion reaches the store at once, without a flush; deleting another
  // profile keeps the current one and the record that names it.
  ASSERT_TRUE(m_manager->deleteProfile(L"Other"));
  EXPECT_FALSE(storeHasKey(L"Other"));
  ASSERT_TRUE(m_manager->flush());
  wxString recorded;
  EXPECT_TRUE(storeValue(L"", L"CurProfile", recorded));
  EXPECT_EQ(recorded, L"Gone");
  // Deleting the current profile also drops that record, so that the next use
  // of a profile group cannot bring it back under that name.
  ASSERT_TRUE(m_manager->deleteProfile(L"GONE"));  // names ignore case
  EXPECT_FALSE(storeHasKey(L"Gone"));
  EXPECT_TRUE(storeHasKey(L"R"));
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(storeValue(L"", L"CurProfile", recorded)) << recorded;
  EXPECT_TRUE(m_manager->deleteProfile(L"NeverWas"));  // created, then deleted
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"R"});

  m_manager = std::make_unique<ProfileManagerBase>();
  EXPECT_TRUE(m_manager->currentProfileName().isEmpty());
  EXPECT_EQ(namesOf(*m_manager), std::vector<std::wstring>{L"R"});
}

TEST_F(ProfileTest, ImportAndExportWithoutAStorageUseTheStore) {
  fill(L"P");
  EXPECT_FALSE(m_manager->importProfile(L"P", nullptr));  // not in the store yet
  EXPECT_FALSE(m_manager->exportProfile(L"Nobody", nullptr));
  ASSERT_TRUE(m_manager->exportProfile(L"P", nullptr));
  long n = 0;
  EXPECT_TRUE(storeValue(L"P\\Config", L"Number", n) && n == 255);
  // Importing from the store drops what the tree changed since.
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"Number", 1) && Config::writeLong(eCfgConfig, L"Unsaved", 1));
  ASSERT_TRUE(m_manager->importProfile(L"p", nullptr));
  EXPECT_TRUE(Config::read(eCfgConfig, L"Number", n) && n == 255);  // the imported profile is current
  ASSERT_TRUE(m_manager->flush());
  EXPECT_FALSE(storeValue(L"P\\Config", L"Unsaved", n));
}

TEST_F(ProfileTest, FlushExportsThroughTheVirtualSlotAndReportsFailure) {
  m_manager.reset();
  RefusingManager manager;
  ASSERT_TRUE(manager.setCurrentProfile(L"Good", true));
  ASSERT_TRUE(Config::writeLong(eCfgConfig, L"V", 1));
  ASSERT_TRUE(manager.copyProfile(L"Good", L"Gone"));
  ASSERT_TRUE(manager.flush());
  ASSERT_TRUE(manager.deleteProfile(L"Gone"));
  manager.getProfileNode(L"Refused", true);
  manager.m_exports = 0;
  EXPECT_FALSE(manager.flush());
  EXPECT_EQ(manager.m_exports, 2);  // the live profiles only
  EXPECT_FALSE(Config::flush());    // the facade reports the manager's failure
  long n = 0;
  EXPECT_TRUE(storeValue(L"Good\\Config", L"V", n) && n == 1);  // the others are written all the same
}

// --- profiles in registry-export files ---------------------------------------

// A profile exported on Windows: UTF-16LE with a byte-order mark, CR LF,
// long hex values continued over several lines, values of every type.
TEST_F(ProfileTest, WindowsExportImportsEveryValue) {
  const std::string file = std::string(UT_TESTDATA_DIR) + "/registry/profile-windows-export.reg";
  const std::wstring description = L"Profile for 2D drafting, exported on Windows";
  EXPECT_EQ(ut::getProfileNameFromFile(file), L"Drafting");
  test::LogCapture log;
  ASSERT_TRUE(ut::importProfile(file, L"", L""));
  EXPECT_TRUE(log.messages().empty());
  EXPECT_EQ(ut::getProfileDescription(L"Drafting"), description);
  ASSERT_TRUE(m_manager->setCurrentProfile(L"Drafting", true));

  const struct {
    ECfgGroup group;
    const wchar_t* entry;
    long number;  // -1: a string
    const wchar_t* text;
  } readable[] = {
      {eCfgConfig, L"AUTOSNAP", 127, nullptr},
      {eCfgConfig, L"OSMODE", 4263, nullptr},
      {eCfgConfig, L"COLORTHEME", 1, nullptr},
      {eCfgConfig, L"TEMPPREFIX", -1, L"D:\\Temp\\Drafting"},
      {eCfgConfig, L"Greeting", -1, L"Grüße, \"quoted\" and back\\slash"},
      {eCfgConfig, L"SupportPath", -1,  // hex(2), unexpanded
       L"%APPDATA%\\TVCAD\\Support;%USERPROFILE%\\Documents\\TVCAD\\Fonts;C:\\Program Files\\TVCAD\\Support"},
      {eCfgPlot, L"DefaultPlotter", -1, L"PDF (Vector).pc3"},
      {eCfgPlot, L"PlotOffset", -1, L"0,0"},
      {eCfgDialogs, L"Layer Manager/Rect", -1, L"120,80,900,640"},
      {eCfgDialogs, L"Layer Manager/Visible", 0, nullptr},
      {eCfgProfileRecentPaths, L"Path1", -1, L"\\\\fileserver\\projects\\Bridge 12\\drawings"},
  };
  for (const auto& r : readable) {
    SCOPED_TRACE(wxString(r.entry));
    long n = -1;
    OdString s;
    EXPECT_TRUE(r.number >= 0 ? Config::read(r.group, r.entry, n) && n == r.number
                              : Config::read(r.group, r.entry, s) && str(s) == r.text);
  }
  // Binary data, a multi-string and a 64-bit time stamp cannot be read as
  // settings, but they are kept and reach the store as they were.
  for (const wchar_t* entry : {L"WindowPlacement", L"RecentCommands", L"LastSaved"}) {
    EXPECT_TRUE(Config::hasEntry(eCfgConfig, entry) && Config::entryType(eCfgConfig, entry) == eCfgTypeUnknown)
        << wxString(entry);
  }
  ASSERT_TRUE(Config::flush());
  RegKey config(eCurrentUser, wxString(Config::profilesRoot(eCfgPathRegistry).c_str()) + L"Drafting\\Config");
  ASSERT_TRUE(config.open(eRead));
  wxMemoryBuffer placement;
  ASSERT_TRUE(config.queryValue(L"WindowPlacement", placement));
  ASSERT_EQ(placement.GetDataLen(), 44u);
  for (unsigned i = 0; i < 44; ++i) EXPECT_EQ(static_cast<const unsigned char*>(placement.GetData())[i], i);
  std::vector<wxString> commands;
  ASSERT_TRUE(config.queryMultiString(L"RecentCommands", commands));
  EXPECT_EQ(commands, (std::vector<wxString>{L"LINE", L"CIRCLE", L"PLINE", L"DIMLINEAR"}));
  std::int64_t saved = 0;
  ASSERT_TRUE(config.queryValue64(L"LastSaved", saved));
  EXPECT_EQ(saved, 0x01da223e15f1f34eLL);

  // Our own export of it, imported under another name, is the same value by
  // value and type by type, through the store too.
  const std::string again = (m_store.dir() / "again.reg").string();
  ASSERT_TRUE(ut::exportProfile(L"Drafting", again));
  EXPECT_EQ(ut::getProfileNameFromFile(again), L"Drafting");
  ASSERT_TRUE(ut::importProfile(again, L"Copy", L"") && ut::importProfile(again, L"Third", L"new words"));
  EXPECT_EQ(ut::getProfileDescription(L"Copy"), description);
  EXPECT_EQ(ut::getProfileDescription(L"Third"), L"new words");
  ASSERT_TRUE(m_manager->flush() && m_manager->reset());
  EXPECT_TRUE(sameContent(m_manager->getProfileNode(L"Drafting", false), m_manager->getProfileNode(L"Copy", false)));
}

TEST_F(ProfileTest, FilesOfAnotherShapeAreRefusedAndChangeNothing) {
  fill(L"Keep");
  const auto names = namesOf(*m_manager);
  test::LogCapture log;
  const std::string missing = (m_store.dir() / "missing.reg").string();
  EXPECT_FALSE(ut::importProfile(missing, L"X", L""));
  EXPECT_EQ(log.messages(),
            std::vector<std::wstring>{L"File not found: \"" + wxString(missing).ToStdWstring() + L"\""});

  const auto refused = [&](const char* name, const std::string& text) {
    const std::string path = writeFile(name, text);
    log.clear();
    EXPECT_FALSE(ut::importProfile(path, L"Keep", L"")) << name;
    EXPECT_EQ(log.messages(), std::vector<std::wstring>{L"File \"" + wxString(path).ToStdWstring() +
                                                        L"\" is not a profile of the application"})
        << name;
  };
  refused("text.reg", "just some text\r\n");
  refused("other-key.reg", kHeader + "[HKEY_CURRENT_USER\\Software\\Other]\r\n\"a\"=\"b\"\r\n");
  refused("machine.reg", kHeader + "[HKEY_LOCAL_MACHINE\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\P]\r\n");
  refused("two.reg", kHeader + kProfileKey + "P]\r\n" + kProfileKey + "Q\\Config]\r\n");
  refused("delete.reg", kHeader + kProfileKey + "P]\r\n\"x\"=-\r\n");
  refused("empty.reg", "");
  EXPECT_EQ(namesOf(*m_manager), names);
  long n = 0;
  EXPECT_TRUE(Config::read(eCfgConfig, L"Number", n) && n == 255);  // "Keep" untouched
}

// A value of a type the tree does not interpret (a link, a type number no
// one defined) is exported in hex form, so that the export is still a
// profile export and imports with the same type and bytes.
TEST_F(ProfileTest, ValuesOfOtherTypesSurviveExportAndImport) {
  const std::string source = writeFile("other-types.reg", kHeader + kProfileKey + "Odd]\r\n" + kProfileKey +
                                                              "Odd\\Config]\r\n\"Link\"=hex(6):61,00,62,00\r\n"
                                                              "\"Odd\"=hex(12345):01\r\n");
  ASSERT_TRUE(ut::importProfile(source, L"Odd", L""));
  const std::string exported = (m_store.dir() / "exported.reg").string();
  ASSERT_TRUE(ut::exportProfile(L"Odd", exported));
  const std::string text = test::readFileBytes(exported);
  EXPECT_NE(text.find("\"Link\"=hex(6):61,00,62,00\r\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\"Odd\"=hex(12345):01\r\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("Unknown type"), std::string::npos) << text;

  ASSERT_TRUE(ut::importProfile(exported, L"Again", L""));
  ASSERT_TRUE(Config::flush());
  RegKey config(eCurrentUser, keyOf(L"Again\\Config"));
  ASSERT_TRUE(config.open(eRead));
  unsigned type = 0;
  std::vector<std::uint8_t> data;
  ASSERT_TRUE(config.queryRawValue(L"Link", type, data));
  EXPECT_EQ(type, 6u);
  EXPECT_EQ(data, (std::vector<std::uint8_t>{0x61, 0x00, 0x62, 0x00}));
  ASSERT_TRUE(config.queryRawValue(L"Odd", type, data));
  EXPECT_EQ(type, 0x12345u);
  EXPECT_EQ(data, (std::vector<std::uint8_t>{0x01}));
}

// Key and value names holding U+0000 (a UTF-16 export can carry them) are
// imported and exported whole, not cut at the character (a value name cut to
// nothing once stood for its own key).
TEST_F(ProfileTest, NamesHoldingNulAreExportedWhole) {
  const std::string source = writeFile(
      "nul.reg", kHeader + kProfileKey + "Nul]\r\n" + kProfileKey + "Nul" + std::string("\\Config\\a\0b]\r\n", 14) +
                     std::string("\"x\0y\"=\"text\"\r\n", 14) + std::string("\"\0z\"=dword:00000001\r\n", 21));
  ASSERT_TRUE(ut::importProfile(source, L"Nul", L""));
  const std::string exported = (m_store.dir() / "exported.reg").string();
  ASSERT_TRUE(ut::exportProfile(L"Nul", exported));
  const std::string text = test::readFileBytes(exported);
  EXPECT_NE(text.find(std::string("\\Config\\a\0b]\r\n", 14)), std::string::npos);
  EXPECT_NE(text.find(std::string("\"x\0y\"=\"text\"\r\n", 14)), std::string::npos);
  EXPECT_NE(text.find(std::string("\"\0z\"=dword:00000001\r\n", 21)), std::string::npos);
}

TEST_F(ProfileTest, ExportFailuresGiveTheirMessagesOnlyWhenAsked) {
  fill(L"P");
  const std::string file = (m_store.dir() / "x.reg").string();
  const std::tuple<const wchar_t*, std::string, std::wstring> cases[] = {
      {L"", file, L"Bad arguments"},
      {L"P", "", L"Bad arguments"},
      {L"Missing", file,
       L"Config group not found: " + std::wstring(Config::profilesRoot(eCfgPathConfig).c_str()) + L"Missing/"}};
  for (const auto& [name, target, message] : cases) {
    test::LogCapture log;
    EXPECT_FALSE(ut::exportProfile(name, target));
    EXPECT_EQ(log.messages(), std::vector<std::wstring>{message});
    log.clear();
    EXPECT_FALSE(Config::exportProfile(name, OdString(wxString(target).wc_str()), false));
    EXPECT_TRUE(log.messages().empty()) << wxString(message);
  }
  EXPECT_FALSE(m_manager->getProfileNode(L"Missing", false));  // export never creates
}
