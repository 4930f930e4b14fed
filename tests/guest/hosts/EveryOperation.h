#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "FailedRequirement.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Associations.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell::guest {

/// Ends the program at once where something is not so, with the place: not by an exception or `exit`, for it
/// may be ending already.
inline void require(bool condition, const char* what) {
  if (condition) return;
  if (onFailedRequirement != nullptr) return onFailedRequirement(what);
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

// What belongs together is one operation: tests run them in all pairs, and name the one that fails.

inline void mergeConfiguration() {
  TWConfigManager::sharedInstance().updateConfigFromResponse(base::JSONObjectWithData(
      R"({"a_s": "allowed", "b_e": ["spam"], "b_uid_r": ["[0-9]+"], "e_b_c": 12, "le_s": "allowed", "le_tkn": "t"})"));
}

inline void askConfiguration() {
  const TWConfigManager& config = TWConfigManager::sharedInstance();
  require(gates()[0] == 'y', "gates");
  require(!config.isEventBlackListed("ham") && !config.isEventInstantFlushEvent("spam") &&
              !config.isEventWhitelistedEvent("spam"),
          "events");
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
}

inline void askRestrictions() {
  require(!TWConfigManager::sharedInstance().isUniqueIDRestricted("abc"), "restricted IDs");
}

inline void setRegion() {
  TWConfigManager& config = TWConfigManager::sharedInstance();
  config.setDataRedirectionRegion(TWDataRegionEurope);
  require(config.getDataRedirectionRegion() == TWDataRegionEurope, "region");
}

inline void optOut() {
  TWConfigManager& config = TWConfigManager::sharedInstance();
  for (const bool out : {true, false}) {
    config.setDataTrackingOptedOut(out);
    config.setUserPushNotificationOptedOut(out);
    config.setUserInAppNotificationOptedOut(out);
  }
}

inline void replaceConfiguration() {
  TWConfigManager& config = TWConfigManager::sharedInstance();
  config.printCurrentServicesStatus();
  static_cast<void>(config.shouldSyncConfig());
  static_cast<void>(config.getFilePathForConfig());
  config.setTdwConfig(std::make_shared<TWConfig>());
  static_cast<void>(config.tdwConfig()->fields());
}

inline void useConfiguration() {
  mergeConfiguration();
  require(TWConfigManager::sharedInstance().isEventBlackListed("spam"), "events");
  require(TWConfigManager::sharedInstance().isUniqueIDRestricted("123"), "restricted IDs");
  askConfiguration();
  askRestrictions();
  setRegion();
  optOut();
  replaceConfiguration();
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

inline void useDefaults() {
  TWCoreUtils::saveDeviceToken("token");
  TWCoreUtils::saveUniqueId("user");
  TWCoreUtils::registerInstall();
  static_cast<void>(TWCoreUtils::saveUniqueIdentifierForUser());
  static_cast<void>(TWCoreUtils::getSDKUniqueIdForUser());
}

inline void useDevice() {
  static_cast<void>(TWCoreUtils::getSDKLibraryDirectoryPath());
  static_cast<void>(TWCoreUtils::getDocumentsDirectoryPath());
  static_cast<void>(TWCoreUtils::getIDFV());
  static_cast<void>(TWCoreUtils::getDeviceUniqueID());
  static_cast<void>(TWCoreUtils::getDeviceSystemVersion());
  static_cast<void>(TWCoreUtils::getDeviceName());
}

inline void useTexts() {
  require(TWCoreUtils::MD5hashForString("abc") == "900150983cd24fb0d6963f7d28e17f72", "MD5");
  require(TWCoreUtils::hexTokenForData(base::Data("\x01\xFF")) == "01ff", "hex");
  require(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"a", 1.5}}).has_value(), "JSON");
  require(TWCoreUtils::checkIfString("text", "ex"), "texts");
  base::Dictionary dictionary;
  setObjectNilHandled(dictionary, 1, "a");
  require(validObjectForKey(dictionary, "a") == base::Value(1), "dictionaries");
}

inline void useKeychain() {
  require(!TWKeychain::getKeychainQuery("guest").empty(), "keychain");
  TWKeychain::save("guest", "secret");
  static_cast<void>(TWKeychain::load("guest"));
  TWKeychain::remove("guest");
}

inline void useDates() {
  require(TWDateUtils::getStringForDate(base::Date{0}, "yyyy-MM-dd", true) == "1970-01-01", "dates");
  require(TWDateUtils::getDateForString("1970-01-02", "yyyy-MM-dd", true) == base::Date{86400}, "dates read");
  static_cast<void>(TWDateUtils::getLocalTime());
}

