#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidewell::base::detail {

/// Wall-clock fields of an instant; the year counts inside its era, as patterns show it.
struct WallClock {
  std::int64_t year = 2000;  ///< what a text does not tell is taken from the start of the year 2000
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

/// The text without white space (of Unicode) at its ends.
[[nodiscard]] std::string_view withoutWhiteSpace(std::string_view text);

/// A date pattern of numeric fields (`y M d H m s S`) with literal text between any two of them: every
/// pattern that travels in the SDK's payloads. Reads and writes without ICU, whose strict reader differs from
/// the platform's (it wants two digits where the pattern has two letters).
class DatePattern {
 public:
  /// Nothing for a pattern that needs more than this class knows.
  [[nodiscard]] static std::optional<DatePattern> parsed(std::string_view pattern);

  [[nodiscard]] std::string format(const WallClock& clock) const;
  /// The fields of a text, each inside its range (days of a month are not looked at). White space around the
  /// text and before a number is skipped; a text may end before the literal text that ends the pattern.
  [[nodiscard]] std::optional<WallClock> read(std::string_view text) const;

 private:
  struct Item {
    char field = 0;              ///< the pattern's letter, 0 for a literal
    int width = 0;               ///< how many letters
    std::string literal;         ///< without quotes
    bool separatesDate = false;  ///< a "-" between two of year, month and day
  };
  static bool append(std::vector<Item>& items, char letter, int width);
  void markDateSeparators();

  std::vector<Item> items_;
};

}  // namespace tidewell::base::detail
