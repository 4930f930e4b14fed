// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tidewell::testing {

/// The body of an answer, generated piece by piece while it is sent, so that it need not fit into memory.
struct BodySource {
  /// No value if the length is known only at the end.
  std::optional<std::uint64_t> length;
  /// Replaces `piece` by the next bytes, at least one; returns false at the end.
  std::function<bool(std::string& piece)> next;
};

[[nodiscard]] BodySource bodyOfText(std::string text);
/// A JSON object of the given size (or of the smallest possible size, if that is larger).
[[nodiscard]] BodySource bodyOfPaddedJson(std::uint64_t bytes);
[[nodiscard]] BodySource gzipped(BodySource source);

/// Encodes a text in a content encoding (gzip, deflate, br). Throws `std::invalid_argument` for any other.
[[nodiscard]] std::string encodedText(std::string_view text, std::string_view encoding);

}  // namespace tidewell::testing
