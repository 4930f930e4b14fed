// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/TWConfigManager.h"

#include "Conversion.h"
#include "FoundationPlatform.h"
#include "TWConfigManager.h"

using facade::objectOf;
using facade::raisingObjectiveC;
using facade::stringOrNil;
using facade::textOf;
using facade::valueOf;

namespace {

tidewell::TWConfigManager& manager() { return tidewell::TWConfigManager::sharedInstance(); }

/// The record accepts any value from the server; a caller that expects a class gets nil for any other.
template <class Class>
id objectOfClass(const tidewell::base::Value& value, Class expected) {
  id const object = objectOf(value);
  return [object isKindOfClass:expected] ? object : nil;
}

}  // namespace

@implementation TWConfigManager
+ (void)initialize {
  facade::installPlatform();
}

+ (TWConfigManager*)sharedInstance {
  static TWConfigManager* const shared = [TWConfigManager new];
  return shared;
}

- (NSString*)getFilePathForConfig {
  return stringOrNil(manager().getFilePathForConfig());
}

- (BOOL)shouldSyncConfig {
  return raisingObjectiveC([] { return manager().shouldSyncConfig(); });
}

- (void)updateConfigFromResponse:(NSDictionary*)response {
  raisingObjectiveC([&] { manager().updateConfigFromResponse(valueOf(response)); });
}

- (void)setDataRedirectionRegion:(TWDataRegion)region {
  manager().setDataRedirectionRegion(static_cast<tidewell::TWDataRegion>(region));
}

- (TWDataRegion)getDataRedirectionRegion {
  return static_cast<TWDataRegion>(manager().getDataRedirectionRegion());
}

- (BOOL)isAccountActive {
  return manager().isAccountActive();
}

- (BOOL)isInAppServiceActive {
  return manager().isInAppServiceActive();
}

- (BOOL)isGeofenceServiceActive {
  return manager().isGeofenceServiceActive();
}

- (BOOL)isInboxServiceActive {
  return manager().isInboxServiceActive();
}

- (BOOL)isLogentriesEnabled {
  return manager().isLogentriesEnabled();
}

- (BOOL)isPeriodicSyncEnabled {
  return manager().isPeriodicSyncEnabled();
}

- (BOOL)isDeviceTriggerEnabled {
  return manager().isDeviceTriggerEnabled();
}

- (BOOL)isDataTrackingEnabled {
  return manager().isDataTrackingEnabled();
}

- (BOOL)isUserPushEnabled {
  return manager().isUserPushEnabled();
}

- (BOOL)isUserInAppEnabled {
  return manager().isUserInAppEnabled();
}

- (BOOL)isEventBlackListed:(NSString*)eventName {
  return manager().isEventBlackListed(textOf(eventName));
}

- (BOOL)isEventInstantFlushEvent:(NSString*)eventName {
  return manager().isEventInstantFlushEvent(textOf(eventName));
}

- (BOOL)isEventWhitelistedEvent:(NSString*)eventName {
  return manager().isEventWhitelistedEvent(textOf(eventName));
}

- (NSArray*)getBlackListedEvents {
  return objectOfClass(manager().getBlackListedEvents(), [NSArray class]);
}

- (NSArray*)getInstantFlushEvents {
  return objectOfClass(manager().getInstantFlushEvents(), [NSArray class]);
}

- (NSArray*)getWhitelistedEvents {
  return objectOfClass(manager().getWhitelistedEvents(), [NSArray class]);
}

- (NSArray*)getSourceExtraKeys {
  return objectOfClass(manager().getSourceExtraKeys(), [NSArray class]);
}

- (NSArray*)getRestrictedUniqueIDRegex {
  return objectOfClass(manager().getRestrictedUniqueIDRegex(), [NSArray class]);
}

- (BOOL)isUniqueIDRestricted:(NSString*)uniqueID {
  return raisingObjectiveC([&] { return manager().isUniqueIDRestricted(textOf(uniqueID)); });
}

- (int64_t)getInboxDefaultExpiry {
  return manager().getInboxDefaultExpiry();
}

- (int64_t)getPeriodicSyncDuration {
  return manager().getPeriodicSyncDuration();
}

- (int64_t)getRealTimeTriggerSyncInterval {
  return manager().getRealTimeTriggerSyncInterval();
}

- (int64_t)getUserAttributeCachingDuration {
  return manager().getUserAttributeCachingDuration();
}

- (int64_t)getSessionInActiveDuration {
  return manager().getSessionInActiveDuration();
}

- (int64_t)getEventBatchCount {
  return manager().getEventBatchCount();
}

- (NSString*)getLogEntriesToken {
  return objectOfClass(manager().getLogEntriesToken(), [NSString class]);
}

- (void)setDataTrackingOptedOut:(BOOL)optedOut {
  manager().setDataTrackingOptedOut(optedOut);
}

- (void)setUserPushNotificationOptedOut:(BOOL)optedOut {
  manager().setUserPushNotificationOptedOut(optedOut);
}

- (void)setUserInAppNotificationOptedOut:(BOOL)optedOut {
  manager().setUserInAppNotificationOptedOut(optedOut);
}

- (void)printCurrentServicesStatus {
  manager().printCurrentServicesStatus();
}
@end
