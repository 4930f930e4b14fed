// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixBundles.h"

#include <unistd.h>

#include <climits>
#include <string>

#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/OptionsState.h"
#include "tidewell/posix/internal/PropertyListFile.h"

namespace tidewell::posix {
namespace {

/// "Info.plist" in the folder of the executable; "" if that is unknown.
std::string fileBesideExecutable() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || length == sizeof path) return {};
  return platform::stringByAppendingPathComponent(
      folderOf(std::string(path, static_cast<std::size_t>(length))), "Info.plist");
}

/// Resolves a path against the current working directory.
std::string absolutePath(const std::string& path) {
  char folder[PATH_MAX];
  if (path.starts_with('/') || !getcwd(folder, sizeof folder)) return path;
  return platform::stringByAppendingPathComponent(folder, path);
}

}  // namespace

PosixBundles::PosixBundles(const Options::State& options)
    : sdk_{{platform::kBundleIdentifierKey, platform::kSdkBundleIdentifier},
           {platform::kBundleShortVersionKey, TIDEWELL_VERSION_STRING}} {
  const bool isNamed = !options.infoPlistPath.empty();
  const std::string path = isNamed ? absolutePath(options.infoPlistPath) : fileBesideExecutable();
  if (!path.empty()) {
    PropertyListFile file = PropertyListFile::read(path, FileOwner::any);
    if (isNamed && file.isMissing) complaint_ = path + " does not exist";
    if (isNamed && file.error) complaint_ = path + ": " + file.error.message();
    if (isNamed && file.isCorrupt) complaint_ = path + " is no property list with a dictionary";
    main_ = std::move(file.contents);
  }
  for (const base::Dictionary::Entry& each : options.infoDictionary) main_.setObject(each.value, each.key);
  main_.setObject(options.bundleIdentifier, platform::kBundleIdentifierKey);
  main_.setObject(options.version, platform::kBundleShortVersionKey);
}

base::Dictionary PosixBundles::mainInfoDictionary() { return main_; }

std::optional<base::Dictionary> PosixBundles::infoDictionaryForIdentifier(std::string_view identifier) {
  if (identifier == platform::kSdkBundleIdentifier) return sdk_;
  if (main_.objectForKey(platform::kBundleIdentifierKey) == base::Value(identifier)) return main_;
  return std::nullopt;
}

}  // namespace tidewell::posix
