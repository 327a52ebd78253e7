#pragma once

// The real peers of the network tests: an HTTPS server (tests/net/
// https_test_server.py) with a certificate from a test CA made with openssl
// at test time. Everything binds 127.0.0.1 on free ports and is stopped by
// process id when its object dies. A peer that cannot be started is a test
// failure, not a skip: its prerequisites are installed by scripts/install-deps.sh.

#include "test_support.h"

#include <ut/ut_https.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

namespace ut::test {

inline std::filesystem::path netTestsDir() { return std::filesystem::path(UT_TESTDATA_DIR).parent_path() / "net"; }

// The folder of the running test program: its "cacert.pem" is the bundle the
// library trusts.
inline std::filesystem::path programFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

// Runs the certificate script with `args`, bounded in time; true on success.
inline bool makeTestCerts(const std::string& args) {
  const std::string command = "timeout 60 " + shellQuote((netTestsDir() / "make-test-certs.sh").string()) + " " + args;
  return std::system(command.c_str()) == 0;
}

// Makes sure the test CA exists and is the program folder's "cacert.pem".
inline bool installTestCa() { return makeTestCerts("ca " + shellQuote(programFolder().string())); }

// One running HTTPS + HTTP server. `trusted` signs its certificate with the
// test CA; otherwise it is self-signed and nobody trusts it.
class HttpsTestServer {
 public:
  explicit HttpsTestServer(bool trusted = true) {
    if (!installTestCa()) return;
    const std::string out = shellQuote(m_dir.path().string());
    if (!(trusted ? makeTestCerts("server " + shellQuote(programFolder().string()) + " " + out)
                  : makeTestCerts("selfsigned " + out)))
      return;
    m_process = std::make_unique<ChildProcess>(
        "/usr/bin/python3",
        std::vector<std::string>{(netTestsDir() / "https_test_server.py").string(), "--cert",
                                 (m_dir / "server.pem").string(), "--key", (m_dir / "server.key").string()});
    if (!m_process->started()) return;
    const auto line = m_process->readLine(std::chrono::seconds(20));
    if (!line) return;
    std::istringstream words(*line);
    std::string tag;
    words >> tag >> m_httpsPort >> m_httpPort;
  }

  bool ok() const { return m_httpsPort > 0 && m_httpPort > 0; }
  // "127.0.0.1:<port>" of the TLS listener, and of the plain one.
  std::string domain() const { return "127.0.0.1:" + std::to_string(m_httpsPort); }
  std::string plainDomain() const { return "127.0.0.1:" + std::to_string(m_httpPort); }
  std::string url(const std::string& path) const { return "https://" + domain() + path; }
  const TempDir& dir() const { return m_dir; }

 private:
  TempDir m_dir;
  std::unique_ptr<ChildProcess> m_process;
  int m_httpsPort = 0;
  int m_httpPort = 0;
};

// Plays the browser: follows `url` through the server's redirects (relative
// ones on `domain`), carrying its cookies, until a redirect leaves for a URL
// starting with `redirectPrefix`, and returns that URL; empty when the chain
// ends elsewhere or runs longer than 12 hops.
inline std::string followToRedirect(const std::string& domain, const std::string& url,
                                    const std::string& redirectPrefix) {
  HttpsService browser(domain);
  std::map<std::string, std::string> cookies;
  std::string next = url;
  for (int hop = 0; hop < 12; ++hop) {
    HttpsRequestBuilder builder;
    builder.request(next).followRedirection(false);
    std::string jar;
    for (const auto& [name, value] : cookies) jar += (jar.empty() ? "" : "; ") + name + "=" + value;
    if (!jar.empty()) builder.addAdditionalHeader("Cookie", jar);
    const HttpsResponse response = browser.execute(builder.build());
    std::string location;
    std::istringstream lines(response.m_headers);
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      const auto colon = line.find(':');
      if (colon == std::string::npos) continue;
      std::string name = line.substr(0, colon);
      for (auto& c : name) c = char(std::tolower(static_cast<unsigned char>(c)));
      const std::string value = line.substr(std::min(line.size(), line.find_first_not_of(' ', colon + 1)));
      if (name == "location") location = value;
      if (name == "set-cookie") {
        const std::string pair = value.substr(0, value.find(';'));
        cookies[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
      }
    }
    if (location.empty()) return {};
    if (location.rfind(redirectPrefix, 0) == 0) return location;
    next = location.rfind("https://", 0) == 0 ? location : "https://" + domain + location;
  }
  return {};
}

// The OAuth 2 / OpenID server of tests/net/oauth-server (npm packages
// installed by its prepare.sh), over HTTPS with a certificate of the test CA.
class OAuthTestServer {
 public:
  OAuthTestServer() {
    const auto folder = netTestsDir() / "oauth-server";
    if (std::system(("timeout 900 " + shellQuote((folder / "prepare.sh").string())).c_str()) != 0) return;
    if (!installTestCa()) return;
    if (!makeTestCerts("server " + shellQuote(programFolder().string()) + " " + shellQuote(m_dir.path().string())))
      return;
    m_process = std::make_unique<ChildProcess>(
        "/usr/bin/env",
        std::vector<std::string>{"node", (folder / "server.mjs").string(), "--cert", (m_dir / "server.pem").string(),
                                 "--key", (m_dir / "server.key").string()});
    if (!m_process->started()) return;
    const auto line = m_process->readLine(std::chrono::seconds(60));
    if (!line || line->rfind("PORT ", 0) != 0) return;
    m_port = std::stoi(line->substr(5));
  }

  bool ok() const { return m_port > 0; }
  std::string domain() const { return "127.0.0.1:" + std::to_string(m_port); }
  std::string url(const std::string& path) const { return "https://" + domain() + path; }

 private:
  TempDir m_dir;
  std::unique_ptr<ChildProcess> m_process;
  int m_port = 0;
};

}  // namespace ut::test
