// `ut sort`: the lines of files or standard input in natural order ("a9"
// before "a10"), as the library's natural comparison orders names.

#include "ut_tool.h"

#include <ut/ut_sorting.h>
#include <ut/ut_strings.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace ut::tool {

namespace {

struct SortOptions {
  std::vector<std::string> files;
  bool ignoreCase = false;
};

std::string readAll(std::istream& in) {
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

// Appends the lines of UTF-8 text; "\n" or "\r\n" ends a line, and a last
// line needs no line end.
void appendLines(const std::string& text, std::vector<std::wstring>& lines) {
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    const std::size_t next = end == std::string::npos ? text.size() : end + 1;
    if (end == std::string::npos) end = text.size();
    if (end > start && text[end - 1] == '\r') --end;
    lines.push_back(s2ws(text.substr(start, end - start)));
    start = next;
  }
}

int runSort(const SortOptions& o) {
  // Like other sorting tools, the order follows the user's locale.
  std::setlocale(LC_COLLATE, "");
  std::setlocale(LC_CTYPE, "");
  std::vector<std::wstring> lines;
  if (o.files.empty()) {
    appendLines(readAll(std::cin), lines);
  } else {
    for (const auto& file : o.files) {
      if (file == "-") {
        appendLines(readAll(std::cin), lines);
        continue;
      }
      // A folder opens as a stream on this system but reads as nothing.
      std::error_code ec;
      if (std::filesystem::is_directory(file, ec)) throw OperationError("cannot read " + file + ": a directory");
      std::ifstream in(file, std::ios::binary);
      if (!in) throw OperationError("cannot read " + file);
      appendLines(readAll(in), lines);
    }
  }
  // A merge sort: equal lines keep their input order, and no comparison can
  // lead it outside the range.
  const bool caseSensitive = !o.ignoreCase;
  std::stable_sort(lines.begin(), lines.end(), [caseSensitive](const std::wstring& a, const std::wstring& b) {
    return strCmpAlphanum(a.c_str(), b.c_str(), caseSensitive) < 0;
  });
  for (const auto& line : lines) {
    const std::string out = ws2s(line);
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fputc('\n', stdout);
  }
  return eExitOk;
}

}  // namespace

void addSortCommands(CLI::App& app, Context& context) {
  auto options = std::make_shared<SortOptions>();
  CLI::App* sort = app.add_subcommand(
      "sort", "Print the lines of files (or standard input) in natural order: \"a9\" before \"a10\"");
  sort->add_option("FILE", options->files, "Files to read (UTF-8); - or none: standard input");
  sort->add_flag("-i,--ignore-case", options->ignoreCase, "Compare letters regardless of case");
  sort->callback([&context, options] { context.action = [options] { return runSort(*options); }; });
}

}  // namespace ut::tool
