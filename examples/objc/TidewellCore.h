// SPDX-License-Identifier: Apache-2.0
#import <Foundation/Foundation.h>

#import "TWLogger.h"

/// The data centre of an account. Any other value counts as `TWDataRegionDefault`.
typedef NS_ENUM(NSInteger, TWDataRegion) {
  TWDataRegionServ3 = 0,
  TWDataRegionEurope = 1,
  TWDataRegionDefault = 2,
};

extern NSString* const kNotificationNameUserReset;
extern NSString* const kNotificationNameUpdateModules;
extern NSString* const kNotificationNameInitNewUser;
extern NSString* const kNotificationNameShowInApp;
extern NSString* const kNotificationNameUserResetOnAppIDChange;
extern NSString* const UIApplicationWillEnterForegroundNotification;

/// A block with the arguments (BOOL success, NSData* data). With gcc, which has no blocks, a pointer to a
/// structure that begins as a block does; it must stay valid until it has been called.
DEFINE_BLOCK_TYPE(TWImageCompletion, void, BOOL, NSData*);

/// The entry point of the SDK: call `initializeWithAppID:` once at launch. One instance per process; any
/// thread. The first message to any class of the facade installs the platform (see FoundationPlatform.h).
@interface TidewellCore : NSObject
+ (TidewellCore*)sharedInstance;
- (void)initializeWithAppID:(NSString*)appID;
- (void)addObserverForApplicationLifeCycle;
- (void)applicationEnteredForeground:(NSNotification*)notification;
- (void)userReset;
- (void)updateConfig;
- (void)debug:(NSInteger)level;
- (void)redirectDataToRegion:(TWDataRegion)region;
- (void)setAppGroupID:(NSString*)groupID;
- (BOOL)isDeviceUniqueIDPresentInKeyChain;
/// The completion, which may be nil, runs on the platform's session queue; without a URL immediately, on the
/// calling thread.
- (void)downloadImageForURL:(NSURL*)url andCompletionHandler:(TWImageCompletion)completion;
- (void)dismissRichLandingWebViewControllerWithAnimation:(BOOL)animated;
@end
