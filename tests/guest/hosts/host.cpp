// The host of most tests: `guest_host CASE ARGUMENTS…` lives one life in a process of its own. A case prints
// a line when it has got somewhere, and goes on when it gets one.
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <clocale>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "RefuseSystemCall.h"
#include "hosts/EveryOperation.h"
#include "hosts/Machine.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/posix/PosixPlatform.h"

namespace {

using namespace tidewell;
using guest::Machine;
using guest::require;
using Arguments = std::vector<std::string>;

/// What the threads of the SDK tell `main`; there until the process is gone.
struct Counts {
  std::mutex mutex;
  std::condition_variable changed;
  std::map<std::string, int> counts;

  void add(const std::string& name) {
    const std::lock_guard lock(mutex);
    ++counts[name];
    changed.notify_all();
  }
  /// NO where it does not come to that in time.
  bool waitFor(const std::string& name, int count) {
    std::unique_lock lock(mutex);
    // Longer than the minute for which a host is stopped.
    return changed.wait_for(lock, std::chrono::seconds(90), [&] { return counts[name] >= count; });
  }
};
Counts& happened() {
  static base::NeverDestroyed<Counts> counts;
  return *counts;
}

void tell(const std::string& line) { std::printf("%s\n", line.c_str()); }
void waitForALine() {
  std::string line;
  std::getline(std::cin, line);
}

const char* variable(const char* name) {
  const char* const value = getenv(name);
  return value != nullptr ? value : "";
}

posix::Options options() {
  posix::Options made;
  made.bundleIdentifier = "org.example.guest";
  made.version = "1.0";
  made.caFile = variable("GUEST_CA");
  made.systemRoot = variable("GUEST_ROOT");
  made.proxyCaFile = variable("GUEST_PROXY_CA");
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES}) {
    made.connectionOverrides.push_back(
        {std::string(host), 443, "127.0.0.1", static_cast<std::uint16_t>(std::atoi(variable("GUEST_PORT")))});
  }
  return made;
}

posix::PosixPlatform* installed(posix::MainLoop mainLoop = posix::MainLoop::ownThread) {
  posix::Options with = options();
  with.mainLoop = mainLoop;
  posix::PosixPlatform* const platform = posix::install(with);
  require(platform != nullptr, "installation");
  return platform;
}

/// Sends a request; its end is counted as "ended".
void send(TWService service = TWServiceSendReports) {
  const TWNetworkRequest request(service, std::nullopt, std::nullopt, base::Dictionary{{"n", 1}}, "guest");
  request.executeRequestWithCompletionBlock([](bool success, const base::Value&) {
    happened().add(success ? "succeeded" : "failed");
    happened().add("ended");
  });
}

/// Starts the SDK, and waits until the configuration of the backend is in force.
void startAndSync() {
  TidewellCore::sharedInstance().initializeWithAppID("GUEST");
  for (int i = 0; i < 5000 && TWConfigManager::sharedInstance().getEventBatchCount() != 7; ++i) usleep(2000);
  require(TWConfigManager::sharedInstance().getEventBatchCount() == 7, "sync");
}

/// Merges in a thread that nobody joins.
void mergeForEver() {
  std::thread([] {
    for (int i = 0;; ++i) {
      TWConfigManager::sharedInstance().updateConfigFromResponse(
          base::Dictionary{{"e_b_c", i},
                           {"b_uid_r", base::Array{"[0-9]+" + std::to_string(i)}},
                           {"le_s", "allowed"},
                           {"le_tkn", "t"}});
    }
  }).detach();
}

/// Log lines, which travel to the backend, too.
void logForEver() {
  std::thread([] {
    for (;;) {
      TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {"line"}, base::Array{"frame"});
      usleep(200);
    }
  }).detach();
}

[[noreturn]] void endBy(const std::string& way) {
  if (way == "exit") exit(7);
  if (way == "quick_exit") quick_exit(7);
  std::thread([] { exit(7); }).detach();  // "thread"
  for (;;) pause();
}

/// end WAY MICROSECONDS: ends at an instant of requests, log lines and merges.
int end(const Arguments& arguments) {
  installed();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  TidewellCore::sharedInstance().initializeWithAppID("GUEST");
  logForEver();
  mergeForEver();
  for (int i = 0; i < 8; ++i) send();
  usleep(static_cast<useconds_t>(std::stoi(arguments.at(1))));
  tell("ending");
  if (arguments[0] == "return") return 7;
  endBy(arguments[0]);
}

