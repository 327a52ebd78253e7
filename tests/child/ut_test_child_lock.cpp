// The drawing-lock commands of the test child:
//   ut_test_child lock contend DIR DRAWING ROUNDS SIDE SEED
//       one side of the two-process contest (see tests/files/lock_contention.h):
//       prints one line per round, then "end" (exit 1 on a timeout)
//   ut_test_child lock hold DRAWING
//       locks the drawing, prints "locked" (or "failed", exit 1) and waits to
//       be killed

#include <ut/ut_filelock.h>

#include <chrono>
#include <clocale>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "../files/lock_contention.h"

namespace {

void sayLine(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace

int runLockCommand(const std::vector<std::string>& args) {
  // Lock files are written in the locale's encoding.
  std::setlocale(LC_ALL, "");
  if (args.size() == 7 && args[1] == "contend") {
    const std::vector<std::string> lines = ut::test::lockcontest::contend(
        args[2], args[3], std::stoi(args[4]), std::stoi(args[5]), static_cast<unsigned>(std::stoul(args[6])));
    for (const std::string& line : lines) sayLine(line);
    sayLine("end");
    return lines.empty() ? 1 : 0;
  }
  if (args.size() == 3 && args[1] == "hold") {
    ut::FileLocker locker(OdString(args[2].c_str()));
    if (!locker.isLocked()) {
      sayLine("failed");
      return 1;
    }
    sayLine("locked");
    for (int i = 0; i < 600; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return 0;
  }
  std::fprintf(stderr, "usage: ut_test_child lock contend DIR DRAWING ROUNDS SIDE SEED | lock hold DRAWING\n");
  return 2;
}
