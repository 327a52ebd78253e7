// The `ut` tool under bad input and at its sharp edges: empty and undecodable
// arguments, value selectors, stored names no configuration path can hold,
// keys nested beyond the registry's limit, and profiles deleted while current.
// Every run is bounded in time, so a walk that never ends fails the test.

#include <gtest/gtest.h>

#include "test_support.h"

#include <ut/ut_registry.h>
#include <ut/ut_regstore.h>
#include <ut/ut_version.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace ut;
using Result = test::ProgramResult;
using Args = std::vector<std::string>;

const std::string kKey = "HKCU\\Software\\TVCAD\\Edge";
const wxString kKeyPath = L"Software\\TVCAD\\Edge";
const std::string kProfiles = "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles";

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class ToolEdgeTest : public ::testing::Test {
 protected:
  test::TempStore m_store;
  test::TempDir m_dir;

  void SetUp() override { ASSERT_TRUE(m_store.ok()); }

  // "ut ARGS", at most 60 s, in `env`.
  Result runBare(const Args& args, const std::string& env = "LC_ALL=C.UTF-8", const std::string& input = "") const {
    return test::runProgram(UT_TOOL, args, m_dir.path(), "timeout 60 env " + env, input);
  }
  // "ut --store <this test's store> ARGS", at most 60 s, in `env`.
  Result run(Args args, const std::string& env = "LC_ALL=C.UTF-8", const std::string& input = "") const {
    RegStore::close();  // the tool opens the store file itself
    args.insert(args.begin(), {"--store", m_store.file().string()});
    return runBare(args, env, input);
  }

  wxString stored(const wxString& name) const {
    RegKey key(eCurrentUser, kKeyPath);
    wxString text;
    return key.open(eRead) && key.queryValue(name, text) ? text : wxString(L"<none>");
  }

  // A registry-export file of `body` lines, UTF-8, in the test's folder.
  std::string regFile(const std::string& name, const std::string& body) const {
    const auto file = m_dir / name;
    EXPECT_TRUE(test::writeFileBytes(file, "Windows Registry Editor Version 5.00\r\n\r\n" + body));
    return file.string();
  }
};

std::string deepKey(int levels) {
  std::string key = "HKEY_CURRENT_USER\\Software";
  for (int i = 2; i <= levels; ++i) key += "\\k";
  return key;
}

}  // namespace

