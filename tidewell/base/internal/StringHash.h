// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

namespace tidewell::base {

/// A text hash with a key generated once per process, so that an attacker cannot choose texts that collide.
[[nodiscard]] std::uint64_t stringHash(std::string_view text) noexcept;

}  // namespace tidewell::base
