// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "ConfigModel.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell {

/// Merges a reply into a new record, asks all questions, and compares with what the linter and the comparison
/// of records say. Returns what differs; empty if nothing does. Logging must be on.
inline std::string differenceFromDevices(std::string_view reply, testing::TestingPlatform& platform) {
  const std::vector<LintFinding> findings = lintConfiguration(reply).findings();
  const auto has = [&](std::initializer_list<std::string_view> rules) {
    return std::any_of(findings.begin(), findings.end(), [&](const LintFinding& finding) {
      return std::find(rules.begin(), rules.end(), finding.rule()) != rules.end();
    });
  };
  if (has({"reply-too-large"})) return {};
  const base::Value decoded = base::JSONObjectWithData(reply);
  if (decoded.isNil() != has({"not-json", "not-container"})) return "JSON";

  platform.testFiles().setLibraryPath(std::nullopt);  // a new manager starts with defaults
  TWConfigManager manager;
  const std::vector<ConfigurationChange> changes = configurationChanges(reply, *manager.tdwConfig());
  std::vector<bool> gates;
  for (const ConfigModelGate& gate : configModelGates()) gates.push_back((manager.*gate.ask)());
  const auto logs = [&](int line) {
    const std::string text = "line number - " + std::to_string(line) + " ";
    const std::vector<std::string> lines = platform.testConsole().takeLines();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& each) { return each.find(text) != std::string::npos; });
  };
  logs(0);
  manager.updateConfigFromResponse(decoded.isNil() ? base::Value(base::Dictionary()) : decoded);
  if (logs(118) != has({"merge-stops", "not-object"})) return "whether the merge stops";
  std::size_t index = 0;
  for (const ConfigModelGate& gate : configModelGates()) {
    const bool answer = (manager.*gate.ask)();
    if (gate.line != 0 && logs(gate.line) && !has({"status-not-text"})) return gate.name;
    const bool flips = std::any_of(changes.begin(), changes.end(), [&](const ConfigurationChange& change) {
      return change.name() == gate.name && change.after() == base::Value(answer);
    });
    if (flips != (answer != gates[index++])) return std::string(gate.name) + " flips";
  }
  std::string reason;
  using Restriction = TWConfigManager::Restriction;
  if (manager.restrictionOfUniqueID("\x01", &reason) == Restriction::invalidExpression &&
      !has({"expression-invalid", "entry-not-text", "list-not-array"})) {
    return reason;
  }
  for (const auto& [line, ask] : {std::pair(400, &TWConfigManager::isEventBlackListed),
                                  {423, &TWConfigManager::isEventInstantFlushEvent},
                                  {564, &TWConfigManager::isEventWhitelistedEvent}}) {
    static_cast<void>((manager.*ask)("\x01"));
    if (logs(line) && !has({"entry-not-text", "list-not-array"})) return "line " + std::to_string(line);
  }
  return {};
}

}  // namespace tidewell
