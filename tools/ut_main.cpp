// The `ut` command-line tool: a look at the per-user registry store when run
// without arguments, and command groups (`ut reg ...`) for everything else.

#include "ut_tool.h"

#include <ut/ut.h>

#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/init.h>
#include <wx/log.h>

#include <clocale>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <langinfo.h>
#include <unistd.h>

namespace ut::tool {

namespace {

// The library reports through wxLog; the tool shows each record as one line
// on standard error, without the time stamp wx adds by default.
class StderrLog : public wxLog {
 protected:
  void DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo&) override {
    if (level > wxLOG_Info) return;
    std::fprintf(stderr, "ut: %s\n", toUtf8(msg).c_str());
  }
};

// Bytes for a message: printable ASCII as it is, anything else as \xNN.
std::string printable(const std::string& bytes) {
  std::string out;
  for (const char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    if (b >= 0x20 && b < 0x7F) {
      out += c;
    } else {
      char hex[5];
      std::snprintf(hex, sizeof hex, "\\x%02X", b);
      out += hex;
    }
  }
  return out;
}

// Command-line arguments as UTF-8. An argument that is not valid UTF-8 is
// read in the locale's encoding when that is another one; under a UTF-8
// locale it is refused: turning it into an empty or altered string could
// name the wrong value or overwrite data with nothing. Answers the
// arguments, or an error message naming the first bad one.
std::vector<std::string> utf8Arguments(int argc, char** argv, std::string& error) {
  std::vector<std::string> args;
  wxString codeset(nl_langinfo(CODESET));
  codeset.Replace(L"-", L"");
  const bool utf8Locale = codeset.IsSameAs(L"UTF8", false);
  for (int i = 0; i < argc; ++i) {
    const std::string arg = argv[i];
    if (i == 0 || arg.empty() || !wxString::FromUTF8(arg.data(), arg.size()).empty()) {
      args.push_back(arg);
      continue;
    }
    const wxString local(arg.c_str(), wxConvLibc);
    if (utf8Locale || local.empty()) {
      error = "argument " + std::to_string(i) + " is not valid UTF-8 (nor text in the locale's encoding): \"" +
              printable(arg) + "\"";
      return {};
    }
    args.push_back(toUtf8(local));
  }
  return args;
}

}  // namespace

wxString fromUtf8(const std::string& text) { return wxString::FromUTF8(text.data(), text.size()); }

std::string toUtf8(const wxString& text) {
  const wxScopedCharBuffer buf = text.utf8_str();
  return std::string(buf.data(), buf.length());
}

