// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"

#include <utility>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {

using platform::Platform;
using platform::SFSafariViewController;

namespace {

const base::MadeWhenLoaded webViewHandlerMutexMade(webViewHandlerMutex);

std::shared_ptr<TWWebViewHandler> keptAlive(TWWebViewHandler& handler) {
  return std::static_pointer_cast<TWWebViewHandler>(handler.weak_from_this().lock());
}

}  // namespace

base::StateMutex& webViewHandlerMutex() {
  static base::NeverDestroyed<base::StateMutex> mutex;
  return *mutex;
}

TWWebViewHandler& TWWebViewHandler::sharedInstance() {
  static constinit std::atomic<const std::shared_ptr<TWWebViewHandler>*> handler{nullptr};
  return *base::madeOnce(handler, [] {
    return std::make_unique<const std::shared_ptr<TWWebViewHandler>>(runtime::make<TWWebViewHandler>());
  });
}

TWWebViewHandler::TWWebViewHandler() = default;
TWWebViewHandler::~TWWebViewHandler() = default;

void TWWebViewHandler::openWebViewWithUrl(std::optional<base::Url> url) {
  static constexpr LogCoordinates kWhere{"TWWebViewHandler", 41,
                                         "openWebViewWithUrl:", "WebView Handler Open URL exception %@"};
  if (!url) return;
  guarded(kWhere, [&] { presentSafariVCWithURL(url); });
}

void TWWebViewHandler::presentSafariVCWithURL(const std::optional<base::Url>& url) {
  const auto page = runtime::make<SFSafariViewController>(url);
  page->setDelegate(weak_from_this().lock());
  setSfVC(page);
  Platform::current().mainQueue().async([self = keptAlive(*this)] {
    const auto latest = self ? self->sfVC() : nullptr;
    // Already shown if another page was opened before the main queue ran the first function.
    if (!latest || runtime::send(latest, platform::kPresentingViewController)) return;
    runtime::send(TWCoreUtils::getTopMostViewController(), platform::kPresentViewController, latest, true,
                  nullptr);
  });
}

void TWWebViewHandler::dismissRichLandingWebViewControllerWithAnimation(bool animated) {
  static constexpr LogCoordinates kWhere{
      "TWWebViewHandler", 60,
      "dismissRichLandingWebViewControllerWithAnimation:", "WebView Handler Dismiss exception %@"};
  guarded(kWhere, [&] { dismissSafariControllerWithAnimation(animated); });
}

void TWWebViewHandler::dismissSafariControllerWithAnimation(bool animated) {
  if (!sfVC()) return;
  Platform::current().mainQueue().async([self = keptAlive(*this), animated] {
    if (self) runtime::send(self->sfVC(), platform::kDismissViewController, animated, nullptr);
  });
}

void TWWebViewHandler::safariViewControllerDidFinish(SFSafariViewController& controller) {
  runtime::send(controller, platform::kDismissViewController, true, nullptr);
}

std::shared_ptr<SFSafariViewController> TWWebViewHandler::sfVC() const {
  const base::MutexLock lock(webViewHandlerMutex());
  return sfVC_;
}

void TWWebViewHandler::setSfVC(std::shared_ptr<SFSafariViewController> sfVC) {
  const base::MutexLock lock(webViewHandlerMutex());
  sfVC_.swap(sfVC);  // the parameter, destroyed after unlocking, releases the previous one
}

std::shared_ptr<platform::UIViewController> TWWebViewHandler::webViewVC() const {
  const base::MutexLock lock(webViewHandlerMutex());
  return webViewVC_;
}

void TWWebViewHandler::setWebViewVC(std::shared_ptr<platform::UIViewController> webViewVC) {
  const base::MutexLock lock(webViewHandlerMutex());
  webViewVC_.swap(webViewVC);
}

void TWWebViewHandler::describe(runtime::ClassBuilder<TWWebViewHandler>& c) {
  c.property<&TWWebViewHandler::sfVC, &TWWebViewHandler::setSfVC>("sfVC")
      .property<&TWWebViewHandler::webViewVC, &TWWebViewHandler::setWebViewVC>("webViewVC");
}

}  // namespace tidewell
