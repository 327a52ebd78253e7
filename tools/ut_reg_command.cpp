// `ut reg ...`: the registry commands, after the verbs of the Windows reg tool.

#include "ut_command_report.h"
#include "ut_tool.h"

#include <ut/ut.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <vector>

namespace ut::tool {

namespace {

const wxString kDefaultName = L"(Default)";

struct TypeName {
  unsigned type;
  const wchar_t* name;
};
const TypeName kTypeNames[] = {
    {eRegNone, L"REG_NONE"},
    {eRegSz, L"REG_SZ"},
    {eRegExpandSz, L"REG_EXPAND_SZ"},
    {eRegBinary, L"REG_BINARY"},
    {eRegDword, L"REG_DWORD"},
    {5, L"REG_DWORD_BIG_ENDIAN"},
    {6, L"REG_LINK"},
    {eRegMultiSz, L"REG_MULTI_SZ"},
    {8, L"REG_RESOURCE_LIST"},
    {9, L"REG_FULL_RESOURCE_DESCRIPTOR"},
    {10, L"REG_RESOURCE_REQUIREMENTS_LIST"},
    {eRegQword, L"REG_QWORD"},
};

wxString typeName(unsigned type) {
  for (const auto& t : kTypeNames) {
    if (t.type == type) return t.name;
  }
  return wxString::Format(L"REG_0x%x", type);
}

wxString hexBytes(const std::vector<std::uint8_t>& data) {
  wxString out;
  out.reserve(2 * data.size());
  for (std::uint8_t b : data) out += wxString::Format(L"%02X", b);
  return out;
}

// The data column of a query line, as the reg tool shows it.
wxString formatData(const RegKey& key, const wxString& name, unsigned type, const std::vector<std::uint8_t>& raw) {
  wxString text;
  switch (type) {
    case eRegSz:
    case eRegExpandSz:
      if (key.queryValue(name, text)) return text;
      break;
    case eRegDword: {
      long value = 0;
      if (raw.size() == 4 && key.queryValue(name, value)) {
        return wxString::Format(L"0x%lx", static_cast<unsigned long>(value) & 0xFFFFFFFFul);
      }
      break;
    }
    case eRegQword: {
      std::int64_t value = 0;
      if (raw.size() == 8 && key.queryValue64(name, value)) {
        return wxString::Format(L"0x%llx", static_cast<unsigned long long>(value));
      }
      break;
    }
    case eRegMultiSz: {
      std::vector<wxString> parts;
      if (key.queryMultiString(name, parts)) {
        for (std::size_t i = 0; i < parts.size(); ++i) text += (i == 0 ? L"" : L"\\0") + parts[i];
        return text;
      }
      break;
    }
    default:
      break;
  }
  return hexBytes(raw);
}

void printValue(const RegKey& key, const wxString& name) {
  unsigned type = 0;
  std::vector<std::uint8_t> raw;
  if (!key.queryRawValue(name, type, raw)) return;
  printLine(L"    " + (name.empty() ? kDefaultName : name) + L"    " + typeName(type) + L"    " +
            formatData(key, name, type, raw));
}

[[noreturn]] void notFound(const wxString& what) {
  wxString why = RegStore::lastError();
  throw OperationError(toUtf8(why.empty() ? what : what + L" (" + why + L")"));
}

// The key must exist. A store file that does not exist yet holds no key and
// is not created by looking for one.
RegKey openExisting(const Context& context, const KeyArg& arg, EAccessMode mode = eRead) {
  if (!context.storeExists()) {
    throw OperationError(
        toUtf8(L"key not found: " + arg.fullName() + L" (the store " + context.storeFile() + L" does not exist yet)"));
  }
  context.openStore();
  trace(eTraceDetails, L"open the key " + arg.fullName());
  RegKey key(arg.root, arg.path);
  if (!key.open(mode)) notFound(L"key not found: " + arg.fullName());
  return key;
}

// --- query -------------------------------------------------------------------

struct QueryOptions {
  std::string key;
  std::string value;
  bool valueGiven = false;  // -v was on the command line, even as -v ""
  bool defaultValue = false;
  bool recursive = false;
  bool json = false;
};

// --- query --json: one object per key ------------------------------------------

nlohmann::json valueJson(const RegKey& key, const wxString& name) {
  unsigned type = 0;
  std::vector<std::uint8_t> raw;
  nlohmann::json v = {{"name", toUtf8(name)}};
  if (!key.queryRawValue(name, type, raw)) return v;
  v["type"] = toUtf8(typeName(type));
  wxString text;
  std::vector<wxString> parts;
  if ((type == eRegSz || type == eRegExpandSz) && key.queryValue(name, text)) {
    v["data"] = toUtf8(text);
  } else if ((type == eRegDword && raw.size() == 4) || (type == eRegQword && raw.size() == 8)) {
    std::uint64_t n = 0;
    for (std::size_t i = raw.size(); i-- > 0;) n = (n << 8) | raw[i];
    v["data"] = n;
  } else if (type == eRegMultiSz && key.queryMultiString(name, parts)) {
    v["data"] = nlohmann::json::array();
    for (const auto& part : parts) v["data"].push_back(toUtf8(part));
  } else {
    v["data"] = toUtf8(hexBytes(raw));  // binary and the rest: hexadecimal bytes
  }
  return v;
}

// A key with its values (only the one asked for, if any) and its subkeys'
// names; null when a value was asked for and the key has none of that name.
nlohmann::json keyJson(const RegKey& key, bool single, const wxString& wanted) {
  std::vector<wxString> names;
  key.getValueNames(names);
  nlohmann::json k = {{"key", toUtf8(key.fullName())}, {"values", nlohmann::json::array()}};
  for (const auto& name : names) {
    if (!single || name.IsSameAs(wanted, false)) k["values"].push_back(valueJson(key, name));
  }
  if (single && k["values"].empty()) return nullptr;
  std::vector<wxString> subkeys;
  key.getSubKeys(subkeys);
  k["subkeys"] = nlohmann::json::array();
  for (const auto& name : subkeys) k["subkeys"].push_back(toUtf8(name));
  return k;
}

void treeJson(const RegKey& key, const QueryOptions& o, bool single, const wxString& wanted, nlohmann::json& out) {
  nlohmann::json k = keyJson(key, single, wanted);
  if (!k.is_null()) out.push_back(std::move(k));
  if (!o.recursive) return;
  std::vector<wxString> subkeys;
  key.getSubKeys(subkeys);
  for (const auto& name : subkeys) {
    RegKey child(key, name);
    if (child.open(eRead)) treeJson(child, o, single, wanted, out);
  }
}

// Prints one key with its values; answers how many values matched.
std::size_t queryKey(const RegKey& key, const QueryOptions& o, bool onlyIfMatch) {
  std::vector<wxString> names;
  key.getValueNames(names);
  const bool single = o.valueGiven || o.defaultValue;
  const wxString wanted = o.defaultValue ? wxString() : fromUtf8(o.value);
  std::size_t matched = 0;
  if (single) {
    matched = key.hasValue(wanted) ? 1 : 0;
    if (matched == 0 && onlyIfMatch) return 0;
    printLine(key.fullName());
    if (matched != 0) {
      // Show the name as stored, whatever letter case was asked for.
      const auto stored =
          std::find_if(names.begin(), names.end(), [&wanted](const wxString& n) { return n.IsSameAs(wanted, false); });
      printValue(key, stored == names.end() ? wanted : *stored);
    }
  } else {
    printLine(key.fullName());
    for (const auto& name : names) printValue(key, name);
    matched = names.size();
  }
  printLine(wxString());
  return matched;
}

std::size_t queryTree(const RegKey& key, const QueryOptions& o) {
  std::size_t matched = queryKey(key, o, true);
  std::vector<wxString> subkeys;
  key.getSubKeys(subkeys);
  for (const auto& name : subkeys) {
    RegKey child(key, name);
    if (child.open(eRead)) matched += queryTree(child, o);
  }
  return matched;
}

int runQuery(const Context& context, const QueryOptions& o) {
  const TraceIndenter scope(eTraceSteps, "reg query", kTraceArea);
  const KeyArg arg = parseKeyArg(o.key);
  const RegKey key = openExisting(context, arg);
  const bool single = o.valueGiven || o.defaultValue;
  if (o.json) {
    // An array of keys, each with its values and subkey names.
    nlohmann::json out = nlohmann::json::array();
    treeJson(key, o, single, o.defaultValue ? wxString() : fromUtf8(o.value), out);
    if (single && out.empty()) throw OperationError("value not found under " + toUtf8(arg.fullName()));
    std::cout << out.dump(2) << '\n';
    return eExitOk;
  }
  if (o.recursive) {
    trace(eTraceSteps, L"query " + arg.fullName() + L" and its subkeys");
    const std::size_t matched = queryTree(key, o);
    trace(eTraceDetails, wxString::Format(L"values shown: %zu", matched));
    if (single && matched == 0) throw OperationError("value not found under " + toUtf8(arg.fullName()));
    return eExitOk;
  }
  if (single && !key.hasValue(o.defaultValue ? wxString() : fromUtf8(o.value))) {
    throw OperationError("value not found: " + toUtf8(arg.fullName()) + " " +
                         (o.defaultValue ? std::string("(Default)") : "\"" + o.value + "\""));
  }
  trace(eTraceSteps, L"query " + arg.fullName());
  const std::size_t shown = queryKey(key, o, false);
  trace(eTraceDetails, wxString::Format(L"values shown: %zu", shown));
  if (!single) {
    std::vector<wxString> subkeys;
    key.getSubKeys(subkeys);
    trace(eTraceDetails, wxString::Format(L"subkeys listed: %zu", subkeys.size()));
    for (const auto& name : subkeys) printLine(arg.fullName() + L"\\" + name);
  }
  return eExitOk;
}

// --- add ---------------------------------------------------------------------

struct AddOptions {
  std::string key;
  std::string value;
  bool valueGiven = false;
  bool defaultValue = false;
  std::string type = "REG_SZ";
  std::string data;
  bool typeOrDataGiven = false;  // -t or -d was on the command line
  bool force = false;
};

unsigned parseType(const std::string& text) {
  const wxString upper = fromUtf8(text).Upper();
  for (const unsigned type : {eRegSz, eRegExpandSz, eRegMultiSz, eRegDword, eRegQword, eRegBinary, eRegNone}) {
    if (upper == typeName(type)) return type;
  }
  throw UsageError("bad type \"" + text +
                   "\" (use REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD, REG_BINARY or REG_NONE)");
}

// Decimal or 0x-prefixed hexadecimal, within max.
std::uint64_t parseNumber(const std::string& text, std::uint64_t max, const char* typeLabel) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  std::uint64_t value = 0;
  bool ok = !digits.empty();
  for (char c : digits) {
    int d = -1;
    if (c >= '0' && c <= '9') d = c - '0';
    if (hex && c >= 'a' && c <= 'f') d = c - 'a' + 10;
    if (hex && c >= 'A' && c <= 'F') d = c - 'A' + 10;
    const unsigned base = hex ? 16 : 10;
    if (d < 0 || value > (max - static_cast<unsigned>(d)) / base) {
      ok = false;
      break;
    }
    value = value * base + static_cast<unsigned>(d);
  }
  if (!ok) {
    throw UsageError("bad " + std::string(typeLabel) + " data \"" + text +
                     "\" (a decimal number or 0x followed by hexadecimal digits, at most " + std::to_string(max) + ")");
  }
  return value;
}

wxMemoryBuffer parseHexData(const std::string& text) {
  wxMemoryBuffer buf;
  const auto digit = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (text.size() % 2 != 0) throw UsageError("bad binary data \"" + text + "\" (an even number of hex digits)");
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int hi = digit(text[i]);
    const int lo = digit(text[i + 1]);
    if (hi < 0 || lo < 0) throw UsageError("bad binary data \"" + text + "\" (hexadecimal digits only)");
    buf.AppendByte(static_cast<char>(hi * 16 + lo));
  }
  return buf;
}

