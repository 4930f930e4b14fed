#include <barrier>
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

TEST_F(DelegateProxyTest, InterceptorsHearEveryMessageFirstAndAnyOfThemMayAnswerTrue) {
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{kSuccess});
  sendURL(delegate);
  EXPECT_EQ(takeHeard(), urlHeardBy({"app"}));
  const auto push = intercept("push"), inbox = intercept("inbox");
  Swizzler::registerAppDelegateInterceptor(delegate);  // called as the delegate only
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
  // A handler that may run once only is shared by all, not copied.
  int runs = 0;
  const auto once = [&runs, isSpent = false](const auto&...) mutable {
    runs += !std::exchange(isSpent, true);
  };
  application->deliverRemoteNotification({}, once);
  runtime::send(delegate, platform::kApplicationDidReceiveRemoteNotificationFetching, *application,
                base::Dictionary(), FetchCompletionHandler(once));
  EXPECT_EQ(takeHeard().size(), 6u);
  EXPECT_EQ(runs, 2);
}

TEST_F(DelegateProxyTest, ADelegateWithoutMethodsGetsAllButTwo) {
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

TEST_F(DelegateProxyTest, AnExceptionOfTheApplicationPassesAndAnInterceptorsIsLogged) {
  const auto raising = runtime::make<Raising>();
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::registerAppDelegateInterceptor(raising);
  const auto push = intercept("push", true);
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  lines();
  EXPECT_TRUE(sendURL(delegate));
  EXPECT_EQ(takeHeard(), urlHeardBy({"push", "app"}));
  EXPECT_EQ(lines(), Lines{caughtLine("TWAppDelegateSwizzler", 36, "application:openURL:options:",
                                      "AppDelegateProxy interceptor raised no such page")});
  application->setDelegate(raising);
  Swizzler::clearInterceptors();
  proxyAnew();
  EXPECT_THROW(sendURL(raising), std::runtime_error);
}

// Installation

TEST_F(DelegateProxyTest, WhatIsNotProxiedIsLoggedAndLeftUnchanged) {
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
  // The remote-notification stage holds and observes the delegate nevertheless.
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(&delegate->isa(), &runtime::classOf<Listener>());
  EXPECT_EQ(Swizzler::originalDelegate(), delegate);
  EXPECT_TRUE(isObserving());
}

TEST_F(DelegateProxyTest, StagesRunOnceAlsoFromAnObserverOfTheirOwnWork) {
  const auto delegate = setDelegate<Listener>("app");
  const auto other = runtime::make<Listener>("other");
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
  EXPECT_EQ(subclass.name().substr(0, 13), "Tdw_Listener-");
  EXPECT_EQ(subclass.name().size(), 13u + 36u);
  EXPECT_EQ(runtime::description(delegate.get()), "<Listener: " + addressOf(delegate) + ">");
  EXPECT_EQ(&other->isa(), &runtime::classOf<Listener>());
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(&delegate->isa(), &subclass);
  EXPECT_EQ(lines(), Lines{});

  raises = true;
  proxyAnew();
  const std::string line = "Tidewell - Exception : not now \n Cannot create App Delegate Proxy.";
  EXPECT_EQ(lines(), (Lines{kSuccess, line, line}));
}

TEST_F(DelegateProxyTest, ADelegateThatIsProxiedAgainStillHearsOnce) {
  const auto push = intercept("push");
  for (const auto again :
       {Swizzler::proxyOriginalDelegateIncludingAPNSMethods, Swizzler::proxyOriginalDelegate}) {
    const auto delegate = setDelegate<Listener>("app");
    proxyAnew();
    const std::string first = delegate->isa().name();
    Swizzler::resetProxyOriginalDelegateOnceToken();
    again();
    for (const SentMessage& message : sentMessages()) {
      message.send(delegate);
      EXPECT_EQ(takeHeard(), (Lines{"push" + message.noted, "app" + message.noted}));
    }
    EXPECT_EQ(runtime::description(delegate.get()), "<" + first + ": " + addressOf(delegate) + ">");
  }
}

// The delegate replaced

TEST_F(DelegateProxyTest, AnotherDelegateEndsTheProxy) {
  auto first = runtime::make<Listener>("first");
  application->setDelegate(first);
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  application->setDelegate(first);  // the same one changes nothing
  EXPECT_EQ(Swizzler::originalDelegate(), first);
  EXPECT_TRUE(isObserving());

  const auto second = setDelegate<Listener>("second");
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(isObserving());
  application->setDelegate(first);  // restored: still proxied, but no longer observed
  EXPECT_FALSE(isObserving());
  sendURL(first);
  EXPECT_EQ(takeHeard(), urlHeardBy({"push", "first"}));
  first = nullptr;
  EXPECT_EQ(application->delegate(), nullptr);

  application->setDelegate(second);
  proxyAnew();
  sendURL(second);
  EXPECT_EQ(takeHeard(), urlHeardBy({"push", "second"}));
  application->setDelegate(nullptr);
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
}

TEST_F(DelegateProxyTest, ThreadsThatReplaceTheDelegateAtOnceEndTheProxyOnce) {
  setProxyEnabled(false);  // held and observed, but without a subclass each time
  TWLogger::debug(TWLogLevelOff);
  const auto first = runtime::make<Deaf>(), second = runtime::make<Deaf>(), third = runtime::make<Deaf>();
  constexpr int kRounds = 3000;
  std::barrier together(2);
  const auto replace = [&](const Ref& with) {
    together.arrive_and_wait();
    EXPECT_NO_THROW(application->setDelegate(with));
    together.arrive_and_wait();
  };
  std::thread thread([&] {
    for (int round = 0; round < kRounds; ++round) replace(second);
  });
  for (int round = 0; round < kRounds; ++round) {
    application->setDelegate(first);
    proxyAnew();
    EXPECT_TRUE(isObserving());
    replace(third);
    EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
    EXPECT_FALSE(isObserving());
  }
  thread.join();
}

class SendsAtItsEnd : public Listener {
 public:
  using Listener::Listener;
  ~SendsAtItsEnd() override { sendURL(Ref(Ref(), this)); }
};

/// The proxy may be the delegate's only owner. The stage's own re-assignment removes the delegate for a
/// moment, which releases it and ends the observation, and must not destroy it.
TEST_F(DelegateProxyTest, ADelegateWithoutAnotherOwnerOutlivesTheStagesAndMaySendAtItsEnd) {
  Listener* address = nullptr;
  {
    const auto delegate = runtime::make<SendsAtItsEnd>("app");
    address = delegate.get();
    application->setDelegate(delegate);
    Swizzler::proxyOriginalDelegate();
  }
  Lines steps;
  {
    const runtime::Observation observation =
        runtime::observe(application, "delegate", runtime::kObserveNew, [&](const base::Dictionary& change) {
          steps.push_back(std::string(change.objectForKey(runtime::kChangeNewKey).isNull() ? "null" : "set") +
                          (Swizzler::originalDelegate() ? " held" : " free") +
                          (isObserving() ? " observed" : " unobserved"));
        });
    Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  }
  EXPECT_EQ(steps, (Lines{"null free unobserved", "set free unobserved"}));
  EXPECT_EQ(application->delegate().get(), address);
  EXPECT_EQ(Swizzler::originalDelegate().get(), address);
  EXPECT_TRUE(isObserving());
  const auto push = intercept("push");
  application->setDelegate(nullptr);
  EXPECT_EQ(takeHeard(), urlHeardBy({"push", "app"}));
}

TEST(WithoutPlatform, WithoutAnApplicationNoDelegateIsProxied) {
  EXPECT_EQ(Swizzler::sharedApplication(), nullptr);
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(TWAppDelegateObserver::sharedInstance()->isObserving());
}

}  // namespace
}  // namespace tidewell
