#include <atomic>
#include <barrier>
#include <stdexcept>
#include <thread>

#include "core/DelegateFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"
#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell {
namespace {

using Swizzler = TWAppDelegateSwizzler;

const char* const kSuccess =
    "Tidewell - Successfully created App Delegate Proxy automatically. To disable the proxy, set the flag "
    "TidewellAppDelegateProxyEnabled to NO (Boolean) in the Info.plist";
const std::string kURLNoted = " openURL shop:cart from mail";
const Lines kPushAndApp{"push" + kURLNoted, "app" + kURLNoted};

/// Tells a delegate of an opened URL; a listener notes its name and `kURLNoted`.
bool sendURL(const Ref& to) { return sentMessages()[1].send(to); }

class DelegateProxyTest : public DelegateFixture {
 protected:
  void setInfo(base::Value enabled) {
    platform->testBundles().setMainInfoDictionary({{"TidewellAppDelegateProxyEnabled", enabled}});
  }
  static bool isObserving() { return TWAppDelegateObserver::sharedInstance()->isObserving(); }
};

TEST_F(DelegateProxyTest, InterceptorsHearEveryMessageFirstAndTheAnswerIsYesWhereAnybodySaysSo) {
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{kSuccess});
  sendURL(delegate);
  EXPECT_EQ(takeHeard(), Lines{"app" + kURLNoted});
  const auto push = intercept("push");
  const auto inbox = intercept("inbox");
  Swizzler::registerAppDelegateInterceptor(delegate);  // hears as the delegate only
  for (const Sent& message : sentMessages()) {
    SCOPED_TRACE(message.selector);
    for (int mask = 0; mask < 8; ++mask) {
      delegate->answer = mask & 1;
      push->answer = mask & 2;
      inbox->answer = mask & 4;
      handlerCalls() = 0;
      EXPECT_EQ(message.send(delegate), message.hasAnswer && mask != 0) << mask;
      const std::string noted = " " + message.noted;
      EXPECT_EQ(takeHeard(), (Lines{"push" + noted, "inbox" + noted, "app" + noted}));
      // A handler is everybody's, and is called as often as they call it.
      EXPECT_EQ(handlerCalls(), message.selector.ends_with("andler:") ? 3 : 0);
    }
  }
}

TEST_F(DelegateProxyTest, AHandlerThatRunsOnceRunsOnceThoughAllCallIt) {
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  const auto push = intercept("push"), inbox = intercept("inbox");
  int runs = 0;
  const auto once = [&runs, isSpent = false](const auto&...) mutable {
    runs += !std::exchange(isSpent, true);
  };
  application->deliverRemoteNotification({{"alert", "sale"}}, once);
  runtime::send(delegate, platform::kApplicationDidReceiveRemoteNotificationFetching, *application,
                base::Dictionary(), FetchCompletionHandler(once));
  EXPECT_EQ(takeHeard().size(), 6u);
  EXPECT_EQ(runs, 2);
}

TEST_F(DelegateProxyTest, ADelegateThatLacksAMethodGetsAllButTwo) {
  const auto delegate = setDelegate<Deaf>();
  const auto push = intercept("push", true);
  Lines expected;
  for (const bool isRemote : {false, true}) {
    isRemote ? Swizzler::proxyOriginalDelegateIncludingAPNSMethods() : Swizzler::proxyOriginalDelegate();
    Lines responds;
    for (const Sent& message : sentMessages()) {
      if (message.isRemote == isRemote && message.isAddedAlways) expected.push_back(message.selector);
      if (runtime::respondsTo(delegate.get(), runtime::Selector::named(message.selector)))
        responds.push_back(message.selector);
    }
    EXPECT_EQ(responds, expected);
  }
  for (const Sent& message : sentMessages()) {
    if (!message.isAddedAlways) continue;
    EXPECT_EQ(message.send(delegate), message.hasAnswer);
    EXPECT_EQ(takeHeard(), Lines{"push " + message.noted});
  }
}

// Exceptions.

class Raising : public UIApplicationDelegate {
 public:
  bool openURL(UIApplication&, const base::Url&, const base::Dictionary&) override {
    throw std::runtime_error("no such page");
  }
};

