// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Url.h"

#include "Input.h"
#include "tidewell/base/UrlComponents.h"

using namespace tidewell::base;

// Input: a text as a URL; its lines as the parts of one, which must be read back unchanged.
void fuzz::check(std::string_view input) {
  const auto [scheme, afterScheme] = fuzz::split(input, "\n");
  const auto [host, afterHost] = fuzz::split(afterScheme, "\n");
  auto [path, rest] = fuzz::split(afterHost, "\n");
  UrlComponents components;
  fuzz::completes(kInvalidArgumentException,
                  [&, &scheme = scheme] { components.setScheme(std::string(scheme)); });
  if (!afterScheme.empty()) components.setHost(std::string(host));
  if (!afterHost.empty()) components.setPath(std::string(path));
  std::vector<UrlQueryItem> items;
  while (!rest.empty()) {
    const auto [item, others] = fuzz::split(rest, "\n");
    items.push_back({std::string(item), std::string(item)});
    rest = others;
  }
  if (!items.empty()) components.setQueryItems(items);
  const auto built = components.URL();
  for (const auto& url : {Url::URLWithString(input), built}) {
    if (!url) continue;
    for (const auto& part : {url->scheme(), url->host(), url->query(), std::optional(url->path())})
      fuzz::require(part.value_or("").size() <= url->absoluteString().size());
    fuzz::require(url->port().value_or(0) >= 0);
  }
  if (!built) return;
  fuzz::require(Url::URLWithString(built->absoluteString()) == built);
  fuzz::require(built->scheme() == components.scheme());
  fuzz::require(built->host().has_value() == components.host().has_value());
  fuzz::require(built->query().has_value() == components.queryItems().has_value());
}
