#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/HazardPointer.h"
#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

namespace tidewell {

/// What publishing leaves to do when the locks are released: make it before they are taken.
struct DeferredWork {
  DeferredWork() = default;
  DeferredWork(const DeferredWork&) = delete;
  DeferredWork& operator=(const DeferredWork&) = delete;
  /// Has new expressions compiled, and frees what nobody reads any more.
  ~DeferredWork();

  std::vector<std::shared_ptr<const CompiledConfig>> garbage;
  std::shared_ptr<const RestrictedExpressions> newExpressions;
};

/// What the questions of one manager read. Callers of `publish` take turns.
class ConfigPublication {
 public:
  ConfigPublication(std::atomic<std::uint32_t>& gates, std::atomic<const CompiledConfig*>& current)
      : gates_(gates), publisher_(current) {}
  /// After this the next `publish` needs no memory.
  void makeRoom() { publisher_.makeRoom(); }
  /// Puts a snapshot in force for the questions; the old one waits for `reclaim`.
  void publish(std::shared_ptr<const CompiledConfig> snapshot, DeferredWork& deferred);
  /// Takes back what no question can read any more. Call it after `heavyFence`.
  void reclaim(DeferredWork& deferred) noexcept;
  /// Both.
  void replace(std::shared_ptr<const CompiledConfig> snapshot, DeferredWork& deferred);

 private:
  std::atomic<std::uint32_t>& gates_;
  base::SnapshotPublisher<CompiledConfig> publisher_;
};

/// The record behind a `TWConfig`: the snapshot in force, who reads it, and what this process has written.
///
/// Any thread. Readers take no lock; writers take turns under one lock, over no foreign code.
class ConfigRecord {
 public:
  explicit ConfigRecord(TWConfigFields fields);
  ConfigRecord(const ConfigRecord&) = delete;
  ConfigRecord& operator=(const ConfigRecord&) = delete;

  [[nodiscard]] base::SnapshotGuard<CompiledConfig> read() const {
    return base::SnapshotGuard<CompiledConfig>(current_);
  }

  /// Puts the change in force, and remembers that this process has written those properties.
  void apply(const ConfigChange& change);
  /// Takes the fields of `properties` from another record, but for those that this process has written.
  void adopt(const TWConfigFields& fields, PropertySet properties);

  /// Counts every field as written by this process.
  void claim();
  /// What this process has written.
  [[nodiscard]] PropertySet written() const;

  /// After this the next `attach` needs no memory.
  void makeRoomForAttachment();
  /// Makes room in a publication that is attached to this record, whose writers may be using it.
  void makeRoomIn(ConfigPublication& publication);
  /// From now on, and until it is detached, every change is published there, too.
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
