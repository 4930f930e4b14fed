#include "tidewell/core/TWConfigManager/TWConfig.h"

#include <array>
#include <utility>

#include "tidewell/core/TWConfigManager/internal/ConfigField.h"
#include "tidewell/core/TWConfigManager/internal/ConfigRecord.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

/// Puts one new value in force, unchanged.
template <class Type>
void write(ConfigRecord& record, TWConfigProperty property, Type TWConfigFields::*member, Type value) {
  ConfigChange change;
  change.set(property, member, std::move(value));
  record.apply(change);
}

/// Writes through one of the writers of `ConfigChange`, and logs what it has to say.
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
  write(*record_, TWConfigPropertyAccountStatus, &TWConfigFields::accountStatus, std::move(value));
}

base::Value TWConfig::inAppServiceStatus() const { return record_->read()->fields.inAppServiceStatus; }
void TWConfig::setInAppServiceStatus(base::Value value) {
  write(*record_, TWConfigPropertyInAppStatus, &TWConfigFields::inAppServiceStatus, std::move(value));
}

base::Value TWConfig::inboxServiceStatus() const { return record_->read()->fields.inboxServiceStatus; }
void TWConfig::setInboxServiceStatus(base::Value value) {
  write(*record_, TWConfigPropertyInboxStatus, &TWConfigFields::inboxServiceStatus, std::move(value));
}

base::Value TWConfig::geofenceServiceStatus() const { return record_->read()->fields.geofenceServiceStatus; }
void TWConfig::setGeofenceServiceStatus(base::Value value) {
  write(*record_, TWConfigPropertyGeofenceStatus, &TWConfigFields::geofenceServiceStatus, std::move(value));
}

base::Value TWConfig::logEntriesServiceStatus() const {
  return record_->read()->fields.logEntriesServiceStatus;
}
void TWConfig::setLogEntriesServiceStatus(base::Value value) {
  write(*record_, TWConfigPropertyLogentriesStatus, &TWConfigFields::logEntriesServiceStatus,
        std::move(value));
}

base::Value TWConfig::deviceTriggerServiceStatus() const {
  return record_->read()->fields.deviceTriggerServiceStatus;
}
void TWConfig::setDeviceTriggerServiceStatus(base::Value value) {
  write(*record_, TWConfigPropertyDeviceTriggerStatus, &TWConfigFields::deviceTriggerServiceStatus,
        std::move(value));
}

base::Value TWConfig::periodicSyncStatus() const { return record_->read()->fields.periodicSyncStatus; }
void TWConfig::setPeriodicSyncStatus(base::Value value) {
  write(*record_, TWConfigPropertyPeriodicSyncStatus, &TWConfigFields::periodicSyncStatus, std::move(value));
}

base::Value TWConfig::logEntriesToken() const { return record_->read()->fields.logEntriesToken; }
void TWConfig::setLogEntriesToken(base::Value value) {
  write(*record_, TWConfigPropertyLogentriesToken, &TWConfigFields::logEntriesToken, std::move(value));
}

base::Value TWConfig::blackListedEventsArray() const {
  return record_->read()->fields.blackListedEventsArray;
}
void TWConfig::setBlackListedEventsArray(base::Value value) {
  write(*record_, TWConfigPropertyBlackListedEvents, &TWConfigFields::blackListedEventsArray,
        std::move(value));
}

base::Value TWConfig::instantFlushEventsArray() const {
  return record_->read()->fields.instantFlushEventsArray;
}
void TWConfig::setInstantFlushEventsArray(base::Value value) {
  write(*record_, TWConfigPropertyInstantFlushEvents, &TWConfigFields::instantFlushEventsArray,
        std::move(value));
}

base::Value TWConfig::dataTrackingOptedOutWhitelistedEventsArray() const {
  return record_->read()->fields.dataTrackingOptedOutWhitelistedEventsArray;
}
void TWConfig::setDataTrackingOptedOutWhitelistedEventsArray(base::Value value) {
  write(*record_, TWConfigPropertyDataTrackingWhitelistedEvents,
        &TWConfigFields::dataTrackingOptedOutWhitelistedEventsArray, std::move(value));
}

base::Value TWConfig::analyticsSourceExtraKeysArray() const {
  return record_->read()->fields.analyticsSourceExtraKeysArray;
}
void TWConfig::setAnalyticsSourceExtraKeysArray(base::Value value) {
  write(*record_, TWConfigPropertySourceExtraKeys, &TWConfigFields::analyticsSourceExtraKeysArray,
        std::move(value));
}

base::Value TWConfig::restrictedUniqueIDRegexArray() const {
  return record_->read()->fields.restrictedUniqueIDRegexArray;
}
void TWConfig::setRestrictedUniqueIDRegexArray(base::Value value) {
  write(*record_, TWConfigPropertyRestrictedUniqueIDRegex, &TWConfigFields::restrictedUniqueIDRegexArray,
        std::move(value));
}

