// SPDX-License-Identifier: Apache-2.0
// Start, identity, consent, and syncs of the configuration.
#include <chrono>
#include <iterator>
#include <memory>

#include "tidewell/c/internal/HostContext.h"
#include "tidewell/c/internal/Tokens.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"

namespace tidewell::c {
namespace {

TidewellCore& core() { return TidewellCore::sharedInstance(); }

using OptionalString = std::optional<std::string>;
/// The texts in the order of `tdw_texts`.
constexpr OptionalString (*kTexts[])() = {
    TWCoreUtils::getTidewellAppId,
    TWCoreUtils::getDeviceToken,
    TWCoreUtils::getUniqueId,
    TWCoreUtils::getSDKUniqueIdForUser,
    TWCoreUtils::getDeviceUniqueID,
    TWCoreUtils::getIDFV,
    TWCoreUtils::appVersion,
    TWCoreUtils::bundleIdentifier,
    TWCoreUtils::getTidewellSDKVersion,
    TWCoreUtils::getDeviceModel,
    TWCoreUtils::getDeviceSystemVersion,
    []() -> OptionalString { return TWCoreUtils::getDeviceName(); },
    []() -> OptionalString {
      return TWConfigManager::sharedInstance().getLogEntriesToken().optionalString();
    },
};
static_assert(std::size(kTexts) == TDW_TEXT_LOG_TOKEN + 1);

static_assert(static_cast<int>(SyncOutcome::neverTried) == TDW_SYNC_NEVER_TRIED &&
              static_cast<int>(SyncOutcome::synced) == TDW_SYNC_SYNCED &&
              static_cast<int>(SyncOutcome::failed) == TDW_SYNC_FAILED);
static_assert(TWDataRegionServ3 == static_cast<int>(TDW_REGION_SERV3) &&
              TWDataRegionEurope == static_cast<int>(TDW_REGION_EUROPE) &&
              TWDataRegionDefault == static_cast<int>(TDW_REGION_DEFAULT));

std::string statusJson(const SyncStatus& status) {
  base::Dictionary json{{"outcome", static_cast<std::int64_t>(status.outcome())},
                        {"lastResult", static_cast<std::int64_t>(status.lastResult())},
                        {"detail", *wellFormed(std::string(status.detail()))},
                        {"httpStatus", status.httpStatus()}};
  const auto addDate = [&](std::string_view key, const std::optional<base::Date>& date) {
    if (date) json.setObject(date->secondsSince1970, key);
  };
  addDate("lastAttempt", status.lastAttempt());
  addDate("lastSuccess", status.lastSuccess());
  addDate("nextDue", status.nextDue());
  if (const auto error = status.error()) {
    json.setObject(base::Dictionary{{"domain", *wellFormed(error->domain)},
                                    {"code", error->code},
                                    {"description", *wellFormed(error->localizedDescription)}},
                   "error");
  }
  return *jsonOf(base::Value(std::move(json)));
}

struct ObservedSync final : Token {
  SyncObservation observation;
};

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

tdw_status tdw_start(const char* app_id) {
  return statusOf([&] { core().initializeWithAppID(optionalText(app_id)); });
}
tdw_status tdw_user_reset() {
  return statusOf([] { core().userReset(); });
}
tdw_status tdw_set_region(tdw_region region) {
  return statusOf([&] { core().redirectDataToRegion(required<TWDataRegion>(region, TDW_REGION_DEFAULT)); });
}
tdw_region tdw_get_region() {
  return valueOf(tdw_region{TDW_REGION_DEFAULT}, [] {
    const auto region = TWConfigManager::sharedInstance().getDataRedirectionRegion();
    return region == TWDataRegionServ3 || region == TWDataRegionEurope ? static_cast<tdw_region>(region)
                                                                       : tdw_region{TDW_REGION_DEFAULT};
  });
}
tdw_status tdw_set_app_group(const char* app_group) {
  return statusOf([&] { core().setAppGroupID(requiredText(app_group)); });
}
tdw_status tdw_give_consent() {
  return statusOf([] { core().giveConsent(); });
}
tdw_status tdw_revoke_consent() {
  return statusOf([] { core().revokeConsent(); });
}
bool tdw_has_consent() {
  return valueOf(false, [] { return core().hasConsent(); });
}

char* tdw_get_text(tdw_text which, std::size_t* length) {
  return textOf(length, [&] {
    const auto place = required<tdw_texts>(which, TDW_TEXT_LOG_TOKEN);
    return wellFormed(kTexts[place]());
  });
}
tdw_status tdw_set_push_token(const char* token) {
  return statusOf([&] { TWCoreUtils::saveDeviceToken(optionalText(token)); });
}
tdw_status tdw_set_unique_id(const char* unique_id) {
  return statusOf([&] { TWCoreUtils::saveUniqueId(optionalText(unique_id)); });
}

tdw_status tdw_update_config() {
  return statusOf([] { core().updateConfig(); });
}
tdw_sync_outcome tdw_get_sync_outcome() {
  return valueOf(tdw_sync_outcome{TDW_SYNC_NEVER_TRIED},
                 [] { return static_cast<tdw_sync_outcome>(core().syncStatus().outcome()); });
}
char* tdw_get_sync_status(std::size_t* length) {
  return textOf(length, [] { return std::optional(statusJson(core().syncStatus())); });
}
tdw_status tdw_observe_sync(tdw_sync_observer observer, void* context, tdw_free_context free_context,
                            tdw_token* token) {
  if (token != nullptr) *token = 0;
  return statusWithCallback(observer, context, free_context, [&](const auto& callback) {
    auto observed = std::make_shared<ObservedSync>();
    observed->observation = core().observeSync([callback](const SyncStatus& status) {
      callback(static_cast<tdw_sync_outcome>(status.outcome()), statusJson(status).c_str());
    });
    keep(std::move(observed), token);
    return TDW_OK;
  });
}
tdw_status tdw_wait_for_sync(std::int64_t milliseconds) {
  return statusOf([&]() -> tdw_status {
    const SyncWait wait = core().waitForSync(duration(milliseconds));
    if (wait.error()) return TDW_WOULD_DEADLOCK;
    return wait.timedOut() ? TDW_TIMED_OUT : TDW_OK;
  });
}

}  // extern "C"
