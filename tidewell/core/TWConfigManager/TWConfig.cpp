// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/TWConfig.h"

#include <utility>
#include <variant>

#include "tidewell/core/TWConfigManager/internal/ConfigField.h"
#include "tidewell/core/TWConfigManager/internal/ConfigRecord.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

/// Applies one new value, unchanged.
template <auto member, class Type>
void set(ConfigRecord& record, Type value) {
  ConfigChange change;
  change.set(fieldOfMember<member>().property, member, std::move(value));
  record.apply(change);
}

/// Writes through one of the writers of `ConfigChange`, and logs its line.
void write(ConfigRecord& record, std::string_view (ConfigChange::*writer)(std::int64_t, const base::Value&),
           std::int64_t property, const base::Value& value) {
  ConfigChange change;
  const std::string_view line = (change.*writer)(property, value);
  record.apply(change);
  if (!line.empty()) logLine(line);
}

}  // namespace

TWConfig::TWConfig() : TWConfig(defaultFields()) { logLine(kUnknownConfigProperty); }
TWConfig::TWConfig(base::KeyedDecoder& decoder) : TWConfig(decodeFields(decoder)) {}
TWConfig::TWConfig(TWConfigFields fields) : record_(std::make_unique<ConfigRecord>(std::move(fields))) {}
TWConfig::~TWConfig() = default;

void TWConfig::encodeWithCoder(base::KeyedEncoder& encoder) const { encodeFields(*fields(), encoder); }

std::shared_ptr<const TWConfigFields> TWConfig::fields() const {
  const auto snapshot = record_->read().retain();
  return {snapshot, &snapshot->fields};
}

base::Value TWConfig::accountStatus() const { return record_->read()->fields.accountStatus; }
void TWConfig::setAccountStatus(base::Value value) {
  set<&TWConfigFields::accountStatus>(*record_, std::move(value));
}

base::Value TWConfig::inAppServiceStatus() const { return record_->read()->fields.inAppServiceStatus; }
void TWConfig::setInAppServiceStatus(base::Value value) {
  set<&TWConfigFields::inAppServiceStatus>(*record_, std::move(value));
}

base::Value TWConfig::inboxServiceStatus() const { return record_->read()->fields.inboxServiceStatus; }
void TWConfig::setInboxServiceStatus(base::Value value) {
  set<&TWConfigFields::inboxServiceStatus>(*record_, std::move(value));
}

base::Value TWConfig::geofenceServiceStatus() const { return record_->read()->fields.geofenceServiceStatus; }
void TWConfig::setGeofenceServiceStatus(base::Value value) {
  set<&TWConfigFields::geofenceServiceStatus>(*record_, std::move(value));
}

base::Value TWConfig::logEntriesServiceStatus() const {
  return record_->read()->fields.logEntriesServiceStatus;
}
void TWConfig::setLogEntriesServiceStatus(base::Value value) {
  set<&TWConfigFields::logEntriesServiceStatus>(*record_, std::move(value));
}

base::Value TWConfig::deviceTriggerServiceStatus() const {
  return record_->read()->fields.deviceTriggerServiceStatus;
}
void TWConfig::setDeviceTriggerServiceStatus(base::Value value) {
  set<&TWConfigFields::deviceTriggerServiceStatus>(*record_, std::move(value));
}

base::Value TWConfig::periodicSyncStatus() const { return record_->read()->fields.periodicSyncStatus; }
void TWConfig::setPeriodicSyncStatus(base::Value value) {
  set<&TWConfigFields::periodicSyncStatus>(*record_, std::move(value));
}

base::Value TWConfig::logEntriesToken() const { return record_->read()->fields.logEntriesToken; }
void TWConfig::setLogEntriesToken(base::Value value) {
  set<&TWConfigFields::logEntriesToken>(*record_, std::move(value));
}

base::Value TWConfig::blackListedEventsArray() const {
  return record_->read()->fields.blackListedEventsArray;
}
void TWConfig::setBlackListedEventsArray(base::Value value) {
  set<&TWConfigFields::blackListedEventsArray>(*record_, std::move(value));
}

base::Value TWConfig::instantFlushEventsArray() const {
  return record_->read()->fields.instantFlushEventsArray;
}
void TWConfig::setInstantFlushEventsArray(base::Value value) {
  set<&TWConfigFields::instantFlushEventsArray>(*record_, std::move(value));
}

base::Value TWConfig::dataTrackingOptedOutWhitelistedEventsArray() const {
  return record_->read()->fields.dataTrackingOptedOutWhitelistedEventsArray;
}
void TWConfig::setDataTrackingOptedOutWhitelistedEventsArray(base::Value value) {
  set<&TWConfigFields::dataTrackingOptedOutWhitelistedEventsArray>(*record_, std::move(value));
}

base::Value TWConfig::analyticsSourceExtraKeysArray() const {
  return record_->read()->fields.analyticsSourceExtraKeysArray;
}
void TWConfig::setAnalyticsSourceExtraKeysArray(base::Value value) {
  set<&TWConfigFields::analyticsSourceExtraKeysArray>(*record_, std::move(value));
}

