#pragma once

#include <memory>
#include <optional>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/platform/SFSafariViewController.h"
#include "tidewell/platform/SFSafariViewControllerDelegate.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell {

/// Shows rich landing pages in the in-app browser, above whatever the application shows, and closes them.
///
/// One instance a process, made on first use and never destroyed. Any thread: operations return before
/// anything is shown or closed, which happens on the main queue. Failures go to the log only.
class TIDEWELL_EXPORT TWWebViewHandler
    : public runtime::Subclass<TWWebViewHandler, platform::SFSafariViewControllerDelegate> {
 public:
  [[nodiscard]] static TWWebViewHandler& sharedInstance();
  TWWebViewHandler();
  ~TWWebViewHandler() override;

  /// Shows a page; nothing for no URL. A URL that the in-app browser does not take is logged.
  void openWebViewWithUrl(std::optional<base::Url> url);
  /// The same without the guard: raises for anything but an http or https URL. What is shown is the page that
  /// `sfVC` holds when the main queue comes to it: of two pages opened in a row the second, once.
  virtual void presentSafariVCWithURL(const std::optional<base::Url>& url);

  /// Closes the page that `sfVC` holds when the main queue comes to it, shown or not; does nothing where none
  /// was opened yet.
  void dismissRichLandingWebViewControllerWithAnimation(bool animated);
  /// The same without the guard.
  virtual void dismissSafariControllerWithAnimation(bool animated);

  /// The user has closed a page: it is dismissed.
  void safariViewControllerDidFinish(platform::SFSafariViewController& controller) override;

  /// The page that was opened last, also after it was closed.
  [[nodiscard]] std::shared_ptr<platform::SFSafariViewController> sfVC() const;
  void setSfVC(std::shared_ptr<platform::SFSafariViewController> sfVC);
  /// A place for a web view controller of other modules.
  [[nodiscard]] std::shared_ptr<platform::UIViewController> webViewVC() const;
  void setWebViewVC(std::shared_ptr<platform::UIViewController> webViewVC);

  static void describe(runtime::ClassBuilder<TWWebViewHandler>& c);

 private:
  std::shared_ptr<platform::SFSafariViewController> sfVC_;
  std::shared_ptr<platform::UIViewController> webViewVC_;
};

}  // namespace tidewell
