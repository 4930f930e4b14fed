#include "tidewell/platform/UrlSession.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace tidewell::platform {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

TEST(UrlRequest, HeadersAreReplacedRemovedAndCheckedAsTheyAreSet) {
  UrlRequest request(std::nullopt);
  request.setValue("1", "App-ID");
  request.setValue("", "Accept");
  request.setValue("2", "APP-id");
  const Headers kept{{"APP-id", "2"}, {"Accept", ""}};
  EXPECT_EQ(request.allHTTPHeaderFields(), kept);
  const std::string zero("a\0b", 3);
  for (const std::string& value : {std::string("a\r\nEvil: 1"), std::string("a\nb"), zero}) {
    request.setValue(value, "Accept");
    EXPECT_EQ(request.allHTTPHeaderFields(), kept) << value;
  }
  for (const char* name : {"", "two words", "Colon:", "Line\n", "\xC3\xA4"}) {
    request.setValue("x", name);
    EXPECT_EQ(request.allHTTPHeaderFields(), kept) << name;
  }
  request.setValue("\tt\xC3\xA4", "x!#$%&'*+-.^_`|~9");
  request.setValue(std::nullopt, "app-id");
  request.setValue(std::nullopt, "unknown");
  EXPECT_EQ(request.allHTTPHeaderFields(), (Headers{{"Accept", ""}, {"x!#$%&'*+-.^_`|~9", "\tt\xC3\xA4"}}));
  EXPECT_EQ(request.valueForHTTPHeaderField("ACCEPT"), "");
  EXPECT_EQ(request.valueForHTTPHeaderField("App-ID"), std::nullopt);
}

TEST(UrlResponse, PrintsTheSameTextWhateverTheOrderOfItsHeaders) {
  const std::string expected =
      R"(<NSHTTPURLResponse> { URL: https://api.example/v1 } { Status Code: 404, Headers {
    "Set-Cookie" =     (
        "a=1",
        "b=2"
    );
    Vary =     (
        Origin
    );
} })";
  UrlResponse response{
      "https://api.example/v1", 404, {{"Vary", "Origin"}, {"Set-Cookie", "a=1"}, {"set-cookie", "b=2"}}};
  EXPECT_EQ(response.description(), expected);
  response.headers = {{"Set-Cookie", "a=1"}, {"Vary", "Origin"}, {"Set-Cookie", "b=2"}};
  EXPECT_EQ(response.description(), expected);
}

}  // namespace
}  // namespace tidewell::platform
