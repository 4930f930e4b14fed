// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "tidewell/c/internal/HostContext.h"
#include "tidewell/c/internal/Tokens.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/platform/NotificationCenter.h"

namespace tidewell::c {
namespace {

static_assert(kNotificationNameUserReset == TDW_NOTIFICATION_USER_RESET &&
              kNotificationNameUpdateModules == TDW_NOTIFICATION_UPDATE_MODULES &&
              kNotificationNameUserResetOnAppIDChange == TDW_NOTIFICATION_APP_ID_CHANGED &&
              kNotificationNameInitNewUser == TDW_NOTIFICATION_INIT_NEW_USER &&
              kNotificationNameShowInApp == TDW_NOTIFICATION_SHOW_IN_APP &&
              platform::UIApplicationWillEnterForegroundNotification == TDW_NOTIFICATION_FOREGROUND &&
              platform::UIApplicationDidEnterBackgroundNotification == TDW_NOTIFICATION_BACKGROUND);

platform::NotificationCenter& center() { return platform::NotificationCenter::defaultCenter(); }

struct ObservedName final : Token {
  ~ObservedName() override { center().removeObserver(registration); }
  platform::NotificationCenter::Token registration = 0;
};

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

tdw_status tdw_post(const char* name, const char* user_info) {
  return statusOf([&] { center().postNotificationName(requiredText(name), {}, valueOfJson(user_info)); });
}

tdw_status tdw_observe(const char* name, tdw_observer observer, void* context, tdw_free_context free_context,
                       tdw_token* token) {
  if (token != nullptr) *token = 0;
  return statusWithCallback(observer, context, free_context, [&](const auto& callback) {
    auto observed = std::make_shared<ObservedName>();
    observed->registration =
        center().addObserver(requiredText(name), [callback](const platform::Notification& notification) {
          const std::string posted = *wellFormed(notification.name);
          callback(posted.c_str(), pointerTo(jsonOf(notification.userInfo)));
        });
    keep(std::move(observed), token);
    return TDW_OK;
  });
}

}  // extern "C"
