// `ut compress`, `ut decompress`: one file through ZlibEngine; `ut zip`,
// `ut unzip`: zip archives; `ut lock`: drawing locks and their lock files.

#include "ut_command_report.h"
#include "ut_tool.h"

#include <ut/ut_filelock.h>
#include <ut/ut_zip.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace ut::tool {

namespace {

namespace fs = std::filesystem;

std::wstring pathArg(const std::string& arg, const char* dashMeans) {
  return fromUtf8(arg == "-" ? std::string(dashMeans) : arg).ToStdWstring();
}

// --- compress / decompress -------------------------------------------------------------

// The engine's progress drives the bar; once the user cancels through the
// bar (Ctrl-C), the engine's abort flag stops it after the current buffer.
class ToolEngine : public ZlibEngine {
 public:
  explicit ToolEngine(ProgressBar& bar) : m_bar(bar) {}
  std::wstring lastStatus;

 protected:
  void progress(int percent) override {
    if (!m_bar.setPercent(percent, OdString())) setAbortFlag(true);
  }
  void status(const wchar_t* message) override { lastStatus = message; }

 private:
  ProgressBar& m_bar;
};

struct CodecOptions {
  std::string input;
  std::string output;
  int level = -1;
};

int runCodec(const CodecOptions& o, bool compressing) {
  if (o.level < -1 || o.level > 9) throw UsageError("the level must be -1 (zlib's default) or 0 to 9");
  const std::wstring in = pathArg(o.input, "/dev/stdin");
  const std::wstring out = pathArg(o.output, "/dev/stdout");
  trace(eTraceSteps, wxString(compressing ? L"compress " : L"decompress ") + in + L" -> " + out);
  CommandReport report(compressing ? "compress" : "decompress");
  ProgressBar bar;
  bar.start(OdString(((compressing ? L"Compressing " : L"Decompressing ") + in).c_str()));
  ToolEngine engine(bar);
  const int result =
      compressing ? engine.compress(in.c_str(), out.c_str(), o.level) : engine.decompress(in.c_str(), out.c_str());
  const bool ok = result == 0 || result == 1;
  if (ok) bar.finish();
  bar.stop();
  if (!ok && o.output != "-") {
    std::error_code ignored;
    fs::remove(fs::path(toUtf8(out)), ignored);  // no partial output
  }
  const wxString status = wxString::Format(
      L"%ls (result %d)", engine.lastStatus.empty() ? L"Zlib Error" : engine.lastStatus.c_str(), result);
  if (!ok) {
    report.addError(status);
  } else if (o.output == "-") {
    report.addNote(status);  // the data is on standard output
  } else {
    printLine(status);
  }
  return report.finish();
}

// --- zip / unzip -----------------------------------------------------------------------

struct ZipOptions {
  std::string archive;
  std::vector<std::string> paths;
};

int runZip(const ZipOptions& o) {
  std::vector<fs::path> folders;
  OdArray<OdString> files;
  for (const std::string& p : o.paths) {
    std::error_code ec;
    if (fs::is_directory(p, ec)) {
      folders.emplace_back(p);
    } else if (fs::is_regular_file(p, ec)) {
      files.append(OdString(fromUtf8(p).ToStdWstring()));
    } else {
      throw OperationError("no such file or folder: " + p);
    }
  }
  if (!folders.empty() && (folders.size() > 1 || !files.isEmpty())) {
    throw UsageError("give one folder, or any number of files");
  }
  const OdString archive(fromUtf8(o.archive).ToStdWstring());
  CommandReport report("zip");
  ProgressBar bar;
  EZipStatus status = eZipOk;
  runLongStep(
      bar, report, wxString(L"Zipping into ") + archive.c_str(),
      [&] {
        status = folders.empty() ? zipFiles(archive, files)
                                 : zipFolder(archive, OdString(fromUtf8(folders[0].string()).ToStdWstring()));
        return status == eZipOk;
      },
      wxString(archive.c_str()));
  if (status != eZipOk) report.addError(wxString(zipStatusMessage(status).c_str()));
  return report.finish();
}

struct UnzipOptions {
  std::string archive;
  std::string folder = ".";
  bool list = false;
  bool json = false;
};

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

int runUnzip(const UnzipOptions& o) {
  const OdString archive(fromUtf8(o.archive).ToStdWstring());
  if (o.list) {
    OdArray<OdString> entries;
    if (!getZippedFolderEntries(archive, entries)) throw OperationError("cannot read the archive " + o.archive);
    if (o.json) {
      std::string line = "[";
      for (unsigned int i = 0; i < entries.size(); ++i) {
        line += (i ? "," : "") + jsonString(entries[i].toUtf8());
      }
      printLine(fromUtf8(line + "]"));
    } else {
      for (const OdString& entry : entries) printLine(fromUtf8(entry.toUtf8()));
    }
    return eExitOk;
  }
  CommandReport report("unzip");
  ProgressBar bar;
  UnzippingHelper helper(archive, OdString(fromUtf8(o.folder).ToStdWstring()));
  if (!helper.init(0)) {
    report.finish();  // what the library logged about it
    return eExitFailed;
  }
  bar.start(OdString(fromUtf8("Extracting " + o.archive).ToStdWstring()));
  const double total = static_cast<double>(helper.remaining());
  bool ok = true;
  while (ok && helper.remaining() > 0 && !bar.isCanceled()) {
    ok = helper.unzipPackOfEntries(64);
    bar.setPercent(100.0 * (total - static_cast<double>(helper.remaining())) / total, OdString());
  }
  if (ok && !bar.isCanceled()) bar.finish();
  bar.stop();
  if (ok && bar.isCanceled()) report.addError(L"interrupted; the entries extracted so far stay");
  const int status = report.finish();
  return ok ? status : eExitFailed;
}

// --- lock ----------------------------------------------------------------------------

struct LockOptions {
  std::string file;
  std::optional<double> hold;
  std::vector<std::string> statusFiles;
  bool json = false;
};

struct LockState {
  std::string state;  // free, mine, other, stale, missing, held
  std::string user, machine, since;
};

LockState lockState(const std::string& file) {
  const OdString path(fromUtf8(file).ToStdWstring());
  LockState s;
  std::error_code ec;
  if (!fs::is_regular_file(file, ec)) {
    s.state = "missing";
    return s;
  }
  const bool held = !FileLocker().canLock(path);
  const bool hasFiles = FileLocker::hasDwl(path);
  if (hasFiles) {
    OdString user, machine, since;
    FileLocker::readLockInfo(path, user, machine, since);
    s.user = user.toUtf8();
    s.machine = machine.toUtf8();
    s.since = since.toUtf8();
  }
  if (!held) {
    s.state = hasFiles ? "stale" : "free";
  } else if (!hasFiles) {
    s.state = "held";
  } else {
    s.state = FileLocker::isLockedByOther(path) ? "other" : "mine";
  }
  return s;
}

std::string describe(const LockState& s) {
  if (s.state == "free") return "free";
  if (s.state == "missing") return "no such file";
  if (s.state == "held") return "held open by another program (no lock files)";
  if (s.state == "mine") return "locked by this user here since " + s.since;
  if (s.state == "other") return "locked by " + s.user + " on " + s.machine + " since " + s.since;
  return "stale lock files (lock files present but nobody holds the file; written by " + s.user + " on " + s.machine +
         " " + s.since + ")";
}

int runLockStatus(const LockOptions& o) {
  bool lockedByOther = false;
  std::string json = "[";
  for (std::size_t i = 0; i < o.statusFiles.size(); ++i) {
    const LockState s = lockState(o.statusFiles[i]);
    lockedByOther = lockedByOther || s.state == "other";
    if (o.json) {
      json += (i ? "," : "") + std::string("{\"file\":") + jsonString(o.statusFiles[i]) +
              ",\"state\":" + jsonString(s.state) + ",\"user\":" + jsonString(s.user) +
              ",\"machine\":" + jsonString(s.machine) + ",\"since\":" + jsonString(s.since) + "}";
    } else {
      printLine(fromUtf8(o.statusFiles[i] + ": " + describe(s)));
    }
  }
  if (o.json) printLine(fromUtf8(json + "]"));
  return lockedByOther ? eExitFailed : eExitOk;
}

int runLock(const LockOptions& o) {
  if (o.hold && *o.hold < 0) throw UsageError("the hold time cannot be negative");
  const OdString path(fromUtf8(o.file).ToStdWstring());
  FileLocker locker;
  if (!locker.lock(path)) {
    const LockState s = lockState(o.file);
    throw OperationError("cannot lock " + o.file + ": " + describe(s));
  }
  printLine(fromUtf8("locked " + o.file + (o.hold ? "" : "; Ctrl-C unlocks")));
  std::fflush(stdout);
  // The bar shows how long the lock has been held, and its Ctrl-C (or
  // termination request) ends the hold, so the lock files are deleted.
  ProgressBar bar;
  bar.start(OdString(fromUtf8("Holding " + o.file).ToStdWstring()));
  const auto until =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<long long>(o.hold.value_or(0) * 1000));
  while (!bar.isCanceled() && (!o.hold || std::chrono::steady_clock::now() < until)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  bar.stop();
  if (!locker.unlock()) throw OperationError("cannot unlock " + o.file);
  printLine(fromUtf8("unlocked " + o.file));
  return eExitOk;
}

}  // namespace

