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
  const std::string start = "Tidewell - <file - TWNetworkClient, line number - ";
  const std::string api = "'> 🛑 Api failed with response ";
  const std::string fetchLine = start + "59 , method - 'fetchRequest:withCompletionHandler:" + api;
  const std::string syncLine = start + "95 , method - 'syncRequest:withCompletionHandler:" + api;
  const std::string logLine = "Tidewell - 🛑 The connection failed with response ";
  const auto status = [](std::int64_t code) {
    return platform::UrlResponse{"https://h.example/", code, {}}.description();
  };
  const std::string domain = "(null) and error Error Domain=NSURLErrorDomain Code=-1001 \"timed out\" 🛑 ";
  const auto reply = ScriptedNetwork::reply;
  platform::UrlTaskResult noBody = reply(200, "");
  noBody.data = std::nullopt;
  const struct {
    Send send;
    platform::UrlTaskResult result;
    bool success;
    std::string response;  ///< described
    std::string line;
  } cases[] = {
      {fetch, reply(200, R"({"a":1})"), true, "{\n    a = 1;\n}", ""},
      {fetch, reply(200, "[1]"), true, "(\n    1\n)", ""},
      {fetch, reply(200, "<html>"), true, "{\n}", ""},
      {fetch, noBody, true, "{\n}", ""},
      {fetch, reply(201, "{}"), false, "(null)", fetchLine + status(201) + " and error (null) 🛑 "},
      {fetch, ScriptedNetwork::failure(-1001, "timed out"), false, "(null)", fetchLine + domain},
      {sync, reply(200, "{}"), true, "(null)", ""},
      {sync, reply(404, ""), false, "(null)", syncLine + status(404) + " and error (null) 🛑"},
      {sendLog, reply(204, ""), true, "(null)", ""},
      {sendLog, reply(200, ""), false, "(null)", logLine + status(200) + " error (null) 🛑"},
  };
  TWLogger::debug(1);
  for (const auto& [send, result, success, response, line] : cases) {
    calls.clear();
    (TWNetworkClient().*send)(request(), record());
    platform->testNetwork().answer(result);
    runUntilIdle();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].success, success);
    EXPECT_EQ(calls[0].response.description(), response);
    EXPECT_EQ(calls[0].queue, send == fetch ? "main" : "session");
    EXPECT_EQ(lines(), line.empty() ? Lines() : Lines{line});

    (TWNetworkClient().*send)(request(), {});
    platform->testNetwork().answer(result);
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
