// `ut https` and `ut oauth` against the network tests' real servers.

#include "../net/net_test_servers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

namespace ut {
namespace {

using test::ProgramResult;

// The tool trusts "cacert.pem" beside itself: give it the test CA.
bool trustTestCaBesideTool() {
  const auto folder = std::filesystem::path(UT_TOOL).parent_path();
  const std::string bundle = test::readFileBytes(test::programFolder() / "cacert.pem");
  const auto temporary = folder / (".cacert." + std::to_string(::getpid()));
  if (bundle.empty() || !test::writeFileBytes(temporary, bundle)) return false;
  std::error_code error;
  std::filesystem::rename(temporary, folder / "cacert.pem", error);
  return !error;
}

class HttpsToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_server.ok());
    ASSERT_TRUE(trustTestCaBesideTool());
  }
  ProgramResult ut(const std::vector<std::string>& args, const std::string& input = "") {
    return test::runProgram(UT_TOOL, args, m_scratch.path(), "", input);
  }

  test::HttpsTestServer m_server;
  test::TempDir m_scratch;
};

TEST_F(HttpsToolTest, GetPrintsTheBodyAndWithIncludeTheHeaders) {
  const ProgramResult plain = ut({"https", "get", m_server.url("/echo/x"), "-H", "X-Tool: yes"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(plain.out.rfind("{\"method\": \"GET\", \"path\": \"/echo/x\"", 0), 0u) << plain.out;
  EXPECT_NE(plain.out.find("[\"X-Tool\", \"yes\"]"), std::string::npos);

  const ProgramResult included = ut({"https", "get", "-i", m_server.url("/echo")});
  EXPECT_EQ(included.out.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << included.out;
}

TEST_F(HttpsToolTest, PostAndPutSendABodyFromStandardInputOrAFile) {
  const ProgramResult posted =
      ut({"https", "post", m_server.url("/echo"), "--json", "--bearer", "tok", "-d", "-"}, R"({"a":1})");
  EXPECT_EQ(posted.status, 0) << posted.err;
  EXPECT_NE(posted.out.find(R"("body": "{\"a\":1}")"), std::string::npos) << posted.out;
  EXPECT_NE(posted.out.find(R"(["Authorization", "Bearer tok"])"), std::string::npos);

  ASSERT_TRUE(test::writeFileBytes(m_scratch / "body.txt", "from a file"));
  const ProgramResult put =
      ut({"https", "put", m_server.url("/echo"), "-u", "me:pw", "-d", (m_scratch / "body.txt").string()});
  EXPECT_NE(put.out.find(R"("method": "PUT")"), std::string::npos) << put.out;
  EXPECT_NE(put.out.find(R"("body": "from a file")"), std::string::npos);
  EXPECT_NE(put.out.find(R"(["Authorization", "Basic bWU6cHc="])"), std::string::npos);
}

TEST_F(HttpsToolTest, FailuresAndTheirExitStatuses) {
  const ProgramResult notFound = ut({"https", "get", m_server.url("/status/404")});
  EXPECT_EQ(notFound.status, 1);
  EXPECT_EQ(notFound.out, "status 404 body");
  EXPECT_EQ(notFound.err, "ut: HTTP 404\n");

  EXPECT_EQ(ut({"https", "get", m_server.url("/echo"), "-H", "no colon"}).status, 2);
  EXPECT_EQ(ut({"https", "get", "/just/a/path"}).status, 2);
  EXPECT_EQ(ut({"https", "get"}).status, 2);

  const ProgramResult unresolved = ut({"https", "get", "https://host.ut-test.invalid/"});
  EXPECT_EQ(unresolved.status, 1);
  EXPECT_EQ(unresolved.err, "ut: Couldn't resolve host name\n");
}

TEST_F(HttpsToolTest, LogHoldsTheExchangeWithoutTheCredentials) {
  const std::string log = (m_scratch.path() / "https.log").string();
  const ProgramResult r = ut({"https", "get", "--log", log, "--bearer", "tool-secret", m_server.url("/echo")});
  EXPECT_EQ(r.status, 0) << r.err;
  const std::string logged = test::readFileBytes(log);
  EXPECT_NE(logged.find("> GET /echo HTTP/1.1"), std::string::npos) << logged;
  EXPECT_NE(logged.find("Authorization: [redacted]"), std::string::npos) << logged;
  EXPECT_EQ(logged.find("tool-secret"), std::string::npos);

  const ProgramResult unwritable =
      ut({"https", "get", "--log", (m_scratch.path() / "no/such/dir/log").string(), m_server.url("/echo")});
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_NE(unwritable.err.find("cannot write the log"), std::string::npos) << unwritable.err;
}

TEST_F(HttpsToolTest, InsecureAcceptsAnUntrustedServer) {
  test::HttpsTestServer untrusted(false);
  ASSERT_TRUE(untrusted.ok());
  EXPECT_EQ(ut({"https", "get", untrusted.url("/echo")}).status, 1);
  EXPECT_EQ(ut({"https", "get", "-k", untrusted.url("/echo")}).status, 0);
}

TEST(OAuthToolTest, PasswordLoginStatusRefreshLogoutKeepTokensInTheSecretStore) {
  test::OAuthTestServer server;
  ASSERT_TRUE(server.ok());
  ASSERT_TRUE(trustTestCaBesideTool());
  test::TempDir scratch;
  const std::string tool = test::shellQuote(UT_TOOL);
  const std::string common = " --token-url " + server.url("/token") +
                             " --client-id confidential --client-secret confidential-secret --scope openid";
  // One private secret service for the whole sequence.
  const std::string script =
      "set -e\n"
      "echo wonderland | " +
      tool + " oauth login --user alice" + common + "\n" + tool + " oauth status --json" + common + "\n" + tool +
      " oauth refresh" + common + "\n" + tool + " oauth logout" + common + "\n" + "if " + tool + " oauth status" +
      common +
      "; then exit 3; fi\n"
      "echo wrong | " +
      tool + " oauth login --user alice" + common + " || echo refused $?\n";
  ASSERT_TRUE(test::writeFileBytes(scratch / "steps.sh", script));
  const ProgramResult result =
      test::runProgram((test::netTestsDir() / "secret-session.sh").string(),
                       {(scratch / "home").string(), "sh", (scratch / "steps.sh").string()}, scratch.path());
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_NE(result.out.find("\"signed_in\": true"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\"has_refresh_token\": true"), std::string::npos);
  EXPECT_NE(result.out.find("Not signed in (nothing kept under ut/oauth/confidential@" + server.domain() + ")."),
            std::string::npos);
  EXPECT_NE(result.out.find("refused 1"), std::string::npos);
  EXPECT_NE(result.err.find("Signed in as alice."), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("Refreshed."), std::string::npos);
  EXPECT_NE(result.err.find("Signed out."), std::string::npos);
  EXPECT_EQ(result.out.find("access_token"), std::string::npos);  // never printed unless asked
  EXPECT_EQ(result.out.find("wonderland"), std::string::npos);
}

TEST(OAuthToolTest, BrowserLoginByCodeThroughTheLoopbackRedirect) {
  test::OAuthTestServer server;
  ASSERT_TRUE(server.ok());
  ASSERT_TRUE(trustTestCaBesideTool());
  test::TempDir scratch;
  const std::string tool = test::shellQuote(UT_TOOL);
  const std::string common = " --token-url " + server.url("/token") + " --client-id public --scope openid";
  ASSERT_TRUE(test::writeFileBytes(scratch / "steps.sh", "set -e\n" + tool + " oauth login --wait 60 --auth-url " +
                                                             server.url("/auth") + common + "\n" + tool +
                                                             " oauth status --json" + common + "\n"));
  test::ChildProcess session("/bin/sh", {(test::netTestsDir() / "secret-session.sh").string(),
                                         (scratch / "home").string(), "sh", (scratch / "steps.sh").string()});
  ASSERT_TRUE(session.started());
  ASSERT_EQ(session.readLine(std::chrono::seconds(60)), "Open this URL in a browser to sign in:");
  const auto url = session.readLine(std::chrono::seconds(10));
  ASSERT_TRUE(url.has_value());
  EXPECT_NE(url->find("&code_challenge_method=S256"), std::string::npos) << *url;
  const std::string callback = test::followToRedirect(server.domain(), *url, "http://127.0.0.1:");
  ASSERT_NE(callback.find("/callback?code="), std::string::npos) << callback;
  HttpsService browser("");
  EXPECT_EQ(browser.execute(HttpsRequestBuilder().request(callback).build()).m_body,
            "Signed in. You may close this window.\n");
  std::string status;
  while (const auto line = session.readLine(std::chrono::seconds(30))) status += *line + "\n";
  EXPECT_EQ(session.wait(std::chrono::seconds(30)), 0);
  EXPECT_NE(status.find("\"signed_in\": true"), std::string::npos) << status;
}

}  // namespace
}  // namespace ut
