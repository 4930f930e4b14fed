// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"

namespace tidewell {
namespace {

using testing::ScriptedNetwork;
using MaybeDictionary = std::optional<base::Dictionary>;

const base::Value kNull = base::Value::null();
const std::string kHostAndPort = "https://" + std::string(HOST_TDW_PROD_US) + ":443";

class NetworkTest : public CoreFixture {
 protected:
  NetworkTest() {
    TWCoreUtils::saveAppId("ABC123");
    (void)TWConfigManager::sharedInstance();  // logs a line when created
    TWLogger::debug(1);
  }

  /// Appends "RESULT RESPONSE on QUEUE" to `calls`.
  TWRequestCompletion record() {
    return [this](bool success, const base::Value& response) {
      calls.push_back(std::string(success ? "yes " : "no ") + response.description() + " on " +
                      (platform->testMainQueue().isCurrent()      ? "main"
                       : platform->testSessionQueue().isCurrent() ? "session"
                                                                  : "caller"));
    };
  }

  Lines calls;
};

platform::UrlRequest toHost() { return platform::UrlRequest(base::Url::URLWithString("https://h.example/")); }

TEST_F(NetworkTest, ATransferYieldsASuccessFlagAReplyAndALogLine) {
  using Send = void (TWNetworkClient::*)(std::optional<platform::UrlRequest>, TWRequestCompletion) const;
  const Send fetch = &TWNetworkClient::fetchRequest, sync = &TWNetworkClient::syncRequest,
             sendLog = &TWNetworkClient::sendLogRequest;
  const std::string api = "🛑 Api failed with response ";
  const auto fetchLine = [&](const std::string& what) {
    return caughtLine("TWNetworkClient", 59, "fetchRequest:withCompletionHandler:", api + what + " 🛑 ");
  };
  const auto status = [](std::int64_t code) {
    return platform::UrlResponse{"https://h.example/", code, {}}.description();
  };
  const auto reply = ScriptedNetwork::reply;
  const std::tuple<Send, platform::UrlTaskResult, std::string, std::string> cases[] = {
      {fetch, reply(200, R"({"a":1})"), "yes {\n    a = 1;\n} on main", ""},
      {fetch, reply(200, "[1]"), "yes (\n    1\n) on main", ""},
      {fetch, reply(200, "<html>"), "yes {\n} on main", ""},
      {fetch, {{}, platform::UrlResponse{"https://h.example/", 200, {}}, {}}, "yes {\n} on main", ""},
      {fetch, reply(201, "{}"), "no (null) on main", fetchLine(status(201) + " and error (null)")},
      {fetch, ScriptedNetwork::failure(-1001, "timed out"), "no (null) on main",
       fetchLine("(null) and error Error Domain=NSURLErrorDomain Code=-1001 \"timed out\"")},
      {sync, reply(200, "{}"), "yes (null) on session", ""},
      {sync, reply(404, ""), "no (null) on session",
       caughtLine("TWNetworkClient", 95,
                  "syncRequest:withCompletionHandler:", api + status(404) + " and error (null) 🛑")},
      {sendLog, reply(204, ""), "yes (null) on session", ""},
      {sendLog, reply(200, ""), "no (null) on session",
       "Tidewell - 🛑 The connection failed with response " + status(200) + " error (null) 🛑"},
  };
  for (const auto& [send, result, call, line] : cases) {
    calls.clear();
    for (const TWRequestCompletion& completion : {record(), TWRequestCompletion()}) {
      (TWNetworkClient().*send)(toHost(), completion);
      platform->testNetwork().answer(result);
      runUntilIdle();
      expectLinesBeginning(line.empty() ? Lines() : Lines{line});
    }
    EXPECT_EQ(calls, Lines{call});
  }
}

TEST_F(NetworkTest, MissingRequestsAndRaisingCompletionsAreHandled) {
  TWNetworkClient().fetchRequest(std::nullopt, record());
  EXPECT_EQ(calls, Lines{"no (null) on caller"});
  EXPECT_EQ(lines(), Lines{caughtLine("TWNetworkClient", 74, "fetchRequest:withCompletionHandler:",
                                      "Exception : Cannot create data task with nil request")});
  EXPECT_THROW(TWNetworkClient().syncRequest(std::nullopt, record()), base::Exception);
  EXPECT_THROW(TWNetworkClient().sendLogRequest(std::nullopt, record()), base::Exception);
  EXPECT_EQ(calls.size(), 1u);

  answerEverythingWith(200);
  const auto raise = [](bool, const base::Value&) { throw std::runtime_error("host"); };
  TWNetworkClient().fetchRequest(std::nullopt, raise);
  TWNetworkClient().fetchRequest(toHost(), raise);
  TWNetworkClient().syncRequest(toHost(), raise);
  TWNetworkClient().fetchRequest(toHost(), record());
  runUntilIdle();
  EXPECT_EQ(calls.size(), 2u) << "later completions run";
  const Lines logged = lines();
  EXPECT_EQ(std::count_if(logged.begin(), logged.end(), [](auto& line) { return line.ends_with("host"); }),
            3);
}

TEST_F(NetworkTest, RequestsAreBuiltFromTheirServiceByteForByte) {
  const auto text = [](const std::optional<platform::UrlRequest>& request) {
    std::string all = request->HTTPMethod() + " " + request->URL()->absoluteString();
    for (const auto& [name, value] : request->allHTTPHeaderFields()) all += "\n" + name + ": " + value;
    return all + "\n" + request->HTTPBody().value_or("-");
  };
  const base::Dictionary params{{"z", "&=+"}, {"a b", ""}, {"n", kNull}};
  const base::Dictionary extra{
      {"X-One", "1"}, {"X-Null", kNull}, {"tdw-appkey", "forged"}, {"X-Bad", "a\r\nb"}};
  const base::Dictionary body{
      {"z", "a/b"}, {"a", base::Array{1, 2.5, true, kNull}}, {"d", base::Dictionary{}}};
  const std::string json = "\ncontent-type: application/json\n";
  EXPECT_EQ(text(TWNetworkRequest(TWServiceInbox, params, extra, body, {}).getRequestInstance()),
            "POST " + kHostAndPort + "/v1/getInboxMessages?z=%26%3D+&a%20b=\nX-One: 1\nTDW-APPKEY: ABC123" +
                json + R"({"z":"a\/b","a":[1,2.5,true,null],"d":{}})");
  expectLinesBeginning({"Tidewell - Request URL : https://", "Tidewell - Request Method : POST",
                        "Tidewell - Request headers : {\n    ", "Tidewell - Request Body : {\n    "});
  EXPECT_EQ(text(TWNetworkRequest(TWServiceGetTestInAppPayloadV3, base::Dictionary{{"n", kNull}}, {}, body,
                                  "a b/ü?#")
                     .getRequestInstance()),
            "GET " + kHostAndPort + "/v3/campaigns/inapp/test/a%20b/%C3%BC%3F%23\nTDW-APPKEY: ABC123\n-");
  for (const auto& [appId, header] : {std::pair<Text, std::string>{"", "\nTDW-APPKEY: "}, {{}, ""}}) {
    TWCoreUtils::saveAppId(appId);
    EXPECT_EQ(text(TWNetworkRequest(TWServiceInbox, {}, {}, {}, {}).getRequestInstance()),
              "POST " + kHostAndPort + "/v1/getInboxMessages" + header + json + "-");
  }
  // The region is read once per request, so that host and port belong together.
  TWConfigManager::sharedInstance().tdwConfig()->setDataRedirectionRegion(7);
  lines();
  (void)TWNetworkRequest(TWServiceInbox, {}, {}, {}, {});
  expectLinesBeginning({caughtLine("TWConfigManager", 589, "getDataRedirectionRegion", "exception is ")});
}

TEST_F(NetworkTest, ARequestThatCannotBeBuiltCompletesOnceWithoutSuccess) {
  const base::Dictionary number{{"k", 7}}, data{{"k", base::Data("bytes")}}, notJSON{{"k", base::Date{0}}};
  const std::string request =
      caughtLine("TWNetworkRequest", 162, "getRequestInstance", "Exception in Request Generator ");
  const std::string url =
      caughtLine("TWNetworkRequest", 89, "createURLWithPathComponent:", "Exception in creating URL ");
  const std::tuple<int, MaybeDictionary, MaybeDictionary, MaybeDictionary, std::string> cases[] = {
      {14, {}, {}, {}, request},    {-1, {}, {}, {}, request},     {7, number, {}, {}, url},
      {7, {}, number, {}, request}, {7, {}, {}, notJSON, request}, {7, data, {}, {}, url},
      {7, {}, data, {}, request},
  };
  answerEverythingWith(200, "{}");
  for (const auto& [service, params, headers, body, line] : cases) {
    calls.clear();
    lines();
    TWNetworkRequest(TWService(service), params, headers, body, {})
        .executeRequestWithCompletionBlock(record());
    runUntilIdle();
    EXPECT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].substr(0, 9), "no (null)");
    EXPECT_NE(::testing::PrintToString(lines()).find(line), std::string::npos) << line;
  }
}

