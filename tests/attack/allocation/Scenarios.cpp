#include "attack/allocation/Scenarios.h"

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <semaphore>

#include "attack/allocation/Allocations.h"
#include "tidewell/base/formats/DateFormatter.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/RegularExpression.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/runtime/Associations.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell::torture {
namespace {

World world;
std::counting_semaphore<> ended{0};
std::atomic<int> completions{0};
int expected = 0;

/// An operation that has no log coordinates may tell its caller that memory is short; nothing else may come
/// out.
template <class Operation>
bool attempt(Operation&& operation) {
  try {
    operation();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void complete() {
  ++completions;
  ended.release();
}
TWRequestCompletion completion() {
  ++expected;
  return [](bool, const base::Value&) { complete(); };
}
void waitForCompletions() {
  while (completions < expected) {
    require(ended.try_acquire_for(std::chrono::seconds(20)), "a completion did not come");
  }
}

class Opener final : public platform::LinkOpener {
 public:
  bool canOpenURL(const std::optional<base::Url>&) override { return true; }
  void openURL(const base::Url&, platform::OpenOptions, std::function<void(bool)> opened) override {
    ++opens;
    platform::Platform::current().mainQueue().async([opened = std::move(opened)] {
      if (opened) opened(true);
    });
  }
  bool openURL(const base::Url&) override { return ++opens > 0; }
  std::atomic<int> opens{0};
};
const auto opener = std::make_shared<Opener>();

posix::Options options() {
  posix::Options made;
  made.bundleIdentifier = "org.example.torture";
  made.version = "1";
  made.dataHome = world.dataHome;
  made.caFile = world.caFile;
  made.proxy = "-";
  made.linkOpener = opener;
  made.consoleSink = [](std::string_view) {};
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES}) {
    made.connectionOverrides.push_back({std::string(host), 443, "127.0.0.1", world.port});
  }
  return made;
}

TWConfigManager& config() { return TWConfigManager::sharedInstance(); }

void install() {
  if (platform::Platform::isInstalled()) return;
  if (posix::install(options()) == nullptr) throw std::bad_alloc();
  TWLogger::debug(TWLogLevelDebug);
}

void start() {
  install();
  TidewellCore::sharedInstance().initializeWithAppID("A");
}

/// Returns when what is on the queues has run.
void drain() {
  std::binary_semaphore drained{0};
  for (platform::Queue* queue :
       {&platform::Platform::current().globalQueue(), &platform::Platform::current().mainQueue()}) {
    queue->async([&] { drained.release(); });
    require(drained.try_acquire_for(std::chrono::seconds(20)), "a queue stands still");
  }
}

const base::Value& configuration() {
  static const base::Value made = base::JSONObjectWithData(
      R"({"a_s": "allowed", "i_s": "blocked", "b_e": ["spam"], "f_e": ["buy"], "b_uid_r": ["[0-9]+", "root"],
          "e_b_c": 7, "le_s": "allowed", "le_tkn": "t", "src_ext": ["s"]})");
  return made;
}

void checkConfiguration() {
  config().updateConfigFromResponse(configuration());
  require(config().isAccountActive() && !config().isInAppServiceActive(), "gates");
  require(config().isEventBlackListed("spam") && config().isEventInstantFlushEvent("buy"), "event lists");
  require(config().isUniqueIDRestricted("12") && config().isUniqueIDRestricted("root") &&
              !config().isUniqueIDRestricted("a"),
          "restricted IDs");
  require(config().getEventBatchCount() == 7, "numbers");
}

std::shared_ptr<TWConfig> otherRecord;
void makeRecord() {
  start();
  otherRecord = std::make_shared<TWConfig>();
  otherRecord->setUserPushOptedOut(true);
}
void actOnConfiguration() {
  attempt([] { config().updateConfigFromResponse(configuration()); });
  attempt([] { config().setTdwConfig(otherRecord); });
  attempt([] { config().updateConfigFromResponse(configuration()); });
  attempt([] { require(config().isAccountActive() || true, "gates"); });
  attempt([] { static_cast<void>(config().isUniqueIDRestricted("12345")); });
  attempt([] { static_cast<void>(config().restrictionOfUniqueID("abc")); });
  attempt([] { static_cast<void>(config().isEventBlackListed("spam")); });
  attempt([] { config().setDataRedirectionRegion(TWDataRegionServ3); });
  attempt([] { config().setDataTrackingOptedOut(true); });
  attempt([] { config().setUserInAppNotificationOptedOut(false); });
  attempt([] { config().tdwConfig()->updateConfigProperty(TWConfigPropertyEventsBatchCount, 8); });
  attempt([] { config().printCurrentServicesStatus(); });
  attempt([] { static_cast<void>(config().getBlackListedEvents()); });
  attempt([] { TidewellCore::sharedInstance().setAppGroupID("group.example"); });
}

