// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/Container.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/Descriptor.h"
#include "tidewell/posix/internal/FileFault.h"

namespace tidewell::posix {

using platform::stringByAppendingPathComponent;

Container::Container(std::string dataHome, std::string existing, std::string_view bundleIdentifier)
    : dataHome_(std::move(dataHome)),
      existing_(std::move(existing)),
      bundle_(base::fileNameForIdentifier(bundleIdentifier)) {
  while (dataHome_.size() > 1 && dataHome_.ends_with('/')) dataHome_.pop_back();
}

std::string Container::userDefaultsFileOfGroup(std::string_view group) const {
  return preferencesFile(base::fileNameForIdentifier(group));
}

std::string Container::vendorFile(std::string_view vendor) const {
  return inKeychain(base::fileNameForIdentifier(vendor) + ".vendor");
}

Container::Folders Container::check(const std::string& path) const {
  if (dataHome_.empty() || !path.starts_with(dataHome_)) return {};
  if (!dataHome_.ends_with('/') && !path.substr(dataHome_.size()).starts_with('/')) return {};
  const uid_t user = geteuid();
  for (auto slash = path.find('/', dataHome_.size() + 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    struct stat record {};
    if (lstat(folder.c_str(), &record) != 0) return {errno == ENOENT ? std::error_code() : lastError()};
    if (S_ISLNK(record.st_mode)) {
      if (record.st_uid != user) return {FileFault::ofAnotherUser};
      if (stat(folder.c_str(), &record) != 0) return {lastError()};
    }
    if (!S_ISDIR(record.st_mode)) return {std::make_error_code(std::errc::not_a_directory)};
    if (const auto failure = checkOwner(record, user)) return {failure};
  }
  return {{}, true};
}

std::error_code Container::makeFolder(const std::string& path) const {
  const Folders folders = check(path + '/');
  return folders.error || folders.exist ? folders.error : makeFolders(path, existing_);
}

std::string Container::inContainer(const std::string& name, std::string_view component) const {
  if (dataHome_.empty()) return {};
  return stringByAppendingPathComponent(stringByAppendingPathComponent(dataHome_, name), component);
}

std::string Container::preferencesFile(const std::string& name) const {
  if (dataHome_.empty()) return {};
  return inContainer(name, "Library/Preferences/") + name + ".plist";
}

std::string Container::inKeychain(const std::string& name) const {
  return inContainer(".tidewell-keychain", name);
}

}  // namespace tidewell::posix
