#pragma once

#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/platform/BundleKeys.h"

namespace tidewell {

/// Forgets when the configuration was last downloaded, so that the next trigger downloads it. Observed by the
/// core.
inline constexpr std::string_view kNotificationNameUserReset = "TW_USER_RESET_NOTIFICATION";
/// Asks the core to sync its configuration where that is due. Observed by the core.
inline constexpr std::string_view kNotificationNameUpdateModules = "TW_USER_UPDATE_MODULES_NOTIFICATION";
/// For the sibling modules.
inline constexpr std::string_view kNotificationNameInitNewUser = "TW_USER_INIT_NOTIFICATION";
/// For the sibling modules.
inline constexpr std::string_view kNotificationNameShowInApp = "TW_SHOW_INAPP_NOTIFICATION";
/// Posted by the core when it is started with another App ID than the one it knows.
inline constexpr std::string_view kNotificationNameUserResetOnAppIDChange =
    "TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION";

/// Keys of the standard user defaults.
inline constexpr std::string_view kUserDefaultsKeySDKUniqueId = "TW_identifierForVendor";
inline constexpr std::string_view kUserDefaultKeySDKVersion = "TDW_SDK_VERSION";
inline constexpr std::string_view kUserDefaultsKeyAppVersion = "TDW_APP_VERSION";
inline constexpr std::string_view kUserDefaultsKeyShouldRedirectData = "TW_SHOULD_REDIRECT_DATA";
inline constexpr std::string_view kUserDefaultsKeyHasDeviceAddFailed = "TDW_HAS_DEVICE_ADD_FAILED";
/// The date of the last successful download of the configuration.
inline constexpr std::string_view kConfigLastUpdatedKey = "CONFIG_LAST_UPDATED";

/// The identifier of the bundle whose version is the SDK's.
inline constexpr std::string_view kTidewellSDKBundleId = platform::kSdkBundleIdentifier;

/// The version of the library as a number (major.minor) and as text; the text equals the version of the SDK's
/// bundle.
TIDEWELL_EXPORT extern const double TidewellCoreVersionNumber;
TIDEWELL_EXPORT extern const std::string_view TidewellCoreVersionString;

}  // namespace tidewell
