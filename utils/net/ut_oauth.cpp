// OAuthService: the OAuth 2 client on top of one HttpsService.

#include <ut/ut_encodings.h>
#include <ut/ut_oauth.h>
#include <ut/ut_tracer.h>

#include <nlohmann/json.hpp>

#include <utility>

namespace ut {
namespace {

constexpr int kTraceLevel = 2;
constexpr std::size_t kVerifierLength = 43;

constexpr const char* kNotLoggedIn = "Could not execute request because no user was logged in.";
constexpr const char* kNoRefreshToken = "No refresh token available.";
constexpr const char* kNoAnonymousCredentials =
    "Could not execute request because no anonymous credentials are available";
constexpr const char* kNoTokenUrl = "Unable to get token. Token url was not set yet.";
constexpr const char* kNoAuthorizationUrl =
    "Unable to create the authorization request. Authorization url was not set yet.";
constexpr const char* kNoImplicitGrant = "The implicit grant flow is not (yet) implemented.";

// The message for a server reply of 400 or more.
std::string httpMessage(const HttpsResponse& response) {
  switch (response.m_statusCode) {
    case 401:
      return "HTTP 401 Unauthorized:\n" + response.m_body;
    case 403:
      return "HTTP 403 Forbidden:\n" + response.m_body;
    default:
      return "HTTP " + std::to_string(response.m_statusCode) + ":\n" + response.m_body;
  }
}

std::string withoutQuery(const std::string& url) { return url.substr(0, url.find('?')); }

void trace(const std::string& what, const std::string& endpoint, const std::string& outcome) {
  SafeTracerAccessor access;
  UtTracer& tracer = access.get();
  if (tracer.traceLevel() < kTraceLevel) return;
  tracer.str(kTraceLevel) << "OAuth " << what << " at " << withoutQuery(endpoint) << ": " << outcome << std::endl;
}

// The tokens of a successful token reply.
struct TokenReply {
  std::string accessToken;
  std::string refreshToken;
  std::int64_t expiresIn = 0;
};

std::optional<TokenReply> parseTokenReply(const std::string& body) {
  const nlohmann::json reply = nlohmann::json::parse(body, nullptr, false);
  if (!reply.is_object()) return std::nullopt;
  const auto access = reply.find("access_token");
  if (access == reply.end() || !access->is_string() || access->get<std::string>().empty()) return std::nullopt;
  TokenReply tokens;
  tokens.accessToken = access->get<std::string>();
  if (const auto refresh = reply.find("refresh_token"); refresh != reply.end() && refresh->is_string())
    tokens.refreshToken = refresh->get<std::string>();
  if (const auto expires = reply.find("expires_in"); expires != reply.end() && expires->is_number_integer())
    tokens.expiresIn = expires->get<std::int64_t>();
  return tokens;
}

}  // namespace

struct OAuthService::State {
  State(std::string id, std::string secret, std::string redirect, const std::string& domain, bool basic,
        std::string scopeText)
      : basicClientAuthentication(basic),
        clientId(std::move(id)),
        clientSecret(std::move(secret)),
        redirectUri(std::move(redirect)),
        scope(std::move(scopeText)),
        https(domain) {}

  bool basicClientAuthentication;
  std::string clientId;
  std::string clientSecret;
  std::string redirectUri;
  std::string scope;
  std::string authorizationEndpoint;
  std::string tokenEndpoint;
  std::string accessToken;
  std::string refreshToken;
  std::string codeVerifier;
  std::int64_t expiresIn = 0;
  ELoginType loginType = ELoginType::eNotLoggedIn;
  std::optional<AnonymousCredentials> anonymous;
  HttpsService https;

  // "&scope=<scope>", or nothing for an empty scope.
  std::string scopePart() { return scope.empty() ? std::string() : "&scope=" + https.urlEncode(scope); }

  void remember(std::string& endpoint, const std::string& given) {
    if (!given.empty()) endpoint = given;
  }

