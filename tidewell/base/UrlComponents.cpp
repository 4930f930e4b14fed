// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/UrlComponents.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/base/internal/UrlSyntax.h"

namespace tidewell::base {

namespace {

// The characters that stay unescaped in each part.
constexpr auto kKeptInHosts = detail::kUnreserved.with(detail::kSubDelimiters);
constexpr auto kKeptInLiterals = detail::kUnreserved.with(":");
constexpr auto kKeptInPaths = detail::kUnreserved.with("!$&'()*+,/:=@");
constexpr auto kKeptInLeadingSegments = detail::kUnreserved.with("!$&'()*+,=@");
constexpr auto kKeptInQueryItems = detail::kUnreserved.with("!$'()*+,/:;?@");

/// Replaces ill-formed UTF-8 first, so that the URL decodes to valid text.
void appendEscaped(std::string& out, std::string_view text, const detail::CharacterSet& kept) {
  if (isValidUtf8(text)) {
    detail::appendPercentEncoded(out, text, kept);
  } else {
    detail::appendPercentEncoded(out, validUtf8(text), kept);
  }
}

void appendEscapedHost(std::string& out, std::string_view host) {
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    out += '[';
    appendEscaped(out, host.substr(1, host.size() - 2), kKeptInLiterals);
    out += ']';
  } else {
    appendEscaped(out, host, kKeptInHosts);
  }
}

/// Without a scheme and an authority, a colon in the first segment would be read as the end of a scheme.
void appendEscapedLeadingPath(std::string& out, std::string_view path) {
  const std::size_t slash = std::min(path.find('/'), path.size());
  appendEscaped(out, path.substr(0, slash), kKeptInLeadingSegments);
  appendEscaped(out, path.substr(slash), kKeptInPaths);
}

}  // namespace

void UrlComponents::setScheme(std::optional<std::string> scheme) {
  if (scheme && !detail::isScheme(*scheme)) {
    raise(kInvalidArgumentException, "-[NSURLComponents setScheme:]: invalid characters in scheme");
  }
  scheme_ = std::move(scheme);
}

void UrlComponents::setPort(std::optional<std::int64_t> port) {
  if (port && *port < 0) {
    raise(kInvalidArgumentException, "-[NSURLComponents setPort:]: port must not be negative");
  }
  port_ = port;
}

void UrlComponents::setQueryItems(std::optional<std::vector<UrlQueryItem>> items) {
  queryItems_ = std::move(items);
}

std::optional<Url> UrlComponents::URL() const {
  const std::string_view path = path_ ? std::string_view(*path_) : std::string_view();
  const bool hasAuthority = host_ || port_;
  if (hasAuthority ? !path.empty() && path.front() != '/' : path.starts_with("//")) return std::nullopt;

  std::string text;
  text.reserve(64 + path.size());
  if (scheme_) text.append(*scheme_).append(":");
  if (hasAuthority) text += "//";
  if (host_) appendEscapedHost(text, *host_);
  if (port_) text.append(":").append(std::to_string(*port_));
  if (scheme_ || hasAuthority) {
    appendEscaped(text, path, kKeptInPaths);
  } else {
    appendEscapedLeadingPath(text, path);
  }
  if (queryItems_) {
    char separator = '?';
    if (queryItems_->empty()) text += separator;
    for (const UrlQueryItem& item : *queryItems_) {
      text += std::exchange(separator, '&');
      appendEscaped(text, item.name, kKeptInQueryItems);
      if (item.value) appendEscaped(text += '=', *item.value, kKeptInQueryItems);
    }
  }
  // A host in brackets may contain any text and must be validated; everything else is escaped and valid.
  if (host_ && host_->starts_with('[')) return Url::URLWithString(text);
  if (text.empty() || text.size() > Url::kMaximumLength) return std::nullopt;
  return Url(std::move(text));
}

}  // namespace tidewell::base
