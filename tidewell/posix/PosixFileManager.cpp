#include "tidewell/posix/PosixFileManager.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "tidewell/posix/AtomicFile.h"
#include "tidewell/posix/Descriptor.h"
#include "tidewell/posix/FileLock.h"

namespace tidewell::posix {

PosixFileManager::PosixFileManager(Container container) : container_(std::move(container)) {}

std::optional<std::string> PosixFileManager::pathForDirectory(platform::SearchPathDirectory directory) {
  std::string path =
      directory == platform::SearchPathDirectory::library ? container_.library() : container_.documents();
  if (path.empty()) return std::nullopt;
  // Where that fails, so does what is done in the folder, and says why.
  static_cast<void>(container_.makeFolder(path));
  return path;
}

platform::FileExistence PosixFileManager::fileExistsAtPath(std::string_view path) {
  struct stat record {};
  if (checkPath(path) || stat(std::string(path).c_str(), &record) != 0) return {};
  return {true, S_ISDIR(record.st_mode)};
}

std::error_code PosixFileManager::createDirectoryAtPath(std::string_view path) {
  if (const auto failure = checkPath(path)) return failure;
  const std::string name(path);
  if (mkdir(name.c_str(), 0700) != 0) return lastError();
  chmod(name.c_str(), 0700);  // the mask of the host may have taken bits away
  return {};
}

platform::FileContents PosixFileManager::contentsOfFile(std::string_view path) {
  return readFile(std::string(path), kMaximumFileBytes);
}

std::error_code PosixFileManager::replaceFile(std::string_view path, std::string_view contents) {
  return posix::replaceFile(std::string(path), contents);
}

std::error_code PosixFileManager::moveItem(std::string_view fromPath, std::string_view toPath) {
  if (const auto failure = checkPath(fromPath)) return failure;
  if (const auto failure = checkPath(toPath)) return failure;
  return std::rename(std::string(fromPath).c_str(), std::string(toPath).c_str()) == 0 ? std::error_code()
                                                                                      : lastError();
}

std::unique_ptr<platform::FileLock> PosixFileManager::lockForPath(std::string_view path) {
  return lockFile(std::string(path)).lock;
}

}  // namespace tidewell::posix
