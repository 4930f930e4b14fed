#pragma once

#include <algorithm>
#include <string_view>

namespace tidewell::testing {

/// Header names, and some values, are equal whatever the case of their ASCII letters. (Internal: not
/// installed.)
[[nodiscard]] inline bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace tidewell::testing
