// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <barrier>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "core/DelegateFixture.h"
#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell {
namespace {

const char* const kSuccess =
    "Tidewell - Successfully created App Delegate Proxy automatically. To disable the proxy, set the flag "
    "TidewellAppDelegateProxyEnabled to NO (Boolean) in the Info.plist";

class DelegateProxyTest : public DelegateFixture {
 protected:
  void setProxyEnabled(base::Value enabled) {
    platform->testBundles().setMainInfoDictionary({{"TidewellAppDelegateProxyEnabled", enabled}});
  }
  static bool isObserving() { return TWAppDelegateObserver::sharedInstance()->isObserving(); }
  static void proxyAnew() {
    Swizzler::resetProxyOriginalDelegateOnceToken();
    Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  }
};

TEST_F(DelegateProxyTest, InterceptorsReceiveEveryMessageFirstAndMayAnswerTrue) {
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{kSuccess});
  sendURL(delegate);
  EXPECT_EQ(takeHeard(), urlHeardBy({"app"}));
  const auto push = intercept("push"), inbox = intercept("inbox");
  Swizzler::registerAppDelegateInterceptor(delegate);  // called only as the delegate
  for (const SentMessage& message : sentMessages()) {
    SCOPED_TRACE(message.selector);
    for (int mask = 0; mask < 8; ++mask) {
      delegate->answer = mask & 1;
      push->answer = mask & 2;
      inbox->answer = mask & 4;
      handlerCalls = 0;
      EXPECT_EQ(message.send(delegate), message.hasAnswer && mask != 0) << mask;
      EXPECT_EQ(takeHeard(), (Lines{"push" + message.noted, "inbox" + message.noted, "app" + message.noted}));
      EXPECT_EQ(handlerCalls, message.selector.ends_with("andler:") ? 3 : 0);
    }
  }
  int runs = 0;
  const FetchCompletionHandler once = [&runs, isSpent = false](const auto&...) mutable {
    runs += !std::exchange(isSpent, true);
  };
  runtime::send(delegate, platform::kApplicationDidReceiveRemoteNotificationFetching, *application,
                base::Dictionary(), once);
  EXPECT_EQ(runs, 1) << "all receivers share one handler";
}

TEST_F(DelegateProxyTest, ADelegateWithoutMethodsGetsAllButTwoMethods) {
  const auto delegate = setDelegate<Deaf>();
  const auto push = intercept("push", true);
  const auto expectAdded = [&](std::size_t end) {
    for (std::size_t index = 0; index < sentMessages().size(); ++index) {
      const SentMessage& message = sentMessages()[index];
      const bool isAdded = index > 0 && index < end;
      EXPECT_EQ(runtime::respondsTo(delegate.get(), runtime::Selector::named(message.selector)), isAdded);
      if (!isAdded) continue;
      EXPECT_EQ(message.send(delegate), message.hasAnswer);
      EXPECT_EQ(takeHeard(), Lines{"push" + message.noted});
    }
  };
  Swizzler::proxyOriginalDelegate();
  expectAdded(4);
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  expectAdded(7);
}

class Raising : public UIApplicationDelegate {
 public:
  bool openURL(UIApplication&, const base::Url&, const base::Dictionary&) override {
    throw std::runtime_error("no such page");
  }
};

TEST_F(DelegateProxyTest, ExceptionsOfTheDelegatePropagate) {
  const auto delegate = setDelegate<Raising>();
  const auto push = intercept("push", true);
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_THROW(sendURL(delegate), std::runtime_error);
  EXPECT_EQ(takeHeard(), urlHeardBy({"push"}));
}

// Installation

