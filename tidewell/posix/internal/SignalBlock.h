#pragma once

#include <signal.h>

#include <initializer_list>

namespace tidewell::posix {

/// Keeps signals that a write may cause (SIGPIPE, SIGXFSZ) from the calling thread for as long as the object
/// lives, and takes away the one that was caused. The host's handlers are not run; its mask is as before
/// afterwards.
class SignalBlock {
 public:
  explicit SignalBlock(std::initializer_list<int> signals) {
    sigemptyset(&caused_);
    for (const int signal : signals) sigaddset(&caused_, signal);
    isActive_ = pthread_sigmask(SIG_BLOCK, &caused_, &before_) == 0;
    if (!isActive_) return;  // a sandbox may refuse it
    for (const int signal : signals) {
      // One can wait only where the host blocks the signal, too; it stays then.
      sigset_t pending;
      if (sigismember(&before_, signal) == 1 && sigpending(&pending) == 0 &&
          sigismember(&pending, signal) == 1) {
        sigdelset(&caused_, signal);
      }
    }
  }
  ~SignalBlock() {
    if (isActive_) pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

  /// After a write that failed with EPIPE or EFBIG.
  void consume() {
    const timespec none{};
    if (isActive_) sigtimedwait(&caused_, nullptr, &none);
  }

 private:
  sigset_t caused_;  ///< without those that waited before
  sigset_t before_;
  bool isActive_ = false;
};

}  // namespace tidewell::posix
