#pragma once

// Secrets (passwords, tokens) kept in the operating system's secret store —
// on this platform the desktop secret service — filed under slash-separated
// target names such as "Tessary/Tessacad/Login". One secret and one user name
// per target.
//
// Every operation gives up after a few seconds, so a missing, locked or hung
// secret service makes isOk() false (and the other operations fail) quickly
// instead of blocking the caller. Safe from any thread.

#include <ut/ut_export.h>

#include <wx/string.h>

#include <optional>
#include <utility>

namespace ut {

class UT_EXPORT SecretStore {
 public:
  SecretStore() = default;

  // Whether the secret service answers (within 1.5 s).
  bool isOk() const;
  // Files `user` and `secret` under `target`, replacing what was there. False
  // for an empty target or when the service refuses or does not answer.
  bool save(const wxString& target, const wxString& user, const wxString& secret);
  // The user name and secret filed under `target`; nullopt when there is none
  // (an empty target included) or the service fails.
  std::optional<std::pair<wxString, wxString>> load(const wxString& target) const;
  // Removes the secret under `target`; false when there was none or the
  // service fails.
  bool remove(const wxString& target);
};

}  // namespace ut
