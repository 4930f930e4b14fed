#include "UrlSessionTesting.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "tidewell/platform/Platform.h"

namespace tidewell::posix {
namespace {

TEST_F(UrlSessionTest, ARequestGoesOutAsItWasBuilt) {
  platform::UrlRequest asked = request("https://shop.example:443/a/../b/./c%2F?x=1&y=%20");
  asked.setHTTPMethod("POST");
  asked.setValue("application/json", "Content-Type");
  asked.setValue("", "TDW-APPKEY");
  asked.setValue("7", "Content-Length");
  const std::string body = std::string(100'000, 'x') + std::string("\0\xff", 2);
  asked.setHTTPBody(body);
  const platform::UrlTaskResult result = fetch(asked);
  ASSERT_FALSE(result.error) << result.error->description();

  const auto received = backend.requests().at(0);
  EXPECT_EQ("POST", received.method);
  EXPECT_EQ("/a/../b/./c%2F", received.path);
  EXPECT_EQ("x=1&y=%20", received.query);
  EXPECT_EQ(body, received.body);
  EXPECT_EQ("application/json", received.header("Content-Type"));
  EXPECT_EQ("", received.header("TDW-APPKEY"));
  EXPECT_EQ("100002", received.header("Content-Length"));
  EXPECT_EQ(std::nullopt, received.header("Expect"));
  EXPECT_EQ("shop.example", received.serverName);
}

TEST_F(UrlSessionTest, EveryMethodArrivesWithoutABody) {
  for (const char* method : {"GET", "POST", "PUT", "DELETE", "HEAD"}) {
    platform::UrlRequest asked = request();
    asked.setHTTPMethod(method);
    EXPECT_EQ(0, codeOf(fetch(asked))) << method;
    EXPECT_EQ(method, backend.requests().back().method);
    EXPECT_EQ("", backend.requests().back().body) << method;
  }
}

TEST_F(UrlSessionTest, CompressedRepliesAreDecoded) {
  for (const char* encoding : {"gzip", "deflate", "br"}) {
    backend.setFault(fault(std::string("kind=encoding:") + encoding));
    EXPECT_EQ("hello", bodyOf(fetch())) << encoding;
  }
}

TEST_F(UrlSessionTest, CookiesAreSentBackAndABadServerCannotHoardThem) {
  StandInFault reply = fault("kind=reply");
  reply.headers = {{"Set-Cookie", "visitor=7; Path=/; Secure"}};
  backend.setFault(reply);
  static_cast<void>(fetch());
  backend.clearFaults();
  static_cast<void>(fetch());
  EXPECT_EQ("visitor=7", backend.requests().at(1).header("Cookie"));

  for (int batch = 0; batch < 12; ++batch) {
    reply.headers.clear();
    for (int i = 0; i < 50; ++i) {
      reply.headers.emplace_back("Set-Cookie", "c" + std::to_string(batch * 50 + i) + "=1; Path=/");
    }
    backend.setFault(reply);
    static_cast<void>(fetch());
  }
  backend.clearRequests();
  static_cast<void>(fetch());
  const std::string sent = backend.requests().at(0).header("Cookie").value_or("");
  EXPECT_LT(std::count(sent.begin(), sent.end(), '='), 150);  // an all too good memory sends 150
}

TEST_F(UrlSessionTest, RequestsOneAfterTheOtherShareAConnection) {
  const auto session = makeSession();
  for (int i = 0; i < 20; ++i) ASSERT_EQ("hello", bodyOf(send(*session, request()).get()));
  EXPECT_EQ(1u, backend.connectionCount());
}

TEST_F(UrlSessionTest, BytesThatNoRequestAskedForAreNeverAReply) {
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
      {"kind=late-reply:1,times=1", true},
      {"kind=stray-bytes:1,times=1", true},
      {R"({"kind": "reply", "status": 204, "times": 1, "body": ")" + std::string(50'000, 'x') + "\"}", false,
       204},
  };
  configuration.httpsOnly = false;
  const auto session = makeSession();
  for (const char* path : {"/1", "/2", "/3"}) backend.setResource(path, path, "text/plain");
  for (const std::string scheme : {"https", "http"}) {
    const std::string host = scheme + "://shop.example";
    for (const auto& [text, comesLater, status] : cases) {
      SCOPED_TRACE(scheme + " " + text.substr(0, 100));
      backend.setFault(fault(text));
      const platform::UrlTaskResult first = send(*session, request(host + "/1")).get();
      ASSERT_EQ(0, codeOf(first));
      EXPECT_EQ(status, first.response->statusCode);
      EXPECT_EQ(status == 200 ? "/1" : "", bodyOf(first));
      if (comesLater) waitForUnreadBytes(scheme == "https" ? 1 : 2);  // one of each scheme
      for (const char* path : {"/2", "/3"})
        EXPECT_EQ(path, bodyOf(send(*session, request(host + path)).get()));
    }
  }
}

TEST_F(UrlSessionTest, ARequestIsSentOnceWhateverBecomesOfAKeptConnection) {
  const auto session = makeSession();
  for (const char* method : {"POST", "GET"}) {
    for (const char* end : {"kind=close,times=1", "kind=reset,times=1"}) {
      SCOPED_TRACE(std::string(method) + " " + end);
      platform::UrlRequest asked = request();
      asked.setHTTPMethod(method);
      ASSERT_EQ(0, codeOf(send(*session, asked).get()));
      backend.clearRequests();
      backend.setFault(fault(end));
      EXPECT_EQ(platform::kUrlErrorNetworkConnectionLost, codeOf(send(*session, asked).get()));
      EXPECT_EQ(1u, backend.requestCount());
      EXPECT_EQ(0, codeOf(send(*session, asked).get()));
      backend.addFault(fault("kind=expired,host=other.example"));  // closes the idle connection
      EXPECT_EQ(0, codeOf(send(*session, asked).get()));
      EXPECT_EQ(3u, backend.requestCount());
    }
  }
}

TEST_F(UrlSessionTest, ManyAtOnceAllCompleteOnceAndOpenNoMoreThan64Connections) {
  const auto session = makeSession();
  std::vector<std::future<platform::UrlTaskResult>> replies;
  backend.setFault(fault("kind=delay:2"));
  for (int i = 0; i < 300; ++i) replies.push_back(send(*session, request()));
  for (auto& reply : replies) EXPECT_EQ("hello", bodyOf(reply.get()));
  EXPECT_EQ(300u, backend.requestCount());
  EXPECT_LE(backend.connectionCount(), 64u);
  EXPECT_GE(backend.connectionCount(), 2u);
}

TEST_F(UrlSessionTest, ASessionMayGoRightAfterItsRequest) {
  auto session = makeSession();
  auto reply = send(*session, request());
  session.reset();
  EXPECT_EQ("hello", bodyOf(reply.get()));
}

TEST_F(UrlSessionTest, CompletionsAreSerialAndSurviveOneThatThrows) {
  const auto session = makeSession();
  constexpr int kCount = 50;
  std::promise<void> last;
  std::atomic<int> inside{0};
  int completed = 0;
  bool overlapped = false;
  for (int i = 0; i < kCount; ++i) {
    session->dataTaskWithRequest(request(), [&](platform::UrlTaskResult) {
      overlapped = overlapped || inside.fetch_add(1) != 0;
      std::this_thread::yield();
      inside.fetch_sub(1);
      if (++completed == kCount) last.set_value();
      if (completed == 3) throw std::runtime_error("of the host");
    });
    session->dataTaskWithRequest(request(), nullptr);
  }
  last.get_future().wait();
  static_cast<void>(fetch());
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(1u, reportCount());
}

TEST_F(UrlSessionTest, ACompletionMaySendTheNextRequest) {
  const auto session = makeSession();
  std::promise<std::string> done;
  session->dataTaskWithRequest(request(), [&](platform::UrlTaskResult) {
    session->dataTaskWithRequest(request(),
                                 [&](platform::UrlTaskResult result) { done.set_value(bodyOf(result)); });
  });
  EXPECT_EQ("hello", done.get_future().get());
}

/// The backend's threads are in this process: one of them may hold a lock of the allocator when a child is
/// made.
constexpr const char* kForkBesideThreads =
    "AddressSanitizer's allocator may be locked for ever in the child of a process with threads";

/// How many threads of the library there are.
int ownThreadCount() {
  int count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    count += bytesOf(task.path() / "comm").starts_with("tw-") ? 1 : 0;
  }
  return count;
}

