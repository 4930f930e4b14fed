// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include "Witness.h"
#include "tidewell/platform/UIApplicationDelegate.h"

/// The application's delegate. It opens shop links and handles notifications; it does not override user
/// activities and does not know the SDK.
class Shop : public tidewell::platform::UIApplicationDelegate {
 public:
  explicit Shop(std::string name) : name_(std::move(name)) {}

  bool openURL(tidewell::platform::UIApplication&, const tidewell::base::Url& url,
               const tidewell::base::Dictionary&) override {
    return Witness::called(name_, url.scheme() == "shop");
  }
  void didReceiveRemoteNotificationFetching(
      tidewell::platform::UIApplication&, const tidewell::base::Dictionary&,
      const tidewell::platform::FetchCompletionHandler& fetched) override {
    Witness::called(name_);
    fetched(tidewell::platform::UIBackgroundFetchResult::newData);
  }

 private:
  std::string name_;
};
