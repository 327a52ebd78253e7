#include <ut/ut_zip.h>

#include <gtest/gtest.h>
#include <wx/log.h>
#include <wx/mstream.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "files_test_support.h"
#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using ut::test::randomBytes;
using ut::test::readFileBytes;
using ut::test::runProgram;
using ut::test::TempDir;
using ut::test::writeFileBytes;

// Collects the library's log records for one scope.
class LogCapture : public wxLog {
 public:
  LogCapture() : m_previous(wxLog::SetActiveTarget(this)) {}
  ~LogCapture() override { wxLog::SetActiveTarget(m_previous); }
  std::vector<std::string> messages;

 protected:
  void DoLogRecord(wxLogLevel, const wxString& msg, const wxLogRecordInfo&) override {
    messages.push_back(msg.ToStdString(wxConvUTF8));
  }

 private:
  wxLog* m_previous;
};

// A folder tree as relative path -> content ("<dir>" for folders).
std::map<std::string, std::string> treeOf(const fs::path& root) {
  std::map<std::string, std::string> tree;
  for (const auto& e : fs::recursive_directory_iterator(root)) {
    const std::string rel = fs::relative(e.path(), root).string();
    tree[rel] = e.is_directory() ? "<dir>" : readFileBytes(e.path());
  }
  return tree;
}

// The sample tree: nested folders, an empty folder, an empty file, a UTF-8
// name, compressible and incompressible data.
void makeSample(const fs::path& root) {
  fs::create_directories(root / "sub" / "deeper");
  fs::create_directories(root / "empty folder");
  writeFileBytes(root / "readme.txt", "drawing notes\n");
  writeFileBytes(root / "empty.dat", "");
  writeFileBytes(root / "sub" /
                     "\xc3\x9cnic\xc3\xb8"
                     "de \xe2\x82\xac.txt",
                 "euro");
  writeFileBytes(root / "sub" / "deeper" / "random.bin", randomBytes(70000, 42));
  writeFileBytes(root / "sub" / "deeper" / "text.txt", std::string(100000, 'a'));
}

ut::test::ProgramResult run(const TempDir& scratch, const std::string& program, const std::vector<std::string>& args) {
  std::vector<std::string> all{"60", program};
  all.insert(all.end(), args.begin(), args.end());
  return runProgram("timeout", all, scratch.path(), "env LC_ALL=C.UTF-8");
}

OdString od(const fs::path& p) { return OdString(p.wstring()); }

bool logged(const LogCapture& log, const std::string& message) {
  for (const std::string& m : log.messages) {
    if (m == message) return true;
  }
  return false;
}

TEST(ZipFolder, InfoZipAndPythonReadWhatZipFolderWrites) {
  TempDir dir;
  makeSample(dir / "src");
  const fs::path archive = dir / "out.zip";
  ASSERT_EQ(ut::zipFolder(od(archive), od(dir / "src")), ut::eZipOk);

  const auto test = run(dir, "unzip", {"-t", archive.string()});
  EXPECT_EQ(test.status, 0) << test.out << test.err;
  EXPECT_NE(test.out.find("No errors detected"), std::string::npos) << test.out;

  const auto py = run(dir, "python3",
                      {"-c",
                       "import zipfile,sys\n"
                       "z=zipfile.ZipFile(sys.argv[1])\n"
                       "for i in z.infolist(): print(i.filename, len(z.read(i)))",
                       archive.string()});
  EXPECT_EQ(py.out,
            "empty folder/ 0\n"
            "empty.dat 0\n"
            "readme.txt 14\n"
            "sub/ 0\n"
            "sub/deeper/ 0\n"
            "sub/deeper/random.bin 70000\n"
            "sub/deeper/text.txt 100000\n"
            "sub/\xc3\x9cnic\xc3\xb8"
            "de \xe2\x82\xac.txt 4\n")
      << py.err;

  const auto extracted = run(dir, "unzip", {"-q", archive.string(), "-d", (dir / "byunzip").string()});
  EXPECT_EQ(extracted.status, 0) << extracted.err;
  EXPECT_EQ(treeOf(dir / "byunzip"), treeOf(dir / "src"));

  ASSERT_TRUE(ut::unzipFolder(od(archive), od(dir / "back")));
  EXPECT_EQ(treeOf(dir / "back"), treeOf(dir / "src"));

  OdArray<OdString> entries;
  entries.append(L"kept");
  ASSERT_TRUE(ut::getZippedFolderEntries(od(archive), entries));
  ASSERT_EQ(entries.size(), 9u);
  EXPECT_EQ(entries[0], OdString(L"kept"));
  EXPECT_EQ(entries[1], OdString(L"empty folder/"));
  EXPECT_EQ(entries[8], OdString(L"sub/\u00dcnic\u00f8de \u20ac.txt"));
}

