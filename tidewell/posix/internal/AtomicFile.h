// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include "tidewell/platform/FileManager.h"

// Any thread may call these functions. Paths must be absolute; a relative one is an error, so the working
// directory is never used.
namespace tidewell::posix {

/// Whose files may be read.
enum class FileOwner {
  any,   ///< files of the system or the host: links are followed
  user,  ///< the library's own files: a link, another user's file, or one writable by others is an error
};

/// Reads an entire regular file of at most `bound` bytes. Never blocks: a FIFO, a folder or a device is an
/// error.
[[nodiscard]] platform::FileContents readFile(const std::string& path, FileOwner owner, std::size_t bound);

/// No error if the user owns the file or folder and no other user may write to it.
[[nodiscard]] std::error_code checkOwner(const struct stat& record, uid_t user = geteuid());

/// Replaces a file atomically, with mode 0600: writes a temporary file beside it, flushes it and renames it.
/// On failure the old file stays and the temporary file is removed; a process's first write to a folder
/// removes those left there by killed processes. Replaces regular files only, and writes only to folders that
/// pass `checkOwner`. Exceeding RLIMIT_FSIZE is an error and raises no SIGXFSZ.
///
/// The folder is not flushed, which would double the time on the caller's thread. After a power loss the new
/// contents are present if the file system has written the folder by itself (ext4: within 5 s), otherwise the
/// old contents.
[[nodiscard]] std::error_code replaceFile(const std::string& path, std::string_view contents);

/// Creates a folder and its missing parents with mode 0700. `existing` and the folders above it are never
/// created ("" for none). No error if the folder exists already.
[[nodiscard]] std::error_code makeFolders(const std::string& path, const std::string& existing);

/// The folder that contains a path.
[[nodiscard]] std::string folderOf(const std::string& path);

/// No error if the path is usable: absolute and without NUL.
[[nodiscard]] std::error_code checkPath(std::string_view path);

/// Identifies the contents of a path at one moment.
class FileStamp {
 public:
  FileStamp() = default;
  /// Stamps the current target of the path. One system call.
  [[nodiscard]] static FileStamp of(const std::string& path);
  /// Whether the contents are certainly unchanged. Contents younger than the resolution of the file system's
  /// clock never count as unchanged.
  [[nodiscard]] bool isSameAs(const FileStamp& now) const noexcept;

 private:
  int error_ = -1;  ///< -1 for an empty stamp, which equals no other
  bool isSettled_ = true;
  struct stat record_ {};
};

}  // namespace tidewell::posix
