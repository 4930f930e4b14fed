#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

namespace tidewell {

/// Keys of the standard user defaults under which the wrappers of other frameworks leave their version.
inline constexpr std::string_view Tidewell_Cordova_SDK_Version = "TIDEWELL_CORDOVA_SDK_VERSION";
inline constexpr std::string_view Tidewell_React_Native_SDK_Version = "TIDEWELL_REACT_NATIVE_SDK_VERSION";
inline constexpr std::string_view Tidewell_Segment_SDK_Version = "TIDEWELL_SEGMENT_SDK_VERSION";
inline constexpr std::string_view Tidewell_Xamarin_SDK_Version = "TIDEWELL_XAMARIN_SDK_VERSION";
inline constexpr std::string_view Tidewell_Flutter_SDK_Version = "TIDEWELL_FLUTTER_SDK_VERSION";

/// Paths and methods of the services, and the parameters that identify application, user and device in every
/// request.
///
/// Class operations only; any thread.
class TIDEWELL_EXPORT TWNetworkUtils final {
 public:
  TWNetworkUtils() = delete;

  /// The service's path with the component appended as it is; nil for an unknown service.
  [[nodiscard]] static std::optional<std::string> getAPIPathForService(
      TWService service, std::optional<std::string_view> withAdditionalPathComponent);
  /// "GET" or "POST"; nil for an unknown service.
  [[nodiscard]] static std::optional<std::string> getRequestMethodForService(TWService service);
  /// nil where the parameters cannot be built (logged at line 134 or 165).
  [[nodiscard]] static std::optional<base::Dictionary> getQueryParamsBodyDictForService(TWService service);

  [[nodiscard]] static std::optional<base::Dictionary> getRequestParamsWithV1(bool withV1);
  /// Raises without an App ID.
  [[nodiscard]] static base::Dictionary getRequestParamsForV1APIs();
  /// Raises without an App ID, an application version or an SDK version.
  [[nodiscard]] static base::Dictionary getRequestParamsForV2();
  [[nodiscard]] static base::Dictionary getIntegrationParams();
  /// Raises where the device does not know its model or system version.
  [[nodiscard]] static base::Dictionary getDeviceAttributeParams();

  /// The device unique ID: kept in the process once known, else read from the keychain, else made. nil where
  /// none can be made.
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueID();
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueIDFromKeyChain();
  [[nodiscard]] static bool isDeviceUniqueIDPresentInKeyChain();
};

}  // namespace tidewell
