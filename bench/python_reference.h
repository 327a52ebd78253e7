#pragma once

// Python as a reference implementation in the benchmarks: a script, written
// to a scratch file, times its own work and prints the seconds per run on the
// last line of its output.

#include <cstdio>
#include <fstream>
#include <string>

namespace ut::bench {

// Runs `python3 SCRIPT ARGS...` (arguments already quoted for the shell) and
// returns the number its last output line starts with; a negative value when
// Python is missing or failed.
inline double pythonSeconds(const std::string& scriptPath, const std::string& script, const std::string& args) {
  {
    std::ofstream out(scriptPath, std::ios::trunc);
    out << script;
  }
  const std::string command = "timeout 600 python3 '" + scriptPath + "' " + args + " 2>/dev/null";
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return -1;
  std::string output;
  char buffer[256];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) output = buffer;
  if (::pclose(pipe) != 0) return -1;
  try {
    return std::stod(output);
  } catch (...) {
    return -1;
  }
}

}  // namespace ut::bench
