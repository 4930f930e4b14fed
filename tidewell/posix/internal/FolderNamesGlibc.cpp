// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>

#include <cstddef>
#include <cstring>

#include "tidewell/posix/internal/FolderNames.h"

namespace tidewell::posix {

// `fdopendir` would allocate 32 KiB for each listing, which costs a start more than reading its files.
std::error_code forEachName(Descriptor folder, const std::function<void(const char*)>& visit) {
  constexpr std::size_t kBufferBytes = 4096;
  alignas(dirent64) std::byte buffer[kBufferBytes];
  ssize_t filled = 0;
  while ((filled = getdents64(folder.number(), buffer, sizeof buffer)) > 0) {
    for (ssize_t offset = 0; offset < filled;) {
      const auto* const entry = static_cast<const dirent64*>(static_cast<const void*>(buffer + offset));
      offset += entry->d_reclen;
      if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) visit(entry->d_name);
    }
  }
  return filled < 0 ? lastError() : std::error_code();
}

}  // namespace tidewell::posix
