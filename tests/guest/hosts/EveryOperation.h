// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/foundation/TWModelObject.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Associations.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/Invocation.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell::guest {

inline TidewellCore& core() { return TidewellCore::sharedInstance(); }
inline TWConfigManager& config() { return TWConfigManager::sharedInstance(); }

/// If not null, called instead of ending the program, for programs in which a requirement may fail.
inline void (*onFailedRequirement)(const char* what) = nullptr;

/// Ends the program immediately unless the condition holds. Uses neither exceptions nor `exit`, because the
/// process may already be exiting.
inline void require(bool condition, const char* what) {
  if (condition) return;
  if (onFailedRequirement != nullptr) return onFailedRequirement(what);
  std::fprintf(stderr, "failed: %s\n", what);
  std::_Exit(9);
}

inline std::string letters(std::initializer_list<bool> answers) {
  std::string text;
  for (const bool each : answers) text += each ? 'y' : 'n';
  return text;
}
/// The ten gates, one letter each.
inline std::string gates() {
  const TWConfigManager& asked = config();
  return letters({asked.isAccountActive(), asked.isInAppServiceActive(), asked.isGeofenceServiceActive(),
                  asked.isInboxServiceActive(), asked.isLogentriesEnabled(), asked.isPeriodicSyncEnabled(),
                  asked.isDeviceTriggerEnabled(), asked.isDataTrackingEnabled(), asked.isUserPushEnabled(),
                  asked.isUserInAppEnabled()});
}

/// A request without a completion to wait for.
inline TWNetworkRequest request(TWService service = TWServiceSendReports) {
  return {service, std::nullopt, std::nullopt, base::Dictionary{{"n", 1}}, "guest"};
}

/// A delegate and interceptor.
class Hearer : public platform::UIApplicationDelegate {
 public:
  inline static std::atomic<int> calls{0};
  bool openURL(platform::UIApplication&, const base::Url&, const base::Dictionary&) override {
    return ++calls > 0;
  }
};

inline constinit const runtime::Message<std::int64_t()> kLevel{"level"};
/// An object with a property that it increments when notified as an observer.
class Tank : public runtime::Subclass<Tank, TWModelObject> {
 public:
  std::int64_t level() const { return level_; }
  void setLevel(std::int64_t level) {
    runtime::changing(*this, "level", [&] { level_ = level; });
  }
  void observed(const std::string&, Object*, const base::Dictionary&, const void*) { ++level_; }
  static void describe(runtime::ClassBuilder<Tank>& c) {
    c.property<&Tank::level, &Tank::setLevel>("level").method<&Tank::level>(kLevel);
    c.method<&Tank::observed>(runtime::kObserveValueForKeyPath);
  }

 private:
  std::atomic<std::int64_t> level_{0};
};

struct Operation {
  const char* name;
  void (*run)();
};