void addFilesCommands(CLI::App& app, Context& context) {
  for (const bool compressing : {true, false}) {
    auto o = std::make_shared<CodecOptions>();
    CLI::App* c = app.add_subcommand(compressing ? "compress" : "decompress",
                                     compressing ? "Compress a file into a zlib stream (Ctrl-C aborts)"
                                                 : "Decompress a zlib stream (Ctrl-C aborts)");
    c->add_option("IN", o->input, "The input file, - for standard input")->required();
    c->add_option("OUT", o->output, "The output file, - for standard output")->required();
    if (compressing) c->add_option("-l,--level", o->level, "zlib's level: 0 to 9, -1 its default")->type_name("N");
    c->callback(
        [&context, o, compressing] { context.action = [o, compressing] { return runCodec(*o, compressing); }; });
  }

  auto zip = std::make_shared<ZipOptions>();
  CLI::App* z = app.add_subcommand("zip", "Make a zip archive of one folder (its content) or of files");
  z->add_option("ARCHIVE", zip->archive, "The archive to write (replaced when it exists)")->required();
  z->add_option("PATH", zip->paths, "One folder, or files")->required();
  z->callback([&context, zip] { context.action = [zip] { return runZip(*zip); }; });

  auto unzip = std::make_shared<UnzipOptions>();
  CLI::App* u = app.add_subcommand("unzip", "Extract a zip archive into a folder, or list it");
  u->add_option("ARCHIVE", unzip->archive, "The archive")->required();
  u->add_option("DIR", unzip->folder, "The folder to extract into (default: the current one)");
  u->add_flag("-l,--list", unzip->list, "List the entries instead of extracting");
  u->add_flag("--json", unzip->json, "With --list: the names as a JSON array");
  u->callback([&context, unzip] { context.action = [unzip] { return runUnzip(*unzip); }; });

  auto lock = std::make_shared<LockOptions>();
  CLI::App* l = app.add_subcommand("lock", "Lock a drawing and hold it; or tell who holds drawings");
  l->add_option("FILE", lock->file, "The file to lock");
  l->add_option("--hold", lock->hold, "Hold the lock this many seconds (default: until Ctrl-C)")->type_name("SECONDS");
  CLI::App* s = l->add_subcommand("status",
                                  "Say for each file: free, locked by you here, locked by someone "
                                  "else (exit 1), or stale lock files");
  s->add_option("FILE", lock->statusFiles, "The files")->required();
  s->add_flag("--json", lock->json, "One JSON array of {file, state, user, machine, since}");
  s->callback([&context, lock] { context.action = [lock] { return runLockStatus(*lock); }; });
  l->callback([&context, lock, l] {
    if (l->got_subcommand("status")) return;
    if (lock->file.empty()) throw CLI::RequiredError("FILE");
    context.action = [lock] { return runLock(*lock); };
  });
}

}  // namespace ut::tool
