// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "tidewell/platform/Queue.h"

namespace tidewell::posix {

/// A serial queue with a thread of its own, which is started by the first function, sleeps while idle and
/// never ends.
///
/// There is no thread in the child of a fork, or if the system cannot start one, and a function is not
/// accepted if memory runs out. The fate of functions then is chosen at construction, and reported once per
/// process. Any thread.
class WorkerQueue final : public platform::Queue {
 public:
  enum class WithoutThread {
    drop,      ///< functions are dropped
    runAtOnce  ///< functions run on the thread that submits them, so that no caller waits forever
  };
  /// `threadName` is a literal of at most 15 characters.
  explicit WorkerQueue(const char* threadName, WithoutThread withoutThread = WithoutThread::drop);
  ~WorkerQueue() override;

  void async(std::function<void()> function) override;
  /// For functions that must not be lost: returns false and leaves the function alone if the queue has no
  /// thread.
  [[nodiscard]] bool tryAsync(std::function<void()>& function) noexcept;
  [[nodiscard]] bool isCurrent() const override;

 private:
  struct State;
  void runAtOnce(std::function<void()> function) noexcept;

  const WithoutThread withoutThread_;
  std::shared_ptr<State> state_;
};

}  // namespace tidewell::posix