TEST_F(DelegateProxyTest, SkippedProxyingIsLoggedAndChangesNoDelegate) {
  EXPECT_TRUE(Swizzler::isAppDelegateProxyEnabled());
  const std::pair<base::Value, bool> cases[] = {{0, false},   {0.0, false},          {1, true},
                                                {"NO", true}, {base::Array{}, true}, {false, false}};
  for (const auto& [value, isEnabled] : cases) {
    setProxyEnabled(value);
    EXPECT_EQ(Swizzler::isAppDelegateProxyEnabled(), isEnabled) << value.description();
  }
  const auto stranger = runtime::make<TWZeroingWeakContainer>();
  Swizzler::proxyOriginalDelegate();
  Swizzler::proxyAppDelegate(stranger);
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyAppDelegate(delegate);
  const std::string notConforming =
      "Tidewell - App Delegate does not conform to UIApplicationDelegate protocol. ";
  EXPECT_EQ(lines(), (Lines{notConforming + "(null)",
                            notConforming + "<TWZeroingWeakContainer: " + addressOf(stranger) + ">",
                            "Tidewell - App Delegate Proxy is disabled."}));
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(isObserving());
  // The remote-notification stage still holds and observes the delegate.
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(&delegate->isa(), &runtime::classOf<Listener>());
  EXPECT_EQ(Swizzler::originalDelegate(), delegate);
  EXPECT_TRUE(isObserving());
}

TEST_F(DelegateProxyTest, StagesRunOnceEvenIfAnObserverStartsThemAgain) {
  const auto delegate = setDelegate<Listener>("app");
  bool raises = false;
  const runtime::Observation observation =
      runtime::observe(application, "delegate", 0, [&](const base::Dictionary&) {
        if (raises) throw std::runtime_error("not now");
        Swizzler::proxyOriginalDelegate();
        Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
      });
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{kSuccess});
  runtime::Class& subclass = delegate->isa();
  EXPECT_EQ(subclass.superclass(), &runtime::classOf<Listener>());
  EXPECT_TRUE(subclass.name().starts_with("Tdw_Listener-") && subclass.name().size() == 13 + 36);
  EXPECT_EQ(runtime::description(delegate.get()), "<Listener: " + addressOf(delegate) + ">");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(&delegate->isa(), &subclass);
  EXPECT_EQ(lines(), Lines{});

  raises = true;
  proxyAnew();
  const std::string line = "Tidewell - Exception : not now \n Cannot create App Delegate Proxy.";
  EXPECT_EQ(lines(), (Lines{kSuccess, line, line}));
}

TEST_F(DelegateProxyTest, AReproxiedDelegateReceivesEachMessageOnce) {
  const auto push = intercept("push");
  const auto delegate = setDelegate<Listener>("app");
  proxyAnew();
  const std::string first = delegate->isa().name();
  proxyAnew();
  for (const SentMessage& message : sentMessages()) {
    message.send(delegate);
    EXPECT_EQ(takeHeard(), (Lines{"push" + message.noted, "app" + message.noted}));
  }
  EXPECT_EQ(runtime::description(delegate.get()), "<" + first + ": " + addressOf(delegate) + ">");
}

// Replacing the delegate

TEST_F(DelegateProxyTest, AnotherDelegateEndsTheProxy) {
  auto first = runtime::make<Listener>("first");
  application->setDelegate(first);
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  application->setDelegate(first);  // assigning the same delegate has no effect
  EXPECT_EQ(Swizzler::originalDelegate(), first);
  EXPECT_TRUE(isObserving());

  setDelegate<Listener>("second");
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(isObserving());
  application->setDelegate(first);  // restored: still proxied, but no longer observed
  EXPECT_FALSE(isObserving());
  sendURL(first);
  EXPECT_EQ(takeHeard(), urlHeardBy({"push", "first"}));
  first = nullptr;
  EXPECT_EQ(application->delegate(), nullptr);
}

/// Equal to every other one.
class Twin : public runtime::Subclass<Twin, Listener> {
 public:
  using Subclass::Subclass;
  bool isEqual(Object* other) { return runtime::isKindOf(other, runtime::classOf<Twin>()); }
  std::uint64_t hash() { return 1; }
  static void describe(runtime::ClassBuilder<Twin>& c) {
    c.method<&Twin::isEqual>(runtime::kIsEqual).method<&Twin::hash>(runtime::kHash);
  }
};

