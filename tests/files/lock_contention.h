#pragma once

// One side of the two-process drawing-lock contest, shared by the test and
// the child program. Each round both sides meet at a barrier, try to lock the
// drawing after a random pause, publish the outcome, meet again (the loser
// then asks who holds the drawing), and meet a third time before the winner
// unlocks. Barriers are files in a shared folder; every wait is bounded.
//
// Each round produces one line: "R won" or "R lost CANLOCK BYOTHER INFO",
// where INFO is what readLockInfo(path, info) gave.

#include <ut/ut_filelock.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace ut::test::lockcontest {

inline void arrive(const std::filesystem::path& dir, const std::string& name, int side) {
  std::ofstream(dir / (name + "-" + std::to_string(side))).put('x');
}

// False when the other side does not arrive within the time limit.
inline bool meet(const std::filesystem::path& dir, const std::string& name, int side) {
  arrive(dir, name, side);
  const auto other = dir / (name + "-" + std::to_string(1 - side));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!std::filesystem::exists(other)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  return true;
}

// Runs `rounds` rounds as `side` (0 or 1); the lines, or empty on a timeout.
inline std::vector<std::string> contend(const std::filesystem::path& dir, const std::filesystem::path& drawing,
                                        int rounds, int side, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> pause(0, 300);
  const OdString path(drawing.wstring());
  std::vector<std::string> lines;
  for (int r = 0; r < rounds; ++r) {
    const std::string round = std::to_string(r);
    if (!meet(dir, "a" + round, side)) return {};
    std::this_thread::sleep_for(std::chrono::microseconds(pause(random)));
    FileLocker locker;
    const bool won = locker.lock(path);
    if (!meet(dir, "b" + round, side)) return {};
    if (won) {
      lines.push_back(round + " won");
    } else {
      OdString info;
      FileLocker::readLockInfo(path, info);
      lines.push_back(round + " lost " + (locker.canLock(path) ? "1" : "0") + " " +
                      (FileLocker::isLockedByOther(path) ? "1" : "0") + " " + info.toUtf8());
    }
    if (!meet(dir, "c" + round, side)) return {};
    if (won && !locker.unlock()) lines.back() += " unlock-failed";
  }
  return lines;
}

}  // namespace ut::test::lockcontest
