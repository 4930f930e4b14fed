// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"

namespace tidewell::base {
class KeyedDecoder;
class KeyedEncoder;
}  // namespace tidewell::base

namespace tidewell {

/// The values of one configuration, without behaviour. Fields of type `Value` hold whatever was written to
/// them, and are nil until then. Hosts receive it by pointer, so a later version may append fields.
struct TIDEWELL_EXPORT TWConfigFields {
  base::Value accountStatus;
  base::Value inAppServiceStatus;
  base::Value inboxServiceStatus;
  base::Value geofenceServiceStatus;
  base::Value logEntriesServiceStatus;
  base::Value deviceTriggerServiceStatus;
  base::Value periodicSyncStatus;
  base::Value logEntriesToken;
  base::Value blackListedEventsArray;
  base::Value instantFlushEventsArray;
  base::Value dataTrackingOptedOutWhitelistedEventsArray;
  base::Value analyticsSourceExtraKeysArray;
  base::Value restrictedUniqueIDRegexArray;
  std::uint64_t eventsBatchCount = 0;
  std::uint64_t inboxDefaultDuration = 0;
  std::uint64_t periodicSyncInterval = 0;
  std::uint64_t deviceTriggerSyncDuration = 0;
  std::uint64_t userAttrCachingDuration = 0;
  std::uint64_t analyticsSessionInactiveDuration = 0;
  base::Value dataRedirectionRegion;
  bool dataTrackingOptedOut = false;
  bool userPushOptedOut = false;
  bool userInAppOptedOut = false;

  friend bool operator==(const TWConfigFields&, const TWConfigFields&) = default;
};

class ConfigRecord;

/// The configuration record: statuses, lists, durations and the token from the server, and the region and
/// opt-outs set on the device.
///
/// A handle to an immutable snapshot of the fields. Any thread. Readers use the most recently published
/// snapshot and never wait; writers copy, modify and publish, one at a time. Fields accept values of any
/// class. Writing null to a property resets it to its default. Invalid property numbers are logged and change
/// nothing.
class TIDEWELL_EXPORT TWConfig final {
 public:
  /// A record of defaults. (Logs "Unknown Config property" once, as every write of the restricted-ID
  /// expressions does.)
  TWConfig();
  /// Decodes a record from an archive. A key that is missing, of the wrong type or corrupt gives nil, 0 or
  /// false.
  explicit TWConfig(base::KeyedDecoder& decoder);
  ~TWConfig();
  TWConfig(const TWConfig&) = delete;
  TWConfig& operator=(const TWConfig&) = delete;

  void encodeWithCoder(base::KeyedEncoder& encoder) const;

  /// All fields at one moment.
  [[nodiscard]] std::shared_ptr<const TWConfigFields> fields() const;

  // Accessors of each field. The setters store the value unchanged.
  [[nodiscard]] base::Value accountStatus() const;
  void setAccountStatus(base::Value value);
  [[nodiscard]] base::Value inAppServiceStatus() const;
  void setInAppServiceStatus(base::Value value);
  [[nodiscard]] base::Value inboxServiceStatus() const;
  void setInboxServiceStatus(base::Value value);
  [[nodiscard]] base::Value geofenceServiceStatus() const;
  void setGeofenceServiceStatus(base::Value value);
  [[nodiscard]] base::Value logEntriesServiceStatus() const;
  void setLogEntriesServiceStatus(base::Value value);
  [[nodiscard]] base::Value deviceTriggerServiceStatus() const;
  void setDeviceTriggerServiceStatus(base::Value value);
  [[nodiscard]] base::Value periodicSyncStatus() const;
  void setPeriodicSyncStatus(base::Value value);
  [[nodiscard]] base::Value logEntriesToken() const;
  void setLogEntriesToken(base::Value value);
  [[nodiscard]] base::Value blackListedEventsArray() const;
  void setBlackListedEventsArray(base::Value value);
  [[nodiscard]] base::Value instantFlushEventsArray() const;
  void setInstantFlushEventsArray(base::Value value);
  [[nodiscard]] base::Value dataTrackingOptedOutWhitelistedEventsArray() const;
  void setDataTrackingOptedOutWhitelistedEventsArray(base::Value value);
  [[nodiscard]] base::Value analyticsSourceExtraKeysArray() const;
  void setAnalyticsSourceExtraKeysArray(base::Value value);
  [[nodiscard]] base::Value restrictedUniqueIDRegexArray() const;
  void setRestrictedUniqueIDRegexArray(base::Value value);
  [[nodiscard]] std::uint64_t eventsBatchCount() const;
  void setEventsBatchCount(std::uint64_t value);
  [[nodiscard]] std::uint64_t inboxDefaultDuration() const;
  void setInboxDefaultDuration(std::uint64_t value);
  [[nodiscard]] std::uint64_t periodicSyncInterval() const;
  void setPeriodicSyncInterval(std::uint64_t value);
  [[nodiscard]] std::uint64_t deviceTriggerSyncDuration() const;
  void setDeviceTriggerSyncDuration(std::uint64_t value);
  [[nodiscard]] std::uint64_t userAttrCachingDuration() const;
  void setUserAttrCachingDuration(std::uint64_t value);
  [[nodiscard]] std::uint64_t analyticsSessionInactiveDuration() const;
  void setAnalyticsSessionInactiveDuration(std::uint64_t value);
  [[nodiscard]] base::Value dataRedirectionRegion() const;
  void setDataRedirectionRegion(base::Value value);
  [[nodiscard]] bool dataTrackingOptedOut() const;
  void setDataTrackingOptedOut(bool value);
  [[nodiscard]] bool userPushOptedOut() const;
  void setUserPushOptedOut(bool value);
  [[nodiscard]] bool userInAppOptedOut() const;
  void setUserInAppOptedOut(bool value);

  /// Writes a property as the manager does: dispatches the number to the writer of its group. The writers log
  /// a number outside their group and change nothing. Raise if the field needs a number or boolean and the
  /// value is neither.
  void updateConfigProperty(std::int64_t property, const base::Value& withValue);
  void updateStatusConfigProperty(std::int64_t property, const base::Value& withValue);
  void updateDurationConfigProperty(std::int64_t property, const base::Value& withValue);
  void updateArrayConfigProperty(std::int64_t property, const base::Value& withValue);
  void updateGDPRConfigProperty(std::int64_t property, const base::Value& withValue);
  void updateMiscConfigProperty(std::int64_t property, const base::Value& withValue);

  [[nodiscard]] static std::string getDefaultValForStatusProperty(std::int64_t property);
  [[nodiscard]] static std::int64_t getDefaultValForDurationProperty(std::int64_t property);
  [[nodiscard]] static base::Array getDefaultValForArrayProperty(std::int64_t property);
  [[nodiscard]] static base::Value getDefaultValForMiscProperty(std::int64_t property);
  [[nodiscard]] static bool getDefaultValForGDPRProperty(std::int64_t property);

 private:
  friend class TWConfigManager;
  explicit TWConfig(TWConfigFields fields);
  std::unique_ptr<ConfigRecord> record_;
};

}  // namespace tidewell
