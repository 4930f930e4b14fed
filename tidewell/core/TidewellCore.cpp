// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TidewellCore.h"

#include <atomic>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWConfigManager/internal/ConfigMerge.h"
#include "tidewell/core/TWConfigManager/internal/SyncTracker.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWNetwork/internal/ReplyFacts.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/internal/LogShipping.h"
#include "tidewell/core/TWUtils/TWRichLanding/TWWebViewHandler.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/internal/AppGroup.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell {
namespace {

using platform::Platform;

/// Registered by the facade, because a linker takes only referenced objects from a static library.
const base::MadeWhenLoaded logShippingRegistered(registerLogShipping);

constexpr std::int64_t kDownloadStatus = 200;

/// Whether a sync was due and consent was missing.
constinit std::atomic<bool> syncWaitsForConsent{false};

bool lacksConsent() {
  return platform::networkAccess(Platform::current()) == platform::NetworkAccess::needsConsent;
}

/// The result of checking the App ID before anything starts.
enum class AppIDCheck { proceed, stop };

AppIDCheck storeAppID(std::optional<std::string_view> appID) {
  if (const std::optional<std::string> stored = TWCoreUtils::getTidewellAppId()) {
    if (appID == stored) return AppIDCheck::proceed;
    TWCoreUtils::saveAppId(appID);
    platform::NotificationCenter::defaultCenter().postNotificationName(
        kNotificationNameUserResetOnAppIDChange);
    return AppIDCheck::stop;
  }
  if (!appID || appID->empty()) {
    logLine("Please check the initialize call. You have missed the APP ID");
    return AppIDCheck::stop;
  }
  TWCoreUtils::saveAppId(appID);
  return AppIDCheck::proceed;
}

/// Registers a handler. Its exceptions (a platform may raise anywhere) are reported and do not reach the
/// posting thread.
template <class Handler>
void observe(std::string_view name, Handler handler) {
  const auto guardedHandler = [handler](const platform::Notification& posted) {
    const base::CancellationShield shield;
    try {
      handler(posted);
    } catch (...) {
      try {
        platform::report("the handler of " + posted.name + " raised: " + base::currentExceptionDescription());
      } catch (...) {
        platform::report("the handler of a notification raised, and there is no memory to say what");
      }
    }
  };
  platform::NotificationCenter::defaultCenter().addObserver(name, guardedHandler);
}

/// One sync, from its request to its result. `attempt` only records it: the sync works without.
struct ConfigSync {
  ReplyFacts facts;
  std::unique_ptr<SyncAttempt> attempt;  ///< null if it could not be created

  /// Completes the result with the facts of the transfer.
  void end(SyncResult result) noexcept {
    if (!attempt) return;
    result.error = std::move(facts.error);
    result.httpStatus = static_cast<int>(facts.statusCode);
    std::optional<base::Date> due;
    try {
      due = ConfigMerge::nextDue(TWConfigManager::sharedInstance());
    } catch (...) {  // a host's own platform raised
    }
    attempt->end(std::move(result), due);
  }
};

/// The result of a sync without a reply.
SyncResult failedResult(const ReplyFacts& facts) {
  if (facts.error) return {SyncOutcome::failed, facts.error->localizedDescription};
  if (!facts.exception.empty()) return {SyncOutcome::failed, facts.exception};
  return {SyncOutcome::failed, "HTTP status " + std::to_string(facts.statusCode)};
}

/// The result of a sync with a reply, after its merge.
SyncResult mergedResult(const ReplyFacts& facts, const base::Value& response, const ConfigMerge& merge) {
  if (facts.body == ReplyFacts::Body::empty) return {SyncOutcome::unusableReply, "empty"};
  if (facts.body == ReplyFacts::Body::notJSON) return {SyncOutcome::unusableReply, "not JSON"};
  if (response.dictionary() == nullptr) return {SyncOutcome::unusableReply, "not an object"};
  if (merge.isComplete) return {SyncOutcome::synced};
  if (!merge.stoppedAt.empty()) return {SyncOutcome::mergeStopped, std::string(merge.stoppedAt)};
  return {SyncOutcome::failed, merge.reason};
}

/// Handles the end of a sync. A reply is merged regardless of `success`.
SyncResult handleConfigReply(bool success, const base::Value& response, const ReplyFacts& facts) {
  static constexpr LogCoordinates kWhere{"TidewellCore", 116, "updateConfig",
                                         "Exception Config API completion Block : %@", TWLogSeverityError};
  try {
    if (success) logLine("SDK Config Synced");
    if (response.isNil()) return failedResult(facts);
    logLine([&] { return base::stringWithFormat("Config Response : %@", {response}); });

    Platform& platform = Platform::current();
    platform.standardUserDefaults().setObject(platform.clock().now(), kConfigLastUpdatedKey);
    platform.standardUserDefaults().synchronize();
    return mergedResult(facts, response, ConfigMerge::of(TWConfigManager::sharedInstance(), response));
  } catch (...) {
    logCaughtExceptionWithStackTrace(kWhere);
    return {SyncOutcome::failed, base::currentExceptionDescription()};
  }
}

}  // namespace

TidewellCore& TidewellCore::sharedInstance() {
  static constinit std::atomic<TidewellCore*> core{nullptr};
  return base::madeOnce(core);
}

void TidewellCore::initializeWithAppID(std::optional<std::string_view> appID) {
  static constexpr LogCoordinates kWhere{
      "TidewellCore", 68, "initializeWithAppID:", "exception in initializing TidewellCore is %@"};
  guarded(kWhere, [&] {
    if (storeAppID(appID) == AppIDCheck::stop) return;
    addObserverForApplicationLifeCycle();
    TWConfigManager::sharedInstance().printCurrentServicesStatus();
    updateConfig();
  });
}

