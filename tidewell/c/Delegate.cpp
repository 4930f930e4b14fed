// SPDX-License-Identifier: Apache-2.0
// The application's delegate, interceptors, and messages that the host delivers.
#include <array>
#include <memory>
#include <string>
#include <utility>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/c/internal/HostContext.h"
#include "tidewell/c/internal/Tokens.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/UIApplicationDelegate.h"

namespace tidewell::c {
namespace {

/// The text of an optional value as a pointer; null for no value.
const char* textOf(const std::optional<base::Url>& url) {
  return url ? url->absoluteString().c_str() : nullptr;
}

/// Forwards messages to a table of functions of the host. Its class responds to none; objects get a subclass
/// that responds to the messages whose functions are not null (`classFor`).
class TableDelegate : public runtime::Subclass<TableDelegate, platform::UIApplicationDelegate> {
 public:
  static constexpr std::string_view kClassName = "TidewellTableDelegate";
  TableDelegate(const tdw_delegate& functions, std::shared_ptr<HostContext> context)
      : functions_(functions), context_(std::move(context)) {}

  /// Calls a function of the table, with a token for a completion. Returns its result; after the context has
  /// ended a default value, and drops the completion.
  template <class Result, class... Parameters, class... Arguments>
  Result call(Result (*tdw_delegate::*function)(void*, Parameters...), const Arguments&... arguments) const {
    if constexpr (std::is_void_v<Result>) {
      context_->use([&](void* context) { (functions_.*function)(context, passed(arguments)...); });
    } else {
      Result result{};
      context_->use([&](void* context) { result = (functions_.*function)(context, passed(arguments)...); });
      return result;
    }
  }

 private:
  template <class Argument>
  static Argument passed(const Argument& argument) {
    return argument;
  }
  static tdw_token passed(const std::shared_ptr<Completion>& completion) { return keep(completion); }

