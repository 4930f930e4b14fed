// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Value.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <functional>
#include <limits>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/NumberText.h"
#include "tidewell/base/internal/Records.h"
#include "tidewell/base/internal/StringHash.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/base/internal/UnrecognizedSelector.h"

namespace tidewell::base {
namespace {

template <class Record>
const auto& contentOf(const SharedPointer& pointer) {
  return static_cast<const Record*>(pointer.get())->value;
}

/// Truncates toward zero and clamps to the signed range, as the platform's processors do.
std::int64_t integerFromReal(double real) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (std::isnan(real)) return 0;
  if (real >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (real < -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(real);
}

}  // namespace

Value::Value(const char* text) : Value() {
  if (text) *this = Value(std::string(text));
}
Value::Value(std::string text) : Value(new StringRecord(std::move(text)), Kind::string) {}
Value::Value(std::string_view text) : Value(new StringRecord(text), Kind::string) {}
Value::Value(Data data) : Value(new DataRecord(std::move(data)), Kind::data) {}
Value::Value(Date date) : date_(date), kind_(Kind::date) {}
Value::Value(Url url) : Value(new UrlRecord(std::move(url)), Kind::url) {}
Value::Value(Array array) : array_(std::move(array)), kind_(Kind::array) {}
Value::Value(Dictionary dictionary) : dictionary_(std::move(dictionary)), kind_(Kind::dictionary) {}
Value::Value(BoxedPointer pointer) : pointer_(pointer), kind_(Kind::pointer) {}
Value::Value(ObjectHandle object) : Value() {
  if (object.object && object.operations) *this = Value(new ObjectRecord(std::move(object)), Kind::object);
}

Value Value::null() {
  Value value;
  value.kind_ = Kind::null;
  return value;
}

const std::string* Value::string() const noexcept {
  return kind_ == Kind::string ? &contentOf<StringRecord>(shared_) : nullptr;
}
const Data* Value::data() const noexcept {
  return kind_ == Kind::data ? &contentOf<DataRecord>(shared_) : nullptr;
}
const Date* Value::date() const noexcept { return kind_ == Kind::date ? &date_ : nullptr; }
const Url* Value::url() const noexcept {
  return kind_ == Kind::url ? &contentOf<UrlRecord>(shared_) : nullptr;
}
const Array* Value::array() const noexcept { return kind_ == Kind::array ? &array_ : nullptr; }
const Dictionary* Value::dictionary() const noexcept {
  return kind_ == Kind::dictionary ? &dictionary_ : nullptr;
}
const BoxedPointer* Value::pointer() const noexcept { return kind_ == Kind::pointer ? &pointer_ : nullptr; }
const ObjectHandle* Value::object() const noexcept {
  return kind_ == Kind::object ? &contentOf<ObjectRecord>(shared_) : nullptr;
}

std::optional<std::string> Value::optionalString() const {
  if (const std::string* text = string()) return *text;
  return std::nullopt;
}

std::int64_t Value::integerValue() const {
  switch (kind_) {
    case Kind::none:
      return 0;
    case Kind::boolean:
      return boolean_;
    case Kind::integer:
      return integer_;
    case Kind::unsignedInteger:
      return static_cast<std::int64_t>(unsigned_);
    case Kind::real:
      return integerFromReal(real_);
    case Kind::string:
      return leadingInteger(*string());
    default:
      raiseUnrecognizedSelector(*this, "integerValue");
  }
}

bool Value::boolValue() const {
  switch (kind_) {
    case Kind::none:
      return false;
    case Kind::boolean:
      return boolean_;
    case Kind::integer:
      return integer_ != 0;
    case Kind::unsignedInteger:
      return unsigned_ != 0;
    case Kind::real:
      return real_ != 0;
    case Kind::string:
      return leadingBoolean(*string());
    default:
      raiseUnrecognizedSelector(*this, "boolValue");
  }
}

double Value::doubleValue() const {
  switch (kind_) {
    case Kind::none:
      return 0;
    case Kind::boolean:
      return boolean_;
    case Kind::integer:
      return static_cast<double>(integer_);
    case Kind::unsignedInteger:
      return static_cast<double>(unsigned_);
    case Kind::real:
      return real_;
    case Kind::string:
      return leadingReal(*string());
    default:
      raiseUnrecognizedSelector(*this, "doubleValue");
  }
}

std::size_t Value::length() const {
  switch (kind_) {
    case Kind::none:
      return 0;
    case Kind::string:
      return utf16Length(*string());
    case Kind::data:
      return data()->length();
    default:
      raiseUnrecognizedSelector(*this, "length");
  }
}

bool Value::isEqualToString(std::string_view text) const {
  if (isNil()) return false;
  if (const std::string* own = string()) return *own == text;
  raiseUnrecognizedSelector(*this, "isEqualToString:");
}

std::string Value::className() const {
  switch (kind_) {
    case Kind::none:
      return "nil";
    case Kind::null:
      return "NSNull";
    case Kind::boolean:
      return "__NSCFBoolean";
    case Kind::integer:
    case Kind::unsignedInteger:
    case Kind::real:
      return "__NSCFNumber";
    case Kind::date:
      return "NSDate";
    case Kind::pointer:
      return "NSConcreteValue";
    case Kind::string:
      return "__NSCFString";
    case Kind::data:
      return "NSData";
    case Kind::url:
      return "NSURL";
    case Kind::object:
      return object()->operations->className(object()->object.get());
    case Kind::array:
      return "__NSArrayI";
    case Kind::dictionary:
      return "__NSDictionaryI";
  }
  return "NSObject";
}

}  // namespace tidewell::base
