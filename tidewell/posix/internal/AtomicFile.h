#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include "tidewell/platform/FileManager.h"

// All functions may be called from any thread. Paths are absolute; a relative one is an error, so no file is
// ever sought or left in the working folder.
namespace tidewell::posix {

/// Whose files are read.
enum class FileOwner {
  any,   ///< the system's, the host's: links are followed
  user,  ///< the library's own: a link, another user's file and one that others may write are errors
};

/// The whole of a regular file of at most `bound` bytes. Never waits: a FIFO, a folder or a device is an
/// error.
[[nodiscard]] platform::FileContents readFile(const std::string& path, FileOwner owner, std::size_t bound);

/// No error for a file or folder that belongs to the effective user and that no other user may write.
[[nodiscard]] std::error_code checkOwner(const struct stat& record);

/// Replaces a file whole, mode 0600: written beside, flushed, renamed. Whatever stops it, the old file stays
/// and nothing is left beside it; what a killed process left is removed by the first write of another.
/// Anything but a regular file is not replaced, and nothing is written into a folder that fails `checkOwner`.
/// A write beyond RLIMIT_FSIZE is an error and raises no SIGXFSZ.
///
/// The folder is not flushed: that takes as long again, on the caller's thread. A power loss finds the new
/// content as soon as the file system has written the folder of its own accord (ext4: within 5 s), and the
/// old one until then.
[[nodiscard]] std::error_code replaceFile(const std::string& path, std::string_view contents);

/// Makes a folder (mode 0700) and those above it that are missing, up to but not including `existing`, a
/// folder that others have to make ("" for none). No error where it is there already.
[[nodiscard]] std::error_code makeFolders(const std::string& path, const std::string& existing);

/// The folder that holds a path.
[[nodiscard]] std::string folderOf(const std::string& path);

/// No error where the system can take the path: absolute, without NUL.
[[nodiscard]] std::error_code checkPath(std::string_view path);

/// Which content a path held at an instant; two equal ones hold the same.
class FileStamp {
 public:
  FileStamp() = default;
  /// Of what the path leads to now. One system call.
  [[nodiscard]] static FileStamp of(const std::string& path);
  /// Whether nothing was written since. A content younger than the file system's clock can tell apart is
  /// never the same as another.
  [[nodiscard]] bool isSameAs(const FileStamp& now) const noexcept;

 private:
  int error_ = -1;  ///< -1 for a stamp of nothing, which is the same as no other
  bool isSettled_ = true;
  struct stat record_ {};
};

}  // namespace tidewell::posix