// The command line's "\0" separates the strings of a REG_MULTI_SZ value.
std::vector<wxString> splitMulti(const wxString& text) {
  std::vector<wxString> parts;
  if (text.empty()) return parts;
  wxString rest = text;
  for (;;) {
    const int at = rest.Find(L"\\0");
    if (at == wxNOT_FOUND) break;
    parts.push_back(rest.Left(static_cast<size_t>(at)));
    rest = rest.Mid(static_cast<size_t>(at) + 2);
  }
  parts.push_back(rest);
  if (std::find(parts.begin(), parts.end(), wxString()) != parts.end()) {
    throw UsageError("bad REG_MULTI_SZ data: empty string between \"\\0\" separators");
  }
  return parts;
}

int runAdd(const Context& context, const AddOptions& o) {
  const TraceIndenter scope(eTraceSteps, "reg add", kTraceArea);
  const KeyArg arg = parseKeyArg(o.key);
  const bool hasValue = o.valueGiven || o.defaultValue;
  // Data without a value name would have nowhere to go: it is never
  // dropped in silence, nor written to the default value by guesswork.
  if (o.typeOrDataGiven && !hasValue) throw UsageError("-t and -d need the value they are for: -v NAME or --ve");
  const unsigned type = parseType(o.type);
  const wxString name = o.defaultValue ? wxString() : fromUtf8(o.value);
  const wxString data = fromUtf8(o.data);
  // Everything is checked before the store is touched.
  std::uint64_t number = 0;
  wxMemoryBuffer bytes;
  std::vector<wxString> strings;
  if (type == eRegDword) number = parseNumber(o.data, 0xFFFFFFFFull, "REG_DWORD");
  if (type == eRegQword) number = parseNumber(o.data, ~0ull, "REG_QWORD");
  if (type == eRegBinary || type == eRegNone) bytes = parseHexData(o.data);
  if (type == eRegMultiSz) strings = splitMulti(data);

  context.openStore();
  trace(eTraceSteps, L"create or open the key " + arg.fullName());
  RegKey key(arg.root, arg.path);
  if (!key.create()) notFound(L"cannot create key " + arg.fullName());
  if (!hasValue) return eExitOk;
  if (key.hasValue(name) &&
      !confirm(L"Value " + (name.empty() ? kDefaultName : name) + L" exists, overwrite?", o.force, "-f")) {
    return eExitFailed;
  }
  trace(eTraceSteps, L"write the value " + (name.empty() ? kDefaultName : name) + L" as " + typeName(type));
  bool ok = false;
  switch (type) {
    case eRegSz:
      ok = key.setValue(name, data);
      break;
    case eRegExpandSz:
      ok = key.setExpandString(name, data);
      break;
    case eRegMultiSz:
      ok = key.setMultiString(name, strings);
      break;
    case eRegDword:
      ok = key.setValue(name, static_cast<long>(number));
      break;
    case eRegQword:
      ok = key.setValue64(name, static_cast<std::int64_t>(number));
      break;
    default:
      ok = key.setRawValue(name, type, bytes.GetData(), bytes.GetDataLen());
      break;
  }
  if (!ok) notFound(L"cannot write the value");
  return eExitOk;
}

