// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/internal/Mutex.h"

//
// A host may fork at any time, on any thread. The child has one thread only; work in progress on any other is
// left half done. The library stays usable in the child because it uses two kinds of locks. A `StateMutex`
// guards memory, is held briefly, and is acquired by the forking thread before the fork, so that the guarded
// state is consistent in the child. A `WorkMutex` is held over file operations, guards almost no memory, and
// is replaced in the child. The platform installs the fork handlers; without them these classes are plain
// locks.
namespace tidewell::base {

/// Prepares for a fork and recovers after it. Derived classes are final; they call `join` at the end of the
/// constructor and `leave` at the start of the destructor, never while holding a `StateMutex`.
///
/// Create a process-wide participant with `madeOnce`, or while the library is loaded (`MadeWhenLoaded`),
/// never as a function-local static: a thread that initialises one during a fork waits in `join` and leaves
/// it half initialised in the child.
///
/// The handlers run with every `StateMutex` locked and must not destroy foreign objects.
class TIDEWELL_EXPORT ForkParticipant {
 public:
  ForkParticipant(const ForkParticipant&) = delete;
  ForkParticipant& operator=(const ForkParticipant&) = delete;

  virtual void beforeFork() noexcept {}
  virtual void afterForkInParent() noexcept {}
  virtual void afterForkInChild() noexcept {}

  /// For the platform's fork handlers. Each calls the function above of the same name on every participant.
  static void allBeforeFork() noexcept;
  static void allAfterForkInParent() noexcept;
  static void allAfterForkInChild() noexcept;

 protected:
  explicit ForkParticipant(int level = 0) : level_(level) {}
  virtual ~ForkParticipant();
  void join();
  void leave() noexcept;

 private:
  const int level_;  ///< handlers run in ascending order of levels
};

/// Guards memory. Hold it briefly, never over foreign code or a blocking system call. While holding one,
/// acquire only mutexes of a higher level.
class TIDEWELL_CAPABILITY TIDEWELL_EXPORT StateMutex final : public ForkParticipant {
 public:
  static constexpr int kInnermost = 100;
  static constexpr int kOtherLibrary = 200;  ///< held over calls into a library with locks of its own
  explicit StateMutex(int level = kInnermost);
  ~StateMutex() override;

  void lock() TIDEWELL_ACQUIRE() { mutex_.lock(); }
  void unlock() TIDEWELL_RELEASE() { mutex_.unlock(); }
  /// For condition variables.
  [[nodiscard]] std::mutex& native() noexcept { return mutex_; }

  void beforeFork() noexcept override;
  void afterForkInParent() noexcept override;
  void afterForkInChild() noexcept override;

 private:
  std::mutex mutex_;
};

/// A recursive `StateMutex`.
class TIDEWELL_CAPABILITY RecursiveStateMutex {
 public:
  explicit RecursiveStateMutex(int level = StateMutex::kInnermost) : mutex_(level) {}

  void lock() TIDEWELL_ACQUIRE() {
    const std::thread::id self = std::this_thread::get_id();
    // Relaxed: only this thread stores its own ID, and `mutex_` orders the rest.
    if (owner_.load(std::memory_order_relaxed) != self) {
      mutex_.lock();
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }
  void unlock() TIDEWELL_RELEASE() {
    if (--depth_ > 0) return;
    owner_.store({}, std::memory_order_relaxed);
    mutex_.unlock();
  }

 private:
  StateMutex mutex_;
  std::atomic<std::thread::id> owner_{};
  int depth_ = 0;  ///< guarded by the mutex
};

/// A condition variable for a `StateMutex`. Recreated in the child of a fork, where the parent's waiters,
/// which no longer exist, would otherwise block it.
class TIDEWELL_EXPORT StateCondition final : public ForkParticipant {
 public:
  StateCondition();
  ~StateCondition() override;

  [[nodiscard]] std::condition_variable& native() noexcept { return condition_; }

  void afterForkInChild() noexcept override;

 private:
  std::condition_variable condition_;
};

/// Serialises file operations. A `StateMutex` may be acquired while it is held.
class TIDEWELL_CAPABILITY TIDEWELL_EXPORT WorkMutex final : public ForkParticipant {
 public:
  WorkMutex();
  ~WorkMutex() override;

  void lock() TIDEWELL_ACQUIRE() { inForce().lock(); }
  bool try_lock() TIDEWELL_TRY_ACQUIRE(true) { return inForce().try_lock(); }
  void unlock() TIDEWELL_RELEASE() { inForce().unlock(); }

  void afterForkInChild() noexcept override;

 private:
  // Pairs with the stores in Fork.cpp: the mutex is constructed.
  [[nodiscard]] std::mutex& inForce() noexcept { return *mutex_.load(std::memory_order_acquire); }
  std::atomic<std::mutex*> mutex_{nullptr};
  std::vector<std::unique_ptr<std::mutex>> mutexes_;  ///< earlier ones may be locked forever
};

}  // namespace tidewell::base
