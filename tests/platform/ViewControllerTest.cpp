// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/SFSafariViewControllerDelegate.h"
#include "tidewell/platform/UIAlertController.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/platform/UITabBarController.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::platform {
namespace {

using runtime::make;
using Controller = std::shared_ptr<UIViewController>;
using Lines = std::vector<std::string>;

Lines& heard() {
  static base::NeverDestroyed<Lines> lines;
  return *lines;
}

class ViewControllerTest : public ::testing::Test {
 protected:
  ViewControllerTest() {
    setReporter([](std::string_view text) { heard().emplace_back(text); });
  }
  static Controller plain() { return make<UIViewController>(); }
  static std::shared_ptr<SFSafariViewController> page() {
    return make<SFSafariViewController>(base::Url::URLWithString("https://shop.example/"));
  }
  std::size_t onScreen() {
    platform->runUntilIdle();
    return platform->testPresenter().onScreen().size();
  }
  static std::function<void()> note(std::string what) {
    return [what = std::move(what)] { heard().push_back(what); };
  }

  const std::shared_ptr<testing::TestingPlatform> platform = testing::TestingPlatform::install();
  const Controller root = make<UIViewController>();
};

TEST_F(ViewControllerTest, DismissingAlsoDismissesEverythingAbove) {
  const Controller first = plain(), second = page(), third = plain();
  root->presentViewController(first, true, note("first is up"));
  first->presentViewController(second, true, note("second is up"));
  second->presentViewController(third, true);
  third->presentViewController(page(), true);
  EXPECT_EQ(heard(), Lines()) << "completions run later";
  EXPECT_EQ(onScreen(), 2u);
  EXPECT_EQ(platform->testPresenter().onScreen()[1].above, platform->testPresenter().onScreen()[0].shown);

  third->dismissViewControllerAnimated(true);  // dismisses its presented controller
  EXPECT_EQ(onScreen(), 1u);
  EXPECT_EQ(second->presentedViewController(), third);
  third->dismissViewControllerAnimated(true);  // itself
  EXPECT_EQ(second->presentedViewController(), nullptr);
  second->presentViewController(third, true);
  second->dismissViewControllerAnimated(true, note("second is away"));  // a page always dismisses itself
  EXPECT_EQ(onScreen(), 0u);
  EXPECT_EQ(first->presentedViewController(), nullptr);
  EXPECT_EQ(third->presentingViewController(), nullptr);
  first->dismissViewControllerAnimated(true);
  root->dismissViewControllerAnimated(true, note("nothing was there"));
  EXPECT_EQ(onScreen(), 0u);
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(heard(), (Lines{"first is up", "second is up", "second is away", "nothing was there"}));
}

TEST_F(ViewControllerTest, ControllersInUseCannotBePresentedOrContainedAgain) {
  const Controller above = plain(), outer = plain(), other = plain();
  root->presentViewController(above, true);
  outer->addChildViewController(root);
  for (const Controller& active : {above, root, outer, Controller()})
    EXPECT_THROW(above->presentViewController(active, true), base::Exception);
  EXPECT_THROW(other->presentViewController(above, true), base::Exception);
  for (const Controller& wrong : {outer, root, Controller()})
    EXPECT_THROW(root->addChildViewController(wrong), base::Exception);
  other->addChildViewController(root);
  EXPECT_EQ(outer->childViewControllers().size(), 0u);
  EXPECT_EQ(root->parentViewController(), other);
}

TEST_F(ViewControllerTest, ReportsASecondPresentationExceptOverAnAlert) {
  const auto alert = make<UIAlertController>("title", std::nullopt);
  const Controller first = plain();
  for (const Controller& each : {Controller(alert), first}) {
    root->presentViewController(each, true);
    EXPECT_EQ(root->presentedViewController(), each);
  }
  root->presentViewController(page(), true, note("never"));
  EXPECT_EQ(onScreen(), 1u);
  ASSERT_EQ(heard().size(), 1u);
  EXPECT_NE(heard()[0].find("which is already presenting <UIViewController: 0x"), std::string::npos);
  root->dismissViewControllerAnimated(true);
  EXPECT_EQ(root->presentedViewController(), alert) << "the alert remains on top";
}

TEST_F(ViewControllerTest, AContainerPresentsForItsChildren) {
  const auto navigation = make<UINavigationController>(root);
  const Controller above = plain();
  root->presentViewController(above, true);
  for (const Controller& each : {Controller(navigation), root})
    EXPECT_EQ(each->presentedViewController(), above);
  EXPECT_EQ(above->presentingViewController(), navigation);
  root->dismissViewControllerAnimated(true);
  EXPECT_EQ(navigation->presentedViewController(), nullptr);

  EXPECT_THROW(navigation->pushViewController(root, true), base::Exception);
  EXPECT_EQ(navigation->popViewControllerAnimated(true), nullptr);
  navigation->pushViewController(above, true);
  EXPECT_EQ(navigation->popViewControllerAnimated(true), above);
  EXPECT_EQ(navigation->topViewController(), root);
  const auto tabs = make<UITabBarController>();
  EXPECT_THROW(tabs->setSelectedViewController(root), base::Exception);
  tabs->setViewControllers({above, root});
  tabs->setSelectedViewController(root);
  tabs->setViewControllers({above});
  EXPECT_EQ(tabs->selectedViewController(), above);
}

TEST_F(ViewControllerTest, APageWithoutDelegateDismissesItself) {
  class Listening : public SFSafariViewControllerDelegate {
   public:
    void safariViewControllerDidFinish(SFSafariViewController&) override { heard().push_back("finished"); }
  };
  auto delegate = make<Listening>();
  const auto shop = page();
  shop->setDelegate(delegate);
  for (const bool hasDelegate : {true, false}) {
    root->presentViewController(shop, true);
    EXPECT_EQ(onScreen(), 1u);
    platform->testPresenter().close(platform->testPresenter().onScreen()[0].shown);
    EXPECT_EQ(onScreen(), 0u);
    EXPECT_EQ(root->presentedViewController() == shop, hasDelegate) << "until the delegate dismisses it";
    if (hasDelegate) shop->dismissViewControllerAnimated(true);
    delegate = nullptr;
  }
  EXPECT_EQ(heard(), Lines{"finished"});
}

TEST_F(ViewControllerTest, ControllersWithoutOwnerAreNotLeftOnScreen) {
  Controller owner = plain();
  const auto kept = page();
  owner->presentViewController(kept, true);
  kept->presentViewController(page(), true);
  EXPECT_EQ(onScreen(), 2u);
  owner = nullptr;
  EXPECT_EQ(onScreen(), 2u);
  EXPECT_EQ(kept->presentingViewController(), nullptr);
  kept->dismissViewControllerAnimated(true);
  EXPECT_EQ(onScreen(), 0u);
  root->presentViewController(page(), true);  // dismissed before and during its presentation
  root->dismissViewControllerAnimated(true);
  root->presentViewController(kept, true);
  {
    Controller last = plain();
    last->presentViewController(page(), true);
    EXPECT_EQ(onScreen(), 2u);
  }
  EXPECT_EQ(onScreen(), 1u);
}

}  // namespace
}  // namespace tidewell::platform
