// File-system facts of the platform layer: network paths, roots and drive
// types, without letting a hung network file system hang the caller.

#include "ut_platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <time.h>
#include <unistd.h>

namespace ut::platform {

namespace {

// statfs f_type values, for when the mount table cannot be read.
constexpr std::int64_t kNfsMagic = 0x6969;
constexpr std::int64_t kSmbMagic = 0x517B;
constexpr std::int64_t kCifsMagic = 0xFF534D42;
constexpr std::int64_t kSmb2Magic = 0xFE534D42;
constexpr std::int64_t kAfsMagic = 0x5346414F;
constexpr std::int64_t kKafsMagic = 0x6B414653;
constexpr std::int64_t kCodaMagic = 0x73757245;
constexpr std::int64_t kNcpMagic = 0x564C;
constexpr std::int64_t kV9fsMagic = 0x01021997;
constexpr std::int64_t kCephMagic = 0x00C36400;
constexpr std::int64_t kTmpfsMagic = 0x01021994;
constexpr std::int64_t kRamfsMagic = 0x858458F6;
constexpr std::int64_t kIsofsMagic = 0x9660;
constexpr std::int64_t kUdfMagic = 0x15013346;

bool isNetworkMagic(std::int64_t magic) {
  switch (magic) {
    case kNfsMagic:
    case kSmbMagic:
    case kCifsMagic:
    case kSmb2Magic:
    case kAfsMagic:
    case kKafsMagic:
    case kCodaMagic:
    case kNcpMagic:
    case kV9fsMagic:
    case kCephMagic:
      return true;
    default:
      return false;
  }
}

// Kernel interfaces rather than places that hold files.
bool isPseudoFileSystemType(std::string_view type) {
  static constexpr std::array<std::string_view, 22> kPseudo = {
      "proc",    "sysfs",    "devtmpfs",   "devpts", "cgroup",    "cgroup2",  "securityfs", "debugfs",
      "tracefs", "pstore",   "bpf",        "mqueue", "hugetlbfs", "configfs", "fusectl",    "binfmt_misc",
      "autofs",  "efivarfs", "rpc_pipefs", "nsfs",   "selinuxfs", "nfsd"};
  return std::find(kPseudo.begin(), kPseudo.end(), type) != kPseudo.end();
}

// Owns a file descriptor.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : m_fd(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const { return m_fd; }
  void reset(int fd = -1) {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd = -1;
};

using MountList = std::vector<MountEntry>;

// The kernel's mount table of this process, re-read only when the kernel
// reports a change: poll() flags /proc/self/mountinfo with POLLPRI after every
// mount or unmount, and the flag stays up until the table is read again. The
// flag is asked at most every kPollIntervalMs: a poll costs as much as the
// stat() an existence test makes, and a mount made a moment ago is seen that
// much later, never missed.
class MountTable {
 public:
  static MountTable& instance() {
    static MountTable table;
    return table;
  }

