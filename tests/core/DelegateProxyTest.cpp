#include <stdexcept>

#include "core/DelegateFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/appdelegate/DelegateProxy.h"
#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell {
namespace {

using Swizzler = TWAppDelegateSwizzler;

const char* const kSuccess =
    "Tidewell - Successfully created App Delegate Proxy automatically. To disable the proxy, set the flag "
    "TidewellAppDelegateProxyEnabled to NO (Boolean) in the Info.plist";

class DelegateProxyTest : public DelegateFixture {
 protected:
  void setInfo(base::Value enabled) {
    platform->testBundles().setMainInfoDictionary({{"TidewellAppDelegateProxyEnabled", enabled}});
  }
  static bool isObserving() { return TWAppDelegateObserver::sharedInstance()->isObserving(); }
};

TEST_F(DelegateProxyTest, InterceptorsHearEveryMessageFirstAndTheApplicationAllTheSame) {
  const auto delegate = setDelegate<Listener>("app");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(lines(), Lines{kSuccess});
  for (const Sent& message : sentMessages()) {
    message.send(delegate);
    EXPECT_EQ(takeHeard(), Lines{"app " + message.noted});
  }
  const auto push = intercept("push");
  const auto inbox = intercept("inbox");
  for (const Sent& message : sentMessages()) {
    SCOPED_TRACE(message.selector);
    handlerCalls() = 0;
    message.send(delegate);
    const std::string noted = " " + message.noted;
    EXPECT_EQ(takeHeard(), (Lines{"push" + noted, "inbox" + noted, "app" + noted}));
    // A handler is everybody's, and is called as often as they call it.
    EXPECT_TRUE(handlerCalls() == 0 || handlerCalls() == 3) << handlerCalls();
    EXPECT_EQ(handlerCalls() == 3, message.selector.ends_with("andler:"));
  }
}

TEST_F(DelegateProxyTest, TheAnswerIsYesWhereAnybodySaysSo) {
  const auto delegate = setDelegate<Listener>("app");
  const auto push = intercept("push");
  const auto inbox = intercept("inbox");
  Swizzler::proxyOriginalDelegate();
  for (int mask = 0; mask < 8; ++mask) {
    delegate->answer = mask & 1;
    push->answer = mask & 2;
    inbox->answer = mask & 4;
    for (const std::size_t row : {0u, 1u, 3u}) {
      EXPECT_EQ(sentMessages()[row].send(delegate), mask != 0) << sentMessages()[row].selector << mask;
      EXPECT_EQ(takeHeard().size(), 3u);
    }
  }
}

TEST_F(DelegateProxyTest, ADelegateThatLacksAMethodGetsAllButTwo) {
  const auto delegate = setDelegate<Deaf>();
  const auto push = intercept("push", true);
  const auto responds = [&] {
    Lines selectors;
    for (const Sent& message : sentMessages())
      if (runtime::respondsTo(delegate.get(), runtime::Selector::named(message.selector)))
        selectors.push_back(message.selector);
    return selectors;
  };
  Lines expected;
  EXPECT_EQ(responds(), expected);
  for (const bool isRemote : {false, true}) {
    if (isRemote) {
      Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
    } else {
      Swizzler::proxyOriginalDelegate();
    }
    for (const Sent& message : sentMessages()) {
      if (message.isRemote == isRemote && message.isAddedAlways) expected.push_back(message.selector);
    }
    EXPECT_EQ(responds(), expected);
  }
  for (const Sent& message : sentMessages()) {
    if (!message.isAddedAlways) continue;
    EXPECT_EQ(message.send(delegate), message.selector.find("openURL") != std::string::npos ||
                                          message.selector.find("continue") != std::string::npos);
    EXPECT_EQ(takeHeard(), Lines{"push " + message.noted});
  }
}

// Delegates of every making.

class Middle : public Listener {
 public:
  using Listener::Listener;
};
class Leaf : public Middle {
 public:
  explicit Leaf(const std::string& name) : Middle(name) {}
  void didReceiveRemoteNotification(UIApplication& to, const base::Dictionary& userInfo) override {
    heard().push_back("leaf");
    Middle::didReceiveRemoteNotification(to, userInfo);
  }
};

/// A class that cannot derive from the SDK's.
struct Game {
  std::string opened;
  static void describe(runtime::ClassBuilder<runtime::Boxed<Game>>& c) {
    c.conformsTo(UIApplicationDelegate::protocol())
        .method<[](runtime::Boxed<Game>& game, UIApplication&, const base::Url& url,
                   const base::Dictionary&) {
          game.target().opened = url.absoluteString();
          return true;
        }>(platform::kApplicationOpenURL);
  }
};

TEST_F(DelegateProxyTest, InheritedMethodsAreTheApplicationsOwn) {
  const auto delegate = setDelegate<Leaf>("app");
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  sentMessages()[1].send(delegate);
  sentMessages()[6].send(delegate);
  EXPECT_EQ(takeHeard(), (Lines{"push openURL shop:cart from mail", "app openURL shop:cart from mail",
                                "push didReceive sale", "leaf", "app didReceive sale"}));
}

TEST_F(DelegateProxyTest, ABoxedDelegateIsProxiedLikeAnyOther) {
  const auto game = std::make_shared<Game>();
  const auto delegate = runtime::box(game);
  application->setDelegate(delegate);
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegate();
  EXPECT_TRUE(sentMessages()[1].send(delegate));
  EXPECT_EQ(game->opened, "shop:cart");
  EXPECT_EQ(takeHeard(), Lines{"push openURL shop:cart from mail"});
  EXPECT_EQ(runtime::description(delegate.get()), "<Game: " + addressOf(delegate) + ">");
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
  EXPECT_TRUE(sentMessages()[1].send(delegate));
  EXPECT_EQ(takeHeard(), (Lines{"push openURL shop:cart from mail", "app openURL shop:cart from mail"}));
  EXPECT_EQ(lines().size(), 1u);

  Swizzler::resetProxyOriginalDelegateOnceToken();
  application->setDelegate(raising);
  Swizzler::clearInterceptors();
  Swizzler::proxyOriginalDelegate();
  EXPECT_THROW(sentMessages()[1].send(raising), std::runtime_error);
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
  const struct {
    base::Value value;
    bool isEnabled;
  } cases[] = {{false, false}, {0, false},   {0.0, false}, {true, true},
               {1, true},      {"NO", true}, {"", true},   {base::Array{}, true}};
  for (const auto& c : cases) {
    setInfo(c.value);
    EXPECT_EQ(TWCoreUtils::isAppDelegateProxyEnabled(), c.isEnabled) << c.value.description();
  }
  platform->testBundles().setMainInfoDictionary({});
  EXPECT_TRUE(Swizzler::isAppDelegateProxyEnabled());
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
  Lines methods;
  for (const runtime::Method* method : subclass.ownMethods()) methods.emplace_back(method->selector().name());
  Lines expected;
  for (const Sent& message : sentMessages()) expected.push_back(message.selector);
  expected.insert(expected.begin() + 4, "description");
  EXPECT_EQ(methods, expected);
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
    sentMessages()[1].send(delegate);
    EXPECT_EQ(takeHeard(), Lines{"app openURL shop:cart from mail"});
  }
}

