#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/internal/Container.h"

namespace tidewell::posix {

/// The file system. Relative paths are an error in every operation: nothing is ever left in the working
/// folder. Links are not followed where a path ends, and folders and files that are not the user's own, or
/// that others may write, are errors.
class PosixFileManager final : public platform::FileManager {
 public:
  /// Takes a sentence to report once the caller holds no lock any more.
  using ReportLater = std::function<void(std::string sentence)>;
  explicit PosixFileManager(Container container, ReportLater reportLater = nullptr);

  /// The folder of the application's container, made where it is missing.
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
  /// No error for a sound path in folders that may be used.
  [[nodiscard]] std::error_code check(const std::string& path) const;
  /// The reason why there is no folder for a path, where it is known; otherwise the error as it is.
  [[nodiscard]] std::error_code withReason(std::error_code error, const std::string& path) const;

  const Container container_;
  const ReportLater reportLater_;
};

}  // namespace tidewell::posix
