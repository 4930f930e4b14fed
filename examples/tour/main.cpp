// SPDX-License-Identifier: Apache-2.0
// Shows an application that uses the SDK over several starts: first start, second start, a start without a
// network, a sync that fails, and why an answer is as it is.
//
//   tour CONTROL_PORT
//
// The environment names the stand-in backend (see ../StandIn.h) and the folder for the application's data
// (XDG_DATA_HOME). Each start runs in a process of its own. Exits with 0 only if every answer was right.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "../StandIn.h"
#include "BackendControl.h"
#include "Transcript.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TidewellCore.h"

namespace {

using tidewell::SyncOutcome;
using tidewell::SyncStatus;
using tidewell::TidewellCore;
using tidewell::TWConfigManager;
using tidewell::TWNetworkRequest;
using tidewell::base::Value;
using tidewell::platform::NotificationCenter;

constexpr std::string_view kAppID = "DEMO_APP";

constexpr const char* kFirstConfiguration = R"({
  "a_s": "allowed", "i_s": "allowed", "in_s": "allowed", "g_s": "blocked", "le_s": "blocked", "d_t": "allowed", "p_f_s": "allowed",
  "p_f_t": 120, "i_d_e": 604800, "dt_s_t": 0, "u_a_c_t": 900, "s_i_d": "1200", "e_b_c": 50,
  "b_e": ["debug_click", "spam"], "f_e": ["purchase"], "d_t_w_e": ["consent_given"], "src_ext": ["campaign"],
  "b_uid_r": ["[0-9]+", "test_.*"], "le_tkn": "demo-token"
})";
constexpr const char* kSecondConfiguration =
    R"({"i_s": "blocked", "b_e": ["purchase"], "e_b_c": 5, "le_s": "allowed", "le_tkn": "demo-token"})";

/// Changes the options of a run.
using Choice = void (*)(tidewell::posix::Options&);

/// One run of the application: a process, a platform, the SDK, and the transcript of its answers.
class Life {
 public:
  explicit Life(int controlPort) : backend(controlPort) {}

  bool start(Choice choose) {
    tidewell::posix::Options options;
    options.setBundleIdentifier("org.example.tour");
    options.setVersion("2.1");
    options.setMainLoop(tidewell::posix::MainLoop::host);
    options.setConsoleSink([](std::string_view line) {
      std::string text(line.substr(0, 160));
      std::replace(text.begin(), text.end(), '\n', ' ');
      std::printf("     log: %s%s\n", text.c_str(), line.size() > text.size() ? "…" : "");
    });
    useStandIn(options);
    if (choose != nullptr) choose(options);
    platform_ = tidewell::posix::install(options);
    return platform_ != nullptr;
  }

  void initialize() { TidewellCore::sharedInstance().initializeWithAppID(kAppID); }

  /// Runs the application's loop until `happened` answers true, at most five seconds.
  bool waitUntil(const std::function<bool()>& happened) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!happened() && std::chrono::steady_clock::now() < end)
      platform_->runMainQueue(std::chrono::milliseconds(10));
    return happened();
  }
  /// Runs the application's loop until no sync is in flight. An application with a loop of its own would use
  /// `observeSync`, a program without one `waitForSync`.
  tidewell::SyncStatus statusAfterSync() {
    waitUntil([] { return TidewellCore::sharedInstance().syncStatus().outcome() != SyncOutcome::inFlight; });
    return TidewellCore::sharedInstance().syncStatus();
  }

  /// Sends a request. Whether it succeeded.
  bool call(tidewell::TWService service) {
    int answer = -1;
    TWNetworkRequest request(service, std::nullopt, std::nullopt,
                             tidewell::base::Dictionary{{"query_params", Value(TWNetworkUtilsParams())}},
                             std::nullopt);
    out.note("POST " +
             (request.requestURL() ? request.requestURL()->absoluteString() : std::string("(no URL)")));
    request.executeRequestWithCompletionBlock(
        [&answer](bool success, const Value&) { answer = success ? 1 : 0; });
    waitUntil([&] { return answer >= 0; });
    return answer == 1;
  }

  Transcript out;
  BackendControl backend;
  TWConfigManager& config() { return TWConfigManager::sharedInstance(); }
  tidewell::posix::PosixPlatform& platform() { return *platform_; }

 private:
  static tidewell::base::Dictionary TWNetworkUtilsParams() {
    return tidewell::TWNetworkUtils::getRequestParamsWithV1(false).value_or(tidewell::base::Dictionary());
  }
  tidewell::posix::PosixPlatform* platform_ = nullptr;
};

