// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigTables.h"

namespace tidewell {

/// Copies the fields of the given properties.
void copyFields(const TWConfigFields& from, TWConfigFields& to, PropertySet properties);
[[nodiscard]] bool equalFields(const TWConfigFields& a, const TWConfigFields& b, PropertySet properties);

void encodeFields(const TWConfigFields& fields, base::KeyedEncoder& encoder);
/// A field that is missing or cannot be decoded gives nil, 0 or false. The latter are added to `broken`.
[[nodiscard]] TWConfigFields decodeFields(base::KeyedDecoder& decoder, PropertySet* broken = nullptr);

/// The value of a field. Numbers are signed, as in the archive and in answers.
[[nodiscard]] inline base::Value valueIn(const TWConfigFields& fields, const ConfigField& field) {
  struct Read {
    base::Value operator()(base::Value TWConfigFields::*member) const { return of.*member; }
    base::Value operator()(std::uint64_t TWConfigFields::*member) const {
      return static_cast<std::int64_t>(of.*member);
    }
    base::Value operator()(bool TWConfigFields::*member) const { return of.*member; }
    const TWConfigFields& of;
  };
  return std::visit(Read{fields}, field.member);
}
/// The numbers, booleans and texts among the given properties, by key.
[[nodiscard]] base::Dictionary scalarsOf(const TWConfigFields& fields, PropertySet properties);
/// Stores values from `scalarsOf` in the fields of `properties`; other fields do not change.
void takeScalars(const base::Dictionary& scalars, TWConfigFields& fields, PropertySet properties);

/// New values for some properties, collected so that they take effect together.
///
/// The writers convert values to fields. Each returns a line to log, or an empty one. An invalid number
/// changes nothing. They raise for a value that is not a number or boolean where the field needs one.
struct ConfigChange {
  TWConfigFields fields;
  PropertySet properties = 0;

  std::string_view write(std::int64_t property, const base::Value& value);
  std::string_view writeStatus(std::int64_t property, const base::Value& value);
  std::string_view writeDuration(std::int64_t property, const base::Value& value);
  std::string_view writeArray(std::int64_t property, const base::Value& value);
  std::string_view writeGDPR(std::int64_t property, const base::Value& value);
  std::string_view writeMisc(std::int64_t property, const base::Value& value);

  /// Stores a value unchanged. `Type` is the type of the property's field.
  template <class Type>
  void set(TWConfigProperty property, Type TWConfigFields::*member, Type value) {
    fields.*member = std::move(value);
    properties |= propertyBit(property);
  }
};

/// The fields of a new record.
[[nodiscard]] TWConfigFields defaultFields();
/// Logged after every write of the restricted-ID expressions, and therefore when a record of defaults is
/// created.
inline constexpr std::string_view kUnknownConfigProperty = "Unknown Config property";

}  // namespace tidewell
