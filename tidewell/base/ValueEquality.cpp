// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstring>
#include <functional>
#include <new>
#include <vector>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Records.h"
#include "tidewell/base/internal/StringHash.h"

namespace tidewell::base {
namespace {

/// A number by its value: an integer if it is whole, otherwise a floating-point number.
struct Number {
  bool whole = true;
  bool negative = false;
  std::uint64_t magnitude = 0;  // if whole
  double real = 0;              // if not whole
};

Number numberOf(double real) {
  constexpr double kLimit = 18446744073709551616.0;  // 2^64
  Number number;
  const double magnitude = std::fabs(real);
  if (magnitude < kLimit && std::floor(magnitude) == magnitude) {
    number.magnitude = static_cast<std::uint64_t>(magnitude);
    number.negative = real < 0;
  } else {
    number.whole = false;
    number.real = real;
  }
  return number;
}

Number numberOf(const Value& value) {
  if (value.kind() == Value::Kind::real) return numberOf(value.doubleValue());
  const std::int64_t integer = value.integerValue();
  Number number;
  number.negative = value.kind() != Value::Kind::unsignedInteger && integer < 0;
  number.magnitude = static_cast<std::uint64_t>(integer);
  if (number.negative) number.magnitude = 0 - number.magnitude;
  return number;
}

/// As on the platform, NaN equals NaN.
bool sameReal(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool sameNumber(const Number& a, const Number& b) {
  if (a.whole != b.whole) return false;
  return a.whole ? a.negative == b.negative && a.magnitude == b.magnitude : sameReal(a.real, b.real);
}

std::size_t hashOf(const Number& number) {
  if (number.whole) return std::hash<std::uint64_t>()(number.magnitude);
  return std::isnan(number.real) ? 0 : std::hash<double>()(number.real);
}

bool sameObject(const ObjectHandle& a, const ObjectHandle& b) noexcept {
  if (a.object == b.object) return true;
  if (a.operations != b.operations) return false;
  const CancellationShield shield;
  try {
    return a.operations->isEqual(a.object.get(), b.object.get());
  } catch (...) {
    return false;  // an object whose comparison raises equals no other
  }
}

bool isContainer(const Value& value) {
  return value.kind() == Value::Kind::array || value.kind() == Value::Kind::dictionary;
}

/// Compares values that are not containers.
bool sameLeaf(const Value& a, const Value& b) noexcept {
  if (a.isNumber() && b.isNumber()) return sameNumber(numberOf(a), numberOf(b));
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Value::Kind::string:
      return *a.string() == *b.string();
    case Value::Kind::data:
      return *a.data() == *b.data();
    case Value::Kind::url:
      return *a.url() == *b.url();
    case Value::Kind::date:
      return sameReal(a.date()->secondsSince1970, b.date()->secondsSince1970);
    case Value::Kind::pointer:
      return *a.pointer() == *b.pointer();
    case Value::Kind::object:
      return sameObject(*a.object(), *b.object());
    default:
      return true;  // nil and null
  }
}

/// Compares two values iteratively, with a list of the containers still to be compared, since values may be
/// nested without limit.
class Comparison {
 public:
  bool isEqual(const Value& a, const Value& b) {
    if (!visit(a, b)) return false;
    while (!pending_.empty()) {
      const auto [left, right] = pending_.back();
      pending_.pop_back();
      if (!(left->array() ? sameEntries(*left->array(), *right->array())
                          : sameEntries(*left->dictionary(), *right->dictionary()))) {
        return false;
      }
    }
    return true;
  }

 private:
  bool visit(const Value& a, const Value& b) {
    if (!isContainer(a) || a.kind() != b.kind()) return sameLeaf(a, b);
    pending_.emplace_back(&a, &b);
    return true;
  }

  bool sameEntries(const Array& a, const Array& b) {
    if (a.begin() == b.begin()) return true;  // the same record
    if (a.count() != b.count()) return false;
    for (std::size_t i = 0; i < a.count(); ++i) {
      if (!visit(a.begin()[i], b.begin()[i])) return false;
    }
    return true;
  }

  bool sameEntries(const Dictionary& a, const Dictionary& b) {
    if (a.begin() == b.begin()) return true;
    if (a.count() != b.count()) return false;
    for (const Dictionary::Entry& entry : a) {
      const Value* other = b.find(entry.key);
      if (!other || !visit(entry.value, *other)) return false;
    }
    return true;
  }

  std::vector<std::pair<const Value*, const Value*>> pending_;
};

}  // namespace

bool Value::isEqual(const Value& other) const noexcept {
  if (!isContainer(*this) || kind() != other.kind()) return sameLeaf(*this, other);
  try {
    return Comparison().isEqual(*this, other);
  } catch (const std::bad_alloc&) {
    return false;  // no memory for the list of containers: not equal
  }
}

std::size_t Value::hash() const noexcept {
  switch (kind()) {
    case Kind::none:
    case Kind::null:
      return static_cast<std::size_t>(kind());
    case Kind::boolean:
    case Kind::integer:
    case Kind::unsignedInteger:
    case Kind::real:
      return hashOf(numberOf(*this));
    case Kind::date:
      return hashOf(numberOf(date()->secondsSince1970));
    case Kind::pointer:
      return std::hash<const void*>()(pointer()->address);
    case Kind::string:
      return stringHash(*string());
    case Kind::data:
      return stringHash(data()->view());
    case Kind::url:
      return stringHash(url()->absoluteString());
    case Kind::object: {
      const CancellationShield shield;
      try {
        return object()->operations->hash(object()->object.get());
      } catch (...) {
        return 0;
      }
    }
    // As on the platform: equal containers have equal counts, and hashing the entries would take unbounded
    // time.
    case Kind::array:
      return array()->count();
    case Kind::dictionary:
      return dictionary()->count();
  }
  return 0;
}

}  // namespace tidewell::base
