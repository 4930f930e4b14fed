// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/HazardPointer.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"
#include "tidewell/core/TWConfigManager/internal/WrongClass.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

/// Logs a line for a list that is not empty. Raises for a value without a count.
void logList(std::string_view format, const base::Value& list) {
  if (arrayOf(list, "count").empty()) return;
  logLine([&] { return base::stringWithFormat(format, {list}); });
}

void logStatus(const TWConfigFields& fields) {
  logLine([&] {
    const base::Value& region = fields.dataRedirectionRegion;
    return base::stringWithFormat(
        "Account Status: %@ || InApp Status: %@ || Geofence Status: %@ || Inbox Status: %@ || Device Trigger "
        "Status: %@ || Data Redirection: %@ || Periodic Sync Status: %@",
        {fields.accountStatus, fields.inAppServiceStatus, fields.geofenceServiceStatus,
         fields.inboxServiceStatus, fields.deviceTriggerServiceStatus,
         region ? region : base::Value(CONFIG_DATA_REGION_DEFAULT), fields.periodicSyncStatus});
  });
  logList("Black Listed Events : %@", fields.blackListedEventsArray);
  logList("Instant Flush Events : %@", fields.instantFlushEventsArray);
  logList("White listed Events : %@", fields.dataTrackingOptedOutWhitelistedEventsArray);
  logList("Source Extra Keys : %@", fields.analyticsSourceExtraKeysArray);
  logLine("=== Opt Out Status ===\n");
  logLine(fields.dataTrackingOptedOut ? "Data : 🛑" : "Data : ✅");
  logLine(fields.userPushOptedOut ? "Push : 🛑" : "Push : ✅");
  logLine(fields.userInAppOptedOut ? "InApp: 🛑" : "InApp: ✅");
  logLine([&] {
    return base::stringWithFormat("Logentries Status: %@ || Token: %@",
                                  {fields.logEntriesServiceStatus, fields.logEntriesToken});
  });
  logLine([&] {
    return base::stringWithFormat(
        "Config Int Params :\n============\nEvents Batch Count : %lu || Inbox Default Expiry Duration : %lu "
        "|| Periodic Sync Interval : %lu || Device Trigger Sync Duration : %lu || "
        "User Attr Caching Duration : %lu || Session Inactive Duration : %lu\n============\n",
        {fields.eventsBatchCount, fields.inboxDefaultDuration, fields.periodicSyncInterval,
         fields.deviceTriggerSyncDuration, fields.userAttrCachingDuration,
         fields.analyticsSessionInactiveDuration});
  });
}

}  // namespace

void TWConfigManager::printCurrentServicesStatus() const {
  guarded({"TWConfigManager", 200, "printCurrentServicesStatus", "exception is %@"}, [&] {
    const auto snapshot = base::SnapshotGuard(current_).retain();
    logStatus(snapshot->fields);
  });
}

}  // namespace tidewell
