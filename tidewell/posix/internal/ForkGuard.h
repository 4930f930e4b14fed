#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <atomic>

#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {

/// Tells the process that uses a worker thread from a child that was forked from it. A fork copies no thread,
/// and a mutex that one of them held stays locked in the child for ever: whoever shares state with a worker
/// asks here before it takes the lock.
///
/// A child of a process that has not used the worker yet may use it: that is what a daemon does.
class ForkGuard {
 public:
  /// Whether the calling process may use the worker. The process of the first caller becomes its owner.
  [[nodiscard]] bool claim() noexcept {
    pid_t owner = 0;
    const pid_t self = currentProcess();
    return owner_.compare_exchange_strong(owner, self, std::memory_order_relaxed) || owner == self;
  }
  /// Called by the worker after it has run foreign code. Returns in the owner only: if that code has forked,
  /// the child sleeps here for ever, because the parent does the work that is left.
  void goOnInOwner() noexcept {
    while (!claim()) pause();
  }

 private:
  std::atomic<pid_t> owner_{0};
};

}  // namespace tidewell::posix
