// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// A base class that registers a class and its superclass with the object model:
///
///     class AppDelegate : public Subclass<AppDelegate, UIApplicationDelegate> { … };
///
/// A class that derives without `Subclass` is known, too; its superclass is then the nearest base that uses
/// `Subclass` or has a `describe`.
template <class T, class Base = Object>
class Subclass : public Base {
 public:
  using Self = T;
  using Superclass = Base;
  using Base::Base;
};

template <class F>
struct DescribedBy;
template <class T>
struct DescribedBy<void (*)(ClassBuilder<T>&)> : std::type_identity<T> {};

/// The superclass of `T` in the object model: the one given to `Subclass`, otherwise as described there.
template <class T>
struct SuperclassOf {
  static constexpr auto find() {
    if constexpr (std::is_same_v<typename T::Self, T>) {
      return std::type_identity<typename T::Superclass>();
    } else if constexpr (requires { typename DescribedBy<decltype(&T::describe)>::type; }) {
      using Described = typename DescribedBy<decltype(&T::describe)>::type;
      if constexpr (!std::is_same_v<Described, T> && std::is_base_of_v<typename T::Self, Described>) {
        return std::type_identity<Described>();
      } else {
        return std::type_identity<typename T::Self>();
      }
    } else {
      return std::type_identity<typename T::Self>();
    }
  }
  using type = typename decltype(find())::type;
};
template <>
struct SuperclassOf<Object> : std::type_identity<Object> {};

/// Wraps an object of a class that cannot derive from `Object`. That class is described by
/// `describe(ClassBuilder<Boxed<Game>>&)`, a static member or a free function in its namespace.
template <class T>
class Boxed : public Object {
 public:
  explicit Boxed(std::shared_ptr<T> target) noexcept : target_(std::move(target)) {}
  [[nodiscard]] T& target() const noexcept { return *target_; }

 private:
  std::shared_ptr<T> target_;
};

/// The final type of an object created with `make<T>`. Adds nothing to the size of `T`.
template <class T>
class Made final : public T {
 public:
  Made() = default;
  template <class First, class... A>
  explicit Made(First&& first, A&&... more) : T(std::forward<First>(first), std::forward<A>(more)...) {}

 private:
  void isMadeByRuntimeMake() const override {}
};

/// A C++ type, as the registry needs it to declare a class.
struct NativeType {
  std::string_view qualifiedName;
  std::string_view name;
  bool isNameGiven;  ///< given by the author: must not be another class's name
  std::size_t size;
  Class& (*superclass)();
  void (*describe)(ClassDescription& description);
  /// One per type and module. Distinguishes types that have the same name (in unnamed namespaces).
  std::atomic<Class*>* classOfType;
};

/// The class of a type. The first call from any module declares it. Keeps the module of `type` loaded.
[[nodiscard]] TIDEWELL_EXPORT Class& declareClass(const NativeType& type);

/// The last component of a qualified name.
[[nodiscard]] constexpr std::string_view unqualifiedName(std::string_view name) {
  int depth = 0;
  for (std::size_t i = name.size(); i > 0; --i) {
    const char c = name[i - 1];
    if (c == '>') ++depth;
    if (c == '<') --depth;
    if (depth == 0 && (c == ':' || c == ' ')) return name.substr(i);
  }
  return name;
}

/// The name of a type's class: `T::kClassName` if present, otherwise the type's own name without namespaces.
template <class T>
struct NativeName {
  static constexpr bool isGiven = requires { T::kClassName; };
  static constexpr std::string_view name() {
    if constexpr (isGiven) {
      return T::kClassName;
    } else {
      return unqualifiedName(spelledName<T>());
    }
  }
};
template <class T>
struct NativeName<Boxed<T>> : NativeName<T> {};

template <class T>
inline constinit std::atomic<Class*> declaredClass{nullptr};

template <class T>
void describeNatively(ClassBuilder<T>& builder) {
  if constexpr (requires { T::adopt(builder); }) T::adopt(builder);
  if constexpr (requires { T::describe(builder); }) T::describe(builder);
}
template <class T>
void describeNatively(ClassBuilder<Boxed<T>>& builder) {
  if constexpr (requires { T::describe(builder); }) {
    T::describe(builder);
  } else {
    describe(builder);  // found by argument-dependent lookup
  }
}

/// Creates an object. Takes the arguments of a constructor of `T` and propagates its exceptions.
template <ObjectType T, class... A>
[[nodiscard]] std::shared_ptr<T> make(A&&... arguments);

/// The class of a C++ type, declared on first use together with its superclasses. Any thread. Raises if
/// `T::kClassName` is another class's name.
template <class T>
[[nodiscard]] Class& classOf() {
  static_assert(ObjectType<T>, "a class that does not derive from Object is boxed: classOf<Boxed<T>>()");
  static_assert(std::is_base_of_v<typename SuperclassOf<T>::type, T>);
  // Pairs with the stores in `Registry::declare`: the class is complete.
  if (Class* known = declaredClass<T>.load(std::memory_order_acquire)) return *known;
  NativeType type;
  type.qualifiedName = spelledName<T>();
  type.name = NativeName<T>::name();
  type.isNameGiven = NativeName<T>::isGiven;
  type.size = sizeof(T);
  type.superclass = []() -> Class& { return classOf<typename SuperclassOf<T>::type>(); };
  type.describe = [](ClassDescription& description) {
    ClassBuilder<T> builder(description);
    describeNatively(builder);
  };
  type.classOfType = &declaredClass<T>;
  return declareClass(type);
}
template <>
[[nodiscard]] inline Class& classOf<Object>() {
  return rootClass();
}

template <ObjectType T, class... A>
std::shared_ptr<T> make(A&&... arguments) {
  static_assert(!std::is_final_v<T>, "the object model derives from the classes that it makes objects of");
  static_assert(sizeof(Made<T>) == sizeof(T));
  Class& madeClass = classOf<T>();
  const auto object = std::make_shared<Made<T>>(std::forward<A>(arguments)...);
  // Pairs with the load in `isa`.
  ObjectAccess::isa(*object).store(&madeClass, std::memory_order_release);
  return object;
}

/// Wraps an object of a class that does not derive from `Object`.
template <class T>
[[nodiscard]] std::shared_ptr<Boxed<T>> box(std::shared_ptr<T> target) {
  return make<Boxed<T>>(std::move(target));
}

// Methods implemented by a lambda with captures, for classes created at run time. The lambda is never
// destroyed.

/// Adds a method implemented by `function`, which takes the receiver and the arguments. Returns false and
/// changes nothing if the class itself has a method with that selector.
template <class R, class... P, class F>
requires std::is_invocable_r_v<R, const F&, Object&, P...>
bool addMethod(Class& to, const Message<R(P...)>& message, F function) {
  if (to.ownMethod(message.selector())) return false;
  const Function<R, P...> thunk = [](Object& self, const Method& method,
                                     Canonical<P>... arguments) -> CanonicalResult<R> {
    return (*static_cast<const F*>(method.state()))(self, fromCanonical<P>(arguments)...);
  };
  return addMethod(to, message.selector(),
                   Method(message.selector(), reinterpret_cast<AnyFunction>(thunk), message.signature(),
                          nullptr, new F(std::move(function))));
}

}  // namespace tidewell::runtime
