// The OAuth 2 client against a real authorization server (tests/net/oauth-server).

#include "net_test_servers.h"

#include <ut/ut_encodings.h>
#include <ut/ut_oauth.h>
#include <ut/ut_tracer.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <map>
#include <thread>

namespace ut {
namespace {

using nlohmann::json;

const std::string kRedirect = "http://127.0.0.1/callback";

// Plays the browser up to the redirect to the client; the code it carries.
std::string browseForCode(const std::string& domain, const std::string& authorizationUrl) {
  const std::string location = test::followToRedirect(domain, authorizationUrl, kRedirect);
  const auto at = location.find("code=");
  return at == std::string::npos ? std::string() : location.substr(at + 5, location.find('&', at) - at - 5);
}

class OAuthServiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { s_server = new test::OAuthTestServer(); }
  static void TearDownTestSuite() {
    delete s_server;
    s_server = nullptr;
  }
  void SetUp() override { ASSERT_TRUE(s_server->ok()) << "the OAuth test server did not start"; }

  static OAuthService confidential(const std::string& scope = "openid") {
    return OAuthService("confidential", "confidential-secret", kRedirect, s_server->domain(), true, scope);
  }
  static OAuthService publicClient() {
    return OAuthService("public", "", kRedirect, s_server->domain(), false, "openid");
  }

  // Signs in through the browser step; returns the code.
  static std::string codeFor(OAuthService& service, bool pkce) {
    return browseForCode(s_server->domain(),
                         "https://" + s_server->domain() + service.authorizationRequest("/auth", pkce));
  }
  static HttpsRequest resource() { return HttpsRequestBuilder().request("/resource").build(); }

