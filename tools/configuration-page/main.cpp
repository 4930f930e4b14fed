// SPDX-License-Identifier: Apache-2.0
// Prints docs/configuration.md. Keys, defaults, limits and the order of the checks come from the rows of
// kConfigFields and kGateRules; the effect of a wrong type is determined by merging one. The sentences about
// the rows are here; a row without one does not compile.
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWConfigManager/internal/ConfigTables.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/testing/TestingPlatform.h"

namespace {

using namespace tidewell;
using Restriction = TWConfigManager::Restriction;

constexpr std::string_view kIntroduction = R"(# Configuration reference

The backend answers the configuration request with one JSON object. This page lists its keys, what each one decides, the effect of
a value of the wrong type, and how each gate decides.

```json
{"a_s": "allowed", "b_e": ["spam"], "e_b_c": 50, "p_f_t": 120}
```

A key that is absent or null takes its default, whatever an earlier reply said. Unknown keys are ignored. The core acts on `a_s`, `le_s`,
`le_tkn`, and on the values set on the device; everything else is for the application and its modules to ask. Before the first reply, every
key has its default.
)";

constexpr std::string_view kTypes = R"(
## A value of the wrong type

Types are not checked when a reply is merged; what happens depends on the key. "Logs" means an EXCEPTION line with the line number of
[guards.md](guards.md#the-configuration), each time the question is asked.

)";

constexpr std::string_view kStops = R"(
*Stops the merge*: the keys before it are in force, the keys after it keep their values, nothing is written to the archive, and line 118 is
logged. The next launch starts from the archive, so it has none of the reply. The order of the merge is )";

constexpr std::string_view kLimits = R"(

*Kept* means that the value is stored as it is, also in the archive. A kept `a_s` that is not text makes every gate log, and the gates other
than `isAccountActive` go on with their own checks. With a kept `le_tkn` that is not text, no log line is sent, and line 209 of TWLogger is
logged. *Line 200* is logged by `printCurrentServicesStatus`, after each merge and at each start.

A list entry that is not text matters only once a search reaches it: a question about a name that precedes it is answered, any other logs and
answers false. The same holds for an invalid expression in `b_uid_r`, where `isUniqueIDRestricted` raises and `restrictionOfUniqueID` answers
`invalidExpression`.

A value beyond its limit is not merged: the property keeps the value it had, the other keys are merged, and one line names the key. An array
or object counts as three elements, a key of an object as one.

| key | elements | text |
| --- | --- | --- |
)";

constexpr std::string_view kGates = R"(
## Gates

A gate makes its checks from left to right and answers false at the first that fails; it answers true if all pass. Only the exact text
"blocked" blocks: "Blocked", "no" and any other text pass. A status has *no value* only if an archive lacks the key or the application has
stored nil; a reply cannot cause it.

| gate | 1. account | 2. status | 3. opt-outs | status is not text |
| --- | --- | --- | --- | --- |
)";

constexpr std::string_view kQuestions = R"(
Opt-outs are set on the device. A reply never changes them.

## Event lists and unique IDs

These questions do not look at the account or at opt-outs.

- `isEventBlackListed`, `isEventInstantFlushEvent` and `isEventWhitelistedEvent` answer true if an entry of the list equals the name, byte for
  byte. A missing or empty name is in no list.
- `isUniqueIDRestricted` answers true if an expression matches the whole identifier, and if there is none. An expression that is too costly
  to evaluate counts as no match and is logged.
- The durations (whole seconds) answer their default if the record holds 0; `getEventBatchCount` answers 0 then.

---

Written by `tools/configuration-page` from the tables that the library itself uses. `scripts/check-docs --fix` updates it.
)";

/// The operation that asks for a value, and what the value decides.
struct Meaning {
  std::string_view operation;
  std::string_view sentence;
};

