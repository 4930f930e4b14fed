// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"

#include <new>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

platform::Keychain& keychain() { return platform::Platform::current().keychain(); }

}  // namespace

base::Dictionary TWKeychain::getKeychainQuery(std::string_view service) {
  return {{platform::kSecClass, platform::kSecClassGenericPassword},
          {platform::kSecAttrService, service},
          {platform::kSecAttrAccount, service},
          {platform::kSecAttrAccessible, platform::kSecAttrAccessibleAfterFirstUnlock}};
}

void TWKeychain::save(std::string_view service, const base::Value& data) {
  base::Dictionary item = getKeychainQuery(service);
  const base::Data archive(
      base::archivedDataWithRootObject(data));  // first: if it raises, the old item stays
  keychain().itemDelete(item);
  item.setObject(archive, platform::kSecValueData);
  keychain().itemAdd(item);
}

base::Value TWKeychain::load(std::string_view service) {
  static constexpr LogCoordinates kWhere{"TWKeychain", 34, "load:", "Unarchive of %@ failed: %@"};
  base::Dictionary query = getKeychainQuery(service);
  query.setObject(true, platform::kSecReturnData);
  query.setObject(platform::kSecMatchLimitOne, platform::kSecMatchLimit);

  base::Data archive;
  if (keychain().itemCopyMatching(query, archive) != platform::errSecSuccess) return {};
  try {
    return base::unarchiveObjectWithData(archive.view());
  } catch (const std::bad_alloc&) {
    throw;  // must not become nil: the caller would replace the item
  } catch (...) {
    logCaughtException(kWhere, {service});
  }
  return {};
}

void TWKeychain::remove(std::string_view service) { keychain().itemDelete(getKeychainQuery(service)); }

std::string TWKeychain::keychainItem(std::string_view service) {
  return load(service).optionalString().value_or("");
}

std::optional<std::string> TWKeychain::createDeviceUniqueIDForService(std::string_view service) {
  const std::optional<std::string> uniqueId = TWCoreUtils::getSDKUniqueIdForUser();
  if (!uniqueId || uniqueId->empty()) return std::nullopt;
  std::string deviceId = base::stringWithFormat("P-%@", {*uniqueId});
  platform::Platform::current().globalQueue().async(
      [service = std::string(service), deviceId] { save(service, deviceId); });
  return deviceId;
}

}  // namespace tidewell