TEST_F(ToolEdgeTest, AnEmptyValueNameIsAValueNeverTheKey) {
  ASSERT_EQ(run({"reg", "add", kKey, "--ve", "-d", "default"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "x", "-d", "1"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey + "\\Sub"}).status, 0);

  Result r = run({"reg", "query", kKey, "-v", ""});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "HKEY_CURRENT_USER\\Software\\TVCAD\\Edge\n    (Default)    REG_SZ    default\n\n");

  r = run({"reg", "add", kKey, "-v", "", "-d", "replaced", "-f"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(stored(L""), L"replaced");

  r = run({"reg", "delete", kKey, "-v", "", "-f"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(stored(L""), L"<none>");
  EXPECT_EQ(stored(L"x"), L"1");
  EXPECT_TRUE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\Edge\\Sub"));

  r = run({"reg", "delete", kKey, "-v", "", "-f"});  // nothing left to delete
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\Edge\\Sub"));
}

TEST_F(ToolEdgeTest, TypeOrDataWithoutAValueIsAUsageError) {
  ASSERT_EQ(run({"reg", "add", kKey, "--ve", "-d", "default"}).status, 0);
  for (const Args& extra : {Args{"-d", "new"}, Args{"-t", "REG_DWORD"}, Args{"-t", "REG_SZ", "-d", "x", "-f"}}) {
    Args args{"reg", "add", kKey};
    args.insert(args.end(), extra.begin(), extra.end());
    const Result r = run(args);
    EXPECT_EQ(r.status, 2) << extra[0];
    EXPECT_EQ(r.err, "ut: -t and -d need the value they are for: -v NAME or --ve\n");
  }
  EXPECT_EQ(stored(L""), L"default");
}

TEST_F(ToolEdgeTest, ArgumentsThatAreNotTextAreRefusedNotEmptied) {
  ASSERT_EQ(run({"reg", "add", kKey, "--ve", "-d", "default"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "n", "-d", "old"}).status, 0);
  // Latin-1 bytes: not UTF-8, and not ASCII either.
  for (const std::string env : {"LC_ALL=C.UTF-8", "LC_ALL=C"}) {
    Result r = run({"reg", "add", kKey, "-v", "Caf\xE9", "-d", "new", "-f"}, env);
    EXPECT_EQ(r.status, 2) << env;
    EXPECT_EQ(r.err, "ut: argument 7 is not valid UTF-8 (nor text in the locale's encoding): \"Caf\\xE9\"\n") << env;
    r = run({"reg", "add", kKey, "-v", "n", "-d", "caf\xE9", "-f"}, env);
    EXPECT_EQ(r.status, 2) << env;
  }
  EXPECT_EQ(stored(L""), L"default");
  EXPECT_EQ(stored(L"n"), L"old");
}

TEST_F(ToolEdgeTest, EmptyStoreOrTraceFileIsAUsageError) {
  const auto home = m_dir / "home";
  const auto config = m_dir / "config";
  const std::string env = "-u UT_REGISTRY_FILE HOME=" + test::shellQuote(home.string()) +
                          " XDG_CONFIG_HOME=" + test::shellQuote(config.string());
  for (const char* option : {"--store", "--trace"}) {
    const Result r = runBare({option, "", "reg", "add", kKey}, env);
    EXPECT_EQ(r.status, 2) << option;
    EXPECT_EQ(r.err, std::string("ut: ") + option + ": an empty file name (see --help)\n");
  }
  const Result r = runBare({"--store=", "reg", "query", "HKCU"}, env);
  EXPECT_EQ(r.status, 2);
  EXPECT_FALSE(std::filesystem::exists(home));
  EXPECT_FALSE(std::filesystem::exists(config));
}

TEST_F(ToolEdgeTest, KeysNestAtMost512Levels) {
  const std::string ok = regFile("ok.reg", "[" + deepKey(512) + "]\r\n\"v\"=\"deep\"\r\n");
  const std::string tooDeep = regFile("deep.reg", "[" + deepKey(513) + "]\r\n\"v\"=\"deeper\"\r\n");
  Result r = run({"reg", "import", ok});
  ASSERT_EQ(r.status, 0) << r.err;
  r = run({"reg", "query", "HKCU\\Software\\k", "-s", "-v", "v"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.out, "    v    REG_SZ    deep\n")) << r.out.substr(0, 200);

  r = run({"reg", "import", tooDeep});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "ut: reg import: error: line 3: cannot create key HKEY_CURRENT_USER\\Software\\k\\k"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "...: key path too deep: 513 levels below the root (at most 512)\n")) << r.err;
  EXPECT_FALSE(contains(r.err, deepKey(100))) << "the name is cut short in the message";
  r = run({"reg", "add", "HKCU\\" + deepKey(513).substr(18)});
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(contains(r.err, "key path too deep")) << r.err;
}

// A store holding keys named "." and ".." (Windows allows both) under a
// profile's Config key, as an import from elsewhere leaves them.
class DotNamesTest : public ToolEdgeTest {
 protected:
  void SetUp() override {
    ToolEdgeTest::SetUp();
    if (HasFatalFailure()) return;
    const std::string config = kProfiles + "\\Default\\Config";
    const std::string file =
        regFile("dots.reg", "[" + kProfiles + "]\r\n\"CurProfile\"=\"Default\"\r\n[" + config +
                                "]\r\n\"Kept\"=dword:00000007\r\n[" + config + "\\..]\r\n\"Up\"=\"u\"\r\n[" + config +
                                "\\.]\r\n\"Here\"=\"h\"\r\n[" + config + "\\Sub]\r\n\"S\"=\"s\"\r\n");
    const Result r = run({"reg", "import", file});
    ASSERT_EQ(r.status, 0) << r.err;
  }
};

TEST_F(DotNamesTest, ExportSkipsThemWithAWarningAndEnds) {
  const auto out = (m_dir / "out.reg").string();
  const Result r = run({"config", "export", "eCfgConfig", out});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string config = "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\Config";
  EXPECT_EQ(test::readFileBytes(out), "Windows Registry Editor Version 5.00\r\n[" + config +
                                          "]\r\n\"Kept\"=dword:00000007\r\n[" + config + "\\Sub]\r\n\"S\"=\"s\"\r\n");
  EXPECT_TRUE(contains(r.err, "ut: Skipped \"..\" in /TVCAD/V25/en_US/Profiles/Default/Config")) << r.err;
  EXPECT_TRUE(contains(r.err, "ut: Skipped \".\" in /TVCAD/V25/en_US/Profiles/Default/Config")) << r.err;
}

TEST_F(DotNamesTest, ShowAndProfileExportSkipThemWithAWarning) {
  Result r = run({"config", "show", "TVCAD/V25/en_US/Profiles/Default/Config"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Default\\Config\n"
            "  Kept = 7 (0x00000007, dword)\n"
            "  Sub\\\n"
            "    S = \"s\" (string)\n");
  EXPECT_TRUE(contains(r.err, "Skipped \"..\"")) << r.err;
  EXPECT_TRUE(contains(r.err, "Skipped \".\"")) << r.err;

  const auto out = (m_dir / "profile.reg").string();
  r = run({"profile", "export", "Default", out});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.err, "Skipped \"..\"")) << r.err;
  const std::string text = test::readFileBytes(out);
  EXPECT_FALSE(contains(text, "\\..]")) << text;
  EXPECT_FALSE(contains(text, "\\.]")) << text;
}

