// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <type_traits>

#include "tidewell/base/Data.h"
#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/UserActivity.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Message.h"
#include "tidewell/runtime/Protocol.h"

namespace tidewell::platform {

// The methods of the protocol `UIApplicationDelegate`. All are optional.

inline constinit const runtime::Message<bool(UIApplication&, const base::Url&, const base::Dictionary&)>
    kApplicationOpenURL{"application:openURL:options:"};
inline constinit const runtime::Message<bool(UIApplication&, const base::Url&,
                                             const std::optional<std::string>&, const base::Value&)>
    kApplicationOpenURLFromSource{"application:openURL:sourceApplication:annotation:"};
inline constinit const runtime::Message<bool(UIApplication&, NSUserActivity&, const RestorationHandler&)>
    kApplicationContinueUserActivity{"application:continueUserActivity:restorationHandler:"};
inline constinit const runtime::Message<void(UIApplication&, const std::string&,
                                             const std::function<void()>&)>
    kApplicationHandleEventsForBackgroundURLSession{
        "application:handleEventsForBackgroundURLSession:completionHandler:"};
inline constinit const runtime::Message<void(UIApplication&, const base::Data&)>
    kApplicationDidRegisterForRemoteNotifications{
        "application:didRegisterForRemoteNotificationsWithDeviceToken:"};
inline constinit const runtime::Message<void(UIApplication&, const base::Error&)>
    kApplicationDidFailToRegisterForRemoteNotifications{
        "application:didFailToRegisterForRemoteNotificationsWithError:"};
inline constinit const runtime::Message<void(UIApplication&, const base::Dictionary&)>
    kApplicationDidReceiveRemoteNotification{"application:didReceiveRemoteNotification:"};
inline constinit const runtime::Message<void(UIApplication&, const base::Dictionary&,
                                             const FetchCompletionHandler&)>
    kApplicationDidReceiveRemoteNotificationFetching{
        "application:didReceiveRemoteNotification:fetchCompletionHandler:"};
inline constinit const runtime::Message<runtime::Ref()> kApplicationDelegateWindow{"window"};

/// Receives the system's events for an application. Derive from it, override the methods of interest, and
/// create the object with `runtime::make`:
///
///     class AppDelegate : public UIApplicationDelegate {
///      public:
///       bool openURL(UIApplication& application, const Url& url, const Dictionary& options) override;
///     };
///     auto delegate = runtime::make<AppDelegate>();
///     UIApplication::sharedApplication()->setDelegate(delegate);
///
/// The methods to which the object responds are determined at compile time from its class's overrides;
/// inherited defaults do not count. Overrides must be public. All are called on the main thread.
///
/// The system sends messages. A plain C++ call `delegate->openURL(…)` ignores any class to which the object
/// was switched: send `kApplicationOpenURL` instead.
///
/// A class that cannot derive from this one declares the protocol and the messages in its own `describe`.
class TIDEWELL_EXPORT UIApplicationDelegate : public runtime::Subclass<UIApplicationDelegate> {
 public:
  ~UIApplicationDelegate() override;

  /// Opens a URL. Returns whether the application did so.
  virtual bool openURL(UIApplication& application, const base::Url& url, const base::Dictionary& options);
  /// The same on systems without options. `sourceApplication` has no value if the requesting application is
  /// unknown.
  virtual bool openURLFromSource(UIApplication& application, const base::Url& url,
                                 const std::optional<std::string>& sourceApplication,
                                 const base::Value& annotation);
  /// Continues an activity. The handler takes the objects that were restored for it. Returns whether the
  /// application continued it.
  virtual bool continueUserActivity(UIApplication& application, NSUserActivity& activity,
                                    const RestorationHandler& restorationHandler);
  /// Transfers of a background session have ended. Call the handler when they have been processed.
  virtual void handleEventsForBackgroundURLSession(UIApplication& application, const std::string& identifier,
                                                   const std::function<void()>& completionHandler);
  virtual void didRegisterForRemoteNotifications(UIApplication& application, const base::Data& deviceToken);
  virtual void didFailToRegisterForRemoteNotifications(UIApplication& application, const base::Error& error);
  virtual void didReceiveRemoteNotification(UIApplication& application, const base::Dictionary& userInfo);
  /// The same with content to fetch. Call the handler when that is done.
  virtual void didReceiveRemoteNotificationFetching(UIApplication& application,
                                                    const base::Dictionary& userInfo,
                                                    const FetchCompletionHandler& fetchCompletionHandler);
  /// The application's window; null if there is none.
  virtual runtime::Ref window();

  [[nodiscard]] static const runtime::Protocol& protocol();
  /// Registers the methods that `T` overrides. Called by `runtime::make` and `runtime::classOf`.
  template <class T>
  static void adopt(runtime::ClassBuilder<T>& c) {
    using Self = UIApplicationDelegate;
    if constexpr (std::is_same_v<T, Self>) c.conformsTo(protocol());  // inherited by every subclass
    forEachMessage(
        [&c](const auto& message, auto method) { runtime::adoptMethod<Self>(c, message, method); });
  }
  /// Calls `visit` with each message of the protocol and a generic lambda that returns a class's method for
  /// it.
  template <class Visit>
  static constexpr void forEachMessage(const Visit& visit) {
    visit(kApplicationOpenURL, []<class U>() { return &U::openURL; });
    visit(kApplicationOpenURLFromSource, []<class U>() { return &U::openURLFromSource; });
    visit(kApplicationContinueUserActivity, []<class U>() { return &U::continueUserActivity; });
    visit(kApplicationHandleEventsForBackgroundURLSession,
          []<class U>() { return &U::handleEventsForBackgroundURLSession; });
    visit(kApplicationDidRegisterForRemoteNotifications,
          []<class U>() { return &U::didRegisterForRemoteNotifications; });
    visit(kApplicationDidFailToRegisterForRemoteNotifications,
          []<class U>() { return &U::didFailToRegisterForRemoteNotifications; });
    visit(kApplicationDidReceiveRemoteNotification,
          []<class U>() { return &U::didReceiveRemoteNotification; });
    visit(kApplicationDidReceiveRemoteNotificationFetching,
          []<class U>() { return &U::didReceiveRemoteNotificationFetching; });
    visit(kApplicationDelegateWindow, []<class U>() { return &U::window; });
  }
};

// Defaults of classes without an override, which do not respond to these messages.

inline bool UIApplicationDelegate::openURL(UIApplication&, const base::Url&, const base::Dictionary&) {
  return false;
}
inline bool UIApplicationDelegate::openURLFromSource(UIApplication&, const base::Url&,
                                                     const std::optional<std::string>&, const base::Value&) {
  return false;
}
inline bool UIApplicationDelegate::continueUserActivity(UIApplication&, NSUserActivity&,
                                                        const RestorationHandler&) {
  return false;
}
inline void UIApplicationDelegate::handleEventsForBackgroundURLSession(UIApplication&, const std::string&,
                                                                       const std::function<void()>&) {}
inline void UIApplicationDelegate::didRegisterForRemoteNotifications(UIApplication&, const base::Data&) {}
inline void UIApplicationDelegate::didFailToRegisterForRemoteNotifications(UIApplication&,
                                                                           const base::Error&) {}
inline void UIApplicationDelegate::didReceiveRemoteNotification(UIApplication&, const base::Dictionary&) {}
inline void UIApplicationDelegate::didReceiveRemoteNotificationFetching(UIApplication&,
                                                                        const base::Dictionary&,
                                                                        const FetchCompletionHandler&) {}
inline runtime::Ref UIApplicationDelegate::window() { return nullptr; }

}  // namespace tidewell::platform
