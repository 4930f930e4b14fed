// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>

#include <functional>
#include <stdexcept>
#include <thread>

#include "posix/PosixTest.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/DateFormatter.h"
#include "tidewell/base/formats/RegularExpression.h"

namespace tidewell::posix {
namespace {

TEST_F(UrlSessionTest, RequestsAreSentUnchanged) {
  platform::UrlRequest asked = request("https://shop.example:443/a/../b/./c%2F?x=1&y=%20", "POST");
  asked.setValue("application/json", "Content-Type");
  asked.setValue("", "TDW-APPKEY");
  asked.setValue("7", "Content-Length");
  const std::string body = std::string(100'000, 'x') + std::string("\0\xff", 2);
  asked.setHTTPBody(body);
  ASSERT_EQ(0, codeOf(fetch(asked)));
  const auto received = backend.requests().at(0);
  EXPECT_EQ("POST /a/../b/./c%2F?x=1&y=%20", received.method + " " + received.path + "?" + received.query);
  EXPECT_EQ(body, received.body);
  for (const auto& [name, value] : {std::pair("Content-Type", "application/json"),
                                    {"TDW-APPKEY", ""},
                                    {"Content-Length", "100002"},
                                    {"Expect", "(none)"}})
    EXPECT_EQ(value, received.header(name).value_or("(none)")) << name;
  EXPECT_EQ("shop.example", received.serverName);
  for (const char* method : {"GET", "POST", "PUT", "DELETE", "HEAD"}) {
    EXPECT_EQ(0, codeOf(fetch(request("https://shop.example/page", method)))) << method;
    EXPECT_EQ(method, backend.requests().back().method);
    EXPECT_EQ("", backend.requests().back().body) << method;
  }
}

TEST_F(UrlSessionTest, CookiesAreReturnedUpToALimit) {
  StandInFault reply = fault("kind=reply");
  for (int batch = 0; batch < 13; ++batch) {
    reply.headers.assign(1, {"Set-Cookie", "visitor=7; Path=/; Secure"});
    for (int i = 0; i < (batch == 0 ? 0 : 50); ++i) {
      reply.headers.emplace_back("Set-Cookie", std::to_string(batch * 50 + i) + "=1; Path=/");
    }
    backend.setFault(reply);
    EXPECT_EQ(0, codeOf(fetch()));
  }
  EXPECT_EQ("visitor=7", backend.requests().at(1).header("Cookie"));
  EXPECT_EQ(0, codeOf(fetch()));
  const std::string sent = backend.requests().back().header("Cookie").value_or("");
  EXPECT_LT(std::count(sent.begin(), sent.end(), '='), 150) << "more than 150 are never sent";
}

TEST_F(UrlSessionTest, RedirectsFollowBrowserRulesAndRefuseUnsafeTargets) {
  struct Case {
    int status;
    const char *method, *location, *arrives;  ///< `arrives`: null if the redirect is not followed
    std::int64_t code = 0;
  };
  const char *const here = "/elsewhere?a=1", *const there = "https://elsewhere.example/";
  for (const Case& row :
       {Case{301, "POST", here, "GET"}, Case{302, "POST", here, "GET"}, Case{303, "POST", here, "GET"},
        Case{307, "POST", here, "POST"}, Case{308, "POST", here, "POST"}, Case{301, "PUT", here, "PUT"},
        Case{302, "PUT", here, "PUT"}, Case{303, "PUT", here, "GET"}, Case{302, "GET", here, "GET"},
        Case{307, "POST", there, nullptr}, Case{308, "POST", there, nullptr},
        Case{302, "GET", "http://shop.example/", nullptr, platform::kUrlErrorUnsupportedUrl},
        Case{302, "GET", "file:///etc/passwd", nullptr, platform::kUrlErrorUnsupportedUrl},
        Case{302, "GET", "https://", nullptr, platform::kUrlErrorBadUrl}}) {
    SCOPED_TRACE(std::to_string(row.status) + " after " + row.method + " to " + row.location);
    backend.clearRequests();
    backend.setFault(
        fault("kind=redirect,times=1,status=" + std::to_string(row.status) + ",location=" + row.location));
    platform::UrlRequest asked = request("https://shop.example/page", row.method);
    asked.setHTTPBody("body");
    asked.setValue("text/plain", "Content-Type");
    const platform::UrlTaskResult result = fetch(asked);
    EXPECT_EQ(row.code, codeOf(result));
    ASSERT_TRUE(result.response);
    ASSERT_EQ(row.arrives ? 2u : 1u, backend.requestCount());
    EXPECT_EQ(row.arrives ? "https://shop.example/elsewhere?a=1" : "https://shop.example/page",
              result.response->url);
    if (!row.arrives) {
      EXPECT_EQ(row.status, result.response->statusCode);
      continue;
    }
    const bool keeps = std::string_view(row.method) == row.arrives;
    const auto last = backend.requests().at(1);
    EXPECT_EQ(row.arrives, last.method);
    EXPECT_EQ("/elsewhere", last.path);
    EXPECT_EQ(keeps ? "body" : "", last.body);
    EXPECT_EQ(keeps, last.header("Content-Type").has_value());
  }
}

TEST_F(UrlSessionTest, HostBoundHeadersAreDroppedForGoodOnAHostChange) {
  configuration.headersBoundToHost = {"TDW-APPKEY"};
  for (const char* location :
       {"/step", "https://elsewhere.example/", "https://shop.example/home", "/again"}) {
    backend.addFault(fault(std::string("kind=redirect,times=1,location=") + location));
  }
  platform::UrlRequest asked = request();
  asked.setValue("SECRET", "tdw-appkey");
  asked.setValue("Bearer SECRET", "Authorization");
  asked.setValue("kept", "X-Other");
  ASSERT_FALSE(fetch(asked).error);
  const auto received = backend.requests();
  ASSERT_EQ(5u, received.size());
  EXPECT_EQ("elsewhere.example", received[2].serverName);
  for (std::size_t hop = 0; hop < received.size(); ++hop) {
    for (const char* bound : {"TDW-APPKEY", "Authorization"})
      EXPECT_EQ(hop < 2, received[hop].header(bound).has_value());
    EXPECT_EQ("kept", received[hop].header("X-Other")) << hop;
  }
  for (const auto& [times, code] : {std::pair("20", 0l), {"21", platform::kUrlErrorHttpTooManyRedirects}}) {
    backend.setFault(fault(std::string("kind=redirect,times=") + times));
    EXPECT_EQ(code, codeOf(fetch()));
  }
}

TEST_F(UrlSessionTest, SurplusBytesAreNeverUsedAsAReply) {
  struct Case {
    std::string fault;
    bool comesLater = false;
    int status = 200;
  };
  const std::string stolen = R"(, "status": 200, "body": "stolen", "times": 1})";
  const Case cases[] = {
      {"kind=surplus:5,times=1"},
      {"kind=surplus:100000,times=1"},
      {R"({"kind": "late-reply", "interval": 0)" + stolen},
      {R"({"kind": "late-reply", "interval": 1)" + stolen, true},
      {"kind=stray-bytes:1,times=1", true},
      {R"({"kind": "reply", "status": 204, "times": 1, "body": ")" + std::string(50'000, 'x') + "\"}", false,
       204},
  };
  /// Whether a socket has unread bytes from the backend.
  const auto hasUnreadBytes = [&] {
    std::ifstream sockets("/proc/net/tcp");
    for (std::string line; std::getline(sockets, line);) {
      unsigned port = 0, unread = 0;
      static_cast<void>(std::sscanf(line.c_str(), "%*d: %*8x:%*x %*8x:%x %*x %*x:%x", &port, &unread));
      if (port == backend.port() && unread > 0) return true;
    }
    return false;
  };
  configuration.httpsOnly = false;
  const auto session = makeSession();
  for (const char* path : {"/1", "/2", "/3"}) backend.setResource(path, path, "text/plain");
  std::size_t connections = 0;  // kept alive, one per scheme
  for (const std::string scheme : {"https", "http"}) {
    const std::string host = scheme + "://shop.example";
    ++connections;
    for (const auto& [text, comesLater, status] : cases) {
      SCOPED_TRACE(scheme + " " + text.substr(0, 100));
      backend.setFault(fault(text));
      const platform::UrlTaskResult first = send(*session, request(host + "/1")).get();
      ASSERT_EQ(0, codeOf(first));
      EXPECT_EQ(status, first.response->statusCode);
      EXPECT_EQ(status == 200 ? "/1" : "", bodyOf(first));
      // If the bytes arrive together with the preceding reply, the connection is closed.
      if (comesLater) {
        EXPECT_TRUE(
            eventually([&] { return hasUnreadBytes() || backend.openConnectionCount() < connections; }));
      }
      for (const char* path : {"/2", "/3"})
        EXPECT_EQ(path, bodyOf(send(*session, request(host + path)).get()));
    }
  }
}

TEST_F(UrlSessionTest, ARequestIsNotResentWhenAKeptConnectionFails) {
  const auto session = makeSession();
  for (const char* method : {"POST", "GET"}) {
    for (const char* end : {"kind=close,times=1", "kind=reset,times=1"}) {
      SCOPED_TRACE(std::string(method) + " " + end);
      const auto code = [&] {
        return codeOf(send(*session, request("https://shop.example/page", method)).get());
      };
      ASSERT_EQ(0, code());
      backend.clearRequests();
      backend.setFault(fault(end));
      EXPECT_EQ(platform::kUrlErrorNetworkConnectionLost, code());
      EXPECT_EQ(1u, backend.requestCount());
      EXPECT_EQ(0, code());
      backend.addFault(fault("kind=expired,host=other.example"));  // closes the idle connection
      EXPECT_EQ(0, code());
      EXPECT_EQ(3u, backend.requestCount());
    }
  }
}

TEST_F(UrlSessionTest, RequestsShareAtMost64Connections) {
  const auto session = makeSession();
  for (int i = 0; i < 20; ++i) ASSERT_EQ("hello", bodyOf(send(*session).get()));
  EXPECT_EQ(1u, backend.connectionCount());
  std::vector<std::future<platform::UrlTaskResult>> replies;
  for (int i = 0; i < 64; ++i) replies.push_back(send(*session, request("https://shop.example/held")));
  for (int i = 0; i < 200; ++i) replies.push_back(send(*session));
  EXPECT_TRUE(backend.waitForRequests(84, std::chrono::minutes(1)));
  release.set_value();
  for (auto& reply : replies) EXPECT_EQ(0, codeOf(reply.get()));
  EXPECT_EQ(284u, backend.requestCount());
  EXPECT_EQ(64u, backend.connectionCount());
}

/// The number of the library's threads.
int ownThreadCount() {
  int count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    count += bytesOf(task.path() / "comm").starts_with("tw-") ? 1 : 0;
  }
  return count;
}

/// A request whose completion blocks until `release`.
class Blocker {
 public:
  explicit Blocker(platform::UrlSession& session) {
    session.dataTaskWithRequest(platform::UrlRequest(base::Url::URLWithString("https://shop.example/page")),
                                [this](const platform::UrlTaskResult&) {
                                  entered_.set_value();
                                  mayReturn_.get_future().wait();
                                });
    entered_.get_future().wait();
  }
  void release() { mayReturn_.set_value(); }