  // Null when the table cannot be read (no /proc). `anyNetwork`, when given,
  // tells whether the table holds a network mount at all.
  std::shared_ptr<const MountList> snapshot(bool* anyNetwork = nullptr) {
    const std::lock_guard lock(m_mutex);
    if (m_fd.get() < 0) {
      m_fd.reset(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
      if (m_fd.get() < 0) return nullptr;
      reload();
    } else if (const std::int64_t now = coarseMilliseconds(); now - m_polledAt >= kPollIntervalMs) {
      m_polledAt = now;
      pollfd request{m_fd.get(), POLLPRI, 0};
      if (::poll(&request, 1, 0) > 0 && (request.revents & (POLLPRI | POLLERR))) reload();
    }
    if (anyNetwork) *anyNetwork = m_anyNetwork;
    return m_entries;
  }

 private:
  void reload() {
    std::string text;
    if (::lseek(m_fd.get(), 0, SEEK_SET) == 0) {
      std::array<char, 8192> buffer{};
      for (;;) {
        const ssize_t n = ::read(m_fd.get(), buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        text.append(buffer.data(), static_cast<std::size_t>(n));
      }
    }
    auto entries = parseMountInfo(text);
    if (entries.empty()) {
      m_fd.reset();  // unusable; try a fresh descriptor next time
      m_entries = nullptr;
      return;
    }
    m_anyNetwork = std::any_of(entries.begin(), entries.end(),
                               [](const MountEntry& entry) { return isNetworkFileSystemType(entry.fsType); });
    m_entries = std::make_shared<const MountList>(std::move(entries));
  }

  static constexpr std::int64_t kPollIntervalMs = 50;

  // The monotonic clock at the resolution of the scheduler tick, read
  // without entering the kernel.
  static std::int64_t coarseMilliseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
  }

  std::mutex m_mutex;
  UniqueFd m_fd;
  std::shared_ptr<const MountList> m_entries;
  bool m_anyNetwork = false;
  std::int64_t m_polledAt = 0;
};

// The mount an absolute, physical path lies on: the longest mount point that
// is the path or one of its ancestors; of equal ones the later mount, which
// covers the earlier.
const MountEntry* mountFor(const MountList& mounts, std::string_view path) {
  const MountEntry* best = nullptr;
  for (const auto& entry : mounts) {
    const std::string_view point = entry.mountPoint;
    const bool contains =
        point == "/" || path == point ||
        (path.size() > point.size() && path.compare(0, point.size(), point) == 0 && path[point.size()] == '/');
    if (contains && (!best || point.size() >= best->mountPoint.size())) best = &entry;
  }
  return best;
}

std::string parentOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return "/";
  return path.substr(0, slash);
}

std::string joinPath(const std::string& dir, std::string_view name) {
  std::string out = dir;
  if (out.empty() || out.back() != '/') out.push_back('/');
  out.append(name);
  return out;
}

void pushComponents(std::deque<std::string>& queue, std::string_view path) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start <= path.size()) {
    const auto end = std::min(path.find('/', start), path.size());
    if (end > start) parts.emplace_back(path.substr(start, end - start));
    start = end + 1;
  }
  queue.insert(queue.begin(), parts.begin(), parts.end());
}

// The absolute byte path of a file name; empty when it cannot name a file.
std::string absoluteBytes(const std::wstring& path) {
  if (path.empty()) return {};
  for (wchar_t c : path) {
    const auto cp = static_cast<std::uint32_t>(c);
    if (c == L'\0' || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return {};
  }
  std::string bytes = toUtf8(path);
  if (bytes.front() == '/') return bytes;
  std::array<char, PATH_MAX> cwd{};
  if (!::getcwd(cwd.data(), cwd.size())) return {};
  return joinPath(cwd.data(), bytes);
}

struct Resolution {
  const MountEntry* mount = nullptr;  // the mount that holds it
  bool network = false;
};

// realpath() done by hand: symbolic links are followed one component at a
// time with lstat, which reads only the directory holding the link. Before a
// component is looked at, the mount it would lie on is checked: once that is a
// network mount the walk stops, so a dead server is never asked anything.
Resolution resolve(const MountList& mounts, const std::string& absolute) {
  Resolution result;
  std::deque<std::string> queue;
  pushComponents(queue, absolute);
  std::string resolved = "/";
  int linksFollowed = 0;
  constexpr int kMaxLinks = 40;  // the kernel's own limit
  while (!queue.empty()) {
    const std::string component = std::move(queue.front());
    queue.pop_front();
    if (component == ".") continue;
    if (component == "..") {
      resolved = parentOf(resolved);
      continue;
    }
    const std::string candidate = joinPath(resolved, component);
    if (const MountEntry* mount = mountFor(mounts, candidate); mount && isNetworkFileSystemType(mount->fsType)) {
      result.mount = mount;
      result.network = true;
      return result;
    }
    struct stat info {};
    if (::lstat(candidate.c_str(), &info) != 0) break;
    if (S_ISLNK(info.st_mode)) {
      if (++linksFollowed > kMaxLinks) break;
      std::array<char, PATH_MAX> target{};
      const ssize_t n = ::readlink(candidate.c_str(), target.data(), target.size());
      if (n <= 0 || static_cast<std::size_t>(n) >= target.size()) break;
      const std::string_view link(target.data(), static_cast<std::size_t>(n));
      if (link.front() == '/') resolved = "/";
      pushComponents(queue, link);
      continue;
    }
    resolved = candidate;
  }
  result.mount = mountFor(mounts, resolved);
  result.network = result.mount && isNetworkFileSystemType(result.mount->fsType);
  return result;
}

// Without a mount table: the nearest existing ancestor, found lexically.
std::string nearestExisting(const std::string& absolute) {
  std::string path = std::filesystem::path(absolute).lexically_normal().string();
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  for (;;) {
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 || path == "/") return path;
    path = parentOf(path);
  }
}

