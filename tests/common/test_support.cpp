#include "test_support.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ut/ut_regstore.h>

namespace ut::test {

TempDir::TempDir() {
  std::random_device rd;
  const auto base = std::filesystem::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = base / ("ut-test-" + std::to_string(::getpid()) + "-" + std::to_string(rd()));
    std::error_code ec;
    if (std::filesystem::create_directory(candidate, ec)) {
      m_path = candidate;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary test folder");
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(m_path, ec);
}

TempStore::TempStore() : m_file(m_dir / "registry.db") {
  m_previous = RegStore::file();
  m_previousWasDefault = m_previous == RegStore::defaultFile();
  m_ok = RegStore::setFile(wxString(m_file.string()));
}

TempStore::~TempStore() { RegStore::setFile(m_previousWasDefault ? wxString() : m_previous); }

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
  std::vector<std::string> storage;
  storage.push_back(program);
  storage.insert(storage.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : storage) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int rc = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(fds[1]);
  if (rc != 0) {
    ::close(fds[0]);
    return;
  }
  m_pid = pid;
  m_out = fds[0];
}

ChildProcess::~ChildProcess() {
  if (m_pid > 0 && !m_status) {
    ::kill(m_pid, SIGKILL);
    int status = 0;
    ::waitpid(m_pid, &status, 0);
  }
  if (m_out >= 0) ::close(m_out);
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (true) {
    if (const auto nl = m_pending.find('\n'); nl != std::string::npos) {
      std::string line = m_pending.substr(0, nl);
      m_pending.erase(0, nl + 1);
      return line;
    }
    if (m_out < 0) return std::nullopt;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return std::nullopt;
    pollfd pfd{m_out, POLLIN, 0};
    if (::poll(&pfd, 1, static_cast<int>(left.count())) <= 0) continue;
    char buf[4096];
    const ssize_t n = ::read(m_out, buf, sizeof buf);
    if (n <= 0) {
      ::close(m_out);
      m_out = -1;
      continue;
    }
    m_pending.append(buf, static_cast<std::size_t>(n));
  }
}

void ChildProcess::kill(int signal) {
  if (m_pid > 0 && !m_status) ::kill(m_pid, signal);
}

int ChildProcess::wait(std::chrono::milliseconds timeout) {
  if (m_pid <= 0) return -1;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!m_status) {
    int status = 0;
    const pid_t r = ::waitpid(m_pid, &status, WNOHANG);
    if (r == m_pid) {
      m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      break;
    }
    if (r < 0 || std::chrono::steady_clock::now() > deadline) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return *m_status;
}

std::string readFileBytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool writeFileBytes(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

std::string shellQuote(const std::string& word) {
  std::string quoted = "'";
  for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

EnvOverride::EnvOverride(const char* name, std::optional<std::string> value) : m_name(name) {
  if (const char* old = std::getenv(name)) m_old = old;
  if (value) {
    ::setenv(name, value->c_str(), 1);
  } else {
    ::unsetenv(name);
  }
}

EnvOverride::~EnvOverride() {
  if (m_old) {
    ::setenv(m_name.c_str(), m_old->c_str(), 1);
  } else {
    ::unsetenv(m_name.c_str());
  }
}

int processThreadCount() {
  int n = 0;
  std::error_code ec;
  for (std::filesystem::directory_iterator it("/proc/self/task", ec), end; !ec && it != end; it.increment(ec)) ++n;
  return n;
}

int threadBaseline() {
  std::thread([] {}).join();
  return processThreadCount();
}

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& args,
                         const std::filesystem::path& scratch, const std::string& envPrefix, const std::string& input) {
  const auto in = scratch / "stdin";
  const auto out = scratch / "stdout";
  const auto err = scratch / "stderr";
  std::string command = envPrefix.empty() ? "" : envPrefix + " ";
  command += shellQuote(program);
  for (const auto& a : args) command += " " + shellQuote(a);
  if (input.empty()) {
    command += " </dev/null";
  } else {
    writeFileBytes(in, input);
    command += " <" + shellQuote(in.string());
  }
  command += " >" + shellQuote(out.string()) + " 2>" + shellQuote(err.string());
  const int raw = std::system(command.c_str());
  ProgramResult result;
  result.status = raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  result.out = readFileBytes(out);
  result.err = readFileBytes(err);
  return result;
}

}  // namespace ut::test
