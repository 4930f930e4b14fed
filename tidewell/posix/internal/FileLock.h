#pragma once

#include <string>
#include <system_error>

#include "tidewell/platform/FileManager.h"

namespace tidewell::posix {

/// Locks "PATH.lock", a file of its own that is made where it is missing and never removed: the lock of a
/// file that is replaced would guard the old one. Waits at most `FileManager::kMaximumLockWaitSeconds`, and
/// not at all after a wait in vain, until the lock waited for then is free again. Ends with its holder, with
/// a kill too; the child of a fork does not hold it. Any thread.
[[nodiscard]] platform::LockResult lockFile(const std::string& path);

/// Whether the error of a `LockResult` says that no process can lock the path: the file system has no locks,
/// or something else lies in place of the lock file.
[[nodiscard]] bool cannotBeLocked(std::error_code error);

/// A sentence to report about a path that cannot be locked; "" for any other error, and when it was given for
/// the path before.
[[nodiscard]] std::string noticeOfMissingLock(const std::string& path, std::error_code error);

}  // namespace tidewell::posix
