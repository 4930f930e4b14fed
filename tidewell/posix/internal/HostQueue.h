// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "tidewell/platform/Queue.h"

namespace tidewell::posix {

/// A serial queue drained by the host's own event loop. Empty in the child of a fork.
class HostQueue final : public platform::Queue {
 public:
  HostQueue();
  ~HostQueue() override;
  void async(std::function<void()> function) override;
  /// Whether the calling thread was the last one to drain the queue.
  [[nodiscard]] bool isCurrent() const override;
  /// Before the queue was first drained, whether the calling thread created it.
  [[nodiscard]] bool needsCallingThread() const override;

  /// Readable while functions wait. -1 if the system had no descriptor left.
  [[nodiscard]] int descriptor() const;
  /// Runs the functions that wait now, but not those added by them; returns their number. Returns 0 while
  /// another thread drains the queue.
  std::size_t poll();
  /// Runs functions for a duration, waiting for them; returns their number. With libstdc++ the wait is a
  /// cancellation point.
  std::size_t run(std::chrono::milliseconds duration);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::posix