// --- delete ------------------------------------------------------------------

struct DeleteOptions {
  std::string key;
  std::string value;
  bool valueGiven = false;  // -v "" names the empty-named value, never the key
  bool defaultValue = false;
  bool allValues = false;
  bool force = false;
};

int runDelete(const Context& context, const DeleteOptions& o) {
  const TraceIndenter scope(eTraceSteps, "reg delete", kTraceArea);
  const KeyArg arg = parseKeyArg(o.key);
  RegKey key = openExisting(context, arg, eWrite);
  if (o.valueGiven || o.defaultValue) {
    const wxString name = o.defaultValue ? wxString() : fromUtf8(o.value);
    if (!key.hasValue(name)) notFound(L"value not found: " + (name.empty() ? kDefaultName : name));
    if (!confirm(L"Delete the registry value " + (name.empty() ? kDefaultName : name) + L"?", o.force, "-f")) {
      return eExitFailed;
    }
    trace(eTraceSteps, L"delete the value " + (name.empty() ? kDefaultName : name));
    if (!key.deleteValue(name)) notFound(L"cannot delete the value");
    return eExitOk;
  }
  if (o.allValues) {
    if (!confirm(L"Delete all values of " + arg.fullName() + L"?", o.force, "-f")) return eExitFailed;
    std::vector<wxString> names;
    key.getValueNames(names);
    trace(eTraceSteps, wxString::Format(L"delete all %zu values in one transaction", names.size()));
    RegTransaction transaction;
    for (const auto& name : names) {
      if (!key.deleteValue(name)) notFound(L"cannot delete the value " + name);
    }
    if (!transaction.commit()) notFound(L"cannot delete the values");
    return eExitOk;
  }
  if (arg.path.empty()) throw UsageError("a root key cannot be deleted");
  if (!confirm(L"Permanently delete the registry key " + arg.fullName() + L"?", o.force, "-f")) return eExitFailed;
  trace(eTraceSteps, L"delete the key " + arg.fullName() + L" with its subkeys");
  if (!key.deleteSelf()) notFound(L"cannot delete " + arg.fullName());
  return eExitOk;
}

