// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/FileManager.h"

namespace tidewell::platform {

FileLock::~FileLock() = default;
FileManager::~FileManager() = default;

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
  if (path.empty()) return std::string(component);
  while (!component.empty() && component.front() == '/') component.remove_prefix(1);
  if (component.empty()) return std::string(path);
  while (!path.empty() && path.back() == '/') path.remove_suffix(1);
  std::string joined;
  joined.reserve(path.size() + 1 + component.size());
  joined.append(path).append(1, '/').append(component);
  return joined;
}

}  // namespace tidewell::platform
