// `ut config ...`: the configuration tree as the library loads it, the
// registry export of configuration groups, and single entries read and
// written through the configuration facade.

#include "ut_tool.h"

#include <ut/ut.h>

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
  if (node.getULong(number)) return wxString::Format(L"%lu (0x%08lx, dword)", number, number);
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

int runShow(const Context& context, const std::string& pathArg) {
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
  printLine(registryName(path));
  printKey(*tree, L"  ");
  return eExitOk;
}

struct ExportOptions {
  std::string group;
  std::string file;
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

struct EntryOptions {
  std::string group;
  std::string entry;
  std::string value;
  std::string type = "string";
};

// Entries are served as the application serves them: profile groups from the
// current profile's tree (through a profile manager over the store), the
// others through the store directly; a change is flushed before the run ends.
class EntrySession {
 public:
  explicit EntrySession(const Context& context) {
    context.openStore();
    m_manager = std::make_unique<ProfileManagerBase>();
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
  const EntrySession session(context);
  const OdString entry(fromUtf8(o.entry).wc_str());
  switch (Config::entryType(group, entry)) {
    case eCfgTypeInteger: {
      long number = 0;
      if (Config::read(group, entry, number)) {
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
  const OdString entry(fromUtf8(o.entry).wc_str());
  const wxString value = fromUtf8(o.value);
  const EntrySession session(context);
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
  const EntrySession session(context);
  return session.flushed(Config::deleteEntry(group, OdString(fromUtf8(o.entry).wc_str())), "no entry " + o.entry);
}

}  // namespace

void addConfigCommands(CLI::App& app, Context& context) {
  CLI::App* config = app.add_subcommand("config", "The configuration tree: show keys, export groups");
  config->require_subcommand(1);

  auto path = std::make_shared<std::string>();
  CLI::App* s = config->add_subcommand("show", "Show a key below HKEY_CURRENT_USER\\Software\\TVCAD as a tree");
  s->add_option("PATH", *path, "The key below the company key, levels separated by / or \\ (default: all of it)");
  s->callback([&context, path] { context.action = [&context, path] { return runShow(context, *path); }; });

  auto exp = std::make_shared<ExportOptions>();
  CLI::App* e = config->add_subcommand("export", "Write a configuration group to a registry-export (.reg) file");
  e->add_option("GROUP", exp->group, "The group: its name (eCfgAddins or Addins) or its number (0 to 39)")->required();
  e->add_option("FILE", exp->file, "The file to write (replaced if it exists)")->required();
  e->callback([&context, exp] { context.action = [&context, exp] { return runExport(context, *exp); }; });

  const auto entryCommand = [&](const char* name, const char* help, bool withValue,
                                int (*run)(const Context&, const EntryOptions&)) {
    auto o = std::make_shared<EntryOptions>();
    CLI::App* c = config->add_subcommand(name, help);
    c->add_option("GROUP", o->group, "The group: its name (eCfgConfig or Config) or its number (0 to 39)")->required();
    c->add_option("ENTRY", o->entry, "The entry, relative to the group (a/b/name reaches into subgroups)")->required();
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
