// The donor of the methods that a proxied delegate gets: each sends its message to the interceptors first,
// and then calls what the delegate's original class has for it.

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Description.h"

namespace tidewell {
namespace {

using runtime::Canonical;
using runtime::CanonicalResult;
using runtime::Class;
using runtime::Method;
using runtime::Object;
using runtime::Ref;
using runtime::Selector;

/// The method that the class of the proxied delegate had for this one; null where it had none.
const Method* originalImplementation(const Method& method) {
  const auto* const forwarding = static_cast<const Forwarding*>(method.state());
  return forwarding ? forwarding->original.load(std::memory_order_acquire) : nullptr;
}

/// Calls a method whose types only its signature tells.
template <class R, class... P>
CanonicalResult<R> callAs(const Method& method, const Method& as, Object& self, Canonical<P>... arguments) {
  if (&method.signature() != &as.signature()) [[unlikely]]
    runtime::raiseSignatureMismatch(method.selector(), as.signature(), method.signature());
  return method.callUnchecked<R, P...>(self, arguments...);
}

/// Calls the interceptors, but for the delegate itself: where it is registered as one it would get its own
/// message again without end.
template <class Call>
void callInterceptors(const Object& self, Selector selector, const Call& call) {
  const auto callOther = [&](const Ref& interceptor) {
    if (interceptor.get() != &self) call(interceptor);
  };
  TWAppDelegateSwizzler::notifyInterceptorsWithMethodSelector(selector, std::cref(callOther));
}

/// Forwards by sending the message itself. The answer is YES where one of those who were called said so, and
/// nobody is left out because of that.
template <class R, class... P>
CanonicalResult<R> forwardMessage(Object& self, const Method& method, Canonical<P>... arguments) {
  const Method* const original = originalImplementation(method);
  const auto sendTo = [&](const Ref& interceptor) -> CanonicalResult<R> {
    return runtime::methodForSend(*interceptor, method.selector(), method.signature())
        .method->template callUnchecked<R, P...>(*interceptor, arguments...);
  };
  if constexpr (std::is_void_v<R>) {
    callInterceptors(self, method.selector(), sendTo);
    if (original) callAs<R, P...>(*original, method, self, arguments...);
  } else {
    static_assert(std::is_same_v<R, bool>);
    bool answer = false;
    const auto collect = [&](const Ref& interceptor) {
      if (sendTo(interceptor)) answer = true;
    };
    callInterceptors(self, method.selector(), collect);
    if (original && callAs<R, P...>(*original, method, self, arguments...)) answer = true;
    return answer;
  }
}

/// A handler that may run once only keeps that in its state, of which a copy would have one of its own.
template <class Argument>
void setArgumentUnchanged(runtime::Invocation& invocation, std::size_t index, const Argument& argument) {
  if constexpr (std::is_pointer_v<Argument>) {
    invocation.setArgument(index, argument);
  } else {
    invocation.setArgumentReference(index, argument);
  }
}

/// Forwards by invocations that are made from the protocol's description; an interceptor is left out where
/// the protocol has none.
template <class... P>
void forwardInvocation(Object& self, const Method& method, Canonical<P>... arguments) {
  const Method* const original = originalImplementation(method);
  const auto invoke = [&](const Ref& interceptor) {
    std::optional<runtime::Invocation> invocation =
        TWAppDelegateSwizzler::appDelegateInvocationForSelector(method.selector());
    if (!invocation) return;
    invocation->setTarget(interceptor);
    invocation->setSelector(method.selector());
    std::size_t index = runtime::Signature::kFirstArgument;
    (setArgumentUnchanged(*invocation, index++, arguments), ...);
    invocation->invoke();
  };
  callInterceptors(self, method.selector(), invoke);
  if (original) callAs<void, P...>(*original, method, self, arguments...);
}

/// The delegate describes itself under its original class's name.
std::string fakeDescription(Object& self, const Method&) {
  return runtime::plainDescription(runtime::description(realClass(&self).get()), &self);
}

// Gives a donor's method the types of the message that it forwards.

template <class R, class... P>
void addForwarding(Class& to, const runtime::Message<R(P...)>& message) {
  const runtime::Function<R, P...> forward = &forwardMessage<R, P...>;
  runtime::addMethod(to, message.selector(),
                     Method(message.selector(), reinterpret_cast<runtime::AnyFunction>(forward),
                            message.signature(), nullptr));
}

template <class... P>
void addForwarding(Class& to, std::string_view donorName, const runtime::Message<void(P...)>& message) {
  const runtime::Function<void, P...> forward = &forwardInvocation<P...>;
  const Selector selector = Selector::named(donorName);
  runtime::addMethod(
      to, selector,
      Method(selector, reinterpret_cast<runtime::AnyFunction>(forward), message.signature(), nullptr));
}

/// The class of a name that is being made. Where making it was broken off (no memory), it goes on with what
/// there is.
Class& beginClass(Class*& begun, Class* superclass, std::string_view name) {
  if (!begun) begun = runtime::allocateClassPair(superclass, name);
  if (!begun) base::raise(base::kInternalInconsistencyException, "a class is in the way of the proxy's own");
  return *begun;
}

Class& makeDonorClass() {
  constinit static Class* begunRoot = nullptr;
  constinit static Class* begunDonor = nullptr;
  Class* root = runtime::classNamed("NSProxy");
  if (!root) {
    root = &beginClass(begunRoot, nullptr, "NSProxy");
    runtime::registerClassPair(*root);
  }
  Class& donor = beginClass(begunDonor, root, "TWAppDelegateSwizzler");

  const Selector describing = Selector::named("fakeDescription");
  const runtime::Function<std::string> describe = &fakeDescription;
  runtime::addMethod(donor, describing,
                     Method(describing, reinterpret_cast<runtime::AnyFunction>(describe),
                            runtime::kDescription.signature(), nullptr));
  addForwarding(donor, platform::kApplicationOpenURL);
  addForwarding(donor, platform::kApplicationOpenURLFromSource);
  addForwarding(donor, platform::kApplicationHandleEventsForBackgroundURLSession);
  addForwarding(donor, platform::kApplicationContinueUserActivity);
  addForwarding(donor, "application:donor_didRegisterForRemoteNotificationsWithDeviceToken:",
                platform::kApplicationDidRegisterForRemoteNotifications);
  addForwarding(donor, "application:donor_didFailToRegisterForRemoteNotificationsWithError:",
                platform::kApplicationDidFailToRegisterForRemoteNotifications);
  addForwarding(donor, "application:donor_didReceiveRemoteNotification:fetchCompletionHandler:",
                platform::kApplicationDidReceiveRemoteNotificationFetching);
  addForwarding(donor, "application:donor_didReceiveRemoteNotification:",
                platform::kApplicationDidReceiveRemoteNotification);
  runtime::registerClassPair(donor);
  return donor;
}

base::WorkMutex& makingDonor() {
  static base::NeverDestroyed<base::WorkMutex> mutex;
  return *mutex;
}

const base::MadeWhenLoaded makingDonorMade(makingDonor);

}  // namespace

Class& donorClass() {
  static constinit std::atomic<Class*> donor{nullptr};
  if (Class* const made = donor.load(std::memory_order_acquire)) return *made;
  const std::lock_guard lock(makingDonor());
  Class* made = donor.load(std::memory_order_acquire);
  if (!made) {
    made = &makeDonorClass();
    donor.store(made, std::memory_order_release);
  }
  return *made;
}

bool isForwarding(const Method& method) {
  for (const Method* const donated : donorClass().ownMethods()) {
    if (method.function() == donated->function()) return true;  // the state is each class's own
  }
  return false;
}

}  // namespace tidewell
