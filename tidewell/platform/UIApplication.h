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

/// What came of a background fetch, as whoever fetched says.
enum class UIBackgroundFetchResult : std::uint64_t { newData = 0, noData = 1, failed = 2 };

/// Takes the objects that the application restored for an activity.
using RestorationHandler = std::function<void(const base::Array& restorableObjects)>;
using FetchCompletionHandler = std::function<void(UIBackgroundFetchResult result)>;

/// Keys of the options with which a URL is opened: who asks (a string), and what it sends along (any value).
inline constexpr std::string_view UIApplicationOpenURLOptionsSourceApplicationKey =
    "UIApplicationOpenURLOptionsSourceApplicationKey";
inline constexpr std::string_view UIApplicationOpenURLOptionsAnnotationKey =
    "UIApplicationOpenURLOptionsAnnotationKey";

/// Key of the options with which the application opens a URL elsewhere: YES opens only what an installed
/// application claims as a universal link.
inline constexpr std::string_view UIApplicationOpenURLOptionUniversalLinksOnly =
    "UIApplicationOpenURLOptionUniversalLinksOnly";
/// Takes whether a URL was opened.
using OpenURLCompletion = std::function<void(bool success)>;

/// The application, as the object model knows it: one object a process, found by
/// `classNamed("UIApplication")` and its class method `sharedApplication`, with the application's delegate.
///
/// The class is there as soon as a platform is installed; on a machine that knows nothing there is none.
///
/// The delegate is any object that declares the protocol `UIApplicationDelegate`. The application does not
/// keep it alive: whoever makes it does, and once it is gone there is none. Property `delegate` may be
/// observed.
///
/// The platform, or a host or test that plays it, drives the application with the `deliver…` operations. Each
/// asks the delegate whether it responds and then sends it the message, as for an object of unknown class, so
/// that a class which the delegate was switched to meanwhile sees the call. They are called on the main
/// thread, return when the delegate does, and hand on what it raises. Copies of the handler that the delegate
/// gets share one state; in place of an empty handler it gets one that does nothing.
class TIDEWELL_EXPORT UIApplication : public runtime::Subclass<UIApplication> {
 public:
  UIApplication();
  ~UIApplication() override;

  /// The same object always; null until a platform is installed. Any thread.
  [[nodiscard]] static std::shared_ptr<UIApplication> sharedApplication();

  /// null where none was set, or it died. Any thread.
  [[nodiscard]] runtime::Ref delegate() const;
  /// Tells the observers of `delegate` on this thread. null takes the delegate away.
  void setDelegate(const runtime::Ref& delegate);

  /// The window that look-ups begin with; null where none was made key, or it died. Any thread.
  [[nodiscard]] std::shared_ptr<UIWindow> keyWindow() const;
  /// `UIWindow::makeKeyAndVisible` calls it. null takes the key window away.
  void setKeyWindow(const std::shared_ptr<UIWindow>& window);

  // Links to other programs, through the platform's `LinkOpener`.

  /// Whether some program opens the URL; NO for none. Any thread.
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url);
  /// Opens a URL, on the main queue. The completion, which may be empty, comes later on the main queue; NO
  /// for no URL.
  void openURL(const std::optional<base::Url>& url, const base::Dictionary& options,
               const OpenURLCompletion& completionHandler);
  /// The way of systems before iOS 10, on the main queue: whether there was a program to take it.
  bool openURL(const std::optional<base::Url>& url);

  /// Somebody opens a URL with the application. The delegate's method with options comes first, the one with
  /// source application and annotation (read from the options) only where it lacks that one. The delegate's
  /// answer; NO where it has neither.
  bool deliverOpenURL(const base::Url& url, const base::Dictionary& options = {});
  /// The user goes on with an activity here. The delegate's answer; NO where it has no such method.
  bool deliverUserActivity(NSUserActivity& activity, const RestorationHandler& restorationHandler = {});
  /// Transfers of a background session ended while the application was away. The handler says that it has
  /// dealt with them; where the delegate has no such method it is called at once.
  void deliverBackgroundURLSessionEvents(std::string_view identifier,
                                         const std::function<void()>& completionHandler = {});
  /// How the registration for remote notifications ended.
  void deliverDeviceToken(const base::Data& deviceToken);
  void deliverRegistrationError(const base::Error& error);
  /// A remote notification. The delegate's method with a fetch handler comes first, the one without only
  /// where it lacks that one; the handler is then called at once, with `noData`.
  void deliverRemoteNotification(const base::Dictionary& userInfo,
                                 const FetchCompletionHandler& fetchCompletionHandler = {});

  static void describe(runtime::ClassBuilder<UIApplication>& c);

 private:
  runtime::WeakRef delegate_;
  std::weak_ptr<UIWindow> keyWindow_;
};

/// How the application is asked by code that knows it by name only.
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
