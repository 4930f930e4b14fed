// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tidewell/platform/FileManager.h"

namespace tidewell::platform {

/// Changes to a file, stored beside it while another process holds its lock.
///
/// Each change is a file of its own ("PATH.change-TIME-NUMBER"), written once, under a name that is never
/// reused. The next holder of the lock of PATH merges them and removes exactly the files that it has read, so
/// changes stored meanwhile are not lost. Names sort in the order of the changes. Any thread; errors are
/// returned.
class TIDEWELL_EXPORT PendingChanges {
 public:
  /// The most changes read at once; the rest waits for the next holder of the lock.
  static constexpr std::size_t kMaximumRead = 256;
  /// In bytes. Larger files are skipped: this library writes none.
  static constexpr std::size_t kMaximumBytes = 1u << 20;

  /// `files` must outlive the object.
  PendingChanges(FileManager& files, std::string path);

  struct Change {
    std::string path;
    std::string contents;
  };

  /// Stores a change; `keptAs` receives the path of its file. Needs no lock. If a change includes everything
  /// in an earlier one of the same process, that process may remove the earlier file afterwards.
  [[nodiscard]] std::error_code keep(std::string_view contents, std::string* keptAs = nullptr);
  /// The stored changes, oldest first, without those that cannot be read. Needs no lock. `failure`, if given,
  /// receives the error of listing the folder; a missing folder is not an error.
  [[nodiscard]] std::vector<Change> read(std::error_code* failure = nullptr) const;
  /// Removes changes that were merged. Call with the file's lock held, after the file was written.
  void remove(const std::vector<Change>& changes);

 private:
  FileManager& files_;
  const std::string path_;
};

}  // namespace tidewell::platform
