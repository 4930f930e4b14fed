// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/internal/Ascii.h"

/// Character classes of RFC 3986.
namespace tidewell::base::detail {

inline constexpr std::string_view kSubDelimiters = "!$&'()*+,;=";

constexpr bool isUnreserved(char c) {
  return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

/// The unreserved characters plus those added, with constant-time lookup.
class CharacterSet {
 public:
  constexpr CharacterSet() {
    for (int byte = 0; byte < 128; ++byte) {
      if (isUnreserved(static_cast<char>(byte))) add(static_cast<char>(byte));
    }
  }
  [[nodiscard]] constexpr CharacterSet with(std::string_view also) const {
    CharacterSet larger = *this;
    for (const char c : also) larger.add(c);
    return larger;
  }
  [[nodiscard]] constexpr bool contains(char c) const {
    const auto byte = static_cast<unsigned char>(c);
    return (words_[byte / 64] >> byte % 64 & 1) != 0;
  }

 private:
  constexpr void add(char c) {
    const auto byte = static_cast<unsigned char>(c);
    words_[byte / 64] |= std::uint64_t{1} << byte % 64;
  }

  std::array<std::uint64_t, 4> words_{};
};
inline constexpr CharacterSet kUnreserved;

/// Percent-encodes every byte that is not in `keep` (RFC 3986, section 2.1).
void appendPercentEncoded(std::string& out, std::string_view text, const CharacterSet& keep);

inline bool isScheme(std::string_view text) {
  return !text.empty() && isAsciiLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

}  // namespace tidewell::base::detail