TEST_F(DotNamesTest, EntryPathsNeverStepOutOfTheirGroup) {
  for (const char* entry : {"../../x", "./x", "a/../x", ".."}) {
    const Result r = run({"config", "set", "eCfgConfig", entry, "v"});
    EXPECT_EQ(r.status, 2) << entry;
    EXPECT_EQ(r.err, std::string("ut: \"") + entry + "\": \".\" and \"..\" are not entry names\n");
  }
  EXPECT_FALSE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\x", L""));
  EXPECT_FALSE(Registry::verifyValue(eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles", L"x"));
}

TEST_F(ToolEdgeTest, ADeletedCurrentProfileStaysDeleted) {
  ASSERT_EQ(run({"profile", "use", "Work"}).status, 0);
  ASSERT_EQ(run({"config", "set", "Config", "A", "1", "--type", "long"}).status, 0);
  ASSERT_EQ(run({"profile", "delete", "Work"}).status, 0);

  Result r = run({"config", "set", "Config", "A", "2", "--type", "long"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "ut: no current profile: select one with \"ut profile use NAME\" (\"ut profile list\" shows them)\n");
  r = run({"profile", "list"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(run({"profile", "current"}).status, 1);
  EXPECT_FALSE(Registry::verifyKey(eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Work"));
  // Groups outside the profiles need none.
  EXPECT_EQ(run({"config", "set", "Addins", "A", "2"}).status, 0);
}

TEST_F(ToolEdgeTest, GetAndShowPrintTheSameNumber) {
  ASSERT_EQ(run({"profile", "use", "Work"}).status, 0);
  ASSERT_EQ(run({"config", "set", "Config", "Minus", "-1", "--type", "long"}).status, 0);
  RegKey config(eCurrentUser, L"Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Work\\Config");
  ASSERT_TRUE(config.open(eWrite) && config.setValue(L"High", 0x80000000L));
  RegStore::close();
  EXPECT_EQ(run({"config", "get", "Config", "Minus"}).out, "-1\n");
  EXPECT_EQ(run({"config", "get", "Config", "High"}).out, "-2147483648\n");
  const Result r = run({"config", "show", "TVCAD/V25/en_US/Profiles/Work/Config"});
  EXPECT_TRUE(contains(r.out, "  Minus = -1 (0xffffffff, dword)\n")) << r.out;
  EXPECT_TRUE(contains(r.out, "  High = -2147483648 (0x80000000, dword)\n")) << r.out;
}

TEST_F(ToolEdgeTest, VersionAndHelpSayWhatAScriptNeeds) {
  Result r = run({"--version"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, std::string("ut ") + libraryVersion() + "\nlibrary " + libraryVersion() + "\nstore schema 1\n");
  r = run({"--help"});
  EXPECT_EQ(r.status, 0);
  for (const char* part : {"UT_REGISTRY_FILE", "$XDG_CONFIG_HOME/TVCAD/registry.db",
                           "Exit status: 0 done, 1 the operation failed, 2 a bad command line."}) {
    EXPECT_TRUE(contains(r.out, part)) << part << "\n" << r.out;
  }
}

// The overview's examples run as printed when pasted into a shell.
TEST_F(ToolEdgeTest, OverviewExamplesPasteIntoAShell) {
  const Result overview = run({});
  ASSERT_EQ(overview.status, 0);
  const std::string prefix = "  ut reg add ";
  const auto at = overview.out.find(prefix);
  ASSERT_NE(at, std::string::npos) << overview.out;
  const std::string rest = overview.out.substr(at + 5, overview.out.find('\n', at) - at - 5);
  EXPECT_EQ(rest, "reg add 'HKCU\\Software\\TVCAD\\Test' -v Name -d 'some text'");
  RegStore::close();
  const std::string command = std::string(UT_TOOL) + " --store " + test::shellQuote(m_store.file().string()) + " " +
                              rest + " >/dev/null 2>&1 </dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  RegKey key(eCurrentUser, L"Software\\TVCAD\\Test");
  wxString text;
  EXPECT_TRUE(key.open(eRead) && key.queryValue(L"Name", text));
  EXPECT_EQ(text, L"some text");
}

TEST_F(ToolEdgeTest, EveryReplacementAsksUnlessForced) {
  ASSERT_EQ(run({"profile", "use", "Work"}).status, 0);
  ASSERT_EQ(run({"profile", "create", "Other"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey}).status, 0);
  const auto file = m_dir / "existing.reg";
  const std::string keep = "keep me";
  struct Case {
    Args args;
    bool replacesFile;
  };
  const Case cases[] = {
      {{"reg", "export", kKey, file.string()}, true},
      {{"config", "export", "eCfgConfig", file.string()}, true},
      {{"profile", "export", "Work", file.string()}, true},
      {{"profile", "copy", "Work", "Other"}, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[1]);
    ASSERT_TRUE(test::writeFileBytes(file, keep));
    Result r = run(c.args);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(contains(r.err, "Not confirmed: no terminal to ask on (use -f).")) << r.err;
    EXPECT_EQ(r.out, "") << "the question goes to standard error";
    EXPECT_EQ(test::readFileBytes(file), keep);
    Args forced = c.args;
    forced.push_back("-f");
    r = run(forced);
    EXPECT_EQ(r.status, 0) << r.err;
    if (c.replacesFile) {
      EXPECT_NE(test::readFileBytes(file), keep);
    }
  }
  // Importing over an existing profile asks too.
  ASSERT_EQ(run({"profile", "export", "Work", file.string(), "-f"}).status, 0);
  EXPECT_EQ(run({"profile", "import", file.string(), "Other"}).status, 1);
  EXPECT_EQ(run({"profile", "import", file.string(), "Other", "-f"}).status, 0);
  EXPECT_EQ(run({"profile", "import", file.string(), "Fresh"}).status, 0);
}

TEST_F(ToolEdgeTest, JsonForWhatScriptsRead) {
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "s", "-d", "t\xC3\xA9xt \"q\""}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "n", "-t", "REG_DWORD", "-d", "0xFFFFFFFF"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "m", "-t", "REG_MULTI_SZ", "-d", "a\\0b"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "b", "-t", "REG_BINARY", "-d", "00ff"}).status, 0);
  ASSERT_EQ(run({"reg", "add", kKey + "\\Sub", "-v", "n", "-d", "x"}).status, 0);
  Result r = run({"reg", "query", kKey, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(
      r.out,
      "[\n"
      "  {\n"
      "    \"key\": \"HKEY_CURRENT_USER\\\\Software\\\\TVCAD\\\\Edge\",\n"
      "    \"subkeys\": [\n      \"Sub\"\n    ],\n"
      "    \"values\": [\n"
      "      {\n        \"data\": \"t\xC3\xA9xt \\\"q\\\"\",\n        \"name\": \"s\",\n        \"type\": \"REG_SZ\"\n "
      "     },\n"
      "      {\n        \"data\": 4294967295,\n        \"name\": \"n\",\n        \"type\": \"REG_DWORD\"\n      },\n"
      "      {\n        \"data\": [\n          \"a\",\n          \"b\"\n        ],\n        \"name\": \"m\",\n"
      "        \"type\": \"REG_MULTI_SZ\"\n      },\n"
      "      {\n        \"data\": \"00FF\",\n        \"name\": \"b\",\n        \"type\": \"REG_BINARY\"\n      }\n"
      "    ]\n"
      "  }\n"
      "]\n");
  r = run({"reg", "query", kKey, "-s", "-v", "n", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.out, "\"key\": \"HKEY_CURRENT_USER\\\\Software\\\\TVCAD\\\\Edge\\\\Sub\"")) << r.out;
  EXPECT_FALSE(contains(r.out, "\"name\": \"s\"")) << r.out;

  ASSERT_EQ(run({"profile", "use", "Work"}).status, 0);
  ASSERT_EQ(run({"profile", "create", "Other", "--description", "d"}).status, 0);
  ASSERT_EQ(run({"config", "set", "Config", "N", "-1", "--type", "long"}).status, 0);
  ASSERT_EQ(run({"config", "set", "Config", "S", "x\"y"}).status, 0);
  EXPECT_EQ(run({"config", "get", "Config", "N", "--json"}).out,
            "{\n  \"entry\": \"N\",\n  \"type\": \"number\",\n  \"value\": -1\n}\n");
  EXPECT_EQ(run({"config", "get", "Config", "S", "--json"}).out,
            "{\n  \"entry\": \"S\",\n  \"type\": \"string\",\n  \"value\": \"x\\\"y\"\n}\n");
  EXPECT_EQ(run({"config", "show", "TVCAD/V25/en_US/Profiles/Work", "--json"}).out,
            "{\n  \"key\": \"HKEY_CURRENT_USER\\\\Software\\\\TVCAD\\\\TVCAD\\\\V25\\\\en_US\\\\Profiles\\\\Work\",\n"
            "  \"keys\": {\n    \"Config\": {\n      \"keys\": {},\n      \"values\": {\n        \"N\": -1,\n"
            "        \"S\": \"x\\\"y\"\n      }\n    }\n  },\n"
            "  \"values\": {}\n}\n");
  EXPECT_EQ(run({"profile", "list", "--json"}).out,
            "[\n  {\n    \"current\": false,\n    \"description\": \"d\",\n    \"name\": \"Other\"\n  },\n"
            "  {\n    \"current\": true,\n    \"description\": \"\",\n    \"name\": \"Work\"\n  }\n]\n");
}

TEST_F(ToolEdgeTest, DashIsStandardInputOrOutput) {
  ASSERT_EQ(run({"reg", "add", kKey, "-v", "s", "-d", "text"}).status, 0);
  const Result exported = run({"reg", "export", kKey, "-"});
  ASSERT_EQ(exported.status, 0) << exported.err;
  EXPECT_EQ(exported.out,
            "Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\Software\\TVCAD\\Edge]\r\n\"s\"=\"text\"\r\n");
  ASSERT_EQ(run({"reg", "delete", kKey, "-f"}).status, 0);
  Result r = run({"reg", "import", "-"}, "LC_ALL=C.UTF-8", exported.out);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(stored(L"s"), L"text");

  ASSERT_EQ(run({"profile", "use", "Work"}).status, 0);
  ASSERT_EQ(run({"config", "set", "Config", "N", "7", "--type", "long"}).status, 0);
  const Result profile = run({"profile", "export", "Work", "-"});
  ASSERT_EQ(profile.status, 0) << profile.err;
  EXPECT_TRUE(contains(profile.out, "\"N\"=dword:00000007\r\n")) << profile.out;
  r = run({"profile", "import", "-", "Copy"}, "LC_ALL=C.UTF-8", profile.out);
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(run({"profile", "use", "Copy"}).status, 0);
  EXPECT_EQ(run({"config", "get", "Config", "N"}).out, "7\n");

  EXPECT_EQ(run({"sort", "-"}, "LC_ALL=C", "b10\nb9\n").out, "b9\nb10\n");
  EXPECT_EQ(run({"encode", "base64", "-"}, "LC_ALL=C", "hi").out, "aGk=\n");
  EXPECT_EQ(run({"decode", "base64", "-"}, "LC_ALL=C", "aGk=\n").out, "hi");
}

TEST_F(ToolEdgeTest, DecodeSaysWhereItStopped) {
  Result r = run({"decode", "base64", "aGk=aGk"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "hi");
  EXPECT_EQ(r.err, "ut: decoding stopped at character 5 (\"a\", white space not counted): not base64\n");
  r = run({"decode", "base64url", "aG*k"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ut: decoding stopped at character 3 (\"*\", white space not counted): not base64url\n");
  r = run({"decode", "base64", "aG k="});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "hi");
}

TEST_F(ToolEdgeTest, SortingAFolderFails) {
  const Result r = run({"sort", m_dir.path().string()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ut: cannot read " + m_dir.path().string() + ": a directory\n");
}

TEST_F(ToolEdgeTest, AStorePathThatIsAFolderGetsOneMessage) {
  const auto folder = m_dir / "folder.db";
  std::filesystem::create_directory(folder);
  const std::string expected = "ut: the store " + folder.string() + " is a directory, not a file\n";
  const std::string f = folder.string();
  for (const Args& args : {Args{"--store", f, "reg", "query", "HKCU\\Software"}, Args{"--store", f, "reg", "add", kKey},
                           Args{"--store", f, "config", "show"}}) {
    const Result r = runBare(args);
    EXPECT_EQ(r.status, 1) << args[3];
    EXPECT_EQ(r.err, expected) << args[3];
  }
}

TEST_F(ToolEdgeTest, ProfileImportSkipsKeysNoPathCanName) {
  const std::string p = kProfiles + "\\Odd";
  const std::string file = regFile("odd.reg", "[" + p + "]\r\n[" + p + "\\Config]\r\n\"Kept\"=dword:00000001\r\n[" + p +
                                                  "\\Config\\..]\r\n\"Up\"=\"u\"\r\n[" + p +
                                                  "\\Config\\..\\..\\Other]\r\n\"Far\"=\"f\"\r\n[" + p +
                                                  "\\Config\\Sub]\r\n\"S\"=\"s\"\r\n");
  Result r = run({"profile", "import", file});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(contains(r.err, "ut: Skipped \"Config\\..\" in Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\\Odd"))
      << r.err;
  EXPECT_TRUE(contains(r.err, "ut: Skipped \"Config\\..\\..\\Other\"")) << r.err;
  ASSERT_EQ(run({"profile", "use", "Odd"}).status, 0);
  r = run({"config", "show", "TVCAD/V25/en_US/Profiles"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "HKEY_CURRENT_USER\\Software\\TVCAD\\TVCAD\\V25\\en_US\\Profiles\n"
            "  (Default) = \"\" (string)\n"
            "  CurProfile = \"Odd\" (string)\n"
            "  Odd\\\n"
            "    Config\\\n"
            "      Kept = 1 (0x00000001, dword)\n"
            "      Sub\\\n"
            "        S = \"s\" (string)\n");
}
