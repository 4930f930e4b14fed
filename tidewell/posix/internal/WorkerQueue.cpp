// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/WorkerQueue.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <list>
#include <new>
#include <string>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/posix/internal/ForkGuard.h"
#include "tidewell/posix/internal/Thread.h"

namespace tidewell::posix {

/// Shared with the thread, which outlives the queue.
struct WorkerQueue::State {
  explicit State(const char* name) : threadName(name) {}

  [[noreturn]] void drain();

  const char* const threadName;
  ForkGuard forkGuard;
  base::Mutex mutex;
  std::condition_variable filled;
  std::deque<std::function<void()>> functions TIDEWELL_GUARDED_BY(mutex);
  bool hasThread TIDEWELL_GUARDED_BY(mutex) = false;
};

namespace {

thread_local const void* currentQueue = nullptr;

}  // namespace

void WorkerQueue::State::drain() {
  currentQueue = this;
  for (;;) {
    std::function<void()> function;
    {
      base::ReleasableMutexLock lock(mutex);
      lock.wait(filled, [this]() TIDEWELL_REQUIRES(mutex) { return !functions.empty(); });
      function = std::move(functions.front());
      functions.pop_front();
    }
    platform::runReportingExceptions(function);
    forkGuard.goOnInOwner();
  }
}

WorkerQueue::WorkerQueue(const char* threadName, WithoutThread withoutThread)
    : withoutThread_(withoutThread), state_(std::make_shared<State>(threadName)) {}

WorkerQueue::~WorkerQueue() = default;

void WorkerQueue::async(std::function<void()> function) {
  if (tryAsync(function)) return;
  if (withoutThread_ == WithoutThread::runAtOnce) return runAtOnce(std::move(function));
  function = nullptr;
  constinit static std::atomic<bool> reported{false};
  if (reported.exchange(true)) return;
  platform::report(std::string("Work is dropped: the thread ") + state_->threadName +
                   " cannot be started, or was lost in a fork");
}

/// Functions added by `function` run after it, as on a queue, or immediately if they cannot be stored.
void WorkerQueue::runAtOnce(std::function<void()> function) noexcept {
  thread_local std::list<std::function<void()>>* added = nullptr;
  if (added != nullptr) {
    try {
      return added->push_back(std::move(function));
    } catch (const std::bad_alloc&) {
    }
  }
  std::list<std::function<void()>> functions;
  auto* const outer = std::exchange(added, &functions);
  const void* const before = std::exchange(currentQueue, state_.get());
  platform::runReportingExceptions(function);
  for (; !functions.empty(); functions.pop_front()) platform::runReportingExceptions(functions.front());
  currentQueue = before;
  added = outer;
}

bool WorkerQueue::tryAsync(std::function<void()>& function) noexcept {
  if (!function) return true;
  if (!state_->forkGuard.claim()) return false;
  const base::CancellationShield shield;
  try {
    const base::MutexLock lock(state_->mutex);
    if (!state_->hasThread) {
      state_->hasThread = startThread(state_->threadName, [state = state_] { state->drain(); });
      if (!state_->hasThread) return false;
    }
    state_->functions.push_back(std::move(function));
  } catch (const std::bad_alloc&) {
    return false;
  }
  state_->filled.notify_one();  // without the lock, so that the thread need not wait for it
  return true;
}

bool WorkerQueue::isCurrent() const { return currentQueue == state_.get(); }

}  // namespace tidewell::posix
