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

/// A base that names a class and its superclass to the object model:
///
///     class AppDelegate : public Subclass<AppDelegate, UIApplicationDelegate> { … };
///
/// A class that derives from another in the plain way is known, too; its superclass is then the nearest one
/// above it that was named so, or that has a `describe`.
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

/// The class above `T` in the object model: what `Subclass` names, else the nearest named or described one.
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

/// An object that stands for one of a class that cannot derive from `Object`. The class says what it can do
/// in `describe(ClassBuilder<Boxed<Game>>&)`, a static member or a free function beside it.
template <class T>
class Boxed : public Object {
 public:
  explicit Boxed(std::shared_ptr<T> target) noexcept : target_(std::move(target)) {}
  [[nodiscard]] T& target() const noexcept { return *target_; }

 private:
  std::shared_ptr<T> target_;
};

/// The final type that an object made with `make<T>` has: `T`, and nothing more in size.
template <class T>
class Made final : public T {
 public:
  Made() = default;
  template <class First, class... A>
  explicit Made(First&& first, A&&... more) : T(std::forward<First>(first), std::forward<A>(more)...) {}

 private:
  void isMadeByRuntimeMake() const override {}
};

/// What a C++ type tells the registry about itself.
struct NativeType {
  std::string_view qualifiedName;
  std::string_view name;
  bool isNameGiven;  ///< by the author: another class of that name is an error
  std::size_t size;
  Class& (*superclass)();
  void (*describe)(ClassDescription& description);
  /// One a type and module: tells apart types whose name does not (those of an unnamed namespace).
  std::atomic<Class*>* classOfType;
};

/// The class of a type, declared by the first call of any module. Keeps the module of `type` loaded.
[[nodiscard]] TIDEWELL_EXPORT Class& declareClass(const NativeType& type);

/// The last part of a qualified name.
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

/// The name of a type's class: `T::kClassName` where the type has that, else the type's own without
/// namespaces.
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
    describe(builder);  // found beside T
  }
}

/// Makes a new object of a class: all that its constructor takes. What the constructor raises passes.
template <ObjectType T, class... A>
[[nodiscard]] std::shared_ptr<T> make(A&&... arguments);

/// The class that stands for a C++ type, declared on first use. A class that `T` names with `Subclass` above
/// it is declared, too. Any thread. Raises where `T::kClassName` is another class's name.
template <class T>
[[nodiscard]] Class& classOf() {
  static_assert(ObjectType<T>, "a class that does not derive from Object is boxed: classOf<Boxed<T>>()");
  static_assert(std::is_base_of_v<typename SuperclassOf<T>::type, T>);
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
  ObjectAccess::isa(*object).store(&madeClass, std::memory_order_release);
  return object;
}

/// A handle for an object of a class that does not derive from `Object`.
template <class T>
[[nodiscard]] std::shared_ptr<Boxed<T>> box(std::shared_ptr<T> target) {
  return make<Boxed<T>>(std::move(target));
}

// Methods made of a lambda with captures, for classes made at run time. The lambda stays for ever.

/// Adds a method whose function is called with the receiver and the arguments. NO, and nothing changes, where
/// the class itself has a method of that selector.
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
