#pragma once

#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tidewell/platform/FileManager.h"

namespace tidewell::platform {

/// Changes to a file that wait beside it because another process holds its lock.
///
/// Each is a file of its own ("PATH.change-TIME-NUMBER"), written once under a name that is never used again
/// and never changed: whoever holds the lock of PATH next merges it into PATH and removes just the names that
/// it has read, so nothing that is kept meanwhile can get lost. Names sort in the order in which the changes
/// were kept. Any thread; errors are returned.
class TIDEWELL_EXPORT PendingChanges {
 public:
  /// More than this many are not read at once; the rest waits for the next holder of the lock.
  static constexpr std::size_t kMaximumRead = 256;
  /// Larger ones are left alone: none that this library writes is.
  static constexpr std::size_t kMaximumBytes = 1u << 20;

  /// `files` must outlive the object.
  PendingChanges(FileManager& files, std::string path);

  struct Change {
    std::string path;
    std::string contents;
  };

  /// Keeps a change; `keptAs` receives the path of its file. Needs no lock. A process that keeps a change
  /// which includes all that an earlier one of its own said may remove the earlier file afterwards.
  [[nodiscard]] std::error_code keep(std::string_view contents, std::string* keptAs = nullptr);
  /// What waits now, the oldest first. One that cannot be read is left out. Needs no lock. `failure`, where
  /// it is given, tells why the folder could not be listed; a missing folder is not a failure.
  [[nodiscard]] std::vector<Change> read(std::error_code* failure = nullptr) const;
  /// Removes changes that were merged into the file, with its lock held, after the file was written.
  void remove(const std::vector<Change>& changes);

 private:
  FileManager& files_;
  const std::string path_;
};

}  // namespace tidewell::platform
