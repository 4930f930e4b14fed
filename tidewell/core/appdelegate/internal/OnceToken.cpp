#include "tidewell/core/appdelegate/internal/OnceToken.h"

#include <mutex>

#include "tidewell/base/internal/CancellationShield.h"

namespace tidewell {

OnceToken::OnceToken() { join(); }
OnceToken::~OnceToken() { leave(); }

void OnceToken::afterForkInChild() noexcept {
  if (state_ == State::running && runner_ != std::this_thread::get_id()) state_ = State::notRun;
}

void OnceToken::run(const std::function<void()>& work) {
  const base::CancellationShield shield;
  std::unique_lock lock(mutex_.native());
  if (state_ == State::running && runner_ == std::this_thread::get_id()) return;
  isOver_.native().wait(lock, [this] { return state_ != State::running; });
  if (state_ == State::done) return;
  state_ = State::running;
  afterRunning_ = State::done;
  runner_ = std::this_thread::get_id();
  lock.unlock();
  const auto end = [&] {
    lock.lock();
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
  const std::lock_guard lock(mutex_);
  if (state_ == State::running) {
    afterRunning_ = State::notRun;
  } else {
    state_ = State::notRun;
  }
}

}  // namespace tidewell
