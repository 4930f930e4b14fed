// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "tidewell/c/internal/Boundary.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWConfigManager/internal/ConfigTables.h"

namespace tidewell::c {
namespace {

TWConfigManager& config() { return TWConfigManager::sharedInstance(); }

static_assert(kGateCount == TDW_GATE_USER_IN_APP + 1 &&
                  static_cast<int>(Gate::inboxServiceActive) == TDW_GATE_INBOX &&
                  static_cast<int>(Gate::deviceTriggerEnabled) == TDW_GATE_DEVICE_TRIGGER &&
                  static_cast<int>(Gate::userInAppEnabled) == TDW_GATE_USER_IN_APP,
              "the order of tdw_gates is not that of kGateRules");

/// The lists in the order of `tdw_lists`.
constexpr base::Value (TWConfigManager::*kLists[])() const = {
    &TWConfigManager::getBlackListedEvents, &TWConfigManager::getInstantFlushEvents,
    &TWConfigManager::getWhitelistedEvents, &TWConfigManager::getSourceExtraKeys,
    &TWConfigManager::getRestrictedUniqueIDRegex};
static_assert(std::size(kLists) == TDW_LIST_RESTRICTED_ID_EXPRESSIONS + 1);

/// The numbers in the order of `tdw_numbers`.
constexpr std::int64_t (TWConfigManager::*kNumbers[])() const = {
    &TWConfigManager::getInboxDefaultExpiry,          &TWConfigManager::getPeriodicSyncDuration,
    &TWConfigManager::getRealTimeTriggerSyncInterval, &TWConfigManager::getUserAttributeCachingDuration,
    &TWConfigManager::getSessionInActiveDuration,     &TWConfigManager::getEventBatchCount};
static_assert(std::size(kNumbers) == TDW_NUMBER_EVENTS_PER_BATCH + 1);

struct OptOut {
  void (TWConfigManager::*set)(bool);
  bool (TWConfig::*isSet)() const;
};
/// In the order of `tdw_opt_outs`.
constexpr OptOut kOptOuts[] = {
    {&TWConfigManager::setDataTrackingOptedOut, &TWConfig::dataTrackingOptedOut},
    {&TWConfigManager::setUserPushNotificationOptedOut, &TWConfig::userPushOptedOut},
    {&TWConfigManager::setUserInAppNotificationOptedOut, &TWConfig::userInAppOptedOut}};
static_assert(std::size(kOptOuts) == TDW_OPT_OUT_IN_APP + 1);

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

bool tdw_is_open(tdw_gate gate) { return TWConfigManager::answerOfGate(static_cast<std::uint32_t>(gate)); }

// Asked often: throws no `Refusal`, and needs no shield, since what it calls has one where it could be
// cancelled.
bool tdw_event_is_in(tdw_list list, const char* event) {
  if (event == nullptr) return false;
  try {
    // Ill-formed text is in no list.
    const std::optional<std::string_view> name(std::in_place, event, strnlen(event, TDW_MAXIMUM_TEXT + 1));
    const TWConfigManager& config = TWConfigManager::sharedInstance();
    switch (list) {
      case TDW_LIST_BLACKLISTED_EVENTS:
        return config.isEventBlackListed(name);
      case TDW_LIST_INSTANT_FLUSH_EVENTS:
        return config.isEventInstantFlushEvent(name);
      case TDW_LIST_WHITELISTED_EVENTS:
        return config.isEventWhitelistedEvent(name);
      default:
        return false;
    }
  } catch (...) {
    return false;
  }
}

const char* tdw_gate_question(tdw_gate gate) {
  const bool isKnown = gate >= 0 && static_cast<std::uint32_t>(gate) < kGateCount;
  // A selector is a literal, which ends with a NUL.
  return isKnown ? ruleOf(static_cast<Gate>(gate)).selector.data() : nullptr;
}

char* tdw_get_list(tdw_list list, std::size_t* length) {
  return textOf(length, [&] {
    return jsonOf((config().*kLists[required<tdw_lists>(list, TDW_LIST_RESTRICTED_ID_EXPRESSIONS)])());
  });
}

std::int64_t tdw_get_number(tdw_number which) {
  return valueOf(std::int64_t{0}, [&] {
    return (config().*kNumbers[required<tdw_numbers>(which, TDW_NUMBER_EVENTS_PER_BATCH)])();
  });
}

tdw_restriction tdw_get_restriction(const char* unique_id) {
  static_assert(static_cast<int>(TWConfigManager::Restriction::unrestricted) == TDW_RESTRICTION_NONE &&
                static_cast<int>(TWConfigManager::Restriction::restricted) == TDW_RESTRICTION_RESTRICTED &&
                static_cast<int>(TWConfigManager::Restriction::invalidExpression) ==
                    TDW_RESTRICTION_INVALID_EXPRESSION);
  return valueOf(tdw_restriction{TDW_RESTRICTION_RESTRICTED}, [&] {
    return static_cast<tdw_restriction>(config().restrictionOfUniqueID(optionalText(unique_id)));
  });
}

char* tdw_explain(const char* question, const char* argument, std::size_t* length) {
  return textOf(length, [&]() -> std::optional<std::string> {
    const auto explanation = config().explanation(requiredText(question), optionalText(argument));
    if (!explanation) return std::nullopt;
    return jsonOf(base::Value(explanation->dictionary()));
  });
}

tdw_status tdw_set_opted_out(tdw_opt_out which, bool is_opted_out) {
  return statusOf([&] {
    const OptOut& optOut = kOptOuts[required<tdw_opt_outs>(which, TDW_OPT_OUT_IN_APP)];
    (config().*optOut.set)(is_opted_out);
  });
}
bool tdw_is_opted_out(tdw_opt_out which) {
  return valueOf(false, [&] {
    const OptOut& optOut = kOptOuts[required<tdw_opt_outs>(which, TDW_OPT_OUT_IN_APP)];
    const std::shared_ptr<TWConfig> record = config().tdwConfig();
    return record && ((*record).*optOut.isSet)();
  });
}

}  // extern "C"
