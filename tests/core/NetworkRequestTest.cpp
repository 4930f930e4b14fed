#include "tidewell/core/TWNetwork/TWNetworkRequest.h"

#include <algorithm>

#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using Dict = std::optional<base::Dictionary>;
const base::Value kNull = base::Value::null();
const std::string kUS = "https://" + std::string(HOST_TDW_PROD_US) + ":443";

/// "NAME: VALUE" of each header that goes out.
Lines headers(const platform::UrlRequest& request) {
  Lines all;
  for (const auto& [name, value] : request.allHTTPHeaderFields()) all.push_back(name + ": " + value);
  return all;
}

class NetworkRequestTest : public CoreFixture {
 protected:
  // The configuration says a line of its own when it is made.
  NetworkRequestTest() { (void)TWConfigManager::sharedInstance(); }
};

TEST_F(NetworkRequestTest, AURLIsMadeOfHostPathAndParameters) {
  const base::Dictionary special{{"z", "&=+"}, {"a b", ""}, {"n", kNull}};
  const struct {
    TWService service;
    Dict params;
    Text component;
    std::string expected;
  } cases[] = {
      {TWServiceGetConfig, {}, "a b/ü?#", kUS + "/v3/sdkconfig/ios/a%20b/%C3%BC%3F%23"},
      {TWServiceInbox, special, {}, kUS + "/v1/getInboxMessages?z=%26%3D+&a%20b="},
      {TWServiceInbox, base::Dictionary{{"n", kNull}}, {}, kUS + "/v1/getInboxMessages"},
      {TWServiceSendLogs, {}, "t", "https://" + std::string(HOST_LOGENTRIES) + ":443/noformat/logs/t"},
  };
  for (const auto& [service, params, component, expected] : cases) {
    const TWNetworkRequest request(service, params, {}, {}, component);
    EXPECT_EQ(request.requestURL() ? request.requestURL()->absoluteString() : "none", expected);
  }
}

TEST_F(NetworkRequestTest, HeadersAndBodyGoOutByteForByte) {
  TWCoreUtils::saveAppId("ABC123");
  const base::Dictionary extra{{"X-One", "1"},
                               {"X-Null", kNull},
                               {"TDW-APPKEY", "forged"},
                               {"tdw-appkey", "forged"},
                               {"X-Bad", "a\r\nb"}};
  const base::Dictionary body{
      {"z", "a/b"}, {"a", base::Array{1, 2.5, true, kNull}}, {"d", base::Dictionary{}}};
  const auto post = TWNetworkRequest(TWServiceInbox, {}, extra, body, {}).getRequestInstance();
  ASSERT_TRUE(post);
  EXPECT_EQ(post->HTTPMethod(), "POST");
  EXPECT_EQ(post->cachePolicy(), platform::UrlRequestCachePolicy::useProtocolCachePolicy);
  EXPECT_EQ(headers(*post), (Lines{"X-One: 1", "TDW-APPKEY: ABC123", "content-type: application/json"}));
  EXPECT_EQ(post->HTTPBody(), Text(R"({"z":"a\/b","a":[1,2.5,true,null],"d":{}})"));

  const auto get = TWNetworkRequest(TWServiceGetTestInAppPayloadV3, {}, {}, body, "7").getRequestInstance();
  ASSERT_TRUE(get);
  EXPECT_EQ(get->HTTPMethod(), "GET");
  EXPECT_EQ(headers(*get), Lines{"TDW-APPKEY: ABC123"});
  EXPECT_EQ(get->HTTPBody(), Text());

  TWCoreUtils::saveAppId("");
  const auto empty = TWNetworkRequest(TWServiceInbox, {}, {}, {}, {}).getRequestInstance();
  EXPECT_EQ(headers(*empty), (Lines{"TDW-APPKEY: ", "content-type: application/json"}));
  EXPECT_EQ(empty->HTTPBody(), Text());
  TWCoreUtils::saveAppId(std::nullopt);
  EXPECT_EQ(headers(*TWNetworkRequest(TWServiceInbox, {}, {}, {}, {}).getRequestInstance()),
            Lines{"content-type: application/json"});
}

TEST_F(NetworkRequestTest, ARequestIsLoggedInFourLines) {
  TWCoreUtils::saveAppId("ABC123");
  TWLogger::debug(1);
  (void)TWNetworkRequest(TWServiceInbox, {}, {}, base::Dictionary{{"k", "v"}}, {}).getRequestInstance();
  EXPECT_EQ(lines(), (Lines{"Tidewell - Request URL : " + kUS + "/v1/getInboxMessages",
                            "Tidewell - Request Method : POST",
                            "Tidewell - Request headers : {\n    \"TDW-APPKEY\" = ABC123;\n}",
                            "Tidewell - Request Body : {\n    k = v;\n}"}));
}

TEST_F(NetworkRequestTest, WhatCannotBeBuiltCompletesOnceWithNothing) {
  const Dict number = base::Dictionary{{"k", 7}}, data = base::Dictionary{{"k", base::Data("bytes")}};
  const Dict notJSON = base::Dictionary{{"k", base::Date{0}}};
  const std::string start = "Tidewell - <file - TWNetworkRequest, line number - ";
  const std::string request = start + "162 , method - 'getRequestInstance'> Exception in Request Generator ";
  const std::string url = start + "89 , method - 'createURLWithPathComponent:'> Exception in creating URL ";
  const struct {
    int service;
    Dict params, headers, body;
    std::string line;
  } cases[] = {
      {14, {}, {}, {}, request},    {-1, {}, {}, {}, request},     {7, number, {}, {}, url},
      {7, {}, number, {}, request}, {7, {}, {}, notJSON, request}, {7, data, {}, {}, url},
      {7, {}, data, {}, request},
  };
  answerEverythingWith(200, "{}");
  for (const auto& each : cases) {
    TWLogger::debug(1);
    int completions = 0;
    TWNetworkRequest(TWService(each.service), each.params, each.headers, each.body, {})
        .executeRequestWithCompletionBlock([&](bool success, const base::Value& response) {
          ++completions;
          EXPECT_FALSE(success);
          EXPECT_TRUE(response.isNil());
        });
    runUntilIdle();
    EXPECT_EQ(completions, 1) << each.service;
    const Lines logged = lines();
    EXPECT_TRUE(std::any_of(logged.begin(), logged.end(),
                            [&](const std::string& line) { return line.starts_with(each.line); }))
        << each.service << ' ' << each.line;
  }
}

TEST_F(NetworkRequestTest, ARequestMayDieAsSoonAsItIsSent) {
  int completions = 0;
  {
    TWNetworkRequest request(TWServiceInbox, {}, {}, {}, {});
    request.executeRequestWithCompletionBlock(
        [&](bool success, const base::Value&) { completions += success; });
    request.executeRequestWithCompletionBlock({});
    TWNetworkRequest(TWServiceSendLogs, {}, {}, {}, {}).executeRequestWithCompletionBlock({});
  }
  while (platform->testNetwork().answer(testing::ScriptedNetwork::reply(200, "{}"))) runUntilIdle();
  EXPECT_EQ(completions, 1);
}

}  // namespace
}  // namespace tidewell
