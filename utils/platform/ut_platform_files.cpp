// File and directory operations of the platform layer: the system calls
// behind the file layer's copy, rename, access and read-only tests.

#include "ut_platform.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ut::platform {

namespace {

// A path the system can take: no embedded null, not empty.
bool usable(const std::wstring& path) { return !path.empty() && path.find(L'\0') == std::wstring::npos; }

class Fd {
 public:
  explicit Fd(int fd) : m_fd(fd) {}
  ~Fd() {
    if (m_fd >= 0) ::close(m_fd);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return m_fd; }
  bool close() {
    const int fd = m_fd;
    m_fd = -1;
    return ::close(fd) == 0;
  }

 private:
  int m_fd;
};

bool writeAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool copyContent(int in, int out) {
  std::array<char, 65536> buffer{};
  for (;;) {
    const ssize_t n = ::read(in, buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    if (!writeAll(out, buffer.data(), static_cast<std::size_t>(n))) return false;
  }
}

// Moves `from` to `to` only when `to` does not exist, atomically.
bool renameNoReplace(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // File systems without the flag: a hard link fails on an existing target.
  struct stat info {};
  if (::lstat(from.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
  if (::link(from.c_str(), to.c_str()) != 0) return false;
  ::unlink(from.c_str());
  return true;
}

}  // namespace

bool isReadOnlyFile(const std::wstring& path) {
  if (!usable(path)) return false;
  struct stat info {};
  return ::stat(toUtf8(path).c_str(), &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & 0222) == 0;
}

bool isAccessible(const std::wstring& path, bool write) {
  return usable(path) && ::access(toUtf8(path).c_str(), write ? W_OK : R_OK) == 0;
}

bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
  if (!usable(from) || !usable(to)) return false;
  const std::string source = toUtf8(from);
  const std::string target = toUtf8(to);
  Fd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat sourceInfo {};
  if (in.get() < 0 || ::fstat(in.get(), &sourceInfo) != 0 || !S_ISREG(sourceInfo.st_mode)) return false;
  struct stat targetInfo {};
  if (::stat(target.c_str(), &targetInfo) == 0) {
    if (!overwrite || S_ISDIR(targetInfo.st_mode)) return false;
    if (targetInfo.st_dev == sourceInfo.st_dev && targetInfo.st_ino == sourceInfo.st_ino) return false;
  }
  // Written beside the target under a temporary name and moved into place,
  // so that a failure never leaves half a file under the target's name.
  std::string temporary = target + ".XXXXXX";
  Fd out(::mkostemp(temporary.data(), O_CLOEXEC));
  if (out.get() < 0) return false;
  bool ok = copyContent(in.get(), out.get()) && ::fchmod(out.get(), sourceInfo.st_mode & 07777) == 0;
  ok = out.close() && ok;
  if (ok) ok = overwrite ? ::rename(temporary.c_str(), target.c_str()) == 0 : renameNoReplace(temporary, target);
  if (!ok) ::unlink(temporary.c_str());
  return ok;
}

bool renameFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
  if (!usable(from) || !usable(to)) return false;
  const std::string source = toUtf8(from);
  const std::string target = toUtf8(to);
  if (!overwrite) return renameNoReplace(source, target);
  return ::rename(source.c_str(), target.c_str()) == 0;
}

std::vector<std::wstring> directoryEntries(const std::wstring& dir) {
  std::vector<std::wstring> names;
  if (!usable(dir)) return names;
  DIR* stream = ::opendir(toUtf8(dir).c_str());
  if (!stream) return names;
  while (const dirent* entry = ::readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.push_back(fromUtf8(name));
  }
  ::closedir(stream);
  return names;
}

bool clearDirectory(const std::wstring& dir) {
  if (!usable(dir)) return false;
  const std::filesystem::path root(toUtf8(dir));
  std::error_code ec;
  if (!std::filesystem::is_directory(root, ec)) return false;
  bool ok = true;
  for (std::filesystem::directory_iterator it(root, ec), end; !ec && it != end; it.increment(ec)) {
    std::error_code removeError;
    std::filesystem::remove_all(it->path(), removeError);  // never follows symbolic links
    ok = ok && !removeError;
  }
  return ok && !ec;
}

}  // namespace ut::platform
