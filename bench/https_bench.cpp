// The HTTPS client beside the transfer library used directly, and beside the
// curl program, against the same loopback HTTPS server in the same run:
// 2,000 sequential keep-alive GETs of a small body, and one 100 MB download.

#include <benchmark/benchmark.h>

#include <ut/ut_https.h>

#include <curl/curl.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr int kRequests = 2000;
constexpr long long kDownloadBytes = 100LL * 1000 * 1000;

const std::string kNetTests = UT_NET_TESTS_DIR;

std::string programFolder() {
  char buffer[4096];
  const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  std::string path(buffer, n > 0 ? size_t(n) : 0);
  return path.substr(0, path.rfind('/'));
}

// tests/net/https_test_server.py with a certificate of the test CA, whose
// certificate becomes "cacert.pem" beside this program. Stopped by pid.
class Server {
 public:
  Server() {
    const std::string certs = kNetTests + "/make-test-certs.sh";
    if (std::system(("timeout 60 '" + certs + "' ca '" + programFolder() + "'").c_str()) != 0) return;
    if (std::system(("timeout 60 '" + certs + "' server '" + programFolder() + "' '" + m_dir.path() + "'").c_str()) !=
        0)
      return;
    int fds[2];
    if (::pipe(fds) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::string script = kNetTests + "/https_test_server.py", cert = m_dir.path() + "/server.pem",
                key = m_dir.path() + "/server.key", certFlag = "--cert", keyFlag = "--key", python = "python3";
    char* argv[] = {python.data(), script.data(), certFlag.data(), cert.data(), keyFlag.data(), key.data(), nullptr};
    const int rc = ::posix_spawn(&m_pid, "/usr/bin/python3", &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (rc != 0) {
      m_pid = -1;
      ::close(fds[0]);
      return;
    }
    FILE* out = ::fdopen(fds[0], "r");
    int https = 0, http = 0;
    if (std::fscanf(out, "PORTS %d %d", &https, &http) == 2) m_port = https;
    std::fclose(out);
  }
  ~Server() {
    if (m_pid > 0) {
      ::kill(m_pid, SIGKILL);
      ::waitpid(m_pid, nullptr, 0);
    }
  }
  bool ok() const { return m_port > 0; }
  std::string domain() const { return "127.0.0.1:" + std::to_string(m_port); }
  std::string url(const std::string& path) const { return "https://" + domain() + path; }

 private:
  struct Dir {
    Dir() {
      char name[] = "/tmp/ut-https-bench-XXXXXX";
      m_path = ::mkdtemp(name) ? name : "";
    }
    ~Dir() { std::system(("rm -rf '" + m_path + "'").c_str()); }
    const std::string& path() const { return m_path; }
    std::string m_path;
  } m_dir;
  pid_t m_pid = -1;
  int m_port = 0;
};

Server& server() {
  static Server instance;
  return instance;
}

size_t append(char* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

void BM_HttpsServiceKeepAliveGets(benchmark::State& state) {
  if (!server().ok()) return state.SkipWithError("the HTTPS test server did not start");
  ut::HttpsService service(server().domain());
  const ut::HttpsRequest request = ut::HttpsRequestBuilder().request("/bytes?n=256").build();
  for (auto _ : state) {
    for (int i = 0; i < kRequests; ++i) benchmark::DoNotOptimize(service.execute(request).m_body.size());
  }
  state.SetItemsProcessed(state.iterations() * kRequests);
}
BENCHMARK(BM_HttpsServiceKeepAliveGets)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// Reference: one reused easy handle with the options a careful direct user
// sets, and no more.
void BM_RawCurlKeepAliveGets(benchmark::State& state) {
  if (!server().ok()) return state.SkipWithError("the HTTPS test server did not start");
  CURL* curl = curl_easy_init();
  const std::string url = server().url("/bytes?n=256"), ca = programFolder() + "/cacert.pem";
  std::string body;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CAINFO, ca.c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
  for (auto _ : state) {
    for (int i = 0; i < kRequests; ++i) {
      body.clear();
      if (curl_easy_perform(curl) != CURLE_OK) return state.SkipWithError("transfer failed");
      benchmark::DoNotOptimize(body.size());
    }
  }
  curl_easy_cleanup(curl);
  state.SetItemsProcessed(state.iterations() * kRequests);
}
BENCHMARK(BM_RawCurlKeepAliveGets)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

void BM_HttpsServiceDownload100MB(benchmark::State& state) {
  if (!server().ok()) return state.SkipWithError("the HTTPS test server did not start");
  ut::HttpsService service(server().domain());
  const ut::HttpsRequest request =
      ut::HttpsRequestBuilder().request("/bytes?n=" + std::to_string(kDownloadBytes)).timeout(600000).build();
  for (auto _ : state) {
    if (service.execute(request).m_body.size() != size_t(kDownloadBytes)) return state.SkipWithError("short download");
  }
  state.SetBytesProcessed(state.iterations() * kDownloadBytes);
}
BENCHMARK(BM_HttpsServiceDownload100MB)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

// Reference: the curl program writing the same download to /dev/null.
void BM_CurlProgramDownload100MB(benchmark::State& state) {
  if (!server().ok()) return state.SkipWithError("the HTTPS test server did not start");
  const std::string command = "curl -sS -o /dev/null --cacert '" + programFolder() + "/cacert.pem' '" +
                              server().url("/bytes?n=" + std::to_string(kDownloadBytes)) + "'";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) return state.SkipWithError("curl failed");
  }
  state.SetBytesProcessed(state.iterations() * kDownloadBytes);
}
BENCHMARK(BM_CurlProgramDownload100MB)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

}  // namespace