/// The public operations, grouped by the locks they take. Their checks do not depend on the system, on
/// replies, or on other threads.
inline constexpr Operation kOperations[] = {
    {"merge",
     [] {
       config().updateConfigFromResponse(base::JSONObjectWithData(
           R"({"a_s": "allowed", "b_e": ["spam"], "b_uid_r": ["[0-9]+"], "e_b_c": 12, "le_s": "allowed", "le_tkn": "t"})"));
     }},
    {"ask",
     [] {
       require(gates()[0] == 'y' && config().getEventBatchCount() > 0, "gates and numbers");
       require(!config().isEventBlackListed("ham") && config().getBlackListedEvents().array(), "events");
     }},
    {"restrictions", [] { require(!config().isUniqueIDRestricted("abc"), "restricted IDs"); }},
    {"opt-out",
     [] {
       config().setDataRedirectionRegion(TWDataRegionEurope);
       for (const bool out : {true, false}) {
         config().setDataTrackingOptedOut(out);
         config().setUserPushNotificationOptedOut(out);
         config().setUserInAppNotificationOptedOut(out);
       }
     }},
    {"replace",
     [] {
       config().printCurrentServicesStatus();
       static_cast<void>(config().shouldSyncConfig());
       config().setTdwConfig(std::make_shared<TWConfig>());
       static_cast<void>(config().tdwConfig()->fields());
     }},
    {"defaults",
     [] {
       TWCoreUtils::saveDeviceToken("token");
       TWCoreUtils::saveUniqueId("user");
       TWCoreUtils::registerInstall();
       static_cast<void>(TWCoreUtils::saveUniqueIdentifierForUser());
     }},
    {"device",
     [] {
       static_cast<void>(TWCoreUtils::getSDKLibraryDirectoryPath());
       static_cast<void>(TWCoreUtils::getIDFV());
       static_cast<void>(TWCoreUtils::getDeviceUniqueID());
       static_cast<void>(TWCoreUtils::getDeviceName());
     }},
    {"texts",
     [] {
       require(TWCoreUtils::MD5hashForString("abc") == "900150983cd24fb0d6963f7d28e17f72", "MD5");
       require(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"a", 1.5}}).has_value(), "JSON");
     }},
    {"keychain",
     [] {
       TWKeychain::save("guest", "secret");
       static_cast<void>(TWKeychain::load("guest"));
       TWKeychain::remove("guest");
     }},
    {"dates",
     [] {
       require(TWDateUtils::getStringForDate(base::Date{0}, "yyyy-MM-dd", true) == "1970-01-01", "dates");
       require(TWDateUtils::getDateForString("1970-01-02", "yyyy-MM-dd", true).has_value(), "dates read");
       static_cast<void>(TWDateUtils::getLocalTime());
     }},
    {"network",
     [] {
       for (int service = -1; service <= TWServiceSendLogs + 1; ++service) {
         const auto number = static_cast<TWService>(service);
         static_cast<void>(TWNetworkUtils::getQueryParamsBodyDictForService(number));
         request(number).executeRequestWithCompletionBlock([](bool, const base::Value&) {});
       }
       TWNetworkClient().fetchRequest(std::nullopt, nullptr);
       static_cast<void>(TWNetworkUtils::getDeviceUniqueID());
     }},
    {"log",
     [] {
       TWLogger::setFormat("Host - %@", TWLogVerbosityDefault);
       TWLogger::setupDefaultFormats();
       TWLogger::logWithVerbosity(TWLogVerbosityDetailed, TWLogSeverityError, {"f", 1, "m", "a line"},
                                  base::Array{"frame"});
     }},
    {"proxy",
     [] {
       const auto application = platform::UIApplication::sharedApplication();
       if (!application) return;
       const auto delegate = runtime::make<Hearer>();
       application->setDelegate(delegate);
       TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken();
       TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
       require(delegate->isa().name().substr(0, 4) == "Tdw_", "the proxy");
       static_cast<void>(application->deliverOpenURL(*base::Url::URLWithString("shop:cart")));
     }},
    {"interceptors",
     [] {
       const auto interceptor = runtime::make<Hearer>();
       const auto id = TWAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor);
       TWAppDelegateSwizzler::notifyInterceptorsWithMethodSelector(platform::kApplicationOpenURL.selector(),
                                                                   [](const runtime::Ref&) {});
       TWAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(id);
     }},
    {"objects",  // new classes, selectors and observers each time
     [] {
       static std::atomic<int> count{0};
       const std::string name = "Made" + std::to_string(++count);
       const auto tank = runtime::make<Tank>(), watcher = runtime::make<Tank>();
       static const int key = 0;
       runtime::setAssociatedObject(tank.get(), &key, 1, runtime::AssociationPolicy::retain);
       require(runtime::associatedObject(tank.get(), &key) == base::Value(1), "an associated object");
       static_cast<void>(runtime::Selector::named(name));
       runtime::Class* const made = runtime::allocateClassPair(&tank->isa(), name);
       require(made != nullptr, "a new class");
       runtime::registerClassPair(*made);
       runtime::setClass(tank.get(), *made);
       runtime::addObserver(tank.get(), watcher, "level", runtime::kObserveNew | runtime::kObserveOld);
       runtime::setValueForKey(tank.get(), "level", 7);
       require(runtime::valueForKey(tank.get(), "level") == base::Value(7), "a value by its key");
       require(watcher->level() == 1, "an observer");
       runtime::removeObserver(tank.get(), watcher.get(), "level");
       runtime::Invocation invocation(kLevel.signature());
       invocation.setSelector(kLevel.selector());
       invocation.setTarget(tank);
       invocation.invoke();
       require(runtime::send(tank, kLevel) == 7, "a send");
       static_cast<void>(runtime::description(tank.get()));  // a send with a cold cache
       platform::NotificationCenter& center = platform::NotificationCenter::defaultCenter();
       const auto token = center.addObserver(name, [](const platform::Notification&) {});
       center.postNotificationName(name);
       center.removeObserver(token);
     }},
    {"sync",
     [] {
       core().userReset();
       const SyncObservation observation = core().observeSync([](const SyncStatus&) {});
       core().updateConfig();
       const SyncStatus status = core().waitForSync(std::chrono::milliseconds(0)).status();
       require(status.outcome() != SyncOutcome::notDue || status.nextDue(), "a status");
     }},
    {"pages",
     [] {
       TWWebViewHandler::sharedInstance().openWebViewWithUrl(
           base::Url::URLWithString("https://www.example.org"));
       TWWebViewHandler::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(false);
     }},
    {"core",
     [] {
       core().initializeWithAppID("GUEST");
       core().updateConfig();
       core().userReset();
       core().redirectDataToRegion(TWDataRegionServ3);
       core().setAppGroupID("group.example");
       core().downloadImageForURL(base::Url::URLWithString("https://api.tidewell.example/i"),
                                  [](bool, std::optional<base::Data>) {});
     }},
};

/// The operations with these names, in the order of `kOperations`; all if no name is given.
inline void use(std::initializer_list<std::string_view> names = {}) {
  for (const Operation& each : kOperations) {
    bool isNamed = names.size() == 0;
    for (const std::string_view name : names) isNamed |= name == each.name;
    if (isNamed) each.run();
  }
}

}  // namespace tidewell::guest
