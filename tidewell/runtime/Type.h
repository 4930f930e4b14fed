// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

// How arguments and results are passed. Each C++ type maps to one canonical type, so that separately compiled
// callers and methods agree: every object becomes `Object*` (`Ref` in a result), an integer or enumeration
// the integer of its width and signedness, and a class value `const&`.

template <class T>
concept ObjectType = std::derived_from<std::remove_cv_t<T>, Object>;

/// The canonical type of an integer of this size and signedness.
template <std::size_t size, bool isSigned>
struct IntegerOfWidth;
template <>
struct IntegerOfWidth<1, true> : std::type_identity<std::int8_t> {};
template <>
struct IntegerOfWidth<1, false> : std::type_identity<std::uint8_t> {};
template <>
struct IntegerOfWidth<2, true> : std::type_identity<std::int16_t> {};
template <>
struct IntegerOfWidth<2, false> : std::type_identity<std::uint16_t> {};
template <>
struct IntegerOfWidth<4, true> : std::type_identity<std::int32_t> {};
template <>
struct IntegerOfWidth<4, false> : std::type_identity<std::uint32_t> {};
template <>
struct IntegerOfWidth<8, true> : std::type_identity<std::int64_t> {};
template <>
struct IntegerOfWidth<8, false> : std::type_identity<std::uint64_t> {};

/// The canonical type without reference, as an invocation stores it.
template <class T>
struct StoredType : std::type_identity<T> {};
template <ObjectType T>
struct StoredType<T> : std::type_identity<Object*> {};
template <ObjectType T>
struct StoredType<T*> : std::type_identity<Object*> {};
template <ObjectType T>
struct StoredType<std::shared_ptr<T>> : std::type_identity<Object*> {};
template <>
struct StoredType<std::nullptr_t> : std::type_identity<Object*> {};
template <class T>
requires(std::integral<T> && !std::same_as<T, bool>) struct StoredType<T>
    : IntegerOfWidth<sizeof(T), std::is_signed_v<T>> {
};
template <class T>
requires std::is_enum_v<T>
struct StoredType<T> : StoredType<std::underlying_type_t<T>> {
};

template <class T>
using Stored = typename StoredType<std::remove_cv_t<std::remove_reference_t<T>>>::type;

/// Whether a type is allowed as a parameter. A message may go to several receivers, so an argument must not
/// be moved from or written through, and a view could outlive its text.
template <class P>
concept Parameter = !std::same_as<std::remove_cvref_t<P>, std::string_view> &&
                    ((std::is_lvalue_reference_v<P> && (ObjectType<std::remove_reference_t<P>> ||
                                                        std::is_const_v<std::remove_reference_t<P>>)) ||
                     (!std::is_reference_v<P> && !ObjectType<P>));

/// The type in which an argument is passed.
template <Parameter P>
using Canonical = std::conditional_t<std::is_scalar_v<Stored<P>>, Stored<P>, const Stored<P>&>;

/// The type in which a result is passed: for objects an owning reference.
template <class R>
struct CanonicalResultType : StoredType<R> {
  static_assert(!std::is_reference_v<R> && !std::is_pointer_v<R>,
                "a method answers with a value or a std::shared_ptr");
};
template <>
struct CanonicalResultType<void> : std::type_identity<void> {};
template <ObjectType T>
struct CanonicalResultType<std::shared_ptr<T>> : std::type_identity<Ref> {};
template <class R>
using CanonicalResult = typename CanonicalResultType<R>::type;

/// The description of a canonical type. One per type, interned by `text` and never freed: compared by
/// address, across modules, too.
struct TypeInfo {
  std::string text;      ///< unique per type: "{Dictionary}"
  std::string encoding;  ///< the platform's encoding: "@"
  std::size_t size = 0;
  std::size_t alignment = 1;
  void (*copy)(void* to, const void* from) = nullptr;
  void (*destroy)(void* value) noexcept = nullptr;
};

// Names of types. `text` of a class without a name of its own is the compiler's spelling.

/// The qualified name of a type as the compiler spells it.
template <class T>
[[nodiscard]] constexpr std::string_view spelledName() {
  const std::string_view text = __PRETTY_FUNCTION__;
  const std::size_t from = text.find("T = ") + 4;
  return text.substr(from, text.find_first_of(";]", from) - from);
}

template <class T>
struct TypeText {
  static std::string text() { return "{" + std::string(spelledName<T>()) + "}"; }
  static std::string encoding() { return text(); }
};

