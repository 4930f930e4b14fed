// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <signal.h>

namespace tidewell::base {

/// Blocks all signals on the calling thread during its lifetime. Threads started meanwhile inherit the mask,
/// so the host's signal handlers do not run on them.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() noexcept {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace tidewell::base
