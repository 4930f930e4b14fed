// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "tidewell/platform/Clock.h"
#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {

/// The system clock and time zone. The zone is TZ as it was at installation, otherwise the target of
/// /etc/localtime or the name in /etc/timezone, checked at each call (one system call if unchanged).
class PosixClock final : public platform::Clock {
 public:
  /// `variable` is TZ; `systemRoot` is prepended to the paths of system files.
  PosixClock(std::optional<std::string> variable, std::string systemRoot);

  [[nodiscard]] base::Date now() const override;
  [[nodiscard]] base::TimeZone systemTimeZone() const override;

 private:
  const std::optional<std::string> variable_;
  const std::string systemRoot_;

  /// The last zone and the text from which it was created.
  mutable StateMutex mutex_;
  mutable std::string source_ TIDEWELL_GUARDED_BY(mutex_);
  mutable std::optional<base::TimeZone> zone_ TIDEWELL_GUARDED_BY(mutex_);
};

/// The zone for a value of TZ or the target of /etc/localtime: ":Area/City", "Area/City", a path below a
/// "zoneinfo" folder, or a POSIX rule ("EST5EDT", "<+0330>-3:30"). A rule that is not a name in the database
/// gives its standard offset without daylight saving time. UTC for everything else, including "". `root` is
/// prepended to the paths of system files; the offset at `now` is read from them if they have it.
[[nodiscard]] base::TimeZone timeZoneForText(std::string_view text, const std::string& root, double now);

}  // namespace tidewell::posix
