// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Export.h"

namespace tidewell::base {

/// A time zone of the IANA database (ICU's copy), or a fixed offset from GMT. Copies are cheap; any thread
/// may read one.
class TIDEWELL_EXPORT TimeZone {
 public:
  /// The zone named "UTC".
  [[nodiscard]] static TimeZone UTC();
  /// The zone with that name ("Asia/Kolkata"); no value if the database has none.
  [[nodiscard]] static std::optional<TimeZone> timeZoneWithName(std::string_view name);
  /// An offset that applies from one instant to another, in seconds since 1970.
  struct KnownOffset {
    double from = 0;
    double until = 0;
    std::int32_t secondsFromGMT = 0;
  };
  /// A zone whose name and present offset come from elsewhere. The database is loaded only for other
  /// instants.
  [[nodiscard]] static TimeZone timeZoneWithName(std::string_view name, KnownOffset known);
  /// A zone with a fixed offset, named like "GMT+0530". The offset is clamped to 18 hours either way.
  [[nodiscard]] static TimeZone timeZoneForSecondsFromGMT(std::int32_t seconds);

  [[nodiscard]] const std::string& name() const noexcept;
  /// Seconds to add to UTC to get local time at an instant, including daylight saving time. An instant that
  /// is not finite counts as 1970-01-01.
  [[nodiscard]] std::int32_t secondsFromGMTForDate(Date date) const;

 private:
  struct Record;
  explicit TimeZone(std::shared_ptr<const Record> record);
  std::shared_ptr<const Record> record_;
  friend class DateFormatter;
};

}  // namespace tidewell::base
