// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixFileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/Descriptor.h"
#include "tidewell/posix/internal/FileLock.h"
#include "tidewell/posix/internal/FolderNames.h"

namespace tidewell::posix {

PosixFileManager::PosixFileManager(Container container, ReportLater reportLater, ReportLater announceLater)
    : container_(std::move(container)),
      reportLater_(std::move(reportLater)),
      announceLater_(std::move(announceLater)) {}

std::error_code PosixFileManager::check(const std::string& path) const {
  const auto failure = checkPath(path);
  return failure ? failure : container_.checkFolders(path);
}

std::error_code PosixFileManager::withReason(std::error_code error, const std::string& path) const {
  if (error != std::errc::no_such_file_or_directory) return error;
  for (const std::string& folder : {container_.library(), container_.documents()}) {
    if (folder.empty() || !path.starts_with(folder + '/')) continue;
    if (const auto reason = container_.makeFolder(folder)) return reason;
  }
  return error;
}

std::optional<std::string> PosixFileManager::pathForDirectory(platform::SearchPathDirectory directory) {
  std::string path =
      directory == platform::SearchPathDirectory::library ? container_.library() : container_.documents();
  if (path.empty()) {
    announceMissing("there is no home folder");
    return std::nullopt;
  }
  // If this fails, operations on the folder fail as well and return the reason.
  if (const auto failure = container_.makeFolder(path)) {
    announceMissing("the folder " + path + " cannot be used: " + failure.message());
  }
  return path;
}

void PosixFileManager::announceMissing(const std::string& reason) {
  if (!announceLater_ || isAnnounced_.exchange(true)) return;
  announceLater_("everything is kept in memory and lost at the end: " + reason);
}

platform::FileExistence PosixFileManager::fileExistsAtPath(std::string_view path) {
  struct stat record {};
  if (checkPath(path) || stat(std::string(path).c_str(), &record) != 0) return {};
  return {true, S_ISDIR(record.st_mode)};
}

std::error_code PosixFileManager::createDirectoryAtPath(std::string_view path) {
  const std::string name(path);
  if (const auto failure = check(name)) return failure;
  if (mkdir(name.c_str(), 0700) != 0) return withReason(lastError(), name);
  chmod(name.c_str(), 0700);  // the host's umask may have cleared bits
  return {};
}

platform::FileContents PosixFileManager::contentsOfFile(std::string_view path) {
  const std::string name(path);
  if (const auto failure = check(name)) return {{}, failure};
  return readFile(name, FileOwner::user, kMaximumFileBytes);
}

std::error_code PosixFileManager::replaceFile(std::string_view path, std::string_view contents) {
  const std::string name(path);
  if (const auto failure = check(name)) return failure;
  return withReason(posix::replaceFile(name, contents), name);
}

std::error_code PosixFileManager::moveItem(std::string_view fromPath, std::string_view toPath) {
  const std::string from(fromPath);
  const std::string to(toPath);
  if (const auto failure = check(from)) return failure;
  if (const auto failure = check(to)) return failure;
  return std::rename(from.c_str(), to.c_str()) == 0 ? std::error_code() : lastError();
}

std::error_code PosixFileManager::removeItem(std::string_view path) {
  const std::string name(path);
  if (const auto failure = check(name)) return failure;
  return unlink(name.c_str()) == 0 ? std::error_code() : lastError();
}

platform::DirectoryContents PosixFileManager::contentsOfDirectory(std::string_view path) {
  const base::CancellationShield shield;
  const std::string name(path);
  if (const auto failure = check(name)) return {{}, failure};
  Descriptor folder(
      retrying([&] { return open(name.c_str(), O_RDONLY | O_DIRECTORY | O_NOCTTY | O_CLOEXEC); }));
  if (!folder) return {{}, lastError()};
  platform::DirectoryContents result;
  result.error = forEachName(std::move(folder), [&](const char* each) { result.names.emplace_back(each); });
  return result;
}

platform::LockResult PosixFileManager::lockForPath(std::string_view path) {
  const std::string name(path);
  if (const auto failure = check(name)) return {nullptr, failure};
  platform::LockResult lock = lockFile(name);
  if (std::string notice = noticeOfMissingLock(name, lock.error); !notice.empty() && reportLater_) {
    reportLater_(std::move(notice));
  }
  return lock;
}

}  // namespace tidewell::posix
