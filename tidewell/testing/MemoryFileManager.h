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

/// Files in memory. Folders exist once made; `library` and `documents` exist from the start. Any thread.
///
/// The operations of `FileManager` behave as a disk does: parents must exist, a folder is no file. Those of
/// the test make the folders they need. A lock is held against every other taker, whichever thread asks: one
/// on the holder's own thread is refused at once, another waits up to `kMaximumLockWaitSeconds`, and none
/// waits again until a lock that was waited for in vain has been free.
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
  /// A file. A test may remove a folder, too, with all that is in it: `removeTree`.
  std::error_code removeItem(std::string_view path) override;
  [[nodiscard]] platform::DirectoryContents contentsOfDirectory(std::string_view path) override;
  [[nodiscard]] platform::LockResult lockForPath(std::string_view path) override;

  /// No value: a machine without a home. A path becomes a folder that exists.
  void setLibraryPath(std::optional<std::string> path);
  void setDocumentsPath(std::optional<std::string> path);
  /// No value if there is no file.
  [[nodiscard]] std::optional<std::string> contents(std::string_view path) const;
  void setContents(std::string_view path, std::string contents);
  /// A file, or a folder with all that is in it.
  void removeTree(std::string_view path);
  /// How often an operation was called.
  [[nodiscard]] std::size_t count(FileOperation operation) const;
  /// Lets the n-th call from now (1 is the next) of an operation fail with an error, `times` calls in a row;
  /// what was planned for the operation before is dropped. `exists` then answers that the item does not
  /// exist.
  void failCall(FileOperation operation, std::size_t n, std::error_code error, std::size_t times = 1);
  /// Called at the beginning of every operation, with no lock held: for what another process does meanwhile.
  /// What the hook itself calls is not hooked, counted or failed. A `move` shows the path it moves from.
  void setHook(std::function<void(FileOperation, const std::string& path)> hook);

 private:
  struct State;
  std::shared_ptr<State> state_;  ///< shared with the locks that are held
};

}  // namespace tidewell::testing
