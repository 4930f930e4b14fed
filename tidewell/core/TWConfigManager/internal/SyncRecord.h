// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

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

/// The result of one attempt, for the history in the file.
struct SyncPast {
  base::Date time;  ///< of the result
  SyncOutcome outcome = SyncOutcome::neverTried;
  std::string detail{};  ///< or the text of the transfer's error
  int httpStatus = 0;
};

/// The contents of a `SyncStatus`. Immutable once published.
struct SyncRecord : std::enable_shared_from_this<SyncRecord> {
  /// The outcome of the last occasion. The tracker knows whether a request is in flight.
  SyncOutcome occasion = SyncOutcome::neverTried;
  SyncResult result;
  std::optional<base::Date> lastAttempt;
  std::optional<base::Date> lastSuccess;
  std::optional<base::Date> nextDue;
  /// The last results, the newest last; at most `kLongestHistory`.
  std::vector<SyncPast> history;

  static constexpr std::size_t kLongestHistory = 50;
  /// Drops the oldest result if there are too many.
  void addToHistory(SyncPast past) {
    if (history.size() >= kLongestHistory) history.erase(history.begin());
    history.push_back(std::move(past));
  }
};

}  // namespace tidewell
