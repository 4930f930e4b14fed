#include <stdexcept>
#include <thread>

#include "core/DelegateFixture.h"

namespace tidewell {
namespace {

class InterceptorsTest : public DelegateFixture {
 protected:
  /// The interceptors that one dispatch calls, in order; `during` runs in each callback.
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

TEST_F(InterceptorsTest, AnObjectIsRegisteredOnceAndOnlyIfItConforms) {
  class Stranger : public runtime::Subclass<Stranger> {};
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(nullptr), std::nullopt);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(runtime::make<Stranger>()), std::nullopt);
  EXPECT_EQ(lines(),
            (Lines{"Tidewell - AppDelegateProxy cannot add nil interceptor.",
                   "Tidewell - AppDelegateProxy interceptor does not conform to UIApplicationDelegate"}));
  const auto deaf = runtime::make<Deaf>();
  const auto interceptor = runtime::make<Listener>("push");
  Swizzler::registerAppDelegateInterceptor(deaf);
  const std::string id = "Tdw_" + addressOf(interceptor);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(interceptor), id);
  EXPECT_EQ(Swizzler::registerAppDelegateInterceptor(interceptor), id);
  EXPECT_EQ(Swizzler::interceptors().allKeys(), (Lines{"Tdw_" + addressOf(deaf), id}));
  EXPECT_EQ(dispatch(), std::vector<Ref>{interceptor});
  Swizzler::notifyInterceptorsWithMethodSelector(platform::kApplicationOpenURL.selector(), nullptr);
  Swizzler::unregisterAppDelegateInterceptorWithID(id);
  EXPECT_TRUE(dispatch().empty());
  EXPECT_EQ(Swizzler::interceptors().count(), 1u);
  EXPECT_EQ(lines(), Lines{});
  Swizzler::unregisterAppDelegateInterceptorWithID(std::nullopt);
  Swizzler::unregisterAppDelegateInterceptorWithID(id);
  EXPECT_EQ(lines(), (Lines{"Tidewell - AppDelegateProxy cannot unregister empty interceptor ID.",
                            notRegisteredLine(id)}));
}

TEST_F(InterceptorsTest, ADestroyedInterceptorIsRemovedByTheNextDispatch) {
  auto dying = runtime::make<Listener>("dying");
  const std::string id = *Swizzler::registerAppDelegateInterceptor(dying);
  dying = nullptr;
  Swizzler::unregisterAppDelegateInterceptorWithID(id);
  EXPECT_EQ(Swizzler::interceptors().count(), 1u);
  EXPECT_TRUE(dispatch().empty());
  EXPECT_TRUE(dispatch().empty());
  EXPECT_EQ(lines(), (Lines{notRegisteredLine(id), removalLine(id)}));
  EXPECT_EQ(Swizzler::interceptors().count(), 0u);
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

  // A new object may have the address, and so the ID, of one that was destroyed.
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

/// For ThreadSanitizer and AddressSanitizer. A walk that never ends would hang.
TEST_F(InterceptorsTest, ThreadsMayRegisterUnregisterDispatchAndReleaseAtOnce) {
  TWLogger::debug(TWLogLevelOff);
  const auto steady = intercept("steady");
  const auto change = [] {
    for (int round = 0; round < 300; ++round) {
      auto passing = runtime::make<Listener>("passing");
      const std::string id = *Swizzler::registerAppDelegateInterceptor(passing);
      if (round % 3 == 0) passing = nullptr;
      if (round % 3 == 1) Swizzler::unregisterAppDelegateInterceptorWithID(id);
    }
  };
  const auto call = [&] {
    for (int round = 0; round < 300; ++round) EXPECT_EQ(dispatch().front(), steady);
  };
  std::thread one(change), two(change), three(call);
  call();
  for (std::thread* thread : {&one, &two, &three}) thread->join();
  dispatch();  // removes those that were destroyed last
  EXPECT_EQ(dispatch(), std::vector<Ref>{steady});
}

}  // namespace
}  // namespace tidewell
