// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIWindow.h"

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/internal/HierarchyMutex.h"

namespace tidewell::platform {

UIWindow::UIWindow() = default;
UIWindow::~UIWindow() = default;

std::shared_ptr<UIViewController> UIWindow::rootViewController() const {
  const base::MutexLock lock(hierarchyMutex());
  return rootViewController_;
}

void UIWindow::setRootViewController(const std::shared_ptr<UIViewController>& rootViewController) {
  std::shared_ptr<UIViewController> next = rootViewController;  // swapped out, released after unlocking
  const base::MutexLock lock(hierarchyMutex());
  rootViewController_.swap(next);
}

void UIWindow::makeKeyAndVisible() {
  if (const auto application = UIApplication::sharedApplication())
    application->setKeyWindow(std::static_pointer_cast<UIWindow>(weak_from_this().lock()));
}

void UIWindow::describe(runtime::ClassBuilder<UIWindow>& c) {
  c.method<&UIWindow::rootViewController>(kRootViewController)
      .property<&UIWindow::rootViewController, &UIWindow::setRootViewController>("rootViewController");
}

}  // namespace tidewell::platform