TEST_F(DelegateProxyTest, TheApplicationsExceptionPassesAndAnInterceptorsDoesNot) {
  const auto delegate = setDelegate<Listener>("app");
  const auto raising = runtime::make<Raising>();
  Swizzler::registerAppDelegateInterceptor(raising);
  const auto push = intercept("push", true);
  Swizzler::proxyOriginalDelegate();
  lines();
  EXPECT_TRUE(sendURL(delegate));
  EXPECT_EQ(takeHeard(), kPushAndApp);
  EXPECT_EQ(lines().size(), 1u);

  Swizzler::resetProxyOriginalDelegateOnceToken();
  application->setDelegate(raising);
  Swizzler::clearInterceptors();
  Swizzler::proxyOriginalDelegate();
  EXPECT_THROW(sendURL(raising), std::runtime_error);
}

TEST_F(DelegateProxyTest, AnInterceptorWithOtherTypesIsLoggedAndNotCalled) {
  runtime::Class& made = *runtime::allocateClassPair(&runtime::classOf<Deaf>(), "Misfit");
  const runtime::Message<bool(std::int64_t)> misfits[] = {
      runtime::Message<bool(std::int64_t)>("application:openURL:options:"),
      runtime::Message<bool(std::int64_t)>("application:didReceiveRemoteNotification:")};
  for (const auto& message : misfits)
    runtime::addMethod(made, message, [](runtime::Object&, std::int64_t) -> bool { std::abort(); });
  runtime::registerClassPair(made);
  const auto misfit = runtime::make<Deaf>();
  runtime::setClass(misfit.get(), made);
  Swizzler::registerAppDelegateInterceptor(misfit);
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  lines();
  for (const std::size_t row : {1u, 6u}) {
    sentMessages()[row].send(delegate);
    EXPECT_EQ(takeHeard().size(), 1u);
    const Lines logged = lines();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_NE(logged[0].find("AppDelegateProxy interceptor raised"), std::string::npos);
    EXPECT_NE(logged[0].find("B@:q"), std::string::npos) << logged[0];
    EXPECT_NE(logged[0].find("@:@"), std::string::npos) << logged[0];
  }
}

// Installation.

TEST_F(DelegateProxyTest, TheInfoPlistSwitchesTheProxyOffWithNumbersOnly) {
  EXPECT_TRUE(Swizzler::isAppDelegateProxyEnabled());
  const std::pair<base::Value, bool> cases[] = {{false, false}, {0, false},   {0.0, false},
                                                {1, true},      {"NO", true}, {base::Array{}, true}};
  for (const auto& [value, isEnabled] : cases) {
    setInfo(value);
    EXPECT_EQ(Swizzler::isAppDelegateProxyEnabled(), isEnabled) << value.description();
  }
}

TEST_F(DelegateProxyTest, WhatIsNotProxiedIsSaidAndLeftAsItIs) {
  Swizzler::proxyOriginalDelegate();
  const auto stranger = runtime::make<TWZeroingWeakContainer>();
  Swizzler::proxyAppDelegate(stranger);
  setInfo(false);
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyAppDelegate(delegate);
  EXPECT_EQ(lines(),
            (Lines{"Tidewell - App Delegate does not conform to UIApplicationDelegate protocol. (null)",
                   "Tidewell - App Delegate does not conform to UIApplicationDelegate protocol. "
                   "<TWZeroingWeakContainer: " +
                       addressOf(stranger) + ">",
                   "Tidewell - App Delegate Proxy is disabled."}));
  EXPECT_EQ(&delegate->isa(), &runtime::classOf<Listener>());
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(isObserving());

  // The remote-notification stage holds and observes the delegate all the same.
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(&delegate->isa(), &runtime::classOf<Listener>());
  EXPECT_EQ(Swizzler::originalDelegate(), delegate);
  EXPECT_TRUE(isObserving());
}

