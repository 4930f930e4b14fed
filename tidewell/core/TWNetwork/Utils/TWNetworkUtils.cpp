// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"

#include <array>
#include <memory>
#include <utility>

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/KeychainServices/internal/DeviceUniqueID.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/internal/AppGroup.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

using platform::Platform;

/// The wrappers in the order in which they are checked; the last one with a version wins.
constexpr auto kIntegrations = std::to_array<std::pair<std::string_view, std::string_view>>({
    {Tidewell_Cordova_SDK_Version, "cordova"},
    {Tidewell_React_Native_SDK_Version, "react_native"},
    {Tidewell_Segment_SDK_Version, "segment"},
    {Tidewell_Xamarin_SDK_Version, "xamarin"},
    {Tidewell_Flutter_SDK_Version, "flutter"},
});

constexpr std::string_view kOperatingSystem = "iOS";

/// The push token, if there is one and the user has not opted out of push messages.
std::optional<std::string> usablePushToken() {
  std::optional<std::string> token = TWCoreUtils::getDeviceToken();
  if (!token || token->empty() || !TWConfigManager::sharedInstance().isUserPushEnabled()) return std::nullopt;
  return token;
}

void addEntries(base::Dictionary& dictionary, const base::Dictionary& others) {
  for (const auto& [key, value] : others) dictionary.setObject(value, key);
}

void addTimeAndZone(base::Dictionary& parameters) {
  const platform::Clock& clock = Platform::current().clock();
  const base::TimeZone zone = clock.systemTimeZone();
  const std::int64_t offset = std::int64_t{zone.secondsFromGMTForDate(clock.now())} * 1000;
  setObjectNilHandled(parameters, base::stringWithFormat("%ld", {offset}), "device_tz_offset");
  setObjectNilHandled(parameters, TWDateUtils::getGMTtime(), "device_ts");
  setObjectNilHandled(parameters, zone.name(), "device_tz");
}

void shareWithExtensions(const base::Dictionary& parameters) {
  const std::shared_ptr<platform::UserDefaults> suite = appGroupDefaults();
  if (!suite) return;
  suite->setObject(parameters, "tdw_params");
  suite->synchronize();
}

}  // namespace

std::optional<std::string> TWNetworkUtils::getAPIPathForService(
    TWService service, std::optional<std::string_view> withAdditionalPathComponent) {
  const ServiceEntry* const entry = serviceEntry(service);
  if (entry == nullptr) return std::nullopt;
  const std::string_view component = withAdditionalPathComponent.value_or("");
  std::string path;
  path.reserve(entry->path.size() + component.size());
  path.append(entry->path).append(component);
  return path;
}

std::optional<std::string> TWNetworkUtils::getRequestMethodForService(TWService service) {
  const ServiceEntry* const entry = serviceEntry(service);
  if (entry == nullptr) return std::nullopt;
  return std::string(entry->method);
}

std::optional<base::Dictionary> TWNetworkUtils::getQueryParamsBodyDictForService(TWService service) {
  static constexpr LogCoordinates kWhere{"TWNetworkUtils", 134, "getQueryParamsBodyDictForService:",
                                         "Exception while getting Param for API : %@", TWLogSeverityError};
  return guarded(kWhere, std::optional<base::Dictionary>(), [&] {
    const ServiceEntry* const entry = serviceEntry(service);
    return getRequestParamsWithV1(entry != nullptr && entry->parameters == ServiceParameters::v2AndV1);
  });
}

std::optional<base::Dictionary> TWNetworkUtils::getRequestParamsWithV1(bool withV1) {
  static constexpr LogCoordinates kWhere{"TWNetworkUtils", 165, "getRequestParamsWithV1:",
                                         "Exception while getting Param for API : %@", TWLogSeverityError};
  return guarded(kWhere, std::optional<base::Dictionary>(), [&]() -> std::optional<base::Dictionary> {
    base::Dictionary parameters = getRequestParamsForV2();
    shareWithExtensions(parameters);
    if (withV1) addEntries(parameters, getRequestParamsForV1APIs());
    return parameters;
  });
}

base::Dictionary TWNetworkUtils::getRequestParamsForV1APIs() {
  base::Dictionary parameters{{"os_value", kOperatingSystem}, {"appId", TWCoreUtils::getTidewellAppId()}};
  if (const auto token = usablePushToken()) parameters.setObject(*token, "pushToken");
  return parameters;
}

base::Dictionary TWNetworkUtils::getRequestParamsForV2() {
  const std::optional<std::string> appVersion = TWCoreUtils::appVersion();
  const std::optional<std::string> uniqueId = TWCoreUtils::getSDKUniqueIdForUser();
  const std::optional<std::string> appId = TWCoreUtils::getTidewellAppId();
  const std::optional<std::string> sdkVersion = TWCoreUtils::getTidewellSDKVersion();
  if (!appId || appId->empty()) logLine("App ID is missing in the initialize call");

  base::Dictionary parameters{
      {"os", kOperatingSystem}, {"app_ver", appVersion}, {"app_id", appId}, {"sdk_ver", sdkVersion}};
  setObjectNilHandled(parameters, uniqueId, "unique_id");
  if (const auto token = usablePushToken()) parameters.setObject(*token, "push_id");
  if (const auto deviceId = getDeviceUniqueID()) {
    setObjectNilHandled(parameters, deviceId, "device_unique_id");
  }
  addTimeAndZone(parameters);
  addEntries(parameters, getIntegrationParams());
  if (TWConfigManager::sharedInstance().isDataTrackingEnabled()) {
    addEntries(parameters, getDeviceAttributeParams());
  }
  return parameters;
}

base::Dictionary TWNetworkUtils::getIntegrationParams() {
  platform::UserDefaults& defaults = Platform::current().standardUserDefaults();
  base::Dictionary parameters;
  for (const auto& [key, type] : kIntegrations) {
    const base::Value version = defaults.objectForKey(key);
    if (version.isNil()) continue;
    parameters.setObject(version, "integration_version");
    parameters.setObject(type, "integration_type");
  }
  return parameters;
}

base::Dictionary TWNetworkUtils::getDeviceAttributeParams() {
  return {{"model", TWCoreUtils::getDeviceModel()},
          {"model_name", TWCoreUtils::getDeviceName()},
          {"os_ver", TWCoreUtils::getDeviceSystemVersion()}};
}

std::optional<std::string> TWNetworkUtils::getDeviceUniqueID() { return deviceUniqueID(); }

std::optional<std::string> TWNetworkUtils::getDeviceUniqueIDFromKeyChain() {
  return deviceUniqueIDFromKeychain();
}

bool TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain() { return isDeviceUniqueIDInKeychain(); }

}  // namespace tidewell
