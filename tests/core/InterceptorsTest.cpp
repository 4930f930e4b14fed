#include <atomic>
#include <stdexcept>
#include <thread>

#include "core/DelegateFixture.h"

namespace tidewell {
namespace {

using Swizzler = TWAppDelegateSwizzler;

const runtime::Selector kOpenURL = platform::kApplicationOpenURL.selector();

class InterceptorsTest : public DelegateFixture {
 protected:
  /// The interceptors that one dispatch calls, in order; `during` runs in each callback.
  static std::vector<Ref> dispatch(const std::function<void(const Ref&)>& during = [](const Ref&) {}) {
    std::vector<Ref> called;
    Swizzler::notifyInterceptorsWithMethodSelector(kOpenURL, [&](const Ref& interceptor) {
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

/// An object that says nothing of the protocol.
class Stranger : public runtime::Subclass<Stranger> {};

TEST_F(InterceptorsTest, WhatIsNoInterceptorOrNotRegisteredIsLogged) {
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(nullptr), std::nullopt);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(runtime::make<Stranger>()), std::nullopt);
  EXPECT_EQ(Swizzler::interceptors().count(), 0u);
  const auto interceptor = intercept("push");
  const std::string id = Swizzler::interceptors().allKeys().front();
  Swizzler::clearInterceptors();
  Swizzler::unregisterAppDelegateInterceptorWithID(std::nullopt);
  Swizzler::unregisterAppDelegateInterceptorWithID("");
  Swizzler::unregisterAppDelegateInterceptorWithID(id);
  EXPECT_EQ(lines(),
            (Lines{"Tidewell - AppDelegateProxy cannot add nil interceptor.",
                   "Tidewell - AppDelegateProxy interceptor does not conform to UIApplicationDelegate",
                   "Tidewell - AppDelegateProxy cannot unregister empty interceptor ID.",
                   notRegisteredLine(""), notRegisteredLine(id)}));
}

TEST_F(InterceptorsTest, AnObjectRegisteredTwiceIsCalledOnceAndOneThatDoesNotRespondNever) {
  const auto deaf = runtime::make<Deaf>();
  const auto interceptor = runtime::make<Listener>("push");
  Swizzler::registerAppDelegateInterceptor(deaf);
  const auto id = Swizzler::registerAppDelegateInterceptor(interceptor);
  EXPECT_EQ(id, "Tdw_" + addressOf(interceptor));
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(interceptor), id);
  EXPECT_EQ(Swizzler::interceptors().allKeys(), (Lines{"Tdw_" + addressOf(deaf), *id}));
  EXPECT_EQ(dispatch(), std::vector<Ref>{interceptor});
  Swizzler::unregisterAppDelegateInterceptorWithID(*id);
  EXPECT_TRUE(dispatch().empty());
  EXPECT_EQ(Swizzler::interceptors().count(), 1u);
  EXPECT_EQ(lines(), Lines{});
}

TEST_F(InterceptorsTest, ADeadOneIsRemovedByTheNextDispatchOnly) {
  auto dying = runtime::make<Listener>("dying");
  const std::string id = *Swizzler::registerAppDelegateInterceptor(dying);
  dying = nullptr;

  Swizzler::unregisterAppDelegateInterceptorWithID(id);
  EXPECT_EQ(lines(), Lines{notRegisteredLine(id)});
  Swizzler::notifyInterceptorsWithMethodSelector(kOpenURL, nullptr);
  EXPECT_EQ(Swizzler::interceptors().count(), 1u);

  EXPECT_TRUE(dispatch().empty());
  EXPECT_TRUE(dispatch().empty());
  EXPECT_EQ(lines(), Lines{removalLine(id)});
  EXPECT_EQ(Swizzler::interceptors().count(), 0u);
}

TEST_F(InterceptorsTest, WhatACallbackChangesDoesNotUpsetTheWalk) {
  auto first = intercept("first");
  auto unregistered = intercept("unregistered");
  auto dropped = intercept("dropped");
  auto anew = intercept("registered anew");
  auto last = intercept("last");
  const Lines ids = Swizzler::interceptors().allKeys();
  std::shared_ptr<Listener> added;

  const auto change = [&](const Ref& interceptor) {
    if (interceptor != first || added) return;
    Swizzler::unregisterAppDelegateInterceptorWithID(ids[0]);
    Swizzler::unregisterAppDelegateInterceptorWithID(ids[1]);
    dropped = nullptr;
    Swizzler::registerAppDelegateInterceptor(anew);
    added = intercept("added");
  };
  EXPECT_EQ(dispatch(change), (std::vector<Ref>{first, anew, last}));
  EXPECT_EQ(lines(), Lines{removalLine(ids[2])});
  EXPECT_EQ(dispatch(change), (std::vector<Ref>{anew, last, added}));

  EXPECT_EQ(dispatch([](const Ref&) { Swizzler::clearInterceptors(); }), std::vector<Ref>{anew});
  EXPECT_EQ(lines(), Lines{});
}

/// A new object may have the address, and so the ID, of one that died.
TEST_F(InterceptorsTest, AnEntryThatWasReplacedDuringTheWalkIsNotTakenForTheDeadOne) {
  const auto first = intercept("first");
  auto dying = intercept("dying");
  const std::string id = Swizzler::interceptors().allKeys().back();
  const auto successor = runtime::make<Listener>("successor");

  dispatch([&](const Ref&) {
    if (!dying) return;
    dying = nullptr;
    const auto container = runtime::make<TWZeroingWeakContainer>();
    container->setObject(successor);
    Swizzler::interceptors().setObject(container, id);
  });
  EXPECT_EQ(lines(), Lines{});
  EXPECT_EQ(dispatch(), (std::vector<Ref>{first, successor}));
}

TEST_F(InterceptorsTest, AnInterceptorsExceptionIsLoggedAndTheWalkGoesOn) {
  const auto first = intercept("first");
  const auto last = intercept("last");
  EXPECT_EQ(dispatch([&](const Ref& interceptor) {
              if (interceptor == first) throw std::runtime_error("out of tokens");
            }),
            (std::vector<Ref>{first, last}));
  EXPECT_EQ(lines(),
            Lines{"Tidewell - <file - TWAppDelegateSwizzler, line number - 36 , method - "
                  "'application:openURL:options:'> AppDelegateProxy interceptor raised out of tokens"});
}

/// Only ThreadSanitizer and AddressSanitizer see what goes wrong here, or a walk that never ends.
TEST_F(InterceptorsTest, ThreadsRegisterUnregisterDispatchAndLetGoAtOnce) {
  TWLogger::debug(TWLogLevelOff);
  constexpr int kRounds = 300;
  const auto steady = intercept("steady");
  const std::string idOfSteady = Swizzler::interceptors().allKeys().front();
  std::atomic<int> busy{3};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        auto passing = runtime::make<Listener>("passing");
        const std::string id = *Swizzler::registerAppDelegateInterceptor(passing);
        if (round % 3 == 0) passing = nullptr;
        if (round % 3 == 1) Swizzler::unregisterAppDelegateInterceptorWithID(id);
      }
      --busy;
    });
  }
  threads.emplace_back([&] {
    for (int round = 0; round < kRounds; ++round) {
      const std::vector<Ref> called = dispatch();
      EXPECT_EQ(std::count(called.begin(), called.end(), steady), 1);
    }
    --busy;
  });
  while (busy > 0) {
    dispatch();
    EXPECT_EQ(Swizzler::interceptors().allKeys().front(), idOfSteady);
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(dispatch(), std::vector<Ref>{steady});
}

}  // namespace
}  // namespace tidewell
