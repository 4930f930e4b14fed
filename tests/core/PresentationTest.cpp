#include <optional>
#include <stdexcept>
#include <string>

#include "core/DelegateFixture.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/UIAlertController.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/platform/UITabBarController.h"
#include "tidewell/platform/UIWindow.h"

namespace tidewell {
namespace {

using platform::UIAlertController;
using platform::UINavigationController;
using platform::UITabBarController;
using platform::UIViewController;
using platform::UIWindow;
using runtime::make;
using Controller = std::shared_ptr<UIViewController>;
using testing::OnScreen;

class WithWindow : public UIApplicationDelegate {
 public:
  Ref window() override { return own; }
  const std::shared_ptr<UIWindow> own = make<UIWindow>();
};

class Refusing : public UIViewController {
 public:
  void presentViewController(const Controller&, bool, const Completion&) override {
    throw std::runtime_error("no room");
  }
};

/// An application with a key window, whose root is a plain controller.
class PresentationTest : public DelegateFixture {
 protected:
  PresentationTest() {
    window->setRootViewController(root);
    window->makeKeyAndVisible();
  }
  static Controller plain() { return make<UIViewController>(); }
  static Controller alert() { return make<UIAlertController>("title", "message"); }
  static Controller top() { return TWCoreUtils::getTopMostViewController(); }
  static Controller topPresented() { return TWCoreUtils::getTopMostPresentedViewController(); }
  static void open(std::string_view text) {
    TWCoreUtils::openRichLandingLink(base::Url::URLWithString(text));
  }
  /// What is on the screen: pages by their URL, alerts by their title, those above another with its number.
  Lines screen() {
    runUntilIdle();
    const std::vector<OnScreen> things = platform->testPresenter().onScreen();
    Lines result;
    for (const OnScreen& each : things) {
      std::string text = each.page ? each.page->absoluteString() : each.alert->title.value_or("nil");
      for (std::size_t below = 0; below < things.size(); ++below)
        if (things[below].shown == each.above) text += " above " + std::to_string(below);
      result.push_back(text);
    }
    return result;
  }
  testing::ScriptedPresenter& presenter() { return platform->testPresenter(); }

  const std::shared_ptr<UIWindow> window = make<UIWindow>();
  const Controller root = make<UIViewController>();
  TWWebViewHandler& handler = TWWebViewHandler::sharedInstance();
};

TEST_F(PresentationTest, LookUpsStopBelowAlertsAndUnwrapContainersOnlyWhereTheyShould) {
  const Controller screen = plain();
  const auto navigation = make<UINavigationController>(plain());
  navigation->pushViewController(screen, false);
  const auto tabs = make<UITabBarController>();
  const auto expect = [&](const Controller& unwrapped, const Controller& whole) {
    EXPECT_EQ(topPresented(), unwrapped);
    EXPECT_EQ(top(), whole);
  };
  expect(root, root);
  root->presentViewController(alert(), true);
  expect(root, root);
  const Controller first = plain();
  root->presentViewController(first, true);
  expect(first, first);
  first->presentViewController(navigation, true);
  expect(screen, navigation);
  screen->presentViewController(alert(), true);  // on the container's behalf
  expect(screen, navigation);

  window->setRootViewController(tabs);
  expect(nullptr, tabs);
  tabs->setViewControllers({plain(), make<UINavigationController>(), plain()});
  expect(tabs->viewControllers()[0], tabs);
  tabs->setSelectedViewController(tabs->viewControllers()[1]);
  expect(nullptr, tabs);  // an empty stack
  const Controller other = plain();
  std::static_pointer_cast<UINavigationController>(tabs->viewControllers()[1])
      ->pushViewController(other, false);
  expect(other, tabs);
  window->setRootViewController(make<UINavigationController>(tabs));
  EXPECT_EQ(topPresented(), tabs) << "what a navigation controller shows is not unwrapped again";
}

TEST_F(PresentationTest, WithoutAKeyWindowTheDelegatesIsAskedAndNotWalked) {
  setDelegate<Deaf>();
  application->setKeyWindow(nullptr);
  EXPECT_EQ(top(), nullptr);
  const auto delegate = setDelegate<WithWindow>();
  EXPECT_EQ(topPresented(), nullptr);
  root->presentViewController(plain(), true);
  delegate->own->setRootViewController(root);
  EXPECT_EQ(top(), root);
  const auto navigation = make<UINavigationController>(plain());
  delegate->own->setRootViewController(navigation);
  EXPECT_EQ(topPresented(), navigation->topViewController());
  window->setRootViewController(nullptr);
  window->makeKeyAndVisible();
  EXPECT_EQ(top(), navigation) << "a key window without a root counts as none";
  { make<UIWindow>()->makeKeyAndVisible(); }
  EXPECT_EQ(application->keyWindow(), nullptr) << "nobody kept it";
  application->setDelegate(nullptr);
  EXPECT_EQ(top(), nullptr);
  TWCoreUtils::showAlertViewWithMessage("message", "title");
  open("https://shop.example/");
  EXPECT_EQ(screen(), Lines());
  EXPECT_EQ(lines(), Lines());
}

TEST_F(PresentationTest, AnAlertHasOneButtonThatEndsIt) {
  TWCoreUtils::showAlertViewWithMessage("It is \xf0\x9f\x8e\x89", "Sale");
  TWCoreUtils::showAlertViewWithMessage(std::nullopt, std::nullopt);
  EXPECT_EQ(screen(), (Lines{"Sale", "nil"}));
  const OnScreen shown = presenter().onScreen().front();
  EXPECT_EQ(shown.alert->message, "It is \xf0\x9f\x8e\x89");
  ASSERT_EQ(shown.alert->actions.size(), 1u);
  EXPECT_EQ(shown.alert->actions[0].title, "OK");
  EXPECT_TRUE(presenter().choose(shown.shown, 0));
  EXPECT_EQ(screen(), Lines{"nil"});
}

TEST_F(PresentationTest, PagesOpenOnTheMainQueueOneAboveTheOtherAndBeneathAlerts) {
  TWCoreUtils::showAlertViewWithMessage("message", "alert");
  open("https://shop.example/1");
  EXPECT_EQ(presenter().onScreen().size(), 0u);
  EXPECT_EQ(screen(), (Lines{"alert", "https://shop.example/1"}));
  const auto first = handler.sfVC();
  open("HTTP://shop.example/2");
  EXPECT_EQ(screen().size(), 3u);
  open("https://shop.example/lost");
  open("https://shop.example/3");
  EXPECT_EQ(screen(), (Lines{"alert", "https://shop.example/1", "HTTP://shop.example/2 above 1",
                             "https://shop.example/3 above 2"}))
      << "of two that are opened before the main queue comes to them the second, once";
  EXPECT_EQ(lines(), Lines());
  TidewellCore::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(false);
  EXPECT_EQ(presenter().dismissals().size(), 0u) << "on the main queue";
  EXPECT_EQ(screen(), (Lines{"alert", "https://shop.example/1", "HTTP://shop.example/2 above 1"}));
  EXPECT_FALSE(presenter().dismissals().at(0).animated);
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen().size(), 3u) << "the last one is away already";
  handler.setSfVC(first);
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen(), Lines{"alert"}) << "with what is above it";
}

