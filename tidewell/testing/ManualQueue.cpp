// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/ManualQueue.h"

#include <algorithm>
#include <deque>
#include <thread>
#include <utility>
#include <vector>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {

struct ManualQueue::State {
  mutable base::Mutex mutex;
  std::deque<std::function<void()>> waiting TIDEWELL_GUARDED_BY(mutex);
  /// One entry per running function; a thread has several if functions run others.
  std::vector<std::thread::id> runners TIDEWELL_GUARDED_BY(mutex);
};

ManualQueue::ManualQueue() : state_(std::make_unique<State>()) {}
ManualQueue::~ManualQueue() = default;

void ManualQueue::async(std::function<void()> function) {
  if (!function) return;
  const base::MutexLock lock(state_->mutex);
  state_->waiting.push_back(std::move(function));
}

bool ManualQueue::isCurrent() const {
  const base::MutexLock lock(state_->mutex);
  return std::count(state_->runners.begin(), state_->runners.end(), std::this_thread::get_id()) > 0;
}

std::size_t ManualQueue::pending() const {
  const base::MutexLock lock(state_->mutex);
  return state_->waiting.size();
}

bool ManualQueue::runOne() {
  std::function<void()> next;
  const auto self = std::this_thread::get_id();
  {
    const base::MutexLock lock(state_->mutex);
    if (state_->waiting.empty()) return false;
    next = std::move(state_->waiting.front());
    state_->waiting.pop_front();
    state_->runners.push_back(self);
  }
  platform::runReportingExceptions(next);
  next = nullptr;  // destroys what the function holds on the queue, too
  const base::MutexLock lock(state_->mutex);
  state_->runners.erase(std::find(state_->runners.begin(), state_->runners.end(), self));
  return true;
}

std::size_t ManualQueue::runAll() {
  std::size_t count = 0;
  while (runOne()) ++count;
  return count;
}

}  // namespace tidewell::testing
