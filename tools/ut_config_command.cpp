// `ut config ...`: the configuration tree as the library loads it, the
// registry export of configuration groups, and single entries read and
// written through the configuration facade.

#include "ut_tool.h"

#include <ut/ut.h>

#include <wx/filefn.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

namespace ut::tool {

namespace {

// "A/B/" or "A/B/x" below a container path "A/": the last level's name.
wxString leafName(const ConfigNodeBase& node) {
  wxString path(node.path().c_str());
  if (path.EndsWith(L"/")) path.RemoveLast();
  return path.AfterLast(L'/');
}

// A value as the tree holds it: numbers in decimal and hexadecimal, text
// quoted with its quotes, backslashes and line breaks escaped.
wxString valueText(const ConfigNodeBase& node) {
  unsigned long number = 0;
  OdString text;
  // The decimal form is the one `config get` prints and `config set --type
  // long` takes: the stored 32 bits read as a signed number.
  if (node.getULong(number)) {
    const long asRead = static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
    return wxString::Format(L"%ld (0x%08lx, dword)", asRead, number & 0xFFFFFFFFul);
  }
  if (!node.getString(text)) return L"(no value)";
  wxString quoted = L"\"";
  for (const wchar_t c : std::wstring(text.c_str())) {
    switch (c) {
      case L'\\':
        quoted += L"\\\\";
        break;
      case L'"':
        quoted += L"\\\"";
        break;
      case L'\n':
        quoted += L"\\n";
        break;
      case L'\r':
        quoted += L"\\r";
        break;
      case L'\t':
        quoted += L"\\t";
        break;
      default:
        quoted += c;
    }
  }
  return quoted + L"\" (string)";
}

// Values first, then subkeys, each in the tree's order.
void printKey(const ConfigNodeBase& key, const wxString& indent) {
  if (key.type() == ConfigValBase::kULong || key.type() == ConfigValBase::kString) {
    printLine(indent + L"(Default) = " + valueText(key));
  }
  for (const auto& child : key.children()) {
    if (!child->isContainerNode()) printLine(indent + leafName(*child) + L" = " + valueText(*child));
  }
  for (const auto& child : key.children()) {
    if (!child->isContainerNode()) continue;
    printLine(indent + leafName(*child) + L"\\");
    printKey(*child, indent + L"  ");
  }
}

// A key path below the company key, "/" or "\" between levels.
wxString configPath(const std::string& text) {
  wxString path = fromUtf8(text);
  path.Replace(L"\\", L"/");
  while (path.StartsWith(L"/")) path.Remove(0, 1);
  while (path.EndsWith(L"/")) path.RemoveLast();
  if (path.Find(L"//") != wxNOT_FOUND) throw UsageError("empty key name in \"" + text + "\"");
  return L"/" + path + (path.empty() ? L"" : L"/");
}

wxString registryName(const wxString& path) {
  wxString name = L"HKEY_CURRENT_USER\\" + wxString(Config::companyRoot(eCfgPathRegistry).c_str()) + path;
  name.Replace(L"/", L"\\");
  if (name.EndsWith(L"\\")) name.RemoveLast();
  return name;
}

int printJson(const nlohmann::json& value) {
  std::cout << value.dump(2) << '\n';
  return eExitOk;
}

// A node's value for JSON: the number as `config get` prints it, the text,
// or null for no value.
nlohmann::json valueJson(const ConfigNodeBase& node) {
  unsigned long number = 0;
  OdString text;
  if (node.getULong(number)) return static_cast<long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(number)));
  if (node.getString(text)) return toUtf8(text.c_str());
  return nullptr;
}

// {"default": value?, "values": {name: value}, "keys": {name: {...}}}, in
// the tree's order.
nlohmann::json keyJson(const ConfigNodeBase& key) {
  nlohmann::json out = nlohmann::json::object();
  if (key.type() == ConfigValBase::kULong || key.type() == ConfigValBase::kString) out["default"] = valueJson(key);
  nlohmann::json values = nlohmann::json::object();
  nlohmann::json keys = nlohmann::json::object();
  for (const auto& child : key.children()) {
    const std::string name = toUtf8(leafName(*child));
    if (child->isContainerNode()) {
      keys[name] = keyJson(*child);
    } else {
      values[name] = valueJson(*child);
    }
  }
  out["values"] = std::move(values);
  out["keys"] = std::move(keys);
  return out;
}

