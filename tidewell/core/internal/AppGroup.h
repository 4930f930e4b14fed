// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string_view>

#include "tidewell/platform/Platform.h"

namespace tidewell {

/// The key of the application group set by the host, in the standard user defaults.
inline constexpr std::string_view kAppGroupIDKey = "Tdw_App_Group_ID";

/// The user defaults shared by the application and its extensions; null if the host has set no group.
inline std::shared_ptr<platform::UserDefaults> appGroupDefaults() {
  platform::Platform& current = platform::Platform::current();
  const auto group = current.standardUserDefaults().stringForKey(kAppGroupIDKey);
  if (!group || group->empty()) return nullptr;
  return current.userDefaultsWithSuiteName(*group);
}

}  // namespace tidewell