void actOnWrongClasses() {
  for (const bool gate :
       {config().isAccountActive(), config().isInAppServiceActive(), config().isGeofenceServiceActive(),
        config().isPeriodicSyncEnabled(), config().isLogentriesEnabled()}) {
    static_cast<void>(gate);
  }
  static_cast<void>(config().isEventBlackListed("spam"));
  static_cast<void>(config().restrictionOfUniqueID("abc"));
  config().printCurrentServicesStatus();
}

void actOnLogger() {
  attempt([] { TWLogger::debug(TWLogLevelExceptionsAndErrors); });
  attempt([] { TWLogger::setFormat("Host - %@", TWLogVerbosityDefault); });
  attempt([] { TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {"a line"}); });
  attempt([] {
    TWLogger::logWithVerbosity(TWLogVerbosityDetailed, TWLogSeverityError, {"f", 1, "m", 1.5},
                               base::Array{"x"});
  });
  attempt([] { static_cast<void>(TWLogger::createLog("%@ %lu", {"a", 1})); });
  attempt([] { TWLogger::setupDefaultFormats(); });
  attempt([] { TWLogger::debug(TWLogLevelDebug); });
  attempt([] { TWLogger::logMessage("a line"); });
}

// The delegate, the object model.

int heard = 0;
class Delegate : public platform::UIApplicationDelegate {
 public:
  bool openURL(platform::UIApplication&, const base::Url&, const base::Dictionary&) override {
    return ++heard > 0;
  }
  bool continueUserActivity(platform::UIApplication&, platform::NSUserActivity&,
                            const platform::RestorationHandler&) override {
    return ++heard > 0;
  }
};
const base::Url& shop() {
  static const base::Url url = *base::Url::URLWithString("shop:cart");
  return url;
}
std::vector<std::shared_ptr<Delegate>> delegates;
void makeDelegates() {
  start();
  static_cast<void>(shop());
  for (int i = 0; i < 4; ++i) delegates.push_back(runtime::make<Delegate>());
  platform::UIApplication::sharedApplication()->setDelegate(delegates[0]);
}
void actOnDelegates() {
  const auto application = platform::UIApplication::sharedApplication();
  attempt([&] { TWAppDelegateSwizzler::registerAppDelegateInterceptor(delegates[1]); });
  attempt([&] { TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods(); });
  attempt([&] { application->deliverOpenURL(shop()); });
  attempt([&] { application->setDelegate(delegates[2]); });
  attempt([&] { TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken(); });
  attempt([&] { TWAppDelegateSwizzler::proxyOriginalDelegate(); });
  attempt([&] { application->deliverOpenURL(shop()); });
  attempt([&] { application->deliverRemoteNotification({}); });
  attempt([&] { static_cast<void>(TWAppDelegateSwizzler::interceptors().allKeys()); });
  attempt([&] { TWAppDelegateSwizzler::clearInterceptors(); });
}
void checkDelegates() {
  const auto application = platform::UIApplication::sharedApplication();
  application->setDelegate(delegates[3]);
  TWAppDelegateSwizzler::clearInterceptors();
  TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken();
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  require(TWAppDelegateSwizzler::registerAppDelegateInterceptor(delegates[1]).has_value(), "interceptor");
  heard = 0;
  require(application->deliverOpenURL(shop()) && heard == 2, "proxied delegate");
}