bool isRemovableDevice(unsigned major, unsigned minor) {
  if (major == 0) return false;  // anonymous devices: tmpfs, network mounts...
  const std::string base = "/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor);
  // A partition carries the flag on its whole-disk parent.
  for (const std::string& file : {base + "/removable", base + "/../removable"}) {
    const UniqueFd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) continue;
    char flag = 0;
    if (::read(fd.get(), &flag, 1) == 1) return flag == '1';
  }
  return false;
}

EDriveType typeFromMount(const MountEntry& mount) {
  const std::string_view type = mount.fsType;
  if (isNetworkFileSystemType(type)) return EDriveType::eRemote;
  if (type == "iso9660" || type == "udf") return EDriveType::eCdRom;
  if (type == "tmpfs" || type == "ramfs") return EDriveType::eRamDisk;
  return isRemovableDevice(mount.major, mount.minor) ? EDriveType::eRemovable : EDriveType::eFixed;
}

EDriveType typeFromMagic(std::int64_t magic) {
  if (isNetworkMagic(magic)) return EDriveType::eRemote;
  if (magic == kIsofsMagic || magic == kUdfMagic) return EDriveType::eCdRom;
  if (magic == kTmpfsMagic || magic == kRamfsMagic) return EDriveType::eRamDisk;
  return EDriveType::eFixed;
}

RootProbe statfsProbe(const std::string& root) {
  RootProbe probe;
  struct statfs info {};
  if (::statfs(root.c_str(), &info) != 0) {
    probe.error = errno;
  } else {
    probe.fsMagic = static_cast<std::int64_t>(info.f_type);
  }
  return probe;
}

std::string unescapeMountField(std::string_view field) {
  // The kernel writes space, tab, newline and backslash as \ooo.
  std::string out;
  out.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) && isOctal(field[i + 2]) &&
        isOctal(field[i + 3])) {
      out.push_back(
          static_cast<char>(((field[i + 1] - '0') << 6) | ((field[i + 2] - '0') << 3) | (field[i + 3] - '0')));
      i += 3;
      continue;
    }
    out.push_back(field[i]);
  }
  return out;
}

std::mutex& overrideMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<FileSystemInfo>& overrideInstance() {
  static std::shared_ptr<FileSystemInfo> instance;
  return instance;
}

std::shared_ptr<FileSystemInfo> systemInstance() {
  static const std::shared_ptr<FileSystemInfo> instance = std::make_shared<SystemFileSystemInfo>();
  return instance;
}

}  // namespace

// --- paths of the per-user files -------------------------------------------------------

EPathKind pathKind(const std::string& path, int* systemError) {
  if (systemError) *systemError = 0;
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return EPathKind::eMissing;
    if (systemError) *systemError = errno;
    return EPathKind::eInaccessible;
  }
  if (S_ISREG(st.st_mode)) return EPathKind::eRegularFile;
  return S_ISDIR(st.st_mode) ? EPathKind::eDirectory : EPathKind::eOther;
}

bool makePrivateFolders(const std::string& dir, std::string& error) {
  if (dir.empty()) return true;
  switch (pathKind(dir)) {
    case EPathKind::eDirectory:
      return true;
    case EPathKind::eMissing:
      break;
    default:
      error = "\"" + dir + "\" is not a folder";
      return false;
  }
  const auto slash = dir.find_last_of('/');
  if (slash != std::string::npos && slash > 0 && !makePrivateFolders(dir.substr(0, slash), error)) return false;
  if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
    error = "cannot create the folder \"" + dir + "\": " + std::strerror(errno);
    return false;
  }
  return true;
}

bool createPrivateFile(const std::string& path, int* systemError) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (systemError) *systemError = fd < 0 ? errno : 0;
  if (fd < 0) return false;
  ::close(fd);
  return true;
}

std::string describeSystemError(int systemError) {
  switch (systemError) {
    case 0:
      return std::string();
    case EACCES:
    case EPERM:
    case EROFS:
      return "permission denied";
    case ENOSPC:
    case EDQUOT:
      return "disk full";
    default:
      return std::strerror(systemError);
  }
}

