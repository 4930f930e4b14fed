#include "posix/UrlSessionTesting.h"

namespace tidewell::posix {
namespace {

StandInFault redirect(int status, std::string location, std::size_t times = 1) {
  StandInFault made = fault("kind=redirect");
  made.status = status;
  made.location = std::move(location);
  made.times = times;
  return made;
}

TEST_F(UrlSessionTest, RedirectsChangeTheMethodAsBrowsersDoAndLeaveNeitherHttpsNorTheHostWithABody) {
  struct Case {
    int status;
    const char *method, *location, *arrives;  ///< `arrives`: null where the redirect is not followed
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
    backend.setFault(redirect(row.status, row.location));
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

TEST_F(UrlSessionTest, HeadersOfOneHostDoNotTravelToAnotherAndDoNotComeBack) {
  configuration.headersBoundToHost = {"TDW-APPKEY"};
  for (const char* location :
       {"/step", "https://elsewhere.example/", "https://shop.example/home", "/again"}) {
    backend.addFault(redirect(302, location));
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
  for (const std::size_t times : {20u, 21u}) {
    backend.setFault(redirect(302, "", times));
    EXPECT_EQ(times == 20 ? 0 : platform::kUrlErrorHttpTooManyRedirects, codeOf(fetch()));
  }
}

}  // namespace
}  // namespace tidewell::posix
