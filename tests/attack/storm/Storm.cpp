// Random calls of the whole public interface from many threads: storm SECONDS [SEED]
//
// Says nothing about answers: crashes, hangs, exceptions of other types than `base::Exception`, and what the
// sanitizers see are what it looks for. The seed gives the calls of each thread; their interleaving is the
// system's.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "guest/hosts/EveryOperation.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/foundation/TWModelObject.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/runtime/Associations.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/Invocation.h"
#include "tidewell/runtime/Observing.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell {
namespace {

using platform::UIApplication;
using platform::UIViewController;
using runtime::Ref;
using runtime::Selector;
using Swizzler = TWAppDelegateSwizzler;

constexpr int kThreads = 16;
/// How long the program may take beyond its time before it counts as hanging.
constexpr int kLongestEnd = 60;
/// What has no end of its own in a process is made so often only.
constexpr int kMostClasses = 400, kMostStarts = 10, kMostProxies = 100;
/// Requests under way: the backend is slower than sixteen threads.
constexpr int kMostRequests = 32;

/// One thread's choices.
class Random {
 public:
  explicit Random(std::uint64_t seed) : numbers_(seed) {}
  int below(int bound) { return static_cast<int>(numbers_() % static_cast<unsigned>(bound)); }
  bool coin() { return numbers_() & 1; }
  int place() { return below(12); }
  template <class T, std::size_t size>
  const T& of(const T (&all)[size]) {
    return all[below(size)];
  }
  std::string text() {
    return std::string(static_cast<std::size_t>(below(40)), static_cast<char>(below(255) + 1));
  }
  base::Value value(int depth = 0) {
    const base::Value plain[] = {
        {}, below(1000), text(), base::Date{1e9 + below(99)}, base::Data(text()), base::Value::null()};
    if (depth == 3 || coin()) return of(plain);
    return coin() ? base::Value(base::Array{value(depth + 1), value(depth + 1)}) : dictionary(depth + 1);
  }
  base::Dictionary dictionary(int depth = 0) {
    return {{text(), value(depth)}, {"a", value(depth)}, {"from", text()}};
  }

 private:
  std::mt19937_64 numbers_;
};

/// A few things that all threads share, and replace by new ones. What is replaced dies outside the lock.
template <class T>
class Shelf {
 public:
  T at(int place) {
    const std::lock_guard lock(mutex_);
    return things_[static_cast<std::size_t>(place) % things_.size()];
  }
  void put(int place, T thing) {
    const std::lock_guard lock(mutex_);
    std::swap(things_[static_cast<std::size_t>(place) % things_.size()], thing);
  }

 private:
  std::mutex mutex_;
  std::array<T, 12> things_{};
};

/// A proxied delegate that is an interceptor, too, would hear of itself without end: none is both.
class Listener : public platform::UIApplicationDelegate {
 public:
  explicit Listener(bool mayIntercept) : mayIntercept_(mayIntercept) {}
  bool openURL(UIApplication&, const base::Url&, const base::Dictionary&) override { return ++calls % 2; }
  bool continueUserActivity(UIApplication&, platform::NSUserActivity&,
                            const platform::RestorationHandler& handler) override {
    handler({});
    return ++calls % 2;
  }
  void didReceiveRemoteNotification(UIApplication&, const base::Dictionary&) override { touch(); }
  void didReceiveRemoteNotificationFetching(UIApplication&, const base::Dictionary&,
                                            const platform::FetchCompletionHandler& handler) override {
    touch();
    handler(platform::UIBackgroundFetchResult::newData);
  }
  void didRegisterForRemoteNotifications(UIApplication&, const base::Data&) override {
    throw std::runtime_error("a host's own");
  }
  /// Comes back into the registry during a walk.
  void touch() {
    if (++calls % 3 == 0 && mayIntercept_)
      static_cast<void>(Swizzler::registerAppDelegateInterceptor(weak_from_this().lock()));
  }
  std::atomic<int> calls{0};

