// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Witness.h"
#include "tidewell/platform/UIApplicationDelegate.h"

// The interceptors of two other modules of the SDK; each overrides the messages it needs.

/// Observes links and notifications; never handles a link itself.
class PushInterceptor : public tidewell::platform::UIApplicationDelegate {
 public:
  bool openURL(tidewell::platform::UIApplication&, const tidewell::base::Url&,
               const tidewell::base::Dictionary&) override {
    return Witness::called("push", false);
  }
  void didReceiveRemoteNotificationFetching(tidewell::platform::UIApplication&,
                                            const tidewell::base::Dictionary&,
                                            const tidewell::platform::FetchCompletionHandler&) override {
    Witness::called("push");  // the application calls the handler
  }
};

/// Opens links to messages and continues reading activities.
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
