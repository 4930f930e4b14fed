// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"

namespace tidewell {
namespace {

/// Leaves room for the record and for the dictionaries that a property list adds around a value.
constexpr int kMaximumDepth = 500;

/// Measures a value, stopping as soon as it exceeds the limits.
class Measure {
 public:
  explicit Measure(const PropertyBounds& bounds) : left_(bounds) {}

  bool fits(const base::Value& value, int depth = 1) {
    if (depth > kMaximumDepth || !take(left_.elements, 1)) return false;
    const std::string* const text = value.string();
    return text != nullptr ? take(left_.bytes, text->size()) : contentFits(value, depth);
  }

 private:
  bool contentFits(const base::Value& value, int depth) {
    switch (value.kind()) {
      case base::ValueKind::none:
      case base::ValueKind::null:
      case base::ValueKind::boolean:
      case base::ValueKind::integer:
      case base::ValueKind::unsignedInteger:
      case base::ValueKind::real:
        return true;
      case base::ValueKind::date:
        return take(left_.elements, 1);
      case base::ValueKind::data:
        return take(left_.bytes, value.data()->length());
      case base::ValueKind::array:
        return take(left_.elements, 2) && fitsEach(*value.array(), depth);
      case base::ValueKind::dictionary:
        return take(left_.elements, 2) && fitsEach(*value.dictionary(), depth);
      default:
        return false;
    }
  }

  static bool take(std::size_t& left, std::size_t amount) {
    if (amount > left) return false;
    left -= amount;
    return true;
  }
  bool fitsEach(const base::Array& array, int depth) {
    for (const base::Value& entry : array) {
      if (!fits(entry, depth + 1)) return false;
    }
    return true;
  }
  bool fitsEach(const base::Dictionary& dictionary, int depth) {
    for (const auto& [key, entry] : dictionary) {
      if (!take(left_.elements, 1) || !take(left_.bytes, key.size()) || !fits(entry, depth + 1)) return false;
    }
    return true;
  }

  PropertyBounds left_;
};

}  // namespace

bool fits(const base::Value& value, const PropertyBounds& bounds) { return Measure(bounds).fits(value); }

PropertySet propertiesOutOfBounds(const TWConfigFields& fields, PropertySet properties) {
  PropertySet outside = 0;
  for (const ConfigField& field : kConfigFields) {
    const auto* const member = std::get_if<base::Value TWConfigFields::*>(&field.member);
    if (member == nullptr || (properties & propertyBit(field.property)) == 0) continue;
    if (!fits(fields.**member, boundsOf(field.property))) outside |= propertyBit(field.property);
  }
  return outside;
}

}  // namespace tidewell
