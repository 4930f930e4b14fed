// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

inline constexpr std::string_view kBundleIdentifierKey = "CFBundleIdentifier";
inline constexpr std::string_view kBundleShortVersionKey = "CFBundleShortVersionString";

/// The bundle identifier of this library; that bundle's short version is the library's.
inline constexpr std::string_view kSdkBundleIdentifier = "com.tidewell.TidewellSDK";

}  // namespace tidewell::platform