class Lamp : public runtime::Object {
 public:
  std::string colour;
  int light() { return 7; }
  void note(const std::string&, Object*, const base::Dictionary&, const void*) { ++heard; }
  static void describe(runtime::ClassBuilder<Lamp>& c);
};
inline constinit const runtime::Message<int()> kLight{"light"};
inline constinit const runtime::Message<int()> kDim{"dim"};
void Lamp::describe(runtime::ClassBuilder<Lamp>& c) {
  c.property<&Lamp::colour>("colour").method<&Lamp::light>(kLight);
  c.method<&Lamp::note>(runtime::kObserveValueForKeyPath);
}
void useObjects() {
  const auto lamp = runtime::make<Lamp>();
  const auto watcher = runtime::make<Lamp>();
  if (runtime::Class* made = runtime::allocateClassPair(&runtime::classOf<Lamp>(), "Made")) {
    runtime::addMethod(*made, kDim, [](runtime::Object&) { return 3; });
    runtime::registerClassPair(*made);
  }
  runtime::Class* const made = runtime::classNamed("Made");
  if (made != nullptr && made->isRegistered()) runtime::setClass(lamp.get(), *made);
  require(runtime::send(lamp, kLight) == 7, "send");
  runtime::addObserver(lamp.get(), watcher, "colour", runtime::kObserveNew | runtime::kObserveOld);
  heard = 0;
  runtime::setValueForKey(lamp.get(), "colour", "red");
  require(heard == 1 && runtime::valueForKey(lamp.get(), "colour") == base::Value("red"), "observing");
  runtime::removeObserver(lamp.get(), watcher.get(), "colour");
  runtime::setAssociatedObject(lamp.get(), &heard, runtime::objectValue(watcher),
                               runtime::AssociationPolicy::retain);
  require(runtime::objectOf(runtime::associatedObject(lamp.get(), &heard)) == watcher, "associations");
  runtime::Invocation invocation(kLight.signature());
  invocation.setSelector(kLight.selector());
  invocation.setTarget(lamp);
  invocation.invoke();
}
void actOnObjects() { attempt(useObjects); }

// Utilities.

void actOnLinks() {
  for (const auto operation :
       {&TWCoreUtils::openDeeplink, &TWCoreUtils::openDeeplinkBelowiOS10, &TWCoreUtils::openUniversalLink,
        &TWCoreUtils::openCustomUrlLink, &TWCoreUtils::openRichLandingLink}) {
    attempt([&] { operation(base::Url::URLWithString("https://shop.example/cart")); });
  }
}
void checkLinks() {
  drain();
  opener->opens = 0;
  TWCoreUtils::openDeeplink(shop());
  drain();
  require(opener->opens > 0, "links");
}

void useUtilities() {
  static_cast<void>(TWCoreUtils::getSDKUniqueIdForUser());
  static_cast<void>(TWNetworkUtils::getDeviceUniqueID());
  TWCoreUtils::saveDeviceToken("token");
  require(TWCoreUtils::getDeviceToken() == "token", "device token");
  TWKeychain::save("torture", "secret");
  require(TWKeychain::load("torture") == base::Value("secret"), "keychain");
  require(TWCoreUtils::MD5hashForString("abc") == "900150983cd24fb0d6963f7d28e17f72", "MD5");
  require(TWDateUtils::getStringForDate(base::Date{0}, "yyyy-MM-dd", true) == "1970-01-01", "dates");
  require(TWDateUtils::getDateForString("1970-01-02", "yyyy-MM-dd", true) == base::Date{86400}, "dates read");
  require(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"a", 1.5}}).has_value(), "JSON");
  static_cast<void>(TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceGetConfig));
}
void actOnUtilities() {
  attempt([] { static_cast<void>(TWCoreUtils::getSDKUniqueIdForUser()); });
  attempt([] { static_cast<void>(TWNetworkUtils::getDeviceUniqueID()); });
  attempt([] { TWCoreUtils::saveDeviceToken("token"); });
  attempt([] { TWKeychain::save("torture", "secret"); });
  attempt([] { static_cast<void>(TWKeychain::load("torture")); });
  attempt([] { static_cast<void>(TWCoreUtils::MD5hashForString("abc")); });
  attempt([] { static_cast<void>(TWDateUtils::getStringForDate(base::Date{0}, "yyyy-MM-dd", true)); });
  attempt([] { static_cast<void>(TWDateUtils::getDateForString("1970-01-02", "yyyy-MM-dd", true)); });
  attempt([] { static_cast<void>(TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"a", 1.5}})); });
  attempt([] { static_cast<void>(TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceGetConfig)); });
}

// Requests.

void request(TWService service) {
  const TWRequestCompletion once = completion();
  // What raises before the request is handed over gets no completion: the caller knows.
  if (!attempt([&] {
        TWNetworkRequest(service, std::nullopt, std::nullopt, base::Dictionary{{"q", 1}}, std::nullopt)
            .executeRequestWithCompletionBlock(once);
      })) {
    complete();
  }
}
void image() {
  ++expected;
  if (!attempt([] {
        TidewellCore::sharedInstance().downloadImageForURL(
            base::Url::URLWithString("https://" + std::string(HOST_TDW_PROD_US) + "/i"),
            [](bool, const std::optional<base::Data>&) { complete(); });
      })) {
    complete();
  }
}
void actOnRequests() {
  request(TWServiceGetConfig);
  request(TWServiceSendReports);
  image();
  waitForCompletions();
}
void actOnSync() {
  attempt([] { TidewellCore::sharedInstance().userReset(); });
  attempt([] { TidewellCore::sharedInstance().updateConfig(); });
  actOnRequests();
}
void ship() {
  attempt([] {
    TWLogger::logWithVerbosity(TWLogVerbosityDetailed, TWLogSeverityError, {"f", 1, "m", "t"},
                               base::Array{"x"});
  });
  actOnRequests();
}
void warmUp() {
  start();
  config().updateConfigFromResponse(configuration());
  actOnRequests();
}

