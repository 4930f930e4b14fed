// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ConfigOrigins.h"

#include <cmath>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"

namespace tidewell {
namespace {

constexpr std::int64_t kVersion = 1;
/// A larger file is not decoded. Twice what a reply at its limit needs.
constexpr std::size_t kMaximumFileBytes = 2 * kMaximumKeptReplyBytes;
/// Only the keys of a large reply up to this number are kept; a configuration has far fewer.
constexpr std::size_t kMaximumKeys = 256;

/// Whether two records have equal values in a field.
bool isEqualIn(const TWConfigFields& fields, const TWConfigFields& others, const ConfigField& field) {
  return equalFields(fields, others, propertyBit(field.property));
}

bool areDates(const base::Dictionary& times) {
  for (const auto& [key, time] : times) {
    if (time.date() == nullptr || !std::isfinite(time.date()->secondsSince1970)) return false;
  }
  return true;
}

/// The JSON text of a reply; no value if it is too large, or contains what JSON cannot represent.
std::optional<std::string> textOf(const base::Dictionary& reply) {
  try {
    std::string text = base::dataWithJSONObject(reply);
    if (text.size() <= kMaximumKeptReplyBytes) return text;
  } catch (const base::Exception&) {
  }
  return std::nullopt;
}

/// The classes of the values that are not null.
base::Dictionary typesOf(const base::Dictionary& reply) {
  base::Dictionary types;
  for (const auto& [key, value] : reply) {
    if (types.count() == kMaximumKeys) break;
    if (!value.isNull()) types.setObject(value.className(), key);
  }
  return types;
}

}  // namespace

std::optional<ConfigOrigins> ConfigOrigins::read(std::string_view bytes) {
  if (bytes.size() > kMaximumFileBytes) return std::nullopt;
  const base::Value content = base::propertyListWithData(bytes);
  const base::Dictionary* const file = content.dictionary();
  if (file == nullptr || file->objectForKey("version") != base::Value(kVersion)) return std::nullopt;
  const auto dictionaryAt = [file](std::string_view key) {
    const base::Value* const found = file->find(key);
    return found != nullptr && found->dictionary() != nullptr ? *found->dictionary() : base::Dictionary();
  };
  const bool startsWithArchive = file->objectForKey("startsWithArchive") == base::Value(true);
  ConfigOrigins origins(startsWithArchive ? Start::archive : Start::defaults);
  origins.isKept_ = true;
  const base::Dictionary keptKeys = dictionaryAt("keptKeys");
  for (const ConfigField& field : kConfigFields) {
    if (keptKeys.find(field.key) != nullptr) origins.kept_ |= propertyBit(field.property);
  }
  origins.replyTypes_ = dictionaryAt("replyTypes");
  origins.deviceTimes_ = dictionaryAt("deviceTimes");
  if (!areDates(origins.deviceTimes_)) return std::nullopt;
  const base::Value time = file->objectForKey("replyTime"), reply = file->objectForKey("reply");
  if (time.date() != nullptr && std::isfinite(time.date()->secondsSince1970))
    origins.replyTime_ = *time.date();
  if (const std::string* const text = reply.string()) {
    const base::Value decoded = base::JSONObjectWithData(*text);
    if (decoded.dictionary() == nullptr) return std::nullopt;
    origins.reply_ = *decoded.dictionary();
    origins.isReplyKept_ = true;
  }
  return origins;
}

std::string ConfigOrigins::bytes() const {
  base::Dictionary file{
      {"version", kVersion}, {"startsWithArchive", start_ == Start::archive}, {"deviceTimes", deviceTimes_}};
  if (replyTime_) {
    file.setObject(*replyTime_, "replyTime");
    base::Dictionary keptKeys;
    for (const std::uint8_t row : kMergeOrder) {
      const ConfigField& field = kConfigFields[row];
      if ((kept_ & propertyBit(field.property)) != 0) keptKeys.setObject(true, field.key);
    }
    file.setObject(keptKeys, "keptKeys");
    const std::optional<std::string> text = isReplyKept_ ? textOf(reply_) : std::nullopt;
    if (text) {
      file.setObject(*text, "reply");
    } else {
      file.setObject(isReplyKept_ ? typesOf(reply_) : replyTypes_, "replyTypes");
    }
  }
  return base::dataWithPropertyList(file, base::PropertyListFormat::binary);
}

void ConfigOrigins::noteReply(const base::Dictionary& reply, const ReplyMerge& merge, base::Date now) {
  isKept_ = true;
  replyTime_ = now;
  isReplyKept_ = fits(reply, {kMaximumKeptReplyBytes, kMaximumKeptReplyBytes});
  reply_ = isReplyKept_ ? reply : base::Dictionary();
  replyTypes_ = isReplyKept_ ? base::Dictionary() : typesOf(reply);
  kept_ = 0;
  for (const std::uint8_t row : kMergeOrder) kept_ |= propertyBit(kConfigFields[row].property);
  kept_ &= ~merge.change.properties;
}

void ConfigOrigins::noteChange(TWConfigProperty property, base::Date now) {
  isKept_ = true;
  deviceTimes_.setObject(now, fieldOf(property)->key);
}

ConfigOrigins::Origins ConfigOrigins::of(const TWConfigFields& fields) const {
  Origins origins;
  if (!isKept_ && start_ == Start::archive) return origins;
  const TWConfigFields defaults = defaultFields();
  std::optional<ReplyMerge> merge;
  if (isReplyKept_) merge.emplace(reply_);
  for (std::size_t row = 0; row < kConfigFields.size(); ++row) {
    const ConfigField& field = kConfigFields[row];
    const bool isDefault = isEqualIn(fields, defaults, field);
    origins[row] = field.mergePlace == kNoPlace ? ofDeviceValue(field, isDefault)
                                                : ofServerValue(field, fields, isDefault, merge);
  }
  return origins;
}

ConfigOrigins::Origin ConfigOrigins::ofServerValue(const ConfigField& field, const TWConfigFields& fields,
                                                   bool isDefault,
                                                   const std::optional<ReplyMerge>& merge) const {
  if (!replyTime_) {
    if (start_ == Start::archive) return {ValueOrigin::earlierVersion};
    return {isDefault ? ValueOrigin::nothingDownloaded : ValueOrigin::unknown};
  }
  if ((kept_ & propertyBit(field.property)) != 0) return {ValueOrigin::beforeLastReply};
  const bool isPresent =
      merge ? !validObjectForKey(reply_, field.key).isNil() : replyTypes_.find(field.key) != nullptr;
  const bool isExplained = merge ? isEqualIn(fields, merge->change.fields, field) : isPresent || isDefault;
  if (!isExplained) return {kept_ == 0 ? ValueOrigin::unknown : ValueOrigin::beforeLastReply};
  return {isPresent ? ValueOrigin::lastReply : ValueOrigin::leftOut, replyTime_};
}

ConfigOrigins::Origin ConfigOrigins::ofDeviceValue(const ConfigField& field, bool isDefault) const {
  if (const base::Value* const time = deviceTimes_.find(field.key))
    return {ValueOrigin::device, *time->date()};
  if (start_ == Start::archive) return {ValueOrigin::earlierVersion};
  return {isDefault ? ValueOrigin::notSetOnDevice : ValueOrigin::unknown};
}

}  // namespace tidewell
