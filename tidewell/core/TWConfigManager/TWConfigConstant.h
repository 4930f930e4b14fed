// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell {

/// Keys in the server's configuration and in the archive.
inline constexpr std::string_view CONFIG_ACCOUNT_STATUS = "a_s";
inline constexpr std::string_view CONFIG_INAPP_STATUS = "i_s";
inline constexpr std::string_view CONFIG_INBOX_STATUS = "in_s";
inline constexpr std::string_view CONFIG_GEOFENCE_STATUS = "g_s";
inline constexpr std::string_view CONFIG_LOGENTRIES_STATUS = "le_s";
inline constexpr std::string_view CONFIG_DEVICE_TRIGGER_STATUS = "d_t";
inline constexpr std::string_view CONFIG_PERIODIC_FLUSH_STATUS = "p_f_s";
inline constexpr std::string_view CONFIG_INBOX_DEFAULT_DURATION = "i_d_e";
inline constexpr std::string_view CONFIG_PERIODIC_FLUSH_INTERVAL = "p_f_t";
inline constexpr std::string_view CONFIG_DEVICE_TRIGGER_SYNC_INTERVAL = "dt_s_t";
inline constexpr std::string_view CONFIG_USER_ATTR_CACHE_INTERVAL = "u_a_c_t";
inline constexpr std::string_view CONFIG_SESSION_INACTIVE_DURATION = "s_i_d";
inline constexpr std::string_view CONFIG_BLACKLISTED_EVENTS_LIST = "b_e";
inline constexpr std::string_view CONFIG_DATA_TRACKING_WHITELISTED_EVENTS = "d_t_w_e";
inline constexpr std::string_view CONFIG_INSTANT_FLUSH_EVENTS = "f_e";
inline constexpr std::string_view CONFIG_SOURCE_EXTRA_KEYS = "src_ext";
inline constexpr std::string_view CONFIG_RESTRICTED_UNIQUE_ID_REGEX_KEYS = "b_uid_r";
inline constexpr std::string_view CONFIG_EVENTS_BATCH_COUNT = "e_b_c";
inline constexpr std::string_view CONFIG_LOGENTRIES_TOKEN = "le_tkn";
inline constexpr std::string_view CONFIG_DATA_REDIRECTION_REGION = "d_r_r";
inline constexpr std::string_view CONFIG_DATA_TRACKING_OPTED_OUT = "d_t_opt_out";
inline constexpr std::string_view CONFIG_USER_PUSH_OPTED_OUT = "user_push_opt_out";
inline constexpr std::string_view CONFIG_USER_INAPP_OPTED_OUT = "user_inapp_opt_out";

inline constexpr std::string_view CONFIG_STATUS_BLOCKED = "blocked";
inline constexpr std::string_view CONFIG_STATUS_ALLOWED = "allowed";

inline constexpr std::string_view CONFIG_DATA_REGION_DEFAULT = "Default";
inline constexpr std::string_view CONFIG_DATA_REGION_SERV3 = "SERV3";
inline constexpr std::string_view CONFIG_DATA_REGION_EU = "Europe";

/// Numbers of the record's fields. 7 is unused.
enum TWConfigProperty : std::int32_t {
  TWConfigPropertyAccountStatus = 0,
  TWConfigPropertyInAppStatus = 1,
  TWConfigPropertyInboxStatus = 2,
  TWConfigPropertyGeofenceStatus = 3,
  TWConfigPropertyLogentriesStatus = 4,
  TWConfigPropertyDeviceTriggerStatus = 5,
  TWConfigPropertyPeriodicSyncStatus = 6,
  TWConfigPropertyInboxDefaultDuration = 8,
  TWConfigPropertyPeriodicSyncInterval = 9,
  TWConfigPropertyDeviceTriggerSyncInterval = 10,
  TWConfigPropertyUserAttrCacheInterval = 11,
  TWConfigPropertySessionInactiveDuration = 12,
  TWConfigPropertyBlackListedEvents = 13,
  TWConfigPropertyDataTrackingWhitelistedEvents = 14,
  TWConfigPropertyInstantFlushEvents = 15,
  TWConfigPropertySourceExtraKeys = 16,
  TWConfigPropertyRestrictedUniqueIDRegex = 17,
  TWConfigPropertyEventsBatchCount = 18,
  TWConfigPropertyLogentriesToken = 19,
  TWConfigPropertyDataRedirectionRegion = 20,
  TWConfigPropertyDataTrackingOptedOut = 21,
  TWConfigPropertyUserPushOptedOut = 22,
  TWConfigPropertyUserInAppOptedOut = 23,
};

/// The data centre of an account. Any other value counts as `TWDataRegionDefault`.
enum TWDataRegion : std::int64_t {
  TWDataRegionServ3 = 0,
  TWDataRegionEurope = 1,
  TWDataRegionDefault = 2,
};

}  // namespace tidewell
