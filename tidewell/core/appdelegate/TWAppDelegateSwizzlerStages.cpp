// SPDX-License-Identifier: Apache-2.0
// The proxy: its two stages, the delegate's subclass, and setting the delegate again.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Digest.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/appdelegate/internal/DelegateMessages.h"
#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/core/appdelegate/internal/OnceToken.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/Message.h"

namespace tidewell {
namespace {

using base::BoxedPointer;
using base::Dictionary;
using base::stringWithFormat;
using platform::UIApplicationDelegate;
using runtime::AssociationPolicy;
using runtime::Class;
using runtime::Method;
using runtime::Object;
using runtime::Ref;
using runtime::Selector;

constexpr std::string_view kSubclassPrefix = "Tdw_";

/// The proxy's process-wide state.
struct ProxyState {
  OnceToken proxyAppDelegateOnceToken;
  OnceToken proxyAppDelegateRemoteNotificationOnceToken;

  base::StateMutex mutex;  ///< never held while an object is destroyed
  Ref originalAppDelegate TIDEWELL_GUARDED_BY(mutex);
  Class* originalAppDelegateClass TIDEWELL_GUARDED_BY(mutex) = nullptr;
  Class* appDelegateSubclass TIDEWELL_GUARDED_BY(mutex) = nullptr;
};

ProxyState& proxyState() {
  static base::NeverDestroyed<ProxyState> instance;
  return *instance;
}

const base::MadeWhenLoaded proxyStateMade(proxyState);

void setOriginalDelegate(Ref delegate) {
  const base::MutexLock lock(proxyState().mutex);
  proxyState().originalAppDelegate.swap(delegate);
}

Ref currentDelegate() {
  return runtime::send(TWAppDelegateSwizzler::sharedApplication(), platform::kDelegate);
}

/// Runs a part of the installation and catches its exceptions.
template <class Work>
void installing(Work&& work) {
  const base::CancellationShield shield;
  try {
    std::forward<Work>(work)();
  } catch (...) {
    logLine([] {
      return stringWithFormat("Exception : %@ \n Cannot create App Delegate Proxy.",
                              {base::currentExceptionDescription()});
    });
  }
}

/// Adds a method of the donor to the subclass. Returns false, and logs, if it has one already.
bool addInstanceMethod(Class& toClass, Selector destination, Selector source,
                       const Forwarding* forwarding = nullptr) {
  const Method* const donor = donorClass().method(source);
  if (donor && runtime::addMethod(toClass, destination,
                                  Method(destination, donor->function(), donor->signature(),
                                         donor->neededClass(), forwarding)))
    return true;
  logLine([&] {
    return stringWithFormat("Cannot copy method to destination selector %@ as it already exists",
                            {destination.name()});
  });
  return false;
}

/// The real class's method for a selector; null if it has none.
///
/// The real class of a delegate proxied again has a forwarding method, which would call itself forever. Then
/// the entry in the earlier proxy's map applies; without one, the nearest method that does not forward.
const Method* realImplementation(Selector selector, const Class& realClass, const Dictionary& map) {
  const Method* found = realClass.method(selector);
  if (!found || !isForwarding(*found)) return found;
  if (const base::Value* const entry = map.find(selector.name()); entry && entry->pointer())
    return static_cast<const Method*>(entry->pointer()->address);
  for (const Class* from = realClass.superclass(); from && found && isForwarding(*found);
       from = from->superclass())
    found = from->method(selector);
  return found;
}

/// Adds a forwarding method, and records in the map what it forwards to.
void proxyMethod(const DelegateMessage& message, Class& toClass, const Class& realClass, Dictionary& map) {
  const Selector selector = message.selector();
  const Method* const original = realImplementation(selector, realClass, map);
  auto forwarding = std::make_unique<Forwarding>();
  forwarding->original = original;
  if (addInstanceMethod(toClass, selector, message.donorSelector(), forwarding.get())) {
    (void)forwarding.release();  // owned by the method, which is never freed
  } else if (const Method* const present = toClass.ownMethod(selector); present && isForwarding(*present)) {
    static_cast<const Forwarding*>(present->state())->original = original;
  }
  map.setObject(BoxedPointer{original}, selector.name());
}

template <ProxyStage stage>
void proxyMethods(Class& toClass, const Class& realClass, const Object& delegate, Dictionary& map) {
  for (const std::uint8_t row : kRowsOfStage<stage>) {
    const DelegateMessage& message = kDelegateMessages[row];
    if (message.added == Added::ifDelegateResponds && !runtime::respondsTo(&delegate, message.selector()))
      continue;
    proxyMethod(message, toClass, realClass, map);
  }
}

/// A copy of the object's map; empty if it has none.
Dictionary copyOfRealImplementations(const Object& object) {
  const base::Value attached = realImplementations(&object);
  return attached.dictionary() ? *attached.dictionary() : Dictionary();
}

Class* createSubclassWithObject(Object& object) {
  Class& original = object.isa();
  const std::string name = std::string(kSubclassPrefix) + original.name() + "-" + base::UUIDString();
  if (runtime::classNamed(name)) {
    logLine([&] {
      return stringWithFormat(
          "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: %@, subclass: %@",
          {original.name(), name});
    });
    return nullptr;
  }
  Class* const subclass = runtime::allocateClassPair(&original, name);
  if (!subclass) {
    logLine([&] {
      return stringWithFormat(
          "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: %@, subclass: "
          "Nil",
          {original.name()});
    });
    return nullptr;
  }

  Dictionary implementations = copyOfRealImplementations(object);
  proxyMethods<ProxyStage::base>(*subclass, original, object, implementations);
  addInstanceMethod(*subclass, runtime::kDescription.selector(), Selector::named("fakeDescription"));
  attachRealImplementations(&object, std::move(implementations), AssociationPolicy::retainNonatomic);
  attachRealClass(&object, original);

  if (original.instanceSize() != subclass->instanceSize()) {
    logLine([&] {
      return stringWithFormat(
          "Cannot create subclass of App Delegate, because the created subclass is not the same size. %@",
          {original.name()});
    });
    return nullptr;
  }
  runtime::registerClassPair(*subclass);
  if (runtime::setClass(&object, *subclass)) {
    logLine([] {
      return stringWithFormat(
          "Successfully created App Delegate Proxy automatically. To disable the proxy, set the flag %@ to "
          "NO (Boolean) in the Info.plist",
          {TWCoreUtils::getAppDelegateProxyInfoPlistKey()});
    });
  }
  return subclass;
}

/// Makes the application set its delegate again, so that it notices the added methods.
void reassignAppDelegate() {
  const Ref application = TWAppDelegateSwizzler::sharedApplication();
  const Ref delegate = currentDelegate();  // may be the only owner while the application has no delegate
  for (const Ref& each : {Ref(), delegate}) {
    try {
      runtime::send(application, platform::kSetDelegate, each);
    } catch (const std::bad_alloc&) {  // it is set nevertheless, and the application keeps its delegate
    }
  }
  setOriginalDelegate(delegate);
  TWAppDelegateObserver::sharedInstance()->observeUIApplication();
}

/// The remote-notification stage. Holds and observes the delegate at the end even if it could not be proxied.
void proxyRemoteNotificationMethods() {
  Class* subclass = nullptr;
  Class* realClass = nullptr;
  {
    const base::MutexLock lock(proxyState().mutex);
    subclass = proxyState().appDelegateSubclass;
    realClass = proxyState().originalAppDelegateClass;
  }
  const Ref delegate = currentDelegate();
  base::Value implementations = realImplementations(delegate.get());
  if (subclass && realClass && delegate && implementations.dictionary()) {
    Dictionary copy = *implementations.dictionary();
    proxyMethods<ProxyStage::remoteNotifications>(*subclass, *realClass, *delegate, copy);
    implementations = std::move(copy);
  }
  attachRealImplementations(delegate.get(), std::move(implementations), AssociationPolicy::retain);
  reassignAppDelegate();
}

}  // namespace

Ref takeOriginalDelegate(const Object* ifItIs) {
  const base::MutexLock lock(proxyState().mutex);
  if (proxyState().originalAppDelegate.get() != ifItIs) return nullptr;
  return std::exchange(proxyState().originalAppDelegate, nullptr);
}

void TWAppDelegateSwizzler::proxyOriginalDelegate() {
  proxyState().proxyAppDelegateOnceToken.run([] {
    Ref delegate;
    installing([&] { delegate = currentDelegate(); });
    proxyAppDelegate(delegate);
  });
}

void TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods() {
  proxyOriginalDelegate();
  proxyState().proxyAppDelegateRemoteNotificationOnceToken.run(
      [] { installing(&proxyRemoteNotificationMethods); });
}

void TWAppDelegateSwizzler::proxyAppDelegate(const Ref& appDelegate) {
  installing([&] {
    if (!runtime::conformsTo(appDelegate.get(), UIApplicationDelegate::protocol())) {
      logLine([&] {
        return stringWithFormat("App Delegate does not conform to UIApplicationDelegate protocol. %@",
                                {runtime::description(appDelegate.get())});
      });
      return;
    }
    if (!isAppDelegateProxyEnabled()) {
      logLine("App Delegate Proxy is disabled.");
      return;
    }
    if (!appDelegate) {
      logLine("Cannot create App Delegate Proxy because App Delegate instance is nil.");
      return;
    }
    {
      const base::MutexLock lock(proxyState().mutex);
      proxyState().originalAppDelegateClass = &appDelegate->isa();
    }
    Class* const subclass = createSubclassWithObject(*appDelegate);
    {
      const base::MutexLock lock(proxyState().mutex);
      proxyState().appDelegateSubclass = subclass;
    }
    reassignAppDelegate();
  });
}

bool TWAppDelegateSwizzler::isAppDelegateProxyEnabled() { return TWCoreUtils::isAppDelegateProxyEnabled(); }

void TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken() {
  proxyState().proxyAppDelegateOnceToken.reset();
  proxyState().proxyAppDelegateRemoteNotificationOnceToken.reset();
}

Ref TWAppDelegateSwizzler::originalDelegate() {
  const base::MutexLock lock(proxyState().mutex);
  return proxyState().originalAppDelegate;
}

Ref TWAppDelegateSwizzler::sharedApplication() {
  Class* const application = runtime::classNamed("UIApplication");
  if (!runtime::respondsTo(application, platform::kSharedApplication.selector())) return nullptr;
  return runtime::send(application, platform::kSharedApplication);
}

std::optional<runtime::Invocation> TWAppDelegateSwizzler::appDelegateInvocationForSelector(
    Selector selector) {
  const runtime::MethodDescription* const description =
      UIApplicationDelegate::protocol().methodDescription(selector, false);
  if (!description || !description->signature) return std::nullopt;
  return std::optional<runtime::Invocation>(std::in_place, *description->signature);
}

}  // namespace tidewell
