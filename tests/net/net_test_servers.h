#pragma once

// The real peers of the network tests: an HTTPS server (tests/net/
// https_test_server.py) with a certificate from a test CA made with openssl
// at test time. Everything binds 127.0.0.1 on free ports and is stopped by
// process id when its object dies. A peer that cannot be started is a test
// failure, not a skip: its prerequisites are installed by scripts/install-deps.sh.

#include "test_support.h"

#include <cstdlib>
#include <filesystem>
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
