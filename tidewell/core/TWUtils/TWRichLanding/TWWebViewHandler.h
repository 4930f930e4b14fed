// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "tidewell/base/Export.h"
#include "tidewell/base/ThreadAnnotations.h"
#include "tidewell/base/Url.h"
#include "tidewell/platform/SFSafariViewController.h"
#include "tidewell/platform/SFSafariViewControllerDelegate.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell {

/// Guards the controllers kept by every `TWWebViewHandler`. Internal.
[[nodiscard]] base::StateMutex& webViewHandlerMutex();

/// Shows rich landing pages in the in-app browser, above the application's current content, and closes them.
///
/// One instance per process, created on first use and never destroyed. Any thread: operations return
/// immediately, and pages are shown and closed on the main queue. Failures are only logged.
class TIDEWELL_EXPORT TWWebViewHandler
    : public runtime::Subclass<TWWebViewHandler, platform::SFSafariViewControllerDelegate> {
 public:
  [[nodiscard]] static TWWebViewHandler& sharedInstance();
  TWWebViewHandler();
  ~TWWebViewHandler() override;

  /// Shows a page. Does nothing without a URL. Logs a URL that the in-app browser does not support.
  void openWebViewWithUrl(std::optional<base::Url> url);
  /// The same, but raises for anything but an http or https URL. Shows the page that `sfVC` returns when the
  /// main queue runs it: if two pages are opened in succession, only the second.
  virtual void presentSafariVCWithURL(const std::optional<base::Url>& url);

  /// Closes the page that `sfVC` returns when the main queue runs this, whether it is shown or not. Does
  /// nothing if none was opened.
  void dismissRichLandingWebViewControllerWithAnimation(bool animated);
  /// The same, but exceptions propagate.
  virtual void dismissSafariControllerWithAnimation(bool animated);

  /// The user has closed a page: dismisses it.
  void safariViewControllerDidFinish(platform::SFSafariViewController& controller) override;

  /// The most recently opened page, even if it has been closed.
  [[nodiscard]] std::shared_ptr<platform::SFSafariViewController> sfVC() const;
  void setSfVC(std::shared_ptr<platform::SFSafariViewController> sfVC);
  /// Storage for a web view controller of other modules.
  [[nodiscard]] std::shared_ptr<platform::UIViewController> webViewVC() const;
  void setWebViewVC(std::shared_ptr<platform::UIViewController> webViewVC);

  static void describe(runtime::ClassBuilder<TWWebViewHandler>& c);

 private:
  std::shared_ptr<platform::SFSafariViewController> sfVC_ TIDEWELL_GUARDED_BY(webViewHandlerMutex());
  std::shared_ptr<platform::UIViewController> webViewVC_ TIDEWELL_GUARDED_BY(webViewHandlerMutex());
};

}  // namespace tidewell
