// A separate process for the multi-process tests of the registry store: a
// writer, a reader or a victim that the test kills.
//
//   ut_test_child --store FILE [--go FILE] COMMAND ARGS...
//
// KEY arguments are paths below HKEY_CURRENT_USER. With --go the command
// waits until that file exists, so that several children start together.
// Exit code 0 on success, 1 on a failed store operation, 2 on bad usage.

#include <ut/ut_regstore.h>

#include <wx/init.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: ut_test_child --store FILE [--go FILE] COMMAND ARGS\n"
               "  write KEY COUNT PREFIX [hang]  values PREFIX<i> = \"data-PREFIX-<i>\", one call each;\n"
               "                                 prints \"done\", then with hang waits to be killed\n"
               "  set KEY NAME VALUE             one string value\n"
               "  get KEY NAME                   prints the string value (exit 1 when missing)\n"
               "  deletekey KEY                  deletes the key with its subtree\n"
               "  hold KEY COUNT                 writes COUNT values in a transaction, prints \"ready\"\n"
               "                                 and waits to be killed before committing\n");
  return 2;
}

void say(const char* text) {
  std::fputs(text, stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

[[noreturn]] void waitToBeKilled() {
  while (true) std::this_thread::sleep_for(std::chrono::seconds(1));
}

bool toInt(const char* text, long& out) {
  char* end = nullptr;
  out = std::strtol(text, &end, 10);
  return end && *end == '\0' && out >= 0;
}

int run(const std::vector<std::string>& args) {
  const std::string& cmd = args[0];
  auto key = [&args](std::size_t i) { return ut::RegKey(ut::eCurrentUser, wxString::FromUTF8(args[i])); };
  auto fail = [] {
    std::fprintf(stderr, "ut_test_child: %s\n", static_cast<const char*>(ut::RegStore::lastError().utf8_str()));
    return 1;
  };

  if (cmd == "write" && (args.size() == 4 || (args.size() == 5 && args[4] == "hang"))) {
    long count = 0;
    if (!toInt(args[2].c_str(), count)) return usage();
    ut::RegKey k = key(1);
    if (!k.create()) return fail();
    const wxString prefix = wxString::FromUTF8(args[3]);
    for (long i = 0; i < count; ++i) {
      if (!k.setValue(wxString::Format("%s%ld", prefix, i), wxString::Format("data-%s-%ld", prefix, i))) return fail();
    }
    say("done");
    if (args.size() == 5) waitToBeKilled();
    return 0;
  }
  if (cmd == "set" && args.size() == 4) {
    ut::RegKey k = key(1);
    return k.create() && k.setValue(wxString::FromUTF8(args[2]), wxString::FromUTF8(args[3])) ? 0 : fail();
  }
  if (cmd == "get" && args.size() == 3) {
    ut::RegKey k = key(1);
    wxString value;
    if (!k.open(ut::eRead) || !k.queryValue(wxString::FromUTF8(args[2]), value)) return 1;
    say(value.utf8_str());
    return 0;
  }
  if (cmd == "deletekey" && args.size() == 2) {
    ut::RegKey k = key(1);
    return k.open() && k.deleteSelf() ? 0 : fail();
  }
  if (cmd == "hold" && args.size() == 3) {
    long count = 0;
    if (!toInt(args[2].c_str(), count)) return usage();
    ut::RegTransaction tx;
    ut::RegKey k = key(1);
    if (!tx.isActive() || !k.create()) return fail();
    for (long i = 0; i < count; ++i) {
      if (!k.setValue(wxString::Format("held%ld", i), i)) return fail();
    }
    say("ready");
    waitToBeKilled();
  }
  return usage();
}

}  // namespace

// Drawing-lock commands (ut_test_child_lock.cpp); they need no store.
int runLockCommand(const std::vector<std::string>& args);

int main(int argc, char** argv) {
  wxInitializer wx;
  if (!wx.IsOk()) return 2;
  std::vector<std::string> args(argv + 1, argv + argc);
  if (!args.empty() && args[0] == "lock") return runLockCommand(args);
  std::string store;
  std::string go;
  while (args.size() >= 2 && (args[0] == "--store" || args[0] == "--go")) {
    (args[0] == "--store" ? store : go) = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (store.empty() || args.empty()) return usage();
  if (!go.empty()) {
    while (!std::filesystem::exists(go)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (!ut::RegStore::setFile(wxString::FromUTF8(store))) {
    std::fprintf(stderr, "ut_test_child: %s\n", static_cast<const char*>(ut::RegStore::lastError().utf8_str()));
    return 1;
  }
  return run(args);
}
