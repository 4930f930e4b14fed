// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/Fork.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace tidewell::posix {
namespace {

constinit std::atomic<pid_t> process{0};

void afterForkInChild() {
  process.store(getpid(), std::memory_order_relaxed);
  ForkParticipant::allAfterForkInChild();
}

}  // namespace

void prepareForForks() {
  static const bool once = [] {
    process.store(getpid(), std::memory_order_relaxed);
    pthread_atfork([] { ForkParticipant::allBeforeFork(); }, [] { ForkParticipant::allAfterForkInParent(); },
                   afterForkInChild);
    return true;
  }();
  static_cast<void>(once);
}

pid_t currentProcess() noexcept {
  const pid_t known = process.load(std::memory_order_relaxed);
  return known != 0 ? known : getpid();
}

}  // namespace tidewell::posix