bool usesAtTheEnd = false;
void useAtTheEnd(const char* where) {
  if (!usesAtTheEnd) return;
  guest::useEverything();
  std::fprintf(stdout, "used by %s\n", where);
  std::fflush(stdout);
}
/// Made before `main`, so it goes after all that the SDK and its libraries have registered.
struct Static {
  ~Static() { useAtTheEnd("a static destructor"); }
} const aStatic;

/// use-at-end WAY [first]: every operation from handlers and destructors that run last, beside a thread that
/// goes on; or for the first time there, after the libraries below have cleaned up.
int useAtEnd(const Arguments& arguments) {
  usesAtTheEnd = true;
  std::atexit([] { useAtTheEnd("a handler"); });
  std::at_quick_exit([] { useAtTheEnd("a quick handler"); });
  platform::Platform& platform = *installed();
  if (arguments.size() > 1) {
    platform.sharedUrlSession().dataTaskWithRequest(
        platform::UrlRequest(base::Url::URLWithString("https://api.tidewell.example/v1/x")),
        [](const platform::UrlTaskResult&) { happened().add("ended"); });
    require(happened().waitFor("ended", 1), "an end");
    if (arguments[0] == "return") return 7;
    endBy(arguments[0]);
  }
  startAndSync();
  std::thread([] {
    for (;;) {
      guest::useUtilities();
      guest::useNetwork();
      guest::useLogger();
      static_cast<void>(guest::gates());
    }
  }).detach();
  guest::useEverything();
  if (arguments[0] == "return") return 7;
  endBy(arguments[0]);
}

/// never [late]: every operation before a platform is installed, then the life of any other host.
int never(const Arguments&) {
  tell(guest::gates());
  TidewellCore::sharedInstance().downloadImageForURL(
      base::Url::URLWithString("https://api.tidewell.example/i"),
      [](bool success, std::optional<base::Data>) {
        require(!success, "a request without a machine");
        happened().add("refused");
      });
  require(happened().waitFor("refused", 1), "a completion");
  guest::useEverything();
  tell("used");
  TWConfigManager::sharedInstance().setTdwConfig(nullptr);
  installed();
  startAndSync();
  tell(guest::gates());
  return 0;
}

/// In the child of a fork: answers come from the record, what needs a thread ends at once.
int inChild() {
  alarm(10);
  const auto begin = std::chrono::steady_clock::now();
  require(guest::gates().substr(0, 9) == "ynyynyyyy", ("the child's gates: " + guest::gates()).c_str());
  require(TWConfigManager::sharedInstance().isEventBlackListed("spam"), "the child's lists");
  std::atomic<int> failed{0};
  for (int i = 0; i < 3; ++i) {
    const TWNetworkRequest request(TWServiceSendReports, std::nullopt, std::nullopt, std::nullopt, "x");
    request.executeRequestWithCompletionBlock([&](bool success, const base::Value&) { failed += !success; });
  }
  require(failed == 3, "the child's requests end at once");
  TidewellCore::sharedInstance().updateConfig();
  TWCoreUtils::saveUniqueId("child");
  require(TWCoreUtils::getUniqueId() == "child", "the child's defaults");
  TWConfigManager::sharedInstance().setUserInAppNotificationOptedOut(true);
  require(!TWConfigManager::sharedInstance().isUserInAppEnabled(), "the child's opt-out");
  require(std::chrono::steady_clock::now() - begin < std::chrono::seconds(5), "the child waits for nothing");
  return 0;
}

