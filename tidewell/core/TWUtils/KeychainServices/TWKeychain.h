#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// The service prefix of the SDK's keychain items; the application's bundle identifier follows after a full
/// stop.
inline constexpr std::string_view TW_KEYCHAIN_SERVICE = "com.tidewell";

/// Keeps small values in the keychain, so that they survive a reinstallation of the application.
///
/// Class operations only; any thread. Errors of the keychain are not reported.
class TIDEWELL_EXPORT TWKeychain final {
 public:
  TWKeychain() = delete;

  [[nodiscard]] static base::Dictionary getKeychainQuery(std::string_view service);
  /// Replaces the item of the service. Raises for an object that cannot be archived.
  static void save(std::string_view service, const base::Value& data);
  /// nil where there is no item, where the keychain cannot be asked, and for an item that cannot be
  /// unarchived (line 34).
  [[nodiscard]] static base::Value load(std::string_view service);
  static void remove(std::string_view service);
  /// The item where it is a string, else "".
  [[nodiscard]] static std::string keychainItem(std::string_view service);
  /// Makes the device unique ID of the SDK unique id and saves it on the global queue. nil where there is no
  /// SDK unique id.
  [[nodiscard]] static std::optional<std::string> createDeviceUniqueIDForService(std::string_view service);
};

}  // namespace tidewell
