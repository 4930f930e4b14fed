// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIViewController.h"

#include <algorithm>
#include <string>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/internal/HierarchyMutex.h"
#include "tidewell/runtime/Description.h"

namespace tidewell::platform {
namespace {

using runtime::description;

const base::MadeWhenLoaded hierarchyMutexMade(hierarchyMutex);

void onMainQueue(std::function<void()> function) {
  Queue& queue = Platform::current().mainQueue();
  if (queue.isCurrent()) {
    function();
  } else {
    queue.async(std::move(function));
  }
}

}  // namespace

base::StateMutex& hierarchyMutex() {
  static base::NeverDestroyed<base::StateMutex> mutex;
  return *mutex;
}

UIViewController::UIViewController() = default;

UIViewController::~UIViewController() {
  std::vector<Controller> presented;
  std::vector<Controller> children;
  Shown shown = Shown::nothing;
  {
    const base::MutexLock lock(hierarchyMutex());
    presented.swap(presented_);
    children.swap(children_);
    for (const Controller& each : presented) each->presenting_ = nullptr;
    for (const Controller& each : children) each->parent_ = nullptr;
    shown = shown_;
  }
  if (shown == Shown::nothing) return;
  const base::CancellationShield shield;
  try {
    onMainQueue([shown] { Platform::current().presenter().dismiss(shown, false, {}); });
  } catch (...) {
    report("There is no memory to take away what a view controller that is gone had shown");
  }
}

void UIViewController::presentViewController(const Controller& viewController, bool animated,
                                             const Completion& completion) {
  if (const Controller parent = parentViewController())
    return parent->presentViewController(viewController, animated, completion);
  if (!viewController)
    base::raise(base::kInvalidArgumentException,
                "Application tried to present a nil modal view controller on target " + description(this));

  bool isActive = false;
  Controller inTheWay;
  {
    const base::MutexLock lock(hierarchyMutex());
    const Controller* const front = inFront();
    if (front && (*front)->layer() != Layer::alert) inTheWay = *front;
    isActive = viewController->presenting_ || viewController->parent_ || isWithin(*viewController);
    if (!isActive && !inTheWay) {
      presented_.push_back(viewController);
      viewController->presenting_ = this;
    }
  }
  if (isActive)
    base::raise(base::kInvalidArgumentException,
                "Application tried to present modally an active view controller " +
                    description(viewController.get()));
  if (inTheWay) {
    report("Attempt to present " + description(viewController.get()) + " on " + description(this) +
           " which is already presenting " + description(inTheWay.get()));
    return;
  }
  onMainQueue([viewController, completion] { viewController->appear(completion); });
}

void UIViewController::appear(const Completion& completion) {
  Platform& platform = Platform::current();
  if (layer() != Layer::application) {
    Shown above = Shown::nothing;
    {
      const base::MutexLock lock(hierarchyMutex());
      if (!presenting_ || shown_ != Shown::nothing) return;  // dismissed meanwhile, perhaps presented again
      for (const UIViewController* below = presenting_; below && above == Shown::nothing;
           below = below->presenting_)
        above = below->shown_;
    }
    const Shown shown = show(platform.presenter(), above);
    std::vector<Controller> taken;
    const base::MutexLock lock(hierarchyMutex());
    shown_ = shown;
    if (shown == Shown::nothing) return takeAway(taken);
  }
  if (completion) platform.mainQueue().async(completion);
}

void UIViewController::dismissViewControllerAnimated(bool animated, const Completion& completion) {
  if (const Controller parent = parentViewController())
    return parent->dismissViewControllerAnimated(animated, completion);

  std::vector<Controller> taken;
  if (layer() == Layer::application) {
    const base::MutexLock lock(hierarchyMutex());
    const Controller* const front = inFront();
    (front ? **front : *this).takeAway(taken);
  } else {
    const Controller self = std::static_pointer_cast<UIViewController>(weak_from_this().lock());
    {
      const base::MutexLock lock(hierarchyMutex());
      takeAway(taken);
    }
    // Its presenter may be gone while it is still on the screen.
    if (self && (taken.empty() || taken.back() != self)) taken.push_back(self);
  }
  onMainQueue([taken = std::move(taken), animated, completion] {
    std::vector<Shown> shown;
    {
      const base::MutexLock lock(hierarchyMutex());
      for (const Controller& each : taken) {
        if (each->shown_ != Shown::nothing) shown.push_back(std::exchange(each->shown_, Shown::nothing));
      }
    }
    Platform& platform = Platform::current();
    for (const Shown each : shown)
      platform.presenter().dismiss(each, animated, each == shown.back() ? completion : Completion());
    if (shown.empty() && completion) platform.mainQueue().async(completion);
  });
}

UIViewController::Controller UIViewController::presentedViewController() const {
  if (const Controller parent = parentViewController()) return parent->presentedViewController();
  const base::MutexLock lock(hierarchyMutex());
  const Controller* const front = inFront();
  return front ? *front : nullptr;
}

UIViewController::Controller UIViewController::presentingViewController() const {
  if (const Controller parent = parentViewController()) return parent->presentingViewController();
  const base::MutexLock lock(hierarchyMutex());
  return shared(presenting_);
}

void UIViewController::addChildViewController(const Controller& child) {
  bool isWrong = !child;
  std::vector<Controller> taken;
  {
    const base::MutexLock lock(hierarchyMutex());
    isWrong = isWrong || child->presenting_ || isWithin(*child);
    if (!isWrong) {
      child->takeFromParent(taken);
      children_.push_back(child);
      child->parent_ = this;
    }
  }
  if (isWrong)
    base::raise(base::kInvalidArgumentException,
                description(this) + " cannot contain " + description(child.get()));
}

void UIViewController::removeFromParentViewController() {
  std::vector<Controller> taken;
  const base::MutexLock lock(hierarchyMutex());
  takeFromParent(taken);
}

std::vector<UIViewController::Controller> UIViewController::childViewControllers() const {
  const base::MutexLock lock(hierarchyMutex());
  return children_;
}

UIViewController::Controller UIViewController::parentViewController() const {
  const base::MutexLock lock(hierarchyMutex());
  return shared(parent_);
}

UIViewController::Controller UIViewController::shared(UIViewController* controller) {
  if (!controller) return nullptr;
  return std::static_pointer_cast<UIViewController>(controller->weak_from_this().lock());
}

const UIViewController::Controller* UIViewController::inFront() const {
  if (presented_.empty()) return nullptr;
  const auto found = std::find_if(presented_.rbegin(), presented_.rend(),
                                  [](const Controller& each) { return each->layer() != Layer::alert; });
  return found == presented_.rend() ? &presented_.back() : &*found;
}

bool UIViewController::isWithin(const UIViewController& other) const {
  const UIViewController* each = this;
  while (each && each != &other) each = each->presenting_ ? each->presenting_ : each->parent_;
  return each != nullptr;
}

void UIViewController::takeFromParent(std::vector<Controller>& taken) {
  if (!parent_) return;
  auto& siblings = parent_->children_;
  const auto own =
      std::find_if(siblings.begin(), siblings.end(), [this](const auto& each) { return each.get() == this; });
  taken.push_back(std::move(*own));
  siblings.erase(own);
  parent_ = nullptr;
}

void UIViewController::takeAway(std::vector<Controller>& taken) {
  while (!presented_.empty()) presented_.back()->takeAway(taken);
  if (!presenting_) return;
  auto& siblings = presenting_->presented_;
  const auto own =
      std::find_if(siblings.begin(), siblings.end(), [this](const auto& each) { return each.get() == this; });
  taken.push_back(std::move(*own));
  siblings.erase(own);
  presenting_ = nullptr;
}

Shown UIViewController::show(Presenter&, Shown) { return Shown::nothing; }

void UIViewController::describe(runtime::ClassBuilder<UIViewController>& c) {
  c.method<&UIViewController::presentViewController>(kPresentViewController)
      .method<&UIViewController::dismissViewControllerAnimated>(kDismissViewController)
      .method<&UIViewController::presentedViewController>(kPresentedViewController)
      .method<&UIViewController::presentingViewController>(kPresentingViewController)
      .property<&UIViewController::presentedViewController>("presentedViewController")
      .property<&UIViewController::presentingViewController>("presentingViewController")
      .property<&UIViewController::parentViewController>("parentViewController");
}

}  // namespace tidewell::platform