  static test::OAuthTestServer* s_server;
};

test::OAuthTestServer* OAuthServiceTest::s_server = nullptr;

// What an OAuthError says.
template <typename F>
std::string failure(F&& call) {
  try {
    call();
  } catch (const OAuthError& error) {
    return error.what();
  }
  return "<no OAuthError>";
}

TEST(OAuthAuthorizationUrlTest, ExactFormWithAndWithoutPkce) {
  OAuthService service("my client", "s", "http://127.0.0.1:8/cb", "unused.invalid", true, "openid profile");
  EXPECT_EQ(service.authorizationRequest("https://h/auth", false),
            "https://h/auth?response_type=code&client_id=my%20client&redirect_uri=http%3A%2F%2F127.0.0.1%3A8%2Fcb"
            "&scope=openid%20profile");

  std::srand(7);
  const std::string verifier = randomBase64url(43);
  std::srand(7);
  const std::string url = service.authorizationRequest("", true);  // the endpoint is remembered
  EXPECT_EQ(url,
            "https://h/auth?response_type=code&client_id=my%20client&redirect_uri=http%3A%2F%2F127.0.0.1%3A8%2Fcb"
            "&scope=openid%20profile&code_challenge=" +
                base64UrlSha256(verifier) + "&code_challenge_method=S256");
  // Each PKCE request makes a new verifier.
  EXPECT_NE(service.authorizationRequest("", true), url);

  OAuthService noScope("c", "", "r", "unused.invalid", false, "");
  EXPECT_EQ(noScope.authorizationRequest("/a", false), "/a?response_type=code&client_id=c&redirect_uri=r");
}

TEST(OAuthAuthorizationUrlTest, MissingEndpointsAndUnsupportedFlows) {
  OAuthService service("c", "", "r", "unused.invalid", false, "");
  EXPECT_EQ(failure([&] { service.authorizationRequest("", true); }),
            "Unable to create the authorization request. Authorization url was not set yet.");
  EXPECT_EQ(failure([&] { service.loginWithResourceOwnerPassword("", "u", "p"); }),
            "Unable to get token. Token url was not set yet.");
  EXPECT_EQ(failure([&] { service.loginWithImplicitGrant("https://h/auth"); }),
            "The implicit grant flow is not (yet) implemented.");
  EXPECT_FALSE(service.isLoggedIn());
}

TEST(OAuthRefreshTest, FailuresBeforeAnyRequest) {
  OAuthService service("c", "", "r", "unused.invalid", false, "");
  EXPECT_EQ(failure([&] { service.refreshLogin(); }), "Could not execute request because no user was logged in.");
  EXPECT_EQ(failure([&] { service.execute(HttpsRequest(), false); }),
            "Could not execute request because no user was logged in.");
  service.restoreLogin("access", "");
  EXPECT_EQ(failure([&] { service.refreshLogin(); }), "No refresh token available.");
  service.restoreLogin("access", "", ELoginType::eAnonymous);
  EXPECT_EQ(failure([&] { service.refreshLogin(); }),
            "Could not execute request because no anonymous credentials are available");
  service.restoreLogin("access", "refresh");
  EXPECT_EQ(failure([&] { service.refreshLogin(); }), "Unable to get token. Token url was not set yet.");
  EXPECT_EQ(service.getLoginType(), ELoginType::eRestored);
}

TEST_F(OAuthServiceTest, CodeWithPkceSignsInAPublicClientAndOnlyWithPkce) {
  OAuthService service = publicClient();
  EXPECT_EQ(codeFor(service, false), "");  // the server sends the browser back with an error, not a code
  const std::string code = codeFor(service, true);
  ASSERT_FALSE(code.empty());
  EXPECT_TRUE(service.loginWithAuthorizationCode(code, "/token", true));
  EXPECT_TRUE(service.isLoggedIn());
  EXPECT_EQ(service.getLoginType(), ELoginType::eAuthorizationCode);
  EXPECT_FALSE(service.refreshToken().empty());
  EXPECT_EQ(service.expiresIn(), 3600);
  EXPECT_EQ(json::parse(service.execute(resource(), false).m_body),
            json::parse(R"({"sub":"alice","client":"public"})"));
}

TEST_F(OAuthServiceTest, ConfidentialClientUsesTheCodeWithOrWithoutPkce) {
  for (bool pkce : {false, true}) {
    SCOPED_TRACE(pkce);
    OAuthService service = confidential();
    const std::string code = codeFor(service, pkce);
    ASSERT_FALSE(code.empty());
    EXPECT_TRUE(service.loginWithAuthorizationCode(code, s_server->url("/token"), pkce));
    EXPECT_EQ(json::parse(service.execute(resource(), false).m_body)["client"], "confidential");
  }
}

TEST_F(OAuthServiceTest, WrongVerifierIsRefusedWithoutConsumingTheCode) {
  OAuthService rightful = publicClient();
  OAuthService other = publicClient();
  const std::string code = codeFor(rightful, true);
  other.authorizationRequest("/auth", true);  // another verifier
  const std::string message = failure([&] { other.loginWithAuthorizationCode(code, "/token", true); });
  EXPECT_EQ(message.rfind("HTTP 400:\n", 0), 0u) << message;
  EXPECT_NE(message.find("invalid_grant"), std::string::npos);
  EXPECT_FALSE(other.isLoggedIn());
  EXPECT_TRUE(rightful.loginWithAuthorizationCode(code, "/token", true));
}

TEST_F(OAuthServiceTest, ReusedCodeIsRefused) {
  OAuthService first = confidential();
  const std::string code = codeFor(first, false);
  ASSERT_TRUE(first.loginWithAuthorizationCode(code, "/token", false));
  OAuthService second = confidential();
  const std::string message = failure([&] { second.loginWithAuthorizationCode(code, "/token", false); });
  EXPECT_EQ(message.rfind("HTTP 400:\n", 0), 0u) << message;
  EXPECT_NE(message.find("invalid_grant"), std::string::npos);
}

TEST_F(OAuthServiceTest, PasswordGrantAndItsFailures) {
  OAuthService service = confidential();
  const std::string wrong = failure([&] { service.loginWithResourceOwnerPassword("/token", "alice", "guess"); });
  EXPECT_EQ(wrong.rfind("HTTP 400:\n", 0), 0u) << wrong;
  EXPECT_FALSE(service.isLoggedIn());
  EXPECT_EQ(service.getLoginType(), ELoginType::eNotLoggedIn);

  EXPECT_TRUE(service.loginWithResourceOwnerPassword("/token", "bob", "builder"));
  EXPECT_EQ(service.getLoginType(), ELoginType::ePassword);
  EXPECT_EQ(json::parse(service.execute(resource(), false).m_body)["sub"], "bob");

  OAuthService badSecret("confidential", "not-the-secret", kRedirect, s_server->domain(), true, "openid");
  const std::string refused = failure([&] { badSecret.loginWithResourceOwnerPassword("/token", "bob", "builder"); });
  EXPECT_EQ(refused.rfind("HTTP 401 Unauthorized:\n", 0), 0u) << refused;
  EXPECT_NE(refused.find("invalid_client"), std::string::npos);
}

TEST_F(OAuthServiceTest, PasswordWithFormCharactersSurvives) {
  // "&", "=", "+" and "%" would break an unencoded form body.
  OAuthService service = confidential();
  EXPECT_EQ(failure([&] {
              service.loginWithResourceOwnerPassword("/token", "bob", "builder&password=x");
            }).rfind("HTTP 400:\n", 0),
            0u);
  EXPECT_TRUE(service.loginWithResourceOwnerPassword("/token", "bob", "builder"));
}

TEST_F(OAuthServiceTest, RefreshRotatesAndReusingAnOldTokenRevokesTheGrant) {
  OAuthService service = confidential();
  ASSERT_TRUE(service.loginWithResourceOwnerPassword("/token", "alice", "wonderland"));
  const std::string firstAccess = service.token();
  const std::string firstRefresh = service.refreshToken();
  const std::string newAccess = service.refreshLogin();
  EXPECT_EQ(newAccess, service.token());
  EXPECT_NE(newAccess, firstAccess);
  EXPECT_NE(service.refreshToken(), firstRefresh);
  EXPECT_EQ(service.getLoginType(), ELoginType::ePassword);
  EXPECT_EQ(json::parse(service.execute(resource(), false).m_body)["sub"], "alice");

  OAuthService replay = confidential();
  replay.setTokenEndpoint("/token");
  replay.restoreLogin(firstAccess, firstRefresh);
  const std::string reused = failure([&] { replay.refreshLogin(); });
  EXPECT_EQ(reused.rfind("HTTP 400:\n", 0), 0u) << reused;
  EXPECT_NE(reused.find("invalid_grant"), std::string::npos);
  // The replay revoked the whole grant, the rotated token included.
  const std::string revoked = failure([&] { service.refreshLogin(); });
  EXPECT_EQ(revoked.rfind("HTTP 400:\n", 0), 0u) << revoked;
}

TEST_F(OAuthServiceTest, ExpiredAccessTokenIsRefusedThenRefreshedOnRequest) {
  OAuthService service("short-lived", "short-secret", kRedirect, s_server->domain(), true, "openid");
  ASSERT_TRUE(service.loginWithResourceOwnerPassword("/token", "alice", "wonderland"));
  EXPECT_EQ(service.expiresIn(), 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));
  EXPECT_EQ(failure([&] { service.execute(resource(), false); }),
            "HTTP 401 Unauthorized:\n{\"error\":\"invalid_token\"}");
  const std::string expired = service.token();
  EXPECT_EQ(json::parse(service.execute(resource(), true).m_body)["sub"], "alice");
  EXPECT_NE(service.token(), expired);
}

