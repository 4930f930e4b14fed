// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/core/appdelegate/InterceptorRegistry.h"
#include "tidewell/runtime/Invocation.h"
#include "tidewell/runtime/Object.h"
#include "tidewell/runtime/Selector.h"

namespace tidewell {

/// Lets other modules of the SDK receive the system's messages to the application's delegate, without changes
/// to the application's code.
///
/// A module registers an object of its own, the interceptor, and starts the proxy. From then on the
/// delegate's class is a subclass created at run time, whose methods first send the message to every
/// interceptor that responds to it and then call the application's own method. The delegate stays the same
/// object. The Info.plist key of `TWCoreUtils::getAppDelegateProxyInfoPlistKey` can disable the proxy.
///
/// Static functions only; none but `sharedApplication` raises. Any thread may register, unregister and
/// dispatch; install the proxy on the main thread, where the system calls the delegate. Interceptors receive
/// proxied messages synchronously, on the thread of the call. Exceptions of the application's own method
/// propagate unchanged; those of an interceptor are logged, and the other interceptors and the application
/// are still called.
class TIDEWELL_EXPORT TWAppDelegateSwizzler final {
 public:
  TWAppDelegateSwizzler() = delete;

  // Interceptors.

  /// Registers an object that declares `UIApplicationDelegate`, and returns its ID for unregistering. No
  /// value (with a log line) for null and any other object. The object is held weakly; if it is registered
  /// twice, it keeps its ID and is called once.
  static std::optional<std::string> registerAppDelegateInterceptor(const runtime::Ref& interceptor);
  /// Logs, and changes nothing, if there is no live registered interceptor with that ID.
  static void unregisterAppDelegateInterceptorWithID(std::optional<std::string_view> interceptorID);
  /// The registry itself, not a copy.
  [[nodiscard]] static InterceptorRegistry& interceptors();
  /// Calls the callback with every live registered interceptor that responds to the selector. An entry whose
  /// interceptor was destroyed is removed and logged once. The callback may register and unregister
  /// interceptors: a removed one is not called any more, an added one is called next time. Does nothing for
  /// an empty callback.
  using InterceptorCallback = std::function<void(const runtime::Ref& interceptor)>;
  static void notifyInterceptorsWithMethodSelector(runtime::Selector selector,
                                                   const InterceptorCallback& callback);
  static void clearInterceptors();

  // The proxy.

  /// Proxies the application's current delegate for opened URLs, user activities and background sessions.
  /// Runs once per process, whatever the result.
  static void proxyOriginalDelegate();
  /// The same, followed once per process by the proxy for remote notifications.
  static void proxyOriginalDelegateIncludingAPNSMethods();
  /// Proxies an object as `proxyOriginalDelegate` does, but at each call, and makes the application set its
  /// current delegate again.
  static void proxyAppDelegate(const runtime::Ref& appDelegate);
  [[nodiscard]] static bool isAppDelegateProxyEnabled();
  /// Lets both stages run again, for a delegate that the application has set since. A delegate that is
  /// already proxied gets a further subclass; each message still reaches every receiver once.
  static void resetProxyOriginalDelegateOnceToken();
  /// The proxied delegate, kept alive until the application sets another one; then null.
  [[nodiscard]] static runtime::Ref originalDelegate();
  /// The result of the class method `sharedApplication` of the class named UIApplication, or null if there is
  /// no such class. Propagates exceptions.
  [[nodiscard]] static runtime::Ref sharedApplication();
  /// An invocation of a method of `UIApplicationDelegate`, without target and arguments; no value for any
  /// other selector.
  [[nodiscard]] static std::optional<runtime::Invocation> appDelegateInvocationForSelector(
      runtime::Selector selector);
};

}  // namespace tidewell
