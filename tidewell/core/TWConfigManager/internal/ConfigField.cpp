// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/Exception.h"

namespace tidewell {
namespace {

constexpr std::string_view kInvalidProperty = "Invalid Property";
constexpr std::string_view kUnknownFeature = "Unknown feature";

/// Stores a value in a field of this type.
template <class Type>
void store(ConfigChange& change, const ConfigField& field, Type value) {
  change.set(field.property, std::get<Type TWConfigFields::*>(field.member), std::move(value));
}

}  // namespace

void copyFields(const TWConfigFields& from, TWConfigFields& to, PropertySet properties) {
  for (const ConfigField& field : kConfigFields) {
    if ((properties & propertyBit(field.property)) == 0) continue;
    std::visit([&](auto member) { to.*member = from.*member; }, field.member);
  }
}

bool equalFields(const TWConfigFields& a, const TWConfigFields& b, PropertySet properties) {
  return std::all_of(kConfigFields.begin(), kConfigFields.end(), [&](const ConfigField& field) {
    return (properties & propertyBit(field.property)) == 0 ||
           std::visit([&](auto member) { return a.*member == b.*member; }, field.member);
  });
}

void encodeFields(const TWConfigFields& fields, base::KeyedEncoder& encoder) {
  for (const std::uint8_t row : kArchiveOrder) {
    const ConfigField& field = kConfigFields[row];
    struct Encode {
      void operator()(base::Value TWConfigFields::*member) const {
        encoder.encodeObject(fields.*member, key);
      }
      void operator()(std::uint64_t TWConfigFields::*member) const {
        encoder.encodeInt64(static_cast<std::int64_t>(fields.*member), key);
      }
      void operator()(bool TWConfigFields::*member) const { encoder.encodeBool(fields.*member, key); }

      const TWConfigFields& fields;
      base::KeyedEncoder& encoder;
      std::string_view key;
    };
    std::visit(Encode{fields, encoder, field.key}, field.member);
  }
}

TWConfigFields decodeFields(base::KeyedDecoder& decoder, PropertySet* broken) {
  TWConfigFields fields;
  for (const std::uint8_t row : kArchiveOrder) {
    const ConfigField& field = kConfigFields[row];
    struct Decode {
      void operator()(base::Value TWConfigFields::*member) const {
        fields.*member = decoder.decodeObjectForKey(key);
      }
      void operator()(std::uint64_t TWConfigFields::*member) const {
        fields.*member = static_cast<std::uint64_t>(decoder.decodeInt64ForKey(key));
      }
      void operator()(bool TWConfigFields::*member) const { fields.*member = decoder.decodeBoolForKey(key); }

      TWConfigFields& fields;
      base::KeyedDecoder& decoder;
      std::string_view key;
    };
    try {
      std::visit(Decode{fields, decoder, field.key}, field.member);
    } catch (const base::Exception&) {
      if (broken != nullptr) *broken |= propertyBit(field.property);
    }
  }
  return fields;
}

base::Dictionary scalarsOf(const TWConfigFields& fields, PropertySet properties) {
  base::Dictionary scalars;
  for (const std::uint8_t row : kArchiveOrder) {
    const ConfigField& field = kConfigFields[row];
    if ((properties & propertyBit(field.property)) == 0) continue;
    const base::Value value = valueIn(fields, field);
    if (value.isString() || value.isNumber()) scalars.setObject(value, field.key);
  }
  return scalars;
}

void takeScalars(const base::Dictionary& scalars, TWConfigFields& fields, PropertySet properties) {
  for (const ConfigField& field : kConfigFields) {
    struct Take {
      void operator()(base::Value TWConfigFields::*member) const { fields.*member = value; }
      void operator()(std::uint64_t TWConfigFields::*member) const {
        if (value.isNumber()) fields.*member = static_cast<std::uint64_t>(value.integerValue());
      }
      void operator()(bool TWConfigFields::*member) const {
        if (value.isNumber()) fields.*member = value.boolValue();
      }

      TWConfigFields& fields;
      const base::Value& value;
    };
    if ((properties & propertyBit(field.property)) == 0) continue;
    const base::Value* const value = scalars.find(field.key);
    if (value != nullptr && (value->isString() || value->isNumber())) {
      std::visit(Take{fields, *value}, field.member);
    }
  }
}

std::string_view ConfigChange::write(std::int64_t property, const base::Value& value) {
  const ConfigField* const field = fieldOf(property);
  if (field == nullptr) return kInvalidProperty;
  switch (field->group) {
    case ConfigGroup::status:
      return writeStatus(property, value);
    case ConfigGroup::duration:
      return writeDuration(property, value);
    case ConfigGroup::list:
      return writeArray(property, value);
    case ConfigGroup::misc:
      return writeMisc(property, value);
    case ConfigGroup::optOut:
      return writeGDPR(property, value);
  }
  return kInvalidProperty;
}

std::string_view ConfigChange::writeStatus(std::int64_t property, const base::Value& value) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::status);
  if (field == nullptr) return kUnknownFeature;
  store(*this, *field, value ? value : base::Value(TWConfig::getDefaultValForStatusProperty(property)));
  return {};
}

std::string_view ConfigChange::writeDuration(std::int64_t property, const base::Value& value) {
  // The number is read first: a value without one raises for any property.
  const std::int64_t seconds =
      value ? value.integerValue() : TWConfig::getDefaultValForDurationProperty(property);
  const ConfigField* const field = fieldOf(property, ConfigGroup::duration);
  if (field == nullptr) return kUnknownConfigProperty;
  store(*this, *field, static_cast<std::uint64_t>(seconds));
  return {};
}

std::string_view ConfigChange::writeArray(std::int64_t property, const base::Value& value) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::list);
  if (field == nullptr) return kUnknownConfigProperty;
  store(*this, *field, value ? value : base::Value(TWConfig::getDefaultValForArrayProperty(property)));
  // The restricted-ID expressions are stored, but the line is logged nevertheless.
  return property == TWConfigPropertyRestrictedUniqueIDRegex ? kUnknownConfigProperty : std::string_view();
}

std::string_view ConfigChange::writeGDPR(std::int64_t property, const base::Value& value) {
  const bool flag = value ? value.boolValue() : TWConfig::getDefaultValForGDPRProperty(property);
  const ConfigField* const field = fieldOf(property, ConfigGroup::optOut);
  if (field == nullptr) return kUnknownConfigProperty;
  store(*this, *field, flag);
  return {};
}

std::string_view ConfigChange::writeMisc(std::int64_t property, const base::Value& value) {
  const ConfigField* const field = fieldOf(property, ConfigGroup::misc);
  if (field == nullptr) return kUnknownConfigProperty;
  const base::Value resolved = value ? value : TWConfig::getDefaultValForMiscProperty(property);
  if (std::holds_alternative<std::uint64_t TWConfigFields::*>(field->member)) {
    store(*this, *field, static_cast<std::uint64_t>(resolved.integerValue()));
  } else {
    store(*this, *field, resolved);
  }
  return {};
}

TWConfigFields defaultFields() {
  ConfigChange change;
  for (const ConfigField& field : kConfigFields) change.write(field.property, {});
  return std::move(change.fields);
}

}  // namespace tidewell
