// Raw file handles, the DOS hidden attribute of Samba shares and SIGPIPE
// suppression: what lock files and compression need from the system.

#include "ut_platform.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include <signal.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace ut::platform {

namespace {

constexpr const char* kDosAttributeName = "user.DOSATTRIB";
constexpr unsigned long kDosHidden = 0x2;
constexpr unsigned long kDosArchive = 0x20;  // what Windows gives a newly written file

// The attribute bits of a "user.DOSATTRIB" value, or nullopt when the file
// has none. Samba writes either the text "0x<hex>" or a binary record that
// begins with that text, null-terminated; both start the same way.
std::optional<unsigned long> readDosAttributes(const std::string& path) {
  char value[256] = {};
  const ssize_t n = ::getxattr(path.c_str(), kDosAttributeName, value, sizeof value - 1);
  if (n < 0) {
    // A value longer than the buffer is still a value.
    if (errno == ERANGE) return 0;
    return std::nullopt;
  }
  value[n] = '\0';
  if (value[0] == '0' && (value[1] == 'x' || value[1] == 'X')) return std::strtoul(value + 2, nullptr, 16);
  return 0;
}

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

int ExclusiveFile::release() {
  setError(EFileError::eNone, 0);
  return std::exchange(m_fd, -1);
}

bool closeHandle(int handle) {
  if (handle < 0) return false;
  // Linux releases the descriptor even when close reports an error.
  return ::close(handle) == 0 || errno == EINTR;
}

bool setDosHiddenAttribute(const std::wstring& path) {
  if (path.empty()) return false;
  const std::string bytes = toUtf8(path);
  std::optional<unsigned long> bits = readDosAttributes(bytes);
  if (!bits) {
    if (!readDosAttributes(parentOf(bytes))) return false;
    bits = kDosArchive;
  }
  char text[32];
  const int length = std::snprintf(text, sizeof text, "0x%lx", *bits | kDosHidden);
  // Samba's own text form includes the terminating null.
  return ::setxattr(bytes.c_str(), kDosAttributeName, text, static_cast<std::size_t>(length) + 1, 0) == 0;
}

SigpipeGuard::SigpipeGuard() {
  sigset_t pending;
  sigemptyset(&pending);
  ::sigpending(&pending);
  m_wasPending = sigismember(&pending, SIGPIPE) == 1;
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigset_t previous;
  sigemptyset(&previous);
  ::pthread_sigmask(SIG_BLOCK, &pipe, &previous);
  m_wasBlocked = sigismember(&previous, SIGPIPE) == 1;
}

SigpipeGuard::~SigpipeGuard() {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  if (!m_wasPending) {
    // Consume the signal our own writes raised, without waiting.
    const timespec none{0, 0};
    while (::sigtimedwait(&pipe, nullptr, &none) == SIGPIPE) {}
  }
  if (!m_wasBlocked) ::pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
}

}  // namespace ut::platform
