#pragma once

#include "tidewell/base/Value.h"

namespace tidewell {

/// What sends a log line to the log service. Shipping lies above the logger, which knows it as these two
/// functions only. Called on the thread that logs, with no lock held; both may raise.
struct LogShipper {
  /// Whether lines with a stack trace are shipped now.
  bool (*isEnabled)();
  /// Sends one line and returns at once.
  void (*send)(const base::Value& message, const base::Value& traceBack, const base::Value& level);
};

/// Puts a shipper in force; until then no line is shipped. The shipper is never destroyed. Any thread.
void setLogShipper(const LogShipper& shipper) noexcept;

}  // namespace tidewell
