// `ut profile ...`: the user profiles of the store, through the profile
// manager. Every command that changes something ends with a flush, so that
// the change lasts beyond the run.

#include "ut_command_report.h"
#include "ut_tool.h"

#include <ut/ut.h>

#include <wx/arrstr.h>
#include <wx/filefn.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace ut::tool {

namespace {

struct ProfileArgs {
  std::string first;
  std::string second;
  std::string description;
  bool hasDescription = false;
  bool force = false;
};

OdString od(const std::string& text) { return OdString(fromUtf8(text).wc_str()); }

// The manager over the store for one run; a change is flushed before the
// run ends.
class Session {
 public:
  explicit Session(const Context& context) {
    context.openStore();
    m_manager = std::make_unique<ProfileManagerBase>();
  }
  ProfileManagerBase& manager() { return *m_manager; }

  int finish(bool ok, const std::string& what) {
    if (!ok) throw OperationError(what);
    if (!Config::flush()) throw OperationError("could not write the profiles to the store");
    return eExitOk;
  }

 private:
  std::unique_ptr<ProfileManagerBase> m_manager;
};

int runList(const Context& context, bool json) {
  Session session(context);
  OdArray<OdString> names;
  session.manager().getProfileNames(names);
  const OdString current = session.manager().currentProfileName();
  if (json) {
    // [{name, current, description}], in the tree's order.
    nlohmann::json out = nlohmann::json::array();
    for (unsigned i = 0; i < names.size(); ++i) {
      const wxString name(names[i].c_str());
      out.push_back({{"name", toUtf8(name)},
                     {"current", names[i].iCompare(current) == 0},
                     {"description", toUtf8(getProfileDescription(name))}});
    }
    std::cout << out.dump(2) << '\n';
    return eExitOk;
  }
  for (unsigned i = 0; i < names.size(); ++i) {
    const wxString description = getProfileDescription(wxString(names[i].c_str()));
    wxString line = (names[i].iCompare(current) == 0 ? L"* " : L"  ") + wxString(names[i].c_str());
    if (!description.empty()) line += L"  (" + description + L")";
    printLine(line);
  }
  return eExitOk;
}

int runCurrent(const Context& context) {
  Session session(context);
  const OdString name = session.manager().currentProfileName();
  if (name.isEmpty()) throw OperationError("no current profile");
  printLine(wxString(name.c_str()));
  return eExitOk;
}

int runAction(const Context& context, const std::string& command, const ProfileArgs& a) {
  Session session(context);
  ProfileManagerBase& m = session.manager();
  const wxString first = fromUtf8(a.first);
  const wxString second = fromUtf8(a.second);
  if (command == "use") return session.finish(m.setCurrentProfile(od(a.first), true), "cannot select " + a.first);
  if (command == "create") {
    return session.finish(createProfile(first, fromUtf8(a.description)), "a profile " + a.first + " exists already");
  }
  if (command == "copy") {
    if (!profileExists(first)) throw OperationError("no profile " + a.first);
    if (profileExists(second) && !confirm(L"Profile " + second + L" exists, replace it?", a.force, "-f")) {
      return eExitFailed;
    }
    return session.finish(m.copyProfile(od(a.first), od(a.second)), "copy failed");
  }
  if (command == "rename") {
    return session.finish(renameProfile(first, second), "cannot rename " + a.first + " to " + a.second);
  }
  if (command == "reset") return session.finish(m.resetProfile(od(a.first)), "no profile " + a.first);
  if (command == "delete") {
    if (!profileExists(first)) throw OperationError("no profile " + a.first);
    return session.finish(m.deleteProfile(od(a.first)), "cannot delete " + a.first);
  }
  if (command == "describe") {
    if (!a.hasDescription) {
      if (!profileExists(first)) throw OperationError("no profile " + a.first);
      printLine(getProfileDescription(first));
      return eExitOk;
    }
    return session.finish(setProfileDescription(first, fromUtf8(a.description)), "no profile " + a.first);
  }
  if (command == "export") {
    if (!profileExists(first)) throw OperationError("no profile " + a.first);
    StdioFile stdio;
    const wxString file = stdio.output(a.second);
    if (a.second != "-" && wxFileExists(file) && !confirm(L"File " + file + L" exists, overwrite?", a.force, "-f")) {
      return eExitFailed;
    }
    CommandReport report("profile export");
    ProgressBar bar;
    if (!runLongStep(
            bar, report, L"Exporting " + first, [&] { return exportProfile(first, file); }, file))
      report.addError(L"cannot write " + second);
    else
      stdio.finish();
    return report.finish();
  }
  if (command == "import") {
    StdioFile stdio;
    const wxString file = stdio.input(a.first);
    const wxString target = second.empty() ? getProfileNameFromFile(file) : second;
    if (!target.empty() && profileExists(target) &&
        !confirm(L"Profile " + target + L" exists, replace it?", a.force, "-f")) {
      return eExitFailed;
    }
    CommandReport report("profile import");
    ProgressBar bar;
    const wxString description = fromUtf8(a.description);
    if (!runLongStep(
            bar, report, L"Importing " + first, [&] { return importProfile(file, second, description); }, file))
      report.addError(L"cannot import " + first);
    else if (!Config::flush())
      report.addError(L"could not write the profiles to the store");
    return report.finish();
  }
  throw UsageError("unknown profile command " + command);
}

}  // namespace