  const tdw_delegate functions_;
  const std::shared_ptr<HostContext> context_;
};

template <class Handler>
std::shared_ptr<Completion> makeCompletion(Handler Completion::*member, const Handler& handler) {
  auto completion = std::make_shared<Completion>();
  (*completion).*member = handler;
  return completion;
}

static_assert(static_cast<int>(platform::UIBackgroundFetchResult::newData) == TDW_FETCH_NEW_DATA &&
              static_cast<int>(platform::UIBackgroundFetchResult::noData) == TDW_FETCH_NO_DATA &&
              static_cast<int>(platform::UIBackgroundFetchResult::failed) == TDW_FETCH_FAILED);

using platform::UIApplication;
const TableDelegate& tableOf(runtime::Object& object) { return static_cast<TableDelegate&>(object); }

/// Calls `visit` with each function of the table, its message, and a method that forwards the message to the
/// function: one row each.
template <class Visit>
void forEachFunction(Visit&& visit) {
  visit(&tdw_delegate::open_url, platform::kApplicationOpenURL,
        [](runtime::Object& self, UIApplication&, const base::Url& url, const base::Dictionary& options) {
          const auto json = jsonOf(base::Value(options));
          return tableOf(self).call(&tdw_delegate::open_url, url.absoluteString().c_str(), pointerTo(json));
        });
  visit(&tdw_delegate::open_url_from_source, platform::kApplicationOpenURLFromSource,
        [](runtime::Object& self, UIApplication&, const base::Url& url,
           const std::optional<std::string>& source, const base::Value& annotation) {
          const auto from = wellFormed(source), json = jsonOf(annotation);
          return tableOf(self).call(&tdw_delegate::open_url_from_source, url.absoluteString().c_str(),
                                    pointerTo(from), pointerTo(json));
        });
  visit(&tdw_delegate::continue_activity, platform::kApplicationContinueUserActivity,
        [](runtime::Object& self, UIApplication&, platform::NSUserActivity& activity,
           const platform::RestorationHandler& handler) {
          const auto type = wellFormed(activity.activityType());
          return tableOf(self).call(&tdw_delegate::continue_activity, pointerTo(type),
                                    textOf(activity.webpageURL()),
                                    makeCompletion(&Completion::restored, handler));
        });
  visit(&tdw_delegate::handle_background_events, platform::kApplicationHandleEventsForBackgroundURLSession,
        [](runtime::Object& self, UIApplication&, const std::string& identifier,
           const std::function<void()>& handler) {
          const auto session = wellFormed(identifier);
          tableOf(self).call(&tdw_delegate::handle_background_events, pointerTo(session),
                             makeCompletion(&Completion::completed, handler));
        });
  visit(&tdw_delegate::did_register, platform::kApplicationDidRegisterForRemoteNotifications,
        [](runtime::Object& self, UIApplication&, const base::Data& token) {
          tableOf(self).call(&tdw_delegate::did_register, token.bytes(), token.length());
        });
  visit(&tdw_delegate::did_fail_to_register, platform::kApplicationDidFailToRegisterForRemoteNotifications,
        [](runtime::Object& self, UIApplication&, const base::Error& error) {
          const auto domain = wellFormed(error.domain), text = wellFormed(error.localizedDescription);
          tableOf(self).call(&tdw_delegate::did_fail_to_register, pointerTo(domain), error.code,
                             pointerTo(text));
        });
  visit(&tdw_delegate::did_receive, platform::kApplicationDidReceiveRemoteNotification,
        [](runtime::Object& self, UIApplication&, const base::Dictionary& userInfo) {
          const auto json = jsonOf(base::Value(userInfo));
          tableOf(self).call(&tdw_delegate::did_receive, pointerTo(json));
        });
  visit(&tdw_delegate::did_receive_fetching, platform::kApplicationDidReceiveRemoteNotificationFetching,
        [](runtime::Object& self, UIApplication&, const base::Dictionary& userInfo,
           const platform::FetchCompletionHandler& handler) {
          const auto json = jsonOf(base::Value(userInfo));
          tableOf(self).call(&tdw_delegate::did_receive_fetching, pointerTo(json),
                             makeCompletion(&Completion::fetched, handler));
        });
}
constexpr std::size_t kFunctionCount = 8;

/// The classes that respond to some of the messages, by the bits of their functions. Made when they are
/// needed, and never destroyed.
struct TableClasses {
  base::StateMutex mutex{base::StateMutex::kInnermost / 2};  ///< held over operations of the object model
  std::array<runtime::Class*, std::size_t{1} << kFunctionCount> made TIDEWELL_GUARDED_BY(mutex){};
};
base::NeverDestroyed<TableClasses> classes;

runtime::Class& classFor(const tdw_delegate& functions) {
  std::size_t bits = 0, count = 0;
  forEachFunction([&](auto function, const auto&, auto) {
    bits |= std::size_t{functions.*function != nullptr} << count++;
  });
  runtime::Class& base = runtime::classOf<TableDelegate>();
  const base::MutexLock lock(classes->mutex);
  runtime::Class*& made = classes->made.at(bits);
  if (made == nullptr) {
    const std::string name = std::string(TableDelegate::kClassName) + '_' + std::to_string(bits);
    runtime::Class* const allocated = runtime::allocateClassPair(&base, name);
    require(allocated != nullptr, TDW_FAILED);
    std::size_t place = 0;
    forEachFunction([&](auto, const auto& message, auto method) {
      if ((bits >> place++ & 1) != 0) runtime::addMethod(*allocated, message, method);
    });
    runtime::registerClassPair(*allocated);
    made = allocated;
  }
  return *made;
}

runtime::Ref makeDelegate(const tdw_delegate& functions, const std::shared_ptr<HostContext>& context) {
  const tdw_delegate known = knownPart(functions);
  auto delegate = runtime::make<TableDelegate>(known, context);
  runtime::setClass(delegate.get(), classFor(known));
  return delegate;
}

struct Interceptor final : Token {
  ~Interceptor() override {
    if (id) TWAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(id);
  }
  runtime::Ref object;
  std::optional<std::string> id;
};

/// The delegate that was set through this interface; the application holds it weakly.
struct CurrentDelegate {
  base::StateMutex mutex;
  runtime::Ref object TIDEWELL_GUARDED_BY(mutex);
};
base::NeverDestroyed<CurrentDelegate> currentDelegate;

UIApplication& application() {
  const auto shared = UIApplication::sharedApplication();  // lives as long as the process
  require(shared != nullptr, TDW_NOT_INSTALLED);
  return *shared;
}

/// Delivers a message that has an answer.
template <class Deliver>
tdw_status delivered(bool* handled, Deliver&& deliver) {
  const bool answer = deliver();
  if (handled != nullptr) *handled = answer;
  return TDW_OK;
}

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

tdw_status tdw_set_delegate(const tdw_delegate* delegate, void* context, tdw_free_context free_context) {
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    runtime::Ref object = delegate != nullptr ? makeDelegate(*delegate, adopted) : nullptr;
    application().setDelegate(object);
    const base::MutexLock lock(currentDelegate->mutex);
    std::swap(currentDelegate->object, object);  // the previous one is released after unlocking
    return TDW_OK;
  });
}

