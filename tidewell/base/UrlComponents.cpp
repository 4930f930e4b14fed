#include "tidewell/base/UrlComponents.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/PercentEncoding.h"
#include "tidewell/base/Unicode.h"
#include "tidewell/base/detail/UrlSyntax.h"

namespace tidewell::base {

namespace {

constexpr std::string_view kKeptInPaths = "!$&'()*+,/:=@";
constexpr std::string_view kKeptInQueryItems = "!$'()*+,/:;?@";

std::optional<std::string> copyOf(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return std::string(*text);
}

/// Ill-formed sequences are replaced first, so that the URL decodes to text again.
std::string escaped(std::string_view text, std::string_view keep) {
  return percentEncode(validUtf8(text), keep);
}

std::string escapedHost(std::string_view host) {
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    std::string literal = "[";
    literal.append(escaped(host.substr(1, host.size() - 2), ":")).append("]");
    return literal;
  }
  return escaped(host, detail::kSubDelimiters);
}

/// A colon in the first segment of a path that nothing stands before would read as the end of a scheme.
std::string escapedLeadingPath(std::string_view path) {
  const std::size_t slash = std::min(path.find('/'), path.size());
  return escaped(path.substr(0, slash), "!$&'()*+,=@") + escaped(path.substr(slash), kKeptInPaths);
}

}  // namespace

void UrlComponents::setScheme(std::optional<std::string_view> scheme) {
  if (scheme && !detail::isScheme(*scheme)) {
    raise(kInvalidArgumentException, "-[NSURLComponents setScheme:]: invalid characters in scheme");
  }
  scheme_ = copyOf(scheme);
}

void UrlComponents::setHost(std::optional<std::string_view> host) { host_ = copyOf(host); }

void UrlComponents::setPath(std::optional<std::string_view> path) { path_ = copyOf(path); }

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
  if (scheme_) text.append(*scheme_).append(":");
  if (hasAuthority) text += "//";
  if (host_) text += escapedHost(*host_);
  if (port_) text.append(":").append(std::to_string(*port_));
  text += scheme_ || hasAuthority ? escaped(path, kKeptInPaths) : escapedLeadingPath(path);
  if (queryItems_) {
    char separator = '?';
    if (queryItems_->empty()) text += separator;
    for (const UrlQueryItem& item : *queryItems_) {
      text += std::exchange(separator, '&');
      text += escaped(item.name, kKeptInQueryItems);
      if (item.value) text.append("=").append(escaped(*item.value, kKeptInQueryItems));
    }
  }
  return Url::URLWithString(text);
}

}  // namespace tidewell::base
