// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Url.h"

#include "VectorFile.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/UrlComponents.h"

using namespace tidewell::base;

namespace {

std::optional<std::string> optionalText(const vectors::rj::Value& json) {
  return json.IsNull() ? std::nullopt : std::optional(vectors::textOf(json));
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
    EXPECT_EQ(url ? std::optional(url->absoluteString()) : std::nullopt, optionalText(row["expected"]));
  }
}

TEST(Url, ParsesReferencesAndRefusesOtherTexts) {
  const auto cell = [](const std::optional<std::string>& part) { return part.value_or("none"); };
  for (const auto& row : vectors::tableFile("url_parts.tsv")) {
    const auto expected = [&](const char* column) {
      return row.at(column) == "none" ? "none" : vectors::cellText(row.at(column));
    };
    SCOPED_TRACE(row.at("url"));
    const auto url = Url::URLWithString(vectors::cellText(row.at("url")));
    ASSERT_EQ(url.has_value(), row.at("is_url") == "YES");
    if (!url) continue;
    EXPECT_EQ(cell(url->scheme()), expected("scheme"));
    EXPECT_EQ(cell(url->host()), expected("host"));
    EXPECT_EQ(url->port() ? std::to_string(*url->port()) : "none", expected("port"));
    EXPECT_EQ(url->path(), expected("path"));
    EXPECT_EQ(cell(url->query()), expected("query"));
  }
  const auto longest = [](char c) { return std::string(Url::kMaximumLength - 16, c); };
  for (const std::string& text : {"http://h" + longest('/'), "http://" + longest('a'), "?" + longest('?')})
    EXPECT_TRUE(Url::URLWithString(text)) << text.substr(0, 10);
  for (const std::string& text :
       {"\xFF" + std::string(), "http://" + longest(':'), std::string(Url::kMaximumLength + 1, 'a')})
    EXPECT_FALSE(Url::URLWithString(text)) << text.substr(0, 10);
}
