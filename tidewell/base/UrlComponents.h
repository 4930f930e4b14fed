#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"

namespace tidewell::base {

/// A name and a value of a query; an item without a value is written as its name alone.
struct UrlQueryItem {
  std::string name;
  std::optional<std::string> value;
};

/// The parts of a URL, given unescaped, from which a URL is built (RFC 3986).
///
/// A plain value, used by one thread. What each part keeps unescaped is the platform's choice: letters,
/// digits and ``-._~`` everywhere, beside them ``!$&'()*+,/:=@`` in paths and ``!$'()*+,/:;?@`` in names and
/// values of a query. Ill-formed UTF-8 is replaced by U+FFFD first.
class TIDEWELL_EXPORT UrlComponents {
 public:
  /// Raises `kInvalidArgumentException` for a text that is not a scheme of RFC 3986.
  void setScheme(std::optional<std::string> scheme);
  void setHost(std::optional<std::string> host) noexcept { host_ = std::move(host); }
  void setPath(std::optional<std::string> path) noexcept { path_ = std::move(path); }
  /// Raises `kInvalidArgumentException` for a negative number.
  void setPort(std::optional<std::int64_t> port);
  /// An empty list gives a bare "?"; nothing gives none.
  void setQueryItems(std::optional<std::vector<UrlQueryItem>> items);

  [[nodiscard]] const std::optional<std::string>& scheme() const noexcept { return scheme_; }
  [[nodiscard]] const std::optional<std::string>& host() const noexcept { return host_; }
  [[nodiscard]] const std::optional<std::string>& path() const noexcept { return path_; }
  [[nodiscard]] const std::optional<std::int64_t>& port() const noexcept { return port_; }
  [[nodiscard]] const std::optional<std::vector<UrlQueryItem>>& queryItems() const noexcept {
    return queryItems_;
  }

  /// The URL, or nothing where the parts do not make one: an authority with a path that is neither empty nor
  /// begins with "/", no authority with a path that begins with "//", or a text beyond `Url::kMaximumLength`.
  [[nodiscard]] std::optional<Url> URL() const;

 private:
  std::optional<std::string> scheme_;
  std::optional<std::string> host_;
  std::optional<std::string> path_;
  std::optional<std::int64_t> port_;
  std::optional<std::vector<UrlQueryItem>> queryItems_;
};

}  // namespace tidewell::base
