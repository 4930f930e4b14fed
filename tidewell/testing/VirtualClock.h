// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Clock.h"

namespace tidewell::testing {

/// A clock that moves only when a test sets or advances it. Any thread.
class TIDEWELL_EXPORT VirtualClock final : public platform::Clock {
 public:
  VirtualClock();
  ~VirtualClock() override;
  [[nodiscard]] base::Date now() const override;
  [[nodiscard]] base::TimeZone systemTimeZone() const override;
  void setNow(base::Date now);
  void advance(double seconds);
  void setSystemTimeZone(base::TimeZone timeZone);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing
