// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <new>
#include <numeric>
#include <string>
#include <utility>
#include <variant>

#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/JsonPlaces.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigArchive.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWConfigManager/internal/ExpressionTrial.h"
#include "tidewell/core/TWConfigManager/internal/LintRules.h"
#include "tidewell/core/TWConfigManager/internal/ReplyMerge.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"

namespace tidewell {
namespace {

constexpr std::size_t kLongestExcerpt = 60;

/// The start of a text from the reply, for a sentence: control characters become "?".
std::string excerpt(std::string_view text) {
  std::string shown(base::prefixOfCharacters(text, kLongestExcerpt));
  for (std::size_t at = 0; at < shown.size(); ++at) {
    const auto byte = static_cast<unsigned char>(shown[at]);
    const bool isTwoBytes = byte == 0xC2 && static_cast<unsigned char>(shown[at + 1]) < 0xA0;
    if (isTwoBytes) shown.erase(at, 1);
    if (isTwoBytes || byte < 0x20 || byte == 0x7F) shown[at] = '?';
  }
  return shown.size() < text.size() ? shown + "\u2026" : shown;
}

std::string_view kindOf(const base::Value& value) {
  switch (value.kind()) {
    case base::ValueKind::boolean:
      return value.boolValue() ? "true" : "false";
    case base::ValueKind::null:
      return "null";
    case base::ValueKind::string:
      return "text";
    case base::ValueKind::array:
      return "a list";
    case base::ValueKind::dictionary:
      return "an object";
    default:
      return "a number";
  }
}

void appendToList(std::string& list, std::string_view item) {
  if (!list.empty()) list += ", ";
  list += item;
}

/// The keys merged after a field; "none" for the last one.
std::string keysMergedAfter(const ConfigField& field) {
  std::string keys;
  for (const std::uint8_t row : kMergeOrder) {
    if (kConfigFields[row].mergePlace > field.mergePlace) appendToList(keys, kConfigFields[row].key);
  }
  return keys.empty() ? "none" : keys;
}

const ConfigField* fieldOfKey(std::string_view key) {
  const auto* const found = std::find_if(kConfigFields.begin(), kConfigFields.end(),
                                         [key](const ConfigField& field) { return field.key == key; });
  return found == kConfigFields.end() ? nullptr : found;
}

/// The number of insertions, deletions and replacements that turn one text into the other.
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

/// The known key most similar to the given one; empty if none is similar.
std::string_view nearestKey(std::string_view key) {
  constexpr std::size_t kLongestKey = 32;
  if (key.size() > kLongestKey) return {};
  std::string_view nearest;
  std::size_t least = std::max<std::size_t>(key.size() / 2, 1) + 1;
  for (const std::uint8_t row : kMergeOrder) {
    const std::string_view known = kConfigFields[row].key;
    const std::size_t distance = base::detail::equalsIgnoringCase(known, key) ? 0 : editDistance(known, key);
    if (distance < least) {
      least = distance;
      nearest = known;
    }
  }
  return nearest;
}

constexpr std::array kEventLists = {TWConfigPropertyBlackListedEvents, TWConfigPropertyInstantFlushEvents,
                                    TWConfigPropertyDataTrackingWhitelistedEvents};

base::Value number(std::size_t count) { return static_cast<std::int64_t>(count); }

/// The fields of a record of defaults after a merge.
TWConfigFields fieldsAfter(const ReplyMerge& merge, TWConfigFields fields) {
  copyFields(merge.change.fields, fields, merge.change.properties);
  return fields;
}

}  // namespace

struct LintFinding::State {
  const LintRule* rule;
  bool hasPlace;
  std::size_t at;  ///< in the text, if it has a place
  std::size_t line = 0;
  std::size_t column = 0;
  std::string key;
  std::string pointer;
  std::string sentence;
  std::string advice;
};

LintFinding::LintFinding(std::shared_ptr<const State> state) : state_(std::move(state)) {}
LintSeverity LintFinding::severity() const noexcept { return state_->rule->severity; }
std::string_view LintFinding::rule() const noexcept { return state_->rule->name; }
std::string_view LintFinding::key() const noexcept { return state_->key; }
std::string_view LintFinding::pointer() const noexcept { return state_->pointer; }
std::size_t LintFinding::line() const noexcept { return state_->line; }
std::size_t LintFinding::column() const noexcept { return state_->column; }
std::string_view LintFinding::sentence() const noexcept { return state_->sentence; }
std::string_view LintFinding::advice() const noexcept { return state_->advice; }

base::Dictionary LintFinding::dictionary() const {
  return {{"severity", nameOf(severity())}, {"rule", rule()},         {"key", key()},
          {"pointer", pointer()},           {"line", number(line())}, {"column", number(column())},
          {"sentence", sentence()},         {"advice", advice()}};
}

struct LintReport::State {
  std::vector<LintFinding> findings;
  std::size_t omittedFindings = 0;
  std::size_t replyBytes = 0;
  std::size_t archiveBytes = 0;
  std::size_t compiledBytes = 0;
};

LintReport::LintReport(std::shared_ptr<const State> state) : state_(std::move(state)) {}
std::vector<LintFinding> LintReport::findings() const { return state_->findings; }
std::size_t LintReport::omittedFindings() const noexcept { return state_->omittedFindings; }
std::size_t LintReport::replyBytes() const noexcept { return state_->replyBytes; }
std::size_t LintReport::archiveBytes() const noexcept { return state_->archiveBytes; }
std::size_t LintReport::compiledBytes() const noexcept { return state_->compiledBytes; }

std::optional<LintSeverity> LintReport::worst() const noexcept {
  const std::vector<LintFinding>& all = state_->findings;
  const auto worst = std::max_element(
      all.begin(), all.end(), [](const auto& a, const auto& b) { return a.severity() < b.severity(); });
  if (worst == all.end()) return std::nullopt;
  return worst->severity();
}

base::Dictionary LintReport::dictionary() const {
  base::Array findings;
  for (const LintFinding& finding : state_->findings) findings.addObject(finding.dictionary());
  return {{"findings", findings},
          {"omittedFindings", number(omittedFindings())},
          {"replyBytes", number(replyBytes())},
          {"archiveBytes", number(archiveBytes())},
          {"compiledBytes", number(compiledBytes())}};
}

/// Examines one reply.
class Linter {
 public:
  explicit Linter(std::string_view bytes) : bytes_(bytes) { report_.replyBytes = bytes.size(); }

