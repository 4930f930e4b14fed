// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UINavigationController.h"

#include "tidewell/base/Exception.h"
#include "tidewell/runtime/Description.h"

namespace tidewell::platform {

using runtime::description;

UINavigationController::UINavigationController() = default;
UINavigationController::UINavigationController(const Controller& rootViewController) {
  addChildViewController(rootViewController);
}
UINavigationController::~UINavigationController() = default;

void UINavigationController::pushViewController(const Controller& viewController, bool) {
  if (viewController && viewController->parentViewController().get() == this)
    base::raise(base::kInvalidArgumentException,
                "Pushing the same view controller instance more than once is not supported (" +
                    description(viewController.get()) + ")");
  addChildViewController(viewController);
}

UIViewController::Controller UINavigationController::popViewControllerAnimated(bool) {
  const std::vector<Controller> stack = viewControllers();
  if (stack.size() < 2) return nullptr;
  stack.back()->removeFromParentViewController();
  return stack.back();
}

UIViewController::Controller UINavigationController::topViewController() const {
  const std::vector<Controller> stack = viewControllers();
  return stack.empty() ? nullptr : stack.back();
}

void UINavigationController::describe(runtime::ClassBuilder<UINavigationController>& c) {
  c.method<&UINavigationController::topViewController>(kTopViewController)
      .property<&UINavigationController::topViewController>("topViewController");
}

}  // namespace tidewell::platform
