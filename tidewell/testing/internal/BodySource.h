#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tidewell::testing {

/// The body of an answer, made piece by piece while it is sent, so that none has to fit into memory.
struct BodySource {
  /// How long it is; nothing where that shows only at the end.
  std::optional<std::uint64_t> length;
  /// Replaces `piece` by the next bytes, never by none; NO at the end.
  std::function<bool(std::string& piece)> next;
};

[[nodiscard]] BodySource bodyOfText(std::string text);
/// A JSON object of so many bytes (at least as many as an empty one of its kind has).
[[nodiscard]] BodySource bodyOfPaddedJson(std::uint64_t bytes);
[[nodiscard]] BodySource gzipped(BodySource source);

/// A whole text in a content encoding (gzip, deflate, br). Throws `std::invalid_argument` for another.
[[nodiscard]] std::string encodedText(std::string_view text, std::string_view encoding);

}  // namespace tidewell::testing
