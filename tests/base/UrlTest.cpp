#include "tidewell/base/Url.h"

#include "VectorFile.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/UrlComponents.h"

using namespace tidewell::base;

namespace {

std::optional<std::string> optionalText(const vectors::rj::Value& json) {
  if (json.IsNull()) return std::nullopt;
  return vectors::textOf(json);
}

std::optional<Url> urlOfCase(const vectors::rj::Value& row) {
  UrlComponents components;
  components.setScheme(optionalText(row["scheme"]));
  components.setHost(optionalText(row["host"]));
  components.setPath(optionalText(row["path"]));
  if (!row["port"].IsNull()) components.setPort(row["port"].GetInt64());
  if (!row["queryItems"].IsNull()) {
    std::vector<UrlQueryItem> items;
    for (const auto& item : row["queryItems"].GetArray()) {
      items.push_back({vectors::textOf(item[0]), optionalText(item[1])});
    }
    components.setQueryItems(items);
  }
  return components.URL();
}

}  // namespace

TEST(UrlComponents, BuildsTheUrlsOfThePlatform) {
  const auto file = vectors::jsonFile("url_components.json");
  for (const auto& row : file["cases"].GetArray()) {
    SCOPED_TRACE(vectors::textOf(row, "id"));
    if (row["raises"].GetBool()) {
      EXPECT_THROW((void)urlOfCase(row), Exception);
      continue;
    }
    const auto url = urlOfCase(row);
    ASSERT_EQ(url.has_value(), !row["expected"].IsNull());
    if (url) {
      EXPECT_EQ(url->absoluteString(), vectors::textOf(row["expected"]));
    }
  }
}

TEST(UrlComponents, EscapeWhateverAPartHolds) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  UrlComponents components;
  components.setScheme("https");
  components.setHost(everyByte);
  components.setPath("/" + everyByte);
  components.setQueryItems({{{everyByte, everyByte}}});
  const auto url = components.URL();
  ASSERT_TRUE(url);
  EXPECT_EQ(url->path().substr(0, 1 + 128), "/" + everyByte.substr(0, 128));
  EXPECT_EQ(url->query()->find_first_of(" \"#<>[]"), std::string::npos);
  components.setPath("/" + std::string(Url::kMaximumLength, 'a'));
  EXPECT_FALSE(components.URL());
  UrlComponents alone;
  alone.setPath("javascript:x/a:b");
  EXPECT_EQ(alone.URL()->absoluteString(), "javascript%3Ax/a:b") << "a colon that would make a scheme";
  EXPECT_EQ(alone.URL()->path(), "javascript:x/a:b");
}

TEST(Url, TakesTheReferencesOfRfc3986AndNothingElse) {
  for (const char* text : {"https://a.example", "HTTPS://A.example:443/x?y#z", "a/b", "/", "?", "#", "//h/p",
                           "mailto:a@b", "x-app+1.0:go", "http://[::1]:80/", "http://[v1.x]/",
                           "http://u:p@h/", "http://h:/", "a%41", "tel:+1-2", "file:///x"}) {
    EXPECT_TRUE(Url::URLWithString(text)) << text;
  }
  for (const char* text :
       {"", " ", "a b", "http://a b/", ":x", "1a:b", "http://[::1", "http://[zz]/", "http://h:x/", "%", "%4",
        "%zz", "a\\b", "http://h/{", "caf\xC3\xA9", "\xFF", "http://a@b@c/", "a#b#c", "?["}) {
    EXPECT_FALSE(Url::URLWithString(text)) << text;
  }
}

TEST(Url, TellsItsParts) {
  struct {
    const char* text;
    std::optional<std::string> scheme, host;
    std::optional<std::int64_t> port;
    std::string path;
    std::optional<std::string> query;
  } const cases[] = {
      {"HTTPS://u:1@A.example:8443/a%20b/%C3%A9?q=%20&r#f", "HTTPS", "A.example", 8443, "/a b/\xC3\xA9",
       "q=%20&r"},
      {"http://[::1]:80?", "http", "::1", 80, "", ""},
      {"http://h:", "http", "h", std::nullopt, "", std::nullopt},
      {"http://h:99999999999999999999/", "http", "h", std::nullopt, "/", std::nullopt},
      {"mailto:a@b", "mailto", std::nullopt, std::nullopt, "a@b", std::nullopt},
      {"//h%41/x", std::nullopt, "hA", std::nullopt, "/x", std::nullopt},
      {"a/%FF#?", std::nullopt, std::nullopt, std::nullopt, "a/\xEF\xBF\xBD", std::nullopt},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.text);
    const auto url = Url::URLWithString(expected.text);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), expected.scheme);
    EXPECT_EQ(url->host(), expected.host);
    EXPECT_EQ(url->port(), expected.port);
    EXPECT_EQ(url->path(), expected.path);
    EXPECT_EQ(url->query(), expected.query);
  }
}

TEST(Url, TakesLongTextsWithoutDeepRecursion) {
  const std::size_t length = Url::kMaximumLength - 16;
  EXPECT_TRUE(Url::URLWithString("http://h" + std::string(length, '/')));
  EXPECT_TRUE(Url::URLWithString("http://" + std::string(length, 'a')));
  EXPECT_FALSE(Url::URLWithString("http://" + std::string(length, ':')));
  EXPECT_TRUE(Url::URLWithString("?" + std::string(length, '?')));
  EXPECT_FALSE(Url::URLWithString(std::string(Url::kMaximumLength + 1, 'a')));
}
