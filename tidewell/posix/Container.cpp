#include "tidewell/posix/Container.h"

#include <utility>

#include "tidewell/base/PercentEncoding.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/AtomicFile.h"

namespace tidewell::posix {

using platform::stringByAppendingPathComponent;

Container::Container(std::string dataHome, std::string existing, std::string_view bundleIdentifier)
    : dataHome_(std::move(dataHome)),
      existing_(std::move(existing)),
      bundle_(base::fileNameForIdentifier(bundleIdentifier)) {}

std::string Container::userDefaultsFileOfGroup(std::string_view group) const {
  return preferencesFile(base::fileNameForIdentifier(group));
}

std::string Container::vendorFile(std::string_view vendor) const {
  return inKeychain(base::fileNameForIdentifier(vendor) + ".vendor");
}

std::error_code Container::makeFolder(const std::string& path) const { return makeFolders(path, existing_); }

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
