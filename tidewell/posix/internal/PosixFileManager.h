// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/internal/Container.h"

namespace tidewell::posix {

/// The file system. Relative paths are an error in every operation, so the working directory is never used. A
/// link as the last component is not followed; folders and files that belong to another user or are writable
/// by others are errors.
class PosixFileManager final : public platform::FileManager {
 public:
  /// Receives a message to report once the caller has released its locks.
  using ReportLater = std::function<void(std::string sentence)>;
  /// `announceLater` receives the reason, once, if the application's folder cannot be made.
  explicit PosixFileManager(Container container, ReportLater reportLater = nullptr,
                            ReportLater announceLater = nullptr);

  /// The folder of the application's container, created if missing.
  [[nodiscard]] std::optional<std::string> pathForDirectory(platform::SearchPathDirectory directory) override;
  [[nodiscard]] platform::FileExistence fileExistsAtPath(std::string_view path) override;
  std::error_code createDirectoryAtPath(std::string_view path) override;
  [[nodiscard]] platform::FileContents contentsOfFile(std::string_view path) override;
  std::error_code replaceFile(std::string_view path, std::string_view contents) override;
  std::error_code moveItem(std::string_view fromPath, std::string_view toPath) override;
  std::error_code removeItem(std::string_view path) override;
  [[nodiscard]] platform::DirectoryContents contentsOfDirectory(std::string_view path) override;
  [[nodiscard]] platform::LockResult lockForPath(std::string_view path) override;

 private:
  /// No error for a valid path in folders that may be used.
  [[nodiscard]] std::error_code check(const std::string& path) const;
  /// The reason why a path has no folder, if known; otherwise `error`.
  [[nodiscard]] std::error_code withReason(std::error_code error, const std::string& path) const;

  void announceMissing(const std::string& reason);

  const Container container_;
  const ReportLater reportLater_;
  const ReportLater announceLater_;
  std::atomic<bool> isAnnounced_ = false;
};

}  // namespace tidewell::posix
