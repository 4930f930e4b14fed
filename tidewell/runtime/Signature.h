// SPDX-License-Identifier: Apache-2.0
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

/// A type-erased method implementation. `Signature::invoke` and `Method::callUnchecked` restore its type.
using AnyFunction = void (*)();

/// The types of a method's result and arguments. One per combination of types, interned and never freed: two
/// signatures are equal if and only if they are the same object, across modules, too.
///
/// Arguments are numbered as on the platform: 0 is the receiver and 1 the selector, so the method's own first
/// argument is number 2.
struct Signature {
  static constexpr std::size_t kFirstArgument = 2;

  std::string text;      ///< concatenated texts of the types: "B@:@{Url}{Dictionary}"
  std::string encoding;  ///< the platform's encoding: "B@:@@@"
  const TypeInfo* result = nullptr;
  std::vector<const TypeInfo*> arguments;  ///< starting with argument 2
  /// Calls `function` with the values to which `arguments` point (objects as `Ref`) and constructs its result
  /// in the raw memory at `result`.
  void (*invoke)(AnyFunction function, Object& self, const Method& method, const void* const* arguments,
                 void* result) = nullptr;
};

/// The interned signature with the types of `recipe`, created if it does not exist. Fills in the texts. Keeps
/// the module that contains `recipe.invoke` loaded.
[[nodiscard]] TIDEWELL_EXPORT const Signature& internSignature(Signature recipe);

/// The type of a method's function: receiver, method (in place of the platform's `_cmd`; it holds the
/// selector under which it was added), and the arguments in canonical form.
template <class R, class... P>
using Function = CanonicalResult<R> (*)(Object& self, const Method& method, Canonical<P>... arguments);

/// Reads an argument from memory that holds a canonical value.
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
  // Pairs with the store below: the signature is complete.
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
