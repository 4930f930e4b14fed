#include "tidewell/core/TWConfigManager/TWConfigManager.h"

#include <mutex>
#include <new>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/base/internal/UnrecognizedSelector.h"
#include "tidewell/core/TWConfigManager/internal/ConfigArchive.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWConfigManager/internal/ConfigRecord.h"
#include "tidewell/core/TWConfigManager/internal/WrongClass.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

/// How long a downloaded configuration counts as recent, in seconds.
constexpr double kConfigSyncInterval = 3600;

constexpr LogCoordinates at(std::int32_t line, std::string_view selector) {
  return {"TWConfigManager", line, selector, "exception is %@"};
}

/// The properties that a reply sets, in the order in which they are merged. The region and the opt-outs are
/// not among them.
constexpr TWConfigProperty kMergedProperties[] = {
    TWConfigPropertyAccountStatus,
    TWConfigPropertyInAppStatus,
    TWConfigPropertyInboxStatus,
    TWConfigPropertyGeofenceStatus,
    TWConfigPropertyLogentriesStatus,
    TWConfigPropertyDeviceTriggerStatus,
    TWConfigPropertyPeriodicSyncStatus,
    TWConfigPropertyPeriodicSyncInterval,
    TWConfigPropertyInboxDefaultDuration,
    TWConfigPropertyDeviceTriggerSyncInterval,
    TWConfigPropertyUserAttrCacheInterval,
    TWConfigPropertySessionInactiveDuration,
    TWConfigPropertyBlackListedEvents,
    TWConfigPropertyInstantFlushEvents,
    TWConfigPropertyDataTrackingWhitelistedEvents,
    TWConfigPropertySourceExtraKeys,
    TWConfigPropertyRestrictedUniqueIDRegex,
    TWConfigPropertyLogentriesToken,
    TWConfigPropertyEventsBatchCount,
};

void reportTooLarge(PropertySet properties) {
  for (const TWConfigProperty property : kMergedProperties) {
    if ((properties & propertyBit(property)) == 0) continue;
    const PropertyBounds bounds = boundsOf(property);
    std::string text = "The configuration's " + std::string(keyOf(property)) +
                       " is too large and stays as it was: at most " + std::to_string(bounds.elements) +
                       " elements, " + std::to_string(bounds.bytes >> 10) + " KiB of text";
    if (property == TWConfigPropertyRestrictedUniqueIDRegex) {
      text += "; unique IDs are checked against the earlier list, if there is one";
    }
    platform::report(text);
  }
}

/// What questions read while no record is in force.
const std::shared_ptr<const CompiledConfig>& nothingKnown() {
  static constinit std::atomic<const std::shared_ptr<const CompiledConfig>*> nothing{nullptr};
  return base::madeOnce(nothing, [] {
    return std::make_unique<const std::shared_ptr<const CompiledConfig>>(CompiledConfig::compile({}));
  });
}

/// Held while the shared instance is made, which reads a file.
base::WorkMutex& makingSharedInstance() {
  static base::NeverDestroyed<base::WorkMutex> mutex;
  return *mutex;
}

const base::MadeWhenLoaded makingSharedInstanceMade(makingSharedInstance);

/// What is to be said when the locks are released: made before they are taken.
struct Tidings {
  Tidings() = default;
  Tidings(const Tidings&) = delete;
  Tidings& operator=(const Tidings&) = delete;
  ~Tidings() { tell(); }

  void tell() noexcept {
    try {
      if (std::exchange(madeDefaults, false)) logLine(kUnknownConfigProperty);
      for (const std::string& report : std::exchange(reports, {})) platform::report(report);
    } catch (...) {  // out of memory
    }
  }

  bool madeDefaults = false;
  ConfigArchive::Reports reports;
};

inline bool answer(Gate gate, const std::atomic<std::uint32_t>& gates,
                   const std::atomic<const CompiledConfig*>& current) {
  const std::uint32_t answers = gates.load(std::memory_order_acquire);
  if ((answers & raisesBit(gate)) != 0) [[unlikely]] {
    const auto snapshot = Reading(current).retain();
    return answerGate(gate, snapshot->fields);
  }
  return (answers & yesBit(gate)) != 0;
}

constexpr LogCoordinates kBlackListed = at(400, "isEventBlackListed:");
constexpr LogCoordinates kInstantFlush = at(423, "isEventInstantFlushEvent:");
constexpr LogCoordinates kWhitelisted = at(564, "isEventWhitelistedEvent:");

using ListMember = std::shared_ptr<const EventList> CompiledConfig::*;

/// The same for a list that may raise, and where there is no quick way.
template <ListMember list, const LogCoordinates& where>
[[gnu::noinline]] bool isListedSlowly(std::string_view name,
                                      const std::atomic<const CompiledConfig*>& current) {
  return guarded(where, false, [&] { return ((*Reading(current).retain()).*list)->contains(name); });
}