/// A request whose completion waits until it is let go, and then does one thing more.
class Blocker {
 public:
  void send(
      platform::UrlSession& session, platform::UrlRequest request, std::function<void()> afterwards = [] {}) {
    session.dataTaskWithRequest(std::move(request), [this, afterwards](platform::UrlTaskResult) {
      entered_.set_value();
      mayGo_.get_future().wait();
      afterwards();
    });
    entered_.get_future().wait();
  }
  void letGo() { mayGo_.set_value(); }

 private:
  std::promise<void> entered_;
  std::promise<void> mayGo_;
};

TEST_F(UrlSessionTest, TwoThreadsServeAllSessionsAndTransferWhileACompletionTakesItsTime) {
  const auto session = makeSession();
  EXPECT_EQ(0, ownThreadCount());
  backend.setResource("/late", "late", "text/plain");
  backend.addFault(fault("kind=delay:300,path=/late"));
  for (const bool hasTransferInFlight : {false, true}) {
    backend.clearRequests();
    std::vector<std::future<platform::UrlTaskResult>> late;
    if (hasTransferInFlight) late.push_back(send(*session, request("https://shop.example/late")));
    Blocker blocker;
    blocker.send(*session, request());
    EXPECT_EQ(hasTransferInFlight ? 2 : 1, ownThreadCount());
    std::vector<std::future<platform::UrlTaskResult>> others;
    for (int i = 0; i < 20; ++i) others.push_back(send(*makeSession(), request()));
    waitForRequests(late.size() + 21);
    EXPECT_EQ(2, ownThreadCount());
    EXPECT_EQ(std::future_status::timeout, others.front().wait_for(std::chrono::milliseconds(20)));
    blocker.letGo();
    for (auto& other : others) EXPECT_EQ("hello", bodyOf(other.get()));
    for (auto& other : late) EXPECT_EQ("late", bodyOf(other.get()));
  }
}