TEST_F(OAuthServiceTest, SocialTokenAndAnonymousLogins) {
  OAuthService social = confidential();
  EXPECT_TRUE(social.loginWithSocialToken("/token", "social-token-of-alice"));
  EXPECT_EQ(social.getLoginType(), ELoginType::eSocial);
  EXPECT_EQ(json::parse(social.execute(resource(), false).m_body)["sub"], "alice");
  EXPECT_EQ(failure([&] { confidential().loginWithSocialToken("/token", "forged"); }).rfind("HTTP 400:\n", 0), 0u);

  OAuthService machine = confidential();
  ASSERT_TRUE(machine.loginAnonymously("/token", {"bob", "builder"}));
  EXPECT_EQ(machine.getLoginType(), ELoginType::eAnonymous);
  const std::string first = machine.token();
  EXPECT_NE(machine.refreshLogin(), first);
  EXPECT_EQ(machine.getLoginType(), ELoginType::eAnonymous);
}

TEST_F(OAuthServiceTest, LogOutForgetsTheLoginButNotTheEndpoints) {
  OAuthService service = confidential();
  ASSERT_TRUE(service.loginWithResourceOwnerPassword(s_server->url("/token"), "alice", "wonderland"));
  service.logOut();
  EXPECT_FALSE(service.isLoggedIn());
  EXPECT_EQ(service.token(), "");
  EXPECT_EQ(service.refreshToken(), "");
  EXPECT_EQ(service.expiresIn(), 0);
  EXPECT_EQ(service.getLoginType(), ELoginType::eNotLoggedIn);
  EXPECT_EQ(failure([&] { service.execute(resource(), true); }),
            "Could not execute request because no user was logged in.");
  EXPECT_EQ(service.tokenEndpoint(), s_server->url("/token"));
  EXPECT_TRUE(service.loginWithResourceOwnerPassword("", "alice", "wonderland"));
}

