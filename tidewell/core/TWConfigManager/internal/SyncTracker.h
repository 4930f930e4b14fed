// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/HazardPointer.h"
#include "tidewell/core/TWConfigManager/SyncObservation.h"
#include "tidewell/core/TWConfigManager/SyncStatus.h"
#include "tidewell/core/TWConfigManager/internal/SyncRecord.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {

/// A request for the configuration that is under way. An attempt destroyed without a result, because its
/// completion was dropped, ends as failed. For one thread at a time.
class SyncAttempt {
 public:
  ~SyncAttempt();
  SyncAttempt(const SyncAttempt&) = delete;
  SyncAttempt& operator=(const SyncAttempt&) = delete;
  /// Ends the attempt. Ignored if it has ended. `nextDue` as in `SyncStatus`.
  void end(SyncResult result, std::optional<base::Date> nextDue) noexcept;

 private:
  friend class SyncTracker;
  SyncAttempt() = default;

  std::uint32_t life_ = 0;  ///< 0 if the attempt has not begun, or has ended
  std::uint64_t number_ = 0;
};

/// Records the syncs of the process without affecting them: publishes their status, keeps it in a file, calls
/// observers and wakes waiting threads.
///
/// One instance per process, made while the library is loaded and never destroyed. Any thread. The file is
/// read by the first query or before the first write. The beginning of a sync is written on the global queue,
/// its result on the main queue. If memory runs out, a change may go unrecorded; the sync itself continues.
class SyncTracker final : public base::ForkParticipant {
 public:
  [[nodiscard]] static SyncTracker& shared();
  SyncTracker();

  // For hosts; see TidewellCore.
  [[nodiscard]] SyncStatus status();
  [[nodiscard]] SyncObservation observe(std::function<void(const SyncStatus&)> observer);
  /// `onSession` as in `platform::UrlSession::needsCallingThread`, of the session that transfers the reply.
  [[nodiscard]] SyncWait wait(std::chrono::milliseconds timeout, bool onSession);
  void stop(const std::shared_ptr<SyncObserver>& observer) noexcept;

  // For the sync.
  /// Null without a platform, and if out of memory.
  [[nodiscard]] std::unique_ptr<SyncAttempt> begin() noexcept;
  void noteNotDue(std::optional<base::Date> nextDue) noexcept;
  /// The stored sync time was removed.
  void noteReset() noexcept;

  /// No request of the parent ends in the child, so none is in flight there.
  void afterForkInChild() noexcept override;

 private:
  friend class SyncAttempt;
  struct PendingStore;
  using Garbage = std::vector<std::shared_ptr<const SyncRecord>>;

  /// Begins a new life if the platform has changed.
  void attach();
  void beginLife() TIDEWELL_REQUIRES(mutex_);
  void load();
  void end(const SyncAttempt& attempt, SyncResult result, std::optional<base::Date> nextDue) noexcept;
  [[nodiscard]] SyncStatus published() const;
  template <class Change>
  void publish(Garbage& garbage, Change&& change) TIDEWELL_REQUIRES(mutex_);
  /// Changes the record outside an attempt, and calls the observers.
  template <class Change>
  void note(Change&& change) noexcept;

  /// Stores a change that was counted in `pendingStores_`, on the global queue. A result is stored
  /// immediately on the main queue's thread, as the archive is, so that the code that runs next finds it
  /// stored.
  enum class When { nowOnTheMainQueue, later };
  void store(std::uint32_t life, When when) noexcept;
  /// Writes the file now.
  void write(std::uint32_t life);
  void storeEnded(std::uint32_t life) noexcept;
  /// Whether one of the attempts up to a number is in flight.
  [[nodiscard]] bool isInFlight(std::uint64_t lastNumber) const TIDEWELL_REQUIRES(mutex_);

  void announce() noexcept;
  void deliver();
  [[nodiscard]] bool isNext(const std::shared_ptr<SyncObserver>& observer, std::uint64_t version);

  std::atomic<const SyncRecord*> current_{nullptr};
  std::atomic<std::uint32_t> inFlightCount_{0};
  std::atomic<const platform::Platform*> platform_{nullptr};
  std::atomic<bool> isLoaded_{false};

  base::StateMutex mutex_;
  base::StateCondition changed_;
  base::SnapshotPublisher<SyncRecord> publisher_ TIDEWELL_GUARDED_BY(mutex_){current_};
  /// Changes with the process (in the child of a fork) and with the platform. Attempts and writes that began
  /// in an earlier life are ignored.
  std::uint32_t life_ TIDEWELL_GUARDED_BY(mutex_) = 1;
  std::uint64_t lastNumber_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  std::vector<std::uint64_t> inFlight_ TIDEWELL_GUARDED_BY(mutex_);  ///< the numbers of attempts
  bool isDueKnown_ TIDEWELL_GUARDED_BY(mutex_) = false;
  std::uint64_t toStore_ TIDEWELL_GUARDED_BY(mutex_) = 0;  ///< counts the changes that the file should hold
  std::uint64_t stored_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  std::uint32_t pendingStores_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  bool isForeign_ TIDEWELL_GUARDED_BY(mutex_) = false;  ///< the file cannot be decoded
  std::vector<std::shared_ptr<SyncObserver>> observers_ TIDEWELL_GUARDED_BY(mutex_);
  std::uint64_t version_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  std::uint64_t delivered_ TIDEWELL_GUARDED_BY(mutex_) = 0;

  base::WorkMutex storeMutex_;  // acquired before `mutex_`
  std::string reported_ TIDEWELL_GUARDED_BY(storeMutex_);
};

}  // namespace tidewell