/// A type with a fixed name. Specialise `TypeText` with it for value types exchanged between modules built
/// with different compilers: `template <> struct TypeText<Score> : NamedType<"Score"> {};`
template <std::size_t size>
struct FixedText {
  consteval FixedText(const char (&text)[size]) {
    for (std::size_t i = 0; i < size; ++i) characters[i] = text[i];
  }
  char characters[size] = {};
};
template <FixedText name>
struct NamedType {
  static std::string text() { return std::string("{") + name.characters + "}"; }
  static std::string encoding() { return "@"; }
};
/// A type whose text is its encoding.
template <FixedText code>
struct PlainType {
  static std::string text() { return code.characters; }
  static std::string encoding() { return code.characters; }
};

template <>
struct TypeText<void> : PlainType<"v"> {};
template <>
struct TypeText<bool> : PlainType<"B"> {};
template <>
struct TypeText<std::int8_t> : PlainType<"c"> {};
template <>
struct TypeText<std::uint8_t> : PlainType<"C"> {};
template <>
struct TypeText<std::int16_t> : PlainType<"s"> {};
template <>
struct TypeText<std::uint16_t> : PlainType<"S"> {};
template <>
struct TypeText<std::int32_t> : PlainType<"i"> {};
template <>
struct TypeText<std::uint32_t> : PlainType<"I"> {};
template <>
struct TypeText<std::int64_t> : PlainType<"q"> {};
template <>
struct TypeText<std::uint64_t> : PlainType<"Q"> {};
template <>
struct TypeText<float> : PlainType<"f"> {};
template <>
struct TypeText<double> : PlainType<"d"> {};
template <>
struct TypeText<Object*> : PlainType<"@"> {};
template <>
struct TypeText<Ref> : PlainType<"@"> {};
template <>
struct TypeText<void*> : PlainType<"^v"> {};
template <>
struct TypeText<const void*> : PlainType<"r^v"> {};
template <>
struct TypeText<std::string> : NamedType<"String"> {};
template <>
struct TypeText<base::Value> : NamedType<"Value"> {};
template <>
struct TypeText<base::Array> : NamedType<"Array"> {};
template <>
struct TypeText<base::Dictionary> : NamedType<"Dictionary"> {};
template <>
struct TypeText<base::Data> : NamedType<"Data"> {};
template <>
struct TypeText<base::Date> : NamedType<"Date"> {};
template <>
struct TypeText<base::Url> : NamedType<"Url"> {};
template <>
struct TypeText<base::Error> : NamedType<"Error"> {};
template <class T>
struct TypeText<std::optional<T>> {
  static std::string text() { return "?" + TypeText<Stored<T>>::text(); }
  static std::string encoding() { return TypeText<Stored<T>>::encoding(); }
};
template <class R, class... A>
struct TypeText<std::function<R(A...)>> {
  static std::string text() {
    return "@?<" + TypeText<CanonicalResult<R>>::text() +
           (std::string() + ... + TypeText<Stored<A>>::text()) + ">";
  }
  static std::string encoding() { return "@?"; }
};

/// The interned type with this text and size, created from `recipe` if it does not exist.
[[nodiscard]] TIDEWELL_EXPORT const TypeInfo& internType(TypeInfo recipe);

/// The type of a canonical value without reference. (Not a function-local static, whose guard would be held
/// while the loader's lock is taken.)
template <class T>
inline constinit std::atomic<const TypeInfo*> knownTypeInfo{nullptr};

template <class T>
[[nodiscard]] const TypeInfo& typeInfo() {
  // Pairs with the store below: the description is complete.
  if (const TypeInfo* known = knownTypeInfo<T>.load(std::memory_order_acquire)) return *known;
  TypeInfo recipe;
  recipe.text = TypeText<T>::text();
  recipe.encoding = TypeText<T>::encoding();
  if constexpr (!std::is_void_v<T>) {
    using Kept = std::conditional_t<std::is_same_v<T, Object*>, Ref, T>;
    static_assert(alignof(Kept) <= alignof(std::max_align_t), "an invocation cannot store the type");
    recipe.size = sizeof(Kept);
    recipe.alignment = alignof(Kept);
    recipe.copy = [](void* to, const void* from) { ::new (to) Kept(*static_cast<const Kept*>(from)); };
    recipe.destroy = [](void* value) noexcept { static_cast<Kept*>(value)->~Kept(); };
  }
  const TypeInfo& interned = internType(std::move(recipe));
  knownTypeInfo<T>.store(&interned, std::memory_order_release);
  return interned;
}

}  // namespace tidewell::runtime
