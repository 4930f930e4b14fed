// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <type_traits>

#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/runtime/Invocation.h"
#include "tidewell/runtime/Message.h"

// The methods of a proxied delegate. Each sends its message to the interceptors first, and then calls the
// method of the delegate's original class.

namespace tidewell {

/// The original class's method in place of this one; null if it had none.
inline const runtime::Method* originalImplementation(const runtime::Method& method) {
  const auto* const forwarding = static_cast<const Forwarding*>(method.state());
  // Pairs with the store of the stage that installs the method.
  return forwarding ? forwarding->original.load(std::memory_order_acquire) : nullptr;
}

/// Calls a method whose types are known only at run time. Raises if they differ from those of `as`.
template <class R, class... P>
runtime::CanonicalResult<R> callAs(const runtime::Method& method, const runtime::Method& as,
                                   runtime::Object& self, runtime::Canonical<P>... arguments) {
  if (&method.signature() != &as.signature()) [[unlikely]]
    runtime::raiseSignatureMismatch(method.selector(), as.signature(), method.signature());
  return method.callUnchecked<R, P...>(self, arguments...);
}

/// Calls all interceptors except the delegate itself: one registered as an interceptor would receive its own
/// message recursively.
template <class Call>
void callInterceptors(const runtime::Object& self, runtime::Selector selector, const Call& call) {
  const auto callOther = [&](const runtime::Ref& interceptor) {
    if (interceptor.get() != &self) call(interceptor);
  };
  TWAppDelegateSwizzler::notifyInterceptorsWithMethodSelector(selector, std::cref(callOther));
}

/// Forwards by sending the message itself. Calls all interceptors and the original; returns true if any
/// returned true.
template <class R, class... P>
runtime::CanonicalResult<R> forwardMessage(runtime::Object& self, const runtime::Method& method,
                                           runtime::Canonical<P>... arguments) {
  const runtime::Method* const original = originalImplementation(method);
  const auto sendTo = [&](const runtime::Ref& interceptor) -> runtime::CanonicalResult<R> {
    return runtime::methodForSend(*interceptor, method.selector(), method.signature())
        .method->template callUnchecked<R, P...>(*interceptor, arguments...);
  };
  if constexpr (std::is_void_v<R>) {
    callInterceptors(self, method.selector(), sendTo);
    if (original) callAs<R, P...>(*original, method, self, arguments...);
  } else {
    static_assert(std::is_same_v<R, bool>);
    bool answer = false;
    const auto collect = [&](const runtime::Ref& interceptor) {
      if (sendTo(interceptor)) answer = true;
    };
    callInterceptors(self, method.selector(), collect);
    if (original && callAs<R, P...>(*original, method, self, arguments...)) answer = true;
    return answer;
  }
}

/// Passes values other than objects by reference: a copy of a handler that acts only once would have its own
/// state.
template <class Argument>
void setArgumentUnchanged(runtime::Invocation& invocation, std::size_t index, const Argument& argument) {
  if constexpr (std::is_pointer_v<Argument>) {
    invocation.setArgument(index, argument);
  } else {
    invocation.setArgumentReference(index, argument);
  }
}

/// Forwards by invocations created from the protocol's description. Without a description no interceptor is
/// called.
template <class... P>
void forwardInvocation(runtime::Object& self, const runtime::Method& method,
                       runtime::Canonical<P>... arguments) {
  const runtime::Method* const original = originalImplementation(method);
  const auto invoke = [&](const runtime::Ref& interceptor) {
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

}  // namespace tidewell
