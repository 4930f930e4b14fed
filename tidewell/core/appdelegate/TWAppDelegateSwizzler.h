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

/// Lets other modules of the SDK hear what the system tells the application's delegate, with no word about it
/// in the application's own code.
///
/// A module registers an object of its own, the interceptor, and starts the proxy. From then on the class of
/// the application's delegate is a subclass, made at run time, whose methods first send the message on to
/// every interceptor that responds to it and then call the application's own method. The delegate stays the
/// same object. The Info.plist key of `TWCoreUtils::getAppDelegateProxyInfoPlistKey` switches the proxy off.
///
/// Class operations only; none raises, `sharedApplication` apart. Any thread may register, unregister and
/// dispatch; the proxy is installed on the main thread, where the system calls the delegate. The proxied
/// messages come to the interceptors synchronously, on the thread of the call. What the application's own
/// method raises passes through unchanged; what an interceptor raises is logged, and the others and the
/// application are called all the same.
class TIDEWELL_EXPORT TWAppDelegateSwizzler final {
 public:
  TWAppDelegateSwizzler() = delete;

  // Interceptors.

  /// Registers an object that declares `UIApplicationDelegate`: its ID, for the time when it is unregistered.
  /// Nothing (logged) for another object or null. The object is not kept alive; registered twice, it has the
  /// same ID and is called once.
  static std::optional<std::string> registerAppDelegateInterceptor(const runtime::Ref& interceptor);
  /// Logs, and changes nothing, for an ID whose interceptor is not registered or not alive.
  static void unregisterAppDelegateInterceptorWithID(std::optional<std::string_view> interceptorID);
  /// The registry itself, not a copy.
  [[nodiscard]] static InterceptorRegistry& interceptors();
  /// Calls the callback with every interceptor that is alive, registered and responds to the selector, and
  /// returns once it has. An entry whose interceptor died is removed, and logged once. The callback may
  /// register and unregister: what it unregisters is not called any more, what it registers is called next
  /// time. Nothing at all happens for an empty callback.
  using InterceptorCallback = std::function<void(const runtime::Ref& interceptor)>;
  static void notifyInterceptorsWithMethodSelector(runtime::Selector selector,
                                                   const InterceptorCallback& callback);
  static void clearInterceptors();

  // The proxy.

  /// Proxies the application's current delegate for opened URLs, user activities and background sessions:
  /// once a process, whatever comes of it.
  static void proxyOriginalDelegate();
  /// The same, and then for remote notifications, once a process.
  static void proxyOriginalDelegateIncludingAPNSMethods();
  /// Proxies an object as `proxyOriginalDelegate` does, each time it is called, and lets the application take
  /// its current delegate anew.
  static void proxyAppDelegate(const runtime::Ref& appDelegate);
  [[nodiscard]] static bool isAppDelegateProxyEnabled();
  /// Lets both stages run once more, for a delegate that the application has set since. A delegate that is
  /// proxied already gets a further subclass, and each message still reaches everybody once.
  static void resetProxyOriginalDelegateOnceToken();
  /// The proxied delegate, which is kept alive until the application sets another one; null then.
  [[nodiscard]] static runtime::Ref originalDelegate();
  /// What the class method `sharedApplication` of the class named UIApplication answers, or raises; null
  /// where there is none.
  [[nodiscard]] static runtime::Ref sharedApplication();
  /// An invocation of a method of `UIApplicationDelegate`, with neither target nor arguments; nothing for a
  /// selector that is none.
  [[nodiscard]] static std::optional<runtime::Invocation> appDelegateInvocationForSelector(
      runtime::Selector selector);
};

}  // namespace tidewell
