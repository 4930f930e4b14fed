// SPDX-License-Identifier: Apache-2.0
// Allocation torture: makes each allocation of a scenario fail in turn, alone and together with the following
// ones, each time in a new process.
//
//   allocation_torture [-o] [-m N] [SCENARIO [FIRST NUMBER]]
//
// -o omits the scenarios with a backend. At most N (default 100) allocations per scenario fail, one per call
// stack, evenly spread; if N is 0, every allocation. Failures are printed with the call stack of the
// allocation; `addr2line -Cfpe FILE OFFSET` translates its addresses.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <semaphore>
#include <sstream>
#include <unordered_set>

#include "attack/Attack.h"
#include "attack/Heap.h"
#include "guest/hosts/EveryOperation.h"
#include "tidewell/base/formats/DateFormatter.h"
#include "tidewell/base/formats/RegularExpression.h"
#include "tidewell/testing/StandInBackend.h"

namespace {

using namespace tidewell;
using namespace tidewell::attack;
using guest::config;
using guest::core;
using guest::require;
using Swizzler = TWAppDelegateSwizzler;

constexpr unsigned kTimeoutSeconds = 120;
/// How many consecutive allocations fail.
constexpr std::size_t kNumbers[] = {1, 60};
constexpr std::size_t kMaximumNoted = 400'000;
constexpr std::size_t kMaximumFrames = 40;
/// Stacks with this many equal innermost frames count as one.
constexpr std::size_t kComparedFrames = 10;

/// Memory shared with child processes.
struct Shared {
  std::atomic<std::uint16_t> port;  ///< of the backend; 0 until it is ready
  char caFile[200];
  std::size_t count;                  ///< the number of allocations in a scenario
  std::size_t stacks[kMaximumNoted];  ///< one hash per allocation; 0 if it is exempt
};
Shared& shared = *static_cast<Shared*>(
    mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

/// The range of allocations that fail, counted from 1 while `allocationFails` is set. If `firstFailing` is 0,
/// none fails and all stacks are recorded.
std::size_t firstFailing = 0, failing = 0;
std::atomic<std::size_t> allocations{0};
constinit thread_local bool isDeciding = false;
void* failedStack[kMaximumFrames];
int failedFrames = 0;

/// Whether a failure would hit a known fault of another library: the C library aborts without memory for a
/// thread-local variable, ICU crashes if several allocations of `RegexPattern` fail, and OpenSSL and GnuTLS
/// cache failures, crash, or make libcurl loop.
bool isExempt(void* const* frames, std::size_t count) {
  return std::any_of(frames, frames + std::min<std::size_t>(count, 12), [](void* frame) {
    Dl_info info{};
    if (dladdr(frame, &info) == 0) return false;
    const std::string_view file = info.dli_fname == nullptr ? "" : info.dli_fname;
    const std::string_view name = info.dli_sname == nullptr ? "" : info.dli_sname;
    for (const std::string_view library : {"libssl", "libcrypto", "libgnutls"}) {
      if (file.find(library) != file.npos) return true;
    }
    return name == "__tls_get_addr" || name.find("12RegexPattern") != name.npos ||
           name.starts_with("uregex_open");
  });
}

bool decide() {
  if (isDeciding) return false;
  const std::size_t number = allocations.fetch_add(1) + 1;
  const bool isNoting = firstFailing == 0 && number <= kMaximumNoted;
  if (!isNoting && number - firstFailing >= failing) return false;
  isDeciding = true;  // the code below may allocate
  void* frames[kMaximumFrames];
  const auto count = static_cast<std::size_t>(backtrace(frames, isNoting ? 12 : kMaximumFrames));
  const bool fails = !isExempt(frames, count);
  if (isNoting) {
    const std::string_view compared(reinterpret_cast<const char*>(frames),
                                    std::min(count, kComparedFrames) * sizeof *frames);
    shared.stacks[number - 1] = fails ? std::hash<std::string_view>()(compared) : 0;
  } else if (fails && number == firstFailing) {
    std::copy_n(frames, count, failedStack);
    failedFrames = static_cast<int>(count);
  }
  isDeciding = false;
  return fails && !isNoting;
}

// Scenarios. Each runs in its own process: the preparation with memory, the steps while allocations fail,
// then the steps again with memory, when they must succeed.

using Step = void (*)();
struct Scenario {
  const char* name;
  bool usesNetwork;
  Step prepare;
  std::vector<Step> steps;
};

posix::Options options;
std::counting_semaphore<> ended{0};
std::atomic<int> completions{0}, expected{0}, failedRequests{0};

/// Aborts if a condition fails that must hold even without memory.
void demand(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::abort();
}

void complete(bool success) {
  failedRequests += !success;
  ++completions;
  ended.release();
}
void waitForCompletions() {
  while (completions < expected) {
    demand(ended.try_acquire_for(std::chrono::seconds(20)), "a completion was not called");
  }
}

platform::UIApplication& application() { return *platform::UIApplication::sharedApplication(); }

void install() {
  if (platform::Platform::isInstalled()) return;
  if (posix::install(options) == nullptr) throw std::bad_alloc();
  TWLogger::debug(TWLogLevelDebug);
}
void start() {
  install();
  core().initializeWithAppID("A");
}
void noPreparation() {}

/// Waits until the functions on the queues have run.
void drain() {
  std::binary_semaphore drained{0};
  for (platform::Queue* queue :
       {&platform::Platform::current().globalQueue(), &platform::Platform::current().mainQueue()}) {
    queue->async([&] { drained.release(); });
    demand(drained.try_acquire_for(std::chrono::seconds(20)), "a queue does not run");
  }
}

/// One of the shared operations of the guest programs.
consteval Step guestOperation(std::string_view name) {
  for (const guest::Operation& each : guest::kOperations) {
    if (name == each.name) return each.run;
  }
  throw "no such operation";
}

// Configurations.

/// Also served by the backend, since a sync may end at any time.
constexpr const char* kConfiguration =
    R"({"a_s": "allowed", "i_s": "blocked", "b_e": ["spam"], "f_e": ["buy"], "b_uid_r": ["[0-9]+", "root"],
        "e_b_c": 7, "le_s": "allowed", "le_tkn": "t", "src_ext": ["s"]})";
