// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/TWConfigManager.h"

#include <new>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/base/internal/UnrecognizedSelector.h"
#include "tidewell/core/TWConfigManager/internal/ConfigArchive.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWConfigManager/internal/ConfigMerge.h"
#include "tidewell/core/TWConfigManager/internal/ConfigRecord.h"
#include "tidewell/core/TWConfigManager/internal/Explainer.h"
#include "tidewell/core/TWConfigManager/internal/ManagerLog.h"
#include "tidewell/core/TWConfigManager/internal/ReplyMerge.h"
#include "tidewell/core/TWConfigManager/internal/WrongClass.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/core/internal/Installation.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

void reportTooLarge(PropertySet properties) {
  for (const std::uint8_t row : kMergeOrder) {
    const TWConfigProperty property = kConfigFields[row].property;
    if ((properties & propertyBit(property)) == 0) continue;
    const PropertyBounds bounds = boundsOf(property);
    std::string text = "The configuration's " + std::string(kConfigFields[row].key) +
                       " is too large and stays as it was: at most " + std::to_string(bounds.elements) +
                       " elements, " + std::to_string(bounds.bytes >> 10) + " KiB of text";
    if (property == TWConfigPropertyRestrictedUniqueIDRegex) {
      text += "; unique IDs are checked against the earlier list, if there is one";
    }
    platform::report(text);
  }
}

/// The snapshot read by queries while there is no record.
const std::shared_ptr<const CompiledConfig>& emptySnapshot() {
  static constinit std::atomic<const std::shared_ptr<const CompiledConfig>*> snapshot{nullptr};
  return base::madeOnce(snapshot, [] {
    return std::make_unique<const std::shared_ptr<const CompiledConfig>>(CompiledConfig::compile({}));
  });
}

/// Held while the shared instance is created, which reads a file.
base::WorkMutex& makingSharedInstance() {
  static base::NeverDestroyed<base::WorkMutex> mutex;
  return *mutex;
}

const base::MadeWhenLoaded makingSharedInstanceMade(makingSharedInstance);

/// Reports to emit after unlocking. Construct it before locking.
struct PendingReports {
  PendingReports() = default;
  PendingReports(const PendingReports&) = delete;
  PendingReports& operator=(const PendingReports&) = delete;
  ~PendingReports() { emit(); }

  void emit() noexcept {
    try {
      if (std::exchange(madeDefaults, false)) logLine(kUnknownConfigProperty);
      for (const std::string& report : std::exchange(reports, {})) platform::report(report);
    } catch (...) {  // out of memory
    }
  }

  bool madeDefaults = false;
  ConfigArchive::Reports reports;
};

}  // namespace

struct TWConfigManager::State {
  static constexpr int kConfigLevel = 10;  // a record is attached with this mutex held

  explicit State(TWConfigManager& manager) : publication(manager.gates_, manager.current_) {}

  ConfigPublication publication;
  base::StateMutex configMutex{kConfigLevel};
  std::shared_ptr<TWConfig> config TIDEWELL_GUARDED_BY(configMutex);
  base::WorkMutex archiveMutex;  // acquired before `configMutex`
  ConfigArchive archive TIDEWELL_GUARDED_BY(archiveMutex);
  /// Whether the record was loaded from an archive.
  bool isLoaded TIDEWELL_GUARDED_BY(archiveMutex) = false;
  /// Whether the record was created before a platform was installed.
  bool isEarly TIDEWELL_GUARDED_BY(archiveMutex) = false;
  /// No value until needed.
  std::optional<ConfigOrigins> origins TIDEWELL_GUARDED_BY(archiveMutex);
  std::atomic<bool> isUnwritten{false};  // a change is missing from the archive for a temporary reason
  std::atomic<bool> isUnmerged{false};   // the last reply was not merged for lack of memory
  PendingReports reportsOfLoading;       // used only while the manager is constructed

  std::shared_ptr<TWConfig> current() {
    const base::MutexLock lock(configMutex);
    return config;
  }

