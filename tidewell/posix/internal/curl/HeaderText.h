#pragma once

#include <strings.h>

#include <algorithm>
#include <string_view>

namespace tidewell::posix {

[[nodiscard]] inline bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

/// Without the blanks and line ends around it.
[[nodiscard]] inline std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blank = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(blank), text.size()));
  return text.substr(0, text.find_last_not_of(blank) + 1);
}

}  // namespace tidewell::posix
