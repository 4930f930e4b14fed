// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tidewell/base/Date.h"
#include "tidewell/base/Error.h"
#include "tidewell/core/TWConfigManager/SyncStatus.h"

namespace tidewell {

/// How an attempt ended.
struct SyncResult {
  SyncOutcome outcome = SyncOutcome::neverTried;
  std::string detail{};
  std::optional<base::Error> error{};
  int httpStatus = 0;
};

/// The contents of a `SyncStatus`. Immutable once published.
struct SyncRecord : std::enable_shared_from_this<SyncRecord> {
  /// What the last occasion came to. Whether a request is in flight is known to the tracker.
  SyncOutcome occasion = SyncOutcome::neverTried;
  SyncResult result;
  std::optional<base::Date> lastAttempt;
  std::optional<base::Date> lastSuccess;
  std::optional<base::Date> nextDue;
};

}  // namespace tidewell
