#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Url.h"
#include "tidewell/base/UrlComponents.h"

using namespace tidewell::base;

namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

void lookAt(const Url& url) {
  (void)url.scheme();
  (void)url.host();
  (void)url.port();
  (void)url.path();
  (void)url.query();
}

}  // namespace

// The text as a URL; and its lines as the parts of one, which come out again where they went in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto url = Url::URLWithString(text)) lookAt(*url);

  const std::vector<std::string_view> lines = linesOf(text);
  UrlComponents components;
  try {
    components.setScheme(std::string(lines[0]));
  } catch (const Exception&) {
  }
  if (lines.size() > 1) components.setHost(std::string(lines[1]));
  if (lines.size() > 2) components.setPath(std::string(lines[2]));
  if (lines.size() > 3) {
    std::vector<UrlQueryItem> items;
    for (std::size_t i = 3; i < lines.size(); ++i)
      items.push_back({std::string(lines[i]), std::string(lines[i])});
    components.setQueryItems(items);
  }
  const auto built = components.URL();
  if (!built) return 0;
  lookAt(*built);
  if (Url::URLWithString(built->absoluteString()) != built) std::abort();
  if (built->scheme() != components.scheme()) std::abort();
  if (built->host().has_value() != components.host().has_value()) std::abort();
  if (built->query().has_value() != components.queryItems().has_value()) std::abort();
  return 0;
}
