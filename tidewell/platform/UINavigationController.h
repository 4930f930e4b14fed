#pragma once

#include <memory>
#include <vector>

#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// A container with a stack of controllers, of which the last one is seen.
class TIDEWELL_EXPORT UINavigationController
    : public runtime::Subclass<UINavigationController, UIViewController> {
 public:
  UINavigationController();
  explicit UINavigationController(const Controller& rootViewController);
  ~UINavigationController() override;

  /// Raises `kInvalidArgumentException` for null, and for one that is on the stack.
  void pushViewController(const Controller& viewController, bool animated);
  /// What was taken off; null, and nothing happens, where only the root is left.
  Controller popViewControllerAnimated(bool animated);
  /// From the root to the one that is seen.
  [[nodiscard]] std::vector<Controller> viewControllers() const { return childViewControllers(); }
  /// null for an empty stack.
  [[nodiscard]] virtual Controller topViewController() const;

  static void describe(runtime::ClassBuilder<UINavigationController>& c);
};

inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kTopViewController{
    "topViewController"};

}  // namespace tidewell::platform
