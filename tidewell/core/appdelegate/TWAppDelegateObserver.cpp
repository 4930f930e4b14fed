// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/appdelegate/TWAppDelegateObserver.h"

#include <string_view>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/appdelegate/internal/DelegateProxy.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell {
namespace {

constexpr std::string_view kDelegateKeyPath = "delegate";

/// Held while registering and unregistering, which run no foreign code. Acquired before the locks that these
/// take.
base::StateMutex& registrationMutex() {
  static base::NeverDestroyed<base::StateMutex> mutex(base::StateMutex::kInnermost / 2);
  return *mutex;
}

const base::MadeWhenLoaded registrationMutexMade(registrationMutex);

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
  if (!application) return;
  const base::MutexLock lock(registrationMutex());
  if (isObserving_) return;
  runtime::addObserver(application.get(), shared_from_this(), kDelegateKeyPath,
                       runtime::kObserveNew | runtime::kObserveOld);
  isObserving_ = true;
}

void TWAppDelegateObserver::observeValueForKeyPath(const std::string& keyPath, runtime::Object* ofObject,
                                                   const base::Dictionary& change, const void*) {
  if (keyPath != kDelegateKeyPath) return;
  const base::Value before = change.objectForKey(runtime::kChangeOldKey);
  if (change.objectForKey(runtime::kChangeNewKey) == before) return;
  // Both comparisons may call the delegate's own `isEqual:`, so no lock is held.
  const runtime::Ref held = TWAppDelegateSwizzler::originalDelegate();
  if (runtime::objectValue(held) != before) return;
  runtime::Ref forgotten;  // destroyed after unlocking
  const base::MutexLock lock(registrationMutex());
  // Threads that change the delegate at the same time may all have seen the same old one; the first one here
  // ends the observation.
  forgotten = takeOriginalDelegate(held.get());
  if (!forgotten || !isObserving_) return;
  runtime::removeObserver(ofObject, this, kDelegateKeyPath);
  isObserving_ = false;
}

void TWAppDelegateObserver::describe(runtime::ClassBuilder<TWAppDelegateObserver>& c) {
  c.method<&TWAppDelegateObserver::observeValueForKeyPath>(runtime::kObserveValueForKeyPath);
}

}  // namespace tidewell
