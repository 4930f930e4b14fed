// SPDX-License-Identifier: Apache-2.0
#include "Inbox.h"

#include <utility>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/platform/UIApplicationDelegate.h"

using namespace tidewell;

namespace {

void log(const char* text) {
  if (!TWLogger::writes(TWLogSeverityInfo)) return;  // avoids building a line that would not be written
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityInfo, {text});
}

/// Receives the messages to the application's delegate before the delegate does.
class PushListener : public platform::UIApplicationDelegate {
 public:
  explicit PushListener(std::function<void()> messageArrived) : messageArrived_(std::move(messageArrived)) {}
  void didReceiveRemoteNotification(platform::UIApplication&, const base::Dictionary& userInfo) override {
    if (validObjectForKey(userInfo, "inbox")) messageArrived_();
  }

 private:
  std::function<void()> messageArrived_;
};

}  // namespace

Inbox::Inbox() : messages_(std::make_shared<Messages>()) {
  reset_ = platform::NotificationCenter::defaultCenter().addObserver(
      kNotificationNameUserReset, [messages = messages_](const auto&) { messages->reset(); });
  listener_ = runtime::make<PushListener>([this] { fetch(); });
  listenerID_ = TWAppDelegateSwizzler::registerAppDelegateInterceptor(listener_);
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
}

Inbox::~Inbox() {
  TWAppDelegateSwizzler::unregisterAppDelegateInterceptorWithID(listenerID_);
  platform::NotificationCenter::defaultCenter().removeObserver(reset_);
}

void Inbox::fetch(Completion completion) {
  if (!completion) completion = [](const Messages&) {};
  if (!TWConfigManager::sharedInstance().isInboxServiceActive()) {
    log("The inbox is switched off");
    return completion(std::nullopt);
  }
  base::Dictionary body;
  setObjectNilHandled(body, TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceInbox), "query_params");
  const TWNetworkRequest request(TWServiceInbox, std::nullopt, std::nullopt, std::move(body), std::nullopt);
  request.executeRequestWithCompletionBlock(
      [kept = messages_, completion = std::move(completion)](bool success, const base::Value& reply) {
        // The reply is valid JSON, but of any shape.
        const base::Value list =
            reply.dictionary() ? validObjectForKey(*reply.dictionary(), "messages") : base::Value();
        if (success && list.array()) *kept = *list.array();
        log(success ? "The inbox was fetched" : "The inbox could not be fetched");
        completion(*kept);
      });
}