void TidewellCore::addObserverForApplicationLifeCycle() {
  // The core is stateless, so the immortal instance can serve all others.
  observe(platform::UIApplicationWillEnterForegroundNotification, [](const platform::Notification& posted) {
    sharedInstance().applicationEnteredForeground(posted);
  });
  observe(kNotificationNameUserReset, [](const auto&) { sharedInstance().userReset(); });
  observe(kNotificationNameUpdateModules, [](const auto&) { sharedInstance().updateConfig(); });
}

void TidewellCore::applicationEnteredForeground(const platform::Notification&) {
  TWConfigManager::sharedInstance().printCurrentServicesStatus();
  updateConfig();
}

void TidewellCore::userReset() {
  platform::UserDefaults& defaults = Platform::current().standardUserDefaults();
  defaults.removeObjectForKey(kConfigLastUpdatedKey);
  defaults.synchronize();
  SyncTracker::shared().noteReset();
}

void TidewellCore::updateConfig() {
  static constexpr LogCoordinates kWhere{"TidewellCore", 122, "updateConfig",
                                         "exception while config Sync %@"};
  guarded(kWhere, [] {
    if (!TWConfigManager::sharedInstance().shouldSyncConfig()) {
      SyncTracker::shared().noteNotDue(ConfigMerge::nextDue(TWConfigManager::sharedInstance()));
      return;
    }
    if (!Platform::isInstalled()) return;  // the empty platform would start a thread to fail the request
    if (lacksConsent()) {
      syncWaitsForConsent = true;
      // A simultaneous `giveConsent` has either seen the flag, and syncs, or its consent is seen here.
      if (lacksConsent() || !syncWaitsForConsent.exchange(false)) {
        logLine("The config sync waits for the user's consent");
        return;
      }
    }
    logLine("Config request initiated:");
    const auto sync = std::make_shared<ConfigSync>();
    sync->attempt = SyncTracker::shared().begin();
    try {
      base::Dictionary body;
      setObjectNilHandled(body, TWNetworkConfiguration::getQueryParamsBodyDictForService(TWServiceGetConfig),
                          "query_params");
      const TWNetworkRequest request(TWServiceGetConfig, std::nullopt, std::nullopt, std::move(body),
                                     TWCoreUtils::getTidewellAppId());
      const auto completion = [sync](bool success, const base::Value& response) {
        sync->end(handleConfigReply(success, response, sync->facts));
      };
      fetchConfiguration(request, completion, std::shared_ptr<ReplyFacts>(sync, &sync->facts));
    } catch (...) {
      sync->end({SyncOutcome::failed, base::currentExceptionDescription()});
      throw;
    }
  });
}

SyncStatus TidewellCore::syncStatus() { return SyncTracker::shared().status(); }

SyncObservation TidewellCore::observeSync(std::function<void(const SyncStatus&)> observer) {
  return SyncTracker::shared().observe(std::move(observer));
}

SyncWait TidewellCore::waitForSync(std::chrono::milliseconds timeout) {
  const bool onSession =
      Platform::isInstalled() &&
      TWNetworkConfiguration::defaultConfiguration().getTWURLSession()->needsCallingThread();
  return SyncTracker::shared().wait(timeout, onSession);
}

void TidewellCore::giveConsent() {
  const base::CancellationShield shield;
  platform::setConsent(Platform::current(), true);
  if (syncWaitsForConsent.exchange(false)) updateConfig();
}

void TidewellCore::revokeConsent() {
  const base::CancellationShield shield;
  platform::setConsent(Platform::current(), false);
}

bool TidewellCore::hasConsent() { return platform::hasConsent(Platform::current()); }

void TidewellCore::debug(std::int64_t level) { TWLogger::debug(level); }

void TidewellCore::redirectDataToRegion(TWDataRegion region) {
  TWConfigManager::sharedInstance().setDataRedirectionRegion(region);
}

void TidewellCore::setAppGroupID(std::optional<std::string_view> appGroupID) {
  if (!TWConfigManager::sharedInstance().isAccountActive() || !appGroupID || appGroupID->empty()) return;
  platform::UserDefaults& defaults = Platform::current().standardUserDefaults();
  defaults.setObject(*appGroupID, kAppGroupIDKey);
  defaults.synchronize();
}

bool TidewellCore::isDeviceUniqueIDPresentInKeyChain() {
  return TWNetworkUtils::isDeviceUniqueIDPresentInKeyChain();
}

void TidewellCore::downloadImageForURL(std::optional<base::Url> url, TWImageCompletion andCompletionHandler) {
  if (!url) {
    if (andCompletionHandler) runForHost([&] { andCompletionHandler(false, std::nullopt); });
    return;
  }
  std::shared_ptr<const TWImageCompletion> completion;
  try {
    completion = std::make_shared<const TWImageCompletion>(std::move(andCompletionHandler));
    Platform::current().sharedUrlSession().dataTaskWithRequest(
        platform::UrlRequest(std::move(url)), [completion](const platform::UrlTaskResult& result) {
          const bool success = result.data && !result.error && result.response &&
                               result.response->statusCode == kDownloadStatus;
          if (*completion) (*completion)(success, result.data);
        });
  } catch (const std::bad_alloc&) {  // the task was not accepted
    const TWImageCompletion& waiting = completion ? *completion : andCompletionHandler;
    if (waiting) runForHost([&waiting] { waiting(false, std::nullopt); });
  }
}

void TidewellCore::dismissRichLandingWebViewControllerWithAnimation(bool animated) {
  TWWebViewHandler::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(animated);
}

}  // namespace tidewell
