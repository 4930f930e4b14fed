// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <atomic>

#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {

/// Distinguishes the process that uses a worker thread from children forked from it. A fork copies no thread,
/// and a mutex held by one stays locked in the child forever: code that shares state with a worker asks here
/// before it locks.
///
/// A child of a process that has not used the worker yet may use it, as daemons do.
class ForkGuard {
 public:
  /// Whether the calling process may use the worker. The first process to ask becomes its owner.
  [[nodiscard]] bool claim() noexcept {
    pid_t owner = 0;
    const pid_t self = currentProcess();
    return owner_.compare_exchange_strong(owner, self, std::memory_order_relaxed) || owner == self;
  }
  /// Called by the worker after running foreign code. If that code has forked, the child sleeps here forever,
  /// because the parent does the remaining work.
  void goOnInOwner() noexcept {
    while (!claim()) pause();
  }

 private:
  std::atomic<pid_t> owner_{0};
};

}  // namespace tidewell::posix
