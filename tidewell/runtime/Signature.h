#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Type.h"

namespace tidewell::runtime {

class Method;
class Object;

/// A method's function with its type taken off. Called through `Signature::invoke` or by `Method::call`,
/// which put it on again.
using AnyFunction = void (*)();

/// The types of a method's result and arguments. One a combination of types, interned, never freed: two
/// signatures agree exactly when they are the same object, across modules, too.
///
/// Arguments are counted as the platform counts them: 0 is the receiver, 1 the selector, so that a method's
/// own first argument is number 2.
struct Signature {
  static constexpr std::size_t kFirstArgument = 2;

  std::string text;      ///< of the types' texts: "B@:@{Url}{Dictionary}"
  std::string encoding;  ///< the platform's: "B@:@@@"
  const TypeInfo* result = nullptr;
  std::vector<const TypeInfo*> arguments;  ///< from argument 2 on
  /// Calls `function` with arguments read from `arguments` (an object's from a `Ref`) and leaves what it
  /// answers at `result`, which is raw memory.
  void (*invoke)(AnyFunction function, Object& self, const Method& method, const void* const* arguments,
                 void* result) = nullptr;
};

/// The one signature of these types; made from `recipe`, whose texts are put together here, where there is
/// none yet. Keeps the module that holds `recipe.invoke` loaded from then on.
[[nodiscard]] TIDEWELL_EXPORT const Signature& internSignature(Signature recipe);

/// How a method's function looks: the receiver, the method (which stands where the platform has `_cmd`, and
/// carries the selector under which it was added), then the arguments in canonical form.
template <class R, class... P>
using Function = CanonicalResult<R> (*)(Object& self, const Method& method, Canonical<P>... arguments);

/// Makes an argument of a canonical value in memory.
template <class P>
[[nodiscard]] Canonical<P> readArgument(const void* value) {
  if constexpr (std::is_same_v<Stored<P>, Object*>) {
    return static_cast<const Ref*>(value)->get();
  } else {
    return *static_cast<const Stored<P>*>(value);
  }
}

template <class R, class... P, std::size_t... index>
void invokeFunction(AnyFunction function, Object& self, const Method& method, const void* const* arguments,
                    void* result, std::index_sequence<index...>) {
  const auto typed = reinterpret_cast<Function<R, P...>>(function);
  if constexpr (std::is_void_v<R>) {
    typed(self, method, readArgument<P>(arguments[index])...);
  } else {
    ::new (result) CanonicalResult<R>(typed(self, method, readArgument<P>(arguments[index])...));
  }
}

template <class R, class... P>
inline constinit std::atomic<const Signature*> knownSignature{nullptr};

/// The signature of a method with these types.
template <class R, class... P>
[[nodiscard]] const Signature& signatureOf() {
  if (const Signature* known = knownSignature<R, P...>.load(std::memory_order_acquire)) return *known;
  Signature recipe;
  recipe.result = &typeInfo<CanonicalResult<R>>();
  recipe.arguments = {&typeInfo<Stored<P>>()...};
  recipe.invoke = [](AnyFunction function, Object& self, const Method& method, const void* const* arguments,
                     void* result) {
    invokeFunction<R, P...>(function, self, method, arguments, result, std::index_sequence_for<P...>());
  };
  const Signature& interned = internSignature(std::move(recipe));
  knownSignature<R, P...>.store(&interned, std::memory_order_release);
  return interned;
}

}  // namespace tidewell::runtime
