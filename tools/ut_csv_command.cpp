// `ut csv show` prints a CSV file as a table with aligned columns (or as JSON
// arrays), `ut csv convert` rewrites one with another delimiter and quoting.
// Both read files as the library does; "-" stands for standard input/output.

#include "ut_tool.h"

#include <ut/ut_csv.h>

#include <wx/filename.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace ut::tool {

namespace {

using Row = OdArray<OdString>;
using Table = OdArray<Row>;

// A file name for the input: the file itself, or for "-" a temporary copy of
// standard input, removed at the end.
class Input {
 public:
  explicit Input(const std::string& file) : m_shown(file) {
    if (file != "-") {
      m_name = fromUtf8(file);
      return;
    }
    m_shown = "standard input";
    m_name = wxFileName::CreateTempFileName("ut-csv");
    m_temporary = true;
    const std::string content{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    std::ofstream copy(toUtf8(m_name), std::ios::binary | std::ios::trunc);
    copy.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!copy.flush()) {
      // The destructor does not run for a constructor that throws.
      wxRemoveFile(m_name);
      throw OperationError("cannot buffer standard input");
    }
  }
  ~Input() {
    if (m_temporary) wxRemoveFile(m_name);
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  Table read(wchar_t delimiter) const {
    TextFile file{OdString(m_name)};
    if (!file.open(nullptr)) {
      throw OperationError(m_shown + ": " +
                           (wxFileName::FileExists(m_name) ? "no encoding can read it" : "cannot read it"));
    }
    Table rows;
    readCSV(rows, file, delimiter);
    file.close();
    return rows;
  }

 private:
  std::string m_shown;
  wxString m_name;
  bool m_temporary = false;
};

// One character from an option: a single character, "\t" or "tab"; for
// options that allow it, "" or "none" give 0.
wchar_t parseChar(const std::string& value, const char* option, bool noneAllowed) {
  if (value == "\\t" || value == "tab") return L'\t';
  if (noneAllowed && (value.empty() || value == "none")) return 0;
  const wxString text = fromUtf8(value);
  if (text.length() != 1) {
    throw UsageError(std::string(option) + " takes one character" + (noneAllowed ? " or \"none\"" : "") + ", not \"" +
                     value + "\"");
  }
  return static_cast<wchar_t>(text[0].GetValue());
}

// Columns on a terminal: 2 for wide East Asian characters and emoji, 0 for
// combining marks, 1 otherwise.
int charWidth(wchar_t c) {
  const auto v = static_cast<std::uint32_t>(c);
  if ((v >= 0x300 && v <= 0x36F) || (v >= 0x200B && v <= 0x200F) || (v >= 0xFE00 && v <= 0xFE0F)) return 0;
  if ((v >= 0x1100 && v <= 0x115F) || (v >= 0x2E80 && v <= 0xA4CF && v != 0x303F) || (v >= 0xAC00 && v <= 0xD7A3) ||
      (v >= 0xF900 && v <= 0xFAFF) || (v >= 0xFE30 && v <= 0xFE4F) || (v >= 0xFF00 && v <= 0xFF60) ||
      (v >= 0xFFE0 && v <= 0xFFE6) || (v >= 0x1F300 && v <= 0x1F64F) || (v >= 0x1F900 && v <= 0x1F9FF) ||
      (v >= 0x20000 && v <= 0x3FFFD))
    return 2;
  return 1;
}

// A field as shown in the table: tabs and other control characters escaped.
std::wstring shown(const OdString& field) {
  std::wstring out;
  for (int i = 0; i < field.getLength(); ++i) {
    const wchar_t c = field[i];
    if (c == L'\t') {
      out += L"\\t";
    } else if (static_cast<std::uint32_t>(c) < 0x20 || c == 0x7F) {
      wchar_t code[8];
      std::swprintf(code, 8, L"\\x%02X", static_cast<unsigned>(c));
      out += code;
    } else {
      out += c;
    }
  }
  return out;
}

int width(const std::wstring& s) {
  int w = 0;
  for (const wchar_t c : s) w += charWidth(c);
  return w;
}

void printTable(const Table& rows) {
  std::vector<std::vector<std::wstring>> cells;
  std::vector<int> widths;
  for (const auto& row : rows) {
    cells.emplace_back();
    for (unsigned c = 0; c < row.size(); ++c) {
      cells.back().push_back(shown(row[c]));
      if (widths.size() <= c) widths.push_back(0);
      widths[c] = std::max(widths[c], width(cells.back().back()));
    }
  }
  for (const auto& row : cells) {
    std::wstring line;
    for (std::size_t c = 0; c < row.size(); ++c) {
      line += row[c];
      if (c + 1 < row.size()) line.append(static_cast<std::size_t>(widths[c] - width(row[c]) + 2), L' ');
    }
    printLine(wxString(line));
  }
}

void printJson(const Table& rows) {
  std::printf("[");
  for (unsigned r = 0; r < rows.size(); ++r) {
    nlohmann::json fields = nlohmann::json::array();
    for (const auto& field : rows[r]) fields.push_back(field.toUtf8());
    std::printf("%s\n  %s", r == 0 ? "" : ",",
                fields.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  }
  std::printf("%s]\n", rows.isEmpty() ? "" : "\n");
}

struct ShowOptions {
  std::string file;
  std::string delimiter = ",";
  bool json = false;
};

int runShow(const ShowOptions& o) {
  const wchar_t delimiter = parseChar(o.delimiter, "--delimiter", false);
  const Table rows = Input(o.file).read(delimiter);
  if (o.json) {
    printJson(rows);
  } else {
    printTable(rows);
  }
  return eExitOk;
}

struct ConvertOptions {
  std::string input;
  std::string output;
  std::string fromDelimiter = ",";
  std::string delimiter = ",";
  std::string quoting = "as-needed";
  std::string quote = "\"";
  std::string escape = "none";
};

CsvWriter::EQuoting parseQuoting(const std::string& mode) {
  if (mode == "none") return CsvWriter::None;
  if (mode == "always") return CsvWriter::Always;
  return CsvWriter::AsNeeded;
}

// The writer's settings from the options; bad ones are usage errors.
struct WriterSettings {
  wchar_t delimiter;
  CsvWriter::EQuoting quoting;
  wchar_t quote;
  wchar_t escape;
};

WriterSettings parseSettings(const ConvertOptions& o) {
  return {parseChar(o.delimiter, "--delimiter", false), parseQuoting(o.quoting), parseChar(o.quote, "--quote", false),
          parseChar(o.escape, "--escape", true)};
}

void writeTable(const Table& rows, const WriterSettings& settings, const std::string& shownName,
                const wxString& target) {
  CsvWriter writer;
  writer.setDelimiter(settings.delimiter);
  writer.setQuoting(settings.quoting, settings.quote, settings.escape);
  writer.open(OdString(target));
  if (writer.failed()) throw OperationError(shownName + ": cannot write it");
  for (unsigned r = 0; r < rows.size(); ++r) {
    try {
      writer.write(rows[r]);
    } catch (const CsvWriter::Error& e) {
      throw OperationError(shownName + ": row " + std::to_string(r + 1) + ": " + e.message().toUtf8());
    } catch (const std::range_error&) {
      throw OperationError(shownName + ": row " + std::to_string(r + 1) + ": a field holds no valid character");
    }
  }
  writer.close();
  if (writer.failed()) throw OperationError(shownName + ": writing failed");
}

int runConvert(const ConvertOptions& o) {
  const wchar_t from = parseChar(o.fromDelimiter, "--from-delimiter", false);
  const WriterSettings settings = parseSettings(o);
  const Table rows = Input(o.input).read(from);
  const bool toStdout = o.output == "-";
  const std::string shownName = toStdout ? "standard output" : o.output;
  // Written beside the target first and renamed over it at the end, so that a
  // failure leaves an existing file as it was.
  const wxString scratch =
      toStdout ? wxFileName::CreateTempFileName("ut-csv") : fromUtf8(o.output) + wxString(".ut-convert-tmp");
  if (scratch.empty()) throw OperationError("cannot create a temporary file");
  try {
    writeTable(rows, settings, shownName, scratch);
  } catch (...) {
    wxRemoveFile(scratch);
    throw;
  }
  if (toStdout) {
    std::ifstream in(toUtf8(scratch), std::ios::binary);
    std::cout << in.rdbuf();
    std::cout.flush();
    wxRemoveFile(scratch);
    return eExitOk;
  }
  if (!wxRenameFile(scratch, fromUtf8(o.output), true)) {
    wxRemoveFile(scratch);
    throw OperationError(o.output + ": cannot replace it");
  }
  return eExitOk;
}

}  // namespace

void addCsvCommands(CLI::App& app, Context& context) {
  CLI::App* csv = app.add_subcommand("csv", "Delimiter-separated files as the library reads and writes them");
  csv->require_subcommand(1);

  auto show = std::make_shared<ShowOptions>();
  CLI::App* showCommand = csv->add_subcommand("show", "Print a CSV file as a table with aligned columns");
  showCommand->add_option("FILE", show->file, "The file, or - for standard input")->required();
  showCommand->add_option("-d,--delimiter", show->delimiter, "The field delimiter (default ,; \"tab\" for a tab)")
      ->type_name("C");
  showCommand->add_flag("--json", show->json, "Print the rows as JSON arrays, one row per line");
  showCommand->callback([&context, show] { context.action = [show] { return runShow(*show); }; });

  auto convert = std::make_shared<ConvertOptions>();
  CLI::App* convertCommand =
      csv->add_subcommand("convert", "Rewrite a CSV file with another delimiter, quoting or escape character");
  convertCommand->add_option("IN", convert->input, "The file to read, or - for standard input")->required();
  convertCommand->add_option("OUT", convert->output, "The file to write (UTF-8), or - for standard output")->required();
  convertCommand->add_option("--from-delimiter", convert->fromDelimiter, "The delimiter of IN (default ,)")
      ->type_name("C");
  convertCommand->add_option("-d,--delimiter", convert->delimiter, "The delimiter to write (default ,)")
      ->type_name("C");
  convertCommand->add_option("--quoting", convert->quoting, "none, as-needed (default) or always")
      ->check(CLI::IsMember({"none", "as-needed", "always"}));
  convertCommand->add_option("--quote", convert->quote, "The quote character to write (default \")")->type_name("C");
  convertCommand
      ->add_option("--escape", convert->escape,
                   "The escape character written before special characters (default none); with --quoting none "
                   "fields holding the delimiter or a line break need one")
      ->type_name("C");
  convertCommand->callback([&context, convert] { context.action = [convert] { return runConvert(*convert); }; });
}

}  // namespace ut::tool
