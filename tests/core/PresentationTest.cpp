#include <stdexcept>

#include "core/DelegateFixture.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/UIAlertController.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/platform/UITabBarController.h"
#include "tidewell/platform/UIWindow.h"

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
  /// The pages by their URL and the alerts by their title, as they are on the screen.
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
  expectTop(tabs, outer);  // what a navigation controller shows is not unwrapped again
}

TEST_F(PresentationTest, WithoutAKeyWindowTheWindowOfTheDelegateIsUsed) {
  setDelegate<Deaf>();
  application->setKeyWindow(nullptr);
  expectTop(nullptr, nullptr);
  const auto delegate = setDelegate<WithWindow>();
  expectTop(nullptr, nullptr);
  root->presentViewController(plain(), true);
  delegate->own->setRootViewController(root);
  expectTop(root, root);  // its presented controllers are not followed
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
  TWCoreUtils::showAlertViewWithMessage("message", std::nullopt);
  EXPECT_EQ(screen(), (Lines{"https://shop.example/1", "HTTP://shop.example/2", "nil"}));
  TidewellCore::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(false);
  EXPECT_EQ(presenter().dismissals().size(), 0u) << "on the main queue";
  EXPECT_EQ(screen(), (Lines{"https://shop.example/1", "nil"}));
  EXPECT_FALSE(presenter().dismissals().at(0).animated);
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen().size(), 2u) << "the last page is dismissed already";
  handler.setSfVC(first);
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen(), Lines());

  open("https://shop.example/dismissed");
  open("https://shop.example/3");
  handler.dismissRichLandingWebViewControllerWithAnimation(true);
  EXPECT_EQ(screen(), Lines());
  TWCoreUtils::showAlertViewWithMessage("It is \xf0\x9f\x8e\x89", "Sale");
  EXPECT_EQ(screen(), Lines{"Sale"});
  const testing::OnScreen shown = presenter().onScreen().front();
  EXPECT_EQ(shown.alert->message, "It is \xf0\x9f\x8e\x89");
  ASSERT_EQ(shown.alert->actions.size(), 1u);
  EXPECT_EQ(shown.alert->actions[0].title, "OK");
  EXPECT_TRUE(presenter().choose(shown.shown, 0));
  EXPECT_EQ(screen(), Lines());
  open("https://shop.example/4");
  EXPECT_EQ(screen(), Lines{"https://shop.example/4"});
  EXPECT_TRUE(presenter().close(presenter().onScreen()[0].shown));
  screen();
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(lines(), Lines());
}

TEST_F(PresentationTest, WhatCannotBeShownIsLogged) {
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

}  // namespace
}  // namespace tidewell
