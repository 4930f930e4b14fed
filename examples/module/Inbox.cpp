#include "Inbox.h"

#include <utility>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"

using namespace tidewell;

namespace {

void log(const char* text) {
  if (!TWLogger::writes(TWLogSeverityInfo)) return;  // nothing is built for a line that is off
  TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityInfo, {text});
}

}  // namespace

Inbox::Inbox() : messages_(std::make_shared<std::optional<base::Array>>()) {
  reset_ = platform::NotificationCenter::defaultCenter().addObserver(
      kNotificationNameUserReset, [messages = messages_](const auto&) { messages->reset(); });
}

Inbox::~Inbox() { platform::NotificationCenter::defaultCenter().removeObserver(reset_); }

void Inbox::fetch(Completion completion) {
  if (!TWConfigManager::sharedInstance().isInboxServiceActive()) {
    log("The inbox is switched off");
    return completion(std::nullopt);
  }
  base::Dictionary body;
  setObjectNilHandled(body, TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceInbox), "query_params");
  const TWNetworkRequest request(TWServiceInbox, std::nullopt, std::nullopt, std::move(body), std::nullopt);
  request.executeRequestWithCompletionBlock(
      [kept = messages_, completion = std::move(completion)](bool success, const base::Value& reply) {
        // Foreign bytes: nothing is taken for granted but that they were JSON.
        const base::Value list =
            reply.dictionary() ? validObjectForKey(*reply.dictionary(), "messages") : base::Value();
        if (success && list.array()) *kept = *list.array();
        log(success ? "The inbox was fetched" : "The inbox could not be fetched");
        completion(*kept);
      });
}