TEST_F(DelegateProxyTest, AMethodThatIsThereAlreadyIsSaidAndStillForwards) {
  const auto delegate = setDelegate<Listener>("app");
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  lines();
  // The base stage is refused now, so that the other one finds the subclass that it has filled before.
  setInfo(false);
  Swizzler::resetProxyOriginalDelegateOnceToken();
  Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
  Lines expected{"Tidewell - App Delegate Proxy is disabled."};
  for (const Sent& message : sentMessages()) {
    if (message.isRemote)
      expected.push_back("Tidewell - Cannot copy method to destination selector " + message.selector +
                         " as it already exists");
  }
  EXPECT_EQ(lines(), expected);
  for (const Sent& message : sentMessages()) {
    message.send(delegate);
    EXPECT_EQ(takeHeard(), (Lines{"push " + message.noted, "app " + message.noted}));
  }
}

TEST_F(DelegateProxyTest, ADelegateThatIsProxiedAgainStillHearsOnce) {
  for (const bool againWithRemote : {true, false}) {
    SCOPED_TRACE(againWithRemote);
    const auto delegate = setDelegate<Listener>("app");
    const auto push = intercept("push");
    Swizzler::resetProxyOriginalDelegateOnceToken();
    Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
    const std::string first = delegate->isa().name();
    Swizzler::resetProxyOriginalDelegateOnceToken();
    if (againWithRemote) {
      Swizzler::proxyOriginalDelegateIncludingAPNSMethods();
    } else {
      Swizzler::proxyOriginalDelegate();
    }
    EXPECT_EQ(delegate->isa().superclass()->name(), first);
    for (const Sent& message : sentMessages()) {
      message.send(delegate);
      EXPECT_EQ(takeHeard(), (Lines{"push " + message.noted, "app " + message.noted}));
    }
    EXPECT_EQ(runtime::description(delegate.get()), "<" + first + ": " + addressOf(delegate) + ">");
    Swizzler::clearInterceptors();
  }
}

