// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Date.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/TimeZone.h"

namespace tidewell::platform {

/// The wall clock and the system's time zone. Any thread; never raises.
class TIDEWELL_EXPORT Clock {
 public:
  virtual ~Clock();
  [[nodiscard]] virtual base::Date now() const = 0;
  /// The current time zone. A change of the system setting takes effect at the next call.
  [[nodiscard]] virtual base::TimeZone systemTimeZone() const = 0;
};

}  // namespace tidewell::platform
