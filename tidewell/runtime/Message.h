// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <concepts>
#include <memory>
#include <type_traits>
#include <utility>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Method.h"
#include "tidewell/runtime/Object.h"
#include "tidewell/runtime/Selector.h"
#include "tidewell/runtime/Signature.h"

namespace tidewell::runtime {

template <class Type>
class Message;

/// A selector together with its method's types, so that the compiler checks sends and methods:
///
///     inline constinit const Message<bool(UIApplication&, const Url&)> kOpen{"application:open:"};
///
/// Needs no initialisation before `main`; interns the selector on first use. Any thread.
template <class R, class... P>
class Message<R(P...)> {
  static_assert((Parameter<P> && ...),
                "a parameter is an object, a const reference or a value: one call goes to several receivers");

 public:
  constexpr explicit Message(const char* name) noexcept : name_(name) {}

  [[nodiscard]] Selector selector() const {
    // Pairs with the store in `intern`: the selector and, stored before it, the signature are visible.
    const SelectorRecord* const record = selector_.load(std::memory_order_acquire);
    return record ? Selector(record) : intern();
  }
  [[nodiscard]] const Signature& signature() const {
    if (!selector_.load(std::memory_order_acquire)) intern();
    return signatureOnceInterned();
  }
  /// The same, without a check, for callers that have called `selector` before.
  [[nodiscard]] const Signature& signatureOnceInterned() const noexcept {
    return *signature_.load(std::memory_order_relaxed);
  }

 private:
  Selector intern() const {
    const Selector selector = Selector::named(name_);
    // Relaxed: published by the store of the selector, and read only after that.
    signature_.store(&signatureOf<R, P...>(), std::memory_order_relaxed);
    selector_.store(selector.record(), std::memory_order_release);
    return selector;
  }

