#pragma once

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Postpones the cancellation of the calling thread (`pthread_cancel`) until the end of a scope. A cancelled
/// thread unwinds its stack; in the library that would meet `noexcept` functions, handlers that catch
/// everything and libraries without unwind tables, each of which ends the process. So every call that can act
/// on a cancellation stands behind a shield: system calls, and host code whose exceptions are caught.
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
