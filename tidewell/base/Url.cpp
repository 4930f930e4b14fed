#include "tidewell/base/Url.h"

#include <uriparser/Uri.h>

#include <algorithm>
#include <charconv>

#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/base/internal/UrlSyntax.h"

namespace tidewell::base {

namespace {

/// The components of a URI reference as they are written; views into its text.
struct Components {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;
};

/// Cuts a text where RFC 3986 (appendix B) cuts it, whatever the components hold.
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
constexpr detail::CharacterSet kInPaths = kInNames.with(":@/");
constexpr detail::CharacterSet kInQueries = kInPaths.with("?");

/// Whether the text holds nothing but those characters and whole escapes.
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

/// Whether the authority is one of RFC 3986: user, name or IP literal, port.
bool isAuthority(std::string_view authority) {
  const std::size_t colon = std::min(authority.find(':'), authority.size());
  const std::string_view port = authority.substr(std::min(colon + 1, authority.size()));
  if (holdsOnly(authority.substr(0, colon), kInNames) &&
      std::all_of(port.begin(), port.end(), detail::isAsciiDigit)) {
    return true;
  }
  // The grammar of users and IP literals is the parser's; it sees no path, for which it would allocate a
  // piece a slash.
  const std::string text = "//" + std::string(authority);
  UriUriA uri;
  const char* error = nullptr;
  if (uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), &error) != URI_SUCCESS) {
    return false;
  }
  uriFreeUriMembersA(&uri);
  return true;
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
