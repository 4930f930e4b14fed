#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"

#include <string_view>

#include "tidewell/base/NeverDestroyed.h"
#include "tidewell/core/appdelegate/DelegateProxy.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell {
namespace {

constexpr std::string_view kDelegateKeyPath = "delegate";

}  // namespace

TWAppDelegateObserver::~TWAppDelegateObserver() = default;

const std::shared_ptr<TWAppDelegateObserver>& TWAppDelegateObserver::sharedInstance() {
  static constinit std::atomic<const std::shared_ptr<TWAppDelegateObserver>*> observer{nullptr};
  return base::madeOnce(observer, [] {
    return std::make_unique<const std::shared_ptr<TWAppDelegateObserver>>(
        runtime::make<TWAppDelegateObserver>());
  });
}

void TWAppDelegateObserver::observeUIApplication() {
  const runtime::Ref application = TWAppDelegateSwizzler::sharedApplication();
  if (!application || isObserving_.exchange(true)) return;
  try {
    runtime::addObserver(application.get(), shared_from_this(), kDelegateKeyPath,
                         runtime::kObserveNew | runtime::kObserveOld);
  } catch (...) {
    isObserving_ = false;
    throw;
  }
}

void TWAppDelegateObserver::observeValueForKeyPath(const std::string& keyPath, runtime::Object* ofObject,
                                                   const base::Dictionary& change, const void*) {
  if (keyPath != kDelegateKeyPath) return;
  const base::Value before = change.objectForKey(runtime::kChangeOldKey);
  const base::Value after = change.objectForKey(runtime::kChangeNewKey);
  const base::Value original = runtime::objectValue(TWAppDelegateSwizzler::originalDelegate());
  if (after == before || before != original) return;
  forgetOriginalDelegate();
  runtime::removeObserver(ofObject, this, kDelegateKeyPath);
  isObserving_ = false;
}

void TWAppDelegateObserver::describe(runtime::ClassBuilder<TWAppDelegateObserver>& c) {
  c.method<&TWAppDelegateObserver::observeValueForKeyPath>(runtime::kObserveValueForKeyPath);
}

}  // namespace tidewell
