#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/CoreFixture.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Description.h"

namespace tidewell {

using platform::FetchCompletionHandler;
using platform::NSUserActivity;
using platform::RestorationHandler;
using platform::UIApplication;
using platform::UIApplicationDelegate;
using platform::UIBackgroundFetchResult;
using runtime::Ref;

/// Who was called, with which arguments, in order: "app openURL shop:cart {from = mail}".
inline Lines& heard() {
  static Lines lines;
  return lines;
}
inline Lines takeHeard() { return std::exchange(heard(), {}); }

/// Hears of everything, notes it, and calls every handler once. Serves as a delegate and as an interceptor.
class Listener : public UIApplicationDelegate {
 public:
  explicit Listener(std::string name, bool answers = false) : answer(answers), name_(std::move(name)) {}

  bool openURL(UIApplication&, const base::Url& url, const base::Dictionary& options) override {
    return note("openURL " + url.absoluteString() + " from " + options.objectForKey("from").description());
  }
  bool openURLFromSource(UIApplication&, const base::Url& url, const std::optional<std::string>& source,
                         const base::Value& annotation) override {
    return note("openURLFromSource " + url.absoluteString() + " " + source.value_or("nobody") + " " +
                annotation.description());
  }
  bool continueUserActivity(UIApplication&, NSUserActivity& activity,
                            const RestorationHandler& restorationHandler) override {
    restorationHandler({});
    return note("continueUserActivity " + activity.activityType());
  }
  void handleEventsForBackgroundURLSession(UIApplication&, const std::string& identifier,
                                           const std::function<void()>& completionHandler) override {
    note("handleEvents " + identifier);
    completionHandler();
  }
  void didRegisterForRemoteNotifications(UIApplication&, const base::Data& token) override {
    note("didRegister " + std::to_string(token.length()));
  }
  void didFailToRegisterForRemoteNotifications(UIApplication&, const base::Error& error) override {
    note("didFail " + error.localizedDescription);
  }
  void didReceiveRemoteNotification(UIApplication&, const base::Dictionary& userInfo) override {
    note("didReceive " + userInfo.objectForKey("alert").description());
  }
  void didReceiveRemoteNotificationFetching(UIApplication&, const base::Dictionary& userInfo,
                                            const FetchCompletionHandler& handler) override {
    note("didReceiveFetching " + userInfo.objectForKey("alert").description());
    handler(UIBackgroundFetchResult::newData);
  }

  bool answer;

 private:
  bool note(const std::string& what) {
    heard().push_back(name_ + " " + what);
    return answer;
  }
  std::string name_;
};

/// A delegate that hears of nothing.
class Deaf : public UIApplicationDelegate {};

/// A message of the protocol, and how it is sent with arguments that `Listener` notes.
struct Sent {
  std::string selector;
  std::string noted;   ///< what `Listener` writes down
  bool isRemote;       ///< belongs to the remote-notification stage
  bool isAddedAlways;  ///< to the subclass, whether the delegate responds or not
  bool hasAnswer;
  std::function<bool(const Ref& to)> send;  ///< the answer; NO where the message has none
};

inline int& handlerCalls() {
  static int calls = 0;
  return calls;
}

/// All eight messages. The handlers count in `handlerCalls`.
inline const std::vector<Sent>& sentMessages() {
  static const auto entry = []<class R, class... P>(const runtime::Message<R(UIApplication&, P...)>& message,
                                                    std::string noted, bool isRemote, bool isAddedAlways,
                                                    auto... arguments) {
    constexpr bool kHasAnswer = !std::is_void_v<R>;
    const auto send = [&message, arguments...](const Ref& to) {
      const auto application = UIApplication::sharedApplication();
      if constexpr (kHasAnswer)
        return runtime::send(to, message, *application, arguments...);
      else
        return runtime::send(to, message, *application, arguments...), false;
    };
    return Sent{
        std::string(message.selector().name()), std::move(noted), isRemote, isAddedAlways, kHasAnswer, send};
  };
  static const auto count = [](const auto&...) { ++handlerCalls(); };
  static const auto activity = runtime::make<NSUserActivity>("browse");
  static const base::Url url = *base::Url::URLWithString("shop:cart");
  static const base::Dictionary userInfo{{"alert", "sale"}};
  static const std::vector<Sent> messages{
      entry(platform::kApplicationContinueUserActivity, "continueUserActivity browse", false, true,
            std::ref(*activity), count),
      entry(platform::kApplicationOpenURL, "openURL shop:cart from mail", false, false, url,
            base::Dictionary{{"from", "mail"}}),
      entry(platform::kApplicationHandleEventsForBackgroundURLSession, "handleEvents session", false, true,
            "session", count),
      entry(platform::kApplicationOpenURLFromSource, "openURLFromSource shop:cart mail 7", false, true, url,
            "mail", 7),
      entry(platform::kApplicationDidRegisterForRemoteNotifications, "didRegister 3", true, true,
            base::Data("abc")),
      entry(platform::kApplicationDidFailToRegisterForRemoteNotifications, "didFail no network", true, true,
            base::Error{"push", 1, "no network"}),
      entry(platform::kApplicationDidReceiveRemoteNotification, "didReceive sale", true, true, userInfo),
      entry(platform::kApplicationDidReceiveRemoteNotificationFetching, "didReceiveFetching sale", true,
            false, userInfo, count)};
  return messages;
}

/// A process with an application that has no delegate yet, and every log line on the console.
class DelegateFixture : public CoreFixture {
 protected:
  DelegateFixture() : application(UIApplication::sharedApplication()) { TWLogger::debug(TWLogLevelDebug); }

  /// Makes the object the application's delegate; it stays alive for the test.
  template <class T, class... A>
  std::shared_ptr<T> setDelegate(A&&... arguments) {
    auto delegate = runtime::make<T>(std::forward<A>(arguments)...);
    application->setDelegate(delegate);
    kept_.push_back(delegate);
    return delegate;
  }
  std::shared_ptr<Listener> intercept(std::string name, bool answer = false) {
    auto interceptor = runtime::make<Listener>(std::move(name), answer);
    TWAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor);
    return interceptor;
  }
  static std::string addressOf(const Ref& object) { return runtime::addressText(object.get()); }

  const std::shared_ptr<UIApplication> application;

 private:
  std::vector<Ref> kept_;
};

}  // namespace tidewell
