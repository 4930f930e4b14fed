// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tidewell/base/Array.h"
#include "tidewell/base/Data.h"
#include "tidewell/base/Date.h"
#include "tidewell/base/Dictionary.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Shared.h"
#include "tidewell/base/Url.h"

namespace tidewell::base {

/// How an object of a higher layer is printed, compared and hashed. One constant per type of object.
struct ObjectOperations {
  std::string (*description)(const void* object);
  bool (*isEqual)(const void* a, const void* b);
  std::size_t (*hash)(const void* object);
  /// The name of the object's class, for messages.
  std::string (*className)(const void* object);
  /// Implements `valueForKey:`; null if objects of this type have no keys.
  Value (*valueForKey)(const void* object, std::string_view key) = nullptr;
};

/// A counted reference to an object of a higher layer, whose type is unknown to this one.
struct ObjectHandle {
  std::shared_ptr<void> object;
  const ObjectOperations* operations = nullptr;
};

/// A pointer as a value. May be null.
struct BoxedPointer {
  const void* address = nullptr;
  friend bool operator==(const BoxedPointer&, const BoxedPointer&) = default;
};

enum class ValueKind : std::uint8_t {
  none,  ///< nil: no object
  null,  ///< the null object: JSON null
  boolean,
  integer,          ///< signed, 64 bits
  unsignedInteger,  ///< unsigned, 64 bits; only for numbers outside the signed range
  real,
  date,
  pointer,
  string,  ///< UTF-8; this kind and those below are kept in a record that copies share
  data,
  url,
  object,
  array,
  dictionary,
};

/// A reference to an object as the original platform knows it: nil (no object), or one of the kinds in
/// `ValueKind`.
///
/// Immutable and cheap to copy: copies share everything larger than a machine word. Any number of threads may
/// read one; assignment needs exclusive access. Conversions return what the original platform's objects
/// return, and raise `kInvalidArgumentException` ("-[CLASS integerValue]: unrecognized selector …") for
/// objects that have no such conversion.
class TIDEWELL_EXPORT Value {
 public:
  using Kind = ValueKind;

  /// nil.
  Value() noexcept : integer_(0) {}
  Value(std::nullptr_t) noexcept : Value() {}
  Value(std::nullopt_t) noexcept : Value() {}
  template <std::same_as<bool> T>
  Value(T value) noexcept : boolean_(value), kind_(Kind::boolean) {}
  template <class T>
  requires(std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>) Value(T value)
  noexcept : integer_(static_cast<std::int64_t>(value)), kind_(Kind::integer) {
    if constexpr (std::is_unsigned_v<T> && sizeof(T) >= sizeof(std::uint64_t)) {
      if (integer_ < 0) {
        unsigned_ = value;
        kind_ = Kind::unsignedInteger;
      }
    }
  }
  Value(double value) noexcept : real_(value), kind_(Kind::real) {}
  /// A null pointer gives nil.
  Value(const char* text);
  Value(std::string text);
  Value(std::string_view text);
  Value(Data data);
  Value(Date date);
  Value(Url url);
  Value(Array array);
  Value(Dictionary dictionary);
  Value(BoxedPointer pointer);
  /// An empty handle gives nil.
  Value(ObjectHandle object);
  template <class T>
  requires std::convertible_to<const T&, Value> Value(const std::optional<T>& optional)
      : Value(optional ? Value(*optional) : Value()) {}

  Value(const Value& other) noexcept : integer_(0), kind_(other.kind_) { copyFrom(other); }
  Value(Value&& other) noexcept : integer_(0), kind_(other.kind_) { moveFrom(other); }
  Value& operator=(const Value& other) noexcept { return *this = Value(other); }
  Value& operator=(Value&& other) noexcept {
    // The old content is destroyed last, because it may contain `other`.
    Value old;
    old.kind_ = kind_;
    old.moveFrom(*this);
    kind_ = other.kind_;
    moveFrom(other);
    return *this;
  }
  ~Value() { destroy(); }

  /// The null object, which represents JSON null.
  [[nodiscard]] static Value null();

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  [[nodiscard]] bool isNil() const noexcept { return kind() == Kind::none; }
  [[nodiscard]] bool isNull() const noexcept { return kind() == Kind::null; }
  /// True for booleans, too.
  [[nodiscard]] bool isNumber() const noexcept { return kind() >= Kind::boolean && kind() <= Kind::real; }
  [[nodiscard]] bool isString() const noexcept { return kind() == Kind::string; }
  explicit operator bool() const noexcept { return !isNil(); }