TEST_F(NetworkTest, TheSessionHasLimitsAndBelongsToTheCurrentPlatform) {
  auto& configuration = TWNetworkConfiguration::defaultConfiguration();
  const auto session = configuration.getTWURLSession();
  EXPECT_EQ(session, configuration.getTWURLSession());
  const auto& settings = session->configuration();
  EXPECT_EQ(settings.timeoutIntervalForRequest + settings.timeoutIntervalForResource, 10 + 60);
  EXPECT_EQ(settings.requestCachePolicy, platform::UrlRequestCachePolicy::reloadIgnoringLocalCacheData);
  EXPECT_TRUE(settings.httpsOnly && settings.headersBoundToHost == Lines{"TDW-APPKEY"});
  platform = platform->restart();
  EXPECT_NE(session, configuration.getTWURLSession());
}

TEST_F(NetworkTest, TheDefaultAddressCanBeChanged) {
  auto& configuration = TWNetworkConfiguration::defaultConfiguration();
  for (const Text& given : {Text(), Text("other")}) {
    configuration.updateDefaultHost(given);
    configuration.updateDefaultScheme(given);
    EXPECT_EQ(configuration.host(), given.value_or(std::string(HOST_TDW_PROD_US)));
    EXPECT_EQ(configuration.scheme(), given.value_or("https"));
  }
  for (const std::int64_t port : {8443, 0}) {
    configuration.updateDefaultPort(port);
    EXPECT_EQ(configuration.port(), port == 0 ? std::nullopt : std::optional(port));
  }
}

