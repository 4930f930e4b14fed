#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"

namespace tidewell {

/// Watches the application's delegate and lets go of the proxied one when the application takes another.
///
/// One object a process, made on first use and never destroyed. Any thread; the application is observed on
/// the thread that changes its delegate.
class TIDEWELL_EXPORT TWAppDelegateObserver : public runtime::Subclass<TWAppDelegateObserver> {
 public:
  ~TWAppDelegateObserver() override;
  [[nodiscard]] static const std::shared_ptr<TWAppDelegateObserver>& sharedInstance();

  /// Whether it is registered with the application.
  [[nodiscard]] bool isObserving() const noexcept { return isObserving_.load(std::memory_order_acquire); }
  /// Registers with the application where it is not registered yet, and where there is an application.
  void observeUIApplication();
  /// Called by the application for each change. Lets go of the proxied delegate where that was the old one
  /// and is not the new one, and ends the observation then.
  void observeValueForKeyPath(const std::string& keyPath, runtime::Object* ofObject,
                              const base::Dictionary& change, const void* context);

  static void describe(runtime::ClassBuilder<TWAppDelegateObserver>& c);

 private:
  std::atomic<bool> isObserving_{false};  ///< changes together with the registration
};

}  // namespace tidewell
