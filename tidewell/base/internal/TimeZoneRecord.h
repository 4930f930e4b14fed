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

/// The contents of a time zone. Immutable after construction, except for the calendar.
struct TimeZone::Record {
  struct CloseCalendar {
    void operator()(void** open) const noexcept;
  };

  Record(std::string zoneName, KnownOffset offset);

  /// The ICU calendar of the zone, opened with the first call; null if ICU or its data is missing. For
  /// holders of an `IcuLock`, which set it to the instant in question. (It is not cloned per call: a clone
  /// made while out of memory has no zone, and ICU crashes on it.)
  [[nodiscard]] void** openCalendar(const detail::IcuFunctions& icu) const;
  /// Seconds from GMT at an instant. Beyond ICU's range the last known rule applies.
  [[nodiscard]] std::int32_t offsetAt(double millisecondsSince1970) const;

  std::string name;
  std::u16string icuIdentifier;
  KnownOffset known;  ///< needs no ICU

 private:
  mutable std::unique_ptr<void*, CloseCalendar> calendar_;
};

}  // namespace tidewell::base
