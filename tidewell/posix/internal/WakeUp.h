// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/posix/internal/Descriptor.h"

namespace tidewell::posix {

/// A descriptor that is readable from `signal` until `clear`, with close-on-exec set. Callers serialise the
/// calls.
class WakeUp {
 public:
  /// If out of descriptors, `descriptor` is -1 and the other calls have no effect.
  WakeUp() noexcept;

  [[nodiscard]] int descriptor() const noexcept { return readEnd_.number(); }
  void signal() noexcept;
  void clear() noexcept;
  /// Gives the child of a fork a signal of its own under the same number, which cannot wake the parent.
  void separateFromParent() noexcept;

 private:
  Descriptor readEnd_;
  Descriptor writeEnd_;  ///< none if the read end serves for both
};

}  // namespace tidewell::posix
