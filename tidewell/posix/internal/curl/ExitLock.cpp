// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/ExitLock.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::posix {
namespace {

/// A step of libcurl takes milliseconds; an exiting process waits at most this long for one.
constexpr std::chrono::seconds kLongestWait{2};

pid_t exitLockOwner = 0;

void holdExitLock() {
  if (getpid() != exitLockOwner)
    return;  // the child of a fork: the thread that may hold the lock does not exist here
  static_cast<void>(exitLock().try_lock_for(kLongestWait));
}

}  // namespace

std::timed_mutex& exitLock() {
  static base::NeverDestroyed<std::timed_mutex> lock;
  return *lock;
}

bool holdExitLockWhenOpenSslEnds() {
  exitLockOwner = getpid();
  constinit static bool isRegistered = false;  // guarded by the exit lock
  if (!isRegistered) isRegistered = OPENSSL_atexit(holdExitLock) == 1;
  if (!isRegistered) return false;
  // Either the cleanup sees the handler, or this detects that the cleanup has begun.
  std::atomic_thread_fence(std::memory_order_seq_cst);
  return OPENSSL_init_crypto(0, nullptr) == 1;
}

}  // namespace tidewell::posix
