// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TidewellCore.h"

#include "Conversion.h"
#include "FoundationPlatform.h"
#include "TidewellCore.h"
#include "tidewell/core/TWCoreConstants.h"

using facade::raisingObjectiveC;
using facade::textOf;
using facade::valueOf;

NSString* const kNotificationNameUserReset = @"TW_USER_RESET_NOTIFICATION";
NSString* const kNotificationNameUpdateModules = @"TW_USER_UPDATE_MODULES_NOTIFICATION";
NSString* const kNotificationNameInitNewUser = @"TW_USER_INIT_NOTIFICATION";
NSString* const kNotificationNameShowInApp = @"TW_SHOW_INAPP_NOTIFICATION";
NSString* const kNotificationNameUserResetOnAppIDChange = @"TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION";
NSString* const UIApplicationWillEnterForegroundNotification =
    @"UIApplicationWillEnterForegroundNotification";

namespace {

// `TidewellCore.h` cannot include the library's header, which is C++.
static_assert(TWDataRegionServ3 == NSInteger{tidewell::TWDataRegionServ3} &&
              TWDataRegionEurope == NSInteger{tidewell::TWDataRegionEurope} &&
              TWDataRegionDefault == NSInteger{tidewell::TWDataRegionDefault});

tidewell::TidewellCore& core() { return tidewell::TidewellCore::sharedInstance(); }

}  // namespace

@implementation TidewellCore
+ (void)initialize {
  facade::installPlatform();
}

+ (TidewellCore*)sharedInstance {
  static TidewellCore* const shared = [TidewellCore new];
  return shared;
}

- (void)initializeWithAppID:(NSString*)appID {
  raisingObjectiveC([&] { core().initializeWithAppID(textOf(appID)); });
}

- (void)addObserverForApplicationLifeCycle {
  raisingObjectiveC([] { core().addObserverForApplicationLifeCycle(); });
}

- (void)applicationEnteredForeground:(NSNotification*)notification {
  raisingObjectiveC([&] {
    core().applicationEnteredForeground({textOf([notification name]).value_or(""), {}, {}});
  });
}

- (void)userReset {
  raisingObjectiveC([] { core().userReset(); });
}

- (void)updateConfig {
  raisingObjectiveC([] { core().updateConfig(); });
}

- (void)debug:(NSInteger)level {
  core().debug(level);
}

- (void)redirectDataToRegion:(TWDataRegion)region {
  raisingObjectiveC([&] { core().redirectDataToRegion(static_cast<tidewell::TWDataRegion>(region)); });
}

- (void)setAppGroupID:(NSString*)groupID {
  raisingObjectiveC([&] { core().setAppGroupID(textOf(groupID)); });
}

- (BOOL)isDeviceUniqueIDPresentInKeyChain {
  return raisingObjectiveC([] { return core().isDeviceUniqueIDPresentInKeyChain(); });
}

- (void)downloadImageForURL:(NSURL*)url andCompletionHandler:(TWImageCompletion)completion {
  raisingObjectiveC([&] {
    const tidewell::base::Value address = valueOf(url);
    core().downloadImageForURL(
        address.url() ? std::optional(*address.url()) : std::nullopt,
        [completion](bool success, const std::optional<tidewell::base::Data>& data) {
          if (!completion) return;
          facade::raisingCpp(
              [&] { CALL_BLOCK(completion, success, facade::objectOf(tidewell::base::Value(data))); });
        });
  });
}

- (void)dismissRichLandingWebViewControllerWithAnimation:(BOOL)animated {
  raisingObjectiveC([&] { core().dismissRichLandingWebViewControllerWithAnimation(animated); });
}
@end