/// The outcome, and the reason if it is no success.
std::string textOf(const SyncStatus& status) {
  static constexpr const char* kNames[] = {"never tried",    "not due",       "in flight", "synced",
                                           "unusable reply", "merge stopped", "failed"};
  std::string text = kNames[static_cast<int>(status.outcome())];
  if (!status.detail().empty()) text.append(": ").append(status.detail());
  return text;
}

void showGates(Life& life, bool inApp, bool geofence, bool dataTracking) {
  auto& config = life.config();
  life.out.expect("isAccountActive", true, config.isAccountActive());
  life.out.expect("isInAppServiceActive", inApp, config.isInAppServiceActive());
  life.out.expect("isGeofenceServiceActive", geofence, config.isGeofenceServiceActive());
  life.out.expect("isInboxServiceActive", true, config.isInboxServiceActive());
  life.out.expect("isLogentriesEnabled", false, config.isLogentriesEnabled());
  life.out.expect("isPeriodicSyncEnabled", true, config.isPeriodicSyncEnabled());
  life.out.expect("isDeviceTriggerEnabled", true, config.isDeviceTriggerEnabled());
  life.out.expect("isDataTrackingEnabled", dataTracking, config.isDataTrackingEnabled());
  life.out.expect("isUserPushEnabled", true, config.isUserPushEnabled());
  life.out.expect("isUserInAppEnabled", true, config.isUserInAppEnabled());
}

void firstStart(Life& life) {
  auto& out = life.out;
  auto& config = life.config();
  out.expect("backend accepts the first configuration", true,
             life.backend.setConfiguration(kFirstConfiguration));
  out.note("before the first reply every answer is a default:");
  out.expect("isGeofenceServiceActive", true, config.isGeofenceServiceActive());
  out.expect("getEventBatchCount", 30, config.getEventBatchCount());
  out.expect("syncStatus", "never tried", textOf(TidewellCore::sharedInstance().syncStatus()));
  int changes = 0;
  const auto observation = TidewellCore::sharedInstance().observeSync([&](const SyncStatus&) { ++changes; });
  life.initialize();
  out.expect("syncStatus", "in flight", textOf(TidewellCore::sharedInstance().syncStatus()));
  out.expect("waitForSync refuses to hold up the main queue", true,
             TidewellCore::sharedInstance().waitForSync(std::chrono::seconds(5)).error().has_value());
  out.expect("syncStatus after a reply over HTTPS", "synced", textOf(life.statusAfterSync()));
  out.expect("the observer was called", true, life.waitUntil([&] { return changes > 1; }));

  out.heading("  Gates");
  showGates(life, true, false, true);
  out.heading("  Numbers (seconds; a 0 from the server means the default)");
  out.expect("getPeriodicSyncDuration", 120, config.getPeriodicSyncDuration());
  out.expect("getInboxDefaultExpiry", 604800, config.getInboxDefaultExpiry());
  out.expect("getRealTimeTriggerSyncInterval", 10800, config.getRealTimeTriggerSyncInterval());
  out.expect("getUserAttributeCachingDuration", 900, config.getUserAttributeCachingDuration());
  out.expect("getSessionInActiveDuration", 1200, config.getSessionInActiveDuration());
  out.expect("getEventBatchCount", 50, config.getEventBatchCount());
  out.heading("  Events");
  out.expect("isEventBlackListed(\"spam\")", true, config.isEventBlackListed("spam"));
  out.expect("isEventBlackListed(\"Spam\")", false, config.isEventBlackListed("Spam"));
  out.expect("isEventInstantFlushEvent(\"purchase\")", true, config.isEventInstantFlushEvent("purchase"));
  out.expect("isEventWhitelistedEvent(\"consent_given\")", true,
             config.isEventWhitelistedEvent("consent_given"));
  out.expect("getSourceExtraKeys, count", 1,
             config.getSourceExtraKeys().array() == nullptr
                 ? 0
                 : static_cast<std::int64_t>(config.getSourceExtraKeys().array()->count()));
  out.expect("getLogEntriesToken", "demo-token", config.getLogEntriesToken().description());
  out.heading("  Unique IDs (an expression must match the whole ID)");
  out.expect("isUniqueIDRestricted(\"12345\")", true, config.isUniqueIDRestricted("12345"));
  out.expect("isUniqueIDRestricted(\"user-12345\")", false, config.isUniqueIDRestricted("user-12345"));
  out.expect("isUniqueIDRestricted(nullopt)", true, config.isUniqueIDRestricted(std::nullopt));

  out.heading("  The user opts out of data tracking");
  config.setDataTrackingOptedOut(true);
  showGates(life, true, false, false);

  out.heading("  Another service, then another region");
  out.expect("inbox answers", true, life.call(tidewell::TWServiceInbox));
  TidewellCore::sharedInstance().redirectDataToRegion(tidewell::TWDataRegionEurope);
  out.expect("inbox answers in Europe", true, life.call(tidewell::TWServiceInbox));
}

