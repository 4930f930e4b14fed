// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/Queue.h"

#include <string>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

Queue::~Queue() = default;
bool Queue::needsCallingThread() const { return isCurrent(); }

void runReportingExceptions(const std::function<void()>& function) noexcept {
  const base::CancellationShield shield;
  try {
    function();
  } catch (...) {
    try {
      report("A function on a queue raised: " + base::currentExceptionDescription());
    } catch (...) {
      report("A function on a queue raised, and there is no memory for more");
    }
  }
}

}  // namespace tidewell::platform