/// A template, so that each question is one piece of code without a call.
template <ListMember list, const LogCoordinates& where>
bool isListed(const std::optional<std::string_view>& name,
              const std::atomic<const CompiledConfig*>& current) {
  if (!name || name->empty()) return false;
  bool isInList = false;
  const bool isKnown = lookQuickly(current, [&](const CompiledConfig& config) {
    const EventList& events = *(config.*list);
    if (events.mayRaise()) return false;
    isInList = events.has(*name);
    return true;
  });
  return isKnown ? isInList : isListedSlowly<list, where>(*name, current);
}

std::int64_t durationOrDefault(std::uint64_t seconds, TWConfigProperty property) {
  return seconds != 0 ? static_cast<std::int64_t>(seconds)
                      : TWConfig::getDefaultValForDurationProperty(property);
}

base::Value arrayForNil(base::Value value) { return value ? std::move(value) : base::Value(base::Array()); }

}  // namespace

struct TWConfigManager::State {
  static constexpr int kConfigLevel = 10;  // a record is attached with it held

  explicit State(TWConfigManager& manager) : publication(manager.gates_, manager.current_) {}

  ConfigPublication publication;
  base::StateMutex configMutex{kConfigLevel};
  std::shared_ptr<TWConfig> config;      // under `configMutex`
  base::WorkMutex archiveMutex;          // taken before `configMutex`
  ConfigArchive archive;                 // under `archiveMutex`
  std::atomic<bool> isUnwritten{false};  // the archive lacks a change, for a reason that may pass
  std::atomic<bool> isUnmerged{false};   // memory was short for the last reply
  Tidings ofLoading;                     // only while the manager is made

  std::shared_ptr<TWConfig> current() {
    const std::lock_guard lock(configMutex);
    return config;
  }

  void put(std::shared_ptr<TWConfig> next) {
    Aftermath aftermath;
    const std::lock_guard lock(configMutex);
    putLocked(next, aftermath);  // the earlier record dies after the lock
  }

  /// Puts a record in force unless another thread has put one meanwhile; answers the one in force.
  std::shared_ptr<TWConfig> putWhereThereIsNone(std::shared_ptr<TWConfig> next) {
    Aftermath aftermath;
    const std::lock_guard lock(configMutex);
    if (!config) putLocked(next, aftermath);
    return config;
  }

  /// Swaps `next` for the record in force, with `configMutex` held.
  void putLocked(std::shared_ptr<TWConfig>& next, Aftermath& aftermath) {
    // First what may fail: the record in force stays attached then.
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
      publication.replace(nothingKnown(), aftermath);
    }
  }

  /// The record in force; where there is none, that of the archive is put in force, or one of defaults.
  std::shared_ptr<TWConfig> currentOrLoaded(Tidings& tidings) {
    if (auto known = current()) return known;
    const std::lock_guard lock(archiveMutex);
    if (auto known = current()) return known;
    std::optional<TWConfigFields> fields = archive.load(ConfigArchive::path(), tidings.reports);
    tidings.madeDefaults = !fields;
    isUnwritten = archive.hasUnwritten();
    return putWhereThereIsNone(
        std::shared_ptr<TWConfig>(new TWConfig(fields ? std::move(*fields) : defaultFields())));
  }

  std::shared_ptr<TWConfig> currentOrLoaded() {
    Tidings tidings;
    return currentOrLoaded(tidings);
  }

  void store(const std::optional<std::string>& path, const TWConfig& record) {
    Tidings tidings;
    const std::lock_guard lock(archiveMutex);
    isUnwritten = true;  // also where memory is short now
    isUnwritten = !archive.store(path, recordOf(record), tidings.reports);
  }

  /// Writes what an earlier fault kept from the archive.
  void storeUnwritten() noexcept {
    if (!isUnwritten) return;
    try {
      if (const auto record = current()) store(ConfigArchive::path(), *record);
    } catch (...) {  // it waits for the next occasion
    }
  }

  /// Writes a property that is set on the device, and the archive.
  void set(TWConfigProperty property, const base::Value& value) {
    const std::optional<std::string> path = ConfigArchive::path();
    const std::shared_ptr<TWConfig> record = currentOrLoaded();
    record->updateConfigProperty(property, value);
    store(path, *record);
  }

  /// Merges a reply into the record in force, and writes the archive.
  void merge(const base::Value& response) {
    const std::optional<std::string> path = ConfigArchive::path();
    const std::shared_ptr<TWConfig> record = currentOrLoaded();
    const base::Dictionary empty;
    const base::Dictionary* const reply = response ? response.dictionary() : &empty;
    if (reply == nullptr) base::raiseUnrecognizedSelector(response, "validObjectForKey:");

    ConfigChange change;
    std::string_view line;
    const auto publish = [&] {
      const PropertySet tooLarge = propertiesOutOfBounds(change.fields, change.properties);
      change.properties &= ~tooLarge;
      recordOf(*record).apply(change);
      if (!line.empty()) logLine(line);
      reportTooLarge(tooLarge);
    };
    try {
      for (const TWConfigProperty property : kMergedProperties) {
        const std::string_view said = change.write(property, validObjectForKey(*reply, keyOf(property)));
        if (!said.empty()) line = said;
      }
    } catch (const std::bad_alloc&) {
      throw;  // no fault of the reply's: nothing of it counts
    } catch (...) {
      publish();  // what came before the value that raised
      throw;
    }
    publish();
    store(path, *record);
  }
};