void nothing() {}

}  // namespace

const std::vector<Scenario> scenarios{
    {"start", false, nothing, [] { attempt(start); }, nothing},
    {"configuration", false, makeRecord, actOnConfiguration, checkConfiguration},
    {"wrong classes", false,
     [] {
       start();
       config().updateConfigFromResponse(base::JSONObjectWithData(
           R"({"a_s": ["x"], "i_s": 5, "g_s": {}, "p_f_s": 1.5, "le_s": ["y"], "b_e": "spam", "b_uid_r": 7})"));
     },
     actOnWrongClasses, nothing},
    {"log", false, start, actOnLogger, nothing},
    {"delegate", false, makeDelegates, actOnDelegates, checkDelegates},
    {"objects", false, nothing, actOnObjects, useObjects},
    {"links", false, makeDelegates, actOnLinks, checkLinks},
    {"utilities", false, start, actOnUtilities, useUtilities},
    {"first requests", true, start, actOnSync, nothing},
    {"more requests", true, warmUp, actOnSync, nothing},
    {"shipped lines", true, warmUp, ship, nothing},
};

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::abort();
}

void enter(const World& entered) { world = entered; }

void warmUpLibraries() {
  base::MatchBudget budget;
  static_cast<void>(base::RegularExpression("[0-9]+").matches("1", budget));
  static_cast<void>(base::DateFormatter("EEE", base::TimeZone::UTC()).stringFromDate({0}));
  if (void* const curl = dlopen("libcurl.so.4", RTLD_NOW)) {
    if (void* const initialize = dlsym(curl, "curl_global_init"))
      reinterpret_cast<int (*)(long)>(initialize)(3);
  }
  if (void* const ssl = dlopen("libssl.so.3", RTLD_NOW)) {
    void* const method = dlsym(ssl, "TLS_client_method");
    void* const make = dlsym(ssl, "SSL_CTX_new");
    if (method != nullptr && make != nullptr) {
      reinterpret_cast<void* (*)(const void*)>(make)(reinterpret_cast<const void* (*)()>(method)());
    }
  }
}

void liveBefore(const World& entered) {
  enter(entered);
  install();
  TWCoreUtils::saveAppId("A");
  config().updateConfigFromResponse(configuration());
  config().setUserPushNotificationOptedOut(true);
  config().setDataRedirectionRegion(TWDataRegionEurope);
  auto& defaults = platform::Platform::current().standardUserDefaults();
  defaults.setObject(platform::Platform::current().clock().now(), kConfigLastUpdatedKey);
  defaults.setObject(TWCoreUtils::getSDKUniqueIdForUser(), "identity");
  defaults.synchronize();
}

void checkThatTheSdkWorks(bool usesNetwork) {
  start();
  drain();
  require(completions == expected, "a completion came twice");
  if (usesNetwork) {
    bool succeeded = false;
    std::binary_semaphore answered{0};
    TWNetworkRequest(TWServiceGetConfig, std::nullopt, std::nullopt, base::Dictionary{{"q", 1}}, std::nullopt)
        .executeRequestWithCompletionBlock([&](bool success, const base::Value&) {
          succeeded = success;
          answered.release();
        });
    require(answered.try_acquire_for(std::chrono::seconds(20)) && succeeded, "a request with memory fails");
  }
  config().updateConfigFromResponse(configuration());
  require(!config().isUserPushEnabled(), "the opt-out from before is gone");
  config().setUserInAppNotificationOptedOut(true);
  const TWConfigManager onDisk;
  require(!onDisk.isUserPushEnabled() && !onDisk.isUserInAppEnabled() && onDisk.getEventBatchCount() == 7,
          "an opt-out is not on the disk");
  require(TWCoreUtils::getTidewellAppId() == "A", "the App ID is gone");
  require(platform::Platform::current().standardUserDefaults().stringForKey("identity") ==
              TWCoreUtils::getSDKUniqueIdForUser(),
          "the identity is another");
}

}  // namespace tidewell::torture
