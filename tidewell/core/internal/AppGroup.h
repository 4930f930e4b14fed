#pragma once

#include <memory>
#include <string_view>

#include "tidewell/platform/Platform.h"

namespace tidewell {

/// The application group that the host named, in the standard user defaults.
inline constexpr std::string_view kAppGroupIDKey = "Tdw_App_Group_ID";

/// The user defaults that the application shares with its extensions; null while the host has named no group.
inline std::shared_ptr<platform::UserDefaults> appGroupDefaults() {
  platform::Platform& current = platform::Platform::current();
  const auto group = current.standardUserDefaults().stringForKey(kAppGroupIDKey);
  if (!group || group->empty()) return nullptr;
  return current.userDefaultsWithSuiteName(*group);
}

}  // namespace tidewell
