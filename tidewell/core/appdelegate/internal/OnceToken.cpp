// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/appdelegate/internal/OnceToken.h"

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"

namespace tidewell {

OnceToken::OnceToken() { join(); }
OnceToken::~OnceToken() { leave(); }

// Called with all locks held.
void OnceToken::afterForkInChild() noexcept TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
  if (state_ == State::running && runner_ != std::this_thread::get_id()) state_ = State::notRun;
}

void OnceToken::run(const std::function<void()>& work) {
  const base::CancellationShield shield;
  base::ReleasableMutexLock lock(mutex_);
  if (state_ == State::running && runner_ == std::this_thread::get_id()) return;
  lock.wait(isOver_.native(), [this]() TIDEWELL_REQUIRES(mutex_) { return state_ != State::running; });
  if (state_ == State::done) return;
  state_ = State::running;
  afterRunning_ = State::done;
  runner_ = std::this_thread::get_id();
  lock.unlock();
  const auto end = [this] {
    const base::MutexLock ending(mutex_);
    state_ = afterRunning_;
    isOver_.native().notify_all();
  };
  try {
    work();
  } catch (...) {
    end();
    throw;
  }
  end();
}

void OnceToken::reset() {
  const base::MutexLock lock(mutex_);
  if (state_ == State::running) {
    afterRunning_ = State::notRun;
  } else {
    state_ = State::notRun;
  }
}

}  // namespace tidewell