  void put(std::shared_ptr<TWConfig> next) {
    DeferredWork deferred;
    const base::MutexLock lock(configMutex);
    putLocked(next, deferred);  // the previous record is destroyed after unlocking
  }

  /// Sets the record unless another thread has set one meanwhile; returns the current one.
  std::shared_ptr<TWConfig> putWhereThereIsNone(std::shared_ptr<TWConfig> next) {
    DeferredWork deferred;
    const base::MutexLock lock(configMutex);
    if (!config) putLocked(next, deferred);
    return config;
  }

  /// Swaps `next` with the current record.
  void putLocked(std::shared_ptr<TWConfig>& next, DeferredWork& deferred) TIDEWELL_REQUIRES(configMutex) {
    // Operations that can fail come first, so that the current record stays attached if they do.
    if (config) {
      recordOf(*config).makeRoomIn(publication);
    } else {
      publication.makeRoom();
    }
    if (next) recordOf(*next).makeRoomForAttachment();
    if (config) recordOf(*config).detach(publication);
    config.swap(next);
    if (config) {
      recordOf(*config).attach(publication);
    } else {
      publication.replace(emptySnapshot(), deferred);
    }
  }

  /// The current record. If there is none, first loads it from the archive or creates one of defaults.
  std::shared_ptr<TWConfig> currentOrLoaded(PendingReports& pending) {
    if (auto known = current()) return known;
    const base::MutexLock lock(archiveMutex);
    if (auto known = current()) return known;
    isEarly = !platform::Platform::isInstalled();
    std::optional<TWConfigFields> fields = archive.load(ConfigArchive::path(), pending.reports);
    pending.madeDefaults = !fields;
    isLoaded = fields.has_value();
    origins.reset();
    isUnwritten = archive.hasUnwritten();
    return putWhereThereIsNone(
        std::shared_ptr<TWConfig>(new TWConfig(fields ? std::move(*fields) : defaultFields())));
  }

  std::shared_ptr<TWConfig> currentOrLoaded() {
    PendingReports pending;
    return currentOrLoaded(pending);
  }

  /// Loads the archive into a record that was created before a platform was installed. What the host has set
  /// meanwhile stays, and is written at the next opportunity.
  void loadLate() {
    PendingReports pending;
    const base::MutexLock lock(archiveMutex);
    const std::shared_ptr<TWConfig> record = current();
    if (!isEarly || !record) return;
    isUnwritten = true;  // also if memory runs out below
    const std::optional<TWConfigFields> fields = archive.load(ConfigArchive::path(), pending.reports);
    if (fields) recordOf(*record).adopt(*fields, kAllProperties);
    isEarly = false;
    isLoaded = fields.has_value();
    origins.reset();
    isUnwritten = archive.hasUnwritten() || recordOf(*record).written() != 0;
  }

  void store(const std::optional<std::string>& path, const TWConfig& record) {
    PendingReports pending;
    const base::MutexLock lock(archiveMutex);
    isUnwritten = true;  // also if memory runs out below
    isUnwritten = !archive.store(path, recordOf(record), pending.reports);
  }

  /// Writes changes that an earlier failure kept out of the archive.
  void storeUnwritten() noexcept {
    if (!isUnwritten) return;
    const base::CancellationShield shield;
    try {
      if (const auto record = current()) store(ConfigArchive::path(), *record);
    } catch (...) {  // retried at the next opportunity
    }
  }

  static std::string originsPath(const std::string& archivePath) {
    return archivePath.substr(0, archivePath.rfind('/') + 1).append(kConfigOriginsFileName);
  }

  ConfigOrigins& knownOrigins(const std::optional<std::string>& path) TIDEWELL_REQUIRES(archiveMutex) {
    if (origins) return *origins;
    origins.emplace(isLoaded ? ConfigOrigins::Start::archive : ConfigOrigins::Start::defaults);
    if (!path) return *origins;
    const platform::FileContents file =
        platform::Platform::current().fileManager().contentsOfFile(originsPath(*path));
    if (auto kept = file.error ? std::nullopt : ConfigOrigins::read(file.contents)) origins = std::move(kept);
    return *origins;
  }

