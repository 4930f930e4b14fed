// SPDX-License-Identifier: Apache-2.0
#include <regex>
#include <stdexcept>
#include <tuple>

#include "core/DelegateFixture.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/UIAlertController.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/platform/UITabBarController.h"
#include "tidewell/platform/UIWindow.h"
#include "tidewell/runtime/Class.h"

namespace tidewell {
namespace {

using platform::UINavigationController;
using platform::UIViewController;
using platform::UIWindow;
using runtime::make;
using Controller = std::shared_ptr<UIViewController>;

class WithWindow : public UIApplicationDelegate {
 public:
  Ref window() override { return own; }
  const std::shared_ptr<UIWindow> own = make<UIWindow>();
};

/// An application with a key window whose root is a plain controller.
class PresentationTest : public DelegateFixture {
 protected:
  PresentationTest() {
    window->setRootViewController(root);
    window->makeKeyAndVisible();
  }
  static Controller plain() { return make<UIViewController>(); }
  static Controller alert() { return make<platform::UIAlertController>("title", "message"); }
  static void open(std::string_view text) {
    TWCoreUtils::openRichLandingLink(base::Url::URLWithString(text));
  }
  static void expectTop(const Controller& unwrapped, const Controller& whole) {
    EXPECT_EQ(TWCoreUtils::getTopMostPresentedViewController(), unwrapped);
    EXPECT_EQ(TWCoreUtils::getTopMostViewController(), whole);
  }
  /// The URLs of the pages and titles of the alerts on screen.
  Lines screen() {
    runUntilIdle();
    Lines result;
    for (const testing::OnScreen& item : presenter().onScreen())
      result.push_back(item.page ? item.page->absoluteString() : item.alert->title.value_or("nil"));
    return result;
  }
  testing::ScriptedPresenter& presenter() { return platform->testPresenter(); }

  const std::shared_ptr<UIWindow> window = make<UIWindow>();
  const Controller root = plain();
  TWWebViewHandler& handler = TWWebViewHandler::sharedInstance();
};

TEST_F(PresentationTest, TheTopControllerIsFoundBelowAlertsAndInsideContainers) {
  const Controller page = plain(), first = plain(), inTabs = plain();
  const auto navigation = make<UINavigationController>(plain());
  navigation->pushViewController(page, false);
  const auto tabs = make<platform::UITabBarController>();
  root->presentViewController(alert(), true);
  expectTop(root, root);
  root->presentViewController(first, true);
  expectTop(first, first);
  first->presentViewController(navigation, true);
  page->presentViewController(alert(), true);  // on behalf of the container
  expectTop(page, navigation);

  window->setRootViewController(tabs);
  expectTop(nullptr, tabs);
  const auto emptyStack = make<UINavigationController>();
  tabs->setViewControllers({plain(), emptyStack, plain()});
  expectTop(tabs->viewControllers()[0], tabs);
  tabs->setSelectedViewController(emptyStack);
  expectTop(nullptr, tabs);
  emptyStack->pushViewController(inTabs, false);
  expectTop(inTabs, tabs);
  const auto outer = make<UINavigationController>(tabs);
  window->setRootViewController(outer);
  expectTop(tabs, outer);  // the content of a navigation controller is not unwrapped again
}

TEST_F(PresentationTest, WithoutAKeyWindowTheWindowOfTheDelegateIsUsed) {
  setDelegate<Deaf>();
  application->setKeyWindow(nullptr);
  expectTop(nullptr, nullptr);
  const auto delegate = setDelegate<WithWindow>();
  expectTop(nullptr, nullptr);
  root->presentViewController(plain(), true);
  delegate->own->setRootViewController(root);
  expectTop(root, root);  // its presented controllers are ignored
  const Controller page = plain();
  const auto navigation = make<UINavigationController>(page);
  delegate->own->setRootViewController(navigation);
  expectTop(page, navigation);
  window->setRootViewController(nullptr);
  window->makeKeyAndVisible();
  expectTop(page, navigation);  // a key window without a root does not count
}

TEST_F(PresentationTest, PagesAndAlertsAreShownAndDismissedOnTheMainQueue) {
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(runUntilIdle(), 0u) << "there is no page yet";
  open("https://shop.example/1");
  EXPECT_EQ(presenter().onScreen().size(), 0u);
  EXPECT_EQ(screen(), Lines{"https://shop.example/1"});
  const auto first = handler.sfVC();
  open("https://shop.example/replaced");
  open("HTTP://shop.example/2");
  TWCoreUtils::showAlertViewWithMessage("It is open", std::nullopt);
  EXPECT_EQ(screen(), (Lines{"https://shop.example/1", "HTTP://shop.example/2", "nil"}));
  const testing::OnScreen shown = presenter().onScreen().back();
  EXPECT_EQ(shown.alert->message, "It is open");
  ASSERT_EQ(shown.alert->actions.size(), 1u);
  EXPECT_EQ(shown.alert->actions[0].title, "OK");
  TidewellCore::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(false);
  EXPECT_EQ(presenter().dismissals().size(), 0u) << "on the main queue";
  EXPECT_EQ(screen(), (Lines{"https://shop.example/1", "nil"}));
  EXPECT_FALSE(presenter().dismissals().at(0).animated);
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen().size(), 2u) << "the last page is dismissed already";
  EXPECT_TRUE(presenter().choose(shown.shown, 0));
  handler.setSfVC(first);
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen(), Lines());