  LintReport run() {
    if (bytes_.size() > kMaximumConfigurationBytes) {
      add(LintRuleID::replyTooLarge, {}, {number(bytes_.size()), number(kMaximumConfigurationBytes)});
      return finish({});
    }
    const base::JsonPlaces places(bytes_);
    if (!places.problem.empty()) {
      add(LintRuleID::notJson, {.at = places.problemAt}, {places.problem});
    } else if (places.root.array() != nullptr) {
      add(LintRuleID::notObject, {.at = 0});
    } else if (places.root.dictionary() == nullptr) {
      add(LintRuleID::notContainer, {.at = 0}, {kindOf(places.root)});
    } else {
      lint(places);
    }
    return finish(places.text);
  }

 private:
  using Member = base::JsonPlaces::Member;
  static constexpr std::size_t kNoElement = static_cast<std::size_t>(-1);

  /// Where a finding applies.
  struct Place {
    std::optional<std::size_t> at = std::nullopt;
    std::string_view key = {};
    std::size_t element = kNoElement;
  };

  Place placeOf(const Member& member) const { return {.at = member.valueAt, .key = member.key}; }
  Place placeOf(const Member& member, std::size_t element) const {
    return {.at = places_->elements[member.firstElement + element], .key = member.key, .element = element};
  }

  [[nodiscard]] bool isFull(LintRuleID id) const {
    return counts_[static_cast<std::size_t>(id)] >= LintReport::kMaximumFindingsPerRule;
  }

  void add(LintRuleID id, const Place& place, std::initializer_list<base::Value> arguments = {}) {
    if (isFull(id)) {
      ++report_.omittedFindings;
      return;
    }
    ++counts_[static_cast<std::size_t>(id)];
    const LintRule& rule = ruleOf(id);
    auto state = std::make_shared<LintFinding::State>();
    state->rule = &rule;
    state->hasPlace = place.at.has_value();
    state->at = place.at.value_or(0);
    state->key = base::prefixOfCharacters(place.key, LintReport::kMaximumKeyBytes);
    if (!place.key.empty() || place.element != kNoElement) {
      state->pointer = "/";
      for (const char byte : state->key) {
        state->pointer += byte == '~' ? "~0" : byte == '/' ? "~1" : std::string(1, byte);
      }
      if (place.element != kNoElement) state->pointer += "/" + std::to_string(place.element);
    }
    state->sentence = base::stringWithFormat(rule.sentence, arguments.begin(), arguments.size());
    state->advice = base::stringWithFormat(rule.advice, arguments.begin(), arguments.size());
    findings_.push_back(std::move(state));
  }

