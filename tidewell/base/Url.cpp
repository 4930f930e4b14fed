// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Url.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>

#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/base/internal/UrlSyntax.h"

namespace tidewell::base {

namespace {

/// The components of a URI reference as written; views into its text.
struct Components {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;
};

/// Splits a text as RFC 3986 (appendix B) does, without validating the components.
Components componentsOf(std::string_view text) {
  Components components;
  const std::size_t colon = text.find_first_of(":/?#");
  if (colon != std::string_view::npos && text[colon] == ':') {
    components.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (const std::size_t hash = text.find('#'); hash != std::string_view::npos) {
    components.fragment = text.substr(hash + 1);
    text = text.substr(0, hash);
  }
  if (const std::size_t mark = text.find('?'); mark != std::string_view::npos) {
    components.query = text.substr(mark + 1);
    text = text.substr(0, mark);
  }
  if (text.starts_with("//")) {
    const std::size_t slash = text.find('/', 2);
    components.authority = text.substr(2, slash == std::string_view::npos ? slash : slash - 2);
    text = slash == std::string_view::npos ? std::string_view() : text.substr(slash);
  }
  components.path = text;
  return components;
}

constexpr detail::CharacterSet kInNames = detail::kUnreserved.with(detail::kSubDelimiters);
constexpr detail::CharacterSet kInUserInformation = kInNames.with(":");
constexpr detail::CharacterSet kInPaths = kInNames.with(":@/");
constexpr detail::CharacterSet kInQueries = kInPaths.with("?");

/// Whether the text consists of these characters and complete percent escapes only.
bool holdsOnly(std::string_view text, const detail::CharacterSet& characters) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (characters.contains(text[i])) continue;
    if (text[i] != '%' || text.size() - i < 3 || !detail::isHexDigit(text[i + 1]) ||
        !detail::isHexDigit(text[i + 2])) {
      return false;
    }
    i += 2;
  }
  return true;
}

/// An address in brackets (RFC 3986, section 3.2.2): IPv6 or IPvFuture.
bool isAddressLiteral(std::string_view text) {
  if (text.starts_with('v') || text.starts_with('V')) {
    const std::size_t dot = text.find('.');
    if (dot == std::string_view::npos || dot == 1 || dot + 1 == text.size()) return false;
    const std::string_view version = text.substr(1, dot - 1);
    const std::string_view address = text.substr(dot + 1);
    return std::all_of(version.begin(), version.end(), detail::isHexDigit) &&
           std::all_of(address.begin(), address.end(), [](char c) { return kInUserInformation.contains(c); });
  }
  const std::string copy(text);  // NUL-terminated for inet_pton
  in6_addr address;
  return copy.find('\0') == std::string::npos && inet_pton(AF_INET6, copy.c_str(), &address) == 1;
}

/// Whether the text is an authority as RFC 3986 defines it: user, name or address literal, port.
bool isAuthority(std::string_view authority) {
  if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
    if (!holdsOnly(authority.substr(0, at), kInUserInformation)) return false;
    authority.remove_prefix(at + 1);
  }
  if (authority.starts_with('[')) {
    const std::size_t bracket = authority.find(']');
    if (bracket == std::string_view::npos || !isAddressLiteral(authority.substr(1, bracket - 1)))
      return false;
    authority.remove_prefix(bracket + 1);
    if (!authority.empty() && authority.front() != ':') return false;
  }
  const std::size_t colon = std::min(authority.find(':'), authority.size());
  const std::string_view port = authority.substr(std::min(colon + 1, authority.size()));
  return holdsOnly(authority.substr(0, colon), kInNames) &&
         std::all_of(port.begin(), port.end(), detail::isAsciiDigit);
}

bool isUriReference(std::string_view text) {
  const Components components = componentsOf(text);
  if (components.scheme && !detail::isScheme(*components.scheme)) return false;
  if (components.authority && !isAuthority(*components.authority)) return false;
  return holdsOnly(components.path, kInPaths) && holdsOnly(components.query.value_or(""), kInQueries) &&
         holdsOnly(components.fragment.value_or(""), kInQueries);
}

/// Host and port of an authority, as written.
struct HostAndPort {
  std::string_view host;
  std::string_view port;
};

HostAndPort hostAndPortOf(std::string_view authority) {
  if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
    authority.remove_prefix(at + 1);
  }
  const std::size_t bracket = authority.rfind(']');
  const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon == std::string_view::npos) return {authority, {}};
  return {authority.substr(0, colon), authority.substr(colon + 1)};
}

}  // namespace

std::optional<Url> Url::URLWithString(std::string_view text) {
  if (text.empty() || text.size() > kMaximumLength || !isUriReference(text)) return std::nullopt;
  return Url(std::string(text));
}

Url::Url(std::string text) : text_(std::make_shared<const std::string>(std::move(text))) {}

std::optional<std::string> Url::scheme() const {
  const auto scheme = componentsOf(*text_).scheme;
  if (!scheme) return std::nullopt;
  return std::string(*scheme);
}

std::optional<std::string> Url::host() const {
  const auto authority = componentsOf(*text_).authority;
  if (!authority) return std::nullopt;
  std::string_view host = hostAndPortOf(*authority).host;
  if (host.starts_with('[') && host.ends_with(']')) {
    host.remove_prefix(1);
    host.remove_suffix(1);
  }
  return validUtf8(percentDecode(host));
}

std::optional<std::int64_t> Url::port() const {
  const auto authority = componentsOf(*text_).authority;
  if (!authority) return std::nullopt;
  const std::string_view digits = hostAndPortOf(*authority).port;
  std::int64_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return port;
}

std::string Url::path() const { return validUtf8(percentDecode(componentsOf(*text_).path)); }

std::optional<std::string> Url::query() const {
  const auto query = componentsOf(*text_).query;
  if (!query) return std::nullopt;
  return std::string(*query);
}

}  // namespace tidewell::base
