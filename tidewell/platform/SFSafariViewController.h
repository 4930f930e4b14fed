#pragma once

#include <memory>
#include <optional>

#include "tidewell/base/Url.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// The in-app browser with one page. Shown by presenting it, as often as one likes.
///
/// When the user has closed it the delegate is told, which dismisses it: until then it counts as presented.
/// Without a delegate that listens it dismisses itself.
class TIDEWELL_EXPORT SFSafariViewController
    : public runtime::Subclass<SFSafariViewController, UIViewController> {
 public:
  /// Any thread. Raises `kInvalidArgumentException` for anything but an http or https URL.
  explicit SFSafariViewController(const std::optional<base::Url>& url);
  ~SFSafariViewController() override;

  [[nodiscard]] const base::Url& URL() const noexcept { return url_; }
  /// null where none was set, or it died. Any thread.
  [[nodiscard]] runtime::Ref delegate() const;
  /// An object that answers `kSafariViewControllerDidFinish`; it is not kept alive. null for none.
  void setDelegate(const runtime::Ref& delegate);

  static void describe(runtime::ClassBuilder<SFSafariViewController>& c);

 private:
  [[nodiscard]] Layer layer() const override { return Layer::page; }
  [[nodiscard]] Shown show(Presenter& presenter, Shown above) override;
  void finish();

  const base::Url url_;
  runtime::WeakRef delegate_;
};

/// What the delegate is sent, on the main queue, when the user has closed the page.
inline constinit const runtime::Message<void(SFSafariViewController&)> kSafariViewControllerDidFinish{
    "safariViewControllerDidFinish:"};

}  // namespace tidewell::platform
