// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

namespace tidewell {

/// Keys in the standard user defaults under which wrappers for other frameworks store their version.
inline constexpr std::string_view Tidewell_Cordova_SDK_Version = "TIDEWELL_CORDOVA_SDK_VERSION";
inline constexpr std::string_view Tidewell_React_Native_SDK_Version = "TIDEWELL_REACT_NATIVE_SDK_VERSION";
inline constexpr std::string_view Tidewell_Segment_SDK_Version = "TIDEWELL_SEGMENT_SDK_VERSION";
inline constexpr std::string_view Tidewell_Xamarin_SDK_Version = "TIDEWELL_XAMARIN_SDK_VERSION";
inline constexpr std::string_view Tidewell_Flutter_SDK_Version = "TIDEWELL_FLUTTER_SDK_VERSION";

/// Paths and methods of services, and the parameters that identify application, user and device in every
/// request.
///
/// Static functions only; any thread.
class TIDEWELL_EXPORT TWNetworkUtils final {
 public:
  TWNetworkUtils() = delete;

  /// The service's path with the component appended unchanged; no value for an unknown service.
  [[nodiscard]] static std::optional<std::string> getAPIPathForService(
      TWService service, std::optional<std::string_view> withAdditionalPathComponent);
  /// "GET" or "POST"; no value for an unknown service.
  [[nodiscard]] static std::optional<std::string> getRequestMethodForService(TWService service);
  /// No value if the parameters cannot be built (log line 134 or 165).
  [[nodiscard]] static std::optional<base::Dictionary> getQueryParamsBodyDictForService(TWService service);

  [[nodiscard]] static std::optional<base::Dictionary> getRequestParamsWithV1(bool withV1);
  /// Raises without an App ID.
  [[nodiscard]] static base::Dictionary getRequestParamsForV1APIs();
  /// Raises without an App ID, an application version or an SDK version.
  [[nodiscard]] static base::Dictionary getRequestParamsForV2();
  [[nodiscard]] static base::Dictionary getIntegrationParams();
  /// Raises if the device's model or system version is unknown.
  [[nodiscard]] static base::Dictionary getDeviceAttributeParams();

  /// The device unique ID: cached in the process, otherwise read from the keychain, otherwise created. No
  /// value if none can be created.
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueID();
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueIDFromKeyChain();
  [[nodiscard]] static bool isDeviceUniqueIDPresentInKeyChain();
};

}  // namespace tidewell