// --- parsing -----------------------------------------------------------------------

std::vector<MountEntry> parseMountInfo(std::string_view text) {
  std::vector<MountEntry> entries;
  std::size_t lineStart = 0;
  while (lineStart < text.size()) {
    auto lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string_view::npos) lineEnd = text.size();
    const std::string_view line = text.substr(lineStart, lineEnd - lineStart);
    lineStart = lineEnd + 1;

    std::vector<std::string_view> fields;
    std::size_t pos = 0;
    while (pos < line.size()) {
      const auto end = std::min(line.find(' ', pos), line.size());
      if (end > pos) fields.push_back(line.substr(pos, end - pos));
      pos = end + 1;
    }
    // id parent major:minor root mount-point options [optional...] - type source super-options
    const auto separator = std::find(fields.begin() + std::min<std::size_t>(fields.size(), 6), fields.end(), "-");
    if (fields.size() < 7 || separator == fields.end() || separator + 1 == fields.end()) continue;

    MountEntry entry;
    const std::string_view device = fields[2];
    const auto colon = device.find(':');
    if (colon == std::string_view::npos) continue;
    const auto majorEnd = device.data() + colon;
    const auto minorEnd = device.data() + device.size();
    if (std::from_chars(device.data(), majorEnd, entry.major).ptr != majorEnd ||
        std::from_chars(majorEnd + 1, minorEnd, entry.minor).ptr != minorEnd) {
      continue;
    }
    entry.mountPoint = unescapeMountField(fields[4]);
    if (entry.mountPoint.empty() || entry.mountPoint.front() != '/') continue;
    entry.fsType = unescapeMountField(*(separator + 1));
    if (separator + 2 != fields.end()) entry.source = unescapeMountField(*(separator + 2));
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::optional<MountEntry> mountOfPath(const std::vector<MountEntry>& mounts, const std::string& absolutePath) {
  if (absolutePath.empty() || absolutePath.front() != '/') return std::nullopt;
  const Resolution resolution = resolve(mounts, absolutePath);
  if (!resolution.mount) return std::nullopt;
  return *resolution.mount;
}

bool isNetworkFileSystemType(std::string_view fsType) {
  static constexpr std::array<std::string_view, 24> kNetwork = {
      "nfs",       "nfs4",        "cifs",           "smb3",         "smbfs",       "smb2",
      "afs",       "coda",        "ncpfs",          "ncp",          "9p",          "ceph",
      "lustre",    "glusterfs",   "gpfs",           "davfs",        "fuse.sshfs",  "fuse.glusterfs",
      "fuse.s3fs", "fuse.rclone", "fuse.ceph-fuse", "fuse.gcsfuse", "fuse.davfs2", "fuse.smbnetfs"};
  return std::find(kNetwork.begin(), kNetwork.end(), fsType) != kNetwork.end();
}

// --- FileSystemInfo --------------------------------------------------------------------

bool FileSystemInfo::isRootReachable(const std::wstring& root) const {
  const EDriveType type = driveType(root);
  return type != EDriveType::eUnknown && type != EDriveType::eNoRootDir;
}

std::shared_ptr<FileSystemInfo> fileSystemInfo() {
  {
    const std::lock_guard lock(overrideMutex());
    if (overrideInstance()) return overrideInstance();
  }
  return systemInstance();
}

void setFileSystemInfo(std::shared_ptr<FileSystemInfo> info) {
  // Declared first so that the replaced instance dies after the lock is
  // released, in case its destructor calls back.
  std::shared_ptr<FileSystemInfo> previous;
  const std::lock_guard lock(overrideMutex());
  previous = std::exchange(overrideInstance(), std::move(info));
}

// --- the real implementation -------------------------------------------------------------

// Probes in flight, shared with their worker threads so that a worker stuck on
// a dead server outlives the object without touching freed memory.
struct SystemFileSystemInfo::Probes {
  struct Call {
    bool done = false;
    RootProbe result;
  };
  std::mutex mutex;
  std::condition_variable finished;
  std::map<std::string, std::shared_ptr<Call>> running;
};

SystemFileSystemInfo::SystemFileSystemInfo(std::chrono::milliseconds probeTimeout, Prober prober)
    : m_timeout(probeTimeout), m_prober(std::move(prober)), m_probes(std::make_shared<Probes>()) {
  if (!m_prober) m_prober = statfsProbe;
}

SystemFileSystemInfo::~SystemFileSystemInfo() = default;

bool SystemFileSystemInfo::isNetworkPath(const std::wstring& path) const {
  bool anyNetwork = true;
  const auto mounts = MountTable::instance().snapshot(&anyNetwork);
  // Without a network mount no path can lead onto one: the common case costs
  // no walk along the path.
  if (mounts && !anyNetwork) return false;
  const std::string absolute = absoluteBytes(path);
  if (absolute.empty()) return false;
  if (mounts) return resolve(*mounts, absolute).network;
  return isNetworkMagic(statfsProbe(nearestExisting(absolute)).fsMagic);
}

std::wstring SystemFileSystemInfo::rootOf(const std::wstring& path) const {
  const std::string absolute = absoluteBytes(path);
  if (absolute.empty()) return {};
  if (const auto mounts = MountTable::instance().snapshot()) {
    const Resolution resolution = resolve(*mounts, absolute);
    return resolution.mount ? fromUtf8(resolution.mount->mountPoint) : std::wstring();
  }
  // Walk up while the device stays the same.
  std::error_code ec;
  std::string current = std::filesystem::canonical(nearestExisting(absolute), ec).string();
  if (ec) return {};
  struct stat info {};
  if (::stat(current.c_str(), &info) != 0) return {};
  while (current != "/") {
    const std::string parent = parentOf(current);
    struct stat parentInfo {};
    if (::stat(parent.c_str(), &parentInfo) != 0 || parentInfo.st_dev != info.st_dev) break;
    current = parent;
  }
  return fromUtf8(current);
}

EDriveType SystemFileSystemInfo::driveType(const std::wstring& root) const {
  const std::string bytes = absoluteBytes(root);
  if (bytes.empty()) return EDriveType::eNoRootDir;

  std::shared_ptr<Probes::Call> call;
  bool start = false;
  {
    const std::lock_guard lock(m_probes->mutex);
    auto& slot = m_probes->running[bytes];
    if (!slot) {
      slot = std::make_shared<Probes::Call>();
      start = true;
    }
    call = slot;
  }
  if (start) {
    try {
      std::thread([probes = m_probes, prober = m_prober, bytes, call] {
        RootProbe result;
        try {
          result = prober(bytes);
        } catch (...) {
          result.error = EIO;
        }
        {
          const std::lock_guard lock(probes->mutex);
          call->result = result;
          call->done = true;
          const auto it = probes->running.find(bytes);
          if (it != probes->running.end() && it->second == call) probes->running.erase(it);
        }
        probes->finished.notify_all();
      }).detach();
    } catch (const std::system_error&) {
      const std::lock_guard lock(m_probes->mutex);
      m_probes->running.erase(bytes);
      return EDriveType::eUnknown;
    }
  }

  RootProbe probe;
  {
    std::unique_lock lock(m_probes->mutex);
    if (!m_probes->finished.wait_for(lock, m_timeout, [&] { return call->done; })) return EDriveType::eUnknown;
    probe = call->result;
  }
  if (probe.error == ENOENT || probe.error == ENOTDIR) return EDriveType::eNoRootDir;
  if (probe.error != 0 && probe.error != EACCES) return EDriveType::eUnknown;

  if (const auto mounts = MountTable::instance().snapshot()) {
    const Resolution resolution = resolve(*mounts, bytes);
    if (resolution.mount) return typeFromMount(*resolution.mount);
  }
  return typeFromMagic(probe.fsMagic);
}

std::vector<std::wstring> SystemFileSystemInfo::roots() const {
  std::vector<std::wstring> result;
  const auto mounts = MountTable::instance().snapshot();
  if (!mounts) {
    result.emplace_back(L"/");
    return result;
  }
  for (const auto& entry : *mounts) {
    if (isPseudoFileSystemType(entry.fsType)) continue;
    std::wstring point = fromUtf8(entry.mountPoint);
    if (std::find(result.begin(), result.end(), point) == result.end()) result.push_back(std::move(point));
  }
  return result;
}

}  // namespace ut::platform