TEST_F(DelegateProxyTest, DelegatesAreComparedWithTheirOwnEquality) {
  const auto first = setDelegate<Twin>("first");
  Swizzler::proxyOriginalDelegate();
  setDelegate<Twin>("second");
  EXPECT_EQ(Swizzler::originalDelegate(), first);
  setDelegate<Listener>("third");
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(isObserving());
}

TEST_F(DelegateProxyTest, ConcurrentReplacementsOfTheDelegateEndTheProxyOnce) {
  setProxyEnabled(false);  // held and observed without creating subclasses
  TWLogger::debug(TWLogLevelOff);
  const auto first = runtime::make<Deaf>(), second = runtime::make<Deaf>(), third = runtime::make<Deaf>();
  std::barrier together(2);
  std::atomic<bool> isOver = false;
  std::thread thread([&] {
    for (together.arrive_and_wait(); !isOver; together.arrive_and_wait()) {
      EXPECT_NO_THROW(application->setDelegate(second));
      together.arrive_and_wait();
    }
  });
  // On a busy machine each meeting of the threads takes milliseconds.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (int round = 0; round < 3000 && std::chrono::steady_clock::now() < end; ++round) {
    application->setDelegate(first);
    proxyAnew();
    EXPECT_TRUE(isObserving());
    together.arrive_and_wait();
    EXPECT_NO_THROW(application->setDelegate(third));
    together.arrive_and_wait();
    EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
    EXPECT_FALSE(isObserving());
  }
  isOver = true;
  together.arrive_and_wait();
  thread.join();
}

class SendsWhenDestroyed : public runtime::Subclass<SendsWhenDestroyed, Listener> {
 public:
  using Subclass::Subclass;
  ~SendsWhenDestroyed() override { sendURL(Ref(Ref(), this)); }
};

/// The proxy may be the delegate's only owner. The stage's re-assignment clears the delegate briefly, which
/// ends the observation but must not destroy the delegate.
TEST_F(DelegateProxyTest, ADelegateOwnedByTheProxySurvivesTheStages) {
  Listener* address = nullptr;
  {
    const auto delegate = runtime::make<SendsWhenDestroyed>("app");
    address = delegate.get();
    application->setDelegate(delegate);
    Swizzler::proxyOriginalDelegate();
  }
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(application->delegate().get(), address);
  EXPECT_EQ(Swizzler::originalDelegate().get(), address);
  EXPECT_TRUE(isObserving());
  const auto push = intercept("push");
  application->setDelegate(nullptr);
  EXPECT_EQ(takeHeard(), urlHeardBy({"push", "app"}));
}

TEST(WithoutPlatform, NoDelegateIsProxiedWithoutAnApplication) {
  EXPECT_EQ(Swizzler::sharedApplication(), nullptr);
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(TWAppDelegateObserver::sharedInstance()->isObserving());
}

// Interceptors

class InterceptorsTest : public DelegateFixture {
 protected:
  /// The interceptors called by one dispatch, in order; `during` runs in each callback.
  static std::vector<Ref> dispatch(const std::function<void(const Ref&)>& during = [](const Ref&) {}) {
    std::vector<Ref> called;
    Swizzler::notifyInterceptorsWithMethodSelector(platform::kApplicationOpenURL.selector(),
                                                   [&](const Ref& interceptor) {
                                                     called.push_back(interceptor);
                                                     during(interceptor);
                                                   });
    return called;
  }
  static std::string removalLine(const std::string& id) {
    return "Tidewell - AppDelegateProxy cannot find interceptor with ID " + id +
           ". Removing the interceptor.";
  }
  static std::string notRegisteredLine(const std::string& id) {
    return "Tidewell - AppDelegateProxy cannot unregister interceptor that was not registered. \n "
           "Interceptor ID " +
           id;
  }
};

