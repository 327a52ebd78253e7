// The secret store against a real secret service: a private D-Bus session with
// gnome-keyring (tests/net/secret-session.sh), cross-checked with secret-tool;
// and without any service, or with one that never answers.
//
// The DISABLED_ suites are not run directly: the SecretStoreTest cases run
// this same program again inside the prepared environment with
// --gtest_also_run_disabled_tests, and fail when that run fails.

#include "net_test_servers.h"

#include <ut/ut_secretstore.h>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace ut {
namespace {

using Clock = std::chrono::steady_clock;

std::string programPath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

// What secret-tool says for a target ("" when it finds nothing).
std::string secretToolLookup(const std::string& target) {
  test::TempDir scratch;
  return test::runProgram("/usr/bin/secret-tool", {"lookup", "target", target}, scratch.path()).out;
}

TEST(DISABLED_SecretStoreSessionTest, SaveLoadReplaceRemove) {
  SecretStore store;
  ASSERT_TRUE(store.isOk());
  const wxString target = "Tessary/Tessacad/Login";
  EXPECT_EQ(store.load(target), std::nullopt);
  ASSERT_TRUE(store.save(target, "alice", wxString::FromUTF8("s3cr=t \xC3\xBC")));
  const auto loaded = store.load(target);
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->first, "alice");
  EXPECT_EQ(loaded->second, wxString::FromUTF8("s3cr=t \xC3\xBC"));
  EXPECT_EQ(secretToolLookup("Tessary/Tessacad/Login"), "s3cr=t \xC3\xBC");

  ASSERT_TRUE(store.save(target, "bob", "second"));
  EXPECT_EQ(store.load(target), std::make_optional(std::make_pair(wxString("bob"), wxString("second"))));
  EXPECT_EQ(secretToolLookup("Tessary/Tessacad/Login"), "second");  // replaced, not added

  EXPECT_TRUE(store.remove(target));
  EXPECT_EQ(store.load(target), std::nullopt);
  EXPECT_EQ(secretToolLookup("Tessary/Tessacad/Login"), "");
  EXPECT_FALSE(store.remove(target));
}

TEST(DISABLED_SecretStoreSessionTest, TargetsAreIndependent) {
  SecretStore store;
  ASSERT_TRUE(store.save("Tessary/Tessacad/Login", "alice", "one"));
  ASSERT_TRUE(store.save("Tessary/Tessacad/AnonymousLogin", "machine", "two"));
  EXPECT_TRUE(store.remove("Tessary/Tessacad/Login"));
  EXPECT_EQ(store.load("Tessary/Tessacad/AnonymousLogin"),
            std::make_optional(std::make_pair(wxString("machine"), wxString("two"))));
  EXPECT_EQ(store.load("Tessary/Tessacad"), std::nullopt);  // no prefix matching
}

TEST(DISABLED_SecretStoreSessionTest, SecretsFiledBySecretToolAreFound) {
  test::TempDir scratch;
  ASSERT_EQ(test::runProgram("/usr/bin/secret-tool",
                             {"store", "--label=filed elsewhere", "target", "Other/App", "user", "carol"},
                             scratch.path(), "", "from the tool")
                .status,
            0);
  SecretStore store;
  EXPECT_EQ(store.load("Other/App"), std::make_optional(std::make_pair(wxString("carol"), wxString("from the tool"))));
}

TEST(DISABLED_SecretStoreSessionTest, EmptyTargetIsRefused) {
  SecretStore store;
  EXPECT_FALSE(store.save("", "u", "s"));
  EXPECT_EQ(store.load(""), std::nullopt);
  EXPECT_FALSE(store.remove(""));
}

TEST(DISABLED_SecretStoreSessionTest, ConcurrentThreadsUseTheirOwnTargets) {
  std::atomic<int> ok{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &ok] {
      SecretStore store;
      const wxString target = wxString::Format("ut-test/thread-%d", t);
      for (int i = 0; i < 5; ++i) {
        const wxString secret = wxString::Format("secret-%d-%d", t, i);
        if (store.save(target, "u", secret) && store.load(target) == std::make_pair(wxString("u"), secret)) ++ok;
      }
      if (store.remove(target)) ++ok;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(ok.load(), 24);
}

TEST(DISABLED_SecretStoreNoServiceTest, EverythingFailsQuickly) {
  SecretStore store;
  const auto start = Clock::now();
  EXPECT_FALSE(store.isOk());
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
  EXPECT_FALSE(store.save("Tessary/Tessacad/Login", "u", "s"));
  EXPECT_EQ(store.load("Tessary/Tessacad/Login"), std::nullopt);
  EXPECT_FALSE(store.remove("Tessary/Tessacad/Login"));
}

// Runs the named disabled suite of this program behind `prefix` and expects
// it to succeed with the summary line `passed`.
void expectPassesInside(const std::string& suite, const std::string& prefix, const test::TempDir& scratch,
                        const std::string& passed) {
  const auto result = test::runProgram(
      programPath(), {"--gtest_also_run_disabled_tests", "--gtest_filter=" + suite + ".*"}, scratch.path(), prefix);
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_NE(result.out.find(passed), std::string::npos) << result.out;
}

TEST(SecretStoreTest, WorksOnAPrivateSecretService) {
  test::TempDir scratch;
  const std::string prefix = test::shellQuote((test::netTestsDir() / "secret-session.sh").string()) + " " +
                             test::shellQuote((scratch / "home").string());
  expectPassesInside("DISABLED_SecretStoreSessionTest", prefix, scratch, "[  PASSED  ] 5 tests.");
}

TEST(SecretStoreTest, WithoutAnyServiceIsNotOk) {
  test::TempDir scratch;
  const std::string prefix = "env -u DISPLAY -u WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS=unix:path=" +
                             test::shellQuote((scratch / "no-bus").string());
  expectPassesInside("DISABLED_SecretStoreNoServiceTest", prefix, scratch, "[  PASSED  ] 1 test.");
}

TEST(SecretStoreTest, ServiceThatNeverAnswersIsNotOk) {
  // A bus socket that accepts connections and never says a word.
  test::TempDir scratch;
  const std::string socketPath = (scratch / "silent-bus").string();
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(socketPath.size(), sizeof(address.sun_path));
  socketPath.copy(address.sun_path, socketPath.size());
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(::listen(listener, 64), 0);
  const std::string prefix =
      "env -u DISPLAY -u WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS=unix:path=" + test::shellQuote(socketPath);
  expectPassesInside("DISABLED_SecretStoreNoServiceTest", prefix, scratch, "[  PASSED  ] 1 test.");
  ::close(listener);
}

}  // namespace
}  // namespace ut
