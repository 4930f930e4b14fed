#pragma once

#include <string>
#include <system_error>

#include "tidewell/base/Value.h"
#include "tidewell/posix/internal/AtomicFile.h"

namespace tidewell::posix {

/// What a file with a dictionary held.
struct PropertyListFile {
  base::Dictionary contents;
  /// Set where the file could not be read: it may hold what must not be overwritten. No file is no error.
  std::error_code error;
  bool isMissing = false;
  /// The file held something else than a property list with a dictionary.
  bool isCorrupt = false;

  [[nodiscard]] static PropertyListFile read(const std::string& path, FileOwner owner);
};

/// Keeps a file that cannot be understood as "PATH.corrupt", so that nothing of it is overwritten. Call it
/// with the file's lock: another process may have put a sound file in its place.
[[nodiscard]] std::error_code keepAside(const std::string& path);

/// Writes a dictionary, as a binary property list that can be read again. Raises for what a property list
/// cannot carry.
[[nodiscard]] std::error_code writePropertyListFile(const std::string& path,
                                                    const base::Dictionary& contents);

}  // namespace tidewell::posix
