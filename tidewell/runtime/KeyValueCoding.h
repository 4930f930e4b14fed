// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::runtime {

/// Wraps an object in a value; nil for null. The value keeps the object alive, prints its `description`, and
/// compares by identity (or with its `isEqual:` method).
[[nodiscard]] TIDEWELL_EXPORT base::Value objectValue(Ref object);
/// The object in a value; null if there is none.
[[nodiscard]] TIDEWELL_EXPORT Ref objectOf(const base::Value& value) noexcept;

/// Raises `kInvalidArgumentException` for a value that a property with that encoding cannot hold.
[[noreturn]] TIDEWELL_EXPORT void raiseUnfitValue(const base::Value& value, std::string_view encoding);

/// Converts a property's value to a `Value`.
template <class T>
[[nodiscard]] base::Value toValue(const T& value) {
  if constexpr (std::is_enum_v<T>) {
    return base::Value(static_cast<std::underlying_type_t<T>>(value));
  } else if constexpr (std::same_as<CanonicalResult<T>, Ref>) {
    return objectValue(value);
  } else if constexpr (std::same_as<T, float>) {
    return base::Value(static_cast<double>(value));
  } else {
    return base::Value(value);
  }
}
template <class T>
[[nodiscard]] base::Value toValue(const std::optional<T>& value) {
  return value ? toValue(*value) : base::Value();
}

/// Converts a value to a property's type. Raises for a value of another kind, and for an integer out of
/// range; unsigned 64-bit integers wrap around instead.
template <class T>
[[nodiscard]] T fromValue(const base::Value& value);

template <class T>
struct OptionalOf;
template <class T>
struct OptionalOf<std::optional<T>> : std::type_identity<T> {};

template <class T>
T fromValue(const base::Value& value) {
  if constexpr (std::same_as<T, base::Value>) {
    return value;
  } else if constexpr (requires { typename OptionalOf<T>::type; }) {
    if (value.isNil() || value.isNull()) return std::nullopt;
    return fromValue<typename OptionalOf<T>::type>(value);
  } else if constexpr (std::same_as<CanonicalResult<T>, Ref>) {
    if (value.isNil() || value.isNull()) return nullptr;
    if (Ref object = objectOf(value)) return fromCanonicalResult<T>(std::move(object));
  } else if constexpr (std::same_as<T, bool>) {
    if (value.isNumber()) return value.boolValue();
  } else if constexpr (std::floating_point<T>) {
    if (value.isNumber()) return static_cast<T>(value.doubleValue());
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(fromValue<std::underlying_type_t<T>>(value));
  } else if constexpr (std::unsigned_integral<T> && sizeof(T) == sizeof(std::uint64_t)) {
    if (value.isNumber()) return static_cast<T>(value.integerValue());
  } else if constexpr (std::integral<T>) {
    if (value.isNumber()) {
      const std::int64_t number = value.integerValue();
      if (number >= std::int64_t{std::numeric_limits<T>::min()} &&
          number <= static_cast<std::int64_t>(std::numeric_limits<T>::max()))
        return static_cast<T>(number);
    }
  } else if constexpr (std::same_as<T, std::string>) {
    if (const std::string* text = value.string()) return *text;
  } else if constexpr (std::same_as<T, base::Data>) {
    if (const base::Data* data = value.data()) return *data;
  } else if constexpr (std::same_as<T, base::Date>) {
    if (const base::Date* date = value.date()) return *date;
  } else if constexpr (std::same_as<T, base::Url>) {
    if (const base::Url* url = value.url()) return *url;
  } else if constexpr (std::same_as<T, base::Array>) {
    if (const base::Array* array = value.array()) return *array;
  } else {
    static_assert(std::same_as<T, base::Dictionary>, "no property can be of this type");
    if (const base::Dictionary* dictionary = value.dictionary()) return *dictionary;
  }
  raiseUnfitValue(value, TypeText<CanonicalResult<T>>::encoding());
}

/// `valueForKey:`: the property's value; nil for a null object. Raises `kUnknownKeyException` if neither the
/// class nor an ancestor has such a property; propagates exceptions of the getter.
[[nodiscard]] TIDEWELL_EXPORT base::Value valueForKey(Object* object, std::string_view key);
/// `setValue:forKey:`: notifies observers; does nothing for a null object. Raises `kUnknownKeyException` if
/// there is no such property or it is read-only, and `kInvalidArgumentException` for a value of the wrong
/// kind.
TIDEWELL_EXPORT void setValueForKey(Object* object, std::string_view key, const base::Value& value);
/// `valueForKeyPath:`: follows the path through objects, then continues as `base::valueForKeyPath` from the
/// first value that is not an object.
[[nodiscard]] TIDEWELL_EXPORT base::Value valueForKeyPath(Object* object, std::string_view keyPath);

}  // namespace tidewell::runtime