void printLine(const wxString& text) {
  const std::string line = toUtf8(text);
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

bool confirm(const wxString& question, bool force, const char* forceOption) {
  if (force) return true;
  if (::isatty(STDIN_FILENO) == 0) {
    std::fprintf(stderr, "ut: %s Not confirmed: no terminal to ask on (use %s).\n", toUtf8(question).c_str(),
                 forceOption);
    return false;
  }
  // Standard output carries the command's own output (perhaps into a file).
  std::fprintf(stderr, "%s (Yes/No) ", toUtf8(question).c_str());
  std::fflush(stderr);
  std::string answer;
  std::getline(std::cin, answer);
  return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

StdioFile::~StdioFile() {
  if (!m_temp.empty()) wxRemoveFile(m_temp);
}

wxString StdioFile::input(const std::string& arg) {
  if (arg != "-") return fromUtf8(arg);
  m_temp = wxFileName::CreateTempFileName(L"ut-stdin");
  std::ofstream out(m_temp.utf8_string(), std::ios::binary | std::ios::trunc);
  out << std::cin.rdbuf();
  out.close();
  if (m_temp.empty() || !out) throw OperationError("cannot keep standard input in a temporary file");
  return m_temp;
}

wxString StdioFile::output(const std::string& arg) {
  if (arg != "-") return fromUtf8(arg);
  m_temp = wxFileName::CreateTempFileName(L"ut-stdout");
  if (m_temp.empty()) throw OperationError("cannot make a temporary file for standard output");
  // The library writes a new file: an empty one would count as existing.
  wxRemoveFile(m_temp);
  m_toStdout = true;
  return m_temp;
}

void StdioFile::finish() {
  if (!m_toStdout) return;
  std::ifstream in(m_temp.utf8_string(), std::ios::binary);
  std::cout << in.rdbuf();
  std::cout.flush();
}

wxString KeyArg::fullName() const { return path.empty() ? rootKeyName(root) : rootKeyName(root) + L"\\" + path; }

KeyArg parseKeyArg(const std::string& text) {
  const wxString key = fromUtf8(text);
  KeyArg arg;
  const wxString rootName = key.BeforeFirst(L'\\');
  if (!parseRootKeyName(rootName, arg.root)) {
    throw UsageError("unknown root key \"" + toUtf8(rootName) +
                     "\" (use HKEY_CURRENT_USER or HKCU, HKEY_LOCAL_MACHINE or HKLM, HKEY_CLASSES_ROOT or HKCR, "
                     "HKEY_USERS or HKU, HKEY_CURRENT_CONFIG or HKCC)");
  }
  arg.path = key.Find(L'\\') == wxNOT_FOUND ? wxString() : key.AfterFirst(L'\\');
  while (arg.path.StartsWith(L"\\")) arg.path.Remove(0, 1);
  while (arg.path.EndsWith(L"\\")) arg.path.RemoveLast();
  if (arg.path.Find(L"\\\\") != wxNOT_FOUND) throw UsageError("empty key name in \"" + text + "\"");
  return arg;
}

wxString Context::storeFile() const {
  if (storeOption.empty()) return RegStore::file();
  wxFileName name(fromUtf8(storeOption));
  name.MakeAbsolute();
  return name.GetFullPath();
}

// A folder where the store file should be: one message, whether the command
// would only read (and otherwise say the file does not exist) or write.
void refuseFolder(const wxString& file) {
  if (wxFileName::DirExists(file)) throw OperationError(toUtf8(L"the store " + file + L" is a directory, not a file"));
}

bool Context::storeExists() const {
  refuseFolder(storeFile());
  return wxFileName::FileExists(storeFile());
}

void Context::openStore() const {
  refuseFolder(storeFile());
  trace(eTraceSteps, L"open the store " + storeFile());
  const bool ok = storeOption.empty() ? RegStore::open() : RegStore::setFile(storeFile());
  if (!ok) {
    wxString why = RegStore::lastError();
    if (why.empty()) why = L"cannot open the registry store " + storeFile();
    throw OperationError(toUtf8(why));
  }
  trace(eTraceDetails, L"store open");
}

}  // namespace ut::tool

int main(int argc, char** argv) {
  using namespace ut::tool;
  wxInitializer wx;
  if (!wx.IsOk()) {
    std::fprintf(stderr, "ut: wxWidgets failed to initialise\n");
    return eExitFailed;
  }
  delete wxLog::SetActiveTarget(new StderrLog);

  // The locale's encoding decides how arguments that are not UTF-8 read.
  std::setlocale(LC_CTYPE, "");
  std::string argumentError;
  const std::vector<std::string> arguments = utf8Arguments(argc, argv, argumentError);
  if (!argumentError.empty()) {
    std::fprintf(stderr, "ut: %s\n", argumentError.c_str());
    return eExitUsage;
  }

  Context context;
  CLI::App app(
      "ut: the application's utility library from the command line: the per-user registry store,\n"
      "the configuration tree, natural sorting, encodings and UUIDs.\n"
      "Without a command, shows where the store is and what it holds.",
      "ut");
  app.fallthrough();
  app.set_version_flag("--version", std::string("ut ") + UT_TOOL_VERSION + "\nlibrary " + ut::libraryVersion() +
                                        "\nstore schema " + std::to_string(ut::storeSchemaVersion()));
  app.footer(
      "Environment:\n"
      "  UT_REGISTRY_FILE  the store file when --store is not given; without either, the store is\n"
      "                    $XDG_CONFIG_HOME/TVCAD/registry.db ($XDG_CONFIG_HOME defaults to ~/.config)\n"
      "  TDM_LOG_LEVEL, TDM_LOG_AREA  what --trace writes\n"
      "Store file without --store: " +
      toUtf8(ut::RegStore::defaultFile()) +
      "\n"
      "Exit status: 0 done, 1 the operation failed, 2 a bad command line.");
  app.require_subcommand(0, 1);
  // An empty file name is a mistake, never a way to ask for the default.
  const CLI::Validator nonEmpty(
      [](std::string& text) { return text.empty() ? std::string("an empty file name") : std::string(); }, "", "");
  app.add_option("--store", context.storeOption, "Work on this store file instead of the default one")
      ->type_name("FILE")
      ->check(nonEmpty);
  app.add_option("--trace", context.traceOption,
                 "Write a trace of the steps taken to FILE; level and area come from TDM_LOG_LEVEL and "
                 "TDM_LOG_AREA, and without them everything is traced")
      ->type_name("FILE")
      ->check(nonEmpty);
  addRegCommands(app, context);
  addConfigCommands(app, context);
  addProfileCommands(app, context);
  addSortCommands(app, context);
  addEncodeCommands(app, context);
  addPathCommands(app, context);
  addFilesCommands(app, context);
  addHttpsCommands(app, context);
  addOAuthCommands(app, context);
  addTextCommands(app, context);
  addCsvCommands(app, context);

  try {
    // CLI11 takes the arguments after the program name, last first.
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend() - 1);
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return eExitOk;
  } catch (const CLI::CallForVersion& e) {
    std::cout << e.what() << '\n';
    return eExitOk;
  } catch (const CLI::CallForAllHelp&) {
    std::cout << app.help("", CLI::AppFormatMode::All);
    return eExitOk;
  } catch (const CLI::ParseError& e) {
    std::fprintf(stderr, "ut: %s (see --help)\n", e.what());
    return eExitUsage;
  }

  TraceSession traceSession;
  if (!context.traceOption.empty() && !traceSession.start(context.traceOption, argc, argv)) {
    std::fprintf(stderr, "ut: cannot write the trace file %s\n", context.traceOption.c_str());
    return eExitFailed;
  }
  int status = [&context] {
    try {
      if (!context.action) return showOverview(context);
      return context.action();
    } catch (const UsageError& e) {
      trace(eTraceSteps, L"error: " + fromUtf8(e.what()));
      std::fprintf(stderr, "ut: %s\n", e.what());
      return static_cast<int>(eExitUsage);
    } catch (const OperationError& e) {
      trace(eTraceSteps, L"error: " + fromUtf8(e.what()));
      std::fprintf(stderr, "ut: %s\n", e.what());
      return static_cast<int>(eExitFailed);
    }
  }();
  if (status == eExitOk && ut::RegStore::isDamaged()) {
    // What was read from a damaged store may lack what stood on the damaged
    // pages; the store has already refused every write.
    if (const wxString why = ut::RegStore::lastError(); !why.empty())
      std::fprintf(stderr, "ut: %s\n", toUtf8(why).c_str());
    std::fprintf(stderr, "ut: the store %s is damaged, so the result may be incomplete: see `ut reg check`\n",
                 toUtf8(context.storeFile()).c_str());
    status = eExitFailed;
  }
  trace(eTraceSteps, wxString::Format(L"exit status %d", status));
  return status;
}
