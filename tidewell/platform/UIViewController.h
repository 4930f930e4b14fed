#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::platform {

/// One screen of the application, or something shown above it: who presents whom, and who contains whom.
///
/// A plain controller stands for what the application draws itself, with whatever it draws with: presenting
/// one changes nothing but what the look-ups answer. Alerts and pages of the in-app browser are drawn by the
/// platform's presenter.
///
/// A controller keeps alive what it presents and contains. A controller inside a container leaves presenting
/// to the container.
///
/// Main thread, as on the original platform. Another thread does no harm: look-ups answer what holds at that
/// moment, and what is to be shown or taken away goes to the main queue. No lock is held while functions that
/// were handed in are called.
class TIDEWELL_EXPORT UIViewController : public runtime::Subclass<UIViewController> {
 public:
  using Controller = std::shared_ptr<UIViewController>;
  using Completion = std::function<void()>;

  UIViewController();
  ~UIViewController() override;

  /// Shows another controller above this one. The completion, which may be empty, comes later on the main
  /// queue; never for one that could not be shown, which is then presented no longer.
  ///
  /// A controller presents one other at a time: a second one is reported and not shown. Alerts do not count.
  /// They stay above, and what is presented with an alert on the screen opens beneath it. Raises
  /// `kInvalidArgumentException` for null, and for a controller that is presented, contained, or below this
  /// one already.
  virtual void presentViewController(const Controller& viewController, bool animated,
                                     const Completion& completion = {});
  /// Takes away what this controller presents, with all above it; where it presents nothing, the controller
  /// itself. Pages and alerts always take themselves away. The completion, which may be empty, comes on the
  /// main queue.
  virtual void dismissViewControllerAnimated(bool animated, const Completion& completion = {});
  /// What this controller, or the container it is in, presents; an alert only where it presents nothing else.
  [[nodiscard]] virtual Controller presentedViewController() const;
  /// What presents this controller, or the container it is in.
  [[nodiscard]] virtual Controller presentingViewController() const;

  /// Puts a controller, taken from the container it was in, behind those that this one contains. Raises
  /// `kInvalidArgumentException` for null and for a controller that is presented, contains this one, or is
  /// this one.
  void addChildViewController(const Controller& child);
  void removeFromParentViewController();
  [[nodiscard]] std::vector<Controller> childViewControllers() const;
  /// The container; null where there is none.
  [[nodiscard]] Controller parentViewController() const;

  static void describe(runtime::ClassBuilder<UIViewController>& c);

 protected:
  /// Who draws a controller, and where.
  enum class Layer : std::uint8_t {
    application,  ///< the application draws it
    page,         ///< the presenter, above the application
    alert,        ///< the presenter, above pages
  };

 private:
  friend class SFSafariViewController;
  friend class UIAlertController;

  [[nodiscard]] virtual Layer layer() const { return Layer::application; }
  /// Lets the presenter draw the controller; called on the main queue, not for those that the application
  /// draws.
  [[nodiscard]] virtual Shown show(Presenter& presenter, Shown above);

  // Under the lock of the hierarchy.
  /// What `presentedViewController` answers; null for nothing.
  [[nodiscard]] const Controller* inFront() const;
  /// Whether the other one is this one, or presents or contains it, at whatever distance.
  [[nodiscard]] bool isWithin(const UIViewController& other) const;
  /// Both hand out what they take, from the top down, so that it dies later, if it does.
  void takeFromParent(std::vector<Controller>& taken);
  void takeAway(std::vector<Controller>& taken);
  [[nodiscard]] static Controller shared(UIViewController* controller);

  void appear(const Completion& completion);

  // Under the lock, too. A pointer is taken back before what it points to goes. A controller is presented or
  // contained, never both, and never within itself, so that a walk up or down ends.
  std::vector<Controller> presented_;
  std::vector<Controller> children_;
  UIViewController* presenting_ = nullptr;
  UIViewController* parent_ = nullptr;
  Shown shown_ = Shown::nothing;
};

/// How controllers are asked: an object's class may have been switched to one that answers otherwise.
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
