// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// A container with controllers side by side; the selected one is visible.
class TIDEWELL_EXPORT UITabBarController : public runtime::Subclass<UITabBarController, UIViewController> {
 public:
  UITabBarController();
  ~UITabBarController() override;

  [[nodiscard]] std::vector<Controller> viewControllers() const { return childViewControllers(); }
  /// Replaces all controllers. Raises `kInvalidArgumentException` if one of them is null or contains this
  /// one; those before it have been added by then.
  void setViewControllers(const std::vector<Controller>& viewControllers);
  /// The first controller unless another was selected and is still present; null if there is none.
  [[nodiscard]] virtual Controller selectedViewController() const;
  /// Raises `kInvalidArgumentException` for a controller not in `viewControllers`.
  void setSelectedViewController(const Controller& viewController);

  static void describe(runtime::ClassBuilder<UITabBarController>& c);

 private:
  std::atomic<const UIViewController*> selected_{nullptr};  ///< for comparison only, never dereferenced
};

inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kSelectedViewController{
    "selectedViewController"};

}  // namespace tidewell::platform
