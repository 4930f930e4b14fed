#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

/// Utilities of the core: identifiers and facts of application and device.
///
/// Class operations only; any thread. What they read comes from the platform; nil where the platform does not
/// know it. They do not catch.
class TIDEWELL_EXPORT TWCoreUtils final {
 public:
  TWCoreUtils() = delete;

  /// The SDK's own directory, "Tidewell" in the application's Library; made where it is missing. nil where
  /// there is no Library.
  [[nodiscard]] static std::optional<std::string> getSDKLibraryDirectoryPath();
  [[nodiscard]] static std::optional<std::string> getDocumentsDirectoryPath();

  // Each saver writes through to the disk; nil removes the entry.
  static void saveAppId(std::optional<std::string_view> appId);
  [[nodiscard]] static std::optional<std::string> getTidewellAppId();
  static void saveDeviceToken(std::optional<std::string_view> deviceToken);
  [[nodiscard]] static std::optional<std::string> getDeviceToken();
  static void saveUniqueId(std::optional<std::string_view> uniqueId);
  [[nodiscard]] static std::optional<std::string> getUniqueId();

  /// The SDK's unique id for this installation, made on first use. nil where there is no vendor identifier.
  [[nodiscard]] static std::optional<std::string> getSDKUniqueIdForUser();
  static std::optional<std::string> saveUniqueIdentifierForUser();
  [[nodiscard]] static std::optional<std::string> getIDFV();
  static void registerInstall();
  /// Whether anything at all is stored as the install flag.
  [[nodiscard]] static bool installRegistered();

  [[nodiscard]] static std::optional<std::string> appVersion();
  [[nodiscard]] static std::optional<std::string> bundleIdentifier();
  /// The version of the SDK's own bundle.
  [[nodiscard]] static std::optional<std::string> getTidewellSDKVersion();
  [[nodiscard]] static std::optional<std::string> getDeviceModel();
  [[nodiscard]] static std::optional<std::string> getDeviceLocalizedModel();
  [[nodiscard]] static std::optional<std::string> getDeviceSystemVersion();
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueID();
  /// The marketing name of the device; "Unknown" where its family is not known.
  [[nodiscard]] static std::string getDeviceName();
};

}  // namespace tidewell
