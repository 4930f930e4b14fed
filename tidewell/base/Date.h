#pragma once

#include <compare>
#include <string>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// An instant, as seconds since 1970-01-01 00:00:00 UTC with fractions. A plain value.
struct TIDEWELL_EXPORT Date {
  double secondsSince1970 = 0;

  /// `2018-11-12 17:05:09 +0000`, always in UTC, fractions cut.
  [[nodiscard]] std::string description() const;
  /// Exact to the last bit of the seconds.
  friend std::partial_ordering operator<=>(const Date&, const Date&) = default;
};

/// Seconds between 1970-01-01 and 2001-01-01, the epoch of archived dates.
inline constexpr double kReferenceDateOffset = 978307200.0;

}  // namespace tidewell::base
