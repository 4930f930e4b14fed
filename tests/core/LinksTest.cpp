#include <optional>
#include <regex>
#include <stdexcept>
#include <string>

#include "core/DelegateFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/runtime/Class.h"

namespace tidewell {
namespace {

using testing::LinkAnswer;
using testing::LinkOperation;
using Link = std::optional<base::Url>;

/// What a row of the table below finds: what it does not name is not so.
enum World { kModern = 1, kCanOpen = 2, kClaimed = 4, kOpens = 8, kResponds = 16 };

Link linkTo(std::string_view text) { return base::Url::URLWithString(text); }

/// Goes on with activities, and calls the restoration handler.
class Browsing : public UIApplicationDelegate {
 public:
  bool continueUserActivity(UIApplication&, NSUserActivity& activity,
                            const RestorationHandler& restorationHandler) override {
    const Link url = activity.webpageURL();
    heard().push_back("activity " + activity.activityType() + " " + (url ? url->absoluteString() : "nil"));
    restorationHandler({});
    return false;  // nobody looks at it
  }
};
class Broken : public UIApplicationDelegate {
 public:
  bool continueUserActivity(UIApplication&, NSUserActivity&, const RestorationHandler&) override {
    throw std::runtime_error("the shop is closed");
  }
};

class LinksTest : public DelegateFixture {
 protected:
  /// What was done since the last call: calls of the platform, then of the delegate, then log lines.
  std::string seen() {
    static constexpr const char* kNames[] = {"can", "universal", "open", "legacy"};
    std::string result;
    for (const testing::LinkCall& call : platform->testLinkOpener().takeCalls())
      result += std::string(kNames[static_cast<int>(call.operation)]) + " " +
                (call.url ? call.url->absoluteString() : "nil") + "; ";
    for (const std::string& each : takeHeard()) result += each + "; ";
    for (const std::string& each : lines()) result += each + "; ";
    return result;
  }
  /// Runs the operation, then the main queue to its end: what was done at once, and in each of its functions,
  /// with a ">" before each.
  std::string sequence(void (*operation)(Link), const Link& url) {
    operation(url);
    std::string result = seen();
    while (platform->testMainQueue().runOne()) result += "> " + seen();
    return result;
  }
  void setAnswer(LinkAnswer answer) { platform->testLinkOpener().setDefaultAnswer(answer); }
  /// An application of a class made at run time, whose method raises.
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

TEST_F(LinksTest, EveryLinkTakesItsWay) {
  const auto deeplink = &TWCoreUtils::openDeeplink;
  const auto older = &TWCoreUtils::openDeeplinkBelowiOS10;
  const auto universal = &TWCoreUtils::openUniversalLink;
  const auto custom = &TWCoreUtils::openCustomUrlLink;
  const std::string activity = "activity NSUserActivityTypeBrowsingWeb URL; ";
  const std::string restored = "Tidewell - Deeplink UserActivity Restoration Handler Called; ";
  const std::string opened = "Tidewell - DeepLink Opened; ";
  const char* const web = "https://shop.example/a?b";
  const char* const cart = "shop:cart";
  const struct {
    void (*operation)(Link);
    const char* url;
    int world;
    std::string expected;  ///< URL for the URL
  } rows[] = {
      {deeplink, web, kModern | kClaimed | kOpens | kResponds, "can URL; "},
      {deeplink, cart, kModern | kCanOpen | kClaimed, "can URL; > universal URL; > " + opened},
      {deeplink, cart, kModern | kCanOpen | kOpens | kResponds,
       "can URL; > universal URL; > can URL; > open URL; > " + opened},
      {deeplink, web, kModern | kCanOpen | kResponds, "can URL; > universal URL; > can URL; > open URL; > "},
      {deeplink, web, kCanOpen | kClaimed | kOpens | kResponds, "can URL; > > " + activity + restored},
      {deeplink, "http://shop.example/", kCanOpen | kResponds, "can URL; > > " + activity + restored},
      {deeplink, web, kCanOpen | kClaimed | kOpens, "can URL; > > can URL; > legacy URL; "},
      {deeplink, "HTTPS://shop.example/", kCanOpen | kResponds, "can URL; > can URL; > legacy URL; "},
      {deeplink, "httpss://shop.example/", kCanOpen | kResponds, "can URL; > can URL; > legacy URL; "},
      {older, "http://shop.example/", kModern | kResponds, "> " + activity + restored},
      {older, "Http://shop.example/", kModern | kResponds, "can URL; "},
      {older, cart, kCanOpen | kOpens | kResponds, "can URL; > legacy URL; "},
      {older, "../cart", 0, "can URL; "},
      {universal, cart, kModern | kCanOpen | kOpens | kResponds, "> " + activity + restored},
      {universal, web, kModern, "> can URL; "},
      {universal, web, kCanOpen, "> can URL; > legacy URL; "},
      {universal, cart, kModern | kCanOpen, "> can URL; > open URL; > "},
      {custom, web, kModern | kClaimed | kOpens | kResponds, "can URL; "},
      {custom, cart, kModern | kCanOpen | kOpens, "can URL; > open URL; > " + opened},
      {custom, web, kModern | kCanOpen | kResponds, "can URL; > open URL; > "},
      {custom, web, kCanOpen | kOpens | kResponds, "can URL; > legacy URL; "},
  };
  for (const auto& [operation, url, world, expected] : rows) {
    platform->setModernLinkOpening(world & kModern);
    setAnswer({(world & kCanOpen) != 0, (world & kClaimed) != 0, (world & kOpens) != 0});
    world& kResponds ? static_cast<void>(setDelegate<Browsing>()) : static_cast<void>(setDelegate<Deaf>());
    EXPECT_EQ(sequence(operation, linkTo(url)), std::regex_replace(expected, std::regex("URL"), url));
  }
}

TEST_F(LinksTest, WithoutAURLThePlatformDecides) {
  setDelegate<Browsing>();
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, {}), "can nil; ");
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplinkBelowiOS10, {}), "can nil; ");
  EXPECT_EQ(sequence(TWCoreUtils::openRichLandingLink, {}), "");
  setAnswer({true, true, true});  // a platform that claims to open what is no URL
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, {}), "can nil; > > can nil; > > ");
  platform->setModernLinkOpening(false);
  EXPECT_EQ(sequence(TWCoreUtils::openCustomUrlLink, {}), "can nil; > ");
  EXPECT_EQ(
      sequence(TWCoreUtils::openUniversalLink, {}).find("> activity NSUserActivityTypeBrowsingWeb nil;"), 0u);
}

