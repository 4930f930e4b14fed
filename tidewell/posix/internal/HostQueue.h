#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "tidewell/platform/Queue.h"

namespace tidewell::posix {

/// A serial queue that the host's own loop drains. The child of a fork begins with an empty one.
class HostQueue final : public platform::Queue {
 public:
  HostQueue();
  ~HostQueue() override;
  void async(std::function<void()> function) override;
  /// Whether the calling thread is the one that drained the queue last.
  [[nodiscard]] bool isCurrent() const override;

  /// Readable while functions wait. -1 where the system had no descriptor left.
  [[nodiscard]] int descriptor() const;
  /// Runs the functions that wait now, not those that they add. 0 while another thread drains the queue.
  std::size_t poll();
  /// Runs functions for a time, waiting for them. A cancelled thread ends in that wait, with
  /// libstdc++.
  std::size_t run(std::chrono::milliseconds duration);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::posix
