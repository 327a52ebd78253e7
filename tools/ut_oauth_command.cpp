// `ut oauth login|refresh|status|logout`: signs in against an OAuth 2 server
// given by its endpoints and client id, keeping the tokens in the secret store.

#include "ut_tool.h"

#include <ut/ut_oauth.h>
#include <ut/ut_secretstore.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <random>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ut::tool {
namespace {

struct OAuthOptions {
  std::string authUrl;
  std::string tokenUrl;
  std::string clientId;
  std::string clientSecret;
  std::string scope;
  std::string target;
  std::string user;  // password login when set
  int port = 0;
  int wait = 300;
  bool showToken = false;
  bool json = false;
};

// The host (with port) of a whole URL.
std::string hostOf(const std::string& url) {
  const auto start = url.find("://");
  if (start == std::string::npos) throw UsageError("not a whole URL: " + url);
  const auto end = url.find('/', start + 3);
  return url.substr(start + 3, end == std::string::npos ? std::string::npos : end - start - 3);
}

// Where the tokens of this client at this server are kept.
std::string targetOf(const OAuthOptions& o) {
  return o.target.empty() ? "ut/oauth/" + o.clientId + "@" + hostOf(o.tokenUrl) : o.target;
}

OAuthService makeService(const OAuthOptions& o, const std::string& redirectUri) {
  if (o.tokenUrl.empty() || o.clientId.empty()) throw UsageError("--token-url and --client-id are required");
  OAuthService service(o.clientId, o.clientSecret, redirectUri, hostOf(o.tokenUrl), !o.clientSecret.empty(), o.scope);
  service.setTokenEndpoint(o.tokenUrl);
  return service;
}

SecretStore openStore() {
  SecretStore store;
  if (!store.isOk()) throw OperationError("the secret store is not available");
  return store;
}

void saveTokens(const OAuthOptions& o, const OAuthService& service) {
  const nlohmann::json record = {{"access_token", service.token()},
                                 {"refresh_token", service.refreshToken()},
                                 {"token_url", o.tokenUrl},
                                 {"expires_in", service.expiresIn()},
                                 {"obtained_at", static_cast<std::int64_t>(std::time(nullptr))}};
  if (!openStore().save(fromUtf8(targetOf(o)), fromUtf8(o.clientId), fromUtf8(record.dump())))
    throw OperationError("cannot save the tokens in the secret store");
}

std::optional<nlohmann::json> loadTokens(const OAuthOptions& o) {
  const auto stored = openStore().load(fromUtf8(targetOf(o)));
  if (!stored) return std::nullopt;
  nlohmann::json record = nlohmann::json::parse(toUtf8(stored->second), nullptr, false);
  if (!record.is_object()) return std::nullopt;
  return record;
}

std::string readPassword() {
  if (::isatty(STDIN_FILENO)) std::fprintf(stderr, "Password: ");
  std::string password;
  std::getline(std::cin, password);
  return password;
}

// A loopback listener for the browser's redirect.
class RedirectListener {
 public:
  explicit RedirectListener(int port) {
    m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (m_fd < 0 || ::bind(m_fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(m_fd, 4) != 0 ||
        ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
      throw OperationError("cannot listen on 127.0.0.1:" + std::to_string(port));
    m_port = ntohs(address.sin_port);
  }
  ~RedirectListener() {
    if (m_fd >= 0) ::close(m_fd);
  }
  RedirectListener(const RedirectListener&) = delete;
  RedirectListener& operator=(const RedirectListener&) = delete;

  int port() const { return m_port; }

  // Waits for the redirect and answers it; the code, or throws.
  std::string awaitCode(int seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd p{m_fd, POLLIN, 0};
      if (::poll(&p, 1, 500) <= 0) continue;
      const int client = ::accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) continue;
      const std::string line = readRequestLine(client);
      const std::string code = parameter(line, "code"), error = parameter(line, "error");
      const std::string page = code.empty() ? "Sign-in failed: " + (error.empty() ? "no code" : error) + "\n"
                                            : "Signed in. You may close this window.\n";
      const std::string reply =
          std::string(code.empty() ? "HTTP/1.1 400 Bad Request" : "HTTP/1.1 200 OK") +
          "\r\nContent-Type: text/plain\r\nConnection: close\r\nContent-Length: " + std::to_string(page.size()) +
          "\r\n\r\n" + page;
      [[maybe_unused]] const auto written = ::write(client, reply.data(), reply.size());
      ::close(client);
      if (line.rfind("GET /callback", 0) != 0) continue;
      if (code.empty()) throw OperationError("the server refused the sign-in: " + (error.empty() ? line : error));
      return code;
    }
    throw OperationError("no sign-in arrived within " + std::to_string(seconds) + " s");
  }

