#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "tidewell/core/TWConfigManager/TWConfigConstant.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/foundation/TWDateUtils.h"

namespace tidewell {
namespace {

// Siblings, wrappers and servers know these by their values: none may ever change.
TEST(ConstantsTest, ExportedTextsKeepTheirValues) {
  const struct {
    std::string_view constant, value;
  } texts[] = {
      {kNotificationNameUserReset, "TW_USER_RESET_NOTIFICATION"},
      {kNotificationNameUpdateModules, "TW_USER_UPDATE_MODULES_NOTIFICATION"},
      {kNotificationNameInitNewUser, "TW_USER_INIT_NOTIFICATION"},
      {kNotificationNameShowInApp, "TW_SHOW_INAPP_NOTIFICATION"},
      {kNotificationNameUserResetOnAppIDChange, "TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION"},
      {kUserDefaultsKeySDKUniqueId, "TW_identifierForVendor"},
      {kConfigLastUpdatedKey, "CONFIG_LAST_UPDATED"},
      {kUserDefaultKeySDKVersion, "TDW_SDK_VERSION"},
      {kUserDefaultsKeyAppVersion, "TDW_APP_VERSION"},
      {kUserDefaultsKeyShouldRedirectData, "TW_SHOULD_REDIRECT_DATA"},
      {kUserDefaultsKeyHasDeviceAddFailed, "TDW_HAS_DEVICE_ADD_FAILED"},
      {kTidewellSDKBundleId, "com.tidewell.TidewellSDK"},
      {TW_KEYCHAIN_SERVICE, "com.tidewell"},
      {Tidewell_Cordova_SDK_Version, "TIDEWELL_CORDOVA_SDK_VERSION"},
      {Tidewell_React_Native_SDK_Version, "TIDEWELL_REACT_NATIVE_SDK_VERSION"},
      {Tidewell_Segment_SDK_Version, "TIDEWELL_SEGMENT_SDK_VERSION"},
      {Tidewell_Xamarin_SDK_Version, "TIDEWELL_XAMARIN_SDK_VERSION"},
      {Tidewell_Flutter_SDK_Version, "TIDEWELL_FLUTTER_SDK_VERSION"},
      {kTWDateFormatISO8601, "yyyy-MM-dd'T'HH:mm:ss'Z'"},
      {kTWDateFormatISO8601WithoutZ, "yyyy-MM-dd'T'HH:mm:ss"},
      {kTWDateFormatISO8601MilliSec, "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'"},
      {kTWDateFormatShort, "yyyy-MM-dd"},
      {kMethod, "method"},
      {kPOST, "POST"},
      {kGET, "GET"},
      {kAPIHeadersAppID, "TDW-APPKEY"},
      {REQ_SCHEME_TDW_PROD, "https"},
      {kServiceGetConfig, "/v3/sdkconfig/ios/"},
      {kServiceDeviceAdd, "/v2/sdk/device/"},
      {kServiceSendReports, "/v2/sdk/report/"},
      {kServiceGetInAppMetaV3, "/v3/campaigns/inapp/live"},
      {kServiceGetInAppPayloadV3, "/v3/campaigns/inapp/live/"},
      {kServiceGetTestInAppPayloadV3, "/v3/campaigns/inapp/test/"},
      {kServiceSendInAppStats, "/v3/campaigns/inapp/live/stats"},
      {kServiceInbox, "/v1/getInboxMessages"},
      {kServiceSendCategories, "/v2/categories/add"},
      {kServiceOfflineTriggersSync, "/v1/sdk-trigger/sync"},
      {kServiceUserInSegment, "/v1/sdk-trigger/user-in-segment"},
      {kServiceGeofenceHit, "/v1/geoFenceHit"},
      {kServiceGetGeofences, "/v1/geoFences"},
      {kServiceSendLogs, "/noformat/logs/"},
      {CONFIG_ACCOUNT_STATUS, "a_s"},
      {CONFIG_INAPP_STATUS, "i_s"},
      {CONFIG_INBOX_STATUS, "in_s"},
      {CONFIG_GEOFENCE_STATUS, "g_s"},
      {CONFIG_LOGENTRIES_STATUS, "le_s"},
      {CONFIG_DEVICE_TRIGGER_STATUS, "d_t"},
      {CONFIG_PERIODIC_FLUSH_STATUS, "p_f_s"},
      {CONFIG_INBOX_DEFAULT_DURATION, "i_d_e"},
      {CONFIG_PERIODIC_FLUSH_INTERVAL, "p_f_t"},
      {CONFIG_DEVICE_TRIGGER_SYNC_INTERVAL, "dt_s_t"},
      {CONFIG_USER_ATTR_CACHE_INTERVAL, "u_a_c_t"},
      {CONFIG_SESSION_INACTIVE_DURATION, "s_i_d"},
      {CONFIG_BLACKLISTED_EVENTS_LIST, "b_e"},
      {CONFIG_DATA_TRACKING_WHITELISTED_EVENTS, "d_t_w_e"},
      {CONFIG_INSTANT_FLUSH_EVENTS, "f_e"},
      {CONFIG_SOURCE_EXTRA_KEYS, "src_ext"},
      {CONFIG_RESTRICTED_UNIQUE_ID_REGEX_KEYS, "b_uid_r"},
      {CONFIG_EVENTS_BATCH_COUNT, "e_b_c"},
      {CONFIG_LOGENTRIES_TOKEN, "le_tkn"},
      {CONFIG_DATA_REDIRECTION_REGION, "d_r_r"},
      {CONFIG_DATA_TRACKING_OPTED_OUT, "d_t_opt_out"},
      {CONFIG_USER_PUSH_OPTED_OUT, "user_push_opt_out"},
      {CONFIG_USER_INAPP_OPTED_OUT, "user_inapp_opt_out"},
      {CONFIG_STATUS_BLOCKED, "blocked"},
      {CONFIG_STATUS_ALLOWED, "allowed"},
      {CONFIG_DATA_REGION_SERV3, "SERV3"},
      {CONFIG_DATA_REGION_EU, "Europe"},
      {CONFIG_DATA_REGION_DEFAULT, "Default"},
  };
  for (const auto& [constant, value] : texts) EXPECT_EQ(constant, value);
}

TEST(ConstantsTest, ExportedNumbersKeepTheirValues) {
  const std::int64_t services[] = {TWServiceGetConfig,         TWServiceDeviceAdd,
                                   TWServiceSendReports,       TWServiceGetInAppMetaV3,
                                   TWServiceGetInAppPayloadV3, TWServiceGetTestInAppPayloadV3,
                                   TWServiceSendInAppStats,    TWServiceInbox,
                                   TWServiceSendCategories,    TWServiceOfflineTriggersSync,
                                   TWServiceUserInSegment,     TWServiceGeofenceHit,
                                   TWServiceGetGeofences,      TWServiceSendLogs};
  constexpr std::int64_t kNone = 7;  // no property has it
  const std::int64_t properties[] = {TWConfigPropertyAccountStatus,
                                     TWConfigPropertyInAppStatus,
                                     TWConfigPropertyInboxStatus,
                                     TWConfigPropertyGeofenceStatus,
                                     TWConfigPropertyLogentriesStatus,
                                     TWConfigPropertyDeviceTriggerStatus,
                                     TWConfigPropertyPeriodicSyncStatus,
                                     kNone,
                                     TWConfigPropertyInboxDefaultDuration,
                                     TWConfigPropertyPeriodicSyncInterval,
                                     TWConfigPropertyDeviceTriggerSyncInterval,
                                     TWConfigPropertyUserAttrCacheInterval,
                                     TWConfigPropertySessionInactiveDuration,
                                     TWConfigPropertyBlackListedEvents,
                                     TWConfigPropertyDataTrackingWhitelistedEvents,
                                     TWConfigPropertyInstantFlushEvents,
                                     TWConfigPropertySourceExtraKeys,
                                     TWConfigPropertyRestrictedUniqueIDRegex,
                                     TWConfigPropertyEventsBatchCount,
                                     TWConfigPropertyLogentriesToken,
                                     TWConfigPropertyDataRedirectionRegion,
                                     TWConfigPropertyDataTrackingOptedOut,
                                     TWConfigPropertyUserPushOptedOut,
                                     TWConfigPropertyUserInAppOptedOut};
  const std::int64_t regions[] = {TWDataRegionServ3, TWDataRegionEurope, TWDataRegionDefault};
  const auto expectCountedFromZero = [](const auto& numbers) {
    for (std::size_t i = 0; i < std::size(numbers); ++i) EXPECT_EQ(numbers[i], static_cast<std::int64_t>(i));
  };
  expectCountedFromZero(services);
  expectCountedFromZero(properties);
  expectCountedFromZero(regions);
  EXPECT_EQ(REQ_PORT_TDW_PROD, 443);
}

TEST(ConstantsTest, VersionNumberIsTheBeginningOfTheVersionText) {
  const std::string text(TidewellCoreVersionString);
  EXPECT_EQ(TidewellCoreVersionNumber, std::strtod(text.c_str(), nullptr));
  EXPECT_GT(TidewellCoreVersionNumber, 0);
}

}  // namespace
}  // namespace tidewell