ConfigRecord& TWConfigManager::recordOf(const TWConfig& config) { return *config.record_; }

constinit std::atomic<TWConfigManager*> TWConfigManager::shared_{nullptr};

TWConfigManager& TWConfigManager::makeSharedInstance() {
  TWConfigManager* instance = nullptr;
  {
    const std::lock_guard lock(makingSharedInstance());
    instance = shared_.load(std::memory_order_acquire);
    if (instance) return *instance;
    instance = new TWConfigManager(Quietly::yes);  // never destroyed
    shared_.store(instance, std::memory_order_release);
  }
  // What loading has to say may reach code of the host's, which may ask for the instance: so it is said when
  // there is one.
  instance->state_->ofLoading.tell();
  return *instance;
}

TWConfigManager::TWConfigManager() : TWConfigManager(Quietly::yes) { state_->ofLoading.tell(); }

TWConfigManager::TWConfigManager(Quietly) : state_(std::make_unique<State>(*this)) {
  state_->currentOrLoaded(state_->ofLoading);
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
  if (state_->isUnmerged) return true;
  platform::Platform& platform = platform::Platform::current();
  const base::Value lastUpdated = platform.standardUserDefaults().objectForKey(kConfigLastUpdatedKey);
  const base::Date* const date = lastUpdated.date();
  if (date == nullptr) return true;
  const base::Date due{date->secondsSince1970 + kConfigSyncInterval};
  return !TWDateUtils::isDate1LaterToDate2(due, platform.clock().now());
}

void TWConfigManager::updateConfigFromResponse(const base::Value& response) {
  guarded(at(118, "updateConfigFromResponse:"), [&] {
    state_->isUnmerged = false;
    try {
      state_->merge(response);
      printCurrentServicesStatus();
    } catch (const std::bad_alloc&) {
      state_->isUnmerged = true;  // the next occasion syncs again
      throw;
    }
  });
}

void TWConfigManager::setDataRedirectionRegion(TWDataRegion region) {
  guarded(at(142, "setDataRedirectionRegion:"), [&] {
    std::string_view text = CONFIG_DATA_REGION_DEFAULT;
    if (region == TWDataRegionServ3) text = CONFIG_DATA_REGION_SERV3;
    if (region == TWDataRegionEurope) text = CONFIG_DATA_REGION_EU;
    state_->set(TWConfigPropertyDataRedirectionRegion, text);
  });
}

TWDataRegion TWConfigManager::getDataRedirectionRegion() const {
  return guarded(at(589, "getDataRedirectionRegion"), TWDataRegionDefault, [&] {
    const base::Value region = Reading(current_)->fields.dataRedirectionRegion;
    if (region.isEqualToString(CONFIG_DATA_REGION_SERV3)) return TWDataRegionServ3;
    if (region.isEqualToString(CONFIG_DATA_REGION_EU)) return TWDataRegionEurope;
    return TWDataRegionDefault;
  });
}

bool TWConfigManager::isAccountActive() const { return answer(Gate::accountActive, gates_, current_); }
bool TWConfigManager::isInAppServiceActive() const {
  return answer(Gate::inAppServiceActive, gates_, current_);
}
bool TWConfigManager::isGeofenceServiceActive() const {
  return answer(Gate::geofenceServiceActive, gates_, current_);
}
bool TWConfigManager::isInboxServiceActive() const {
  return answer(Gate::inboxServiceActive, gates_, current_);
}
bool TWConfigManager::isLogentriesEnabled() const {
  return answer(Gate::logentriesEnabled, gates_, current_);
}
bool TWConfigManager::isPeriodicSyncEnabled() const {
  return answer(Gate::periodicSyncEnabled, gates_, current_);
}
bool TWConfigManager::isDeviceTriggerEnabled() const {
  return answer(Gate::deviceTriggerEnabled, gates_, current_);
}
bool TWConfigManager::isDataTrackingEnabled() const {
  return answer(Gate::dataTrackingEnabled, gates_, current_);
}
bool TWConfigManager::isUserPushEnabled() const { return answer(Gate::userPushEnabled, gates_, current_); }
bool TWConfigManager::isUserInAppEnabled() const { return answer(Gate::userInAppEnabled, gates_, current_); }