TEST_F(DelegateProxyTest, StagesRunOnceAndTheSubclassIsTheDelegatesOwn) {
  const auto delegate = setDelegate<Listener>("app");
  const auto other = runtime::make<Listener>("other");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  runtime::Class& subclass = delegate->isa();
  EXPECT_EQ(subclass.superclass(), &runtime::classOf<Listener>());
  EXPECT_EQ(subclass.name().substr(0, 13), "Tdw_Listener-");
  EXPECT_EQ(subclass.name().size(), 13u + 36u);
  EXPECT_EQ(runtime::description(delegate.get()), "<Listener: " + addressOf(delegate) + ">");
  EXPECT_EQ(&other->isa(), &runtime::classOf<Listener>());

  lines();
  Swizzler::proxyOriginalDelegate();
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(&delegate->isa(), &subclass);
  EXPECT_EQ(lines(), Lines{});
}

TEST_F(DelegateProxyTest, AStageThatAnObserverComesBackToDoesNotRunTwiceOrWaitForItself) {
  const auto delegate = setDelegate<Listener>("app");
  const runtime::Observation observation =
      runtime::observe(application, "delegate", 0, [](const base::Dictionary&) {
        Swizzler::proxyOriginalDelegate();
        Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
      });
  Swizzler::proxyOriginalDelegate();
  EXPECT_EQ(delegate->isa().superclass(), &runtime::classOf<Listener>());
  EXPECT_EQ(lines(), Lines{kSuccess});
}

TEST_F(DelegateProxyTest, AnObserverThatRaisesDuringInstallationIsLogged) {
  const auto delegate = setDelegate<Listener>("app");
  const runtime::Observation observation = runtime::observe(
      application, "delegate", 0, [](const base::Dictionary&) { throw std::runtime_error("not now"); });
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  const char* const line = "Tidewell - Exception : not now \n Cannot create App Delegate Proxy.";
  EXPECT_EQ(lines(), (Lines{kSuccess, line, line}));
}

// What stands in the way of the subclass.

std::string& scriptedUUID() {
  static std::string uuid;
  return uuid;
}

TEST_F(DelegateProxyTest, AFailedSubclassLeavesTheDelegateHeldAndObserved) {
  const std::string exists =
      "a proxy for App Delegate. Subclass already exists. Original Class: Listener, subclass: ";
  const struct {
    std::string uuid;
    bool isTaken, isRegistered;
    std::size_t extraBytes;
    std::string line;
  } cases[] = {
      {"1", true, true, 0, exists + "Tdw_Listener-1"},
      {"2", true, false, 0, exists + "Nil"},
      {"3", false, false, 8,
       "subclass of App Delegate, because the created subclass is not the same size. Listener"},
  };
  subclassFaultsForTesting().makeUUID = [] { return scriptedUUID(); };
  const auto push = intercept("push");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    scriptedUUID() = c.uuid;
    subclassFaultsForTesting().extraBytes = c.extraBytes;
    if (c.isTaken) {
      runtime::Class* const taken = runtime::allocateClassPair(nullptr, "Tdw_Listener-" + c.uuid);
      if (c.isRegistered) runtime::registerClassPair(*taken);
    }
    const auto delegate = setDelegate<Listener>("app");
    Swizzler::resetProxyOriginalDelegateOnceToken();
    Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
    EXPECT_EQ(lines(), Lines{"Tidewell - Cannot create " + c.line});
    EXPECT_EQ(&delegate->isa(), &runtime::classOf<Listener>());
    EXPECT_EQ(Swizzler::originalDelegate(), delegate);
    EXPECT_TRUE(isObserving());
    sendURL(delegate);
    EXPECT_EQ(takeHeard(), Lines{"app" + kURLNoted});
  }
}

TEST_F(DelegateProxyTest, ADelegateThatIsProxiedAgainStillHearsOnce) {
  const auto push = intercept("push");
  for (const auto again :
       {Swizzler::proxyOriginalDelegateIncludingAPNSMethods, Swizzler::proxyOriginalDelegate}) {
    const auto delegate = setDelegate<Listener>("app");
    Swizzler::resetProxyOriginalDelegateOnceToken();
    Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
    const std::string first = delegate->isa().name();
    Swizzler::resetProxyOriginalDelegateOnceToken();
    again();
    for (const Sent& message : sentMessages()) {
      message.send(delegate);
      EXPECT_EQ(takeHeard(), (Lines{"push " + message.noted, "app " + message.noted}));
    }
    EXPECT_EQ(runtime::description(delegate.get()), "<" + first + ": " + addressOf(delegate) + ">");
  }
}

// The delegate replaced.

