#include "UrlSessionTesting.h"

namespace tidewell::posix {
namespace {

StandInFault redirect(int status, std::string location, std::size_t times = 1) {
  StandInFault made = fault("kind=redirect");
  made.status = status;
  made.location = std::move(location);
  made.times = times;
  return made;
}

TEST_F(UrlSessionTest, RedirectsChangeTheMethodAsBrowsersDo) {
  struct Case {
    int status;
    const char* method;
    const char* arrives;
  };
  for (const Case& row : {Case{301, "POST", "GET"}, Case{302, "POST", "GET"}, Case{303, "POST", "GET"},
                          Case{307, "POST", "POST"}, Case{308, "POST", "POST"}, Case{301, "PUT", "PUT"},
                          Case{302, "PUT", "PUT"}, Case{303, "PUT", "GET"}, Case{302, "GET", "GET"}}) {
    SCOPED_TRACE(std::to_string(row.status) + " after " + row.method);
    backend.clearRequests();
    backend.setFault(redirect(row.status, "/elsewhere?a=1"));
    platform::UrlRequest asked = request();
    asked.setHTTPMethod(row.method);
    asked.setHTTPBody("body");
    asked.setValue("text/plain", "Content-Type");
    const bool keeps = std::string(row.method) == row.arrives;
    const platform::UrlTaskResult result = fetch(asked);
    ASSERT_FALSE(result.error) << result.error->description();
    EXPECT_EQ("https://shop.example/elsewhere?a=1", result.response->url);
    const auto last = backend.requests().at(1);
    EXPECT_EQ(row.arrives, last.method);
    EXPECT_EQ("/elsewhere", last.path);
    EXPECT_EQ(keeps ? "body" : "", last.body);
    EXPECT_EQ(keeps, last.header("Content-Type").has_value());
  }
}

TEST_F(UrlSessionTest, HeadersOfOneHostDoNotTravelToAnotherAndDoNotComeBack) {
  configuration.headersBoundToHost = {"TDW-APPKEY"};
  backend.addFault(redirect(302, "/step"));
  backend.addFault(redirect(302, "https://elsewhere.example/"));
  backend.addFault(redirect(302, "https://shop.example/home"));
  platform::UrlRequest asked = request();
  asked.setValue("SECRET", "tdw-appkey");
  asked.setValue("Bearer SECRET", "Authorization");
  asked.setValue("kept", "X-Other");
  ASSERT_FALSE(fetch(asked).error);
  const auto received = backend.requests();
  ASSERT_EQ(4u, received.size());
  for (std::size_t hop = 0; hop < received.size(); ++hop) {
    EXPECT_EQ(hop < 2, received[hop].header("TDW-APPKEY").has_value()) << hop;
    EXPECT_EQ(hop < 2, received[hop].header("Authorization").has_value()) << hop;
    EXPECT_EQ("kept", received[hop].header("X-Other")) << hop;
  }
  EXPECT_EQ("elsewhere.example", received[2].serverName);
}

TEST_F(UrlSessionTest, ABodyDoesNotTravelToAnotherHost) {
  for (const int status : {307, 308}) {
    backend.setFault(redirect(status, "https://elsewhere.example/"));
    backend.clearRequests();
    platform::UrlRequest asked = request();
    asked.setHTTPMethod("POST");
    asked.setHTTPBody("identifiers");
    const platform::UrlTaskResult result = fetch(asked);
    ASSERT_FALSE(result.error) << result.error->description();
    EXPECT_EQ(status, result.response->statusCode);
    EXPECT_EQ("https://shop.example/page", result.response->url);
    EXPECT_EQ(1u, backend.requestCount());
  }
}

TEST_F(UrlSessionTest, TwentyRedirectsAreFollowedAndOneMoreIsTooMany) {
  backend.setFault(redirect(302, "", 20));
  EXPECT_EQ("hello", bodyOf(fetch()));
  backend.setFault(redirect(302, "", 21));
  EXPECT_EQ(platform::kUrlErrorHttpTooManyRedirects, codeOf(fetch()));
}

TEST_F(UrlSessionTest, ARedirectLeavesHttpsForNothing) {
  for (const char* target : {"http://shop.example/", "ftp://shop.example/", "file:///etc/passwd"}) {
    backend.setFault(redirect(302, target));
    const platform::UrlTaskResult result = fetch();
    EXPECT_EQ(platform::kUrlErrorUnsupportedUrl, codeOf(result)) << target;
    ASSERT_TRUE(result.response);
    EXPECT_EQ("https://shop.example/page", result.response->url);
  }
  backend.setFault(redirect(302, "https://"));
  EXPECT_EQ(platform::kUrlErrorBadUrl, codeOf(fetch()));
}

}  // namespace
}  // namespace tidewell::posix
