// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "Ratio.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/testing/TestingPlatform.h"

using namespace tidewell;
using platform::UIApplication;
using platform::UIApplicationDelegate;

namespace {

std::atomic<std::size_t> allocations{0};

class Responding : public UIApplicationDelegate {
 public:
  bool openURL(UIApplication&, const base::Url&, const base::Dictionary& options) override {
    return options.empty();
  }
};
class Unresponsive : public UIApplicationDelegate {};

void sendTo(const runtime::Ref& delegate, std::size_t times) {
  static const auto application = UIApplication::sharedApplication();
  static const base::Url url = *base::Url::URLWithString("shop:cart");
  static const base::Dictionary options;
  while (times--)
    bench::keep(runtime::send(delegate, platform::kApplicationOpenURL, *application, url, options));
}

void addProxiedCall() {
  static const runtime::Ref plain = runtime::make<Responding>();
  static const runtime::Ref proxied = runtime::make<Responding>();
  TWAppDelegateSwizzler::proxyAppDelegate(proxied);
  bench::ratio(
      "proxied call without interceptors; the same before proxying", 4,
      [](std::size_t times) { sendTo(proxied, times); }, [](std::size_t times) { sendTo(plain, times); });
}

constexpr std::size_t kInterceptors = 1000;
constexpr std::size_t kResponding = 10;

void dispatch() {
  std::size_t called = 0;
  TWAppDelegateSwizzler::notifyInterceptorsWithMethodSelector(platform::kApplicationOpenURL.selector(),
                                                              [&](const runtime::Ref&) { ++called; });
  bench::keep(called);
}

void addDispatch() {
  static std::vector<runtime::Ref> interceptors;
  static std::vector<runtime::WeakRef> weak;
  const auto fill = [] {
    if (!interceptors.empty()) return;
    for (std::size_t i = 0; i < kInterceptors; ++i) {
      runtime::Ref interceptor = runtime::make<Unresponsive>();
      if (i % (kInterceptors / kResponding) == 0) interceptor = runtime::make<Responding>();
      TWAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor);
      weak.push_back(interceptor);
      interceptors.push_back(std::move(interceptor));
    }
  };
  bench::ratio(
      "dispatch to 1,000, 10 responding; locking 1,000 weak pointers", 1.5,
      [fill](std::size_t times) {
        fill();
        while (times--) dispatch();
      },
      [fill](std::size_t times) {
        fill();
        while (times--) {
          std::size_t alive = 0;
          for (const runtime::WeakRef& each : weak) alive += each.lock() ? 1 : 0;
          bench::keep(alive);
        }
      });
  bench::figure("allocations of that dispatch", [fill] {
    fill();
    dispatch();  // the first dispatch after a change takes the snapshot
    const std::size_t before = allocations;
    dispatch();
    return std::to_string(allocations - before);
  });
}

void addWeakLoad() {
  static const runtime::Ref object = runtime::make<Unresponsive>();
  static const runtime::WeakRef weak = object;
  static const auto container = runtime::make<TWZeroingWeakContainer>();
  container->setObject(object);
  bench::ratio(
      "weak load of a container; std::weak_ptr::lock", 1.2,
      [](std::size_t times) {
        while (times--) bench::keep(container->object().get());
      },
      [](std::size_t times) {
        while (times--) bench::keep(weak.lock().get());
      });
}

}  // namespace

void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* const memory = std::malloc(size ? size : 1)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

int main(int argc, char** argv) {
  testing::TestingPlatform::install();
  addProxiedCall();  // no interceptor is registered yet
  addWeakLoad();
  addDispatch();
  return bench::run(argc, argv);
}