int runShow(const Context& context, const std::string& pathArg, bool json) {
  const wxString path = configPath(pathArg);
  if (!context.storeExists()) {
    throw OperationError(toUtf8(L"key not found: " + registryName(path) + L" (the store " + context.storeFile() +
                                L" does not exist yet)"));
  }
  context.openStore();
  ConfigRegistryStorage storage(OdString(path.wc_str()));
  if (storage.rootPath().isEmpty()) throw UsageError("not a key path: \"" + pathArg + "\"");
  const ConfigNodePtr tree = ConfigNode::createNode(OdString());
  if (!storage.rootExists() || !storage.load(tree, true)) {
    throw OperationError(toUtf8(L"key not found: " + registryName(path)));
  }
  if (json) {
    nlohmann::json out = keyJson(*tree);
    out["key"] = toUtf8(registryName(path));
    return printJson(out);
  }
  printLine(registryName(path));
  printKey(*tree, L"  ");
  return eExitOk;
}

struct ExportOptions {
  std::string group;
  std::string file;
  bool force = false;
};

int runExport(const Context& context, const ExportOptions& o) {
  ECfgGroup group = eCfgRoot;
  if (!parseCfgGroup(OdString(fromUtf8(o.group).wc_str()), group)) {
    throw UsageError("unknown configuration group \"" + o.group +
                     "\" (a name such as eCfgAddins or Addins, or a "
                     "number from 0 to 39)");
  }
  // The key paths depend on what the store records (the language, the
  // current profile), so the store is bound first; a read never creates it.
  if (!context.storeExists()) {
    throw OperationError(toUtf8(L"the store " + context.storeFile() + L" does not exist yet"));
  }
  context.openStore();
  // Groups without a key path are refused here with the library's message.
  const OdString keyPath = Config::regPath(group);
  if (keyPath.isEmpty()) return eExitFailed;
  const wxString file = fromUtf8(o.file);
  if (wxFileExists(file) && !confirm(L"File " + file + L" exists, overwrite?", o.force, "-f")) return eExitFailed;
  return exportConfigGroup(keyPath, OdString(fromUtf8(o.file).wc_str()), true) ? eExitOk : eExitFailed;
}

ECfgGroup groupArg(const std::string& text) {
  ECfgGroup group = eCfgRoot;
  if (!parseCfgGroup(OdString(fromUtf8(text).wc_str()), group)) {
    throw UsageError("unknown configuration group \"" + text +
                     "\" (a name such as eCfgAddins or Addins, or a "
                     "number from 0 to 39)");
  }
  return group;
}

// An entry relative to its group: "/"-separated levels, none of them "."
// or "..", which would step out of the group rather than name something.
OdString entryArg(const std::string& text) {
  const wxString entry = fromUtf8(text);
  for (const auto& level : wxSplit(entry, L'/', L'\0')) {
    if (level == L"." || level == L"..") {
      throw UsageError("\"" + text + "\": \".\" and \"..\" are not entry names");
    }
  }
  return OdString(entry.wc_str());
}

struct EntryOptions {
  std::string group;
  std::string entry;
  std::string value;
  std::string type = "string";
  bool json = false;
};

// Entries are served as the application serves them: profile groups from the
// current profile's tree (through a profile manager over the store), the
// others through the store directly; a change is flushed before the run ends.
class EntrySession {
 public:
  EntrySession(const Context& context, ECfgGroup group) {
    context.openStore();
    m_manager = std::make_unique<ProfileManagerBase>();
    // Without a current profile a profile group has no key to serve; the
    // facade would make one up under a default name.
    if (isProfileGroup(group) && !m_manager->currentProfile()) {
      throw OperationError(
          "no current profile: select one with \"ut profile use NAME\" (\"ut profile list\" shows them)");
    }
  }
  int flushed(bool ok, const std::string& what) const {
    if (!ok) throw OperationError(what);
    if (!Config::flush()) throw OperationError("could not write the change to the store");
    return eExitOk;
  }

 private:
  std::unique_ptr<ProfileManagerBase> m_manager;
};

int runGet(const Context& context, const EntryOptions& o) {
  const ECfgGroup group = groupArg(o.group);
  if (!context.storeExists()) {
    throw OperationError(toUtf8(L"the store " + context.storeFile() + L" does not exist yet"));
  }
  const EntrySession session(context, group);
  const OdString entry = entryArg(o.entry);
  switch (Config::entryType(group, entry)) {
    case eCfgTypeInteger: {
      long number = 0;
      if (Config::read(group, entry, number)) {
        if (o.json) return printJson({{"entry", o.entry}, {"type", "number"}, {"value", number}});
        printLine(wxString::Format(L"%ld", number));
        return eExitOk;
      }
      break;
    }
    case eCfgTypeUnknown:
      break;
    default: {
      OdString text;
      if (Config::read(group, entry, text)) {
        if (o.json) return printJson({{"entry", o.entry}, {"type", "string"}, {"value", toUtf8(text.c_str())}});
        printLine(wxString(text.c_str()));
        return eExitOk;
      }
      break;
    }
  }
  const std::string where = o.entry + " in " + toUtf8(wxString(cfgGroupName(group).c_str()));
  // Binary data and the like are kept in a profile but are no setting the
  // facade can read; "ut reg query" shows them.
  if (Config::hasEntry(group, entry)) throw OperationError("entry " + where + " holds no number or text");
  throw OperationError("no entry " + where);
}