  /// Sorts the findings by place and counts lines and columns.
  LintReport finish(std::string_view text) {
    std::stable_sort(findings_.begin(), findings_.end(), [](const auto& a, const auto& b) {
      return std::pair(!a->hasPlace, a->at) < std::pair(!b->hasPlace, b->at);
    });
    std::size_t at = 0, line = 1, column = 1;
    for (const auto& finding : findings_) {
      if (!finding->hasPlace) break;
      for (; at < std::min(finding->at, text.size()); ++at) {
        const bool endsLine = text[at] == '\n';
        line += endsLine ? 1 : 0;
        column = endsLine ? 1 : column + (base::continuesCharacter(text[at]) ? 0 : 1);
      }
      finding->line = line;
      finding->column = column;
    }
    for (auto& finding : findings_) report_.findings.push_back(LintFinding(std::move(finding)));
    return LintReport(std::make_shared<const LintReport::State>(std::move(report_)));
  }

  void lint(const base::JsonPlaces& places) {
    places_ = &places;
    const base::Dictionary& reply = *places.root.dictionary();
    const ReplyMerge merge(reply);
    const TWConfigFields fields = fieldsAfter(merge, defaultFields());
    const auto compiled = CompiledConfig::compile(fields);
    report_.archiveBytes =
        base::archivedDataWithRecord(ConfigArchive::kRecordClass, [&](base::KeyedEncoder& encoder) {
          encodeFields(fields, encoder);
        }).size();
    report_.compiledBytes = compiled->blackListedEvents->memory() + compiled->instantFlushEvents->memory() +
                            compiled->whitelistedEvents->memory() + compiled->restrictedExpressions->memory();

    lintKeys(merge);
    for (const std::uint8_t row : kMergeOrder) {
      const ConfigField& field = kConfigFields[row];
      const Member* const member = members_[row];
      const base::Value value = validObjectForKey(reply, field.key);
      if (member == nullptr || value.isNil()) continue;
      const bool fits = lintValue(field, *member, value);
      if (fits && field.property == TWConfigPropertyRestrictedUniqueIDRegex && value.array() != nullptr) {
        // A list after the key that stops the merge is not in the record.
        const bool isMerged = (merge.change.properties & propertyBit(field.property)) != 0;
        lintExpressions(*member, value,
                        isMerged ? *compiled->restrictedExpressions
                                 : *std::make_unique<const RestrictedExpressions>(value));
      }
    }
    lintToken(*compiled);
  }

  void lintKeys(const ReplyMerge& merge) {
    base::Dictionary seen;
    for (const Member& member : places_->members) {
      const Place place{.at = member.keyAt, .key = member.key};
      if (!seen.addObject(std::string(member.key), true)) {
        add(LintRuleID::duplicateKey, place);
        continue;
      }
      const ConfigField* const field = fieldOfKey(member.key);
      if (field != nullptr) members_[rowOf(*field)] = &member;
      if (field != nullptr && field->mergePlace != kNoPlace) continue;
      if (field != nullptr) {
        add(LintRuleID::deviceKey, place);
      } else if (const std::string_view nearest =
                     isFull(LintRuleID::misspelledKey) ? "" : nearestKey(member.key);
                 !nearest.empty()) {
        add(LintRuleID::misspelledKey, place, {nearest});
      } else {
        add(LintRuleID::unknownKey, place);
      }
    }
    std::string absent;
    for (const std::uint8_t row : kMergeOrder) {
      const std::string_view key = kConfigFields[row].key;
      if (merge.stoppedAt == &kConfigFields[row]) break;  // the later ones keep their values
      if (validObjectForKey(*places_->root.dictionary(), key).isNil()) appendToList(absent, key);
    }
    if (!absent.empty()) add(LintRuleID::absentKeys, {}, {absent});
  }