/// An object of a subclass that another object was proxied with has no map of its own.
TEST_F(DelegateProxyTest, AnotherObjectOfAProxyingClassIsProxiedToo) {
  const auto delegate = setDelegate<Listener>("app");
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegate();
  const auto second = setDelegate<Listener>("second");
  runtime::setClass(second.get(), delegate->isa());
  Swizzler::resetProxyOriginalDelegateOnceToken();
  Swizzler::proxyOriginalDelegate();
  sentMessages()[1].send(second);
  EXPECT_EQ(takeHeard(), (Lines{"push openURL shop:cart from mail", "second openURL shop:cart from mail"}));
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
  sentMessages()[1].send(application->delegate());
  EXPECT_EQ(takeHeard(), Lines{"second openURL shop:cart from mail"});

  application->setDelegate(first);  // restored: still proxied, not observed any more
  EXPECT_FALSE(isObserving());
  sentMessages()[1].send(application->delegate());
  EXPECT_EQ(takeHeard().size(), 2u);
  first = nullptr;
  EXPECT_EQ(application->delegate(), nullptr);

  application->setDelegate(second);
  Swizzler::resetProxyOriginalDelegateOnceToken();
  Swizzler::proxyOriginalDelegate();
  sentMessages()[1].send(second);
  EXPECT_EQ(takeHeard(), (Lines{"push openURL shop:cart from mail", "second openURL shop:cart from mail"}));
  application->setDelegate(nullptr);
  EXPECT_EQ(Swizzler::originalDelegate(), nullptr);
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
  ~Farewell() override { sentMessages()[1].send(Ref(Ref(), this)); }
};

TEST_F(DelegateProxyTest, ADelegateMaySendToItselfWhileItIsDestroyed) {
  auto delegate = runtime::make<Farewell>("app");
  application->setDelegate(delegate);
  const auto push = intercept("push");
  Swizzler::proxyOriginalDelegate();
  delegate = nullptr;
  application->setDelegate(nullptr);
  EXPECT_EQ(takeHeard(), (Lines{"push openURL shop:cart from mail", "app openURL shop:cart from mail"}));
}

TEST(WithoutPlatform, NoApplicationIsNothingToProxy) {
  EXPECT_EQ(TWAppDelegateSwizzler::sharedApplication(), nullptr);
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  EXPECT_EQ(TWAppDelegateSwizzler::originalDelegate(), nullptr);
  EXPECT_FALSE(TWAppDelegateObserver::sharedInstance()->isObserving());
}

}  // namespace
}  // namespace tidewell