TEST(UnzipFolder, ExtractsArchivesOfInfoZipAndPythonByteForByte) {
  TempDir dir;
  const fs::path src = dir / "src";
  makeSample(src);
  const std::string pyZip =
      "import zipfile,sys,os\n"
      "root,out,mode=sys.argv[1],sys.argv[2],int(sys.argv[3])\n"
      "with zipfile.ZipFile(out,'w',mode) as z:\n"
      "  for d,dirs,files in os.walk(root):\n"
      "    dirs.sort()\n"
      "    for n in dirs: z.write(os.path.join(d,n),os.path.relpath(os.path.join(d,n),root))\n"
      "    for n in sorted(files): z.write(os.path.join(d,n),os.path.relpath(os.path.join(d,n),root))\n";
  struct Case {
    const char* name;
    std::string program;
    std::vector<std::string> args;
  };
  const std::vector<Case> cases = {
      {"zip -r deflated",
       "sh",
       {"-c", "cd \"$1\" && zip -q -r \"$2\" .", "sh", src.string(), (dir / "a.zip").string()}},
      {"zip -r stored",
       "sh",
       {"-c", "cd \"$1\" && zip -q -0 -r \"$2\" .", "sh", src.string(), (dir / "b.zip").string()}},
      {"python deflated", "python3", {"-c", pyZip, src.string(), (dir / "c.zip").string(), "8"}},
      {"python stored", "python3", {"-c", pyZip, src.string(), (dir / "d.zip").string(), "0"}},
  };
  const char* archives[] = {"a.zip", "b.zip", "c.zip", "d.zip"};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto made = run(dir, cases[i].program, cases[i].args);
    ASSERT_EQ(made.status, 0) << cases[i].name << made.err;
    const fs::path target = dir / (std::string("out") + std::to_string(i));
    EXPECT_TRUE(ut::unzipFolder(od(dir / archives[i]), od(target))) << cases[i].name;
    EXPECT_EQ(treeOf(target), treeOf(src)) << cases[i].name;
  }
}

TEST(UnzipFolder, RefusesNamesThatLeaveTheTargetAndWritesNothing) {
  TempDir dir;
  const std::string make =
      "import zipfile,sys\n"
      "with zipfile.ZipFile(sys.argv[1],'w') as z:\n"
      "  z.writestr('ok.txt','fine')\n"
      "  zi=zipfile.ZipInfo('x'); zi.filename=sys.argv[2]; z.writestr(zi,'evil')\n";
  const char* names[] = {"../evil.txt", "a/../../evil.txt", "/tmp/ut-zip-test-evil.txt", "..\\evil.txt", "C:evil.txt"};
  for (const char* const& name : names) {
    const fs::path archive = dir / "evil.zip";
    ASSERT_EQ(run(dir, "python3", {"-c", make, archive.string(), name}).status, 0);
    const fs::path target = dir / "deep" / ("target" + std::to_string(&name - names));
    LogCapture log;
    EXPECT_FALSE(ut::unzipFolder(od(archive), od(target))) << name;
    EXPECT_TRUE(logged(log, std::string("Can not read zip entry '") + name + "'")) << name;
    EXPECT_FALSE(fs::exists(target / "ok.txt")) << name;
    EXPECT_FALSE(fs::exists(dir / "deep" / "evil.txt")) << name;
    EXPECT_FALSE(fs::exists(dir / "evil.txt")) << name;
    EXPECT_FALSE(fs::exists("/tmp/ut-zip-test-evil.txt")) << name;

    ut::UnzippingHelper helper(od(archive), od(target));
    EXPECT_FALSE(helper.init(0)) << name;
    EXPECT_FALSE(helper.unzipPackOfEntries(10)) << name;
  }
}

