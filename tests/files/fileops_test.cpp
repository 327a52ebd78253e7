#include <gtest/gtest.h>

#include "files_test_support.h"
#include "test_support.h"

#include <ut/ut_config.h>
#include <ut/ut_fileops.h>
#include <ut/ut_filename.h>
#include <ut/ut_profile.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using namespace ut;
using test::od;
using test::readFileBytes;
using test::utf8;
using test::writeFileBytes;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> split(const OdString& searchPath) {
  OdArray<OdString> entries;
  splitSearchPath(entries, searchPath);
  std::vector<std::string> out;
  for (const OdString& e : entries) out.push_back(utf8(e));
  return out;
}

}  // namespace

// --- search paths --------------------------------------------------------------------

TEST(SearchPath, SplitKeepsEmptyEntriesAndCorrectsSlashes) {
  using V = std::vector<std::string>;
  EXPECT_EQ(split(L"a;;b\\c"), (V{"a", "", "b/c"}));
  EXPECT_EQ(split(L""), (V{""}));
  EXPECT_EQ(split(L";"), (V{"", ""}));
  EXPECT_EQ(split(L"x|y;"), (V{"x y", ""}));
  OdArray<OdString> reused{OdString(L"old")};
  splitSearchPath(reused, L"new");
  ASSERT_EQ(reused.size(), 1u);
  EXPECT_EQ(utf8(reused[0]), "new");
}

TEST(SearchPath, CleanupDropsEmptiesAndLaterDuplicates) {
  struct Row {
    const wchar_t* input;
    const char* cleaned;
  };
  const Row rows[] = {
      {L"C:\\A;;c:\\a\\;D:\\B", "C:/A;D:/B"},
      {L"/x//;/X;/y;", "/x//;/y"},
      {L";;;", ""},
      {L"", ""},
      {L"/a;/b;/a/;/B/", "/a;/b"},
  };
  for (const Row& row : rows) EXPECT_EQ(utf8(cleanupSearchPath(row.input)), row.cleaned) << utf8(row.input);
}

TEST(SearchPath, AppendAndPrependCountTheirLengthsAgainstTheLimit) {
  struct Case {
    const char* what;
    const wchar_t* searchPath;
    const wchar_t* path;
    bool prepend;
    int limit;
    bool result;
    const char* after;
  };
  const Case cases[] = {
      {"append after a separator", L"X;", L"Y", false, 100, true, "X;Y"},
      {"append to nothing", L"", L"\\p", false, 2, true, "/p"},
      // Appending counts the separator: "AB" + ";" + "CD" is 5 characters.
      {"append at the limit", L"AB", L"CD", false, 5, true, "AB;CD"},
      {"append past the limit", L"AB", L"CD", false, 4, false, "AB"},
      {"append without a separator", L"AB;", L"CD", false, 5, true, "AB;CD"},
      {"prepend to nothing", L"", L"Y", true, 1, true, "Y;"},
      // Prepending counts an inserted separator as nothing, so "Y;A" fits 2.
      {"prepend at the limit", L"A", L"Y", true, 2, true, "Y;A"},
      {"prepend past the limit", L"A", L"Y", true, 1, false, "A"},
      // The search path begins with ";": nothing inserted, yet 1 is counted.
      {"prepend before a separator", L";A", L"Y", true, 4, true, "Y;A"},
      {"prepend before a separator past the limit", L";A", L"Y", true, 3, false, ";A"},
  };
  for (const Case& c : cases) {
    OdString sp = c.searchPath;
    const bool result =
        c.prepend ? prependPathToSearchPath(sp, c.path, false, c.limit) : addPathToSearchPath(sp, c.path, c.limit);
    EXPECT_EQ(result, c.result) << c.what;
    EXPECT_EQ(utf8(sp), c.after) << c.what;
  }
}