bool TWConfigManager::isEventBlackListed(const std::optional<std::string_view>& eventName) const {
  return isListed<&CompiledConfig::blackListedEvents, kBlackListed>(eventName, current_);
}
bool TWConfigManager::isEventInstantFlushEvent(const std::optional<std::string_view>& eventName) const {
  return isListed<&CompiledConfig::instantFlushEvents, kInstantFlush>(eventName, current_);
}
bool TWConfigManager::isEventWhitelistedEvent(const std::optional<std::string_view>& eventName) const {
  return isListed<&CompiledConfig::whitelistedEvents, kWhitelisted>(eventName, current_);
}

base::Value TWConfigManager::getBlackListedEvents() const {
  return Reading(current_)->fields.blackListedEventsArray;
}
base::Value TWConfigManager::getInstantFlushEvents() const {
  return Reading(current_)->fields.instantFlushEventsArray;
}
base::Value TWConfigManager::getWhitelistedEvents() const {
  return Reading(current_)->fields.dataTrackingOptedOutWhitelistedEventsArray;
}
base::Value TWConfigManager::getSourceExtraKeys() const {
  return arrayForNil(Reading(current_)->fields.analyticsSourceExtraKeysArray);
}
base::Value TWConfigManager::getRestrictedUniqueIDRegex() const {
  return arrayForNil(Reading(current_)->fields.restrictedUniqueIDRegexArray);
}
base::Value TWConfigManager::getLogEntriesToken() const { return Reading(current_)->fields.logEntriesToken; }

std::int64_t TWConfigManager::getInboxDefaultExpiry() const {
  return durationOrDefault(Reading(current_)->fields.inboxDefaultDuration,
                           TWConfigPropertyInboxDefaultDuration);
}
std::int64_t TWConfigManager::getPeriodicSyncDuration() const {
  return durationOrDefault(Reading(current_)->fields.periodicSyncInterval,
                           TWConfigPropertyPeriodicSyncInterval);
}
std::int64_t TWConfigManager::getRealTimeTriggerSyncInterval() const {
  return durationOrDefault(Reading(current_)->fields.deviceTriggerSyncDuration,
                           TWConfigPropertyDeviceTriggerSyncInterval);
}
std::int64_t TWConfigManager::getUserAttributeCachingDuration() const {
  return durationOrDefault(Reading(current_)->fields.userAttrCachingDuration,
                           TWConfigPropertyUserAttrCacheInterval);
}
std::int64_t TWConfigManager::getSessionInActiveDuration() const {
  return durationOrDefault(Reading(current_)->fields.analyticsSessionInactiveDuration,
                           TWConfigPropertySessionInactiveDuration);
}
std::int64_t TWConfigManager::getEventBatchCount() const {
  return static_cast<std::int64_t>(Reading(current_)->fields.eventsBatchCount);
}

bool TWConfigManager::isUniqueIDRestricted(std::optional<std::string_view> uniqueID) const {
  if (!uniqueID) return true;
  const auto answer = Reading(current_)->restrictedExpressions->match(*uniqueID);
  if (!answer.report.empty()) platform::report(answer.report);
  return answer.matches;
}

TWConfigManager::Restriction TWConfigManager::restrictionOfUniqueID(std::optional<std::string_view> uniqueID,
                                                                    std::string* reason) const noexcept {
  try {
    return isUniqueIDRestricted(uniqueID) ? Restriction::restricted : Restriction::unrestricted;
  } catch (...) {
    if (reason != nullptr) *reason = base::currentExceptionDescription();
    return Restriction::invalidExpression;
  }
}

void TWConfigManager::setDataTrackingOptedOut(bool optedOut) {
  guarded(at(474, "setDataTrackingOptedOut:"),
          [&] { state_->set(TWConfigPropertyDataTrackingOptedOut, optedOut); });
}
void TWConfigManager::setUserPushNotificationOptedOut(bool optedOut) {
  guarded(at(485, "setUserPushNotificationOptedOut:"),
          [&] { state_->set(TWConfigPropertyUserPushOptedOut, optedOut); });
}
void TWConfigManager::setUserInAppNotificationOptedOut(bool optedOut) {
  guarded(at(497, "setUserInAppNotificationOptedOut:"),
          [&] { state_->set(TWConfigPropertyUserInAppOptedOut, optedOut); });
}

}  // namespace tidewell
