// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/CoreFixture.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Description.h"

namespace tidewell {

using platform::FetchCompletionHandler;
using platform::NSUserActivity;
using platform::RestorationHandler;
using platform::UIApplication;
using platform::UIApplicationDelegate;
using runtime::Ref;
using Swizzler = TWAppDelegateSwizzler;

/// The calls that `Listener`s received, in order: "NAME ARGUMENTS".
inline Lines heard;
inline Lines takeHeard() { return std::exchange(heard, {}); }

/// An argument as recorded by `Listener`. Handlers are not recorded.
template <class Argument>
std::string notedText(const Argument& argument) {
  if constexpr (std::is_convertible_v<const Argument&, base::Value>) {
    return " " + base::Value(argument).description();
  } else if constexpr (std::is_same_v<Argument, base::Error>) {
    return " " + argument.localizedDescription;
  } else if constexpr (std::is_convertible_v<const Argument&, const NSUserActivity&>) {
    return " " + static_cast<const NSUserActivity&>(argument).activityType();
  } else {
    return "";
  }
}

/// Records each call by its arguments, whose types differ, and calls its handler once. Used as a delegate and
/// as an interceptor.
class Listener : public UIApplicationDelegate {
 public:
  explicit Listener(std::string name, bool answers = false) : answer(answers), name_(std::move(name)) {
    forEachMessage([](const auto& message, auto) { hear(message); });  // has no effect if repeated
  }
  bool answer;

 private:
  template <class R, class... P>
  static void hear(const runtime::Message<R(UIApplication&, P...)>& message) {
    const auto note = [](runtime::Object& self, UIApplication&, P... arguments) -> R {
      const Listener& listener = static_cast<Listener&>(self);
      heard.push_back(listener.name_ + (notedText(arguments) + ...));
      (call(arguments), ...);
      if constexpr (!std::is_void_v<R>) return listener.answer;
    };
    runtime::addMethod(runtime::classOf<Listener>(), message, note);
  }
  static void hear(const runtime::Message<Ref()>&) {}  // the window getter
  template <class... A>
  static void call(const std::function<void(A...)>& handler) {
    handler(std::decay_t<A>()...);
  }
  static void call(const auto&) {}

  std::string name_;
};

/// A delegate that implements no method.
class Deaf : public UIApplicationDelegate {};

/// A message of the protocol with arguments.
struct SentMessage {
  std::string selector;
  std::string noted;                        ///< as recorded by `Listener`
  bool hasAnswer;                           ///< returns a boolean
  std::function<bool(const Ref& to)> send;  ///< the answer; false if the message has none
};

inline int handlerCalls = 0;

/// All eight messages; the last four belong to the remote-notification stage. The proxy adds the first and
/// last only if the delegate responds to them. Handlers count in `handlerCalls`.
inline const std::vector<SentMessage>& sentMessages() {
  static const auto entry = []<class R, class... P>(const runtime::Message<R(UIApplication&, P...)>& message,
                                                    auto... arguments) {
    const auto send = [&message, arguments...](const Ref& to) {
      const auto application = UIApplication::sharedApplication();
      if constexpr (std::is_void_v<R>)
        return runtime::send(to, message, *application, arguments...), false;
      else
        return runtime::send(to, message, *application, arguments...);
    };
    const std::string noted = (notedText(arguments) + ...);
    return SentMessage{std::string(message.selector().name()), noted, !std::is_void_v<R>, send};
  };
  static const auto count = [](const auto&...) { ++handlerCalls; };
  static const auto activity = runtime::make<NSUserActivity>("browse");
  static const base::Url url = *base::Url::URLWithString("shop:cart");
  static const base::Dictionary sale{{"alert", "sale"}};
  static const base::Error error{"push", 1, "no network"};
  static const std::vector<SentMessage> messages{
      entry(platform::kApplicationOpenURL, url, sale),
      entry(platform::kApplicationContinueUserActivity, std::ref(*activity), count),
      entry(platform::kApplicationHandleEventsForBackgroundURLSession, "session", count),
      entry(platform::kApplicationOpenURLFromSource, url, "mail", 7),
      entry(platform::kApplicationDidRegisterForRemoteNotifications, base::Data("abc")),
      entry(platform::kApplicationDidFailToRegisterForRemoteNotifications, error),
      entry(platform::kApplicationDidReceiveRemoteNotification, sale),
      entry(platform::kApplicationDidReceiveRemoteNotificationFetching, sale, count)};
  return messages;
}

/// Sends `openURL`.
inline bool sendURL(const Ref& to) { return sentMessages()[0].send(to); }
/// Its records from listeners with these names.
inline Lines urlHeardBy(const Lines& names) {
  Lines expected;
  for (const std::string& name : names) expected.push_back(name + sentMessages()[0].noted);
  return expected;
}

/// An application without a delegate; all log lines go to the console.
class DelegateFixture : public CoreFixture {
 protected:
  DelegateFixture() : application(UIApplication::sharedApplication()) { TWLogger::debug(TWLogLevelDebug); }

  /// Makes the object the application's delegate and keeps it alive for the test.
  template <class T, class... A>
  std::shared_ptr<T> setDelegate(A&&... arguments) {
    auto delegate = runtime::make<T>(std::forward<A>(arguments)...);
    application->setDelegate(delegate);
    kept_.push_back(delegate);
    return delegate;
  }
  std::shared_ptr<Listener> intercept(std::string name, bool answer = false) {
    auto interceptor = runtime::make<Listener>(std::move(name), answer);
    Swizzler::registerAppDelegateInterceptor(interceptor);
    return interceptor;
  }
  static std::string addressOf(const Ref& object) { return runtime::addressText(object.get()); }

  const std::shared_ptr<UIApplication> application;

 private:
  std::vector<Ref> kept_;
};

}  // namespace tidewell