TEST(SearchPath, AppendAndPrependLeaveHeldPathsAlone) {
  OdString sp = L"/One;/two";
  EXPECT_TRUE(addPathToSearchPath(sp, L"/ONE", 0));
  EXPECT_TRUE(prependPathToSearchPath(sp, L"\\TWO", false, 0));
  EXPECT_TRUE(addPathToSearchPath(sp, L"", 0));
  EXPECT_TRUE(prependPathToSearchPath(sp, L"", false, 0));
  EXPECT_EQ(utf8(sp), "/One;/two");
  // A trailing separator makes another entry here.
  EXPECT_TRUE(addPathToSearchPath(sp, L"/one/", 100));
  EXPECT_EQ(utf8(sp), "/One;/two;/one/");
}

TEST(SearchPath, UnlimitedPrependStopsAt32767) {
  OdString fits(std::wstring(32766, L'a'));
  EXPECT_TRUE(prependPathToSearchPath(fits, L"Y", true, 0));
  EXPECT_EQ(fits.getLength(), 32768);
  OdString tooLong(std::wstring(32767, L'a'));
  EXPECT_FALSE(prependPathToSearchPath(tooLong, L"Y", true, 1 << 30));
  EXPECT_EQ(tooLong.getLength(), 32767);
}

TEST(SearchPath, FirstAccessibleDirSkipsFilesAndMissingEntries) {
  test::TempDir dir;
  fs::create_directory(dir / "d");
  writeFileBytes(dir / "f", "x");
  const OdString sp = od(dir / "missing") + L";;" + od(dir / "f") + L";" + od(dir / "d") + L";" + od(dir.path());
  EXPECT_EQ(utf8(firstAccessibleDir(sp)), (dir / "d").string());
  EXPECT_EQ(utf8(firstAccessibleDir(od(dir / "missing") + L";" + od(dir / "f"))), "");
  EXPECT_EQ(utf8(firstAccessibleDir(L"")), "");
}

// --- operations on real files ---------------------------------------------------------------

class FileOps : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFileBytes(m_dir / "a.txt", "alpha");
    fs::create_directory(m_dir / "dir");
  }
  OdString at(const std::string& name) const { return od(m_dir / name); }

  test::TempDir m_dir;
};

TEST_F(FileOps, AccessAndExistence) {
  EXPECT_TRUE(accessFile(at("a.txt")));
  EXPECT_TRUE(accessFile(at("dir")));
  EXPECT_FALSE(accessFile(at("missing")));
  EXPECT_FALSE(accessFile(L""));
  EXPECT_TRUE(fileExists(at("a.txt")));
  EXPECT_FALSE(fileExists(at("dir")));
  EXPECT_TRUE(dirExists(at("dir")));
  EXPECT_FALSE(dirExists(at("a.txt")));
}

TEST_F(FileOps, CopyRespectsOverwriteAndKeepsPermissions) {
  fs::permissions(m_dir / "a.txt", fs::perms::owner_read | fs::perms::owner_write | fs::perms::owner_exec);
  EXPECT_TRUE(copyFile(at("a.txt"), at("b.txt"), false));
  EXPECT_EQ(readFileBytes(m_dir / "b.txt"), "alpha");
  EXPECT_EQ(fs::status(m_dir / "b.txt").permissions(), fs::status(m_dir / "a.txt").permissions());

  writeFileBytes(m_dir / "c.txt", "other");
  EXPECT_FALSE(copyFile(at("a.txt"), at("c.txt"), false));
  EXPECT_EQ(readFileBytes(m_dir / "c.txt"), "other");
  EXPECT_TRUE(copyFile(at("a.txt"), at("c.txt"), true));
  EXPECT_EQ(readFileBytes(m_dir / "c.txt"), "alpha");

  EXPECT_FALSE(copyFile(at("a.txt"), at("a.txt"), true));  // onto itself
  EXPECT_EQ(readFileBytes(m_dir / "a.txt"), "alpha");
  EXPECT_FALSE(copyFile(at("missing"), at("d.txt"), true));
  EXPECT_FALSE(copyFile(at("dir"), at("d.txt"), true));
  EXPECT_FALSE(copyFile(at("a.txt"), at("no/such/d.txt"), true));
  EXPECT_FALSE(copyFile(at("a.txt"), at("dir"), true));
  EXPECT_FALSE(fs::exists(m_dir / "d.txt"));
  // No temporary left behind by the failures.
  int entries = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator(m_dir.path())) ++entries;
  EXPECT_EQ(entries, 4);  // a.txt, b.txt, c.txt, dir
}

