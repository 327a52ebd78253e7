#include <gtest/gtest.h>

#include "files_test_support.h"
#include "test_support.h"

#include <ut/ut_filename.h>

#include <wx/datetime.h>
#include <wx/filename.h>
#include <wx/utils.h>

#include <filesystem>
#include <string>

#include <unistd.h>

using namespace ut;
using test::od;
using test::utf8;
namespace fs = std::filesystem;

// --- parsing and components -----------------------------------------------------------

TEST(FileNameParse, SplitsCorrectedNamesIntoComponents) {
  struct Row {
    const wchar_t* input;
    const char* full;
    const char* path;
    const char* name;
    const char* ext;
    std::uint64_t dirs;
    bool absolute;
  };
  const Row rows[] = {
      {L"a/b|c.txt", "a/b c.txt", "a", "b c", "txt", 1, false},
      {L"a\\b\\c.dwg", "a/b/c.dwg", "a/b", "c", "dwg", 2, false},
      {L"/x/y/z.tar.gz", "/x/y/z.tar.gz", "/x/y", "z.tar", "gz", 2, true},
      {L"\\root\\file", "/root/file", "/root", "file", "", 1, true},
      {L"/dir/", "/dir/", "/dir", "", "", 1, true},
      {L".hidden", ".hidden", "", ".hidden", "", 0, false},
      {L"", "", "", "", "", 0, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(utf8(row.input));
    const FileName fn(row.input);
    EXPECT_EQ(utf8(fn.getFullPath()), row.full);
    EXPECT_EQ(utf8(fn.getPath()), row.path);
    EXPECT_EQ(utf8(fn.getName()), row.name);
    EXPECT_EQ(utf8(fn.getExt()), row.ext);
    EXPECT_EQ(fn.getDirCount(), row.dirs);
    EXPECT_EQ(fn.isAbsolute(), row.absolute);
    EXPECT_EQ(fn.isRelative(), !row.absolute);
  }
}

TEST(FileNameParse, ConstructorsAndAssignmentsAgree) {
  const FileName full(L"/d1/d2/n.e");
  EXPECT_TRUE(FileName(L"\\d1\\d2", L"n.e") == full);
  EXPECT_TRUE(FileName(L"/d1/d2", L"n", L"e") == full);
  FileName fn;
  EXPECT_FALSE(fn.isOk());
  fn = OdString(L"/d1/d2/n.e");
  EXPECT_TRUE(fn == full);
  fn.assign(L"/d1/d2", L"n", L"e");
  EXPECT_TRUE(fn == full);
  fn.assign(L"/d1/d2", L"n.e");
  EXPECT_TRUE(fn == OdString(L"\\d1\\d2\\n.e"));
  fn.assignDir(L"/d1/d2.x");
  EXPECT_TRUE(fn.isDir());
  EXPECT_EQ(utf8(fn.getLastDir()), "d2.x");
  EXPECT_FALSE(fn.hasName());
  fn.clear();
  EXPECT_FALSE(fn.isOk());
}

TEST(FileNameParse, CopiesAreDeepAndMovesLeaveAnEmptyName) {
  FileName original(L"/a/b.txt");
  FileName copy(original);
  copy.setExt(L"dwg");
  EXPECT_EQ(utf8(original.getFullPath()), "/a/b.txt");
  FileName assigned;
  assigned = original;
  assigned.setName(L"c");
  EXPECT_EQ(utf8(original.getFullPath()), "/a/b.txt");
  FileName moved(std::move(copy));
  EXPECT_EQ(utf8(moved.getFullPath()), "/a/b.dwg");
  EXPECT_FALSE(copy.isOk());  // NOLINT: the moved-from state is part of the contract
  EXPECT_EQ(utf8(copy.getFullPath()), "");
}

TEST(FileNameParse, ExtensionTestsIgnoreCaseAndOneLeadingDot) {
  const FileName fn(L"x.dwg");
  EXPECT_TRUE(fn.hasExt(L".DWG"));
  EXPECT_TRUE(fn.hasExt(L"dwg"));
  EXPECT_FALSE(fn.hasExt(L"..dwg"));
  EXPECT_FALSE(fn.hasExt(L"dw"));
  EXPECT_FALSE(fn.hasExt(L""));
  EXPECT_TRUE(FileName(L"noext").hasExt(L""));
  FileName edited(L"x.dwg");
  edited.clearExt();
  EXPECT_FALSE(edited.hasExt());
  EXPECT_EQ(utf8(edited.getFullName()), "x");
  edited.setFullName(L"y|z.dxf");
  EXPECT_EQ(utf8(edited.getName()), "y z");
  EXPECT_EQ(utf8(edited.getExt()), "dxf");
}

TEST(FileNameParse, DirectoryListEditsAndOutOfRangeIndexes) {
  FileName fn(L"/a/b/c/f.txt");
  const OdArray<OdString> dirs = fn.getDirs();
  ASSERT_EQ(dirs.size(), 3u);
  EXPECT_EQ(utf8(dirs[1]), "b");
  EXPECT_EQ(utf8(fn.getDirAt(2)), "c");
  EXPECT_EQ(utf8(fn.getDirAt(3)), "");
  EXPECT_EQ(utf8(fn.getLastDir()), "c");
  fn.appendDir(L"d");
  fn.appendDir(L"");     // refused
  fn.appendDir(L"e/f");  // refused: not one component
  EXPECT_EQ(utf8(fn.getFullPath()), "/a/b/c/d/f.txt");
  fn.removeFirstDir();
  fn.removeLastDir();
  EXPECT_EQ(utf8(fn.getFullPath()), "/b/c/f.txt");
  FileName bare(L"f.txt");
  EXPECT_EQ(utf8(bare.getLastDir()), "");
  bare.removeLastDir();
  bare.removeFirstDir();
  EXPECT_EQ(utf8(bare.getFullPath()), "f.txt");
}

TEST(FileNameParse, PathFlagsAndVolumes) {
  FileName fn(L"/a/b/f.txt");
  EXPECT_EQ(utf8(fn.getPath(1)), "/a/b");
  EXPECT_EQ(utf8(fn.getPath(1 | 2)), "/a/b/");
  EXPECT_EQ(utf8(fn.getPath(4)), "/a/b");
  EXPECT_EQ(utf8(FileName(L"/f.txt").getPath()), "/");
  fn.setPath(L"\\c\\d");
  EXPECT_EQ(utf8(fn.getFullPath()), "/c/d/f.txt");
  EXPECT_FALSE(fn.hasVolume());
  EXPECT_TRUE(fn.checkVolume());
  fn.setVolume(L"Q");
  EXPECT_TRUE(fn.hasVolume());
  EXPECT_EQ(utf8(fn.getVolume()), "Q");
  EXPECT_FALSE(fn.checkVolume());  // no root of this machine begins with "Q"
}

// --- conversions ---------------------------------------------------------------------

TEST(FileNameConvert, MakeAbsoluteRelativeAndNormalize) {
  FileName fn(L"x/../y/./f.txt");
  EXPECT_TRUE(fn.makeAbsolute(L"/base"));
  EXPECT_EQ(utf8(fn.getFullPath()), "/base/y/f.txt");
  EXPECT_TRUE(fn.makeRelativeTo(L"\\base"));
  EXPECT_EQ(utf8(fn.getFullPath()), "y/f.txt");
  FileName unchanged(L"a/b.txt");
  EXPECT_FALSE(unchanged.makeAbsolute(L".."));
  EXPECT_EQ(utf8(unchanged.getFullPath()), "a/b.txt");
  FileName rooted(L"/r/s/t.txt");
  EXPECT_TRUE(rooted.makeRelativeToRoot());
  EXPECT_EQ(utf8(rooted.getFullPath()), "r/s/t.txt");
  FileName tilde(L"~/n.txt");
  EXPECT_TRUE(tilde.normalize(wxPATH_NORM_TILDE));
  EXPECT_EQ(utf8(tilde.getFullPath()), (fs::path(wxGetHomeDir().ToStdString()) / "n.txt").string());
  FileName empty;
  EXPECT_FALSE(empty.normalize(wxPATH_NORM_DOTS));
}

TEST(FileNameConvert, SameAsComparesNormalisedAbsoluteNamesWithCase) {
  const OdString cwd = FileName::getCwd();
  EXPECT_TRUE(FileName(L"/a/./b/../c.txt").sameAs(FileName(L"/a/c.txt")));
  EXPECT_TRUE(FileName(L"rel.txt").sameAs(FileName(cwd + L"/rel.txt")));
  EXPECT_FALSE(FileName(L"/a/C.txt").sameAs(FileName(L"/a/c.txt")));
  EXPECT_TRUE(equalFilePath(L"\\a\\c.txt", L"/a/c.txt"));
  EXPECT_FALSE(equalFilePath(L"/a/c.txt", L"/a/c.txt.bak"));
}

TEST(FileNameConvert, VerifyAbsolutePathRewritesOnlyAbsoluteNames) {
  FileName fn;
  OdString path = L"/a/../b/./c.txt";
  EXPECT_TRUE(verifyAbsolutePath(path, fn));
  EXPECT_EQ(utf8(path), "/b/c.txt");
  EXPECT_EQ(utf8(fn.getFullPath()), "/b/c.txt");
  OdString relative = L"x/../y.txt";
  EXPECT_FALSE(verifyAbsolutePath(relative, fn));
  EXPECT_EQ(utf8(relative), "x/../y.txt");
  EXPECT_EQ(utf8(fn.getFullPath()), "x/../y.txt");
}

// --- static helpers and free functions ---------------------------------------------------------

TEST(FileNameStatic, SeparatorsAndToggling) {
  EXPECT_EQ(utf8(FileName::getPathSeparator()), "/");
  EXPECT_EQ(utf8(FileName::getPathSeparators()), "/");
  EXPECT_EQ(utf8(FileName::getVolumeSeparator()), ":");
  EXPECT_TRUE(FileName::isPathSeparator(L'/'));
  EXPECT_FALSE(FileName::isPathSeparator(L'\\'));
  EXPECT_FALSE(FileName::isPathSeparator(L'\0'));
  EXPECT_EQ(utf8(FileName::toggleLastPathSeparator(L"/a/")), "/a");
  EXPECT_EQ(utf8(FileName::toggleLastPathSeparator(L"/a")), "/a/");
  EXPECT_EQ(utf8(FileName::toggleLastPathSeparator(L"")), "/");
  EXPECT_EQ(utf8(FileName::toggleLastPathSeparator(L"/")), "");
}

TEST(FileNameStatic, SplitPathFillsOnlyTheGivenParts) {
  OdString path = L"untouched";
  OdString name;
  OdString ext;
  FileName::splitPath(L"\\p\\q\\n.e", &path, &name, &ext);
  EXPECT_EQ(utf8(path), "/p/q");
  EXPECT_EQ(utf8(name), "n");
  EXPECT_EQ(utf8(ext), "e");
  FileName::splitPath(L"only.txt", nullptr, &name, nullptr);
  EXPECT_EQ(utf8(name), "only");
}

TEST(FileNameStatic, CrossPlatformAbsoluteness) {
  struct Row {
    const wchar_t* path;
    bool absolute;
  };
  const Row rows[] = {{L"//server/share", true},
                      {L"\\\\server\\share", true},
                      {L"/x", true},
                      {L"\\x", true},
                      {L"x", false},
                      {L"./x", false},
                      {L"", false},
                      {L"C:x", false}};
  for (const Row& row : rows) EXPECT_EQ(FileName::isCrossPlatformAbsolute(row.path), row.absolute) << utf8(row.path);
}

TEST(FileNameStatic, ModuleTypeByExtension) {
  struct Row {
    const wchar_t* file;
    EAppModuleType type;
  };
  const Row rows[] = {{L"X.LSP", eLispModule},       {L"a.des", eLispModule},   {L"a.Mnl", eLispModule},
                      {L"p.dvb", eVbaProject},       {L"x.tx", eManagedModule}, {L"x.tcx", eNativeModule},
                      {L"x.ARX", eNativeModule},     {L"x.drx", eNativeModule}, {L"x.dbx", eNativeModule},
                      {L"x.dll", eNativeModule},     {L"x.txt", eNotAppModule}, {L"lsp", eNotAppModule},
                      {L"x.lsp.bak", eNotAppModule}, {L"", eNotAppModule},      {L"/d.lsp/f", eNotAppModule}};
  for (const Row& row : rows) EXPECT_EQ(FileName::appModuleType(row.file), row.type) << utf8(row.file);
}

TEST(PathStrings, SlashCorrectionInAllForms) {
  EXPECT_EQ(utf8(correctSlashes(OdString(L"a\\b/c|d"))), "a/b/c d");
  EXPECT_EQ(utf8(correctSlashes(L"\\\\s\\x")), "//s/x");
  EXPECT_EQ(utf8(correctSlashes(static_cast<const wchar_t*>(nullptr))), "");
  OdString inPlace = L"x\\y|z";
  OdString& same = correctSlashes(inPlace);
  EXPECT_EQ(&same, &inPlace);
  EXPECT_EQ(utf8(inPlace), "x/y z");
  EXPECT_EQ(utf8(makeBackSlashes(OdString(L"a/b|c\\d"))), "a\\b|c\\d");
  EXPECT_EQ(utf8(makeBackSlashes(static_cast<const wchar_t*>(nullptr))), "");
  EXPECT_TRUE(checkSlashes(OdString(L"a/b")));
  EXPECT_FALSE(checkSlashes(OdString(L"a\\b")));
  EXPECT_TRUE(checkSlashes(static_cast<const wchar_t*>(nullptr)));
  EXPECT_FALSE(checkSlashes(L"\\"));
}

TEST(PathStrings, AppendFolderMakesAnAbsoluteDirectory) {
  EXPECT_EQ(utf8(appendFolder(L"/base", L"sub")), "/base/sub/");
  EXPECT_EQ(utf8(appendFolder(L"\\base\\", L"sub\\deeper")), "/base/sub/deeper/");
  EXPECT_EQ(utf8(appendFolder(L"/base/x", L"../y")), "/base/y/");
  EXPECT_EQ(utf8(appendFolder(L"/base", L"/abs")), "/abs/");
  EXPECT_EQ(utf8(appendFolder(nullptr, L"/abs")), "/abs/");
  EXPECT_EQ(utf8(appendFolder(L"/base", nullptr)), "/base/");
}

TEST(PathStrings, ValidateFileNameReplacesForbiddenCharacters) {
  EXPECT_EQ(utf8(getForbiddenCharacters()), "*?/");
  EXPECT_EQ(utf8(validateFileName(L"a/b:c*d.e", false, L'_')), "a_b_c_d_e");
  EXPECT_EQ(utf8(validateFileName(L"a/b:c*d.e", true, L'_')), "a_b_c_d.e");
  EXPECT_EQ(utf8(validateFileName(L"q\"<>|\\[]?.x", false, L'-')), "q-----[]--x");
  EXPECT_EQ(utf8(validateFileName(L"plain name", false, L'_')), "plain name");
  EXPECT_EQ(utf8(validateFileName(L"", false, L'_')), "");
}

// --- the entry on disk ---------------------------------------------------------------

class FileNameDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(m_dir / "sub");
    test::writeFileBytes(m_dir / "file.txt", "hello");
    fs::create_symlink(m_dir / "file.txt", m_dir / "link.txt");
    fs::create_symlink(m_dir / "sub", m_dir / "dirlink");
    fs::create_symlink(m_dir / "missing", m_dir / "dangling");
  }
  OdString at(const std::string& name) const { return od(m_dir / name); }

  test::TempDir m_dir;
};