// --- export, import, copy ------------------------------------------------------

struct ExportOptions {
  std::string key;
  std::string file;
  bool yes = false;
};

int runExport(const Context& context, const ExportOptions& o) {
  const TraceIndenter scope(eTraceSteps, "reg export", kTraceArea);
  const KeyArg arg = parseKeyArg(o.key);
  openExisting(context, arg);
  StdioFile stdio;
  const wxString file = stdio.output(o.file);
  if (o.file != "-" && wxFileExists(file) && !confirm(L"File " + file + L" exists, overwrite?", o.yes, "-f")) {
    return eExitFailed;
  }
  trace(eTraceSteps, L"export " + arg.fullName() + L" to " + file);
  CommandReport report("reg export");
  ProgressBar bar;
  const bool ok = runLongStep(
      bar, report, L"Exporting " + arg.fullName(), [&] { return Registry::exportKey(arg.fullName(), file, true); },
      file);
  trace(eTraceDetails, ok ? L"exported" : L"export failed");
  if (!ok) report.addError(L"cannot export " + arg.fullName() + L" to " + file);
  if (ok) stdio.finish();
  return report.finish();
}

int runImport(const Context& context, const std::string& file) {
  const TraceIndenter scope(eTraceSteps, "reg import", kTraceArea);
  StdioFile stdio;
  const wxString name = stdio.input(file);
  if (!wxFileExists(name)) throw OperationError("file not found: " + file);
  context.openStore();
  trace(eTraceSteps, L"import " + name);
  CommandReport report("reg import");
  ProgressBar bar;
  const bool ok = runLongStep(
      bar, report, L"Importing " + name, [&] { return Registry::importKey(name, true); }, name);
  trace(eTraceDetails, ok ? L"imported" : L"import failed");
  if (!ok) report.addError(L"not everything in " + name + L" was imported");
  return report.finish();
}