TEST_F(FileOps, RemoveAndRename) {
  EXPECT_FALSE(removeFile(at("missing")));
  EXPECT_FALSE(removeFile(at("dir")));
  EXPECT_TRUE(fs::exists(m_dir / "dir"));

  writeFileBytes(m_dir / "b.txt", "beta");
  EXPECT_FALSE(renameFile(at("a.txt"), at("b.txt"), false));
  EXPECT_EQ(readFileBytes(m_dir / "a.txt"), "alpha");
  EXPECT_EQ(readFileBytes(m_dir / "b.txt"), "beta");
  EXPECT_TRUE(renameFile(at("a.txt"), at("b.txt"), true));
  EXPECT_FALSE(fs::exists(m_dir / "a.txt"));
  EXPECT_EQ(readFileBytes(m_dir / "b.txt"), "alpha");
  EXPECT_TRUE(renameFile(at("b.txt"), at("dir\\c.txt"), false));
  EXPECT_EQ(readFileBytes(m_dir / "dir/c.txt"), "alpha");
  EXPECT_FALSE(renameFile(at("missing"), at("x"), true));
  EXPECT_FALSE(renameFile(at("dir/c.txt"), at("none/c.txt"), true));
  EXPECT_TRUE(removeFile(at("dir/c.txt")));
  EXPECT_FALSE(fs::exists(m_dir / "dir/c.txt"));
}

TEST_F(FileOps, BackupRenaming) {
  writeFileBytes(m_dir / "d.dwg", "new");
  writeFileBytes(m_dir / "d.bak", "old");
  EXPECT_TRUE(renameFileForBackup(at("d.dwg")));
  EXPECT_FALSE(fs::exists(m_dir / "d.dwg"));
  EXPECT_EQ(readFileBytes(m_dir / "d.bak"), "new");
  EXPECT_FALSE(renameFileForBackup(at("d.dwg")));  // nothing to back up
  EXPECT_EQ(readFileBytes(m_dir / "d.bak"), "new");
  EXPECT_FALSE(renameFileForBackup(at("d.bak")));  // is its own backup: kept
  EXPECT_EQ(readFileBytes(m_dir / "d.bak"), "new");
  writeFileBytes(m_dir / "plain", "p");
  EXPECT_TRUE(renameFileForBackup(at("plain")));
  EXPECT_EQ(readFileBytes(m_dir / "plain.bak"), "p");
}

TEST_F(FileOps, ContentComparisons) {
  struct Row {
    const char* a;
    const char* b;
    bool exact;
    bool noCase;
    bool sorted;
  };
  const Row rows[] = {
      {"same\n", "same\n", true, true, true},
      {"Case\n", "cAsE\n", false, true, false},
      {"x\ny\n", "y\nx\n", false, false, true},
      {"x\r\ny", "y\nx\n", false, false, true},
      {"x\ny\n", "x\ny\nz\n", false, false, false},
      {"", "", true, true, true},
      {"\xC3\x84rger", "\xC3\xA4RGER", false, true, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.a) + " | " + row.b);
    writeFileBytes(m_dir / "l", row.a);
    writeFileBytes(m_dir / "r", row.b);
    EXPECT_EQ(filesAreEqual(at("l"), at("r")), row.exact);
    EXPECT_EQ(filesAreEqualNoCase(at("l"), at("r")), row.noCase);
    EXPECT_EQ(filesAreEqualAfterSort(at("l"), at("r")), row.sorted);
  }
  writeFileBytes(m_dir / "e", "");
  EXPECT_FALSE(filesAreEqual(at("e"), at("missing")));
  EXPECT_FALSE(filesAreEqualNoCase(at("missing"), at("missing")));
  EXPECT_FALSE(filesAreEqualAfterSort(at("dir"), at("dir")));
}