  /// Returns false for a value that is not stored.
  bool lintValue(const ConfigField& field, const Member& member, const base::Value& value) {
    ConfigChange change;
    try {
      change.write(field.property, value);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (...) {
      add(LintRuleID::mergeStops, placeOf(member), {kindOf(value), keysMergedAfter(field)});
      return false;
    }
    if (propertiesOutOfBounds(change.fields, change.properties) != 0) {
      const PropertyBounds bounds = boundsOf(field.property);
      add(LintRuleID::valueTooLarge, placeOf(member), {number(bounds.elements), number(bounds.bytes >> 10)});
      return false;
    }
    if (const auto* const stored = std::get_if<std::uint64_t TWConfigFields::*>(&field.member)) {
      lintNumber(field, placeOf(member), value, static_cast<std::int64_t>(change.fields.**stored));
    } else if (field.group == ConfigGroup::status) {
      lintStatus(field, placeOf(member), value, change.fields);
    } else if (field.group == ConfigGroup::list) {
      lintList(field, member, value);
    } else if (!value.isString()) {
      add(LintRuleID::tokenNotText, placeOf(member), {kindOf(value)});
    }
    return true;
  }

  void lintStatus(const ConfigField& field, const Place& place, const base::Value& value,
                  const TWConfigFields& changed) {
    if (!value.isString()) {
      TWConfigFields fields = defaultFields();
      copyFields(changed, fields, propertyBit(field.property));
      const GateWord gates = compileGates(fields);
      std::string answers;
      for (const GateRule& rule : kGateRules) {
        if ((gates & raisesBit(rule.gate)) == 0) continue;
        // If the check of the account raises, the gate continues with the account's fallback.
        const bool isOwn = rule.status == std::get<base::Value TWConfigFields::*>(field.member);
        if (isOwn) appendToList(answers, std::string(rule.selector) + (rule.fallback ? " true" : " false"));
        if (!isOwn && answers.find("others") == std::string::npos)
          appendToList(answers, "the others as if the account were active");
      }
      add(LintRuleID::statusNotText, place, {kindOf(value), answers});
    } else if (*value.string() != CONFIG_STATUS_BLOCKED && *value.string() != CONFIG_STATUS_ALLOWED) {
      add(LintRuleID::statusUnknown, place, {excerpt(*value.string())});
    }
  }

  /// `stored` is the number in the record, signed as queries return it.
  void lintNumber(const ConfigField& field, const Place& place, const base::Value& value,
                  std::int64_t stored) {
    if (value.kind() == base::ValueKind::boolean) {
      add(LintRuleID::numberFromBoolean, place, {stored});
      return;
    }
    if (value.kind() == base::ValueKind::unsignedInteger ||
        (value.kind() == base::ValueKind::real && std::abs(value.doubleValue()) >= 0x1p63)) {
      add(LintRuleID::numberTooLarge, place, {stored});
      return;
    }
    if (value.isString() && !lintNumericText(place, *value.string(), stored)) return;
    if (value.kind() == base::ValueKind::real && value.doubleValue() != std::trunc(value.doubleValue()))
      add(LintRuleID::numberFractional, place, {stored});
    if (stored < 0) add(LintRuleID::numberNegative, place, {stored});
    if (stored == 0 && field.group == ConfigGroup::duration)
      add(LintRuleID::durationZero, place, {std::get<std::int64_t>(field.defaultValue)});
    if (stored == 0 && field.group != ConfigGroup::duration) add(LintRuleID::countZero, place);
  }

  /// Returns false if there are no further findings about the number.
  bool lintNumericText(const Place& place, std::string_view text, std::int64_t stored) {
    std::string_view digits = base::detail::trimmed(text);
    const bool isNegative = digits.starts_with('-');
    if (isNegative || digits.starts_with('+')) digits.remove_prefix(1);
    if (digits.empty() || !base::detail::isAsciiDigit(digits.front())) {
      add(LintRuleID::numberNotNumeric, place);
      return false;
    }
    if (!std::all_of(digits.begin(), digits.end(), base::detail::isAsciiDigit)) {
      add(LintRuleID::numberFromPartOfText, place, {stored});
      return false;
    }
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
    const std::string canonical = (isNegative && digits != "0" ? "-" : "") + std::string(digits);
    if (canonical != std::to_string(stored)) {
      add(LintRuleID::numberTooLarge, place, {stored});
      return false;
    }
    add(LintRuleID::numberAsText, place, {stored});
    return true;
  }

  void lintList(const ConfigField& field, const Member& member, const base::Value& value) {
    const base::Array* const list = value.array();
    if (list == nullptr) {
      add(LintRuleID::listNotArray, placeOf(member), {kindOf(value)});
      return;
    }
    const auto* const events = std::find(kEventLists.begin(), kEventLists.end(), field.property);
    const bool isEventList = events != kEventLists.end();
    const bool isQueried = isEventList || field.property == TWConfigPropertyRestrictedUniqueIDRegex;
    base::Dictionary seen;
    std::size_t index = 0;
    for (const base::Value& entry : *list) {
      const std::string* const text = entry.string();
      if (text == nullptr && isQueried) {
        add(LintRuleID::entryNotText, placeOf(member, index), {kindOf(entry)});
        break;
      }
      if (text != nullptr) {
        if (isEventList && text->empty()) add(LintRuleID::eventEmpty, placeOf(member, index));
        if (!seen.addObject(*text, number(index))) {
          add(LintRuleID::entryTwice, placeOf(member, index), {seen.objectForKey(*text)});
        } else if (isEventList) {
          lintOtherLists(static_cast<std::size_t>(events - kEventLists.begin()), *text,
                         placeOf(member, index));
        }
      }
      ++index;
    }
    if (isEventList) events_[static_cast<std::size_t>(events - kEventLists.begin())] = std::move(seen);
  }

  /// Looks an event up in the lists merged before.
  void lintOtherLists(std::size_t list, const std::string& name, const Place& place) {
    static_assert(kEventLists.front() == TWConfigPropertyBlackListedEvents);
    if (list > 0 && events_[0].find(name) != nullptr) {
      add(LintRuleID::eventBlocked, place);
      return;
    }
    for (std::size_t other = 1; other < list; ++other) {
      if (events_[other].find(name) != nullptr)
        add(LintRuleID::eventInTwoLists, place, {fieldOf(kEventLists[other])->key});
    }
  }

  void lintExpressions(const Member& member, const base::Value& value,
                       const RestrictedExpressions& expressions) {
    const base::Array& list = *value.array();
    for (const std::uint32_t index : expressions.tooCostly()) {
      const bool isTooCostly = base::RegularExpression::compileCost(*list.begin()[index].string()).isTooHigh;
      add(isTooCostly ? LintRuleID::expressionTooCostly : LintRuleID::expressionBeyondLimit,
          placeOf(member, index));
    }
    ExpressionTrial trial(RestrictedExpressions::kStepsOfQuestion /
                          static_cast<std::int32_t>(std::max<std::size_t>(expressions.compiledCount(), 1)));
    bool raises = false, isUntried = false;
    expressions.visitCompiled([&](std::size_t index, const base::RegularExpression& expression) {
      if (!expression.isValid() && !expression.isTooCostly()) {
        add(LintRuleID::expressionInvalid, placeOf(member, index), {expression.errorName()});
        if (!raises && index + 1 < list.count())
          add(LintRuleID::expressionUnreachable, placeOf(member, index + 1), {number(index)});
        raises = true;
        return;
      }
      if (isUntried) return;
      using Finding = ExpressionTrial::Finding;
      const Finding finding = trial(expression);
      isUntried = finding == Finding::untried;
      if (isUntried) add(LintRuleID::expressionsUntried, placeOf(member, index));
      if (finding == Finding::matchesNothing)
        add(LintRuleID::expressionMatchesNothing, placeOf(member, index));
      if (finding == Finding::matchesEverything)
        add(LintRuleID::expressionMatchesEverything, placeOf(member, index));
      if (finding == Finding::slow)
        add(LintRuleID::expressionSlow, placeOf(member, index), {excerpt(trial.slowText())});
    });
  }

  void lintToken(const CompiledConfig& compiled) {
    if ((compiled.gates & trueBit(Gate::logentriesEnabled)) == 0) return;
    const base::Value& token = compiled.fields.logEntriesToken;
    if (token.isString() && !token.string()->empty()) return;
    for (const TWConfigProperty property :
         {TWConfigPropertyLogentriesToken, TWConfigPropertyLogentriesStatus}) {
      const Member* const member = members_[rowOf(*fieldOf(property))];
      if (member == nullptr) continue;
      if (token.isString()) add(LintRuleID::tokenMissing, placeOf(*member));  // else its class was reported
      return;
    }
  }

  const std::string_view bytes_;
  const base::JsonPlaces* places_ = nullptr;
  std::array<const Member*, kConfigFields.size()> members_{};  ///< the first with each key
  std::array<base::Dictionary, kEventLists.size()> events_;    ///< the names of each list
  std::array<std::size_t, kLintRules.size()> counts_{};
  std::vector<std::shared_ptr<LintFinding::State>> findings_;
  LintReport::State report_;
};

LintReport lintConfiguration(std::string_view reply) { return Linter(reply).run(); }

}  // namespace tidewell
