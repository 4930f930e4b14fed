#pragma once

#include <sys/types.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

// Internal to the posix layer: not installed.
//
// A host may fork at any instant, on any thread. The child then has one thread; whatever another thread was
// doing is left half done. This layer stays usable there because each of its locks is one of two kinds:
// a `StateMutex` guards memory, is held for a moment only, and is taken by the forking thread before the
// fork, so that what it guards is whole in the child; a `WorkMutex` is held over file operations, guards no
// memory, and is made anew in the child.
namespace tidewell::posix {

/// Something that is put in order when the process forks. Derived classes are final, join at the end of their
/// constructor and leave at the beginning of their destructor. Never do either while holding a `StateMutex`.
class ForkParticipant {
 public:
  ForkParticipant(const ForkParticipant&) = delete;
  ForkParticipant& operator=(const ForkParticipant&) = delete;

  virtual void beforeFork() noexcept {}
  virtual void afterForkInParent() noexcept {}
  virtual void afterForkInChild() noexcept {}

 protected:
  ForkParticipant() = default;
  virtual ~ForkParticipant() = default;
  void join();
  void leave() noexcept;
};

/// Guards memory. Held for a moment, never while another lock of this layer is taken, never over foreign code
/// or a system call that can wait.
class StateMutex final : public ForkParticipant {
 public:
  StateMutex() { join(); }
  ~StateMutex() override { leave(); }

  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  /// For condition variables.
  [[nodiscard]] std::mutex& native() noexcept { return mutex_; }

  void beforeFork() noexcept override { mutex_.lock(); }
  void afterForkInParent() noexcept override { mutex_.unlock(); }
  void afterForkInChild() noexcept override { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Keeps two threads from doing the same file work at once. May be held while a `StateMutex` is taken.
class WorkMutex final : public ForkParticipant {
 public:
  WorkMutex();
  ~WorkMutex() override;

  void lock() { inForce().lock(); }
  bool try_lock() { return inForce().try_lock(); }
  void unlock() { inForce().unlock(); }

  void afterForkInChild() noexcept override;

 private:
  [[nodiscard]] std::mutex& inForce() noexcept { return *mutex_.load(std::memory_order_acquire); }
  std::atomic<std::mutex*> mutex_;
  std::vector<std::unique_ptr<std::mutex>> mutexes_;  ///< earlier ones may be locked for ever
};

/// Registers the handlers that run at a fork. Cheap when called again.
void prepareForForks();

/// `getpid()` without a system call.
[[nodiscard]] pid_t currentProcess() noexcept;

}  // namespace tidewell::posix
