// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIApplication.h"

#include <memory>
#include <new>
#include <optional>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/platform/internal/HierarchyMutex.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell::platform {
namespace {

using runtime::Ref;
using runtime::respondsTo;
using runtime::send;

/// Wraps a handler for the delegate: copies share its state, so that a handler that acts only once does so
/// whichever copy is called. An empty handler becomes one that does nothing.
template <class... A>
std::function<void(A...)> shared(const std::function<void(A...)>& handler) {
  if (!handler) return [](A...) {};
  return [handler = std::make_shared<const std::function<void(A...)>>(handler)](A... arguments) {
    (*handler)(arguments...);
  };
}

}  // namespace

UIApplication::UIApplication() = default;
UIApplication::~UIApplication() = default;

std::shared_ptr<UIApplication> UIApplication::sharedApplication() {
  if (!Platform::isInstalled()) return nullptr;
  static constinit std::atomic<const std::shared_ptr<UIApplication>*> application{nullptr};
  return base::madeOnce(application, [] {
    return std::make_unique<const std::shared_ptr<UIApplication>>(runtime::make<UIApplication>());
  });
}

Ref UIApplication::delegate() const {
  const base::MutexLock lock(hierarchyMutex());
  return delegate_.lock();
}

void UIApplication::setDelegate(const Ref& delegate) {
  const auto set = [&] {
    runtime::WeakRef next = delegate;  // swapped with the previous one, which is released after unlocking
    const base::MutexLock lock(hierarchyMutex());
    delegate_.swap(next);
  };
  try {
    runtime::changing(*this, "delegate", set);
  } catch (const std::bad_alloc&) {
    set();  // even if the observers could not be notified
    throw;
  }
}

bool UIApplication::deliverOpenURL(const base::Url& url, const base::Dictionary& options) {
  const Ref to = delegate();
  if (respondsTo(to.get(), kApplicationOpenURL.selector()))
    return send(to, kApplicationOpenURL, *this, url, options);
  if (!respondsTo(to.get(), kApplicationOpenURLFromSource.selector())) return false;
  return send(to, kApplicationOpenURLFromSource, *this, url,
              options.objectForKey(UIApplicationOpenURLOptionsSourceApplicationKey).optionalString(),
              options.objectForKey(UIApplicationOpenURLOptionsAnnotationKey));
}

bool UIApplication::deliverUserActivity(NSUserActivity& activity,
                                        const RestorationHandler& restorationHandler) {
  const Ref to = delegate();
  if (!respondsTo(to.get(), kApplicationContinueUserActivity.selector())) return false;
  return send(to, kApplicationContinueUserActivity, *this, activity, shared(restorationHandler));
}

void UIApplication::deliverBackgroundURLSessionEvents(std::string_view identifier,
                                                      const std::function<void()>& completionHandler) {
  const Ref to = delegate();
  if (respondsTo(to.get(), kApplicationHandleEventsForBackgroundURLSession.selector())) {
    send(to, kApplicationHandleEventsForBackgroundURLSession, *this, std::string(identifier),
         shared(completionHandler));
  } else if (completionHandler) {
    completionHandler();
  }
}

void UIApplication::deliverDeviceToken(const base::Data& deviceToken) {
  const Ref to = delegate();
  if (respondsTo(to.get(), kApplicationDidRegisterForRemoteNotifications.selector()))
    send(to, kApplicationDidRegisterForRemoteNotifications, *this, deviceToken);
}

void UIApplication::deliverRegistrationError(const base::Error& error) {
  const Ref to = delegate();
  if (respondsTo(to.get(), kApplicationDidFailToRegisterForRemoteNotifications.selector()))
    send(to, kApplicationDidFailToRegisterForRemoteNotifications, *this, error);
}

void UIApplication::deliverRemoteNotification(const base::Dictionary& userInfo,
                                              const FetchCompletionHandler& fetchCompletionHandler) {
  const Ref to = delegate();
  if (respondsTo(to.get(), kApplicationDidReceiveRemoteNotificationFetching.selector())) {
    send(to, kApplicationDidReceiveRemoteNotificationFetching, *this, userInfo,
         shared(fetchCompletionHandler));
    return;
  }
  if (respondsTo(to.get(), kApplicationDidReceiveRemoteNotification.selector()))
    send(to, kApplicationDidReceiveRemoteNotification, *this, userInfo);
  if (fetchCompletionHandler) fetchCompletionHandler(UIBackgroundFetchResult::noData);
}

void UIApplication::describe(runtime::ClassBuilder<UIApplication>& c) {
  c.classMethod<&UIApplication::sharedApplication>(kSharedApplication)
      .method<&UIApplication::delegate>(kDelegate)
      .method<&UIApplication::setDelegate>(kSetDelegate)
      .method<&UIApplication::keyWindow>(kKeyWindow)
      .method<&UIApplication::canOpenURL>(kCanOpenURL)
      .method<static_cast<void (UIApplication::*)(const std::optional<base::Url>&, const base::Dictionary&,
                                                  const OpenURLCompletion&)>(&UIApplication::openURL)>(
          kOpenURLWithOptions)
      .method<static_cast<bool (UIApplication::*)(const std::optional<base::Url>&)>(&UIApplication::openURL)>(
          kOpenURL)
      .property<&UIApplication::delegate, &UIApplication::setDelegate>("delegate");
}

}  // namespace tidewell::platform
