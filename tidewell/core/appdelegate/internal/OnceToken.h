#pragma once

#include <functional>
#include <thread>

#include "tidewell/base/internal/Fork.h"

namespace tidewell {

/// Runs something once, until it is reset.
///
/// Any thread. Whoever comes while it runs waits until it is done; the running thread itself, coming back,
/// goes on without it. `work` runs with no lock held; if it raises, it counts as run and the exception passes
/// to the caller. In the child of a fork, work that another thread of the parent was doing counts as not run.
class OnceToken final : public base::ForkParticipant {
 public:
  OnceToken();
  ~OnceToken() override;

  void run(const std::function<void()>& work);
  /// Lets the next `run` run again. While it runs: once that is over.
  void reset();

  void afterForkInChild() noexcept override;

 private:
  enum class State { notRun, running, done };

  base::StateMutex mutex_;
  base::StateCondition isOver_;
  State state_ TIDEWELL_GUARDED_BY(mutex_) = State::notRun;
  State afterRunning_ TIDEWELL_GUARDED_BY(mutex_) = State::done;
  std::thread::id runner_ TIDEWELL_GUARDED_BY(mutex_);
};

}  // namespace tidewell
