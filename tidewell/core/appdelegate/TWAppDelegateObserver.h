// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"

namespace tidewell {

/// Observes the application's delegate and releases the proxied delegate when the application gets another
/// one.
///
/// One object per process, created on first use and never destroyed. Any thread; notifications arrive on the
/// thread that changes the delegate.
class TIDEWELL_EXPORT TWAppDelegateObserver : public runtime::Subclass<TWAppDelegateObserver> {
 public:
  ~TWAppDelegateObserver() override;
  [[nodiscard]] static const std::shared_ptr<TWAppDelegateObserver>& sharedInstance();

  /// Whether this object is registered with the application.
  [[nodiscard]] bool isObserving() const noexcept { return isObserving_.load(std::memory_order_acquire); }
  /// Registers with the application unless already registered or there is no application.
  void observeUIApplication();
  /// Called for each change. Releases the proxied delegate, and ends the observation, if that was the old
  /// delegate and is not the new one.
  void observeValueForKeyPath(const std::string& keyPath, runtime::Object* ofObject,
                              const base::Dictionary& change, const void* context);

  static void describe(runtime::ClassBuilder<TWAppDelegateObserver>& c);

 private:
  std::atomic<bool> isObserving_{false};  ///< changes together with the registration
};

}  // namespace tidewell
