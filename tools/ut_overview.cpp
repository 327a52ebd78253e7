// What `ut` prints when run without a command: where the store is, what it
// holds and how to go on. It only looks: a store that does not exist yet is
// not created.

#include "ut_tool.h"

#include <ut/ut.h>

#include <wx/filename.h>

#include <string>
#include <vector>

namespace ut::tool {

namespace {

struct Tally {
  std::size_t keys = 0;
  std::size_t values = 0;
};

// Counts the key itself, its values and its whole subtree.
void tally(const RegKey& key, Tally& t) {
  ++t.keys;
  t.values += key.valueCount();
  std::vector<wxString> names;
  key.getSubKeys(names);
  for (const auto& name : names) {
    RegKey child(key, name);
    if (child.open(eRead)) tally(child, t);
  }
}

wxString plural(std::size_t n, const wchar_t* word) { return std::to_wstring(n) + L" " + word + (n == 1 ? L"" : L"s"); }

void printHints() {
  printLine(L"");
  // Key paths are quoted so that every line pastes into a shell as it is.
  printLine(L"To go on, for example:");
  printLine(L"  ut reg query 'HKCU\\Software\\TVCAD' -s        list every key and value");
  printLine(L"  ut reg add 'HKCU\\Software\\TVCAD\\Test' -v Name -d 'some text'");
  printLine(L"  ut reg export 'HKCU\\Software\\TVCAD' backup.reg  save to a .reg file");
  printLine(L"  ut reg import backup.reg                      load a .reg file");
  printLine(L"  ut config show                                the configuration tree, typed");
  printLine(L"  ut sort names.txt                             lines in natural order (a9 before a10)");
  printLine(L"  ut --store FILE reg ...                       work on another store file");
  printLine(L"  ut --trace FILE reg ...                       write a trace of what the library does");
  printLine(L"  ut --help, ut reg --help, ut reg add --help   every command and option");
}

}  // namespace

int showOverview(const Context& context) {
  const TraceIndenter scope(eTraceSteps, "overview", kTraceArea);
  const wxString file = context.storeFile();
  trace(eTraceSteps, L"look at the store " + file);
  printLine(L"ut: the application's utility library from the command line, centred on its per-user registry store.");
  printLine(L"");
  printLine(L"Store file: " + file);
  if (!context.storeExists()) {
    trace(eTraceDetails, L"the store file does not exist; nothing is created");
    printLine(L"Status:     not created yet; the first change (e.g. \"ut reg add\" or \"ut reg import\") creates it.");
    printHints();
    return eExitOk;
  }
  wxFileName info(file);
  const wxULongLong size = info.GetSize();
  try {
    context.openStore();
  } catch (const OperationError& e) {
    printLine(L"Status:     unusable: " + fromUtf8(e.what()));
    printHints();
    return eExitFailed;
  }
  printLine(L"Status:     exists, " + wxFileName::GetHumanReadableSize(size) +
            wxString::Format(L", schema version %d", RegStore::schemaVersion()));

  const wxString company = wxString(L"Software\\") + kCompanyKey;
  RegKey root(eCurrentUser, company);
  const wxString rootName = L"HKEY_CURRENT_USER\\" + company;
  if (!root.open(eRead)) {
    printLine(rootName + L": empty");
    printHints();
    return eExitOk;
  }
  Tally total;
  trace(eTraceSteps, L"count the keys and values under " + rootName);
  tally(root, total);
  trace(eTraceDetails, wxString::Format(L"keys: %zu, values: %zu", total.keys, total.values));
  if (total.keys == 1 && total.values == 0) {
    printLine(rootName + L": empty");
  } else {
    printLine(rootName + L": " + plural(total.keys - 1, L"subkey") + L", " + plural(total.values, L"value"));
    std::vector<wxString> names;
    root.getSubKeys(names);
    for (const auto& name : names) {
      RegKey child(root, name);
      if (!child.open(eRead)) continue;
      Tally t;
      tally(child, t);
      printLine(L"  " + name + L"  (" + plural(t.keys - 1, L"subkey") + L", " + plural(t.values, L"value") + L")");
    }
  }
  printHints();
  return eExitOk;
}

}  // namespace ut::tool