  // Posts a token request and, on success, takes the tokens. False when the
  // reply holds no access token.
  bool requestTokens(const std::string& grant, const std::string& body, ELoginType type, bool refreshing = false) {
    if (tokenEndpoint.empty()) throw OAuthError(kNoTokenUrl);
    HttpsRequestBuilder builder;
    builder.post().request(tokenEndpoint).body(body).setAcceptHeader("application/json");
    if (basicClientAuthentication)
      builder.authorizeCredentials(https.urlEncode(clientId), https.urlEncode(clientSecret));
    HttpsResponse response;
    try {
      response = https.execute(builder.build());
    } catch (const HttpsResponseError& error) {
      trace(grant + " token request", tokenEndpoint, "HTTP " + std::to_string(error.response().m_statusCode));
      throw OAuthError(httpMessage(error.response()));
    }
    std::optional<TokenReply> tokens = parseTokenReply(response.m_body);
    trace(grant + " token request", tokenEndpoint, tokens ? "signed in" : "reply without an access token");
    if (!tokens) return false;
    accessToken = std::move(tokens->accessToken);
    // A refresh reply without a new refresh token leaves the old one valid.
    if (!tokens->refreshToken.empty() || !refreshing) refreshToken = std::move(tokens->refreshToken);
    expiresIn = tokens->expiresIn;
    loginType = type;
    return true;
  }

