// SPDX-License-Identifier: Apache-2.0
// `tidewell inspect` and `tidewell explain`.

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ApplicationFiles.h"
#include "Commands.h"
#include "Output.h"
#include "tidewell/core/TWConfigManager/Explanation.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"
#include "tidewell/core/TWConfigManager/internal/ConfigMerge.h"
#include "tidewell/core/TWConfigManager/internal/SyncFile.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWUtils/internal/IdentifierKeys.h"
#include "tidewell/core/internal/AppGroup.h"

namespace tidewell::tool {
namespace {

using base::Dictionary;
using base::Value;

std::string originText(std::string_view origin, std::string_view time) {
  std::string text(origin);
  std::replace(text.begin(), text.end(), '-', ' ');
  return time.empty() ? text : text + ", " + std::string(time);
}

std::string originOf(const Dictionary& entry) {
  const Value origin = entry.objectForKey("origin"), time = entry.objectForKey("originTime");
  return originText(origin.isString() ? *origin.string() : "unknown", time.isString() ? *time.string() : "");
}

std::string answerText(Explanation::Answer answer) {
  switch (answer) {
    case Explanation::Answer::no:
      return styled("no", Style::bad);
    case Explanation::Answer::yes:
      return styled("yes", Style::good);
    case Explanation::Answer::raises:
      break;
  }
  return styled("raises", Style::bad);
}

std::string stepText(const ExplanationStep& step) {
  std::string text = step.key().empty() ? "the argument" : visible(step.key());
  if (step.entry()) text += fmt::format("[{}]", *step.entry());
  const Value outcome = step.dictionary().objectForKey("outcome");
  text += " is " + shownValue(step.value(), 120);
  if (!step.key().empty()) text += " (" + originOf(step.dictionary()) + ")";
  if (step.key().empty() && step.outcome() == StepOutcome::passes) return text;
  return text + ": " + (outcome.isString() ? *outcome.string() : "");
}

// ---- explain

struct ExplainVariables {
  ApplicationChoice application;
  std::string gate;
  std::string event;
  std::string uniqueID;
  bool json = false;
};

void printExplanation(const Explanation& explanation) {
  printLine(styled(explanation.question(), Style::heading) + " answers " + answerText(explanation.answer()));
  for (const ExplanationStep& step : explanation.steps()) {
    printWrapped(step.decides() ? "  > " : "    ", stepText(step));
  }
  if (explanation.omittedSteps() != 0) {
    printLine(fmt::format("    … {} more steps that decide nothing", explanation.omittedSteps()));
  }
}

std::vector<std::string> questionsOf(const ExplainVariables& variables) {
  if (!variables.event.empty()) {
    return {"isEventBlackListed", "isEventInstantFlushEvent", "isEventWhitelistedEvent"};
  }
  if (!variables.uniqueID.empty()) return {"isUniqueIDRestricted"};
  if (variables.gate.empty()) throw Failure("name a gate, or use --event or --id");
  return {variables.gate};
}

int explain(const ExplainVariables& variables) {
  const ApplicationFiles files(variables.application);
  const auto record = files.record();
  const auto origins = files.bytes(kConfigOriginsFileName);
  const std::string argument = variables.event.empty() ? variables.uniqueID : variables.event;
  std::vector<Value> all;
  for (const std::string& question : questionsOf(variables)) {
    const auto explanation = explanationOf(question, argument, *record, origins);
    if (!explanation) {
      std::string known;
      for (const std::string_view each : explainedQuestions()) known.append(" ").append(each);
      throw Failure(visible(question) + " is no gate; the gates are" + known);
    }
    if (variables.json) {
      all.emplace_back(explanation->dictionary());
    } else {
      printExplanation(*explanation);
    }
  }
  if (variables.json) {
    printJson(Dictionary{{"application", files.name()}, {"explanations", base::Array(std::move(all))}});
  }
  return kSuccess;
}

// ---- inspect

struct InspectVariables {
  ApplicationChoice application;
  bool json = false;
  bool secrets = false;
};

/// The name of a value for people and for JSON, and where it is kept.
struct NamedKey {
  std::string_view label;
  std::string_view name;
  std::string_view key;
  bool isSecret = false;
};
constexpr NamedKey kUserDefaultsRows[] = {
    {"App ID", "appID", kAppIdKey},
    {"unique id", "uniqueID", kUserDefaultsKeySDKUniqueId},
    {"id set by the host", "serviceUniqueID", kUniqueIdKey},
    {"push token", "pushToken", kDeviceTokenKey, true},
    {"app group", "appGroupID", kAppGroupIDKey},
};

Dictionary identityIn(const Dictionary& defaults, bool showsSecrets) {
  Dictionary identity;
  for (const NamedKey& row : kUserDefaultsRows) {
    const Value value = defaults.objectForKey(row.key);
    if (!value.isString()) continue;
    identity.setObject(row.isSecret && !showsSecrets ? shortened(*value.string()) : *value.string(),
                       row.name);
  }
  return identity;
}

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// The texts, numbers and dates of a dictionary in the file of syncs, for JSON.
Dictionary scalarsIn(const Value& value) {
  Dictionary result;
  if (!value.dictionary()) return result;
  for (const auto& [key, entry] : *value.dictionary()) {
    if (const base::Date* const date = entry.date()) {
      result.setObject(date->description(), key);
    } else if (entry.isString() || entry.isNumber()) {
      result.setObject(entry, key);
    }
  }
  return result;
}

/// What the files say about syncs.
struct Syncs {
  Dictionary last;                  ///< the last attempt; empty if none is known
  std::vector<Dictionary> history;  ///< the last results, the newest first
  std::optional<base::Date> nextDue;
};

Syncs syncsOf(const ApplicationFiles& files, const Dictionary& defaults) {
  const Dictionary file = ApplicationFiles::propertyList(files.fileOfSDK(sync_file::kFileName));
  Syncs syncs{scalarsIn(file.objectForKey("last")), {}, {}};
  if (const Value history = file.objectForKey("history"); history.array()) {
    for (const Value& past : *history.array()) syncs.history.push_back(scalarsIn(past));
    std::reverse(syncs.history.begin(), syncs.history.end());
  }
  const Value updated = defaults.objectForKey(kConfigLastUpdatedKey);
  if (const base::Date* const date = updated.date()) {
    const base::Date due{date->secondsSince1970 + kConfigSyncInterval};
    if (due.secondsSince1970 > secondsSince1970()) syncs.nextDue = due;
  }
  return syncs;
}

std::string sizeText(std::uint64_t bytes) {
  return bytes < 10'000 ? fmt::format("{} B", bytes) : fmt::format("{} KiB", (bytes + 512) / 1024);
}

std::string ageText(base::Date modified) {
  const double seconds = std::max(0.0, secondsSince1970() - modified.secondsSince1970);
  if (seconds < 120) return fmt::format("{:.0f} s", seconds);
  if (seconds < 7200) return fmt::format("{:.0f} min", seconds / 60);
  if (seconds < 172'800) return fmt::format("{:.0f} h", seconds / 3600);
  return fmt::format("{:.0f} d", seconds / 86'400);
}

void printHeading(std::string_view text) {
  printLine();
  printLine(styled(text, Style::heading));
}

void printRow(std::string_view label, std::string_view text) {
  printWrapped(fmt::format("  {:<20}", label), text);
}

/// The fields of a record by their keys in the configuration.
Dictionary valuesOf(const TWConfig& record) {
  const auto fields = record.fields();
  Dictionary values;
  for (const ConfigField& row : kConfigFields) {
    Value value = valueIn(*fields, row);
    if (!value.isNil()) values.setObject(std::move(value), row.key);
  }
  return values;
}

constexpr NamedKey kOptOuts[] = {{"data tracking", "dataTracking", CONFIG_DATA_TRACKING_OPTED_OUT},
                                 {"push", "push", CONFIG_USER_PUSH_OPTED_OUT},
                                 {"in-app messages", "inApp", CONFIG_USER_INAPP_OPTED_OUT}};

struct Answers {
  std::vector<Explanation> gates;
  Dictionary configuration;  ///< by key: "value", "origin", "originTime"
  Value region;
  Dictionary optOuts;  ///< by name: whether it is set
};

Answers answersOf(const ApplicationFiles& files, bool showsSecrets) {
  const auto record = files.record();
  const auto origins = files.bytes(kConfigOriginsFileName);
  Answers answers;
  for (const std::string_view question : explainedQuestions()) {
    if (question.starts_with("isEvent") || question == "isUniqueIDRestricted") continue;
    if (auto explanation = explanationOf(question, std::nullopt, *record, origins)) {
      answers.gates.push_back(std::move(*explanation));
    }
  }
  const Dictionary values = valuesOf(*record);
  answers.region = values.objectForKey(CONFIG_DATA_REDIRECTION_REGION);
  for (const NamedKey& row : kOptOuts) {
    answers.optOuts.setObject(values.objectForKey(row.key), row.name);
  }
  for (const auto& [key, entry] : originsOf(*record, origins)) {
    Dictionary row = entry.dictionary() ? *entry.dictionary() : Dictionary();
    Value value = values.objectForKey(key);
    if (key == CONFIG_LOGENTRIES_TOKEN && value.isString() && !showsSecrets)
      value = shortened(*value.string());
    row.setObject(value.isNil() ? Value::null() : std::move(value), "value");
    answers.configuration.setObject(std::move(row), key);
  }
  return answers;
}

void printAnswers(const Answers& answers) {
  printHeading("Set on the device");
  printRow("region", shownValue(answers.region));
  std::string optOuts;
  for (const NamedKey& row : kOptOuts) {
    if (!answers.optOuts.objectForKey(row.name).boolValue()) continue;
    optOuts.append(optOuts.empty() ? "" : ", ").append(row.label);
  }
  printRow("opt-outs", optOuts.empty() ? "none" : optOuts);
  printHeading("Gates");
  for (const Explanation& gate : answers.gates) {
    std::string reason;
    for (const ExplanationStep& step : gate.steps()) {
      if (step.decides()) reason = "  " + visible(step.key()) + " is " + shownValue(step.value());
    }
    const std::string padding(32 - std::min<std::size_t>(32, gate.question().size()), ' ');
    printLine("  " + std::string(gate.question()) + padding + answerText(gate.answer()) +
              styled(reason, Style::faint));
  }
  printHeading("Configuration");
  for (const auto& [key, entry] : answers.configuration) {
    const Dictionary& row = *entry.dictionary();
    const Value value = row.objectForKey("value");
    printLine(fmt::format("  {:<20}{:<20}", visible(key), value.isNull() ? "nil" : shownValue(value, 16)) +
              styled(originOf(row), Style::faint));
  }
}

std::string relativeTo(const ApplicationFiles& files, const std::string& path) {
  return path.starts_with(files.folder() + "/") ? path.substr(files.folder().size() + 1) : path;
}

void printFiles(const ApplicationFiles& files) {
  printHeading("Files");
  for (const FileFacts& file : files.files()) {
    std::string line = fmt::format("  {:>9}  {:>7}  {:04o}  {}", sizeText(file.bytes), ageText(file.modified),
                                   file.mode, visible(relativeTo(files, file.path)));
    const bool isSetAside = line.ends_with(".corrupt") || line.ends_with(".unreadable");
    printLine(isSetAside ? styled(line, Style::bad) : line);
  }
}

std::string textIn(const Dictionary& entry, std::string_view key) {
  const Value value = entry.objectForKey(key);
  if (value.isNil()) return {};
  return visible(value.isString() ? *value.string() : value.description());
}

void printSyncs(const Syncs& syncs) {
  constexpr std::size_t kMostShown = 5;
  printHeading("Syncs");
  const auto orNone = [](std::string text) { return text.empty() ? std::string("none is known") : text; };
  printRow("next due", syncs.nextDue ? syncs.nextDue->description() : "at the next occasion");
  printRow("last attempt", orNone(textIn(syncs.last, "attempt")));
  printRow("last success", orNone(textIn(syncs.last, "success")));
  for (std::size_t i = 0; i < std::min(kMostShown, syncs.history.size()); ++i) {
    const Dictionary& past = syncs.history[i];
    std::string text = textIn(past, "outcome");
    if (const std::string status = textIn(past, "httpStatus"); !status.empty())
      text += " (HTTP " + status + ")";
    if (const std::string detail = textIn(past, "detail"); !detail.empty()) text += ": " + detail;
    printWrapped("  " + textIn(past, "time") + "  ", text);
  }
  if (syncs.history.size() > kMostShown) {
    printLine(fmt::format("  … and {} before, shown by --json", syncs.history.size() - kMostShown));
  }
}

void printInspection(const ApplicationFiles& files, const InspectVariables& variables) {
  printLine(styled(visible(files.name()), Style::heading));
  printLine("  " + visible(files.folder()));
  printHeading("Identity");
  const Dictionary defaults = ApplicationFiles::propertyList(files.userDefaults());
  const Dictionary identity = identityIn(defaults, variables.secrets);
  for (const NamedKey& row : kUserDefaultsRows) {
    const Value value = identity.objectForKey(row.name);
    printRow(row.label, value.isString() ? visible(*value.string()) : "none");
  }
  printSyncs(syncsOf(files, defaults));
  try {
    printAnswers(answersOf(files, variables.secrets));
  } catch (const Failure& failure) {
    printHeading("Configuration");
    printWrapped("  ", failure.what());
  }
  printFiles(files);
}

Dictionary inspectionOf(const ApplicationFiles& files, const InspectVariables& variables) {
  const Answers answers = answersOf(files, variables.secrets);
  const Dictionary defaults = ApplicationFiles::propertyList(files.userDefaults());
  const Syncs syncs = syncsOf(files, defaults);
  std::vector<Value> gates, entries, history;
  for (const Dictionary& past : syncs.history) history.emplace_back(past);
  for (const Explanation& gate : answers.gates) gates.emplace_back(gate.dictionary());
  for (const FileFacts& file : files.files()) {
    entries.emplace_back(Dictionary{{"path", relativeTo(files, file.path)},
                                    {"bytes", file.bytes},
                                    {"modified", file.modified.description()},
                                    {"mode", fmt::format("{:04o}", file.mode)}});
  }
  return {{"application", files.name()},
          {"folder", files.folder()},
          {"identity", identityIn(defaults, variables.secrets)},
          {"lastSync", syncs.last},
          {"syncHistory", base::Array(std::move(history))},
          {"nextSyncDue", syncs.nextDue ? Value(syncs.nextDue->description()) : Value::null()},
          {"region", answers.region},
          {"optOuts", answers.optOuts},
          {"gates", base::Array(std::move(gates))},
          {"configuration", answers.configuration},
          {"files", base::Array(std::move(entries))}};
}

int inspect(const InspectVariables& variables) {
  if (variables.application.bundleIdentifier.empty() && variables.application.container.empty()) {
    std::vector<Value> names;
    for (std::string& name : ApplicationFiles::names()) names.emplace_back(std::move(name));
    if (variables.json) {
      printJson(Dictionary{{"applications", base::Array(std::move(names))}});
    } else if (names.empty()) {
      printLine("No application has a container in " + visible(ApplicationFiles::dataHome()) + ".");
    } else {
      for (const Value& name : names) printLine(visible(*name.string()));
    }
    return kSuccess;
  }
  const ApplicationFiles files(variables.application);
  if (variables.json) {
    printJson(inspectionOf(files, variables));
  } else {
    printInspection(files, variables);
  }
  return kSuccess;
}

}  // namespace

void addInspect(tools::Command program) {
  addCommand<InspectVariables>(program, "inspect",
                               "Prints what the SDK keeps for an application: identity, last sync, gates, "
                               "configuration, files. Without --app or --container, lists the applications.",
                               &inspect, [](tools::Command to, InspectVariables& variables) {
                                 addChoice(to, variables.application);
                                 to.flag("--json", variables.json, "print one JSON object");
                                 to.flag("--secrets", variables.secrets, "print tokens in full");
                               });
  addCommand<ExplainVariables>(
      program, "explain", "Explains the answer of a gate, of the lists for an event, or about a unique ID.",
      &explain, [](tools::Command to, ExplainVariables& variables) {
        const tools::Option gate = to.option("GATE", variables.gate, "such as isAccountActive");
        const tools::Option event = to.option("--event", variables.event, "explain the lists for this event")
                                        .value("NAME")
                                        .excludes(gate);
        to.option("--id", variables.uniqueID, "explain whether this unique ID is restricted")
            .value("ID")
            .excludes(gate)
            .excludes(event);
        addChoice(to, variables.application);
        to.flag("--json", variables.json, "print one JSON object");
      });
}

}  // namespace tidewell::tool