TEST_F(LinksTest, WhatRaisesIsLoggedWhereItHappenedAndOpensNothing) {
  const Link web = linkTo("https://shop.example/");
  setAnswer({true, false, true});
  const auto line = [](int number, std::string method, std::string message) {
    return "Tidewell - <file - TWCoreUtils, line number - " + std::to_string(number) + " , method - '" +
           method + "'> Exception while handling " + message + "; ";
  };
  const std::string deep = line(155, "openDeeplink:", "deep-link : no more links");
  const std::string custom = line(204, "openCustomUrlLink:", "deep-link : no more links");

  setDelegate<Broken>();
  EXPECT_EQ(sequence(TWCoreUtils::openUniversalLink, web),
            "> " + line(184, "openUniversalLink:", "universal link : the shop is closed"));
  runtime::Class& whole = application->isa();
  raiseIn(platform::kOpenURLWithOptions);
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, web), "can https://shop.example/; > " + deep);
  EXPECT_EQ(sequence(TWCoreUtils::openCustomUrlLink, web), "can https://shop.example/; > " + custom);
  platform->setModernLinkOpening(false);
  runtime::setClass(application.get(), whole);
  raiseIn(platform::kOpenURL);
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, linkTo("shop:cart")),
            "can shop:cart; > can shop:cart; > " + custom);
  runtime::setClass(application.get(), whole);
  raiseIn(platform::kCanOpenURL);  // on the caller's thread
  EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, web), deep);
  EXPECT_EQ(sequence(TWCoreUtils::openCustomUrlLink, web), custom);
}

TEST_F(LinksTest, HostileLinksReachOtherProgramsWholeOrNotAtAll) {
  setAnswer({true, false, true});
  const std::string whole[] = {"shop:;rm%20-rf%20~",
                               "--version",
                               "shop:$(reboot)",
                               "shop:'a'&b",
                               "file:///etc/passwd",
                               "javascript:alert(1)",
                               "shop:%00%0a%1b",
                               "//evil.example/",
                               "shop:" + std::string(1u << 20, 'x'),
                               "https://a@b.example/%ff%fe"};
  for (const std::string& text : whole) {
    ASSERT_TRUE(linkTo(text)) << text.substr(0, 40);
    EXPECT_EQ(sequence(TWCoreUtils::openCustomUrlLink, linkTo(text)),
              "can " + text + "; > open " + text + "; > Tidewell - DeepLink Opened; ");
  }
  setAnswer({});
  for (const std::string& text :
       {"shop:" + std::string(10u << 20, 'x'), std::string("shop:a\nb"), std::string("shop:\0b", 7),
        std::string("shop:\xff\xfe"), std::string("shop:`id`"), std::string()})
    EXPECT_EQ(sequence(TWCoreUtils::openDeeplink, linkTo(text)), "can nil; ");
}

}  // namespace
}  // namespace tidewell
