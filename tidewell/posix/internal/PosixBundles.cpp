// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixBundles.h"

#include <unistd.h>

#include <climits>
#include <memory>
#include <utility>

#include "tidewell/base/internal/NeverDestroyed.h"
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

std::unique_ptr<const base::Dictionary> merged(base::Dictionary file, const base::Dictionary& options) {
  for (const base::Dictionary::Entry& each : options) file.setObject(each.value, each.key);
  return std::make_unique<const base::Dictionary>(std::move(file));
}

}  // namespace

PosixBundles::PosixBundles(const Options::State& options)
    : options_(options.infoDictionary),
      sdk_{{platform::kBundleIdentifierKey, platform::kSdkBundleIdentifier},
           {platform::kBundleShortVersionKey, TIDEWELL_VERSION_STRING}} {
  options_.setObject(options.bundleIdentifier, platform::kBundleIdentifierKey);
  options_.setObject(options.version, platform::kBundleShortVersionKey);
  if (options.infoPlistPath.empty()) return;
  const std::string path = absolutePath(options.infoPlistPath);
  PropertyListFile file = PropertyListFile::read(path, FileOwner::any);
  if (file.isMissing) complaint_ = path + " does not exist";
  if (file.error) complaint_ = path + ": " + file.error.message();
  if (file.isCorrupt) complaint_ = path + " is no property list with a dictionary";
  main_ = merged(std::move(file.contents), options_).release();
}

PosixBundles::~PosixBundles() { delete main_.load(std::memory_order_relaxed); }

const base::Dictionary& PosixBundles::main() {
  return base::madeOnce(main_, [this] {
    return merged(PropertyListFile::read(fileBesideExecutable(), FileOwner::any).contents, options_);
  });
}

base::Dictionary PosixBundles::mainInfoDictionary() { return main(); }

std::optional<base::Dictionary> PosixBundles::infoDictionaryForIdentifier(std::string_view identifier) {
  if (identifier == platform::kSdkBundleIdentifier) return sdk_;
  if (options_.objectForKey(platform::kBundleIdentifierKey) == base::Value(identifier)) return main();
  return std::nullopt;
}

}  // namespace tidewell::posix
