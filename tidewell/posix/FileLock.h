#pragma once

#include <string>
#include <system_error>

#include "tidewell/platform/FileManager.h"

// Internal to the posix layer: not installed.
namespace tidewell::posix {

/// Locks "PATH.lock", a file of its own that is made where it is missing and never removed: the lock of a
/// file that is replaced would guard the old one. Waits at most `FileManager::kMaximumLockWaitSeconds`. Ends
/// with its holder, with a kill too; the child of a fork does not hold it.
[[nodiscard]] platform::LockResult lockFile(const std::string& path);

/// Whether the error of a `LockResult` says that the file system knows no locks at all.
[[nodiscard]] bool hasNoLocks(std::error_code error);

}  // namespace tidewell::posix
