#include "tidewell/posix/PosixFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "tidewell/base/CancellationShield.h"
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

std::error_code PosixFileManager::removeItem(std::string_view path) {
  if (const auto failure = checkPath(path)) return failure;
  return unlink(std::string(path).c_str()) == 0 ? std::error_code() : lastError();
}

platform::DirectoryContents PosixFileManager::contentsOfDirectory(std::string_view path) {
  const base::CancellationShield shield;
  if (const auto failure = checkPath(path)) return {{}, failure};
  Descriptor folder(retrying(
      [&] { return open(std::string(path).c_str(), O_RDONLY | O_DIRECTORY | O_NOCTTY | O_CLOEXEC); }));
  if (!folder) return {{}, lastError()};
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(folder.number()), closedir);
  if (!entries) return {{}, lastError()};
  static_cast<void>(folder.release());  // the stream's own now
  platform::DirectoryContents result;
  errno = 0;
  while (const dirent* const entry = readdir(entries.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") result.names.emplace_back(name);
    errno = 0;
  }
  if (errno != 0) result.error = lastError();
  return result;
}

platform::LockResult PosixFileManager::lockForPath(std::string_view path) {
  return lockFile(std::string(path));
}

}  // namespace tidewell::posix
