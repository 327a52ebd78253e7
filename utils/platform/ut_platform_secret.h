#pragma once

// Internal platform functions for secrets, beside ut_platform.h: the desktop secret service (org.freedesktop.secrets,
// through libsecret) in the role of the Windows credential store. A secret is filed under a target name and carries a
// user name; the store keeps one secret per target. Every call gives up after `timeout`, so a missing, locked or hung
// service makes it fail quickly instead of blocking. Safe from any thread.

#include <chrono>
#include <optional>
#include <string>

namespace ut::platform {

struct StoredSecret {
  std::string user;
  std::string secret;
};

// Whether the secret service answers within the timeout.
bool secretServiceAvailable(std::chrono::milliseconds timeout);
// Files `secret` and `user` under `target` in the default collection,
// replacing whatever was there. False for an empty target or on failure.
bool saveSecret(const std::string& target, const std::string& user, const std::string& secret,
                std::chrono::milliseconds timeout);
// The secret filed under `target`; nullopt when there is none, the target is
// empty, or the service fails.
std::optional<StoredSecret> loadSecret(const std::string& target, std::chrono::milliseconds timeout);
// Removes the secret filed under `target`; true when one was removed.
bool removeSecret(const std::string& target, std::chrono::milliseconds timeout);

}  // namespace ut::platform