const base::Value configuration = base::JSONObjectWithData(kConfiguration);
void merge() { config().updateConfigFromResponse(configuration); }

std::shared_ptr<TWConfig> otherRecord;
void makeRecord() {
  start();
  otherRecord = std::make_shared<TWConfig>();
  otherRecord->setUserPushOptedOut(true);
}
void mergeWrongClasses() {
  start();
  config().updateConfigFromResponse(base::JSONObjectWithData(
      R"({"a_s": ["x"], "i_s": 5, "g_s": {}, "p_f_s": 1.5, "le_s": ["y"], "b_e": "spam", "b_uid_r": 7})"));
}

// The delegate.

const base::Url shop = *base::Url::URLWithString("https://shop.example/cart");
std::vector<std::shared_ptr<guest::Hearer>> delegates;
void makeDelegates() {
  start();
  delegates.push_back(runtime::make<guest::Hearer>());  // the interceptor
}
void setNewDelegate() {
  delegates.push_back(runtime::make<guest::Hearer>());
  application().setDelegate(delegates.back());
}
/// The proxied delegate and an interceptor must each be called.
void openAppLink() {
  guest::Hearer::calls = 0;
  require(application().deliverOpenURL(shop) && guest::Hearer::calls == 2, "proxied delegate");
}

// Requests. One that raises before it is sent gets no completion, as its caller sees the exception.

template <TWService service>
void request() {
  TWNetworkRequest(service, std::nullopt, std::nullopt, base::Dictionary{{"q", 1}}, std::nullopt)
      .executeRequestWithCompletionBlock([](bool success, const base::Value&) { complete(success); });
  ++expected;
}
void image() {
  core().downloadImageForURL(base::Url::URLWithString("https://" + std::string(HOST_TDW_PROD_US) + "/i"),
                             [](bool success, const std::optional<base::Data>&) { complete(success); });
  ++expected;
}
constexpr Step kGet = request<TWServiceGetConfig>, kReport = request<TWServiceSendReports>;
void reset() { core().userReset(); }
void sync() { core().updateConfig(); }
void warmUp() {
  start();
  for (const auto step : {merge, kGet, kReport, image, waitForCompletions}) step();
}

