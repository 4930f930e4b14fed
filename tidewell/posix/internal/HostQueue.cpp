// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/HostQueue.h"

#include <algorithm>
#include <list>
#include <thread>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/posix/internal/Fork.h"
#include "tidewell/posix/internal/WakeUp.h"

namespace tidewell::posix {
namespace {

/// With libc++ a cancelled thread cannot leave the wait of a condition variable, which is `noexcept`;
/// cancellation is deferred until the wait is over.
#if defined(_LIBCPP_VERSION)
using WaitShield = base::CancellationShield;
#else
struct WaitShield {
  ~WaitShield() {}
};
#endif

}  // namespace

struct HostQueue::State final : ForkParticipant {
  StateMutex mutex;
  base::StateCondition changed;
  std::list<std::function<void()>> waiting TIDEWELL_GUARDED_BY(mutex);
  /// In a child, the functions that the parent will run. Destroyed only with the queue, because they are
  /// foreign.
  std::list<std::function<void()>> lost TIDEWELL_GUARDED_BY(mutex);
  const std::thread::id creator = std::this_thread::get_id();
  std::thread::id drainer TIDEWELL_GUARDED_BY(mutex);
  int depth TIDEWELL_GUARDED_BY(mutex) = 0;  ///< nested calls that are draining, all on `drainer`
  WakeUp wakeUp;

  State() { join(); }
  ~State() override { leave(); }

  void afterForkInChild() noexcept override
      TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {  // called with all locks held
    lost.splice(lost.end(), waiting);
    // If a function forked, `drain` continues in the child, too.
    if (drainer != std::this_thread::get_id()) depth = 0;
    wakeUp.separateFromParent();
  }

  // These require the mutex:

  void signal() {
    const base::CancellationShield shield;
    wakeUp.signal();
  }
  void clear() {
    const base::CancellationShield shield;
    wakeUp.clear();
  }
  [[nodiscard]] bool beginDraining() TIDEWELL_REQUIRES(mutex) {
    if (depth > 0 && drainer != std::this_thread::get_id()) return false;
    drainer = std::this_thread::get_id();
    ++depth;
    return true;
  }

  /// Runs up to `count` functions. Unlocks the mutex during each of them.
  std::size_t drain(std::size_t count) TIDEWELL_REQUIRES(mutex) {
    std::size_t ran = 0;
    for (; ran < count && !waiting.empty(); ++ran) {
      std::function<void()> function = std::move(waiting.front());
      waiting.pop_front();
      if (waiting.empty()) clear();
      mutex.unlock();
      platform::runReportingExceptions(function);
      function = nullptr;
      mutex.lock();
    }
    return ran;
  }
};

HostQueue::HostQueue() : state_(std::make_unique<State>()) {}
HostQueue::~HostQueue() = default;

void HostQueue::async(std::function<void()> function) {
  if (!function) return;
  const base::MutexLock lock(state_->mutex);
  state_->waiting.push_back(std::move(function));
  if (state_->waiting.size() == 1) state_->signal();
  state_->changed.native().notify_one();  // under the mutex: once it is released, the queue may be destroyed
}

bool HostQueue::isCurrent() const {
  const base::MutexLock lock(state_->mutex);
  return state_->drainer == std::this_thread::get_id();
}

bool HostQueue::needsCallingThread() const {
  const base::MutexLock lock(state_->mutex);
  const std::thread::id drainer = state_->drainer;
  return (drainer == std::thread::id() ? state_->creator : drainer) == std::this_thread::get_id();
}

int HostQueue::descriptor() const { return state_->wakeUp.descriptor(); }

std::size_t HostQueue::poll() {
  base::ReleasableMutexLock lock(state_->mutex);
  if (!state_->beginDraining()) return 0;
  const std::size_t ran = state_->drain(state_->waiting.size());
  --state_->depth;
  return ran;
}

std::size_t HostQueue::run(std::chrono::milliseconds duration) {
  // Keeps the end within the range of the clock.
  constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
  const auto end = std::chrono::steady_clock::now() + std::min(duration, kLongest);
  const WaitShield shield;
  std::size_t ran = 0;
  base::ReleasableMutexLock lock(state_->mutex);
  do {
    if (state_->beginDraining()) {
      ran += state_->drain(state_->waiting.size());
      --state_->depth;
    }
  } while (lock.waitUntil(state_->changed.native(), end, [this]() TIDEWELL_REQUIRES(state_->mutex) {
    return !state_->waiting.empty() && (state_->depth == 0 || state_->drainer == std::this_thread::get_id());
  }) && std::chrono::steady_clock::now() < end);
  return ran;
}

}  // namespace tidewell::posix