void secondStart(Life& life) {
  auto& out = life.out;
  auto& config = life.config();
  const int before = life.backend.requestCount();
  out.note("answers from the archive, before the SDK is started:");
  showGates(life, true, false, false);
  out.expect("getEventBatchCount", 50, config.getEventBatchCount());
  out.expect("getDataRedirectionRegion", tidewell::TWDataRegionEurope, config.getDataRedirectionRegion());
  life.initialize();
  out.expect("syncStatus", "not due", textOf(TidewellCore::sharedInstance().syncStatus()));
  life.platform().runMainQueue(std::chrono::milliseconds(200));
  out.expect("requests sent within the hour", 0, life.backend.requestCount() - before);

  out.heading("  The server's configuration changes; a user reset makes the sync due");
  out.expect("backend accepts the second configuration", true,
             life.backend.setConfiguration(kSecondConfiguration));
  NotificationCenter::defaultCenter().postNotificationName(tidewell::kNotificationNameUserReset);
  NotificationCenter::defaultCenter().postNotificationName(tidewell::kNotificationNameUpdateModules);
  out.expect("syncStatus", "synced", textOf(life.statusAfterSync()));
  out.note("keys missing in the reply go back to their defaults; the opt-out stays:");
  out.expect("isInAppServiceActive", false, config.isInAppServiceActive());
  out.expect("getPeriodicSyncDuration", 60, config.getPeriodicSyncDuration());
  out.expect("isEventBlackListed(\"purchase\")", true, config.isEventBlackListed("purchase"));
  out.expect("isUniqueIDRestricted(\"12345\")", false, config.isUniqueIDRestricted("12345"));
  out.expect("isDataTrackingEnabled", false, config.isDataTrackingEnabled());

  out.heading("  This configuration enables log shipping: a failed request is shipped");
  out.expect("isLogentriesEnabled", true, config.isLogentriesEnabled());
  out.expect("backend will answer the inbox with status 503 once", true,
             life.backend.addFault("service=7,kind=status:503,times=1"));
  out.expect("inbox answers", false, life.call(tidewell::TWServiceInbox));
  std::string shipped;
  life.waitUntil([&] { return !(shipped = life.backend.lastShippedLine()).empty(); });
  out.expect("the backend received a log line about it", true,
             shipped.find("Status Code: 503") != std::string::npos);
  out.note("the line: " + shipped.substr(0, shipped.find("{ Status")));
}

void offlineStart(Life& life) {
  auto& out = life.out;
  auto& config = life.config();
  out.heading("  A user reset makes the sync due; it fails");
  TidewellCore::sharedInstance().userReset();
  TidewellCore::sharedInstance().debug(tidewell::TWLogLevelDebug);
  life.initialize();
  const SyncStatus status = life.statusAfterSync();
  TidewellCore::sharedInstance().debug(tidewell::TWLogLevelOff);
  out.expect("syncStatus", true, status.outcome() == SyncOutcome::failed);
  out.note(textOf(status));
  out.expect("a sync had succeeded before", true, status.lastSuccess().has_value());
  out.expect("isInAppServiceActive (from the archive)", false, config.isInAppServiceActive());
  out.expect("getEventBatchCount (from the archive)", 5, config.getEventBatchCount());
}

