#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// A URL (RFC 3986), kept as the text it was made from. Copies are cheap; any thread may read. Never raises.
class TIDEWELL_EXPORT Url {
 public:
  /// The URL of a text, or nothing where the text is not a URI reference of RFC 3986, is empty, or is longer
  /// than `kMaximumLength`.
  [[nodiscard]] static std::optional<Url> URLWithString(std::string_view text);

  /// Longer texts are refused: no server or program takes them, and every step of a longer one is work on the
  /// caller's thread.
  static constexpr std::size_t kMaximumLength = 8u << 20;

  [[nodiscard]] const std::string& absoluteString() const noexcept { return *text_; }
  [[nodiscard]] std::string description() const { return *text_; }
  /// As written (not lowered); nothing for a relative reference.
  [[nodiscard]] std::optional<std::string> scheme() const;
  /// Percent-decoded, without the brackets of an IPv6 address; nothing where there is no authority.
  [[nodiscard]] std::optional<std::string> host() const;
  [[nodiscard]] std::optional<std::int64_t> port() const;
  /// Percent-decoded; "" where there is none.
  [[nodiscard]] std::string path() const;
  /// As written, without the question mark; nothing where there is none.
  [[nodiscard]] std::optional<std::string> query() const;

  friend bool operator==(const Url& a, const Url& b) noexcept { return *a.text_ == *b.text_; }

 private:
  friend class UrlComponents;
  explicit Url(std::string text);
  std::shared_ptr<const std::string> text_;
};

}  // namespace tidewell::base
