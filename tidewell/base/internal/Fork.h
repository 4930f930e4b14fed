#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tidewell/base/Export.h"

//
// A host may fork at any instant, on any thread. The child then has one thread; whatever another thread was
// doing is left half done. The library stays usable there because its locks are of two kinds: a `StateMutex`
// guards memory, is held for a moment only, and is taken by the forking thread before the fork, so that what
// it guards is whole in the child; a `WorkMutex` is held over file operations, guards next to no memory, and
// is made anew in the child. The platform says when the process forks: nothing happens where it does not.
namespace tidewell::base {

/// Something that is put in order when the process forks. Derived classes are final, join at the end of their
/// constructor and leave at the beginning of their destructor. Never do either while holding a `StateMutex`.
///
/// One that lives as long as the process is made by `madeOnce`, or when the library is loaded
/// (`MadeWhenLoaded`): a thread that makes a function-local static at the instant of a fork waits in `join`,
/// and leaves it half made in the child.
///
/// The handlers run with every `StateMutex` locked: they must not destroy foreign objects.
class TIDEWELL_EXPORT ForkParticipant {
 public:
  ForkParticipant(const ForkParticipant&) = delete;
  ForkParticipant& operator=(const ForkParticipant&) = delete;

  virtual void beforeFork() noexcept {}
  virtual void afterForkInParent() noexcept {}
  virtual void afterForkInChild() noexcept {}

  /// To be called by the platform at a fork: all of the above, for each participant.
  static void allBeforeFork() noexcept;
  static void allAfterForkInParent() noexcept;
  static void allAfterForkInChild() noexcept;

 protected:
  explicit ForkParticipant(int level = 0) : level_(level) {}
  virtual ~ForkParticipant();
  void join();
  void leave() noexcept;

 private:
  const int level_;  ///< lower ones first
};

/// Guards memory. Held for a moment, never over foreign code or a system call that can wait, and while it is
/// held only one of a higher level is taken.
class TIDEWELL_EXPORT StateMutex final : public ForkParticipant {
 public:
  static constexpr int kInnermost = 100;
  static constexpr int kOtherLibrary = 200;  ///< held over calls of a library that takes locks of its own
  explicit StateMutex(int level = kInnermost);
  ~StateMutex() override;

  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  /// For condition variables.
  [[nodiscard]] std::mutex& native() noexcept { return mutex_; }

  void beforeFork() noexcept override;
  void afterForkInParent() noexcept override;
  void afterForkInChild() noexcept override;

 private:
  std::mutex mutex_;
};

/// A `StateMutex` that its holder may lock again.
class RecursiveStateMutex {
 public:
  explicit RecursiveStateMutex(int level = StateMutex::kInnermost) : mutex_(level) {}

  void lock() {
    const std::thread::id self = std::this_thread::get_id();
    if (owner_.load(std::memory_order_relaxed) != self) {
      mutex_.lock();
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }
  void unlock() {
    if (--depth_ > 0) return;
    owner_.store({}, std::memory_order_relaxed);
    mutex_.unlock();
  }

 private:
  StateMutex mutex_;
  std::atomic<std::thread::id> owner_{};
  int depth_ = 0;  ///< under the mutex
};

/// A condition variable to be used with a `StateMutex`. The child of a fork begins with a new one: the
/// parent's waiting threads, which are not in the child, would keep it from working there.
class TIDEWELL_EXPORT StateCondition final : public ForkParticipant {
 public:
  StateCondition();
  ~StateCondition() override;

  [[nodiscard]] std::condition_variable& native() noexcept { return condition_; }

  void afterForkInChild() noexcept override;

 private:
  std::condition_variable condition_;
};

/// Keeps two threads from doing the same file work at once. May be held while a `StateMutex` is taken.
class TIDEWELL_EXPORT WorkMutex final : public ForkParticipant {
 public:
  WorkMutex();
  ~WorkMutex() override;

  void lock() { inForce().lock(); }
  bool try_lock() { return inForce().try_lock(); }
  void unlock() { inForce().unlock(); }

  void afterForkInChild() noexcept override;

 private:
  [[nodiscard]] std::mutex& inForce() noexcept { return *mutex_.load(std::memory_order_acquire); }
  std::atomic<std::mutex*> mutex_{nullptr};
  std::vector<std::unique_ptr<std::mutex>> mutexes_;  ///< earlier ones may be locked for ever
};

}  // namespace tidewell::base
