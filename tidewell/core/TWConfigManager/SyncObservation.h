// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"

namespace tidewell {

struct SyncObserver;
class SyncTracker;

/// An observation begun by `TidewellCore::observeSync`, which the token's destruction ends.
///
/// May be destroyed on any thread, in the observer itself, and while the process exits. The observer is not
/// called afterwards, unless its call has begun on another thread; on the main queue's thread that cannot be.
class TIDEWELL_EXPORT SyncObservation {
 public:
  /// Observes nothing.
  SyncObservation() noexcept;
  SyncObservation(SyncObservation&& other) noexcept;
  /// Ends the observation that this token had.
  SyncObservation& operator=(SyncObservation&& other) noexcept;
  ~SyncObservation();

 private:
  friend class SyncTracker;
  explicit SyncObservation(std::shared_ptr<SyncObserver> observer) noexcept;

  std::shared_ptr<SyncObserver> observer_;  ///< null if none
};

}  // namespace tidewell
