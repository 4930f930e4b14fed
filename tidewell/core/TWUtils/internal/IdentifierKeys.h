// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

// The keys of identifiers in the user defaults.
namespace tidewell {

inline constexpr std::string_view kAppIdKey = "TW_appId";
inline constexpr std::string_view kDeviceTokenKey = "TW_deviceToken";
inline constexpr std::string_view kUniqueIdKey = "TW_uniqueServiceId";

}  // namespace tidewell
