// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// A container with a stack of controllers; the topmost one is visible.
class TIDEWELL_EXPORT UINavigationController
    : public runtime::Subclass<UINavigationController, UIViewController> {
 public:
  UINavigationController();
  explicit UINavigationController(const Controller& rootViewController);
  ~UINavigationController() override;

  /// Raises `kInvalidArgumentException` for null and for a controller on the stack.
  void pushViewController(const Controller& viewController, bool animated);
  /// Returns the removed controller. If only the root is left, does nothing and returns null.
  Controller popViewControllerAnimated(bool animated);
  /// From the root to the topmost.
  [[nodiscard]] std::vector<Controller> viewControllers() const { return childViewControllers(); }
  /// Null if the stack is empty.
  [[nodiscard]] virtual Controller topViewController() const;

  static void describe(runtime::ClassBuilder<UINavigationController>& c);
};

inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kTopViewController{
    "topViewController"};

}  // namespace tidewell::platform
