// SPDX-License-Identifier: Apache-2.0
// The host program of most process tests: `guest_host COMMANDS…` installs the platform, then executes each
// command and each line of standard input, and answers each with a line. Exits by returning from `main`.
//
// The environment chooses: HOST_UNINSTALLED leaves the installation to the command `install`, HOST_DEBUG logs
// everything; HostOptions.h reads the others.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <clocale>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "InChild.h"
#include "RefuseSystemCall.h"
#include "SyncText.h"
#include "hosts/EveryOperation.h"
#include "hosts/ForkMatrix.h"
#include "hosts/HostOptions.h"

namespace {

namespace fs = std::filesystem;
using namespace tidewell;
using guest::config;
using guest::core;
using guest::require;

/// The number of opened application files, and the offset of the wall clock in seconds. This program defines
/// some C library functions, which all libraries in the process use.
std::atomic<int> opens{0};
std::atomic<std::int64_t> wallClockStep{0};

posix::PosixPlatform* machine = nullptr;
/// The answer to the current command.
std::string answer;

/// Counters set by the library's threads.
std::atomic<int> drained{0}, fetched{0}, ended{0}, succeeded{0}, completed{0}, images{0};
void add(std::atomic<int>& count) { ++count, count.notify_all(); }
void waitFor(std::atomic<int>& count, int least) {
  for (int now = 0; (now = count) < least;) count.wait(now);
}

void install() {
  machine = posix::install(guest::hostOptions());
  require(machine != nullptr, "installation");
}

/// Waits until every function now on the queue has run.
void drain(platform::Queue& queue) {
  const int before = drained;
  queue.async([] { add(drained); });
  waitFor(drained, before + 1);
}

int sent = 0;
void send(int count) {
  for (int i = 0; i < count; ++i, ++sent) {
    guest::request().executeRequestWithCompletionBlock([](bool success, const base::Value&) {
      succeeded += success;
      add(ended);
    });
  }
}

/// The error of a request to the backend, or "arrived".
void fetch() {
  const int before = fetched;
  machine->sharedUrlSession().dataTaskWithRequest(
      platform::UrlRequest(base::Url::URLWithString("https://api.tidewell.example/v1/x")),
      [](const platform::UrlTaskResult& result) {
        answer = result.error ? std::to_string(result.error->code) + " " + result.error->localizedDescription
                              : "arrived";
        add(fetched);
      });
  waitFor(fetched, before + 1);
}

/// Sends a request with the parameters of its service. Returns whether it succeeded, and the reply's class.
void call(TWService service, const std::string& component) {
  base::Dictionary body{{"query_params", TWNetworkUtils::getQueryParamsBodyDictForService(service)}};
  if (service == TWServiceSendLogs) {
    body = {{"appid", "A"},   {"uid", "u"}, {"lvl", "d"}, {"tb", ""},
            {"sdk_ver", "1"}, {"msg", "m"}, {"tm_s", "1"}};
  }
  base::Dictionary params;
  if (!component.empty()) params.setObject("1 &\xC3\xA9", "q");
  const int before = completed;
  TWNetworkRequest(service, params, base::Dictionary{{"X-Module", "life"}, {kAPIHeadersAppID, "another"}},
                   body, component.empty() ? std::nullopt : std::optional(component))
      .executeRequestWithCompletionBlock([](bool success, const base::Value& reply) {
        answer = (success ? "yes " : "no ") + std::string(reply.isNil() ? "nil" : reply.className());
        add(completed);
      });
  waitFor(completed, before + 1);
}

/// All answers of the configuration as one line of JSON.
std::string answers() {
  const TWConfigManager& asked = config();
  const base::Array numbers{asked.getInboxDefaultExpiry(),          asked.getPeriodicSyncDuration(),
                            asked.getRealTimeTriggerSyncInterval(), asked.getUserAttributeCachingDuration(),
                            asked.getSessionInActiveDuration(),     asked.getEventBatchCount()};
  const std::string tests =
      guest::letters({asked.isEventBlackListed("spam"), asked.isEventInstantFlushEvent("buy"),
                      asked.isEventWhitelistedEvent("consent"), asked.isUniqueIDRestricted("12345"),
                      asked.isUniqueIDRestricted("u12345")});
  return base::dataWithJSONObject(base::Array{
      guest::gates(), numbers, tests, asked.getBlackListedEvents(), asked.getInstantFlushEvents(),
      asked.getWhitelistedEvents(), asked.getSourceExtraKeys(), asked.getRestrictedUniqueIDRegex(),
      asked.getLogEntriesToken(), std::int64_t{asked.getDataRedirectionRegion()}});
}

/// As one line.
std::string shown(const base::Value& value) {
  std::string text = value.isNil() ? "nil" : value.description();
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

/// Merges 200 records in which all properties have the same number, and prints the number after each.
void merge(int first) {
  for (int number = first; number < first + 200; ++number) {
    const std::string text = std::to_string(number);
    config().updateConfigFromResponse(base::Dictionary{
        {"p_f_t", number}, {"b_e", base::Array{text, text}}, {"e_b_c", number}, {"le_tkn", text}});
    std::printf("%d\n", number);
  }
}

/// Repeats a function forever in a detached thread.
template <class Function>
void repeatForever(Function function) {
  std::thread([function] {
    for (int i = 0;; ++i) function(i);
  }).detach();
}

/// Endless requests, log lines and merges.
void startBusyWork() {
  repeatForever([](int) { guest::use({"log"}), usleep(200); });
  repeatForever([](int i) {
    config().updateConfigFromResponse(base::Dictionary{{"e_b_c", i},
                                                       {"b_uid_r", base::Array{"[0-9]+" + std::to_string(i)}},
                                                       {"le_s", "allowed"},
                                                       {"le_tkn", "t"}});
  });
  send(8);
}

bool usesAtEnd = false;
void useAtEnd(const char* where) {
  if (!usesAtEnd) return;
  guest::use();
  std::printf("used by %s\n", where);
  std::fflush(stdout);
}
/// Constructed before `main`, so destroyed after everything registered by the SDK and its dependencies.
struct Static {
  ~Static() { useAtEnd("a static destructor"); }
} const aStatic;

void exitBy(const std::string& way) {
  if (way == "exit") exit(7);
  if (way == "quick_exit") quick_exit(7);
  std::thread([] { exit(7); }).detach();
  for (;;) pause();
}

/// For a forked child: answers come from the record, and operations that need a thread fail immediately.
void checkChild() {
  require(guest::gates().substr(0, 9) == "ynyynyyyy", "the child's gates");
  require(config().isEventBlackListed("spam"), "the child's lists");
  for (int i = 0; i < 3; ++i) {
    bool failed = false;
    guest::request().executeRequestWithCompletionBlock(
        [&](bool success, const base::Value&) { failed = !success; });
    require(failed, "the child's requests end at once");
  }
  require(core().syncStatus().outcome() != SyncOutcome::inFlight, "the parent's sync");
  core().userReset();
  core().updateConfig();
  require(!core().waitForSync(std::chrono::hours(1)).error(), "the end of the child's sync");
  TWCoreUtils::saveUniqueId("child");
  require(TWCoreUtils::getUniqueId() == "child", "the child's defaults");
  config().setUserInAppNotificationOptedOut(true);
  require(!config().isUserInAppEnabled(), "the child's opt-out");
}

/// Forks children at random times in a busy process.
void forkChildren(int count) {
  repeatForever([](int) {
    config().setDataTrackingOptedOut(false);
    TWCoreUtils::saveDeviceToken("token");
    guest::use({"texts", "dates", "log"});
  });
  for (int i = 0; i < count; ++i) {
    send(1);
    core().userReset();
    core().updateConfig();
    require(tidewell::waitFor(inChild(100, [i] { return checkChild(), i % 2 == 0 ? 0 : (exit(0), 0); })) == 0,
            "a child");
  }
  waitFor(ended, sent);
  require(succeeded == sent, "the parent's requests");
}

/// Cancels threads at random times during each operation. Needs HOST_LOOP.
void cancelThreads(int count) {
  std::mt19937 random(1);
  for (int i = 0; i < count; ++i) {
    std::thread thread([i] {
      for (;;) {
        machine->mainQueue().async([] { usleep(0); });
        if (i % 8 == 0) machine->runMainQueue(std::chrono::hours(1));
        guest::use();
        pthread_testcancel();
      }
    });
    usleep(random() % 30'000);
    pthread_cancel(thread.native_handle());
    thread.join();
  }
  guest::use();
  require(machine->runMainQueue(std::chrono::milliseconds(0)) > 0, "the main queue");
}

/// Runs all operations on a thread with a small stack.
void useOnStack(std::size_t bytes) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, bytes);
  pthread_setattr_default_np(&attributes);
  std::thread([] { guest::use(); }).join();
}

std::int64_t allocatedBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<std::int64_t>(heap.uordblks + heap.hblkhd);
}

