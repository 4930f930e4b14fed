// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/AtomicFile.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/posix/internal/Descriptor.h"
#include "tidewell/posix/internal/FileFault.h"
#include "tidewell/posix/internal/FolderNames.h"
#include "tidewell/posix/internal/Fork.h"
#include "tidewell/posix/internal/SignalBlock.h"

namespace tidewell::posix {
namespace {

constexpr std::string_view kTemporaryPrefix = ".tdw-";
constexpr std::string_view kTemporarySuffix = ".tmp";
/// No write takes this long: an older file was left behind, even if its process number is in use again.
constexpr std::time_t kLongestWriteSeconds = 3600;
constexpr int kMaximumNamesTried = 10'000;
/// Coarser than the time stamps of any file system.
constexpr std::int64_t kClockStepNanoseconds = 20'000'000;

std::error_code error(std::errc code) { return std::make_error_code(code); }

std::error_code errorForKind(mode_t mode) {
  if (S_ISREG(mode)) return {};
  if (S_ISLNK(mode)) return FileFault::isALink;
  return error(S_ISDIR(mode) ? std::errc::is_a_directory : std::errc::operation_not_supported);
}

/// A unique name in a folder that encodes the owner's PID: ".tdw-PROCESS-NUMBER.tmp".
std::string temporaryName() {
  constinit static std::atomic<unsigned> number{0};
  return std::string(kTemporaryPrefix) + std::to_string(currentProcess()) + "-" +
         std::to_string(number.fetch_add(1, std::memory_order_relaxed)) + std::string(kTemporarySuffix);
}

/// The PID that created a temporary file; no value for any other name.
std::optional<pid_t> makerOfTemporary(std::string_view name) {
  if (!name.starts_with(kTemporaryPrefix) || !name.ends_with(kTemporarySuffix)) return std::nullopt;
  pid_t maker = 0;
  const auto* const begin = name.data() + kTemporaryPrefix.size();
  const auto [end, failure] = std::from_chars(begin, name.data() + name.size(), maker);
  if (failure != std::errc() || *end != '-' || maker <= 0) return std::nullopt;
  return maker;
}

/// Whether the process that created a temporary file is gone. One in another container seems gone, too; it
/// finds its file missing and writes it again.
bool isLeftBehind(int folder, const char* name, pid_t maker) {
  if (maker == currentProcess() || (kill(maker, 0) == -1 && errno == ESRCH)) return true;
  struct stat record {};
  return fstatat(folder, name, &record, AT_SYMLINK_NOFOLLOW) == 0 &&
         record.st_mtime + kLongestWriteSeconds < std::time(nullptr);
}

void removeLeftBehind(int folder) {
  Descriptor again(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!again) return;
  static_cast<void>(forEachName(std::move(again), [folder](const char* name) {
    const auto maker = makerOfTemporary(name);
    if (maker && isLeftBehind(folder, name, *maker)) unlinkat(folder, name, 0);
  }));
}

/// The folders in which this process has removed temporary files left behind by others.
struct CleanedFolders {
  using Folder = std::pair<dev_t, ino_t>;
  WorkMutex cleaning;
  StateMutex mutex;
  std::set<Folder> folders TIDEWELL_GUARDED_BY(mutex);

