#pragma once

#include <cstdint>
#include <string_view>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigTables.h"

namespace tidewell {

/// Copies the fields of some properties.
void copyFields(const TWConfigFields& from, TWConfigFields& to, PropertySet properties);
[[nodiscard]] bool equalFields(const TWConfigFields& a, const TWConfigFields& b, PropertySet properties);

void encodeFields(const TWConfigFields& fields, base::KeyedEncoder& encoder);
/// A field that is missing or cannot be decoded reads nil, 0 or false. The latter ones are added to `broken`.
[[nodiscard]] TWConfigFields decodeFields(base::KeyedDecoder& decoder, PropertySet* broken = nullptr);

/// Some fields by their keys: what is a number, a boolean or a text.
[[nodiscard]] base::Dictionary scalarsOf(const TWConfigFields& fields, PropertySet properties);
/// Takes what `scalarsOf` gives into the fields of `properties`; other fields stay as they are.
void takeScalars(const base::Dictionary& scalars, TWConfigFields& fields, PropertySet properties);

/// New values for some properties, collected before they are put in force together.
///
/// The writers of the groups turn values into fields as they come. Each answers the line to log for it: empty
/// where nothing is to be said. A rejected number changes nothing. They raise where a value has no number or
/// boolean for a field that needs one.
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
/// Logged after every write of the restricted-ID expressions, and so whenever a record of defaults is made.
inline constexpr std::string_view kUnknownConfigProperty = "Unknown Config property";

}  // namespace tidewell
