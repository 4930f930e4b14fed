// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::runtime {

/// The declarations of a C++ type's class before the class is filled.
struct ClassDescription {
  struct MethodEntry {
    Selector selector;
    AnyFunction function;
    const Signature* signature;
    bool needsNativeReceiver;
    bool isClassMethod;
  };
  std::vector<MethodEntry> methods;
  std::vector<Property> properties;
  std::vector<const Protocol*> protocols;
};

// The types of a function: the class of which it is a member, its result and its arguments.

template <class F>
struct FunctionTypes;
template <class R, class... A>
struct FunctionTypes<R (*)(A...)> {
  using Owner = void;
  using Result = R;
  template <template <class...> class Use>
  using WithArguments = Use<A...>;
};
template <class R, class... A>
struct FunctionTypes<R (*)(A...) noexcept> : FunctionTypes<R (*)(A...)> {};
template <class C, class R, class... A>
struct FunctionTypes<R (C::*)(A...)> : FunctionTypes<R (*)(A...)> {
  using Owner = C;
};
template <class C, class R, class... A>
struct FunctionTypes<R (C::*)(A...) const> : FunctionTypes<R (C::*)(A...)> {};
template <class C, class R, class... A>
struct FunctionTypes<R (C::*)(A...) noexcept> : FunctionTypes<R (C::*)(A...)> {};
template <class C, class R, class... A>
struct FunctionTypes<R (C::*)(A...) const noexcept> : FunctionTypes<R (C::*)(A...)> {};
/// A lambda without captures.
template <class F>
requires requires { &F::operator(); }
struct FunctionTypes<F> {
  using Owner = void;
};

/// Declares the methods, properties and protocols of a C++ type. Runs once per type if the type has this
/// function:
///
///     static void describe(ClassBuilder<Campaign>& c) {
///       c.property<&Campaign::title>("title").method<&Campaign::show>(kShow);
///     }
///
/// Template arguments named `function`, `get` or `set` are member functions, or functions or captureless
/// lambdas whose first parameter is `T&`.
template <class T>
class ClassBuilder {
 public:
  explicit ClassBuilder(ClassDescription& description) noexcept : description_(&description) {}

  ClassBuilder& conformsTo(const Protocol& protocol) {
    description_->protocols.push_back(&protocol);
    return *this;
  }
  /// A method with the types of a message. Arguments are converted to the function's own by the rules of C++.
  template <auto function, class R, class... P>
  ClassBuilder& method(const Message<R(P...)>& message) {
    const Function<R, P...> thunk = [](Object& self, const Method&,
                                       Canonical<P>... arguments) -> CanonicalResult<R> {
      return std::invoke(function, static_cast<T&>(self), fromCanonical<P>(arguments)...);
    };
    return add(message.selector(), reinterpret_cast<AnyFunction>(thunk), message.signature(),
               Kind::instanceMethod);
  }
  /// A method with the types of a member function.
  template <auto function>
  ClassBuilder& method(Selector selector) {
    using Types = FunctionTypes<decltype(function)>;
    static_assert(!std::is_void_v<typename Types::Owner>, "a non-member function needs a Message");
    return methodOfTypes<function, typename Types::Result>(
        selector, static_cast<typename Types::template WithArguments<ArgumentList>*>(nullptr));
  }
  /// A class method: a function or a captureless lambda without receiver.
  template <auto function, class R, class... P>
  ClassBuilder& classMethod(const Message<R(P...)>& message) {
    const Function<R, P...> thunk = [](Object&, const Method&,
                                       Canonical<P>... arguments) -> CanonicalResult<R> {
      return std::invoke(function, fromCanonical<P>(arguments)...);
    };
    return add(message.selector(), reinterpret_cast<AnyFunction>(thunk), message.signature(),
               Kind::classMethod);
  }
  /// A property backed by a data member, or a read-only one with a getter (member function or lambda).
  template <auto get>
  ClassBuilder& property(std::string_view name) {
    using Read = std::remove_cvref_t<decltype(std::invoke(get, std::declval<T&>()))>;
    Property property = readable<get>(name);
    if constexpr (std::is_member_object_pointer_v<decltype(get)>) {
      if constexpr (std::is_assignable_v<decltype(std::invoke(get, std::declval<T&>())), Read>) {
        property.set = [](Object& object, const base::Value& value) {
          std::invoke(get, static_cast<T&>(object)) = fromValue<Read>(value);
        };
      }
    }
    description_->properties.push_back(std::move(property));
    return *this;
  }
  /// A property with a getter (or data member) and a setter that notifies observers itself (with `changing`).
  template <auto get, auto set>
  ClassBuilder& property(std::string_view name) {
    using Read = std::remove_cvref_t<decltype(std::invoke(get, std::declval<T&>()))>;
    Property property = readable<get>(name);
    property.set = [](Object& object, const base::Value& value) {
      std::invoke(set, static_cast<T&>(object), fromValue<Read>(value));
    };
    property.announcesItself = true;
    description_->properties.push_back(std::move(property));
    return *this;
  }

 private:
  template <class... A>
  struct ArgumentList {};

  template <auto function, class R, class... A>
  ClassBuilder& methodOfTypes(Selector selector, ArgumentList<A...>*) {
    const Function<R, A...> thunk = [](Object& self, const Method&,
                                       Canonical<A>... arguments) -> CanonicalResult<R> {
      return std::invoke(function, static_cast<T&>(self), fromCanonical<A>(arguments)...);
    };
    return add(selector, reinterpret_cast<AnyFunction>(thunk), signatureOf<R, A...>(), Kind::instanceMethod);
  }
  enum class Kind { instanceMethod, classMethod };
  ClassBuilder& add(Selector selector, AnyFunction function, const Signature& signature, Kind kind) {
    description_->methods.push_back(
        {selector, function, &signature, kind == Kind::instanceMethod, kind == Kind::classMethod});
    return *this;
  }
  template <auto get>
  static Property readable(std::string_view name) {
    using Read = std::remove_cvref_t<decltype(std::invoke(get, std::declval<T&>()))>;
    Property property;
    property.name = name;
    property.encoding = TypeText<CanonicalResult<Read>>::encoding();
    property.get = [](Object& object) { return toValue(std::invoke(get, static_cast<T&>(object))); };
    return property;
  }

  ClassDescription* description_;
};

template <class T>
struct SuperclassOf;

/// Registers the method if `T`, or a class between it and its superclass, overrides the protocol's function:
///
///     adoptMethod<UIApplicationDelegate>(builder, kOpenURL, []<class U>() { return &U::openURL; });
template <class Adopted, class T, class R, class... P, class Member>
void adoptMethod(ClassBuilder<T>& builder, const Message<R(P...)>& message, Member) {
  constexpr auto function = Member().template operator()<T>();
  using Owner = typename FunctionTypes<std::remove_const_t<decltype(function)>>::Owner;
  if constexpr (!std::is_base_of_v<Owner, typename SuperclassOf<T>::type> &&
                !std::is_same_v<Owner, Adopted>) {
    builder.template method<function>(message);
  }
}

}  // namespace tidewell::runtime
