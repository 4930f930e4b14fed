// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <string>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// A point in time: seconds since 1970-01-01 00:00:00 UTC, with fractions. A plain value type.
struct TIDEWELL_EXPORT Date {
  double secondsSince1970 = 0;

  /// `2018-11-12 17:05:09 +0000`: always UTC, fractions of a second truncated.
  [[nodiscard]] std::string description() const;
  /// Compares the seconds exactly.
  friend std::partial_ordering operator<=>(const Date&, const Date&) = default;
};

/// Seconds from 1970-01-01 to 2001-01-01 (UTC), the epoch of dates in archives.
inline constexpr double kReferenceDateOffset = 978307200.0;

}  // namespace tidewell::base
