// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Defers cancellation of the calling thread (`pthread_cancel`) to the end of a scope. A cancelled thread
/// unwinds its stack; within the library the unwinding would reach `noexcept` functions, catch-all handlers
/// and libraries without unwind tables, each of which terminates the process. So every call that may be a
/// cancellation point needs a shield: system calls, and host code whose exceptions are caught.
///
/// Does nothing on systems without POSIX threads.
class TIDEWELL_EXPORT CancellationShield {
 public:
  CancellationShield() noexcept;
  ~CancellationShield();
  CancellationShield(const CancellationShield&) = delete;
  CancellationShield& operator=(const CancellationShield&) = delete;

 private:
  int before_ = 0;
};

}  // namespace tidewell::base
