// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "tidewell/posix/internal/FolderNames.h"

namespace tidewell::posix {

std::error_code forEachName(Descriptor folder, const std::function<void(const char*)>& visit) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(folder.number()), closedir);
  if (!entries) return lastError();
  static_cast<void>(folder.release());  // the stream owns it now
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(entries.get());
    if (entry == nullptr) return lastError();  // no error at the end, where `errno` is still 0
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) visit(entry->d_name);
  }
}

}  // namespace tidewell::posix