 private:
  std::promise<void> entered_, mayReturn_;
};

TEST_F(UrlSessionTest, CompletionsRunOneAtATimeWhileTwoThreadsServeAllSessions) {
  const auto session = makeSession();
  EXPECT_EQ(0, ownThreadCount());
  std::atomic<int> inside{0}, completed{0};
  const auto complete = [&](const platform::UrlTaskResult& result) {
    EXPECT_EQ(0, codeOf(result));
    EXPECT_EQ(0, inside++);
    std::this_thread::yield();
    --inside;
    ++completed;
  };
  Blocker blocker(*session);
  inside = 1;
  EXPECT_EQ(1, ownThreadCount());
  for (int i = 0; i < 10; ++i) {
    makeSession()->dataTaskWithRequest(request(), complete);
    session->dataTaskWithRequest(request(), nullptr);
    session->dataTaskWithRequest(request(), [&](const platform::UrlTaskResult& result) {
      complete(result);
      session->dataTaskWithRequest(request(), complete);
      throw std::runtime_error("of the host");
    });
  }
  EXPECT_TRUE(backend.waitForRequests(31, std::chrono::minutes(1)));
  inside = 0;
  blocker.release();
  EXPECT_TRUE(eventually([&] { return completed == 30; }));
  EXPECT_EQ(10u, countReports());
  EXPECT_EQ(2, ownThreadCount());
}

/// The backend's threads run in this process, and one may hold an allocator lock during a fork.
class ForkedUrlSessionTest : public UrlSessionTest {
  void SetUp() override {
    if (kAddressSanitizer) GTEST_SKIP() << "the sanitizer's allocator may be locked in the child";
  }
};

TEST_F(ForkedUrlSessionTest, AChildForkedInACallbackDoesNotRunTheParentsWork) {
  given.setMainLoop(MainLoop::ownThread);
  const auto session = makeSession();
  StandInFault closing = fault("kind=reply,body=x");
  closing.headers = {{"Connection", "close"}};
  backend.setFault(closing);
  using Function = std::function<void()>;
  const std::function<void(Function)> queues[] = {
      [&](Function function) { platform->mainQueue().async(std::move(function)); },
      [&](Function function) { session->dataTaskWithRequest(request(), [function](auto) { function(); }); }};
  for (const auto& async : queues) {
    std::atomic<int>& ran = countOverForks();
    std::promise<void> entered, mayReturn, last;
    pid_t child = -1;
    async([&] {
      entered.set_value();
      mayReturn.get_future().wait();
      child = fork();
    });
    entered.get_future().wait();
    for (int i = 0; i < 5; ++i) {
      async([&] {
        if (++ran == 5) last.set_value();
      });
    }
    // A closed connection means that its reply has been read.
    const std::size_t requests = &async == queues ? 0 : 6;
    EXPECT_TRUE(
        eventually([&] { return backend.requestCount() == requests && backend.openConnectionCount() == 0; }));
    mayReturn.set_value();
    last.get_future().wait();
    waitUntilAsleep(child);
    EXPECT_EQ(5, ran);
    endChild(child);
  }
}

TEST_F(ForkedUrlSessionTest, RequestsWorkAfterAForkAndWithASingleThread) {
  const auto session = makeSession();
  const auto withoutThreads = [&] {
    Blocker blocker(*session);
    for (const unsigned call : {SYS_clone3, SYS_clone}) ASSERT_TRUE(refuseSystemCall(call, EAGAIN));
    auto other = send(*session);
    blocker.release();
    EXPECT_EQ("hello", bodyOf(other.get()));
    EXPECT_EQ(1, ownThreadCount());
  };
  EXPECT_EQ(0, inChild(withoutThreads));
}

TEST_F(ForkedUrlSessionTest, AMissingModuleFailsOnlyRequestsMadeBeforeTheLoad) {
  constexpr const char* kModuleVariable = "TIDEWELL_TEST_MODULE";
  const char* const module = getenv(kModuleVariable);  // its real path; set in the re-executed program
  if (module == nullptr) {
    Dl_info platformLibrary{};
    dladdr(reinterpret_cast<void*>(&install), &platformLibrary);
    if (std::string(platformLibrary.dli_fname).find(".so") == std::string::npos)
      GTEST_SKIP() << "libcurl is linked statically";
    // Runs this test again with copies of the libraries that have no module beside them.
    Dl_info coreLibrary{};
    dladdr(reinterpret_cast<void*>(&base::raise), &coreLibrary);
    std::filesystem::copy(platformLibrary.dli_fname, folder + "/libTidewellPosix.so.1");
    std::filesystem::copy(coreLibrary.dli_fname, folder + "/libTidewellCore.so.1");
    EXPECT_EQ(0, inChild([&] {
                const std::filesystem::path library = platformLibrary.dli_fname;
                setenv(kModuleVariable,
                       (library.parent_path() / TIDEWELL_MODULE_FOLDER "/libTidewellUrlSession.so").c_str(),
                       1);
                setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
                execl("/proc/self/exe", "tests_posix", "--gtest_filter=*AMissingModule*", nullptr);
                ADD_FAILURE();
              }));
    return;
  }
  base::MatchBudget budget;
  EXPECT_EQ(base::MatchResult::undecided, base::RegularExpression("a+").matches("aa", budget));
  EXPECT_EQ("", base::DateFormatter("EEEE", base::TimeZone::UTC()).stringFromDate({0}));
  const platform::UrlTaskResult result = fetch();
  ASSERT_EQ(platform::kUrlErrorResourceUnavailable, codeOf(result));
  EXPECT_NE(std::string::npos, result.error->description().find("libTidewellUrlSession.so"));
  const std::string modules = std::string(getenv("LD_LIBRARY_PATH")) + "/" TIDEWELL_MODULE_FOLDER;
  std::filesystem::create_directories(modules);
  const std::string missing = modules + "/libTidewellUrlSession.so";
  ASSERT_EQ(0, mkfifo(missing.c_str(), 0600));
  auto before = send(*makeSession());
  const int writer = open(missing.c_str(), O_WRONLY);  // waits until it is being loaded
  auto meanwhile = send(*makeSession());
  std::filesystem::create_symlink(module, missing + ".new");
  std::filesystem::rename(missing + ".new", missing);
  close(writer);
  EXPECT_EQ(platform::kUrlErrorResourceUnavailable, codeOf(before.get()));
  EXPECT_EQ("hello", bodyOf(meanwhile.get()));
}

}  // namespace
}  // namespace tidewell::posix
