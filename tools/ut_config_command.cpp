// `ut config ...`: the configuration tree as the library loads it, and the
// registry export of configuration groups.

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
    throw UsageError("unknown configuration group \"" + o.group + "\" (a name such as eCfgAddins or Addins, or a "
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
  e->add_option("GROUP", exp->group, "The group: its name (eCfgAddins or Addins) or its number (0 to 39)")
      ->required();
  e->add_option("FILE", exp->file, "The file to write (replaced if it exists)")->required();
  e->callback([&context, exp] { context.action = [&context, exp] { return runExport(context, *exp); }; });
}

}  // namespace ut::tool
