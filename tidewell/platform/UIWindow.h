#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// A window of the application, as far as look-ups need it: the controller that everything begins with.
///
/// Kept alive by whoever makes it, like the application's delegate. Any thread.
class TIDEWELL_EXPORT UIWindow : public runtime::Subclass<UIWindow> {
 public:
  UIWindow();
  ~UIWindow() override;

  [[nodiscard]] std::shared_ptr<UIViewController> rootViewController() const;
  void setRootViewController(const std::shared_ptr<UIViewController>& rootViewController);
  /// Makes it the window that look-ups begin with (`UIApplication::keyWindow`), until another one is or this
  /// one dies.
  void makeKeyAndVisible();

  static void describe(runtime::ClassBuilder<UIWindow>& c);

 private:
  std::shared_ptr<UIViewController> rootViewController_;
};

inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kRootViewController{
    "rootViewController"};

}  // namespace tidewell::platform
