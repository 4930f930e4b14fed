#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers in texts, as the platform's strings answer them, whatever the process's locale. Not for use outside
// this layer.

namespace tidewell::base {

/// The decimal digits at the start, after white space and an optional sign, held to 64 bits; 0 where there
/// are none.
[[nodiscard]] std::int64_t leadingInteger(std::string_view text) noexcept;
/// Whether the text begins, after white space, with Y, y, T, t or, after an optional sign and zeros, with a
/// digit from 1 to 9.
[[nodiscard]] bool leadingBoolean(std::string_view text) noexcept;
/// The decimal number at the start, with fraction and exponent; 0 where there is none.
[[nodiscard]] double leadingReal(std::string_view text);
/// The same where the number is known to begin at once; stops at the first character that is no part of it.
[[nodiscard]] double realAt(const char* text) noexcept;
/// `%.16g`.
void appendReal(std::string& out, double real);

}  // namespace tidewell::base
