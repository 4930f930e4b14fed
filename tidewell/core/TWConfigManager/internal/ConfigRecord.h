// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/HazardPointer.h"
#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

namespace tidewell {

/// Work that publishing defers until after unlocking. Construct it before locking.
struct DeferredWork {
  DeferredWork() = default;
  DeferredWork(const DeferredWork&) = delete;
  DeferredWork& operator=(const DeferredWork&) = delete;
  /// Schedules compilation of new expressions and frees snapshots without readers.
  ~DeferredWork();

  std::vector<std::shared_ptr<const CompiledConfig>> garbage;
  std::shared_ptr<const RestrictedExpressions> newExpressions;
};

/// The snapshot read by the queries of one manager. Callers must serialise calls of `publish`.
class ConfigPublication {
 public:
  ConfigPublication(std::atomic<GateWord>& gates, std::atomic<const CompiledConfig*>& current)
      : gates_(gates), publisher_(current) {}
  /// Reserves memory so that the next `publish` cannot fail.
  void makeRoom() { publisher_.makeRoom(); }
  /// Publishes a snapshot; the previous one is retired until `reclaim`.
  void publish(std::shared_ptr<const CompiledConfig> snapshot, DeferredWork& deferred);
  /// Frees retired snapshots without readers. Call after `heavyFence`.
  void reclaim(DeferredWork& deferred) noexcept;
  /// Publishes and reclaims.
  void replace(std::shared_ptr<const CompiledConfig> snapshot, DeferredWork& deferred);

 private:
  std::atomic<GateWord>& gates_;
  base::SnapshotPublisher<CompiledConfig> publisher_;
};

/// The record behind a `TWConfig`: the current snapshot, its publications, and the set of properties that
/// this process has written.
///
/// Any thread. Readers take no lock; writers are serialised by a lock that is never held over foreign code.
class ConfigRecord {
 public:
  explicit ConfigRecord(TWConfigFields fields);
  ConfigRecord(const ConfigRecord&) = delete;
  ConfigRecord& operator=(const ConfigRecord&) = delete;

  [[nodiscard]] base::SnapshotGuard<CompiledConfig> read() const {
    return base::SnapshotGuard<CompiledConfig>(current_);
  }

  /// Applies the change and marks its properties as written by this process.
  void apply(const ConfigChange& change);
  /// Copies the fields of `properties` from another record, except those that this process has written.
  void adopt(const TWConfigFields& fields, PropertySet properties);

  /// Marks every field as written by this process.
  void claim();
  /// The properties that this process has written.
  [[nodiscard]] PropertySet written() const;

  /// Reserves memory so that the next `attach` cannot fail.
  void makeRoomForAttachment();
  /// Reserves memory in an attached publication, which the record's writers may be using.
  void makeRoomIn(ConfigPublication& publication);
  /// Publishes every change there, too, until it is detached.
  void attach(ConfigPublication& publication);
  void detach(ConfigPublication& publication);

 private:
  void replace(const TWConfigFields& fields, PropertySet properties, DeferredWork& deferred)
      TIDEWELL_REQUIRES(mutex_);

  std::atomic<const CompiledConfig*> current_{nullptr};
  mutable base::StateMutex mutex_{20};
  base::SnapshotPublisher<CompiledConfig> publisher_ TIDEWELL_GUARDED_BY(mutex_){current_};
  std::vector<ConfigPublication*> publications_ TIDEWELL_GUARDED_BY(mutex_);
  PropertySet written_ TIDEWELL_GUARDED_BY(mutex_) = 0;
};

}  // namespace tidewell
