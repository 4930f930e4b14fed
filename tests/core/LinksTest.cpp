#include <optional>
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
using Either = std::optional<bool>;  ///< of a row's conditions: nothing means that it does not matter

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
  const std::string activity = "activity NSUserActivityTypeBrowsingWeb ";
  const std::string restored = "Tidewell - Deeplink UserActivity Restoration Handler Called; ";
  const std::string opened = "Tidewell - DeepLink Opened; ";
  const struct {
    void (*operation)(Link);
    const char* url;  ///< null: both a web and another link
    Either modern, canOpen, claimed, opens, responds;
    std::string expected;  ///< URL for the URL
  } rows[] = {
      {deeplink, nullptr, {}, false, {}, {}, {}, "can URL; "},
      {deeplink, nullptr, true, true, true, {}, {}, "can URL; > universal URL; > " + opened},
      {deeplink,
       nullptr,
       true,
       true,
       false,
       true,
       {},
       "can URL; > universal URL; > can URL; > open URL; > " + opened},
      {deeplink,
       nullptr,
       true,
       true,
       false,
       false,
       {},
       "can URL; > universal URL; > can URL; > open URL; > "},
      {deeplink,
       "https://shop.example/a?b",
       false,
       true,
       {},
       {},
       true,
       "can URL; > > " + activity + "URL; " + restored},
      {deeplink,
       "http://shop.example/",
       false,
       true,
       {},
       {},
       true,
       "can URL; > > " + activity + "URL; " + restored},
      {deeplink, "https://shop.example/", false, true, {}, {}, false, "can URL; > > can URL; > legacy URL; "},
      {deeplink, "HTTPS://shop.example/", false, true, {}, {}, {}, "can URL; > can URL; > legacy URL; "},
      {deeplink, "httpss://shop.example/", false, true, {}, {}, {}, "can URL; > can URL; > legacy URL; "},
      {deeplink, "shop:cart", false, true, {}, {}, {}, "can URL; > can URL; > legacy URL; "},
      {older, "http://shop.example/", {}, {}, {}, {}, true, "> " + activity + "URL; " + restored},
      {older, "Http://shop.example/", {}, false, {}, {}, {}, "can URL; "},
      {older, "shop:cart", false, true, {}, {}, {}, "can URL; > legacy URL; "},
      {older, "shop:cart", true, true, {}, true, {}, "can URL; > open URL; > " + opened},
      {older, "../cart", {}, false, {}, {}, {}, "can URL; "},
      {universal, nullptr, {}, {}, {}, {}, true, "> " + activity + "URL; " + restored},
      {universal, nullptr, {}, false, {}, {}, false, "> can URL; "},
      {universal, nullptr, false, true, {}, {}, false, "> can URL; > legacy URL; "},
      {universal, nullptr, true, true, {}, false, false, "> can URL; > open URL; > "},
      {custom, nullptr, {}, false, {}, {}, {}, "can URL; "},
      {custom, nullptr, true, true, {}, true, {}, "can URL; > open URL; > " + opened},
      {custom, nullptr, true, true, {}, false, {}, "can URL; > open URL; > "},
      {custom, nullptr, false, true, {}, {}, {}, "can URL; > legacy URL; "},
  };
  int combinations = 0;
  for (const auto& row : rows) {
    for (int bits = 0; bits < 64; ++bits) {
      const auto isSet = [&](int bit) { return (bits & (1 << bit)) != 0; };
      const auto excludes = [](Either wanted, bool is) { return wanted && *wanted != is; };
      if (excludes(row.modern, isSet(0)) || excludes(row.canOpen, isSet(1)) ||
          excludes(row.claimed, isSet(2)) || excludes(row.opens, isSet(3)) ||
          excludes(row.responds, isSet(4)) || (row.url && isSet(5)))
        continue;
      const std::string url = row.url ? row.url : isSet(5) ? "https://shop.example/" : "shop:cart";
      platform->setModernLinkOpening(isSet(0));
      setAnswer({isSet(1), isSet(2), isSet(3)});
      isSet(4) ? static_cast<void>(setDelegate<Browsing>()) : static_cast<void>(setDelegate<Deaf>());
      std::string expected = row.expected;
      for (std::size_t at = 0; (at = expected.find("URL;", at)) != std::string::npos; at += url.size())
        expected.replace(at, 3, url);
      EXPECT_EQ(sequence(row.operation, linkTo(url)), expected) << url << ' ' << bits;
      ++combinations;
    }
  }
  EXPECT_GT(combinations, 250);
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

TEST_F(LinksTest, InterceptorsHearOfAWebLinkBeforeTheApplication) {
  const auto delegate = setDelegate<Listener>("app");
  const auto push = intercept("push");
  TWAppDelegateSwizzler::proxyOriginalDelegate();
  lines();
  const std::string handled = "Tidewell - Deeplink UserActivity Restoration Handler Called; ";
  EXPECT_EQ(sequence(TWCoreUtils::openUniversalLink, linkTo("https://shop.example/")),
            "> push continueUserActivity NSUserActivityTypeBrowsingWeb; app continueUserActivity "
            "NSUserActivityTypeBrowsingWeb; " +
                handled + handled);
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
