// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <locale.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

// Parses and prints numbers as the platform's strings do, whatever the process's locale. Internal to this
// layer.

namespace tidewell::base {

[[nodiscard]] locale_t cLocale() noexcept;

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
/// `%.16g`, or with another number of digits.
void appendReal(std::string& out, double real, int digits = 16);
/// With as few digits as identify the number; with an exponent below 1e-4 and from 1e16.
void appendShortestReal(std::string& out, double real);
/// "0x7f0123456789".
void appendAddress(std::string& out, const void* address);
template <class Integer>
void appendInteger(std::string& out, Integer integer, int base = 10) {
  char text[64];
  out.append(text, std::to_chars(text, text + sizeof text, integer, base).ptr);
}
/// Calls `print` with the locale "C" in force for the calling thread: the process's own might use a comma as
/// the decimal separator.
template <class Print>
auto inCLocale(Print print) {
  const locale_t before = uselocale(cLocale());
  const auto result = print();
  uselocale(before);
  return result;
}

}  // namespace tidewell::base
