// SPDX-License-Identifier: Apache-2.0
// The delegate proxy: two modules of the SDK receive the messages to the delegate of an application that does
// not know the SDK. Prints who was called, in which order and with which answer.
//
// Exits with 0 only if all calls were the expected ones. Each run is a process of its own, because the proxy
// is installed once per process.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "Modules.h"
#include "Shop.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/runtime/Description.h"

namespace {

using tidewell::TWAppDelegateSwizzler;
using tidewell::base::Dictionary;
using tidewell::base::Url;
using tidewell::platform::NSUserActivity;
using tidewell::platform::UIApplication;
using tidewell::platform::UIBackgroundFetchResult;

bool allRight = true;

void heading(const char* text) { std::printf("\n  %s\n", text); }

void expect(const std::string& what, const std::string& expected, const std::string& seen) {
  const bool right = seen == expected;
  std::printf("  %s %-28s %s", right ? "ok" : "!!", what.c_str(), seen.c_str());
  if (!right) std::printf("   (expected %s)", expected.c_str());
  std::printf("\n");
  allRight = allRight && right;
}

/// One run of the application. It delivers the system's messages itself.
class Life {
 public:
  bool start(const Dictionary& infoPlist) {
    tidewell::posix::Options options;
    options.setBundleIdentifier("org.example.shop");
    options.setVersion("1.0");
    options.setInfoDictionary(infoPlist);
    options.setMainLoop(tidewell::posix::MainLoop::host);
    options.setConsoleSink([](std::string_view line) {
      std::printf("     log: %.*s\n", static_cast<int>(line.size()), line.data());
    });
    if (!tidewell::posix::install(options)) return false;
    tidewell::TWLogger::debug(tidewell::TWLogLevelDebug);
    application().setDelegate(shop);
    return true;
  }

  void expectOpened(const char* url, const std::string& expected) {
    const bool answer = application().deliverOpenURL(*Url::URLWithString(url), {});
    expect(std::string("open ") + url, expected, Witness::take() + " -> " + (answer ? "YES" : "NO"));
  }
  void expectContinued(const std::string& expected) {
    const auto activity =
        tidewell::runtime::make<NSUserActivity>(tidewell::platform::NSUserActivityTypeBrowsingWeb);
    activity->setWebpageURL(Url::URLWithString("https://shop.example.org/sale"));
    const bool answer = application().deliverUserActivity(*activity);
    expect("continue browsing", expected, Witness::take() + " -> " + (answer ? "YES" : "NO"));
  }
  void expectNotified(const std::string& expected) {
    int fetched = 0;
    application().deliverRemoteNotification({{"alert", "Sale"}}, [&](UIBackgroundFetchResult) { ++fetched; });
    expect("remote notification", expected,
           Witness::take() + "; fetch handler called " + std::to_string(fetched) + "x");
  }
  void expectWithoutProxy() {
    expectOpened("shop:cart", "shop: YES -> YES");
    expectOpened("inbox:42", "shop: NO -> NO");
    expectContinued("none -> NO");
    expectNotified("shop; fetch handler called 1x");
  }

  UIApplication& application() { return *UIApplication::sharedApplication(); }

  const std::shared_ptr<Shop> shop = tidewell::runtime::make<Shop>("shop");
  const std::shared_ptr<PushInterceptor> push = tidewell::runtime::make<PushInterceptor>();
  const std::shared_ptr<InboxInterceptor> inbox = tidewell::runtime::make<InboxInterceptor>();
};

/// "<Shop: 0x…>" without the address, which differs between runs.
std::string describedClass(const std::shared_ptr<Shop>& shop) {
  const std::string text = tidewell::runtime::description(shop.get());
  return text.substr(0, text.find(':'));
}

void proxied(Life& life) {
  heading("Without the proxy, only the application is called");
  life.expectWithoutProxy();

  heading("Two modules of the SDK register and start the proxy");
  TWAppDelegateSwizzler::registerAppDelegateInterceptor(life.push);
  const auto inboxID = TWAppDelegateSwizzler::registerAppDelegateInterceptor(life.inbox);
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  expect("the delegate describes itself", "<Shop", describedClass(life.shop));

  heading("Modules are called first, the shop always; one YES makes the answer YES");
  life.expectOpened("shop:cart", "push: NO, inbox: NO, shop: YES -> YES");
  life.expectOpened("inbox:42", "push: NO, inbox: YES, shop: NO -> YES");
  life.expectContinued("inbox: YES -> YES");
  life.expectNotified("push, shop; fetch handler called 1x");

  heading("One module unregisters");
  TWAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(inboxID);
  life.expectOpened("inbox:42", "push: NO, shop: NO -> NO");
  life.expectContinued("none -> NO");

  heading("The application sets another delegate, which is not proxied");
  const auto outlet = tidewell::runtime::make<Shop>("outlet");
  life.application().setDelegate(outlet);
  life.expectOpened("shop:cart", "outlet: YES -> YES");
  life.expectNotified("outlet; fetch handler called 1x");
  expect("a delegate is held", "NO", TWAppDelegateSwizzler::originalDelegate() ? "YES" : "NO");

  heading("A module starts the proxy again");
  TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken();
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  life.expectOpened("shop:cart", "push: NO, outlet: YES -> YES");
  life.expectNotified("push, outlet; fetch handler called 1x");
}

void switchedOff(Life& life) {
  TWAppDelegateSwizzler::registerAppDelegateInterceptor(life.push);
  TWAppDelegateSwizzler::registerAppDelegateInterceptor(life.inbox);
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  life.expectWithoutProxy();
}

bool live(const char* title, const Dictionary& infoPlist, void (*run)(Life&)) {
  std::printf("\n=== %s\n", title);
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    Life life;
    if (life.start(infoPlist)) {
      run(life);
    } else {
      allRight = false;
    }
    std::fflush(stdout);
    std::_Exit(allRight ? 0 : 1);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int main() {
  const bool on = live("The delegate proxy", {}, &proxied);
  const bool off = live("The same application with TidewellAppDelegateProxyEnabled = NO in its Info.plist",
                        {{tidewell::TWCoreUtils::getAppDelegateProxyInfoPlistKey(), false}}, &switchedOff);
  std::printf("\n%s\n",
              on && off ? "All calls were as expected." : "Something is wrong: see the lines with !!");
  return on && off ? 0 : 1;
}
