// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// A window of the application, reduced to what look-ups need: its root controller.
///
/// Held weakly, like the application's delegate: whoever creates it must keep it alive. Any thread.
class TIDEWELL_EXPORT UIWindow : public runtime::Subclass<UIWindow> {
 public:
  UIWindow();
  ~UIWindow() override;

  [[nodiscard]] std::shared_ptr<UIViewController> rootViewController() const;
  void setRootViewController(const std::shared_ptr<UIViewController>& rootViewController);
  /// Makes this the window at which look-ups start (`UIApplication::keyWindow`), until another one is made
  /// key or this one is destroyed.
  void makeKeyAndVisible();

  static void describe(runtime::ClassBuilder<UIWindow>& c);

 private:
  std::shared_ptr<UIViewController> rootViewController_ TIDEWELL_GUARDED_BY(hierarchyMutex());
};

inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kRootViewController{
    "rootViewController"};

}  // namespace tidewell::platform
