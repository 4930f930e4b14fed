// SPDX-License-Identifier: Apache-2.0
// Frequent queries. The rest of the class is in TWConfigManager.cpp.
#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/HazardPointer.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"
#include "tidewell/core/TWConfigManager/internal/ManagerLog.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

template <Gate gate>
inline bool answer(const std::atomic<GateWord>& gates, const std::atomic<const CompiledConfig*>& current) {
  static_assert(hasRule(gate), "the gate has no row in kGateRules");
  // Pairs with the store in `publish`: a snapshot read afterwards is at least as new as the word.
  const GateWord answers = gates.load(std::memory_order_acquire);
  if ((answers & raisesBit(gate)) != 0) [[unlikely]] {
    const auto snapshot = base::SnapshotGuard(current).retain();
    return answerGate(gate, snapshot->fields);
  }
  return (answers & trueBit(gate)) != 0;
}

constexpr LogCoordinates kBlackListed = managerAt(400, "isEventBlackListed:");
constexpr LogCoordinates kInstantFlush = managerAt(423, "isEventInstantFlushEvent:");
constexpr LogCoordinates kWhitelisted = managerAt(564, "isEventWhitelistedEvent:");

using ListMember = std::shared_ptr<const EventList> CompiledConfig::*;

/// Looks a name up in a list that may raise, or if the fast path is unavailable.
template <ListMember list, const LogCoordinates& where>
[[gnu::noinline]] bool isListedSlowly(std::string_view name,
                                      const std::atomic<const CompiledConfig*>& current) {
  return guarded(where, false,
                 [&] { return ((*base::SnapshotGuard(current).retain()).*list)->contains(name); });
}

