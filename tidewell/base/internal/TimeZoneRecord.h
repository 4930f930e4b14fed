// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tidewell/base/TimeZone.h"

namespace tidewell::base {

namespace detail {
/// The farthest instants that ICU's calendars support, in milliseconds from 1970 (about the years 5,800,000
/// BC and AD).
inline constexpr double kFarthestInstant = 183882168921600000.0;
}  // namespace detail

/// The contents of a time zone; immutable after construction.
struct TimeZone::Record {
  struct CloseCalendar {
    void operator()(void** open) const noexcept;
  };

  Record(std::string zoneName, std::u16string identifier);

  /// Seconds from GMT at an instant. Beyond ICU's range the last known rule applies.
  [[nodiscard]] std::int32_t offsetAt(double millisecondsSince1970) const;

  std::string name;
  std::u16string icuIdentifier;
  /// An ICU calendar of the zone; calls set it to the instant in question under `IcuLock`. (It is not cloned
  /// per call: a clone made while out of memory has no zone, and ICU crashes on it.) Null if ICU's data is
  /// missing.
  std::unique_ptr<void*, CloseCalendar> calendar;
};

}  // namespace tidewell::base
