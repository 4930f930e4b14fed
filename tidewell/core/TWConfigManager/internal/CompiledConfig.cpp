// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"

#include <utility>

#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

/// The checks of a gate after the account's. Raises if the status is not a string.
bool passes(const GateRule& rule, const TWConfigFields& fields) {
  if (rule.status != nullptr) {
    const base::Value& status = fields.*rule.status;
    if (status.isNil() ? rule.nilStatus == NilStatus::fails : status.isEqualToString(CONFIG_STATUS_BLOCKED))
      return false;
  }
  if (rule.optOut != nullptr && fields.*rule.optOut) return false;
  return rule.secondOptOut == nullptr || !(fields.*rule.secondOptOut);
}

/// Whether `passes` raises.
bool raises(const GateRule& rule, const TWConfigFields& fields) {
  if (rule.status == nullptr) return false;
  const base::Value& status = fields.*rule.status;
  return !status.isNil() && !status.isString();
}

std::shared_ptr<const EventList> eventList(const base::Value& list) {
  return std::make_shared<const EventList>(list);
}

}  // namespace

GateWord compileGates(const TWConfigFields& fields) {
  const GateRule& account = ruleOf(Gate::accountActive);
  const bool accountRaises = raises(account, fields);
  const bool accountActive = accountRaises ? account.fallback : passes(account, fields);
  GateWord gates = 0;
  for (const GateRule& rule : kGateRules) {
    if (accountRaises || (accountActive && raises(rule, fields))) {
      gates |= raisesBit(rule.gate);
    } else if (accountActive && passes(rule, fields)) {
      gates |= trueBit(rule.gate);
    }
  }
  return gates;
}

bool answerGate(Gate gate, const TWConfigFields& fields) {
  const GateRule& rule = ruleOf(gate);
  return guarded({"TWConfigManager", rule.line, rule.selector, "exception is %@"}, rule.fallback, [&] {
    if (gate != Gate::accountActive && !answerGate(Gate::accountActive, fields)) return false;
    return passes(rule, fields);
  });
}

std::shared_ptr<const CompiledConfig> CompiledConfig::compile(TWConfigFields fields,
                                                              const CompiledConfig* previous,
                                                              PropertySet changed) {
  auto next = std::make_shared<CompiledConfig>();
  const auto keeps = [&](TWConfigProperty property) {
    return previous != nullptr && (changed & propertyBit(property)) == 0;
  };
  next->fields = std::move(fields);
  next->gates = compileGates(next->fields);
  next->blackListedEvents = keeps(TWConfigPropertyBlackListedEvents)
                                ? previous->blackListedEvents
                                : eventList(next->fields.blackListedEventsArray);
  next->instantFlushEvents = keeps(TWConfigPropertyInstantFlushEvents)
                                 ? previous->instantFlushEvents
                                 : eventList(next->fields.instantFlushEventsArray);
  next->whitelistedEvents = keeps(TWConfigPropertyDataTrackingWhitelistedEvents)
                                ? previous->whitelistedEvents
                                : eventList(next->fields.dataTrackingOptedOutWhitelistedEventsArray);
  next->restrictedExpressions =
      keeps(TWConfigPropertyRestrictedUniqueIDRegex)
          ? previous->restrictedExpressions
          : std::make_shared<const RestrictedExpressions>(next->fields.restrictedUniqueIDRegexArray);
  return next;
}

}  // namespace tidewell
