// `ut path NAME...`: how the library reads a file name: the slash-corrected
// form, its parts, the absolute form, what exists there (behind the
// network-path guard) and the module type.

#include "ut_tool.h"

#include <ut/ut_filename.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ut::tool {

namespace {

struct PathOptions {
  std::vector<std::string> names;
  bool json = false;
};

std::string text(const OdString& s) { return s.toUtf8(); }

std::string jsonString(const std::string& s) {
  std::string out = "\"";
  for (const unsigned char c : s) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
          out += buffer;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

const char* moduleTypeName(EAppModuleType type) {
  switch (type) {
    case eManagedModule:
      return "managed";
    case eNativeModule:
      return "native";
    case eLispModule:
      return "lisp";
    case eVbaProject:
      return "vba";
    default:
      return "none";
  }
}

// One field: a string value or a raw JSON value (numbers, booleans, arrays).
struct Field {
  std::string key;
  std::string value;
  bool raw = false;
};

std::vector<Field> describe(const std::string& input) {
  const OdString name = OdString::fromUtf8(input);
  const FileName fn(name);
  FileName absolute(fn);
  absolute.makeAbsolute();
  OdString message;
  const bool file = FileName::isCrossPlatformAbsolute(name) ? FileName::fileExists(name) : fn.fileExists(&message);
  const bool dir = !file && message.isEmpty() && fn.dirExists();
  std::string dirs = "[";
  for (const OdString& d : fn.getDirs()) dirs += (dirs.size() > 1 ? "," : "") + jsonString(text(d));
  dirs += "]";
  std::vector<Field> fields = {
      {"input", input},
      {"corrected", text(correctSlashes(name))},
      {"full", text(fn.getFullPath())},
      {"path", text(fn.getPath())},
      {"dirs", dirs, true},
      {"name", text(fn.getName())},
      {"ext", text(fn.getExt())},
      {"absolute", fn.isAbsolute() ? "true" : "false", true},
      {"normalized", text(absolute.getFullPath())},
      {"exists", file ? "file" : (dir ? "directory" : (fn.exists() ? "other" : "no"))},
      {"module", moduleTypeName(FileName::appModuleType(name))},
  };
  if (!message.isEmpty()) fields.push_back({"refused", text(message)});
  return fields;
}

int runPath(const PathOptions& o) {
  if (o.json) std::fputs(o.names.size() == 1 ? "" : "[", stdout);
  bool first = true;
  for (const std::string& input : o.names) {
    const auto fields = describe(input);
    if (o.json) {
      std::string out = first ? "{" : ",{";
      for (std::size_t i = 0; i < fields.size(); ++i) {
        out += (i ? "," : "") + jsonString(fields[i].key) + ":" +
               (fields[i].raw ? fields[i].value : jsonString(fields[i].value));
      }
      std::fputs((out + "}").c_str(), stdout);
    } else {
      if (!first) std::fputc('\n', stdout);
      for (const Field& f : fields) std::printf("%-11s %s\n", (f.key + ":").c_str(), f.value.c_str());
    }
    first = false;
  }
  if (o.json) std::fputs(o.names.size() == 1 ? "\n" : "]\n", stdout);
  return eExitOk;
}

}  // namespace

void addPathCommands(CLI::App& app, Context& context) {
  auto options = std::make_shared<PathOptions>();
  CLI::App* path =
      app.add_subcommand("path", "Show how the library splits and normalises file names, and what exists there");
  path->add_option("NAME", options->names, "File or directory names (\"\\\" and \"|\" are corrected)")->required();
  path->add_flag("--json", options->json, "Print a JSON object per name (an array for several)");
  path->callback([&context, options] { context.action = [options] { return runPath(*options); }; });
}

}  // namespace ut::tool