  /// Notes a change, and writes the file of origins. If two processes do so, the last one wins.
  template <class Change>
  void note(const std::optional<std::string>& path, Change change) noexcept {
    try {
      const base::Date now = platform::Platform::current().clock().now();
      const base::MutexLock lock(archiveMutex);
      change(knownOrigins(path), now);
      if (!path) return;
      static_cast<void>(
          platform::Platform::current().fileManager().replaceFile(originsPath(*path), origins->bytes()));
    } catch (...) {  // the earlier origins remain
    }
  }

  /// Sets a property of the device and writes the archive.
  void set(TWConfigProperty property, const base::Value& value) {
    const std::optional<std::string> path = ConfigArchive::path();
    const std::shared_ptr<TWConfig> record = currentOrLoaded();
    record->updateConfigProperty(property, value);
    store(path, *record);
    note(path, [property](ConfigOrigins& known, base::Date now) { known.noteChange(property, now); });
  }

  /// Merges a reply into the current record and writes the archive. Sets `stoppedAt` to the key of a value
  /// that cannot be merged, before it raises.
  void merge(const base::Value& response, std::string_view& stoppedAt) {
    const std::optional<std::string> path = ConfigArchive::path();
    const std::shared_ptr<TWConfig> record = currentOrLoaded();
    const base::Dictionary empty;
    const base::Dictionary* const reply = response ? response.dictionary() : &empty;
    if (reply == nullptr) base::raiseUnrecognizedSelector(response, "validObjectForKey:");

    const ReplyMerge merged(*reply);
    if (merged.stoppedAt != nullptr) stoppedAt = merged.stoppedAt->key;
    recordOf(*record).apply(merged.change);
    if (!merged.line.empty()) logLine(merged.line);
    reportTooLarge(merged.tooLarge);
    if (!merged.exception) store(path, *record);
    note(path, [&](ConfigOrigins& known, base::Date now) { known.noteReply(*reply, merged, now); });
    if (merged.exception) std::rethrow_exception(merged.exception);
  }
};

ConfigRecord& TWConfigManager::recordOf(const TWConfig& config) { return *config.record_; }

constinit std::atomic<TWConfigManager*> TWConfigManager::shared_{nullptr};

TWConfigManager& TWConfigManager::makeSharedInstance() {
  TWConfigManager* instance = nullptr;
  {
    const base::MutexLock lock(makingSharedInstance());
    instance = shared_.load(std::memory_order_acquire);
    if (instance) return *instance;
    instance = new TWConfigManager(Quietly::yes);  // never destroyed
    shared_.store(instance, std::memory_order_release);
  }
  // Reports from loading may run the host's code, which may ask for the instance, so they are emitted once
  // there is one.
  instance->state_->reportsOfLoading.emit();
  return *instance;
}

/// Handles the installation of a platform after the shared instance was created.
struct LateInstallation {
  static void handle(const platform::Platform&) noexcept {
    TWConfigManager* instance = nullptr;
    {
      // Waits for a thread that is creating the instance and found no platform.
      const base::MutexLock lock(makingSharedInstance());
      instance = TWConfigManager::shared_.load(std::memory_order_acquire);
    }
    if (instance == nullptr) return;
    const base::CancellationShield shield;
    try {
      instance->state_->loadLate();
    } catch (...) {  // out of memory, or a host's own platform raised: the next write of the archive reads it
    }
  }
};

namespace {
const base::MadeWhenLoaded installationHandled([] {
  setInstallationHandler(InstallationPart::configuration, &LateInstallation::handle);
});
}  // namespace

TWConfigManager::TWConfigManager() : TWConfigManager(Quietly::yes) { state_->reportsOfLoading.emit(); }

TWConfigManager::TWConfigManager(Quietly) : state_(std::make_unique<State>(*this)) {
  state_->currentOrLoaded(state_->reportsOfLoading);
}

