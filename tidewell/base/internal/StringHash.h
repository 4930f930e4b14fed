#pragma once

#include <cstdint>
#include <string_view>

namespace tidewell::base {

/// A hash of text under a key that is drawn once a process: whoever sends the texts cannot choose them so
/// that they collide.
[[nodiscard]] std::uint64_t stringHash(std::string_view text) noexcept;

}  // namespace tidewell::base
