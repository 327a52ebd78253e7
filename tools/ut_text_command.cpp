// `ut text info FILE...`: how the library reads text files, the encoding it
// chooses for each and why, with line and line-end counts.

#include "ut_tool.h"

#include <ut/ut_textfile.h>

#include <wx/filename.h>

#include <nlohmann/json.hpp>

#include <array>
#include <clocale>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace ut::tool {

namespace {

struct InfoOptions {
  std::vector<std::string> files;
  bool json = false;
};

const char* reasonText(TextFile::EEncodingSource source) {
  switch (source) {
    case TextFile::eByteOrderMark:
      return "byte-order mark";
    case TextFile::eValidUtf8:
      return "valid UTF-8";
    case TextFile::eConversion:
      return "conversion";
    case TextFile::eLocaleFallback:
      return "locale fallback";
    case TextFile::eNotRead:
      break;
  }
  return "not read";
}

// Why a file could not be opened, for the error message.
std::string failureReason(const wxString& name) {
  if (wxFileName::DirExists(name)) return "is a folder";
  if (!wxFileName::FileExists(name)) return "no such file";
  if (!wxFileName::IsFileReadable(name)) return "permission denied";
  return "no encoding can read it";
}

struct FileInfo {
  std::string file;
  std::string encoding;
  std::string reason;
  size_t lines = 0;
  std::array<size_t, 4> ends{};  // by TextFile::ELineEndingType
};

// Opens the file as the library does; throws OperationError when it cannot.
FileInfo inspect(const std::string& file) {
  const wxString name = fromUtf8(file);
  TextFile text{OdString(name)};
  trace(eTraceDetails, L"open " + name);
  if (!text.open(nullptr)) throw OperationError(file + ": " + failureReason(name));
  FileInfo info;
  info.file = file;
  info.encoding = text.encodingName().toUtf8();
  info.reason = reasonText(text.encodingSource());
  info.lines = text.getLineCount();
  for (size_t i = 0; i < info.lines; ++i) ++info.ends[static_cast<size_t>(text.getLineType(i))];
  text.close();
  return info;
}

void printInfo(const FileInfo& i) {
  std::printf("%s: %s (%s), %zu line%s, line ends: LF %zu, CR LF %zu, CR %zu, none %zu\n", i.file.c_str(),
              i.encoding.c_str(), i.reason.c_str(), i.lines, i.lines == 1 ? "" : "s", i.ends[TextFile::eUnix],
              i.ends[TextFile::eDos], i.ends[TextFile::eMac], i.ends[TextFile::eNone]);
}

nlohmann::json toJson(const FileInfo& i) {
  return {{"file", i.file},
          {"encoding", i.encoding},
          {"reason", i.reason},
          {"lines", i.lines},
          {"lineEnds",
           {{"LF", i.ends[TextFile::eUnix]},
            {"CRLF", i.ends[TextFile::eDos]},
            {"CR", i.ends[TextFile::eMac]},
            {"none", i.ends[TextFile::eNone]}}}};
}

int runInfo(const InfoOptions& o) {
  // The current conversion is the C library's for the user's locale, as in
  // any program that honours it.
  std::setlocale(LC_CTYPE, "");
  int status = eExitOk;
  nlohmann::json all = nlohmann::json::array();
  for (const auto& file : o.files) {
    try {
      const FileInfo info = inspect(file);
      if (o.json) {
        all.push_back(toJson(info));
      } else {
        printInfo(info);
      }
    } catch (const OperationError& e) {
      // The other files are still looked at.
      std::fprintf(stderr, "ut: %s\n", e.what());
      if (o.json) all.push_back({{"file", file}, {"error", e.what()}});
      status = eExitFailed;
    }
  }
  if (o.json) std::printf("%s\n", all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  return status;
}

}  // namespace

void addTextCommands(CLI::App& app, Context& context) {
  CLI::App* text = app.add_subcommand("text", "Text files as the library reads them");
  text->require_subcommand(1);
  auto options = std::make_shared<InfoOptions>();
  CLI::App* info = text->add_subcommand(
      "info",
      "For each file: the encoding the library chooses and why (byte-order mark, valid UTF-8, the current "
      "conversion, or the locale fallback), the number of lines and the kinds of line ends");
  info->add_option("FILE", options->files, "Text files")->required();
  info->add_flag("--json", options->json, "Print a JSON array with one object per file");
  info->callback([&context, options] { context.action = [options] { return runInfo(*options); }; });
}

}  // namespace ut::tool