void addProfileCommands(CLI::App& app, Context& context) {
  CLI::App* profile = app.add_subcommand("profile", "User profiles: list, select, create, copy, export, import...");
  profile->require_subcommand(1);

  auto listJson = std::make_shared<bool>(false);
  CLI::App* list = profile->add_subcommand("list", "List the profiles; * marks the current one");
  list->add_flag("--json", *listJson, "Print JSON: [{name, current, description}]");
  list->callback(
      [&context, listJson] { context.action = [&context, listJson] { return runList(context, *listJson); }; });
  profile->add_subcommand("current", "Print the current profile's name")->callback([&context] {
    context.action = [&context] { return runCurrent(context); };
  });

  struct Spec {
    const char* name;
    const char* help;
    const char* first;
    const char* second;  // null: no second argument
    bool description;
    bool replaces;  // asks before replacing a file or a profile (-f: does not)
  };
  const std::vector<Spec> specs = {
      {"use", "Make a profile current (created when missing)", "NAME", nullptr, false, false},
      {"create", "Create an empty profile", "NAME", nullptr, true, false},
      {"copy", "Copy a profile (an existing target is replaced after asking)", "FROM", "TO", false, true},
      {"rename", "Rename a profile (the new name must be free)", "FROM", "TO", false, false},
      {"reset", "Empty a profile, keeping its name", "NAME", nullptr, false, false},
      {"delete", "Delete a profile", "NAME", nullptr, false, false},
      {"describe", "Print, or with --description set, a profile's description", "NAME", nullptr, true, false},
      {"export", "Write a profile to a registry-export (.reg) file", "NAME", "FILE", false, true},
      {"import", "Read a profile from a registry-export file (NAME: the file's own by default)", "FILE", "NAME", true,
       true},
  };
  for (const Spec& spec : specs) {
    auto args = std::make_shared<ProfileArgs>();
    CLI::App* sub = profile->add_subcommand(spec.name, spec.help);
    sub->add_option(spec.first, args->first, spec.first)->required();
    if (spec.second != nullptr) {
      CLI::Option* second = sub->add_option(spec.second, args->second, spec.second);
      if (std::string(spec.name) != "import") second->required();
    }
    CLI::Option* description = nullptr;
    if (spec.description) {
      description = sub->add_option("--description", args->description, "The profile's description");
    }
    if (spec.replaces) sub->add_flag("-f", args->force, "Replace without asking");
    const std::string command = spec.name;
    sub->callback([&context, args, command, description] {
      args->hasDescription = description != nullptr && description->count() > 0;
      context.action = [&context, args, command] { return runAction(context, command, *args); };
    });
  }
}

}  // namespace ut::tool