TEST_F(DelegateProxyTest, AnotherDelegateEndsTheProxy) {
  auto first = runtime::make<Listener>("first");
  application->setDelegate(first);
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(Swizzler::originalDelegate(), first);
  application->setDelegate(first);  // the same one: nothing changes
  EXPECT_EQ(Swizzler::originalDelegate(), first);
  EXPECT_TRUE(isObserving());

  const auto second = setDelegate<Listener>("second");
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(isObserving());
  application->setDelegate(first);  // restored: still proxied, not observed any more
  EXPECT_FALSE(isObserving());
  sendURL(application->delegate());
  EXPECT_EQ(takeHeard().size(), 2u);
  first = nullptr;
  EXPECT_EQ(application->delegate(), nullptr);

  application->setDelegate(second);
  Swizzler::resetProxyOriginalDelegateOnceToken();
  Swizzler::proxyOriginalDelegate();
  sendURL(second);
  EXPECT_EQ(takeHeard(), (Lines{"push" + kURLNoted, "second" + kURLNoted}));
  application->setDelegate(nullptr);
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
}

TEST_F(DelegateProxyTest, ThreadsThatReplaceTheDelegateAtOnceEndTheProxyOnce) {
  setInfo(false);  // held and observed, and no subclass each time
  TWLogger::debug(TWLogLevelOff);
  const auto first = runtime::make<Deaf>();
  std::barrier together(3);
  std::atomic<int> raised{0};
  constexpr int kRounds = 3000;
  const auto replace = [&] {
    const auto own = runtime::make<Deaf>();
    for (int round = 0; round < kRounds; ++round) {
      together.arrive_and_wait();
      try {
        application->setDelegate(own);
      } catch (const base::Exception&) {
        ++raised;
      }
      together.arrive_and_wait();
    }
  };
  std::thread one(replace), two(replace);
  for (int round = 0; round < kRounds; ++round) {
    application->setDelegate(first);
    Swizzler::resetProxyOriginalDelegateOnceToken();
    Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
    EXPECT_TRUE(isObserving());
    together.arrive_and_wait();
    together.arrive_and_wait();
    EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
    EXPECT_FALSE(isObserving());
  }
  one.join();
  two.join();
  EXPECT_EQ(raised, 0);
}

/// Once proxied, the delegate may have no other owner. The stage's own re-assignment takes it away for a
/// moment: that lets go of it, ends the observation, and must not be its end.
TEST_F(DelegateProxyTest, TheRemoteStageEndsWhereItBeganAlsoForASoleOwner) {
  Listener* address = nullptr;
  {
    const auto delegate = runtime::make<Listener>("app");
    address = delegate.get();
    application->setDelegate(delegate);
    Swizzler::proxyOriginalDelegate();
  }
  Lines steps;
  const runtime::Observation observation =
      runtime::observe(application, "delegate", runtime::kObserveNew, [&](const base::Dictionary& change) {
        steps.push_back(std::string(change.objectForKey(runtime::kChangeNewKey).isNull() ? "null" : "set") +
                        (Swizzler::originalDelegate() ? " held" : " free") +
                        (isObserving() ? " observed" : " unobserved"));
      });
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(steps, (Lines{"null free unobserved", "set free unobserved"}));
  EXPECT_EQ(application->delegate().get(), address);
  EXPECT_EQ(Swizzler::originalDelegate().get(), address);
  EXPECT_TRUE(isObserving());
}

class Farewell : public Listener {
 public:
  explicit Farewell(const std::string& name) : Listener(name) {}
  ~Farewell() override { sendURL(Ref(Ref(), this)); }
};

TEST_F(DelegateProxyTest, ADelegateMaySendToItselfWhileItIsDestroyed) {
  auto delegate = runtime::make<Farewell>("app");
  application->setDelegate(delegate);
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegate();
  delegate = nullptr;
  application->setDelegate(nullptr);
  EXPECT_EQ(takeHeard(), kPushAndApp);
}

TEST(WithoutPlatform, NoApplicationIsNothingToProxy) {
  EXPECT_EQ(TWAppDelegateSwizzler::sharedApplication(), nullptr);
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(TWAppDelegateSwizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(TWAppDelegateObserver::sharedInstance()->isObserving());
}

}  // namespace
}  // namespace tidewell
