// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Parses and prints numbers as the platform's strings do, whatever the process's locale. Internal to this
// layer.

namespace tidewell::base {

/// The decimal integer at the start, after white space and an optional sign, clamped to 64 bits; 0 if there
/// is none.
[[nodiscard]] std::int64_t leadingInteger(std::string_view text) noexcept;
/// Whether the text begins, after white space, with Y, y, T, t or, after an optional sign and zeros, with a
/// digit from 1 to 9.
[[nodiscard]] bool leadingBoolean(std::string_view text) noexcept;
/// The decimal number at the start, with fraction and exponent; 0 if there is none.
[[nodiscard]] double leadingReal(std::string_view text);
/// The number at exactly `text`, without leading white space; stops at the first character that is not part
/// of it.
[[nodiscard]] double realAt(const char* text) noexcept;
/// `%.16g`.
void appendReal(std::string& out, double real);

}  // namespace tidewell::base
