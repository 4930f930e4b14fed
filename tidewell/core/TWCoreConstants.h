// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/platform/BundleKeys.h"

namespace tidewell {

/// Makes the next configuration sync due. Observed by the core.
inline constexpr std::string_view kNotificationNameUserReset = "TW_USER_RESET_NOTIFICATION";
/// Asks the core to sync its configuration if that is due. Observed by the core.
inline constexpr std::string_view kNotificationNameUpdateModules = "TW_USER_UPDATE_MODULES_NOTIFICATION";
/// For sibling modules; the core does not use it.
inline constexpr std::string_view kNotificationNameInitNewUser = "TW_USER_INIT_NOTIFICATION";
/// For sibling modules; the core does not use it.
inline constexpr std::string_view kNotificationNameShowInApp = "TW_SHOW_INAPP_NOTIFICATION";
/// Posted by the core when it is started with an App ID other than the stored one.
inline constexpr std::string_view kNotificationNameUserResetOnAppIDChange =
    "TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION";

/// Keys in the standard user defaults.
inline constexpr std::string_view kUserDefaultsKeySDKUniqueId = "TW_identifierForVendor";
inline constexpr std::string_view kUserDefaultKeySDKVersion = "TDW_SDK_VERSION";
inline constexpr std::string_view kUserDefaultsKeyAppVersion = "TDW_APP_VERSION";
inline constexpr std::string_view kUserDefaultsKeyShouldRedirectData = "TW_SHOULD_REDIRECT_DATA";
inline constexpr std::string_view kUserDefaultsKeyHasDeviceAddFailed = "TDW_HAS_DEVICE_ADD_FAILED";
/// The date of the last successful download of the configuration.
inline constexpr std::string_view kConfigLastUpdatedKey = "CONFIG_LAST_UPDATED";

/// The bundle identifier of the SDK; that bundle's version is the SDK's.
inline constexpr std::string_view kTidewellSDKBundleId = platform::kSdkBundleIdentifier;

/// The library's version as a number (major.minor) and as text; the text equals the version of the SDK's
/// bundle.
TIDEWELL_EXPORT extern const double TidewellCoreVersionNumber;
TIDEWELL_EXPORT extern const std::string_view TidewellCoreVersionString;

}  // namespace tidewell
