// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tidewell/base/TimeZone.h"

namespace tidewell::base {

namespace detail {
struct IcuFunctions;
/// The farthest instants that ICU's calendars support, in milliseconds from 1970 (about the years 5,800,000
/// BC and AD).
inline constexpr double kFarthestInstant = 183882168921600000.0;
}  // namespace detail

/// The contents of a time zone; immutable after construction.
struct TimeZone::Record {
  struct CloseCalendar {
    void operator()(void** open) const noexcept;
  };

  Record(std::string zoneName, std::int32_t fixedOffset);
  Record(std::string zoneName, const detail::IcuFunctions& icu);

  /// Seconds from GMT at an instant. Beyond ICU's range the last known rule applies.
  [[nodiscard]] std::int32_t offsetAt(double millisecondsSince1970) const;

  std::string name;
  std::u16string icuIdentifier;
  std::int32_t offset = 0;  ///< of a zone without a calendar
  /// Null for a fixed offset, which needs no ICU. Otherwise an ICU calendar of the zone; calls set it to the
  /// instant in question under `IcuLock`. (It is not cloned per call: a clone made while out of memory has no
  /// zone, and ICU crashes on it.) Null if ICU's data is missing.
  std::unique_ptr<void*, CloseCalendar> calendar;
};

}  // namespace tidewell::base
