// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <variant>

#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"
#include "tidewell/core/internal/RowOrder.h"

// The configuration's fields and gates, one row each. Groups, defaults, orders, bits and writers' rules are
// derived from the rows.

namespace tidewell {

/// The writer of a property. The numbers of a group need not be contiguous.
enum class ConfigGroup : std::uint8_t { status, duration, list, misc, optOut };

struct EmptyList {};
using ConfigDefault = std::variant<std::string_view, std::int64_t, EmptyList, bool>;
using ConfigMember =
    std::variant<base::Value TWConfigFields::*, std::uint64_t TWConfigFields::*, bool TWConfigFields::*>;

/// One field of the record: a row of `kConfigFields`.
struct ConfigField {
  TWConfigProperty property;
  std::string_view key;  ///< in the server's configuration and in the archive
  ConfigMember member;
  ConfigGroup group;
  ConfigDefault defaultValue;
  std::int8_t archivePlace;
  std::int8_t mergePlace;  ///< `kNoPlace`: set on the device, never by the server
};

/// The fields in the order of their numbers. A new one takes the next place in the archive and in the merge.
inline constexpr std::array kConfigFields = {
    ConfigField{TWConfigPropertyAccountStatus, CONFIG_ACCOUNT_STATUS, &TWConfigFields::accountStatus,
                ConfigGroup::status, CONFIG_STATUS_ALLOWED, 0, 0},
    ConfigField{TWConfigPropertyInAppStatus, CONFIG_INAPP_STATUS, &TWConfigFields::inAppServiceStatus,
                ConfigGroup::status, CONFIG_STATUS_ALLOWED, 1, 1},
    ConfigField{TWConfigPropertyInboxStatus, CONFIG_INBOX_STATUS, &TWConfigFields::inboxServiceStatus,
                ConfigGroup::status, CONFIG_STATUS_ALLOWED, 3, 2},
    ConfigField{TWConfigPropertyGeofenceStatus, CONFIG_GEOFENCE_STATUS,
                &TWConfigFields::geofenceServiceStatus, ConfigGroup::status, CONFIG_STATUS_ALLOWED, 2, 3},
    ConfigField{TWConfigPropertyLogentriesStatus, CONFIG_LOGENTRIES_STATUS,
                &TWConfigFields::logEntriesServiceStatus, ConfigGroup::status, CONFIG_STATUS_BLOCKED, 4, 4},
    ConfigField{TWConfigPropertyDeviceTriggerStatus, CONFIG_DEVICE_TRIGGER_STATUS,
                &TWConfigFields::deviceTriggerServiceStatus, ConfigGroup::status, CONFIG_STATUS_ALLOWED, 6,
                5},
    ConfigField{TWConfigPropertyPeriodicSyncStatus, CONFIG_PERIODIC_FLUSH_STATUS,
                &TWConfigFields::periodicSyncStatus, ConfigGroup::status, CONFIG_STATUS_ALLOWED, 5, 6},
    ConfigField{TWConfigPropertyInboxDefaultDuration, CONFIG_INBOX_DEFAULT_DURATION,
                &TWConfigFields::inboxDefaultDuration, ConfigGroup::duration, std::int64_t{30 * 24 * 3600}, 7,
                8},
    ConfigField{TWConfigPropertyPeriodicSyncInterval, CONFIG_PERIODIC_FLUSH_INTERVAL,
                &TWConfigFields::periodicSyncInterval, ConfigGroup::duration, std::int64_t{60}, 8, 7},
    ConfigField{TWConfigPropertyDeviceTriggerSyncInterval, CONFIG_DEVICE_TRIGGER_SYNC_INTERVAL,
                &TWConfigFields::deviceTriggerSyncDuration, ConfigGroup::duration, std::int64_t{3 * 3600}, 9,
                9},
    ConfigField{TWConfigPropertyUserAttrCacheInterval, CONFIG_USER_ATTR_CACHE_INTERVAL,
                &TWConfigFields::userAttrCachingDuration, ConfigGroup::duration, std::int64_t{1800}, 10, 10},
    ConfigField{TWConfigPropertySessionInactiveDuration, CONFIG_SESSION_INACTIVE_DURATION,
                &TWConfigFields::analyticsSessionInactiveDuration, ConfigGroup::duration, std::int64_t{1800},
                11, 11},
    ConfigField{TWConfigPropertyBlackListedEvents, CONFIG_BLACKLISTED_EVENTS_LIST,
                &TWConfigFields::blackListedEventsArray, ConfigGroup::list, EmptyList(), 12, 12},
    ConfigField{TWConfigPropertyDataTrackingWhitelistedEvents, CONFIG_DATA_TRACKING_WHITELISTED_EVENTS,
                &TWConfigFields::dataTrackingOptedOutWhitelistedEventsArray, ConfigGroup::list, EmptyList(),
                14, 14},
    ConfigField{TWConfigPropertyInstantFlushEvents, CONFIG_INSTANT_FLUSH_EVENTS,
                &TWConfigFields::instantFlushEventsArray, ConfigGroup::list, EmptyList(), 13, 13},
    ConfigField{TWConfigPropertySourceExtraKeys, CONFIG_SOURCE_EXTRA_KEYS,
                &TWConfigFields::analyticsSourceExtraKeysArray, ConfigGroup::list, EmptyList(), 15, 15},
    ConfigField{TWConfigPropertyRestrictedUniqueIDRegex, CONFIG_RESTRICTED_UNIQUE_ID_REGEX_KEYS,
                &TWConfigFields::restrictedUniqueIDRegexArray, ConfigGroup::list, EmptyList(), 16, 16},
    ConfigField{TWConfigPropertyEventsBatchCount, CONFIG_EVENTS_BATCH_COUNT,
                &TWConfigFields::eventsBatchCount, ConfigGroup::misc, std::int64_t{30}, 20, 18},
    ConfigField{TWConfigPropertyLogentriesToken, CONFIG_LOGENTRIES_TOKEN, &TWConfigFields::logEntriesToken,
                ConfigGroup::misc, std::string_view(""), 22, 17},
    ConfigField{TWConfigPropertyDataRedirectionRegion, CONFIG_DATA_REDIRECTION_REGION,
                &TWConfigFields::dataRedirectionRegion, ConfigGroup::misc, CONFIG_DATA_REGION_DEFAULT, 21,
                kNoPlace},
    ConfigField{TWConfigPropertyDataTrackingOptedOut, CONFIG_DATA_TRACKING_OPTED_OUT,
                &TWConfigFields::dataTrackingOptedOut, ConfigGroup::optOut, false, 17, kNoPlace},
    ConfigField{TWConfigPropertyUserPushOptedOut, CONFIG_USER_PUSH_OPTED_OUT,
                &TWConfigFields::userPushOptedOut, ConfigGroup::optOut, false, 18, kNoPlace},
    ConfigField{TWConfigPropertyUserInAppOptedOut, CONFIG_USER_INAPP_OPTED_OUT,
                &TWConfigFields::userInAppOptedOut, ConfigGroup::optOut, false, 19, kNoPlace},
};

/// The only unused number below the last one.
inline constexpr std::int64_t kPropertyHole = 7;

/// The row of a property; null for an unknown number.
[[nodiscard]] constexpr const ConfigField* fieldOf(std::int64_t property) noexcept {
  if (property < 0 || property == kPropertyHole) return nullptr;
  const auto row = static_cast<std::size_t>(property - (property > kPropertyHole ? 1 : 0));
  return row < kConfigFields.size() ? &kConfigFields[row] : nullptr;
}
/// The same for one group; null for any other number.
[[nodiscard]] constexpr const ConfigField* fieldOf(std::int64_t property, ConfigGroup group) noexcept {
  const ConfigField* const field = fieldOf(property);
  return field != nullptr && field->group == group ? field : nullptr;
}
static_assert(std::all_of(kConfigFields.begin(), kConfigFields.end(),
                          [](const ConfigField& row) { return fieldOf(row.property) == &row; }),
              "a row of kConfigFields is missing, doubled, or not at the place of its number");

/// The index of a row in `kConfigFields`.
[[nodiscard]] constexpr std::size_t rowOf(const ConfigField& field) noexcept {
  return static_cast<std::size_t>(&field - kConfigFields.data());
}

/// Whether default and member have the types that the group's writer stores.
[[nodiscard]] constexpr bool fitsItsGroup(const ConfigField& field) {
  const bool isObject = std::holds_alternative<base::Value TWConfigFields::*>(field.member);
  const bool isNumber = std::holds_alternative<std::uint64_t TWConfigFields::*>(field.member);
  const bool isText = std::holds_alternative<std::string_view>(field.defaultValue);
  const bool isCount = std::holds_alternative<std::int64_t>(field.defaultValue);
  switch (field.group) {
    case ConfigGroup::status:
      return isObject && isText;
    case ConfigGroup::duration:
      return isNumber && isCount;
    case ConfigGroup::list:
      return isObject && std::holds_alternative<EmptyList>(field.defaultValue);
    case ConfigGroup::misc:
      return (isObject && isText) || (isNumber && isCount);
    case ConfigGroup::optOut:
      return std::holds_alternative<bool TWConfigFields::*>(field.member) &&
             std::holds_alternative<bool>(field.defaultValue) && field.mergePlace == kNoPlace;
  }
  return false;
}
static_assert(std::all_of(kConfigFields.begin(), kConfigFields.end(), fitsItsGroup),
              "a row of kConfigFields does not fit its group");

/// Whether two rows have the same key.
[[nodiscard]] constexpr bool hasKeyTwice() {
  for (const ConfigField& field : kConfigFields) {
    const auto isSame = [&](const ConfigField& other) { return other.key == field.key; };
    if (std::count_if(kConfigFields.begin(), kConfigFields.end(), isSame) != 1) return true;
  }
  return false;
}
static_assert(!hasKeyTwice(), "two rows of kConfigFields share a key");

constexpr std::int8_t placeInArchive(const ConfigField& field) { return field.archivePlace; }
constexpr std::int8_t placeInMerge(const ConfigField& field) { return field.mergePlace; }
static_assert(countPlaces(kConfigFields, placeInArchive) == kConfigFields.size() &&
                  hasEveryPlaceOnce(kConfigFields, placeInArchive),
              "a place in the archive is missing or used twice");
static_assert(hasEveryPlaceOnce(kConfigFields, placeInMerge),
              "a place in the merge is missing or used twice");

/// The rows in archive order.
inline constexpr auto kArchiveOrder = rowsInOrder<kConfigFields.size()>(kConfigFields, placeInArchive);
/// The rows set by a reply, in the order of merging.
inline constexpr auto kMergeOrder =
    rowsInOrder<countPlaces(kConfigFields, placeInMerge)>(kConfigFields, placeInMerge);

/// A set of properties, one bit each.
using PropertySet = std::uint64_t;
static_assert(kConfigFields.back().property < 64, "a property's number does not fit into a PropertySet");
constexpr PropertySet propertyBit(TWConfigProperty property) { return PropertySet{1} << property; }

/// The properties whose rows satisfy a condition.
template <class Condition>
[[nodiscard]] constexpr PropertySet propertiesWhere(Condition condition) {
  PropertySet properties = 0;
  for (const ConfigField& field : kConfigFields) {
    if (condition(field)) properties |= propertyBit(field.property);
  }
  return properties;
}
inline constexpr PropertySet kAllProperties = propertiesWhere([](const ConfigField&) { return true; });
/// The properties set on the device, never by the server.
inline constexpr PropertySet kDeviceProperties =
    propertiesWhere([](const ConfigField& field) { return field.mergePlace == kNoPlace; });

/// The row of a member of the record. Does not compile if there is none.
template <auto member>
[[nodiscard]] consteval const ConfigField& fieldOfMember() {
  const ConfigField* found = nullptr;
  for (const ConfigField& field : kConfigFields) {
    const auto* const of = std::get_if<decltype(member)>(&field.member);
    if (of != nullptr && *of == member) found = &field;
  }
  return *found;
}

/// Queries whose results are bits of one word.
enum class Gate : std::uint32_t {
  accountActive,
  inAppServiceActive,
  geofenceServiceActive,
  inboxServiceActive,
  logentriesEnabled,
  periodicSyncEnabled,
  deviceTriggerEnabled,
  dataTrackingEnabled,
  userPushEnabled,
  userInAppEnabled,
};

/// The result of a gate whose status is nil.
enum class NilStatus : std::uint8_t { passes, fails };

/// The checks of a gate after the account's: a row of `kGateRules`.
struct GateRule {
  Gate gate;
  std::string_view selector;
  std::int32_t line;                              ///< in the log coordinates
  bool fallback;                                  ///< the result if the status is not a string
  base::Value TWConfigFields::*status = nullptr;  ///< must not be "blocked"
  NilStatus nilStatus = NilStatus::passes;
  bool TWConfigFields::*optOut = nullptr;  ///< must be false
  bool TWConfigFields::*secondOptOut = nullptr;
};

/// The gates in the order of `Gate`.
inline constexpr std::array kGateRules = {
    GateRule{Gate::accountActive, "isAccountActive", 238, true, &TWConfigFields::accountStatus},
    GateRule{Gate::inAppServiceActive, "isInAppServiceActive", 259, true, &TWConfigFields::inAppServiceStatus,
             NilStatus::passes, &TWConfigFields::userInAppOptedOut},
    GateRule{Gate::geofenceServiceActive, "isGeofenceServiceActive", 285, true,
             &TWConfigFields::geofenceServiceStatus, NilStatus::passes, &TWConfigFields::userPushOptedOut,
             &TWConfigFields::dataTrackingOptedOut},
    GateRule{Gate::inboxServiceActive, "isInboxServiceActive", 306, true, &TWConfigFields::inboxServiceStatus,
             NilStatus::passes, &TWConfigFields::userPushOptedOut},
    GateRule{Gate::logentriesEnabled, "isLogentriesEnabled", 328, false,
             &TWConfigFields::logEntriesServiceStatus, NilStatus::fails},
    GateRule{Gate::periodicSyncEnabled, "isPeriodicSyncEnabled", 348, false,
             &TWConfigFields::periodicSyncStatus},
    GateRule{Gate::deviceTriggerEnabled, "isDeviceTriggerEnabled", 368, false,
             &TWConfigFields::deviceTriggerServiceStatus, NilStatus::fails,
             &TWConfigFields::userPushOptedOut},
    GateRule{Gate::dataTrackingEnabled, "isDataTrackingEnabled", 511, false, nullptr, NilStatus::passes,
             &TWConfigFields::dataTrackingOptedOut},
    GateRule{Gate::userPushEnabled, "isUserPushEnabled", 526, true, nullptr, NilStatus::passes,
             &TWConfigFields::userPushOptedOut},
    GateRule{Gate::userInAppEnabled, "isUserInAppEnabled", 541, false, nullptr, NilStatus::passes,
             &TWConfigFields::userInAppOptedOut},
};
inline constexpr std::uint32_t kGateCount = kGateRules.size();

/// Two bits per gate: its result, and whether evaluating it raises.
using GateWord = std::uint32_t;
inline constexpr std::uint32_t kRaisesShift = 4 * sizeof(GateWord);
static_assert(kGateCount <= kRaisesShift, "the gates do not fit into a GateWord");

/// Set if a gate's result is true.
constexpr GateWord trueBit(Gate gate) { return GateWord{1} << static_cast<std::uint32_t>(gate); }
/// Set if evaluating a gate raises; `answerGate` then evaluates it and logs.
constexpr GateWord raisesBit(Gate gate) { return trueBit(gate) << kRaisesShift; }

[[nodiscard]] constexpr bool hasRule(Gate gate) { return static_cast<std::uint32_t>(gate) < kGateCount; }
constexpr const GateRule& ruleOf(Gate gate) { return kGateRules[static_cast<std::size_t>(gate)]; }

/// Whether a member of the record belongs to a group; true for a null member.
template <class Type>
[[nodiscard]] constexpr bool isOfGroup(Type TWConfigFields::*member, ConfigGroup group) {
  return member == nullptr || std::any_of(kConfigFields.begin(), kConfigFields.end(), [&](const auto& field) {
           const auto* const of = std::get_if<Type TWConfigFields::*>(&field.member);
           return of != nullptr && *of == member && field.group == group;
         });
}
static_assert(std::all_of(kGateRules.begin(), kGateRules.end(),
                          [](const GateRule& rule) {
                            return &ruleOf(rule.gate) == &rule &&
                                   isOfGroup(rule.status, ConfigGroup::status) &&
                                   isOfGroup(rule.optOut, ConfigGroup::optOut) &&
                                   isOfGroup(rule.secondOptOut, ConfigGroup::optOut);
                          }),
              "a row of kGateRules is not at the place of its gate, or asks a field of another group");

}  // namespace tidewell
