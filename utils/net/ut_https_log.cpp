// What the HTTPS client writes to its debug log and traces, and where it finds
// its trusted certificates.

#include "ut_https_internal.h"
#include "ut_platform.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace ut::net {
namespace {

constexpr std::array<std::string_view, 4> kSecretHeaders = {
    "authorization:", "proxy-authorization:", "cookie:", "set-cookie:"};

bool startsWithNoCase(std::string_view line, std::string_view prefix) {
  if (line.size() < prefix.size()) return false;
  return std::equal(prefix.begin(), prefix.end(), line.begin(),
                    [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

// One line without its end; appends the redacted form to `out`.
void appendRedactedLine(std::string_view line, std::string& out) {
  for (std::string_view name : kSecretHeaders) {
    if (startsWithNoCase(line, name)) {
      out.append(line.substr(0, name.size()));
      out.append(" [redacted]");
      return;
    }
  }
  out.append(line);
}

}  // namespace

std::string caBundleBeside(const std::string& executablePath) {
  const auto slash = executablePath.rfind('/');
  if (slash == std::string::npos) return {};
  std::string candidate = executablePath.substr(0, slash + 1) + "cacert.pem";
  return platform::pathKind(candidate) == platform::EPathKind::eRegularFile ? candidate : std::string();
}

std::string programCaBundle() { return caBundleBeside(platform::toUtf8(platform::executablePath())); }

std::string redactHeaders(std::string_view lines) {
  std::string out;
  out.reserve(lines.size());
  while (!lines.empty()) {
    std::size_t end = lines.find('\n');
    end = end == std::string_view::npos ? lines.size() : end + 1;
    std::string_view line = lines.substr(0, end);
    std::size_t body = line.size();
    while (body > 0 && (line[body - 1] == '\n' || line[body - 1] == '\r')) --body;
    appendRedactedLine(line.substr(0, body), out);
    out.append(line.substr(body));
    lines.remove_prefix(end);
  }
  return out;
}

std::string urlForTrace(std::string_view url) {
  return std::string(url.substr(0, std::min(url.find('?'), url.find('#'))));
}

}  // namespace ut::net
