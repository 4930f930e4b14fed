// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// The service prefix of the SDK's keychain items, to be followed by a full stop and the application's bundle
/// identifier.
inline constexpr std::string_view TW_KEYCHAIN_SERVICE = "com.tidewell";

/// Stores small values in the keychain, so that they survive a reinstallation of the application.
///
/// Static functions only; any thread. Keychain errors are not reported.
class TIDEWELL_EXPORT TWKeychain final {
 public:
  TWKeychain() = delete;

  [[nodiscard]] static base::Dictionary getKeychainQuery(std::string_view service);
  /// Replaces the service's item. Raises for an object that cannot be archived.
  static void save(std::string_view service, const base::Value& data);
  /// nil if there is no item, the keychain is unavailable, or the item cannot be unarchived (log line 34).
  [[nodiscard]] static base::Value load(std::string_view service);
  static void remove(std::string_view service);
  /// The item if it is a string, otherwise "".
  [[nodiscard]] static std::string keychainItem(std::string_view service);
  /// Derives the device unique ID from the SDK unique ID ("P-" and that ID), and saves it on the global
  /// queue. No value if there is no SDK unique ID.
  [[nodiscard]] static std::optional<std::string> createDeviceUniqueIDForService(std::string_view service);
};

}  // namespace tidewell
