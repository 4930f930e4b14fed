// SPDX-License-Identifier: Apache-2.0
// Random calls of the whole public interface from many threads: storm SECONDS [SEED]
//
// Looks for crashes, hangs, exceptions other than `base::Exception`, and sanitizer reports; answers are not
// checked. The seed determines the calls of each thread, but not their interleaving.

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "attack/Attack.h"
#include "guest/hosts/EveryOperation.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/platform/UINavigationController.h"
#include "tidewell/testing/StandInBackend.h"

namespace {

using namespace tidewell;

using attack::ignore;
using guest::config;
using guest::core;
using guest::kLevel;
using guest::Tank;
using platform::UIApplication;
using platform::UIViewController;
using runtime::Ref;
using runtime::Selector;
using Swizzler = TWAppDelegateSwizzler;
using Activity = platform::NSUserActivity;
using Navigation = platform::UINavigationController;

constexpr int kThreads = 16;
/// How many seconds the program may overrun before it counts as hanging.
constexpr int kLongestEnd = 60;
/// Limit for objects that live until the process ends.
constexpr int kMostMade = 400;
/// Limit for requests in flight, since the backend is slower than sixteen threads.
constexpr int kMostRequests = 32;

/// The random choices of one thread.
class Random {
 public:
  explicit Random(std::uint64_t seed) : numbers_(seed) {}
  int below(int bound) { return static_cast<int>(numbers_() % static_cast<unsigned>(bound)); }
  bool coin() { return numbers_() & 1; }
  template <class T, std::size_t size>
  T& of(T (&all)[size]) {
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

/// A few objects that all threads share and replace. Replaced objects are destroyed outside the lock.
template <class T>
class Shelf {
 public:
  T at(Random& random) {
    const std::lock_guard lock(mutex_);
    return random.of(items_);
  }
  void put(Random& random, T item) {
    const std::lock_guard lock(mutex_);
    std::swap(random.of(items_), item);
  }

 private:
  std::mutex mutex_;
  T items_[12] = {};
};

struct HostsOwn {};

/// No object is both proxied delegate and interceptor, since it would receive its own messages endlessly.
class Listener : public platform::UIApplicationDelegate {
 public:
  explicit Listener(bool mayIntercept) : mayIntercept_(mayIntercept) {}
  bool openURL(UIApplication&, const base::Url&, const base::Dictionary&) override { return ++calls % 2; }
  void didReceiveRemoteNotificationFetching(UIApplication&, const base::Dictionary&,
                                            const platform::FetchCompletionHandler& handler) override {
    touch();
    handler(platform::UIBackgroundFetchResult::newData);
  }
  void didRegisterForRemoteNotifications(UIApplication&, const base::Data&) override { throw HostsOwn(); }
  /// Registers an interceptor during a dispatch.
  void touch() {
    if (++calls % 3 == 0 && mayIntercept_)
      ignore(Swizzler::registerAppDelegateInterceptor(weak_from_this().lock()));
  }
  std::atomic<int> calls{0};

 private:
  const bool mayIntercept_;
};

// Shared by the threads.
testing::StandInBackend* backend = nullptr;
Shelf<Ref> listeners, delegates;
Shelf<std::shared_ptr<Tank>> tanks;
Shelf<std::shared_ptr<UIViewController>> controllers;
Shelf<std::shared_ptr<platform::UIWindow>> windows;
Shelf<std::shared_ptr<runtime::Observation>> observations;
Shelf<std::string> interceptorIDs;
std::atomic<int> boundedCalls{0}, requestsUnderWay{0};
const base::Url kShop = *base::Url::URLWithString("shop:cart");
const std::string kClassNames[] = {"StormA", "StormB", "StormC"};

bool isBusy() { return requestsUnderWay >= kMostRequests; }

/// Counts one request in flight until the last copy is destroyed; a request may raise before it has a
/// completion.
std::shared_ptr<void> slot() {
  ++requestsUnderWay;
  return {nullptr, [](void*) { --requestsUnderWay; }};
}

UIViewController& controller(Random& random) {
  thread_local std::shared_ptr<UIViewController> kept;
  kept = controllers.at(random);
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

/// A call and its relative frequency, which is lower for calls that wait for disk or network.
struct Call {
  const char* name;
  int weight;
  std::function<void(Random&)> run;
};

UIApplication& application() { return *UIApplication::sharedApplication(); }

void post(Random& random) {
  static constexpr std::string_view kNames[] = {kNotificationNameUserReset, kNotificationNameUpdateModules,
                                                platform::UIApplicationWillEnterForegroundNotification};
  auto& center = platform::NotificationCenter::defaultCenter();
  const auto token = center.addObserver(random.of(kNames), [](const auto&) {});
  if (!isBusy()) center.postNotificationName(random.of(kNames), {}, random.value());
  center.removeObserver(token);
}
void request(Random& random) {
  if (isBusy()) return;
  const auto maybe = [&](base::Dictionary some) {
    return random.coin() ? std::optional(std::move(some)) : std::nullopt;
  };
  TWNetworkRequest(static_cast<TWService>(random.below(16) - 1), maybe({{"q", random.text()}}),
                   maybe({{"tdw-appkey", random.text()}}), maybe(random.dictionary()), random.text())
      .executeRequestWithCompletionBlock([slot = slot()](bool, const base::Value&) {});
}
void setDefaults(Random& random) {
  const auto defaults = platform::Platform::current().userDefaultsWithSuiteName("group.a");
  defaults->setObject(random.value(), "a");
  if (random.below(20) == 0) defaults->synchronize();
}
void registerInterceptor(Random& random) {
  const auto id = Swizzler::registerAppDelegateInterceptor(listeners.at(random));
  if (id) interceptorIDs.put(random, *id);
}
void walkInterceptors(Random&) {
  Swizzler::notifyInterceptorsWithMethodSelector(
      platform::kApplicationDidReceiveRemoteNotification.selector(),
      [](const Ref& each) { static_cast<Listener&>(*each).touch(); });
}
void makeWindow(Random& random) {
  const auto window = runtime::make<platform::UIWindow>();
  window->setRootViewController(controllers.at(random));
  window->makeKeyAndVisible();
  windows.put(random, window);
}
Tank* tank(Random& random) {
  thread_local std::shared_ptr<Tank> kept[2];
  std::swap(kept[0], kept[1]);
  return (kept[0] = tanks.at(random)).get();
}
Selector late(Random& random) { return Selector::named("late" + std::to_string(random.below(50))); }
void associate(Random& random) {
  const auto policy = random.coin() ? runtime::AssociationPolicy::assign : runtime::AssociationPolicy::retain;
  const base::Value value = random.coin() ? random.value() : runtime::objectValue(runtime::make<Tank>());
  runtime::setAssociatedObject(tank(random), &random.of(kClassNames), value, policy);
}
void observe(Random& random) {
  runtime::addObserver(tank(random), tanks.at(random), "level", static_cast<std::uint32_t>(random.below(16)));
  auto made = runtime::observe(tanks.at(random), "level", 3, [](const base::Dictionary&) {});
  observations.put(random, std::make_shared<runtime::Observation>(std::move(made)));
}
void merge(Random& random) {
  config().updateConfigFromResponse(random.coin() ? base::JSONObjectWithData(random.of(kReplies))
                                                  : random.value());
}
void setRecord(Random& random) {
  config().setTdwConfig(random.coin() ? std::make_shared<TWConfig>() : nullptr);
  if (const auto record = config().tdwConfig()) ignore(record->fields());
}

std::vector<Call> calls{
    {"restricted IDs", 2, [](Random& r) { ignore(config().restrictionOfUniqueID(r.text())); }},
    {"record", 2, setRecord},
    {"any merge", 2, merge},
    {"backend", 1, [](Random& r) { backend->setConfiguration(r.of(kReplies)); }},
    {"reset", 1, [](Random&) { core().userReset(); }},
    {"sync", 1, [](Random&) { isBusy() ? void() : core().updateConfig(); }},
    {"levels", 2, [](Random& r) { core().debug(r.below(4)); }},
    {"app group", 1, [](Random& r) { core().setAppGroupID(r.coin() ? "group.a" : "group.b"); }},
    {"notifications", 2, post},
    {"request", 2, request},
    {"line", 8,
     [](Random& r) {
       TWLogger::logWithVerbosity(r.below(4), r.below(7), {"f", 1, "m", r.value()});
     }},
    {"log", 2, [](Random& r) { TWLogger::log("%@ of %@", {r.value()}); }},
    {"format", 1, [](Random& r) { TWLogger::setFormat(r.coin() ? "Storm - %@ %@" : "%@", r.below(3)); }},
    {"severity", 1, [](Random& r) { TWLogger::setMinimumSeverity(r.below(6)); }},
    {"defaults of a suite", 2, setDefaults},
    // Delegate and presentation.
    {"new listener", 4, [](Random& r) { listeners.put(r, runtime::make<Listener>(true)); }},
    {"new delegate", 2, [](Random& r) { delegates.put(r, runtime::make<Listener>(false)); }},
    {"register", 8, registerInterceptor},
    {"unregister", 8,
     [](Random& r) { Swizzler::unregisterAppDelegateInterceptorWithID(interceptorIDs.at(r)); }},
    {"clear", 1, [](Random& r) { r.below(50) ? void() : Swizzler::clearInterceptors(); }},
    {"keys", 8, [](Random&) { ignore(Swizzler::interceptors().allKeys()); }},
    {"walk", 8, walkInterceptors},
    {"delegate", 4, [](Random& r) { application().setDelegate(delegates.at(r)); }},
    {"no APNS methods", 1, [](Random&) { Swizzler::proxyOriginalDelegate(); }},
    {"open", 4, [](Random& r) { application().deliverOpenURL(kShop, r.dictionary()); }},
    {"notification", 4,
     [](Random& r) { application().deliverRemoteNotification(r.dictionary(), [](auto) {}); }},
    {"activity", 2, [](Random&) { application().deliverUserActivity(*runtime::make<Activity>("browse")); }},
    {"token", 1, [](Random&) { application().deliverDeviceToken(base::Data("token")); }},
    {"description", 1, [](Random&) { ignore(runtime::description(Swizzler::originalDelegate().get())); }},
    {"new controller", 1, [](Random& r) { controllers.put(r, runtime::make<UIViewController>()); }},
    {"navigation", 1,
     [](Random& r) { controllers.put(r, runtime::make<Navigation>(runtime::make<UIViewController>())); }},
    {"present", 2, [](Random& r) { controller(r).presentViewController(controllers.at(r), true, [] {}); }},
    {"dismiss", 2, [](Random& r) { controller(r).dismissViewControllerAnimated(true, [] {}); }},
    {"contain", 1, [](Random& r) { controller(r).addChildViewController(controllers.at(r)); }},
    {"take out", 1, [](Random& r) { controller(r).removeFromParentViewController(); }},
    {"window", 1, makeWindow},
    {"alert", 1, [](Random& r) { TWCoreUtils::showAlertViewWithMessage(r.text(), r.text()); }},
    {"link", 1, [](Random& r) { TWCoreUtils::openDeeplink(anyURL(r)); }},
    {"old link", 1, [](Random& r) { TWCoreUtils::openDeeplinkBelowiOS10(anyURL(r)); }},
    {"top", 2, [](Random&) { ignore(TWCoreUtils::getTopMostPresentedViewController()); }},
    // The object model.
    {"new tank", 2, [](Random& r) { tanks.put(r, runtime::make<Tank>()); }},
    {"send", 6, [](Random& r) { ignore(runtime::send(tanks.at(r), kLevel)); }},
    {"send cold", 2, [](Random& r) { ignore(runtime::send<std::int64_t>(tanks.at(r), late(r))); }},
    {"switch class", 3, [](Random& r) { runtime::setClass(tank(r), anyClass(r)); }},
    {"class pair", 1,
     [](Random& r) {
       auto* const made = runtime::allocateClassPair(&runtime::classOf<Tank>(), r.of(kClassNames));
       if (made != nullptr) runtime::registerClassPair(*made);
     }},
    {"add method", 1, [](Random& r) { runtime::addMethod(anyClass(r), late(r), levelMethod()); }},
    {"replace method", 1,
     [](Random& r) {
       if (r.below(20) == 0) runtime::replaceMethod(anyClass(r), kLevel.selector(), levelMethod());
     }},
    {"set value", 4, [](Random& r) { runtime::setValueForKey(tank(r), "level", r.below(9)); }},
    {"set any value", 1, [](Random& r) { runtime::setValueForKey(tank(r), "level", r.value()); }},
    {"value", 2, [](Random& r) { ignore(runtime::valueForKeyPath(tank(r), "level")); }},
    {"associate", 5, associate},
    {"associated", 3, [](Random& r) { ignore(runtime::associatedObject(tank(r), kClassNames)); }},
    {"unobserve", 3, [](Random& r) { runtime::removeObserver(tank(r), tank(r), "level"); }},
    {"observe", 2, observe},
    {"properties", 1, [](Random&) { ignore(runtime::make<Tank>()->dictionaryWithProperties()); }},
};

/// Adds the operations of the guest programs without checking their answers. Those whose objects live until
/// the process ends are limited.
void addGuestOperations() {
  guest::onFailedRequirement = [](const char*) {};
  for (const guest::Operation& each : guest::kOperations) {
    const std::string_view name = each.name;
    if (name == "replace") continue;  // expects that no other thread removes its record
    const bool isBounded =
        name == "network" || name == "proxy" || name == "objects" || name == "core" || name == "sync";
    calls.push_back({each.name, 1, [&each, isBounded](Random&) {
                       if (!isBounded || (!isBusy() && boundedCalls++ < kMostMade)) each.run();
                     }});
  }
}

struct Worker {
  std::thread thread;
  std::atomic<const char*> call{nullptr};  ///< null when the thread ends
  std::size_t calls = 0, raised = 0;
};
std::array<Worker, kThreads> workers;

void reportHang(int) {
  dprintf(STDERR_FILENO, "storm: still running %d s after the time limit\n", kLongestEnd);
  for (const Worker& worker : workers)
    if (const char* const call = worker.call) dprintf(STDERR_FILENO, "storm: a thread is in \"%s\"\n", call);
  _exit(2);
}

void work(Worker& worker, std::uint64_t seed, const std::atomic<bool>& ends) {
  Random random(seed);
  std::vector<const Call*> choices;
  for (const Call& call : calls) choices.insert(choices.end(), static_cast<std::size_t>(call.weight), &call);
  while (!ends) {
    const Call& call = *choices[static_cast<std::size_t>(random.below(static_cast<int>(choices.size())))];
    worker.call = call.name;
    ++worker.calls;
    try {
      call.run(random);
    } catch (const base::Exception&) {
      ++worker.raised;  // reports a misuse
    } catch (const HostsOwn&) {
    }
  }
  worker.call = nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // shows the seed even if the program crashes
  const std::size_t seconds = argc > 1 ? std::stoul(argv[1]) : 60;
  const std::size_t seed = argc > 2 ? std::stoul(argv[2]) : std::random_device()();
  std::printf("storm: %zu s, seed %zu\n", seconds, seed);
  std::signal(SIGALRM, reportHang);
  alarm(static_cast<unsigned>(seconds) + kLongestEnd);
  attack::TemporaryFolder folder;
  testing::StandInBackend standIn;
  standIn.setResource("/image", "bytes", "image/png");
  backend = &standIn;
  if (!posix::install(attack::optionsFor(folder.path, standIn.port(), standIn.caFile()))) return 1;
  core().initializeWithAppID("STORM");
  addGuestOperations();

  std::atomic<bool> ends{false};
  for (std::size_t i = 0; i < workers.size(); ++i)
    workers[i].thread =
        std::thread([&worker = workers[i], seed, i, &ends] { work(worker, seed * kThreads + i, ends); });
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  ends = true;
  std::size_t made = 0, raised = 0;
  for (Worker& worker : workers) {
    worker.thread.join();
    made += worker.calls;
    raised += worker.raised;
  }
  std::printf("storm: %zu exceptions, %zu requests\n", raised, standIn.requestCount());
  const int status = attack::conclude(made, "calls", standIn.requestCount() > 0 ? 0 : 1);
  folder.~TemporaryFolder();
  std::_Exit(status);  // shared objects and queued work are not destroyed
}
