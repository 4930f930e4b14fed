#pragma once

#include <mutex>

namespace tidewell::posix {

/// Held while libcurl works. A process may end while transfers run: OpenSSL then tears itself down on the
/// thread that called `exit`, and would pull its state from under the thread that transfers. So the first
/// thing that its teardown does is to take this lock for good; the transferring thread finishes the step it
/// is in and waits for the lock until the process is gone. Nobody is joined.
[[nodiscard]] std::timed_mutex& exitLock();

/// Ties the lock to OpenSSL's teardown. Call with the lock held, before libcurl is initialised; a second
/// call registers nothing. False if the teardown has begun already: the process is about to end, and OpenSSL
/// must not be touched any more.
[[nodiscard]] bool holdExitLockWhenOpenSslEnds();

}  // namespace tidewell::posix
