// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tidewell::posix {

/// A descriptor that is readable from `signal` until `clear`, with close-on-exec set. Callers serialise the
/// calls.
class WakeUp {
 public:
  /// If out of descriptors, `descriptor` is -1 and the other calls have no effect.
  WakeUp() noexcept;
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  [[nodiscard]] int descriptor() const noexcept { return readEnd_; }
  void signal() noexcept;
  void clear() noexcept;
  /// Gives the child of a fork a signal of its own under the same number, which cannot wake the parent.
  void separateFromParent() noexcept;

 private:
  int readEnd_ = -1;
  int writeEnd_ = -1;
};

}  // namespace tidewell::posix
