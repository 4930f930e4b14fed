#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "tidewell/base/Json.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"

namespace tidewell::guest {

/// Ends the program at once where something is not so, with the place: not by an exception or `exit`, for it
/// may be ending already.
inline void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::_Exit(9);
}

/// The ten gates, as letters.
inline std::string gates() {
  const TWConfigManager& config = TWConfigManager::sharedInstance();
  std::string text;
  for (const bool gate :
       {config.isAccountActive(), config.isInAppServiceActive(), config.isGeofenceServiceActive(),
        config.isInboxServiceActive(), config.isLogentriesEnabled(), config.isPeriodicSyncEnabled(),
        config.isDeviceTriggerEnabled(), config.isDataTrackingEnabled(), config.isUserPushEnabled(),
        config.isUserInAppEnabled()}) {
    text += gate ? 'y' : 'n';
  }
  return text;
}

inline void useConfiguration() {
  TWConfigManager& config = TWConfigManager::sharedInstance();
  config.updateConfigFromResponse(base::JSONObjectWithData(
      R"({"a_s": "allowed", "b_e": ["spam"], "b_uid_r": ["[0-9]+"], "e_b_c": 12, "le_s": "allowed", "le_tkn": "t"})"));
  require(gates()[0] == 'y', "gates");
  require(config.isEventBlackListed("spam") && !config.isEventInstantFlushEvent("spam") &&
              !config.isEventWhitelistedEvent("spam"),
          "events");
  require(config.isUniqueIDRestricted("123") && !config.isUniqueIDRestricted("abc"), "restricted IDs");
  require(config.getEventBatchCount() > 0, "numbers");
  for (const std::int64_t number :
       {config.getInboxDefaultExpiry(), config.getPeriodicSyncDuration(),
        config.getRealTimeTriggerSyncInterval(), config.getUserAttributeCachingDuration(),
        config.getSessionInActiveDuration()}) {
    require(number > 0, "durations");
  }
  for (const base::Value& list :
       {config.getBlackListedEvents(), config.getInstantFlushEvents(), config.getWhitelistedEvents(),
        config.getSourceExtraKeys(), config.getRestrictedUniqueIDRegex()}) {
    require(list.array() != nullptr, "lists");
  }
  config.setDataRedirectionRegion(TWDataRegionEurope);
  require(config.getDataRedirectionRegion() == TWDataRegionEurope, "region");
  for (const bool out : {true, false}) {
    config.setDataTrackingOptedOut(out);
    config.setUserPushNotificationOptedOut(out);
    config.setUserInAppNotificationOptedOut(out);
  }
  config.printCurrentServicesStatus();
  static_cast<void>(config.shouldSyncConfig());
  static_cast<void>(config.getFilePathForConfig());
  config.setTdwConfig(std::make_shared<TWConfig>());
  static_cast<void>(config.tdwConfig()->fields());
}

inline void useNetwork() {
  for (int service = -1; service <= TWServiceSendLogs + 1; ++service) {
    const auto number = static_cast<TWService>(service);
    static_cast<void>(TWNetworkUtils::getAPIPathForService(number, "x"));
    static_cast<void>(TWNetworkUtils::getRequestMethodForService(number));
    static_cast<void>(TWNetworkUtils::getQueryParamsBodyDictForService(number));
    static_cast<void>(TWNetworkConfiguration::defaultConfiguration().hostForService(number));
    const TWNetworkRequest request(number, base::Dictionary{{"q", 1}}, std::nullopt, base::Dictionary(), "x");
    static_cast<void>(request.getRequestInstance());
    request.executeRequestWithCompletionBlock([](bool, const base::Value&) {});
  }
  TWNetworkClient().fetchRequest(std::nullopt, nullptr);
  static_cast<void>(TWNetworkUtils::getDeviceUniqueID());
  static_cast<void>(TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain());
}

inline void useUtilities() {
  static_cast<void>(TWCoreUtils::getSDKLibraryDirectoryPath());
  static_cast<void>(TWCoreUtils::getDocumentsDirectoryPath());
  TWCoreUtils::saveDeviceToken("token");
  TWCoreUtils::saveUniqueId("user");
  TWCoreUtils::registerInstall();
  static_cast<void>(TWCoreUtils::saveUniqueIdentifierForUser());
  static_cast<void>(TWCoreUtils::getSDKUniqueIdForUser());
  static_cast<void>(TWCoreUtils::getIDFV());
  static_cast<void>(TWCoreUtils::getDeviceUniqueID());
  static_cast<void>(TWCoreUtils::getDeviceSystemVersion());
  static_cast<void>(TWCoreUtils::getDeviceName());
  require(TWCoreUtils::MD5hashForString("abc") == "900150983cd24fb0d6963f7d28e17f72", "MD5");
  require(TWCoreUtils::hexTokenForData(base::Data("\x01\xFF")) == "01ff", "hex");
  require(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"a", 1.5}}).has_value(), "JSON");
  require(TWCoreUtils::checkIfString("text", "ex"), "texts");
  require(!TWKeychain::getKeychainQuery("guest").empty(), "keychain");
  TWKeychain::save("guest", "secret");
  static_cast<void>(TWKeychain::load("guest"));
  TWKeychain::remove("guest");
  require(TWDateUtils::getStringForDate(base::Date{0}, "yyyy-MM-dd", true) == "1970-01-01", "dates");
  require(TWDateUtils::getDateForString("1970-01-02", "yyyy-MM-dd", true) == base::Date{86400}, "dates read");
  static_cast<void>(TWDateUtils::getLocalTime());
  base::Dictionary dictionary;
  setObjectNilHandled(dictionary, 1, "a");
  require(validObjectForKey(dictionary, "a") == base::Value(1), "dictionaries");
}

inline void useLogger() {
  TWLogger::setFormat("Host - %@", TWLogVerbosityDefault);
  TWLogger::setupDefaultFormats();
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {"a line of the host's"});
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {"a line"}, base::Array{"a frame"});
  static_cast<void>(
      TWLogger::getLogforVerbosity(TWLogVerbosityDetailed, TWLogSeverityInfo, {"f", 1, "m", "t"}));
}

/// Calls the public operations, and checks what depends neither on the machine nor on a reply that may come
/// meanwhile. By one thread at a time.
inline void useEverything() {
  useConfiguration();
  useUtilities();
  useNetwork();
  useLogger();
  TidewellCore& sdk = TidewellCore::sharedInstance();
  sdk.initializeWithAppID("GUEST");
  sdk.updateConfig();
  sdk.userReset();
  sdk.redirectDataToRegion(TWDataRegionServ3);
  sdk.setAppGroupID("group.example");
  static_cast<void>(sdk.isDeviceUniqueIDPresentInKeyChain());
  sdk.downloadImageForURL(base::Url::URLWithString("https://api.tidewell.example/i"),
                          [](bool, std::optional<base::Data>) {});
}

}  // namespace tidewell::guest
