// The proxy: the two stages, the subclass of the delegate, and the delegate taken anew.

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Digest.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
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

/// What the proxy remembers of the process.
struct ProxyState {
  OnceToken proxyAppDelegateOnceToken;
  OnceToken proxyAppDelegateRemoteNotificationOnceToken;

  base::StateMutex mutex;  ///< guards what follows; never held while an object is let go of
  Ref originalAppDelegate;
  Class* originalAppDelegateClass = nullptr;
  Class* appDelegateSubclass = nullptr;
};

ProxyState& proxyState() {
  static base::NeverDestroyed<ProxyState> instance;
  return *instance;
}

const base::MadeWhenLoaded proxyStateMade(proxyState);

void setOriginalDelegate(Ref delegate) {
  const std::lock_guard lock(proxyState().mutex);
  proxyState().originalAppDelegate.swap(delegate);
}

Ref currentDelegate() {
  return runtime::send(TWAppDelegateSwizzler::sharedApplication(), platform::kDelegate);
}

/// Runs a part of the installation; what it raises ends here.
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

/// Whether a row of the table below is taken only where the delegate responds to its selector.
enum class Taken { always, whereDelegateResponds };

struct ProxiedMethod {
  Selector destination;
  Selector source;
  Taken taken;
};

/// A row whose donor bears the selector itself.
template <class Message>
ProxiedMethod row(const Message& message, Taken taken = Taken::always) {
  return {message.selector(), message.selector(), taken};
}

/// A row whose donor bears another selector.
template <class Message>
ProxiedMethod row(const Message& message, std::string_view source, Taken taken = Taken::always) {
  return {message.selector(), Selector::named(source), taken};
}

std::vector<ProxiedMethod> baseStageMethods() {
  return {row(platform::kApplicationContinueUserActivity),
          row(platform::kApplicationOpenURL, Taken::whereDelegateResponds),
          row(platform::kApplicationHandleEventsForBackgroundURLSession),
          row(platform::kApplicationOpenURLFromSource)};
}

std::vector<ProxiedMethod> remoteNotificationMethods() {
  return {row(platform::kApplicationDidRegisterForRemoteNotifications,
              "application:donor_didRegisterForRemoteNotificationsWithDeviceToken:"),
          row(platform::kApplicationDidFailToRegisterForRemoteNotifications,
              "application:donor_didFailToRegisterForRemoteNotificationsWithError:"),
          row(platform::kApplicationDidReceiveRemoteNotification,
              "application:donor_didReceiveRemoteNotification:"),
          row(platform::kApplicationDidReceiveRemoteNotificationFetching,
              "application:donor_didReceiveRemoteNotification:fetchCompletionHandler:",
              Taken::whereDelegateResponds)};
}

/// Adds a method of the donor to the subclass. NO, and a line in the log, where it has one already.
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

/// What the real class has in place of a method; null where it has none.
///
/// A delegate that is proxied once more has a forwarding method there. Taken as it is, that one would call
/// itself for ever. What the map of the earlier proxying says counts; where there is none, the nearest method
/// that forwards nothing.
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

/// Adds a forwarding method, and writes down in the map what it forwards to.
void proxyMethod(const ProxiedMethod& method, Class& toClass, const Class& realClass, Dictionary& map) {
  const Method* const original = realImplementation(method.destination, realClass, map);
  auto forwarding = std::make_unique<Forwarding>();
  forwarding->original = original;
  if (addInstanceMethod(toClass, method.destination, method.source, forwarding.get())) {
    (void)forwarding.release();  // the method's, which is never freed
  } else if (const Method* const present = toClass.ownMethod(method.destination);
             present && isForwarding(*present)) {
    static_cast<const Forwarding*>(present->state())->original = original;
  }
  map.setObject(BoxedPointer{original}, method.destination.name());
}

void proxyMethods(const std::vector<ProxiedMethod>& methods, Class& toClass, const Class& realClass,
                  const Object& delegate, Dictionary& map) {
  for (const ProxiedMethod& method : methods) {
    if (method.taken == Taken::whereDelegateResponds && !runtime::respondsTo(&delegate, method.destination))
      continue;
    proxyMethod(method, toClass, realClass, map);
  }
}

/// A copy of the object's map; empty where it has none.
Dictionary copyOfRealImplementations(const Object& object) {
  const base::Value attached = realImplementations(&object);
  return attached.dictionary() ? *attached.dictionary() : Dictionary();
}

Class* createSubclassWithObject(Object& object) {
  Class& original = object.isa();
  const SubclassFaults& faults = subclassFaultsForTesting();
  const std::string uuid = faults.makeUUID ? faults.makeUUID() : base::UUIDString();
  const std::string name = std::string(kSubclassPrefix) + original.name() + "-" + uuid;
  if (runtime::classNamed(name)) {
    logLine([&] {
      return stringWithFormat(
          "Cannot create a proxy for App Delegate. Subclass already exists. Original Class: %@, subclass: %@",
          {original.name(), name});
    });
    return nullptr;
  }
  Class* const subclass = runtime::allocateClassPair(&original, name, faults.extraBytes);
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
  proxyMethods(baseStageMethods(), *subclass, original, object, implementations);
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
          "NO "
          "(Boolean) in the Info.plist",
          {TWCoreUtils::getAppDelegateProxyInfoPlistKey()});
    });
  }
  return subclass;
}

/// Lets the application take its delegate anew, so that it looks at the methods that were added since it was
/// set first.
void reassignAppDelegate() {
  const Ref application = TWAppDelegateSwizzler::sharedApplication();
  const Ref delegate = currentDelegate();  // perhaps the only owner while the application has none
  for (const Ref& each : {Ref(), delegate}) {
    try {
      runtime::send(application, platform::kSetDelegate, each);
    } catch (const std::bad_alloc&) {  // it is set all the same, and the application keeps its delegate
    }
  }
  setOriginalDelegate(delegate);
  TWAppDelegateObserver::sharedInstance()->observeUIApplication();
}

/// The work of the remote-notification stage. The delegate is held and observed in the end even where it
/// could not be proxied.
void proxyRemoteNotificationMethods() {
  Class* subclass = nullptr;
  Class* realClass = nullptr;
  {
    const std::lock_guard lock(proxyState().mutex);
    subclass = proxyState().appDelegateSubclass;
    realClass = proxyState().originalAppDelegateClass;
  }
  const Ref delegate = currentDelegate();
  base::Value implementations = realImplementations(delegate.get());
  if (subclass && realClass && delegate && implementations.dictionary()) {
    Dictionary copy = *implementations.dictionary();
    proxyMethods(remoteNotificationMethods(), *subclass, *realClass, *delegate, copy);
    implementations = std::move(copy);
  }
  attachRealImplementations(delegate.get(), std::move(implementations), AssociationPolicy::retain);
  reassignAppDelegate();
}

}  // namespace

Ref takeOriginalDelegate(const Object* ifItIs) {
  const std::lock_guard lock(proxyState().mutex);
  if (proxyState().originalAppDelegate.get() != ifItIs) return nullptr;
  return std::exchange(proxyState().originalAppDelegate, nullptr);
}

SubclassFaults& subclassFaultsForTesting() {
  static base::NeverDestroyed<SubclassFaults> faults;
  return *faults;
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
      const std::lock_guard lock(proxyState().mutex);
      proxyState().originalAppDelegateClass = &appDelegate->isa();
    }
    Class* const subclass = createSubclassWithObject(*appDelegate);
    {
      const std::lock_guard lock(proxyState().mutex);
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
  const std::lock_guard lock(proxyState().mutex);
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
