// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidewell::base::detail {

/// Wall-clock fields of an instant. The year counts within its era, as patterns print it.
struct WallClock {
  std::int64_t year = 2000;  ///< fields missing from a text default to the start of the year 2000
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

/// The text without leading and trailing Unicode white space.
[[nodiscard]] std::string_view withoutWhiteSpace(std::string_view text);

/// A date pattern of numeric fields (`y M d H m s S`), any two of them separated by literal text. This covers
/// every pattern in the SDK's payloads. Formats and parses without ICU, whose strict parser differs from the
/// platform's (it requires two digits for a two-letter field).
class DatePattern {
 public:
  /// No value for a pattern that this class does not support.
  [[nodiscard]] static std::optional<DatePattern> parsed(std::string_view pattern);

  [[nodiscard]] std::string format(const WallClock& clock) const;
  /// Parses a text; no value unless each field is within its range (the day is not checked against the
  /// month). Skips white space around the text and before a number. The text may omit the pattern's trailing
  /// literal.
  [[nodiscard]] std::optional<WallClock> read(std::string_view text) const;

 private:
  struct Item {
    char field = 0;              ///< the pattern's letter; 0 for a literal
    int width = 0;               ///< the number of letters
    std::string literal;         ///< without quotes
    bool separatesDate = false;  ///< a "-" between two of year, month and day
  };
  static bool append(std::vector<Item>& items, char letter, int width);
  void markDateSeparators();

  std::vector<Item> items_;
};

}  // namespace tidewell::base::detail
