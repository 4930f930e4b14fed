#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tidewell/base/TimeZone.h"

namespace tidewell::base {

namespace detail {
/// The last instants that ICU's calendars reach, in milliseconds since 1970 (about the years 5,800,000 BC and
/// AD).
inline constexpr double kFarthestInstant = 183882168921600000.0;
}  // namespace detail

/// What a zone is made of; immutable once made.
struct TimeZone::Record {
  struct CloseCalendar {
    void operator()(void** open) const noexcept;
  };

  Record(std::string zoneName, std::u16string identifier);

  /// Seconds from GMT at an instant; the last known rule beyond ICU's range.
  [[nodiscard]] std::int32_t offsetAt(double millisecondsSince1970) const;

  std::string name;
  std::u16string icuIdentifier;
  /// An ICU calendar of the zone, set to each instant that is asked about under `IcuTurn`. (A copy of one
  /// that is made out of memory has no zone, and ICU crashes on it.) Empty where ICU's data is missing.
  std::unique_ptr<void*, CloseCalendar> calendar;
};

}  // namespace tidewell::base
