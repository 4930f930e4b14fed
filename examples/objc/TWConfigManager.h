// SPDX-License-Identifier: Apache-2.0
#import <Foundation/Foundation.h>

#import "TidewellCore.h"

/// Decides whether a download is due, and answers every gate from the record that it owns. One instance per
/// process; any thread. Two methods raise: `isUniqueIDRestricted:` for an invalid expression, and
/// `updateConfigFromResponse:` for containers that are nested too deeply.
@interface TWConfigManager : NSObject
+ (TWConfigManager*)sharedInstance;
- (NSString*)getFilePathForConfig;
- (BOOL)shouldSyncConfig;
- (void)updateConfigFromResponse:(NSDictionary*)response;
- (void)setDataRedirectionRegion:(TWDataRegion)region;
- (TWDataRegion)getDataRedirectionRegion;

- (BOOL)isAccountActive;
- (BOOL)isInAppServiceActive;
- (BOOL)isGeofenceServiceActive;
- (BOOL)isInboxServiceActive;
- (BOOL)isLogentriesEnabled;
- (BOOL)isPeriodicSyncEnabled;
- (BOOL)isDeviceTriggerEnabled;
- (BOOL)isDataTrackingEnabled;
- (BOOL)isUserPushEnabled;
- (BOOL)isUserInAppEnabled;

- (BOOL)isEventBlackListed:(NSString*)eventName;
- (BOOL)isEventInstantFlushEvent:(NSString*)eventName;
- (BOOL)isEventWhitelistedEvent:(NSString*)eventName;
- (NSArray*)getBlackListedEvents;
- (NSArray*)getInstantFlushEvents;
- (NSArray*)getWhitelistedEvents;
- (NSArray*)getSourceExtraKeys;
- (NSArray*)getRestrictedUniqueIDRegex;
- (BOOL)isUniqueIDRestricted:(NSString*)uniqueID;

- (int64_t)getInboxDefaultExpiry;
- (int64_t)getPeriodicSyncDuration;
- (int64_t)getRealTimeTriggerSyncInterval;
- (int64_t)getUserAttributeCachingDuration;
- (int64_t)getSessionInActiveDuration;
- (int64_t)getEventBatchCount;
- (NSString*)getLogEntriesToken;

- (void)setDataTrackingOptedOut:(BOOL)optedOut;
- (void)setUserPushNotificationOptedOut:(BOOL)optedOut;
- (void)setUserInAppNotificationOptedOut:(BOOL)optedOut;
- (void)printCurrentServicesStatus;
@end
