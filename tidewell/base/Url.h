// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// A URL (RFC 3986), stored as the text it was created from. Copies are cheap; any thread may read one. Never
/// raises.
class TIDEWELL_EXPORT Url {
 public:
  /// No value if the text is not a URI reference as RFC 3986 defines it, is empty, or is longer than
  /// `kMaximumLength`.
  [[nodiscard]] static std::optional<Url> URLWithString(std::string_view text);

  /// In bytes. Longer texts are refused: no server accepts them, and every operation on one would take time
  /// on the caller's thread.
  static constexpr std::size_t kMaximumLength = 8u << 20;

  [[nodiscard]] const std::string& absoluteString() const noexcept { return *text_; }
  [[nodiscard]] std::string description() const { return *text_; }
  /// As written (not lower-cased); no value for a relative reference.
  [[nodiscard]] std::optional<std::string> scheme() const;
  /// Percent-decoded, without the brackets of an IPv6 address; no value if there is no authority.
  [[nodiscard]] std::optional<std::string> host() const;
  /// No value if there is none, or if it does not fit in 64 bits.
  [[nodiscard]] std::optional<std::int64_t> port() const;
  /// Percent-decoded; "" if there is none.
  [[nodiscard]] std::string path() const;
  /// As written, without the question mark; no value if there is none.
  [[nodiscard]] std::optional<std::string> query() const;

  friend bool operator==(const Url& a, const Url& b) noexcept { return *a.text_ == *b.text_; }

 private:
  friend class UrlComponents;
  explicit Url(std::string text);
  std::shared_ptr<const std::string> text_;
};

}  // namespace tidewell::base
