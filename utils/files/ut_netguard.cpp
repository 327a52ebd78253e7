// The unavailable-network-path guard.

#include "ut_netguard.h"

#include "ut_platform.h"

#include <algorithm>
#include <chrono>

namespace ut::files {

namespace {

std::int64_t steadyMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

constexpr std::int64_t kMinuteMs = 60000;

}  // namespace

std::wstring uncRoot(const std::wstring& path) {
  if (path.size() < 3 || path[0] != L'/' || path[1] != L'/' || path[2] == L'/') return {};
  const auto serverEnd = path.find(L'/', 2);
  if (serverEnd == std::wstring::npos) return path;
  const auto shareEnd = std::min(path.find(L'/', serverEnd + 1), path.size());
  if (shareEnd == serverEnd + 1) return path.substr(0, serverEnd);  // no share: the server is the root
  return path.substr(0, shareEnd);
}

NetworkPathGuard::NetworkPathGuard(Clock clock) : m_clock(clock ? std::move(clock) : Clock(steadyMilliseconds)) {
  m_refused.max_load_factor(0.85f);
}

NetworkPathGuard& NetworkPathGuard::instance() {
  static NetworkPathGuard guard;
  return guard;
}

void NetworkPathGuard::reset(Clock clock) {
  const std::lock_guard lock(m_mutex);
  m_clock = clock ? std::move(clock) : Clock(steadyMilliseconds);
  m_refused.clear();
}

std::size_t NetworkPathGuard::refusedCount() const {
  const std::lock_guard lock(m_mutex);
  return m_refused.size();
}

// Under the lock: whether `root` is refused now; an expired refusal is
// dropped so that the root is asked again.
bool NetworkPathGuard::refusedNow(const std::wstring& root, OdString* message) {
  const auto it = m_refused.find(root);
  if (it == m_refused.end()) return false;
  const std::int64_t elapsed = m_clock() - it->second;
  if (elapsed >= kWindowMs) {
    m_refused.erase(it);
    return false;
  }
  if (message) {
    const auto minutes = std::max<std::int64_t>(1, (kWindowMs - elapsed) / kMinuteMs);
    message->format(
        L"The network path with root directory '%ls' is not available at the moment and will be ignored for the "
        L"next %d minute(s) or until restart.",
        root.c_str(), static_cast<int>(minutes));
  }
  return true;
}

// Outside the lock: the drive type of `root`, asked once for all the threads
// that want it at the same time.
int NetworkPathGuard::askDriveType(const std::wstring& root) {
  std::shared_ptr<Probe> probe;
  bool asker = false;
  {
    std::unique_lock lock(m_mutex);
    auto& slot = m_probes[root];
    if (!slot) {
      slot = std::make_shared<Probe>();
      asker = true;
    }
    probe = slot;
    if (!asker) {
      m_probed.wait(lock, [&] { return probe->done; });
      return probe->driveType;
    }
  }
  const auto info = platform::fileSystemInfo();
  auto type = info->driveType(root);
  if (type == platform::EDriveType::eNoRootDir && root.back() != L'/') type = info->driveType(root + L'/');
  {
    const std::lock_guard lock(m_mutex);
    probe->done = true;
    probe->driveType = static_cast<int>(type);
    if (type == platform::EDriveType::eUnknown || type == platform::EDriveType::eNoRootDir)
      m_refused[root] = m_clock();  // recorded before anyone can look again
    m_probes.erase(root);
  }
  m_probed.notify_all();
  return probe->driveType;
}

bool NetworkPathGuard::admits(const std::wstring& path, OdString* message) {
  if (path.empty()) return true;
  std::wstring root = uncRoot(path);
  if (root.empty()) {
    const auto info = platform::fileSystemInfo();
    if (!info->isNetworkPath(path)) return true;
    root = info->rootOf(path);
    if (root.empty()) return true;  // nothing to remember it by; the test itself decides
  }
  {
    const std::lock_guard lock(m_mutex);
    if (refusedNow(root, message)) return false;
  }
  const int type = askDriveType(root);
  if (type != static_cast<int>(platform::EDriveType::eUnknown) &&
      type != static_cast<int>(platform::EDriveType::eNoRootDir))
    return true;
  if (message) {
    message->format(
        L"The network path with root directory '%ls' is not available at the moment (drive type = %d) and will be "
        L"ignored for the next %d minutes or until restart.",
        root.c_str(), type, static_cast<int>(kWindowMs / kMinuteMs));
  }
  return false;
}

}  // namespace ut::files