 private:
  const bool mayIntercept_;
};

class Tank : public runtime::Subclass<Tank, TWModelObject> {
 public:
  std::int64_t level() const { return level_; }
  void setLevel(std::int64_t level) {
    runtime::changing(*this, "level", [&] { level_ = level; });
  }
  void observed(const std::string&, Object*, const base::Dictionary&, const void*) { ++level_; }
  static void describe(runtime::ClassBuilder<Tank>& c) {
    c.property<&Tank::level, &Tank::setLevel>("level")
        .method<&Tank::level>(Selector::named("level"))
        .method<&Tank::observed>(runtime::kObserveValueForKeyPath);
  }

 private:
  std::atomic<std::int64_t> level_{0};
};

inline constinit const runtime::Message<std::int64_t()> kLevel{"level"};

// What the threads share.
testing::StandInBackend* backend = nullptr;
Shelf<Ref> listeners, delegates;
Shelf<std::shared_ptr<Tank>> tanks;
Shelf<std::shared_ptr<UIViewController>> controllers;
Shelf<std::shared_ptr<platform::UIWindow>> windows;
Shelf<std::shared_ptr<runtime::Observation>> observations;
Shelf<std::string> interceptorIDs;
std::atomic<int> classesMade{0}, starts{0}, proxies{0}, requestsUnderWay{0};
std::atomic<std::size_t> consoleBytes{0};
const std::string kClassNames[] = {"StormA", "StormB", "StormC"};

/// Whether a thing that is bounded may be made once more.
bool take(std::atomic<int>& made, int most) {
  if (made.fetch_add(1) < most) return true;
  made.fetch_sub(1);
  return false;
}

bool isBusy() { return requestsUnderWay >= kMostRequests; }

/// One of the requests under way, until its last copy goes: a request may raise before it has a completion.
/// Null where there are too many.
std::shared_ptr<const bool> requestSlot() {
  if (!take(requestsUnderWay, kMostRequests)) return nullptr;
  return {new bool, [](const bool* slot) {
            --requestsUnderWay;
            delete slot;
          }};
}

TidewellCore& facade() { return TidewellCore::sharedInstance(); }

UIViewController& controller(Random& random) {
  thread_local std::shared_ptr<UIViewController> kept;
  kept = controllers.at(random.place());
  if (!kept) kept = runtime::make<UIViewController>();
  return *kept;
}

runtime::Class& anyClass(Random& random) {
  runtime::Class* const found = runtime::classNamed(random.of(kClassNames));
  return found ? *found : runtime::classOf<Tank>();
}

const runtime::Method& levelMethod() { return *runtime::classOf<Tank>().method(kLevel.selector()); }

std::optional<base::Url> anyURL(Random& random) {
  static constexpr std::string_view kURLs[] = {"https://api.tidewell.example/image", "shop:cart",
                                               "http://shop.example/", "https://api.tidewell.example/none",
                                               "file:///etc/passwd"};
  if (random.below(8) == 0) return std::nullopt;
  return base::Url::URLWithString(random.of(kURLs));
}

constexpr const char* kReplies[] = {
    R"({"a_s":"allowed","le_s":"allowed","le_tkn":"t","b_e":["spam"],"b_uid_r":["[0-9]+","(a+)+b","abc"]})",
    R"({"a_s":"blocked"})",
    R"({"b_e":7,"e_b_c":"x"})",
    R"([1,2])",
    R"({"f_e":["buy"],"d_t_w_e":["consent"],"p_f_t":120})",
    "{}"};

/// A call, and how often it comes among the others: those that wait for disk or network come less often.
struct Call {
  const char* name;
  int weight;
  void (*run)(Random&);
};

TWConfigManager& config() { return TWConfigManager::sharedInstance(); }
UIApplication& application() { return *UIApplication::sharedApplication(); }

// clang-format off
const Call kCoreCalls[] = {
    {"gates", 4, [](Random&) { static_cast<void>(guest::gates()); }},
    {"event lists", 4, [](Random& random) {
       static_cast<void>(config().isEventBlackListed(random.text()));
       static_cast<void>(config().isEventInstantFlushEvent("buy"));
       static_cast<void>(config().isEventWhitelistedEvent(std::nullopt));
       static_cast<void>(config().getBlackListedEvents().description());
       static_cast<void>(config().getEventBatchCount() + config().getPeriodicSyncDuration());
     }},
    {"restricted IDs", 2, [](Random& r) { static_cast<void>(config().restrictionOfUniqueID(r.text())); }},
    {"restricted ID", 2, [](Random&) { static_cast<void>(config().isUniqueIDRestricted("aaaaaaaaaaaaaaaa")); }},
    {"record", 2, [](Random&) { if (const auto record = config().tdwConfig()) static_cast<void>(record->fields()); }},
    {"region", 1, [](Random& r) { config().setDataRedirectionRegion(static_cast<TWDataRegion>(r.below(4))); }},
    {"opt out", 1, [](Random& r) { config().setDataTrackingOptedOut(r.coin()); }},
    {"opt out of push", 1, [](Random& r) { config().setUserPushNotificationOptedOut(r.coin()); }},
    {"set record", 1, [](Random& r) { config().setTdwConfig(r.coin() ? std::make_shared<TWConfig>() : nullptr); }},
    {"merge", 1, [](Random& r) { config().updateConfigFromResponse(base::JSONObjectWithData(r.of(kReplies))); }},
    {"merge anything", 1, [](Random& r) { config().updateConfigFromResponse(r.value()); }},
    {"backend", 1, [](Random& r) { backend->setConfiguration(r.of(kReplies)); }},
    {"start", 1, [](Random& random) {
       if (take(starts, kMostStarts)) facade().initializeWithAppID(random.coin() ? "STORM" : "OTHER");
     }},
    {"reset", 1, [](Random&) { facade().userReset(); }},
    {"sync", 1, [](Random&) { if (!isBusy()) facade().updateConfig(); }},
    {"levels", 2, [](Random& r) { facade().debug(r.below(4)); }},
    {"app group", 1, [](Random& r) { facade().setAppGroupID(r.coin() ? "group.a" : "group.b"); }},
    {"notifications", 2, [](Random& random) {
       static constexpr std::string_view kNames[] = {kNotificationNameUserReset, kNotificationNameUpdateModules,
                                                     platform::UIApplicationWillEnterForegroundNotification};
       auto& center = platform::NotificationCenter::defaultCenter();
       const auto token = center.addObserver(random.of(kNames), [](const auto&) {});
       if (!isBusy()) center.postNotificationName(random.of(kNames), {}, random.value());
       center.removeObserver(token);
     }},
    {"image", 1, [](Random& random) {
       if (const auto slot = requestSlot())
         facade().downloadImageForURL(anyURL(random), [slot](bool, std::optional<base::Data>) {});
     }},
    {"request", 2, [](Random& random) {
       const auto slot = requestSlot();
       if (!slot) return;
       const auto maybe = [&](base::Dictionary some) {
         return random.coin() ? std::optional(std::move(some)) : std::nullopt;
       };
       TWNetworkRequest(static_cast<TWService>(random.below(16) - 1), maybe({{"q", random.text()}}),
                        maybe({{"tdw-appkey", random.text()}}), maybe(random.dictionary()), random.text())
           .executeRequestWithCompletionBlock([slot](bool, const base::Value&) {});
     }},
    {"line", 8, [](Random& r) { TWLogger::logWithVerbosity(r.below(4), r.below(7), {"f", 1, "m", r.value()}); }},
    {"shipped line", 1, [](Random& r) { if (!isBusy()) TWLogger::logWithVerbosity(1, 5, {r.value()}, r.text()); }},
    {"text of a line", 1, [](Random& r) {
       static_cast<void>(TWLogger::getLogforVerbosity(r.below(4), r.below(7), {r.value(), 1}));
     }},
    {"log", 2, [](Random& r) { TWLogger::log("%@ of %@", {r.value()}); }},
    {"format", 1, [](Random& r) { TWLogger::setFormat(r.coin() ? "Storm - %@ %@" : "%@", r.below(3)); }},
    {"severity", 1, [](Random& r) { TWLogger::setMinimumSeverity(r.below(6)); }},
    {"identifiers", 1, [](Random& random) {
       static_cast<void>(TWCoreUtils::getSDKUniqueIdForUser());
       static_cast<void>(TWCoreUtils::getDeviceUniqueID());
       static_cast<void>(facade().isDeviceUniqueIDPresentInKeyChain());
       TWCoreUtils::saveUniqueId(random.text());
       static_cast<void>(TWNetworkUtils::getQueryParamsBodyDictForService(static_cast<TWService>(random.below(15))));
     }},
    {"keychain", 1, [](Random& random) {
       const std::string service = random.coin() ? "storm.a" : "storm.b";
       TWKeychain::save(service, random.value());
       static_cast<void>(TWKeychain::load(service));
       TWKeychain::remove(service);
     }},
    {"defaults", 2, [](Random& random) {
       const auto defaults = platform::Platform::current().userDefaultsWithSuiteName("group.a");
       defaults->setObject(random.value(), "a");
       if (random.below(20) == 0) defaults->synchronize();
     }},
    {"encoders", 2, [](Random& random) {
       const base::Dictionary dictionary = random.dictionary();
       static_cast<void>(TWCoreUtils::transformPayloadForIncompatibleTypes(dictionary).count());
       static_cast<void>(TWCoreUtils::getJSONStringFromDictionary(dictionary));
       static_cast<void>(TWCoreUtils::getColorFromHexValue(random.text()));
       static_cast<void>(validObjectForKeyPath(dictionary, "a.from"));
     }},
    {"dates", 2, [](Random& random) {
       const std::string format = random.coin() ? "yyyy-MM-dd" : random.text();
       static_cast<void>(TWDateUtils::getStringForDate(base::Date{1e9}, format, random.coin()));
       static_cast<void>(TWDateUtils::getDateForString(random.text(), format, random.coin()));
       static_cast<void>(TWDateUtils::getLocalTime());
     }},
};

const Call kDelegateCalls[] = {
    {"new listener", 4, [](Random& r) { listeners.put(r.place(), runtime::make<Listener>(true)); }},
    {"new delegate", 2, [](Random& r) { delegates.put(r.place(), runtime::make<Listener>(false)); }},
    {"register", 4, [](Random& random) {
       const auto id = Swizzler::registerAppDelegateInterceptor(listeners.at(random.place()));
       if (id) interceptorIDs.put(random.place(), *id);
     }},
    {"unregister", 4, [](Random& r) { Swizzler::unregisterAppDelegateInterceptorWithID(interceptorIDs.at(r.place())); }},
    {"clear", 1, [](Random& r) { if (r.below(50) == 0) Swizzler::clearInterceptors(); }},
    {"keys", 4, [](Random&) { static_cast<void>(Swizzler::interceptors().allKeys()); }},
    {"dispatch", 4, [](Random&) {
       Swizzler::notifyInterceptorsWithMethodSelector(platform::kApplicationDidReceiveRemoteNotification.selector(),
           [&](const Ref& each) { static_cast<Listener&>(*each).touch(); });
     }},
    {"delegate", 4, [](Random& r) { application().setDelegate(delegates.at(r.place())); }},
    {"proxy", 1, [](Random& random) {
       if (!take(proxies, kMostProxies)) return;
       Swizzler::resetProxyOriginalDelegateOnceToken();
       random.coin() ? Swizzler::proxyOriginalDelegate() : Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
     }},
    {"open", 4, [](Random& r) { application().deliverOpenURL(*base::Url::URLWithString("shop:cart"), r.dictionary()); }},
    {"notification", 4, [](Random& r) {
       application().deliverRemoteNotification(r.dictionary(), [](platform::UIBackgroundFetchResult) {});
     }},
    {"activity", 2, [](Random&) { application().deliverUserActivity(*runtime::make<platform::NSUserActivity>("browse")); }},
    {"token", 1, [](Random&) { application().deliverDeviceToken(base::Data("token")); }},
    {"description", 1, [](Random&) { static_cast<void>(runtime::description(Swizzler::originalDelegate().get())); }},
    {"new controller", 1, [](Random& r) { controllers.put(r.place(), runtime::make<UIViewController>()); }},
    {"navigation", 1, [](Random& r) {
       controllers.put(r.place(), runtime::make<platform::UINavigationController>(runtime::make<UIViewController>()));
     }},
    {"present", 2, [](Random& r) { controller(r).presentViewController(controllers.at(r.place()), true, [] {}); }},
    {"dismiss", 2, [](Random& r) { controller(r).dismissViewControllerAnimated(true, [] {}); }},
    {"contain", 1, [](Random& r) { controller(r).addChildViewController(controllers.at(r.place())); }},
    {"take out", 1, [](Random& r) { controller(r).removeFromParentViewController(); }},
    {"window", 1, [](Random& random) {
       const auto window = runtime::make<platform::UIWindow>();
       window->setRootViewController(controllers.at(random.place()));
       window->makeKeyAndVisible();
       windows.put(random.place(), window);
     }},
    {"alert", 1, [](Random& r) { TWCoreUtils::showAlertViewWithMessage(r.text(), r.text()); }},
    {"page", 1, [](Random& r) { TWCoreUtils::openRichLandingLink(anyURL(r)); }},
    {"close page", 1, [](Random& r) { facade().dismissRichLandingWebViewControllerWithAnimation(r.coin()); }},
    {"link", 1, [](Random& r) { TWCoreUtils::openDeeplink(anyURL(r)); }},
    {"old link", 1, [](Random& r) { TWCoreUtils::openDeeplinkBelowiOS10(anyURL(r)); }},
    {"top", 2, [](Random&) { static_cast<void>(TWCoreUtils::getTopMostPresentedViewController()); }},
};

const Call kRuntimeCalls[] = {
    {"new tank", 2, [](Random& r) { tanks.put(r.place(), runtime::make<Tank>()); }},
    {"send", 6, [](Random& r) { static_cast<void>(runtime::send(tanks.at(r.place()), kLevel)); }},
    {"send cold", 2, [](Random& r) {
       const Selector never = Selector::named("never" + std::to_string(r.below(20)));
       static_cast<void>(runtime::send<std::int64_t>(tanks.at(r.place()), never));
     }},
    {"invoke", 2, [](Random& random) {
       runtime::Invocation invocation(kLevel.signature());
       invocation.setTarget(tanks.at(random.place()));
       if (random.below(4)) invocation.setSelector(kLevel.selector());
       invocation.invoke();
     }},
    {"switch class", 3, [](Random& r) { runtime::setClass(tanks.at(r.place()).get(), anyClass(r)); }},
    {"class pair", 1, [](Random& random) {
       if (!take(classesMade, kMostClasses)) return;
       const std::string name = random.coin() ? random.of(kClassNames) : "Storm" + std::to_string(random.below(999));
       if (auto* const made = runtime::allocateClassPair(&runtime::classOf<Tank>(), name)) runtime::registerClassPair(*made);
     }},
    {"add method", 1, [](Random& r) {
       runtime::addMethod(anyClass(r), Selector::named("late" + std::to_string(r.below(50))), levelMethod());
     }},
    {"replace method", 1, [](Random& r) {
       if (r.below(20) == 0) runtime::replaceMethod(anyClass(r), kLevel.selector(), levelMethod());
     }},
    {"set value", 4, [](Random& r) { runtime::setValueForKey(tanks.at(r.place()).get(), "level", r.below(9)); }},
    {"set any value", 1, [](Random& r) { runtime::setValueForKey(tanks.at(r.place()).get(), "level", r.value()); }},
    {"value", 2, [](Random& r) { static_cast<void>(runtime::valueForKeyPath(tanks.at(r.place()).get(), "level")); }},
    {"associate", 3, [](Random& r) {
       runtime::setAssociatedObject(tanks.at(r.place()).get(), &kClassNames[r.below(3)], r.value(),
                                    runtime::AssociationPolicy::retain);
     }},
    {"associate object", 2, [](Random& r) {
       runtime::setAssociatedObject(
           tanks.at(r.place()).get(), &kClassNames[r.below(3)], runtime::objectValue(runtime::make<Tank>()),
           r.coin() ? runtime::AssociationPolicy::assign : runtime::AssociationPolicy::retain);
     }},
    {"associated", 3, [](Random& r) {
       static_cast<void>(runtime::associatedObject(tanks.at(r.place()).get(), &kClassNames[r.below(3)]).description());
     }},
    {"observe", 2, [](Random& r) {
       runtime::addObserver(tanks.at(r.place()).get(), tanks.at(r.place()), "level", static_cast<std::uint32_t>(r.below(16)));
     }},
    {"unobserve", 3, [](Random& r) { runtime::removeObserver(tanks.at(r.place()).get(), tanks.at(r.place()).get(), "level"); }},
    {"observation", 2, [](Random& r) {
       observations.put(r.place(), std::make_shared<runtime::Observation>(runtime::observe(
                                       tanks.at(r.place()), "level", 3, [](const base::Dictionary&) {})));
     }},
    {"properties", 1, [](Random& r) {
       if (const auto tank = tanks.at(r.place())) static_cast<void>(tank->dictionaryWithProperties());
     }},
};
// clang-format on

struct Worker {
  std::thread thread;
  std::atomic<const char*> call{nullptr};  ///< null when the thread ends
  std::uint64_t calls = 0, raised = 0;
};
std::array<Worker, kThreads> workers;

/// Ends a process that hangs, wherever it does.
void watch(int seconds, std::uint64_t seed) {
  std::this_thread::sleep_for(std::chrono::seconds(seconds + kLongestEnd));
  std::fprintf(stderr, "storm: hangs, %d s after its time; seed %llu\n", kLongestEnd,
               static_cast<unsigned long long>(seed));
  for (const Worker& worker : workers)
    if (const char* const call = worker.call) std::fprintf(stderr, "storm: a thread is in \"%s\"\n", call);
  std::abort();
}

void work(Worker& worker, std::uint64_t seed, const std::atomic<bool>& ends) {
  Random random(seed);
  std::vector<const Call*> choices;
  const auto add = [&](const auto& calls) {
    for (const Call& call : calls)
      choices.insert(choices.end(), static_cast<std::size_t>(call.weight), &call);
  };
  add(kCoreCalls);
  add(kDelegateCalls);
  add(kRuntimeCalls);
  while (!ends) {
    const Call& call = *choices[static_cast<std::size_t>(random.below(static_cast<int>(choices.size())))];
    worker.call = call.name;
    ++worker.calls;
    try {
      call.run(random);
    } catch (const base::Exception&) {
      ++worker.raised;  // a misuse that is answered
    } catch (const std::exception& exception) {
      if (std::string_view(exception.what()) != "a host's own") {
        std::fprintf(stderr, "storm: %s raised %s\n", call.name, exception.what());
        std::abort();
      }
    }
  }
  worker.call = nullptr;
}

int storm(int seconds, std::uint64_t seed) {
  std::string folder = "/tmp/tidewell-storm-XXXXXX";
  if (!mkdtemp(folder.data())) return 1;
  testing::StandInBackend standIn;
  standIn.setResource("/image", "bytes", "image/png");
  backend = &standIn;
  posix::Options options;
  options.bundleIdentifier = "org.example.storm";
  options.version = "1.0";
  options.dataHome = folder;
  options.caFile = standIn.caFile();
  options.proxy = "-";
  options.consoleSink = [](std::string_view line) { consoleBytes += line.size(); };
  for (const std::string_view host :
       {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES})
    options.connectionOverrides.push_back({std::string(host), 443, "127.0.0.1", standIn.port()});
  if (!posix::install(std::move(options))) return 1;
  TidewellCore::sharedInstance().initializeWithAppID("STORM");

  std::atomic<bool> ends{false};
  for (std::size_t i = 0; i < workers.size(); ++i)
    workers[i].thread =
        std::thread([&worker = workers[i], seed, i, &ends] { work(worker, seed * kThreads + i, ends); });
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  ends = true;
  std::uint64_t calls = 0, raised = 0;
  for (Worker& worker : workers) {
    worker.thread.join();
    calls += worker.calls;
    raised += worker.raised;
  }
  std::printf("storm: %llu calls, %llu exceptions, %zu requests, %zu bytes of log\n",
              static_cast<unsigned long long>(calls), static_cast<unsigned long long>(raised),
              standIn.requestCount(), consoleBytes.load());
  std::fflush(stdout);
  std::error_code ignored;  // the library's threads may still be writing
  std::filesystem::remove_all(folder, ignored);
  std::_Exit(calls > 0 && standIn.requestCount() > 0 ? 0
                                                     : 1);  // what is on shelves and queues stays as it is
}

}  // namespace
}  // namespace tidewell

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 0;
  if (seconds <= 0) {
    std::fprintf(stderr, "usage: storm SECONDS [SEED]\n");
    return 2;
  }
  const std::uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
  std::printf("storm: %d s, seed %llu\n", seconds, static_cast<unsigned long long>(seed));
  std::fflush(stdout);
  std::thread(tidewell::watch, seconds, seed).detach();
  return tidewell::storm(seconds, seed);
}