void failedSync(Life& life) {
  auto& out = life.out;
  auto& config = life.config();
  out.expect("backend will answer with status 500 once", true,
             life.backend.addFault("service=0,kind=status:500,times=1"));
  out.note("kept from the last start: " + textOf(TidewellCore::sharedInstance().syncStatus()));
  life.initialize();
  out.expect("syncStatus", "failed: HTTP status 500", textOf(life.statusAfterSync()));
  out.expect("getEventBatchCount (from the archive)", 5, config.getEventBatchCount());

  out.heading("  The return to the foreground tries again");
  out.expect("backend accepts the first configuration", true,
             life.backend.setConfiguration(kFirstConfiguration));
  life.platform().enterForeground();
  life.waitUntil([&] { return config.getEventBatchCount() == 50; });
  out.expect("syncStatus", "synced", textOf(life.statusAfterSync()));
  out.expect("isInAppServiceActive", true, config.isInAppServiceActive());
}

constexpr const char* kBadReply = R"({
  "a_s": "Blocked", "le_s": "allowed", "p_f_tt": 60,
  "b_e": ["spam", "spam"], "b_uid_r": ["(a+)+b", "("],
  "s_i_d": ["1200"]
})";

void seeAndExplain(Life& life) {
  auto& out = life.out;
  const auto explanation = life.config().explanation("isInAppServiceActive");
  for (const tidewell::ExplanationStep& step : explanation->steps()) {
    const bool isFromReply = step.key() != "user_inapp_opt_out";
    out.note(tidewell::base::dataWithJSONObject(step.dictionary()));
    out.expect("  the value comes from the last reply", isFromReply,
               step.origin() == tidewell::ValueOrigin::lastReply);
  }
  out.expect("isInAppServiceActive, explained", life.config().isInAppServiceActive(),
             explanation->answer() == tidewell::Explanation::Answer::yes);

  out.heading("  What devices would do with a bad reply");
  std::string rules;
  for (const tidewell::LintFinding& finding : tidewell::lintConfiguration(kBadReply).findings()) {
    out.note(std::to_string(finding.line()) + ":" + std::to_string(finding.column()) + " " +
             std::string(finding.pointer()) + " " + std::string(finding.sentence()));
    rules += std::string(rules.empty() ? "" : " ") + std::string(finding.rule());
  }
  out.expect("rules",
             "status-unknown token-missing misspelled-key entry-twice expression-slow expression-invalid "
             "merge-stops absent-keys",
             rules);
}

void consentStart(Life& life) {
  auto& out = life.out;
  auto& core = TidewellCore::sharedInstance();
  const int before = life.backend.requestCount();
  core.userReset();  // makes the sync due
  life.initialize();
  out.expect("inbox answers before consent", false, life.call(tidewell::TWServiceInbox));
  out.expect("requests that reached the backend", 0, life.backend.requestCount() - before);
  core.giveConsent();
  out.expect("the sync that waited for consent", "synced", textOf(life.statusAfterSync()));
  out.expect("inbox answers", true, life.call(tidewell::TWServiceInbox));
  core.revokeConsent();
  out.expect("inbox answers after the consent was revoked", false, life.call(tidewell::TWServiceInbox));
}

struct Chapter {
  const char* title;
  Choice choose;
  void (*run)(Life&);
};

constexpr Chapter kChapters[] = {
    {"First start", nullptr, firstStart},
    {"Second start", nullptr, secondStart},
    {"A start with the option offline", [](auto& options) { options.setOffline(true); }, offlineStart},
    {"A sync that fails", nullptr, failedSync},
    {"Consent is required", [](auto& options) { options.setConsentRequired(true); }, consentStart},
    {"An answer explained, and a bad reply", [](auto& options) { options.setOffline(true); }, seeAndExplain},
};

/// Runs one chapter in a process of its own. Whether all its answers were right.
bool live(const Chapter& chapter, int controlPort) {
  std::printf("\n=== %s\n", chapter.title);
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    Life life(controlPort);
    if (!life.start(chapter.choose)) std::exit(1);
    chapter.run(life);
    std::fflush(stdout);
    std::exit(life.out.allRight() ? 0 : 1);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || std::atoi(argv[1]) <= 0) {
    std::fprintf(stderr, "usage: tour CONTROL_PORT\n");
    return 2;
  }
  bool allRight = true;
  for (const Chapter& chapter : kChapters) allRight = live(chapter, std::atoi(argv[1])) && allRight;
  std::printf("\n%s\n",
              allRight ? "Every answer was right." : "Some answers were wrong: see the lines with !!");
  return allRight ? 0 : 1;
}
