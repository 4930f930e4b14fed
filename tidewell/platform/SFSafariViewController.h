// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "tidewell/base/Url.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// The in-app browser with one page. Present it to show it, any number of times.
///
/// When the user closes the page the delegate is notified and must dismiss the controller, which counts as
/// presented until then. Without a responding delegate the controller dismisses itself.
class TIDEWELL_EXPORT SFSafariViewController
    : public runtime::Subclass<SFSafariViewController, UIViewController> {
 public:
  /// Any thread. Raises `kInvalidArgumentException` for anything but an http or https URL.
  explicit SFSafariViewController(const std::optional<base::Url>& url);
  ~SFSafariViewController() override;

  [[nodiscard]] const base::Url& URL() const noexcept { return url_; }
  /// Null if none was set or it has been destroyed. Any thread.
  [[nodiscard]] runtime::Ref delegate() const;
  /// An object that responds to `kSafariViewControllerDidFinish`; held weakly. May be null.
  void setDelegate(const runtime::Ref& delegate);

  static void describe(runtime::ClassBuilder<SFSafariViewController>& c);

 private:
  [[nodiscard]] Layer layer() const override { return Layer::page; }
  [[nodiscard]] Shown show(Presenter& presenter, Shown above) override;
  void finish();

  const base::Url url_;
  runtime::WeakRef delegate_ TIDEWELL_GUARDED_BY(hierarchyMutex());
};

/// Sent to the delegate, on the main queue, when the user has closed the page.
inline constinit const runtime::Message<void(SFSafariViewController&)> kSafariViewControllerDidFinish{
    "safariViewControllerDidFinish:"};

}  // namespace tidewell::platform
