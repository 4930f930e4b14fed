// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <system_error>

#include "tidewell/platform/FileManager.h"

namespace tidewell::posix {

/// Locks "PATH.lock", a separate file that is created if missing and never removed; a lock on a file that is
/// replaced would guard the old one. Waits at most `FileManager::kMaximumLockWaitSeconds`; after a time-out
/// no call waits until that lock has been free again. Released when its holder is destroyed or killed; not
/// inherited by the child of a fork. Any thread.
[[nodiscard]] platform::LockResult lockFile(const std::string& path);

/// Whether the error of a `LockResult` means that no process can lock the path: the file system has no locks,
/// or something else has the name of the lock file.
[[nodiscard]] bool cannotBeLocked(std::error_code error);

/// A report about a path that cannot be locked; "" for any other error, and if it was given for this path
/// before.
[[nodiscard]] std::string noticeOfMissingLock(const std::string& path, std::error_code error);

}  // namespace tidewell::posix
