// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "tidewell/base/Export.h"
#include "tidewell/platform/FileManager.h"

namespace tidewell::testing {

enum class FileOperation { exists, createDirectory, read, replace, move, remove, list, lock };

/// Files in memory. `library` and `documents` exist from the start. Any thread.
///
/// The operations of `FileManager` behave like a disk: parent folders must exist, and a folder is not a file.
/// The additional operations for tests create missing folders. A lock excludes every other caller on any
/// thread: a second one on the holder's thread fails at once, one on another thread waits up to
/// `kMaximumLockWaitSeconds`, and after a time-out none waits until that lock has been free.
class TIDEWELL_EXPORT MemoryFileManager final : public platform::FileManager {
 public:
  MemoryFileManager();
  ~MemoryFileManager() override;
  [[nodiscard]] std::optional<std::string> pathForDirectory(platform::SearchPathDirectory directory) override;
  [[nodiscard]] platform::FileExistence fileExistsAtPath(std::string_view path) override;
  std::error_code createDirectoryAtPath(std::string_view path) override;
  [[nodiscard]] platform::FileContents contentsOfFile(std::string_view path) override;
  std::error_code replaceFile(std::string_view path, std::string_view contents) override;
  std::error_code moveItem(std::string_view fromPath, std::string_view toPath) override;
  /// Removes a file. To remove a folder with its contents, tests use `removeTree`.
  std::error_code removeItem(std::string_view path) override;
  [[nodiscard]] platform::DirectoryContents contentsOfDirectory(std::string_view path) override;
  [[nodiscard]] platform::LockResult lockForPath(std::string_view path) override;

  /// No value simulates a missing home directory. The folder is created.
  void setLibraryPath(std::optional<std::string> path);
  void setDocumentsPath(std::optional<std::string> path);
  /// No value if there is no file.
  [[nodiscard]] std::optional<std::string> contents(std::string_view path) const;
  void setContents(std::string_view path, std::string contents);
  /// Removes a file, or a folder with its contents.
  void removeTree(std::string_view path);
  /// The number of calls of an operation.
  [[nodiscard]] std::size_t count(FileOperation operation) const;
  /// Makes `times` calls of an operation fail with an error, beginning with the n-th from now (1 is the
  /// next); replaces earlier plans for the operation. A failing `exists` returns that the item does not
  /// exist.
  void failCall(FileOperation operation, std::size_t n, std::error_code error, std::size_t times = 1);
  /// Called at the start of every operation, with no lock held, to simulate other processes. Calls made by
  /// the hook itself are not hooked, counted or failed. For `move`, `path` is the source.
  void setHook(std::function<void(FileOperation, const std::string& path)> hook);

 private:
  struct State;
  std::shared_ptr<State> state_;  ///< shared with locks that are held
};

}  // namespace tidewell::testing