TEST_F(FileNameDisk, ExistenceByKind) {
  struct Row {
    const char* name;
    bool file;
    bool dir;
    bool any;
  };
  const Row rows[] = {{"file.txt", true, false, true},        {"sub", false, true, true},
                      {"link.txt", true, false, true},        {"dirlink", false, true, true},
                      {"dangling", false, false, true},       {"nope", false, false, false},
                      {"nope/deeper/x", false, false, false}, {"file.txt/x", false, false, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const FileName fn(at(row.name));
    EXPECT_EQ(fn.fileExists(), row.file);
    EXPECT_EQ(FileName::fileExists(at(row.name)), row.file);
    FileName asDir;
    asDir.assignDir(at(row.name));
    EXPECT_EQ(asDir.dirExists(), row.dir);
    EXPECT_EQ(FileName::dirExists(at(row.name)), row.dir);
    EXPECT_EQ(fn.exists(), row.any);
    EXPECT_EQ(fn.exists(1), row.any);  // the kind argument is ignored
  }
  OdString message = L"untouched";
  EXPECT_TRUE(FileName(at("file.txt")).fileExists(&message));
  EXPECT_EQ(utf8(message), "untouched");
  EXPECT_FALSE(FileName().fileExists());
  // Like wxFileName, the member form asks about the directory part.
  EXPECT_TRUE(FileName(at("nope")).dirExists());
  EXPECT_FALSE(FileName(at("nope/x")).dirExists());
  EXPECT_FALSE(FileName::fileExists(L""));
}

TEST_F(FileNameDisk, SizesAndReadOnlyFiles) {
  EXPECT_EQ(FileName(at("file.txt")).getSize(), 5u);
  EXPECT_EQ(FileName::getSize(at("link.txt")), 5u);
  EXPECT_EQ(FileName::getSize(at("nope")), 0u);
  EXPECT_EQ(FileName::getSize(at("sub")), 0u);
  EXPECT_FALSE(FileName::isFileReadOnly(at("file.txt")));
  fs::permissions(m_dir / "file.txt", fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  EXPECT_TRUE(FileName::isFileReadOnly(at("file.txt")));
  EXPECT_TRUE(FileName::isFileReadOnly(at("link.txt")));
  EXPECT_FALSE(FileName::isFileReadOnly(at("sub")));
  EXPECT_FALSE(FileName::isFileReadOnly(at("nope")));
  EXPECT_FALSE(FileName::isFileReadOnly(L""));
  EXPECT_TRUE(FileName(at("file.txt")).isFileReadable());
  EXPECT_TRUE(FileName(at("sub/")).isDirReadable());
  EXPECT_TRUE(FileName::isDirWritable(at("sub")));
  EXPECT_FALSE(FileName(at("nope")).isFileReadable());
  EXPECT_FALSE(FileName(at("file.txt")).isFileExecutable());
}

TEST_F(FileNameDisk, TimesRoundTripAndMissingEntriesFail) {
  const FileName fn(at("file.txt"));
  const wxDateTime when(1, wxDateTime::Mar, 2021, 10, 20, 30);
  EXPECT_TRUE(fn.setTimes(&when, &when, nullptr));
  wxDateTime access;
  wxDateTime modification;
  EXPECT_TRUE(fn.getTimes(&access, &modification, nullptr));
  EXPECT_EQ(modification.GetTicks(), when.GetTicks());
  EXPECT_EQ(access.GetTicks(), when.GetTicks());
  EXPECT_FALSE(FileName(at("nope")).getTimes(&access, nullptr, nullptr));
  EXPECT_FALSE(FileName(at("nope")).setTimes(&when, &when, nullptr));
}

TEST_F(FileNameDisk, DirectoriesAreMadeRemovedAndCleared) {
  EXPECT_FALSE(FileName::mkdir(at("a/b/c")));  // parents missing
  EXPECT_TRUE(FileName::mkdir(at("a/b/c"), 0777, wxPATH_MKDIR_FULL));
  EXPECT_TRUE(fs::is_directory(m_dir / "a/b/c"));
  FileName member;
  member.assignDir(at("m/n"));
  EXPECT_TRUE(member.mkdir(0777, wxPATH_MKDIR_FULL));
  EXPECT_TRUE(member.rmdir());
  EXPECT_FALSE(fs::exists(m_dir / "m/n"));
  EXPECT_FALSE(FileName::rmdir(at("a"), false));  // not empty
  EXPECT_TRUE(fs::exists(m_dir / "a/b/c"));
  EXPECT_TRUE(FileName::rmdir(at("a"), true));
  EXPECT_FALSE(fs::exists(m_dir / "a"));
  EXPECT_FALSE(FileName::rmdir(at("file.txt"), true));
  EXPECT_TRUE(fs::exists(m_dir / "file.txt"));
  EXPECT_FALSE(FileName::rmdir(at("nope"), true));
  EXPECT_FALSE(FileName::mkdir(at("file.txt/inside"), 0777, wxPATH_MKDIR_FULL));
  EXPECT_FALSE(FileName::mkdir(L""));

  // Clearing keeps the folder and what links inside it point to.
  test::TempDir outside;
  test::writeFileBytes(outside.path() / "keep.txt", "k");
  fs::create_symlink(outside.path(), m_dir / "sub/outlink");
  test::writeFileBytes(m_dir / "sub/inner.txt", "x");
  fs::create_directories(m_dir / "sub/deep/deeper");
  EXPECT_TRUE(FileName::clearDir(at("sub")));
  EXPECT_TRUE(fs::is_directory(m_dir / "sub"));
  EXPECT_TRUE(fs::is_empty(m_dir / "sub"));
  EXPECT_TRUE(fs::exists(outside.path() / "keep.txt"));
  EXPECT_FALSE(FileName::clearDir(at("file.txt")));
  EXPECT_FALSE(FileName::clearDir(at("nope")));
}

TEST_F(FileNameDisk, WorkingAndHomeDirectories) {
  const OdString before = FileName::getCwd();
  ASSERT_FALSE(before.isEmpty());
  EXPECT_TRUE(FileName::setCwd(at("sub")));
  EXPECT_EQ(utf8(FileName::getCwd()), fs::canonical(m_dir / "sub").string());
  EXPECT_TRUE(FileName(L"../file.txt").fileExists());
  EXPECT_FALSE(FileName::setCwd(at("nope")));
  EXPECT_TRUE(FileName::setCwd(before));
  test::EnvOverride home("HOME", m_dir.path().string());
  EXPECT_EQ(utf8(FileName::getHomeDir()), m_dir.path().string());
}

TEST_F(FileNameDisk, CorrectCaseAdoptsTheStoredSpelling) {
  fs::create_directories(m_dir / "Mixed/Case");
  test::writeFileBytes(m_dir / "Mixed/Case/Drawing.DWG", "d");
  FileName fn(at("mixed/CASE/drawing.dwg"));
  EXPECT_TRUE(fn.correctCase());
  EXPECT_EQ(utf8(fn.getFullPath()), (m_dir / "Mixed/Case/Drawing.DWG").string());
  FileName missing(at("mixed/none.txt"));
  EXPECT_FALSE(missing.correctCase());
  EXPECT_EQ(utf8(missing.getFullPath()), (m_dir / "mixed/none.txt").string());
  // Two spellings that differ only in case: neither is guessed.
  test::writeFileBytes(m_dir / "twin", "1");
  test::writeFileBytes(m_dir / "TWIN", "2");
  FileName twin(at("Twin"));
  EXPECT_FALSE(twin.correctCase());
  FileName exact(at("TWIN"));
  EXPECT_TRUE(exact.correctCase());
  EXPECT_EQ(utf8(exact.getFullName()), "TWIN");
}
