// System services of the platform layer: counter, debugger output, identity,
// path separators and exclusively opened files.

#include <ut/ut_hooks.h>

#include "ut_platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <condition_variable>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <limits.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ut::platform {

namespace {

// --- debugger output ---------------------------------------------------------

class DebugOutput {
 public:
  static DebugOutput& instance() {
    // Never destroyed: output may still arrive from static destructors.
    static DebugOutput* const output = new DebugOutput;
    return *output;
  }

  void setHandler(DebugOutputHandler handler) {
    auto next = handler ? std::make_shared<Installed>(std::move(handler)) : nullptr;
    std::unique_lock lock(m_mutex);
    const std::shared_ptr<Installed> previous = std::exchange(m_current, std::move(next));
    if (!previous) return;
    // Wait for the calls of the previous handler still running elsewhere.
    // Only those: new output already goes to the new handler, so a steady
    // stream of output cannot starve this wait. A handler that replaces
    // itself does not wait for its own call.
    const int own = t_running == previous.get() ? 1 : 0;
    m_idle.wait(lock, [&] { return previous->inFlight == own; });
  }

  void write(std::wstring_view text) {
    // Output produced while a handler runs on this thread (directly or by a
    // library call it makes) goes to standard error: routing it back to the
    // handler could recurse without end.
    if (t_running) {
      writeToStandardError(text);
      return;
    }
    std::shared_ptr<Installed> installed;
    {
      const std::lock_guard lock(m_mutex);
      installed = m_current;
      if (installed) ++installed->inFlight;
    }
    if (!installed) {
      writeToStandardError(text);
      return;
    }
    const std::wstring terminated(text);
    t_running = installed.get();
    try {
      installed->handler(terminated.c_str());
    } catch (...) {
      // Diagnostics must never break the code that emits them.
    }
    t_running = nullptr;
    {
      const std::lock_guard lock(m_mutex);
      --installed->inFlight;
    }
    m_idle.notify_all();
  }

 private:
  struct Installed {
    explicit Installed(DebugOutputHandler h) : handler(std::move(h)) {}
    const DebugOutputHandler handler;
    int inFlight = 0;  // calls running now; guarded by m_mutex
  };

  static void writeToStandardError(std::wstring_view text) {
    const std::string bytes = toUtf8(text);
    // One write call per text keeps lines of concurrent threads apart.
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n = ::write(STDERR_FILENO, bytes.data() + done, bytes.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      done += static_cast<std::size_t>(n);
    }
  }

  // The handler record this thread is running, if any.
  static thread_local const Installed* t_running;

  std::mutex m_mutex;
  std::condition_variable m_idle;
  std::shared_ptr<Installed> m_current;
};

thread_local const DebugOutput::Installed* DebugOutput::t_running = nullptr;

// --- file helpers ---------------------------------------------------------------

// The byte path of a file name; false when it cannot name a file. A value
// that is not a character has no UTF-8 form; replacing it would name a
// different file, so such a path is refused.
bool toFileSystemPath(const std::wstring& path, std::string& out) {
  if (path.empty()) return false;
  for (wchar_t c : path) {
    const auto cp = static_cast<std::uint32_t>(c);
    if (c == L'\0' || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
  }
  out = toUtf8(path);
  return true;
}

EFileError classifyOpenError(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return EFileError::eNotFound;
    case EEXIST:
      return EFileError::eAlreadyExists;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ETXTBSY:
      return EFileError::eAccessDenied;
    case ENAMETOOLONG:
    case ELOOP:
      return EFileError::eInvalidPath;
    default:
      return EFileError::eOther;
  }
}

int openFlags(EDisposition disposition) {
  // Never O_TRUNC: emptying the file waits until the lock is held.
  constexpr int kBase = O_RDWR | O_CLOEXEC | O_NOCTTY;
  switch (disposition) {
    case EDisposition::eCreateNew:
      return kBase | O_CREAT | O_EXCL;
    case EDisposition::eCreateAlways:
    case EDisposition::eOpenAlways:
      return kBase | O_CREAT;
    case EDisposition::eOpenExisting:
    case EDisposition::eTruncateExisting:
      return kBase;
  }
  return kBase;
}

}  // namespace