TEST_F(FileOps, FirstNotExistingPathCountsUpFromTheName) {
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("free.txt"))), (m_dir / "free.txt").string());
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("a.txt"))), (m_dir / "a (1).txt").string());
  writeFileBytes(m_dir / "a (1).txt", "");
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("a.txt"))), (m_dir / "a (2).txt").string());
  writeFileBytes(m_dir / "b (7).txt", "");
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("b (7).txt"))), (m_dir / "b (8).txt").string());
  writeFileBytes(m_dir / "c (x).txt", "");
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("c (x).txt"))), (m_dir / "c (x) (1).txt").string());
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("a.txt"), L"_%d", 1)), (m_dir / "a_1.txt").string());
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("a.txt"), L"", 5)), (m_dir / "a (5).txt").string());
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("a.txt"), L"%s%d%d", 3)), (m_dir / "a (3).txt").string());
  EXPECT_EQ(utf8(getFirstNotExistingPath(at("dir"))), (m_dir / "dir (1)").string());
  EXPECT_EQ(utf8(getFirstNotExistingPath(L"")), "");
}

TEST_F(FileOps, ExpandedExistenceExpandsVariablesAndNormalises) {
  fs::create_directory(m_dir / "home");
  writeFileBytes(m_dir / "home/x.txt", "x");
  test::EnvOverride home("HOME", (m_dir / "home").string());
  test::EnvOverride var("UT_FILES_TEST_DIR", m_dir.path().string());

  OdString profile = L"%userprofilefolder%\\x.txt";
  EXPECT_TRUE(expandedFileExists(profile));
  EXPECT_EQ(utf8(profile), (m_dir / "home/x.txt").string());
  OdString percent = L"%UT_FILES_TEST_DIR%/dir/../a.txt";
  EXPECT_TRUE(expandedFileExists(percent));
  EXPECT_EQ(utf8(percent), (m_dir / "a.txt").string());
  OdString dollar = L"$UT_FILES_TEST_DIR/a.txt";
  EXPECT_TRUE(expandedFileExists(dollar));
  EXPECT_EQ(utf8(dollar), (m_dir / "a.txt").string());
  OdString tilde = L"~/x.txt";
  EXPECT_TRUE(expandedFileExists(tilde));
  EXPECT_EQ(utf8(tilde), (m_dir / "home/x.txt").string());

  OdString unknown = L"/%UT_FILES_NO_SUCH_VAR%/a.txt";
  EXPECT_FALSE(expandedFileExists(unknown));
  EXPECT_EQ(utf8(unknown), "/%UT_FILES_NO_SUCH_VAR%/a.txt");
  OdString directory = od(m_dir / "dir");
  EXPECT_FALSE(expandedFileExists(directory));
  OdString empty;
  EXPECT_FALSE(expandedFileExists(empty));
  EXPECT_TRUE(empty.isEmpty());
}

// --- temporary files ---------------------------------------------------------------

class TempFiles : public ::testing::Test {
 protected:
  test::TempDir m_tmp;
  test::EnvOverride m_env{"TMPDIR", m_tmp.path().string()};
};

TEST_F(TempFiles, TempDirComesFromTheEnvironmentWithASeparator) {
  EXPECT_EQ(utf8(FileName::getTempDir()), m_tmp.path().string() + "/");
  {
    test::EnvOverride slash("TMPDIR", m_tmp.path().string() + "/");
    EXPECT_EQ(utf8(FileName::getTempDir()), m_tmp.path().string() + "/");
  }
  test::EnvOverride unset("TMPDIR", std::nullopt);
  EXPECT_EQ(utf8(FileName::getTempDir()), "/tmp/");
  test::EnvOverride empty("TMPDIR", "");
  EXPECT_EQ(utf8(FileName::getTempDir()), "/tmp/");
}