base::Value TWConfig::restrictedUniqueIDRegexArray() const {
  return record_->read()->fields.restrictedUniqueIDRegexArray;
}
void TWConfig::setRestrictedUniqueIDRegexArray(base::Value value) {
  set<&TWConfigFields::restrictedUniqueIDRegexArray>(*record_, std::move(value));
}

std::uint64_t TWConfig::eventsBatchCount() const { return record_->read()->fields.eventsBatchCount; }
void TWConfig::setEventsBatchCount(std::uint64_t value) {
  set<&TWConfigFields::eventsBatchCount>(*record_, value);
}

std::uint64_t TWConfig::inboxDefaultDuration() const { return record_->read()->fields.inboxDefaultDuration; }
void TWConfig::setInboxDefaultDuration(std::uint64_t value) {
  set<&TWConfigFields::inboxDefaultDuration>(*record_, value);
}

std::uint64_t TWConfig::periodicSyncInterval() const { return record_->read()->fields.periodicSyncInterval; }
void TWConfig::setPeriodicSyncInterval(std::uint64_t value) {
  set<&TWConfigFields::periodicSyncInterval>(*record_, value);
}

std::uint64_t TWConfig::deviceTriggerSyncDuration() const {
  return record_->read()->fields.deviceTriggerSyncDuration;
}
void TWConfig::setDeviceTriggerSyncDuration(std::uint64_t value) {
  set<&TWConfigFields::deviceTriggerSyncDuration>(*record_, value);
}

std::uint64_t TWConfig::userAttrCachingDuration() const {
  return record_->read()->fields.userAttrCachingDuration;
}
void TWConfig::setUserAttrCachingDuration(std::uint64_t value) {
  set<&TWConfigFields::userAttrCachingDuration>(*record_, value);
}

std::uint64_t TWConfig::analyticsSessionInactiveDuration() const {
  return record_->read()->fields.analyticsSessionInactiveDuration;
}
void TWConfig::setAnalyticsSessionInactiveDuration(std::uint64_t value) {
  set<&TWConfigFields::analyticsSessionInactiveDuration>(*record_, value);
}

base::Value TWConfig::dataRedirectionRegion() const { return record_->read()->fields.dataRedirectionRegion; }
void TWConfig::setDataRedirectionRegion(base::Value value) {
  set<&TWConfigFields::dataRedirectionRegion>(*record_, std::move(value));
}

bool TWConfig::dataTrackingOptedOut() const { return record_->read()->fields.dataTrackingOptedOut; }
void TWConfig::setDataTrackingOptedOut(bool value) {
  set<&TWConfigFields::dataTrackingOptedOut>(*record_, value);
}

bool TWConfig::userPushOptedOut() const { return record_->read()->fields.userPushOptedOut; }
void TWConfig::setUserPushOptedOut(bool value) { set<&TWConfigFields::userPushOptedOut>(*record_, value); }

bool TWConfig::userInAppOptedOut() const { return record_->read()->fields.userInAppOptedOut; }
void TWConfig::setUserInAppOptedOut(bool value) { set<&TWConfigFields::userInAppOptedOut>(*record_, value); }

void TWConfig::updateConfigProperty(std::int64_t property, const base::Value& withValue) {
  write(*record_, &ConfigChange::write, property, withValue);
}
void TWConfig::updateStatusConfigProperty(std::int64_t property, const base::Value& withValue) {
  write(*record_, &ConfigChange::writeStatus, property, withValue);
}
void TWConfig::updateDurationConfigProperty(std::int64_t property, const base::Value& withValue) {
  write(*record_, &ConfigChange::writeDuration, property, withValue);
}
void TWConfig::updateArrayConfigProperty(std::int64_t property, const base::Value& withValue) {
  write(*record_, &ConfigChange::writeArray, property, withValue);
}
void TWConfig::updateGDPRConfigProperty(std::int64_t property, const base::Value& withValue) {
  write(*record_, &ConfigChange::writeGDPR, property, withValue);
}
void TWConfig::updateMiscConfigProperty(std::int64_t property, const base::Value& withValue) {
  write(*record_, &ConfigChange::writeMisc, property, withValue);
}

std::string TWConfig::getDefaultValForStatusProperty(std::int64_t property) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::status);
  return std::string(field ? std::get<std::string_view>(field->defaultValue) : CONFIG_STATUS_ALLOWED);
}

std::int64_t TWConfig::getDefaultValForDurationProperty(std::int64_t property) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::duration);
  return field ? std::get<std::int64_t>(field->defaultValue) : 0;
}

base::Array TWConfig::getDefaultValForArrayProperty(std::int64_t) { return {}; }

base::Value TWConfig::getDefaultValForMiscProperty(std::int64_t property) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::misc);
  if (field == nullptr) return {};
  if (const auto* const number = std::get_if<std::int64_t>(&field->defaultValue)) return *number;
  return std::get<std::string_view>(field->defaultValue);
}

bool TWConfig::getDefaultValForGDPRProperty(std::int64_t property) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::optOut);
  return field != nullptr && std::get<bool>(field->defaultValue);
}

}  // namespace tidewell
