// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

namespace tidewell::posix {

/// Held while libcurl runs. A process may exit while transfers run: OpenSSL then cleans up on the thread that
/// called `exit` and would destroy state that the transferring thread uses. So OpenSSL's cleanup first
/// acquires this lock for good; the transferring thread completes its current step and then waits for the
/// lock until the process is gone. No thread is joined.
[[nodiscard]] std::timed_mutex& exitLock();

/// Registers the lock with OpenSSL's cleanup. Call with the lock held, before libcurl is initialised; further
/// calls register nothing. Returns false if the cleanup has begun: the process is exiting, and OpenSSL must
/// not be used any more.
[[nodiscard]] bool holdExitLockWhenOpenSslEnds();

}  // namespace tidewell::posix
