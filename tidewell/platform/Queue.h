#pragma once

#include <functional>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

/// Runs functions later, on a thread of the platform's choice.
///
/// `async` may be called from any thread, never runs the function before it returns, never waits, and never
/// raises. Functions run with no lock of the platform held; an exception that leaves one is caught by the
/// queue and handed to `report` (see `runReportingExceptions`), and the next function runs all the same.
class TIDEWELL_EXPORT Queue {
 public:
  virtual ~Queue();
  /// An empty function is ignored. A function that can never run (the process has no worker left, as in the
  /// child of a fork) is destroyed without a call.
  virtual void async(std::function<void()> function) = 0;
  /// Whether the calling thread is running one of this queue's functions, or is the thread that drains it.
  [[nodiscard]] virtual bool isCurrent() const = 0;
};

/// Runs a function as every queue must: an exception that leaves it ends here and is reported.
TIDEWELL_EXPORT void runReportingExceptions(const std::function<void()>& function) noexcept;

}  // namespace tidewell::platform