TEST_F(TempFiles, RelativeAbsoluteAndBarePrefixes) {
  const OdString bare = FileName::createTempFileName(L"pre");
  EXPECT_EQ(fs::path(utf8(bare)).parent_path(), m_tmp.path());
  EXPECT_EQ(fs::path(utf8(bare)).filename().string().rfind("pre", 0), 0u);
  EXPECT_TRUE(fs::is_regular_file(utf8(bare)));
  EXPECT_EQ(fs::file_size(utf8(bare)), 0u);

  const OdString relative = FileName::createTempFileName(L"sub\\deeper/rel");
  EXPECT_EQ(fs::path(utf8(relative)).parent_path(), m_tmp / "sub/deeper");
  EXPECT_TRUE(fs::is_regular_file(utf8(relative)));

  test::TempDir other;
  const OdString absolute = FileName::createTempFileName(od(other / "made/abs"));
  EXPECT_EQ(fs::path(utf8(absolute)).parent_path(), other / "made");
  EXPECT_EQ(fs::path(utf8(absolute)).filename().string().rfind("abs", 0), 0u);
  EXPECT_TRUE(fs::is_regular_file(utf8(absolute)));

  const OdString second = FileName::createTempFileName(od(other / "made/abs"));
  EXPECT_NE(utf8(second), utf8(absolute));

  const OdString dirOnly = FileName::createTempFileName(od(other.path()) + L"/");
  EXPECT_EQ(fs::path(utf8(dirOnly)).parent_path(), other.path());
}

TEST_F(TempFiles, ImpossibleDirectoriesGiveAnEmptyName) {
  writeFileBytes(m_tmp / "file", "x");
  EXPECT_EQ(utf8(FileName::createTempFileName(od(m_tmp / "file/inside/p"))), "");
  EXPECT_EQ(utf8(FileName::createTempFileName(L"file/p")), "");  // relative: below the file as well
}

TEST_F(TempFiles, TempPrefixFromTheConfiguration) {
  test::TempStore store;
  ASSERT_TRUE(store.ok());
  auto manager = std::make_unique<ProfileManagerBase>();
  ASSERT_TRUE(manager->setCurrentProfile(L"Default", true));
  test::TempDir configured;
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"TEMPPREFIX", od(configured.path())));
  EXPECT_EQ(utf8(FileName::getTempDir()), configured.path().string() + "/");
  const OdString created = FileName::createTempFileName(L"cfg");
  EXPECT_EQ(fs::path(utf8(created)).parent_path(), configured.path());
  EXPECT_TRUE(fs::is_regular_file(utf8(created)));
  ASSERT_TRUE(Config::writeString(eCfgConfig, L"TEMPPREFIX", L""));
  EXPECT_EQ(utf8(FileName::getTempDir()), m_tmp.path().string() + "/");
}

// --- program folders -----------------------------------------------------------------

TEST(ProgramFolders, ExecutableNameFolderAndCommand) {
  const std::string exe = fs::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(utf8(getExecutableFileName()), exe);
  const std::string folder = utf8(getExecutableFolder());
  EXPECT_EQ(folder, fs::path(exe).parent_path().string() + "/");
  const std::string command = utf8(getExecutableCommand());
  EXPECT_EQ(command, exe.find(' ') == std::string::npos ? exe : "\"" + exe + "\"");
}

TEST(ProgramFolders, XdgDirectories) {
  {
    test::EnvOverride dirs("XDG_DATA_DIRS", "relative/share:/opt/data//:/usr/share");
    EXPECT_EQ(utf8(getProgramDataFolder()), "/opt/data/TVCAD/");
  }
  {
    test::EnvOverride dirs("XDG_DATA_DIRS", std::nullopt);
    EXPECT_EQ(utf8(getProgramDataFolder()), "/usr/local/share/TVCAD/");
  }
  test::TempDir home;
  test::EnvOverride homeVar("HOME", home.path().string());
  {
    test::EnvOverride config("XDG_CONFIG_HOME", "/etc/xdg-test");
    EXPECT_EQ(utf8(getUserConfigDir()), "/etc/xdg-test/");
  }
  test::EnvOverride config("XDG_CONFIG_HOME", std::nullopt);
  EXPECT_EQ(utf8(getUserConfigDir()), home.path().string() + "/.config/");
  EXPECT_EQ(utf8(getOSDirectory()), "/usr/share/");
}
