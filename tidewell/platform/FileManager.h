// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

enum class SearchPathDirectory { library, document };

/// Whether a path exists, and whether it is a folder.
struct FileExistence {
  bool exists = false;
  bool isDirectory = false;
};

/// The result of reading a file. `error` is empty on success and `no_such_file_or_directory` if there is no
/// file. After any other error the file may exist and hold data that must not be overwritten.
struct FileContents {
  std::string contents;
  std::error_code error;
};

/// The names in a folder, without its path, in no particular order.
struct DirectoryContents {
  std::vector<std::string> names;
  std::error_code error;
};

/// A file lock that other processes respect. Released on destruction.
class TIDEWELL_EXPORT FileLock {
 public:
  virtual ~FileLock();
};

/// The result of acquiring a lock.
struct LockResult {
  std::unique_ptr<FileLock> lock;
  /// Empty on success. `timed_out` if another process holds the lock: the file must not be written now. Any
  /// other error means that locking is impossible (for example, a file system without locks): the caller
  /// proceeds without a lock.
  std::error_code error;

  [[nodiscard]] bool isHeldByAnother() const noexcept { return error == std::errc::timed_out; }
};

/// The files in the application's container. Any thread; errors are returned, never raised. Paths are byte
/// strings without NUL.
class TIDEWELL_EXPORT FileManager {
 public:
  /// Reading a larger file fails with `file_too_large`.
  static constexpr std::size_t kMaximumFileBytes = 64u << 20;

  virtual ~FileManager();
  /// The first directory of that kind in the user's domain; no value if there is none (no home directory).
  [[nodiscard]] virtual std::optional<std::string> pathForDirectory(SearchPathDirectory directory) = 0;
  [[nodiscard]] virtual FileExistence fileExistsAtPath(std::string_view path) = 0;
  /// Creates one directory with mode 0700, without intermediate ones.
  virtual std::error_code createDirectoryAtPath(std::string_view path) = 0;
  /// Reads a regular file. A folder, FIFO or device is an error, and never blocks.
  [[nodiscard]] virtual FileContents contentsOfFile(std::string_view path) = 0;
  /// Replaces a file atomically (written to a temporary file, flushed, renamed; mode 0600): after a kill or a
  /// power loss it has either the old or the new contents.
  virtual std::error_code replaceFile(std::string_view path, std::string_view contents) = 0;
  /// Renames a file, or a folder with its contents. Replaces a file at `toPath`.
  virtual std::error_code moveItem(std::string_view fromPath, std::string_view toPath) = 0;
  /// Removes a file. Fails for a folder.
  virtual std::error_code removeItem(std::string_view path) = 0;
  [[nodiscard]] virtual DirectoryContents contentsOfDirectory(std::string_view path) = 0;
  /// Acquires the lock file of a path ("PATH.lock" beside it), waiting at most `kMaximumLockWaitSeconds`.
  /// After a time-out, this process does not wait for any lock until the contended one has been released, so
  /// that a process stopped while holding a lock delays others only once.
  [[nodiscard]] virtual LockResult lockForPath(std::string_view path) = 0;
  static constexpr double kMaximumLockWaitSeconds = 2.0;
};

/// "directory/component", with exactly one separator. If one of them is empty, the other is returned
/// unchanged.
[[nodiscard]] TIDEWELL_EXPORT std::string stringByAppendingPathComponent(std::string_view path,
                                                                         std::string_view component);

}  // namespace tidewell::platform
