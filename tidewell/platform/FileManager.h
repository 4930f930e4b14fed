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
/// Whether something lies at a path, and whether that is a folder.
struct FileExistence {
  bool exists = false;
  bool isDirectory = false;
};

/// What a read found. `error` is empty where `contents` holds the bytes, and `no_such_file_or_directory`
/// where there is no file; any other error is not "no file": the file may hold what must not be overwritten.
struct FileContents {
  std::string contents;
  std::error_code error;
};

/// The names in a folder, without the folder's path, in no order.
struct DirectoryContents {
  std::vector<std::string> names;
  std::error_code error;
};

/// A lock on a file that other processes respect, released by its destruction.
class TIDEWELL_EXPORT FileLock {
 public:
  virtual ~FileLock();
};

/// The result of asking for a lock.
struct LockResult {
  std::unique_ptr<FileLock> lock;
  /// Empty with a lock. `timed_out` where another holds it: the file must not be written now. Any other error
  /// means that it cannot be had at all (a file system without locks, say): the caller goes on without.
  std::error_code error;

  [[nodiscard]] bool isHeldByAnother() const noexcept { return error == std::errc::timed_out; }
};

/// Files of the application's container. Any thread; errors are returned, never raised. Paths are bytes and
/// may hold anything but NUL.
class TIDEWELL_EXPORT FileManager {
 public:
  /// Larger files are not read: `file_too_large`.
  static constexpr std::size_t kMaximumFileBytes = 64u << 20;

  virtual ~FileManager();
  /// The first directory of its kind in the user's domain; nothing where the machine knows none (no home).
  [[nodiscard]] virtual std::optional<std::string> pathForDirectory(SearchPathDirectory directory) = 0;
  [[nodiscard]] virtual FileExistence fileExistsAtPath(std::string_view path) = 0;
  /// Without intermediate directories, mode 0700.
  virtual std::error_code createDirectoryAtPath(std::string_view path) = 0;
  /// Regular files only: a folder, a FIFO, a device are an error and are never waited for.
  [[nodiscard]] virtual FileContents contentsOfFile(std::string_view path) = 0;
  /// Replaces the file whole (written beside, flushed, renamed; mode 0600): after a kill or a power loss
  /// there is the old content or the new one.
  virtual std::error_code replaceFile(std::string_view path, std::string_view contents) = 0;
  /// Renames a file or a folder with all that is in it. A file at `toPath` is replaced.
  virtual std::error_code moveItem(std::string_view fromPath, std::string_view toPath) = 0;
  /// Removes a file. A folder is an error.
  virtual std::error_code removeItem(std::string_view path) = 0;
  [[nodiscard]] virtual DirectoryContents contentsOfDirectory(std::string_view path) = 0;
  /// Asks for the lock that goes with a path ("PATH.lock" beside it) and waits for it, at most
  /// `kMaximumLockWaitSeconds`. After a wait in vain the next calls of this process do not wait, whatever
  /// their path, until the lock that was waited for has been free again: a process that is stopped while it
  /// holds a lock costs its neighbours one wait.
  [[nodiscard]] virtual LockResult lockForPath(std::string_view path) = 0;
  static constexpr double kMaximumLockWaitSeconds = 2.0;
};

/// "directory/component", with exactly one separator. An empty path gives the component as it is, an empty
/// component the path.
[[nodiscard]] TIDEWELL_EXPORT std::string stringByAppendingPathComponent(std::string_view path,
                                                                         std::string_view component);

}  // namespace tidewell::platform