std::uint64_t TWConfig::eventsBatchCount() const { return record_->read()->fields.eventsBatchCount; }
void TWConfig::setEventsBatchCount(std::uint64_t value) {
  write(*record_, TWConfigPropertyEventsBatchCount, &TWConfigFields::eventsBatchCount, value);
}

std::uint64_t TWConfig::inboxDefaultDuration() const { return record_->read()->fields.inboxDefaultDuration; }
void TWConfig::setInboxDefaultDuration(std::uint64_t value) {
  write(*record_, TWConfigPropertyInboxDefaultDuration, &TWConfigFields::inboxDefaultDuration, value);
}

std::uint64_t TWConfig::periodicSyncInterval() const { return record_->read()->fields.periodicSyncInterval; }
void TWConfig::setPeriodicSyncInterval(std::uint64_t value) {
  write(*record_, TWConfigPropertyPeriodicSyncInterval, &TWConfigFields::periodicSyncInterval, value);
}

std::uint64_t TWConfig::deviceTriggerSyncDuration() const {
  return record_->read()->fields.deviceTriggerSyncDuration;
}
void TWConfig::setDeviceTriggerSyncDuration(std::uint64_t value) {
  write(*record_, TWConfigPropertyDeviceTriggerSyncInterval, &TWConfigFields::deviceTriggerSyncDuration,
        value);
}

std::uint64_t TWConfig::userAttrCachingDuration() const {
  return record_->read()->fields.userAttrCachingDuration;
}
void TWConfig::setUserAttrCachingDuration(std::uint64_t value) {
  write(*record_, TWConfigPropertyUserAttrCacheInterval, &TWConfigFields::userAttrCachingDuration, value);
}

std::uint64_t TWConfig::analyticsSessionInactiveDuration() const {
  return record_->read()->fields.analyticsSessionInactiveDuration;
}
void TWConfig::setAnalyticsSessionInactiveDuration(std::uint64_t value) {
  write(*record_, TWConfigPropertySessionInactiveDuration, &TWConfigFields::analyticsSessionInactiveDuration,
        value);
}

base::Value TWConfig::dataRedirectionRegion() const { return record_->read()->fields.dataRedirectionRegion; }
void TWConfig::setDataRedirectionRegion(base::Value value) {
  write(*record_, TWConfigPropertyDataRedirectionRegion, &TWConfigFields::dataRedirectionRegion,
        std::move(value));
}

bool TWConfig::dataTrackingOptedOut() const { return record_->read()->fields.dataTrackingOptedOut; }
void TWConfig::setDataTrackingOptedOut(bool value) {
  write(*record_, TWConfigPropertyDataTrackingOptedOut, &TWConfigFields::dataTrackingOptedOut, value);
}

bool TWConfig::userPushOptedOut() const { return record_->read()->fields.userPushOptedOut; }
void TWConfig::setUserPushOptedOut(bool value) {
  write(*record_, TWConfigPropertyUserPushOptedOut, &TWConfigFields::userPushOptedOut, value);
}

bool TWConfig::userInAppOptedOut() const { return record_->read()->fields.userInAppOptedOut; }
void TWConfig::setUserInAppOptedOut(bool value) {
  write(*record_, TWConfigPropertyUserInAppOptedOut, &TWConfigFields::userInAppOptedOut, value);
}

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
  return std::string(property == TWConfigPropertyLogentriesStatus ? CONFIG_STATUS_BLOCKED
                                                                  : CONFIG_STATUS_ALLOWED);
}

std::int64_t TWConfig::getDefaultValForDurationProperty(std::int64_t property) {
  static constexpr std::array<std::int64_t, 5> kSeconds = {30 * 24 * 3600, 60, 3 * 3600, 1800, 1800};
  if (property < TWConfigPropertyInboxDefaultDuration) return 0;
  const auto index = static_cast<std::size_t>(property - TWConfigPropertyInboxDefaultDuration);
  return index < kSeconds.size() ? kSeconds[index] : 0;
}

base::Array TWConfig::getDefaultValForArrayProperty(std::int64_t) { return {}; }

base::Value TWConfig::getDefaultValForMiscProperty(std::int64_t property) {
  switch (property) {
    case TWConfigPropertyEventsBatchCount:
      return 30;
    case TWConfigPropertyLogentriesToken:
      return "";
    case TWConfigPropertyDataRedirectionRegion:
      return CONFIG_DATA_REGION_DEFAULT;
    default:
      return {};
  }
}

bool TWConfig::getDefaultValForGDPRProperty(std::int64_t) { return false; }

}  // namespace tidewell
