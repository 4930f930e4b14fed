// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

/// Runs functions asynchronously on a thread of the platform's choice.
///
/// `async` may be called from any thread, never runs the function before it returns, never blocks, and never
/// raises. Functions run without any platform lock held. The queue catches an exception that leaves a
/// function, reports it (see `runReportingExceptions`) and continues with the next one.
class TIDEWELL_EXPORT Queue {
 public:
  virtual ~Queue();
  /// Ignores an empty function. A function that can never run (there is no worker thread, as in the child of
  /// a fork) is destroyed without being called.
  virtual void async(std::function<void()> function) = 0;
  /// Whether the calling thread is running one of this queue's functions, or is the thread that drains the
  /// queue.
  [[nodiscard]] virtual bool isCurrent() const = 0;
  /// Whether functions run only if the calling thread returns to the queue, so that it must not wait for one.
  /// The default is `isCurrent`.
  [[nodiscard]] virtual bool needsCallingThread() const;
};

/// Runs a function as every queue must: catches and reports exceptions.
TIDEWELL_EXPORT void runReportingExceptions(const std::function<void()>& function) noexcept;

}  // namespace tidewell::platform
