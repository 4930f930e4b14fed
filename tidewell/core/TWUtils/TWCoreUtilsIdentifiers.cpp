// SPDX-License-Identifier: Apache-2.0
// Identifiers, directories, and facts about application and device.

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWUtils/KeychainServices/internal/DeviceUniqueID.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/internal/IdentifierKeys.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

constexpr std::string_view kAppInstallKey = "TW_APP_INSTALL";

constexpr std::string_view kSDKDirectoryName = "Tidewell";

using platform::Platform;

/// nil removes the entry.
void save(base::Value value, std::string_view key) {
  platform::UserDefaults& defaults = Platform::current().standardUserDefaults();
  defaults.setObject(std::move(value), key);
  defaults.synchronize();
}

std::optional<std::string> read(std::string_view key) {
  return Platform::current().standardUserDefaults().stringForKey(key);
}

std::optional<std::string> infoText(const base::Dictionary& info, std::string_view key) {
  return info.objectForKey(key).optionalString();
}

}  // namespace

std::optional<std::string> TWCoreUtils::getSDKLibraryDirectoryPath() {
  platform::FileManager& files = Platform::current().fileManager();
  const std::optional<std::string> library = files.pathForDirectory(platform::SearchPathDirectory::library);
  if (!library) return std::nullopt;
  std::string path = platform::stringByAppendingPathComponent(*library, kSDKDirectoryName);
  // Errors are ignored here; code that writes to the directory reports them.
  if (!files.fileExistsAtPath(path).exists) (void)files.createDirectoryAtPath(path);
  return path;
}

std::optional<std::string> TWCoreUtils::getDocumentsDirectoryPath() {
  return Platform::current().fileManager().pathForDirectory(platform::SearchPathDirectory::document);
}

void TWCoreUtils::saveAppId(std::optional<std::string_view> appId) { save(appId, kAppIdKey); }
std::optional<std::string> TWCoreUtils::getTidewellAppId() { return read(kAppIdKey); }

void TWCoreUtils::saveDeviceToken(std::optional<std::string_view> deviceToken) {
  save(deviceToken, kDeviceTokenKey);
}
std::optional<std::string> TWCoreUtils::getDeviceToken() { return read(kDeviceTokenKey); }

void TWCoreUtils::saveUniqueId(std::optional<std::string_view> uniqueId) { save(uniqueId, kUniqueIdKey); }
std::optional<std::string> TWCoreUtils::getUniqueId() { return read(kUniqueIdKey); }

std::optional<std::string> TWCoreUtils::getSDKUniqueIdForUser() {
  const base::Value stored =
      Platform::current().standardUserDefaults().objectForKey(kUserDefaultsKeySDKUniqueId);
  if (const std::string* text = stored.string(); text && !text->empty()) return *text;
  return saveUniqueIdentifierForUser();
}

std::optional<std::string> TWCoreUtils::saveUniqueIdentifierForUser() {
  std::optional<std::string> identifier = getIDFV();
  if (!identifier) return std::nullopt;
  *identifier += base::stringWithFormat("-%.0f", {Platform::current().clock().now().secondsSince1970});
  save(*identifier, kUserDefaultsKeySDKUniqueId);
  return identifier;
}

std::optional<std::string> TWCoreUtils::getIDFV() {
  return Platform::current().device().identifierForVendor();
}

void TWCoreUtils::registerInstall() { save(true, kAppInstallKey); }

bool TWCoreUtils::installRegistered() {
  return !Platform::current().standardUserDefaults().objectForKey(kAppInstallKey).isNil();
}

std::optional<std::string> TWCoreUtils::appVersion() {
  return infoText(Platform::current().bundles().mainInfoDictionary(), platform::kBundleShortVersionKey);
}

std::optional<std::string> TWCoreUtils::bundleIdentifier() {
  return infoText(Platform::current().bundles().mainInfoDictionary(), platform::kBundleIdentifierKey);
}

std::optional<std::string> TWCoreUtils::getTidewellSDKVersion() {
  const std::optional<base::Dictionary> info =
      Platform::current().bundles().infoDictionaryForIdentifier(kTidewellSDKBundleId);
  if (!info) return std::nullopt;
  return infoText(*info, platform::kBundleShortVersionKey);
}

std::optional<std::string> TWCoreUtils::getDeviceModel() { return Platform::current().device().model(); }

std::optional<std::string> TWCoreUtils::getDeviceLocalizedModel() {
  return Platform::current().device().localizedModel();
}

std::optional<std::string> TWCoreUtils::getDeviceSystemVersion() {
  return Platform::current().device().systemVersion();
}

std::optional<std::string> TWCoreUtils::getDeviceUniqueID() { return deviceUniqueID(); }

}  // namespace tidewell
