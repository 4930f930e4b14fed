// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/GateSteps.h"

#include <algorithm>
#include <variant>

namespace tidewell {
namespace {

template <class Type>
const ConfigField* fieldOf(Type TWConfigFields::*member) {
  return std::find_if(kConfigFields.begin(), kConfigFields.end(), [member](const ConfigField& field) {
    const auto* const of = std::get_if<Type TWConfigFields::*>(&field.member);
    return of != nullptr && *of == member;
  });
}

StepOutcome outcomeOf(const GateRule& rule, const base::Value& status) {
  if (status.isNil()) return rule.nilStatus == NilStatus::fails ? StepOutcome::refuses : StepOutcome::passes;
  if (!status.isString()) return StepOutcome::raises;
  return status.isEqualToString(CONFIG_STATUS_BLOCKED) ? StepOutcome::refuses : StepOutcome::passes;
}

}  // namespace

GateSteps::GateSteps(Gate gate, const TWConfigFields& fields) {
  if (gate != Gate::accountActive) {
    check(ruleOf(Gate::accountActive), fields);
    if (!answer) return;
    isDecided = false;  // if the check raised, the account's fallback was true, and the gate continues
  }
  check(ruleOf(gate), fields);
}

void GateSteps::check(const GateRule& rule, const TWConfigFields& fields) {
  const auto take = [&](const ConfigField* field, StepOutcome outcome) {
    steps.push_back({field, outcome});
    isDecided = outcome != StepOutcome::passes;
    answer = outcome == StepOutcome::passes || (outcome == StepOutcome::raises && rule.fallback);
    return !isDecided;
  };
  if (rule.status != nullptr && !take(fieldOf(rule.status), outcomeOf(rule, fields.*rule.status))) return;
  for (bool TWConfigFields::*const optOut : {rule.optOut, rule.secondOptOut}) {
    if (optOut == nullptr) continue;
    if (!take(fieldOf(optOut), fields.*optOut ? StepOutcome::refuses : StepOutcome::passes)) return;
  }
}

}  // namespace tidewell