TEST_F(NetworkTest, MissingDeviceFactsAreEmptyParametersOrLogged) {
  for (const auto& [wrapper, type] : {std::pair{"CORDOVA", "cordova"},
                                      {"REACT_NATIVE", "react_native"},
                                      {"SEGMENT", "segment"},
                                      {"XAMARIN", "xamarin"},
                                      {"FLUTTER", "flutter"}}) {
    platform->testDefaults().setObject(type, "TIDEWELL_" + std::string(wrapper) + "_SDK_VERSION");
    EXPECT_EQ(TWNetworkUtils::getIntegrationParams(),
              (base::Dictionary{{"integration_version", type}, {"integration_type", type}}));
  }
  platform->testDevice().identifierForVendorValue = std::nullopt;
  EXPECT_EQ(TWNetworkUtils::getRequestParamsForV2().objectForKey("unique_id"), base::Value(""));
  TWCoreUtils::saveAppId("");
  TWCoreUtils::saveDeviceToken("");
  EXPECT_EQ(TWNetworkUtils::getRequestParamsForV1APIs().objectForKey("appId"), base::Value(""));
  EXPECT_FALSE(TWNetworkUtils::getRequestParamsForV2().find("push_id"));
  lines();
  platform->testDevice().modelValue = std::nullopt;
  EXPECT_FALSE(TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceInbox));
  expectLinesBeginning({"Tidewell - App ID is missing in the initialize call",
                        caughtLine("TWNetworkUtils", 165,
                                   "getRequestParamsWithV1:", "Exception while getting Param for API : ")});
}

}  // namespace
}  // namespace tidewell
