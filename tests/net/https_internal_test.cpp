// Pieces of the HTTPS client that decide what reaches the debug log and which
// certificates are trusted.

#include "test_support.h"
#include "ut_https_internal.h"

#include <gtest/gtest.h>

namespace ut::net {
namespace {

TEST(HttpsCaBundleTest, CacertBesideTheProgramWhenItExists) {
  test::TempDir dir;
  const std::string program = (dir / "prog").string();
  EXPECT_EQ(caBundleBeside(program), "");
  ASSERT_TRUE(test::writeFileBytes(dir / "cacert.pem", "pem"));
  EXPECT_EQ(caBundleBeside(program), (dir / "cacert.pem").string());
  EXPECT_EQ(caBundleBeside(""), "");
  EXPECT_EQ(caBundleBeside("prog"), "");
  // A folder of that name is no bundle.
  test::TempDir other;
  std::filesystem::create_directory(other / "cacert.pem");
  EXPECT_EQ(caBundleBeside((other / "prog").string()), "");
}

TEST(HttpsDebugLogTest, CredentialHeadersAreRedacted) {
  const std::pair<std::string, std::string> cases[] = {
      {"GET / HTTP/1.1\r\nAuthorization: Bearer abc\r\nAccept: */*\r\n\r\n",
       "GET / HTTP/1.1\r\nAuthorization: [redacted]\r\nAccept: */*\r\n\r\n"},
      {"authorization: Basic dTpw\r\n", "authorization: [redacted]\r\n"},
      {"Proxy-Authorization: x\n", "Proxy-Authorization: [redacted]\n"},
      {"Set-Cookie: id=1; HttpOnly\r\n", "Set-Cookie: [redacted]\r\n"},
      {"Cookie: a=b", "Cookie: [redacted]"},
      {"X-Authorization-Hint: keep\r\n", "X-Authorization-Hint: keep\r\n"},
      {"", ""},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(redactHeaders(in), out) << in;
}

TEST(HttpsDebugLogTest, TracedUrlsLoseQueryAndFragment) {
  EXPECT_EQ(urlForTrace("https://h/cb?code=secret&state=1"), "https://h/cb");
  EXPECT_EQ(urlForTrace("https://h/p#frag?x"), "https://h/p");
  EXPECT_EQ(urlForTrace("https://h/p"), "https://h/p");
  EXPECT_EQ(urlForTrace(""), "");
}

}  // namespace
}  // namespace ut::net
