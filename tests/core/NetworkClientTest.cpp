#include "tidewell/core/TWNetwork/TWNetworkClient.h"

#include <algorithm>
#include <stdexcept>

#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using testing::ScriptedNetwork;
using Send = void (TWNetworkClient::*)(std::optional<platform::UrlRequest>, TWRequestCompletion) const;

platform::UrlRequest request() {
  return platform::UrlRequest(base::Url::URLWithString("https://h.example/"));
}

class NetworkClientTest : public CoreFixture {
 protected:
  // The configuration says a line of its own when it is made.
  NetworkClientTest() { (void)TWConfigManager::sharedInstance(); }

  /// What a completion was called with, and where.
  struct Call {
    bool success;
    base::Value response;
    std::string queue;
  };

  TWRequestCompletion record() {
    return [this](bool success, const base::Value& response) {
      calls.push_back({success, response,
                       platform->testMainQueue().isCurrent()      ? "main"
                       : platform->testSessionQueue().isCurrent() ? "session"
                                                                  : "caller"});
    };
  }

  std::vector<Call> calls;
};

TEST_F(NetworkClientTest, OutcomesBecomeAFlagAReplyAndALine) {
  const Send fetch = &TWNetworkClient::fetchRequest, sync = &TWNetworkClient::syncRequest,
             sendLog = &TWNetworkClient::sendLogRequest;
  const base::Value empty = base::Dictionary();
  const std::string fetchLine =
      "Tidewell - <file - TWNetworkClient, line number - 59 , method - "
      "'fetchRequest:withCompletionHandler:'> ";
  const std::string syncLine =
      "Tidewell - <file - TWNetworkClient, line number - 95 , method - "
      "'syncRequest:withCompletionHandler:'> ";
  const auto described = [](std::int64_t status) {
    return platform::UrlResponse{"https://h.example/", status, {}}.description();
  };
  const auto failed = [&](std::int64_t status) {
    return "🛑 Api failed with response " + described(status) + " and error (null) 🛑";
  };
  platform::UrlTaskResult noBody = ScriptedNetwork::reply(200);
  noBody.data = std::nullopt;
  const struct {
    Send send;
    platform::UrlTaskResult result;
    bool success;
    base::Value response;
    std::string queue;
    Lines logged;
  } cases[] = {
      {fetch,
       ScriptedNetwork::reply(200, R"({"a":[1]})"),
       true,
       base::Dictionary{{"a", base::Array{1}}},
       "main",
       {}},
      {fetch, ScriptedNetwork::reply(200, "[1]"), true, base::Array{1}, "main", {}},
      {fetch, ScriptedNetwork::reply(200, ""), true, empty, "main", {}},
      {fetch, ScriptedNetwork::reply(200, "<html>"), true, empty, "main", {}},
      {fetch, noBody, true, empty, "main", {}},
      {fetch, ScriptedNetwork::reply(204), false, {}, "main", {fetchLine + failed(204) + " "}},
      {fetch, ScriptedNetwork::reply(201, "{}"), false, {}, "main", {fetchLine + failed(201) + " "}},
      {fetch,
       ScriptedNetwork::failure(-1001, "The request timed out."),
       false,
       {},
       "main",
       {fetchLine + "🛑 Api failed with response (null) and error Error Domain=NSURLErrorDomain Code=-1001 "
                    "\"The request timed out.\" 🛑 "}},
      {sync, ScriptedNetwork::reply(200, "{}"), true, {}, "session", {}},
      {sync, ScriptedNetwork::reply(404), false, {}, "session", {syncLine + failed(404)}},
      {sendLog, ScriptedNetwork::reply(204), true, {}, "session", {}},
      {sendLog,
       ScriptedNetwork::reply(200),
       false,
       {},
       "session",
       {"Tidewell - 🛑 The connection failed with response " + described(200) + " error (null) 🛑"}},
      {sendLog,
       ScriptedNetwork::failure(-1, "x"),
       false,
       {},
       "session",
       {"Tidewell - 🛑 The connection failed with response (null) error Error Domain=NSURLErrorDomain "
        "Code=-1 "
        "\"x\" 🛑"}},
  };
  TWLogger::debug(1);
  for (const auto& each : cases) {
    calls.clear();
    (TWNetworkClient().*each.send)(request(), record());
    platform->testNetwork().answer(each.result);
    runUntilIdle();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].success, each.success);
    EXPECT_EQ(calls[0].response.description(), each.response.description());
    EXPECT_EQ(calls[0].queue, each.queue);
    EXPECT_EQ(lines(), each.logged);

    (TWNetworkClient().*each.send)(request(), {});
    platform->testNetwork().answer(each.result);
    runUntilIdle();
    lines();
  }
}

TEST_F(NetworkClientTest, ANilRequestCompletesAtOnceOrRaises) {
  TWLogger::debug(1);
  TWNetworkClient().fetchRequest(std::nullopt, record());
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_FALSE(calls[0].success);
  EXPECT_EQ(calls[0].queue, "caller");
  EXPECT_EQ(
      lines(),
      Lines{"Tidewell - <file - TWNetworkClient, line number - 74 , method - "
            "'fetchRequest:withCompletionHandler:'> Exception : Cannot create data task with nil request"});
  TWNetworkClient().fetchRequest(std::nullopt, {});
  EXPECT_THROW(TWNetworkClient().syncRequest(std::nullopt, record()), base::Exception);
  EXPECT_THROW(TWNetworkClient().sendLogRequest(std::nullopt, record()), base::Exception);
  EXPECT_EQ(calls.size(), 1u);
}

TEST_F(NetworkClientTest, ACompletionThatRaisesIsReportedAndLaterOnesRun) {
  TWLogger::debug(1);
  answerEverythingWith(200);
  const auto raise = [](bool, const base::Value&) { throw std::runtime_error("host"); };
  TWNetworkClient().fetchRequest(std::nullopt, raise);
  TWNetworkClient().fetchRequest(request(), raise);
  TWNetworkClient().syncRequest(request(), raise);
  TWNetworkClient().fetchRequest(request(), record());
  TWNetworkClient().syncRequest(request(), record());
  runUntilIdle();
  EXPECT_EQ(calls.size(), 2u);
  const Lines logged = lines();
  EXPECT_EQ(std::count_if(logged.begin(), logged.end(),
                          [](const std::string& line) { return line.ends_with("host"); }),
            3);
}

}  // namespace
}  // namespace tidewell