Meaning meaningOf(TWConfigProperty property) {
  switch (property) {  // no default: the compiler names a property without a sentence
    case TWConfigPropertyAccountStatus:
      return {"",
              "The whole account: while blocked, every gate answers false. Downloads go on, since only "
              "a reply can unblock it."};
    case TWConfigPropertyInAppStatus:
      return {"", "In-app messages."};
    case TWConfigPropertyInboxStatus:
      return {"", "The inbox."};
    case TWConfigPropertyGeofenceStatus:
      return {"", "Geofences."};
    case TWConfigPropertyLogentriesStatus:
      return {"", "Whether log lines with a stack trace are sent to the log service."};
    case TWConfigPropertyDeviceTriggerStatus:
      return {"", "Messages that the device triggers on its own."};
    case TWConfigPropertyPeriodicSyncStatus:
      return {"", "Sending collected events at intervals."};
    case TWConfigPropertyInboxDefaultDuration:
      return {"getInboxDefaultExpiry", "How long an inbox message without an expiry of its own is kept."};
    case TWConfigPropertyPeriodicSyncInterval:
      return {"getPeriodicSyncDuration", "The interval at which collected events are sent."};
    case TWConfigPropertyDeviceTriggerSyncInterval:
      return {"getRealTimeTriggerSyncInterval", "The interval between downloads of device triggers."};
    case TWConfigPropertyUserAttrCacheInterval:
      return {"getUserAttributeCachingDuration",
              "How long a user attribute that was sent is not sent again."};
    case TWConfigPropertySessionInactiveDuration:
      return {"getSessionInActiveDuration", "How long a user may be inactive before a session ends."};
    case TWConfigPropertyBlackListedEvents:
      return {"isEventBlackListed", "Events that must not be tracked."};
    case TWConfigPropertyDataTrackingWhitelistedEvents:
      return {"isEventWhitelistedEvent", "Events that may be tracked although the user opted out."};
    case TWConfigPropertyInstantFlushEvents:
      return {"isEventInstantFlushEvent", "Events that are sent at once instead of in a batch."};
    case TWConfigPropertySourceExtraKeys:
      return {"getSourceExtraKeys", "Further parameters of a link that name a source of traffic."};
    case TWConfigPropertyRestrictedUniqueIDRegex:
      return {"isUniqueIDRestricted", "Regular expressions (ICU) for unique IDs that must not be used."};
    case TWConfigPropertyEventsBatchCount:
      return {"getEventBatchCount", "The number of events in a batch."};
    case TWConfigPropertyLogentriesToken:
      return {"getLogEntriesToken", "The token in the path of the log service."};
    case TWConfigPropertyDataRedirectionRegion:
      return {"getDataRedirectionRegion",
              "The data centre that receives all requests: "
              "`redirectDataToRegion`."};
    case TWConfigPropertyDataTrackingOptedOut:
      return {"", "The user refuses data tracking: `setDataTrackingOptedOut`."};
    case TWConfigPropertyUserPushOptedOut:
      return {"", "The user refuses push notifications: `setUserPushNotificationOptedOut`."};
    case TWConfigPropertyUserInAppOptedOut:
      return {"", "The user refuses in-app messages: `setUserInAppNotificationOptedOut`."};
  }
  return {};
}

void print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }
std::string code(std::string_view text) { return "`" + std::string(text) + "`"; }
std::string joined(std::string list, std::string_view next) {
  return list.append(list.empty() ? "" : ", ").append(next);
}
void printRow(const std::vector<std::string>& cells) {
  for (const std::string& cell : cells) print(cell.empty() ? "| " : "| " + cell + " ");
  print("|\n");
}

std::string withCommas(std::size_t number) {
  std::string text = std::to_string(number);
  for (std::size_t end = text.size(); end > 3; end -= 3) text.insert(end - 3, ",");
  return text;
}

std::string typeOf(const ConfigField& field) {
  switch (field.group) {
    case ConfigGroup::status:
      return "\"allowed\" or \"blocked\"";
    case ConfigGroup::duration:
      return "seconds";
    case ConfigGroup::list:
      return "array of texts";
    case ConfigGroup::misc:
      return std::holds_alternative<std::int64_t>(field.defaultValue) ? "number" : "text";
    case ConfigGroup::optOut:
      return "boolean";
  }
  return {};
}

