#pragma once  // Internal: not installed.

#include <algorithm>
#include <string_view>

/// The characters of RFC 3986, whatever the process's locale says of letters.
namespace tidewell::base::detail {

inline constexpr std::string_view kSubDelimiters = "!$&'()*+,;=";

constexpr bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isHexDigit(char c) {
  return isAsciiDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr bool isUnreserved(char c) {
  return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

inline bool isScheme(std::string_view text) {
  return !text.empty() && isAsciiLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

}  // namespace tidewell::base::detail
