#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <variant>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"

namespace tidewell {

/// One field of the record: its number, the key that the server and the archive know it by, where it lies.
struct ConfigField {
  TWConfigProperty property;
  std::string_view key;
  std::variant<base::Value TWConfigFields::*, std::uint64_t TWConfigFields::*, bool TWConfigFields::*> member;
};

/// All fields, in the order of the archive.
inline constexpr std::array kConfigFields = {
    ConfigField{TWConfigPropertyAccountStatus, CONFIG_ACCOUNT_STATUS, &TWConfigFields::accountStatus},
    ConfigField{TWConfigPropertyInAppStatus, CONFIG_INAPP_STATUS, &TWConfigFields::inAppServiceStatus},
    ConfigField{TWConfigPropertyGeofenceStatus, CONFIG_GEOFENCE_STATUS,
                &TWConfigFields::geofenceServiceStatus},
    ConfigField{TWConfigPropertyInboxStatus, CONFIG_INBOX_STATUS, &TWConfigFields::inboxServiceStatus},
    ConfigField{TWConfigPropertyLogentriesStatus, CONFIG_LOGENTRIES_STATUS,
                &TWConfigFields::logEntriesServiceStatus},
    ConfigField{TWConfigPropertyPeriodicSyncStatus, CONFIG_PERIODIC_FLUSH_STATUS,
                &TWConfigFields::periodicSyncStatus},
    ConfigField{TWConfigPropertyDeviceTriggerStatus, CONFIG_DEVICE_TRIGGER_STATUS,
                &TWConfigFields::deviceTriggerServiceStatus},
    ConfigField{TWConfigPropertyInboxDefaultDuration, CONFIG_INBOX_DEFAULT_DURATION,
                &TWConfigFields::inboxDefaultDuration},
    ConfigField{TWConfigPropertyPeriodicSyncInterval, CONFIG_PERIODIC_FLUSH_INTERVAL,
                &TWConfigFields::periodicSyncInterval},
    ConfigField{TWConfigPropertyDeviceTriggerSyncInterval, CONFIG_DEVICE_TRIGGER_SYNC_INTERVAL,
                &TWConfigFields::deviceTriggerSyncDuration},
    ConfigField{TWConfigPropertyUserAttrCacheInterval, CONFIG_USER_ATTR_CACHE_INTERVAL,
                &TWConfigFields::userAttrCachingDuration},
    ConfigField{TWConfigPropertySessionInactiveDuration, CONFIG_SESSION_INACTIVE_DURATION,
                &TWConfigFields::analyticsSessionInactiveDuration},
    ConfigField{TWConfigPropertyBlackListedEvents, CONFIG_BLACKLISTED_EVENTS_LIST,
                &TWConfigFields::blackListedEventsArray},
    ConfigField{TWConfigPropertyInstantFlushEvents, CONFIG_INSTANT_FLUSH_EVENTS,
                &TWConfigFields::instantFlushEventsArray},
    ConfigField{TWConfigPropertyDataTrackingWhitelistedEvents, CONFIG_DATA_TRACKING_WHITELISTED_EVENTS,
                &TWConfigFields::dataTrackingOptedOutWhitelistedEventsArray},
    ConfigField{TWConfigPropertySourceExtraKeys, CONFIG_SOURCE_EXTRA_KEYS,
                &TWConfigFields::analyticsSourceExtraKeysArray},
    ConfigField{TWConfigPropertyRestrictedUniqueIDRegex, CONFIG_RESTRICTED_UNIQUE_ID_REGEX_KEYS,
                &TWConfigFields::restrictedUniqueIDRegexArray},
    ConfigField{TWConfigPropertyDataTrackingOptedOut, CONFIG_DATA_TRACKING_OPTED_OUT,
                &TWConfigFields::dataTrackingOptedOut},
    ConfigField{TWConfigPropertyUserPushOptedOut, CONFIG_USER_PUSH_OPTED_OUT,
                &TWConfigFields::userPushOptedOut},
    ConfigField{TWConfigPropertyUserInAppOptedOut, CONFIG_USER_INAPP_OPTED_OUT,
                &TWConfigFields::userInAppOptedOut},
    ConfigField{TWConfigPropertyEventsBatchCount, CONFIG_EVENTS_BATCH_COUNT,
                &TWConfigFields::eventsBatchCount},
    ConfigField{TWConfigPropertyDataRedirectionRegion, CONFIG_DATA_REDIRECTION_REGION,
                &TWConfigFields::dataRedirectionRegion},
    ConfigField{TWConfigPropertyLogentriesToken, CONFIG_LOGENTRIES_TOKEN, &TWConfigFields::logEntriesToken},
};

/// Whether a property is one of the lists.
[[nodiscard]] bool isArrayProperty(std::int64_t property);
/// The key of a property that has a field.
[[nodiscard]] std::string_view keyOf(TWConfigProperty property);

/// A set of properties, one bit each.
using PropertySet = std::uint32_t;
constexpr PropertySet propertyBit(TWConfigProperty property) { return PropertySet{1} << property; }
inline constexpr PropertySet kOptOutProperties = propertyBit(TWConfigPropertyDataTrackingOptedOut) |
                                                 propertyBit(TWConfigPropertyUserPushOptedOut) |
                                                 propertyBit(TWConfigPropertyUserInAppOptedOut);
/// What is set on the device, and never by the server.
inline constexpr PropertySet kDeviceProperties =
    kOptOutProperties | propertyBit(TWConfigPropertyDataRedirectionRegion);
inline constexpr PropertySet kAllProperties = ~PropertySet{0};

/// Copies the fields of some properties.
void copyFields(const TWConfigFields& from, TWConfigFields& to, PropertySet properties);
[[nodiscard]] bool equalFields(const TWConfigFields& a, const TWConfigFields& b, PropertySet properties);

void encodeFields(const TWConfigFields& fields, base::KeyedEncoder& encoder);
/// A field that is missing or cannot be decoded reads nil, 0 or false. The latter ones are added to `broken`.
[[nodiscard]] TWConfigFields decodeFields(base::KeyedDecoder& decoder, PropertySet* broken = nullptr);

/// Some fields by their keys: what is a number, a boolean or a text.
[[nodiscard]] base::Dictionary scalarsOf(const TWConfigFields& fields, PropertySet properties);
/// Takes what `scalarsOf` gives into the fields of `properties`; other fields stay as they are.
void takeScalars(const base::Dictionary& scalars, TWConfigFields& fields, PropertySet properties);

/// New values for some properties, collected before they are put in force together.
///
/// The writers of the groups turn values into fields as they come. Each answers the line to log for it: empty
/// where nothing is to be said. A rejected number changes nothing. They raise where a value has no number or
/// boolean for a field that needs one.
struct ConfigChange {
  TWConfigFields fields;
  PropertySet properties = 0;

  std::string_view write(std::int64_t property, const base::Value& value);
  std::string_view writeStatus(std::int64_t property, const base::Value& value);
  std::string_view writeDuration(std::int64_t property, const base::Value& value);
  std::string_view writeArray(std::int64_t property, const base::Value& value);
  std::string_view writeGDPR(std::int64_t property, const base::Value& value);
  std::string_view writeMisc(std::int64_t property, const base::Value& value);

  /// Stores a value unchanged. `Type` is the type of the property's field.
  template <class Type>
  void set(TWConfigProperty property, Type TWConfigFields::*member, Type value) {
    fields.*member = std::move(value);
    properties |= propertyBit(property);
  }
};

/// The fields of a new record.
[[nodiscard]] TWConfigFields defaultFields();
/// Logged after every write of the restricted-ID expressions, and so whenever a record of defaults is made.
inline constexpr std::string_view kUnknownConfigProperty = "Unknown Config property";

}  // namespace tidewell