const std::vector<Scenario> scenarios{
    {"start", false, noPreparation, {start}},
    {"configuration",
     false,
     makeRecord,
     {merge, [] { config().setTdwConfig(otherRecord); }, merge, guestOperation("ask"),
      [] { require(config().isUniqueIDRestricted("12345"), "restricted IDs"); },
      guestOperation("restrictions"), [] { config().setDataRedirectionRegion(TWDataRegionServ3); },
      [] { config().setDataTrackingOptedOut(true); },
      [] { config().setUserInAppNotificationOptedOut(false); },
      [] { config().tdwConfig()->updateConfigProperty(TWConfigPropertyEventsBatchCount, 8); },
      [] { config().printCurrentServicesStatus(); }, [] { core().setAppGroupID("group.example"); }}},
    {"wrong classes",
     false,
     mergeWrongClasses,
     {[] { ignore(guest::gates()); },
      [] { ignore(config().isEventBlackListed("spam"), config().restrictionOfUniqueID("abc")); },
      [] { config().printCurrentServicesStatus(); }}},
    {"log",
     false,
     start,
     {[] { TWLogger::debug(TWLogLevelExceptionsAndErrors); }, guestOperation("log"),
      [] {
        TWLogger::log("%@ %lu", {"a", 1});
      },
      [] { TWLogger::debug(TWLogLevelDebug); }, [] { TWLogger::logMessage("a line"); }}},
    {"delegate",
     false,
     makeDelegates,
     {setNewDelegate, Swizzler::clearInterceptors, Swizzler::resetProxyOriginalDelegateOnceToken,
      [] { ignore(Swizzler::registerAppDelegateInterceptor(delegates[0])); },
      Swizzler::proxyOriginalDelegateIncludingAPNSMethods, openAppLink, setNewDelegate,
      Swizzler::resetProxyOriginalDelegateOnceToken, Swizzler::proxyOriginalDelegate, openAppLink,
      [] { application().deliverRemoteNotification({}); },
      [] { require(Swizzler::interceptors().allKeys().size() == 1, "interceptors"); },
      Swizzler::clearInterceptors, guestOperation("interceptors"), guestOperation("proxy")}},
    {"objects", false, noPreparation, {guestOperation("objects")}},
    {"links",
     false,
     makeDelegates,
     {[] { TWCoreUtils::openDeeplink(shop); }, [] { TWCoreUtils::openRichLandingLink(shop); },
      guestOperation("pages")}},
    {"utilities",
     false,
     start,
     {[] { ignore(TWCoreUtils::getSDKUniqueIdForUser()); }, [] { TWKeychain::save("torture", "secret"); },
      [] { require(TWKeychain::load("torture") == base::Value("secret"), "keychain"); },
      guestOperation("keychain"), guestOperation("texts"), guestOperation("dates"), guestOperation("device"),
      [] { ignore(TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceGetConfig)); }}},
    {"first requests", true, start, {reset, sync, kGet, kReport, image, waitForCompletions}},
    {"more requests", true, warmUp, {reset, sync, kGet, kReport, image, waitForCompletions}},
    {"shipped lines", true, warmUp, {guestOperation("log"), kGet, kReport, image, waitForCompletions}},
};

/// ICU, OpenSSL and GnuTLS crash or fail permanently if their first use fails.
void warmUpLibraries() {
  base::MatchBudget budget;
  ignore(base::RegularExpression("[0-9]+").matches("1", budget));
  ignore(base::DateFormatter("EEE", base::TimeZone::UTC()).stringFromDate({0}));
  const auto symbol = [](const char* library, const char* name) {
    void* const opened = dlopen(library, RTLD_NOW);
    return opened != nullptr ? dlsym(opened, name) : nullptr;
  };
  if (void* const initialize = symbol("libcurl.so.4", "curl_global_init")) {
    reinterpret_cast<int (*)(long)>(initialize)(3);
  }
  void* const method = symbol("libssl.so.3", "TLS_client_method");
  if (void* const make = symbol("libssl.so.3", "SSL_CTX_new")) {
    reinterpret_cast<void* (*)(const void*)>(make)(reinterpret_cast<const void* (*)()>(method)());
  }
}