/// A template, so that each query is compiled without a call.
template <ListMember list, const LogCoordinates& where>
bool isListed(const std::optional<std::string_view>& name,
              const std::atomic<const CompiledConfig*>& current) {
  if (!name || name->empty()) return false;
  bool isInList = false;
  const bool isKnown = base::lookQuickly(current, [&](const CompiledConfig& config) {
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

TWDataRegion TWConfigManager::getDataRedirectionRegion() const {
  return guarded(managerAt(589, "getDataRedirectionRegion"), TWDataRegionDefault, [&] {
    const base::Value region = base::SnapshotGuard(current_)->fields.dataRedirectionRegion;
    if (region.isEqualToString(CONFIG_DATA_REGION_SERV3)) return TWDataRegionServ3;
    if (region.isEqualToString(CONFIG_DATA_REGION_EU)) return TWDataRegionEurope;
    return TWDataRegionDefault;
  });
}

bool TWConfigManager::isAccountActive() const { return answer<Gate::accountActive>(gates_, current_); }
bool TWConfigManager::isInAppServiceActive() const {
  return answer<Gate::inAppServiceActive>(gates_, current_);
}
bool TWConfigManager::isGeofenceServiceActive() const {
  return answer<Gate::geofenceServiceActive>(gates_, current_);
}
bool TWConfigManager::isInboxServiceActive() const {
  return answer<Gate::inboxServiceActive>(gates_, current_);
}
bool TWConfigManager::isLogentriesEnabled() const {
  return answer<Gate::logentriesEnabled>(gates_, current_);
}
bool TWConfigManager::isPeriodicSyncEnabled() const {
  return answer<Gate::periodicSyncEnabled>(gates_, current_);
}
bool TWConfigManager::isDeviceTriggerEnabled() const {
  return answer<Gate::deviceTriggerEnabled>(gates_, current_);
}
bool TWConfigManager::isDataTrackingEnabled() const {
  return answer<Gate::dataTrackingEnabled>(gates_, current_);
}
bool TWConfigManager::isUserPushEnabled() const { return answer<Gate::userPushEnabled>(gates_, current_); }
bool TWConfigManager::isUserInAppEnabled() const { return answer<Gate::userInAppEnabled>(gates_, current_); }

bool TWConfigManager::answerOfGate(std::uint32_t number) noexcept {
  const TWConfigManager* const manager = shared_.load(std::memory_order_acquire);
  if (manager != nullptr && number < kGateCount) [[likely]] {
    const GateWord answers = manager->gates_.load(std::memory_order_acquire) >> number;
    if ((answers & raisesBit(Gate{})) == 0) [[likely]]
      return (answers & trueBit(Gate{})) != 0;
  }
  return answerOfGateSlowly(number);
}
/// Without an instance, and for a gate whose evaluation raises.
[[gnu::noinline]] bool TWConfigManager::answerOfGateSlowly(std::uint32_t number) noexcept {
  if (number >= kGateCount) return false;
  const base::CancellationShield shield;
  try {
    const TWConfigManager& manager = sharedInstance();
    const auto snapshot = base::SnapshotGuard(manager.current_).retain();
    return answerGate(static_cast<Gate>(number), snapshot->fields);
  } catch (...) {
    return false;
  }
}

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
  return base::SnapshotGuard(current_)->fields.blackListedEventsArray;
}
base::Value TWConfigManager::getInstantFlushEvents() const {
  return base::SnapshotGuard(current_)->fields.instantFlushEventsArray;
}
base::Value TWConfigManager::getWhitelistedEvents() const {
  return base::SnapshotGuard(current_)->fields.dataTrackingOptedOutWhitelistedEventsArray;
}
base::Value TWConfigManager::getSourceExtraKeys() const {
  return arrayForNil(base::SnapshotGuard(current_)->fields.analyticsSourceExtraKeysArray);
}
base::Value TWConfigManager::getRestrictedUniqueIDRegex() const {
  return arrayForNil(base::SnapshotGuard(current_)->fields.restrictedUniqueIDRegexArray);
}
base::Value TWConfigManager::getLogEntriesToken() const {
  return base::SnapshotGuard(current_)->fields.logEntriesToken;
}

std::int64_t TWConfigManager::getInboxDefaultExpiry() const {
  return durationOrDefault(base::SnapshotGuard(current_)->fields.inboxDefaultDuration,
                           TWConfigPropertyInboxDefaultDuration);
}
std::int64_t TWConfigManager::getPeriodicSyncDuration() const {
  return durationOrDefault(base::SnapshotGuard(current_)->fields.periodicSyncInterval,
                           TWConfigPropertyPeriodicSyncInterval);
}
std::int64_t TWConfigManager::getRealTimeTriggerSyncInterval() const {
  return durationOrDefault(base::SnapshotGuard(current_)->fields.deviceTriggerSyncDuration,
                           TWConfigPropertyDeviceTriggerSyncInterval);
}
std::int64_t TWConfigManager::getUserAttributeCachingDuration() const {
  return durationOrDefault(base::SnapshotGuard(current_)->fields.userAttrCachingDuration,
                           TWConfigPropertyUserAttrCacheInterval);
}
std::int64_t TWConfigManager::getSessionInActiveDuration() const {
  return durationOrDefault(base::SnapshotGuard(current_)->fields.analyticsSessionInactiveDuration,
                           TWConfigPropertySessionInactiveDuration);
}
std::int64_t TWConfigManager::getEventBatchCount() const {
  return static_cast<std::int64_t>(base::SnapshotGuard(current_)->fields.eventsBatchCount);
}

bool TWConfigManager::isUniqueIDRestricted(std::optional<std::string_view> uniqueID) const {
  if (!uniqueID) return true;
  const auto answer = base::SnapshotGuard(current_)->restrictedExpressions->match(*uniqueID);
  if (!answer.report.empty()) platform::report(answer.report);
  return answer.matches;
}

TWConfigManager::Restriction TWConfigManager::restrictionOfUniqueID(std::optional<std::string_view> uniqueID,
                                                                    std::string* reason) const noexcept {
  const base::CancellationShield shield;
  try {
    return isUniqueIDRestricted(uniqueID) ? Restriction::restricted : Restriction::unrestricted;
  } catch (...) {
    if (reason != nullptr) *reason = base::currentExceptionDescription();
    return Restriction::invalidExpression;
  }
}

}  // namespace tidewell
