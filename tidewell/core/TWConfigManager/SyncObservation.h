// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"

namespace tidewell {

struct SyncObserver;
class SyncTracker;

/// The token of an observation begun by `TidewellCore::observeSync`; its destruction ends the observation.
///
/// May be destroyed on any thread, in the observer itself, and while the process exits. The observer is not
/// called afterwards, but a call that has begun on another thread completes; that cannot happen if the token
/// is destroyed on the main queue's thread.
class TIDEWELL_EXPORT SyncObservation {
 public:
  /// Observes nothing.
  SyncObservation() noexcept;
  SyncObservation(SyncObservation&& other) noexcept;
  /// Ends the observation that this token held.
  SyncObservation& operator=(SyncObservation&& other) noexcept;
  ~SyncObservation();

 private:
  friend class SyncTracker;
  explicit SyncObservation(std::shared_ptr<SyncObserver> observer) noexcept;

  std::shared_ptr<SyncObserver> observer_;  ///< null if none
};

}  // namespace tidewell