/// The earlier process: stores a configuration, an opt-out, a region and the time of a recent sync.
int runBefore() {
  install();
  TWCoreUtils::saveAppId("A");
  merge();
  config().setUserPushNotificationOptedOut(true);
  config().setDataRedirectionRegion(TWDataRegionEurope);
  auto& defaults = platform::Platform::current().standardUserDefaults();
  defaults.setObject(platform::Platform::current().clock().now(), kConfigLastUpdatedKey);
  defaults.setObject(TWCoreUtils::getSDKUniqueIdForUser(), "identity");
  return defaults.synchronize() ? 0 : 1;
}

/// Checks after the failures that gates, earlier and new opt-outs, and all steps of the scenario work.
void checkThatTheSdkWorks(const Scenario& scenario) {
  start();
  drain();
  demand(completions == expected, "a completion was called twice");
  if (scenario.usesNetwork) {
    kGet();  // may still fail together with a transfer started without memory
    waitForCompletions();
  }
  failedRequests = 0;
  merge();
  require(config().isAccountActive() && !config().isInAppServiceActive(), "gates");
  require(!config().isUserPushEnabled(), "the earlier opt-out is lost");
  config().setUserInAppNotificationOptedOut(true);
  const TWConfigManager onDisk;
  require(!onDisk.isUserPushEnabled() && !onDisk.isUserInAppEnabled() && onDisk.getEventBatchCount() == 7 &&
              onDisk.isEventBlackListed("spam") && onDisk.isEventInstantFlushEvent("buy") &&
              onDisk.isUniqueIDRestricted("root") && !onDisk.isUniqueIDRestricted("a"),
          "an opt-out or the configuration is not on disk");
  require(TWCoreUtils::getTidewellAppId() == "A", "the App ID is lost");
  require(platform::Platform::current().standardUserDefaults().stringForKey("identity") ==
              TWCoreUtils::getSDKUniqueIdForUser(),
          "the identity has changed");
  for (const Step step : scenario.steps) step();
  demand(failedRequests == 0, "a request with memory fails");
}

// Running the scenarios.

void reportCrash(int number) {
  allocationFails = nullptr;
  signal(SIGALRM, SIG_DFL);
  alarm(5);
  dprintf(STDERR_FILENO, "signal %d; the allocation that failed:\n", number);
  backtrace_symbols_fd(failedStack, failedFrames, STDERR_FILENO);
  void* frames[kMaximumFrames];
  dprintf(STDERR_FILENO, "the signal was raised here:\n");
  backtrace_symbols_fd(frames, backtrace(frames, kMaximumFrames), STDERR_FILENO);
  _exit(1);
}

std::size_t runs = 0, wrong = 0;

/// Runs the scenario in a new process in which `number` allocations fail, starting with the `first`.
void run(const std::string& folder, const Scenario& scenario, std::size_t first, std::size_t number) {
  const std::string home = folder + "/" + std::to_string(++runs), errors = home + ".errors";
  std::filesystem::copy(folder + "/before", home, std::filesystem::copy_options::recursive);
  const int status = waitFor(inChild(kTimeoutSeconds, [&] {
    dup2(creat(errors.c_str(), 0600), STDERR_FILENO);
    firstFailing = first;
    failing = number;
    options = optionsFor(home, scenario.usesNetwork ? shared.port.load() : 1, shared.caFile);
    scenario.prepare();
    allocationFails = decide;
    for (const Step step : scenario.steps) {
      try {
        step();
      } catch (const std::bad_alloc&) {  // allowed for operations without log coordinates
      }
    }
    allocationFails = nullptr;
    shared.count = allocations;
    checkThatTheSdkWorks(scenario);
    return 0;
  }));
  if (status != 0) {
    ++wrong;
    std::printf("!! %s: allocation %zu, %zu consecutive: status %d\n", scenario.name, first, number, status);
    std::printf("%s", (std::stringstream() << std::ifstream(errors).rdbuf()).str().c_str());
  }
  std::filesystem::remove_all(home);
  std::filesystem::remove(errors);
}