  void clearLogin() {
    accessToken.clear();
    refreshToken.clear();
    codeVerifier.clear();
    expiresIn = 0;
    loginType = ELoginType::eNotLoggedIn;
    anonymous.reset();
  }
};

OAuthService::OAuthService(const std::string& clientId, const std::string& clientSecret, const std::string& redirectUri,
                           const std::string& domain, bool basicClientAuthentication, const std::string& scope)
    : m_state(std::make_unique<State>(clientId, clientSecret, redirectUri, domain, basicClientAuthentication, scope)) {}

OAuthService::~OAuthService() = default;
OAuthService::OAuthService(OAuthService&&) noexcept = default;
OAuthService& OAuthService::operator=(OAuthService&&) noexcept = default;

std::string OAuthService::domain() const { return m_state->https.domain(); }
std::string OAuthService::token() const { return m_state->accessToken; }
std::string OAuthService::refreshToken() const { return m_state->refreshToken; }
std::string OAuthService::clientId() const { return m_state->clientId; }
std::string OAuthService::clientSecret() const { return m_state->clientSecret; }
std::int64_t OAuthService::expiresIn() const { return m_state->expiresIn; }
std::string OAuthService::urlEncode(const std::string& text) { return m_state->https.urlEncode(text); }

void OAuthService::setAuthorizationEndpoint(const std::string& url) { m_state->authorizationEndpoint = url; }
void OAuthService::setTokenEndpoint(const std::string& url) { m_state->tokenEndpoint = url; }
std::string OAuthService::tokenEndpoint() const { return m_state->tokenEndpoint; }

std::string OAuthService::authorizationRequest(const std::string& authorizationEndpoint, bool pkce) {
  State& s = *m_state;
  s.remember(s.authorizationEndpoint, authorizationEndpoint);
  if (s.authorizationEndpoint.empty()) throw OAuthError(kNoAuthorizationUrl);
  std::string challenge;
  if (pkce) {
    s.codeVerifier = randomBase64url(kVerifierLength);
    challenge = "&code_challenge=" + base64UrlSha256(s.codeVerifier) + "&code_challenge_method=S256";
  }
  return s.authorizationEndpoint + "?response_type=code&client_id=" + s.https.urlEncode(s.clientId) +
         "&redirect_uri=" + s.https.urlEncode(s.redirectUri) + s.scopePart() + challenge;
}

bool OAuthService::loginWithAuthorizationCode(const std::string& code, const std::string& tokenEndpoint, bool pkce) {
  State& s = *m_state;
  s.remember(s.tokenEndpoint, tokenEndpoint);
  std::string body = "grant_type=authorization_code&code=" + s.https.urlEncode(code) +
                     "&client_id=" + s.https.urlEncode(s.clientId) +
                     "&redirect_uri=" + s.https.urlEncode(s.redirectUri) + s.scopePart();
  if (pkce) body += "&code_verifier=" + s.https.urlEncode(s.codeVerifier);
  return s.requestTokens("authorization_code", body, ELoginType::eAuthorizationCode);
}

bool OAuthService::loginWithResourceOwnerPassword(const std::string& tokenEndpoint, const std::string& user,
                                                  const std::string& password) {
  State& s = *m_state;
  s.remember(s.tokenEndpoint, tokenEndpoint);
  const std::string body = "grant_type=password&username=" + s.https.urlEncode(user) +
                           "&password=" + s.https.urlEncode(password) + s.scopePart();
  return s.requestTokens("password", body, ELoginType::ePassword);
}

bool OAuthService::loginWithSocialToken(const std::string& tokenEndpoint, const std::string& socialToken) {
  State& s = *m_state;
  s.remember(s.tokenEndpoint, tokenEndpoint);
  const std::string body = "grant_type=" + s.https.urlEncode("urn:ietf:params:oauth:grant-type:token-exchange") +
                           "&subject_token=" + s.https.urlEncode(socialToken) +
                           "&subject_token_type=" + s.https.urlEncode("urn:ietf:params:oauth:token-type:access_token") +
                           s.scopePart();
  return s.requestTokens("token-exchange", body, ELoginType::eSocial);
}

bool OAuthService::loginWithImplicitGrant(const std::string&) { throw OAuthError(kNoImplicitGrant); }

bool OAuthService::loginAnonymously(const std::string& tokenEndpoint, const AnonymousCredentials& credentials) {
  if (!loginWithResourceOwnerPassword(tokenEndpoint, credentials.m_machineId, credentials.m_machineSecret))
    return false;
  m_state->loginType = ELoginType::eAnonymous;
  m_state->anonymous = credentials;
  return true;
}

void OAuthService::restoreLogin(const std::string& accessToken, const std::string& refreshToken, ELoginType type) {
  State& s = *m_state;
  s.clearLogin();
  if (accessToken.empty() || type == ELoginType::eNotLoggedIn) return;
  s.accessToken = accessToken;
  s.refreshToken = refreshToken;
  s.loginType = type;
}

std::string OAuthService::refreshLogin() {
  State& s = *m_state;
  if (s.loginType == ELoginType::eNotLoggedIn) throw OAuthError(kNotLoggedIn);
  if (s.loginType == ELoginType::eAnonymous && !s.anonymous) throw OAuthError(kNoAnonymousCredentials);
  if (s.refreshToken.empty()) {
    if (s.loginType != ELoginType::eAnonymous) throw OAuthError(kNoRefreshToken);
    const AnonymousCredentials credentials = *s.anonymous;
    if (!loginAnonymously({}, credentials)) throw OAuthError(kNoRefreshToken);
    return s.accessToken;
  }
  const std::string body =
      "grant_type=refresh_token&refresh_token=" + s.https.urlEncode(s.refreshToken) + s.scopePart();
  if (!s.requestTokens("refresh_token", body, s.loginType, true)) throw OAuthError(kNoRefreshToken);
  return s.accessToken;
}

HttpsResponse OAuthService::execute(const HttpsRequest& request, bool refreshWhenUnauthorized) {
  State& s = *m_state;
  if (s.accessToken.empty()) throw OAuthError(kNotLoggedIn);
  for (int attempt = 0;; ++attempt) {
    try {
      return s.https.execute(HttpsRequestBuilder(request).authorizeBearer(s.accessToken).build());
    } catch (const HttpsResponseError& error) {
      const bool retry = refreshWhenUnauthorized && attempt == 0 && error.response().m_statusCode == 401 &&
                         (!s.refreshToken.empty() || s.anonymous);
      if (!retry) throw OAuthError(httpMessage(error.response()));
    }
    refreshLogin();
  }
}

ELoginType OAuthService::getLoginType() const { return m_state->loginType; }
bool OAuthService::isLoggedIn() const { return !m_state->accessToken.empty(); }
void OAuthService::logOut() { m_state->clearLogin(); }
void OAuthService::setLoggingFile(const std::optional<FileName>& path) { m_state->https.setLoggingFile(path); }

}  // namespace ut