TEST(UnzipFolder, DamagedArchivesFailWithTheEntryNamed) {
  TempDir dir;
  ASSERT_EQ(run(dir, "python3",
                {"-c",
                 "import zipfile,sys\n"
                 "with zipfile.ZipFile(sys.argv[1],'w') as z:\n"
                 "  z.writestr('first.txt','a'*1000)\n"
                 "  z.writestr('data.bin',bytes(range(256))*40)\n",
                 (dir / "good.zip").string()})
                .status,
            0);
  const std::string good = readFileBytes(dir / "good.zip");
  // The stored data of data.bin starts after its 38-byte local header.
  std::string crc = good;
  const std::size_t at = good.find("data.bin") + 8 + 100;
  crc[at] = static_cast<char>(crc[at] ^ 0xFF);
  ASSERT_TRUE(writeFileBytes(dir / "crc.zip", crc));
  ASSERT_TRUE(writeFileBytes(dir / "cut.zip", good.substr(0, at)));
  ASSERT_TRUE(writeFileBytes(dir / "notzip.zip", "plain text, not an archive"));

  {
    LogCapture log;
    EXPECT_FALSE(ut::unzipFolder(od(dir / "crc.zip"), od(dir / "crc")));
    EXPECT_TRUE(logged(log, "Can not read zip entry 'data.bin'"));
    EXPECT_FALSE(fs::exists(dir / "crc" / "data.bin"));
  }
  for (const char* name : {"cut.zip", "notzip.zip", "missing.zip"}) {
    LogCapture log;
    EXPECT_FALSE(ut::unzipFolder(od(dir / name), od(dir / "out"))) << name;
    ASSERT_FALSE(log.messages.empty()) << name;
    EXPECT_EQ(log.messages.back().rfind("Can not read zip entry '", 0), 0u) << log.messages.back();
    OdArray<OdString> entries;
    EXPECT_FALSE(ut::getZippedFolderEntries(od(dir / name), entries)) << name;
  }
}

TEST(UnzipFolder, AFileThatCannotBeCreatedIsNamed) {
  TempDir dir;
  fs::create_directories(dir / "src");
  writeFileBytes(dir / "src" / "a.txt", "text");
  ASSERT_EQ(ut::zipFile(od(dir / "a.zip"), od(dir / "src" / "a.txt")), ut::eZipOk);
  fs::create_directories(dir / "target" / "a.txt");  // a folder where the file goes
  LogCapture log;
  EXPECT_FALSE(ut::unzipFolder(od(dir / "a.zip"), od(dir / "target")));
  EXPECT_TRUE(logged(log, "Can not create file '" + (dir / "target" / "a.txt").string() + "'"));
}

TEST(UnzipEntry, ExtractsOneNamedEntryToAFileOrStream) {
  TempDir dir;
  makeSample(dir / "src");
  const fs::path archive = dir / "a.zip";
  ASSERT_EQ(ut::zipFolder(od(archive), od(dir / "src")), ut::eZipOk);

  EXPECT_TRUE(ut::unzipEntry(od(archive), L"sub\\deeper\\text.txt", od(dir / "one.txt")));
  EXPECT_EQ(readFileBytes(dir / "one.txt"), std::string(100000, 'a'));

  wxMemoryOutputStream memory;
  EXPECT_TRUE(ut::unzipEntry(od(archive), L"readme.txt", memory));
  EXPECT_EQ(memory.GetLength(), 14);

  LogCapture log;
  EXPECT_FALSE(ut::unzipEntry(od(archive), L"nope.txt", od(dir / "nope.txt")));
  EXPECT_FALSE(fs::exists(dir / "nope.txt"));
  EXPECT_TRUE(logged(log, "Can not read zip entry 'nope.txt'"));

  // The first file entry, skipping the folders before it.
  wxMemoryOutputStream first;
  EXPECT_TRUE(ut::unzipOneFile(od(archive), first));
  EXPECT_EQ(first.GetLength(), 0);  // "empty.dat" comes first
  ASSERT_EQ(ut::zipFile(od(dir / "b.zip"), od(dir / "src" / "readme.txt")), ut::eZipOk);
  wxMemoryOutputStream second;
  EXPECT_TRUE(ut::unzipOneFile(od(dir / "b.zip"), second));
  EXPECT_EQ(second.GetLength(), 14);
}

