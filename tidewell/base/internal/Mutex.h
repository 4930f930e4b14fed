// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

#include "tidewell/base/ThreadAnnotations.h"

namespace tidewell::base {

/// `std::mutex` with the annotations that Clang's analysis needs.
class TIDEWELL_CAPABILITY Mutex {
 public:
  void lock() TIDEWELL_ACQUIRE() { mutex_.lock(); }
  void unlock() TIDEWELL_RELEASE() { mutex_.unlock(); }
  /// For condition variables.
  [[nodiscard]] std::mutex& native() noexcept { return mutex_; }

 private:
  std::mutex mutex_;
};

/// Holds a lock of any kind for the lifetime of the object.
template <class Lockable>
class TIDEWELL_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Lockable& lockable) TIDEWELL_ACQUIRE(lockable) : lockable_(lockable) { lockable.lock(); }
  ~MutexLock() TIDEWELL_RELEASE() { lockable_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Lockable& lockable_;
};

/// Holds a lock that can be released and reacquired, and waits on condition variables.
template <class Lockable>
class TIDEWELL_SCOPED_CAPABILITY ReleasableMutexLock {
 public:
  explicit ReleasableMutexLock(Lockable& lockable) TIDEWELL_ACQUIRE(lockable) : lockable_(lockable) {
    lockable.lock();
  }
  ~ReleasableMutexLock() TIDEWELL_RELEASE() {
    if (isHeld_) lockable_.unlock();
  }
  ReleasableMutexLock(const ReleasableMutexLock&) = delete;
  ReleasableMutexLock& operator=(const ReleasableMutexLock&) = delete;

  void lock() TIDEWELL_ACQUIRE() {
    lockable_.lock();
    isHeld_ = true;
  }
  void unlock() TIDEWELL_RELEASE() {
    isHeld_ = false;
    lockable_.unlock();
  }

  /// Waits for a notification; may wake up spuriously.
  template <class Condition>
  void wait(Condition& condition) TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
    const Native native(lockable_);
    condition.wait(native.lock);
  }
  /// Waits until the predicate is true. The predicate is called with the lock held.
  template <class Condition, class Predicate>
  void wait(Condition& condition, Predicate isOver) TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
    const Native native(lockable_);
    condition.wait(native.lock, isOver);
  }
  /// The same with a deadline. Returns the predicate's last result.
  template <class Condition, class Time, class Predicate>
  bool waitUntil(Condition& condition, Time end, Predicate isOver) TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
    const Native native(lockable_);
    return condition.wait_until(native.lock, end, isOver);
  }

 private:
  /// The lock in the form that a condition variable takes. It stays held afterwards, also after an exception.
  struct Native {
    explicit Native(Lockable& lockable) : lock(lockable.native(), std::adopt_lock) {}
    ~Native() { lock.release(); }
    mutable std::unique_lock<std::mutex> lock;
  };

  Lockable& lockable_;
  bool isHeld_ = true;
};

}  // namespace tidewell::base