TEST_F(InterceptorsTest, ConformingObjectsAreRegisteredOnce) {
  class Stranger : public runtime::Subclass<Stranger> {};
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(nullptr), std::nullopt);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(runtime::make<Stranger>()), std::nullopt);
  EXPECT_EQ(lines(),
            (Lines{"Tidewell - AppDelegateProxy cannot add nil interceptor.",
                   "Tidewell - AppDelegateProxy interceptor does not conform to UIApplicationDelegate"}));
  auto deaf = runtime::make<Deaf>();
  const auto interceptor = runtime::make<Listener>("push");
  Swizzler::registerAppDelegateInterceptor(deaf);
  const std::string id = "Tdw_" + addressOf(interceptor);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(interceptor), id);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(interceptor), id);
  EXPECT_EQ(Swizzler::interceptors().allKeys(), (Lines{"Tdw_" + addressOf(deaf), id}));
  EXPECT_EQ(dispatch(), std::vector<Ref>{interceptor});
  Swizzler::unregisterAppDelegateInterceptorWithID(id);
  EXPECT_TRUE(dispatch().empty());
  EXPECT_EQ(Swizzler::interceptors().count(), 1u);
  EXPECT_EQ(lines(), Lines{});
  deaf = nullptr;
  const std::string destroyed = Swizzler::interceptors().allKeys().front();
  for (const std::optional<std::string_view> each : {std::optional<std::string_view>(), {id}, {destroyed}})
    Swizzler::unregisterAppDelegateInterceptorWithID(each);
  EXPECT_EQ(Swizzler::interceptors().count(), 1u) << "the next dispatch removes destroyed ones";
  EXPECT_TRUE(dispatch().empty());
  EXPECT_EQ(Swizzler::interceptors().count(), 0u);
  EXPECT_EQ(lines(), (Lines{"Tidewell - AppDelegateProxy cannot unregister empty interceptor ID.",
                            notRegisteredLine(id), notRegisteredLine(destroyed), removalLine(destroyed)}));
}

TEST_F(InterceptorsTest, CallbacksMayChangeTheRegistryAndRaise) {
  auto first = intercept("first"), unregistered = intercept("unregistered"), dropped = intercept("dropped");
  auto again = intercept("registered again"), last = intercept("last");
  const Lines ids = Swizzler::interceptors().allKeys();
  std::shared_ptr<Listener> added;
  const auto change = [&](const Ref& interceptor) {
    if (interceptor != first) return;
    Swizzler::unregisterAppDelegateInterceptorWithID(ids[0]);
    Swizzler::unregisterAppDelegateInterceptorWithID(ids[1]);
    dropped = nullptr;
    Swizzler::registerAppDelegateInterceptor(again);
    added = intercept("added");
    throw std::runtime_error("out of tokens");
  };
  EXPECT_EQ(dispatch(change), (std::vector<Ref>{first, again, last}));
  EXPECT_EQ(lines(), (Lines{caughtLine("TWAppDelegateSwizzler", 36, "application:openURL:options:",
                                       "AppDelegateProxy interceptor raised out of tokens"),
                            removalLine(ids[2])}));
  EXPECT_EQ(dispatch(change), (std::vector<Ref>{again, last, added}));

  // A new object may reuse the address, and thus the ID, of a destroyed one.
  const std::string id = Swizzler::interceptors().allKeys().back();
  const auto successor = runtime::make<Listener>("successor");
  dispatch([&](const Ref&) {
    if (!added) return;
    added = nullptr;
    const auto container = runtime::make<TWZeroingWeakContainer>();
    container->setObject(successor);
    Swizzler::interceptors().setObject(container, id);
  });
  EXPECT_EQ(dispatch(), (std::vector<Ref>{again, last, successor}));
  EXPECT_EQ(dispatch([](const Ref&) { Swizzler::clearInterceptors(); }), std::vector<Ref>{again});
  EXPECT_EQ(lines(), Lines{});
}

}  // namespace
}  // namespace tidewell
