// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Value.h"

namespace tidewell {

class TWConfigManager;

/// How long a downloaded configuration counts as recent, in seconds.
inline constexpr double kConfigSyncInterval = 3600;

/// When the next sync is due by the stored time of the last one; no value if it is due now. Reads the user
/// defaults.
[[nodiscard]] std::optional<base::Date> nextSyncDue();

/// The result of a merge, for the status of syncs.
struct ConfigMerge {
  /// The same, but no value after a reply that was not merged for lack of memory.
  [[nodiscard]] static std::optional<base::Date> nextDue(const TWConfigManager& manager);
  /// Performs `updateConfigFromResponse`.
  static ConfigMerge of(TWConfigManager& manager, const base::Value& response);

  bool isComplete = false;
  std::string_view stoppedAt{};  ///< the key of the value that could not be merged; "" if there is none
  std::string reason{};          ///< the exception that ended the merge; "" if complete
};

}  // namespace tidewell
