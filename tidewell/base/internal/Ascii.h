// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

/// ASCII helpers that do not depend on the process's locale.
namespace tidewell::base::detail {

inline constexpr std::string_view kLowerHexDigits = "0123456789abcdef";
inline constexpr std::string_view kUpperHexDigits = "0123456789ABCDEF";

constexpr bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
constexpr char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The value of a hexadecimal digit, or -1.
constexpr int hexValue(char c) {
  if (isAsciiDigit(c)) return c - '0';
  const char lower = asciiLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}
constexpr bool isHexDigit(char c) { return hexValue(c) >= 0; }

/// Appends a byte as two hexadecimal digits.
inline void appendHex(std::string& out, std::uint8_t byte, std::string_view digits = kLowerHexDigits) {
  out += digits[byte >> 4];
  out += digits[byte & 15];
}

constexpr bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char left, char right) { return asciiLower(left) == asciiLower(right); });
}

/// The text without leading and trailing blanks.
constexpr std::string_view trimmed(std::string_view text, std::string_view blanks = " \t\r\n") {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

}  // namespace tidewell::base::detail