TEST_F(OAuthServiceTest, SecretsNeverReachTheLogs) {
  test::TempDir dir;
  const auto httpsLog = dir / "https.log";
  const auto traceLog = dir / "trace.log";
  UtTracer::tracer().setStreamName(traceLog.string().c_str(), 9, 0);

  OAuthService service = confidential();
  service.setLoggingFile(FileName(OdString(httpsLog.wstring())));
  std::srand(1234);
  const std::string verifier = randomBase64url(43);
  std::srand(1234);
  const std::string code = codeFor(service, true);
  ASSERT_TRUE(service.loginWithAuthorizationCode(code, "/token", true));
  std::vector<std::string> secrets = {verifier, "confidential-secret", service.token(), service.refreshToken()};
  service.refreshLogin();
  secrets.push_back(service.token());
  secrets.push_back(service.refreshToken());
  service.execute(resource(), false);
  ASSERT_TRUE(service.loginWithResourceOwnerPassword("/token", "alice", "wonderland"));
  secrets.push_back(service.token());
  secrets.push_back(service.refreshToken());
  secrets.push_back("wonderland");
  service.setLoggingFile(std::nullopt);
  UtTracer::tracer().freeStream();

  const std::string https = test::readFileBytes(httpsLog);
  const std::string trace = test::readFileBytes(traceLog);
  EXPECT_NE(https.find("POST /token"), std::string::npos);  // the log did record the exchange
  EXPECT_NE(trace.find("OAuth password token request"), std::string::npos);
  for (const auto& secret : secrets) {
    ASSERT_GE(secret.size(), 8u);
    EXPECT_EQ(https.find(secret), std::string::npos) << secret;
    EXPECT_EQ(trace.find(secret), std::string::npos) << secret;
    EXPECT_EQ(https.find(base64Url_encode(secret)), std::string::npos) << secret;
  }
}

TEST_F(OAuthServiceTest, ReplyWithoutAccessTokenLeavesTheUserLoggedOut) {
  test::HttpsTestServer echo;
  ASSERT_TRUE(echo.ok());
  OAuthService service("c", "s", kRedirect, echo.domain(), true, "");
  EXPECT_FALSE(service.loginWithResourceOwnerPassword("/echo", "u", "p"));
  EXPECT_FALSE(service.isLoggedIn());
  EXPECT_EQ(service.tokenEndpoint(), "/echo");

  service.restoreLogin("token", "");
  const std::pair<int, std::string> cases[] = {
      {401, "HTTP 401 Unauthorized:\nstatus 401 body"},
      {403, "HTTP 403 Forbidden:\nstatus 403 body"},
      {500, "HTTP 500:\nstatus 500 body"},
  };
  for (const auto& [status, message] : cases)
    EXPECT_EQ(failure([&] {
                service.execute(HttpsRequestBuilder().request("/status/" + std::to_string(status)).build(), false);
              }),
              message);
  const json echoed = json::parse(service.execute(HttpsRequestBuilder().request("/echo").build(), false).m_body);
  EXPECT_NE(echoed["headers"].dump().find(R"(["Authorization","Bearer token"])"), std::string::npos);
}

}  // namespace
}  // namespace ut
