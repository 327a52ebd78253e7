#pragma once

// The unavailable-network-path guard that stands before every existence test
// of the file layer. A name on a network location whose root does not answer
// is refused, and the root is remembered for 10 minutes: until then every
// name below it is refused at once, without touching the network again.
//
// Which names are network names, what their root is and whether that root
// answers come from the platform layer's FileSystemInfo; strings beginning
// with "//server/share" also count as network names, with that share as
// their root. Internal: not exported.

#include "OdString.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace ut::files {

class NetworkPathGuard {
 public:
  // Milliseconds of a monotonic clock.
  using Clock = std::function<std::int64_t()>;

  static constexpr std::int64_t kWindowMs = 600000;

  // `clock` empty: the steady clock.
  explicit NetworkPathGuard(Clock clock = {});

  // The process-wide guard.
  static NetworkPathGuard& instance();

  // True when `path` (native separators) may be tested for existence. When
  // false and `message` is given, it receives why. An empty path passes.
  bool admits(const std::wstring& path, OdString* message = nullptr);

  // For tests: replaces the clock (empty: the steady clock) and forgets every
  // refused root. Not to be called while other threads use the guard.
  void reset(Clock clock = {});
  // How many roots are refused now (expired ones included until looked at).
  std::size_t refusedCount() const;

 private:
  struct Probe {
    bool done = false;
    int driveType = 0;
  };

  bool refusedNow(const std::wstring& root, OdString* message);
  int askDriveType(const std::wstring& root);

  Clock m_clock;
  mutable std::mutex m_mutex;
  std::condition_variable m_probed;
  std::unordered_map<std::wstring, std::int64_t> m_refused;           // root -> when it was refused
  std::unordered_map<std::wstring, std::shared_ptr<Probe>> m_probes;  // drive-type questions in flight
};

// The share root of a "//server/share/..." string ("//server/share"), or
// empty when `path` is not of that form.
std::wstring uncRoot(const std::wstring& path);

}  // namespace ut::files
