#include "tidewell/platform/UrlSession.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace tidewell::platform {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

TEST(UrlRequest, HeadersAreReplacedRemovedAndCheckedAsTheyAreSet) {
  const struct {
    std::string name;
    std::optional<std::string> value;
    Headers expected;
  } steps[] = {
      {"App-ID", "1", {{"App-ID", "1"}}},
      {"Accept", "", {{"App-ID", "1"}, {"Accept", ""}}},
      {"APP-id", "2", {{"APP-id", "2"}, {"Accept", ""}}},
      {"Accept", "a\r\nEvil: 1", {{"APP-id", "2"}, {"Accept", ""}}},
      {"Accept", "a\nb", {{"APP-id", "2"}, {"Accept", ""}}},
      {"Accept", std::string("a\0b", 3), {{"APP-id", "2"}, {"Accept", ""}}},
      {"", "x", {{"APP-id", "2"}, {"Accept", ""}}},
      {"two words", "x", {{"APP-id", "2"}, {"Accept", ""}}},
      {"Colon:", "x", {{"APP-id", "2"}, {"Accept", ""}}},
      {"Line\n", "x", {{"APP-id", "2"}, {"Accept", ""}}},
      {"\xC3\xA4", "x", {{"APP-id", "2"}, {"Accept", ""}}},
      {"x!#$%&'*+-.^_`|~9",
       "\tt\xC3\xA4",
       {{"APP-id", "2"}, {"Accept", ""}, {"x!#$%&'*+-.^_`|~9", "\tt\xC3\xA4"}}},
      {"app-id", std::nullopt, {{"Accept", ""}, {"x!#$%&'*+-.^_`|~9", "\tt\xC3\xA4"}}},
      {"unknown", std::nullopt, {{"Accept", ""}, {"x!#$%&'*+-.^_`|~9", "\tt\xC3\xA4"}}},
  };
  UrlRequest request(std::nullopt);
  for (const auto& step : steps) {
    request.setValue(step.value, step.name);
    EXPECT_EQ(request.allHTTPHeaderFields(), step.expected) << step.name;
  }
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