TEST_F(UrlSessionTest, TheChildOfAForkInACompletionLeavesTheOthersToItsParent) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  CountOverForks completed;
  const auto session = makeSession();
  Blocker blocker;
  pid_t child = -1;
  blocker.send(*session, request(), [&] { child = fork(); });
  std::promise<void> last;
  for (int i = 0; i < 5; ++i) {
    session->dataTaskWithRequest(request(), [&](platform::UrlTaskResult) {
      if (++completed.count == 5) last.set_value();
    });
  }
  waitForRequests(6);
  usleep(100'000);  // the replies are there, and wait for their completions
  blocker.letGo();
  last.get_future().wait();
  endChild(child);
  EXPECT_EQ(5, completed.count);
}

TEST_F(UrlSessionTest, OneThreadIsEnoughWhereTheSystemHasNoOther) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  const auto session = makeSession();
  const int status = inChild([&] {
    Blocker blocker;
    blocker.send(*session, request());
    if (!refuseSystemCall(SYS_clone3, EAGAIN) || !refuseSystemCall(SYS_clone, EAGAIN)) return kSkipped;
    auto other = send(*session, request());
    blocker.letGo();
    EXPECT_EQ("hello", bodyOf(other.get()));
    EXPECT_EQ(1, ownThreadCount());
    return exitStatus();
  });
  if (status == kSkipped) GTEST_SKIP() << "this machine does not let a test refuse threads";
  EXPECT_EQ(0, status);
}

/// The file that the platform's code lies in.
std::string platformLibrary() {
  Dl_info info{};
  return dladdr(reinterpret_cast<void*>(&install), &info) != 0 ? info.dli_fname : "";
}

TEST_F(UrlSessionTest, AMissingModuleFailsRequestsWithItsName) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  constexpr const char* kLonely = "TIDEWELL_TEST_LONELY";
  if (getenv(kLonely) == nullptr) {
    if (platformLibrary().find(".so") == std::string::npos) GTEST_SKIP() << "libcurl is linked";
    // The same program again, with a copy of the platform's library that has no module beside it.
    std::filesystem::copy(platformLibrary(), folder + "/libTidewellPosix.so.1");
    EXPECT_EQ(0, inChild([&] {
                setenv(kLonely, "1", 1);
                setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
                execl("/proc/self/exe", "tests_posix", "--gtest_filter=*AMissingModule*", nullptr);
                return 99;
              }));
    return;
  }
  for (int i = 0; i < 2; ++i) {
    const platform::UrlTaskResult result = fetch();
    ASSERT_EQ(platform::kUrlErrorResourceUnavailable, codeOf(result));
    EXPECT_NE(std::string::npos, result.error->description().find("libTidewellUrlSession.so"));
  }
}

TEST_F(UrlSessionTest, ADaemonThatForksBeforeItsFirstRequestWorks) {
  if (kAddressSanitizer) GTEST_SKIP() << kForkBesideThreads;
  const auto session = makeSession();
  EXPECT_EQ(0, inChild([&] {
              EXPECT_EQ("hello", bodyOf(send(*session, request()).get()));
              return exitStatus();
            }));
}

}  // namespace
}  // namespace tidewell::posix
