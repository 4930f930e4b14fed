// A host application for the tests of a whole life: does what standard input asks, one line each, and answers
// each with one line. Ends when there is nothing more to do, by returning from `main`.
//
//   life_app PORT CA_FILE     (XDG_DATA_HOME and TZ from the environment, as for any application)
//
// With LIFE_HOST_LOOP in the environment it has a loop of its own, which it never runs.
#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

namespace {

using namespace tidewell;

posix::PosixPlatform* platform_ = nullptr;
std::unique_ptr<platform::FileLock> heldLock;

/// What has happened so far, and a way to wait for more.
class Events {
 public:
  void count(const std::string& name) {
    const std::lock_guard lock(mutex_);
    ++counts_[name];
    changed_.notify_all();
  }
  void countLine(std::string_view line) {
    for (const auto& [words, name] : kLines) {
      if (line.find(words) != std::string_view::npos) count(name);
    }
  }
  int of(const std::string& name) {
    const std::lock_guard lock(mutex_);
    return counts_[name];
  }
  void waitFor(const std::function<bool(std::map<std::string, int>&)>& happened) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return happened(counts_); });
  }

 private:
  static constexpr std::array<std::pair<std::string_view, const char*>, 6> kLines{{
      {"Config request initiated:", "requested"},
      {"SDK Config Synced", "synced"},
      {"Api failed with response", "failed"},
      {"line number - 118 ", "merge stopped"},
      {"cannot be decoded and is kept aside", "kept aside"},
      {"changes wait beside it", "waits"},
  }};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, int> counts_;
};

/// Never destroyed: the SDK's threads go on telling while `main` returns.
Events& events = *new Events;

/// Returns when everything that is on a queue now has run.
void drain(platform::Queue& queue) {
  const int before = events.of("drained");
  queue.async([] { events.count("drained"); });
  events.waitFor([&](auto& counts) { return counts["drained"] > before; });
}

/// Does something that may start a sync: how that ended, or "none".
std::string sync(const std::function<void()>& trigger) {
  const int requested = events.of("requested");
  const int synced = events.of("synced");
  const int failed = events.of("failed");
  trigger();
  drain(platform_->mainQueue());
  const int expected = events.of("requested") - requested;
  if (expected == 0) return "none";
  events.waitFor(
      [&](auto& counts) { return counts["synced"] - synced + counts["failed"] - failed >= expected; });
  drain(platform_->mainQueue());  // the merge comes after the line
  return events.of("synced") > synced ? "synced" : "failed";
}

std::string post(std::string_view name) {
  return sync([&] { platform::NotificationCenter::defaultCenter().postNotificationName(name); });
}

/// Everything that the configuration answers, as one line of JSON.
std::string answers() {
  const TWConfigManager& config = TWConfigManager::sharedInstance();
  std::string gates;
  for (const bool gate :
       {config.isAccountActive(), config.isInAppServiceActive(), config.isGeofenceServiceActive(),
        config.isInboxServiceActive(), config.isLogentriesEnabled(), config.isPeriodicSyncEnabled(),
        config.isDeviceTriggerEnabled(), config.isDataTrackingEnabled(), config.isUserPushEnabled(),
        config.isUserInAppEnabled()}) {
    gates += gate ? 'y' : 'n';
  }
  const base::Array numbers{config.getInboxDefaultExpiry(),          config.getPeriodicSyncDuration(),
                            config.getRealTimeTriggerSyncInterval(), config.getUserAttributeCachingDuration(),
                            config.getSessionInActiveDuration(),     config.getEventBatchCount()};
  std::string tests;
  for (const bool test : {config.isEventBlackListed("spam"), config.isEventInstantFlushEvent("buy"),
                          config.isEventWhitelistedEvent("consent"), config.isUniqueIDRestricted("12345"),
                          config.isUniqueIDRestricted("u12345")}) {
    tests += test ? 'y' : 'n';
  }
  return base::dataWithJSONObject(base::Array{
      gates, numbers, tests, config.getBlackListedEvents(), config.getInstantFlushEvents(),
      config.getWhitelistedEvents(), config.getSourceExtraKeys(), config.getRestrictedUniqueIDRegex(),
      config.getLogEntriesToken(), std::int64_t{config.getDataRedirectionRegion()}});
}

