// SPDX-License-Identifier: Apache-2.0
// The registry of interceptors, and dispatch to them.

#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Description.h"

namespace tidewell {
namespace {

using runtime::Ref;
using runtime::Selector;

constexpr std::string_view kInterceptorIDPrefix = "Tdw_";

std::string interceptorID(const runtime::Object& interceptor) {
  return base::stringWithFormat("%@%p", {kInterceptorIDPrefix, base::BoxedPointer{&interceptor}});
}

/// Calls the callback with an interceptor and catches its exceptions.
void notify(const Ref& interceptor, Selector selector,
            const TWAppDelegateSwizzler::InterceptorCallback& callback) {
  const base::CancellationShield shield;
  try {
    callback(interceptor);
  } catch (...) {
    logCaughtException(
        {"TWAppDelegateSwizzler", 36, selector.name(), "AppDelegateProxy interceptor raised %@"});
  }
}

/// Whether a snapshot's entry is still valid for this interceptor after a change of the registry. An
/// interceptor that was registered again has another container under the same ID.
bool isStillRegistered(const InterceptorRegistry& registry, const InterceptorRegistry::Entry& entry,
                       const Ref& interceptor) {
  const InterceptorRegistry::Container present = registry.objectForKey(entry.id);
  return present && (present == entry.container || present->object() == interceptor);
}

}  // namespace

std::optional<std::string> TWAppDelegateSwizzler::registerAppDelegateInterceptor(const Ref& interceptor) {
  if (!interceptor) {
    logLine("AppDelegateProxy cannot add nil interceptor.");
    return std::nullopt;
  }
  if (!runtime::conformsTo(interceptor.get(), platform::UIApplicationDelegate::protocol())) {
    logLine("AppDelegateProxy interceptor does not conform to UIApplicationDelegate");
    return std::nullopt;
  }
  std::string id = interceptorID(*interceptor);
  if (id.empty()) {
    logLine("AppDelegateProxy cannot create Interceptora as id is empty");
    return std::nullopt;
  }
  const auto container = runtime::make<TWZeroingWeakContainer>();
  container->setObject(interceptor);
  interceptors().setObject(container, id);
  return id;
}

void TWAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(
    std::optional<std::string_view> interceptorID) {
  if (!interceptorID) {
    logLine("AppDelegateProxy cannot unregister empty interceptor ID.");
    return;
  }
  const InterceptorRegistry::Container container = interceptors().objectForKey(*interceptorID);
  if (container && container->object()) {
    interceptors().removeObjectForKey(*interceptorID);
    return;
  }
  logLine([&] {
    return base::stringWithFormat(
        "AppDelegateProxy cannot unregister interceptor that was not registered. \n Interceptor ID %@",
        {*interceptorID});
  });
}

InterceptorRegistry& TWAppDelegateSwizzler::interceptors() {
  static constinit std::atomic<InterceptorRegistry*> registry{nullptr};
  return base::madeOnce(registry);
}

void TWAppDelegateSwizzler::notifyInterceptorsWithMethodSelector(Selector selector,
                                                                 const InterceptorCallback& callback) {
  InterceptorRegistry& registry = interceptors();
  if (!callback || registry.count() == 0) return;
  const InterceptorRegistry::Snapshot snapshot = registry.snapshot();
  for (const InterceptorRegistry::Entry& entry : *snapshot.entries) {
    const Ref interceptor = entry.container->object();
    if (registry.version() != snapshot.version && !isStillRegistered(registry, entry, interceptor)) continue;
    if (!interceptor) {
      if (!registry.removeObjectForKey(entry.id, *entry.container)) continue;
      logLine([&] {
        return base::stringWithFormat(
            "AppDelegateProxy cannot find interceptor with ID %@. Removing the interceptor.", {entry.id});
      });
    } else if (runtime::respondsTo(interceptor.get(), selector)) {
      notify(interceptor, selector, callback);
    }
  }
}

void TWAppDelegateSwizzler::clearInterceptors() { interceptors().removeAllObjects(); }

}  // namespace tidewell
