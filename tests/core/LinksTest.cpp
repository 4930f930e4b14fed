#include <regex>
#include <stdexcept>

#include "core/DelegateFixture.h"
#include "tidewell/runtime/Class.h"

namespace tidewell {
namespace {

using Link = std::optional<base::Url>;

/// Continues activities and calls the restoration handler.
class Browsing : public UIApplicationDelegate {
 public:
  bool continueUserActivity(UIApplication&, NSUserActivity& activity,
                            const RestorationHandler& handler) override {
    const Link url = activity.webpageURL();
    heard.push_back("activity " + activity.activityType() + " " + (url ? url->absoluteString() : "nil"));
    if (raises) throw std::runtime_error("the shop is closed");
    handler({});
    return false;  // is not used
  }
  bool raises = false;
};

class LinksTest : public DelegateFixture {
 protected:
  /// What was done since the last call: calls of the platform, then of the delegate, then log lines.
  std::string done() {
    static constexpr const char* kNames[] = {"can", "universal", "open", "legacy"};
    std::string result;
    for (const testing::LinkCall& call : platform->testLinkOpener().takeCalls())
      result += std::string(kNames[static_cast<int>(call.operation)]) + " " +
                (call.url ? call.url->absoluteString() : "nil") + "; ";
    for (const std::string& each : takeHeard()) result += each + "; ";
    for (const std::string& each : lines()) result += each + "; ";
    return result;
  }
  /// Runs the operation, then the main queue until it is empty: what was done at once, and by each function
  /// of the queue behind a ">".
  std::string sequence(void (*operation)(Link), std::optional<std::string_view> text) {
    operation(text ? base::Url::URLWithString(*text) : std::nullopt);
    std::string result = done();
    while (platform->testMainQueue().runOne()) result += "> " + done();
    return result;
  }
  /// Gives the application a class whose method for this message raises.
  template <class R, class... P>
  void raiseIn(const runtime::Message<R(P...)>& message) {
    runtime::Class* const broken = runtime::allocateClassPair(
        &runtime::classOf<UIApplication>(), "Broken " + std::string(message.selector().name()));
    runtime::addMethod(*broken, message, [](runtime::Object&, P...) -> R {
      base::raise(base::kInternalInconsistencyException, "no more links");
    });
    runtime::registerClassPair(*broken);
    runtime::setClass(application.get(), *broken);
  }
};

/// The conditions of a row; those that it does not name do not hold.
enum Conditions { kModern = 1, kCanOpen = 2, kClaimed = 4, kOpens = 8, kResponds = 16 };

TEST_F(LinksTest, EveryLinkTakesItsWay) {
  const auto deeplink = &TWCoreUtils::openDeeplink;
  const auto older = &TWCoreUtils::openDeeplinkBelowiOS10;
  const auto universal = &TWCoreUtils::openUniversalLink;
  const auto custom = &TWCoreUtils::openCustomUrlLink;
  const std::string activity = "activity NSUserActivityTypeBrowsingWeb URL; ";
  const std::string restored = activity + "Tidewell - Deeplink UserActivity Restoration Handler Called; ";
  const std::string opened = "Tidewell - DeepLink Opened; ";
  const char* const web = "https://shop.example/a?b";
  const char* const cart = "shop:cart";
  const struct {
    void (*operation)(Link);
    std::optional<std::string_view> url;
    int conditions;
    std::string expected;  ///< URL for the URL
  } rows[] = {
      {deeplink, web, kModern | kClaimed | kOpens | kResponds, "can URL; "},
      {deeplink, cart, kModern | kCanOpen | kClaimed, "can URL; > universal URL; > " + opened},
      {deeplink, cart, kModern | kCanOpen | kOpens | kResponds,
       "can URL; > universal URL; > can URL; > open URL; > " + opened},
      {deeplink, web, kModern | kCanOpen | kResponds, "can URL; > universal URL; > can URL; > open URL; > "},
      {deeplink, web, kCanOpen | kClaimed | kOpens | kResponds, "can URL; > > " + restored},
      {deeplink, "http://shop.example/", kCanOpen | kResponds, "can URL; > > " + restored},
      {deeplink, web, kCanOpen | kClaimed | kOpens, "can URL; > > can URL; > legacy URL; "},
      {deeplink, "HTTPS://shop.example/", kCanOpen | kResponds, "can URL; > can URL; > legacy URL; "},
      {deeplink, "httpss://shop.example/", kCanOpen | kResponds, "can URL; > can URL; > legacy URL; "},
      {deeplink, {}, kModern | kResponds, "can URL; "},
      {deeplink, {}, kModern | kCanOpen | kClaimed | kOpens | kResponds, "can URL; > > can URL; > > "},
      {older, "http://shop.example/", kModern | kResponds, "> " + restored},
      {older, "Http://shop.example/", kModern | kResponds, "can URL; "},
      {older, cart, kCanOpen | kOpens | kResponds, "can URL; > legacy URL; "},
      {older, "../cart", 0, "can URL; "},
      {older, {}, kModern | kResponds, "can URL; "},
      {universal, cart, kModern | kCanOpen | kOpens | kResponds, "> " + restored},
      {universal, {}, kResponds, "> " + restored},
      {universal, web, kModern, "> can URL; "},
      {universal, web, kCanOpen, "> can URL; > legacy URL; "},
      {universal, cart, kModern | kCanOpen, "> can URL; > open URL; > "},
      {custom, web, kModern | kClaimed | kOpens | kResponds, "can URL; "},
      {custom, "shop:;(reboot)'%00%0a", kModern | kCanOpen | kOpens, "can URL; > open URL; > " + opened},
      {custom, web, kModern | kCanOpen | kResponds, "can URL; > open URL; > "},
      {custom, web, kCanOpen | kOpens | kResponds, "can URL; > legacy URL; "},
      {custom, {}, kCanOpen | kOpens, "can URL; > "},
      {&TWCoreUtils::openRichLandingLink, {}, kModern | kCanOpen | kResponds, ""},
  };
  for (const auto& [operation, url, conditions, expected] : rows) {
    platform->setModernLinkOpening(conditions & kModern);
    platform->testLinkOpener().setDefaultAnswer(
        {(conditions & kCanOpen) != 0, (conditions & kClaimed) != 0, (conditions & kOpens) != 0});
    conditions& kResponds ? (void)setDelegate<Browsing>() : (void)setDelegate<Deaf>();
    EXPECT_EQ(sequence(operation, url),
              std::regex_replace(expected, std::regex("URL"), std::string(url.value_or("nil"))));
  }
}

TEST_F(LinksTest, AnExceptionIsLoggedWhereItHappenedAndOpensNothing) {
  const char* const web = "https://shop.example/";
  platform->testLinkOpener().setDefaultAnswer({true, false, true});
  const std::string deep =
      caughtLine("TWCoreUtils", 155, "openDeeplink:", "Exception while handling deep-link : no more links; ");
  const std::string custom = caughtLine(
      "TWCoreUtils", 204, "openCustomUrlLink:", "Exception while handling deep-link : no more links; ");

  setDelegate<Browsing>()->raises = true;
  EXPECT_EQ(sequence(TWCoreUtils::openUniversalLink, web),
            "> activity NSUserActivityTypeBrowsingWeb https://shop.example/; " +
                caughtLine("TWCoreUtils", 184, "openUniversalLink:",
                           "Exception while handling universal link : the shop is closed; "));
  runtime::Class& original = application->isa();
  raiseIn(platform::kOpenURLWithOptions);
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, web), "can https://shop.example/; > " + deep);
  platform->setModernLinkOpening(false);
  runtime::setClass(application.get(), original);
  raiseIn(platform::kOpenURL);
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, "shop:cart"), "can shop:cart; > can shop:cart; > " + custom);
  runtime::setClass(application.get(), original);
  raiseIn(platform::kCanOpenURL);  // on the caller's thread
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, web), deep);
}

}  // namespace
}  // namespace tidewell