struct CopyOptions {
  std::string from;
  std::string to;
  bool recursive = false;
  bool force = false;
};

int runCopy(const Context& context, const CopyOptions& o) {
  const TraceIndenter scope(eTraceSteps, "reg copy", kTraceArea);
  const KeyArg from = parseKeyArg(o.from);
  const KeyArg to = parseKeyArg(o.to);
  openExisting(context, from);
  if (RegKey(to.root, to.path).exists() &&
      !confirm(L"Key " + to.fullName() + L" exists, overwrite its values?", o.force, "-f")) {
    return eExitFailed;
  }
  trace(eTraceSteps, L"copy " + from.fullName() + L" to " + to.fullName() + (o.recursive ? L" with its subkeys" : L""));
  if (!Registry::copyKey(from.root, to.root, from.path, to.path, o.recursive)) {
    notFound(L"cannot copy " + from.fullName() + L" to " + to.fullName());
  }
  return eExitOk;
}

// --- check -------------------------------------------------------------------

int runCheck(const Context& context) {
  const TraceIndenter scope(eTraceSteps, "reg check", kTraceArea);
  if (!context.storeExists()) {
    throw OperationError(toUtf8(L"the store " + context.storeFile() + L" does not exist yet: nothing to check"));
  }
  context.openStore();
  std::vector<wxString> problems;
  if (RegStore::check(&problems)) {
    printLine(L"The store " + context.storeFile() + L" is sound.");
    return eExitOk;
  }
  if (problems.empty()) notFound(L"cannot check the store " + context.storeFile());
  for (const auto& problem : problems) printLine(problem);
  throw OperationError(toUtf8(
      wxString::Format(L"the store %s is damaged (%zu problems shown): restore it from the last export, see the README",
                       context.storeFile(), problems.size())));
}

// Adds the value selectors -v NAME | --ve; answers the -v option, whose
// count() tells whether it was given (an empty NAME is a name too).
CLI::Option* addValueSelectors(CLI::App* cmd, std::string& value, bool& defaultValue, const char* valueHelp) {
  auto* v = cmd->add_option("-v", value, valueHelp)->type_name("NAME");
  auto* ve = cmd->add_flag("--ve", defaultValue, "The default (unnamed) value");
  v->excludes(ve);
  return v;
}

}  // namespace

