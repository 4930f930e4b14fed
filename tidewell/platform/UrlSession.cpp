// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UrlSession.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_map>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/UrlSyntax.h"

namespace tidewell::platform {
namespace {

/// Most requests have no more.
constexpr std::size_t kUsualHeaders = 2;

/// RFC 9110, section 5.6.2.
constexpr auto kTokenCharacters = base::detail::kUnreserved.with("!#$%&'*+^`|");

bool isToken(std::string_view name) {
  return !name.empty() &&
         std::all_of(name.begin(), name.end(), [](char c) { return kTokenCharacters.contains(c); });
}

bool isFieldValue(std::string_view value) {
  return std::none_of(value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

template <class Headers>
auto findHeader(Headers& headers, std::string_view name) {
  return std::find_if(headers.begin(), headers.end(), [name](const auto& header) {
    return base::detail::equalsIgnoringCase(header.first, name);
  });
}

}  // namespace

UrlSession::~UrlSession() = default;
bool UrlSession::needsCallingThread() const { return false; }

UrlRequest::UrlRequest(std::optional<base::Url> url, UrlRequestCachePolicy cachePolicy)
    : url_(std::move(url)), cachePolicy_(cachePolicy) {}

void UrlRequest::setValue(std::optional<std::string_view> value, std::string_view forHTTPHeaderField) {
  const auto found = findHeader(headers_, forHTTPHeaderField);
  if (!value) {
    if (found != headers_.end()) headers_.erase(found);
    return;
  }
  if (!isToken(forHTTPHeaderField) || !isFieldValue(*value)) return;
  if (found != headers_.end()) {
    *found = {std::string(forHTTPHeaderField), std::string(*value)};
  } else {
    if (headers_.empty()) headers_.reserve(kUsualHeaders);
    headers_.emplace_back(forHTTPHeaderField, *value);
  }
}

std::optional<std::string> UrlRequest::valueForHTTPHeaderField(std::string_view name) const {
  const auto found = findHeader(headers_, name);
  if (found == headers_.end()) return std::nullopt;
  return found->second;
}

std::string UrlResponse::description() const {
  std::vector<std::pair<std::string_view, base::Array>> lists;
  std::unordered_map<std::string, std::size_t> listOfName;  // a server may send very many headers
  for (const auto& [name, value] : headers) {
    std::string key(name);
    std::transform(key.begin(), key.end(), key.begin(), base::detail::asciiLower);
    const auto [place, isNew] = listOfName.emplace(std::move(key), lists.size());
    if (isNew) lists.emplace_back(name, base::Array());
    lists[place->second].second.addObject(value);
  }
  base::Dictionary fields;
  for (auto& [name, values] : lists) fields.setObject(std::move(values), name);
  std::string text = "<NSHTTPURLResponse> { URL: ";
  text += url;
  text += " } { Status Code: ";
  text += std::to_string(statusCode);
  text += ", Headers ";
  base::Value(std::move(fields)).appendDescription(text);
  text += " }";
  return text;
}

}  // namespace tidewell::platform
