// The HTTPS client against a real HTTPS server on loopback.

#include "net_test_servers.h"

#include <ut/ut_https.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

namespace ut {
namespace {

using nlohmann::json;
using test::HttpsTestServer;

class HttpsServiceTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { s_server = new HttpsTestServer(); }
  static void TearDownTestSuite() {
    delete s_server;
    s_server = nullptr;
  }
  void SetUp() override { ASSERT_TRUE(s_server->ok()) << "the HTTPS test server did not start"; }

  static HttpsTestServer& server() { return *s_server; }

  // Runs the request on the shared service and parses the server's echo.
  json echo(const HttpsRequest& request) { return json::parse(m_service.execute(request).m_body); }

  // The header names the server received, in order, and one value by name.
  static std::vector<std::string> headerNames(const json& echoed) {
    std::vector<std::string> names;
    for (const auto& header : echoed["headers"]) names.push_back(header[0].get<std::string>());
    return names;
  }
  static std::string header(const json& echoed, const std::string& name) {
    for (const auto& h : echoed["headers"])
      if (h[0].get<std::string>() == name) return h[1].get<std::string>();
    return "<absent>";
  }
  int connections() {
    HttpsService probe(server().domain());
    return json::parse(
        probe.execute(HttpsRequestBuilder().request("/stats").forbidReuse(true).build()).m_body)["connections"];
  }