/// Sends a request with the parameters of the service; `body` as it is for the log service.
std::string call(TWService service, const std::string& component) {
  base::Dictionary body{{"query_params", TWNetworkUtils::getQueryParamsBodyDictForService(service)}};
  if (service == TWServiceSendLogs) {
    body = {{"appid", "A"},   {"uid", "u"}, {"lvl", "d"}, {"tb", ""},
            {"sdk_ver", "1"}, {"msg", "m"}, {"tm_s", "1"}};
  }
  base::Dictionary params;
  if (!component.empty()) params.setObject("1 &\xC3\xA9", "q");
  const int before = events.of("completed");
  std::string result;
  {
    const TWNetworkRequest request(service, params,
                                   base::Dictionary{{"X-Module", "life"}, {kAPIHeadersAppID, "another"}},
                                   body, component.empty() ? std::nullopt : std::optional(component));
    request.executeRequestWithCompletionBlock([&result](bool success, const base::Value& response) {
      result = (success ? "yes " : "no ") + std::string(response.isNil() ? "nil" : response.className());
      events.count("completed");
    });
  }
  events.waitFor([&](auto& counts) { return counts["completed"] > before; });
  return result;
}

/// Merges records in which everything tells the same number, and says after each which one it was.
std::string merge(int first, int count) {
  for (int number = first; number < first + count; ++number) {
    base::Array list;
    for (int i = 0; i < 20; ++i) list.addObject(std::to_string(number));
    TWConfigManager::sharedInstance().updateConfigFromResponse(
        base::Dictionary{{"p_f_t", number},
                         {"s_i_d", number},
                         {"b_e", list},
                         {"e_b_c", number},
                         {"le_tkn", std::to_string(number)}});
    std::printf("%d\n", number);
  }
  return "merged";
}

/// The number that a record of `merge` tells; -1 where its parts do not belong together.
int mergedNumber() {
  const TWConfigManager& config = TWConfigManager::sharedInstance();
  const auto number = config.getEventBatchCount();
  const base::Value list = config.getBlackListedEvents();
  bool whole = config.getPeriodicSyncDuration() == number && config.getSessionInActiveDuration() == number &&
               config.getLogEntriesToken().description() == std::to_string(number) && list.array() &&
               list.array()->count() == 20;
  for (std::size_t i = 0; whole && i < 20; ++i) {
    whole = list.array()->objectAtIndex(i).description() == std::to_string(number);
  }
  return whole ? static_cast<int>(number) : -1;
}

std::string setDefaults(const std::string& prefix) {
  for (int i = 0; i < 25; ++i) {
    platform_->standardUserDefaults().setObject(i, prefix + std::to_string(i));
    platform_->standardUserDefaults().synchronize();
  }
  return "set";
}

int countDefaults(const std::string& prefix) {
  int count = 0;
  for (int i = 0; i < 25; ++i) {
    count += platform_->standardUserDefaults().objectForKey(prefix + std::to_string(i)) == base::Value(i);
  }
  return count;
}