/// Starts the backend in its own process, in which no allocation fails.
void startBackend() {
  inChild(0, []() -> int {
    tidewell::testing::StandInBackend backend;
    backend.setConfiguration(kConfiguration);
    backend.setResource("/i", "picture", "image/png");
    std::strncpy(shared.caFile, backend.caFile().c_str(), sizeof shared.caFile - 1);
    shared.port = backend.port();
    for (;;) pause();
  });
  while (shared.port == 0) usleep(1000);
}

/// Returns false if the scenario fails even with memory.
bool torture(const std::string& folder, const Scenario& scenario, std::size_t most) {
  const std::size_t before = wrong;
  shared.count = 0;
  run(folder, scenario, 0, 0);
  std::unordered_set<std::size_t> known{0};
  std::vector<std::size_t> chosen;
  for (std::size_t i = 0; i < std::min(shared.count, kMaximumNoted); ++i) {
    if (known.insert(shared.stacks[i]).second || (most == 0 && shared.stacks[i] != 0))
      chosen.push_back(i + 1);
  }
  const std::size_t count = shared.count, tried = most == 0 ? chosen.size() : std::min(most, chosen.size());
  for (std::size_t i = 0; i < tried; ++i) {
    for (const std::size_t number : kNumbers) {
      run(folder, scenario, chosen[i * chosen.size() / tried], number);
    }
  }
  std::printf("%s: %zu allocations with %zu stacks, %zu of them tried, %zu failed\n", scenario.name, count,
              chosen.size(), tried, wrong - before);
  return tried > 0;
}

}  // namespace

/// The SDK's threads block all signals. Keeps crash signals unblocked, so that `reportCrash` runs.
extern "C" __attribute__((visibility("default"))) int pthread_sigmask(int how, const sigset_t* set,
                                                                      sigset_t* old) noexcept {
  sigset_t without;
  if (set != nullptr) {
    without = *set;
    for (const int each : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&without, each);
  }
  return sigprocmask(how, set == nullptr ? nullptr : &without, old) == 0 ? 0 : errno;
}

int main(int argc, char** argv) {
  bool isOffline = false;
  std::size_t most = 100;
  for (int option = 0; (option = getopt(argc, argv, "om:")) != -1;) {
    if (option == 'o') isOffline = true;
    if (option == 'm') most = std::stoul(optarg);
  }
  const rlimit none{};
  setrlimit(RLIMIT_CORE, &none);
  void* frame = nullptr;
  backtrace(&frame, 1);  // loads its libraries
  for (const int each : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGALRM}) signal(each, reportCrash);
  warmUpLibraries();
  const TemporaryFolder folder;
  if (!isOffline) startBackend();
  const std::string before = folder.path + "/before";
  std::filesystem::create_directory(before);
  options = optionsFor(before);
  guest::onFailedRequirement = [](const char* what) {
    if (allocationFails != nullptr) throw std::bad_alloc();
    demand(false, what);
  };
  bool isComplete = waitFor(inChild(kTimeoutSeconds, runBefore)) == 0;
  const std::string wanted = optind < argc ? argv[optind] : "";
  for (const Scenario& scenario : scenarios) {
    if ((isOffline && scenario.usesNetwork) || (!wanted.empty() && wanted != scenario.name)) continue;
    if (optind + 2 < argc) {
      run(folder.path, scenario, std::stoul(argv[optind + 1]), std::stoul(argv[optind + 2]));
    } else {
      isComplete = torture(folder.path, scenario, most) && isComplete;
    }
  }
  return conclude(runs, "runs", wrong) == 0 && isComplete ? 0 : 1;
}
