// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Data.h"
#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/UIWindow.h"
#include "tidewell/platform/UserActivity.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::platform {

/// The outcome of a background fetch, as reported by the code that performed it.
enum class UIBackgroundFetchResult : std::uint64_t { newData = 0, noData = 1, failed = 2 };

/// Receives the objects that the application restored for an activity.
using RestorationHandler = std::function<void(const base::Array& restorableObjects)>;
using FetchCompletionHandler = std::function<void(UIBackgroundFetchResult result)>;

/// Option keys for opening a URL in the application: the requesting application (a string) and its annotation
/// (any value).
inline constexpr std::string_view UIApplicationOpenURLOptionsSourceApplicationKey =
    "UIApplicationOpenURLOptionsSourceApplicationKey";
inline constexpr std::string_view UIApplicationOpenURLOptionsAnnotationKey =
    "UIApplicationOpenURLOptionsAnnotationKey";

/// Option key for opening a URL in another program: true opens it only if an installed application claims it
/// as a universal link.
inline constexpr std::string_view UIApplicationOpenURLOptionUniversalLinksOnly =
    "UIApplicationOpenURLOptionUniversalLinksOnly";
/// Receives whether a URL was opened.
using OpenURLCompletion = std::function<void(bool success)>;

/// The application in the object model: one object per process, accessible through
/// `classNamed("UIApplication")` and its class method `sharedApplication`, and its delegate. The class exists
/// once a platform is installed.
///
/// The delegate is any object that declares the protocol `UIApplicationDelegate`. It is held weakly: whoever
/// creates it must keep it alive. The property `delegate` can be observed.
///
/// The platform, or a host or test in its place, drives the application with the `deliver…` operations. Each
/// asks the delegate whether it responds and then sends the message dynamically, so that a class to which the
/// delegate was switched meanwhile receives the call. Call them on the main thread; they return when the
/// delegate does and propagate its exceptions. Copies of the handler passed to the delegate share state; an
/// empty handler is replaced by one that does nothing.
class TIDEWELL_EXPORT UIApplication : public runtime::Subclass<UIApplication> {
 public:
  UIApplication();
  ~UIApplication() override;

  /// Always the same object; null until a platform is installed. Any thread.
  [[nodiscard]] static std::shared_ptr<UIApplication> sharedApplication();

  /// Null if none was set or it has been destroyed. Any thread.
  [[nodiscard]] runtime::Ref delegate() const;
  /// Null removes the delegate. Notifies observers of `delegate` on this thread.
  void setDelegate(const runtime::Ref& delegate);

  /// The window at which look-ups start; null if none was made key or it has been destroyed. Any thread.
  [[nodiscard]] std::shared_ptr<UIWindow> keyWindow() const;
  /// Called by `UIWindow::makeKeyAndVisible`. Null removes the key window.
  void setKeyWindow(const std::shared_ptr<UIWindow>& window);

  // Opening URLs in other programs, through the platform's `LinkOpener`.

  /// Whether a program opens the URL; false if there is none. Any thread.
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url);
  /// Opens a URL, on the main queue. A non-empty completion is called later on the main queue, with false if
  /// there is no URL.
  void openURL(const std::optional<base::Url>& url, const base::Dictionary& options,
               const OpenURLCompletion& completionHandler);
  /// The variant of systems before iOS 10, on the main queue: returns whether a program accepted the URL.
  bool openURL(const std::optional<base::Url>& url);

  /// Another program opens a URL in the application. Calls the delegate's method with options or, if it lacks
  /// that one, the method with source application and annotation (read from the options). Returns the
  /// delegate's result, or false if it has neither.
  bool deliverOpenURL(const base::Url& url, const base::Dictionary& options = {});
  /// The user continues an activity in the application. Returns the delegate's result, or false if it lacks
  /// the method.
  bool deliverUserActivity(NSUserActivity& activity, const RestorationHandler& restorationHandler = {});
  /// Transfers of a background session have ended while the application was suspended. The delegate calls the
  /// handler when it has processed them; if it lacks the method, the handler is called immediately.
  void deliverBackgroundURLSessionEvents(std::string_view identifier,
                                         const std::function<void()>& completionHandler = {});
  /// The result of registering for remote notifications.
  void deliverDeviceToken(const base::Data& deviceToken);
  void deliverRegistrationError(const base::Error& error);
  /// A remote notification has arrived. Calls the delegate's method with a fetch handler or, if it lacks that
  /// one, the method without; the handler is then called immediately, with `noData`.
  void deliverRemoteNotification(const base::Dictionary& userInfo,
                                 const FetchCompletionHandler& fetchCompletionHandler = {});

  static void describe(runtime::ClassBuilder<UIApplication>& c);

 private:
  runtime::WeakRef delegate_ TIDEWELL_GUARDED_BY(hierarchyMutex());
  std::weak_ptr<UIWindow> keyWindow_ TIDEWELL_GUARDED_BY(hierarchyMutex());
};

/// Messages for code that knows the application by name only.
inline constinit const runtime::Message<runtime::Ref()> kSharedApplication{"sharedApplication"};
inline constinit const runtime::Message<runtime::Ref()> kDelegate{"delegate"};
inline constinit const runtime::Message<void(const runtime::Ref&)> kSetDelegate{"setDelegate:"};
inline constinit const runtime::Message<runtime::Ref()> kKeyWindow{"keyWindow"};
inline constinit const runtime::Message<bool(const std::optional<base::Url>&)> kCanOpenURL{"canOpenURL:"};
inline constinit const runtime::Message<void(const std::optional<base::Url>&, const base::Dictionary&,
                                             const OpenURLCompletion&)>
    kOpenURLWithOptions{"openURL:options:completionHandler:"};
inline constinit const runtime::Message<bool(const std::optional<base::Url>&)> kOpenURL{"openURL:"};

}  // namespace tidewell::platform