  open("https://shop.example/dismissed");
  open("https://shop.example/3");
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen(), Lines());
  open("https://shop.example/4");
  EXPECT_EQ(screen(), Lines{"https://shop.example/4"});
  EXPECT_TRUE(presenter().close(presenter().onScreen()[0].shown));
  screen();
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(lines(), Lines());
}

TEST_F(PresentationTest, FailedPresentationsAreLogged) {
  const std::string unsupported = caughtLine(
      "TWWebViewHandler", 41, "openWebViewWithUrl:",
      "WebView Handler Open URL exception The specified URL has an unsupported scheme. Only HTTP and "
      "HTTPS URLs are supported.");
  for (const char* url : {"file:///etc/passwd", "javascript:alert(1)", "//shop.example/", "httpx://shop/"}) {
    open(url);
    EXPECT_EQ(lines(), Lines{unsupported}) << url;
  }
  EXPECT_EQ(handler.sfVC(), nullptr);

  class Stuck : public TWWebViewHandler {
   public:
    void dismissSafariControllerWithAnimation(bool) override { throw std::runtime_error("stuck"); }
  };
  class Refusing : public UIViewController {
   public:
    void presentViewController(const Controller&, bool, const Completion&) override {
      throw std::runtime_error("no room");
    }
  };
  make<Stuck>()->dismissRichLandingWebViewControllerWithAnimation(true);
  window->setRootViewController(make<Refusing>());
  TWCoreUtils::showAlertViewWithMessage("message", "title");
  EXPECT_EQ(
      lines(),
      (Lines{caughtLine("TWWebViewHandler", 60, "dismissRichLandingWebViewControllerWithAnimation:",
                        "WebView Handler Dismiss exception stuck"),
             caughtLine("TWCoreUtils", 134, "showAlertViewWithMessage:andTitle:", "Exception : no room")}));

  window->setRootViewController(root);
  presenter().setScreenSize({812, 375.5});
  EXPECT_EQ(TWCoreUtils::deviceScreenWidth(), 812);
  EXPECT_EQ(TWCoreUtils::deviceScreenHeight(), 375.5);
  presenter().setScreenSize({});
  open("https://shop.example/");
  EXPECT_EQ(screen(), Lines());
  EXPECT_EQ(root->presentedViewController(), nullptr) << "there is no screen";
}

// Links

using Link = std::optional<base::Url>;

/// Accepts activities and calls the restoration handler.
class Browsing : public UIApplicationDelegate {
 public:
  bool continueUserActivity(UIApplication&, NSUserActivity& activity,
                            const RestorationHandler& handler) override {
    const Link url = activity.webpageURL();
    heard.push_back("activity " + activity.activityType() + " " + (url ? url->absoluteString() : "nil"));
    if (raises) throw std::runtime_error("the shop is closed");
    handler({});
    return false;  // ignored
  }
  bool raises = false;
};

class LinksTest : public DelegateFixture {
 protected:
  /// The events since the last call: calls of the platform, then of the delegate, then log lines.
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
  /// Runs the operation, then the main queue until it is empty. Returns the events, with a ">" before those
  /// of each queued function.
  std::string sequence(void (*operation)(Link), std::optional<std::string_view> text) {
    operation(text ? base::Url::URLWithString(*text) : std::nullopt);
    std::string result = done();
    while (platform->testMainQueue().runOne()) result += "> " + done();
    return result;
  }
  /// Makes the application's method for this message raise.
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

/// The conditions of a row; all others are false.
enum Conditions { kModern = 1, kCanOpen = 2, kClaimed = 4, kOpens = 8, kResponds = 16 };

TEST_F(LinksTest, LinksOpenAsTheConditionsRequire) {
  const auto deeplink = &TWCoreUtils::openDeeplink;
  const auto older = &TWCoreUtils::openDeeplinkBelowiOS10;
  const auto universal = &TWCoreUtils::openUniversalLink;
  const auto custom = &TWCoreUtils::openCustomUrlLink;
  const std::string activity = "activity NSUserActivityTypeBrowsingWeb URL; ";
  const std::string restored = activity + "Tidewell - Deeplink UserActivity Restoration Handler Called; ";
  const std::string opened = "Tidewell - DeepLink Opened; ";
  const char* const web = "https://shop.example/a?b";
  const char* const cart = "shop:cart";
  // The events; URL stands for the URL.
  const std::tuple<void (*)(Link), std::optional<std::string_view>, int, std::string> rows[] = {
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

TEST_F(LinksTest, ExceptionsAreLoggedWithTheirOriginAndOpenNoLink) {
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
}

}  // namespace
}  // namespace tidewell