  /// Typed access: a null pointer if the value is of another kind.
  [[nodiscard]] const std::string* string() const noexcept;
  [[nodiscard]] const Data* data() const noexcept;
  [[nodiscard]] const Date* date() const noexcept;
  [[nodiscard]] const Url* url() const noexcept;
  [[nodiscard]] const Array* array() const noexcept;
  [[nodiscard]] const Dictionary* dictionary() const noexcept;
  [[nodiscard]] const BoxedPointer* pointer() const noexcept;
  [[nodiscard]] const ObjectHandle* object() const noexcept;
  /// The text of a string; no value for any other kind.
  [[nodiscard]] std::optional<std::string> optionalString() const;

  /// nil gives 0, a string its leading decimal digits (clamped to 64 bits), a number its value truncated
  /// toward zero; unsigned numbers wrap around. All other kinds raise.
  [[nodiscard]] std::int64_t integerValue() const;
  /// nil gives false; a string true if it begins (after white space) with Y, y, T, t or, after an optional
  /// sign and zeros, a digit from 1 to 9; a number true unless it is 0. All other kinds raise.
  [[nodiscard]] bool boolValue() const;
  /// nil gives 0, a number its value, a string its leading decimal number. All other kinds raise.
  [[nodiscard]] double doubleValue() const;
  /// The number of UTF-16 code units of a string, or of bytes of data; nil gives 0. All other kinds raise.
  [[nodiscard]] std::size_t length() const;
  /// `isEqualToString:`: nil gives false; strings are compared bytewise. All other kinds raise.
  [[nodiscard]] bool isEqualToString(std::string_view text) const;

  /// Object equality: numbers by value regardless of kind (booleans included), strings bytewise, containers
  /// by their entries (dictionaries regardless of order). nil equals only nil. Never raises.
  [[nodiscard]] bool isEqual(const Value& other) const noexcept;
  /// Equal values have equal hashes within one process. A container's hash is its count, as on the platform.
  [[nodiscard]] std::size_t hash() const noexcept;
  friend bool operator==(const Value& a, const Value& b) noexcept { return a.isEqual(b); }

  /// What `%@` prints: `(null)` for nil, `<null>` for the null object, a string itself, containers over
  /// several lines with keys in ascending order. Nesting beyond `kMaximumDescriptionDepth` prints as `...`.
  [[nodiscard]] std::string description() const;
  void appendDescription(std::string& out) const;
  static constexpr int kMaximumDescriptionDepth = 600;

  /// The platform's class name for messages: `__NSCFString`, `__NSCFNumber`, `NSNull`, …; "nil" for nil.
  [[nodiscard]] std::string className() const;

 private:
  explicit Value(SharedRecord* record, Kind kind) noexcept : shared_(record), kind_(kind) {}

  [[nodiscard]] bool isScalar() const noexcept { return kind_ < Kind::string; }
  // These three expect `kind_` to be set; the first two also expect no content yet. For `shared_` and the
  // bytes see the assertion below the class.
  void copyFrom(const Value& other) noexcept {
    if (!isScalar()) other.shared_.retain();
    std::memcpy(static_cast<void*>(&integer_), &other.integer_, sizeof integer_);
  }
  /// Leaves `other` nil.
  void moveFrom(Value& other) noexcept {
    std::memcpy(static_cast<void*>(&integer_), &other.integer_, sizeof integer_);
    other.kind_ = Kind::none;
  }
  void destroy() noexcept {
    if (!isScalar()) shared_.~SharedPointer();
  }

  union {
    bool boolean_;
    std::int64_t integer_;
    std::uint64_t unsigned_;
    double real_;
    Date date_;
    BoxedPointer pointer_;
    SharedPointer shared_;  // string, data, url, object
    Array array_;
    Dictionary dictionary_;
  };
  Kind kind_ = Kind::none;
};

// `Value` moves the bytes of shared pointers, and reaches that of an array or dictionary as `shared_`. The
// standard does not define either. Both hold for each supported compiler, because an array or dictionary is
// exactly its shared pointer, whose address is recorded nowhere, and because compilers let the members of a
// union alias. In exchange, copies and moves, which are inlined everywhere, take half the code.
static_assert(std::is_standard_layout_v<Array> && sizeof(Array) == sizeof(SharedPointer));
static_assert(std::is_standard_layout_v<Dictionary> && sizeof(Dictionary) == sizeof(SharedPointer));
static_assert(sizeof(SharedPointer) <= sizeof(std::int64_t));

struct Dictionary::Entry {
  std::string key;
  Value value;
};

inline const Value* Array::end() const noexcept { return begin() + count(); }

}  // namespace tidewell::base