int runSet(const Context& context, const EntryOptions& o) {
  const ECfgGroup group = groupArg(o.group);
  const OdString entry = entryArg(o.entry);
  const wxString value = fromUtf8(o.value);
  const EntrySession session(context, group);
  bool ok = false;
  if (o.type == "string") {
    ok = Config::writeString(group, entry, OdString(value.wc_str()));
  } else if (o.type == "long") {
    long number = 0;
    if (!value.ToLong(&number)) throw UsageError("not a whole number: \"" + o.value + "\"");
    ok = Config::writeLong(group, entry, number);
  } else if (o.type == "bool") {
    if (value != L"0" && value != L"1" && value != L"true" && value != L"false") {
      throw UsageError("not a boolean (0, 1, true, false): \"" + o.value + "\"");
    }
    ok = Config::writeBool(group, entry, value == L"1" || value == L"true");
  } else if (o.type == "double") {
    double number = 0;
    if (!value.ToCDouble(&number)) throw UsageError("not a number: \"" + o.value + "\"");
    ok = Config::writeDouble(group, entry, number);
  }
  return session.flushed(ok, "cannot write " + o.entry);
}

int runDelete(const Context& context, const EntryOptions& o) {
  const ECfgGroup group = groupArg(o.group);
  const EntrySession session(context, group);
  return session.flushed(Config::deleteEntry(group, entryArg(o.entry)), "no entry " + o.entry);
}

}  // namespace

void addConfigCommands(CLI::App& app, Context& context) {
  CLI::App* config = app.add_subcommand("config", "The configuration tree: show keys, export groups");
  config->require_subcommand(1);

  auto path = std::make_shared<std::string>();
  CLI::App* s = config->add_subcommand("show", "Show a key below HKEY_CURRENT_USER\\Software\\TVCAD as a tree");
  s->add_option("PATH", *path, "The key below the company key, levels separated by / or \\ (default: all of it)");
  auto showJson = std::make_shared<bool>(false);
  s->add_flag("--json", *showJson, "Print JSON: {key, default, values: {name: value}, keys: {name: {...}}}");
  s->callback([&context, path, showJson] {
    context.action = [&context, path, showJson] { return runShow(context, *path, *showJson); };
  });

  auto exp = std::make_shared<ExportOptions>();
  CLI::App* e = config->add_subcommand("export", "Write a configuration group to a registry-export (.reg) file");
  e->add_option("GROUP", exp->group, "The group: its name (eCfgAddins or Addins) or its number (0 to 39)")->required();
  e->add_option("FILE", exp->file, "The file to write")->required();
  e->add_flag("-f", exp->force, "Overwrite an existing file without asking");
  e->callback([&context, exp] { context.action = [&context, exp] { return runExport(context, *exp); }; });

  const auto entryCommand = [&](const char* name, const char* help, bool withValue,
                                int (*run)(const Context&, const EntryOptions&)) {
    auto o = std::make_shared<EntryOptions>();
    CLI::App* c = config->add_subcommand(name, help);
    c->add_option("GROUP", o->group, "The group: its name (eCfgConfig or Config) or its number (0 to 39)")->required();
    c->add_option("ENTRY", o->entry, "The entry, relative to the group (a/b/name reaches into subgroups)")->required();
    if (run == runGet) c->add_flag("--json", o->json, "Print JSON: {entry, type (number or string), value}");
    if (withValue) {
      c->add_option("VALUE", o->value, "The value")->required();
      c->add_option("--type", o->type, "How the value is stored: string (default), long, bool or double")
          ->check(CLI::IsMember({"string", "long", "bool", "double"}));
    }
    c->callback([&context, o, run] { context.action = [&context, o, run] { return run(context, *o); }; });
  };
  entryCommand("get", "Print an entry of a configuration group", false, runGet);
  entryCommand("set", "Write an entry of a configuration group", true, runSet);
  entryCommand("delete", "Delete an entry of a configuration group", false, runDelete);
}

}  // namespace ut::tool