  const char* name_;
  mutable std::atomic<const SelectorRecord*> selector_{nullptr};
  mutable std::atomic<const Signature*> signature_{nullptr};
};

/// Raises `kInvalidArgumentException`: "-[AppDelegate foo:]: unrecognized selector sent to instance 0x…".
[[noreturn]] TIDEWELL_EXPORT void raiseUnrecognizedSelector(const Object& receiver, Selector selector);
/// Raises `kInvalidArgumentException` with the texts of both signatures.
[[noreturn]] TIDEWELL_EXPORT void raiseSignatureMismatch(Selector selector, const Signature& wanted,
                                                         const Signature& found);
/// Raises `kInvalidArgumentException` for an argument that is null or not a `wanted`.
[[noreturn]] TIDEWELL_EXPORT void raiseWrongObject(const Object* object, const Class& wanted);

template <class T>
[[nodiscard]] Class& classOf();

/// Casts to `T`. Raises if the object is null or not a `T`.
template <ObjectType T>
[[nodiscard]] T& checkedObject(Object* object) {
  if constexpr (std::is_same_v<std::remove_cv_t<T>, Object>) {
    if (!object) raiseWrongObject(object, rootClass());
    return *object;
  } else {
    const Class& wanted = classOf<std::remove_cv_t<T>>();
    if (!object || !object->isa().nativeClass().isSubclassOf(wanted)) raiseWrongObject(object, wanted);
    return static_cast<T&>(*object);
  }
}

template <>
TIDEWELL_EXPORT Class& checkedObject<Class>(Object* object);

/// An owning reference; null for a null object and for one that is being destroyed.
[[nodiscard]] inline Ref refOf(Object* object) noexcept {
  return object ? object->weak_from_this().lock() : nullptr;
}

/// Converts an argument from its canonical type to the method's parameter type.
template <Parameter P>
[[nodiscard]] decltype(auto) fromCanonical(Canonical<P> argument) {
  using T = std::remove_reference_t<P>;
  if constexpr (!std::is_same_v<Stored<P>, Object*>) {
    return static_cast<std::conditional_t<std::is_reference_v<P>, P, std::remove_cv_t<T>>>(argument);
  } else if constexpr (ObjectType<T>) {
    return checkedObject<T>(argument);
  } else if constexpr (std::is_pointer_v<T>) {
    return argument ? &checkedObject<std::remove_pointer_t<T>>(argument) : nullptr;
  } else {
    using U = typename std::remove_cv_t<T>::element_type;
    return argument ? std::shared_ptr<U>(refOf(argument), &checkedObject<U>(argument)) : std::shared_ptr<U>();
  }
}

/// Converts an argument to its canonical type.
template <Parameter P>
[[nodiscard]] Canonical<P> toCanonical(const std::remove_reference_t<P>& argument) {
  using T = std::remove_reference_t<P>;
  if constexpr (!std::is_same_v<Stored<P>, Object*>) {
    if constexpr (std::is_scalar_v<Stored<P>>) {
      return static_cast<Stored<P>>(argument);
    } else {
      return argument;
    }
  } else if constexpr (ObjectType<T>) {
    return const_cast<std::remove_const_t<T>*>(&argument);
  } else if constexpr (std::is_pointer_v<T>) {
    return const_cast<std::remove_const_t<std::remove_pointer_t<T>>*>(argument);
  } else {
    return const_cast<std::remove_const_t<typename std::remove_cv_t<T>::element_type>*>(argument.get());
  }
}

/// Converts a result from its canonical type.
template <class R>
[[nodiscard]] R fromCanonicalResult(CanonicalResult<R>&& result) {
  if constexpr (std::is_same_v<CanonicalResult<R>, Ref>) {
    if (!result) return nullptr;
    auto& object = checkedObject<typename R::element_type>(result.get());
    return R(std::move(result), &object);
  } else {
    return static_cast<R>(std::move(result));
  }
}

/// The receiver's method for a selector. Raises if there is none, or it has another signature.
[[nodiscard]] inline const MethodCache::Answer& methodForSend(const Object& receiver, Selector selector,
                                                              const Signature& signature) {
  const MethodCache::Answer& answer = receiver.isa().lookUp(selector);
  if (answer.signature != &signature) [[unlikely]] {
    if (!answer.method) raiseUnrecognizedSelector(receiver, selector);
    raiseSignatureMismatch(selector, signature, *answer.signature);
  }
  return answer;
}

/// Calls a function of the given types. The caller has checked the signature.
template <class R, class... P>
R callFunction(AnyFunction function, const Method& method, Object& self,
               std::type_identity_t<P>... arguments) {
  const auto typed = reinterpret_cast<Function<R, P...>>(function);
  if constexpr (std::is_void_v<R>) {
    typed(self, method, toCanonical<P>(arguments)...);
  } else {
    return fromCanonicalResult<R>(typed(self, method, toCanonical<P>(arguments)...));
  }
}

/// Calls a method that was looked up before, like an implementation pointer. Raises if its signature is not
/// the message's.
template <class R, class... P>
R call(const Message<R(P...)>& as, const Method& method, Object& self, std::type_identity_t<P>... arguments) {
  if (&method.signature() != &as.signature()) [[unlikely]]
    raiseSignatureMismatch(method.selector(), as.signature(), method.signature());
  return callFunction<R, P...>(method.function(), method, self,
                               static_cast<std::type_identity_t<P>>(arguments)...);
}

[[nodiscard]] inline Object* receiverOf(Object* receiver) noexcept { return receiver; }
[[nodiscard]] inline Object* receiverOf(Object& receiver) noexcept { return &receiver; }
template <ObjectType T>
[[nodiscard]] Object* receiverOf(const std::shared_ptr<T>& receiver) noexcept {
  return receiver.get();
}
/// A possible receiver: an object, a pointer to one, or a `std::shared_ptr` to one.
template <class T>
concept Receiver = requires(T& receiver) {
  receiverOf(receiver);
};

/// Sends a message. A null receiver gives `R()`. Raises if the receiver does not respond, its method has
/// another signature, or an object argument is not of the class that the method expects; propagates
/// exceptions of the method. The caller must keep the receiver alive.
template <Receiver To, class R, class... P>
R send(To&& to, const Message<R(P...)>& message, std::type_identity_t<P>... arguments) {
  Object* const receiver = receiverOf(to);
  if (!receiver) return R();
  const Selector selector = message.selector();
  const MethodCache::Answer& found = methodForSend(*receiver, selector, message.signatureOnceInterned());
  return callFunction<R, P...>(found.function, *found.method, *receiver,
                               static_cast<std::type_identity_t<P>>(arguments)...);
}

/// Sends a selector with exactly the argument types given: an `int` does not match a 64-bit parameter and
/// raises. Raises for an empty selector. Prefer a `Message`.
template <class R, Receiver To, class... A>
R send(To&& to, Selector selector, const A&... arguments) {
  Object* const receiver = receiverOf(to);
  if (!receiver) return R();
  const MethodCache::Answer& found = methodForSend(*receiver, selector, signatureOf<R, A...>());
  return callFunction<R, const A&...>(found.function, *found.method, *receiver, arguments...);
}

}  // namespace tidewell::runtime