  static HttpsTestServer* s_server;
  HttpsService m_service{s_server->domain()};
};

HttpsTestServer* HttpsServiceTest::s_server = nullptr;

TEST_F(HttpsServiceTest, PathIsAppendedToTheDomainOverHttps) {
  const HttpsResponse response = m_service.execute(HttpsRequestBuilder().request("/echo?a=1").build());
  EXPECT_EQ(response.m_statusCode, 200);
  EXPECT_EQ(response.m_effectiveUrl, "https://" + server().domain() + "/echo?a=1");
  EXPECT_EQ(json::parse(response.m_body)["path"], "/echo?a=1");
  EXPECT_GT(response.m_totalTime, 0.0);
  EXPECT_NE(response.m_headers.find("HTTP/1.1 200"), std::string::npos);
}

TEST_F(HttpsServiceTest, HttpsOffComposesAnHttpUrl) {
  HttpsService plain(server().plainDomain());
  const HttpsResponse response = plain.execute(HttpsRequestBuilder().request("/echo").https(false).build());
  EXPECT_EQ(response.m_effectiveUrl, "http://" + server().plainDomain() + "/echo");
  EXPECT_EQ(response.m_statusCode, 200);
}

TEST_F(HttpsServiceTest, WholeUrlIsTakenVerbatim) {
  HttpsService elsewhere("unused.invalid");
  const HttpsResponse response = elsewhere.execute(HttpsRequestBuilder().request(server().url("/echo/x")).build());
  EXPECT_EQ(response.m_effectiveUrl, server().url("/echo/x"));
  // Anywhere in the string counts, so a path carrying a URL in its query is
  // no longer a path.
  EXPECT_THROW(m_service.execute(HttpsRequestBuilder().request("/echo?next=https://a").build()), HttpsError);
}

TEST_F(HttpsServiceTest, EveryMethodReachesTheServerWithItsBody) {
  struct Case {
    HttpsRequest request;
    const char* method;
    const char* body;
  };
  const Case cases[] = {
      {HttpsRequestBuilder().request("/echo").build(), "GET", ""},
      {HttpsRequestBuilder().request("/echo").post().body("a=1&b=2").build(), "POST", "a=1&b=2"},
      {HttpsRequestBuilder().request("/echo").put().body("replaced").build(), "PUT", "replaced"},
      {HttpsRequestBuilder().request("/echo").post().build(), "POST", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.method);
    const json echoed = echo(c.request);
    EXPECT_EQ(echoed["method"], c.method);
    EXPECT_EQ(echoed["body"], c.body);
  }
}

TEST_F(HttpsServiceTest, JsonBodyIsSentWithItsContentType) {
  const json echoed = echo(HttpsRequestBuilder().request("/echo").post().sendJson(true).body(R"({"k":[1,2]})").build());
  EXPECT_EQ(header(echoed, "Content-Type"), "application/json");
  EXPECT_EQ(echoed["body"], R"({"k":[1,2]})");
}

TEST_F(HttpsServiceTest, MultipartCarriesBodyMemoryAndFileParts) {
  const auto file = server().dir() / "upload.txt";
  ASSERT_TRUE(test::writeFileBytes(file, "contents of the file"));
  const json echoed = echo(HttpsRequestBuilder()
                               .request("/echo")
                               .post()
                               .sendJson(true)
                               .body(R"({"meta":true})")
                               .mimeBodyData("meta")
                               .mimeMultiPart({"memory", "mem.bin", "bytes from memory", true})
                               .mimeMultiPart({"disk", "upload.txt", file.string(), false})
                               .build());
  const std::string contentType = header(echoed, "Content-Type");
  EXPECT_EQ(contentType.rfind("multipart/form-data; boundary=", 0), 0u) << contentType;
  const std::string body = echoed["body"];
  const auto meta = body.find("name=\"meta\"\r\nContent-Type: application/json\r\n\r\n{\"meta\":true}");
  const auto memory = body.find("name=\"memory\"; filename=\"mem.bin\"");
  const auto disk = body.find("name=\"disk\"; filename=\"upload.txt\"");
  ASSERT_NE(meta, std::string::npos) << body;
  ASSERT_NE(memory, std::string::npos) << body;
  ASSERT_NE(disk, std::string::npos) << body;
  EXPECT_LT(meta, memory);
  EXPECT_LT(memory, disk);
  EXPECT_NE(body.find("bytes from memory"), std::string::npos);
  EXPECT_NE(body.find("contents of the file"), std::string::npos);
}

TEST_F(HttpsServiceTest, MultipartWithAMissingFileFailsAndTheServiceGoesOn) {
  EXPECT_THROW(m_service.execute(HttpsRequestBuilder()
                                     .request("/echo")
                                     .post()
                                     .mimeMultiPart({"disk", "", (server().dir() / "missing").string(), false})
                                     .build()),
               HttpsError);
  EXPECT_EQ(m_service.execute(HttpsRequestBuilder().request("/echo").build()).m_statusCode, 200);
}

TEST_F(HttpsServiceTest, HeadersArriveInTheirFixedOrder) {
  const json echoed = echo(HttpsRequestBuilder()
                               .request("/echo")
                               .sendJson(true)
                               .authorizeBearer("tok")
                               .setExpect(false)
                               .setAcceptHeader("text/plain")
                               .addAdditionalHeader("X-Zeta", "z")
                               .addAdditionalHeader("X-Alpha", "a")
                               .build());
  std::vector<std::string> ours;
  for (const auto& name : headerNames(echoed))
    if (name != "Host" && name != "User-Agent") ours.push_back(name);
  EXPECT_EQ(ours, (std::vector<std::string>{"Content-Type", "Authorization", "Accept", "X-Alpha", "X-Zeta",
                                            "Content-length"}));
  EXPECT_EQ(header(echoed, "Authorization"), "Bearer tok");
  EXPECT_EQ(header(echoed, "Accept"), "text/plain");
  EXPECT_EQ(header(echoed, "Content-length"), "0");
}

TEST_F(HttpsServiceTest, ContentLengthZeroGoesOnlyWithAdditionalHeadersAndNoBody) {
  struct Case {
    const char* name;
    HttpsRequest request;
    const char* contentLength;
  };
  const Case cases[] = {
      {"no additional header", HttpsRequestBuilder().request("/echo").build(), "<absent>"},
      {"one additional header", HttpsRequestBuilder().request("/echo").addAdditionalHeader("X-A", "1").build(), "0"},
      {"with a body", HttpsRequestBuilder().request("/echo").post().body("abc").addAdditionalHeader("X-A", "1").build(),
       "<absent>"},
      {"with a body part name only",
       HttpsRequestBuilder().request("/echo").post().mimeBodyData("part").addAdditionalHeader("X-A", "1").build(),
       "<absent>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    // Spelt as the client writes it, unlike the transfer library's own
    // "Content-Length" for bodies.
    EXPECT_EQ(header(echo(c.request), "Content-length"), c.contentLength);
  }
}

TEST_F(HttpsServiceTest, BasicAndBearerAuthentication) {
  EXPECT_EQ(header(echo(HttpsRequestBuilder().request("/echo").authorizeCredentials("user", "pa:ss").build()),
                   "Authorization"),
            "Basic dXNlcjpwYTpzcw==");
  // A bearer token wins over credentials given as well.
  EXPECT_EQ(header(echo(HttpsRequestBuilder()
                            .request("/echo")
                            .authorizeCredentials("user", "pass")
                            .authorizeBearer("abc.def")
                            .build()),
                   "Authorization"),
            "Bearer abc.def");
}

TEST_F(HttpsServiceTest, ExpectHeaderIsSuppressedOnRequest) {
  const std::string large(2 * 1024 * 1024, 'b');
  const json with = echo(HttpsRequestBuilder().request("/echo").post().body(large).build());
  EXPECT_EQ(header(with, "Expect"), "100-continue");
  const json without = echo(HttpsRequestBuilder().request("/echo").post().body(large).setExpect(false).build());
  EXPECT_EQ(header(without, "Expect"), "<absent>");
  EXPECT_EQ(without["body"].get<std::string>().size(), large.size());
}

TEST_F(HttpsServiceTest, RedirectsFollowedOrReturned) {
  const HttpsResponse followed = m_service.execute(HttpsRequestBuilder().request("/redirect?to=/echo/there").build());
  EXPECT_EQ(followed.m_statusCode, 200);
  EXPECT_EQ(followed.m_effectiveUrl, server().url("/echo/there"));
  EXPECT_EQ(json::parse(followed.m_body)["path"], "/echo/there");

  const HttpsResponse kept =
      m_service.execute(HttpsRequestBuilder().request("/redirect?to=/echo/there").followRedirection(false).build());
  EXPECT_EQ(kept.m_statusCode, 302);
  EXPECT_NE(kept.m_headers.find("Location: /echo/there\r\n"), std::string::npos) << kept.m_headers;
}

TEST_F(HttpsServiceTest, StalledReplyHitsTheTimeout) {
  try {
    m_service.execute(HttpsRequestBuilder().request("/stall?ms=5000").timeout(300).build());
    FAIL() << "no timeout";
  } catch (const HttpsCurlNetworkError&) {
    FAIL() << "a timeout is no resolution failure";
  } catch (const HttpsError& error) {
    EXPECT_STREQ(error.what(), "Timeout was reached");
  }
  EXPECT_EQ(m_service.execute(HttpsRequestBuilder().request("/echo").build()).m_statusCode, 200);
}

TEST_F(HttpsServiceTest, UnresolvableHostGivesCodeSix) {
  HttpsService nowhere("host.ut-test.invalid");
  try {
    nowhere.execute(HttpsRequestBuilder().request("/").timeout(10000).build());
    FAIL() << "resolved a host under .invalid";
  } catch (const HttpsCurlNetworkError& error) {
    EXPECT_EQ(error.getCurlErrorCode(), 6);
    EXPECT_STREQ(error.what(), "Couldn't resolve host name");
    EXPECT_EQ(error.message(), OdString(L"Couldn't resolve host name"));
  }
}

TEST_F(HttpsServiceTest, ErrorStatusThrowsWithTheWholeResponse) {
  for (int status : {400, 404, 500}) {
    SCOPED_TRACE(status);
    try {
      m_service.execute(HttpsRequestBuilder().request("/status/" + std::to_string(status)).build());
      FAIL() << "no exception";
    } catch (const HttpsResponseError& error) {
      EXPECT_EQ(error.response().m_statusCode, status);
      EXPECT_EQ(error.response().m_body, "status " + std::to_string(status) + " body");
      EXPECT_EQ(std::string(error.what()), "status " + std::to_string(status) + " body");
    }
  }
  EXPECT_EQ(m_service.execute(HttpsRequestBuilder().request("/status/399").build()).m_statusCode, 399);
}

TEST_F(HttpsServiceTest, ProgressCallbackAbortsAndIsGoneAfterwards) {
  int calls = 0;
  const auto abortOnData = [&calls](double, double downloaded, double, double) -> std::uint64_t {
    ++calls;
    return downloaded > 0 ? 1 : 0;
  };
  EXPECT_THROW(m_service.execute(HttpsRequestBuilder().request("/bytes?n=50000000").build(), abortOnData), HttpsError);
  EXPECT_GT(calls, 0);
  const int callsAtAbort = calls;
  EXPECT_EQ(m_service.execute(HttpsRequestBuilder().request("/bytes?n=100000").build()).m_body.size(), 100000u);
  EXPECT_EQ(calls, callsAtAbort);
}

TEST_F(HttpsServiceTest, ProgressReportsTheDownload) {
  double lastTotal = 0, lastNow = 0;
  const auto watch = [&](double total, double now, double, double) -> std::uint64_t {
    lastTotal = total;
    lastNow = now;
    return 0;
  };
  m_service.execute(HttpsRequestBuilder().request("/bytes?n=300000").build(), watch);
  EXPECT_EQ(lastTotal, 300000.0);
  EXPECT_EQ(lastNow, 300000.0);
}

TEST_F(HttpsServiceTest, OneConnectionServesAHundredRequests) {
  m_service.execute(HttpsRequestBuilder().request("/echo").build());
  const int before = connections();
  for (int i = 0; i < 100; ++i) m_service.execute(HttpsRequestBuilder().request("/echo").build());
  EXPECT_EQ(connections(), before + 1);  // the probe's own connection only
}

TEST_F(HttpsServiceTest, ForbidReuseOpensAConnectionPerRequest) {
  const int before = connections();
  for (int i = 0; i < 3; ++i) m_service.execute(HttpsRequestBuilder().request("/echo").forbidReuse(true).build());
  EXPECT_EQ(connections(), before + 1 + 3);
}

TEST_F(HttpsServiceTest, UntrustedCertificateIsRefusedUnlessVerificationIsOff) {
  HttpsTestServer untrusted(false);
  ASSERT_TRUE(untrusted.ok());
  HttpsService service(untrusted.domain());
  const HttpsRequest request = HttpsRequestBuilder().request("/echo").build();
  EXPECT_THROW(service.execute(request), HttpsError);
  EXPECT_EQ(service.execute(HttpsRequestBuilder(request).verifySSLCertificate(false).build()).m_statusCode, 200);
  // Verification is back on for the next request on the same handle.
  EXPECT_THROW(service.execute(request), HttpsError);
}

TEST_F(HttpsServiceTest, NothingOfOneRequestLeaksIntoTheNext) {
  echo(HttpsRequestBuilder()
           .request("/echo")
           .put()
           .body("first body")
           .authorizeCredentials("u", "p")
           .setAcceptHeader("a/b")
           .addAdditionalHeader("X-Once", "1")
           .sendJson(true)
           .build());
  const json plain = echo(HttpsRequestBuilder().request("/echo").build());
  EXPECT_EQ(plain["method"], "GET");
  EXPECT_EQ(plain["body"], "");
  for (const char* name : {"Authorization", "X-Once", "Content-Type"})
    EXPECT_EQ(header(plain, name), "<absent>") << name;
  EXPECT_EQ(header(plain, "Accept"), "*/*");

  echo(HttpsRequestBuilder().request("/echo").authorizeBearer("secret-bearer").build());
  EXPECT_EQ(header(echo(HttpsRequestBuilder().request("/echo").build()), "Authorization"), "<absent>");
}

TEST_F(HttpsServiceTest, ConcurrentCallersShareOneService) {
  std::atomic<int> ok{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t, &ok] {
      for (int i = 0; i < 20; ++i) {
        const std::string body = std::to_string(t) + ":" + std::to_string(i);
        const json echoed =
            json::parse(m_service.execute(HttpsRequestBuilder().request("/echo").post().body(body).build()).m_body);
        if (echoed["body"] == body) ++ok;
        if (m_service.urlEncode("a b") == "a%20b") ++ok;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(ok.load(), 160);
}

TEST_F(HttpsServiceTest, UrlEncodeEscapesAllButUnreservedCharacters) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"AZaz09-._~", "AZaz09-._~"},
      {"a b&c=d/e?f", "a%20b%26c%3Dd%2Fe%3Ff"},
      {"\xC3\xA9", "%C3%A9"},
      {std::string("\0x", 2), "%00x"},
  };
  for (const auto& [text, encoded] : cases) EXPECT_EQ(m_service.urlEncode(text), encoded) << text;
}

TEST_F(HttpsServiceTest, LoggingFileHoldsTheExchangeButNoCredentials) {
  const auto log = server().dir() / "https.log";
  const ut::FileName logName(OdString(log.wstring()));
  m_service.setLoggingFile(logName);
  ASSERT_TRUE(m_service.getLoggingFilePath().has_value());
  EXPECT_EQ(m_service.getLoggingFilePath()->getFullPath(), OdString(log.wstring()));
  m_service.execute(HttpsRequestBuilder()
                        .request("/echo")
                        .post()
                        .body("password=hunter2")
                        .authorizeBearer("bearer-secret-1")
                        .addAdditionalHeader("Cookie", "session=cookie-secret")
                        .build());
  m_service.execute(HttpsRequestBuilder().request("/echo").authorizeCredentials("user", "basic-secret").build());
  m_service.setLoggingFile(std::nullopt);
  EXPECT_EQ(m_service.getLoggingFilePath(), std::nullopt);
  const std::string logged = test::readFileBytes(log);
  EXPECT_NE(logged.find("> POST /echo HTTP/1.1"), std::string::npos) << logged;
  EXPECT_NE(logged.find("< HTTP/1.1 200"), std::string::npos);
  EXPECT_NE(logged.find("Authorization: [redacted]"), std::string::npos);
  EXPECT_NE(logged.find("> [16 bytes of data]"), std::string::npos);
  for (const char* secret : {"hunter2", "bearer-secret-1", "cookie-secret", "basic-secret", "dXNlcjpiYXNpYy1zZWNyZXQ"})
    EXPECT_EQ(logged.find(secret), std::string::npos) << secret;

  m_service.execute(HttpsRequestBuilder().request("/echo/after").build());
  EXPECT_EQ(test::readFileBytes(log), logged);  // closed: nothing more written
}

TEST_F(HttpsServiceTest, LoggingFileThatCannotBeOpenedOrIsEmptyLeavesLoggingOff) {
  const auto open = server().dir() / "open.log";
  const ut::FileName names[] = {ut::FileName(OdString((server().dir() / "no/such/folder/log").wstring())),
                                ut::FileName()};
  for (const ut::FileName& name : names) {
    m_service.setLoggingFile(ut::FileName(OdString(open.wstring())));
    ASSERT_TRUE(m_service.getLoggingFilePath().has_value());
    m_service.setLoggingFile(name);  // closes the open log first
    EXPECT_EQ(m_service.getLoggingFilePath(), std::nullopt) << name.getFullPath().toUtf8();
    EXPECT_EQ(m_service.execute(HttpsRequestBuilder().request("/echo").build()).m_statusCode, 200);
  }
  EXPECT_EQ(test::readFileBytes(open), "");  // nothing logged after it was closed
}

TEST_F(HttpsServiceTest, MovedServiceKeepsItsDomainAndConnection) {
  HttpsService moved(std::move(m_service));
  EXPECT_EQ(moved.domain(), server().domain());
  EXPECT_EQ(moved.execute(HttpsRequestBuilder().request("/echo").build()).m_statusCode, 200);
  m_service = std::move(moved);
  EXPECT_EQ(m_service.domain(), server().domain());
}

TEST(HttpsRequestBuilderTest, DefaultsAndMultipartOperations) {
  const HttpsRequest defaults = HttpsRequestBuilder().build();
  EXPECT_EQ(defaults.m_method, HttpsRequest::eGet);
  EXPECT_EQ(defaults.m_timeout, 30000);
  EXPECT_TRUE(defaults.m_https && defaults.m_followRedirection && defaults.m_verifySSLCertificate && defaults.m_expect);
  EXPECT_FALSE(defaults.m_sendJson || defaults.m_multipart || defaults.m_forbidReuse);

  const HttpsRequest::MultiPartData a{"a", "", "1", true}, b{"b", "", "2", true};
  HttpsRequestBuilder builder;
  builder.mimeMultiPart(a).mimeMultiPart(b);
  EXPECT_TRUE(builder.build().m_multipart);
  EXPECT_EQ(builder.build().m_multiParts.size(), 2u);
  builder.sendModelData({b});
  ASSERT_EQ(builder.build().m_multiParts.size(), 1u);
  EXPECT_EQ(builder.build().m_multiParts[0].m_name, "b");
  EXPECT_EQ(builder.timeout(-5).build().m_timeout, 0);
  builder.addIgnoreErrorCheck([](long status) { return status == 404; });
  EXPECT_TRUE(builder.build().m_ignoreErrorCheck(404));
}

}  // namespace
}  // namespace ut