// --- counter ------------------------------------------------------------------------

std::int64_t performanceCounter() {
  // libstdc++'s steady_clock is CLOCK_MONOTONIC.
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::int64_t performanceFrequency() { return 1'000'000'000; }

// --- debugger output -----------------------------------------------------------------

void outputDebugString(std::wstring_view text) {
  const std::size_t end = text.find(L'\0');
  if (end != std::wstring_view::npos) text = text.substr(0, end);
  DebugOutput::instance().write(text);
}

// --- environment and folders -------------------------------------------------------

std::optional<std::string> environmentVariable(const char* name) {
  if (name == nullptr) return std::nullopt;
  const char* value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::optional<std::wstring> environmentText(const char* name) {
  auto bytes = environmentVariable(name);
  if (!bytes) return std::nullopt;
  return fromUtf8(*bytes);
}

std::wstring homeDirectory() {
  if (auto home = environmentText("HOME"); home && !home->empty()) return *home;
  long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 4096);
  passwd entry{};
  passwd* found = nullptr;
  while (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < (1u << 20))
    buffer.resize(buffer.size() * 2);
  if (found && found->pw_dir && *found->pw_dir) return fromUtf8(found->pw_dir);
  return {};
}

std::wstring userConfigDirectory() {
  if (auto base = environmentText("XDG_CONFIG_HOME"); base && !base->empty() && base->front() == L'/') return *base;
  const std::wstring home = homeDirectory();
  return home.empty() ? std::wstring() : home + L"/.config";
}

std::wstring executablePath() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::wstring() : fromUtf8(path.string());
}

// --- identity ------------------------------------------------------------------------

std::wstring loginName() {
  long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 1024);
  passwd entry{};
  passwd* found = nullptr;
  for (;;) {
    const int rc = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    if (rc == ERANGE && buffer.size() < (1u << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (rc == EINTR) continue;
    break;
  }
  if (found && found->pw_name && *found->pw_name) return fromUtf8(found->pw_name);
  // Containers often run under a uid without a password entry.
  for (const char* variable : {"USER", "LOGNAME"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return fromUtf8(value);
  }
  return {};
}

std::wstring hostName() {
  std::array<char, HOST_NAME_MAX + 2> buffer{};
  if (::gethostname(buffer.data(), buffer.size() - 1) != 0) return {};
  buffer.back() = '\0';  // POSIX leaves termination unspecified on truncation
  return fromUtf8(buffer.data());
}

// --- paths ---------------------------------------------------------------------------

std::wstring toNativeSeparators(std::wstring_view path) {
  std::wstring out(path);
  std::replace(out.begin(), out.end(), L'\\', L'/');
  return out;
}

// --- exclusive files --------------------------------------------------------------------

ExclusiveFile::~ExclusiveFile() { close(); }

ExclusiveFile::ExclusiveFile(ExclusiveFile&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)),
      m_path(std::move(other.m_path)),
      m_error(std::exchange(other.m_error, EFileError::eNone)),
      m_systemError(std::exchange(other.m_systemError, 0)) {}

ExclusiveFile& ExclusiveFile::operator=(ExclusiveFile&& other) noexcept {
  if (this != &other) {
    close();
    m_fd = std::exchange(other.m_fd, -1);
    m_path = std::move(other.m_path);
    m_error = std::exchange(other.m_error, EFileError::eNone);
    m_systemError = std::exchange(other.m_systemError, 0);
  }
  return *this;
}

ExclusiveFile ExclusiveFile::open(const std::wstring& path, EDisposition disposition) {
  ExclusiveFile file;
  file.m_path = path;
  std::string bytes;
  if (!toFileSystemPath(path, bytes)) {
    file.setError(EFileError::eInvalidPath, EINVAL);
    return file;
  }
  int fd = -1;
  do {
    fd = ::open(bytes.c_str(), openFlags(disposition), 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    const int error = errno;
    file.setError(classifyOpenError(error), error);
    return file;
  }
  file.m_fd = fd;

  // O_RDWR refuses directories already; a FIFO or device would block or
  // misbehave as a lock target, so only regular files are accepted.
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    const int error = errno;
    ::close(std::exchange(file.m_fd, -1));
    file.setError(EFileError::eOther, error);
    return file;
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(std::exchange(file.m_fd, -1));
    file.setError(EFileError::eAccessDenied, EINVAL);
    return file;
  }

  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;  // the whole file, however far it grows
  int rc = -1;
  do {
    rc = ::fcntl(fd, F_OFD_SETLK, &lock);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) {
    const int error = errno;
    ::close(std::exchange(file.m_fd, -1));
    file.setError(error == EAGAIN || error == EACCES ? EFileError::eSharingViolation : EFileError::eOther, error);
    return file;
  }

  if (disposition == EDisposition::eCreateAlways || disposition == EDisposition::eTruncateExisting) {
    if (::ftruncate(fd, 0) != 0) {
      const int error = errno;
      ::close(std::exchange(file.m_fd, -1));
      file.setError(classifyOpenError(error), error);
      return file;
    }
  }
  return file;
}

std::wstring ExclusiveFile::errorText() const {
  switch (m_error) {
    case EFileError::eNone:
      return {};
    case EFileError::eSharingViolation:
      return L"The file is opened exclusively by another process or handle.";
    case EFileError::eInvalidPath:
      if (m_systemError == EINVAL) return L"The path cannot name a file.";
      break;
    case EFileError::eAccessDenied:
      if (m_systemError == EINVAL) return L"The path names something other than a regular file.";
      break;
    default:
      break;
  }
  return fromUtf8(std::system_category().message(m_systemError));
}

bool ExclusiveFile::write(std::string_view bytes) {
  if (m_fd < 0) return false;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(m_fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      setError(n < 0 && errno == EACCES ? EFileError::eAccessDenied : EFileError::eOther, n < 0 ? errno : EIO);
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  setError(EFileError::eNone, 0);
  return true;
}

bool ExclusiveFile::sync() {
  if (m_fd < 0) return false;
  if (::fsync(m_fd) != 0) {
    setError(EFileError::eOther, errno);
    return false;
  }
  return true;
}

std::int64_t ExclusiveFile::size() const {
  if (m_fd < 0) return -1;
  struct stat info {};
  if (::fstat(m_fd, &info) != 0) return -1;
  return static_cast<std::int64_t>(info.st_size);
}

bool ExclusiveFile::close() {
  if (m_fd < 0) return true;
  // Closing the last descriptor of the open file description drops its lock.
  // Linux releases the descriptor even when close reports an error, so a
  // retry would close somebody else's descriptor.
  const int rc = ::close(std::exchange(m_fd, -1));
  if (rc != 0 && errno != EINTR) {
    setError(EFileError::eOther, errno);
    return false;
  }
  return true;
}

void ExclusiveFile::setError(EFileError error, int systemError) {
  m_error = error;
  m_systemError = systemError;
}

bool deleteFile(const std::wstring& path) {
  std::string bytes;
  if (!toFileSystemPath(path, bytes)) return false;
  return ::unlink(bytes.c_str()) == 0;
}

void adviseLargeWrite(void* data, std::size_t size) {
  if (data == nullptr || size == 0) return;
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t first = (begin + page - 1) / page * page;
  const std::uintptr_t last = (begin + size) / page * page;
  if (last <= first) return;
  ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);  // a hint: failure changes nothing
}

}  // namespace ut::platform

namespace ut {

void setDebugOutputHandler(DebugOutputHandler handler) {
  platform::DebugOutput::instance().setHandler(std::move(handler));
}

}  // namespace ut
