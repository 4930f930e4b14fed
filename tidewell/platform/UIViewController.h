// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/ThreadAnnotations.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::base {
class StateMutex;
}

namespace tidewell::platform {

/// Guards the links between view controllers, windows and the application, and the weak references to their
/// delegates. Internal.
[[nodiscard]] base::StateMutex& hierarchyMutex();

/// A screen of the application, or an item shown above it. Models which controller presents or contains
/// which.
///
/// A plain controller represents content that the application draws itself; presenting one only changes the
/// result of look-ups. The platform's presenter draws alerts and pages of the in-app browser.
///
/// A controller owns the controllers that it presents and contains. A controller within a container leaves
/// presenting to the container.
///
/// For the main thread, as on the original platform. Use on other threads is safe: look-ups return the state
/// at that moment, and showing and dismissing is dispatched to the main queue. Callbacks are called with no
/// lock held.
class TIDEWELL_EXPORT UIViewController : public runtime::Subclass<UIViewController> {
 public:
  using Controller = std::shared_ptr<UIViewController>;
  using Completion = std::function<void()>;

  UIViewController();
  ~UIViewController() override;

  /// Shows another controller above this one. A non-empty completion is called later on the main queue, but
  /// never if the controller could not be shown; it is then no longer presented.
  ///
  /// A controller presents one other at a time: a second one is reported and not shown. Alerts do not count.
  /// They stay on top, and a controller presented while one is visible opens beneath it. Raises
  /// `kInvalidArgumentException` for null, and for a controller that is already presented, contained, or
  /// below this one.
  virtual void presentViewController(const Controller& viewController, bool animated,
                                     const Completion& completion = {});
  /// Dismisses the controller that this one presents, with everything above it; without one, dismisses this
  /// controller itself. Pages and alerts always dismiss themselves. A non-empty completion is called on the
  /// main queue.
  virtual void dismissViewControllerAnimated(bool animated, const Completion& completion = {});
  /// The controller presented by this one or by its container; an alert only if nothing else is presented.
  [[nodiscard]] virtual Controller presentedViewController() const;
  /// The controller that presents this one or its container.
  [[nodiscard]] virtual Controller presentingViewController() const;

  /// Appends a child, removing it from its previous container. Raises `kInvalidArgumentException` for null
  /// and for a controller that is presented, contains this one, or is this one.
  void addChildViewController(const Controller& child);
  void removeFromParentViewController();
  [[nodiscard]] std::vector<Controller> childViewControllers() const;
  /// The container; null if there is none.
  [[nodiscard]] Controller parentViewController() const;

  static void describe(runtime::ClassBuilder<UIViewController>& c);

 protected:
  /// Who draws a controller, and at which level.
  enum class Layer : std::uint8_t {
    application,  ///< drawn by the application
    page,         ///< drawn by the presenter, above the application
    alert,        ///< drawn by the presenter, above pages
  };

 private:
  friend class SFSafariViewController;
  friend class UIAlertController;

  [[nodiscard]] virtual Layer layer() const { return Layer::application; }
  /// Has the presenter draw the controller. Called on the main queue, not for `Layer::application`.
  [[nodiscard]] virtual Shown show(Presenter& presenter, Shown above);

  /// The result of `presentedViewController`; null if there is none.
  [[nodiscard]] const Controller* inFront() const TIDEWELL_REQUIRES(hierarchyMutex());
  /// Whether `other` is this controller, or directly or indirectly presents or contains it.
  [[nodiscard]] bool isWithin(const UIViewController& other) const TIDEWELL_REQUIRES(hierarchyMutex());
  /// Both append the controllers that they detach to `taken`, topmost first, so that these are destroyed
  /// after unlocking.
  void takeFromParent(std::vector<Controller>& taken) TIDEWELL_REQUIRES(hierarchyMutex());
  void takeAway(std::vector<Controller>& taken) TIDEWELL_REQUIRES(hierarchyMutex());
  [[nodiscard]] static Controller shared(UIViewController* controller);

  void appear(const Completion& completion);

  // Pointers are cleared before their targets are destroyed. A controller is either presented or contained,
  // and never within itself, so that walks up and down terminate.
  std::vector<Controller> presented_ TIDEWELL_GUARDED_BY(hierarchyMutex());
  std::vector<Controller> children_ TIDEWELL_GUARDED_BY(hierarchyMutex());
  UIViewController* presenting_ TIDEWELL_GUARDED_BY(hierarchyMutex()) = nullptr;
  UIViewController* parent_ TIDEWELL_GUARDED_BY(hierarchyMutex()) = nullptr;
  Shown shown_ TIDEWELL_GUARDED_BY(hierarchyMutex()) = Shown::nothing;
};

/// Messages for controllers, whose class may have been switched to one that overrides them.
inline constinit const runtime::Message<void(const std::shared_ptr<UIViewController>&, bool,
                                             const std::function<void()>&)>
    kPresentViewController{"presentViewController:animated:completion:"};
inline constinit const runtime::Message<void(bool, const std::function<void()>&)> kDismissViewController{
    "dismissViewControllerAnimated:completion:"};
inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kPresentedViewController{
    "presentedViewController"};
inline constinit const runtime::Message<std::shared_ptr<UIViewController>()> kPresentingViewController{
    "presentingViewController"};

}  // namespace tidewell::platform