/// Texts that careless code would make depend on the locale.
std::string localizedTexts() {
  return *TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"n", 1234567.25}, {"I", "Iıİi"}}) +
         base::Value(1234567.25).description() +
         *TWDateUtils::getStringForDate(base::Date{1e9}, "d MMMM yyyy EEEE", true) +
         shown(TWLogger::getLogforVerbosity(TWLogVerbosityDetailed, TWLogSeverityInfo,
                                            {"f", 1234567, "m", "t"}));
}

/// The text before and after the first blank.
std::pair<std::string, std::string> split(const std::string& text) {
  const auto blank = std::min(text.find(' '), text.size());
  return {text.substr(0, blank), text.substr(std::min(blank + 1, text.size()))};
}

platform::UserDefaults& defaults() { return machine->standardUserDefaults(); }
void store(const std::string& key, const base::Value& value) {
  defaults().setObject(value, key);
  defaults().synchronize();
}

/// A command receives the rest of its line and may set `answer`.
const std::map<std::string, void (*)(const std::string&)> kCommands{
    {"install", [](auto&) { install(); }},
    {"drain", [](auto&) { drain(machine->mainQueue()); }},
    {"busy", [](auto&) { startBusyWork(); }},
    {"use", [](auto&) { guest::use(); }},
    {"use-at-end",
     [](auto&) {
       usesAtEnd = true;
       std::atexit([] { useAtEnd("a handler"); });
       std::at_quick_exit([] { useAtEnd("a quick handler"); });
     }},
    {"exit", [](auto& way) { exitBy(way); }},

    {"start", [](auto& id) { core().initializeWithAppID(id); }},
    {"await",
     [](auto& count) {
       while (config().getEventBatchCount() != std::stoi(count)) usleep(2000);
     }},
    {"update", [](auto&) { core().updateConfig(); }},
    {"reset", [](auto&) { core().userReset(); }},
    {"status", [](auto&) { answer = textOf(core().syncStatus()); }},
    {"wait",
     [](auto&) {
       const SyncWait wait = core().waitForSync(std::chrono::minutes(2));
       answer = (wait.timedOut() ? "timed out, " : wait.error() ? "refused, " : "") + textOf(wait.status());
     }},
    {"foreground", [](auto&) { machine->enterForeground(); }},
    {"merge-json", [](auto& json) { config().updateConfigFromResponse(base::JSONObjectWithData(json)); }},
    {"merge", [](auto& first) { merge(std::stoi(first)); }},
    {"gates", [](auto&) { answer = guest::gates(); }},
    {"answers", [](auto&) { answer = answers(); }},
    {"batch", [](auto&) { answer = std::to_string(config().getEventBatchCount()); }},
    {"due", [](auto&) { answer = config().shouldSyncConfig() ? "due" : "recent"; }},
    {"opt-out-tracking", [](auto&) { config().setDataTrackingOptedOut(true); }},
    {"opt-out-push", [](auto&) { config().setUserPushNotificationOptedOut(true); }},
    {"opt-out-inapp", [](auto&) { config().setUserInAppNotificationOptedOut(true); }},
    {"region", [](auto& number) { core().redirectDataToRegion(TWDataRegion{std::stoi(number)}); }},

    {"send", [](auto& count) { send(std::stoi(count)); }},
    {"ended",
     [](auto&) {
       waitFor(ended, sent);
       answer = std::to_string(succeeded) + " succeeded";
     }},
    {"fetch", [](auto&) { fetch(); }},
    {"call",
     [](auto& text) {
       const auto [number, component] = split(text);
       call(static_cast<TWService>(std::stoi(number)), component);
     }},
    {"completed", [](auto&) { answer = std::to_string(completed); }},
    {"image",
     [](auto&) {
       core().downloadImageForURL(base::Url::URLWithString("https://api.tidewell.example/i"),
                                  [](bool, std::optional<base::Data>) { add(images); });
       waitFor(images, 1);
     }},

    {"user", [](auto& id) { TWCoreUtils::saveUniqueId(id); }},
    {"token", [](auto& token) { TWCoreUtils::saveDeviceToken(token), TWCoreUtils::registerInstall(); }},
    {"secret", [](auto& secret) { TWKeychain::save("guest", secret); }},
    {"group", [](auto& name) { core().setAppGroupID(name); }},
    {"known",
     [](auto&) {
       answer = guest::gates().substr(7) + " " + std::to_string(config().getDataRedirectionRegion()) + " " +
                shown(TWCoreUtils::getUniqueId()) + " " + shown(TWCoreUtils::getDeviceToken()) + " " +
                shown(TWKeychain::load("guest"));
     }},
    {"identity",
     [](auto&) {
       const auto device = TWNetworkUtils::getDeviceUniqueID();
       drain(machine->globalQueue());  // the keychain is written there
       answer = shown(TWCoreUtils::getSDKUniqueIdForUser()) + " " + shown(device) + " " +
                shown(core().isDeviceUniqueIDPresentInKeyChain()) + " " +
                shown(TWCoreUtils::getDeviceToken()) + " " + shown(TWCoreUtils::installRegistered());
     }},
    {"stamped", [](auto&) { answer = defaults().objectForKey(kConfigLastUpdatedKey).date() ? "yes" : "no"; }},
    {"synced-ago",
     [](auto& seconds) {
       store(std::string(kConfigLastUpdatedKey),
             base::Date{machine->clock().now().secondsSince1970 - std::stod(seconds)});
     }},
    {"store", [](auto& text) { store(split(text).first, split(text).second); }},
    {"default", [](auto& key) { answer = shown(defaults().objectForKey(key)); }},
    {"shared",
     [](auto& key) {
       const auto group = defaults().stringForKey("Tdw_App_Group_ID");
       answer = shown(machine->userDefaultsWithSuiteName(group.value_or("missing"))->objectForKey(key));
     }},

    {"consent", [](auto&) { core().giveConsent(); }},
    {"revoke", [](auto&) { core().revokeConsent(); }},
    {"threads",
     [](auto&) { answer = std::to_string(std::distance(fs::directory_iterator("/proc/self/task"), {})); }},
    {"loaded",
     [](auto& name) {
       std::ifstream maps("/proc/self/maps");
       const std::string all(std::istreambuf_iterator<char>(maps), {});
       answer = all.find(name) != std::string::npos ? "yes" : "no";
     }},

    {"opens", [](auto&) { answer = std::to_string(opens.exchange(0)); }},
    {"step", [](auto& seconds) { wallClockStep = std::stoll(seconds); }},
    {"memory", [](auto&) { answer = std::to_string(allocatedBytes()); }},
    {"chdir", [](auto& folder) { require(chdir(folder.c_str()) == 0, "another folder"); }},
    {"setenv", [](auto& name) { setenv(name.c_str(), "/nowhere", 1); }},
    {"locale", [](auto&) { answer = std::setlocale(LC_ALL, nullptr); }},
    {"localized", [](auto&) { answer = localizedTexts(); }},
    {"fork", [](auto& count) { forkChildren(std::stoi(count)); }},
    {"fork-matrix", [](auto& text) { answer = guest::forkMatrix(text); }},
    {"cancel", [](auto& count) { cancelThreads(std::stoi(count)); }},
    {"stack", [](auto& bytes) { useOnStack(std::stoul(bytes)); }},
    // The barrier of snapshot writers, which saves readers a barrier.
    {"refuse-barrier", [](auto&) { require(refuseSystemCall(SYS_membarrier, EPERM), "a sandbox"); }},
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (std::strstr(path, "/org.example.life") != nullptr) ++opens;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
/// The same, as code with _FORTIFY_SOURCE calls it.
__attribute__((visibility("default"))) int __open_2(const char* path, int flags) { return open(path, flags); }

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const bool isRenamed = sizeof(time_t) > sizeof(long);  // glibc's name for 64-bit times on a 32-bit system
  static const auto real = reinterpret_cast<int (*)(clockid_t, timespec*)>(
      dlsym(RTLD_NEXT, isRenamed ? "__clock_gettime64" : "clock_gettime"));
  const int result = real(clock, time);
  if (result == 0 && clock == CLOCK_REALTIME) time->tv_sec += wallClockStep;
  return result;
}

}  // extern "C"

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::setlocale(LC_ALL, "");
  if (getenv("HOST_UNINSTALLED") == nullptr) install();
  if (!guest::variable("HOST_DEBUG").empty()) core().debug(TWLogLevelDebug);
  opens = 0;
  for (std::string line; argc > 1 || std::getline(std::cin, line);) {
    if (argc > 1) line = (--argc, *++argv);
    if (line == "exit return") return 7;
    const auto [word, argument] = split(line);
    require(kCommands.count(word) == 1, ("no command: " + line).c_str());
    answer = "done";
    kCommands.at(word)(argument);
    std::printf("%s\n", answer.c_str());
  }
}