 private:
  static std::string readRequestLine(int client) {
    std::string data;
    char buffer[2048];
    for (int i = 0; i < 20 && data.find("\r\n") == std::string::npos && data.size() < 16384; ++i) {
      pollfd p{client, POLLIN, 0};
      if (::poll(&p, 1, 250) <= 0) continue;
      const ssize_t n = ::read(client, buffer, sizeof(buffer));
      if (n <= 0) break;
      data.append(buffer, static_cast<size_t>(n));
    }
    return data.substr(0, data.find("\r\n"));
  }
  // A query parameter of "GET /path?query HTTP/1.1", percent-decoded.
  static std::string parameter(const std::string& line, const std::string& name) {
    const auto query = line.find('?');
    if (query == std::string::npos) return {};
    const std::string q = line.substr(query + 1, line.find(' ', query) - query - 1);
    for (size_t at = 0; at < q.size();) {
      const auto end = std::min(q.find('&', at), q.size());
      const std::string pair = q.substr(at, end - at);
      if (pair.rfind(name + "=", 0) == 0) return decode(pair.substr(name.size() + 1));
      at = end + 1;
    }
    return {};
  }
  static std::string decode(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '%' && i + 2 < text.size()) {
        out.push_back(static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)));
        i += 2;
      } else {
        out.push_back(text[i] == '+' ? ' ' : text[i]);
      }
    }
    return out;
  }

  int m_fd = -1;
  int m_port = 0;
};

int runLogin(const OAuthOptions& o) {
  if (!o.user.empty()) {
    OAuthService service = makeService(o, "");
    if (!service.loginWithResourceOwnerPassword("", o.user, readPassword()))
      throw OperationError("the server's reply held no access token");
    saveTokens(o, service);
    std::fprintf(stderr, "Signed in as %s.\n", o.user.c_str());
    return eExitOk;
  }
  if (o.authUrl.empty()) throw UsageError("--auth-url is required for a browser sign-in (or give --user)");
  // The PKCE verifier comes from rand(): seed it from a strong source first.
  std::srand(std::random_device{}());
  RedirectListener listener(o.port);
  OAuthService service = makeService(o, "http://127.0.0.1:" + std::to_string(listener.port()) + "/callback");
  std::printf("Open this URL in a browser to sign in:\n%s\n", service.authorizationRequest(o.authUrl, true).c_str());
  std::fflush(stdout);
  const std::string code = listener.awaitCode(o.wait);
  if (!service.loginWithAuthorizationCode(code, "", true))
    throw OperationError("the server's reply held no access token");
  saveTokens(o, service);
  std::fprintf(stderr, "Signed in.\n");
  return eExitOk;
}

int runRefresh(const OAuthOptions& o) {
  const auto record = loadTokens(o);
  if (!record) throw OperationError("not signed in (nothing kept under " + targetOf(o) + ")");
  OAuthService service = makeService(o, "");
  service.restoreLogin(record->value("access_token", ""), record->value("refresh_token", ""));
  service.refreshLogin();
  saveTokens(o, service);
  if (o.showToken) std::printf("%s\n", service.token().c_str());
  std::fprintf(stderr, "Refreshed.\n");
  return eExitOk;
}

