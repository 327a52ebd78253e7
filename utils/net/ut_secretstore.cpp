// SecretStore: the public face of the platform's secret service.

#include "ut_platform_secret.h"

#include <ut/ut_secretstore.h>

#include <chrono>

namespace ut {
namespace {

// Long enough for a working service under load, short enough that a hung one
// does not freeze the application.
constexpr std::chrono::milliseconds kProbeTimeout{1500};
constexpr std::chrono::milliseconds kOperationTimeout{5000};

std::string utf8(const wxString& text) {
  const wxScopedCharBuffer buffer = text.utf8_str();
  return std::string(buffer.data(), buffer.length());
}

}  // namespace

bool SecretStore::isOk() const { return platform::secretServiceAvailable(kProbeTimeout); }

bool SecretStore::save(const wxString& target, const wxString& user, const wxString& secret) {
  return platform::saveSecret(utf8(target), utf8(user), utf8(secret), kOperationTimeout);
}

std::optional<std::pair<wxString, wxString>> SecretStore::load(const wxString& target) const {
  const auto stored = platform::loadSecret(utf8(target), kOperationTimeout);
  if (!stored) return std::nullopt;
  return std::make_pair(wxString::FromUTF8(stored->user.data(), stored->user.size()),
                        wxString::FromUTF8(stored->secret.data(), stored->secret.size()));
}

bool SecretStore::remove(const wxString& target) { return platform::removeSecret(utf8(target), kOperationTimeout); }

}  // namespace ut
