// SPDX-License-Identifier: Apache-2.0
// The changes that a reply would make to a record.

#include <utility>

#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWConfigManager/internal/GateSteps.h"
#include "tidewell/core/TWConfigManager/internal/ReplyMerge.h"
#include "tidewell/core/TWConfigManager/internal/ValueForJson.h"

namespace tidewell {

struct ConfigurationChange::State {
  ConfigurationChangeKind kind;
  std::string_view name;
  base::Value before;
  base::Value after;
};

ConfigurationChange::ConfigurationChange(std::shared_ptr<const State> state) : state_(std::move(state)) {}
ConfigurationChangeKind ConfigurationChange::kind() const noexcept { return state_->kind; }
std::string_view ConfigurationChange::name() const noexcept { return state_->name; }
base::Value ConfigurationChange::before() const { return state_->before; }
base::Value ConfigurationChange::after() const { return state_->after; }

base::Dictionary ConfigurationChange::dictionary() const {
  static constexpr std::string_view kKinds[] = {"gate", "value", "entryAdded", "entryRemoved"};
  return {{"kind", kKinds[static_cast<std::size_t>(kind())]},
          {"name", name()},
          {"before", valueForJson(before())},
          {"after", valueForJson(after())}};
}

/// Collects the differences between two records.
class ConfigurationComparison {
 public:
  void compare(const TWConfigFields& before, const TWConfigFields& after) {
    for (const GateRule& rule : kGateRules) {
      const bool was = GateSteps(rule.gate, before).answer, becomes = GateSteps(rule.gate, after).answer;
      if (was != becomes) add(ConfigurationChangeKind::gate, rule.selector, was, becomes);
    }
    for (const std::uint8_t row : kMergeOrder) {
      const ConfigField& field = kConfigFields[row];
      compare(field, valueIn(before, field), valueIn(after, field));
    }
  }

  std::vector<ConfigurationChange> changes;

 private:
  using Kind = ConfigurationChangeKind;

  void add(Kind kind, std::string_view name, base::Value before, base::Value after) {
    changes.push_back(ConfigurationChange(std::make_shared<const ConfigurationChange::State>(
        ConfigurationChange::State{kind, name, std::move(before), std::move(after)})));
  }

  void compare(const ConfigField& field, const base::Value& before, const base::Value& after) {
    if (before == after) return;
    if (!isListOfTexts(before) || !isListOfTexts(after)) {
      add(Kind::value, field.key, before, after);
      return;
    }
    const std::size_t known = changes.size();
    const base::Dictionary were = textsOf(before), become = textsOf(after);
    for (const auto& [text, present] : were) {
      if (become.find(text) == nullptr) add(Kind::entryRemoved, field.key, text, {});
    }
    for (const auto& [text, present] : become) {
      if (were.find(text) == nullptr) add(Kind::entryAdded, field.key, {}, text);
    }
    // The same entries in another order, or another number of times.
    if (changes.size() == known) add(Kind::value, field.key, before, after);
  }

  static bool isListOfTexts(const base::Value& value) {
    const base::Array* const list = value.array();
    if (list == nullptr) return false;
    for (const base::Value& entry : *list) {
      if (!entry.isString()) return false;
    }
    return true;
  }
  static base::Dictionary textsOf(const base::Value& list) {
    base::Dictionary texts;
    for (const base::Value& entry : *list.array()) texts.addObject(*entry.string(), true);
    return texts;
  }
};

std::vector<ConfigurationChange> configurationChanges(std::string_view reply, const TWConfig& record) {
  const base::Value decoded =
      reply.size() <= kMaximumConfigurationBytes ? base::JSONObjectWithData(reply) : base::Value();
  if (reply.size() > kMaximumConfigurationBytes || decoded.array() != nullptr) return {};  // cannot be merged
  const ReplyMerge merge(decoded.isNil() ? base::Dictionary() : *decoded.dictionary());
  const std::shared_ptr<const TWConfigFields> before = record.fields();
  TWConfigFields after = *before;
  copyFields(merge.change.fields, after, merge.change.properties);
  ConfigurationComparison comparison;
  comparison.compare(*before, after);
  return std::move(comparison.changes);
}

}  // namespace tidewell
