// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Value.h"

namespace tidewell {

/// Sends log lines to the log service. Shipping is layered above the logger, which knows only these two
/// functions. Called on the logging thread, with no lock held; both may raise.
struct LogShipper {
  /// Whether lines with a stack trace are to be shipped now.
  bool (*isEnabled)();
  /// Sends a line and returns immediately.
  void (*send)(const base::Value& message, const base::Value& traceBack, const base::Value& level);
};

/// Sets the shipper, which must live forever; without one, no line is shipped. Any thread.
void setLogShipper(const LogShipper& shipper) noexcept;

}  // namespace tidewell
