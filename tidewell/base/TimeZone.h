#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Export.h"

namespace tidewell::base {

/// A time zone of the IANA database (ICU's copy of it), or a fixed offset from GMT. Copies are cheap; any
/// thread may read one.
class TIDEWELL_EXPORT TimeZone {
 public:
  /// The zone with the name "UTC".
  [[nodiscard]] static TimeZone UTC();
  /// The zone of a name ("Asia/Kolkata"), or nothing where the database does not hold it.
  [[nodiscard]] static std::optional<TimeZone> timeZoneWithName(std::string_view name);
  /// A zone without changes, named "GMT+0530" and the like. At most 18 hours from GMT, more counts as 18.
  [[nodiscard]] static TimeZone timeZoneForSecondsFromGMT(std::int32_t seconds);

  [[nodiscard]] const std::string& name() const noexcept;
  /// Seconds to add to UTC for local time at an instant, daylight saving included. An instant that is not a
  /// finite number counts as 1970.
  [[nodiscard]] std::int32_t secondsFromGMTForDate(Date date) const;

 private:
  struct Record;
  explicit TimeZone(std::shared_ptr<const Record> record);
  std::shared_ptr<const Record> record_;
  friend class DateFormatter;
};

}  // namespace tidewell::base
