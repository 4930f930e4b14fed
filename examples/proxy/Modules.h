#pragma once

#include "Witness.h"
#include "tidewell/platform/UIApplicationDelegate.h"

// What two other modules of the SDK register: each hears of what concerns it.

/// Counts links and notifications; never takes a link for itself.
class PushInterceptor : public tidewell::platform::UIApplicationDelegate {
 public:
  bool openURL(tidewell::platform::UIApplication&, const tidewell::base::Url&,
               const tidewell::base::Dictionary&) override {
    return Witness::called("push", false);
  }
  void didReceiveRemoteNotificationFetching(tidewell::platform::UIApplication&,
                                            const tidewell::base::Dictionary&,
                                            const tidewell::platform::FetchCompletionHandler&) override {
    Witness::called("push");  // and leaves the handler to the application
  }
};

/// Opens links to messages, and goes on with the reading of one.
class InboxInterceptor : public tidewell::platform::UIApplicationDelegate {
 public:
  bool openURL(tidewell::platform::UIApplication&, const tidewell::base::Url& url,
               const tidewell::base::Dictionary&) override {
    return Witness::called("inbox", url.scheme() == "inbox");
  }
  bool continueUserActivity(tidewell::platform::UIApplication&, tidewell::platform::NSUserActivity&,
                            const tidewell::platform::RestorationHandler&) override {
    return Witness::called("inbox", true);
  }
};