std::string defaultOf(const ConfigField& field) {
  struct Text {
    std::string operator()(std::string_view text) const { return "\"" + std::string(text) + "\""; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(EmptyList) const { return "[]"; }
    std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  };
  return code(std::visit(Text(), field.defaultValue));
}

bool decidesOver(const ConfigField& field, const GateRule& rule) {
  const auto* const status = std::get_if<base::Value TWConfigFields::*>(&field.member);
  const auto* const optOut = std::get_if<bool TWConfigFields::*>(&field.member);
  return (status != nullptr && *status == rule.status) ||
         (optOut != nullptr && (*optOut == rule.optOut || *optOut == rule.secondOptOut));
}

template <class Type>
std::string keyOf(Type TWConfigFields::*member) {
  for (const ConfigField& field : kConfigFields) {
    const auto* const of = std::get_if<Type TWConfigFields::*>(&field.member);
    if (of != nullptr && *of == member) return code(field.key);
  }
  return {};
}

void printKeys(std::string_view heading, bool fromServer) {
  print("\n" + std::string(heading) +
        "\n\n| key | type | default | asked with | decides |\n"
        "| --- | --- | --- | --- | --- |\n");
  for (const ConfigField& field : kConfigFields) {
    if ((field.mergePlace != kNoPlace) != fromServer) continue;
    const auto [operation, sentence] = meaningOf(field.property);
    std::string asked = operation.empty() ? "" : code(operation);
    for (const GateRule& rule : kGateRules) {
      if (decidesOver(field, rule)) asked = joined(std::move(asked), code(rule.selector));
    }
    printRow({code(field.key), typeOf(field), defaultOf(field), asked, std::string(sentence)});
  }
}

/// Asks one manager everything that reads a property.
class Trial {
 public:
  explicit Trial(testing::TestingPlatform& machine) : machine_(machine) {}

  /// What merging `value` for a field does.
  std::string outcome(const ConfigField& field, const base::Value& value) {
    TWConfigManager manager;
    (void)exceptions();
    manager.updateConfigFromResponse(base::Dictionary{{field.key, value}});
    const std::string raised = exceptions();
    const bool mergeRaised = raised.find("updateConfigFromResponse:") != raised.npos;
    const bool statusRaised = raised.find("printCurrentServicesStatus") != raised.npos;
    const auto fields = manager.tdwConfig()->fields();
    if (const auto* const number = std::get_if<std::uint64_t TWConfigFields::*>(&field.member)) {
      if (mergeRaised) return "stops the merge";
      const std::string stored = std::to_string((*fields).**number);
      return "`" + stored + "`" == defaultOf(field) ? "default" : "reads as " + stored;
    }
    const base::Value& stored = (*fields).*std::get<base::Value TWConfigFields::*>(field.member);
    if (mergeRaised || stored != value) return mergeRaised ? "stops the merge" : "not kept";
    return "kept" + answerFor(manager, field) + (statusRaised ? ", line 200" : "");
  }

 private:
  /// The lines about exceptions since the last call.
  std::string exceptions() {
    std::string all;
    for (const std::string& line : machine_.testConsole().takeLines()) {
      if (line.find("exception is") != line.npos) all += line;
    }
    return all;
  }

  /// How the question that reads the field goes wrong; empty if it does not.
  std::string answerFor(const TWConfigManager& manager, const ConfigField& field) {
    using Question = bool (TWConfigManager::*)(const std::optional<std::string_view>&) const;
    static const std::map<TWConfigProperty, Question> lists = {
        {TWConfigPropertyBlackListedEvents, &TWConfigManager::isEventBlackListed},
        {TWConfigPropertyInstantFlushEvents, &TWConfigManager::isEventInstantFlushEvent},
        {TWConfigPropertyDataTrackingWhitelistedEvents, &TWConfigManager::isEventWhitelistedEvent}};
    using Gates = std::array<bool (TWConfigManager::*)() const, kGateCount>;
    static constexpr Gates gates = {
        &TWConfigManager::isAccountActive,         &TWConfigManager::isInAppServiceActive,
        &TWConfigManager::isGeofenceServiceActive, &TWConfigManager::isInboxServiceActive,
        &TWConfigManager::isLogentriesEnabled,     &TWConfigManager::isPeriodicSyncEnabled,
        &TWConfigManager::isDeviceTriggerEnabled,  &TWConfigManager::isDataTrackingEnabled,
        &TWConfigManager::isUserPushEnabled,       &TWConfigManager::isUserInAppEnabled};
    bool answer = false;
    if (field.group == ConfigGroup::status) {
      for (const GateRule& rule : kGateRules) {
        if (decidesOver(field, rule)) answer = (manager.*gates[static_cast<std::size_t>(rule.gate)])();
      }
    } else if (const auto list = lists.find(field.property); list != lists.end()) {
      answer = (manager.*list->second)("name");
    } else if (field.property == TWConfigPropertyRestrictedUniqueIDRegex) {
      const bool isInvalid = manager.restrictionOfUniqueID("name") == Restriction::invalidExpression;
      return isInvalid ? ", the question raises" : "";
    }
    return exceptions().empty() ? ""
                                : ", the question logs and answers " + std::string(answer ? "true" : "false");
  }

  testing::TestingPlatform& machine_;
};

void printWrongTypes(testing::TestingPlatform& machine) {
  const std::vector<std::pair<std::string, base::Value>> values = {
      {"`\"name\"`", "name"},
      {"`\"90 s\"`", "90 s"},
      {"`7.9`", 7.9},
      {"`true`", true},
      {"`[\"name\"]`", base::Array{"name"}},
      {"`{\"name\": 1}`", base::Dictionary{{"name", 1}}}};
  // Keys with the same outcomes share a row; rows are in the order of their first key.
  std::vector<std::pair<std::vector<std::string>, std::string>> rows;
  Trial trial(machine);
  for (const ConfigField& field : kConfigFields) {
    if (field.mergePlace == kNoPlace) continue;
    std::vector<std::string> outcomes;
    for (const auto& [name, value] : values) outcomes.push_back(trial.outcome(field, value));
    auto row = rows.begin();
    while (row != rows.end() && row->first != outcomes) ++row;
    if (row == rows.end()) row = rows.insert(row, {outcomes, ""});
    row->second = joined(std::move(row->second), code(field.key));
  }
  print(kTypes);
  std::vector<std::string> heading = {"key"};
  for (const auto& [name, value] : values) heading.push_back(name);
  printRow(heading);
  printRow(std::vector<std::string>(heading.size(), "---"));
  for (auto& [outcomes, keys] : rows) {
    outcomes.insert(outcomes.begin(), keys);
    printRow(outcomes);
  }
  std::string order;
  for (const std::uint8_t row : kMergeOrder) order = joined(std::move(order), code(kConfigFields[row].key));
  print(kStops);
  print(order + ".");
}

void printLimits() {
  print(kLimits);
  std::map<std::size_t, std::string> keys;  // by the number of elements
  std::map<std::size_t, PropertyBounds> bounds;
  for (const ConfigField& field : kConfigFields) {
    const bool hasLimit = std::holds_alternative<base::Value TWConfigFields::*>(field.member);
    if (!hasLimit || field.mergePlace == kNoPlace) continue;
    const PropertyBounds limit = boundsOf(field.property);
    keys[limit.elements] = joined(keys[limit.elements], code(field.key));
    bounds[limit.elements] = limit;
  }
  for (const auto& [elements, list] : keys) {
    printRow({list, withCommas(elements), std::to_string(bounds[elements].bytes >> 10) + " KiB"});
  }
}

void printGates() {
  print(kGates);
  for (const GateRule& rule : kGateRules) {
    const bool isAccount = rule.gate == Gate::accountActive;
    std::string status;
    if (rule.status != nullptr) {
      status = keyOf(rule.status) + " is not \"blocked\"; no value " +
               (rule.nilStatus == NilStatus::passes ? "passes" : "fails");
    }
    std::string optOuts;
    if (rule.optOut != nullptr) optOuts = keyOf(rule.optOut) + " is false";
    if (rule.secondOptOut != nullptr) optOuts += ", then " + keyOf(rule.secondOptOut) + " is false";
    const std::string fallback = rule.fallback ? "true" : "false";
    printRow({code(rule.selector), isAccount ? "" : "`isAccountActive`", status, optOuts,
              status.empty() ? "" : "logs line " + std::to_string(rule.line) + ", answers " + fallback});
  }
}

}  // namespace

int main() {
  const auto machine = testing::TestingPlatform::install();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  print(kIntroduction);
  printKeys("## Keys of a reply", true);
  printKeys("## Values set on the device", false);
  printWrongTypes(*machine);
  printLimits();
  printGates();
  print(kQuestions);
}
