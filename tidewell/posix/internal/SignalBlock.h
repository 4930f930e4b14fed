// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include <initializer_list>

namespace tidewell::posix {

/// Blocks signals that a write may raise (SIGPIPE, SIGXFSZ) on the calling thread during its lifetime;
/// `consume` discards one. The host's handlers do not run, and its signal mask is restored afterwards.
class SignalBlock {
 public:
  explicit SignalBlock(std::initializer_list<int> signals) {
    sigemptyset(&caused_);
    for (const int signal : signals) sigaddset(&caused_, signal);
    isActive_ = pthread_sigmask(SIG_BLOCK, &caused_, &before_) == 0;
    if (!isActive_) return;  // a sandbox may refuse the call
    for (const int signal : signals) {
      // A signal can only be pending here if the host blocks it, too; such a signal must stay pending.
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

  /// Call after a write that failed with EPIPE or EFBIG.
  void consume() {
    const timespec none{};
    if (isActive_) sigtimedwait(&caused_, nullptr, &none);
  }

 private:
  sigset_t caused_;  ///< without signals that were pending before
  sigset_t before_;
  bool isActive_ = false;
};

}  // namespace tidewell::posix