inline void useUtilities() {
  useDefaults();
  useDevice();
  useTexts();
  useKeychain();
  useDates();
}

inline void useLogger() {
  TWLogger::setFormat("Host - %@", TWLogVerbosityDefault);
  TWLogger::setupDefaultFormats();
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {"a line of the host's"});
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {"a line"}, base::Array{"a frame"});
  static_cast<void>(
      TWLogger::getLogforVerbosity(TWLogVerbosityDetailed, TWLogSeverityInfo, {"f", 1, "m", "t"}));
}

/// A delegate and interceptor.
class Hearer : public platform::UIApplicationDelegate {
 public:
  bool openURL(platform::UIApplication&, const base::Url&, const base::Dictionary&) override { return true; }
};

inline void useDelegate() {
  const auto application = platform::UIApplication::sharedApplication();
  if (!application) return;
  const auto delegate = runtime::make<Hearer>();
  application->setDelegate(delegate);
  static_cast<void>(application->delegate());
  static_cast<void>(application->deliverOpenURL(*base::Url::URLWithString("shop:cart")));
}

inline void useProxy() {
  const auto application = platform::UIApplication::sharedApplication();
  if (!application) return;
  const auto delegate = runtime::make<Hearer>();
  application->setDelegate(delegate);
  TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken();
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  require(delegate->isa().name().substr(0, 4) == "Tdw_", "the proxy");
  static_cast<void>(application->deliverOpenURL(*base::Url::URLWithString("shop:cart")));
}

inline void useInterceptors() {
  const auto interceptor = runtime::make<Hearer>();
  const auto id = TWAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor);
  require(id.has_value(), "an interceptor");
  TWAppDelegateSwizzler::notifyInterceptorsWithMethodSelector(platform::kApplicationOpenURL.selector(),
                                                              [](const runtime::Ref&) {});
  TWAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(id);
}

/// Associated objects, observers, classes and selectors, new ones each time.
inline void useObjects() {
  static std::atomic<int> count{0};
  const std::string name = "Made" + std::to_string(++count);
  const auto object = runtime::make<Hearer>();
  static const int key = 0;
  runtime::setAssociatedObject(object.get(), &key, 1, runtime::AssociationPolicy::retain);
  require(runtime::associatedObject(object.get(), &key) == base::Value(1), "an associated object");
  require(runtime::Selector::named(name).name() == name, "a selector");
  require(runtime::classNamed("NSObject") != nullptr, "a class by name");
  runtime::Class* const made = runtime::allocateClassPair(&object->isa(), name);
  require(made != nullptr, "a new class");
  runtime::registerClassPair(*made);
  runtime::setClass(object.get(), *made);
  static_cast<void>(runtime::description(object.get()));  // a send with a cold cache
  platform::NotificationCenter& center = platform::NotificationCenter::defaultCenter();
  const auto token = center.addObserver(name, [](const platform::Notification&) {});
  center.postNotificationName(name);
  center.removeObserver(token);
}

inline void usePages() {
  TWWebViewHandler& pages = TWWebViewHandler::sharedInstance();
  pages.openWebViewWithUrl(base::Url::URLWithString("https://www.example.org"));
  pages.dismissRichLandingWebViewControllerWithAnimation(false);
}

inline void useCore() {
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

struct Operation {
  const char* name;
  void (*run)();
};

/// The public operations. They check what depends neither on the machine, nor on a reply that may come
/// meanwhile, nor on another thread.
inline constexpr Operation kOperations[] = {
    {"merge", mergeConfiguration},
    {"ask", askConfiguration},
    {"restrictions", askRestrictions},
    {"opt-out", optOut},
    {"replace", replaceConfiguration},
    {"defaults", useDefaults},
    {"device", useDevice},
    {"texts", useTexts},
    {"keychain", useKeychain},
    {"dates", useDates},
    {"network", useNetwork},
    {"log", useLogger},
    {"delegate", useDelegate},
    {"proxy", useProxy},
    {"interceptors", useInterceptors},
    {"objects", useObjects},
    {"pages", usePages},
    {"core", useCore},
};

/// Calls the public operations, and checks what depends neither on the machine nor on a reply that may come
/// meanwhile. By one thread at a time.
inline void useEverything() {
  useConfiguration();
  for (const Operation& each : kOperations) each.run();
}

}  // namespace tidewell::guest
