#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// A container with controllers side by side, of which the selected one is seen.
class TIDEWELL_EXPORT UITabBarController : public runtime::Subclass<UITabBarController, UIViewController> {
 public:
  UITabBarController();
  ~UITabBarController() override;

  [[nodiscard]] std::vector<Controller> viewControllers() const { return childViewControllers(); }
  /// In place of those that were there. Raises `kInvalidArgumentException` where one of them is null or
  /// contains this one; those before it are then in place.
  void setViewControllers(const std::vector<Controller>& viewControllers);
  /// The first one until another is selected, and where the selected one is not there any more; null where
  /// there is none.
  [[nodiscard]] virtual Controller selectedViewController() const;
  /// Raises `kInvalidArgumentException` for one that is not among `viewControllers`.
  void setSelectedViewController(const Controller& viewController);

  static void describe(runtime::ClassBuilder<UITabBarController>& c);

 private:
  std::atomic<const UIViewController*> selected_{nullptr};  ///< compared only
};

inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kSelectedViewController{
    "selectedViewController"};

}  // namespace tidewell::platform
