// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/UIApplicationDelegate.h"

namespace tidewell {
namespace {

using platform::Platform;
using runtime::Ref;
using runtime::send;

constexpr LogCoordinates kDeeplink{"TWCoreUtils", 155,
                                   "openDeeplink:", "Exception while handling deep-link : %@"};
constexpr LogCoordinates kUniversalLink{"TWCoreUtils", 184,
                                        "openUniversalLink:", "Exception while handling universal link : %@"};
constexpr LogCoordinates kCustomUrlLink{"TWCoreUtils", 204,
                                        "openCustomUrlLink:", "Exception while handling deep-link : %@"};

constexpr std::string_view kOpened = "DeepLink Opened";

/// Asks the application, on this thread.
bool canOpen(const std::optional<base::Url>& url, const LogCoordinates& where) {
  return guarded(where, false, [&] {
    return send(TWAppDelegateSwizzler::sharedApplication(), platform::kCanOpenURL, url);
  });
}

/// Runs guarded work on the main queue, asynchronously.
template <class Work>
void onMainQueue(const LogCoordinates& where, Work work) {
  Platform::current().mainQueue().async([&where, work = std::move(work)] { guarded(where, work); });
}

void handToDelegate(const std::optional<base::Url>& url) {
  const Ref application = TWAppDelegateSwizzler::sharedApplication();
  const Ref delegate = send(application, platform::kDelegate);
  if (!runtime::respondsTo(delegate.get(), platform::kApplicationContinueUserActivity.selector()))
    return TWCoreUtils::openCustomUrlLink(url);

  const auto activity = runtime::make<platform::NSUserActivity>(platform::NSUserActivityTypeBrowsingWeb);
  activity->setWebpageURL(url);
  send(delegate, platform::kApplicationContinueUserActivity,
       runtime::checkedObject<platform::UIApplication>(application.get()), *activity,
       [](const base::Array&) { logLine("Deeplink UserActivity Restoration Handler Called"); });
}

}  // namespace

void TWCoreUtils::openDeeplink(std::optional<base::Url> url) {
  if (!canOpen(url, kDeeplink)) return;
  onMainQueue(kDeeplink, [url = std::move(url)] {
    if (!Platform::current().hasModernLinkOpening()) return openDeeplinkBelowiOS10(url);
    send(TWAppDelegateSwizzler::sharedApplication(), platform::kOpenURLWithOptions, url,
         base::Dictionary{{platform::UIApplicationOpenURLOptionUniversalLinksOnly, true}},
         [url](bool success) {
           if (success) {
             logLine(kOpened);
           } else {
             openCustomUrlLink(url);
           }
         });
  });
}

void TWCoreUtils::openDeeplinkBelowiOS10(std::optional<base::Url> url) {
  const std::optional<std::string> scheme = url ? url->scheme() : std::nullopt;
  if (scheme == "https" || scheme == "http") return openUniversalLink(std::move(url));
  openCustomUrlLink(std::move(url));
}

void TWCoreUtils::openUniversalLink(std::optional<base::Url> url) {
  onMainQueue(kUniversalLink, [url = std::move(url)] { handToDelegate(url); });
}

void TWCoreUtils::openCustomUrlLink(std::optional<base::Url> url) {
  if (!canOpen(url, kCustomUrlLink)) return;
  onMainQueue(kCustomUrlLink, [url = std::move(url)] {
    const Ref application = TWAppDelegateSwizzler::sharedApplication();
    if (Platform::current().hasModernLinkOpening()) {
      send(application, platform::kOpenURLWithOptions, url, base::Dictionary(), [](bool success) {
        if (success) logLine(kOpened);
      });
    } else {
      send(application, platform::kOpenURL, url);
    }
  });
}

void TWCoreUtils::openRichLandingLink(std::optional<base::Url> url) {
  TWWebViewHandler::sharedInstance().openWebViewWithUrl(std::move(url));
}

}  // namespace tidewell
