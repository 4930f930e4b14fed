// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <system_error>

#include "tidewell/base/Value.h"
#include "tidewell/posix/internal/AtomicFile.h"

namespace tidewell::posix {

/// The contents of a file with a dictionary.
struct PropertyListFile {
  base::Dictionary contents;
  /// Set if the file could not be read, so that its contents must not be overwritten. A missing file is not
  /// an error.
  std::error_code error;
  bool isMissing = false;
  /// The file is not a property list with a dictionary.
  bool isCorrupt = false;

  [[nodiscard]] static PropertyListFile read(const std::string& path, FileOwner owner);
};

/// Renames a corrupt file to "PATH.corrupt", so that its contents are not overwritten. Call with the file's
/// lock held: another process may have replaced it with a sound file.
[[nodiscard]] std::error_code keepAside(const std::string& path);

/// Writes a dictionary as a binary property list. Fails if the list would be too large to be read again.
/// Raises for values that a property list cannot hold.
[[nodiscard]] std::error_code writePropertyListFile(const std::string& path,
                                                    const base::Dictionary& contents);

}  // namespace tidewell::posix
