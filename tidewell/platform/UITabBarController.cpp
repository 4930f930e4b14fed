// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UITabBarController.h"

#include <algorithm>

#include "tidewell/base/Exception.h"
#include "tidewell/runtime/Description.h"

namespace tidewell::platform {

UITabBarController::UITabBarController() = default;
UITabBarController::~UITabBarController() = default;

void UITabBarController::setViewControllers(const std::vector<Controller>& viewControllers) {
  for (const Controller& each : childViewControllers()) each->removeFromParentViewController();
  for (const Controller& each : viewControllers) addChildViewController(each);
}

UIViewController::Controller UITabBarController::selectedViewController() const {
  const std::vector<Controller> all = viewControllers();
  if (all.empty()) return nullptr;
  const auto selected = std::find_if(all.begin(), all.end(),
                                     [this](const auto& each) { return each.get() == selected_.load(); });
  return selected == all.end() ? all.front() : *selected;
}

void UITabBarController::setSelectedViewController(const Controller& viewController) {
  const std::vector<Controller> all = viewControllers();
  if (std::find(all.begin(), all.end(), viewController) == all.end())
    base::raise(base::kInvalidArgumentException,
                runtime::description(viewController.get()) +
                    " cannot be selected: it is not among the tab bar controller's view controllers");
  selected_ = viewController.get();
}

void UITabBarController::describe(runtime::ClassBuilder<UITabBarController>& c) {
  c.method<&UITabBarController::selectedViewController>(kSelectedViewController)
      .property<&UITabBarController::selectedViewController>("selectedViewController");
}

}  // namespace tidewell::platform
