#pragma once

#include <functional>
#include <memory>

#include "tidewell/platform/Queue.h"

namespace tidewell::posix {

/// A serial queue with a thread of its own, which starts with the first function, sleeps while there is
/// nothing to do and never ends.
///
/// It has no thread in the child of a fork, nor where the system has none to give, and takes no function for
/// which there is no memory: what becomes of functions then is chosen at construction, and reported once per
/// process. Any thread.
class WorkerQueue final : public platform::Queue {
 public:
  enum class WithoutThread {
    letGo,     ///< functions are dropped
    runAtOnce  ///< they run on the thread that brings them: nobody waits for a completion that never comes
  };
  /// The name of the thread: a literal of at most 15 characters.
  explicit WorkerQueue(const char* threadName, WithoutThread withoutThread = WithoutThread::letGo);
  ~WorkerQueue() override;

  void async(std::function<void()> function) override;
  /// The same for functions that must not get lost: where the queue has no thread it answers NO and leaves
  /// the function alone.
  [[nodiscard]] bool tryAsync(std::function<void()>& function) noexcept;
  [[nodiscard]] bool isCurrent() const override;

 private:
  struct State;
  void runAtOnce(std::function<void()> function) noexcept;

  const WithoutThread withoutThread_;
  std::shared_ptr<State> state_;
};

}  // namespace tidewell::posix