/// On one line.
std::string shown(const base::Value& value) {
  std::string text = value.isNil() ? "nil" : value.description();
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

/// What stands before and after the first blank.
std::pair<std::string, std::string> split(const std::string& text) {
  const auto blank = std::min(text.find(' '), text.size());
  return {text.substr(0, blank), text.substr(std::min(blank + 1, text.size()))};
}

using Command = std::function<std::string(const std::string& argument)>;

const std::map<std::string, Command>& commands() {
  static const std::map<std::string, Command> all = {
      {"start",
       [](auto& id) { return sync([&] { TidewellCore::sharedInstance().initializeWithAppID(id); }); }},
      {"start-only",
       [](auto& id) { return TidewellCore::sharedInstance().initializeWithAppID(id), "started"; }},
      {"update", [](auto&) { return post(kNotificationNameUpdateModules); }},
      {"reset", [](auto&) { return post(kNotificationNameUserReset); }},
      {"foreground", [](auto&) { return sync([] { platform_->enterForeground(); }); }},
      {"answers", [](auto&) { return answers(); }},
      {"call",
       [](auto& text) {
         const auto [number, component] = split(text);
         return call(static_cast<TWService>(std::stoi(number)), component);
       }},
      {"count", [](auto& name) { return std::to_string(events.of(name)); }},
      {"region",
       [](auto& text) {
         return TidewellCore::sharedInstance().redirectDataToRegion(TWDataRegion{std::stoi(text)}), "set";
       }},
      {"opt-out-push",
       [](auto&) { return TWConfigManager::sharedInstance().setUserPushNotificationOptedOut(true), "set"; }},
      {"opt-out-inapp",
       [](auto&) { return TWConfigManager::sharedInstance().setUserInAppNotificationOptedOut(true), "set"; }},
      {"group", [](auto& name) { return TidewellCore::sharedInstance().setAppGroupID(name), "set"; }},
      {"token",
       [](auto& token) {
         return TWCoreUtils::saveDeviceToken(token), TWCoreUtils::registerInstall(), "set";
       }},
      {"flutter",
       [](auto& version) {
         platform_->standardUserDefaults().setObject(version, Tidewell_Flutter_SDK_Version);
         platform_->standardUserDefaults().synchronize();
         return "set";
       }},
      {"identity",
       [](auto&) {
         const auto device = TWNetworkUtils::getDeviceUniqueID();
         drain(platform_->globalQueue());  // the keychain is written there
         return shown(TWCoreUtils::getSDKUniqueIdForUser()) + " " + shown(device) + " " +
                shown(TidewellCore::sharedInstance().isDeviceUniqueIDPresentInKeyChain()) + " " +
                shown(TWCoreUtils::getDeviceToken()) + " " + shown(TWCoreUtils::installRegistered());
       }},
      {"synced-ago",
       [](auto& seconds) {
         platform_->standardUserDefaults().setObject(
             base::Date{platform_->clock().now().secondsSince1970 - std::stod(seconds)},
             kConfigLastUpdatedKey);
         platform_->standardUserDefaults().synchronize();
         return "set";
       }},
      {"stamped",
       [](auto&) {
         return platform_->standardUserDefaults().objectForKey(kConfigLastUpdatedKey).date() ? "yes" : "no";
       }},
      {"batch", [](auto&) { return std::to_string(TWConfigManager::sharedInstance().getEventBatchCount()); }},
      {"merge-json",
       [](auto& json) {
         return TWConfigManager::sharedInstance().updateConfigFromResponse(base::JSONObjectWithData(json)),
                "merged";
       }},
      {"hold-archive",
       [](auto&) {
         const auto path = TWConfigManager::sharedInstance().getFilePathForConfig();
         heldLock = platform_->fileManager().lockForPath(*path).lock;
         return heldLock ? "held" : "not held";
       }},
      {"release-archive", [](auto&) { return heldLock.reset(), "released"; }},
      {"merge", [](auto& first) { return merge(std::stoi(first), 200); }},
      {"merged", [](auto&) { return std::to_string(mergedNumber()); }},
      {"default", [](auto& key) { return shown(platform_->standardUserDefaults().objectForKey(key)); }},
      {"shared",
       [](auto& key) {
         const auto group = platform_->standardUserDefaults().stringForKey("Tdw_App_Group_ID");
         const auto suite = platform_->userDefaultsWithSuiteName(group.value_or(""));
         return suite ? shown(suite->objectForKey(key)) : "no group";
       }},
      {"set-defaults", setDefaults},
      {"count-defaults", [](auto& prefix) { return std::to_string(countDefaults(prefix)); }},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  posix::Options options;
  options.bundleIdentifier = "org.example.life";
  options.version = "3.1";
  options.consoleSink = [](std::string_view line) { events.countLine(line); };
  if (std::getenv("LIFE_HOST_LOOP") != nullptr) options.mainLoop = posix::MainLoop::host;
  options.caFile = argv[2];
  options.proxy = "-";
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES}) {
    options.connectionOverrides.push_back(
        {std::string(host), 443, "127.0.0.1", static_cast<std::uint16_t>(std::stoi(argv[1]))});
  }
  platform_ = posix::install(options);
  if (platform_ == nullptr) return 3;
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);

  for (std::string line; std::getline(std::cin, line);) {
    const auto [word, argument] = split(line);
    const auto found = commands().find(word);
    if (found == commands().end()) return 4;
    std::printf("%s\n", found->second(argument).c_str());
  }
}
