// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/LaterFields.h"
#include "tidewell/base/Url.h"

namespace tidewell::base {

/// One name and value of a query. An item without a value is written as its name alone.
struct UrlQueryItem {
  std::string name;
  std::optional<std::string> value;
};

/// The unescaped parts from which a URL is built (RFC 3986).
///
/// A plain value type for one thread at a time. The platform defines which characters stay unescaped:
/// letters, digits and ``-._~`` everywhere, ``!$&'()*+,/:=@`` in paths, and ``!$'()*+,/:;?@`` in names and
/// values of a query. Ill-formed UTF-8 is first replaced by U+FFFD.
class TIDEWELL_EXPORT UrlComponents {
 public:
  /// Raises `kInvalidArgumentException` for a text that is not a scheme of RFC 3986.
  void setScheme(std::optional<std::string> scheme);
  void setHost(std::optional<std::string> host) noexcept { host_ = std::move(host); }
  void setPath(std::optional<std::string> path) noexcept { path_ = std::move(path); }
  /// Raises `kInvalidArgumentException` for a negative number.
  void setPort(std::optional<std::int64_t> port);
  /// An empty list gives a bare "?"; no value gives no query.
  void setQueryItems(std::optional<std::vector<UrlQueryItem>> items);

  [[nodiscard]] const std::optional<std::string>& scheme() const noexcept { return scheme_; }
  [[nodiscard]] const std::optional<std::string>& host() const noexcept { return host_; }
  [[nodiscard]] const std::optional<std::string>& path() const noexcept { return path_; }
  [[nodiscard]] const std::optional<std::int64_t>& port() const noexcept { return port_; }
  [[nodiscard]] const std::optional<std::vector<UrlQueryItem>>& queryItems() const noexcept {
    return queryItems_;
  }

  /// No value if the parts do not make a URL: an authority with a non-empty path that does not begin with
  /// "/", no authority and a path that begins with "//", or a text longer than `Url::kMaximumLength`.
  [[nodiscard]] std::optional<Url> URL() const;

 private:
  std::optional<std::string> scheme_;
  std::optional<std::string> host_;
  std::optional<std::string> path_;
  std::optional<std::int64_t> port_;
  std::optional<std::vector<UrlQueryItem>> queryItems_;
  LaterFields laterFields_;
};

}  // namespace tidewell::base