tdw_status tdw_add_interceptor(const tdw_delegate* interceptor, void* context, tdw_free_context free_context,
                               tdw_token* token) {
  if (token != nullptr) *token = 0;
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    require(interceptor != nullptr);
    auto added = std::make_shared<Interceptor>();
    added->object = makeDelegate(*interceptor, adopted);
    added->id = TWAppDelegateSwizzler::registerAppDelegateInterceptor(added->object);
    require(added->id.has_value(), TDW_FAILED);
    keep(std::move(added), token);
    return TDW_OK;
  });
}

tdw_status tdw_proxy_delegate(tdw_proxy which) {
  return statusOf([&] {
    if (required<tdw_proxies>(which, TDW_PROXY_AND_NOTIFICATIONS) == TDW_PROXY_LINKS) {
      TWAppDelegateSwizzler::proxyOriginalDelegate();
    } else {
      TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
    }
  });
}
tdw_status tdw_reset_proxy() {
  return statusOf([] { TWAppDelegateSwizzler::resetProxyOriginalDelegateOnceToken(); });
}

tdw_status tdw_deliver_url(const char* url, const char* options, bool* handled) {
  if (handled != nullptr) *handled = false;
  return statusOf([&] {
    const base::Url opened = requiredUrl(url);
    const auto dictionary = optionalObject(options).value_or(base::Dictionary());
    return delivered(handled, [&] { return application().deliverOpenURL(opened, dictionary); });
  });
}

tdw_status tdw_deliver_activity(const char* type, const char* url, tdw_restored restored, void* context,
                                tdw_free_context free_context, bool* handled) {
  if (handled != nullptr) *handled = false;
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    const auto activity = runtime::make<platform::NSUserActivity>(requiredText(type));
    activity->setWebpageURL(optionalUrl(url));
    const Callback<tdw_restored> callback(restored, adopted);
    return delivered(handled, [&] {
      return application().deliverUserActivity(*activity, [callback](const base::Array& objects) {
        callback(pointerTo(jsonOf(base::Value(objects))));
      });
    });
  });
}

tdw_status tdw_deliver_background_events(const char* identifier, tdw_function completed, void* context,
                                         tdw_free_context free_context) {
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    application().deliverBackgroundURLSessionEvents(requiredText(identifier),
                                                    Callback<tdw_function>(completed, adopted));
    return TDW_OK;
  });
}

tdw_status tdw_deliver_device_token(const std::uint8_t* token, std::size_t length) {
  return statusOf([&] {
    require((token != nullptr || length == 0) && length <= TDW_MAXIMUM_TEXT);
    application().deliverDeviceToken(length != 0 ? base::Data(token, length) : base::Data());
  });
}

tdw_status tdw_deliver_registration_error(const char* domain, std::int64_t code, const char* description) {
  return statusOf([&] {
    application().deliverRegistrationError(
        {std::string(requiredText(domain)), code, std::string(requiredText(description))});
  });
}

tdw_status tdw_deliver_notification(const char* user_info, tdw_fetched fetched, void* context,
                                    tdw_free_context free_context) {
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    const auto received = optionalObject(user_info);
    require(received.has_value());
    const Callback<tdw_fetched> callback(fetched, adopted);
    application().deliverRemoteNotification(*received, [callback](platform::UIBackgroundFetchResult result) {
      callback(static_cast<tdw_fetch_result>(result));
    });
    return TDW_OK;
  });
}

}  // extern "C"
