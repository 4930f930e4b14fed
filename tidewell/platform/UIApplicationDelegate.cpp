#include "tidewell/platform/UIApplicationDelegate.h"

#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::platform {

UIApplicationDelegate::~UIApplicationDelegate() = default;

// Nobody responds to a method because of these: they are what a class has that overrides none.

bool UIApplicationDelegate::openURL(UIApplication&, const base::Url&, const base::Dictionary&) {
  return false;
}
bool UIApplicationDelegate::openURLFromSource(UIApplication&, const base::Url&,
                                              const std::optional<std::string>&, const base::Value&) {
  return false;
}
bool UIApplicationDelegate::continueUserActivity(UIApplication&, NSUserActivity&, const RestorationHandler&) {
  return false;
}
void UIApplicationDelegate::handleEventsForBackgroundURLSession(UIApplication&, const std::string&,
                                                                const std::function<void()>&) {}
void UIApplicationDelegate::didRegisterForRemoteNotifications(UIApplication&, const base::Data&) {}
void UIApplicationDelegate::didFailToRegisterForRemoteNotifications(UIApplication&, const base::Error&) {}
void UIApplicationDelegate::didReceiveRemoteNotification(UIApplication&, const base::Dictionary&) {}
void UIApplicationDelegate::didReceiveRemoteNotificationFetching(UIApplication&, const base::Dictionary&,
                                                                 const FetchCompletionHandler&) {}
runtime::Ref UIApplicationDelegate::window() { return nullptr; }

const runtime::Protocol& UIApplicationDelegate::protocol() {
  static constinit std::atomic<const runtime::Protocol*> protocol{nullptr};
  return base::madeOnce(protocol, [] {
    return std::make_unique<const runtime::Protocol>(
        runtime::Protocol("UIApplicationDelegate")
            .optional(kApplicationOpenURL)
            .optional(kApplicationOpenURLFromSource)
            .optional(kApplicationContinueUserActivity)
            .optional(kApplicationHandleEventsForBackgroundURLSession)
            .optional(kApplicationDidRegisterForRemoteNotifications)
            .optional(kApplicationDidFailToRegisterForRemoteNotifications)
            .optional(kApplicationDidReceiveRemoteNotification)
            .optional(kApplicationDidReceiveRemoteNotificationFetching)
            .optional(kApplicationDelegateWindow));
  });
}

}  // namespace tidewell::platform
