#pragma once

#include <optional>
#include <string>

#include "tidewell/platform/Clock.h"
#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {

/// The system's clock, and its time zone: TZ as it was at installation; else what /etc/localtime leads to, or
/// the name in /etc/timezone, looked at with each call (one system call while nothing changes).
class PosixClock final : public platform::Clock {
 public:
  /// `variable` is TZ; `systemRoot` stands before the paths of the system's files.
  PosixClock(std::optional<std::string> variable, std::string systemRoot);

  [[nodiscard]] base::Date now() const override;
  [[nodiscard]] base::TimeZone systemTimeZone() const override;

 private:
  const std::optional<std::string> variable_;
  const std::string systemRoot_;

  /// The zone made last and the text it was made from.
  mutable StateMutex mutex_;
  mutable std::string source_ TIDEWELL_GUARDED_BY(mutex_);
  mutable std::optional<base::TimeZone> zone_ TIDEWELL_GUARDED_BY(mutex_);
};

/// The zone that a value of TZ or the target of /etc/localtime means: ":Area/City", "Area/City", a path below
/// a "zoneinfo" folder, or a POSIX rule ("EST5EDT", "<+0330>-3:30"). A rule that the database has no name for
/// gives its standard offset without daylight saving. UTC for everything else, and for "".
[[nodiscard]] base::TimeZone timeZoneForText(std::string_view text);

}  // namespace tidewell::posix
