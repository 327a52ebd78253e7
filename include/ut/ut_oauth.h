#pragma once

// An OAuth 2 client: signs a user in against an authorization server
// (authorization code with or without PKCE, resource-owner password, a token
// from a social identity provider, or an anonymous machine login), keeps the
// tokens, refreshes them, and runs HttpsRequests on the user's behalf with a
// bearer token. It owns one HttpsService bound to the server's host.
//
// Endpoints: every login operation takes the endpoint it talks to as its
// first string argument — the authorization endpoint for
// authorizationRequest() and loginWithImplicitGrant(), the token endpoint for
// the others — as a path on the service's host or as a whole URL. A non-empty
// argument is remembered and used by later calls, refreshLogin() included; an
// empty one uses the endpoint remembered before. setTokenEndpoint() and
// setAuthorizationEndpoint() set them without logging in.
//
// Token requests are form posts ("application/x-www-form-urlencoded") whose
// values (code, user name, password, tokens, redirect URI, scope) are
// percent-encoded, so that any character survives; query values of the
// authorization URL are encoded the same way. A
// confidential client (constructor flag `basicClientAuthentication`)
// authenticates itself at the token endpoint with HTTP Basic (client id and
// secret); a public client sends no secret at all.
//
// Failures throw OAuthError with the messages quoted below; an HTTP reply of
// 400 or more from the server becomes "HTTP 401 Unauthorized:\n<body>",
// "HTTP 403 Forbidden:\n<body>" or "HTTP <status>:\n<body>". Network failures
// propagate as HttpsError (see ut_https.h).
//
// Not synchronised beyond the HttpsService's mutex: use one object from one
// thread at a time.
//
// Security: the PKCE code verifier comes from the C library's rand(), which
// this library never seeds; a host that uses PKCE must seed it (srand) from a
// strong source at start-up. Tokens, secrets and verifiers never reach the
// tracer or the HTTPS debug log.

#include <ut/ut_export.h>
#include <ut/ut_https.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace ut {

// How the current user signed in. eNotLoggedIn exactly when there is no
// access token.
enum class ELoginType : int {
  eNotLoggedIn = 0,
  eAuthorizationCode = 1,
  ePassword = 2,
  eSocial = 3,
  eAnonymous = 4,
  // Tokens handed over by restoreLogin() from an earlier session.
  eRestored = 5,
};

// The machine credentials of an anonymous login: an installation's identity
// registered with the server as a user of the password grant.
struct UT_EXPORT AnonymousCredentials {
  std::string m_machineId;
  std::string m_machineSecret;
};

class UT_EXPORT OAuthError : public HttpsError {
 public:
  using HttpsError::HttpsError;
};

class UT_EXPORT OAuthService {
 public:
  // Binds the client to the server at `domain` (host with optional ":port").
  // `basicClientAuthentication`: true for a confidential client, which sends
  // its id and secret with HTTP Basic on every token request; false for a
  // public client (its secret, if any, is never sent). An empty `scope` leaves
  // the scope out of every request.
  OAuthService(const std::string& clientId, const std::string& clientSecret, const std::string& redirectUri,
               const std::string& domain, bool basicClientAuthentication, const std::string& scope);
  ~OAuthService();
  OAuthService(OAuthService&&) noexcept;
  OAuthService& operator=(OAuthService&&) noexcept;
  OAuthService(const OAuthService&) = delete;
  OAuthService& operator=(const OAuthService&) = delete;

  std::string domain() const;
  // The access token; empty when not logged in.
  std::string token() const;
  std::string refreshToken() const;
  std::string clientId() const;
  std::string clientSecret() const;
  // Seconds the access token was granted for ("expires_in"); 0 when unknown.
  std::int64_t expiresIn() const;

  std::string urlEncode(const std::string& text);

  void setAuthorizationEndpoint(const std::string& url);
  void setTokenEndpoint(const std::string& url);
  std::string tokenEndpoint() const;

  // The URL to open in a browser. With `pkce`, a new 43-character code verifier
  // replaces any earlier one and its S256 challenge is part of the URL. Throws
  // OAuthError "Unable to create the authorization request. Authorization url
  // was not set yet." when no authorization endpoint is known.
  std::string authorizationRequest(const std::string& authorizationEndpoint, bool pkce);

  // Exchanges the code from the redirect for tokens. With `pkce`, sends the
  // verifier made by the last authorizationRequest(). True once logged in;
  // false when the server's reply holds no access token (state unchanged).
  bool loginWithAuthorizationCode(const std::string& code, const std::string& tokenEndpoint, bool pkce);
  // The resource-owner password grant.
  bool loginWithResourceOwnerPassword(const std::string& tokenEndpoint, const std::string& user,
                                      const std::string& password);
  // Exchanges a token issued by a social identity provider
  // (urn:ietf:params:oauth:grant-type:token-exchange with an access-token
  // subject).
  bool loginWithSocialToken(const std::string& tokenEndpoint, const std::string& socialToken);
  // Always throws OAuthError "The implicit grant flow is not (yet) implemented.".
  bool loginWithImplicitGrant(const std::string& authorizationEndpoint);
  // Logs the machine in with the password grant and keeps the credentials, so
  // that refreshLogin() can log in again when no refresh token was issued.
  bool loginAnonymously(const std::string& tokenEndpoint, const AnonymousCredentials& credentials);

  // Takes tokens saved from an earlier session, as a login of `type`
  // (eRestored by default; an anonymous login restored this way has no
  // credentials). An empty access token or eNotLoggedIn logs out instead.
  void restoreLogin(const std::string& accessToken, const std::string& refreshToken,
                    ELoginType type = ELoginType::eRestored);

  // Gets a new access token (and the rotated refresh token) and returns it.
  // Throws OAuthError: "Could not execute request because no user was logged
  // in." when not logged in; "Could not execute request because no anonymous
  // credentials are available" for an anonymous login without credentials;
  // "No refresh token available." otherwise without a refresh token (an
  // anonymous login then logs in again with its credentials instead);
  // "Unable to get token. Token url was not set yet." without a token endpoint;
  // the HTTP messages when the server refuses.
  std::string refreshLogin();

  // Runs `request` with "Authorization: Bearer <access token>". With
  // `refreshWhenUnauthorized`, a 401 reply is answered by one refreshLogin()
  // and one retry. Throws OAuthError "Could not execute request because no
  // user was logged in." when not logged in, and the HTTP messages for
  // statuses of 400 or more.
  HttpsResponse execute(const HttpsRequest& request, bool refreshWhenUnauthorized);

  ELoginType getLoginType() const;
  bool isLoggedIn() const;
  // Forgets the tokens, the code verifier, the lifetime, the login type and any
  // anonymous credentials. The endpoints stay.
  void logOut();

  // The debug log of the HTTPS service (see HttpsService::setLoggingFile).
  void setLoggingFile(const std::optional<FileName>& path);

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace ut