TWConfigManager::~TWConfigManager() {
  if (const auto config = state_->current()) recordOf(*config).detach(state_->publication);
}

std::shared_ptr<TWConfig> TWConfigManager::tdwConfig() const { return state_->current(); }
void TWConfigManager::setTdwConfig(std::shared_ptr<TWConfig> config) {
  if (config) recordOf(*config).claim();
  state_->put(std::move(config));
}

std::optional<std::string> TWConfigManager::getFilePathForConfig() const { return ConfigArchive::path(); }

bool TWConfigManager::shouldSyncConfig() const {
  state_->storeUnwritten();
  return !ConfigMerge::nextDue(*this);
}

std::optional<base::Date> ConfigMerge::nextDue(const TWConfigManager& manager) {
  return manager.state_->isUnmerged ? std::nullopt : nextSyncDue();
}

std::optional<base::Date> nextSyncDue() {
  platform::Platform& platform = platform::Platform::current();
  const base::Value lastUpdated = platform.standardUserDefaults().objectForKey(kConfigLastUpdatedKey);
  const base::Date* const date = lastUpdated.date();
  if (date == nullptr) return std::nullopt;
  const base::Date due{date->secondsSince1970 + kConfigSyncInterval};
  if (!TWDateUtils::isDate1LaterToDate2(due, platform.clock().now())) return std::nullopt;
  return due;
}

void TWConfigManager::updateConfigFromResponse(const base::Value& response) {
  static_cast<void>(ConfigMerge::of(*this, response));
}

ConfigMerge ConfigMerge::of(TWConfigManager& manager, const base::Value& response) {
  ConfigMerge merge;
  guarded(managerAt(118, "updateConfigFromResponse:"), [&] {
    TWConfigManager::State& state = *manager.state_;
    state.isUnmerged = false;
    try {
      state.merge(response, merge.stoppedAt);
      manager.printCurrentServicesStatus();
      merge.isComplete = true;
    } catch (const std::bad_alloc&) {
      state.isUnmerged = true;  // makes the next sync due
      merge.reason = base::currentExceptionDescription();
      throw;
    } catch (...) {
      merge.reason = base::currentExceptionDescription();
      throw;
    }
  });
  return merge;
}

void TWConfigManager::setDataRedirectionRegion(TWDataRegion region) {
  guarded(managerAt(142, "setDataRedirectionRegion:"), [&] {
    std::string_view text = CONFIG_DATA_REGION_DEFAULT;
    if (region == TWDataRegionServ3) text = CONFIG_DATA_REGION_SERV3;
    if (region == TWDataRegionEurope) text = CONFIG_DATA_REGION_EU;
    state_->set(TWConfigPropertyDataRedirectionRegion, text);
  });
}

std::optional<Explanation> TWConfigManager::explanation(std::string_view question,
                                                        std::optional<std::string_view> argument) const {
  const auto snapshot = base::SnapshotGuard(current_).retain();
  const std::optional<std::string> path = ConfigArchive::path();
  Explainer explainer({snapshot, &snapshot->fields}, [&] {
    const base::MutexLock lock(state_->archiveMutex);
    return state_->knownOrigins(path);
  }());
  return explainer.explain(question, argument);
}

void TWConfigManager::setDataTrackingOptedOut(bool optedOut) {
  guarded(managerAt(474, "setDataTrackingOptedOut:"),
          [&] { state_->set(TWConfigPropertyDataTrackingOptedOut, optedOut); });
}
void TWConfigManager::setUserPushNotificationOptedOut(bool optedOut) {
  guarded(managerAt(485, "setUserPushNotificationOptedOut:"),
          [&] { state_->set(TWConfigPropertyUserPushOptedOut, optedOut); });
}
void TWConfigManager::setUserInAppNotificationOptedOut(bool optedOut) {
  guarded(managerAt(497, "setUserInAppNotificationOptedOut:"),
          [&] { state_->set(TWConfigPropertyUserInAppOptedOut, optedOut); });
}

}  // namespace tidewell