void addRegCommands(CLI::App& app, Context& context) {
  CLI::App* reg =
      app.add_subcommand("reg", "Registry keys and values: query, add, delete, export, import, copy, check");
  reg->require_subcommand(1);
  const char* keyHelp =
      "ROOT\\path, ROOT being HKEY_CURRENT_USER (HKCU), HKEY_LOCAL_MACHINE (HKLM), "
      "HKEY_CLASSES_ROOT (HKCR), HKEY_USERS (HKU) or HKEY_CURRENT_CONFIG (HKCC)";

  auto query = std::make_shared<QueryOptions>();
  CLI::App* q = reg->add_subcommand("query", "Show a key's values and subkeys");
  q->add_option("KEY", query->key, keyHelp)->required();
  CLI::Option* qv = addValueSelectors(q, query->value, query->defaultValue, "Only this value");
  q->add_flag("-s", query->recursive, "All subkeys too, recursively");
  q->add_flag("--json", query->json,
              "Print a JSON array of keys: {key, values: [{name, type, data}], subkeys: [names]}; data is text, "
              "a number, an array of strings (REG_MULTI_SZ) or hexadecimal bytes");
  q->callback([&context, query, qv] {
    query->valueGiven = qv->count() > 0;
    context.action = [&context, query] { return runQuery(context, *query); };
  });

  auto add = std::make_shared<AddOptions>();
  CLI::App* a = reg->add_subcommand("add", "Create a key, or write a value into it (creating the key)");
  a->add_option("KEY", add->key, keyHelp)->required();
  CLI::Option* av = addValueSelectors(a, add->value, add->defaultValue, "The value to write");
  CLI::Option* at =
      a->add_option("-t", add->type,
                    "Type: REG_SZ (default), REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD, REG_BINARY, REG_NONE")
          ->type_name("TYPE");
  CLI::Option* ad =
      a->add_option("-d", add->data,
                    "Data: text; a decimal or 0x-hexadecimal number for REG_DWORD and REG_QWORD; hex digits for "
                    "REG_BINARY and REG_NONE; strings separated by \\0 for REG_MULTI_SZ")
          ->type_name("DATA");
  a->add_flag("-f", add->force, "Overwrite an existing value without asking");
  a->callback([&context, add, av, at, ad] {
    add->valueGiven = av->count() > 0;
    add->typeOrDataGiven = at->count() > 0 || ad->count() > 0;
    context.action = [&context, add] { return runAdd(context, *add); };
  });

  auto del = std::make_shared<DeleteOptions>();
  CLI::App* d = reg->add_subcommand("delete", "Delete a key with its subkeys, or values of a key");
  d->add_option("KEY", del->key, keyHelp)->required();
  auto* dv = d->add_option("-v", del->value, "Delete only this value")->type_name("NAME");
  auto* dve = d->add_flag("--ve", del->defaultValue, "Delete only the default (unnamed) value");
  auto* dva = d->add_flag("--va", del->allValues, "Delete all values of the key, keeping the key");
  dv->excludes(dve)->excludes(dva);
  dve->excludes(dva);
  d->add_flag("-f", del->force, "Delete without asking");
  d->callback([&context, del, dv] {
    del->valueGiven = dv->count() > 0;
    context.action = [&context, del] { return runDelete(context, *del); };
  });

  auto exp = std::make_shared<ExportOptions>();
  CLI::App* e = reg->add_subcommand("export", "Write a key and its subkeys to a registry-export (.reg) file");
  e->add_option("KEY", exp->key, keyHelp)->required();
  e->add_option("FILE", exp->file, "The file to write; - for standard output")->required();
  e->add_flag("-f,-y", exp->yes, "Overwrite an existing file without asking");
  e->callback([&context, exp] { context.action = [&context, exp] { return runExport(context, *exp); }; });

  auto imp = std::make_shared<std::string>();
  CLI::App* i = reg->add_subcommand("import", "Read a registry-export (.reg) file into the store");
  i->add_option("FILE", *imp, "The file to read (UTF-16 or UTF-8); - for standard input")->required();
  i->callback([&context, imp] { context.action = [&context, imp] { return runImport(context, *imp); }; });

  CLI::App* k = reg->add_subcommand(
      "check", "Check the whole store file for damage: exit status 1 and what was found when it is damaged");
  k->callback([&context] { context.action = [&context] { return runCheck(context); }; });

  auto copy = std::make_shared<CopyOptions>();
  CLI::App* c = reg->add_subcommand("copy", "Copy a key's values (and with -s its subkeys) to another key");
  c->add_option("KEY1", copy->from, "The key to copy")->required();
  c->add_option("KEY2", copy->to, "The destination key (created if missing)")->required();
  c->add_flag("-s", copy->recursive, "All subkeys too");
  c->add_flag("-f", copy->force, "Overwrite values of an existing destination without asking");
  c->callback([&context, copy] { context.action = [&context, copy] { return runCopy(context, *copy); }; });
}

}  // namespace ut::tool
