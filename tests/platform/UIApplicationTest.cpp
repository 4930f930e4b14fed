// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIApplication.h"

#include <gtest/gtest.h>

#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::platform {
namespace {

using Lines = std::vector<std::string>;

Lines& delivered() {
  static Lines lines;
  return lines;
}

/// Implements only the older methods.
class Old : public UIApplicationDelegate {
 public:
  bool openURLFromSource(UIApplication&, const base::Url& url, const std::optional<std::string>& source,
                         const base::Value& annotation) override {
    delivered().push_back("source " + url.absoluteString() + " " + source.value_or("unknown") + " " +
                          annotation.description());
    return true;
  }
  void didReceiveRemoteNotification(UIApplication&, const base::Dictionary& userInfo) override {
    delivered().push_back("notification " + userInfo.objectForKey("alert").description());
  }
  void handleEventsForBackgroundURLSession(UIApplication&, const std::string& identifier,
                                           const std::function<void()>& completionHandler) override {
    delivered().push_back("events " + identifier);
    completionHandler();
  }
};
class Modern : public Old {
 public:
  bool openURL(UIApplication&, const base::Url& url, const base::Dictionary& options) override {
    delivered().push_back("options " + url.absoluteString() + " " + std::to_string(options.count()));
    return true;
  }
};
class Nothing : public UIApplicationDelegate {};

std::shared_ptr<UIApplication> application() {
  static const auto platform = testing::TestingPlatform::install();
  return UIApplication::sharedApplication();
}

TEST(UIApplication, OpensURLsWithTheNewestMethodOfTheDelegate) {
  const auto url = *base::Url::URLWithString("shop:cart");
  const base::Dictionary options{{UIApplicationOpenURLOptionsSourceApplicationKey, "org.example.mail"},
                                 {UIApplicationOpenURLOptionsAnnotationKey, 7}};
  const std::tuple<runtime::Ref, base::Dictionary, Lines> rows[] = {
      {nullptr, options, {}},
      {runtime::make<Nothing>(), options, {}},
      {runtime::make<Old>(), options, {"source shop:cart org.example.mail 7"}},
      {runtime::make<Old>(), {}, {"source shop:cart unknown (null)"}},
      {runtime::make<Modern>(), options, {"options shop:cart 2"}}};
  for (const auto& [delegate, given, expected] : rows) {
    application()->setDelegate(delegate);
    EXPECT_EQ(application()->deliverOpenURL(url, given), !expected.empty());
    EXPECT_EQ(std::exchange(delivered(), {}), expected);
  }
}

TEST(UIApplication, CallsHandlersThatNoDelegateReceives) {
  int called = 0;
  std::vector<UIBackgroundFetchResult> fetched;
  const auto deliver = [&] {
    application()->deliverBackgroundURLSessionEvents("session", [&] { ++called; });
    application()->deliverRemoteNotification(
        {{"alert", "sale"}}, [&](UIBackgroundFetchResult result) { fetched.push_back(result); });
  };
  deliver();
  EXPECT_EQ(called, 1);
  EXPECT_EQ(fetched, std::vector{UIBackgroundFetchResult::noData});
  const auto old = runtime::make<Old>();
  application()->setDelegate(old);
  deliver();
  EXPECT_EQ(delivered(), (Lines{"events session", "notification sale"}));
  EXPECT_EQ(called, 2);
  EXPECT_EQ(fetched.size(), 2u);
  application()->deliverBackgroundURLSessionEvents("no handler");  // the delegate may still call it
}

}  // namespace
}  // namespace tidewell::platform