TEST_F(PresentationTest, APageIsGoneWhenTheUserClosesIt) {
  open("https://shop.example/1");
  runUntilIdle();
  open("https://shop.example/2");
  TWCoreUtils::showAlertViewWithMessage("message", "alert");  // before the second is shown
  EXPECT_EQ(screen(), (Lines{"https://shop.example/1", "https://shop.example/2 above 0", "alert above 0"}));
  EXPECT_TRUE(presenter().close(presenter().onScreen()[1].shown));
  EXPECT_EQ(screen(), (Lines{"https://shop.example/1", "alert above 0"}));
  presenter().closeWindow();
  EXPECT_EQ(screen(), Lines());
  EXPECT_EQ(root->presentedViewController(), nullptr);
}

TEST_F(PresentationTest, ADismissalBeforeThePageWasShownLeavesNothingOnTheScreen) {
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(runUntilIdle(), 0u) << "there was no page yet";
  open("https://shop.example/1");
  const auto first = handler.sfVC();
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen(), Lines());
  open("https://shop.example/1");
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  open("https://shop.example/2");
  EXPECT_EQ(screen(), Lines{"https://shop.example/2"});
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  handler.setSfVC(first);
  EXPECT_EQ(screen(), Lines{"https://shop.example/2"})
      << "what it holds then is asked, and was closed before";
}

TEST_F(PresentationTest, OnlyWebPagesAreShown) {
  for (const char* url : {"file:///etc/passwd", "javascript:alert(1)", "data:text/html,hi", "//shop.example/",
                          "shop:cart", "httpx://shop.example/"}) {
    open(url);
    EXPECT_EQ(lines(),
              Lines{"Tidewell - <file - TWWebViewHandler, line number - 41 , method - "
                    "'openWebViewWithUrl:'> WebView Handler Open URL exception The specified URL has an "
                    "unsupported scheme. Only HTTP and HTTPS URLs are supported."});
  }
  EXPECT_EQ(screen(), Lines());
  EXPECT_EQ(handler.sfVC(), nullptr);
}

TEST_F(PresentationTest, WhatRaisesIsLogged) {
  class Stuck : public TWWebViewHandler {
   public:
    void dismissSafariControllerWithAnimation(bool) override { throw std::runtime_error("stuck"); }
  };
  make<Stuck>()->dismissRichLandingWebViewControllerWithAnimation(true);
  window->setRootViewController(make<Refusing>());
  TWCoreUtils::showAlertViewWithMessage("message", "title");
  EXPECT_EQ(lines(), (Lines{"Tidewell - <file - TWWebViewHandler, line number - 60 , method - "
                            "'dismissRichLandingWebViewControllerWithAnimation:'> WebView Handler Dismiss "
                            "exception stuck",
                            "Tidewell - <file - TWCoreUtils, line number - 134 , method - "
                            "'showAlertViewWithMessage:andTitle:'> Exception : no room"}));
}

TEST_F(PresentationTest, TheScreenIsMeasuredAsItIsTurnedAndMayBeMissing) {
  presenter().setScreenSize({812, 375.5});
  EXPECT_EQ(TWCoreUtils::deviceScreenWidth(), 812);
  EXPECT_EQ(TWCoreUtils::deviceScreenHeight(), 375.5);
  presenter().setScreenSize({});
  TWCoreUtils::showAlertViewWithMessage("message", "title");
  open("https://shop.example/");
  EXPECT_EQ(screen(), Lines());
  EXPECT_EQ(root->presentedViewController(), nullptr) << "what cannot be shown is presented no longer";
}

}  // namespace
}  // namespace tidewell