/// fork COUNT: children made at any instant of a busy process.
int forks(const Arguments& arguments) {
  installed();
  startAndSync();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  std::atomic<bool> goesOn{true};
  std::thread writer([&] {
    while (goesOn) {
      TWConfigManager::sharedInstance().setDataTrackingOptedOut(false);
      TWCoreUtils::saveDeviceToken("token");
      TWLogger::setFormat("Tidewell - %@", TWLogVerbosityDefault);
      static_cast<void>(TWDateUtils::getLocalTime());
      static_cast<void>(TWCoreUtils::MD5hashForString("x"));
    }
  });
  for (int i = 0; i < std::stoi(arguments.at(0)); ++i) {
    send();
    const pid_t child = fork();
    if (child == 0) {
      const int status = inChild();
      if (i % 2 == 0) _exit(status);
      exit(status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    require(WIFEXITED(status) && WEXITSTATUS(status) == 0,
            WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "a child");
  }
  goesOn = false;
  writer.join();
  require(happened().waitFor("succeeded", std::stoi(arguments.at(0))), "the parent's requests");
  return 0;
}

/// exec: a program started in the middle of everything lists its descriptors.
int execs(const Arguments&) {
  for (int each = 3; each < 1024; ++each) close(each);  // what the test left open
  installed();
  startAndSync();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  mergeForEver();
  for (int i = 0; i < 20; ++i) send();
  for (int i = 0; i < 20; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      execl("/proc/self/exe", "guest_host", "descriptors", nullptr);
      _exit(99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    require(status == 0, "a descriptor in a program that the host started");
  }
  return 0;
}
int descriptors(const Arguments&) {
  for (int each = 3; each < 1024; ++each) {
    char path[256] = "";
    if (readlink(("/proc/self/fd/" + std::to_string(each)).c_str(), path, sizeof path - 1) > 0)
      require(false, path);
  }
  return 0;
}

/// signals COUNT: what the host finds of its signals after so many requests to a peer that closes early.
int signals(const Arguments& arguments) {
  std::array<struct sigaction, 65> before{};
  std::array<struct sigaction, 65> after{};
  for (int each = 1; each < 65; ++each) sigaction(each, nullptr, &before[static_cast<std::size_t>(each)]);
  sigset_t mask;
  sigset_t maskAfter;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  installed();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  startAndSync();
  guest::useEverything();
  for (int i = 0; i < std::stoi(arguments.at(0)); ++i) send();
  require(happened().waitFor("ended", std::stoi(arguments.at(0))), "an end of each request");
  for (int each = 1; each < 65; ++each) sigaction(each, nullptr, &after[static_cast<std::size_t>(each)]);
  pthread_sigmask(SIG_SETMASK, nullptr, &maskAfter);
  for (std::size_t each = 1; each < 65; ++each) {
    require(
        before[each].sa_handler == after[each].sa_handler && before[each].sa_flags == after[each].sa_flags,
        "a handler was changed");
    require(sigismember(&mask, static_cast<int>(each)) == sigismember(&maskAfter, static_cast<int>(each)),
            "the mask was changed");
  }
  tell("same");
  waitForALine();
  return 0;
}

/// first: a life whose opt-outs, identity and values the next ones must not lose.
int first(const Arguments&) {
  installed();
  startAndSync();
  TWConfigManager::sharedInstance().setDataTrackingOptedOut(true);
  TidewellCore::sharedInstance().redirectDataToRegion(TWDataRegionEurope);
  TWCoreUtils::saveUniqueId("user");
  TWKeychain::save("guest", "secret");
  return 0;
}

std::string text(const std::optional<std::string>& value) { return value.value_or("(none)"); }

/// What is known now: gates, region, user defaults and keychain.
std::string known() {
  const base::Value secret = TWKeychain::load("guest");
  return guest::gates().substr(7) + " " +
         std::to_string(TWConfigManager::sharedInstance().getDataRedirectionRegion()) + " " +
         text(TWCoreUtils::getUniqueId()) + " " + text(TWCoreUtils::getDeviceToken()) + " " +
         (secret.isNil() ? "(none)" : secret.description());
}

/// faults ERRNO PATH UNTIL: files whose path holds PATH cannot be opened at the start, and not before the
/// writes are over either where UNTIL is "later". ERRNO 0 takes all descriptors away instead.
int faults(const Arguments& arguments) {
  installed();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  const int error = std::stoi(arguments.at(0));
  rlimit full{};
  getrlimit(RLIMIT_NOFILE, &full);
  const auto setFault = [&](bool on) {
    std::snprintf(Machine::faultyPath, sizeof Machine::faultyPath, "%s", arguments.at(1).c_str());
    if (error != 0) Machine::openError = on ? error : 0;
    const rlimit none{3, full.rlim_max};
    if (error == 0) setrlimit(RLIMIT_NOFILE, on ? &none : &full);
  };
  setFault(true);
  static_cast<void>(known());
  if (arguments.at(2) == "now") setFault(false);
  TWConfigManager::sharedInstance().setUserPushNotificationOptedOut(true);
  TWCoreUtils::saveDeviceToken("token");
  TWKeychain::save("other", "secret");
  setFault(false);
  // What could not be written is written with the next change, and when the SDK looks whether a sync is due.
  TWCoreUtils::saveDeviceToken("token");
  TidewellCore::sharedInstance().updateConfig();
  tell(known());
  return 0;
}
int knows(const Arguments&) {
  installed();
  tell(known());
  return 0;
}

/// opt-out-later: what a running process knows, before and after another one has written.
int optOutLater(const Arguments&) {
  installed();
  tell(known());
  waitForALine();
  TWConfigManager::sharedInstance().setUserInAppNotificationOptedOut(true);
  tell(known());
  return 0;
}

/// requests: as many as each line says, until there is none; at "memory" says how many bytes it has
/// allocated.
int requests(const Arguments&) {
  installed();
  startAndSync();
  TidewellCore::sharedInstance().debug(TWLogLevelExceptionsAndErrors);
  tell("ready");
  int sent = 0;
  for (std::string line; std::getline(std::cin, line);) {
    if (line == "memory") {
      const struct mallinfo2 heap = mallinfo2();
      tell(std::to_string(heap.uordblks + heap.hblkhd));
      continue;
    }
    for (const int end = sent + std::stoi(line); sent < end; ++sent) send();
    require(happened().waitFor("ended", sent), "an end of each request");
    const std::lock_guard lock(happened().mutex);
    tell(std::to_string(happened().counts["succeeded"]) + " succeeded");
  }
  return 0;
}

/// error: why a request to the backend fails, "" where it does not.
int error(const Arguments& arguments) {
  platform::Platform& platform = *installed();
  static_cast<void>(arguments);
  platform.sharedUrlSession().dataTaskWithRequest(
      platform::UrlRequest(base::Url::URLWithString("https://api.tidewell.example/v1/x")),
      [](const platform::UrlTaskResult& result) {
        tell(result.error ? std::to_string(result.error->code) + " " + result.error->localizedDescription
                          : "arrived");
        happened().add("ended");
      });
  require(happened().waitFor("ended", 1), "an end");
  return 0;
}

/// locale NAME: a life under a locale, with what depends on one where it is done carelessly.
int locale(const Arguments& arguments) {
  if (std::setlocale(LC_ALL, arguments.at(0).c_str()) == nullptr) return 3;
  installed();
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  startAndSync();
  platform::Platform::current().mainQueue().async([] { happened().add("said"); });
  require(happened().waitFor("said", 1), "the end of the sync");  // which has said what is in force by then
  TWConfigManager::sharedInstance().updateConfigFromResponse(
      base::JSONObjectWithData(R"({"i_s": "BLOCKED", "p_f_t": "86400.5", "e_b_c": 1.5e3, "b_e": ["Iıİi"]})"));
  tell(guest::gates() + " " + std::to_string(TWConfigManager::sharedInstance().getEventBatchCount()));
  tell(*TWCoreUtils::getJSONStringFromDictionary(base::Dictionary{{"n", 1234567.25}, {"I", "Iıİi"}}));
  tell(base::Value(1234567.25).description() +
       *TWDateUtils::getStringForDate(base::Date{1e9}, "d MMMM yyyy EEEE", true));
  send();
  require(happened().waitFor("ended", 1), "an end");
  return 0;
}

/// setenv: the environment is another one after the installation.
int changingEnvironment(const Arguments&) {
  installed();
  for (const char* name :
       {"https_proxy", "all_proxy", "SSL_CERT_FILE", "SSL_CERT_DIR", "XDG_DATA_HOME", "HOME"})
    setenv(name, "/nowhere", 1);
  startAndSync();
  for (int i = 0; i < 4; ++i) send();
  require(happened().waitFor("succeeded", 4), "requests");
  TWCoreUtils::saveUniqueId("user");
  return 0;
}

/// paths: a start; says how many files it opened and whether it found what the last one left.
int paths(const Arguments&) {
  installed();
  const int before = Machine::opens;
  TidewellCore::sharedInstance().initializeWithAppID("GUEST");
  static_cast<void>(guest::gates());
  tell(std::to_string(Machine::opens - before) + " " + text(TWCoreUtils::getUniqueId()));
  TWCoreUtils::saveUniqueId("user");
  TWConfigManager::sharedInstance().setUserPushNotificationOptedOut(true);
  return 0;
}

/// chdir: a life in another working folder than that of the start of the process.
int changeFolder(const Arguments&) {
  installed();
  require(chdir("/") == 0, "another folder");
  startAndSync();
  return 0;
}

/// idle: everything has started, and has nothing to do.
int idle(const Arguments&) {
  installed();
  startAndSync();
  guest::useUtilities();
  guest::useConfiguration();
  platform::Platform::current().globalQueue().async([] { happened().add("global"); });
  require(happened().waitFor("global", 1), "the global queue");
  // A request inside a completion is work for a second thread.
  const TWNetworkRequest log(TWServiceSendLogs, std::nullopt, std::nullopt, base::Dictionary{{"n", 1}},
                             "guest");
  log.executeRequestWithCompletionBlock([](bool, const base::Value&) { send(); });
  require(happened().waitFor("ended", 1), "an end");
  tell("idle");
  waitForALine();
  return 0;
}

/// clock: steps of the wall clock while a request waits for an answer; says how long it took.
int clockSteps(const Arguments&) {
  installed();
  startAndSync();
  for (const std::int64_t step : {10'000'000, -10'000'000}) {
    const auto begin = std::chrono::steady_clock::now();
    const int already = happened().counts["ended"];
    send();
    Machine::wallClockStep = step;
    require(happened().waitFor("ended", already + 1), "an end");
    tell(std::to_string(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin)
            .count()));
    tell(TWConfigManager::sharedInstance().shouldSyncConfig() ? "due" : "recent");
    Machine::wallClockStep = 0;
  }
  return 0;
}

/// small-stack BYTES: every operation on a thread of the host's with so much.
int smallStack(const Arguments& arguments) {
  installed();
  startAndSync();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(std::stoi(arguments.at(0))));
  pthread_t thread{};
  const auto run = [](void*) -> void* { return guest::useEverything(), nullptr; };
  require(pthread_create(&thread, &attributes, run, nullptr) == 0, "a thread");
  pthread_join(thread, nullptr);
  return 0;
}

/// cancel COUNT: threads of the host's that are cancelled at any instant of any operation.
int cancels(const Arguments& arguments) {
  static posix::PosixPlatform* const machine = installed(posix::MainLoop::host);
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  TidewellCore::sharedInstance().initializeWithAppID("GUEST");
  const auto useForEver = [](void*) -> void* {
    for (;;) {
      for (const guest::Operation& each : guest::kOperations) {
        each.run();
        pthread_testcancel();
      }
    }
  };
  const auto runQueue = [](void*) -> void* {
    for (;;) {
      machine->mainQueue().async([] { usleep(0); });
      machine->runMainQueue(std::chrono::hours(1));
    }
  };
  std::mt19937 random(1);
  for (int i = 0; i < std::stoi(arguments.at(0)); ++i) {
    pthread_t thread{};
    require(pthread_create(&thread, nullptr, i % 8 == 0 ? +runQueue : +useForEver, nullptr) == 0, "a thread");
    usleep(random() % 30'000);
    pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    require(result == PTHREAD_CANCELED, "the end of a thread");
  }
  guest::useEverything();
  require(machine->runMainQueue(std::chrono::milliseconds(0)) > 0, "the main queue");
  return 0;
}

/// late-sandbox: a process that forbids itself the barrier with which writers spare readers theirs; says by
/// how many bytes its memory grew over 100 changes, each of which retires a snapshot of half a megabyte.
int lateSandbox(const Arguments&) {
  installed();
  const auto change = [](int number) {
    base::Array names;
    for (int i = 0; i < 5000; ++i)
      names.addObject("event " + std::to_string(number) + " " + std::to_string(i));
    TWConfigManager::sharedInstance().updateConfigFromResponse(base::Dictionary{{"b_e", names}});
    require(TWConfigManager::sharedInstance().isEventBlackListed("event " + std::to_string(number) + " 17"),
            "a list");
  };
  const auto memory = [] {
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<long>(heap.uordblks + heap.hblkhd);
  };
  change(0);
  require(refuseSystemCall(SYS_membarrier, EPERM), "a sandbox");
  int number = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  while (number < 10 || std::chrono::steady_clock::now() < end) change(++number);
  const long before = memory();
  for (int i = 0; i < 100; ++i) change(++number);
  tell(std::to_string(memory() - before));
  return 0;
}

const std::map<std::string, int (*)(const Arguments&)> kCases{
    {"end", end},
    {"use-at-end", useAtEnd},
    {"never", never},
    {"fork", forks},
    {"exec", execs},
    {"descriptors", descriptors},
    {"signals", signals},
    {"first", first},
    {"faults", faults},
    {"opt-out-later", optOutLater},
    {"knows", knows},
    {"requests", requests},
    {"error", error},
    {"locale", locale},
    {"setenv", changingEnvironment},
    {"paths", paths},
    {"chdir", changeFolder},
    {"idle", idle},
    {"clock", clockSteps},
    {"small-stack", smallStack},
    {"cancel", cancels},
    {"late-sandbox", lateSandbox},
};

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (argc < 2 || kCases.count(argv[1]) == 0) return 98;
  return kCases.at(argv[1])(Arguments(argv + 2, argv + argc));
}