int runStatus(const OAuthOptions& o) {
  const auto record = loadTokens(o);
  const std::int64_t obtained = record ? record->value("obtained_at", std::int64_t(0)) : 0;
  const std::int64_t expiresIn = record ? record->value("expires_in", std::int64_t(0)) : 0;
  const std::int64_t remaining = obtained + expiresIn - static_cast<std::int64_t>(std::time(nullptr));
  if (o.json) {
    nlohmann::json out = {{"target", targetOf(o)}, {"signed_in", record.has_value()}};
    if (record) {
      out["has_refresh_token"] = !record->value("refresh_token", "").empty();
      if (expiresIn > 0) out["expires_in"] = remaining;
      if (o.showToken) out["access_token"] = record->value("access_token", "");
    }
    std::printf("%s\n", out.dump(2).c_str());
  } else if (!record) {
    std::printf("Not signed in (nothing kept under %s).\n", targetOf(o).c_str());
  } else {
    std::printf("Signed in (kept under %s).\n", targetOf(o).c_str());
    if (expiresIn > 0)
      std::printf(remaining > 0 ? "The access token expires in %lld s.\n" : "The access token expired %lld s ago.\n",
                  static_cast<long long>(remaining > 0 ? remaining : -remaining));
    std::printf("Refresh token: %s.\n", record->value("refresh_token", "").empty() ? "none" : "kept");
    if (o.showToken) std::printf("Access token: %s\n", record->value("access_token", "").c_str());
  }
  return record ? eExitOk : eExitFailed;
}

int runLogout(const OAuthOptions& o) {
  if (!openStore().remove(fromUtf8(targetOf(o)))) {
    std::fprintf(stderr, "Was not signed in.\n");
    return eExitOk;
  }
  std::fprintf(stderr, "Signed out.\n");
  return eExitOk;
}

// Runs a command, reporting the network layer's failures as failed operations.
int guarded(int (*run)(const OAuthOptions&), const OAuthOptions& o) {
  try {
    return run(o);
  } catch (const HttpsError& error) {
    throw OperationError(error.what());
  }
}

CLI::App* addServerOptions(CLI::App& parent, const char* name, const char* description,
                           const std::shared_ptr<OAuthOptions>& o) {
  CLI::App* command = parent.add_subcommand(name, description);
  command->add_option("--token-url", o->tokenUrl, "The token endpoint (whole URL)")->required()->type_name("URL");
  command->add_option("--client-id", o->clientId, "The client id")->required()->type_name("ID");
  command
      ->add_option("--client-secret", o->clientSecret,
                   "The secret of a confidential client (sent with HTTP Basic); none for a public client")
      ->type_name("SECRET");
  command->add_option("--scope", o->scope, "The scope to ask for")->type_name("SCOPE");
  command->add_option("--target", o->target, "The secret-store name the tokens are kept under")->type_name("NAME");
  return command;
}

}  // namespace

void addOAuthCommands(CLI::App& app, Context& context) {
  CLI::App* oauth = app.add_subcommand(
      "oauth", "Sign in against an OAuth 2 server; tokens are kept in the secret store and printed only when asked");
  oauth->require_subcommand(1);

  auto login = std::make_shared<OAuthOptions>();
  CLI::App* l = addServerOptions(*oauth, "login",
                                 "Sign in: in a browser by authorization code with PKCE (prints the URL to open and "
                                 "waits on 127.0.0.1 for the redirect), or with --user by password (read from "
                                 "standard input)",
                                 login);
  l->add_option("--auth-url", login->authUrl, "The authorization endpoint (whole URL)")->type_name("URL");
  l->add_option("--user", login->user, "Sign in with this user name and a password instead")->type_name("NAME");
  l->add_option("--port", login->port, "The loopback port of the redirect (default: a free one)")->type_name("PORT");
  l->add_option("--wait", login->wait, "Seconds to wait for the browser (default 300)")->type_name("SECONDS");
  l->callback([&context, login] { context.action = [login] { return guarded(runLogin, *login); }; });

  auto refresh = std::make_shared<OAuthOptions>();
  CLI::App* r = addServerOptions(*oauth, "refresh", "Get a new access token with the kept refresh token", refresh);
  r->add_flag("--show-token", refresh->showToken, "Print the new access token");
  r->callback([&context, refresh] { context.action = [refresh] { return guarded(runRefresh, *refresh); }; });

  auto status = std::make_shared<OAuthOptions>();
  CLI::App* s =
      addServerOptions(*oauth, "status", "Say whether tokens are kept and when they expire (exit 1: none)", status);
  s->add_flag("--show-token", status->showToken, "Print the access token too");
  s->add_flag("--json", status->json, "Print JSON");
  s->callback([&context, status] { context.action = [status] { return guarded(runStatus, *status); }; });

  auto logout = std::make_shared<OAuthOptions>();
  CLI::App* o = addServerOptions(*oauth, "logout", "Forget the kept tokens", logout);
  o->callback([&context, logout] { context.action = [logout] { return guarded(runLogout, *logout); }; });
}

}  // namespace ut::tool
