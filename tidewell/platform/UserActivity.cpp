// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UserActivity.h"

#include <utility>

#include "tidewell/runtime/Observing.h"

namespace tidewell::platform {

NSUserActivity::NSUserActivity(std::string_view activityType) : activityType_(activityType) {}

NSUserActivity::~NSUserActivity() = default;

void NSUserActivity::setWebpageURL(std::optional<base::Url> url) {
  runtime::changing(*this, "webpageURL", [&] { webpageURL_ = std::move(url); });
}

void NSUserActivity::describe(runtime::ClassBuilder<NSUserActivity>& c) {
  c.property<&NSUserActivity::activityType>("activityType")
      .property<&NSUserActivity::webpageURL, &NSUserActivity::setWebpageURL>("webpageURL");
}

}  // namespace tidewell::platform
