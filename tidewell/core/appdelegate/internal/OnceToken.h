// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <thread>

#include "tidewell/base/internal/Fork.h"

namespace tidewell {

/// Runs work once, until it is reset.
///
/// Any thread. Other threads wait while it runs; a recursive call returns immediately. `work` runs with no
/// lock held; if it raises, it counts as run and the exception propagates. In the child of a fork, work in
/// progress on another thread of the parent counts as not run.
class OnceToken final : public base::ForkParticipant {
 public:
  OnceToken();
  ~OnceToken() override;

  void run(const std::function<void()>& work);
  /// Lets the next `run` run again; during a run, takes effect at its end.
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