  [[nodiscard]] bool has(const Folder& folder) {
    const base::MutexLock lock(mutex);
    return folders.contains(folder);
  }
  void add(const Folder& folder) {
    const base::MutexLock lock(mutex);
    folders.insert(folder);
  }
};

void removeLeftBehindOnce(int folder, const struct stat& record) {
  static constinit std::atomic<CleanedFolders*> made{nullptr};
  CleanedFolders& cleaned = base::madeOnce(made);
  const CleanedFolders::Folder key(record.st_dev, record.st_ino);
  if (cleaned.has(key)) return;
  // No thread of this process writes to the folder before it is clean, so files with this process's PID
  // belong to an earlier process.
  const base::MutexLock lock(cleaned.cleaning);
  if (cleaned.has(key)) return;
  removeLeftBehind(folder);
  cleaned.add(key);
}

std::error_code writeAll(int descriptor, std::string_view contents) {
  SignalBlock block{SIGXFSZ};
  while (!contents.empty()) {
    const ssize_t written = retrying([&] { return write(descriptor, contents.data(), contents.size()); });
    if (written < 0) {
      const auto failure = lastError();
      if (failure == std::errc::file_too_large) block.consume();
      return failure;
    }
    if (written == 0) return error(std::errc::no_space_on_device);
    contents.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

/// A file system that cannot flush is not a failure; any other error is.
std::error_code flush(int descriptor) {
  if (retrying([&] { return fsync(descriptor); }) == 0) return {};
  return errno == EINVAL || errno == ENOTSUP || errno == ENOSYS ? std::error_code() : lastError();
}

/// Writes the new contents under a temporary name.
std::error_code writeBeside(int folder, std::string_view contents, std::string& name) {
  Descriptor file;
  for (int tries = 0; !file; ++tries) {
    name = temporaryName();
    file = Descriptor(retrying([&] {
      return openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    }));
    if (!file && (errno != EEXIST || tries == kMaximumNamesTried)) return lastError();
  }
  std::error_code failure;
  // The host's umask may have cleared bits.
  if (fchmod(file.number(), 0600) != 0 && errno != EPERM) failure = lastError();
  if (!failure) failure = writeAll(file.number(), contents);
  if (!failure) failure = flush(file.number());
  if (file.close() != 0 && !failure && errno != EINTR) failure = lastError();
  if (failure) unlinkat(folder, name.c_str(), 0);
  return failure;
}

std::error_code replaceIn(int folder, const std::string& name, std::string_view contents) {
  std::string temporary;
  if (const auto failure = writeBeside(folder, contents, temporary)) return failure;
  if (renameat(folder, temporary.c_str(), folder, name.c_str()) == 0) return {};
  const auto failure = lastError();
  unlinkat(folder, temporary.c_str(), 0);
  return failure;
}

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

/// When the contents changed and when the record changed. macOS has other names for the members.
template <class Stat>
std::pair<std::int64_t, std::int64_t> timesOf(const Stat& record) {
  if constexpr (requires { record.st_mtim; }) {
    return {nanoseconds(record.st_mtim), nanoseconds(record.st_ctim)};
  } else {
    return {nanoseconds(record.st_mtimespec), nanoseconds(record.st_ctimespec)};
  }
}

}  // namespace

std::error_code checkPath(std::string_view path) {
  const bool isSound = path.starts_with('/') && path.find('\0') == std::string_view::npos;
  return isSound ? std::error_code() : error(std::errc::invalid_argument);
}

std::string folderOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::error_code checkOwner(const struct stat& record, uid_t user) {
  if (record.st_uid != user) return FileFault::ofAnotherUser;
  return (record.st_mode & (S_IWGRP | S_IWOTH)) != 0 ? FileFault::writableByOthers : std::error_code();
}

platform::FileContents readFile(const std::string& path, FileOwner owner, std::size_t bound) {
  const base::CancellationShield shield;
  if (const auto failure = checkPath(path)) return {{}, failure};
  const bool isOwn = owner == FileOwner::user;
  // Without O_NONBLOCK, opening a FIFO waits for a writer.
  const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (isOwn ? O_NOFOLLOW : 0);
  const Descriptor file(retrying([&] { return open(path.c_str(), flags); }));
  if (!file) return {{}, isOwn && errno == ELOOP ? FileFault::isALink : lastError()};
  struct stat record {};
  if (fstat(file.number(), &record) != 0) return {{}, lastError()};
  if (const auto failure = errorForKind(record.st_mode)) return {{}, failure};
  if (const auto failure = isOwn ? checkOwner(record) : std::error_code()) return {{}, failure};
  if (static_cast<std::uintmax_t>(record.st_size) > bound) return {{}, error(std::errc::file_too_large)};
  // One extra byte detects the end with the first read; reading continues if the file has grown.
  platform::FileContents result;
  std::size_t length = 0;
  result.contents.resize(static_cast<std::size_t>(record.st_size) + 1);
  for (;;) {
    const ssize_t got = retrying([&] {
      return read(file.number(), result.contents.data() + length, result.contents.size() - length);
    });
    if (got < 0) return {{}, lastError()};
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
    if (length > bound) return {{}, error(std::errc::file_too_large)};
    if (length == result.contents.size()) result.contents.resize(std::min(length * 2, bound + 1));
  }
  result.contents.resize(length);
  return result;
}

std::error_code replaceFile(const std::string& path, std::string_view contents) {
  const base::CancellationShield shield;
  if (const auto failure = checkPath(path)) return failure;
  const std::string folderPath = folderOf(path);
  const std::string name = path.substr(path.find_last_of('/') + 1);
  if (name.empty()) return error(std::errc::is_a_directory);
  const Descriptor folder(
      retrying([&] { return open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!folder) return lastError();
  struct stat ofFolder {
  }, ofFile{};
  if (fstat(folder.number(), &ofFolder) != 0) return lastError();
  if (const auto failure = checkOwner(ofFolder)) return failure;
  if (fstatat(folder.number(), name.c_str(), &ofFile, AT_SYMLINK_NOFOLLOW) == 0) {
    if (const auto failure = errorForKind(ofFile.st_mode)) return failure;
  }
  removeLeftBehindOnce(folder.number(), ofFolder);
  const auto failure = replaceIn(folder.number(), name, contents);
  // Another process may have removed the temporary file as left behind: retry once.
  return failure == std::errc::no_such_file_or_directory ? replaceIn(folder.number(), name, contents)
                                                         : failure;
}

std::error_code makeFolders(const std::string& path, const std::string& existing) {
  if (const auto failure = checkPath(path)) return failure;
  if (path == existing || path == "/") {
    return access(path.c_str(), F_OK) == 0 ? std::error_code() : lastError();
  }
  if (mkdir(path.c_str(), 0700) == 0) {
    chmod(path.c_str(), 0700);  // the host's umask may have cleared bits
    return {};
  }
  if (errno == EEXIST) {
    struct stat record {};
    if (stat(path.c_str(), &record) != 0) return lastError();
    return S_ISDIR(record.st_mode) ? std::error_code() : error(std::errc::not_a_directory);
  }
  if (errno != ENOENT) return lastError();
  if (const auto failure = makeFolders(folderOf(path), existing)) return failure;
  if (mkdir(path.c_str(), 0700) == 0) {
    chmod(path.c_str(), 0700);
    return {};
  }
  return errno == EEXIST ? std::error_code() : lastError();
}

FileStamp FileStamp::of(const std::string& path) {
  FileStamp stamp;
  stamp.error_ = stat(path.c_str(), &stamp.record_) == 0 ? 0 : errno;
  if (stamp.error_ != 0) return stamp;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  stamp.isSettled_ = std::abs(nanoseconds(now) - timesOf(stamp.record_).second) > kClockStepNanoseconds;
  return stamp;
}

bool FileStamp::isSameAs(const FileStamp& now) const noexcept {
  if (error_ != now.error_ || error_ < 0 || !isSettled_) return false;
  if (error_ != 0) return true;
  const auto& a = record_;
  const auto& b = now.record_;
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size && timesOf(a) == timesOf(b);
}

}  // namespace tidewell::posix
