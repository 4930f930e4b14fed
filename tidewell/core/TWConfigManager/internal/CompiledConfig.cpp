#include "tidewell/core/TWConfigManager/internal/CompiledConfig.h"

#include <array>
#include <utility>

#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

/// What one gate asks, after it has asked whether the account is active.
struct GateRule {
  std::string_view selector;
  std::int32_t line;
  bool fallback;
  base::Value TWConfigFields::*status = nullptr;
  bool nilStatusPasses = true;
  bool TWConfigFields::*optOut = nullptr;
  bool TWConfigFields::*secondOptOut = nullptr;
};

constexpr std::array<GateRule, kGateCount> kGateRules = {{
    {"isAccountActive", 238, true, &TWConfigFields::accountStatus},
    {"isInAppServiceActive", 259, true, &TWConfigFields::inAppServiceStatus, true,
     &TWConfigFields::userInAppOptedOut},
    {"isGeofenceServiceActive", 285, true, &TWConfigFields::geofenceServiceStatus, true,
     &TWConfigFields::userPushOptedOut, &TWConfigFields::dataTrackingOptedOut},
    {"isInboxServiceActive", 306, true, &TWConfigFields::inboxServiceStatus, true,
     &TWConfigFields::userPushOptedOut},
    {"isLogentriesEnabled", 328, false, &TWConfigFields::logEntriesServiceStatus, false},
    {"isPeriodicSyncEnabled", 348, false, &TWConfigFields::periodicSyncStatus},
    {"isDeviceTriggerEnabled", 368, false, &TWConfigFields::deviceTriggerServiceStatus, false,
     &TWConfigFields::userPushOptedOut},
    {"isDataTrackingEnabled", 511, false, nullptr, true, &TWConfigFields::dataTrackingOptedOut},
    {"isUserPushEnabled", 526, true, nullptr, true, &TWConfigFields::userPushOptedOut},
    {"isUserInAppEnabled", 541, false, nullptr, true, &TWConfigFields::userInAppOptedOut},
}};

constexpr const GateRule& ruleOf(Gate gate) { return kGateRules[static_cast<std::size_t>(gate)]; }

/// The steps of a gate that come after the account's. Raises for a status that is no string.
bool passes(const GateRule& rule, const TWConfigFields& fields) {
  if (rule.status != nullptr) {
    const base::Value& status = fields.*rule.status;
    if (status.isNil() ? !rule.nilStatusPasses : status.isEqualToString(CONFIG_STATUS_BLOCKED)) return false;
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

std::uint32_t compileGates(const TWConfigFields& fields) {
  const GateRule& account = ruleOf(Gate::accountActive);
  const bool accountRaises = raises(account, fields);
  const bool accountActive = accountRaises ? account.fallback : passes(account, fields);
  std::uint32_t gates = 0;
  for (std::uint32_t index = 0; index < kGateCount; ++index) {
    const Gate gate{index};
    if (accountRaises || (accountActive && raises(ruleOf(gate), fields))) {
      gates |= raisesBit(gate);
    } else if (accountActive && passes(ruleOf(gate), fields)) {
      gates |= yesBit(gate);
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
