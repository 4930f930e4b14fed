// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"

namespace tidewell {

struct SyncRecord;
class SyncTracker;

/// The outcome of a configuration sync.
enum class SyncOutcome : std::int32_t {
  neverTried,     ///< no attempt is known
  notDue,         ///< the last occasion came within an hour of the last stored reply, so no request was sent
  inFlight,       ///< a request of this process has no result yet
  synced,         ///< the reply is merged
  unusableReply,  ///< status 200, but the body is empty, not JSON, or not a JSON object
  mergeStopped,   ///< the reply is merged up to a value of the wrong type
  failed,         ///< no reply, another status, or an error while the reply was handled
};

/// The status of the application's configuration syncs at one moment.
///
/// A value that never changes; copies share its contents. Any thread. The result of an attempt, which
/// `lastResult`, `detail`, `error` and `httpStatus` describe, is kept across launches. The stored sync time
/// does not show whether a sync succeeded, because any reply with status 200 sets it.
class TIDEWELL_EXPORT SyncStatus {
 public:
  /// `neverTried`, without details.
  SyncStatus() noexcept;
  SyncStatus(const SyncStatus&) noexcept;
  SyncStatus(SyncStatus&&) noexcept;
  SyncStatus& operator=(const SyncStatus&) noexcept;
  SyncStatus& operator=(SyncStatus&&) noexcept;
  ~SyncStatus();

  /// `inFlight` while a request of this process is under way; otherwise the outcome of the last occasion for
  /// a sync in this process; without one, `lastResult`.
  [[nodiscard]] SyncOutcome outcome() const noexcept { return outcome_; }
  /// The result of the last attempt that has one: `neverTried`, or one of the last four outcomes. An attempt
  /// whose process ended before the result was stored counts as `failed`.
  [[nodiscard]] SyncOutcome lastResult() const noexcept;
  /// Explains `lastResult`: "empty", "not JSON" or "not an object"; the configuration key at which the merge
  /// stopped; a sentence about the failure. "" after a success. Valid as long as this object or a copy
  /// exists.
  [[nodiscard]] std::string_view detail() const noexcept;
  /// When the last attempt began, also if it is in flight.
  [[nodiscard]] std::optional<base::Date> lastAttempt() const noexcept;
  /// When a reply was last merged completely.
  [[nodiscard]] std::optional<base::Date> lastSuccess() const noexcept;
  /// The time before which no occasion starts a sync. No value if the next occasion starts one.
  [[nodiscard]] std::optional<base::Date> nextDue() const noexcept;
  /// The transfer's error in the last attempt with a result. No value for a failure that is not a transfer
  /// error, such as status 500.
  [[nodiscard]] std::optional<base::Error> error() const;
  /// The HTTP status in the last attempt with a result; 0 without a response.
  [[nodiscard]] int httpStatus() const noexcept;

 private:
  friend class SyncTracker;
  SyncStatus(std::shared_ptr<const SyncRecord> record, SyncOutcome outcome) noexcept;

  std::shared_ptr<const SyncRecord> record_;  ///< null for no details
  SyncOutcome outcome_ = SyncOutcome::neverTried;
};

/// The result of `TidewellCore::waitForSync`. A value that never changes; any thread.
class TIDEWELL_EXPORT SyncWait {
 public:
  /// The status at the end of the wait.
  [[nodiscard]] const SyncStatus& status() const noexcept { return status_; }
  /// Whether the wait timed out before the sync ended.
  [[nodiscard]] bool timedOut() const noexcept { return end_ == End::timedOut; }
  /// `kPosixErrorDomain`, EDEADLK, if the call did not wait because the sync could not have ended during the
  /// wait.
  [[nodiscard]] std::optional<base::Error> error() const;

 private:
  friend class SyncTracker;
  enum class End : std::int32_t { ended, timedOut, wouldDeadlock };
  SyncWait(SyncStatus status, End end) noexcept;

  SyncStatus status_;
  End end_;
};

}  // namespace tidewell