TEST(UnzippingHelper, ExtractsInPortions) {
  TempDir dir;
  fs::create_directories(dir / "src");
  for (int i = 0; i < 7; ++i) writeFileBytes(dir / "src" / ("f" + std::to_string(i)), std::string(i * 100, 'x'));
  const fs::path archive = dir / "a.zip";
  ASSERT_EQ(ut::zipFolder(od(archive), od(dir / "src")), ut::eZipOk);

  ut::UnzippingHelper wrongCount(od(archive), od(dir / "out"));
  EXPECT_FALSE(wrongCount.init(6));

  ut::UnzippingHelper helper(od(archive), od(dir / "out"));
  EXPECT_FALSE(helper.unzipPackOfEntries(3));  // before init
  ASSERT_TRUE(helper.init(7));
  EXPECT_EQ(helper.total(), 7u);
  std::vector<std::size_t> remaining;
  for (int round = 0; round < 10 && helper.remaining() > 0; ++round) {
    ASSERT_TRUE(helper.unzipPackOfEntries(3));
    remaining.push_back(helper.remaining());
  }
  EXPECT_EQ(remaining, (std::vector<std::size_t>{4, 1, 0}));
  EXPECT_TRUE(helper.unzipPackOfEntries(3));
  EXPECT_EQ(treeOf(dir / "out"), treeOf(dir / "src"));
}

TEST(ZipFiles, StatusesOfFailedCreation) {
  TempDir dir;
  fs::create_directories(dir / "sub");
  writeFileBytes(dir / "a.txt", "a");
  writeFileBytes(dir / "sub" / "a.txt", "second a");
  OdArray<OdString> files;
  files.append(od(dir / "a.txt"));
  files.append(od(dir / "missing.txt"));
  LogCapture log;
  EXPECT_EQ(ut::zipFiles(od(dir / "x.zip"), files), ut::eZipCannotReadFile);
  EXPECT_FALSE(fs::exists(dir / "x.zip"));
  EXPECT_EQ(ut::zipFiles(od(dir / "x.zip"), OdArray<OdString>()), ut::eZipNothingToAdd);
  EXPECT_EQ(ut::zipFolder(od(dir / "x.zip"), od(dir / "no-folder")), ut::eZipNothingToAdd);
  EXPECT_EQ(ut::zipFile(od(dir / "no" / "x.zip"), od(dir / "a.txt")), ut::eZipCannotCreateArchive);
  EXPECT_TRUE(logged(log, "Can not create zip archive: '" + (dir / "no" / "x.zip").string() + "'"));
  EXPECT_EQ(ut::zipStatusMessage(ut::eZipOk), OdString());
  EXPECT_EQ(ut::zipStatusMessage(static_cast<ut::EZipStatus>(99)), OdString(L"Unknown zip error"));

  // Files of the same name from two folders: both entries are written.
  OdArray<OdString> twins;
  twins.append(od(dir / "a.txt"));
  twins.append(od(dir / "sub" / "a.txt"));
  ASSERT_EQ(ut::zipFiles(od(dir / "twins.zip"), twins), ut::eZipOk);
  OdArray<OdString> names;
  ASSERT_TRUE(ut::getZippedFolderEntries(od(dir / "twins.zip"), names));
  EXPECT_EQ(names.size(), 2u);

  // An archive written into the folder it packs does not contain itself.
  ASSERT_EQ(ut::zipFolder(od(dir / "sub" / "self.zip"), od(dir / "sub")), ut::eZipOk);
  ASSERT_EQ(ut::zipFolder(od(dir / "sub" / "self.zip"), od(dir / "sub")), ut::eZipOk);
  names.clear();
  ASSERT_TRUE(ut::getZippedFolderEntries(od(dir / "sub" / "self.zip"), names));
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], OdString(L"a.txt"));
}

}  // namespace
