#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/Container.h"

// Internal to the posix layer: not installed.
namespace tidewell::posix {

/// The file system. Relative paths are an error in every operation: nothing is ever left in the working
/// folder.
class PosixFileManager final : public platform::FileManager {
 public:
  explicit PosixFileManager(Container container);

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
  const Container container_;
};

}  // namespace tidewell::posix
