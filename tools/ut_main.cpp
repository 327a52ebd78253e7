// The `ut` command-line tool: a look at the per-user registry store when run
// without arguments, and command groups (`ut reg ...`) for everything else.

#include "ut_tool.h"

#include <ut/ut.h>

#include <wx/filename.h>
#include <wx/init.h>
#include <wx/log.h>

#include <cstdio>
#include <iostream>
#include <memory>

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
  std::fprintf(stdout, "%s (Yes/No) ", toUtf8(question).c_str());
  std::fflush(stdout);
  std::string answer;
  std::getline(std::cin, answer);
  return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
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

bool Context::storeExists() const { return wxFileName::FileExists(storeFile()); }

void Context::openStore() const {
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

  Context context;
  CLI::App app(
      "ut: the application's utility library from the command line: the per-user registry store,\n"
      "the configuration tree, natural sorting, encodings and UUIDs.\n"
      "Without a command, shows where the store is and what it holds.",
      "ut");
  app.fallthrough();
  app.require_subcommand(0, 1);
  app.add_option("--store", context.storeOption, "Work on this store file instead of the default one")
      ->type_name("FILE");
  app.add_option("--trace", context.traceOption,
                 "Write a trace of the steps taken to FILE; level and area come from TDM_LOG_LEVEL and "
                 "TDM_LOG_AREA, and without them everything is traced")
      ->type_name("FILE");
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
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
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
  const int status = [&context] {
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
  trace(eTraceSteps, wxString::Format(L"exit status %d", status));
  return status;
}
