// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/UIAlertController.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/platform/UIScreen.h"
#include "tidewell/platform/UITabBarController.h"
#include "tidewell/platform/UIWindow.h"

namespace tidewell {
namespace {

using runtime::Ref;
using runtime::send;
using Controller = std::shared_ptr<platform::UIViewController>;

template <class T>
bool isKindOf(const Controller& controller) {
  return runtime::isKindOf(controller.get(), runtime::classOf<T>());
}

/// Follows the key window's chain up to the first alert; null without a window or root controller.
Controller topOfKeyWindow() {
  const Ref window = send(TWAppDelegateSwizzler::sharedApplication(), platform::kKeyWindow);
  Controller top = send(window, platform::kRootViewController);
  for (;;) {
    Controller next = send(top, platform::kPresentedViewController);
    if (!next || isKindOf<platform::UIAlertController>(next)) return top;
    top = std::move(next);
  }
}

Controller rootOfDelegateWindow() {
  const Ref delegate = send(TWAppDelegateSwizzler::sharedApplication(), platform::kDelegate);
  if (!runtime::respondsTo(delegate.get(), platform::kApplicationDelegateWindow.selector())) return nullptr;
  return send(send(delegate, platform::kApplicationDelegateWindow), platform::kRootViewController);
}

Controller topOfNavigation(const Controller& controller) {
  if (!isKindOf<platform::UINavigationController>(controller)) return controller;
  return send(controller, platform::kTopViewController);
}

}  // namespace

Controller TWCoreUtils::getTopMostPresentedViewController() {
  const Controller top = getTopMostViewController();
  if (!isKindOf<platform::UITabBarController>(top)) return topOfNavigation(top);
  return topOfNavigation(send(top, platform::kSelectedViewController));
}

Controller TWCoreUtils::getTopMostViewController() {
  Controller top = topOfKeyWindow();
  return top ? top : rootOfDelegateWindow();
}

void TWCoreUtils::showAlertViewWithMessage(std::optional<std::string_view> message,
                                           std::optional<std::string_view> andTitle) {
  static constexpr LogCoordinates kWhere{"TWCoreUtils", 134,
                                         "showAlertViewWithMessage:andTitle:", "Exception : %@"};
  guarded(kWhere, [&] {
    const auto text = [](std::optional<std::string_view> view) {
      return view ? std::optional<std::string>(*view) : std::nullopt;
    };
    const auto alert = runtime::make<platform::UIAlertController>(text(andTitle), text(message));
    alert->addAction(
        platform::UIAlertAction::actionWithTitle("OK", platform::AlertActionStyle::standard, {}));
    send(getTopMostViewController(), platform::kPresentViewController, alert, true, nullptr);
  });
}

double TWCoreUtils::deviceScreenWidth() { return platform::UIScreen::mainScreen()->bounds().width; }
double TWCoreUtils::deviceScreenHeight() { return platform::UIScreen::mainScreen()->bounds().height; }

}  // namespace tidewell
